#include "simulatorclient.h"

#include <QDBusConnection>
#include <QDBusMessage>
#include <QDBusReply>
#include <QElapsedTimer>
#include <QJsonDocument>
#include <QNetworkAccessManager>
#include <QNetworkReply>
#include <QSignalSpy>
#include <QTest>

#include <arpa/inet.h>
#include <openssl/ssl.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cerrno>
#include <memory>

namespace {

using Reply = std::unique_ptr<QNetworkReply>;

const QString users = QStringLiteral("/api/v001/user/");

QJsonObject parse(const QByteArray &json)
{
    return QJsonDocument::fromJson(json).object();
}

/** How a connection ends: as agreed, by TCP alone, by a reset, or not in the time given. */
enum End { Orderly, Cut, Reset, Silence };

/** One answer read below the toolkit, which makes one error of several ends. */
struct WireAnswer
{
    End end = Silence;
    QByteArray received;
};

End endOf(SSL *tls, int count, int cause)
{
    char next = 0;
    if (SSL_get_error(tls, count) == SSL_ERROR_ZERO_RETURN)
        return Orderly;
    if (cause == ECONNRESET)
        return Reset;
    return ::recv(SSL_get_fd(tls), &next, 1, MSG_PEEK | MSG_DONTWAIT) == 0 ? Cut : Silence;
}

/** @param patience seconds without a byte that count as silence */
WireAnswer askOnWire(const QString &target, const QString &token, int patience)
{
    WireAnswer answer;
    const int descriptor = ::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_port = htons(443);
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    const timeval limit{patience, 0};
    ::setsockopt(descriptor, SOL_SOCKET, SO_RCVTIMEO, &limit, sizeof limit);
    const std::unique_ptr<SSL_CTX, decltype(&SSL_CTX_free)> context(
        SSL_CTX_new(TLS_client_method()), SSL_CTX_free);
    const std::unique_ptr<SSL, decltype(&SSL_free)> tls(SSL_new(context.get()), SSL_free);
    SSL_set_fd(tls.get(), descriptor);
    const QByteArray request = "GET " + target.toUtf8()
        + " HTTP/1.1\r\nHost: api.orvik-store.example\r\nAuthorization: Bearer " + token.toUtf8()
        + "\r\nConnection: close\r\n\r\n";
    if (::connect(descriptor, reinterpret_cast<sockaddr *>(&address), sizeof address) == 0
        && SSL_connect(tls.get()) == 1
        && SSL_write(tls.get(), request.constData(), request.size()) == request.size()) {
        char buffer[4096];
        int count = 0;
        errno = 0;
        while ((count = SSL_read(tls.get(), buffer, sizeof buffer)) > 0)
            answer.received.append(buffer, count);
        answer.end = endOf(tls.get(), count, errno);
    }
    ::close(descriptor);
    return answer;
}

} // namespace

/** The simulated store's promises that nothing else would miss at once. */
class TstStoreSim : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init();

    void tokens_data();
    void tokens();
    void faults_data();
    void faults();
    void faultsOnTheWire_data();
    void faultsOnTheWire();
    void faultsChooseTheirRequests_data();
    void faultsChooseTheirRequests();
    void mistypedFaultsAreRefused();

private:
    /** Asks and waits for the whole answer. */
    Reply ask(const QString &target, const QByteArray &method = "GET", const QByteArray &body = {});
    int statusOf(const QString &target, const QByteArray &method = "GET",
                 const QByteArray &body = {});
    void play(const QByteArray &fault) { m_control.command(QStringLiteral("fault"), parse(fault)); }

    SimulatorClient m_control{QStringLiteral("Store")};
    QNetworkAccessManager m_network;
    QString m_token;
};

void TstStoreSim::init()
{
    m_control.command(QStringLiteral("reset"));
    m_token = m_control
                  .command(QStringLiteral("token"),
                           {{QStringLiteral("issue"),
                             QStringLiteral("tester")}})[QLatin1String("access_token")]
                  .toString();
}

