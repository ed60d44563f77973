#include "kioskclient.h"

#include "cachedirectory.h"
#include "dbusconnector.h"
#include "mdeclarativecache.h"
#include "orvikstore.h"
#include "packagehandler.h"
#include "scenefile.h"
#include "simulatorclient.h"

#include <QDBusConnection>
#include <QDBusMessage>
#include <QFile>
#include <QFileInfo>
#include <QGuiApplication>
#include <QJsonArray>
#include <QQmlContext>
#include <QQmlEngine>
#include <QQuickImageProvider>
#include <QQuickItem>
#include <QQuickView>
#include <QSignalSpy>
#include <QTest>
#include <QTimer>

#include <cstdio>
#include <memory>
#include <unistd.h>

namespace {

constexpr gid_t privilegedGroup = 996;
constexpr int endedByItself = 0; // what the event loop returns
constexpr int stillRunning = 1;

QStringList logLines;

void keepLog(QtMsgType, const QMessageLogContext &, const QString &text)
{
    logLines.append(text);
    fprintf(stderr, "%s\n", qPrintable(text));
}

int logged(const QString &text)
{
    return logLines.filter(text).size();
}

const QString busyLine = QStringLiteral("-- still busy, restarting inactivity timer");
const QString quitLine = QStringLiteral("-- quiting, inactivity timer expired");

} // namespace

/** The client object in this very process, which is the service meanwhile. */
class TstKioskClient : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void init();
    void cleanup();
    void timerRunsFromTheStart();
    void endsWhenIdle();
    void staysWhileBusy_data();
    void staysWhileBusy();
    void staysWithAWindow();
    void warnsOfATimerWithAWindow();
    void raisesDismissesAndRaisesAgain();
    void closesItsWindow();
    void dismissesNothing();
    void sceneKnowsItsObjects();
    void brokenScene();
    void developerMode_data();
    void developerMode();
    void developerModeReported();
    void imagesOutliveTheClient();

private:
    void makeClient(const QStringList &arguments = {});
    QTimer *timer() const;
    QObject *root() const;
    template <typename T>
    T *contextObject(const char *name) const;
    /** Runs the event loop with a short inactivity interval. */
    int runUntilIdle(int limit);
    /** Waits until the list of packages has come in and the queue is empty. */
    void waitForPackages();

    SimulatorClient m_services{QStringLiteral("Services")};
    SimulatorClient m_store{QStringLiteral("Store")};
    SimulatorClient m_packageKit{QStringLiteral("PackageKit")};
    std::unique_ptr<KioskClient> m_client;
};

void TstKioskClient::initTestCase()
{
    QVERIFY(qEnvironmentVariableIsSet("KIOSK_INSIDE_PHONE"));
    QGuiApplication::setQuitOnLastWindowClosed(false);
    qInstallMessageHandler(keepLog);
}

void TstKioskClient::init()
{
    m_services.command(QStringLiteral("reset"));
    m_store.command(QStringLiteral("reset"));
    m_packageKit.command(QStringLiteral("reset"));
    MDeclarativeCache::qQuickView()->engine()->clearComponentCache();
    QVERIFY(SceneFile::writeMain());
    QVERIFY(SceneFile::writeUpgrade());
    cacheDirectory().removeRecursively();
    logLines.clear();
}

void TstKioskClient::cleanup()
{
    m_client.reset();
    MDeclarativeCache::qQuickView()->close();
}

void TstKioskClient::makeClient(const QStringList &arguments)
{
    m_client = std::make_unique<KioskClient>(arguments);
    QVERIFY(m_client->hasService());
}

QTimer *TstKioskClient::timer() const
{
    return m_client->findChild<QTimer *>(QString(), Qt::FindDirectChildrenOnly);
}

QObject *TstKioskClient::root() const
{
    return MDeclarativeCache::qQuickView()->rootObject();
}

template <typename T>
T *TstKioskClient::contextObject(const char *name) const
{
    const QVariant value =
        MDeclarativeCache::qQuickView()->rootContext()->contextProperty(QLatin1String(name));
    return qobject_cast<T *>(value.value<QObject *>());
}

