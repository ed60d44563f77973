#include "package/installtransactionpkgkit.h"
#include "package/listtransactionpkgkit.h"
#include "package/packagefilestransactionpkgkit.h"
#include "package/packagenametransactionpkgkit.h"
#include "package/steppkgkit.h"
#include "package/uninstalltransactionpkgkit.h"
#include "packagephone.h"
#include "transactionrecorder.h"

#include <QtTest>

using namespace Package;

using Script = PackagePhone::Script;

namespace {

const QString foo = text("foo;1.2-1;noarch;store");
const QString newFoo = text("foo;1.3-1;noarch;store");
const QString oldFoo = text("foo;0.9-1;noarch;oss");
const QString library = text("lib;5-1;noarch;oss");
const QString file = text("/home/user/Downloads/foo-1.2-1.noarch.rpm");
const QString capitals = text("/home/user/Downloads/FOO.RPM");

/** What an install of foo asks for, by short names with blanks between them. */
QStringList asked(const char *names)
{
    static const QHash<QString, QString> calls{
        {text("have"), text("Resolve(0x210024, foo)")},
        {text("find"), text("Resolve(0x210020, foo)")},
        {text("store"), text("RepoSetData(store, refresh-now, false)")},
        {text("force"), text("RepoSetData(store, refresh-now, true)")},
        {text("all"), text("RefreshCache(true)")},
        {text("depends"), text("DependsOn(0x210020, foo;1.2-1;noarch;store, true)")},
        {text("fetch"), text("InstallPackages(0xa, foo;1.2-1;noarch;store)")},
        {text("install"), text("InstallPackages(0x2, foo;1.2-1;noarch;store)")},
        {text("update"), text("UpdatePackages(0x2, foo;1.2-1;noarch;store)")},
        {text("file"), text("InstallFiles(0x2, %1)").arg(file)},
    };
    QStringList list;
    for (const QString &name : text(names).split(QLatin1Char(' ')))
        list.append(calls.value(name));
    return list;
}

const QJsonObject nothing = canned("Resolve");
const QJsonObject available = canned("Resolve", {packageRow(2, foo, text("Foo"))});
const QJsonObject installed = canned("Resolve", {packageRow(1, foo)});

/** The same for @p count transactions. */
QJsonObject times(int count, const QJsonObject &fault)
{
    return with(fault, "times", count);
}

QJsonObject refusing(const char *role)
{
    return with(canned(role), "reject", text("no"));
}

/** The whole outcome of one transaction. */
QStringList outcome(const Factory &factory)
{
    return TransactionRecorder(factory()).run();
}

void row(const char *name, const Factory &factory, const Script &script, const QStringList &told,
         const QStringList &calls = {}, const char *logged = "")
{
    QTest::newRow(name) << factory << script << told << calls << QByteArray(logged);
}

} // namespace

/**
 * Transactions that install, remove and ask, each over a daemon that does as it is told:
 * the signals in order, the texts, and what the daemon was asked for.
 */
class TstPackageTransactions : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init();
    void run_data();
    void run();
    void installProgress_data();
    void installProgress();
    void uninstallPassesProgressOn();
    void recordsOfTheAnswers();
    void listIsSealed_data();
    void listIsSealed();
    void cancelIsAnEndOfItsOwn();
    void cancelledRetryStaysAway();

private:
    void installRows() const;
    void ladderRows() const;
    void uninstallRows() const;
    void queryRows() const;

    [[nodiscard]] Factory installOf(const QString &package) const;
    [[nodiscard]] static Factory uninstallOf(const QString &package, bool autoRemove = false);

    PackagePhone m_phone;
    Manager::PackageInformation::Ptr m_info;
    Manager::PackageList::Ptr m_list;
    QStringList m_files;

    const Factory m_installFoo = installOf(text("foo"));
    const Factory m_uninstallFoo = uninstallOf(text("foo"));
    const Factory m_listAll = [this] { return new ListTransactionPkgKit(m_list); };
    const Factory m_filesOfFoo = [this] {
        return new PackageFilesTransactionPkgKit(text("foo"), &m_files);
    };
    const Factory m_nameOfFile = [this] {
        return new PackageNameTransactionPkgKit(text("/a/b"), m_info);
    };
};

