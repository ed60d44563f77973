#include "servertranscript.h"
#include "text.h"

#include "store/requestproxy.h"

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
    result.insert(text("valid"), app->valid);
    result.insert(text("adultOnly"), app->adultOnly);
    result.insert(text("fromTopList"), app->fromTopList);
    return result;
}

QJsonObject object(const Store::Review::ConstPtr &review)
{
    return {
        {text("uuid"), review->uuid},
        {text("application"), review->application},
        {text("version"), review->version},
        {text("author"), review->author},
        {text("authorName"), review->authorName},
        {text("review"), review->review},
        {text("createdOn"), dateValue(review->createdOn)},
        {text("updatedOn"), dateValue(review->updatedOn)},
        {text("tempUuid"), review->tempUuid},
    };
}

} // namespace

ServerTranscript::ServerTranscript()
    : server(text("fjord"))
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
                add(text("application"),
                    app->valid ? QJsonValue(object(app)) : QJsonValue(app->title));
                add(text("hasMore"), hasMore);
            });
    connect(proxy, &RequestProxy::feedReceived, this, [this](const Store::Feed::ConstPtr &feed) {
        add(text("feed"), QJsonObject::fromVariantMap(feed->toMap()));
    });
    connect(proxy, &RequestProxy::likeCountReceived, this,
            [this](int count) { add(text("likeCount"), count); });
    connect(proxy, &RequestProxy::pageReceived, this,
            [this](const Store::ResultPage &page) { add(text("page"), page.next.toString()); });
    connect(proxy, &RequestProxy::reviewReceived, this,
            [this](const Store::Review::ConstPtr &review, bool hasMore) {
                add(text("review"), object(review));
                add(text("hasMore"), hasMore);
            });
    connect(proxy, &RequestProxy::searchCompletionReceived, this, [this](const QStringList &words) {
        add(text("words"), QJsonArray::fromStringList(words));
    });
    connect(proxy, &RequestProxy::reviewUuidReceived, this,
            [this](const QString &uuid) { add(text("reviewUuid"), uuid); });
    connect(proxy, &RequestProxy::finished, this, [this] { add(text("finished"), true); });
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
        add(text("timeout"), true);
    delete proxy;
    return entries;
}

void ServerTranscript::followServer()
{
    connect(&server, &Server::application, this, [this](const Store::Application::ConstPtr &app) {
        add(text("single application"), object(app));
    });
    connect(&server, &Server::company, this, [this](const Store::Company::ConstPtr &company) {
        add(text("company"), QJsonObject::fromVariantMap(company->toMap()));
    });
    connect(&server, &Server::user, this, [this](const Store::User::ConstPtr &user) {
        QJsonObject result = QJsonObject::fromVariantMap(user->toMap());
        result.insert(text("ownProfile"), user->ownProfile);
        add(text("user"), result);
    });
    connect(&server, &Server::category, this, [this](const Store::Category::ConstPtr &category) {
        add(text("category"),
            QJsonArray{category->index, category->uuid, category->parent, category->title});
    });
    connect(&server, &Server::installedApplication, this,
            [this](const QString &uuid) { add(text("installed"), uuid); });
    connect(&server, &Server::backplateActivated, this,
            [this](const Store::Backplate::ConstPtr &backplate) {
                QJsonObject result = QJsonObject::fromVariantMap(backplate->map);
                result.insert(text("bkpId()"), backplate->bkpId());
                add(text("backplate"), result);
            });
    connect(&server, &Server::image, this, [this](const QString &id, const QByteArray &data) {
        add(text("image"), id + QLatin1Char(' ') + QString::fromLatin1(data.toHex()));
    });
    connect(&server, &Server::ready, this, [this] { add(text("ready"), true); });
    connect(&server, &Server::failure, this,
            [this](const QString &uri) { add(text("failure"), uri); });
    connect(&server, &Server::error, this,
            [this](const QString &details) { add(text("error"), details); });
    connect(&server, &Server::developerModeReported, this,
            [this] { add(text("developerMode"), true); });
}

void ServerTranscript::add(const QString &key, const QJsonValue &value)
{
    entries.append(QJsonObject{{key, value}});
}
