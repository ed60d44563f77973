#include "logcapture.h"
#include "scriptednetwork.h"
#include "text.h"

#include "store/requestproxy.h"

#include <QEventLoop>
#include <QSignalSpy>
#include <QTest>

#include <memory>

using Store::RequestProxy;

namespace {

const QUrl url(text("https://store.example/list/?a=b"));
constexpr int bodyLimit = 64 * 1024 * 1024; // bytes

ScriptedAnswer failing(QNetworkReply::NetworkError error)
{
    ScriptedAnswer answer;
    answer.error = error;
    answer.errorText = text("server replied: no such token s3cr3t");
    return answer;
}

ScriptedAnswer holding(const QByteArray &body)
{
    ScriptedAnswer answer;
    answer.body = body;
    return answer;
}

QNetworkRequest request()
{
    QNetworkRequest result(url);
    result.setRawHeader("Authorization", "Bearer s3cr3t");
    result.setHeader(QNetworkRequest::ContentTypeHeader, text("application/json"));
    return result;
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

    /** Sends a request with @p body, where the operation has one. */
    void send(QNetworkAccessManager::Operation operation, const QByteArray &body)
    {
        if (operation == QNetworkAccessManager::PostOperation)
            proxy->post(request(), body);
        else if (operation == QNetworkAccessManager::PutOperation)
            proxy->put(request(), body);
        else if (operation == QNetworkAccessManager::DeleteOperation)
            proxy->deleteResource(request());
        else
            proxy->get(request());
    }
    [[nodiscard]] bool hasEnded() const { return replyFinished.count() + error.count() > 0; }

    std::unique_ptr<ScriptedNetwork> network;
    QPointer<RequestProxy> proxy;
    QSignalSpy replyFinished;
    QSignalSpy error;
    QSignalSpy finished;
};

/** Several at once, for the sake of the delays between the attempts. */
using Exchanges = std::vector<std::unique_ptr<Exchange>>;

bool haveEnded(const Exchanges &exchanges)
{
    return std::all_of(exchanges.begin(), exchanges.end(),
                       [](const auto &exchange) { return exchange->hasEnded(); });
}

} // namespace

class TstRequestProxy : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void retriesByErrorCode();
    void replaysByOperation();
    void budgetIsSharedOverPages();
    void logsWithoutTheToken();
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
    // Which of the server's statuses is which of these codes is for the toolkit to say.
    using Reply = QNetworkReply;
    const QVector<Reply::NetworkError> final{
        Reply::NoError, Reply::ContentAccessDenied, Reply::ContentNotFoundError,
        Reply::AuthenticationRequiredError, Reply::UnknownContentError};
    const QVector<Reply::NetworkError> repeated{
        Reply::ConnectionRefusedError, Reply::RemoteHostClosedError,
        Reply::HostNotFoundError,      Reply::TimeoutError,
        Reply::OperationCanceledError, Reply::SslHandshakeFailedError,
        Reply::UnknownNetworkError,    Reply::ContentOperationNotPermittedError,
        Reply::ContentReSendError,     Reply::ContentConflictError,
        Reply::ContentGoneError,       Reply::ProtocolInvalidOperationError,
        Reply::InternalServerError,    Reply::ServiceUnavailableError,
        Reply::UnknownServerError};
    const LogCapture log;
    Exchanges exchanges;
    for (const Reply::NetworkError error : final + repeated) {
        exchanges.push_back(std::make_unique<Exchange>(QVector{failing(error)}));
        exchanges.back()->proxy->get(request());
    }
    QTRY_VERIFY(haveEnded(exchanges));
    for (const auto &exchange : exchanges) {
        const Reply::NetworkError error = exchange->proxy->reply()->error();
        const QByteArray name = QByteArray::number(error);
        const int good = error == Reply::NoError ? 1 : 0;
        const int transfers = final.contains(error) ? 1 : 6;
        QVERIFY2(exchange->network->sent.size() == transfers, name.constData());
        QVERIFY2(exchange->replyFinished.count() == good, name.constData());
        QVERIFY2(exchange->error.count() == 1 - good, name.constData());
        QVERIFY2(exchange->finished.isEmpty(), name.constData());
    }
    QCOMPARE(LogCapture::lines("slotRetry() retry limit reached").size(), 15);
    const QStringList last =
        LogCapture::lines("retry number 5 for QUrl(\"https://store.example/list/?a=b\")");
    QCOMPARE(last.size(), 15);
}

void TstRequestProxy::replaysByOperation()
{
    struct Row
    {
        QNetworkAccessManager::Operation operation;
        int transfers;
        QByteArray body;
    };
    const Row rows[] = {
        {QNetworkAccessManager::GetOperation, 2, ""},
        {QNetworkAccessManager::PostOperation, 2, "{\n}\n"},
        {QNetworkAccessManager::DeleteOperation, 2, ""},
        {QNetworkAccessManager::PutOperation, 1, "{\n}\n"}, // never repeated
    };
    Exchanges exchanges;
    for (const Row &row : rows) {
        exchanges.push_back(std::make_unique<Exchange>(
            QVector{failing(QNetworkReply::TimeoutError), ScriptedAnswer()}));
        exchanges.back()->send(row.operation, row.body);
    }
    QTRY_VERIFY(haveEnded(exchanges));
    for (size_t i = 0; i < exchanges.size(); ++i) {
        QCOMPARE(exchanges[i]->replyFinished.count(), rows[i].transfers - 1);
        QCOMPARE(exchanges[i]->network->sent.size(), rows[i].transfers);
        for (const ScriptedNetwork::Sent &sent : exchanges[i]->network->sent) {
            QCOMPARE(sent.operation, rows[i].operation);
            QCOMPARE(sent.request, request());
            QCOMPARE(sent.body, rows[i].body);
        }
    }
}

