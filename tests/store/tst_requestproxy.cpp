#include "store/requestproxy.h"

#include "logcapture.h"
#include "scriptednetwork.h"

#include <QEventLoop>
#include <QSignalSpy>
#include <QTest>

#include <memory>

using Store::RequestProxy;

Q_DECLARE_METATYPE(QNetworkAccessManager::Operation)

namespace {

const QUrl url(QStringLiteral("https://store.example/list/?a=b"));
constexpr qint64 overTheLimit = qint64(64) * 1024 * 1024 + 1; // bytes

ScriptedAnswer failing(QNetworkReply::NetworkError error)
{
    ScriptedAnswer answer;
    answer.error = error;
    answer.errorText = QStringLiteral("failed");
    return answer;
}

ScriptedAnswer held()
{
    ScriptedAnswer answer;
    answer.held = true;
    return answer;
}

/** A request on a network of its own, and what came of it. */
struct Exchange
{
    explicit Exchange(const QVector<ScriptedAnswer> &answers)
        : network(new ScriptedNetwork(answers))
        , proxy(new RequestProxy(network.get()))
        , replyFinished(proxy, &RequestProxy::replyFinished)
        , error(proxy, &RequestProxy::error)
        , finished(proxy, &RequestProxy::finished)
    { }
    ~Exchange() { delete proxy; }
    Exchange(const Exchange &) = delete;
    Exchange &operator=(const Exchange &) = delete;

    [[nodiscard]] bool hasEnded() const { return replyFinished.count() + error.count() > 0; }

    std::unique_ptr<ScriptedNetwork> network;
    QPointer<RequestProxy> proxy;
    QSignalSpy replyFinished;
    QSignalSpy error;
    QSignalSpy finished;
};

} // namespace

class TstRequestProxy : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void retriesByErrorCode();
    void replaysByOperation_data();
    void replaysByOperation();
    void budgetIsSharedOverPages();
    void quietProxyLogsNothing();
    void tokenIsNotLogged();
    void lostReplyStaysSilent();
    void lostReplyEndsRetry();
    void deadManagerEndsRetry();
    void managerDeletedDuringDelivery();
    void cancelSilencesResults();
    void deletedInItsOwnSignal();
    void limitsBody();
};

void TstRequestProxy::retriesByErrorCode()
{
    struct Row
    {
        QNetworkReply::NetworkError error;
        int transfers;
    };
    // Which of the server's statuses is which of these codes is for the toolkit to say.
    const Row rows[] = {
        {QNetworkReply::NoError, 1},
        {QNetworkReply::ContentAccessDenied, 1},
        {QNetworkReply::ContentNotFoundError, 1},
        {QNetworkReply::AuthenticationRequiredError, 1},
        {QNetworkReply::UnknownContentError, 1},
        {QNetworkReply::ConnectionRefusedError, 6},
        {QNetworkReply::RemoteHostClosedError, 6},
        {QNetworkReply::HostNotFoundError, 6},
        {QNetworkReply::TimeoutError, 6},
        {QNetworkReply::OperationCanceledError, 6},
        {QNetworkReply::SslHandshakeFailedError, 6},
        {QNetworkReply::UnknownNetworkError, 6},
        {QNetworkReply::ContentOperationNotPermittedError, 6},
        {QNetworkReply::ContentReSendError, 6},
        {QNetworkReply::ContentConflictError, 6},
        {QNetworkReply::ContentGoneError, 6},
        {QNetworkReply::ProtocolInvalidOperationError, 6},
        {QNetworkReply::InternalServerError, 6},
        {QNetworkReply::ServiceUnavailableError, 6},
        {QNetworkReply::UnknownServerError, 6},
    };
    const LogCapture log;
    std::vector<std::unique_ptr<Exchange>> exchanges;
    for (const Row &row : rows) {
        exchanges.push_back(std::make_unique<Exchange>(QVector{failing(row.error)}));
        exchanges.back()->proxy->get(QNetworkRequest(url));
    }
    QTRY_VERIFY(std::all_of(exchanges.begin(), exchanges.end(),
                            [](const auto &exchange) { return exchange->hasEnded(); }));
    for (size_t i = 0; i < exchanges.size(); ++i) {
        const bool good = rows[i].error == QNetworkReply::NoError;
        const QByteArray name = QByteArray::number(rows[i].error);
        QVERIFY2(exchanges[i]->network->sent.size() == rows[i].transfers, name.constData());
        QVERIFY2(exchanges[i]->replyFinished.count() == (good ? 1 : 0), name.constData());
        QVERIFY2(exchanges[i]->error.count() == (good ? 0 : 1), name.constData());
        QVERIFY2(exchanges[i]->finished.isEmpty(), name.constData());
        QVERIFY2(exchanges[i]->proxy->reply()->error() == rows[i].error, name.constData());
    }
    QCOMPARE(LogCapture::lines("slotRetry() retry limit reached").size(), 15);
    QCOMPARE(
        LogCapture::lines("retry number 5 for QUrl(\"https://store.example/list/?a=b\")").size(),
        15);
}

