#include "bussignal.h"
#include "clientprocess.h"
#include "scenefile.h"
#include "simulatorclient.h"
#include "startupappdata.h"

#include <QDBusArgument>
#include <QDBusConnection>
#include <QDBusConnectionInterface>
#include <QDBusMessage>
#include <QDBusMetaType>
#include <QElapsedTimer>
#include <QFile>
#include <QJsonDocument>
#include <QTest>

namespace {

const QString serviceName = QStringLiteral("com.orvik.orvikstore");
const QString path = QStringLiteral("/KioskClient");

BusSignal *listen(const char *signal, QObject *parent)
{
    return new BusSignal(QDBusConnection::sessionBus(), serviceName, path, serviceName,
                         QLatin1String(signal), parent);
}

void tell(const char *method, const QVariantList &arguments)
{
    QDBusMessage call =
        QDBusMessage::createMethodCall(serviceName, path, serviceName, QLatin1String(method));
    call.setArguments(arguments);
    const QDBusMessage reply = QDBusConnection::sessionBus().call(call);
    QVERIFY2(reply.type() == QDBusMessage::ReplyMessage, qPrintable(reply.errorMessage()));
}

/** The launcher's calls in order, as "Started PACKAGE LABEL" and "Finished PACKAGE". */
QStringList launcherCalls(SimulatorClient &services)
{
    QStringList calls;
    const QJsonArray entries = services.entries();
    for (const QJsonValue &value : entries) {
        const QJsonObject entry = value.toObject();
        const QString kind = entry[QLatin1String("kind")].toString();
        if (!kind.startsWith(QLatin1String("launcher.updating")))
            continue;
        QStringList words{kind.mid(17)};
        const QJsonArray arguments = entry[QLatin1String("arguments")].toArray();
        for (int i = 0; i < arguments.size() && i < 2; ++i)
            words.append(arguments.at(i).toString());
        calls.append(words.join(QLatin1Char(' ')));
    }
    return calls;
}

} // namespace

/** A package operation from a caller on the bus to its result, and who is told on the way. */
class TstPackageOrchestration : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init();
    void installedAndRemoved();
    void failedInstall();
    void unknownToTheStore();
    void launcherThatDoesNotAnswer();
    void tapOnTheLauncher();
    void packageInfo_data();
    void packageInfo();
    void startupApplications();
    void startupApplicationsOverPages();

private:
    [[nodiscard]] QList<StartupAppData> startupList(const QStringList &providers);

    SimulatorClient m_services{QStringLiteral("Services")};
    SimulatorClient m_store{QStringLiteral("Store")};
    SimulatorClient m_packageKit{QStringLiteral("PackageKit")};
    QString m_package; // of an application of the store that isn't installed
    QString m_title;
};

void TstPackageOrchestration::init()
{
    qDBusRegisterMetaType<StartupAppData>();
    qDBusRegisterMetaType<QList<StartupAppData>>();
    m_services.command(QStringLiteral("reset"));
    m_store.command(QStringLiteral("reset"));
    m_packageKit.command(QStringLiteral("reset"));
    QVERIFY(SceneFile::writeMain());
    QTRY_VERIFY(!QDBusConnection::sessionBus().interface()->isServiceRegistered(serviceName));
    QFile file(QStringLiteral(KIOSK_SOURCE_DIR "/simulator/store/data/catalogue.json"));
    QVERIFY(file.open(QIODevice::ReadOnly));
    const QByteArray state = QJsonDocument(m_packageKit.command(QStringLiteral("state"))).toJson();
    const QJsonArray applications =
        QJsonDocument::fromJson(file.readAll()).object()[QLatin1String("applications")].toArray();
    for (const QJsonValue &value : applications) {
        m_package = value.toObject()[QLatin1String("package_name")].toString();
        m_title = value.toObject()[QLatin1String("title")].toString();
        if (!m_package.isEmpty() && !state.contains('"' + m_package.toUtf8() + '"'))
            break;
    }
    QVERIFY(!m_package.isEmpty());
}