int TstKioskClient::runUntilIdle(int limit)
{
    timer()->start(5);
    QTimer guard;
    guard.setSingleShot(true);
    connect(&guard, &QTimer::timeout, qApp, [] { QCoreApplication::exit(stillRunning); });
    guard.start(limit);
    return QCoreApplication::exec();
}

void TstKioskClient::waitForPackages()
{
    QMetaObject::invokeMethod(m_client.get(), "slotCreateUi");
    const auto *handler = contextObject<PackageHandler>("packageHandler");
    QVERIFY(handler);
    QTRY_VERIFY(handler->packagesCount() > 0);
    QTRY_VERIFY(!handler->isBusy());
}

void TstKioskClient::timerRunsFromTheStart()
{
    makeClient();
    QVERIFY(timer()->isActive());
    QVERIFY(timer()->isSingleShot());
    QCOMPARE(timer()->interval(), 120000);
    m_client.reset();

    makeClient({QStringLiteral("osupdate")});
    QVERIFY(!timer()->isActive());
}

void TstKioskClient::endsWhenIdle()
{
    makeClient();
    waitForPackages();
    QCOMPARE(runUntilIdle(10000), endedByItself);
    QCOMPARE(logged(quitLine), 1);
    QCOMPARE(logged(busyLine), 0);
}

void TstKioskClient::staysWhileBusy_data()
{
    QTest::addColumn<QString>("reason");
    QTest::newRow("removal that was asked for") << QStringLiteral("removal");
    QTest::newRow("install that was asked for") << QStringLiteral("install");
    QTest::newRow("start-up applications") << QStringLiteral("startup");
    QTest::newRow("credentials") << QStringLiteral("credentials");
    QTest::newRow("package job") << QStringLiteral("job");
    QTest::newRow("system dialog") << QStringLiteral("dialog");
}

void TstKioskClient::staysWhileBusy()
{
    QFETCH(QString, reason);
    // What needs the store stays as it is.
    m_store.command(QStringLiteral("fault"),
                    {{QStringLiteral("path"), QStringLiteral("/")},
                     {QStringLiteral("do"), QStringLiteral("hang")}});
    makeClient();
    waitForPackages();
    auto *connector = m_client->findChild<DBusConnector *>();
    auto *handler = contextObject<PackageHandler>("packageHandler");
    if (reason == QLatin1String("removal") || reason == QLatin1String("job")) {
        m_packageKit.command(QStringLiteral("script"),
                             {{QStringLiteral("role"), QStringLiteral("*")},
                              {QStringLiteral("times"), -1},
                              {QStringLiteral("hang"), true}});
    }
    if (reason == QLatin1String("removal"))
        connector->removePackage(QStringLiteral("chess"), false);
    else if (reason == QLatin1String("install"))
        connector->installPackage(QStringLiteral("chess"));
    else if (reason == QLatin1String("startup"))
        connector->startupApplications({});
    else if (reason == QLatin1String("job"))
        handler->refreshPackages();
    else if (reason == QLatin1String("dialog"))
        QMetaObject::invokeMethod(root(), "systemDialogCreated");
    std::unique_ptr<QDBusConnection> caller;
    if (reason == QLatin1String("credentials")) {
        caller = std::make_unique<QDBusConnection>(
            QDBusConnection::connectToBus(QDBusConnection::SessionBus, QStringLiteral("caller")));
        caller->send(QDBusMessage::createMethodCall(
            QStringLiteral("com.orvik.orvikstore"), QStringLiteral("/KioskClient"),
            QStringLiteral("com.orvik.orvikstore"), QStringLiteral("storeCredentials")));
        QTRY_VERIFY(connector->isBusy());
        QDBusConnection::disconnectFromBus(QStringLiteral("caller"));
    }
    QCOMPARE(runUntilIdle(100), stillRunning);
    QCOMPARE(logged(quitLine), 0);
    QVERIFY(logged(busyLine) > 1);
    if (reason == QLatin1String("dialog")) {
        QMetaObject::invokeMethod(root(), "systemDialogDestroyed");
        QCOMPARE(runUntilIdle(10000), endedByItself);
    }
}

