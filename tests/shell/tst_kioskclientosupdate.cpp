#include "clienttest.h"

#include "cachedirectory.h"
#include "dbusconnector.h"
#include "kioskclient.h"
#include "notification.h"
#include "orvikstore.h"
#include "packagehandler.h"
#include "service.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QProcess>
#include <QQuickView>
#include <QSettings>
#include <QSignalSpy>
#include <QTemporaryDir>
#include <QTimer>

#include <unistd.h>

namespace {

const QString running = text("3.2.1.20"); // of the phone
const QString defaultCover = text("/usr/share/kiosk-client/graphics/Branwick-OS-update-promo.jpg");

QString cacheFile()
{
    return cacheDirectory().filePath(text("os-info"));
}

QVariant cached(const char *key)
{
    return QSettings(cacheFile(), QSettings::IniFormat).value(QLatin1String(key));
}

OsInfo offer(const QString &version)
{
    OsInfo info;
    info.version = version;
    info.codeName = text("Fjell");
    info.downloadSize = -1;
    return info;
}

/** Writes the setting of when to look, or takes all settings away. */
bool setMethod(int method)
{
    const QString database = QDir::homePath() + text("/.config/dconf/user");
    if (method < 0)
        return !QFile::exists(database) || QFile::remove(database);
    const QTemporaryDir folder;
    QFile file(folder.filePath(text("settings")));
    return QDir().mkpath(QFileInfo(database).path()) && file.open(QIODevice::WriteOnly)
        && file.write("[apps/kiosk-client/settings]\nos_update_check_method=")
        && file.write(QByteArray::number(method) + '\n') && file.flush()
        && QProcess::execute(text("dconf"), {text("compile"), database, folder.path()}) == 0;
}

} // namespace

/** What the client knows of OS updates, tells, keeps and asks for by itself. */
class TstKioskClientOsUpdate : public ClientTest
{
    Q_OBJECT

private Q_SLOTS:
    void cachedOffer_data();
    void cachedOffer();
    void announcement_data();
    void announcement();
    void repeatedOfferKeepsItsSizes();
    void progress();
    void looksOrTells_data();
    void looksOrTells();
    void looksOnceByItself();
    void sizesWhenNobodyLooks_data();
    void sizesWhenNobodyLooks();
    void requestWaitsForTheStore_data();
    void requestWaitsForTheStore();
    void requestsWaitForTheNetwork();
    void forcedCheckRestartsTheTimer();
    void newDomain();

private:
    void goOnline(bool online);
    void offerInStore();
};

void TstKioskClientOsUpdate::goOnline(bool online)
{
    m_services.command(text("connman"), {{text("state"), online ? text("online") : text("idle")}});
    QTRY_COMPARE(m_store->isOnline(), online);
}

void TstKioskClientOsUpdate::offerInStore()
{
    m_storeSimulator.command(text("osupdate"), {{text("version"), text("4.0.0.1")}});
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
        file.setValue(text("version"), text("4.0"));
        file.setValue(text("codeName"), text("Fjell"));
        file.setValue(text("lastChecked"), checked);
        file.setValue(text("downloadSize"), 5000000000LL);
        file.setValue(text("removeSize"), -1);
        file.setValue(text("downloaded"), downloaded);
    }
    QCOMPARE(::chown(qPrintable(cacheFile()), 0, gid_t(group)), 0);
    openScene();
    QCOMPARE(logged("Fake OS info cache detected!"), int(!counts));
    QCOMPARE(m_handler->upgradeProgress(), progress);
    QCOMPARE(QFileInfo::exists(cacheFile()), counts);

    QSignalSpy told(m_service, &Service::osUpdateInfo);
    QSignalSpy status(m_service, &Service::osUpdateStatusChanged);
    QSignalSpy amount(m_service, &Service::osUpdateProgressChanged);
    m_connector->checkForOsUpdate(false, true);
    QCOMPARE(told.size(), 1);
    QCOMPARE(told.at(0).at(0).toString(), counts ? text("4.0") : running);
    QCOMPARE(told.at(0).at(1).toString(), counts ? text("Fjell") : text("Lindmark"));
    QCOMPARE(told.at(0).at(5).toDateTime(), counts ? checked : QDateTime());
    QCOMPARE(told.at(0).at(6).toLongLong(), counts ? 5000000000LL : 0LL);
    QCOMPARE(told.at(0).at(8).toLongLong(), counts ? -1LL : 0LL);
    QCOMPARE(status.at(0).at(0).toInt(), counts ? 2 : 1);
    QCOMPARE(amount.size(), progress == 100 ? 1 : 0);

    call("slotUpgradeInstalled");
    QVERIFY(!QFileInfo::exists(cacheFile()));
}

