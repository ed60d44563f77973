// Server: from JSON to records.

#include "server.h"

#include "json.h"
#include "messages.h"

namespace Store {

namespace {

constexpr int backendRating = 5; // the store has no ratings of its own any more

QString text(const Json &json, const QString &key)
{
    return json.value(key).toString();
}

QDateTime date(const Json &json, const QString &key)
{
    return json.value(key).toDateTime();
}

/** The text under @p key of each object of the list under @p listKey. */
QStringList texts(const Json &json, const QString &listKey, const QString &key)
{
    QStringList result;
    const QVariantList elements = json.value(listKey).toList();
    result.reserve(elements.size());
    for (const QVariant &element : elements)
        result.append(text(Json(element), key));
    return result;
}

} // namespace

Application::ConstPtr Server::readApplication(const Json &json, bool fromTopList)
{
    const auto app = QSharedPointer<Application>::create();
    if (!json.valid) {
        showError(MessageContentNotAvailable);
        return app;
    }
    app->valid = true;
    app->fromTopList = fromTopList;
    app->rating = backendRating;
    app->uuid = text(json, QStringLiteral("uuid"));
    app->packageName = text(json, QStringLiteral("package_name"));
    app->adultOnly = json.value(QStringLiteral("adult_only"), false).toBool();
    app->company = text(json, QStringLiteral("company"));
    app->user = text(json, QStringLiteral("user"));
    app->userName = text(json, QStringLiteral("username"));
    app->summary = text(json, QStringLiteral("summary"));
    app->title = text(json, QStringLiteral("title"));
    app->description = text(json, QStringLiteral("description"));
    app->version = text(json, QStringLiteral("version"));
    app->changes = text(json, QStringLiteral("changes"));
    app->downloads = json.value(QStringLiteral("downloads"), 0).toInt();
    app->likes = json.value(QStringLiteral("likes"), 0).toInt();
    app->createdOn = date(json, QStringLiteral("created_on"));
    app->updatedOn = date(json, QStringLiteral("updated_on"));
    app->openSourceLink = text(json, QStringLiteral("open_source_link"));
    app->website = text(json, QStringLiteral("website"));
    app->flattrLink = text(json, QStringLiteral("flattr_auto_submit_url"));
    app->size = json.value(QStringLiteral("binary_size"), 0).toInt();
    app->installedOn = m_installedApplications.value(app->uuid);
    app->icon = readImage(json, QStringLiteral("icon_image"), QStringLiteral("icon"));
    app->cover = readImage(json, QStringLiteral("cover_image"), QStringLiteral("cover"));
    app->requirements = texts(json, QStringLiteral("requirements"), QStringLiteral("name"));
    app->screenshots = texts(json, QStringLiteral("images"), QStringLiteral("url"));
    return app;
}

Feed::ConstPtr Server::readFeed(const Json &json)
{
    const QSharedPointer<Feed> feed(new Feed);
    feed->uuid = text(json, QStringLiteral("uuid"));
    feed->appUuid = text(json, QStringLiteral("application"));
    feed->cover = readImage(json, QStringLiteral("cover_image"), QStringLiteral("cover"));
    feed->icon = readImage(json, QStringLiteral("icon_image"), QStringLiteral("icon"));
    feed->createdOn = date(json, QStringLiteral("created_on"));
    feed->packageName = text(json, QStringLiteral("package_name"));
    feed->version = text(json, QStringLiteral("version"));
    feed->appTitle = text(json, QStringLiteral("title"));
    feed->appUserName = text(json, QStringLiteral("username"));
    feed->appUserUuid = text(json, QStringLiteral("user"));
    const int type = json.value(QStringLiteral("type"), 0).toInt();
    switch (type) {
    case Feed::Comment:
        feed->userName = text(json, QStringLiteral("reviewer_username"));
        feed->userUuid = text(json, QStringLiteral("reviewer_uuid"));
        feed->description = text(json, QStringLiteral("review"));
        break;
    case Feed::Like:
        feed->userName = text(json, QStringLiteral("liker_username"));
        feed->userUuid = text(json, QStringLiteral("liker_uuid"));
        feed->description = text(json, QStringLiteral("description"));
        break;
    case Feed::New:
    case Feed::Recommendation:
        feed->description = text(json, QStringLiteral("description"));
        break;
    default:
        return feed;
    }
    feed->itemType = Feed::ItemType(type);
    return feed;
}

Review::ConstPtr Server::readReview(const Json &json)
{
    const auto review = QSharedPointer<Review>::create();
    review->uuid = text(json, QStringLiteral("uuid"));
    review->application = text(json, QStringLiteral("application"));
    review->version = text(json, QStringLiteral("version"));
    review->author = text(json, QStringLiteral("user"));
    review->authorName = text(json, QStringLiteral("user_username"));
    review->review = text(json, QStringLiteral("review"));
    review->createdOn = date(json, QStringLiteral("created_on"));
    review->updatedOn = date(json, QStringLiteral("updated_on"));
    return review;
}

Company::ConstPtr Server::readCompany(const Json &json)
{
    const auto company = QSharedPointer<Company>::create();
    company->uuid = text(json, QStringLiteral("uuid"));
    company->name = text(json, QStringLiteral("name"));
    company->vatNumber = text(json, QStringLiteral("VAT_number"));
    company->country = text(json, QStringLiteral("country"));
    company->url = text(json, QStringLiteral("url"));
    return company;
}

User::ConstPtr Server::readUser(const Json &json, bool ownProfile)
{
    const auto user = QSharedPointer<User>::create();
    user->uuid = text(json, QStringLiteral("uuid"));
    user->userName = text(json, QStringLiteral("username"));
    user->firstName = text(json, QStringLiteral("first_name"));
    user->lastName = text(json, QStringLiteral("last_name"));
    user->avatar = text(json, QStringLiteral("avatar"));
    user->ownProfile = ownProfile;
    return user;
}

QString Server::readImage(const Json &json, const QString &listKey, const QString &plainKey)
{
    const QVariantList images = json.value(listKey).toList();
    return images.isEmpty() ? text(json, plainKey) : m_scaledImages.insert(images);
}

} // namespace Store
