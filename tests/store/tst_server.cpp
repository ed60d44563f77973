#include "logcapture.h"
#include "simulatorclient.h"
#include "testaccount.h"
#include "text.h"

#include "store/requestproxy.h"
#include "store/server.h"

#include <QJsonDocument>
#include <QRegularExpression>
#include <QSignalSpy>
#include <QTcpServer>
#include <QTcpSocket>
#include <QTest>

#include <functional>
#include <memory>

using namespace ItemFilter;
using Store::RequestProxy;
using Store::Server;

namespace {

const QString base = text("https://api.orvik-store.example");
const QString image = text("/static/image");

constexpr char notAvailable[] = "orvik-store-no-error_server_not_available";
constexpr char noContent[] = "orvik-store-no-error_content_not_available";
constexpr char general[] = "orvik-store-no-error_general_server_error";

/** Sends a request that the caller of the test doesn't hear of further. */
using Send = std::function<RequestProxy *(Server &)>;

/** The first three applications of all. */
Expression::ConstPtr someApplications()
{
    return Expression::ConstPtr(new Scope(1, new Limit(3, new Category(text("0")))));
}

/** A fault that answers with @p body. */
QByteArray answering(const char *body, int times = -1)
{
    return QJsonDocument(
               {{text("do"), text("body")}, {text("body"), text(body)}, {text("times"), times}})
        .toJson();
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
        return text("http://127.0.0.1:%1/x").arg(m_server.serverPort());
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
    void init();
    void cleanup();

    void discoveryAsksInOrder();
    void discoveryMeetsFaults_data();
    void discoveryMeetsFaults();
    void categoriesOverTwoPages();
    void transfersFail();
    void refusesWithoutEndpoint();
    void sends_data();
    void sends();
    void reviewsNeedAProfile();
    void installsAreNotedOffline();
    void listPagesOnDemand();
    void listStopsWhenCancelled();
    void foldsEqualFetches();
    void goesOnline();
    void comingOnlineCutsTransfers();
    void challengeIsAnsweredOnce();
    void logsHoldNoToken();
    void developerModeNeverEnds();

private:
    /** Runs the discovery to its end. @return whether it came to ready(). */
    [[nodiscard]] bool discover();
    /** What the store was asked, as "METHOD path?query", oldest first. */
    [[nodiscard]] QStringList requests();
    /** Has the network go and come. */
    void setNetwork(const char *state);
    [[nodiscard]] QString bearer() const;

    SimulatorClient m_store{text("Store")};
    SimulatorClient m_services{text("Services")};
    std::unique_ptr<Server> m_server; // signed in
};

void TstServer::init()
{
    m_store.command("reset");
    m_services.command("reset");
    TestAccount().repair();
    m_server = std::make_unique<Server>(text("fjord"));
    m_server->signIn();
    QTRY_COMPARE_WITH_TIMEOUT(m_server->accountState(), AccountState::SignedIn, 20000);
    m_store.clearLog();
}

void TstServer::cleanup()
{
    m_server.reset();
}

bool TstServer::discover()
{
    QSignalSpy ready(m_server.get(), &Server::ready);
    m_server->connectToServer();
    const bool isReady = ready.wait(20000);
    m_store.clearLog();
    return isReady;
}

QStringList TstServer::requests()
{
    QStringList result;
    const QJsonArray entries = m_store.requests();
    for (const QJsonValue &value : entries) {
        const QJsonObject entry = value.toObject();
        const QString query = entry[QLatin1String("query")].toString();
        result.append(entry[QLatin1String("method")].toString() + QLatin1Char(' ')
                      + entry[QLatin1String("path")].toString()
                      + (query.isEmpty() ? query : QLatin1Char('?') + query));
    }
    return result;
}

void TstServer::setNetwork(const char *state)
{
    m_services.command(text("connman"), {{text("state"), text(state)}});
}

QString TstServer::bearer() const
{
    return text("Bearer ") + m_server->accessToken();
}

void TstServer::discoveryAsksInOrder()
{
    QSignalSpy ready(m_server.get(), &Server::ready);
    m_server->connectToServer();
    QVERIFY(ready.wait());
    QStringList order = requests();
    order.removeDuplicates();
    QCOMPARE(order.filter(QRegularExpression(text("/$"))),
             (QStringList{text("GET /api/v001/"), text("GET /api/search/"),
                          text("GET /api/v001/category/"), text("GET /api/v001/user/"),
                          text("GET /api/v001/myapplications/")}));
    const QJsonArray entries = m_store.requests();
    for (int i = 0; i < entries.size(); ++i) {
        const QJsonValue headers = entries[i].toObject()[QLatin1String("headers")];
        // The two schemas are asked for without the token.
        QCOMPARE(headers[QLatin1String("Authorization")].toString(), i < 2 ? QString() : bearer());
    }
}

void TstServer::discoveryMeetsFaults_data()
{
    QTest::addColumn<QString>("path");
    QTest::addColumn<QByteArray>("fault");
    QTest::addColumn<QString>("told");

    const auto row = [](const char *name, const char *path, const QByteArray &fault,
                        const QByteArray &told) {
        QTest::newRow(name) << text(path) << fault << text(told.constData());
    };
    const QByteArray error = QByteArray("error ") + notAvailable;
    row("no schema", "^/api/v001/$", answering("{", 1), error);
    row("no applications", "^/api/v001/$",
        answering(R"({"category": {"list_endpoint": "/api/v001/category/"}})", 1), "");
    row("no categories", "^/api/v001/$",
        answering(R"({"application": {"list_endpoint": "/api/v001/application/"}})", 1), "");
    row("no search", "/api/search/", answering("["), error + ", ready");
    row("unreadable categories", "/api/v001/category/", answering(""), "ready");
    row("unreadable user", "/api/v001/user/", R"({"do": "error_message", "error_message": ""})",
        "ready");
    row("unreadable installed list", "/api/v001/myapplications/",
        R"({"do": "type", "type": "text/html"})", "ready");
    row("no user", "/api/v001/user/", R"({"do": "status", "status": 404})",
        "failure https://api.orvik-store.example/api/v001/user/");
}

void TstServer::discoveryMeetsFaults()
{
    QFETCH(QString, path);
    QFETCH(QByteArray, fault);
    QFETCH(QString, told);
    m_store.fault(path, fault);
    QStringList seen;
    connect(m_server.get(), &Server::ready, this, [&] { seen += text("ready"); });
    connect(m_server.get(), &Server::error, this, [&](auto id) { seen += text("error ") + id; });
    connect(m_server.get(), &Server::failure, this,
            [&](auto url) { seen += text("failure ") + url; });
    m_server->connectToServer();
    if (!path.startsWith(QLatin1Char('^'))) {
        QTRY_COMPARE(seen.join(text(", ")), told);
        return;
    }
    // It ends with the first answer. A new attempt goes through, and is the only one.
    QVERIFY(!m_store.waitForKind(text("request")).isEmpty());
    QTRY_COMPARE(seen.join(text(", ")), told);
    m_server->connectToServer();
    QTRY_COMPARE(seen.filter(text("ready")).size(), 1);
    QCOMPARE(seen.size(), told.isEmpty() ? 1 : 2);
    QCOMPARE(m_store.requests(text("/api/search/")).size(), 1);
}

void TstServer::categoriesOverTwoPages()
{
    m_store.fault(text("^/api/v001/category/$"),
                  answering(R"({"objects": [{"uuid": "a"}, {"uuid": "b"}],
                                "meta": {"next": "/api/v001/category/?offset=2"}})"));
    m_store.fault(text("/api/v001/category/?offset=2"),
                  answering(R"({"objects": [{"uuid": "c"}]})"));
    QString seen;
    connect(m_server.get(), &Server::category, this, [&seen](const auto &category) {
        seen += text("%1=%2 ").arg(category->index).arg(category->uuid);
    });
    QVERIFY(discover());
    QCOMPARE(seen, text("0=0 1=a 2=b 3=c "));
}

void TstServer::transfersFail()
{
    struct Row
    {
        const char *path; // unknown to the store, which answers with 404 when the fault is over
        const char *fault;
        const char *message;
        int transfers; // 0: for the toolkit to say
    };
    const QVector<Row> answers{
        {"/static/a", R"({"do": "status", "status": 403})", noContent, 1},
        {"/static/b", R"({"do": "status", "status": 429})", general, 1},
        {"/static/c", R"({"do": "status", "status": 500})", general, 6},
        {"/static/d", R"({"do": "status", "status": 503, "times": 5})", "", 6},
        {"/static/e", R"({"do": "status", "status": 503, "times": 1})", "", 2},
        // The store's certificate is none for an address.
        {"https://127.0.0.1/static/f", R"({"do": "reset"})", general, 0},
    };
    const QVector<Row> accidents{
        {"/static/g", R"({"do": "cut"})", notAvailable, 0},
        {"/static/h", R"({"do": "reset", "times": 2})", "", 0},
        {"/static/i", R"({"do": "endless", "times": 1})", "", 0},
    };
    const LogCapture log;
    QMap<QString, QString> seen; // URL to message
    QString message;
    connect(m_server.get(), &Server::error, this, [&](const QString &id) { message = id; });
    connect(m_server.get(), &Server::failure, this, [&](const QString &url) {
        seen[url] = message;
        message.clear();
    });
    // Many at once, for the sake of the delays between the attempts, but no answers on
    // connections that accidents are about to break.
    for (const QVector<Row> &rows : {answers, accidents}) {
        seen.clear();
        for (const Row &row : rows) {
            m_store.fault(text(row.path), row.fault);
            m_server->requestImage(text(row.path));
        }
        QTRY_COMPARE_WITH_TIMEOUT(seen.size(), rows.size(), 60000);
        for (const Row &row : rows) {
            const QString url = QUrl(base).resolved(QUrl(text(row.path))).toString();
            QVERIFY2(seen.value(url) == text(row.message), row.path);
            if (row.transfers > 0)
                QCOMPARE(m_store.requests(text(row.path)).size(), row.transfers);
        }
    }
    QCOMPARE(LogCapture::lines("Store::Server::slotSslErrors \"\"").size(), 6);
    QCOMPARE(m_store.requests(text("/static/f")).size(), 0);
}

void TstServer::refusesWithoutEndpoint()
{
    QTest::ignoreMessage(QtWarningMsg, "Too early to request for feed items!");
    QVERIFY(!m_server->requestFeedItems(1));
    QTest::ignoreMessage(QtWarningMsg, "Profile endpoint not available on server.");
    m_server->reportDeveloperModeEnabled();
    QVERIFY(discover());
    QVERIFY(!m_server->requestApplications({}));
    QVERIFY(!m_server->requestApplications(Expression::ConstPtr(new Limit(1, new Hidden))));
    QVERIFY(!m_server->requestApplications(Expression::ConstPtr(new Scope(4, new Hidden))));
}

void TstServer::sends_data()
{
    QTest::addColumn<Send>("send");
    QTest::addColumn<QString>("line");
    QTest::addColumn<QString>("body");
    QTest::addColumn<bool>("waits"); // for the discovery

    const auto row = [](const char *name, const char *line, const Send &send,
                        const QString &body = QString(), bool waits = true) {
        QTest::newRow(name) << send
                            << text(line).replace(text("STANDARD"),
                                                  text("device=fjord&domain=sales&osversion=3.2.1"))
                            << body << waits;
    };
    const auto list = [&row](const char *name, const char *line, Expression *tree) {
        const Expression::ConstPtr shared(tree);
        row(name, line, [shared](Server &server) { return server.requestApplications(shared); });
    };
    list("list", "GET /api/v001/application/search/?q=a%20b&limit=5&STANDARD",
         new Scope(1, new Limit(5, new Match(text("a b")))));
    list("list without a query", "GET /api/v001/application/?STANDARD",
         new Scope(1, new Category(text("0"))));
    list("search", "GET /api/search/application/?q=%26%3D%23&STANDARD",
         new Scope(2, new Search(text("&=#"))));
    list("top list", "GET /api/v001/top/new/?hidden=true&limit=2&STANDARD",
         new TopScope(3, new Limit(2, new Hidden), TopKindNew));
    row("feed", "GET /api/v001/feed/?STANDARD&limit=7",
        [](Server &server) { return server.requestFeedItems(7); });

    const auto fetch = [&row](const char *name, const char *line,
                              void (Server::*request)(const QString &), const char *what) {
        row(
            name, line, [=](Server &server) { return (server.*request)(text(what)), nullptr; },
            QString(), false);
    };
    fetch("application", "GET /api/v001/application/a-1/", &Server::requestApplicationData, "a-1");
    fetch("company", "GET /api/v001/company/c-1/", &Server::requestCompany, "c-1");
    fetch("user", "GET /api/v001/user/u%201/", &Server::requestUser, "u 1");
    fetch("image by a path", "GET /static/x%20y.png?a=b", &Server::requestImage,
          "/static/x y.png?a=b");
    fetch("image by a URL", "GET /static/z.png", &Server::requestImage,
          "https://api.orvik-store.example/static/z.png");

    const auto review = [](const char *uuid, const char *words) {
        return [=](Server &server) {
            return server.sendReview(text(uuid), text("a-1"), text(words), text("1.0"));
        };
    };
    const QString language = QLocale().uiLanguages().first().section(QLatin1Char('-'), 0, 0);
    const QString reviewBody = text("{\n    \"application\": \"a-1\",\n"
                                    "    \"device\": \"860012030045678\",\n"
                                    "    \"language\": \"%1\",\n    \"review\": \"%2\",\n"
                                    "    \"version\": \"1.0\"\n}\n");
    row("new review", "POST /api/v001/review/", review("", "Gut\n\"ä\""),
        reviewBody.arg(language, text("Gut\\n\\\"ä\\\"")));
    row("new and empty", "POST /api/v001/review/", review("", ""),
        reviewBody.arg(language, QString()));
    row("changed review", "PUT /api/v001/review/r-1/", review("r-1", "x"),
        reviewBody.arg(language, text("x")));
    row("deleted review", "DELETE /api/v001/review/r-1/", review("r-1", ""));

    const auto social = [&row](const char *name, const char *line,
                               RequestProxy *(Server::*request)(const QString &),
                               const char *what = "a-1", const char *body = "") {
        row(
            name, line, [=](Server &server) { return (server.*request)(text(what)); }, text(body));
    };
    const char applicationBody[] = "{\n    \"application\": \"a-1\"\n}\n";
    row("likes", "GET /api/v001/like/?application__uuid=a-1&limit=1",
        [](Server &server) { return server.requestLikes(text("a-1"), 1); });
    row("reviews", "GET /api/v001/review/?application__uuid=a-1&limit=10",
        [](Server &server) { return server.requestReviews(text("a-1"), 10); });
    social("is liked", "GET /api/v001/like/a-1/", &Server::requestIsLiked);
    social("like", "POST /api/v001/like/", &Server::like, "a-1", applicationBody);
    social("unlike", "DELETE /api/v001/like/a-1/", &Server::unlike);
    social("completions", "GET /api/search/application/autocomplete/?q=a%20b&c",
           &Server::requestSearchCompletions, "a b&c");
    social("installed", "POST /api/v001/myapplications/", &Server::postStoreInstalled, "a-1",
           applicationBody);
    social("uninstalled", "DELETE /api/v001/myapplications/a-1/", &Server::postStoreUninstalled);
    social("back cover", "PUT /api/v001/backplate/17/", &Server::activateBackplate, "17", "{}");
    row("developer mode", "GET /api/v001/profile/set/developer_mode/?imei=860012030045678",
        [](Server &server) { return server.reportDeveloperModeEnabled(), nullptr; });
}

void TstServer::sends()
{
    QFETCH(Send, send);
    QFETCH(bool, waits);
    m_server->setOsVersion(text("3.2.1"));
    if (waits) {
        // Without an endpoint there is nobody to ask.
        QVERIFY(!send(*m_server));
        QCOMPARE(requests(), QStringList());
    }
    QVERIFY(discover());
    // A status that ends everything at once, so that one request is what is seen.
    m_store.fault(text("/"), R"({"do": "status", "status": 403})");
    if (RequestProxy *proxy = send(*m_server)) {
        QSignalSpy finished(proxy, &RequestProxy::finished);
        QVERIFY(finished.wait());
    }
    const QJsonObject entry = m_store.waitForKind(text("request"));
    QTEST(requests().join(text("\n")), "line");
    const QString body = entry[QLatin1String("body")].toString();
    QTEST(body, "body");
    const QJsonValue headers = entry[QLatin1String("headers")];
    QCOMPARE(headers[QLatin1String("Authorization")].toString(), bearer());
    if (!body.isEmpty())
        QCOMPARE(headers[QLatin1String("Content-Type")].toString(), text("application/json"));
}

void TstServer::reviewsNeedAProfile()
{
    m_store.fault(text("/api/v001/user/"), answering(""));
    QVERIFY(discover());
    const QString id = text("1");
    QVERIFY(!m_server->sendReview(QString(), id, id, id));
    QVERIFY(!m_server->postStoreInstalled(id));

    m_store.command("clear-faults");
    QVERIFY(discover());
    QVERIFY(!m_server->sendReview(QString(), QString(), id, id));
    QCOMPARE(requests(), QStringList());
}

void TstServer::installsAreNotedOffline()
{
    const QJsonObject made = m_store.command("application", R"({"package_name": "harbour-noted"})");
    const QString uuid = made[QLatin1String("uuid")].toString();
    QVERIFY(!m_server->postStoreInstalled(uuid)); // there is no endpoint yet
    QVERIFY(discover());
    Store::Application::ConstPtr app;
    connect(m_server.get(), &Server::application, this,
            [&app](const Store::Application::ConstPtr &received) { app = received; });
    m_server->requestApplicationData(uuid);
    QTRY_VERIFY(app);
    QCOMPARE(app->uuid, uuid);
    QVERIFY(app->installedOn.isValid());
}

void TstServer::listPagesOnDemand()
{
    QVERIFY(discover());
    RequestProxy *proxy = m_server->requestApplications(someApplications());
    QSignalSpy applications(proxy, &RequestProxy::applicationReceived);
    QSignalSpy pages(proxy, &RequestProxy::pageReceived);
    QSignalSpy finished(proxy, &RequestProxy::finished);
    QVERIFY(pages.wait());
    QCOMPARE(applications.count(), 3);
    QVERIFY(applications.last()[1].toBool()); // more is to come, also after the last of a page
    QCOMPARE(requests().size(), 1); // and only when it is asked for
    const auto page = pages.first().first().value<Store::ResultPage>();
    QVERIFY(m_server->requestNext(page, proxy));
    QVERIFY(pages.wait());
    QCOMPARE(applications.count(), 6);

    Store::ResultPage last = pages.last().first().value<Store::ResultPage>();
    last.next = QUrl(text("/api/v001/application/?offset=1000000"));
    QVERIFY(m_server->requestNext(last, proxy));
    QVERIFY(finished.wait());
    QVERIFY(!applications.last().first().value<Store::Application::ConstPtr>()->valid);
    QVERIFY(!applications.last()[1].toBool());
    QCOMPARE(finished.count(), 1);
}

void TstServer::listStopsWhenCancelled()
{
    QVERIFY(discover());
    QPointer<RequestProxy> proxy = m_server->requestApplications(someApplications());
    QSignalSpy applications(proxy, &RequestProxy::applicationReceived);
    QSignalSpy pages(proxy, &RequestProxy::pageReceived);
    connect(proxy, &RequestProxy::applicationReceived, proxy, &RequestProxy::cancel);
    Store::ResultPage page;
    page.next = QUrl(text("/x"));
    connect(proxy, &RequestProxy::finished, this,
            [&] { QVERIFY(!m_server->requestNext(page, proxy)); });
    QTRY_VERIFY(!proxy);
    QCOMPARE(applications.count(), 1);
    QCOMPARE(pages.count(), 0);
    QVERIFY(!m_server->requestNext(page, proxy));
}

void TstServer::foldsEqualFetches()
{
    QVERIFY(discover());
    QSignalSpy company(m_server.get(), &Server::company);
    QSignalSpy failure(m_server.get(), &Server::failure);
    m_store.fault(text("/api/v001/company/"), R"({"do": "error_message", "error_message": "x"})");
    for (int i = 0; i < 10000; ++i)
        m_server->requestCompany(text("c-1"));
    m_server->requestCompany(text("c-2"));
    QTRY_COMPARE(company.count(), 2);
    QCOMPARE(requests().size(), 2);
    m_server->requestCompany(text("c-1")); // that one has ended
    QTRY_COMPARE(company.count(), 3);

    // So has one that failed.
    m_store.command("clear-faults");
    for (int failures = 1; failures <= 2; ++failures) {
        m_server->requestCompany(text("c-1"));
        QTRY_COMPARE(failure.count(), failures);
    }
}

void TstServer::goesOnline()
{
    QTRY_VERIFY(m_server->isOnline());
    QVERIFY(m_server->goOnline());
    QVERIFY(m_server->isConnectionActive());
    QCOMPARE(m_server->bearerType(), QNetworkConfiguration::BearerWLAN);
    QSignalSpy online(m_server.get(), &Server::onlineStateChanged);
    setNetwork("idle");
    QTRY_VERIFY(!m_server->isOnline());
    QVERIFY(!m_server->isConnectionActive());
    QVERIFY(!m_server->goOnline());
    const QJsonObject asked = m_services.waitForKind(text("dialog.openConnectionNow"));
    QCOMPARE(asked[QLatin1String("arguments")].toArray(), QJsonArray{text("wlan")});
    QCOMPARE(m_services.entries(text("dialog.openConnectionNow")).size(), 1);
    setNetwork("online");
    QTRY_COMPARE(online.count(), 2);
    QVERIFY(!online[0].first().toBool());
    QVERIFY(online[1].first().toBool());
}

void TstServer::comingOnlineCutsTransfers()
{
    QVERIFY(discover());
    m_store.fault(text("/api/v001/application/"), R"({"do": "hang"})");
    QPointer<RequestProxy> cut = m_server->requestApplications(someApplications());
    QSignalSpy finished(cut, &RequestProxy::finished);
    QSignalSpy failure(m_server.get(), &Server::failure);
    QVERIFY(!m_store.waitForKind(text("request")).isEmpty());
    {
        const LogCapture log;
        QSignalSpy online(m_server.get(), &Server::onlineStateChanged);
        for (const char *state : {"idle", "online"}) {
            setNetwork(state);
            QVERIFY(online.wait());
        }
        QCOMPARE(LogCapture::lines("was destroyed unexpectedly.").size(), 1);
    }
    m_store.command("clear-faults");
    // The cut request says nothing more; the next one goes through.
    QSignalSpy applications(m_server->requestApplications(someApplications()),
                            &RequestProxy::applicationReceived);
    QVERIFY(applications.wait());
    QVERIFY(cut);
    QVERIFY(!cut->isRunning());
    QCOMPARE(finished.count() + failure.count(), 0);
    cut->cancel();
    QCOMPARE(finished.count(), 1);
}

void TstServer::challengeIsAnsweredOnce()
{
    const PlainServer door("HTTP/1.1 401 Unauthorized\r\nWWW-Authenticate: Basic realm=\"x\"\r\n"
                           "Content-Length: 0\r\n\r\n");
    QSignalSpy failure(m_server.get(), &Server::failure);
    m_server->requestImage(door.url());
    QVERIFY(failure.wait());
    const QByteArray basic = QByteArrayLiteral("q72kd41mx58t3c:q7261VbmtRzheW").toBase64();
    QCOMPARE(door.received.size(), 2);
    QVERIFY(!door.received.first().contains(basic));
    QVERIFY(door.received.last().contains("Authorization: Basic " + basic));
    QCOMPARE(m_server->accountState(), AccountState::NeedsUpdate);
}

void TstServer::logsHoldNoToken()
{
    const LogCapture log;
    const QString token = m_server->accessToken();
    QVERIFY(token.size() > 8);
    QVERIFY(discover());
    // A server that repeats what it was sent, in an error page and in a trace.
    const QByteArray page = R"({"do": "status", "status": 403, "body": "you sent Bearer TOKEN"})";
    const QByteArray trace =
        R"({"do": "error_message", "error_message": "no", "traceback": "at TOKEN"})";
    m_store.fault(image, QByteArray(page).replace("TOKEN", token.toUtf8()));
    m_store.fault(text("/api/v001/feed/"), QByteArray(trace).replace("TOKEN", token.toUtf8()));
    QSignalSpy failure(m_server.get(), &Server::failure);
    m_server->requestImage(image);
    QVERIFY(failure.wait());
    QSignalSpy finished(m_server->requestFeedItems(1), &RequestProxy::finished);
    QVERIFY(finished.wait());
    QCOMPARE(LogCapture::lines("Data:  \"you sent Bearer").size(), 1);
    QCOMPARE(LogCapture::lines("Parse Error: \"at").size(), 1);
    QCOMPARE(LogCapture::lines(token.toUtf8().constData()), QStringList());
}

void TstServer::developerModeNeverEnds()
{
    QVERIFY(discover());
    QSignalSpy reported(m_server.get(), &Server::developerModeReported);
    m_server->reportDeveloperModeEnabled();
    QVERIFY(reported.wait());
    m_server.reset(); // frees its request; the leak checker sees to it
}

QTEST_GUILESS_MAIN(TstServer)
#include "tst_server.moc"