void TstPackageOrchestration::installedAndRemoved()
{
    ClientProcess service;
    QVERIFY(service.startService());
    BusSignal *installed = listen("installPackageResult", this);
    BusSignal *progress = listen("packageProgressChanged", this);
    BusSignal *status = listen("packageStatusChanged", this);
    BusSignal *removed = listen("removePackageResult", this);
    tell("installPackage", {m_package});
    QVERIFY2(installed->waitForCount(1, 30000), qPrintable(service.log().join(QLatin1Char('\n'))));
    QCOMPARE(installed->at(0), (QVariantList{m_package, true}));
    QCOMPARE(progress->at(0), (QVariantList{m_package, 0}));
    QCOMPARE(progress->constLast(), (QVariantList{m_package, 100}));
    QCOMPARE(status->at(0), (QVariantList{m_package, 2}));
    QTRY_COMPARE(launcherCalls(m_services),
                 (QStringList{QStringLiteral("Started %1 %2").arg(m_package, m_title),
                              QStringLiteral("Finished %1").arg(m_package)}));

    m_services.command(QStringLiteral("clear-log"));
    tell("removePackage", {m_package, false});
    QVERIFY(removed->waitForCount(1, 30000));
    QCOMPARE(removed->at(0), (QVariantList{m_package, true}));
    QCOMPARE(installed->size(), 1);
    QTRY_COMPARE(launcherCalls(m_services).filter(QStringLiteral("Finished")),
                 QStringList{QStringLiteral("Finished %1").arg(m_package)});
}

void TstPackageOrchestration::failedInstall()
{
    m_packageKit.command(QStringLiteral("script"),
                         {{QStringLiteral("role"), QStringLiteral("InstallPackages")},
                          {QStringLiteral("times"), -1},
                          {QStringLiteral("error"), 8},
                          {QStringLiteral("text"), QStringLiteral("no")}});
    ClientProcess service;
    QVERIFY(service.startService());
    BusSignal *installed = listen("installPackageResult", this);
    tell("installPackage", {m_package});
    QVERIFY(installed->waitForCount(1, 60000));
    QCOMPARE(installed->at(0), (QVariantList{m_package, false}));
    QCOMPARE(launcherCalls(m_services).constLast(), QStringLiteral("Finished %1").arg(m_package));
    const auto isFailure = [](const QJsonObject &entry) {
        return QJsonDocument(entry).toJson().contains("x-orvik.store.install-failed");
    };
    QVERIFY(!m_services.waitFor(isFailure).isEmpty());
}

void TstPackageOrchestration::unknownToTheStore()
{
    ClientProcess service;
    QVERIFY(service.startService());
    tell("installPackage", {QStringLiteral("never-heard-of")});
    QVERIFY(
        service.waitForLog(QStringLiteral("Trying to install package with no application uuid: ")));
    QVERIFY(!m_services.waitForKind(QStringLiteral("launcher.updatingStarted")).isEmpty());
    QCOMPARE(launcherCalls(m_services).at(0), QStringLiteral("Started never-heard-of Untitled"));
}

/** The call blocks until its time-out; then the install goes on all the same. */
void TstPackageOrchestration::launcherThatDoesNotAnswer()
{
    m_services.command(QStringLiteral("hang"),
                       {{QStringLiteral("method"), QStringLiteral("launcher.updatingStarted")}});
    ClientProcess service;
    QVERIFY(service.startService());
    BusSignal *status = listen("packageStatusChanged", this);
    QElapsedTimer clock;
    tell("installPackage", {m_package});
    QVERIFY(!m_services.waitForKind(QStringLiteral("launcher.updatingStarted")).isEmpty());
    clock.start();
    QVERIFY(status->waitForCount(1, 40000));
    qInfo("blocked for %lld ms", clock.elapsed());
    QVERIFY(clock.elapsed() < 30000);
    QCOMPARE(status->at(0), (QVariantList{m_package, 2}));
}

/** Only a package that is being worked on is shown. */
void TstPackageOrchestration::tapOnTheLauncher()
{
    m_packageKit.command(QStringLiteral("timing"), {{QStringLiteral("download"), 2000}});
    ClientProcess service;
    QVERIFY(service.startService());
    BusSignal *status = listen("packageStatusChanged", this);
    tell("backplateConnected", {QString()}); // makes the scene
    m_services.command(QStringLiteral("show-updating"),
                       {{QStringLiteral("package"), QStringLiteral("never-heard-of")}});
    tell("installPackage", {m_package});
    QVERIFY(status->waitForCount(1, 20000));
    m_services.command(QStringLiteral("show-updating"), {{QStringLiteral("package"), m_package}});
    QVERIFY(service.waitForLog(QStringLiteral("scene showApp ") + m_package));
    QCOMPARE(service.log().filter(QStringLiteral("scene showApp")).size(), 1);
}

