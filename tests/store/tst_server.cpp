#include "logcapture.h"
#include "storeconnection.h"

#include "store/json.h"
#include "store/requestproxy.h"

#include <QDBusConnection>
#include <QElapsedTimer>
#include <QSignalSpy>
#include <QTcpServer>
#include <QTcpSocket>
#include <QTest>

#include <functional>

using namespace ItemFilter;
using Store::RequestProxy;
using Store::Server;

namespace {

const QString api = QStringLiteral("/api/v001/");
const QString imageUrl = QStringLiteral("/static/image");

/** Sends a request that the caller of the test doesn't hear of further. */
using Send = std::function<RequestProxy *(Server &)>;

/** The contents of a fault as an object. */
QJsonObject fault(const char *kind, const char *key = nullptr, const QJsonValue &value = {})
{
    QJsonObject result{{QStringLiteral("do"), QString::fromLatin1(kind)}};
    if (key)
        result.insert(QLatin1String(key), value);
    return result;
}

/** A door that gives each caller the same answer and keeps what it was sent. */
class PlainServer : public QObject
{
    Q_OBJECT

public:
    explicit PlainServer(const QByteArray &answer)
    {
        m_server.listen(QHostAddress::LocalHost);
        connect(&m_server, &QTcpServer::newConnection, this, [this, answer] {
            QTcpSocket *socket = m_server.nextPendingConnection();
            connect(socket, &QTcpSocket::readyRead, this, [this, socket, answer] {
                received.append(socket->readAll());
                socket->write(answer);
            });
        });
    }

    [[nodiscard]] QString url() const
    {
        return QStringLiteral("http://127.0.0.1:%1/x").arg(m_server.serverPort());
    }

    QList<QByteArray> received;

private:
    QTcpServer m_server;
};

} // namespace

Q_DECLARE_METATYPE(Send)

class TstServer : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void discoveryAsksInOrder();
    void discoveryMeetsFaults_data();
    void discoveryMeetsFaults();
    void categoriesOverTwoPages();
    void nothingIsSentTooEarly();
    void sends_data();
    void sends();
    void reviewsNeedAProfile();
    void installsAreNotedOffline();
    void listPagesOnDemand();
    void listStopsWhenCancelled();
    void pagesByItself();
    void foldsEqualFetches();
    void fetchesAgainAfterFailure();
    void endlessPagingBlocksNobody();
    void endlessBody();
    void goesOnline();
    void comingOnlineCutsTransfers();
    void managerReplacedDuringDelivery();
    void challengeIsAnsweredOnce();
    void foreignCertificateIsRefused();
    void logsHoldNoToken();
    void developerModeNeverEnds();
};

void TstServer::discoveryAsksInOrder()
{
    StoreConnection connection;
    QSignalSpy categories(connection.server.get(), &Server::category);
    QSignalSpy user(connection.server.get(), &Server::user);
    QSignalSpy ready(connection.server.get(), &Server::ready);
    connection.server->connectToServer();
    QVERIFY(ready.wait());
    QVERIFY(categories.count() > 1);
    QCOMPARE(user.count(), 1);

    const QStringList asked{QStringLiteral("GET /api/v001/"), QStringLiteral("GET /api/search/"),
                            QStringLiteral("GET /api/v001/category/"),
                            QStringLiteral("GET /api/v001/user/"),
                            QStringLiteral("GET /api/v001/myapplications/")};
    QStringList order;
    const QStringList seen = connection.requests();
    for (const QString &request : seen) {
        if (asked.contains(request) && !order.contains(request))
            order.append(request);
    }
    QCOMPARE(order, asked);
    const QString bearer = QStringLiteral("Bearer ") + connection.server->accessToken();
    const QJsonArray entries = connection.store.entries(QStringLiteral("request"));
    for (int i = 0; i < entries.size(); ++i) {
        // The two schemas are asked for without the token.
        QCOMPARE(entries[i]
                     .toObject()[QLatin1String("headers")]
                     .toObject()[QLatin1String("Authorization")]
                     .toString(),
                 i < 2 ? QString() : bearer);
    }
}

