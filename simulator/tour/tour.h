#pragma once

#include "client.h"
#include "terminal.h"

#include <QDir>
#include <QObject>

#include <chrono>
#include <functional>

/**
 * A walk through the product's main job, in a phone, with an unmodified client: what a user
 * would do, seen from outside. Each station leaves a picture; a station that doesn't bring
 * what it should ends the tour with a failure.
 */
class Tour : public QObject
{
    Q_OBJECT

public:
    /** @param pictures folder for the pictures. */
    explicit Tour(const QDir &pictures);

    /** @return the exit status. */
    [[nodiscard]] int run();

private:
    struct Failure
    {
        QString what;
    };

    using Milliseconds = std::chrono::milliseconds;

    void openStore();
    void search();
    void showApplication();
    void install();
    void update();
    void likeAndReview();
    void remove();
    void offerOsUpdate();
    void downloadOsUpdate();
    void installOsUpdate();

    /** Takes a picture once the store has been quiet and the scene has settled. */
    void picture(const QString &name);
    void settle();
    void key(const QString &combination);
    void type(const QString &text);
    void require(bool condition, const QString &what);
    /**
     * Turns the event loop until @p happened says so, which is asked whenever the client or
     * the store says something; a failure after the time.
     */
    void waitUntil(const std::function<bool()> &happened, const QString &what,
                   Milliseconds timeout = Milliseconds(60000));
    /** Follows a package's progress in the terminal to the result. */
    void followPackage(const QString &package, const QString &pictureName);
    [[nodiscard]] static QString installedVersion(const QString &package);
    [[nodiscard]] static int countRequests(const QString &method, const QString &pathPart,
                                           int status);

    const QDir m_pictures;
    Terminal m_terminal;
    Client m_client;
    int m_shots = 0;
    qint64 m_started = 0; // milliseconds since the epoch
};