void TstPackageTransactions::init()
{
    m_phone.reset();
    m_info = Manager::PackageInformation::Ptr::create();
    m_list = Manager::PackageList::Ptr::create();
    m_files.clear();
}

Factory TstPackageTransactions::installOf(const QString &package) const
{
    return [this, package] {
        auto *transaction = new InstallTransactionPkgKit(package, m_info);
        transaction->setRetryDelay(std::chrono::milliseconds(1));
        return transaction;
    };
}

Factory TstPackageTransactions::uninstallOf(const QString &package, bool autoRemove)
{
    return [=] { return new UninstallTransactionPkgKit(package, autoRemove); };
}

void TstPackageTransactions::run_data()
{
    QTest::addColumn<Factory>("factory");
    QTest::addColumn<Script>("script");
    QTest::addColumn<QStringList>("told");
    QTest::addColumn<QStringList>("calls"); // empty: not looked at
    QTest::addColumn<QByteArray>("logged");

    installRows();
    ladderRows();
    uninstallRows();
    queryRows();
}

void TstPackageTransactions::installRows() const
{
    row("install: a package alone is downloaded, too", m_installFoo,
        {nothing, available, cannedRest()}, succeeded, asked("have find depends fetch install"));
    const QString needed = text("InstallPackages(0xa, %1 lib;5-1;noarch;oss odd;1-1;noarch;oss)");
    row("install: dependencies that aren't there, and not itself", m_installFoo,
        {nothing, canned("Resolve", {packageRow(2, foo), packageRow(2, newFoo)}),
         canned("DependsOn",
                {packageRow(1, text("have;1-1;noarch;installed")), packageRow(2, oldFoo),
                 packageRow(2, library), packageRow(5, text("odd;1-1;noarch;oss"))}),
         cannedRest()},
        succeeded, asked("have find depends") + QStringList{needed.arg(foo)} + asked("install"),
        "Weird, I resolved several packages, even though I tried to filter.");
    row("install: an older version there is updated", m_installFoo,
        {canned("Resolve", {packageRow(1, oldFoo), packageRow(1, foo)}), available, cannedRest()},
        succeeded, asked("have find depends fetch update"),
        "Weird I resolved several packages, even though I tried to filter.");
    for (const QString &none : {text("/no/foo.rpm"), capitals}) {
        row("install: no file, or one in capitals, is a package's name", installOf(none),
            {cannedRest()}, failed(text("could not find package ") + none));
    }
    row("install: a file is installed as it is", installOf(file), {cannedRest()}, succeeded,
        asked("file"));
    row("install: a file is given up at the first failure", installOf(file),
        {failing("InstallFiles", 38, "broken")}, failed("broken"), asked("file"));
    row("install: a refused file carries the daemon's words", installOf(file),
        {refusing("InstallFiles")}, failed("no"), asked("file"));
}

void TstPackageTransactions::ladderRows() const
{
    const QStringList ladder = asked("have find store have find force have find all have find"
                                     " find find find");
    row("ladder: three refreshes, then three retries of the step alone", m_installFoo,
        {cannedRest()}, failed("could not find package foo"), ladder);
    row("ladder: the same version climbs it, too", m_installFoo,
        {times(-1, installed), cannedRest()}, failed("package already installed foo"), ladder);
    row("ladder: an exit without an error", m_installFoo, {times(-1, ending("*", 6))},
        failed("unknown failure with exit status 6"), asked("have store force all all all all"));
    const QJsonObject broken = failing("*", 10, "offline");
    row("ladder: the step that failed is retried", m_installFoo,
        {times(3, broken), canned("RefreshCache"), broken, nothing, available, canned("DependsOn"),
         broken, canned("InstallPackages"), broken, cannedRest()},
        succeeded,
        asked("have store force all have have find depends fetch fetch install install"));
    row("ladder: also dependencies and an update", m_installFoo,
        {times(3, broken), canned("RefreshCache"), canned("Resolve", {packageRow(1, oldFoo)}),
         available, broken, canned("DependsOn"), canned("InstallPackages"), broken, cannedRest()},
        succeeded, asked("have store force all have find depends depends fetch update update"));
    row("ladder: once an update, always an update", m_installFoo,
        {canned("Resolve", {packageRow(1, oldFoo)}), available, nothing, available,
         failing("DependsOn", 4, "x"), cannedRest()},
        succeeded, asked("have find depends store have find depends fetch update"));
    row("ladder: the last words count, and rungs are not climbed twice", m_installFoo,
        {nothing, available, nothing, available, nothing, available, nothing, available,
         failing("DependsOn", 13, "first"), times(2, failing("InstallPackages", 10, "download")),
         canned("InstallPackages"), times(-1, failing("InstallPackages", 46, "install")),
         cannedRest()},
        failed("install"),
        asked("have find depends store have find depends fetch force have find depends fetch"
              " all have find depends fetch install install install install"));
}

