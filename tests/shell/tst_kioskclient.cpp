#include "clienttest.h"

#include "cachedirectory.h"
#include "contentmodel.h"
#include "dbusconnector.h"
#include "kioskclient.h"
#include "orvikstore.h"
#include "packagehandler.h"
#include "scenefile.h"

#include <QDBusConnection>
#include <QDBusMessage>
#include <QFile>
#include <QFileInfo>
#include <QJsonArray>
#include <QQmlEngine>
#include <QQuickImageProvider>
#include <QQuickItem>
#include <QQuickView>
#include <QSignalSpy>
#include <QTimer>

#include <unistd.h>

namespace {

constexpr gid_t privilegedGroup = 996;
constexpr int endedByItself = 0; // what the event loop returns
constexpr int stillRunning = 1;

constexpr char busyLine[] = "-- still busy, restarting inactivity timer";
constexpr char quitLine[] = "-- quiting, inactivity timer expired";

QString markerPath()
{
    return cacheDirectory().filePath(text("developer-mode"));
}

} // namespace

/** The client object's life: its window, its scene, its end. */
class TstKioskClient : public ClientTest
{
    Q_OBJECT

private Q_SLOTS:
    void timerRunsFromTheStart();
    void staysWhileBusy_data();
    void staysWhileBusy();
    void staysWithAWindow();
    void raisesDismissesAndRaisesAgain();
    void sceneKnowsItsObjects();
    void brokenScene();
    void installedModelFollowsTheAccount_data();
    void installedModelFollowsTheAccount();
    void developerMode_data();
    void developerMode();
    void developerModeReported();
    void imagesOutliveTheClient();

private:
    /** Runs the event loop with a short inactivity interval. */
    int runUntilIdle(int limit);
};

int TstKioskClient::runUntilIdle(int limit)
{
    timer()->start(5);
    QTimer guard;
    guard.setSingleShot(true);
    connect(&guard, &QTimer::timeout, qApp, [] { QCoreApplication::exit(stillRunning); });
    guard.start(limit);
    return QCoreApplication::exec();
}

void TstKioskClient::timerRunsFromTheStart()
{
    makeClient();
    QVERIFY(timer()->isActive());
    QVERIFY(timer()->isSingleShot());
    QCOMPARE(timer()->interval(), 120000);
    // There is no window to dismiss.
    QSignalSpy closed(m_client.get(), &KioskClient::uiClosed);
    call("slotDismissUi");
    QCOMPARE(closed.size(), 0);
    m_client.reset();

    makeClient({text("osupdate")});
    QVERIFY(!timer()->isActive());
    m_view->close();
    QVERIFY(!timer()->isActive());
}

void TstKioskClient::staysWhileBusy_data()
{
    QTest::addColumn<Deed>("start");
    QTest::addColumn<Deed>("end"); // none where the work is never over
    const Deed none;
    const QString chess = text("chess");
    const auto hang = [this](const char *role) {
        m_packageKit.command(
            text("script"),
            {{text("role"), QLatin1String(role)}, {text("times"), -1}, {text("hang"), true}});
    };
    const auto dialog = [this](const char *signal) { QMetaObject::invokeMethod(root(), signal); };

    QTest::newRow("nothing") << none << Deed([] {});
    QTest::newRow("removal that was asked for") << Deed([=] {
        hang("*");
        m_connector->removePackage(chess, false);
    }) << none;
    QTest::newRow("install that was asked for")
        << Deed([=] { m_connector->installPackage(chess); }) << none;
    QTest::newRow("start-up applications")
        << Deed([=] { m_connector->startupApplications({}); }) << none;
    QTest::newRow("credentials") << Deed([=] {
        QDBusConnection caller =
            QDBusConnection::connectToBus(QDBusConnection::SessionBus, text("caller"));
        const QString service = text("com.orvik.orvikstore");
        caller.send(QDBusMessage::createMethodCall(service, text("/KioskClient"), service,
                                                   text("storeCredentials")));
        QTRY_VERIFY(m_connector->isBusy());
        QDBusConnection::disconnectFromBus(text("caller"));
    }) << none;
    QTest::newRow("package job") << Deed([=] {
        hang("GetPackages");
        m_handler->refreshPackages();
    }) << none;
    QTest::newRow("system dialog") << Deed([=] { dialog("systemDialogCreated"); })
                                   << Deed([=] { dialog("systemDialogDestroyed"); });
    // A count below nothing would be made up for by the next dialog.
    QTest::newRow("more dialogs gone than come") << none << Deed([=] {
        dialog("systemDialogDestroyed");
        dialog("systemDialogCreated");
    });
}

