#include "logcapture.h"
#include "servertranscript.h"
#include "text.h"

#include "store/requestproxy.h"

#include <QSignalSpy>
#include <QTest>

#include <memory>
#include <vector>

class TstServerFailures : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void messages();
    void lostReply();
    void managerReplacedInsideMessage();
    void developerMode();
};

void TstServerFailures::messages()
{
    struct Row
    {
        QNetworkReply::NetworkError error;
        const char *message; // empty: none
        const char *errorText = "server replied";
        const char *body = "";
    };
    static constexpr char notAvailable[] = "orvik-store-no-error_server_not_available";
    static constexpr char noContent[] = "orvik-store-no-error_content_not_available";
    static constexpr char general[] = "orvik-store-no-error_general_server_error";
    static constexpr char invalidCover[] = "orvik-store-no-error_bkp_invalid";
    static constexpr char foreignCover[] = "orvik-store-no-error_bkp_already_activated";
    static constexpr char coverText[] = "Error transferring https://x/backplate/17/";
    static constexpr char inUse[] = "\"Already activated for different account\"";
    const Row rows[] = {
        {QNetworkReply::ConnectionRefusedError, notAvailable},
        {QNetworkReply::RemoteHostClosedError, notAvailable},
        {QNetworkReply::HostNotFoundError, ""},
        {QNetworkReply::TimeoutError, notAvailable},
        {QNetworkReply::OperationCanceledError, general},
        {QNetworkReply::SslHandshakeFailedError, general},
        {QNetworkReply::UnknownNetworkError, noContent},
        {QNetworkReply::ContentAccessDenied, noContent},
        {QNetworkReply::ContentOperationNotPermittedError, general},
        {QNetworkReply::ContentNotFoundError, ""},
        {QNetworkReply::ContentNotFoundError, invalidCover, coverText},
        {QNetworkReply::ContentNotFoundError, "", "backplate", "/backplate/"},
        {QNetworkReply::AuthenticationRequiredError, ""},
        {QNetworkReply::UnknownContentError, general},
        {QNetworkReply::UnknownContentError, foreignCover, "", inUse},
        {QNetworkReply::UnknownContentError, general, coverText},
        {QNetworkReply::UnknownContentError, general, "",
         "Already activated for different account"},
        {QNetworkReply::UnknownContentError, general, "",
         "\"already activated for different account\""},
        {QNetworkReply::UnknownContentError, general, "",
         "\"Already activated for different account\"\n"},
        {QNetworkReply::ContentAccessDenied, noContent, "", inUse},
        {QNetworkReply::InternalServerError, general},
        {QNetworkReply::ServiceUnavailableError, general},
    };
    ServerTranscript transcript;
    QJsonObject seen; // URL to message
    QString message;
    connect(&transcript.server, &Store::Server::error, this,
            [&message](const QString &id) { message += id; });
    connect(&transcript.server, &Store::Server::failure, this, [&](const QString &url) {
        seen.insert(url, message);
        message.clear();
    });
    std::vector<std::unique_ptr<ScriptedNetwork>> networks;
    QJsonObject expected;
    int told = 0; // for each request: the message where there is one, the failure, the end
    for (const Row &row : rows) {
        ScriptedAnswer answer;
        answer.error = row.error;
        answer.errorText = text(row.errorText);
        answer.body = row.body;
        networks.push_back(std::make_unique<ScriptedNetwork>(QVector{answer}));
        const QString url = text("https://x/%1?a=b c").arg(networks.size());
        expected.insert(url, text(row.message));
        told += *row.message ? 3 : 2;
        transcript.follow(networks.back().get(), SLOT(slotRequestFinished()))
            ->get(QNetworkRequest(QUrl(url)));
    }
    QTRY_COMPARE(transcript.entries.size(), told);
    QCOMPARE(seen, expected);
}

void TstServerFailures::lostReply()
{
    ServerTranscript transcript;
    ScriptedAnswer answer;
    answer.error = QNetworkReply::TimeoutError;
    auto network = std::make_unique<ScriptedNetwork>(QVector{answer});
    const QPointer<Store::RequestProxy> proxy =
        transcript.follow(network.get(), SLOT(slotRequestFinished()));
    proxy->get(QNetworkRequest(QUrl(text("https://x/lost"))));
    QTRY_VERIFY(network->latest->isFinished());
    network.reset();
    QTRY_VERIFY(!proxy);
    QCOMPARE(transcript.entries,
             (QJsonArray{QJsonObject{{text("failure"), text("https://x/lost")}},
                         QJsonObject{{text("finished"), true}}}));
}

void TstServerFailures::managerReplacedInsideMessage()
{
    ServerTranscript transcript;
    ScriptedAnswer answer;
    answer.error = QNetworkReply::ContentAccessDenied;
    auto network = std::make_unique<ScriptedNetwork>(QVector{answer});
    const QPointer<Store::RequestProxy> proxy =
        transcript.follow(network.get(), SLOT(slotRequestFinished()));
    connect(&transcript.server, &Store::Server::error, this, [&network, &transcript] {
        network.reset();
        QMetaObject::invokeMethod(&transcript.server, "slotOnlineStateChanged", Q_ARG(bool, true));
    });
    proxy->get(QNetworkRequest(QUrl(text("https://x/"))));
    QTRY_VERIFY(!proxy);
    QCOMPARE(transcript.entries.size(), 3);
}

void TstServerFailures::developerMode()
{
    const std::pair<int, const char *> rows[] = {
        {200, "Developer Mode registered"},
        {201, ""},
        {401, "Developer Mode registration failed. Unauthenticated user."},
        {404, "Developer Mode registration failed. Device UID not found."},
        {409, "Developer Mode registration failed. Unspecified server error."},
        {500, ""}};
    for (const auto &[status, logged] : rows) {
        ServerTranscript transcript;
        ScriptedAnswer answer;
        answer.status = status;
        if (status >= 400)
            answer.error = QNetworkReply::UnknownContentError;
        ScriptedNetwork network({answer});
        const std::unique_ptr<Store::RequestProxy> proxy(transcript.follow(
            &network, SLOT(slotDeveloperModeResponse()), SLOT(slotDeveloperModeResponse())));
        const LogCapture log;
        proxy->get(QNetworkRequest(QUrl(text("https://x/"))));
        QSignalSpy read(network.latest, &QNetworkReply::finished);
        QVERIFY(read.wait());
        QCOMPARE(LogCapture::lines("Developer Mode").join(QString()), text(logged));
        // The request isn't ended, whatever the answer.
        QCOMPARE(transcript.entries.size(), status == 200 ? 1 : 0);
        QVERIFY(status != 200 || transcript.entries[0].toObject().contains(text("developerMode")));
    }
}

QTEST_GUILESS_MAIN(TstServerFailures)
#include "tst_serverfailures.moc"