void TstRequestProxy::replaysByOperation_data()
{
    QTest::addColumn<QNetworkAccessManager::Operation>("operation");
    QTest::addColumn<int>("transfers");

    QTest::newRow("get") << QNetworkAccessManager::GetOperation << 2;
    QTest::newRow("post") << QNetworkAccessManager::PostOperation << 2;
    QTest::newRow("delete") << QNetworkAccessManager::DeleteOperation << 2;
    QTest::newRow("a put is never repeated") << QNetworkAccessManager::PutOperation << 1;
}

void TstRequestProxy::replaysByOperation()
{
    QFETCH(QNetworkAccessManager::Operation, operation);
    QFETCH(int, transfers);
    const QByteArray body("{\n}\n");
    Exchange exchange({failing(QNetworkReply::TimeoutError), ScriptedAnswer()});
    QNetworkRequest request(url);
    request.setRawHeader("Authorization", "Bearer stale");
    request.setHeader(QNetworkRequest::ContentTypeHeader, QStringLiteral("application/json"));
    switch (operation) {
    case QNetworkAccessManager::PostOperation:
        exchange.proxy->post(request, body);
        break;
    case QNetworkAccessManager::PutOperation:
        exchange.proxy->put(request, body);
        break;
    case QNetworkAccessManager::DeleteOperation:
        exchange.proxy->deleteResource(request);
        break;
    default:
        exchange.proxy->get(request);
        break;
    }
    QTRY_VERIFY(exchange.hasEnded());
    QCOMPARE(exchange.replyFinished.count(), transfers == 2 ? 1 : 0);
    QCOMPARE(exchange.network->sent.size(), transfers);
    const ScriptedNetwork::Sent &first = exchange.network->sent.first();
    const ScriptedNetwork::Sent &last = exchange.network->sent.last();
    QCOMPARE(last.operation, operation);
    QCOMPARE(last.request, first.request);
    QCOMPARE(last.body, first.body);
    const bool hasBody = operation == QNetworkAccessManager::PostOperation
        || operation == QNetworkAccessManager::PutOperation;
    QCOMPARE(last.body, hasBody ? body : QByteArray());
}

void TstRequestProxy::budgetIsSharedOverPages()
{
    const ScriptedAnswer bad = failing(QNetworkReply::TimeoutError);
    const ScriptedAnswer good;
    Exchange exchange({bad, bad, good, bad, bad, good, bad, bad, good});
    connect(exchange.proxy, &RequestProxy::replyFinished, this,
            [&exchange] { exchange.proxy->setReply(exchange.network->get(QNetworkRequest(url))); });
    exchange.proxy->get(QNetworkRequest(url));
    QTRY_COMPARE(exchange.error.count(), 1);
    QCOMPARE(exchange.replyFinished.count(), 2);
    QCOMPARE(exchange.network->sent.size(), 8);
}