void TstServer::discoveryMeetsFaults_data()
{
    QTest::addColumn<QString>("path");
    QTest::addColumn<QJsonObject>("description");
    QTest::addColumn<QString>("error");
    QTest::addColumn<QString>("end"); // "ready", "failure" or nothing at all

    const QString category = api + QStringLiteral("category/");
    const QString user = api + QStringLiteral("user/");
    const QString installed = api + QStringLiteral("myapplications/");
    const QString search = QStringLiteral("/api/search/");
    const QString notAvailable = QStringLiteral("orvik-store-no-error_server_not_available");
    const QString general = QStringLiteral("orvik-store-no-error_general_server_error");
    const QString noContent = QStringLiteral("orvik-store-no-error_content_not_available");
    const QString ready = QStringLiteral("ready");
    const QString failure = QStringLiteral("failure");
    const auto row = [](const char *name, const QString &path, const QJsonObject &description,
                        const QString &error, const QString &end) {
        QTest::newRow(name) << path << description << error << end;
    };
    const QString schema = QStringLiteral("^/api/v001/$");
    row("no schema", schema, fault("body", "body", QStringLiteral("{")), notAvailable, QString());
    row("no applications", schema,
        fault("body", "body",
              QStringLiteral("{\"category\": {\"list_endpoint\": \"/api/v001/category/\"}}")),
        QString(), QString());
    row("no categories", schema,
        fault("body", "body",
              QStringLiteral("{\"application\": {\"list_endpoint\": \"/api/v001/application/\"}}")),
        QString(), QString());
    row("no search", search, fault("body", "body", QStringLiteral("[")), notAvailable, ready);
    row("unreadable categories", category, fault("body", "body", QString()), QString(), ready);
    row("unreadable user", user, fault("error_message", "error_message", QString()), QString(),
        ready);
    row("unreadable installed list", installed, fault("type", "type", QStringLiteral("text/html")),
        QString(), ready);
    row("missing categories", category, fault("status", "status", 404), QString(), failure);
    row("forbidden user", user, fault("status", "status", 403), noContent, failure);
    row("teapot", user, fault("status", "status", 418), general, failure);
    row("a server error is retried", installed, fault("status", "status", 500), general, failure);
    row("cut for good", user, fault("cut"), notAvailable, failure);
    QJsonObject twice = fault("status", "status", 503);
    twice.insert(QStringLiteral("times"), 5);
    row("five server errors", category, twice, QString(), ready);
    QJsonObject resets = fault("reset");
    resets.insert(QStringLiteral("times"), 2);
    row("two resets", category, resets, QString(), ready);
}

void TstServer::discoveryMeetsFaults()
{
    QFETCH(QString, path);
    QFETCH(QJsonObject, description);
    QFETCH(QString, error);
    QFETCH(QString, end);
    StoreConnection connection;
    connection.fault(path, description);
    QSignalSpy ready(connection.server.get(), &Server::ready);
    QSignalSpy failure(connection.server.get(), &Server::failure);
    QSignalSpy errors(connection.server.get(), &Server::error);
    connection.server->connectToServer();
    if (end.isEmpty()) {
        QVERIFY(!ready.wait(500));
        QCOMPARE(connection.requests(), QStringList{QStringLiteral("GET /api/v001/")});
    } else {
        QTRY_VERIFY(ready.count() + failure.count() > 0);
    }
    QCOMPARE(ready.count(), end == QLatin1String("ready") ? 1 : 0);
    QCOMPARE(failure.count(), end == QLatin1String("failure") ? 1 : 0);
    QStringList told;
    for (const QList<QVariant> &arguments : errors)
        told.append(arguments.first().toString());
    QCOMPARE(told, error.isEmpty() ? QStringList() : QStringList{error});
}

