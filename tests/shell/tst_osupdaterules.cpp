#include "osrelease.h"
#include "osupdatecheckpolicy.h"
#include "text.h"

#include <QBuffer>
#include <QTest>

class TstOsUpdateRules : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void osRelease_data();
    void osRelease();
    void automaticCheck_data();
    void automaticCheck();
};

void TstOsUpdateRules::osRelease_data()
{
    QTest::addColumn<QByteArray>("text");
    QTest::addColumn<QString>("version");
    QTest::addColumn<QString>("codeName");

    const QString none;
    QTest::newRow("usual") << QByteArray("NAME=x\nVERSION=\"3.2.1 (Lindmark)\"\nVERSION_ID=3.2.1\n")
                           << text("3.2.1") << text("Lindmark");
    QTest::newRow("empty file") << QByteArray() << none << none;
    QTest::newRow("no line end at the end") << QByteArray("VERSION_ID=4.0") << text("4.0") << none;
    QTest::newRow("quotes are part of the version")
        << QByteArray("VERSION_ID=\"4.0\"\n") << text("\"4.0\"") << none;
    QTest::newRow("first version wins")
        << QByteArray("VERSION_ID=1\nVERSION_ID=2\n") << text("1") << none;
    QTest::newRow("an empty version counts as none")
        << QByteArray("VERSION_ID= \nVERSION_ID=2\n") << text("2") << none;
    QTest::newRow("text behind the first equals sign")
        << QByteArray("VERSION_ID= a=b \n") << text("a=b") << none;
    QTest::newRow("only at the start of a line")
        << QByteArray(" VERSION_ID=1\nMY_VERSION_ID=2\n") << none << none;
    QTest::newRow("last code name wins")
        << QByteArray("VERSION=1 (A)\nVERSION=2 (B)\n") << none << text("B");
    QTest::newRow("a version without brackets keeps the code name")
        << QByteArray("VERSION=1 (A)\nVERSION=2 (B\n") << none << text("A");
    QTest::newRow("first bracket of each kind")
        << QByteArray("VERSION=(A(B)C)\n") << none << text("A(B");
    QTest::newRow("brackets the wrong way round")
        << QByteArray("VERSION=)A(\n") << none << QString();
    QTest::newRow("UTF-8") << QByteArray("VERSION=(Sj\xc3\xb6)\n") << none << text("Sj\xc3\xb6");
    QTest::newRow("no UTF-8") << QByteArray("VERSION_ID=\xff\xfe\n") << text("\xff\xfe") << none;
}

void TstOsUpdateRules::osRelease()
{
    QFETCH(QByteArray, text);
    QBuffer buffer(&text);
    QVERIFY(buffer.open(QIODevice::ReadOnly));
    const OsRelease release = readOsRelease(buffer);
    QTEST(release.version, "version");
    QTEST(release.codeName, "codeName");
}

void TstOsUpdateRules::automaticCheck_data()
{
    QTest::addColumn<int>("bearer");
    QTest::addColumn<bool>("isCheap");

    using Net = QNetworkConfiguration;
    QTest::newRow("unknown") << int(Net::BearerUnknown) << false;
    QTest::newRow("ethernet") << int(Net::BearerEthernet) << true;
    QTest::newRow("wlan") << int(Net::BearerWLAN) << true;
    QTest::newRow("bluetooth") << int(Net::BearerBluetooth) << false;
    QTest::newRow("4g") << int(Net::Bearer4G) << false;
}

void TstOsUpdateRules::automaticCheck()
{
    QFETCH(int, bearer);
    QFETCH(bool, isCheap);
    for (const int method : {-1, 0, 1, 2, 3}) {
        OsUpdateCheckSituation situation;
        situation.connectionActive = true;
        situation.bearer = QNetworkConfiguration::BearerType(bearer);
        situation.method = method;
        QCOMPARE(shouldCheckForOsUpdate(situation), method == 2 || (method == 1 && isCheap));

        OsUpdateCheckSituation watched = situation;
        watched.uiActive = true;
        QVERIFY(!shouldCheckForOsUpdate(watched));
        OsUpdateCheckSituation unconnected = situation;
        unconnected.connectionActive = false;
        QVERIFY(!shouldCheckForOsUpdate(unconnected));
        for (OsUpdateCheckSituation forced : {situation, watched, unconnected}) {
            forced.forced = true;
            QVERIFY(shouldCheckForOsUpdate(forced));
        }
    }
}

QTEST_GUILESS_MAIN(TstOsUpdateRules)
#include "tst_osupdaterules.moc"
