#pragma once

#include <QDateTime>
#include <QHash>
#include <QJsonObject>
#include <QString>
#include <QStringList>
#include <QVector>

/** One application of the store. */
struct StoreApplication
{
    QString uuid;
    QString packageName;
    QString version;
    QString title;
    QString summary;
    QString description;
    QString changes;
    QString category; // uuid
    QString company; // uuid
    QString user; // uuid of the publisher
    QString website;
    QString openSourceLink;
    QString flattrLink;
    QStringList requirements;
    QString createdOn; // ISO 8601
    QString updatedOn; // ISO 8601
    qint64 binarySize = 0; // bytes
    int likes = 0;
    int downloads = 0;
    int screenshots = 0;
    QString glyph;
    QStringList colours; // two, "#rrggbb"
    bool recommended = false;
    bool adultOnly = false;
    bool hidden = false;
    bool preinstalled = false;
    QJsonObject overrides; // keys that replace those of the rendered object
    QString searchText; // lower case: everything that a search looks at
};

struct StoreCategory
{
    QString uuid;
    QString parent; // uuid, "0" for the top level
    QString title;
};

struct StoreCompany
{
    QString uuid;
    QString name;
    QString vatNumber;
    QString country;
    QString url;
};

struct StoreUser
{
    QString uuid;
    QString id; // short name of the catalogue file
    QString userName;
    QString firstName;
    QString lastName;
};

struct StoreReview
{
    QString uuid;
    QString application; // uuid
    QString user; // uuid
    QString version;
    QString text;
    QString language;
    QString device;
    QString createdOn; // ISO 8601
    QString updatedOn; // ISO 8601
};

/** Kinds of feed items, numbered as on the wire. */
enum class FeedKind { Unknown = 0, Comment = 1, Like = 2, New = 3, Recommendation = 4 };

struct StoreFeedItem
{
    QString uuid;
    FeedKind kind = FeedKind::Unknown;
    QString application; // uuid
    QString user; // uuid of the reviewer or liker
    QString text;
    QString createdOn; // ISO 8601
    QJsonObject overrides; // keys that replace those of the rendered object
};

/**
 * Everything that the store knows when it opens: read from the catalogue file, or made from
 * the machine's own package index for tests at scale.
 *
 * A value: the running store works on a copy and goes back to the original on a reset.
 * Identifiers are derived from names (version 5 uuids), so they are the same in each run.
 */
class Catalogue
{
public:
    /** Reads "catalogue.json"; the README beside it describes the format.
     *  @return false, with the reason in @p problem, if it can't be read. */
    [[nodiscard]] bool readFile(const QString &fileName, QString *problem);

    /** Adds every package that apt knows as an application, its section as its category.
     *  @return false, with the reason in @p problem, if apt gives none. */
    [[nodiscard]] bool addAptIndex(QString *problem);

    /** Adds @p application, or replaces the one with the same package name; fills in the
     *  uuid, the icon and the search text where they are missing. */
    const StoreApplication &add(StoreApplication application);
    void remove(const QStringList &packageNames);

    /** The position of an application by uuid or package name, -1 if there is none. */
    [[nodiscard]] int find(const QString &uuidOrPackage) const;
    /** The position of a user by uuid, short name or user name, -1 if there is none. */
    [[nodiscard]] int findUser(const QString &name) const;
    /** Whether @p category is @p ancestor or lies below it; both are uuids. */
    [[nodiscard]] bool isWithin(const QString &category, const QString &ancestor) const;

    [[nodiscard]] static QString makeUuid(const QString &kind, const QString &name);

    QVector<StoreApplication> applications; // change through add() and remove() only
    QVector<StoreCategory> categories;
    QVector<StoreCompany> companies;
    QVector<StoreUser> users;
    QVector<StoreReview> reviews; // newest first
    QVector<StoreFeedItem> feed; // newest first
    QHash<QString, QJsonObject> backplates; // by id; "in_use" marks one of another user
    QJsonObject osRelease; // defaults of an offered release
    QString ownUser; // uuid of the signed-in user

private:
    void readPeople(const QJsonObject &root);
    void readApplications(const QJsonObject &root);
    void readEvents(const QJsonObject &root);
    void index();

    QHash<QString, int> m_byUuid;
    QHash<QString, int> m_byPackage;
    QHash<QString, QString> m_parents; // category to its parent
};