void TstRequestProxy::quietProxyLogsNothing()
{
    const LogCapture log;
    Exchange loud({failing(QNetworkReply::ContentNotFoundError)});
    loud.proxy->get(QNetworkRequest(url));
    QTRY_VERIFY(loud.hasEnded());
    QCOMPARE(LogCapture::lines("slotReplyFinished() \"failed\"").size(), 1);

    const LogCapture again;
    Exchange quiet({failing(QNetworkReply::ContentNotFoundError)});
    quiet.proxy->setQuiet(true);
    quiet.proxy->get(QNetworkRequest(url));
    QTRY_VERIFY(quiet.hasEnded());
    QCOMPARE(LogCapture::lines(), QStringList());
}

void TstRequestProxy::tokenIsNotLogged()
{
    const LogCapture log;
    ScriptedAnswer answer = failing(QNetworkReply::ContentAccessDenied);
    answer.errorText = QStringLiteral("server replied: no such token s3cr3t");
    Exchange exchange({answer});
    QNetworkRequest request(url);
    request.setRawHeader("Authorization", "Bearer s3cr3t");
    exchange.proxy->get(request);
    QTRY_VERIFY(exchange.hasEnded());
    QCOMPARE(LogCapture::lines("no such token").size(), 1);
    QCOMPARE(LogCapture::lines("s3cr3t"), QStringList());
}

void TstRequestProxy::lostReplyStaysSilent()
{
    const LogCapture log;
    Exchange exchange({held()});
    exchange.proxy->get(QNetworkRequest(url));
    QVERIFY(exchange.proxy->isRunning());
    exchange.network.reset();
    QCOMPARE(LogCapture::lines("QNetworkReply object at 0x").size(), 1);
    QCOMPARE(LogCapture::lines(
                 "for QUrl(\"https://store.example/list/?a=b\") was destroyed unexpectedly.")
                 .size(),
             1);
    QVERIFY(!exchange.proxy->isRunning());
    QVERIFY(!exchange.proxy->reply());
    QCOMPARE(exchange.proxy->url(), url);
    QVERIFY(exchange.proxy->takeBody().isEmpty());
    QVERIFY(!exchange.error.wait(400)); // longer than the delay of a retry
    QVERIFY(!exchange.hasEnded());
    exchange.proxy->cancel();
    QCOMPARE(exchange.finished.count(), 1);
}

void TstRequestProxy::lostReplyEndsRetry()
{
    const LogCapture log;
    Exchange exchange({failing(QNetworkReply::TimeoutError)});
    exchange.proxy->get(QNetworkRequest(url));
    QTRY_VERIFY(exchange.network->latest->isFinished());
    exchange.network.reset();
    QVERIFY(exchange.error.wait());
    QCOMPARE(LogCapture::lines("cannot retry as reply was destroyed").size(), 1);
}

void TstRequestProxy::deadManagerEndsRetry()
{
    Exchange exchange({ScriptedAnswer()});
    exchange.proxy->get(QNetworkRequest(url));
    QVERIFY(exchange.replyFinished.wait());
    // The next page comes by another manager, and the first one goes.
    ScriptedNetwork newer({failing(QNetworkReply::TimeoutError)});
    exchange.proxy->setReply(newer.get(QNetworkRequest(url)));
    exchange.network.reset();
    QVERIFY(exchange.error.wait());
    QCOMPARE(newer.sent.size(), 1);
    QCOMPARE(exchange.proxy->reply()->error(), QNetworkReply::TimeoutError);
}

void TstRequestProxy::managerDeletedDuringDelivery()
{
    ScriptedAnswer answer;
    answer.body = "{}";
    Exchange exchange({answer});
    QByteArray body;
    connect(exchange.proxy, &RequestProxy::replyFinished, this, [&exchange, &body] {
        exchange.network.reset();
        body = exchange.proxy->takeBody();
    });
    exchange.proxy->get(QNetworkRequest(url));
    QVERIFY(exchange.replyFinished.wait());
    QCOMPARE(body, QByteArray("{}"));
    QTRY_VERIFY(!exchange.proxy->reply()); // it went with its manager after all
}

