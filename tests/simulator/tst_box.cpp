#include <QDir>
#include <QElapsedTimer>
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
    void foldersAreWritable_data();
    void foldersAreWritable();
    void trustsItsStoreOnly();
};

void TstBox::names_data()
{
    QTest::addColumn<QString>("host");
    QTest::addColumn<QString>("address");
    QTest::addColumn<int>("error"); // of a request by https

    QTest::newRow("the store") << "api.orvik-store.example"
                               << "127.0.0.1" << 0;
    QTest::newRow("its files") << "static.orvik-store.example"
                               << "127.0.0.1" << 0;
    QTest::newRow("a name that the certificate lacks")
        << "status.orvik-store.example"
        << "127.0.0.1" << int(QNetworkReply::SslHandshakeFailedError);
    QTest::newRow("the world outside") << "www.debian.org"
                                       << "" << int(QNetworkReply::HostNotFoundError);
}

void TstBox::names()
{
    QFETCH(QString, host);
    QFETCH(int, error);

    QElapsedTimer timer;
    timer.start();
    QTEST(QHostInfo::fromName(host).addresses().value(0).toString(), "address");
    QVERIFY2(timer.elapsed() < 2000, "an unknown host must fail at once, not by a time-out");

    QNetworkAccessManager manager;
    const QUrl url(QStringLiteral("https://%1/api/v001/").arg(host));
    const QScopedPointer<QNetworkReply> reply(manager.get(QNetworkRequest(url)));
    QSignalSpy finished(reply.data(), &QNetworkReply::finished);
    QVERIFY(finished.wait());
    QCOMPARE(int(reply->error()), error);
}

void TstBox::foldersAreWritable_data()
{
    QTest::addColumn<QString>("folder");
    for (const char *folder :
         {"/etc/rdm", "/usr/share/kiosk-client", "/usr/share/translations",
          "/usr/share/applications", "/var/lib/PackageKit", "/home/user", "/tmp"})
        QTest::newRow(folder) << QString::fromLatin1(folder);
}

void TstBox::foldersAreWritable()
{
    QFETCH(QString, folder);
    QFile file(folder + QStringLiteral("/written-by-a-test"));
    QVERIFY2(file.open(QIODevice::WriteOnly), qPrintable(file.errorString()));
    QVERIFY(file.remove());
}

void TstBox::trustsItsStoreOnly()
{
    const QDir certificates(QStringLiteral("/etc/ssl/certs"));
    QCOMPARE(certificates.entryList(QDir::Files).size(), 2); // the root and the link to it
    QCOMPARE(QFileInfo(qEnvironmentVariable("HOME")).owner(), QStringLiteral("user"));
}

QTEST_GUILESS_MAIN(TstBox)
#include "tst_box.moc"
