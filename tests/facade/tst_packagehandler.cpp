#include "handlerjournal.h"

#include <QCoreApplication>
#include <QDir>
#include <QFile>
#include <QStandardPaths>
#include <QTemporaryDir>
#include <QTest>
#include <QTranslator>

#include <memory>

namespace {

/** Knows the one text that has a place for what the program puts in. */
class Translation final : public QTranslator
{
public:
    [[nodiscard]] bool isEmpty() const override { return false; }
    [[nodiscard]] QString translate(const char *, const char *id, const char *, int) const override
    {
        return text(id).endsWith(text("_missing")) ? text("missing: %1") : QString();
    }
};

} // namespace

class TstPackageHandler : public HandlerTest
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void init();
    void scenario_data();
    void scenario();
    void outcome_data();
    void outcome();
    void eachInstallHasItsVersion();
    void callbackOfAnEngineThatHasGone();

    void cancelPending_data();
    void cancelPending();
    void missingRepositoriesDropTheQueue();

    void listOnlyAdds();
    void listIsSealedByTheOneBefore();
    void applicationState();
    void applicationStateName();
    void knownPackages();
    void packagesForAccountType();

    void filesOfPackages();
    void overlappingQuestions();
    void overlappingRemovals();
    void uninstallByDesktopFile_data();
    void uninstallByDesktopFile();
    void androidApplications();

private:
    /** @param packages with blanks between them. */
    void setInstalled(const char *packages);
    QString writeFile(const QString &path, const QByteArray &content = QByteArray());

    std::unique_ptr<QTemporaryDir> m_folder;
};

void TstPackageHandler::initTestCase()
{
    // No Android support answers here, and nobody else's is asked.
    qputenv("DBUS_SYSTEM_BUS_ADDRESS", "unix:path=/nonexistent/bus");
}

void TstPackageHandler::init()
{
    m_folder = std::make_unique<QTemporaryDir>();
    qputenv("XDG_DATA_HOME", QFile::encodeName(m_folder->filePath(text("data"))));
    HandlerTest::init();
}

void TstPackageHandler::setInstalled(const char *packages)
{
    m_handler->refreshPackages();
    ScriptedTransaction *list = find("list");
    for (const QString &package : text(packages).split(QLatin1Char(' ')))
        list->list->add({package, text("1.0-1"), text("about ") + package});
    list->succeed();
    m_journal->entries.clear();
}

QString TstPackageHandler::writeFile(const QString &path, const QByteArray &content)
{
    const QString full = m_folder->filePath(path);
    QDir().mkpath(QFileInfo(full).path());
    QFile file(full);
    return file.open(QIODevice::WriteOnly) && file.write(content) >= 0 ? full : QString();
}

void TstPackageHandler::scenario_data()
{
    QTest::addColumn<QString>("before");
    QTest::addColumn<QString>("then");
    QTest::addColumn<QString>("journal"); // of the latter

    const auto row = [](const char *name, const char *before, const char *then,
                        const char *journal) {
        QTest::newRow(name) << text(before) << text(then) << text(journal);
    };
    row("the list goes first, the rest in turn", "install a, autoremove b, files c, list",
        "end install a, end list, end autoremove b",
        "start list; start autoremove b; start files c");
    row("nothing is begun behind a failure alone", "remove a, remove b", "cancelled remove a",
        "progress a 100; package-error orvik-store-no-error_uninstall_failed a; status a 1");
    row("an end in silence holds up the queue for good", "remove a, remove b",
        "vanish remove a, files c", "");
    row("a job without a transaction is skipped", "remove a, remove b, remove c, vanish remove b",
        "end remove a", "start remove c");
    row("an install is repeated, and so is its status", "install a", "install a",
        "isolate install a version= restore=yes store; status a 2; progress a 0");
    row("a removal of what isn't listed is counted", "remove a", "succeed remove a",
        "progress a 100; status a 0; count 0; start list");
    row("the list answers pending checks", "ask foo, list, listed foo", "succeed list, ask bar",
        "installed foo true; count 1; installed bar false");
    row("no package at all reads as a list that hasn't come", "ask foo, list",
        "succeed list, ask bar", "installed foo false");
    row("a list that fails hasn't come either", "ask foo, list, listed foo", "fail list, ask bar",
        "error orvik-store-no-error_package_database_unavailable; installed foo false");
    row("what runs is not called off", "install foo", "call-off foo", "");
    row("only the first is called off", "remove a, files foo, remove foo",
        "call-off foo, end remove a", "start remove foo");
    row("also of those without a package", "remove a, check, size 2", "call-off, end remove a",
        "upgrade-status 4; start isolated size; start size");
}