void TstKioskClientOsUpdate::announcement_data()
{
    QTest::addColumn<QString>("version");
    QTest::addColumn<QString>("cover");
    QTest::addColumn<int>("status");
    QTest::addColumn<QString>("toldVersion");
    QTest::addColumn<QString>("toldCover");
    const QString picture = text("/a.jpg");
    QTest::newRow("newer") << text("4.0") << picture << 2 << text("4.0") << picture;
    QTest::newRow("older") << text("1.0") << QString() << 2 << text("1.0") << defaultCover;
    QTest::newRow("the running one") << running << picture << 1 << running << picture;
    QTest::newRow("none") << QString() << QString() << 1 << running << defaultCover;
}

void TstKioskClientOsUpdate::announcement()
{
    QFETCH(QString, version);
    QFETCH(QString, cover);
    openScene();
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
    QCOMPARE(cached("version").toString(), version);
    QCOMPARE(cached("cover").toString(), cover);
    QCOMPARE(cached("downloaded").toBool(), false);
}

void TstKioskClientOsUpdate::repeatedOfferKeepsItsSizes()
{
    openScene();
    goOnline(false);
    Q_EMIT m_handler->osUpdateInfo(offer(text("4.0")));
    QSignalSpy told(m_service, &Service::osUpdateInfo);
    Q_EMIT m_handler->osUpdateSize(5000000000LL, 0, -5);
    QCOMPARE(told.takeFirst().mid(6), (QVariantList{5000000000LL, 0LL, -5LL}));
    QCOMPARE(cached("downloadSize").toLongLong(), 5000000000LL);
    QCOMPARE(cached("installSize").toLongLong(), 0LL);
    QCOMPARE(cached("removeSize").toLongLong(), -5LL);
    OsInfo again = offer(text("4.0"));
    again.codeName = text("Renamed");
    again.downloadSize = 1;
    again.installSize = 2;
    Q_EMIT m_handler->osUpdateInfo(again);
    QCOMPARE(told.size(), 1);
    QCOMPARE(told.at(0).at(1).toString(), text("Renamed"));
    QCOMPARE(told.at(0).mid(6), (QVariantList{5000000000LL, -1LL, -1LL}));

    // Another version brings sizes of its own.
    Q_EMIT m_handler->osUpdateInfo(offer(text("4.1")));
    QCOMPARE(told.at(1).mid(6), (QVariantList{-1LL, 0LL, 0LL}));
    QCOMPARE(m_handler->distUpgradeStatus(), PackageHandler::DistUpgradeUnknown);
}

void TstKioskClientOsUpdate::progress()
{
    openScene();
    const auto downloaded = [] {
        int count = 0;
        const auto all = Notification::notifications();
        for (const auto &notification : all)
            count += notification->category() == QLatin1String("x-tesk.system-update-downloaded");
        return count;
    };
    QSignalSpy told(m_service, &Service::osUpdateProgressChanged);
    for (const int value : {-1, 0, 50, 101, 100}) {
        m_handler->setUpgradeProgress(value);
        Q_EMIT m_handler->upgradeProgressChanged();
        QCOMPARE(told.takeFirst().at(0).toInt(), value);
        QCOMPARE(QFileInfo::exists(cacheFile()), value == 100);
        QCOMPARE(downloaded(), int(value == 100));
        // Whoever asks for an offer learns of any progress but none.
        m_connector->publishOsUpdateStatus(OsUpdateOffered);
        QCOMPARE(told.size(), int(value != 0));
        told.clear();
    }
    QVERIFY(cached("downloaded").toBool());
}