void TstServer::categoriesOverTwoPages()
{
    StoreConnection connection;
    QJsonObject first =
        fault("body", "body",
              QStringLiteral("{\"objects\": [{\"uuid\": \"a\"}, {\"uuid\": \"b\"}],"
                             " \"meta\": {\"next\": \"/api/v001/category/?offset=2\"}}"));
    QJsonObject second =
        fault("body", "body", QStringLiteral("{\"objects\": [{\"uuid\": \"c\"}]}"));
    connection.fault(QStringLiteral("^/api/v001/category/$"), first);
    connection.fault(QStringLiteral("/api/v001/category/?offset=2"), second);
    QStringList seen;
    connect(connection.server.get(), &Server::category, this,
            [&seen](const Store::Category::ConstPtr &category) {
                seen.append(QString::number(category->index) + category->uuid);
            });
    QVERIFY(connection.connectToServer());
    QCOMPARE(seen,
             (QStringList{QStringLiteral("00"), QStringLiteral("1a"), QStringLiteral("2b"),
                          QStringLiteral("3c")}));
}

void TstServer::nothingIsSentTooEarly()
{
    StoreConnection connection;
    Server &server = *connection.server;
    const QString id = QStringLiteral("1");
    QVERIFY(!server.requestApplications(Expression::ConstPtr(new Limit(1, new Hidden))));
    QVERIFY(!server.requestApplications(Expression::ConstPtr(new Scope(3, new Hidden))));
    QVERIFY(!server.requestApplications({}));
    QTest::ignoreMessage(QtWarningMsg, "Too early to request for feed items!");
    QVERIFY(!server.requestFeedItems(1));
    QVERIFY(!server.requestReviews(id, 1));
    QVERIFY(!server.sendReview(QString(), id, id, id));
    QVERIFY(!server.requestLikes(id, 1));
    QVERIFY(!server.requestIsLiked(id));
    QVERIFY(!server.like(id));
    QVERIFY(!server.unlike(id));
    QVERIFY(!server.requestSearchCompletions(id));
    QVERIFY(!server.postStoreInstalled(id));
    QVERIFY(!server.postStoreUninstalled(id));
    QVERIFY(!server.activateBackplate(id));
    QTest::ignoreMessage(QtWarningMsg, "Profile endpoint not available on server.");
    server.reportDeveloperModeEnabled();

    // Connected, a tree that selects no endpoint is still refused.
    QVERIFY(connection.connectToServer());
    QVERIFY(!server.requestApplications(Expression::ConstPtr(new Limit(1, new Hidden))));
    QVERIFY(!server.requestApplications(Expression::ConstPtr(new Scope(4, new Hidden))));
}