void TstPackageOrchestration::packageInfo_data()
{
    QTest::addColumn<bool>("known");
    QTest::newRow("known") << true;
    QTest::newRow("unknown") << false;
}

void TstPackageOrchestration::packageInfo()
{
    QFETCH(bool, known);
    ClientProcess service;
    QVERIFY(service.startService());
    // The store has to be there: resolving waits for nothing.
    BusSignal *startup = listen("startupApplicationsResult", this);
    tell("startupApplications", {QStringList()});
    QVERIFY(startup->waitForCount(1, 20000));
    BusSignal *info = listen("packageInfoResult", this);
    tell("packageInfo", {known ? m_package : QStringLiteral("never-heard-of")});
    QVERIFY(info->waitForCount(1, 20000));
    QCOMPARE(info->at(0).at(0).toString(), known ? m_package : QString());
    QCOMPARE(info->at(0).at(1).toString(), known ? m_title : QStringLiteral("Untitled"));
}

QList<StartupAppData> TstPackageOrchestration::startupList(const QStringList &providers)
{
    ClientProcess service;
    BusSignal *result = listen("startupApplicationsResult", this);
    if (!service.startService())
        return {};
    tell("startupApplications", {providers});
    if (!result->waitForCount(1, 20000))
        return {};
    return qdbus_cast<QList<StartupAppData>>(result->at(0).at(0));
}

void TstPackageOrchestration::startupApplications()
{
    const QList<StartupAppData> plain = startupList({});
    QVERIFY(!plain.isEmpty());
    bool marketPlaces = false;
    for (const StartupAppData &data : plain) {
        QVERIFY2(!data.required, qPrintable(data.packageName));
        QVERIFY(data.category == QLatin1String("orvik")
                || data.category == QLatin1String("marketplace"));
        marketPlaces = marketPlaces || data.category == QLatin1String("marketplace");
        // The maker's own come first and are offered as selected.
        QCOMPARE(data.category == QLatin1String("orvik"), !marketPlaces);
        QCOMPARE(data.preselected,
                 data.category == QLatin1String("orvik")
                     || data.packageName == QLatin1String("quayside-apk-com.aptoide.partners"));
    }
}

/** The list of the maker's category comes in two pages, the one of the market places in one. */
void TstPackageOrchestration::startupApplicationsOverPages()
{
    const auto serve = [this](const char *path, const char *body) {
        m_store.command(QStringLiteral("fault"),
                        {{QStringLiteral("path"), QLatin1String(path)},
                         {QStringLiteral("do"), QStringLiteral("body")},
                         {QStringLiteral("body"), QLatin1String(body)}});
    };
    serve("/second-page/", R"({"meta": {"next": null}, "objects": [
        {"uuid": "u2", "title": "Calendar", "package_name": "orvik-calendar", "summary": "Days"},
        {"uuid": "u3", "title": "Notes", "package_name": "notes"}]})");
    serve("^.*category__uuid_incl_subs=acc31a96.*", R"({"meta": {"next": "/second-page/"},
        "objects": [{"uuid": "u1", "title": "Mail", "package_name": "orvik-email"}]})");
    serve("^.*category__uuid_incl_subs=ecbc1dac.*", R"({"meta": {"next": null}, "objects": [
        {"uuid": "u4", "title": "Bazaar", "package_name": "bazaar"},
        {"uuid": "u5", "title": "A", "package_name": "quayside-apk-com.aptoide.partners"}]})");

    const QList<StartupAppData> list =
        startupList({QStringLiteral("google"), QStringLiteral("nobody")});
    QStringList lines;
    for (const StartupAppData &data : list) {
        lines.append(QStringLiteral("%1 %2 %3 %4 %5")
                         .arg(data.name, data.packageName, data.category)
                         .arg(data.required)
                         .arg(data.preselected));
    }
    QCOMPARE(lines,
             (QStringList{QStringLiteral("Mail orvik-email orvik 1 1"),
                          QStringLiteral("Calendar orvik-calendar orvik 1 1"),
                          QStringLiteral("Notes notes orvik 0 1"),
                          QStringLiteral("Bazaar bazaar marketplace 0 0"),
                          QStringLiteral("A quayside-apk-com.aptoide.partners marketplace 0 1")}));
    QCOMPARE(list.at(1).summary, QStringLiteral("Days"));
}

QTEST_GUILESS_MAIN(TstPackageOrchestration)
#include "tst_packageorchestration.moc"
