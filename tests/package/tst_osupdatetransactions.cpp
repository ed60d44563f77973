#include "package/distchecktransactionpkgkit.h"
#include "package/distupgradetransactionpkgkit.h"
#include "package/osupdatesizetransactionpkgkit.h"
#include "packagephone.h"
#include "transactionrecorder.h"

#include <QtTest>

using namespace Package;

using Script = PackagePhone::Script;

namespace {

const QString refresh = text("RepoSetData(non-oss, refresh-now, true)");
const QStringList checks{text("Resolve(0x200004, branwick-version)"),
                         text("Resolve(0x210008, branwick-version)")};
const QString sizeCall =
    text("UpgradeSystem(0x2, tesk::query-size:orvik-configuration-fjord, 0x3)");
const QString downloadCall = text("UpgradeSystem(0x2, orvik-configuration-fjord, 0x1)");
const QString installCall = text("UpgradeSystem(0x2, orvik-configuration-fjord, 0x3)");
const QString untouched = text("  -1 -1 -1");

QJsonObject failingUpgrade(int error, const char *words, int times = 1)
{
    return with(failing("UpgradeSystem", error, words), "times", times);
}

/** The version package, as one step of a check tells it. */
QJsonValue package(const char *version, const char *summary = "")
{
    return packageRow(2, text("branwick-version;%1;noarch;non-oss").arg(text(version)),
                      text(summary));
}

} // namespace

/** The check for an OS update, its size, and its download and install. */
class TstOsUpdateTransactions : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init();
    void run_data();
    void run();
    void sizeIsOfTheModelNow();
    void progress_data();
    void progress();
    void cancelWaitsForTheDaemon_data();
    void cancelWaitsForTheDaemon();

private:
    void checkRows() const;
    void sizeRows() const;
    void upgradeRows() const;

    PackagePhone m_phone;
    Manager::UpgradeInformation::Ptr m_info;
    const Factory m_check = [this] { return new DistCheckTransactionPkgKit(m_info, false); };
    const Factory m_checkAnew = [this] { return new DistCheckTransactionPkgKit(m_info, true); };
    const Factory m_size = [this] { return new OsUpdateSizeTransactionPkgKit(m_info); };
    const Factory m_download = [] { return new DistUpgradeTransactionPkgKit(true); };
    const Factory m_install = [] { return new DistUpgradeTransactionPkgKit(false); };
};

void TstOsUpdateTransactions::init()
{
    m_phone.reset();
    m_info = Manager::UpgradeInformation::Ptr::create();
}

void TstOsUpdateTransactions::run_data()
{
    QTest::addColumn<Factory>("factory");
    QTest::addColumn<Script>("script");
    QTest::addColumn<QStringList>("told");
    QTest::addColumn<QStringList>("calls");
    QTest::addColumn<QString>("information"); // version, summary and the sizes

    checkRows();
    sizeRows();
    upgradeRows();
}

void TstOsUpdateTransactions::checkRows() const
{
    const auto row = [](const char *name, const Factory &factory, const Script &script,
                        const QStringList &told, const QStringList &calls, const char *version) {
        QTest::addRow("check: %s", name)
            << factory << script << told << calls << text(version) + text(" -1 -1 -1");
    };
    const QJsonObject installed = canned("Resolve", {package("1-20", "Old")});
    const QJsonObject offered = canned("Resolve", {package("2-16", "New")});
    const QStringList withRefresh = QStringList{refresh} + checks;
    const QStringList none{text("finished")};
    row("another version", m_check, {installed, offered}, succeeded, checks, "2-16 New");
    row("with a refresh", m_checkAnew, {installed, offered, cannedRest()}, succeeded, withRefresh,
        "2-16 New");
    row("the same version ends without a word", m_check,
        {installed, canned("Resolve", {package("1-20")})}, none, checks, "1-20 ");
    row("one other among several is enough", m_check,
        {installed, canned("Resolve", {package("2-16"), package("1-20")})}, succeeded, checks,
        "1-20 ");
    row("nothing offered leaves what is installed", m_check, {installed, cannedRest()}, none,
        checks, "1-20 Old");
    row("nothing installed: anything is new", m_check, {canned("Resolve"), offered}, succeeded,
        checks, "2-16 New");
    row("exits don't count", m_checkAnew,
        {ending("RepoSetData", 2), with(installed, "exit", 2), with(offered, "exit", 2)}, none,
        withRefresh, " ");
    row("an error of the refresh does", m_checkAnew, {failing("RepoSetData", 10, "offline")},
        failed("offline"), {refresh}, " ");
    row("conflict in the last step", m_check, {installed, failing("Resolve", 36, "conflict")},
        failed("conflict"), checks, "1-20 Old");
}

