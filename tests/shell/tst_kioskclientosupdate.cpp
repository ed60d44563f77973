#include "kioskclient.h"

#include "cachedirectory.h"
#include "dbusconnector.h"
#include "mdeclarativecache.h"
#include "notification.h"
#include "orvikstore.h"
#include "packagehandler.h"
#include "scenefile.h"
#include "service.h"
#include "simulatorclient.h"

#include <QFile>
#include <QFileInfo>
#include <QGuiApplication>
#include <QQmlContext>
#include <QQuickView>
#include <QSettings>
#include <QSignalSpy>
#include <QTest>
#include <QTimer>

#include <memory>
#include <unistd.h>

namespace {

const QString running = QStringLiteral("3.2.1.20"); // of the phone
const QString defaultCover =
    QStringLiteral("/usr/share/kiosk-client/graphics/Branwick-OS-update-promo.jpg");

QString cacheFile()
{
    return cacheDirectory().filePath(QStringLiteral("os-info"));
}

OsInfo offer(const QString &version)
{
    OsInfo info;
    info.version = version;
    info.codeName = QStringLiteral("Fjell");
    info.downloadSize = -1;
    return info;
}

} // namespace

/** What the client knows of OS updates, tells, keeps and asks for by itself. */
class TstKioskClientOsUpdate : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init();
    void cleanup();
    void cachedOffer_data();
    void cachedOffer();
    void announcement_data();
    void announcement();
    void repeatedOfferKeepsItsSizes();
    void sizesAreKept();
    void progress();
    void noCheckDuringAnUpdate_data();
    void noCheckDuringAnUpdate();
    void looksOnceByItself();
    void requestWaitsForTheStore();
    void forcedCheckRestartsTheTimer();
    void newDomain();

private:
    void makeClient();
    template <typename T>
    T *contextObject(const char *name) const;
    void goReady();

    SimulatorClient m_services{QStringLiteral("Services")};
    SimulatorClient m_storeSimulator{QStringLiteral("Store")};
    std::unique_ptr<KioskClient> m_client;
    OrvikStore *m_store = nullptr;
    PackageHandler *m_handler = nullptr;
    Service *m_service = nullptr;
};

void TstKioskClientOsUpdate::init()
{
    m_services.command(QStringLiteral("reset"));
    m_storeSimulator.command(QStringLiteral("reset"));
    QVERIFY(SceneFile::writeMain());
    cacheDirectory().removeRecursively();
    QVERIFY(cacheDirectory().mkpath(QStringLiteral(".")));
}

void TstKioskClientOsUpdate::cleanup()
{
    m_client.reset();
    MDeclarativeCache::qQuickView()->close();
}

template <typename T>
T *TstKioskClientOsUpdate::contextObject(const char *name) const
{
    const QVariant value =
        MDeclarativeCache::qQuickView()->rootContext()->contextProperty(QLatin1String(name));
    return qobject_cast<T *>(value.value<QObject *>());
}

void TstKioskClientOsUpdate::makeClient()
{
    m_client = std::make_unique<KioskClient>(QStringList());
    QVERIFY(m_client->hasService());
    QVERIFY(QMetaObject::invokeMethod(m_client.get(), "slotCreateUi"));
    m_store = contextObject<OrvikStore>("orvikStore");
    m_handler = contextObject<PackageHandler>("packageHandler");
    m_service = m_client->findChild<Service *>();
    QVERIFY(m_store && m_handler && m_service);
    QTRY_VERIFY(!m_handler->isBusy());
}

void TstKioskClientOsUpdate::goReady()
{
    QTRY_VERIFY(m_store->isOnline());
    m_store->tryConnect();
    QTRY_COMPARE_WITH_TIMEOUT(m_store->connectionState(), OrvikStore::Ready, 20000);
}

void TstKioskClientOsUpdate::cachedOffer_data()
{
    QTest::addColumn<int>("group");
    QTest::addColumn<bool>("downloaded");
    QTest::addColumn<int>("progress");
    QTest::addColumn<bool>("counts");
    QTest::newRow("offer") << 996 << false << 0 << true;
    QTest::newRow("downloaded") << 996 << true << 100 << true;
    QTest::newRow("of the user") << 1000 << true << 0 << false;
    QTest::newRow("of root") << 0 << true << 0 << false;
}

