#include "servertranscript.h"

#include "store/requestproxy.h"

#include <QJsonDocument>
#include <QSignalSpy>

using Store::RequestProxy;
using Store::Server;

namespace {

QJsonValue dateValue(const QDateTime &date)
{
    return date.isValid() ? QJsonValue(date.toString(Qt::ISODateWithMs)) : QJsonValue();
}

QJsonObject object(const Store::Application::ConstPtr &app)
{
    QJsonObject result = QJsonObject::fromVariantMap(app->toMap());
    result.insert(QStringLiteral("valid"), app->valid);
    result.insert(QStringLiteral("adultOnly"), app->adultOnly);
    result.insert(QStringLiteral("fromTopList"), app->fromTopList);
    return result;
}

QJsonObject object(const Store::Review::ConstPtr &review)
{
    return {
        {QStringLiteral("uuid"), review->uuid},
        {QStringLiteral("application"), review->application},
        {QStringLiteral("version"), review->version},
        {QStringLiteral("author"), review->author},
        {QStringLiteral("authorName"), review->authorName},
        {QStringLiteral("review"), review->review},
        {QStringLiteral("createdOn"), dateValue(review->createdOn)},
        {QStringLiteral("updatedOn"), dateValue(review->updatedOn)},
        {QStringLiteral("tempUuid"), review->tempUuid},
    };
}

} // namespace

ServerTranscript::ServerTranscript()
    : server(QStringLiteral("fjord"))
{
    // What the server would send by itself goes nowhere.
    server.findChild<QNetworkAccessManager *>()->setNetworkAccessible(
        QNetworkAccessManager::NotAccessible);
    followServer();
}

ServerTranscript::~ServerTranscript() = default;

RequestProxy *ServerTranscript::follow(ScriptedNetwork *network, const char *finishedSlot,
                                       const char *errorSlot)
{
    auto *proxy = new RequestProxy(network);
    connect(proxy, SIGNAL(replyFinished()), &server, finishedSlot);
    connect(proxy, SIGNAL(error()), &server, errorSlot);
    connect(proxy, &RequestProxy::applicationReceived, this,
            [this](const Store::Application::ConstPtr &app, bool hasMore) {
                add(QStringLiteral("application"),
                    app->valid ? QJsonValue(object(app)) : QJsonValue(app->title));
                add(QStringLiteral("hasMore"), hasMore);
            });
    connect(proxy, &RequestProxy::feedReceived, this, [this](const Store::Feed::ConstPtr &feed) {
        add(QStringLiteral("feed"), QJsonObject::fromVariantMap(feed->toMap()));
    });
    connect(proxy, &RequestProxy::likeCountReceived, this,
            [this](int count) { add(QStringLiteral("likeCount"), count); });
    connect(proxy, &RequestProxy::pageReceived, this, [this](const Store::ResultPage &page) {
        add(QStringLiteral("page"), page.next.toString());
    });
    connect(proxy, &RequestProxy::reviewReceived, this,
            [this](const Store::Review::ConstPtr &review, bool hasMore) {
                add(QStringLiteral("review"), object(review));
                add(QStringLiteral("hasMore"), hasMore);
            });
    connect(proxy, &RequestProxy::searchCompletionReceived, this, [this](const QStringList &words) {
        add(QStringLiteral("words"), QJsonArray::fromStringList(words));
    });
    connect(proxy, &RequestProxy::reviewUuidReceived, this,
            [this](const QString &uuid) { add(QStringLiteral("reviewUuid"), uuid); });
    connect(proxy, &RequestProxy::finished, this,
            [this] { add(QStringLiteral("finished"), true); });
    return proxy;
}

QJsonArray ServerTranscript::play(const QByteArray &slot, const ScriptedAnswer &answer,
                                  const QUrl &url)
{
    entries = {};
    ScriptedNetwork network({answer});
    // The code 1 is that of a slot, as the macro puts it in front.
    const QPointer<RequestProxy> proxy = follow(&network, ('1' + slot).constData());
    QSignalSpy read(proxy, &RequestProxy::replyFinished);
    proxy->get(QNetworkRequest(url));
    if (!read.wait())
        add(QStringLiteral("timeout"), true);
    delete proxy;
    return entries;
}

void ServerTranscript::followServer()
{
    connect(&server, &Server::application, this, [this](const Store::Application::ConstPtr &app) {
        add(QStringLiteral("single application"), object(app));
    });
    connect(&server, &Server::company, this, [this](const Store::Company::ConstPtr &company) {
        add(QStringLiteral("company"), QJsonObject::fromVariantMap(company->toMap()));
    });
    connect(&server, &Server::user, this, [this](const Store::User::ConstPtr &user) {
        QJsonObject result = QJsonObject::fromVariantMap(user->toMap());
        result.insert(QStringLiteral("ownProfile"), user->ownProfile);
        add(QStringLiteral("user"), result);
    });
    connect(&server, &Server::category, this, [this](const Store::Category::ConstPtr &category) {
        add(QStringLiteral("category"),
            QJsonArray{category->index, category->uuid, category->parent, category->title});
    });
    connect(&server, &Server::installedApplication, this,
            [this](const QString &uuid) { add(QStringLiteral("installed"), uuid); });
    connect(&server, &Server::backplateActivated, this,
            [this](const Store::Backplate::ConstPtr &backplate) {
                QJsonObject result = QJsonObject::fromVariantMap(backplate->map);
                result.insert(QStringLiteral("bkpId()"), backplate->bkpId());
                add(QStringLiteral("backplate"), result);
            });
    connect(&server, &Server::image, this, [this](const QString &id, const QByteArray &data) {
        add(QStringLiteral("image"), id + QLatin1Char(' ') + QString::fromLatin1(data.toHex()));
    });
    connect(&server, &Server::ready, this, [this] { add(QStringLiteral("ready"), true); });
    connect(&server, &Server::failure, this,
            [this](const QString &uri) { add(QStringLiteral("failure"), uri); });
    connect(&server, &Server::error, this,
            [this](const QString &details) { add(QStringLiteral("error"), details); });
    connect(&server, &Server::developerModeReported, this,
            [this] { add(QStringLiteral("developerMode"), true); });
}

void ServerTranscript::add(const QString &key, const QJsonValue &value)
{
    entries.append(QJsonObject{{key, value}});
}
