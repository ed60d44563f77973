#include "package/distchecktransactionpkgkit.h"
#include "package/distupgradetransactionpkgkit.h"
#include "package/osupdatesizetransactionpkgkit.h"
#include "packagephone.h"
#include "transactionrecorder.h"

#include <QtTest>

using namespace Package;

using Script = PackagePhone::Script;
using Sizes = QVector<qint64>;

namespace {

const QString oldVersion = text("3.2.1-20");
const QString newVersion = text("3.3.0-16");

const QString refresh = text("RepoSetData(non-oss, refresh-now, true)");
const QStringList checks{text("Resolve(0x200004, branwick-version)"),
                         text("Resolve(0x210008, branwick-version)")};
const QString sizeCall =
    text("UpgradeSystem(0x2, tesk::query-size:orvik-configuration-fjord, 0x3)");
const QString downloadCall = text("UpgradeSystem(0x2, orvik-configuration-fjord, 0x1)");
const QString installCall = text("UpgradeSystem(0x2, orvik-configuration-fjord, 0x3)");

QJsonObject failingUpgrade(int error, const char *words, int times = 1)
{
    return with(failing("UpgradeSystem", error, text(words)), "times", times);
}

/** The version package, as one step of a check tells it. */
QJsonValue package(const QString &version, const char *summary = "")
{
    return packageRow(2, text("branwick-version;%1;noarch;non-oss").arg(version), text(summary));
}

} // namespace

/** The check for an OS update, its size, and its download and install. */
class TstOsUpdateTransactions : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init();
    void check_data();
    void check();
    void size_data();
    void size();
    void upgrade_data();
    void upgrade();
    void upgradeProgress_data();
    void upgradeProgress();
    void repeatedDownloadDoesNotFallBack();
    void cancelWaitsForTheDaemon_data();
    void cancelWaitsForTheDaemon();
    void cancelBeforeTheStart();

private:
    PackagePhone m_phone;
    Manager::UpgradeInformation::Ptr m_info;
};

void TstOsUpdateTransactions::init()
{
    m_phone.reset();
    m_info = Manager::UpgradeInformation::Ptr::create();
}

void TstOsUpdateTransactions::check_data()
{
    QTest::addColumn<Script>("script");
    QTest::addColumn<QStringList>("told");
    QTest::addColumn<QStringList>("calls"); // which begin with a refresh where one is wanted
    QTest::addColumn<QString>("information");

    const QJsonObject installed = canned("Resolve", {package(oldVersion, "Old")});
    const QJsonObject offered = canned("Resolve", {package(newVersion, "New")});
    const QStringList withRefresh = QStringList{refresh} + checks;
    const QStringList none{text("finished")};
    const QString old = oldVersion + text(" Old");
    const QString other = newVersion + text(" New");
    const auto row = [](const char *name, const Script &script, const QStringList &told,
                        const QStringList &calls, const QString &information) {
        QTest::newRow(name) << script << told << calls << information;
    };
    row("another version", {installed, offered}, succeeded, checks, other);
    row("with a refresh", {installed, offered, cannedRest()}, succeeded, withRefresh, other);
    row("the same version ends without a word",
        {installed, canned("Resolve", {package(oldVersion)})}, none, checks,
        oldVersion + text(" "));
    row("one other among several is enough",
        {installed, canned("Resolve", {package(newVersion), package(oldVersion)})}, succeeded,
        checks, oldVersion + text(" "));
    row("nothing offered leaves what is installed", {installed, cannedRest()}, none, checks, old);
    row("nothing installed: anything is new", {canned("Resolve"), offered}, succeeded, checks,
        other);
    row("exits don't count",
        {ending("RepoSetData", 2), with(installed, "exit", 2), with(offered, "exit", 2)}, none,
        withRefresh, text(" "));
    row("an error of the refresh does", {failing("RepoSetData", 10, text("offline"))},
        failed(text("offline")), {refresh}, text(" "));
    row("conflict in the last step", {installed, failing("Resolve", 36, text("conflict"))},
        failed(text("conflict")), checks, old);
    row("daemon dies", {dying("Resolve", "running")}, {}, {}, text(" "));
}

void TstOsUpdateTransactions::check()
{
    QFETCH(Script, script);
    QFETCH(QStringList, told);
    QFETCH(QStringList, calls);
    QFETCH(QString, information);
    m_phone.script(script);

    const bool refreshCache = calls.value(0) == refresh;
    const QStringList all =
        TransactionRecorder(new DistCheckTransactionPkgKit(m_info, refreshCache)).run();
    // Of a death, the library tells in words of its own.
    QCOMPARE(all, told.isEmpty() ? failed(all.first().mid(8)) : told);
    QCOMPARE(m_info->version + QLatin1Char(' ') + m_info->summary, information);
    if (!told.isEmpty())
        QCOMPARE(m_phone.calls(), calls);
}