void TstKioskClientOsUpdate::cachedOffer()
{
    QFETCH(int, group);
    QFETCH(bool, downloaded);
    QFETCH(int, progress);
    QFETCH(bool, counts);
    const QDateTime checked(QDate(2024, 5, 6), QTime(7, 8, 9));
    {
        QSettings file(cacheFile(), QSettings::IniFormat);
        file.setValue(QStringLiteral("version"), QStringLiteral("4.0"));
        file.setValue(QStringLiteral("codeName"), QStringLiteral("Fjell"));
        file.setValue(QStringLiteral("lastChecked"), checked);
        file.setValue(QStringLiteral("downloadSize"), 5000000000LL);
        file.setValue(QStringLiteral("removeSize"), -1);
        file.setValue(QStringLiteral("downloaded"), downloaded);
    }
    QCOMPARE(::chown(qPrintable(cacheFile()), 0, gid_t(group)), 0);
    if (!counts)
        QTest::ignoreMessage(QtWarningMsg, "Fake OS info cache detected!");
    makeClient();
    QCOMPARE(m_handler->upgradeProgress(), progress);
    QCOMPARE(QFileInfo::exists(cacheFile()), counts);

    QSignalSpy told(m_service, &Service::osUpdateInfo);
    QSignalSpy status(m_service, &Service::osUpdateStatusChanged);
    QSignalSpy amount(m_service, &Service::osUpdateProgressChanged);
    m_client->findChild<DBusConnector *>()->checkForOsUpdate(false, true);
    QCOMPARE(told.size(), 1);
    QCOMPARE(told.at(0).at(0).toString(), counts ? QStringLiteral("4.0") : running);
    QCOMPARE(told.at(0).at(1).toString(),
             counts ? QStringLiteral("Fjell") : QStringLiteral("Lindmark"));
    QCOMPARE(told.at(0).at(5).toDateTime(), counts ? checked : QDateTime());
    QCOMPARE(told.at(0).at(6).toLongLong(), counts ? 5000000000LL : 0LL);
    QCOMPARE(told.at(0).at(8).toLongLong(), counts ? -1LL : 0LL);
    QCOMPARE(status.at(0).at(0).toInt(), counts ? 2 : 1);
    QCOMPARE(amount.size(), progress == 100 ? 1 : 0);

    QVERIFY(QMetaObject::invokeMethod(m_client.get(), "slotUpgradeInstalled"));
    QVERIFY(!QFileInfo::exists(cacheFile()));
}

void TstKioskClientOsUpdate::announcement_data()
{
    QTest::addColumn<QString>("version");
    QTest::addColumn<QString>("cover");
    QTest::addColumn<int>("status");
    QTest::addColumn<QString>("toldVersion");
    QTest::addColumn<QString>("toldCover");
    const QString picture = QStringLiteral("/a.jpg");
    QTest::newRow("newer") << QStringLiteral("4.0") << picture << 2 << QStringLiteral("4.0")
                           << picture;
    QTest::newRow("older") << QStringLiteral("1.0") << QString() << 2 << QStringLiteral("1.0")
                           << defaultCover;
    QTest::newRow("the running one") << running << picture << 1 << running << picture;
    QTest::newRow("none") << QString() << QString() << 1 << running << defaultCover;
}

void TstKioskClientOsUpdate::announcement()
{
    QFETCH(QString, version);
    QFETCH(QString, cover);
    makeClient();
    QSignalSpy told(m_service, &Service::osUpdateInfo);
    QSignalSpy status(m_service, &Service::osUpdateStatusChanged);
    OsInfo info;
    info.version = version;
    info.cover = cover;
    Q_EMIT m_store->osUpdateInfo(info);
    QVERIFY(status.size() >= 1);
    QTEST(status.at(0).at(0).toInt(), "status");
    QTEST(told.at(0).at(0).toString(), "toldVersion");
    QTEST(told.at(0).at(3).toString(), "toldCover");
    const QSettings file(cacheFile(), QSettings::IniFormat);
    QCOMPARE(file.value(QStringLiteral("version")).toString(), version);
    QCOMPARE(file.value(QStringLiteral("cover")).toString(), cover);
    QCOMPARE(file.value(QStringLiteral("downloaded")).toBool(), false);
}