void TstServer::sends_data()
{
    QTest::addColumn<Send>("send");
    QTest::addColumn<QString>("line");
    QTest::addColumn<QString>("body");

    const QString standard = QStringLiteral("device=fjord&domain=sales&osversion=3.2.1");
    const auto row = [](const char *name, const Send &send, const QString &line,
                        const QString &body = QString()) {
        QTest::newRow(name) << send << line << body;
    };
    const auto list = [](Expression *tree) {
        const Expression::ConstPtr shared(tree);
        return [shared](Server &server) { return server.requestApplications(shared); };
    };
    const auto text = [](const char *string) { return QString::fromUtf8(string); };

    row("list", list(new Scope(1, new Limit(5, new Match(text("a b"))))),
        text("GET /api/v001/application/search/?q=a%20b&limit=5&") + standard);
    row("list without a query", list(new Scope(1, new Category(text("0")))),
        text("GET /api/v001/application/?") + standard);
    row("search", list(new Scope(2, new Search(text("&=#")))),
        text("GET /api/search/application/?q=%26%3D%23&") + standard);
    row("top list", list(new TopScope(3, new Limit(2, new Hidden), TopKindNew)),
        text("GET /api/v001/top/new/?hidden=true&limit=2&") + standard);
    row(
        "feed", [](Server &server) { return server.requestFeedItems(7); },
        text("GET /api/v001/feed/?") + standard + text("&limit=7"));
    row(
        "application",
        [=](Server &server) { return server.requestApplicationData(text("a-1")), nullptr; },
        text("GET /api/v001/application/a-1/"));
    row(
        "company", [=](Server &server) { return server.requestCompany(text("c-1")), nullptr; },
        text("GET /api/v001/company/c-1/"));
    row(
        "user", [=](Server &server) { return server.requestUser(text("u 1")), nullptr; },
        text("GET /api/v001/user/u%201/"));
    row(
        "image by a path",
        [=](Server &server) { return server.requestImage(text("/static/x y.png?a=b")), nullptr; },
        text("GET /static/x%20y.png?a=b"));
    row(
        "image by a URL",
        [=](Server &server) {
            return server.requestImage(text("https://api.orvik-store.example/static/z.png")),
                   nullptr;
        },
        text("GET /static/z.png"));
    row(
        "reviews", [=](Server &server) { return server.requestReviews(text("a-1"), 10); },
        text("GET /api/v001/review/?application__uuid=a-1&limit=10"));
    const auto review = [=](const char *uuid, const char *words) {
        return [=](Server &server) {
            return server.sendReview(text(uuid), text("a-1"), text(words), text("1.0"));
        };
    };
    const QString reviewBody = text("{\n    \"application\": \"a-1\",\n"
                                    "    \"device\": \"860012030045678\",\n"
                                    "    \"language\": \"%1\",\n    \"review\": \"%2\",\n"
                                    "    \"version\": \"1.0\"\n}\n");
    QString language = QLocale().uiLanguages().first();
    language = language.section(QLatin1Char('-'), 0, 0);
    row("new review", review("", "Gut\n\"ä\""), text("POST /api/v001/review/"),
        reviewBody.arg(language, text("Gut\\n\\\"ä\\\"")));
    row("new and empty", review("", ""), text("POST /api/v001/review/"),
        reviewBody.arg(language, QString()));
    row("changed review", review("r-1", "x"), text("PUT /api/v001/review/r-1/"),
        reviewBody.arg(language, text("x")));
    row("deleted review", review("r-1", ""), text("DELETE /api/v001/review/r-1/"));
    row(
        "likes", [=](Server &server) { return server.requestLikes(text("a-1"), 1); },
        text("GET /api/v001/like/?application__uuid=a-1&limit=1"));
    row(
        "is liked", [=](Server &server) { return server.requestIsLiked(text("a-1")); },
        text("GET /api/v001/like/a-1/"));
    const QString applicationBody = text("{\n    \"application\": \"a-1\"\n}\n");
    row(
        "like", [=](Server &server) { return server.like(text("a-1")); },
        text("POST /api/v001/like/"), applicationBody);
    row(
        "unlike", [=](Server &server) { return server.unlike(text("a-1")); },
        text("DELETE /api/v001/like/a-1/"));
    row(
        "completions",
        [=](Server &server) { return server.requestSearchCompletions(text("a b&c")); },
        text("GET /api/search/application/autocomplete/?q=a%20b&c"));
    row(
        "installed", [=](Server &server) { return server.postStoreInstalled(text("a-1")); },
        text("POST /api/v001/myapplications/"), applicationBody);
    row(
        "uninstalled", [=](Server &server) { return server.postStoreUninstalled(text("a-1")); },
        text("DELETE /api/v001/myapplications/a-1/"));
    row(
        "developer mode",
        [](Server &server) { return server.reportDeveloperModeEnabled(), nullptr; },
        text("GET /api/v001/profile/set/developer_mode/?imei=860012030045678"));
    row(
        "back cover", [=](Server &server) { return server.activateBackplate(text("17")); },
        text("PUT /api/v001/backplate/17/"), text("{}"));
}

