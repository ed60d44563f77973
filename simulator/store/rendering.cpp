#include "rendering.h"

#include <QUrl>

namespace {

constexpr int iconSizes[] = {86, 172, 256}; // pixels
constexpr int coverSizes[][2] = {{540, 270}, {270, 270}}; // pixels

void merge(QJsonObject *object, const QJsonObject &overrides)
{
    for (auto it = overrides.constBegin(); it != overrides.constEnd(); ++it)
        object->insert(it.key(), it.value());
}

} // namespace

Rendering::Rendering(const Catalogue &catalogue, const QString &host)
    : m_catalogue(catalogue)
    , m_base(QStringLiteral("https://") + host + QStringLiteral("/static/"))
{ }

QString Rendering::imageUrl(const QString &kind, const QString &name, int width, int height) const
{
    return m_base + kind + QLatin1Char('/') + QString::fromLatin1(QUrl::toPercentEncoding(name))
        + QStringLiteral("/%1x%2.png").arg(width).arg(height);
}

QString Rendering::userName(const QString &uuid) const
{
    const int at = m_catalogue.findUser(uuid);
    return at < 0 ? QString() : m_catalogue.users[at].userName;
}

void Rendering::addImages(const StoreApplication &application, QJsonObject *object) const
{
    QJsonArray icons;
    for (const int size : iconSizes) {
        icons.append(
            QJsonObject{{QStringLiteral("url"),
                         imageUrl(QStringLiteral("icon"), application.packageName, size, size)},
                        {QStringLiteral("width"), size},
                        {QStringLiteral("height"), size}});
    }
    QJsonArray covers;
    for (const auto &size : coverSizes) {
        covers.append(QJsonObject{
            {QStringLiteral("url"),
             imageUrl(QStringLiteral("cover"), application.packageName, size[0], size[1])},
            {QStringLiteral("width"), size[0]},
            {QStringLiteral("height"), size[1]}});
    }
    object->insert(QStringLiteral("icon_image"), icons);
    object->insert(QStringLiteral("icon"), icons.first().toObject()[QLatin1String("url")]);
    object->insert(QStringLiteral("cover_image"), covers);
    object->insert(QStringLiteral("cover"), covers.first().toObject()[QLatin1String("url")]);
}

QJsonObject Rendering::application(const StoreApplication &application) const
{
    QJsonArray images;
    for (int i = 0; i < application.screenshots; ++i) {
        const QString url =
            imageUrl(QStringLiteral("screenshot-%1").arg(i), application.packageName, 270, 480);
        images.append(QJsonObject{{QStringLiteral("url"), url}});
    }
    QJsonArray requirements;
    for (const QString &requirement : application.requirements)
        requirements.append(QJsonObject{{QStringLiteral("name"), requirement}});
    QJsonObject object{
        {QStringLiteral("uuid"), application.uuid},
        {QStringLiteral("package_name"), application.packageName},
        {QStringLiteral("title"), application.title},
        {QStringLiteral("summary"), application.summary},
        {QStringLiteral("description"), application.description},
        {QStringLiteral("version"), application.version},
        {QStringLiteral("changes"), application.changes},
        {QStringLiteral("category"), application.category},
        {QStringLiteral("company"), application.company},
        {QStringLiteral("user"), application.user},
        {QStringLiteral("username"), userName(application.user)},
        {QStringLiteral("adult_only"), application.adultOnly},
        {QStringLiteral("likes"), application.likes},
        {QStringLiteral("downloads"), application.downloads},
        {QStringLiteral("binary_size"), application.binarySize},
        {QStringLiteral("rating"), 4},
        {QStringLiteral("created_on"), application.createdOn},
        {QStringLiteral("updated_on"), application.updatedOn},
        {QStringLiteral("website"), application.website},
        {QStringLiteral("open_source_link"), application.openSourceLink},
        {QStringLiteral("flattr_auto_submit_url"), application.flattrLink},
        {QStringLiteral("requirements"), requirements},
        {QStringLiteral("images"), images},
    };
    addImages(application, &object);
    merge(&object, application.overrides);
    return object;
}

QJsonObject Rendering::feedItem(const StoreFeedItem &item) const
{
    QJsonObject object{{QStringLiteral("type"), int(item.kind)},
                       {QStringLiteral("uuid"), item.uuid},
                       {QStringLiteral("application"), item.application},
                       {QStringLiteral("created_on"), item.createdOn}};
    const int at = m_catalogue.find(item.application);
    if (at >= 0) {
        const StoreApplication &application = m_catalogue.applications[at];
        object.insert(QStringLiteral("package_name"), application.packageName);
        object.insert(QStringLiteral("version"), application.version);
        object.insert(QStringLiteral("title"), application.title);
        object.insert(QStringLiteral("username"), userName(application.user));
        object.insert(QStringLiteral("user"), application.user);
        addImages(application, &object);
    }
    switch (item.kind) {
    case FeedKind::Comment:
        object.insert(QStringLiteral("reviewer_username"), userName(item.user));
        object.insert(QStringLiteral("reviewer_uuid"), item.user);
        object.insert(QStringLiteral("review"), item.text);
        break;
    case FeedKind::Like:
        object.insert(QStringLiteral("liker_username"), userName(item.user));
        object.insert(QStringLiteral("liker_uuid"), item.user);
        object.insert(QStringLiteral("description"), item.text);
        break;
    case FeedKind::New:
    case FeedKind::Recommendation:
    case FeedKind::Unknown:
        object.insert(QStringLiteral("description"), item.text);
        break;
    }
    merge(&object, item.overrides);
    return object;
}

QJsonObject Rendering::user(const StoreUser &user) const
{
    return {{QStringLiteral("uuid"), user.uuid},
            {QStringLiteral("username"), user.userName},
            {QStringLiteral("first_name"), user.firstName},
            {QStringLiteral("last_name"), user.lastName},
            {QStringLiteral("last_login"), QStringLiteral("2026-06-01T09:00:00")},
            {QStringLiteral("avatar"), imageUrl(QStringLiteral("avatar"), user.id, 86, 86)}};
}

QJsonObject Rendering::review(const StoreReview &review) const
{
    return {{QStringLiteral("uuid"), review.uuid},
            {QStringLiteral("application"), review.application},
            {QStringLiteral("version"), review.version},
            {QStringLiteral("user"), review.user},
            {QStringLiteral("user_username"), userName(review.user)},
            {QStringLiteral("review"), review.text},
            {QStringLiteral("language"), review.language},
            {QStringLiteral("created_on"), review.createdOn},
            {QStringLiteral("updated_on"), review.updatedOn}};
}