void TstRequestProxy::cancelSilencesResults()
{
    Exchange exchange({ScriptedAnswer()});
    QSignalSpy words(exchange.proxy, &RequestProxy::searchCompletionReceived);
    QSignalSpy count(exchange.proxy, &RequestProxy::likeCountReceived);
    QSignalSpy app(exchange.proxy, &RequestProxy::applicationReceived);
    QSignalSpy feed(exchange.proxy, &RequestProxy::feedReceived);
    QSignalSpy page(exchange.proxy, &RequestProxy::pageReceived);
    QSignalSpy review(exchange.proxy, &RequestProxy::reviewReceived);
    QSignalSpy uuid(exchange.proxy, &RequestProxy::reviewUuidReceived);
    connect(exchange.proxy, &RequestProxy::searchCompletionReceived, exchange.proxy,
            &RequestProxy::cancel);
    connect(exchange.proxy, &RequestProxy::replyFinished, this, [&exchange] {
        exchange.proxy->sendSearchCompletion({QStringLiteral("one")});
        exchange.proxy->sendSearchCompletion({QStringLiteral("two")});
        exchange.proxy->sendLikeCount(3);
        exchange.proxy->sendApplication(Store::Application::ConstPtr::create(), false);
        exchange.proxy->sendFeed(Store::Feed::ConstPtr::create());
        exchange.proxy->sendPage({});
        exchange.proxy->sendReview(Store::Review::ConstPtr::create(), false);
        exchange.proxy->sendReviewUuid(QStringLiteral("uuid"));
        exchange.proxy->finish();
    });
    exchange.proxy->get(QNetworkRequest(url));
    QVERIFY(exchange.replyFinished.wait());
    QCOMPARE(words.count(), 1);
    for (const QSignalSpy *silent : {&count, &app, &feed, &page, &review, &uuid})
        QCOMPARE(silent->count(), 0);
    QCOMPARE(exchange.finished.count(), 2); // of the cancel, and of whoever was at work
    QTRY_VERIFY(!exchange.proxy);
}

void TstRequestProxy::deletedInItsOwnSignal()
{
    Exchange exchange({ScriptedAnswer()});
    connect(exchange.proxy, &RequestProxy::replyFinished, exchange.proxy, &RequestProxy::finish);
    connect(exchange.proxy, &RequestProxy::finished, this, [&exchange] {
        // As a nested event loop would do.
        exchange.proxy->deleteLater();
        QEventLoop().processEvents();
        QCoreApplication::sendPostedEvents(exchange.proxy, QEvent::DeferredDelete);
    });
    exchange.proxy->get(QNetworkRequest(url));
    QTRY_VERIFY(!exchange.proxy);
    QCOMPARE(exchange.finished.count(), 1);
}

void TstRequestProxy::limitsBody()
{
    ScriptedAnswer endless;
    endless.body = QByteArray(overTheLimit, 'x');
    Exchange exchange({endless});
    exchange.proxy->get(QNetworkRequest(url));
    QTRY_VERIFY(exchange.hasEnded());
    QCOMPARE(exchange.error.count(), 1);
    QCOMPARE(exchange.network->sent.size(), 6);
    QCOMPARE(exchange.proxy->reply()->error(), QNetworkReply::OperationCanceledError);

    ScriptedAnswer full;
    full.body = QByteArray(overTheLimit - 1, 'x');
    Exchange whole({full});
    whole.proxy->get(QNetworkRequest(url));
    QTRY_COMPARE(whole.replyFinished.count(), 1);
    QCOMPARE(whole.proxy->takeBody().size(), full.body.size());
}

QTEST_GUILESS_MAIN(TstRequestProxy)
#include "tst_requestproxy.moc"