void TstPackageHandler::scenario()
{
    QFETCH(const QString, before);
    QFETCH(const QString, then);
    QFETCH(const QString, journal);
    play(before);
    m_journal->entries.clear();
    play(then);
    QCOMPARE(m_journal->take(), journal);
}

void TstPackageHandler::outcome_data()
{
    QTest::addColumn<QString>("package"); // to install; empty: foo is to be removed
    QTest::addColumn<bool>("wasInstalled");
    QTest::addColumn<QString>("failure"); // empty: it succeeds
    QTest::addColumn<QString>("journal"); // %1 is the package

    const auto row = [](const char *name, const char *package, bool wasInstalled,
                        const char *failure, const char *journal) {
        QTest::newRow(name) << text(package) << wasInstalled << text(failure) << text(journal);
    };
    row("installed", "foo", false, "", "progress %1 100; status %1 1; callback c true; start list");
    row("a file", "/tmp/foo.RPM", false, "",
        "progress %1 100; status %1 1; sideload %1 true; callback c true; start list");
    row("cancelled", "foo", false, "cancelled",
        "progress %1 100; install-failed %1; callback c false; status %1 0");
    row("an update cancelled", "foo", true, "cancelled",
        "progress %1 100; callback c false; status %1 1");
    row("only the very word is silent", "foo", true, "cancelled by the user",
        "progress %1 100; package-error orvik-store-no-error_update_failed %1; "
        "callback c false; status %1 1");
    row("up to date already", "foo", true, "package already installed foo",
        "progress %1 100; package-error orvik-store-no-error_package_already_uptodate %1; "
        "callback c false; status %1 1");
    row("there already", "foo", false, "package already installed foo",
        "progress %1 100; install-failed %1; "
        "package-error orvik-store-no-error_package_already_uptodate %1; "
        "callback c false; status %1 0");
    row("not without a name", "foo", false, "package already installed",
        "progress %1 100; install-failed %1; package-error orvik-store-no-error_install_failed %1; "
        "callback c false; status %1 0");
    row("a bad file", "foo.rpm", false, "package already installed foo",
        "progress %1 100; sideload %1 false; sideload-error package already installed foo; "
        "callback c false; status %1 0");
    row("removed", "", true, "",
        "progress foo 100; status foo 0; callback c true; count 1; start list");
    row("kept", "", true, "details",
        "progress foo 100; package-error orvik-store-no-error_uninstall_failed foo; "
        "callback c false; status foo 1");
}

void TstPackageHandler::outcome()
{
    QFETCH(QString, package);
    QFETCH(const bool, wasInstalled);
    QFETCH(const QString, failure);
    QFETCH(const QString, journal);

    if (wasInstalled)
        setInstalled("foo bar");
    const bool isRemoval = package.isEmpty();
    QString begin = text("status %1 4; progress %1 0; start autoremove %1");
    if (isRemoval) {
        package = text("foo");
        m_handler->uninstall(package, true, m_journal->callback("c"));
    } else {
        m_handler->install(package, m_journal->callback("c"));
        begin = text("isolate install %1 version= restore=yes store; status %1 %2; progress %1 0; "
                     "start isolated install %1; start install %1")
                    .arg(package)
                    .arg(wasInstalled ? StatusUpdating : StatusInstalling);
    }
    QCOMPARE(m_journal->take(), isRemoval ? begin.arg(package) : begin);
    ScriptedTransaction *transaction = find(text(isRemoval ? "autoremove " : "install ") + package);
    for (int value : {-1, 99, 101}) {
        Q_EMIT transaction->progress(value);
        QCOMPARE(m_journal->take(), text("progress %1 %2").arg(package).arg(value));
        QCOMPARE(m_handler->packageProgress(package), qMin(value, 100));
    }

    if (failure.isEmpty())
        transaction->succeed();
    else
        transaction->fail(failure);
    QCOMPARE(m_journal->take(), QString(journal).replace(text("%1"), package));
    QCOMPARE(m_handler->packageProgress(package), 100);
    QCOMPARE(m_handler->isBusy(), failure.isEmpty());
}

void TstPackageHandler::eachInstallHasItsVersion()
{
    play(text("install a, install b"));
    // The one that waits has found out about its package already.
    find("install b")->information->version = text("2.0-1");
    find("install a")->information->version = text("1.0-1");
    play(text("succeed install a"));
    QCOMPARE(m_handler->packageVersion(text("a")), text("1.0-1"));
    QCOMPARE(m_handler->packageVersion(text("b")), text("0"));
    play(text("succeed list, succeed install b"));
    QCOMPARE(m_handler->packageVersion(text("b")), text("2.0-1"));
}