void TstKioskClientOsUpdate::repeatedOfferKeepsItsSizes()
{
    m_services.command(QStringLiteral("connman"),
                       {{QStringLiteral("state"), QStringLiteral("idle")}});
    makeClient();
    QTRY_VERIFY(!m_store->isOnline());
    Q_EMIT m_handler->osUpdateInfo(offer(QStringLiteral("4.0")));
    Q_EMIT m_handler->osUpdateSize(700, 0, -5);
    QSignalSpy told(m_service, &Service::osUpdateInfo);
    OsInfo again = offer(QStringLiteral("4.0"));
    again.codeName = QStringLiteral("Renamed");
    again.downloadSize = 1;
    again.installSize = 2;
    Q_EMIT m_handler->osUpdateInfo(again);
    QCOMPARE(told.size(), 1);
    QCOMPARE(told.at(0).at(1).toString(), QStringLiteral("Renamed"));
    QCOMPARE(told.at(0).mid(6), (QVariantList{700LL, -1LL, -1LL}));

    // Another version brings sizes of its own.
    Q_EMIT m_handler->osUpdateInfo(offer(QStringLiteral("4.1")));
    QCOMPARE(told.at(1).mid(6), (QVariantList{-1LL, 0LL, 0LL}));
    QCOMPARE(m_handler->distUpgradeStatus(), PackageHandler::DistUpgradeUnknown);
}

void TstKioskClientOsUpdate::sizesAreKept()
{
    makeClient();
    QSignalSpy told(m_service, &Service::osUpdateInfo);
    Q_EMIT m_handler->osUpdateSize(5000000000LL, -1, 3);
    QCOMPARE(told.at(0).mid(6), (QVariantList{5000000000LL, -1LL, 3LL}));
    const QSettings file(cacheFile(), QSettings::IniFormat);
    QCOMPARE(file.value(QStringLiteral("downloadSize")).toLongLong(), 5000000000LL);
    QCOMPARE(file.value(QStringLiteral("installSize")).toLongLong(), -1LL);
    QCOMPARE(file.value(QStringLiteral("removeSize")).toLongLong(), 3LL);
}

void TstKioskClientOsUpdate::progress()
{
    makeClient();
    const auto downloaded = [] {
        int count = 0;
        const auto all = Notification::notifications();
        for (const auto &notification : all)
            count += notification->category() == QLatin1String("x-tesk.system-update-downloaded");
        return count;
    };
    QSignalSpy told(m_service, &Service::osUpdateProgressChanged);
    for (const int value : {-1, 0, 50, 101}) {
        m_handler->setUpgradeProgress(value);
        Q_EMIT m_handler->upgradeProgressChanged();
        QCOMPARE(told.takeFirst().at(0).toInt(), value);
        QVERIFY(!QFileInfo::exists(cacheFile()));
        QCOMPARE(downloaded(), 0);
    }
    m_handler->setUpgradeProgress(100);
    Q_EMIT m_handler->upgradeProgressChanged();
    QCOMPARE(told.takeFirst().at(0).toInt(), 100);
    QCOMPARE(downloaded(), 1);
    QVERIFY(
        QSettings(cacheFile(), QSettings::IniFormat).value(QStringLiteral("downloaded")).toBool());
}

void TstKioskClientOsUpdate::noCheckDuringAnUpdate_data()
{
    QTest::addColumn<int>("progress");
    QTest::addColumn<bool>("checks");
    QTest::newRow("install at its start") << -1 << true;
    QTest::newRow("nothing") << 0 << true;
    QTest::newRow("download at its start") << 1 << false;
    QTest::newRow("downloaded") << 100 << false;
}