void TstPackageTransactions::uninstallRows() const
{
    const QString resolve = text("Resolve(0x4, foo)");
    const QString remove = text("RemovePackages(0x2, foo;1.2-1;noarch;store, false, false)");
    row("uninstall: removed", m_uninstallFoo, {installed, cannedRest()}, succeeded,
        {resolve, remove});
    row("uninstall: with what nothing needs any more", uninstallOf(text("foo"), true),
        {installed, cannedRest()}, succeeded,
        {resolve, text("RemovePackages(0x2, foo;1.2-1;noarch;store, false, true)")});
    row("uninstall: not there is removed already", m_uninstallFoo, {cannedRest()}, succeeded,
        {resolve});
    row("uninstall: a resolve that fails without an error counts so, too", m_uninstallFoo,
        {ending("Resolve", 2)}, succeeded, {resolve});
    row("uninstall: a resolve's error is the end, its finish nothing more", m_uninstallFoo,
        {failing("Resolve", 8, "gone")}, failed("gone"), {resolve});
    row("uninstall: nor does a removal that has begun change that", m_uninstallFoo,
        {with(with(failing("Resolve", 8, "gone"), "packages", QJsonArray{packageRow(1, foo)}), "at",
              text("end"))},
        failed("gone"), {resolve, remove});
    row("uninstall: each package found is removed, one end is told", m_uninstallFoo,
        {canned("Resolve", {packageRow(1, foo), packageRow(1, library)}), cannedRest()}, succeeded,
        {resolve, remove, text("RemovePackages(0x2, lib;5-1;noarch;oss, false, false)")});
    row("uninstall: an end without an error is silent", m_uninstallFoo,
        {installed, ending("RemovePackages", 2)}, {}, {resolve, remove});
    row("uninstall: error", m_uninstallFoo, {installed, failing("RemovePackages", 59, "in use")},
        failed("in use"), {resolve, remove});
    row("uninstall: refused", m_uninstallFoo, {installed, refusing("RemovePackages")}, failed("no"),
        {resolve, remove});

    const QVector<QPair<const char *, const char *>> paths{
        {"/a/foo-bar-1.2.3-1.armv7hl.rpm", "foo-bar"},
        {"foo.bar-1.0-1.rpm", "foo"},
        {"/a/foo-2bar-1.0-1.rpm", "foo-2bar"},
        {"/a-b/foo.rpm", "foo"},
        {"foo.RPM", "foo.RPM"},
    };
    for (const auto &[path, name] : paths) {
        row(path, uninstallOf(text(path)), {cannedRest()}, succeeded,
            {text("Resolve(0x4, %1)").arg(text(name))});
    }
}

void TstPackageTransactions::queryRows() const
{
    const QString exit = text("unknown failure with exit status 2");
    const QString resolve = text("Resolve(0x2, foo)");
    const QString getFiles = text("GetFiles(lib;5-1;noarch;oss)");
    const QJsonObject found = canned("Resolve", {packageRow(1, foo), packageRow(2, library)});
    row("files: of the package told last", m_filesOfFoo, {found, cannedRest()}, succeeded,
        {resolve, getFiles});
    row("files: of nothing", m_filesOfFoo, {cannedRest()}, succeeded, {resolve});
    row("files: error of the first step", m_filesOfFoo, {failing("Resolve", 4, "x")}, failed("x"),
        {resolve});
    row("files: exit of the second step", m_filesOfFoo, {found, ending("GetFiles", 2)},
        failed(exit), {resolve, getFiles});

    const QString search = text("SearchFile(0x4, /a/b)");
    row("name: of nobody", m_nameOfFile, {cannedRest()}, succeeded, {search});
    row("name: error", m_nameOfFile, {failing("SearchFile", 4, "x")}, failed("x"), {search});
    row("name: exit", m_nameOfFile, {ending("SearchFile", 2)}, failed(exit), {search});
}