void TstPackageHandler::callbackOfAnEngineThatHasGone()
{
    m_handler->install(text("a"), m_journal->callback("a"));
    m_handler->install(text("b"), m_journal->callback("b"));
    m_journal->dropEngine();
    find("install a")->succeed();
    QCOMPARE(m_handler->packageStatus(text("a")), int(StatusInstalled));
    QVERIFY(!m_journal->take().contains(text("callback")));
}

void TstPackageHandler::cancelPending_data()
{
    QTest::addColumn<bool>("isInstalled");
    QTest::addColumn<QString>("job");
    QTest::addColumn<QString>("journal");

    const auto row = [](const char *name, bool isInstalled, const char *job, const char *journal) {
        QTest::newRow(name) << isInstalled << text(job) << text(journal);
    };
    row("an install", false, "isolated install foo", "status foo 0");
    row("an update", true, "isolated install foo", "status foo 1");
    row("a removal", true, "remove foo", "status foo 1");
    row("a removal of nothing", false, "remove foo", "status foo 1");
    row("a question", false, "files foo", "");
}

void TstPackageHandler::cancelPending()
{
    QFETCH(const bool, isInstalled);
    QFETCH(const QString, job);
    QFETCH(const QString, journal);

    const QString foo = text("foo");
    if (isInstalled)
        setInstalled("foo");
    play(text("remove other"));
    if (job.startsWith(text("isolated")))
        m_handler->install(foo, m_journal->callback("c"));
    else if (job.startsWith(text("remove")))
        m_handler->uninstall(foo, false, m_journal->callback("c"));
    else
        m_handler->packageFiles(foo);
    const QPointer<ScriptedTransaction> transaction = find(job);
    const QPointer<Package::Transaction> wrapped = transaction->wrapped;
    const bool hasWrapped = !wrapped.isNull();
    const int progress = m_handler->packageProgress(foo);
    m_journal->entries.clear();

    m_handler->cancelPending(foo);
    QCOMPARE(m_journal->take(), journal);
    QVERIFY(transaction.isNull());
    QCOMPARE(!wrapped.isNull(), hasWrapped);
    QCOMPARE(m_handler->packageProgress(foo), progress);

    play(text("call-off foo, end remove other"));
    QCOMPARE(m_journal->take(), QString());
    QVERIFY(!m_handler->isBusy());
    // What was never started goes with the handler.
    m_handler.reset();
    QVERIFY(wrapped.isNull());
}

void TstPackageHandler::missingRepositoriesDropTheQueue()
{
    Translation translation;
    QCoreApplication::installTranslator(&translation);
    // What is asked for while the job is still ending runs beside it at once.
    play(text("install a, install b, remove c, at-error remove d"));
    m_journal->entries.clear();
    QList<QPointer<ScriptedTransaction>> dropped;
    for (const char *name : {"isolated install b", "install b", "remove c"})
        dropped.append(find(name));
    find("isolated install a")->fail(text("store hotfixes"));
    QCOMPARE(m_journal->take(),
             text("error missing: store, hotfixes; status d 4; progress d 0; start remove d"));
    // And the end of the failed job passes for its end.
    QVERIFY(find("remove d"));
    QVERIFY(!m_handler->isBusy());
    QCOMPARE(m_handler->packageStatus(text("b")), int(StatusInstalling));
    QCOMPARE(m_handler->packageStatus(text("c")), int(StatusUninstalling));
    QCOMPARE(dropped.count(nullptr), 0);
    m_handler.reset();
    QCOMPARE(dropped.count(nullptr), 3);
}

void TstPackageHandler::listOnlyAdds()
{
    setInstalled("a b");
    play(text("remove other, install a, install new, list, end remove other"));
    m_journal->entries.clear();

    Package::Manager::PackageList::Ptr list = find("list")->list;
    list->add({text("a"), text("2.0-1"), text("changed")});
    list->add({text("new"), text("1.0-1"), QString()});
    Q_EMIT find("list")->success();
    // The queued update loses its state to the list, and the package that is new keeps it.
    QCOMPARE(m_journal->take(), text("status a 1; count 3"));
    QCOMPARE(m_handler->packageStatus(text("new")), int(StatusInstalling));
    QCOMPARE(m_handler->packageStatus(text("b")), int(StatusInstalled));
    QCOMPARE(m_handler->versions().value(text("a")), text("2.0-1"));
    QCOMPARE(m_handler->summaries().value(text("b")), text("about b"));
}