void TstServer::sends()
{
    QFETCH(Send, send);
    QFETCH(QString, line);
    QFETCH(QString, body);
    StoreConnection connection;
    connection.server->setOsVersion(QStringLiteral("3.2.1"));
    QVERIFY(connection.connectToServer());
    // A status that ends everything at once, so that one request is what is seen.
    connection.fault(QStringLiteral("/"), fault("status", "status", 403));
    RequestProxy *proxy = send(*connection.server);
    if (proxy) {
        QSignalSpy finished(proxy, &RequestProxy::finished);
        QVERIFY(finished.wait());
    }
    const QJsonObject entry = connection.request(QStringLiteral("/"));
    QCOMPARE(connection.requests(), QStringList{line});
    QCOMPARE(entry[QLatin1String("body")].toString(), body);
    const QJsonObject headers = entry[QLatin1String("headers")].toObject();
    QCOMPARE(headers[QLatin1String("Authorization")].toString(),
             QStringLiteral("Bearer ") + connection.server->accessToken());
    if (!body.isEmpty())
        QCOMPARE(headers[QLatin1String("Content-Type")].toString(),
                 QStringLiteral("application/json"));
}

void TstServer::reviewsNeedAProfile()
{
    StoreConnection connection;
    connection.fault(api + QStringLiteral("user/"), fault("body", "body", QString()));
    QVERIFY(connection.connectToServer());
    const QString id = QStringLiteral("1");
    QVERIFY(!connection.server->sendReview(QString(), id, id, id));
    QVERIFY(!connection.server->postStoreInstalled(id));

    connection.store.command(QStringLiteral("clear-faults"));
    QVERIFY(connection.connectToServer());
    QVERIFY(!connection.server->sendReview(QString(), QString(), id, id));
    QVERIFY(connection.server->sendReview(QString(), id, id, id));
}

void TstServer::installsAreNotedOffline()
{
    StoreConnection connection;
    const QString package = QStringLiteral("harbour-noted");
    const QString uuid =
        connection.store
            .command(QStringLiteral("application"),
                     {{QStringLiteral("package_name"), package}})[QLatin1String("uuid")]
            .toString();
    QVERIFY(!connection.server->postStoreInstalled(uuid)); // there is no endpoint yet
    QVERIFY(connection.connectToServer());
    Store::Application::ConstPtr app;
    connect(connection.server.get(), &Server::application, this,
            [&app](const Store::Application::ConstPtr &received) { app = received; });
    connection.server->requestApplicationData(uuid);
    QTRY_VERIFY(app);
    QCOMPARE(app->uuid, uuid);
    QVERIFY(app->installedOn.isValid());
}

void TstServer::listPagesOnDemand()
{
    StoreConnection connection;
    QVERIFY(connection.connectToServer());
    const Expression::ConstPtr tree(new Scope(1, new Limit(2, new Category(QStringLiteral("0")))));
    RequestProxy *proxy = connection.server->requestApplications(tree);
    QSignalSpy applications(proxy, &RequestProxy::applicationReceived);
    QSignalSpy pages(proxy, &RequestProxy::pageReceived);
    QSignalSpy finished(proxy, &RequestProxy::finished);
    QVERIFY(pages.wait());
    QCOMPARE(applications.count(), 2);
    QVERIFY(applications.last()[1].toBool()); // more is to come, also after the last of a page
    QCOMPARE(connection.requests().size(), 1); // and only when it is asked for
    const auto page = pages.first().first().value<Store::ResultPage>();
    QVERIFY(connection.server->requestNext(page, proxy));
    QVERIFY(pages.wait());
    QCOMPARE(applications.count(), 4);

    Store::ResultPage last = pages.last().first().value<Store::ResultPage>();
    last.next = QUrl(QStringLiteral("/api/v001/application/?offset=1000000"));
    QVERIFY(connection.server->requestNext(last, proxy));
    QVERIFY(finished.wait());
    const auto end = applications.last().first().value<Store::Application::ConstPtr>();
    QVERIFY(!end->valid);
    QVERIFY(!applications.last()[1].toBool());
    QCOMPARE(finished.count(), 1);
}