void TstOsUpdateTransactions::size_data()
{
    QTest::addColumn<QString>("details");
    QTest::addColumn<Sizes>("sizes");

    QTest::newRow("usual order") << text("DOWNLOAD=1;INSTALL=2;REMOVE=3;CACHED=4")
                                 << Sizes{1, 2, 3};
    QTest::newRow("other order, more keys, negative")
        << text("OTHER=9;CACHED=0;REMOVE=0;INSTALL=-5;DOWNLOAD=9000000000")
        << Sizes{9000000000, -5, 0};
    QTest::newRow("the last of equal keys")
        << text("DOWNLOAD=1;INSTALL=2;REMOVE=3;CACHED=4;DOWNLOAD=7") << Sizes{7, 2, 3};
    for (const char *broken :
         {"", "DOWNLOAD=1;INSTALL=2;REMOVE=3", "DOWNLOAD=1;INSTALL=2;REMOVE=3;CACHED=4;",
          "DOWNLOAD=1;INSTALL=2;REMOVE=3;CACHED=x",
          "DOWNLOAD=1;INSTALL=2;REMOVE=3;CACHED=", "DOWNLOAD=1=1;INSTALL=2;REMOVE=3;CACHED=4",
          "DOWNLOAD=1.5;INSTALL=2;REMOVE=3;CACHED=4", "DOWNLOAD=0x1;INSTALL=2;REMOVE=3;CACHED=4",
          "DOWNLOAD=9223372036854775808;INSTALL=2;REMOVE=3;CACHED=4"}) {
        QTest::addRow("broken: \"%s\"", broken) << text(broken) << Sizes{};
    }
}

void TstOsUpdateTransactions::size()
{
    QFETCH(QString, details);
    QFETCH(Sizes, sizes);
    m_phone.script({failing("UpgradeSystem", 44, details)});
    const bool good = !sizes.isEmpty();
    QCOMPARE(TransactionRecorder(new OsUpdateSizeTransactionPkgKit(m_info)).run(),
             good ? succeeded : failed(details));
    QCOMPARE((Sizes{m_info->downloadSize, m_info->installSize, m_info->removeSize}),
             good ? sizes : (Sizes{-1, -1, -1}));
    QCOMPARE(m_phone.calls(), QStringList{sizeCall});
}

void TstOsUpdateTransactions::upgrade_data()
{
    QTest::addColumn<Script>("script");
    QTest::addColumn<QStringList>("told");
    QTest::addColumn<QString>("call"); // which tells what is to be done
    QTest::addColumn<int>("times");

    const auto row = [](const char *name, const Script &script, const QStringList &told,
                        const QString &call,
                        int times) { QTest::newRow(name) << script << told << call << times; };
    const auto download = [row](const char *name, const Script &script, const QStringList &told,
                                int times = 4) { row(name, script, told, downloadCall, times); };
    row("size: a query that ends well is a failure with no words", {cannedRest()},
        failed(QString()), sizeCall, 1);
    row("size: another error", {failingUpgrade(2, "offline")}, failed(text("offline")), sizeCall,
        1);
    download("download: at once", {cannedRest()}, succeeded, 1);
    download("download: the fourth time", {failingUpgrade(10, "x", 3), cannedRest()}, succeeded);
    download("download: not a fifth time, and the last words count",
             {failingUpgrade(46, "first"), failingUpgrade(10, "x", 2), failingUpgrade(2, "last"),
              cannedRest()},
             failed(text("last")));
    download("download: the disk is full at last",
             {failingUpgrade(10, "x", 3), failingUpgrade(46, "no room")},
             failed(text("disk full: no room")));
    download("download: words of an earlier time are forgotten",
             {failingUpgrade(46, "no room", 3), ending("UpgradeSystem", 2)}, failed(QString()));
    download("download: cancelled by somebody, not repeated", {ending("UpgradeSystem", 3)},
             failed(text("cancelled")), 1);
    download("download: refused",
             {with(with(canned("UpgradeSystem"), "reject", text("no")), "times", 4)},
             failed(text("no")));
    row("install: once only", {failingUpgrade(46, "no room"), cannedRest()},
        failed(text("disk full: no room")), installCall, 1);
    row("install", {cannedRest()}, succeeded, installCall, 1);
}