void TstKioskClient::staysWhileBusy()
{
    QFETCH(Deed, start);
    QFETCH(Deed, end);
    // What needs the store stays as it is.
    m_storeSimulator.command(text("fault"),
                             {{text("path"), text("/")}, {text("do"), text("hang")}});
    openScene();
    if (start) {
        start();
        QCOMPARE(runUntilIdle(100), stillRunning);
        QCOMPARE(logged(quitLine), 0);
        QVERIFY(logged(busyLine) > 1);
    }
    if (end) {
        end();
        QCOMPARE(runUntilIdle(10000), endedByItself);
        QCOMPARE(logged(quitLine), 1);
    }
}

void TstKioskClient::staysWithAWindow()
{
    makeClient({text("show")});
    QVERIFY(!timer()->isActive());
    QVERIFY(m_view->isVisible());
    QCOMPARE(runUntilIdle(50), stillRunning);
    QCOMPARE(logged("Shouldn't be here! Something wrong with setting up the inactivity timer."), 1);
    QVERIFY(!timer()->isActive());

    QSignalSpy closed(m_client.get(), &KioskClient::uiClosed);
    QVERIFY(m_view->close());
    QCOMPARE(closed.size(), 1);
    QVERIFY(timer()->isActive());
    // A scene that shows its window by itself has it open again.
    m_view->show();
    QVERIFY(!timer()->isActive());
    m_view->close();
    QCOMPARE(runUntilIdle(10000), endedByItself);
}

/** Both closings of one dismissal are told, and a closed window is raised but not shown. */
void TstKioskClient::raisesDismissesAndRaisesAgain()
{
    makeClient();
    QSignalSpy opened(m_client.get(), &KioskClient::uiOpened);
    QSignalSpy closed(m_client.get(), &KioskClient::uiClosed);
    m_connector->show();
    QCOMPARE(opened.size(), 1);
    QCOMPARE(m_view->title(), qtTrId("orvik-store-ap-name"));
    m_connector->show();
    QCOMPARE(opened.size(), 2);
    QCOMPARE(closed.size(), 0);

    QMetaObject::invokeMethod(root(), "dismissUi");
    QCOMPARE(closed.size(), 1);
    QVERIFY(timer()->isActive());
    QVERIFY(m_view->isVisible());
    QTRY_COMPARE(closed.size(), 2);
    QVERIFY(!m_view->isVisible());
    QVERIFY(timer()->isActive());

    m_connector->show();
    QCOMPARE(opened.size(), 3);
    QVERIFY(!m_view->isVisible());
    QVERIFY(!timer()->isActive());
    QCOMPARE(logged("scene uiOpened"), 3);
    QCOMPARE(logged("scene uiClosed"), 2);
    QCOMPARE(logged("scene enterStore"), 3);
}

void TstKioskClient::sceneKnowsItsObjects()
{
    QVERIFY(SceneFile::writeMain(text(
        "ContentModel {} FeedModel {} FeedHeadModel {} Liker {} ReviewModel {} SearchAssistant {}\n"
        "Component.onCompleted: console.log('scene sees', OrvikStore.Ready,\n"
        "    PackageHandler.DistUpgradeCheckingSize, ApplicationState.Normal,\n"
        "    AccountState.SignedIn, Feed.Promo, installedModel.scope, installedModel.sortMode,\n"
        "    installedModel.showStates, installedModel.category === '',\n"
        "    installedModel.store === orvikStore, installedModel.packager === packageHandler,\n"
        "    typeof installedGridModel.columns, typeof installHandler.install,\n"
        "    typeof dbusConnector.installedAmbience, typeof dbusConnector.processArguments)")));
    makeClient({text("show")});
    QCOMPARE(logged("scene sees 5 4 32 6 5 local 3 23 true true true "
                    "number function function function"),
             1);
}

void TstKioskClient::brokenScene()
{
    QVERIFY(SceneFile::write(text("main.qml"), text("Nonsense {")));
    makeClient();
    m_connector->install(text("/tmp/a.rpm"));
    m_connector->show();
    QVERIFY(!root());
    QVERIFY(m_view->isVisible());
    QVERIFY(!timer()->isActive());
    // Mended meanwhile, but the window is not made twice.
    m_view->engine()->clearComponentCache();
    QVERIFY(SceneFile::writeMain());
    m_connector->show();
    QVERIFY(!root());
    m_view->close();
    QVERIFY(timer()->isActive());
}

