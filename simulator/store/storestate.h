#pragma once

#include "catalogue.h"

#include <QMap>
#include <QMutex>
#include <QSet>

/** Which applications a list asks for; empty texts filter nothing. */
struct ApplicationFilter
{
    enum class Order { Catalogue, Downloaded, Liked, New };

    QString category; // uuid, with everything below it
    QString company; // uuid
    QString user; // uuid
    QString words; // all of them must occur
    QString packageName;
    QString packagePrefix;
    bool recommended = false;
    bool hidden = false; // only hidden ones; otherwise none of them
    Order order = Order::Catalogue;
};

/**
 * What the store knows at this moment: the catalogue with all that requests and verbs have
 * changed in it. Lives as long as the program; reset() goes back to the beginning.
 *
 * Not thread-safe: whoever calls anything here holds mutex().
 */
class StoreState
{
public:
    /** @param model the phone's model, which is part of the names of OS releases. */
    StoreState(Catalogue catalogue, const QString &model);

    [[nodiscard]] QMutex &mutex() { return m_mutex; }
    [[nodiscard]] const Catalogue &catalogue() const { return m_now; }

    void reset();

    /** Positions in catalogue().applications, in the list's order. */
    [[nodiscard]] QVector<int> findApplications(const ApplicationFilter &filter);
    /** At most @p limit proposals for what the user may be about to type. */
    [[nodiscard]] QStringList completions(const QString &typed, int limit) const;

    /** Adds or replaces an application. */
    void putApplication(const StoreApplication &application);
    /** Makes @p count further applications; those of an earlier call go away. */
    void generateApplications(int count);
    /** Offers an OS release, by the keys "version", "code_name", "summary", "website",
     *  "info_version" and "info" (false leaves the details out). An empty object: none. */
    void offerRelease(const QJsonObject &release);

    /** @return the new review's uuid */
    QString addReview(StoreReview review);
    /** The review, or null. */
    [[nodiscard]] StoreReview *findReview(const QString &uuid);
    void removeReview(const QString &uuid);

    [[nodiscard]] bool isLiked(const QString &application) const
    {
        return m_liked.contains(application);
    }
    void setLiked(const QString &application, bool liked);
    void setLikes(const QString &application, int likes);

    /** Application uuids with the time of installation, and in the order of it. */
    [[nodiscard]] const QVector<QPair<QString, QString>> &installed() const { return m_installed; }
    void setInstalled(const QString &application, bool installed, const QString &when = QString());
    void clearInstalled() { m_installed.clear(); }

    void pushFeed(const StoreFeedItem &item) { m_now.feed.prepend(item); }
    void clearFeed() { m_now.feed.clear(); }

    /** A token for @p user: the one already given if it is still good and @p fresh is not set. */
    [[nodiscard]] QString issueToken(const QString &user, bool fresh);
    [[nodiscard]] bool isValidToken(const QString &token) const
    {
        return m_tokens.values().contains(token);
    }
    void revokeTokens() { m_tokens.clear(); }

    // What the verbs set and the API reads.
    int tokenLifetime = 3600; // seconds
    int tokenStatus = 200; // HTTP
    bool installedWithData = true;
    int developerModeReports = 0;

    [[nodiscard]] static QString now();

private:
    [[nodiscard]] bool matches(const StoreApplication &application, const ApplicationFilter &filter,
                               const QStringList &words) const;
    void sort(QVector<int> *positions, ApplicationFilter::Order order) const;

    QMutex m_mutex;
    const Catalogue m_start;
    const QString m_model; // lower case
    Catalogue m_now;
    QSet<QString> m_liked; // application uuids
    QVector<QPair<QString, QString>> m_installed;
    QMap<QString, QString> m_tokens; // user to token
    QStringList m_generated; // package names
    QStringList m_releasePackages;
    QHash<QString, QVector<int>> m_found; // results of filters, until the next change
    int m_nextReview = 0;
    int m_nextToken = 0;
};
