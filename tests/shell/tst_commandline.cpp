#include "clientprocess.h"
#include "scenefile.h"
#include "servicebus.h"
#include "simulatorclient.h"
#include "text.h"

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

const QString settingsCall = text("settings.showBranwickOs");
const QString lockFile = text("/usr/share/pavilion/devicelock/devicelock_settings.conf");

QStringList words(std::initializer_list<const char *> texts)
{
    QStringList list;
    for (const char *word : texts)
        list.append(text(word));
    return list;
}

bool allowSideLoading(const QByteArray &value)
{
    QFile file(lockFile);
    return file.open(QIODevice::WriteOnly | QIODevice::Truncate)
        && file.write("[desktop]\ntesk\\devicelock\\sideloading_allowed=" + value) > 0;
}

} // namespace

/** What a process does for its arguments, as the service and as one that finds a service. */
class TstCommandLine : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init();
    void command_data();
    void command();
    void commandsThatDoNothing_data();
    void commandsThatDoNothing();
    void osUpdateCommands_data();
    void osUpdateCommands();
    void speaksTheUsersLanguage();
    void forwarderWithoutBus();
    void installer();
    void installerWithABrokenScene();
    void endsInOrder_data();
    void endsInOrder();
    void endsByTheScene();
    void survivesTheBus();

private:
    /** Ends @p service as a logout does, and looks how it went. */
    static void end(ClientProcess &service);

    SimulatorClient m_services{text("Services")};
};

void TstCommandLine::init()
{
    m_services.command(text("reset"));
    QVERIFY(SceneFile::writeMain());
    QVERIFY(allowSideLoading("2"));
    QTRY_VERIFY(!ServiceBus::isOwned());
}

void TstCommandLine::end(ClientProcess &service)
{
    QVERIFY(service.waitForEnd());
    QVERIFY(!service.crashed());
    QCOMPARE(service.exitCode(), 0);
    QCOMPARE(service.log().filter(text("telling PackageKit daemon to quit")).size(), 1);
}