void TstKioskClientOsUpdate::noCheckDuringAnUpdate()
{
    QFETCH(int, progress);
    QFETCH(bool, checks);
    makeClient();
    goReady();
    QTRY_VERIFY(!m_handler->isBusy());
    m_handler->setUpgradeProgress(progress);
    QSignalSpy changed(m_store, &OrvikStore::osUpdateStatusChanged);
    m_client->findChild<DBusConnector *>()->checkForOsUpdate(true, true);
    QCOMPARE(changed.size(), checks ? 1 : 0);
}

/** The first closing of the window makes the one automatic check of a run, and sizes. */
void TstKioskClientOsUpdate::looksOnceByItself()
{
    m_storeSimulator.command(QStringLiteral("osupdate"),
                             {{QStringLiteral("version"), QStringLiteral("4.0.0.1")}});
    makeClient();
    goReady();
    QSignalSpy status(m_service, &Service::osUpdateStatusChanged);
    QSignalSpy told(m_service, &Service::osUpdateInfo);
    QSignalSpy sizes(m_handler, &PackageHandler::osUpdateSize);
    MDeclarativeCache::qQuickView()->show();
    QCOMPARE(status.size(), 0);
    MDeclarativeCache::qQuickView()->close();
    QCOMPARE(status.value(0).value(0).toInt(), 0);
    QTRY_COMPARE_WITH_TIMEOUT(sizes.size(), 1, 20000);
    QCOMPARE(told.constLast().at(0).toString(), QStringLiteral("4.0.0.1"));

    QSignalSpy changed(m_store, &OrvikStore::osUpdateStatusChanged);
    MDeclarativeCache::qQuickView()->show();
    MDeclarativeCache::qQuickView()->close();
    QCOMPARE(changed.size(), 0);
}

void TstKioskClientOsUpdate::requestWaitsForTheStore()
{
    m_storeSimulator.command(QStringLiteral("osupdate"),
                             {{QStringLiteral("version"), QStringLiteral("4.0.0.1")}});
    makeClient();
    QTRY_VERIFY(m_store->isOnline());
    QSignalSpy told(m_store, &OrvikStore::osUpdateInfo);
    m_client->findChild<DBusConnector *>()->osUpdateSet(QStringLiteral("4.0.0.1"));
    QVERIFY(m_services.entries(QStringLiteral("settings.showBranwickOs")).isEmpty());
    QTRY_COMPARE_WITH_TIMEOUT(told.size(), 1, 20000);
    QCOMPARE(told.at(0).at(0).value<OsInfo>().version, QStringLiteral("4.0.0.1"));
    QVERIFY(!m_services.waitForKind(QStringLiteral("settings.showBranwickOs")).isEmpty());
    QCOMPARE(m_services.entries(QStringLiteral("settings.showBranwickOs")).size(), 1);
}

void TstKioskClientOsUpdate::forcedCheckRestartsTheTimer()
{
    makeClient();
    auto *timer = m_client->findChild<QTimer *>(QString(), Qt::FindDirectChildrenOnly);
    auto *connector = m_client->findChild<DBusConnector *>();
    timer->setTimerType(Qt::PreciseTimer);
    timer->start(120000);
    QTRY_VERIFY(timer->remainingTime() < 119990);
    connector->checkForOsUpdate(true, true);
    QVERIFY(timer->remainingTime() > 119990);
    timer->stop();
    connector->checkForOsUpdate(true, true);
    QVERIFY(!timer->isActive());
}

void TstKioskClientOsUpdate::newDomain()
{
    makeClient();
    QTest::ignoreMessage(QtDebugMsg, "void KioskClient::slotRdmRegistrationChanged() \"fjord\"");
    m_services.command(QStringLiteral("registration"),
                       {{QStringLiteral("domain"), QStringLiteral("fjord")}});
    // The message is checked at the end of this test; a call of our own follows the signal.
    m_services.command(QStringLiteral("notifications-list"));
    QCoreApplication::processEvents();
}

int main(int argc, char *argv[])
{
    QGuiApplication *application = MDeclarativeCache::qApplication(argc, argv);
    int status = 0;
    {
        TstKioskClientOsUpdate test;
        status = QTest::qExec(&test, argc, argv);
    }
    delete application;
    return status;
}

#include "tst_kioskclientosupdate.moc"