Reply TstStoreSim::ask(const QString &target, const QByteArray &method, const QByteArray &body)
{
    QNetworkRequest request(QUrl(QStringLiteral("https://api.orvik-store.example") + target));
    if (!m_token.isEmpty())
        request.setRawHeader("Authorization", "Bearer " + m_token.toUtf8());
    request.setHeader(QNetworkRequest::ContentTypeHeader, QStringLiteral("application/json"));
    Reply reply(m_network.sendCustomRequest(request, method, body));
    QSignalSpy finished(reply.get(), &QNetworkReply::finished);
    if (!finished.wait(15000))
        QTest::qFail(qPrintable(target + QStringLiteral(" is not answered")), __FILE__, __LINE__);
    return reply;
}

int TstStoreSim::statusOf(const QString &target, const QByteArray &method, const QByteArray &body)
{
    return ask(target, method, body)->attribute(QNetworkRequest::HttpStatusCodeAttribute).toInt();
}

void TstStoreSim::tokens_data()
{
    QTest::addColumn<QByteArray>("script");
    QTest::addColumn<QByteArray>("request");
    QTest::addColumn<int>("status");
    QTest::addColumn<int>("lifetime");
    const QByteArray client(R"({"client_id":"c"})");
    QTest::newRow("as it comes") << QByteArray("{}") << client << 200 << 3600;
    QTest::newRow("short-lived") << QByteArray(R"({"expires_in":2})") << client << 200 << 2;
    QTest::newRow("no client") << QByteArray("{}") << QByteArray(R"({"user":"u"})") << 400 << 0;
    QTest::newRow("refused") << QByteArray(R"({"status":403})") << client << 403 << 0;
}

void TstStoreSim::tokens()
{
    QFETCH(QByteArray, script);
    QFETCH(QByteArray, request);
    m_control.command(QStringLiteral("token"), parse(script));
    const Reply reply = ask(QStringLiteral("/oauth/token"), "POST", request);
    QTEST(reply->attribute(QNetworkRequest::HttpStatusCodeAttribute).toInt(), "status");
    const QJsonObject answer = parse(reply->readAll());
    QTEST(answer[QLatin1String("expires_in")].toInt(), "lifetime");

    m_token = answer[QLatin1String("access_token")].toString();
    QCOMPARE(statusOf(users), m_token.isEmpty() ? 401 : 200);
    m_control.command(QStringLiteral("token"), {{QStringLiteral("revoke"), true}});
    QCOMPARE(statusOf(users), 401);
    QCOMPARE(statusOf(QStringLiteral("/api/v001/")), 200); // the endpoints are free for all
}

void TstStoreSim::faults_data()
{
    QTest::addColumn<QByteArray>("fault");
    QTest::addColumn<int>("status");
    QTest::addColumn<QByteArray>("type");
    QTest::addColumn<QByteArray>("body"); // null: the right one
    const QByteArray json("application/json; charset=utf-8");
    const auto row = [](const char *name, const char *fault, int status, const QByteArray &type,
                        const QByteArray &body) {
        QTest::newRow(name) << QByteArray(fault) << status << type << body;
    };
    row("status", R"({"do":"status","status":503,"body":"later","type":"text/plain"})", 503,
        "text/plain", "later");
    row("body", R"({"do":"body","body":"{\"objects\":"})", 200, json, "{\"objects\":");
    row("bytes", R"({"do":"body","base64":"AP8B","type":"image/png"})", 200, "image/png",
        QByteArray("\0\xff\1", 3));
    row("message", R"({"do":"error_message","error_message":"no","traceback":"line 7"})", 200, json,
        R"({"error_message":"no","traceback":"line 7"})");
    row("delay", R"({"do":"delay","ms":300})", 200, json, {});
}

void TstStoreSim::faults()
{
    QFETCH(QByteArray, fault);
    QFETCH(QByteArray, body);
    const QByteArray right = ask(users)->readAll();
    play(fault);
    QElapsedTimer timer;
    timer.start();
    const Reply reply = ask(users);
    QVERIFY(timer.elapsed() >= parse(fault)[QLatin1String("ms")].toInt());
    QTEST(reply->attribute(QNetworkRequest::HttpStatusCodeAttribute).toInt(), "status");
    QTEST(reply->rawHeader("Content-Type"), "type");
    QCOMPARE(reply->readAll(), body.isNull() ? right : body);
    m_control.command(QStringLiteral("clear-faults"));
    QCOMPARE(ask(users)->readAll(), right);
}

