#include "../package/wire/wireclient.h"
#include "simulatorclient.h"

#include <QDBusConnectionInterface>
#include <QDBusReply>
#include <QJsonDocument>
#include <QTest>

namespace {

using Words = QStringList;

const quint64 installedOnly = 0x4;
const QString separator = QStringLiteral(", ");
const QString success = QStringLiteral(", Finished 1");
const QString larder = QStringLiteral("larder;1.6.1-1;noarch;store");

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

} // namespace

/** What the simulated package daemon promises beyond the wire that all daemons share. */
class TstPackageKitSim : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init();

    void faults_data();
    void faults();
    void faultsWaitForTheirTurn();
    void daemonDies_data();
    void daemonDies();

private:
    QString run(const char *method, const QVariantList &arguments);

    SimulatorClient m_control{QStringLiteral("PackageKit")};
    WireClient m_client{QStringLiteral("wire")};
};

void TstPackageKitSim::init()
{
    m_control.command(QStringLiteral("reset"));
    m_control.command(QStringLiteral("timing"),
                      object(R"({"download":40,"install":20,"remove":20,"refresh":20,
                                 "upgrade-download":100,"upgrade-install":40})"));
}

QString TstPackageKitSim::run(const char *method, const QVariantList &arguments)
{
    return essence(m_client.run(QString::fromLatin1(method), arguments));
}

void TstPackageKitSim::faults_data()
{
    QTest::addColumn<QByteArray>("script");
    QTest::addColumn<QString>("expected"); // with the right answer as %1

    const auto row = [](const char *name, const char *script, const char *expected) {
        QTest::newRow(name) << QByteArray(script) << QString::fromLatin1(expected);
    };
    row("error before the answer", R"({"role":"Resolve","error":8,"text":"gone"})",
        "ErrorCode 8 gone, Finished 2");
    row("error after the answer", R"({"role":17,"error":4,"text":"late","at":"end","exit":5})",
        "%1, ErrorCode 4 late, Finished 5");
    row("end without a word", R"({"role":"*","exit":2})", "Finished 2");
    row("refused", R"({"role":"Resolve","reject":"not today"})",
        "Destroy, error org.freedesktop.PackageKit.Transaction.NotSupported not today");
    row("more rows than one", R"({"role":"Resolve","packages":[[2,"x;1;a;s","X"]]})",
        "Package 2 x;1;a;s X, %1, Finished 1");
    row("canned rows only", R"({"role":"Resolve","canned":true,"packages":[[2,"x;1;a;s","X"]]})",
        "Package 2 x;1;a;s X, Finished 1");
    row("late signals", R"({"role":"Resolve","late":[["Package",1,"y;1;a;s","Y"],
                                                     ["ErrorCode",4,"z"],["Finished",2,0]]})",
        "%1, Finished 1, Package 1 y;1;a;s Y, ErrorCode 4 z, Finished 2");
}

void TstPackageKitSim::faults()
{
    QFETCH(QByteArray, script);
    QFETCH(QString, expected);
    m_control.command(QStringLiteral("script"), object(script.constData()));
    const QVariantList arguments{installedOnly, Words{QStringLiteral("orvik-calculator")}};
    const QString struck = run("Resolve", arguments);
    // It strikes once.
    const QString right = run("Resolve", arguments);
    QVERIFY(right.startsWith(QLatin1String("Package 1 orvik-calculator;1.4.2-1;")));
    QVERIFY(right.endsWith(success));
    QCOMPARE(struck, expected.replace(QLatin1String("%1"), right.chopped(success.size())));
}

void TstPackageKitSim::faultsWaitForTheirTurn()
{
    m_control.command(QStringLiteral("script"),
                      object(R"({"role":"GetRepoList","skip":1,"times":2,"exit":2})"));
    QStringList ends;
    for (int i = 0; i < 4; ++i)
        ends += run("GetRepoList", {quint64(2)});
    QCOMPARE(ends.join(separator),
             QStringLiteral("Finished 1, Finished 2, Finished 2, Finished 1"));
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
    const QString path = m_client.create();
    m_client.call(path, QStringLiteral("InstallPackages"), {quint64(2), Words{larder}});
    QVERIFY(m_client.waitFor(path, lastEvent));
    QTRY_VERIFY(!m_client.connection().interface()->isServiceRegistered(name));

    // The next command starts it again, with everything as it was but the fault.
    const QString repositories =
        m_client.run(QStringLiteral("GetRepoList"), {quint64(2)}).join(separator);
    QVERIFY2(repositories.contains(QLatin1String("RepoDetail user-extra Added by the user 0")),
             qPrintable(repositories));
    const QVariantList isThere{installedOnly, Words{QStringLiteral("larder")}};
    QCOMPARE(run("Resolve", isThere).startsWith(QLatin1String("Package ")), isInstalled);
    if (!isInstalled)
        QVERIFY(run("InstallPackages", {quint64(2), Words{larder}}).endsWith(success));
}

QTEST_GUILESS_MAIN(TstPackageKitSim)
#include "tst_packagekitsim.moc"