void TstRequestProxy::budgetIsSharedOverPages()
{
    const ScriptedAnswer bad = failing(QNetworkReply::TimeoutError);
    const ScriptedAnswer good;
    Exchange exchange({bad, bad, good, bad, bad, good, bad, bad, good});
    connect(exchange.proxy, &RequestProxy::replyFinished, this,
            [&exchange] { exchange.proxy->setReply(exchange.network->get(request())); });
    exchange.proxy->get(request());
    QTRY_COMPARE(exchange.error.count(), 1);
    QCOMPARE(exchange.replyFinished.count(), 2);
    QCOMPARE(exchange.network->sent.size(), 8);
}

void TstRequestProxy::logsWithoutTheToken()
{
    for (const bool quiet : {false, true}) {
        const LogCapture log;
        Exchange exchange({failing(QNetworkReply::ContentNotFoundError)});
        exchange.proxy->setQuiet(quiet);
        exchange.proxy->get(request());
        QTRY_VERIFY(exchange.hasEnded());
        const QStringList lines = LogCapture::lines();
        QCOMPARE(lines.size(), quiet ? 0 : 1);
        QVERIFY(quiet || lines[0].contains(text("() \"server replied: no such token")));
        QCOMPARE(LogCapture::lines("s3cr3t"), QStringList());
    }
}

void TstRequestProxy::lostReplyStaysSilent()
{
    const LogCapture log;
    ScriptedAnswer held;
    held.held = true;
    Exchange exchange({held});
    // Another one's whole retry passes meanwhile.
    Exchange other({failing(QNetworkReply::TimeoutError), failing(QNetworkReply::TimeoutError),
                    ScriptedAnswer()});
    exchange.proxy->get(request());
    QVERIFY(exchange.proxy->isRunning());
    exchange.network.reset();
    QCOMPARE(LogCapture::lines("QNetworkReply object at 0x")
                 .filter(text(" for QUrl(\"https://store.example/list/?a=b\") was destroyed "
                              "unexpectedly."))
                 .size(),
             1);
    QVERIFY(!exchange.proxy->isRunning());
    QVERIFY(!exchange.proxy->reply());
    QCOMPARE(exchange.proxy->url(), url);
    QVERIFY(exchange.proxy->takeBody().isEmpty());
    other.proxy->get(request());
    QTRY_VERIFY(other.hasEnded());
    QVERIFY(!exchange.hasEnded());
    exchange.proxy->cancel();
    QCOMPARE(exchange.finished.count(), 1);
}

void TstRequestProxy::lostReplyEndsRetry()
{
    const LogCapture log;
    Exchange exchange({failing(QNetworkReply::TimeoutError)});
    exchange.proxy->get(request());
    QTRY_VERIFY(exchange.network->latest->isFinished());
    exchange.network.reset();
    QVERIFY(exchange.error.wait());
    QCOMPARE(LogCapture::lines("cannot retry as reply was destroyed").size(), 1);
}

void TstRequestProxy::deadManagerEndsRetry()
{
    Exchange exchange({ScriptedAnswer()});
    exchange.proxy->get(request());
    QVERIFY(exchange.replyFinished.wait());
    // The next page comes by another manager, and the first one goes.
    ScriptedNetwork newer({failing(QNetworkReply::TimeoutError)});
    exchange.proxy->setReply(newer.get(request()));
    exchange.network.reset();
    QVERIFY(exchange.error.wait());
    QCOMPARE(newer.sent.size(), 1);
    QCOMPARE(exchange.proxy->reply()->error(), QNetworkReply::TimeoutError);
}

void TstRequestProxy::managerDeletedDuringDelivery()
{
    Exchange exchange({holding("{}")});
    QByteArray body;
    connect(exchange.proxy, &RequestProxy::replyFinished, this, [&exchange, &body] {
        exchange.network.reset();
        body = exchange.proxy->takeBody();
    });
    exchange.proxy->get(request());
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
        exchange.proxy->sendSearchCompletion({text("one")});
        exchange.proxy->sendSearchCompletion({text("two")});
        exchange.proxy->sendLikeCount(3);
        exchange.proxy->sendApplication(Store::Application::ConstPtr::create(), false);
        exchange.proxy->sendFeed(Store::Feed::ConstPtr::create());
        exchange.proxy->sendPage({});
        exchange.proxy->sendReview(Store::Review::ConstPtr::create(), false);
        exchange.proxy->sendReviewUuid(text("uuid"));
        exchange.proxy->finish();
    });
    exchange.proxy->get(request());
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
    exchange.proxy->get(request());
    QTRY_VERIFY(!exchange.proxy);
    QCOMPARE(exchange.finished.count(), 1);
}

void TstRequestProxy::limitsBody()
{
    // One byte too many is an accident like others, and a new attempt may go better.
    Exchange exchange(
        {holding(QByteArray(bodyLimit + 1, 'x')), holding(QByteArray(bodyLimit, 'x'))});
    exchange.proxy->get(request());
    QTRY_COMPARE(exchange.replyFinished.count(), 1);
    QCOMPARE(exchange.network->sent.size(), 2);
    QCOMPARE(exchange.proxy->takeBody().size(), bodyLimit);
}

QTEST_GUILESS_MAIN(TstRequestProxy)
#include "tst_requestproxy.moc"