void TstServer::listStopsWhenCancelled()
{
    StoreConnection connection;
    QVERIFY(connection.connectToServer());
    const Expression::ConstPtr tree(new Scope(1, new Limit(3, new Category(QStringLiteral("0")))));
    QPointer<RequestProxy> proxy = connection.server->requestApplications(tree);
    QSignalSpy applications(proxy, &RequestProxy::applicationReceived);
    QSignalSpy pages(proxy, &RequestProxy::pageReceived);
    connect(proxy, &RequestProxy::applicationReceived, proxy, &RequestProxy::cancel);
    Store::ResultPage page;
    page.next = QUrl(QStringLiteral("/x"));
    connect(proxy, &RequestProxy::finished, this,
            [&] { QVERIFY(!connection.server->requestNext(page, proxy)); });
    QTRY_VERIFY(!proxy);
    QCOMPARE(applications.count(), 1);
    QCOMPARE(pages.count(), 0);
    QVERIFY(!connection.server->requestNext(page, proxy));
}

void TstServer::pagesByItself()
{
    StoreConnection connection;
    QVERIFY(connection.connectToServer());
    const QString uuid =
        connection.store
            .command(QStringLiteral("application"),
                     {{QStringLiteral("package_name"),
                       QStringLiteral("harbour-much-reviewed")}})[QLatin1String("uuid")]
            .toString();
    connection.store.command(QStringLiteral("reviews"),
                             {{QStringLiteral("application"), uuid}, {QStringLiteral("count"), 5}});
    connection.store.clearLog();
    RequestProxy *proxy = connection.server->requestReviews(uuid, 2);
    QString more;
    connect(proxy, &RequestProxy::reviewReceived, this,
            [&more](const Store::Review::ConstPtr &, bool hasMore) {
                more += hasMore ? QLatin1Char('+') : QLatin1Char('.');
            });
    QSignalSpy finished(proxy, &RequestProxy::finished);
    QVERIFY(finished.wait());
    QCOMPARE(more, QStringLiteral("+.+.."));
    QCOMPARE(connection.requests().size(), 3);
}

void TstServer::foldsEqualFetches()
{
    StoreConnection connection;
    QVERIFY(connection.connectToServer());
    QSignalSpy company(connection.server.get(), &Server::company);
    const QString uuid = QStringLiteral("c-1");
    connection.fault(api + QStringLiteral("company/"),
                     fault("error_message", "error_message", QStringLiteral("none")));
    for (int i = 0; i < 10000; ++i)
        connection.server->requestCompany(uuid);
    connection.server->requestCompany(QStringLiteral("c-2"));
    QTRY_COMPARE(company.count(), 2);
    QCOMPARE(connection.requests().size(), 2);
    connection.server->requestCompany(uuid);
    QTRY_COMPARE(company.count(), 3);
}

void TstServer::fetchesAgainAfterFailure()
{
    StoreConnection connection;
    QVERIFY(connection.connectToServer());
    QSignalSpy failure(connection.server.get(), &Server::failure);
    QSignalSpy error(connection.server.get(), &Server::error);
    connection.server->requestCompany(QStringLiteral("missing"));
    QVERIFY(failure.wait());
    QCOMPARE(failure.first().first().toString(),
             QStringLiteral("https://api.orvik-store.example/api/v001/company/missing/"));
    connection.server->requestCompany(QStringLiteral("missing"));
    QVERIFY(failure.wait());
    QCOMPARE(connection.requests().size(), 2);
    QCOMPARE(error.count(), 0); // an ordinary 404 is silent
}

void TstServer::endlessPagingBlocksNobody()
{
    StoreConnection connection;
    connection.fault(api + QStringLiteral("category/"), fault("page-loop"));
    QSignalSpy categories(connection.server.get(), &Server::category);
    QSignalSpy ready(connection.server.get(), &Server::ready);
    connection.server->connectToServer();
    QTRY_VERIFY(categories.count() > 100);
    QSignalSpy company(connection.server.get(), &Server::company);
    QSignalSpy failure(connection.server.get(), &Server::failure);
    connection.server->requestCompany(QStringLiteral("missing"));
    QVERIFY(failure.wait());
    QCOMPARE(ready.count(), 0);
    connection.store.command(QStringLiteral("clear-faults"));
    QVERIFY(ready.wait());
}