void TstCommandLine::command_data()
{
    QTest::addColumn<QStringList>("arguments");
    QTest::addColumn<QString>("line");
    QTest::addColumn<bool>("opensWindow");

    const auto row = [](const char *name, const QStringList &arguments, const char *line,
                        bool opensWindow) {
        QTest::newRow(name) << arguments << text(line) << opensWindow;
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
    const QString opened = text("scene uiOpened");

    {
        ClientProcess service(arguments);
        QVERIFY(service.startService());
        QVERIFY(service.waitForLog(line));
        QCOMPARE(!service.log().filter(opened).isEmpty(), opensWindow);
    }
    QTRY_VERIFY(!ServiceBus::isOwned());

    ClientProcess service;
    QVERIFY(service.startService());
    ClientProcess forwarder(arguments);
    const QRegularExpression place(
        text("^warning\\|.*dbusconnector\\.cpp\\|[1-9]\\d*\\|void DBusConnector::"
             "acquireService\\(\\) Service name is already in use: \"%1\"$")
            .arg(ServiceBus::name));
    forwarder.setEnvironment(text("QT_MESSAGE_PATTERN"),
                             text("%{type}|%{file}|%{line}|%{message}"));
    QVERIFY(forwarder.start());
    QVERIFY(forwarder.waitForEnd());
    QVERIFY(!forwarder.crashed());
    QCOMPARE(forwarder.exitCode(), 0);
    QVERIFY2(place.match(forwarder.log().join(QLatin1Char('\n'))).hasMatch(),
             qPrintable(forwarder.log().join(QLatin1Char('\n'))));
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
    ClientProcess last({text("showApp"), text("last")});
    QVERIFY(last.start());
    QVERIFY(service.waitForLog(text("scene showApp last")));
    QCOMPARE(service.log().filter(text("scene ")).size(), 2); // uiOpened and this
    QVERIFY(m_services.entries(settingsCall).isEmpty());
}

void TstCommandLine::osUpdateCommands_data()
{
    QTest::addColumn<QStringList>("arguments");
    QTest::addColumn<QString>("bearer");
    QTest::addColumn<int>("status"); // first told: looks, nothing on offer, or on offer
    QTest::addColumn<bool>("page"); // whether the settings application shows it

    QTest::newRow("upgrade") << words({"upgrade"}) << "cellular" << 0 << true;
    QTest::newRow("osupdate-set to nothing")
        << words({"osupdate-set", ""}) << "cellular" << 0 << true;
    QTest::newRow("osupdate-set") << words({"osupdate-set", "4.0.0.1"}) << "wifi" << 2 << true;
    QTest::newRow("osupdate-check") << words({"osupdate-check"}) << "wifi" << 0 << false;
    QTest::newRow("osupdate-check on mobile data")
        << words({"osupdate-check"}) << "cellular" << 1 << false;
}

void TstCommandLine::osUpdateCommands()
{
    QFETCH(QStringList, arguments);
    QFETCH(QString, bearer);
    QFETCH(int, status);
    QFETCH(bool, page);
    const QString version = text("4.0.0.1");
    SimulatorClient(text("Store")).command(text("osupdate"), {{text("version"), version}});
    m_services.command(text("connman"), {{text("type"), bearer}});
    for (const bool forwarded : {false, true}) {
        QTRY_VERIFY(!ServiceBus::isOwned());
        m_services.clearLog();
        const auto told = ServiceBus::listen("osUpdateStatusChanged");
        ClientProcess service(forwarded ? QStringList() : arguments);
        QVERIFY(service.startService());
        if (forwarded) {
            ClientProcess forwarder(arguments);
            QVERIFY(forwarder.start());
            QVERIFY(forwarder.waitForEnd());
        }
        QVERIFY(told->waitForCount(1, 20000));
        QCOMPARE(told->at(0), QVariantList{status});
        // The settings application shows the update, not a window of ours.
        QVERIFY(!page || !m_services.waitForKind(settingsCall).isEmpty());
        QCOMPARE(m_services.entries(settingsCall).size(), int(page));
        QVERIFY(service.log().filter(text("scene")).isEmpty());
    }
}

/** English texts are there first, and those of the user's language win. */
void TstCommandLine::speaksTheUsersLanguage()
{
    QVERIFY(allowSideLoading("0"));
    ClientProcess service({text("install"), text("/tmp/a.rpm")});
    service.setEnvironment(text("LANG"), text("de_DE.UTF-8"));
    QVERIFY(service.startService());
    const QJsonObject refusal = m_services.waitForKind(text("notification.notify"));
    QVERIFY(QJsonDocument(refusal).toJson().contains("Das Installieren von Dateien"));
}

void TstCommandLine::forwarderWithoutBus()
{
    ClientProcess forwarder({text("show")});
    forwarder.setEnvironment(text("DBUS_SESSION_BUS_ADDRESS"), text("unix:path=/nowhere"));
    QVERIFY(forwarder.start());
    QVERIFY(forwarder.waitForEnd());
    QVERIFY(!forwarder.crashed());
    QCOMPARE(forwarder.exitCode(), 0);
    QVERIFY(!forwarder.log().filter(text("Could not connect to session bus.")).isEmpty());
}

/**
 * There is a package handler and nothing of the store. It is released in the middle of the
 * scene's own code and used afterwards, and only something outside ends the process.
 */
void TstCommandLine::installer()
{
    QVERIFY(SceneFile::writeUpgrade(
        text("Timer { interval: 1; running: true; onTriggered: {\n"
             "    root.releasePackageHandler(); root.releasePackageHandler();\n"
             "    root.startUpgrade(); root.upgradeInstalled(); Qt.quit();\n"
             "    console.log('scene released', packageHandler) } }\n")));
    ClientProcess service({text("osupdate")});
    QVERIFY(service.startService());
    QVERIFY(service.waitForLog(text("scene upgrade object undefined")));
    QVERIFY(service.waitForLog(text("scene released null")));
    QVERIFY(service.waitForLog(text("telling PackageKit daemon to quit")));
    // Calls that need the handler find none, those that need a window neither.
    ServiceBus::call("checkInstalled", {text("chess")});
    ServiceBus::call("show");
    QVERIFY(service.isRunning());
    QVERIFY(service.log().filter(text("scene uiOpened")).isEmpty());
    service.terminate();
    end(service);
}

void TstCommandLine::installerWithABrokenScene()
{
    QVERIFY(SceneFile::write(text("upgrade.qml"), text("Nonsense {")));
    ClientProcess service({text("osupdate")});
    QVERIFY(service.startService());
    QVERIFY(service.waitForLog(text("upgrade.qml")));
    service.terminate();
    end(service);
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
    QVERIFY(
        SceneFile::writeMain(text("Component.onCompleted: { console.log('scene loading');\n"
                                  "    var end = Date.now() + 200; while (Date.now() < end); }")));
    ClientProcess service({text("show")});
    QVERIFY(service.startService());
    QVERIFY(service.waitForLog(atOnce ? text("scene loading") : text("scene enterStore")));
    QCOMPARE(::kill(pid_t(service.processId()), signal), 0);
    end(service);
    const QStringList gone = service.log().filter(text("scene gone with"));
    QCOMPARE(gone.size(), 1);
    QVERIFY2(gone.constFirst().contains(
                 QRegularExpression(text("OrvikStore\\(0x.*PackageHandler\\(0x"))),
             qPrintable(gone.constFirst()));
}

void TstCommandLine::endsByTheScene()
{
    QVERIFY(SceneFile::writeMain(
        text("Connections { target: root; function onUpdate() { Qt.quit() } }")));
    ClientProcess service;
    QVERIFY(service.startService());
    ServiceBus::call("update");
    end(service);
}

/** A session bus of its own, which goes away. */
void TstCommandLine::survivesTheBus()
{
    QTemporaryDir folder;
    ::chmod(qPrintable(folder.path()), 0755);
    QProcess bus;
    bus.start(text("dbus-daemon"),
              {text("--session"), text("--nofork"), text("--print-address"),
               text("--address=unix:path=%1/bus").arg(folder.path())});
    QVERIFY(bus.waitForReadyRead());
    const QString address = QString::fromUtf8(bus.readLine()).trimmed();

    ClientProcess service({text("show")});
    service.setEnvironment(text("DBUS_SESSION_BUS_ADDRESS"), address);
    QVERIFY(service.start());
    QVERIFY(service.waitForLog(text("scene enterStore")));
    bus.kill();
    QVERIFY(bus.waitForFinished());
    // It still listens to the other bus, and ends in order.
    m_services.command(text("backplate"), {{text("ready"), 0}});
    QVERIFY(service.waitForLog(text("scene backplateDisconnected")));
    service.terminate();
    end(service);
}

QTEST_GUILESS_MAIN(TstCommandLine)
#include "tst_commandline.moc"
