#include "buscall.h"
#include "bussignal.h"
#include "clientprocess.h"
#include "scenefile.h"
#include "simulatorclient.h"
#include "startupappdata.h"

#include <QDBusConnection>
#include <QDBusConnectionInterface>
#include <QDBusMetaType>
#include <QDBusPendingCallWatcher>
#include <QDBusReply>
#include <QFile>
#include <QProcess>
#include <QRegularExpression>
#include <QSignalSpy>
#include <QTest>

#include <csignal>

namespace {

const QString serviceName = QStringLiteral("com.orvik.orvikstore");
const BusTarget target{serviceName, QStringLiteral("/KioskClient"), serviceName};

/** A method of the interface with arguments that do no harm where the call is let through. */
struct Method
{
    const char *name;
    QVariantList arguments;
    bool guarded;
};

QList<Method> methods()
{
    const QVariant text = QStringLiteral("/nowhere/x");
    return {{"install", {text}, true},
            {"show", {}, false},
            {"showApp", {text}, false},
            {"showAppsStartingWith", {text, text}, false},
            {"backplateConnected", {text}, true},
            {"myApps", {}, false},
            {"update", {}, false},
            {"upgrade", {}, true},
            {"osUpdateSet", {text}, true},
            {"checkForOsUpdate", {false, false}, true},
            {"downloadOsUpdate", {text}, true},
            {"getOsUpdateSize", {text}, true},
            {"clearOsUpdateCheckCache", {}, true},
            {"installAccountType", {text}, true},
            {"checkInstalled", {text}, false},
            {"installPackage", {text}, true},
            {"removePackage", {text, false}, true},
            {"removePackageByDesktopFile", {text}, true},
            {"packageName", {text}, true},
            {"startupApplications", {QStringList()}, true},
            {"storeCredentials", {}, true},
            {"packageInfo", {text}, true}};
}

QString lines(const QString &text)
{
    QStringList result;
    for (const QString &line : text.split(QLatin1Char('\n')))
        result.append(line.trimmed());
    return result.join(QLatin1Char('\n'));
}

} // namespace

/** The interface on the bus as its callers see it. */
class TstDBusService : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void init();
    void introspection();
    void guard_data();
    void guard();
    void refusedCallHasNoEffect();
    void badArguments_data();
    void badArguments();
    void activation();
    void answers();
    void backplate();
    void backplateNonsense();
    void lateCredentials();
    void startupDataOnTheWire();

private:
    SimulatorClient m_services{QStringLiteral("Services")};
    SimulatorClient m_store{QStringLiteral("Store")};
};

void TstDBusService::initTestCase()
{
    qDBusRegisterMetaType<StartupAppData>();
}

void TstDBusService::init()
{
    m_services.command(QStringLiteral("reset"));
    m_store.command(QStringLiteral("reset"));
    QVERIFY(SceneFile::writeMain());
    QTRY_VERIFY(!QDBusConnection::sessionBus().interface()->isServiceRegistered(serviceName));
}

/** Order, names, types and annotations are what callers were built against. */
void TstDBusService::introspection()
{
    ClientProcess service;
    QVERIFY(service.startService());
    const BusReply reply =
        callAs(Identity::User,
               {serviceName, target.path, QStringLiteral("org.freedesktop.DBus.Introspectable")},
               QStringLiteral("Introspect"));
    const QString seen = reply.arguments.value(0).toString();
    const int begin = seen.indexOf(QStringLiteral("<interface name=\"%1\"").arg(serviceName));
    const QString end = QStringLiteral("</interface>");
    QVERIFY(begin > 0);

    QFile file(QStringLiteral(KIOSK_SOURCE_DIR "/packaging/com.orvik.orvikstore.xml"));
    QVERIFY(file.open(QIODevice::ReadOnly));
    const QString described = QString::fromUtf8(file.readAll());
    const int from = described.indexOf(QStringLiteral("<interface"));
    QCOMPARE(lines(seen.mid(begin, seen.indexOf(end, begin) - begin)),
             lines(described.mid(from, described.indexOf(end) - from)));
}