void TstKioskClient::staysWithAWindow()
{
    makeClient({QStringLiteral("show")});
    QVERIFY(!timer()->isActive());
    QVERIFY(MDeclarativeCache::qQuickView()->isVisible());
    waitForPackages();
    MDeclarativeCache::qQuickView()->close();
    QVERIFY(timer()->isActive());
    QCOMPARE(timer()->interval(), 120000);
    QCOMPARE(runUntilIdle(10000), endedByItself);
}

void TstKioskClient::warnsOfATimerWithAWindow()
{
    makeClient({QStringLiteral("show")});
    QCOMPARE(runUntilIdle(50), stillRunning);
    QCOMPARE(logged(QStringLiteral("Shouldn't be here! Something wrong with setting up the "
                                   "inactivity timer.")),
             1);
    QVERIFY(!timer()->isActive());
}

/** Both closings of one dismissal are told, and a closed window is raised but not shown. */
void TstKioskClient::raisesDismissesAndRaisesAgain()
{
    makeClient();
    QSignalSpy opened(m_client.get(), &KioskClient::uiOpened);
    QSignalSpy closed(m_client.get(), &KioskClient::uiClosed);
    auto *connector = m_client->findChild<DBusConnector *>();
    connector->show();
    QCOMPARE(opened.size(), 1);
    QCOMPARE(MDeclarativeCache::qQuickView()->title(), qtTrId("orvik-store-ap-name"));
    connector->show();
    QCOMPARE(opened.size(), 2);
    QCOMPARE(closed.size(), 0);

    QMetaObject::invokeMethod(root(), "dismissUi");
    QCOMPARE(closed.size(), 1);
    QVERIFY(timer()->isActive());
    QVERIFY(MDeclarativeCache::qQuickView()->isVisible());
    QTRY_COMPARE(closed.size(), 2);
    QVERIFY(!MDeclarativeCache::qQuickView()->isVisible());
    QVERIFY(timer()->isActive());

    connector->show();
    QCOMPARE(opened.size(), 3);
    QVERIFY(!MDeclarativeCache::qQuickView()->isVisible());
    QVERIFY(!timer()->isActive());
    QCOMPARE(logged(QStringLiteral("scene uiOpened")), 3);
    QCOMPARE(logged(QStringLiteral("scene uiClosed")), 2);
    QCOMPARE(logged(QStringLiteral("scene enterStore")), 3);
}

void TstKioskClient::closesItsWindow()
{
    makeClient({QStringLiteral("show")});
    QSignalSpy closed(m_client.get(), &KioskClient::uiClosed);
    QVERIFY(MDeclarativeCache::qQuickView()->close());
    QCOMPARE(closed.size(), 1);
    // A scene that shows its window by itself has it open again.
    MDeclarativeCache::qQuickView()->show();
    QVERIFY(!timer()->isActive());
}

void TstKioskClient::dismissesNothing()
{
    makeClient();
    QSignalSpy closed(m_client.get(), &KioskClient::uiClosed);
    QVERIFY(QMetaObject::invokeMethod(m_client.get(), "slotDismissUi"));
    QCOMPARE(closed.size(), 0);
    QVERIFY(timer()->isActive());
}

void TstKioskClient::sceneKnowsItsObjects()
{
    QVERIFY(SceneFile::writeMain(QStringLiteral(
        "ContentModel {} FeedModel {} FeedHeadModel {} Liker {} ReviewModel {} SearchAssistant {}\n"
        "Component.onCompleted: console.log('scene sees', OrvikStore.Ready,\n"
        "    PackageHandler.DistUpgradeCheckingSize, ApplicationState.Normal,\n"
        "    AccountState.SignedIn, Feed.Promo, installedModel.scope, installedModel.sortMode,\n"
        "    installedModel.showStates, installedModel.category === '',\n"
        "    installedModel.store === orvikStore, installedModel.packager === packageHandler,\n"
        "    typeof installedGridModel.columns, typeof installHandler.install,\n"
        "    typeof dbusConnector.installedAmbience, typeof dbusConnector.processArguments)")));
    makeClient({QStringLiteral("show")});
    QCOMPARE(logged(QStringLiteral("scene sees 5 4 32 6 5 local 3 23 true true true "
                                   "number function function function")),
             1);
}

