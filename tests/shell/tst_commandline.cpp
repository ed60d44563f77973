#include "clientprocess.h"
#include "scenefile.h"
#include "simulatorclient.h"

#include <QDBusConnection>
#include <QDBusConnectionInterface>
#include <QDBusMessage>
#include <QFile>
#include <QJsonDocument>
#include <QProcess>
#include <QRegularExpression>
#include <QTemporaryDir>
#include <QTest>

#include <csignal>
#include <initializer_list>
#include <sys/stat.h>

namespace {

const QString serviceName = QStringLiteral("com.orvik.orvikstore");
const QString settingsCall = QStringLiteral("settings.showBranwickOs");
const QString lockFile = QStringLiteral("/usr/share/pavilion/devicelock/devicelock_settings.conf");

QStringList words(std::initializer_list<const char *> texts)
{
    QStringList list;
    for (const char *text : texts)
        list.append(QString::fromLatin1(text));
    return list;
}

bool isOwned()
{
    return QDBusConnection::sessionBus().interface()->isServiceRegistered(serviceName);
}

bool allowSideLoading(bool allowed)
{
    QFile file(lockFile);
    return file.open(QIODevice::WriteOnly | QIODevice::Truncate)
        && file.write(allowed ? "[desktop]\ntesk\\devicelock\\sideloading_allowed=1\n" : "") >= 0;
}

} // namespace

/** What a process does for its arguments, as the service and as one that finds a service. */
class TstCommandLine : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void init();
    void command_data();
    void command();
    void commandsThatDoNothing_data();
    void commandsThatDoNothing();
    void osUpdateCommands_data();
    void osUpdateCommands();
    void sideLoadingRefused();
    void forwarderWithoutAnswer_data();
    void forwarderWithoutAnswer();
    void installerOfUpdates();
    void installerLetsThePackageHandlerGo();
    void installerWithABrokenScene();
    void endsInOrder_data();
    void endsInOrder();
    void endsByTheScene();
    void survivesTheBus();
    void logsTheirPlace();

private:
    SimulatorClient m_services{QStringLiteral("Services")};
};

void TstCommandLine::initTestCase()
{
    QVERIFY(QDBusConnection::sessionBus().isConnected());
}

void TstCommandLine::init()
{
    m_services.command(QStringLiteral("reset"));
    QVERIFY(SceneFile::writeMain());
    QVERIFY(allowSideLoading(true));
    QTRY_VERIFY(!isOwned());
}

void TstCommandLine::command_data()
{
    QTest::addColumn<QStringList>("arguments");
    QTest::addColumn<QString>("line");
    QTest::addColumn<bool>("opensWindow");

    const auto row = [](const char *name, const QStringList &arguments, const char *line,
                        bool opensWindow) {
        QTest::newRow(name) << arguments << QString::fromLatin1(line) << opensWindow;
    };
    row("show", words({"show"}), "scene enterStore", true);
    row("show, with more", words({"show", "x"}), "scene enterStore", true);
    row("showApp", words({"showApp", "chess"}), "scene showApp chess", true);
    row("showApp of nothing", words({"showApp", ""}), "scene showApp ", true);
    row("update", words({"update"}), "scene update", true);
    row("install", words({"install", "/tmp/a b.rpm"}), "scene install /tmp/a b.rpm", false);
}

/** The same line appears whether the service carries it out or is told by a second process. */
void TstCommandLine::command()
{
    QFETCH(QStringList, arguments);
    QFETCH(QString, line);
    QFETCH(bool, opensWindow);
    const QString opened = QStringLiteral("scene uiOpened");

    {
        ClientProcess service(arguments);
        QVERIFY(service.startService());
        QVERIFY(service.waitForLog(line));
        QCOMPARE(!service.log().filter(opened).isEmpty(), opensWindow);
    }
    QTRY_VERIFY(!isOwned());

    ClientProcess service;
    QVERIFY(service.startService());
    ClientProcess forwarder(arguments);
    QVERIFY(forwarder.start());
    QVERIFY(forwarder.waitForEnd());
    QVERIFY(!forwarder.crashed());
    QCOMPARE(forwarder.exitCode(), 0);
    QVERIFY(!forwarder.log()
                 .filter(QStringLiteral("Service name is already in use: \"%1\"").arg(serviceName))
                 .isEmpty());
    QVERIFY(service.waitForLog(line));
    QCOMPARE(!service.log().filter(opened).isEmpty(), opensWindow);
}

