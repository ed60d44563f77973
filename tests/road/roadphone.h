#pragma once

#include "buscall.h"
#include "clientprocess.h"
#include "packagephone.h"
#include "simulatorclient.h"

#include <QDBusMessage>
#include <QDir>
#include <QHash>
#include <QObject>
#include <QStringList>

#include <functional>
#include <memory>

/**
 * A phone with the client as a process of its own, and what everybody around it hears and is
 * told: programs on the session bus, the home screen, the notification server, the store and
 * the package daemon. All of it reads as lines of text, in the order of its coming.
 */
class RoadPhone : public QObject
{
    Q_OBJECT

public:
    explicit RoadPhone(QObject *parent = nullptr);

    /** No client, and a phone as it comes from the factory, with a fast package daemon. */
    void reset();

    /**
     * Starts the client as the phone's user in the group whose files it trusts.
     * @return whether it is on the bus.
     */
    [[nodiscard]] bool startClient(const QStringList &arguments = {});
    /** startClient(), and it is signed in and knows the installed packages. */
    [[nodiscard]] bool startReady(const QStringList &arguments = {});
    /** Ends the client as a logout does. @return whether it went in good order. */
    [[nodiscard]] bool stopClient();
    /** Ends it as a crash would. */
    void killClient();
    [[nodiscard]] ClientProcess *client() const { return m_client.get(); }

    /** Calls the client's service. @return false if that was refused. */
    bool call(const QString &method, const QVariantList &arguments = {},
              Identity identity = Identity::Privileged);

    /** Scripts the phone by lines such as "PackageKit stale {...}". */
    void script(const QStringList &lines);

    /** Switches sources of packages on. */
    void enable(const QStringList &repositories);

    PackagePhone &packages() { return m_packages; }
    SimulatorClient &services() { return m_services; }

    /** After each test: shows what the client has printed if the test has failed. */
    void explainFailure() const;

    /** From here on only what is new counts. */
    void forget();

    /**
     * The client's signals, such as "packageStatusChanged fernweh 2". Of the progress of a
     * package only its begin and end are here, 0 and 100; no progress is here twice in a row.
     */
    [[nodiscard]] const QStringList &heard() const { return m_heard; }
    /** Waits until @p line is among them. */
    [[nodiscard]] bool waitToHear(const QString &line, int timeout = 10000);
    /** Waits until @p happened, which is asked after each signal and record of the phone. */
    [[nodiscard]] bool waitUntil(const std::function<bool()> &happened, int timeout = 10000);
    /** Whether progress of one job has gone back since forget(). */
    [[nodiscard]] bool hasProgressFallen() const { return m_progressFell; }

    /** "updatingStarted package|label|desktop file" and "updatingFinished package". */
    [[nodiscard]] QStringList homeScreen();
    /** Notifications published: "category|summary|body|preview summary|preview body". */
    [[nodiscard]] QStringList published();
    /** Categories and bodies of those on show. */
    [[nodiscard]] QStringList onShow();
    /** What changed the store: "POST myapplications 201", with what the path begins with. */
    [[nodiscard]] QStringList storeChanges();

    /** Whether the package daemon has nothing to do. */
    [[nodiscard]] bool isIdle();
    /** Version of an installed package, or an empty text. */
    [[nodiscard]] QString installedVersion(const QString &package);
    /** The release that the device is set to. */
    [[nodiscard]] static QString release();
    /** The client's cache folder. */
    [[nodiscard]] static QDir cache();

Q_SIGNALS:
    void changed();

private Q_SLOTS:
    void onSignal(const QDBusMessage &message);

private:
    PackagePhone m_packages;
    SimulatorClient m_services{QStringLiteral("Services")};
    SimulatorClient m_store{QStringLiteral("Store")};
    std::unique_ptr<ClientProcess> m_client;
    QStringList m_heard;
    QHash<QString, int> m_progress; // by package
    bool m_progressFell = false;
};

/** Lines of a table, without the quotes of each. */
[[nodiscard]] QStringList lines(std::initializer_list<const char *> texts);
