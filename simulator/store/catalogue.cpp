#include "catalogue.h"

#include <QFile>
#include <QJsonArray>
#include <QJsonDocument>
#include <QSet>
#include <QUuid>

#include <algorithm>
#include <utility>

namespace {

const QUuid uuidNamespace(0x7b0ac7f1, 0x52d4, 0x4c5e, 0x9d, 0x3a, 0x10, 0x44, 0x8a, 0x6e, 0x21,
                          0xf7);
const QString topLevel = QStringLiteral("0");

constexpr const char *defaultGlyphs[] = {"star", "leaf", "wave",   "grid",    "book",
                                         "bolt", "moon", "puzzle", "compass", "gear"};

QString text(const QJsonObject &object, const char *key)
{
    return object[QLatin1String(key)].toString();
}

QJsonArray list(const QJsonObject &object, const char *key)
{
    return object[QLatin1String(key)].toArray();
}

FeedKind feedKind(const QString &name)
{
    if (name == QLatin1String("comment"))
        return FeedKind::Comment;
    if (name == QLatin1String("like"))
        return FeedKind::Like;
    if (name == QLatin1String("new"))
        return FeedKind::New;
    return name == QLatin1String("recommendation") ? FeedKind::Recommendation : FeedKind::Unknown;
}

} // namespace

QString Catalogue::makeUuid(const QString &kind, const QString &name)
{
    return QUuid::createUuidV5(uuidNamespace, kind + QLatin1Char('/') + name)
        .toString(QUuid::WithoutBraces);
}

bool Catalogue::readFile(const QString &fileName, QString *problem)
{
    QFile file(fileName);
    if (!file.open(QIODevice::ReadOnly)) {
        *problem = fileName + QStringLiteral(": ") + file.errorString();
        return false;
    }
    QJsonParseError error;
    const QJsonObject root = QJsonDocument::fromJson(file.readAll(), &error).object();
    if (error.error != QJsonParseError::NoError) {
        *problem = QStringLiteral("%1, byte %2: %3")
                       .arg(fileName)
                       .arg(error.offset)
                       .arg(error.errorString());
        return false;
    }
    readPeople(root);
    readApplications(root);
    readEvents(root);
    return true;
}

void Catalogue::readPeople(const QJsonObject &root)
{
    const QJsonArray categoryList = list(root, "categories");
    QHash<QString, QString> uuids;
    for (const QJsonValue &value : categoryList) {
        const QJsonObject object = value.toObject();
        const QString id = text(object, "id");
        const QString uuid = text(object, "uuid");
        uuids.insert(id, uuid.isEmpty() ? makeUuid(QStringLiteral("category"), id) : uuid);
        categories.append(
            {uuids[id], uuids.value(text(object, "parent"), topLevel), text(object, "title")});
        m_parents.insert(categories.constLast().uuid, categories.constLast().parent);
    }
    const QJsonArray companyList = list(root, "companies");
    for (const QJsonValue &value : companyList) {
        const QJsonObject object = value.toObject();
        companies.append({makeUuid(QStringLiteral("company"), text(object, "id")),
                          text(object, "name"), text(object, "VAT_number"), text(object, "country"),
                          text(object, "url")});
    }
    const QJsonArray userList = list(root, "users");
    for (const QJsonValue &value : userList) {
        const QJsonObject object = value.toObject();
        const QString id = text(object, "id");
        users.append({makeUuid(QStringLiteral("user"), id), id, text(object, "username"),
                      text(object, "first_name"), text(object, "last_name")});
    }
    ownUser = makeUuid(QStringLiteral("user"), text(root, "own_user"));
}

void Catalogue::readApplications(const QJsonObject &root)
{
    QHash<QString, QString> categoryUuids;
    const QJsonArray categoryList = list(root, "categories");
    for (int i = 0; i < categoryList.size(); ++i)
        categoryUuids.insert(text(categoryList[i].toObject(), "id"), categories[i].uuid);

    const QJsonArray applicationList = list(root, "applications");
    for (const QJsonValue &value : applicationList) {
        const QJsonObject object = value.toObject();
        StoreApplication application;
        application.packageName = text(object, "package_name");
        application.version = text(object, "version");
        application.title = text(object, "title");
        application.summary = text(object, "summary");
        application.description = text(object, "description");
        application.changes = text(object, "changes");
        application.category = categoryUuids.value(text(object, "category"));
        application.company = makeUuid(QStringLiteral("company"), text(object, "company"));
        application.user = makeUuid(QStringLiteral("user"), text(object, "user"));
        application.website = text(object, "website");
        application.openSourceLink = text(object, "open_source_link");
        application.flattrLink = text(object, "flattr_auto_submit_url");
        application.createdOn = text(object, "created_on");
        application.updatedOn = text(object, "updated_on");
        application.binarySize = qint64(object[QLatin1String("binary_size")].toDouble());
        application.likes = object[QLatin1String("likes")].toInt();
        application.downloads = object[QLatin1String("downloads")].toInt();
        application.screenshots = object[QLatin1String("screenshots")].toInt();
        application.recommended = object[QLatin1String("recommended")].toBool();
        application.adultOnly = object[QLatin1String("adult_only")].toBool();
        application.preinstalled = object[QLatin1String("preinstalled")].toBool();
        const QJsonArray requirementList = list(object, "requirements");
        for (const QJsonValue &requirement : requirementList)
            application.requirements.append(requirement.toString());
        const QJsonObject icon = object[QLatin1String("icon")].toObject();
        application.glyph = text(icon, "glyph");
        const QJsonArray colourList = list(icon, "colours");
        for (const QJsonValue &colour : colourList)
            application.colours.append(colour.toString());
        add(application);
    }
}