void TstKioskClientOsUpdate::looksOrTells_data()
{
    QTest::addColumn<bool>("forced");
    QTest::addColumn<int>("method"); // -1: not set
    QTest::addColumn<QString>("bearer");
    QTest::addColumn<int>("progress"); // of an update
    QTest::addColumn<QString>("seen"); // "looks", "tells" what is known already, or nothing

    const QString wifi = text("wifi");
    const QString cellular = text("cellular");
    QTest::newRow("by default on wifi") << false << -1 << wifi << 0 << "looks";
    QTest::newRow("by default not on mobile data") << false << -1 << cellular << 0 << "tells";
    QTest::newRow("set to any") << false << 2 << cellular << 0 << "looks";
    QTest::newRow("set to never") << false << 0 << wifi << 0 << "tells";
    QTest::newRow("forced") << true << 0 << cellular << 0 << "looks";
    QTest::newRow("install at its start") << true << -1 << wifi << -1 << "looks";
    QTest::newRow("download at its start") << true << -1 << wifi << 1 << "";
    QTest::newRow("downloaded") << true << -1 << wifi << 100 << "";
}

void TstKioskClientOsUpdate::looksOrTells()
{
    QFETCH(bool, forced);
    QFETCH(int, method);
    QFETCH(QString, bearer);
    QFETCH(int, progress);
    QVERIFY(setMethod(method));
    m_services.command(text("connman"), {{text("type"), bearer}});
    openScene();
    goReady();
    QTRY_VERIFY(!m_handler->isBusy());
    m_handler->setUpgradeProgress(progress);
    QSignalSpy changed(m_store, &OrvikStore::osUpdateStatusChanged);
    QSignalSpy told(m_service, &Service::osUpdateInfo);
    m_connector->checkForOsUpdate(true, forced);
    const QString seen = changed.size() == 1 ? text("looks")
        : told.size() == 1                   ? text("tells")
                                             : QString();
    QTEST(seen, "seen");
    QVERIFY(setMethod(-1));
}

/** The first closing of the window makes the one automatic check of a run, and sizes. */
void TstKioskClientOsUpdate::looksOnceByItself()
{
    offerInStore();
    openScene();
    goReady();
    QSignalSpy status(m_service, &Service::osUpdateStatusChanged);
    QSignalSpy told(m_service, &Service::osUpdateInfo);
    QSignalSpy sizes(m_handler, &PackageHandler::osUpdateSize);
    m_view->show();
    QCOMPARE(status.size(), 0);
    m_view->close();
    QCOMPARE(status.value(0).value(0).toInt(), 0);
    QTRY_COMPARE_WITH_TIMEOUT(sizes.size(), 1, 20000);
    QCOMPARE(told.constLast().at(0).toString(), text("4.0.0.1"));

    QSignalSpy changed(m_store, &OrvikStore::osUpdateStatusChanged);
    m_view->show();
    m_view->close();
    QCOMPARE(changed.size(), 0);
}

void TstKioskClientOsUpdate::sizesWhenNobodyLooks_data()
{
    QTest::addColumn<Deed>("leave");
    QTest::newRow("closed") << Deed([this] { m_view->close(); });
    QTest::newRow("in the background")
        << Deed([] { Q_EMIT qGuiApp->applicationStateChanged(Qt::ApplicationInactive); });
}