void TstCommandLine::commandsThatDoNothing_data()
{
    QTest::addColumn<QStringList>("arguments");
    QTest::newRow("none") << QStringList();
    QTest::newRow("unknown") << words({"fly"});
    QTest::newRow("other case") << words({"SHOW"});
    QTest::newRow("showApp of what?") << words({"showApp"});
    QTest::newRow("install what?") << words({"install"});
    QTest::newRow("osupdate-set to what?") << words({"osupdate-set"});
    QTest::newRow("a method without command") << words({"showAppsStartingWith", "a", "b"});
    QTest::newRow("osupdate with a second argument") << words({"osupdate", "x"});
}

void TstCommandLine::commandsThatDoNothing()
{
    QFETCH(QStringList, arguments);
    ClientProcess service(arguments);
    QVERIFY(service.startService());
    ClientProcess forwarder(arguments);
    QVERIFY(forwarder.start());
    QVERIFY(forwarder.waitForEnd());
    QCOMPARE(forwarder.exitCode(), 0);
    // What comes after is the first that the scene sees.
    ClientProcess last({QStringLiteral("showApp"), QStringLiteral("last")});
    QVERIFY(last.start());
    QVERIFY(service.waitForLog(QStringLiteral("scene showApp last")));
    QCOMPARE(service.log().filter(QStringLiteral("scene ")).size(), 2); // uiOpened and this
    QVERIFY(m_services.entries(settingsCall).isEmpty());
}

void TstCommandLine::osUpdateCommands_data()
{
    QTest::addColumn<QStringList>("arguments");
    QTest::addColumn<bool>("asksForNewest");
    QTest::newRow("upgrade") << words({"upgrade"}) << true;
    QTest::newRow("osupdate-set to nothing") << words({"osupdate-set", ""}) << true;
}

void TstCommandLine::osUpdateCommands()
{
    QFETCH(QStringList, arguments);
    ClientProcess service;
    QVERIFY(service.startService());
    ClientProcess forwarder(arguments);
    QVERIFY(forwarder.start());
    QVERIFY(!m_services.waitForKind(settingsCall).isEmpty());
    QVERIFY(service.waitForLog(QStringLiteral("Requested for an unspecified OS update.")));
    // The settings application shows the update, not a window of ours.
    QVERIFY(service.log().filter(QStringLiteral("scene")).isEmpty());
}

void TstCommandLine::sideLoadingRefused()
{
    QVERIFY(allowSideLoading(false));
    ClientProcess service({QStringLiteral("install"), QStringLiteral("/tmp/a.rpm")});
    QVERIFY(service.startService());
    const auto isRefusal = [](const QJsonObject &entry) {
        return QJsonDocument(entry).toJson().contains("x-orvik.store.error");
    };
    QVERIFY(!m_services.waitFor(isRefusal).isEmpty());
    QVERIFY(service.log().filter(QStringLiteral("scene")).isEmpty());
}

void TstCommandLine::forwarderWithoutAnswer_data()
{
    QTest::addColumn<QString>("bus");
    QTest::newRow("no bus") << QStringLiteral("unix:path=/nowhere");
    QTest::newRow("no address") << QStringLiteral("nonsense");
}

