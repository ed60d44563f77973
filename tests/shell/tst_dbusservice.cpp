#include "clientprocess.h"
#include "scenefile.h"
#include "servicebus.h"
#include "simulatorclient.h"
#include "text.h"

#include <QDBusConnection>
#include <QDBusConnectionInterface>
#include <QDBusMessage>
#include <QDBusPendingCallWatcher>
#include <QDBusReply>
#include <QFile>
#include <QProcess>
#include <QRegularExpression>
#include <QSignalSpy>
#include <QTest>

#include <csignal>

using ServiceBus::target;

namespace {

/** A method of the interface with arguments that do no harm where the call is let through. */
struct Method
{
    const char *name;
    QVariantList arguments;
    bool guarded;
};

QList<Method> methods()
{
    const QVariant path = text("/nowhere/x");
    return {{"install", {path}, true},
            {"show", {}, false},
            {"showApp", {path}, false},
            {"showAppsStartingWith", {path, path}, false},
            {"backplateConnected", {path}, true},
            {"myApps", {}, false},
            {"update", {}, false},
            {"upgrade", {}, true},
            {"osUpdateSet", {path}, true},
            {"checkForOsUpdate", {false, false}, true},
            {"downloadOsUpdate", {path}, true},
            {"getOsUpdateSize", {path}, true},
            {"clearOsUpdateCheckCache", {}, true},
            {"installAccountType", {path}, true},
            {"checkInstalled", {path}, false},
            {"installPackage", {path}, true},
            {"removePackage", {path, false}, true},
            {"removePackageByDesktopFile", {path}, true},
            {"packageName", {path}, true},
            {"startupApplications", {QStringList()}, true},
            {"storeCredentials", {}, true},
            {"packageInfo", {path}, true}};
}

QString lines(const QString &xml)
{
    QStringList result;
    for (const QString &line : xml.split(QLatin1Char('\n')))
        result.append(line.trimmed());
    return result.join(QLatin1Char('\n'));
}

} // namespace

/** The interface on the bus as its callers see it. */
class TstDBusService : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init();
    void introspection();
    void guard_data();
    void guard();
    void refusedCallHasNoEffect();
    void activation();
    void reachesTheScene();
    void backplate();
    void lateCredentials();

private:
    SimulatorClient m_services{text("Services")};
    SimulatorClient m_store{text("Store")};
};

void TstDBusService::init()
{
    m_services.command(text("reset"));
    m_store.command(text("reset"));
    QVERIFY(SceneFile::writeMain());
    QTRY_VERIFY(!ServiceBus::isOwned());
}

/** Order, names, types and annotations are what callers were built against. */
void TstDBusService::introspection()
{
    ClientProcess service;
    QVERIFY(service.startService());
    const BusReply reply = callAs(
        Identity::User, {target.service, target.path, text("org.freedesktop.DBus.Introspectable")},
        text("Introspect"));
    const QString seen = reply.arguments.value(0).toString();
    const int begin = seen.indexOf(text("<interface name=\"%1\"").arg(target.interface));
    const QString end = text("</interface>");
    QVERIFY(begin > 0);

    QFile file(text(KIOSK_SOURCE_DIR "/packaging/com.orvik.orvikstore.xml"));
    QVERIFY(file.open(QIODevice::ReadOnly));
    const QString described = QString::fromUtf8(file.readAll());
    const int from = described.indexOf(text("<interface"));
    QCOMPARE(lines(seen.mid(begin, seen.indexOf(end, begin) - begin)),
             lines(described.mid(from, described.indexOf(end) - from)));
    // What only the scene may call is not there.
    QCOMPARE(callAs(Identity::Root, target, text("processArguments")).errorName,
             text("org.freedesktop.DBus.Error.UnknownMethod"));
}

void TstDBusService::guard_data()
{
    QTest::addColumn<QString>("method");
    QTest::addColumn<QVariantList>("arguments");
    QTest::addColumn<bool>("guarded");
    for (const Method &method : methods()) {
        QTest::newRow(method.name) << text(method.name) << method.arguments << method.guarded;
    }
}

void TstDBusService::guard()
{
    QFETCH(QString, method);
    QFETCH(QVariantList, arguments);
    QFETCH(bool, guarded);
    // Nobody can sign in: a reply that is due late stays away.
    const bool late = method == QLatin1String("storeCredentials");
    m_store.command(text("fault"), {{text("path"), text("/")}, {text("do"), text("hang")}});
    ClientProcess service;
    QVERIFY(service.startService());

    for (const Identity identity : {Identity::Privileged, Identity::Root}) {
        const BusReply reply = callAs(identity, target, method, arguments, late ? 300 : 10000);
        QVERIFY2(late || !reply.isError(), qPrintable(reply.errorText));
        QVERIFY(reply.errorName != QLatin1String("org.freedesktop.DBus.Error.AccessDenied"));
    }
    const BusReply reply = callAs(Identity::User, target, method, arguments);
    if (!guarded) {
        QVERIFY2(!reply.isError(), qPrintable(reply.errorText));
        return;
    }
    QCOMPARE(reply.errorName, text("org.freedesktop.DBus.Error.AccessDenied"));
    const QRegularExpression refusal(text("^PID [1-9]\\d* is not in privileged group$"));
    QVERIFY2(refusal.match(reply.errorText).hasMatch(), qPrintable(reply.errorText));
}