/** A window that is opened again during the automatic check puts the sizes off. */
void TstKioskClientOsUpdate::sizesWhenNobodyLooks()
{
    QFETCH(Deed, leave);
    offerInStore();
    openScene();
    goReady();
    QSignalSpy sizes(m_handler, &PackageHandler::osUpdateSize);
    m_view->show();
    m_view->close();
    m_view->show();
    m_view->requestActivate();
    QTRY_COMPARE(QGuiApplication::applicationState(), Qt::ApplicationActive);
    QTRY_VERIFY_WITH_TIMEOUT(cached("version").toString() == QLatin1String("4.0.0.1"), 20000);
    QCOMPARE(m_handler->distUpgradeStatus(), PackageHandler::DistUpgradeUnknown);
    leave();
    QTRY_COMPARE_WITH_TIMEOUT(sizes.size(), 1, 20000);
}

void TstKioskClientOsUpdate::requestWaitsForTheStore_data()
{
    QTest::addColumn<int>("mode"); // of the device
    QTest::addColumn<bool>("waits");
    QTest::newRow("that release") << 0 << true;
    // Such a device has only one release at a time.
    QTest::newRow("a device without isolation") << 2 << false;
}

void TstKioskClientOsUpdate::requestWaitsForTheStore()
{
    QFETCH(int, mode);
    QFETCH(bool, waits);
    offerInStore();
    m_services.command(text("rdm"), {{text("release/mode"), mode}});
    openScene();
    QTRY_VERIFY(m_store->isOnline());
    QSignalSpy told(m_store, &OrvikStore::osUpdateInfo);
    m_connector->osUpdateSet(text("4.0.0.1"));
    QCOMPARE(logged("Requested for an unspecified OS update."), int(!waits));
    const QString page = text("settings.showBranwickOs");
    if (waits) {
        QVERIFY(m_services.entries(page).isEmpty());
        QTRY_COMPARE_WITH_TIMEOUT(told.size(), 1, 20000);
        QCOMPARE(told.at(0).at(0).value<OsInfo>().version, text("4.0.0.1"));
    }
    QVERIFY(!m_services.waitForKind(page).isEmpty());
    QCOMPARE(m_services.entries(page).size(), 1);
}

/** Both kinds share one release, which goes to the kind that was the first to wait. */
void TstKioskClientOsUpdate::requestsWaitForTheNetwork()
{
    openScene();
    goOnline(false);
    m_connector->getOsUpdateSize(text("5.1"));
    m_connector->downloadOsUpdate(text("5.2"));
    QCOMPARE(logged("PackageHandler::getOsUpdateSize"), 0);
    goOnline(true);
    QTRY_COMPARE(logged("PackageHandler::getOsUpdateSize(const QString&) \"5.2\""), 1);
    // It stays first, and is told once.
    goOnline(false);
    m_connector->getOsUpdateSize(text("5.3"));
    m_connector->downloadOsUpdate(text("5.4"));
    goOnline(true);
    QTRY_COMPARE(logged("PackageHandler::getOsUpdateSize(const QString&) \"5.4\""), 1);
    QCOMPARE(logged("PackageHandler::getOsUpdateSize"), 2);
    QCOMPARE(logged("PackageHandler::upgrade("), 0);
}

void TstKioskClientOsUpdate::forcedCheckRestartsTheTimer()
{
    openScene();
    timer()->setTimerType(Qt::PreciseTimer);
    timer()->start(120000);
    QTRY_VERIFY(timer()->remainingTime() < 119990);
    m_connector->checkForOsUpdate(true, true);
    QVERIFY(timer()->remainingTime() > 119990);
    timer()->stop();
    m_connector->checkForOsUpdate(true, true);
    QVERIFY(!timer()->isActive());
}

void TstKioskClientOsUpdate::newDomain()
{
    openScene();
    m_services.command(text("registration"), {{text("domain"), text("fjord")}});
    QTRY_COMPARE(logged("slotRdmRegistrationChanged() \"fjord\""), 1);
}

int main(int argc, char *argv[])
{
    return runClientTest<TstKioskClientOsUpdate>(argc, argv);
}

#include "tst_kioskclientosupdate.moc"
