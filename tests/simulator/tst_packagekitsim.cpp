#include "../package/wire/wireclient.h"
#include "simulatorclient.h"

#include <QDBusConnectionInterface>
#include <QDBusReply>
#include <QFile>
#include <QJsonDocument>
#include <QTest>

namespace {

using Words = QStringList;

const quint64 installedOnly = 0x4;
const quint64 newestOfAll = 0x210020;
const QString separator = QStringLiteral(", ");
const QString larder = QStringLiteral("larder;1.6.1-1;noarch;store");
const QString pattern = QStringLiteral("orvik-configuration-fjord");
const QString offeredRelease = QStringLiteral("3.3.0.16");

QJsonObject object(const char *json)
{
    return QJsonDocument::fromJson(json).object();
}

/** What a client acts upon, without running times, which differ. */
QString essence(const QStringList &events)
{
    QStringList chosen =
        only(events,
             {QStringLiteral("Package "), QStringLiteral("ErrorCode "), QStringLiteral("Finished "),
              QStringLiteral("Destroy"), QStringLiteral("error ")});
    for (QString &event : chosen) {
        if (event.startsWith(QLatin1String("Finished ")))
            event = event.section(QLatin1Char(' '), 0, 1);
    }
    return chosen.join(separator);
}

QByteArray contentOf(const QString &path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

} // namespace

/** What the simulated package daemon promises beyond the wire that all daemons share. */
class TstPackageKitSim : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void init();

    void faults_data();
    void faults();
    void faultsWaitForTheirTurn();
    void percentagesAreTold();
    void daemonDies_data();
    void daemonDies();
    void waitingTransactionIsCancelled();
    void foreignTransactionHoldsUpChanges();
    void systemUpgrade();

private:
    [[nodiscard]] QStringList resolve(const QString &name, quint64 filter = newestOfAll);
    [[nodiscard]] QStringList installed();
    QStringList change(const QString &method, const QVariantList &arguments);

    SimulatorClient m_control{QStringLiteral("PackageKit")};
    QScopedPointer<WireClient> m_client;
};

void TstPackageKitSim::initTestCase()
{
    m_client.reset(new WireClient(QStringLiteral("wire")));
}

void TstPackageKitSim::init()
{
    m_control.command(QStringLiteral("reset"));
    m_control.command(QStringLiteral("timing"),
                      object(R"({"download":40,"install":20,"remove":20,"refresh":20,
                                 "upgrade-download":100,"upgrade-install":40})"));
}

QStringList TstPackageKitSim::resolve(const QString &name, quint64 filter)
{
    const QStringList events = m_client->run(QStringLiteral("Resolve"), {filter, Words{name}});
    QStringList ids;
    const QStringList rows = only(events, {QStringLiteral("Package ")});
    for (const QString &row : rows)
        ids.append(row.section(QLatin1Char(' '), 2, 2));
    return ids;
}

QStringList TstPackageKitSim::installed()
{
    QStringList names;
    const QJsonArray packages =
        m_control.command(QStringLiteral("state"))[QLatin1String("installed")].toArray();
    for (const QJsonValue &package : packages)
        names.append(package.toObject()[QLatin1String("name")].toString());
    return names;
}

QStringList TstPackageKitSim::change(const QString &method, const QVariantList &arguments)
{
    return m_client->run(method, QVariantList{quint64(2)} + arguments);
}