void TstPackageHandler::listIsSealedByTheOneBefore()
{
    m_handler->refreshPackages();
    ScriptedTransaction *first = find("list");
    play(text("list"));
    ScriptedTransaction *second = m_manager->find(text("list"));
    play(text("listed early"));
    first->list->seal(); // as a list does at its end
    play(text("succeed list"));
    second->list->add({text("late"), text("1-1"), QString()});
    play(text("succeed list"));
    QCOMPARE(m_handler->knownPackages(), QStringList(text("early")));

    play(text("remove a, list, list, end remove a"));
    QVERIFY(m_manager->find(text("list"))->isStarted); // the newest goes first
}

void TstPackageHandler::applicationState()
{
    using State = ApplicationState;
    setInstalled("listed updating removed");
    play(text("install /unlisted.rpm, succeed install /unlisted.rpm, install updating, "
              "install new, remove removed"));
    const std::tuple<const char *, const char *, State::State> table[] = {
        {"listed", "1.1-1", State::Updatable},    {"listed", "1.0-1", State::Installed},
        {"listed", "0.9-1", State::Installed},    {"updating", "9", State::Updating},
        {"removed", "9", State::Uninstalling},    {"new", "9", State::Installing},
        {"/unlisted.rpm", "9", State::Installed}, {"nothing", "9", State::Normal},
    };
    for (const auto &[package, version, state] : table)
        QCOMPARE(m_handler->applicationState(text(package), text(version)), int(state));
}

void TstPackageHandler::applicationStateName()
{
    using State = ApplicationState;
    const std::tuple<int, int, const char *> table[] = {
        {State::Installing, 0, "waiting"},      {State::Installing, -1, "downloading"},
        {State::Installing, 49, "downloading"}, {State::Installing, 50, "installing"},
        {State::Updating, 0, "updating"},       {State::Uninstalling, 60, "uninstalling"},
        {State::Installed, 100, "installed"},   {State::Updatable, 100, "updatable"},
    };
    for (const auto &[state, progress, name] : table) {
        QCOMPARE(m_handler->applicationStateName(state, progress),
                 text("orvik-store-la-app_state_") + text(name));
    }
    QCOMPARE(m_handler->applicationStateName(State::Normal, 0), QString());
}

void TstPackageHandler::knownPackages()
{
    setInstalled("here leaving");
    play(text("install coming, install called-off, call-off called-off, remove leaving, "
              "remove never-here"));
    QStringList known = m_handler->knownPackages();
    known.sort();
    QCOMPARE(known, QStringList({text("coming"), text("here"), text("leaving")}));
}

void TstPackageHandler::packagesForAccountType()
{
    QStringList packages;
    for (const char *type : {"e-mail", "facebook", "google", "activesync", "Google", ""})
        packages.append(m_handler->packagesForAccountType(text(type)).join(QLatin1Char(' ')));
    QCOMPARE(packages.join(QLatin1Char('|')),
             text("orvik-email|orvik-calendar|orvik-email orvik-calendar|"
                  "orvik-email orvik-calendar||"));
}

void TstPackageHandler::filesOfPackages()
{
    play(text("files a, files b, files c"));
    *find("files a")->files = QStringList{text("/1"), text("/2")};
    find("files a")->succeed();
    // A package that isn't found leaves the last list as it was.
    play(text("succeed files b, fail files c"));
    QCOMPARE(
        m_journal->take(),
        text(
            "start files a; files a /1,/2; start files b; files b /1,/2; start files c; files c "));

    // A running question writes into its list also when the handler has gone before it.
    play(text("files d"));
    const QPointer<ScriptedTransaction> running = find("files d");
    m_handler.reset();
    *running->files = QStringList{text("/3")};
    QCOMPARE(*running->files, QStringList(text("/3")));
    running->succeed();
    QCOMPARE(m_journal->take(), text("start files d"));
}

void TstPackageHandler::overlappingQuestions()
{
    play(text("install /a.rpm"));
    QCOMPARE(m_handler->packageStatus(text("/a.rpm")), int(StatusInstalling));
    m_journal->entries.clear();
    play(text("info /a.rpm, info /b.rpm, name /usr/bin/a, name /usr/bin/b"));
    // A look at a file that was being installed begins anew, and tells nobody.
    QCOMPARE(m_handler->packageStatus(text("/a.rpm")), int(StatusNone));
    QCOMPARE(m_journal->take(),
             text("start info /a.rpm; start info /b.rpm; "
                  "start name /usr/bin/a; start name /usr/bin/b"));
    for (const char *name : {"info /a.rpm", "info /b.rpm"}) {
        find(name)->information->name = find(name)->name;
        find(name)->information->version = text("1-1");
    }
    find("name /usr/bin/a")->information->name = text("a");
    find("name /usr/bin/b")->information->name = text("b");

    play(text("fail info /b.rpm, succeed info /a.rpm, succeed name /usr/bin/b, "
              "fail name /usr/bin/a"));
    QCOMPARE(m_journal->take(),
             text("info  b.rpm orvik-store-la-invalid_package ; info /a.rpm info /a.rpm  1-1; name "
                  "b; name "));
}