void Catalogue::readEvents(const QJsonObject &root)
{
    const auto applicationUuid = [this](const QJsonObject &object) {
        const int at = find(text(object, "application"));
        return at < 0 ? QString() : applications[at].uuid;
    };
    const QJsonArray reviewList = list(root, "reviews");
    for (const QJsonValue &value : reviewList) {
        const QJsonObject object = value.toObject();
        const QString created = text(object, "created_on");
        reviews.append({makeUuid(QStringLiteral("review"), QString::number(reviews.size())),
                        applicationUuid(object),
                        makeUuid(QStringLiteral("user"), text(object, "user")),
                        text(object, "version"), text(object, "review"), QStringLiteral("en"),
                        QString(), created, created});
    }
    const QJsonArray feedList = list(root, "feed");
    for (const QJsonValue &value : feedList) {
        const QJsonObject object = value.toObject();
        StoreFeedItem item;
        item.uuid = makeUuid(QStringLiteral("feed"), QString::number(feed.size()));
        item.kind = feedKind(text(object, "type"));
        item.application = applicationUuid(object);
        item.user = makeUuid(QStringLiteral("user"), text(object, "user"));
        item.text = text(object, item.kind == FeedKind::Comment ? "review" : "description");
        item.createdOn = text(object, "created_on");
        feed.append(item);
    }
    const QJsonArray backplateList = list(root, "backplates");
    for (const QJsonValue &value : backplateList)
        backplates.insert(text(value.toObject(), "bkpid"), value.toObject());
    osRelease = root[QLatin1String("os_release")].toObject();
}

const StoreApplication &Catalogue::add(StoreApplication application)
{
    if (application.uuid.isEmpty())
        application.uuid = makeUuid(QStringLiteral("application"), application.packageName);
    const uint hash = qHash(application.packageName, 1U);
    if (application.glyph.isEmpty())
        application.glyph = QLatin1String(defaultGlyphs[hash % std::size(defaultGlyphs)]);
    if (application.colours.size() < 2) {
        // Two neighbouring hues, from the name, so that generated lists are not grey.
        const QString hue = QStringLiteral("hsl:%1:%2");
        application.colours =
            QStringList{hue.arg(hash % 360).arg(150), hue.arg((hash % 360 + 25) % 360).arg(85)};
    }
    const int user = findUser(application.user);
    application.searchText = (application.title + QLatin1Char('\n') + application.summary
                              + QLatin1Char('\n') + application.packageName + QLatin1Char('\n')
                              + (user < 0 ? QString() : users[user].userName))
                                 .toLower();
    const auto present = m_byPackage.constFind(application.packageName);
    if (present != m_byPackage.constEnd()) {
        m_byUuid.remove(applications[*present].uuid);
        m_byUuid.insert(application.uuid, *present);
        applications[*present] = std::move(application);
        return applications[*present];
    }
    m_byUuid.insert(application.uuid, applications.size());
    m_byPackage.insert(application.packageName, applications.size());
    applications.append(std::move(application));
    return applications.constLast();
}

void Catalogue::remove(const QStringList &packageNames)
{
    if (packageNames.isEmpty())
        return;
    const QSet<QString> unwanted(packageNames.cbegin(), packageNames.cend());
    applications.erase(std::remove_if(applications.begin(), applications.end(),
                                      [&unwanted](const StoreApplication &application) {
                                          return unwanted.contains(application.packageName);
                                      }),
                       applications.end());
    index();
}

int Catalogue::find(const QString &uuidOrPackage) const
{
    const auto byUuid = m_byUuid.constFind(uuidOrPackage);
    return byUuid != m_byUuid.constEnd() ? *byUuid : m_byPackage.value(uuidOrPackage, -1);
}

int Catalogue::findUser(const QString &name) const
{
    for (int i = 0; i < users.size(); ++i) {
        if (users[i].uuid == name || users[i].id == name || users[i].userName == name)
            return i;
    }
    return -1;
}

bool Catalogue::isWithin(const QString &category, const QString &ancestor) const
{
    for (QString at = category; !at.isEmpty() && at != topLevel; at = m_parents.value(at)) {
        if (at == ancestor)
            return true;
    }
    return false;
}

void Catalogue::index()
{
    m_byUuid.clear();
    m_byPackage.clear();
    for (int i = 0; i < applications.size(); ++i) {
        m_byUuid.insert(applications[i].uuid, i);
        m_byPackage.insert(applications[i].packageName, i);
    }
}