void TstOsUpdateTransactions::upgrade()
{
    QFETCH(Script, script);
    QFETCH(QStringList, told);
    QFETCH(QString, call);
    QFETCH(int, times);
    m_phone.script(script);

    Transaction *transaction = nullptr;
    if (call == sizeCall)
        transaction = new OsUpdateSizeTransactionPkgKit(m_info);
    else
        transaction = new DistUpgradeTransactionPkgKit(call == downloadCall);
    QCOMPARE(TransactionRecorder(transaction).run(), told);
    const QStringList calls = m_phone.calls();
    QCOMPARE(calls.count(call), times);
    QCOMPARE(calls.size(), times);
}

void TstOsUpdateTransactions::upgradeProgress_data()
{
    QTest::addColumn<bool>("downloadOnly");
    QTest::addColumn<QVector<int>>("progress");

    // The daemon refreshes its metadata up to 100, then downloads from 0 on.
    QTest::newRow("download") << true << QVector<int>{1,  2,  3,  4,  5,  6,  7,  8,  9, 10,
                                                      19, 28, 37, 46, 55, 64, 73, 82, 91};
    QTest::newRow("install") << false << QVector<int>{-1, 1, 10, 20, 30, 40, 50, 60, 70, 80, 90};
}

void TstOsUpdateTransactions::upgradeProgress()
{
    QFETCH(bool, downloadOnly);
    QFETCH(QVector<int>, progress);
    m_phone.command(text("timing"),
                    {{text("upgrade-download"), 500}, {text("upgrade-install"), 500}});
    if (!downloadOnly)
        TransactionRecorder(new DistUpgradeTransactionPkgKit(true)).run();
    TransactionRecorder recorder(new DistUpgradeTransactionPkgKit(downloadOnly));
    QCOMPARE(recorder.run(), succeeded);
    // On a busy machine a change may overtake the one before, but no other value comes.
    const QVector<int> &values = recorder.progress();
    QVERIFY(std::is_sorted(values.begin(), values.end()));
    for (int value : values)
        QVERIFY2(progress.contains(value), qPrintable(QString::number(value)));
    QVERIFY(values.size() > progress.size() / 2);
    QCOMPARE(values.first(), progress.first());
}

void TstOsUpdateTransactions::repeatedDownloadDoesNotFallBack()
{
    m_phone.command(text("timing"), {{text("upgrade-download"), 300}});
    m_phone.script({with(failingUpgrade(10, "x"), "at", text("end"))});
    TransactionRecorder recorder(new DistUpgradeTransactionPkgKit(true));
    QCOMPARE(recorder.run(), succeeded);
    QVERIFY(recorder.progress().size() > 2);
    QVERIFY(std::is_sorted(recorder.progress().begin(), recorder.progress().end()));
    QCOMPARE(m_phone.calls().size(), 2);
}

void TstOsUpdateTransactions::cancelWaitsForTheDaemon_data()
{
    QTest::addColumn<bool>("atOnce");
    QTest::addColumn<Script>("script");
    QTest::addColumn<int>("downloads");

    const QJsonObject slow = with(canned("UpgradeSystem"), "ms", 30000);
    QTest::newRow("as soon as it is told") << true << Script{slow} << 1;
    QTest::newRow("in the middle") << false << Script{slow} << 1;
    QTest::newRow("another end than the cancelled one begins it again")
        << false
        << Script{with(canned("Cancel"), "hang", true),
                  with(with(ending("UpgradeSystem", 2), "at", text("end")), "ms", 300)}
        << 2;
}

void TstOsUpdateTransactions::cancelWaitsForTheDaemon()
{
    QFETCH(bool, atOnce);
    QFETCH(Script, script);
    QFETCH(int, downloads);
    m_phone.script(script);
    auto *transaction = new DistUpgradeTransactionPkgKit(true);
    TransactionRecorder recorder(transaction);
    transaction->start();
    if (!atOnce)
        QTRY_VERIFY(!recorder.progress().isEmpty());
    transaction->cancel();
    QVERIFY(recorder.told().isEmpty());
    QTRY_VERIFY(recorder.isGone());
    QCOMPARE(recorder.told(), downloads == 1 ? failed(text("cancelled")) : succeeded);
    QCOMPARE(m_phone.calls(text("UpgradeSystem")).size(), downloads);
}

void TstOsUpdateTransactions::cancelBeforeTheStart()
{
    auto *transaction = new DistUpgradeTransactionPkgKit(true);
    TransactionRecorder recorder(transaction);
    transaction->cancel();
    QCOMPARE(recorder.told(), failed(text("cancelled")));
    QTRY_VERIFY(recorder.isGone());
}

QTEST_GUILESS_MAIN(TstOsUpdateTransactions)
#include "tst_osupdatetransactions.moc"