void TstPackageHandler::overlappingRemovals()
{
    const QString a = writeFile(text("system/a.desktop"));
    const QString b = writeFile(text("system/b.desktop"));
    play(text("remove-launcher %1, remove-launcher %2").arg(a, b));
    find(text("name ") + a)->information->name = text("package-a");
    find(text("name ") + b)->information->name = text("package-b");
    play(text("succeed name %2, succeed name %1, end remove package-b").arg(a, b));
    QCOMPARE(m_journal->entries.filter(text("start remove")),
             QStringList({text("start remove package-b"), text("start remove package-a")}));
}

void TstPackageHandler::uninstallByDesktopFile_data()
{
    QTest::addColumn<QString>("path");
    QTest::addColumn<bool>("isDeleted");
    QTest::addColumn<QString>("journal"); // %1 is the path

    const auto row = [](const char *name, const char *path, bool isDeleted, const char *journal) {
        QTest::newRow(name) << text(path) << isDeleted << text(journal);
    };
    const char *lookUp = "start name %1";
    row("the user's own, further down", "data/applications/x/a.desktop", true, "");
    row("the user's own link", "data/applications/link.desktop", true, "");
    row("through a linked folder", "link/x/a.desktop", true, "");
    row("a sibling's name begins like it", "data/applications-old/a.desktop", false, lookUp);
    row("up again", "data/applications/../a.desktop", false, lookUp);
    row("out by a linked folder", "data/applications/out/a.desktop", false, lookUp);
    row("and up again", "data/applications/out/../root.desktop", false, lookUp);
    row("not there", "data/applications/missing.desktop", false, "");
    row("a folder", "data/applications/x", false, "");
}

void TstPackageHandler::uninstallByDesktopFile()
{
    QFETCH(const QString, path);
    QFETCH(const bool, isDeleted);
    QFETCH(const QString, journal);

    for (const char *file :
         {"data/applications/x/a.desktop", "root.desktop", "data/applications-old/a.desktop",
          "data/a.desktop", "system/a.desktop"})
        QVERIFY(!writeFile(text(file)).isEmpty());
    const auto link = [this](const char *target, const char *name) {
        return QFile::link(m_folder->filePath(text(target)), m_folder->filePath(text(name)));
    };
    QVERIFY(link("system/a.desktop", "data/applications/link.desktop"));
    QVERIFY(link("system", "data/applications/out"));
    QVERIFY(link("data/applications", "link"));
    const QString desktopFile = m_folder->path() + QLatin1Char('/') + path;
    const bool existed = QFileInfo(desktopFile).isFile();

    m_handler->uninstallByDesktopFile(desktopFile);
    QCOMPARE(m_journal->take(), journal.arg(desktopFile));
    QCOMPARE(QFileInfo(desktopFile).isFile(), existed && !isDeleted);
    QVERIFY(QFile::exists(m_folder->filePath(text("system/a.desktop"))));

    // The desktop cache goes before everything but the file's being there.
    m_manager->desktopFileOwner = text("owner");
    m_handler->uninstallByDesktopFile(desktopFile);
    QCOMPARE(m_journal->entries.contains(text("start remove owner")), existed && !isDeleted);
}

void TstPackageHandler::androidApplications()
{
    const QString launcher =
        writeFile(text("system/droid.desktop"),
                  "[Desktop Entry]\nType=Application\nName=Droid\nX-apkd-apkfile=/opt/droid.apk\n");
    m_handler->uninstallByDesktopFile(launcher);
    QCOMPARE(m_journal->take(), text("start name /opt/droid.apk"));
    QTest::ignoreMessage(QtWarningMsg,
                         qPrintable(text("failed to remove android app: \"%1\"").arg(launcher)));
    find("name /opt/droid.apk")->succeed();
    QCOMPARE(m_journal->take(), QString());
    QVERIFY(QFile::exists(launcher));
}

QTEST_GUILESS_MAIN(TstPackageHandler)
#include "tst_packagehandler.moc"