void TstKioskClient::brokenScene()
{
    QVERIFY(SceneFile::write(QStringLiteral("main.qml"), QStringLiteral("Nonsense {")));
    makeClient();
    auto *connector = m_client->findChild<DBusConnector *>();
    connector->install(QStringLiteral("/tmp/a.rpm"));
    connector->show();
    QVERIFY(!root());
    QVERIFY(MDeclarativeCache::qQuickView()->isVisible());
    QVERIFY(!timer()->isActive());
    // Mended meanwhile, but the window is not made twice.
    MDeclarativeCache::qQuickView()->engine()->clearComponentCache();
    QVERIFY(SceneFile::writeMain());
    connector->show();
    QVERIFY(!root());
    MDeclarativeCache::qQuickView()->close();
    QVERIFY(timer()->isActive());
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
    const QString marker = cacheDirectory().filePath(QStringLiteral("developer-mode"));
    if (markerGroup >= 0) {
        QVERIFY(cacheDirectory().mkpath(QStringLiteral(".")));
        QFile file(marker);
        QVERIFY(file.open(QIODevice::WriteOnly));
        QCOMPARE(::chown(qPrintable(marker), 0, gid_t(markerGroup)), 0);
    }
    if (installed) {
        m_packageKit.command(QStringLiteral("script"),
                             {{QStringLiteral("role"), QStringLiteral("GetPackages")},
                              {QStringLiteral("times"), -1},
                              {QStringLiteral("packages"),
                               QJsonArray{QJsonArray{1,
                                                     QStringLiteral("orvik-developer-mode;1-1;"
                                                                    "noarch;installed"),
                                                     QStringLiteral("")}}}});
    }
    makeClient();
    waitForPackages();
    auto *store = contextObject<OrvikStore>("orvikStore");
    QSignalSpy answered(store, &OrvikStore::developerModeReported);
    store->tryConnect();
    QTRY_COMPARE_WITH_TIMEOUT(store->connectionState(), OrvikStore::Ready, 20000);
    if (reported) {
        QTRY_COMPARE(answered.size(), 1);
        QVERIFY(QFileInfo::exists(marker));
        return;
    }
    QCOMPARE(answered.size(), 0);
    QCOMPARE(QFileInfo::exists(marker), markerStays);
}

void TstKioskClient::developerModeReported()
{
    makeClient();
    const QFileInfo marker(cacheDirectory().filePath(QStringLiteral("developer-mode")));
    QVERIFY(!marker.exists());
    QVERIFY(QMetaObject::invokeMethod(m_client.get(), "slotDeveloperModeReported"));
    QVERIFY(QFileInfo::exists(marker.filePath()));
    QCOMPARE(QFileInfo(marker.filePath()).size(), 0);
    // A folder that can't be written is no reason to end.
    cacheDirectory().removeRecursively();
    QFile blocked(cacheDirectory().path());
    QVERIFY(blocked.open(QIODevice::WriteOnly));
    QVERIFY(QMetaObject::invokeMethod(m_client.get(), "slotDeveloperModeReported"));
    QVERIFY(blocked.remove());
}

/** The image thread reads while the client goes, and after it. */
void TstKioskClient::imagesOutliveTheClient()
{
    QVERIFY(SceneFile::writeMain(QStringLiteral("Repeater { model: 200; Image { asynchronous: "
                                                "true; source: 'image://store/' + index } }")));
    makeClient({QStringLiteral("show")});
    QVERIFY(root());
    m_client.reset();
    QQmlEngine *engine = MDeclarativeCache::qQuickView()->engine();
    QQmlImageProviderBase *base = engine->imageProvider(QStringLiteral("store"));
    QVERIFY(base);
    QSize size;
    auto *provider = static_cast<QQuickImageProvider *>(base);
    QVERIFY(provider->requestImage(QStringLiteral("none"), &size, QSize()).isNull());
    engine->removeImageProvider(QStringLiteral("store"));
}

int main(int argc, char *argv[])
{
    QGuiApplication *application = MDeclarativeCache::qApplication(argc, argv);
    int status = 0;
    {
        TstKioskClient test;
        status = QTest::qExec(&test, argc, argv);
    }
    delete application;
    return status;
}

#include "tst_kioskclient.moc"