void TstPackageTransactions::run()
{
    QFETCH(Factory, factory);
    QFETCH(Script, script);
    QFETCH(QStringList, told);
    QFETCH(QStringList, calls);
    QFETCH(QByteArray, logged);
    for (const QString &name : {file, capitals}) {
        QFile package(name);
        QVERIFY(package.open(QIODevice::WriteOnly));
    }
    m_phone.script(script);
    if (!logged.isEmpty())
        QTest::ignoreMessage(QtDebugMsg, logged.constData());
    QCOMPARE(outcome(factory), told);
    if (!calls.isEmpty())
        QTRY_COMPARE(m_phone.calls(), calls);
}

void TstPackageTransactions::installProgress_data()
{
    QTest::addColumn<QJsonArray>("download");
    QTest::addColumn<QJsonArray>("install");
    QTest::addColumn<QVector<int>>("progress");
    QTest::addColumn<int>("repeated"); // told more than once, where the amount wasn't known

    QTest::newRow("two ranges, truncated") << QJsonArray{0, 33, 99, 100} << QJsonArray{0, 33, 100}
                                           << QVector<int>{-1, 1, 16, 48, 49, 50, 66, 100} << 49;
    QTest::newRow("never back, unknown repeats the last")
        << QJsonArray{50, 20, 101, 60} << QJsonArray{0, 40, 10, 41}
        << QVector<int>{-1, 25, 29, 50, 70} << 25;
    QTest::newRow("nothing known, nothing before")
        << QJsonArray{101} << QJsonArray() << QVector<int>{-1} << -1;
}

void TstPackageTransactions::installProgress()
{
    QFETCH(QJsonArray, download);
    QFETCH(QJsonArray, install);
    QFETCH(QVector<int>, progress);
    QFETCH(int, repeated);
    const auto telling = [](const QJsonArray &values) {
        // Slow enough that no value overtakes another on its way.
        return with(with(canned("InstallPackages"), "percentages", values), "ms", 300);
    };
    m_phone.script({nothing, available, telling(download), telling(install), cannedRest()});

    TransactionRecorder recorder(m_installFoo());
    QCOMPARE(recorder.run(), succeeded);
    QCOMPARE(recorder.progressSteps(), progress);
    QVERIFY(recorder.progress().count(repeated) > 1);
    QCOMPARE(m_info->name, text("foo"));
    QCOMPARE(m_info->version, text("1.2-1"));
    QCOMPARE(m_info->summary, text("Foo"));
}

void TstPackageTransactions::uninstallPassesProgressOn()
{
    const auto telling = [](const QJsonArray &values) {
        return with(with(canned("RemovePackages"), "percentages", values), "ms", 300);
    };
    m_phone.script({installed, telling({40, 10, 101, 80})});
    TransactionRecorder recorder(m_uninstallFoo());
    QCOMPARE(recorder.run(), succeeded);
    QCOMPARE(recorder.progressSteps(), (QVector<int>{101, 40, 10, 101, 80}));

    // Of several removals it is the last one's, which waits for the one before.
    m_phone.script({canned("Resolve", {packageRow(1, foo), packageRow(1, library)}),
                    telling({40, 10}), telling({50})});
    TransactionRecorder both(m_uninstallFoo());
    QCOMPARE(both.run(), succeeded);
    QCOMPARE(both.progressSteps(), QVector<int>{101});
}