void TstStoreSim::faultsOnTheWire_data()
{
    QTest::addColumn<QByteArray>("fault");
    QTest::addColumn<int>("end");
    QTest::addColumn<int>("size"); // of the body; -1: some, but not the whole; -2: no headers
    const auto row = [](const char *name, const char *fault, End end, int size) {
        QTest::newRow(name) << QByteArray(fault) << int(end) << size;
    };
    row("cut", R"({"do":"cut"})", Cut, -1);
    row("cut after 10", R"({"do":"cut","bytes":10})", Cut, 10);
    row("cut before the body", R"({"do":"cut","bytes":0})", Cut, 0);
    row("reset before the headers", R"({"do":"reset"})", Reset, -2);
    row("reset within the body", R"({"do":"reset","when":"after","bytes":10})", Reset, 10);
    row("hang", R"({"do":"hang"})", Silence, -2);
    row("hang within the body", R"({"do":"hang","when":"after","bytes":10})", Silence, 10);
}

void TstStoreSim::faultsOnTheWire()
{
    QFETCH(QByteArray, fault);
    QFETCH(int, end);
    QFETCH(int, size);
    const int whole = ask(users)->readAll().size();
    play(fault);
    const WireAnswer answer = askOnWire(users, m_token, end == Silence ? 1 : 15);
    QCOMPARE(int(answer.end), end);
    if (size == -2) {
        QCOMPARE(answer.received, QByteArray());
        return;
    }
    QVERIFY(answer.received.contains("Content-Length: " + QByteArray::number(whole)));
    const int received = answer.received.size() - answer.received.indexOf("\r\n\r\n") - 4;
    if (size < 0)
        QVERIFY2(received > 0 && received < whole, qPrintable(QString::number(received)));
    else
        QCOMPARE(received, size);
}

void TstStoreSim::faultsChooseTheirRequests_data()
{
    QTest::addColumn<QByteArray>("fault");
    QTest::addColumn<QVector<int>>("statuses"); // GET user twice, POST like, GET top
    const auto row = [](const char *name, const char *choice, const QVector<int> &statuses) {
        QTest::newRow(name) << QByteArray(R"({"do":"status","status":410)") + choice + '}'
                            << statuses;
    };
    row("by path", R"(,"path":"/api/v001/user/")", {410, 410, 404, 200});
    row("once", R"(,"path":"/api/v001/user/","times":1)", {410, 200, 404, 200});
    row("the second", R"(,"path":"/api/v001/user/","skip":1,"times":1)", {200, 410, 404, 200});
    row("by method", R"(,"path":"/api/v001/","method":"POST")", {200, 200, 410, 200});
    row("by pattern", R"(,"path":"^/api/.*limit=3")", {200, 200, 404, 410});
    row("everywhere", "", {410, 410, 410, 410});
}

void TstStoreSim::faultsChooseTheirRequests()
{
    QFETCH(QByteArray, fault);
    play(fault);
    QVector<int> statuses{statusOf(users), statusOf(users)};
    statuses << statusOf(QStringLiteral("/api/v001/like/"), "POST", R"({"application":"none"})")
             << statusOf(QStringLiteral("/api/v001/top/new/?limit=3"));
    QTEST(statuses, "statuses");
}

void TstStoreSim::mistypedFaultsAreRefused()
{
    for (const char *fault : {R"({"do":"explode"})", R"({"path":"^(","do":"cut"})"}) {
        QDBusMessage call = QDBusMessage::createMethodCall(
            QStringLiteral("org.kiosk.Simulator.Store"), QStringLiteral("/org/kiosk/Simulator"),
            QStringLiteral("org.kiosk.Simulator1"), QStringLiteral("Command"));
        call << QStringLiteral("fault") << QString::fromLatin1(fault);
        const QDBusReply<QString> reply = QDBusConnection::systemBus().call(call);
        QVERIFY2(parse(reply.value().toUtf8()).contains(QLatin1String("error")), fault);
    }
}

QTEST_GUILESS_MAIN(TstStoreSim)
#include "tst_storesim.moc"