void TstCommandLine::forwarderWithoutAnswer()
{
    QFETCH(QString, bus);
    ClientProcess forwarder({QStringLiteral("show")});
    forwarder.setEnvironment(QStringLiteral("DBUS_SESSION_BUS_ADDRESS"), bus);
    QVERIFY(forwarder.start());
    QVERIFY(forwarder.waitForEnd());
    QVERIFY(!forwarder.crashed());
    QCOMPARE(forwarder.exitCode(), 0);
    QVERIFY(!forwarder.log().filter(QStringLiteral("Could not connect to session bus.")).isEmpty());
}

void TstCommandLine::installerOfUpdates()
{
    QVERIFY(SceneFile::writeUpgrade());
    ClientProcess service({QStringLiteral("osupdate")});
    QVERIFY(service.startService());
    // There is a package handler and nothing of the store.
    QVERIFY(service.waitForLog(QStringLiteral("scene upgrade object undefined")));
    ClientProcess forwarder({QStringLiteral("show")});
    QVERIFY(forwarder.start());
    QVERIFY(forwarder.waitForEnd());
    QVERIFY(service.isRunning());
    QVERIFY(service.log().filter(QStringLiteral("scene uiOpened")).isEmpty());
}

/** Released in the middle of the scene's own code, used afterwards, then ended. */
void TstCommandLine::installerLetsThePackageHandlerGo()
{
    QVERIFY(SceneFile::writeUpgrade(
        QStringLiteral("property var handler: packageHandler\n"
                       "onHandlerChanged: if (!handler) console.log('scene handler gone')\n"
                       "Timer { interval: 1; running: true; onTriggered: {\n"
                       "    root.releasePackageHandler(); root.releasePackageHandler();\n"
                       "    root.startUpgrade(); root.upgradeInstalled();\n"
                       "    console.log('scene released', packageHandler) } }\n")));
    ClientProcess service({QStringLiteral("osupdate")});
    QVERIFY(service.startService());
    QVERIFY(service.waitForLog(QStringLiteral("scene released null")));
    QVERIFY(service.waitForLog(QStringLiteral("telling PackageKit daemon to quit")));
    // Calls that need the handler find none.
    QDBusMessage call = QDBusMessage::createMethodCall(
        serviceName, QStringLiteral("/KioskClient"), serviceName, QStringLiteral("checkInstalled"));
    call << QStringLiteral("chess");
    QCOMPARE(QDBusConnection::sessionBus().call(call).type(), QDBusMessage::ReplyMessage);
    service.terminate();
    QVERIFY(service.waitForEnd());
    QVERIFY(!service.crashed());
    QCOMPARE(service.exitCode(), 0);
    QCOMPARE(service.log().filter(QStringLiteral("telling PackageKit daemon to quit")).size(), 1);
}

void TstCommandLine::installerWithABrokenScene()
{
    QVERIFY(SceneFile::write(QStringLiteral("upgrade.qml"), QStringLiteral("Nonsense {")));
    ClientProcess service({QStringLiteral("osupdate")});
    QVERIFY(service.startService());
    QVERIFY(service.waitForLog(QStringLiteral("upgrade.qml")));
    service.terminate();
    QVERIFY(service.waitForEnd());
    QVERIFY(!service.crashed());
    QCOMPARE(service.exitCode(), 0);
}

void TstCommandLine::endsInOrder_data()
{
    QTest::addColumn<int>("signal");
    QTest::addColumn<bool>("atOnce");
    QTest::newRow("SIGTERM") << SIGTERM << false;
    QTest::newRow("SIGINT") << SIGINT << false;
    QTest::newRow("SIGTERM before the event loop") << SIGTERM << true;
}