void TstPackageTransactions::recordsOfTheAnswers()
{
    m_info->name = m_info->version = m_info->summary = m_info->file = text("old");
    m_files = QStringList{text("old")};
    m_phone.script(
        {canned("GetPackages",
                {packageRow(1, foo, text("Foo")), packageRow(1, text("short")),
                 packageRow(1, QString()), packageRow(1, text("a;b;c;d;e"))}),
         nothing, canned("SearchFile", {packageRow(1, library), packageRow(1, foo, text("Foo"))})});
    QVector<int> signs; // of life, one for each row
    for (const Factory &factory : {m_listAll, m_filesOfFoo, m_nameOfFile}) {
        TransactionRecorder recorder(factory());
        QCOMPARE(recorder.run(), succeeded);
        signs += recorder.progress();
    }
    QCOMPARE(signs, QVector<int>(6, -1));
    const auto &entries = m_list->entries();
    QCOMPARE(entries.size(), 4); // ids of any shape are told
    QCOMPARE(entries[0].name + entries[0].version + entries[0].summary, text("foo1.2-1Foo"));
    QCOMPARE(m_files, QStringList{text("old")});
    QCOMPARE(m_info->name + m_info->version + m_info->summary + m_info->file, text("foo1.2-1old"));
}

void TstPackageTransactions::listIsSealed_data()
{
    QTest::addColumn<QJsonObject>("fault");
    QTest::addColumn<QStringList>("told");

    const QJsonArray late{QJsonArray{text("Package"), 1, library, QString()}};
    QTest::newRow("success") << with(canned("GetPackages"), "late", late) << succeeded;
    QTest::newRow("error") << failing("GetPackages", 4, "x") << failed("x");
    QTest::newRow("exit") << ending("GetPackages", 2)
                          << failed("unknown failure with exit status 2");
    QTest::newRow("not where it is cancelled")
        << with(canned("GetPackages"), "hang", true) << failed("cancelled");
}

void TstPackageTransactions::listIsSealed()
{
    QFETCH(QJsonObject, fault);
    QFETCH(QStringList, told);
    m_phone.script({fault});
    Transaction *transaction = m_listAll();
    TransactionRecorder recorder(transaction);
    transaction->start();
    const bool isCancelled = told == failed("cancelled");
    if (isCancelled)
        transaction->cancel();
    QTRY_VERIFY(recorder.isGone());
    QCOMPARE(recorder.told(), told);
    QTRY_COMPARE(m_phone.calls(), QStringList{text("GetPackages(0x4)")});
    m_list->add({});
    QCOMPARE(m_list->entries().isEmpty(), !isCancelled);
    m_list->clear();
    m_list->add({});
    QCOMPARE(m_list->entries().size(), 1);
}

void TstPackageTransactions::cancelIsAnEndOfItsOwn()
{
    m_phone.script({times(-1, with(canned("*"), "hang", true))});
    for (const Factory &factory :
         {m_listAll, m_filesOfFoo, m_nameOfFile, m_installFoo, m_uninstallFoo}) {
        for (bool started : {false, true}) {
            Transaction *transaction = factory();
            TransactionRecorder recorder(transaction);
            m_phone.clearLog();
            if (started) {
                transaction->start();
                QTRY_VERIFY(!m_phone.calls().isEmpty());
            }
            transaction->cancel();
            transaction->cancel();
            QCOMPARE(recorder.told(), failed("cancelled"));
            QVERIFY(!recorder.isGone());
            QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
            QVERIFY(recorder.isGone());
            QCOMPARE(m_phone.calls(text("Cancel")), QStringList{}); // the daemon goes on
        }
    }
}

void TstPackageTransactions::cancelledRetryStaysAway()
{
    m_phone.script({cannedRest()});
    auto *transaction = new InstallTransactionPkgKit(text("foo"), m_info);
    TransactionRecorder recorder(transaction);
    auto *timer = transaction->findChild<QTimer *>(QString(), Qt::FindDirectChildrenOnly);
    QTest::ignoreMessage(QtDebugMsg, "retry 1 / 3 in 10000 ms");
    transaction->start();
    QTRY_VERIFY(timer->isActive());
    const auto steps = transaction->findChildren<StepPkgKit *>().size();
    transaction->cancel();
    QVERIFY(QMetaObject::invokeMethod(timer, "timeout")); // before the transaction is gone
    QCOMPARE(transaction->findChildren<StepPkgKit *>().size(), steps);
    QCOMPARE(recorder.told(), failed("cancelled"));
}

QTEST_GUILESS_MAIN(TstPackageTransactions)
#include "tst_packagetransactions.moc"