void TstDBusService::guard_data()
{
    QTest::addColumn<QString>("method");
    QTest::addColumn<QVariantList>("arguments");
    QTest::addColumn<bool>("guarded");
    for (const Method &method : methods()) {
        QTest::newRow(method.name)
            << QString::fromLatin1(method.name) << method.arguments << method.guarded;
    }
}

void TstDBusService::guard()
{
    QFETCH(QString, method);
    QFETCH(QVariantList, arguments);
    QFETCH(bool, guarded);
    // Nobody can sign in: a reply that is due late stays away.
    const bool late = method == QLatin1String("storeCredentials");
    m_store.command(QStringLiteral("fault"),
                    {{QStringLiteral("path"), QStringLiteral("/")},
                     {QStringLiteral("do"), QStringLiteral("hang")}});
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
    QCOMPARE(reply.errorName, QStringLiteral("org.freedesktop.DBus.Error.AccessDenied"));
    const QRegularExpression text(QStringLiteral("^PID [1-9]\\d* is not in privileged group$"));
    QVERIFY2(text.match(reply.errorText).hasMatch(), qPrintable(reply.errorText));
}

void TstDBusService::refusedCallHasNoEffect()
{
    ClientProcess service;
    QVERIFY(service.startService());
    BusSignal status(QDBusConnection::sessionBus(), serviceName, target.path, serviceName,
                     QStringLiteral("osUpdateStatusChanged"));
    BusSignal cleared(QDBusConnection::sessionBus(), serviceName, target.path, serviceName,
                      QStringLiteral("osUpdateCheckCacheCleared"));
    const QString clear = QStringLiteral("clearOsUpdateCheckCache");
    const QVariantList noRefresh{false, false};
    QVERIFY(callAs(Identity::User, target, clear).isError());
    QVERIFY(
        callAs(Identity::User, target, QStringLiteral("checkForOsUpdate"), noRefresh).isError());
    QVERIFY(
        callAs(Identity::User, target, QStringLiteral("backplateConnected"), {QStringLiteral("7")})
            .isError());
    QVERIFY(!callAs(Identity::Privileged, target, clear).isError());
    QVERIFY(cleared.waitForCount(1));
    QCOMPARE(cleared.size(), 1);
    QCOMPARE(status.size(), 0);
    QVERIFY(service.log().filter(QStringLiteral("scene")).isEmpty());
}

void TstDBusService::badArguments_data()
{
    QTest::addColumn<QString>("method");
    QTest::addColumn<QVariantList>("arguments");
    QTest::newRow("too few") << QStringLiteral("showApp") << QVariantList();
    QTest::newRow("too many") << QStringLiteral("show") << QVariantList{1};
    QTest::newRow("wrong type") << QStringLiteral("installPackage") << QVariantList{true};
    QTest::newRow("a map") << QStringLiteral("startupApplications")
                           << QVariantList{QVariantMap{{QStringLiteral("a"), 1}}};
    QTest::newRow("no such method") << QStringLiteral("processArguments") << QVariantList();
}

void TstDBusService::badArguments()
{
    QFETCH(QString, method);
    QFETCH(QVariantList, arguments);
    ClientProcess service;
    QVERIFY(service.startService());
    const BusReply reply = callAs(Identity::Root, target, method, arguments);
    QCOMPARE(reply.errorName, QStringLiteral("org.freedesktop.DBus.Error.UnknownMethod"));
    QVERIFY(service.isRunning());
}