void TstServer::endlessBody()
{
    StoreConnection connection;
    QJsonObject endless = fault("endless");
    endless.insert(QStringLiteral("times"), 1);
    connection.fault(imageUrl, endless);
    connection.fault(imageUrl + QStringLiteral("/2"), fault("status", "status", 403));
    QSignalSpy image(connection.server.get(), &Server::image);
    QSignalSpy failure(connection.server.get(), &Server::failure);
    connection.server->requestImage(imageUrl);
    connection.server->requestImage(imageUrl + QStringLiteral("/2"));
    QVERIFY(failure.wait()); // of the second, while the first is still coming in
    QVERIFY(failure.wait(60000)); // the store knows no such image once it has been cut
    QCOMPARE(image.count(), 0);
}

void TstServer::goesOnline()
{
    StoreConnection connection;
    QTRY_VERIFY(connection.server->isOnline());
    QVERIFY(connection.server->goOnline());
    QVERIFY(connection.server->isConnectionActive());
    QCOMPARE(connection.server->bearerType(), QNetworkConfiguration::BearerWLAN);
    QSignalSpy online(connection.server.get(), &Server::onlineStateChanged);
    connection.services.command(QStringLiteral("connman"),
                                {{QStringLiteral("state"), QStringLiteral("idle")}});
    QTRY_VERIFY(!connection.server->isOnline());
    QVERIFY(!connection.server->isConnectionActive());
    QVERIFY(!connection.server->goOnline());
    const QJsonObject asked =
        connection.services.waitForKind(QStringLiteral("dialog.openConnectionNow"));
    QCOMPARE(asked[QLatin1String("arguments")].toArray(), QJsonArray{QStringLiteral("wlan")});
    QCOMPARE(connection.services.entries(QStringLiteral("dialog.openConnectionNow")).size(), 1);
    connection.services.command(QStringLiteral("connman"),
                                {{QStringLiteral("state"), QStringLiteral("online")}});
    QTRY_COMPARE(online.count(), 2);
    QVERIFY(!online[0].first().toBool());
    QVERIFY(online[1].first().toBool());
}

void TstServer::comingOnlineCutsTransfers()
{
    StoreConnection connection;
    QVERIFY(connection.connectToServer());
    connection.fault(api + QStringLiteral("application/"), fault("hang"));
    const Expression::ConstPtr tree(new Scope(1, new Category(QStringLiteral("0"))));
    QPointer<RequestProxy> cut = connection.server->requestApplications(tree);
    QSignalSpy finished(cut, &RequestProxy::finished);
    QVERIFY(!connection.request(api + QStringLiteral("application/")).isEmpty());
    QSignalSpy failure(connection.server.get(), &Server::failure);
    {
        const LogCapture log;
        QSignalSpy online(connection.server.get(), &Server::onlineStateChanged);
        for (const char *state : {"idle", "online"}) {
            connection.services.command(QStringLiteral("connman"),
                                        {{QStringLiteral("state"), QString::fromLatin1(state)}});
            QVERIFY(online.wait());
        }
        QCOMPARE(LogCapture::lines("was destroyed unexpectedly.").size(), 1);
    }
    connection.store.command(QStringLiteral("clear-faults"));
    // The cut request says nothing more; the next one goes through.
    RequestProxy *next = connection.server->requestApplications(tree);
    QSignalSpy applications(next, &RequestProxy::applicationReceived);
    QVERIFY(applications.wait());
    QVERIFY(cut);
    QVERIFY(!cut->isRunning());
    QCOMPARE(finished.count() + failure.count(), 0);
    cut->cancel();
    QCOMPARE(finished.count(), 1);
}