void TstDBusService::refusedCallHasNoEffect()
{
    ClientProcess service;
    QVERIFY(service.startService());
    const auto status = ServiceBus::listen("osUpdateStatusChanged");
    const auto cleared = ServiceBus::listen("osUpdateCheckCacheCleared");
    for (const Method &method : methods()) {
        if (method.guarded) {
            QVERIFY(callAs(Identity::User, target, QLatin1String(method.name), method.arguments)
                        .isError());
        }
    }
    ServiceBus::call("clearOsUpdateCheckCache");
    QVERIFY(cleared->waitForCount(1));
    QCOMPARE(cleared->size(), 1);
    QCOMPARE(status->size(), 0);
    QVERIFY(service.log().filter(text("scene")).isEmpty());
}

/** The bus starts the service for a call and delivers it. */
void TstDBusService::activation()
{
    const auto result = ServiceBus::listen("checkInstalledResult");
    const BusReply reply =
        callAs(Identity::User, target, text("checkInstalled"), {text("no-such-package")});
    QVERIFY2(!reply.isError(), qPrintable(reply.errorText));
    QVERIFY(result->waitForCount(1, 10000));
    QCOMPARE(result->at(0), (QVariantList{text("no-such-package"), false}));
    const QDBusReply<uint> pid =
        QDBusConnection::sessionBus().interface()->servicePid(target.service);
    QVERIFY(pid.isValid());
    QCOMPARE(::kill(pid_t(pid.value()), SIGTERM), 0);
}

void TstDBusService::reachesTheScene()
{
    ClientProcess service;
    QVERIFY(service.startService());
    ServiceBus::call("backplateConnected", {text("cover 7")});
    ServiceBus::call("myApps");
    ServiceBus::call("showAppsStartingWith", {text("a b"), text("Title")});
    QVERIFY(service.waitForLog(text("scene showAppsStartingWith")));
    QStringList seen = service.log().filter(text("scene"));
    seen.replaceInStrings(text("qml: scene "), QString());
    // A back cover makes a scene, not a window.
    QCOMPARE(seen,
             (QStringList{text("backplateConnected cover 7"), text("uiOpened"), text("update"),
                          text("uiOpened"), text("showAppsStartingWith a b Title")}));
}

/** A back cover daemon that says nonsense, on a system bus where this test is the daemon. */
void TstDBusService::backplate()
{
    QProcess daemon;
    daemon.start(text("dbus-daemon"),
                 {text("--session"), text("--nofork"), text("--print-address"),
                  text("--address=unix:path=/tmp/backplate-bus")});
    QVERIFY(daemon.waitForReadyRead());
    const QString address = QString::fromUtf8(daemon.readLine()).trimmed();
    QDBusConnection bus = QDBusConnection::connectToBus(address, text("backplate"));
    const QString name = text("com.orvik.bkpd");
    QVERIFY(bus.registerService(name));

    ClientProcess service;
    service.setEnvironment(text("DBUS_SYSTEM_BUS_ADDRESS"), address);
    QVERIFY(service.startService());
    ServiceBus::call("backplateConnected", {QString()});
    const auto send = [&bus](const QVariantList &arguments) {
        QDBusMessage message = QDBusMessage::createSignal(text("/com/orvik/bkpd"),
                                                          text("org.freedesktop.DBus.Properties"),
                                                          text("PropertiesChanged"));
        message.setArguments(arguments);
        return bus.send(message);
    };
    const QVariantMap ready{{text("Ready"), 0}};
    const QList<QVariantList> all{
        {},
        {text("com.orvik.other"), ready, QStringList()},
        {name},
        {name, 5},
        {name, QStringList{text("Ready")}},
        {name, QVariantMap{{text("Ready"), 1}}, QStringList()},
        {name, QVariantMap{{text("ready"), 0}}, QStringList()},
        {name, ready},
    };
    for (const QVariantList &arguments : all)
        QVERIFY(send(arguments));
    QVERIFY(service.waitForLog(text("scene backplateDisconnected")));
    QCOMPARE(service.log().filter(text("PropertiesChanged from a wrong service \"org.")).size(), 2);
    QCOMPARE(service.log().filter(text("scene backplateDisconnected")).size(), 1);
    QDBusConnection::disconnectFromBus(text("backplate"));
    daemon.kill();
    QVERIFY(daemon.waitForFinished());
}

/** The reply waits for the sign-in, but not for the store itself. */
void TstDBusService::lateCredentials()
{
    const auto fault = [this](const char *path, const char *what) {
        m_store.command(text("fault"),
                        {{text("path"), QLatin1String(path)},
                         {text("do"), QLatin1String(what)},
                         {text("ms"), 1500}});
    };
    fault("/api/", "hang");
    fault("/oauth/", "delay");
    ClientProcess service;
    QVERIFY(service.startService());
    const QDBusMessage call = QDBusMessage::createMethodCall(
        target.service, target.path, target.interface, text("storeCredentials"));
    QDBusPendingCallWatcher first(QDBusConnection::sessionBus().asyncCall(call, 60000));
    QSignalSpy firstDone(&first, &QDBusPendingCallWatcher::finished);
    QDBusPendingCallWatcher second(QDBusConnection::sessionBus().asyncCall(call, 60000));
    QSignalSpy secondDone(&second, &QDBusPendingCallWatcher::finished);
    ServiceBus::call("checkInstalled", {QString()});
    QVERIFY(!second.isFinished());
    QTRY_COMPARE_WITH_TIMEOUT(secondDone.size(), 1, 20000);
    const QDBusMessage reply = second.reply();
    QCOMPARE(reply.signature(), text("ss"));
    QVERIFY(!reply.arguments().at(0).toString().isEmpty());
    QVERIFY(!reply.arguments().at(1).toString().isEmpty());
    // The later caller has taken the place of the earlier one.
    QCOMPARE(firstDone.size(), 0);
    // The token is in no line of the log.
    QVERIFY(service.log().filter(reply.arguments().at(1).toString()).isEmpty());
}

QTEST_GUILESS_MAIN(TstDBusService)
#include "tst_dbusservice.moc"