/** The scene goes while its objects are there, and the package daemon is told. */
void TstCommandLine::endsInOrder()
{
    QFETCH(int, signal);
    QFETCH(bool, atOnce);
    // A scene that takes a while to load keeps the process before its event loop.
    QVERIFY(SceneFile::writeMain(
        QStringLiteral("Component.onCompleted: { console.log('scene loading');\n"
                       "    var end = Date.now() + 200; while (Date.now() < end); }")));
    ClientProcess service({QStringLiteral("show")});
    QVERIFY(service.startService());
    QVERIFY(service.waitForLog(atOnce ? QStringLiteral("scene loading")
                                      : QStringLiteral("scene enterStore")));
    QCOMPARE(::kill(pid_t(service.processId()), signal), 0);
    QVERIFY(service.waitForEnd());
    QVERIFY(!service.crashed());
    QCOMPARE(service.exitCode(), 0);
    const QStringList gone = service.log().filter(QStringLiteral("scene gone with"));
    QCOMPARE(gone.size(), 1);
    QVERIFY2(gone.constFirst().contains(
                 QRegularExpression(QStringLiteral("OrvikStore\\(0x.*PackageHandler\\(0x"))),
             qPrintable(gone.constFirst()));
    QCOMPARE(service.log().filter(QStringLiteral("telling PackageKit daemon to quit")).size(), 1);
}

void TstCommandLine::endsByTheScene()
{
    QVERIFY(SceneFile::writeMain(
        QStringLiteral("Connections { target: root; function onUpdate() { Qt.quit() } }")));
    ClientProcess service;
    QVERIFY(service.startService());
    ClientProcess forwarder({QStringLiteral("update")});
    QVERIFY(forwarder.start());
    QVERIFY(service.waitForEnd());
    QVERIFY(!service.crashed());
    QCOMPARE(service.exitCode(), 0);
}

/** A session bus of its own, which goes away. */
void TstCommandLine::survivesTheBus()
{
    QTemporaryDir folder;
    ::chmod(qPrintable(folder.path()), 0755);
    QProcess bus;
    bus.start(QStringLiteral("dbus-daemon"),
              {QStringLiteral("--session"), QStringLiteral("--nofork"),
               QStringLiteral("--print-address"),
               QStringLiteral("--address=unix:path=%1/bus").arg(folder.path())});
    QVERIFY(bus.waitForReadyRead());
    const QString address = QString::fromUtf8(bus.readLine()).trimmed();

    ClientProcess service({QStringLiteral("show")});
    service.setEnvironment(QStringLiteral("DBUS_SESSION_BUS_ADDRESS"), address);
    QVERIFY(service.start());
    QVERIFY(service.waitForLog(QStringLiteral("scene enterStore")));
    bus.kill();
    QVERIFY(bus.waitForFinished());
    // It still listens to the other bus, and ends in order.
    m_services.command(QStringLiteral("backplate"), {{QStringLiteral("ready"), 0}});
    QVERIFY(service.waitForLog(QStringLiteral("scene backplateDisconnected")));
    service.terminate();
    QVERIFY(service.waitForEnd());
    QVERIFY(!service.crashed());
    QCOMPARE(service.exitCode(), 0);
    QCOMPARE(service.log().filter(QStringLiteral("telling PackageKit daemon to quit")).size(), 1);
}

void TstCommandLine::logsTheirPlace()
{
    ClientProcess service;
    QVERIFY(service.startService());
    ClientProcess forwarder;
    forwarder.setEnvironment(QStringLiteral("QT_MESSAGE_PATTERN"),
                             QStringLiteral("%{type}|%{file}|%{line}|%{message}"));
    QVERIFY(forwarder.start());
    QVERIFY(forwarder.waitForEnd());
    QCOMPARE(forwarder.log().size(), 1);
    const QRegularExpression place(QStringLiteral("^warning\\|.*dbusconnector\\.cpp\\|[1-9]\\d*\\|"
                                                  "void DBusConnector::acquireService\\(\\) "));
    QVERIFY2(place.match(forwarder.log().constFirst()).hasMatch(),
             qPrintable(forwarder.log().constFirst()));
}

QTEST_GUILESS_MAIN(TstCommandLine)
#include "tst_commandline.moc"