void TstServer::managerReplacedDuringDelivery()
{
    StoreConnection connection;
    QVERIFY(connection.connectToServer());
    QSignalSpy company(connection.server.get(), &Server::company);
    connect(connection.server.get(), &Server::company, this, [&connection] {
        QMetaObject::invokeMethod(connection.server.get(), "slotOnlineStateChanged",
                                  Q_ARG(bool, true));
    });
    connection.fault(api + QStringLiteral("company/"), fault("body", "body", QStringLiteral("{}")));
    connection.server->requestCompany(QStringLiteral("1"));
    QVERIFY(company.wait());
    connection.server->requestCompany(QStringLiteral("1"));
    QVERIFY(company.wait());
}

void TstServer::challengeIsAnsweredOnce()
{
    StoreConnection connection;
    const PlainServer door("HTTP/1.1 401 Unauthorized\r\nWWW-Authenticate: Basic realm=\"x\"\r\n"
                           "Content-Length: 0\r\n\r\n");
    QSignalSpy failure(connection.server.get(), &Server::failure);
    connection.server->requestImage(door.url());
    QVERIFY(failure.wait());
    const QByteArray basic = QByteArrayLiteral("q72kd41mx58t3c:q7261VbmtRzheW").toBase64();
    QCOMPARE(door.received.size(), 2);
    QVERIFY(!door.received.first().contains(basic));
    QVERIFY(door.received.last().contains("Authorization: Basic " + basic));
    QCOMPARE(connection.server->accountState(), AccountState::NeedsUpdate);
}

void TstServer::foreignCertificateIsRefused()
{
    StoreConnection connection;
    const LogCapture log;
    QSignalSpy failure(connection.server.get(), &Server::failure);
    QSignalSpy error(connection.server.get(), &Server::error);
    connection.server->requestImage(QStringLiteral("https://127.0.0.1/static/x.png"));
    QVERIFY(failure.wait());
    QCOMPARE(error.first().first().toString(),
             QStringLiteral("orvik-store-no-error_general_server_error"));
    QCOMPARE(LogCapture::lines("Store::Server::slotSslErrors \"\"").size(), 6);
    QCOMPARE(LogCapture::lines("retry limit reached").size(), 1);
    QCOMPARE(connection.requests(), QStringList());
}

void TstServer::logsHoldNoToken()
{
    const LogCapture log;
    StoreConnection connection;
    const QString token = connection.server->accessToken();
    QVERIFY(token.size() > 8);
    QVERIFY(connection.connectToServer());
    // A server that repeats what it was sent, in an error page and in a trace.
    QJsonObject page = fault("status", "status", 403);
    page.insert(QStringLiteral("body"), QStringLiteral("you sent Bearer ") + token);
    connection.fault(imageUrl, page);
    QJsonObject trace = fault("error_message", "error_message", QStringLiteral("no"));
    trace.insert(QStringLiteral("traceback"), QStringLiteral("at ") + token);
    connection.fault(api + QStringLiteral("feed/"), trace);
    QSignalSpy failure(connection.server.get(), &Server::failure);
    connection.server->requestImage(imageUrl);
    QVERIFY(failure.wait());
    QSignalSpy finished(connection.server->requestFeedItems(1), &RequestProxy::finished);
    QVERIFY(finished.wait());
    QCOMPARE(LogCapture::lines("Data:  \"you sent Bearer").size(), 1);
    QCOMPARE(LogCapture::lines("Parse Error: \"at").size(), 1);
    for (const QString &line : LogCapture::lines())
        QVERIFY(!line.contains(token));
}

void TstServer::developerModeNeverEnds()
{
    StoreConnection connection;
    QVERIFY(connection.connectToServer());
    QSignalSpy reported(connection.server.get(), &Server::developerModeReported);
    connection.server->reportDeveloperModeEnabled();
    QVERIFY(reported.wait());
    connection.server.reset(); // frees its request; the leak checker sees to it
}

QTEST_GUILESS_MAIN(TstServer)
#include "tst_server.moc"