void TstOsUpdateTransactions::sizeRows() const
{
    const auto row = [this](const char *name, const QString &answer, const QString &sizes) {
        const QStringList told = sizes.isEmpty() ? failed(answer) : succeeded;
        QTest::addRow("size: %s", name)
            << m_size << Script{failing("UpgradeSystem", 44, qPrintable(answer))} << told
            << QStringList{sizeCall} << (sizes.isEmpty() ? untouched : text("  ") + sizes);
    };
    row("usual order", text("DOWNLOAD=1;INSTALL=2;REMOVE=3;CACHED=4"), text("1 2 3"));
    row("other order, more keys, negative",
        text("OTHER=9;CACHED=0;REMOVE=0;INSTALL=-5;DOWNLOAD=9000000000"), text("9000000000 -5 0"));
    row("the last of equal keys", text("DOWNLOAD=1;INSTALL=2;REMOVE=3;CACHED=4;DOWNLOAD=7"),
        text("7 2 3"));
    const QString sizes = text("DOWNLOAD=%1;INSTALL=2;REMOVE=3%2");
    row("broken: nothing", QString(), {});
    row("broken: not all keys", sizes.arg(text("1"), QString()), {});
    row("broken: an empty part", sizes.arg(text("1"), text(";CACHED=4;")), {});
    row("broken: no value", sizes.arg(text("1"), text(";CACHED=")), {});
    for (const char *number : {"1=1", "1.5", "0x1", "9223372036854775808"})
        row(qPrintable(text("broken: ") + text(number)), sizes.arg(text(number), text(";CACHED=4")),
            {});
}

void TstOsUpdateTransactions::upgradeRows() const
{
    const auto row = [](const char *name, const Factory &factory, const Script &script,
                        const QStringList &told, const QString &call, int times = 1) {
        const QStringList calls = QVector<QString>(times, call).toList();
        QTest::newRow(name) << factory << script << told << calls << untouched;
    };
    row("size: a query that ends well is a failure with no words", m_size, {cannedRest()},
        failed(QString()), sizeCall);
    row("size: another error", m_size, {failingUpgrade(2, "offline")}, failed("offline"), sizeCall);
    row("download: not a fifth time, and the last words count", m_download,
        {failingUpgrade(46, "first"), failingUpgrade(10, "x", 2), failingUpgrade(2, "last"),
         cannedRest()},
        failed("last"), downloadCall, 4);
    row("download: the disk is full at last", m_download,
        {failingUpgrade(10, "x", 3), failingUpgrade(46, "no room")}, failed("disk full: no room"),
        downloadCall, 4);
    row("download: words of an earlier time are forgotten", m_download,
        {failingUpgrade(46, "no room", 3), ending("UpgradeSystem", 2)}, failed(QString()),
        downloadCall, 4);
    row("download: cancelled by somebody, not repeated", m_download, {ending("UpgradeSystem", 3)},
        failed("cancelled"), downloadCall);
    row("download: refused", m_download,
        {with(with(canned("UpgradeSystem"), "reject", text("no")), "times", 4)}, failed("no"),
        downloadCall, 4);
    row("install: once only", m_install, {failingUpgrade(46, "no room"), cannedRest()},
        failed("disk full: no room"), installCall);
}

void TstOsUpdateTransactions::run()
{
    QFETCH(Factory, factory);
    QFETCH(Script, script);
    QFETCH(QStringList, told);
    QFETCH(QStringList, calls);
    QFETCH(QString, information);
    m_phone.script(script);
    QCOMPARE(TransactionRecorder(factory()).run(), told);
    QCOMPARE(m_phone.calls(), calls);
    const auto &[version, summary, download, install, remove] = *m_info;
    QCOMPARE(text("%1 %2 ").arg(version, summary)
                 + text("%1 %2 %3").arg(download).arg(install).arg(remove),
             information);
}

