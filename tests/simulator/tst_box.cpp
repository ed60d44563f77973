#include <QDir>
#include <QFileInfo>
#include <QHostInfo>
#include <QNetworkAccessManager>
#include <QNetworkReply>
#include <QSignalSpy>
#include <QTest>

/** What the rest of the suite takes for granted about the phone that it runs in. */
class TstBox : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void names_data();
    void names();
    void trustsItsStoreOnly();
};

void TstBox::names_data()
{
    QTest::addColumn<QString>("host");
    QTest::addColumn<QString>("address");
    QTest::addColumn<int>("error"); // of a request by https

    const auto row = [](const char *name, const char *host, const char *address,
                        QNetworkReply::NetworkError error) {
        QTest::newRow(name) << QString::fromLatin1(host) << QString::fromLatin1(address)
                            << int(error);
    };
    row("the store", "api.orvik-store.example", "127.0.0.1", QNetworkReply::NoError);
    row("its files", "static.orvik-store.example", "127.0.0.1", QNetworkReply::NoError);
    row("a name that the certificate lacks", "status.orvik-store.example", "127.0.0.1",
        QNetworkReply::SslHandshakeFailedError);
    row("the world outside", "www.debian.org", "", QNetworkReply::HostNotFoundError);
}

void TstBox::names()
{
    QFETCH(QString, host);
    QFETCH(int, error);

    QTEST(QHostInfo::fromName(host).addresses().value(0).toString(), "address");

    QNetworkAccessManager manager;
    const QUrl url(QStringLiteral("https://%1/api/v001/").arg(host));
    const QScopedPointer<QNetworkReply> reply(manager.get(QNetworkRequest(url)));
    QSignalSpy finished(reply.data(), &QNetworkReply::finished);
    QVERIFY(finished.wait());
    QCOMPARE(int(reply->error()), error);
}

void TstBox::trustsItsStoreOnly()
{
    const QDir certificates(QStringLiteral("/etc/ssl/certs"));
    QCOMPARE(certificates.entryList(QDir::Files).size(), 2); // the root and the link to it
    QCOMPARE(QFileInfo(qEnvironmentVariable("HOME")).owner(), QStringLiteral("user"));
}

QTEST_GUILESS_MAIN(TstBox)
#include "tst_box.moc"