void TstPackageKitSim::faults_data()
{
    QTest::addColumn<QByteArray>("script");
    QTest::addColumn<QString>("expected");
    const QString row = QStringLiteral("Package 1 orvik-calculator;1.4.2-1;noarch;installed "
                                       "Sums, percentages and a paper roll");
    QTest::newRow("error before the answer")
        << QByteArray(R"({"role":"Resolve","error":8,"text":"gone"})")
        << QStringLiteral("ErrorCode 8 gone, Finished 2");
    QTest::newRow("error after the answer")
        << QByteArray(R"({"role":17,"error":4,"text":"late","at":"end","exit":5})")
        << row + QStringLiteral(", ErrorCode 4 late, Finished 5");
    QTest::newRow("end without a word")
        << QByteArray(R"({"role":"*","exit":2})") << QStringLiteral("Finished 2");
    QTest::newRow("refused") << QByteArray(R"({"role":"Resolve","reject":"not today"})")
                             << QStringLiteral(
                                    "Destroy, error org.freedesktop.PackageKit.Transaction."
                                    "NotSupported not today");
    QTest::newRow("more rows than one")
        << QByteArray(R"({"role":"Resolve","packages":[[2,"x;1;a;s","X"]]})")
        << QStringLiteral("Package 2 x;1;a;s X, ") + row + QStringLiteral(", Finished 1");
    QTest::newRow("canned rows only")
        << QByteArray(R"({"role":"Resolve","canned":true,"packages":[[2,"x;1;a;s","X"]]})")
        << QStringLiteral("Package 2 x;1;a;s X, Finished 1");
    QTest::newRow("late signals") << QByteArray(
        R"({"role":"Resolve","late":[["Package",1,"y;1;a;s","Y"],
                          ["ErrorCode",4,"z"],["Finished",2,0]]})")
                                  << row
            + QStringLiteral(", Finished 1, Package 1 y;1;a;s Y, ErrorCode 4 z, Finished 2");
}

void TstPackageKitSim::faults()
{
    QFETCH(QByteArray, script);
    QFETCH(QString, expected);
    m_control.command(QStringLiteral("script"), object(script.constData()));
    const QVariantList arguments{installedOnly, Words{QStringLiteral("orvik-calculator")}};
    QCOMPARE(essence(m_client->run(QStringLiteral("Resolve"), arguments)), expected);
    // It strikes once.
    QVERIFY(essence(m_client->run(QStringLiteral("Resolve"), arguments))
                .endsWith(QLatin1String("Finished 1")));
}

void TstPackageKitSim::faultsWaitForTheirTurn()
{
    m_control.command(QStringLiteral("script"),
                      object(R"({"role":"GetRepoList","skip":1,"times":2,"exit":2})"));
    QStringList ends;
    for (int i = 0; i < 4; ++i) {
        ends += only(m_client->run(QStringLiteral("GetRepoList"), {quint64(2)}),
                     {QStringLiteral("Finished ")});
        ends.last() = ends.last().section(QLatin1Char(' '), 1, 1);
    }
    QCOMPARE(ends.join(separator), QStringLiteral("1, 2, 2, 1"));
}

void TstPackageKitSim::percentagesAreTold()
{
    m_control.command(QStringLiteral("script"),
                      object(R"({"role":"InstallPackages","percentages":[101,40,101,20,60]})"));
    const QStringList events = change(QStringLiteral("InstallPackages"), {Words{larder}});
    QCOMPARE(only(events, {QStringLiteral("Percentage ")}).join(separator),
             QStringLiteral("Percentage 40, Percentage 101, Percentage 20, Percentage 60"));
    QVERIFY(installed().contains(QStringLiteral("larder")));
}

void TstPackageKitSim::daemonDies_data()
{
    QTest::addColumn<QString>("when");
    QTest::addColumn<QString>("lastEvent");
    QTest::addColumn<bool>("isInstalled");
    QTest::newRow("before the reply") << "call"
                                      << "error " << false;
    QTest::newRow("in the middle") << "running"
                                   << "Status 9" << false;
    QTest::newRow("after the end") << "end"
                                   << "delisted" << true;
}

void TstPackageKitSim::daemonDies()
{
    QFETCH(QString, when);
    QFETCH(QString, lastEvent);
    QFETCH(bool, isInstalled);
    m_control.command(QStringLiteral("script"),
                      {{QStringLiteral("role"), QStringLiteral("InstallPackages")},
                       {QStringLiteral("die"), when}});
    m_control.command(QStringLiteral("repository"),
                      object(R"({"name":"user-extra","enabled":false})"));
    const QString name = QStringLiteral("org.freedesktop.PackageKit");
    const QString path = m_client->create();
    m_client->call(path, QStringLiteral("InstallPackages"), {quint64(2), Words{larder}});
    QVERIFY(m_client->waitFor(path, lastEvent));
    QTRY_VERIFY(!m_client->connection().interface()->isServiceRegistered(name));

    // The next command starts it again, with everything as it was but the fault.
    const QString repositories =
        m_client->run(QStringLiteral("GetRepoList"), {quint64(2)}).join(separator);
    QVERIFY2(repositories.contains(QLatin1String("RepoDetail user-extra Added by the user 0")),
             qPrintable(repositories));
    QCOMPARE(!resolve(QStringLiteral("larder"), installedOnly).isEmpty(), isInstalled);
    if (!isInstalled) {
        QVERIFY(essence(change(QStringLiteral("InstallPackages"), {Words{larder}}))
                    .endsWith(QLatin1String("Finished 1")));
    }
}