/** The bus starts the service for a call and delivers it. */
void TstDBusService::activation()
{
    BusSignal result(QDBusConnection::sessionBus(), QString(), target.path, serviceName,
                     QStringLiteral("checkInstalledResult"));
    const BusReply reply = callAs(Identity::User, target, QStringLiteral("checkInstalled"),
                                  {QStringLiteral("no-such-package")});
    QVERIFY2(!reply.isError(), qPrintable(reply.errorText));
    QVERIFY(result.waitForCount(1, 10000));
    QCOMPARE(result.at(0), (QVariantList{QStringLiteral("no-such-package"), false}));
    const QDBusReply<uint> pid = QDBusConnection::sessionBus().interface()->servicePid(serviceName);
    QVERIFY(pid.isValid());
    QCOMPARE(::kill(pid_t(pid.value()), SIGTERM), 0);
}

void TstDBusService::answers()
{
    ClientProcess service;
    QVERIFY(service.startService());
    const QDBusConnection bus = QDBusConnection::sessionBus();
    BusSignal name(bus, serviceName, target.path, serviceName, QStringLiteral("packageNameResult"));
    QVERIFY(!callAs(Identity::Privileged, target, QStringLiteral("packageName"),
                    {QStringLiteral("/no/such/file")})
                 .isError());
    QVERIFY(name.waitForCount(1, 10000));
    QCOMPARE(name.at(0), QVariantList{QString()});

    // With nothing on offer the running version is told, with the default picture.
    BusSignal status(bus, serviceName, target.path, serviceName,
                     QStringLiteral("osUpdateStatusChanged"));
    BusSignal info(bus, serviceName, target.path, serviceName, QStringLiteral("osUpdateInfo"));
    QVERIFY(!callAs(Identity::Root, target, QStringLiteral("checkForOsUpdate"), {false, false})
                 .isError());
    QVERIFY(info.waitForCount(1));
    QCOMPARE(status, (QList<QVariantList>{{1}}));
    QCOMPARE(info.at(0).size(), 9);
    QCOMPARE(info.at(0).mid(0, 5),
             (QVariantList{QStringLiteral("3.2.1.20"), QStringLiteral("Lindmark"), QString(),
                           QStringLiteral("/usr/share/kiosk-client/graphics/"
                                          "Branwick-OS-update-promo.jpg"),
                           QString()}));
    QCOMPARE(info.at(0).mid(6), (QVariantList{0LL, 0LL, 0LL}));
}

void TstDBusService::backplate()
{
    ClientProcess service;
    QVERIFY(service.startService());
    QVERIFY(!callAs(Identity::Privileged, target, QStringLiteral("backplateConnected"),
                    {QStringLiteral("cover 7")})
                 .isError());
    QVERIFY(service.waitForLog(QStringLiteral("scene backplateConnected cover 7")));
    QVERIFY(service.log().filter(QStringLiteral("scene uiOpened")).isEmpty());

    const auto ready = [this](int value) {
        m_services.command(QStringLiteral("backplate"), {{QStringLiteral("ready"), value}});
    };
    ready(1);
    ready(0);
    QVERIFY(service.waitForLog(QStringLiteral("scene backplateDisconnected")));
    QCOMPARE(service.log().filter(QStringLiteral("scene backplateDisconnected")).size(), 1);
}