void TstKioskClient::installedModelFollowsTheAccount_data()
{
    QTest::addColumn<int>("tokenStatus");
    QTest::addColumn<OrvikStore::ConnectionState>("state");
    QTest::addColumn<int>("rows");
    QTest::newRow("what it has is not read again") << 200 << OrvikStore::Ready << 1;
    QTest::newRow("emptied without an account") << 503 << OrvikStore::Unauthorized << 0;
}

void TstKioskClient::installedModelFollowsTheAccount()
{
    QFETCH(int, tokenStatus);
    QFETCH(OrvikStore::ConnectionState, state);
    QFETCH(int, rows);
    m_storeSimulator.command(text("token"), {{text("status"), tokenStatus}});
    openScene();
    m_installed->addApplication(known(m_handler->knownPackages().constFirst(), text("Chess")));
    QCOMPARE(m_installed->rowCount(), 1);
    m_store->tryConnect();
    QTRY_COMPARE_WITH_TIMEOUT(m_store->connectionState(), state, 20000);
    Q_EMIT m_handler->packagesCountChanged();
    QCOMPARE(m_installed->rowCount(), rows);
}

void TstKioskClient::developerMode_data()
{
    QTest::addColumn<bool>("installed");
    QTest::addColumn<int>("markerGroup"); // -1: no marker
    QTest::addColumn<bool>("reported");
    QTest::addColumn<bool>("markerStays");
    QTest::newRow("not installed, no marker") << false << -1 << false << false;
    QTest::newRow("installed, no marker") << true << -1 << true << false;
    QTest::newRow("installed, good marker") << true << int(privilegedGroup) << false << true;
    QTest::newRow("installed, wrong group") << true << 1000 << true << false;
    QTest::newRow("not installed, wrong group") << false << 1000 << false << false;
}

/** Looked at from the arrival at the store, with the store's own answer kept away. */
void TstKioskClient::developerMode()
{
    QFETCH(bool, installed);
    QFETCH(int, markerGroup);
    QFETCH(bool, reported);
    QFETCH(bool, markerStays);
    if (markerGroup >= 0) {
        QFile file(markerPath());
        QVERIFY(file.open(QIODevice::WriteOnly));
        QCOMPARE(::chown(qPrintable(markerPath()), 0, gid_t(markerGroup)), 0);
    }
    if (installed) {
        const auto package = packageRow(1, text("orvik-developer-mode;1-1;noarch;installed"));
        m_packageKit.script({with(canned("GetPackages", {package}), "times", -1)});
    }
    openScene();
    QSignalSpy answered(m_store, &OrvikStore::developerModeReported);
    goReady();
    if (reported)
        QTRY_COMPARE(answered.size(), 1);
    QCOMPARE(answered.size(), int(reported));
    QCOMPARE(QFileInfo::exists(markerPath()), reported || markerStays);
}

/** A folder that can't be written is no reason to end. */
void TstKioskClient::developerModeReported()
{
    makeClient();
    cacheDirectory().removeRecursively();
    QFile blocked(cacheDirectory().path());
    QVERIFY(blocked.open(QIODevice::WriteOnly));
    call("slotDeveloperModeReported");
    QVERIFY(blocked.remove() && cacheDirectory().mkpath(text(".")));
    call("slotDeveloperModeReported");
    QVERIFY(QFileInfo::exists(markerPath()));
    QCOMPARE(QFileInfo(markerPath()).size(), 0);
}

/** The image thread reads while the client goes, and after it. */
void TstKioskClient::imagesOutliveTheClient()
{
    QVERIFY(SceneFile::writeMain(text("Repeater { model: 200; Image { asynchronous: "
                                      "true; source: 'image://store/' + index } }")));
    makeClient({text("show")});
    QVERIFY(root());
    m_client.reset();
    QQmlEngine *engine = m_view->engine();
    QQmlImageProviderBase *base = engine->imageProvider(text("store"));
    QVERIFY(base);
    QSize size;
    auto *provider = static_cast<QQuickImageProvider *>(base);
    QVERIFY(provider->requestImage(text("none"), &size, QSize()).isNull());
    engine->removeImageProvider(text("store"));
}

int main(int argc, char *argv[])
{
    return runClientTest<TstKioskClient>(argc, argv);
}

#include "tst_kioskclient.moc"