/** The download keeps to the model that was there at its first use, the size doesn't. */
void TstOsUpdateTransactions::sizeIsOfTheModelNow()
{
    SimulatorClient services(text("Services"));
    m_phone.script({cannedRest()});
    QCOMPARE(TransactionRecorder(m_download()).run(), succeeded);
    services.command(text("rdm"), {{text("device/model"), text("Gale")}});
    for (const Factory &factory : {m_size, m_download})
        TransactionRecorder(factory()).run();
    services.command(text("reset"));
    const QString otherSize = QString(sizeCall).replace(text("fjord"), text("gale"));
    QCOMPARE(m_phone.calls(), (QStringList{downloadCall, otherSize, downloadCall}));
}

void TstOsUpdateTransactions::progress_data()
{
    QTest::addColumn<bool>("downloadOnly");
    QTest::addColumn<Script>("script");
    QTest::addColumn<QVector<int>>("progress");

    // The daemon refreshes its metadata up to 100, then downloads from 0 on.
    const QVector<int> download{1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 19, 28, 37, 46, 55, 64, 73, 82, 91};
    QTest::newRow("download") << true << Script{} << download;
    QTest::newRow("a repeated download does not fall back")
        << true << Script{with(failingUpgrade(10, "x"), "at", text("end"))} << download;
    QTest::newRow("install") << false << Script{}
                             << QVector<int>{-1, 1, 10, 20, 30, 40, 50, 60, 70, 80, 90};
}

void TstOsUpdateTransactions::progress()
{
    QFETCH(bool, downloadOnly);
    QFETCH(Script, script);
    QFETCH(QVector<int>, progress);
    m_phone.command(text("timing"),
                    {{text("upgrade-download"), 500}, {text("upgrade-install"), 500}});
    m_phone.script(script);
    if (!downloadOnly)
        TransactionRecorder(m_download()).run();
    TransactionRecorder recorder(downloadOnly ? m_download() : m_install());
    QCOMPARE(recorder.run(), succeeded);
    // On a busy machine a change may overtake the one before, but no other value comes.
    const QVector<int> &values = recorder.progress();
    QVERIFY(std::is_sorted(values.begin(), values.end()));
    for (int value : values)
        QVERIFY2(progress.contains(value), qPrintable(QString::number(value)));
    QVERIFY(values.size() > progress.size() / 2);
    QCOMPARE(values.first(), progress.first());
}

void TstOsUpdateTransactions::cancelWaitsForTheDaemon_data()
{
    QTest::addColumn<QString>("moment");
    QTest::addColumn<Script>("script");
    QTest::addColumn<int>("downloads");

    const Script slow{with(canned("UpgradeSystem"), "ms", 30000)};
    QTest::newRow("not before it is started") << text("before") << Script{} << 0;
    QTest::newRow("as soon as it is told") << text("at once") << slow << 1;
    QTest::newRow("in the middle") << text("middle") << slow << 1;
    QTest::newRow("another end than the cancelled one begins it again")
        << text("middle")
        << Script{with(canned("Cancel"), "hang", true),
                  with(with(ending("UpgradeSystem", 2), "at", text("end")), "ms", 300)}
        << 2;
}

void TstOsUpdateTransactions::cancelWaitsForTheDaemon()
{
    QFETCH(QString, moment);
    QFETCH(Script, script);
    QFETCH(int, downloads);
    m_phone.script(script);
    Transaction *transaction = m_download();
    TransactionRecorder recorder(transaction);
    if (moment != text("before"))
        transaction->start();
    if (moment == text("middle"))
        QTRY_VERIFY(!recorder.progress().isEmpty());
    transaction->cancel();
    QCOMPARE(recorder.told().isEmpty(), downloads > 0);
    QTRY_VERIFY(recorder.isGone());
    QCOMPARE(recorder.told(), downloads < 2 ? failed("cancelled") : succeeded);
    QCOMPARE(m_phone.calls(text("UpgradeSystem")).size(), downloads);
}

QTEST_GUILESS_MAIN(TstOsUpdateTransactions)
#include "tst_osupdatetransactions.moc"