/** A back cover daemon that says nonsense, on a system bus where this test is the daemon. */
void TstDBusService::backplateNonsense()
{
    QProcess daemon;
    daemon.start(QStringLiteral("dbus-daemon"),
                 {QStringLiteral("--session"), QStringLiteral("--nofork"),
                  QStringLiteral("--print-address"),
                  QStringLiteral("--address=unix:path=/tmp/backplate-bus")});
    QVERIFY(daemon.waitForReadyRead());
    const QString address = QString::fromUtf8(daemon.readLine()).trimmed();
    QDBusConnection bus = QDBusConnection::connectToBus(address, QStringLiteral("backplate"));
    const QString name = QStringLiteral("com.orvik.bkpd");
    QVERIFY(bus.registerService(name));

    ClientProcess service;
    service.setEnvironment(QStringLiteral("DBUS_SYSTEM_BUS_ADDRESS"), address);
    QVERIFY(service.startService());
    QVERIFY(!callAs(Identity::Root, target, QStringLiteral("backplateConnected"), {QString()})
                 .isError());
    const auto send = [&bus](const QVariantList &arguments) {
        QDBusMessage message = QDBusMessage::createSignal(
            QStringLiteral("/com/orvik/bkpd"), QStringLiteral("org.freedesktop.DBus.Properties"),
            QStringLiteral("PropertiesChanged"));
        message.setArguments(arguments);
        return bus.send(message);
    };
    const QVariantMap ready{{QStringLiteral("Ready"), 0}};
    QVERIFY(send({}));
    QVERIFY(send({QStringLiteral("com.orvik.other"), ready, QStringList()}));
    QVERIFY(send({name}));
    QVERIFY(send({name, 5}));
    QVERIFY(send({name, QStringList{QStringLiteral("Ready")}}));
    QVERIFY(send({name, QVariantMap{{QStringLiteral("Ready"), 2}}, QStringList()}));
    QVERIFY(send({name, QVariantMap{{QStringLiteral("ready"), 0}}, QStringList()}));
    QVERIFY(send({name, ready}));
    QVERIFY(service.waitForLog(QStringLiteral("scene backplateDisconnected")));
    QCOMPARE(service.log()
                 .filter(QStringLiteral("PropertiesChanged from a wrong service \"org."))
                 .size(),
             2);
    QCOMPARE(service.log().filter(QStringLiteral("scene backplateDisconnected")).size(), 1);
    QDBusConnection::disconnectFromBus(QStringLiteral("backplate"));
    daemon.kill();
    QVERIFY(daemon.waitForFinished());
}

/** The reply waits for the sign-in. */
void TstDBusService::lateCredentials()
{
    m_store.command(QStringLiteral("fault"),
                    {{QStringLiteral("path"), QStringLiteral("/")},
                     {QStringLiteral("do"), QStringLiteral("delay")},
                     {QStringLiteral("ms"), 1500}});
    ClientProcess service;
    QVERIFY(service.startService());
    const QDBusMessage call = QDBusMessage::createMethodCall(serviceName, target.path, serviceName,
                                                             QStringLiteral("storeCredentials"));
    QDBusPendingCallWatcher first(QDBusConnection::sessionBus().asyncCall(call, 60000));
    QSignalSpy firstDone(&first, &QDBusPendingCallWatcher::finished);
    QDBusPendingCallWatcher second(QDBusConnection::sessionBus().asyncCall(call, 60000));
    QSignalSpy secondDone(&second, &QDBusPendingCallWatcher::finished);
    QVERIFY(
        !callAs(Identity::User, target, QStringLiteral("checkInstalled"), {QString()}).isError());
    QVERIFY(!second.isFinished());
    QTRY_COMPARE_WITH_TIMEOUT(secondDone.size(), 1, 20000);
    const QDBusMessage reply = second.reply();
    QCOMPARE(reply.signature(), QStringLiteral("ss"));
    QVERIFY(!reply.arguments().at(0).toString().isEmpty());
    QVERIFY(!reply.arguments().at(1).toString().isEmpty());
    // The later caller has taken the place of the earlier one.
    QCOMPARE(firstDone.size(), 0);
    // The token is in no line of the log.
    QVERIFY(service.log().filter(reply.arguments().at(1).toString()).isEmpty());
}

void TstDBusService::startupDataOnTheWire()
{
    StartupAppData data;
    data.name = QStringLiteral("Chess");
    data.packageName = QStringLiteral("chess");
    data.icon = QStringLiteral("icon");
    data.category = QStringLiteral("orvik");
    data.summary = QStringLiteral("Game");
    data.required = true;
    QDBusArgument argument;
    argument << data;
    QCOMPARE(argument.currentSignature(), QStringLiteral("(sssssbb)"));
}

QTEST_GUILESS_MAIN(TstDBusService)
#include "tst_dbusservice.moc"