void TstPackageKitSim::waitingTransactionIsCancelled()
{
    m_control.command(QStringLiteral("foreign"), object(R"({"role":"RefreshCache","ms":60000})"));
    const QString path = m_client->create();
    m_client->call(path, QStringLiteral("InstallPackages"), {quint64(2), Words{larder}});
    QVERIFY(m_client->waitFor(path, QStringLiteral("Status 1")));
    m_client->call(path, QStringLiteral("Cancel"));
    QVERIFY(m_client->waitFor(path, QStringLiteral("delisted")));
    QCOMPARE(
        essence(m_client->events(path)),
        QStringLiteral("ErrorCode 17 %1 was cancelled and was never run, Finished 3").arg(path));
    QVERIFY(!installed().contains(QStringLiteral("larder")));
}

void TstPackageKitSim::foreignTransactionHoldsUpChanges()
{
    const QString foreign =
        m_control
            .command(QStringLiteral("foreign"),
                     object(R"({"role":"RefreshCache","ms":200})"))[QLatin1String("transaction")]
            .toString();
    const QString path = m_client->create();
    m_client->call(path, QStringLiteral("InstallPackages"), {quint64(2), Words{larder}});
    QVERIFY(m_client->waitFor(path, QStringLiteral("Status 1")));
    // Questions and repository switches wait for nobody.
    m_client->run(QStringLiteral("RepoEnable"), {QStringLiteral("nightly"), true});
    QCOMPARE(resolve(QStringLiteral("larder")), Words{larder});
    QVERIFY(!m_client->events(foreign).contains(QStringLiteral("delisted")));
    QVERIFY(!m_client->events(path).contains(QStringLiteral("Status 2")));
    QVERIFY(m_client->waitFor(path, QStringLiteral("Finished 1")));
    QVERIFY(m_client->events(foreign).contains(QStringLiteral("delisted")));
}

void TstPackageKitSim::systemUpgrade()
{
    const QString upgrade = QStringLiteral("UpgradeSystem");
    m_control.command(QStringLiteral("rdm-release"), {{QStringLiteral("release"), offeredRelease}});
    m_control.command(QStringLiteral("upgrade-size"),
                      object(R"({"download":1000,"install":2000,"remove":30})"));
    const auto size = [&] {
        return essence(change(upgrade, {QStringLiteral("tesk::query-size:") + pattern, 3U}));
    };
    QCOMPARE(size(),
             QStringLiteral("ErrorCode 44 DOWNLOAD=1000;INSTALL=2000;REMOVE=30;CACHED=0, "
                            "Finished 2"));

    const QStringList download = change(upgrade, {pattern, 1U});
    const int refreshing = download.indexOf(QStringLiteral("Status 7"));
    QVERIFY(refreshing > 0);
    QVERIFY(download.indexOf(QStringLiteral("Status 8")) > refreshing);
    QVERIFY(!download.contains(QStringLiteral("Status 9")));
    QVERIFY(contentOf(QStringLiteral("/etc/os-release")).contains("VERSION_ID=3.2.1.20\n"));
    QCOMPARE(size(),
             QStringLiteral("ErrorCode 44 DOWNLOAD=0;INSTALL=2000;REMOVE=30;CACHED=1000, "
                            "Finished 2"));

    const QStringList install = change(upgrade, {pattern, 3U});
    QVERIFY(!install.contains(QStringLiteral("Status 8"))); // it is there already
    QVERIFY(essence(install).endsWith(QLatin1String("Finished 1")));
    QCOMPARE(resolve(QStringLiteral("branwick-version"), installedOnly),
             Words{QStringLiteral("branwick-version;3.3.0-16;noarch;installed")});
    QVERIFY(contentOf(QStringLiteral("/etc/os-release")).contains("VERSION_ID=3.3.0.16\n"));
    QVERIFY(contentOf(QStringLiteral("/etc/os-release")).contains("VERSION=\"3.3.0.16 ("));
}

QTEST_GUILESS_MAIN(TstPackageKitSim)
#include "tst_packagekitsim.moc"
