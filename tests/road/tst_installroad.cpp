#include "roadphone.h"
#include "scenefile.h"

#include <QFile>
#include <QFileInfo>
#include <QRegularExpression>
#include <QTest>

namespace {

const QString installedUpdate = QStringLiteral("tidepool"); // installed in an older version
const QString applications = QStringLiteral("/usr/share/applications/");
const QString failedInstall = QStringLiteral("x-orvik.store.install-failed|Installation failed|");

/** The notification of an error; servers that know no preview get its texts as well. */
QString storeError(const QString &text)
{
    return QStringLiteral("x-orvik.store.error|Problem in the store|%1|Problem in the store|%1")
        .arg(text);
}

/** What the bus hears of a job, from @p status at its begin to @p result at its end. */
QStringList job(const QString &package, int status, int result, const char *outcome)
{
    QStringList all{QStringLiteral("packageStatusChanged %1 %2").arg(package).arg(status),
                    QStringLiteral("packageProgressChanged %1 0").arg(package),
                    QStringLiteral("packageProgressChanged %1 100").arg(package),
                    QStringLiteral("packageStatusChanged %1 %2").arg(package).arg(result)};
    if (*outcome)
        all.append(text(outcome).arg(package));
    return all;
}

QStringList installed(const QString &package)
{
    return job(package, package == installedUpdate ? 3 : 2, 1, "installPackageResult %1 true");
}

QStringList removed(const QString &package)
{
    return job(package, 4, 0, "removePackageResult %1 true");
}

} // namespace

/** From a caller on the bus to the package database, and what everybody learns on the way. */
class TstInstallRoad : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void init();
    void cleanup() { m_phone.explainFailure(); }

    void install_data();
    void install();
    void isolationFails();
    void remove_data();
    void remove();
    void removeByDesktopFile_data();
    void removeByDesktopFile();
    void daemonDies_data();
    void daemonDies();
    void networkGoes();

    // Each with a client of its own.
    void waitsForTheStore_data();
    void waitsForTheStore();
    void checkBeforeTheList_data();
    void checkBeforeTheList();
    void clientDies_data();
    void clientDies();
    void sideLoad_data();
    void sideLoad();

private:
    /** Waits for a job to end: @p line has been heard and the daemon rests. */
    [[nodiscard]] bool waitForEnd(const QString &line);
    /** What the ladder did: refreshes in the order in which they were made. */
    [[nodiscard]] QStringList refreshes();

    RoadPhone m_phone;
    QStringList m_repositories; // enabled ones of a phone from the factory
};

void TstInstallRoad::initTestCase()
{
    m_phone.reset();
    m_repositories = m_phone.packages().enabledRepositories();
    QVERIFY(m_phone.startReady());
}

void TstInstallRoad::init()
{
    QVERIFY(m_phone.waitUntil([this] { return m_phone.isIdle(); }));
    m_phone.enable(m_repositories);
    m_phone.forget();
}

bool TstInstallRoad::waitForEnd(const QString &line)
{
    // Every job that works is followed by a list, which waits until the sources are back.
    const auto isOver = [this, &line] {
        const QStringList calls = m_phone.packages().calls();
        return m_phone.heard().contains(line) && m_phone.isIdle() && !calls.isEmpty()
            && calls.constLast() == QLatin1String("GetPackages(0x4)");
    };
    return m_phone.waitUntil(isOver);
}

QStringList TstInstallRoad::refreshes()
{
    return m_phone.packages().calls(text("RepoSetData"))
        + m_phone.packages().calls(text("RefreshCache"));
}

void TstInstallRoad::install_data()
{
    QTest::addColumn<QString>("package");
    QTest::addColumn<QString>("version");
    QTest::addColumn<QString>("label"); // empty: the store has no such application
    QTest::addColumn<QStringList>("setup");
    QTest::addColumn<int>("refreshed"); // levels of the ladder that were needed

    const auto row = [](const char *name, const char *package, const char *version,
                        const char *label, int refreshed, const QStringList &setup) {
        QTest::newRow(name) << text(package) << text(version) << text(label) << setup << refreshed;
    };
    row("with a library", "fernweh", "4.0.2-1", "Fernweh", 0, {});
    row("an update", "tidepool", "2.3.1-1", "Tidepool", 0, {});
    row("unknown to the store", "libazimuth", "1.2.0-1", "", 0, {});
    row("seen after a refresh of all", "hourglass", "1.7.0-1", "Hourglass", 3,
        lines({R"(PackageKit stale {"name": "hourglass", "level": 3})"}));
    row("a newer one is seen after a refresh", "orvik-notes", "2.1.0-1", "Notes", 1,
        lines({R"(PackageKit stale {"name": "orvik-notes", "version": "2.1.0-1", "level": 1})"}));
    row("download fails", "tally", "1.2.2-1", "Tally", 1,
        lines({R"(PackageKit script {"role": "InstallPackages", "error": 12, "at": "middle"})"}));
    row("download is cancelled", "starling", "1.0.1-1", "Starling", 1,
        lines({R"(PackageKit script {"role": "InstallPackages", "exit": 3, "at": "middle"})"}));
    row("calls are refused", "kingsmoor", "1.5.6-1", "Kingsmoor", 2,
        lines({R"(PackageKit script {"role": "Resolve", "reject": "not now"})",
               R"(PackageKit script {"role": "DependsOn", "reject": "not now"})"}));
    row("percentages that jump", "quiet-chess", "3.2.0-1", "Quiet Chess", 0,
        lines({R"(PackageKit script {"role": "InstallPackages", "times": 2,
                                     "percentages": [50, 20, 101, 99, 0, 60]})"}));
}

void TstInstallRoad::install()
{
    QFETCH(QString, package);
    QFETCH(QString, version);
    QFETCH(QString, label);
    QFETCH(QStringList, setup);
    QFETCH(int, refreshed);
    const bool wasThere = !m_phone.installedVersion(package).isEmpty();
    m_phone.script(setup);
    QVERIFY(m_phone.call(text("installPackage"), {package}));
    QVERIFY(waitForEnd(text("installPackageResult %1 true").arg(package)));

    QCOMPARE(m_phone.heard(), job(package, wasThere ? 3 : 2, 1, "installPackageResult %1 true"));
    QVERIFY(!m_phone.hasProgressFallen());
    QCOMPARE(m_phone.installedVersion(package), version);
    const QStringList ladder{text("RepoSetData(store, refresh-now, false)"),
                             text("RepoSetData(store, refresh-now, true)"),
                             text("RefreshCache(true)")};
    QCOMPARE(refreshes(), ladder.mid(0, refreshed));
    QCOMPARE(m_phone.packages().enabledRepositories(), m_repositories);

    // An update is announced with the launcher of the version that is there as well.
    QStringList calls{
        text("updatingStarted %1|%2|").arg(package, label.isEmpty() ? text("Untitled") : label)};
    if (wasThere) {
        calls.append(text("updatingStarted %1||%2%1.desktop").arg(package, applications));
    }
    calls.append(text("updatingFinished ") + package);
    QCOMPARE(m_phone.homeScreen(), calls);
    const int reports = label.isEmpty() ? 0 : 1;
    QVERIFY(m_phone.waitUntil([&] { return m_phone.storeChanges().size() >= reports; }));
    QCOMPARE(m_phone.storeChanges().size(), reports);
    QCOMPARE(m_phone.storeChanges().filter(
                 QRegularExpression(text("^POST myapplications .*\"application\".* 201$"),
                                    QRegularExpression::DotMatchesEverythingOption)),
             m_phone.storeChanges());
    const QString warning =
        text("Trying to install package with no application uuid:  \"%1\"").arg(package);
    QCOMPARE(m_phone.client()->log().filter(warning).size(), label.isEmpty() ? 1 : 0);
    QCOMPARE(m_phone.published().filter(text("x-orvik")), QStringList());
}

/** The third source can't be switched off. */
void TstInstallRoad::isolationFails()
{
    const QString package = text("papercrane");
    m_phone.script(lines(
        {R"(PackageKit script {"role": "RepoEnable", "skip": 2, "error": 27, "text": "no"})"}));
    QVERIFY(m_phone.call(text("installPackage"), {package}));
    const QString error = text("These software sources could not be switched: user-extra");
    QVERIFY(m_phone.waitToHear(text("packageError ") + error));
    QCOMPARE(m_phone.heard(),
             job(package, 2, 0, "installPackageResult %1 false")
                 + QStringList{text("packageError ") + error});
    QVERIFY(m_phone.waitUntil(
        [this] { return m_phone.published().filter(text("x-orvik")).size() == 2; }));
    QCOMPARE(m_phone.homeScreen(),
             (QStringList{text("updatingStarted papercrane|Papercrane|"),
                          text("updatingFinished papercrane")}));
    QCOMPARE(m_phone.published().filter(text("x-orvik")),
             (QStringList{failedInstall + text("Papercrane||"), storeError(error)}));
    QCOMPARE(m_phone.packages().calls(text("Resolve")), QStringList());
    // The store was told at the begin and nobody takes it back.
    QVERIFY(m_phone.waitUntil([this] { return m_phone.storeChanges().size() == 1; }));
    // Of what was off already only the first comes back.
    QStringList enabled = m_repositories;
    enabled.removeAll(text("oss"));
    QVERIFY(m_phone.waitUntil(
        [&] { return m_phone.isIdle() && m_phone.packages().enabledRepositories() == enabled; }));

    m_phone.enable(m_repositories);
    m_phone.forget();
    QVERIFY(m_phone.call(text("installPackage"), {package}));
    QVERIFY(waitForEnd(text("installPackageResult papercrane true")));
    QCOMPARE(m_phone.installedVersion(package), text("1.1.3-1"));
}

void TstInstallRoad::remove_data()
{
    QTest::addColumn<QString>("package");
    QTest::addColumn<bool>("autoRemove");
    QTest::addColumn<QStringList>("setup");
    QTest::addColumn<QStringList>("gone"); // empty: the removal fails
    QTest::addColumn<QStringList>("present");
    QTest::addColumn<QString>("label"); // empty: without an application in the store

    const auto row = [](const char *name, const char *package, bool autoRemove, const char *label,
                        const QStringList &gone, const QStringList &present,
                        const QStringList &setup) {
        QTest::newRow(name) << text(package) << autoRemove << setup << gone << present
                            << text(label);
    };
    // What the first table has left on the phone.
    row("alone", "fernweh", false, "Fernweh", lines({"fernweh"}), lines({"libbrindle"}), {});
    row("with what nobody else needs", "starling", true, "Starling",
        lines({"starling", "libbrindle"}), lines({"libquarto"}), {});
    row("needed by another", "libquarto", false, "", {}, lines({"libquarto", "libazimuth"}), {});
    row("not there: removed already", "rainbarrel", false, "Rainbarrel", lines({"rainbarrel"}), {},
        {});
    row("fails", "tally", false, "Tally", {}, lines({"tally"}),
        lines({R"(PackageKit script {"role": "RemovePackages", "error": 9, "text": "no"})"}));
    row("the daemon dies", "tally", false, "Tally", {}, lines({"tally"}),
        lines({R"(PackageKit script {"role": "RemovePackages", "die": "running"})"}));
    row("after that", "tally", false, "Tally", lines({"tally"}), {}, {});
}

void TstInstallRoad::remove()
{
    QFETCH(QString, package);
    QFETCH(bool, autoRemove);
    QFETCH(QStringList, setup);
    QFETCH(QStringList, gone);
    QFETCH(QStringList, present);
    QFETCH(QString, label);
    const bool works = !gone.isEmpty();
    const bool hasLauncher = QFile::exists(applications + package + text(".desktop"));
    m_phone.script(setup);
    QVERIFY(m_phone.call(text("removePackage"), {package, autoRemove}));
    const QString outcome =
        text("removePackageResult %1 %2").arg(package, works ? text("true") : text("false"));
    if (works)
        QVERIFY(waitForEnd(outcome));
    const QString finished = text("updatingFinished ") + package;
    QVERIFY(m_phone.waitUntil([&] {
        return m_phone.heard().contains(outcome) && m_phone.homeScreen().contains(finished)
            && m_phone.storeChanges().size() == int(works);
    }));

    QCOMPARE(m_phone.heard(),
             works ? removed(package) : job(package, 4, 1, "removePackageResult %1 false"));
    QStringList calls;
    if (hasLauncher)
        calls.append(text("updatingStarted %1||%2%1.desktop").arg(package, applications));
    QCOMPARE(m_phone.homeScreen(), calls + QStringList{finished});
    QCOMPARE(m_phone.storeChanges().filter(text("DELETE myapplications")).size(), int(works));
    const QString name = label.isEmpty() ? package : label;
    QCOMPARE(m_phone.published().filter(text("x-orvik")),
             works ? QStringList()
                   : QStringList{storeError(name + text(" could not be removed."))});
    for (const QString &each : qAsConst(gone))
        QCOMPARE(m_phone.installedVersion(each), QString());
    for (const QString &each : qAsConst(present))
        QVERIFY2(!m_phone.installedVersion(each).isEmpty(), qPrintable(each));
}

void TstInstallRoad::removeByDesktopFile_data()
{
    QTest::addColumn<QString>("file"); // below the folder of launchers
    QTest::addColumn<QByteArray>("content"); // empty: the file is there
    QTest::addColumn<QString>("installed"); // package that is there because of the row
    QTest::addColumn<QString>("removed"); // package
    QTest::addColumn<QString>("asked"); // of the package daemon: who owns this file
    QTest::addColumn<bool>("handedOver"); // to the support service for Android applications

    const auto row = [](const char *name, const char *file, const char *content,
                        const char *installed, const char *removed, const char *asked,
                        bool handedOver) {
        QTest::newRow(name) << text(file) << QByteArray(content) << text(installed) << text(removed)
                            << text(asked) << handedOver;
    };
    const char *tramlines = "quayside-apk-com.tramlines.transit";
    row("an application", "hourglass.desktop", "", "", "hourglass", "", false);
    row("a package of an Android application", "apkd_launcher_com_tramlines_transit-Main.desktop",
        "", tramlines, tramlines, "/usr/share/quayside/com.tramlines.transit.apk", false);
    row("an Android application without a package", "apkd_launcher_x.desktop",
        "[Desktop Entry]\nType=Application\nName=X\nX-apkd-apkfile=/data/app/x.apk\n", "", "",
        "/data/app/x.apk", true);
    row("nobody's", "x.desktop", "[Desktop Entry]\nType=Application\n", "", "",
        "/usr/share/applications/x.desktop", false);
}

void TstInstallRoad::removeByDesktopFile()
{
    QFETCH(QString, file);
    QFETCH(QByteArray, content);
    QFETCH(QString, installed);
    QFETCH(QString, removed);
    QFETCH(QString, asked);
    QFETCH(bool, handedOver);
    if (!installed.isEmpty()) {
        QVERIFY(m_phone.call(text("installPackage"), {installed}));
        QVERIFY(waitForEnd(text("installPackageResult %1 true").arg(installed)));
        m_phone.forget();
    }
    const QString path = applications + file;
    if (!content.isEmpty()) {
        QFile launcher(path);
        QVERIFY(launcher.open(QIODevice::WriteOnly) && launcher.write(content) > 0);
    }
    QVERIFY(QFile::exists(path));
    QVERIFY(m_phone.call(text("removePackageByDesktopFile"), {path}));
    if (!removed.isEmpty())
        QVERIFY(waitForEnd(text("packageStatusChanged %1 0").arg(removed)));
    const QStringList questions =
        asked.isEmpty() ? QStringList() : QStringList{text("SearchFile(0x4, %1)").arg(asked)};
    QVERIFY(m_phone.waitUntil([&] {
        return m_phone.packages().calls(text("SearchFile")) == questions
            && m_phone.services().entries(text("apkd.removeFile")).size() == int(handedOver);
    }));
    QVERIFY(m_phone.waitUntil([this] { return m_phone.isIdle(); }));
    // Nobody has asked for a result by the package's name.
    QCOMPARE(m_phone.heard(), removed.isEmpty() ? QStringList() : job(removed, 4, 0, ""));
    const bool isGone = handedOver || !removed.isEmpty();
    QVERIFY(m_phone.waitUntil([&] { return QFile::exists(path) != isGone; }));
    if (!content.isEmpty())
        QFile::remove(path);
}

void TstInstallRoad::daemonDies_data()
{
    QTest::addColumn<QString>("package");
    QTest::addColumn<QString>("role");
    QTest::addColumn<int>("skip");
    QTest::addColumn<QString>("moment");
    QTest::addColumn<bool>("isInstalled");
    QTest::addColumn<QString>("error");
    QTest::addColumn<QString>("lost"); // repository that stays off

    const QString no;
    const QString source =
        text("packageError These software sources could not be switched: non-oss");
    const QString list = text("packageError The list of installed packages could not be read.");
    const auto row = [](const char *name, const char *package, const char *role, int skip,
                        const char *moment, bool isInstalled, const QString &error,
                        const char *lost) {
        QTest::newRow(name) << text(package) << text(role) << skip << text(moment) << isInstalled
                            << error << text(lost);
    };
    row("listing sources", "marble-run", "GetRepoList", 0, "running", true, no, "");
    row("isolating", "wayfarer", "RepoEnable", 0, "running", false, source, "");
    row("looking for what is installed", "trainspotter", "Resolve", 0, "running", true, no, "");
    row("at the very call", "birdsong", "Resolve", 0, "call", true, no, "");
    row("looking for the package", "rainbarrel", "Resolve", 1, "running", true, no, "");
    row("looking for what it needs", "flashdeck", "DependsOn", 0, "running", true, no, "");
    row("downloading", "abacus-kids", "InstallPackages", 0, "running", true, no, "");
    row("installing", "treering", "InstallPackages", 1, "running", true, no, "");
    row("putting sources back", "gramophone", "RepoEnable", 3, "running", true, no, "non-oss");
    row("listing", "postbox", "GetPackages", 0, "running", true, list, "");
}

/** Whatever the daemon was about, the next command works. */
void TstInstallRoad::daemonDies()
{
    QFETCH(QString, package);
    QFETCH(QString, role);
    QFETCH(int, skip);
    QFETCH(QString, moment);
    QFETCH(bool, isInstalled);
    QFETCH(QString, error);
    QFETCH(QString, lost);
    m_phone.script({text(R"(PackageKit script {"role": "%1", "skip": %2, "die": "%3"})")
                        .arg(role)
                        .arg(skip)
                        .arg(moment)});
    QVERIFY(m_phone.call(text("installPackage"), {package}));
    const QStringList expected =
        (isInstalled ? installed(package) : job(package, 2, 0, "installPackageResult %1 false"))
        + (error.isEmpty() ? QStringList() : QStringList{error});
    QVERIFY(m_phone.waitUntil([&] { return m_phone.heard().size() >= expected.size(); }));
    QStringList enabled = m_repositories;
    enabled.removeAll(lost);
    QVERIFY(m_phone.waitUntil(
        [&] { return m_phone.isIdle() && m_phone.packages().enabledRepositories() == enabled; }));
    QCOMPARE(m_phone.heard(), expected);
    QCOMPARE(!m_phone.installedVersion(package).isEmpty(), isInstalled);

    m_phone.forget();
    if (!isInstalled) {
        QVERIFY(m_phone.call(text("installPackage"), {package}));
        QVERIFY(waitForEnd(text("installPackageResult %1 true").arg(package)));
    }
    QVERIFY(m_phone.call(text("removePackage"), {package, false}));
    QVERIFY(waitForEnd(text("removePackageResult %1 true").arg(package)));
}

/** A job goes on; a removal is never told to the store. */
void TstInstallRoad::networkGoes()
{
    const QString package = text("inkwell");
    m_phone.script(lines({R"(PackageKit timing {"download": 300})"}));
    QVERIFY(m_phone.call(text("installPackage"), {package}));
    QVERIFY(m_phone.waitUntil(
        [this] { return !m_phone.packages().calls(text("InstallPackages")).isEmpty(); }));
    m_phone.script(
        lines({R"(Services connman {"state": "idle"})", R"(PackageKit timing {"download": 10})"}));
    QVERIFY(waitForEnd(text("installPackageResult inkwell true")));
    QVERIFY(m_phone.waitUntil([this] { return m_phone.storeChanges().size() == 1; }));
    m_phone.forget();
    QVERIFY(m_phone.call(text("removePackage"), {package, false}));
    QVERIFY(waitForEnd(text("removePackageResult inkwell true")));
    QVERIFY(m_phone.client()->waitForLog(
        text("Device offline, could not inform store backend about uninstallation of "
             "\"inkwell\"")));
    QVERIFY(m_phone.homeScreen().contains(text("updatingFinished inkwell")));

    m_phone.script(lines({R"(Services connman {"state": "online"})"}));
    QVERIFY(m_phone.call(text("installPackage"), {package}));
    QVERIFY(waitForEnd(text("installPackageResult inkwell true")));
    QVERIFY(m_phone.waitUntil([this] { return !m_phone.storeChanges().isEmpty(); }));
    QCOMPARE(m_phone.storeChanges().size(), 1);
    QCOMPARE(m_phone.storeChanges().filter(text("DELETE")), QStringList());
}

void TstInstallRoad::waitsForTheStore_data()
{
    QTest::addColumn<QStringList>("before");
    QTest::addColumn<QStringList>("after"); // empty: it gets there by itself
    QTest::addColumn<bool>("again"); // whether another call has to come
    QTest::newRow("no network") << lines({R"(Services connman {"state": "idle"})"})
                                << lines({R"(Services connman {"state": "online"})"}) << false;
    QTest::newRow("the user picks a network")
        << lines({R"(Services connman {"state": "idle"})", R"(Services dialog {"online": true})"})
        << lines({}) << false;
    QTest::newRow("the store is down")
        << lines({R"(Store fault {"path": "/api/v001/", "do": "status", "status": 503})"})
        << lines({"Store clear-faults {}"}) << true;
}

/** With a client that has not been in the store yet. */
void TstInstallRoad::waitsForTheStore()
{
    QFETCH(QStringList, before);
    QFETCH(QStringList, after);
    QFETCH(bool, again);
    m_phone.reset();
    m_phone.script(before);
    QVERIFY(m_phone.startClient());
    QVERIFY(m_phone.call(text("installPackage"), {text("dicebag")}));
    if (!after.isEmpty()) {
        QVERIFY(m_phone.waitUntil([&] {
            return again ? m_phone.client()->log().filter(text("--> 6")).size() > 0
                         : !m_phone.services().entries(text("dialog.openConnectionNow")).isEmpty();
        }));
        QVERIFY(m_phone.heard().filter(text("dicebag")).isEmpty());
        QCOMPARE(m_phone.homeScreen(), QStringList());
        m_phone.script(after);
    }
    QStringList expected = installed(text("dicebag"));
    if (again) {
        QVERIFY(m_phone.call(text("installPackage"), {text("tally")}));
        QVERIFY(m_phone.waitToHear(text("installPackageResult tally true"), 20000));
    }
    QVERIFY(m_phone.waitToHear(expected.constLast(), 20000));
    QCOMPARE(m_phone.heard().filter(text("dicebag")), expected);
    QCOMPARE(m_phone.installedVersion(text("dicebag")), text("1.0.4-1"));
    QVERIFY(m_phone.waitUntil([&] { return m_phone.storeChanges().size() == 1 + int(again); }));
}

void TstInstallRoad::checkBeforeTheList_data()
{
    QTest::addColumn<QString>("fault");
    QTest::addColumn<QStringList>("heard");
    const QString failure = text("packageError The list of installed packages could not be read.");
    QTest::newRow("a slow list") << R"(PackageKit script {"role": "GetPackages", "ms": 300})"
                                 << lines({"checkInstalledResult tidepool true"});
    QTest::newRow("no list")
        << R"(PackageKit script {"role": "GetPackages", "ms": 300, "at": "end", "error": 4})"
        << QStringList{failure, text("checkInstalledResult tidepool false")};
}

void TstInstallRoad::checkBeforeTheList()
{
    QFETCH(QString, fault);
    QFETCH(QStringList, heard);
    m_phone.reset();
    m_phone.script({fault});
    QVERIFY(m_phone.startClient());
    QVERIFY(m_phone.call(text("checkInstalled"), {installedUpdate}, Identity::User));
    QVERIFY(m_phone.waitToHear(heard.constLast()));
    QCOMPARE(m_phone.heard(), heard);
    m_phone.forget();
    QVERIFY(m_phone.call(text("packageName"), {applications + text("tidepool.desktop")}));
    QVERIFY(m_phone.waitToHear(text("packageNameResult tidepool")));
    QVERIFY(m_phone.call(text("packageName"), {text("/no/such/file")}));
    QVERIFY(m_phone.waitToHear(text("packageNameResult ")));
}

void TstInstallRoad::clientDies_data()
{
    QTest::addColumn<QString>("role");
    QTest::addColumn<int>("skip");
    QTest::addColumn<QStringList>("off"); // sources that stay off
    const QStringList all = lines({"non-oss", "oss", "user-extra"});
    QTest::newRow("isolating") << "RepoEnable" << 2 << lines({"non-oss", "oss"});
    QTest::newRow("installing") << "InstallPackages" << 1 << all;
    QTest::newRow("putting back") << "RepoEnable" << 4 << lines({"oss", "user-extra"});
}

/** Sources stay as they were when it was killed, and the next run works with what there is. */
void TstInstallRoad::clientDies()
{
    QFETCH(QString, role);
    QFETCH(int, skip);
    QFETCH(QStringList, off);
    m_phone.reset();
    QVERIFY(m_phone.startReady());
    m_phone.forget();
    m_phone.script({text(R"(PackageKit script {"role": "%1", "skip": %2, "hang": true})")
                        .arg(role)
                        .arg(skip)});
    QVERIFY(m_phone.call(text("installPackage"), {text("dicebag")}));
    QVERIFY(m_phone.waitUntil([&] { return m_phone.packages().calls(role).size() == skip + 1; }));
    m_phone.killClient();
    QStringList enabled = m_repositories;
    for (const QString &source : qAsConst(off))
        enabled.removeAll(source);
    QCOMPARE(m_phone.packages().enabledRepositories(), enabled);

    m_phone.packages().kill();
    m_phone.forget();
    QVERIFY(m_phone.startReady());
    QVERIFY(m_phone.call(text("installPackage"), {text("tally")}));
    QVERIFY(waitForEnd(text("installPackageResult tally true")));
    QCOMPARE(m_phone.packages().enabledRepositories(), enabled);
    QVERIFY(m_phone.stopClient());
}

void TstInstallRoad::sideLoad_data()
{
    QTest::addColumn<QByteArray>("setting");
    QTest::addColumn<bool>("broken");
    QTest::newRow("allowed") << QByteArray("1") << false;
    QTest::newRow("allowed by any number, a broken file") << QByteArray("2") << true;
    QTest::newRow("not allowed") << QByteArray("0") << false;
}

/** Through the scene, which decides. */
void TstInstallRoad::sideLoad()
{
    QFETCH(QByteArray, setting);
    QFETCH(bool, broken);
    const bool allowed = setting != "0";
    m_phone.reset();
    QVERIFY(
        SceneFile::writeMain(text("Connections { target: root\n function onInstall(packageName) {\n"
                                  "packageHandler.install(packageName, function(success) {\n"
                                  "console.log('scene installed', packageName, success) }) } }")));
    QFile lock(text("/usr/share/pavilion/devicelock/devicelock_settings.conf"));
    QVERIFY(lock.open(QIODevice::WriteOnly | QIODevice::Truncate));
    lock.write("[desktop]\ntesk\\devicelock\\sideloading_allowed=" + setting);
    lock.close();
    const QString file = text("/tmp/soundings.rpm");
    QFile::remove(file);
    QVERIFY(QFile::copy(qEnvironmentVariable("KIOSK_SIMULATOR_DIR")
                            + text("/../share/packages/soundings-2.5.0-1.noarch.rpm"),
                        file));
    if (broken)
        QVERIFY(QFile::resize(file, 20));
    QVERIFY(m_phone.startReady());
    m_phone.forget();
    QVERIFY(m_phone.call(text("install"), {file}));
    QVERIFY(m_phone.waitUntil([this] {
        return !m_phone.published().filter(text("x-orvik")).isEmpty() && m_phone.isIdle();
    }));
    const QString said = !allowed
        ? text("x-orvik.store.error||Installing files is switched off. You can allow "
               "untrusted software in the settings.")
        : broken ? text("x-orvik.store.sideloading-failed|"
                        "Package could not be installed|/tmp/soundings.rpm")
                 : text("x-orvik.store.sideloading-success|Package installed|"
                        "/tmp/soundings.rpm");
    QCOMPARE(m_phone.published().filter(text("x-orvik")),
             QStringList{said + said.mid(said.indexOf(QLatin1Char('|')))});
    if (!allowed) {
        QCOMPARE(m_phone.heard(), QStringList());
        QVERIFY(m_phone.client()->log().filter(text("scene install")).isEmpty());
        return;
    }
    QVERIFY(m_phone.client()->waitForLog(
        text("scene installed %1 %2").arg(file, broken ? text("false") : text("true"))));
    QStringList heard = job(file, 2, broken ? 0 : 1, "");
    if (broken) {
        heard.insert(3, text("packageError %1 is not a valid package").arg(file));
    }
    QCOMPARE(m_phone.heard(), heard);
    QCOMPARE(m_phone.installedVersion(text("soundings")), broken ? QString() : text("2.5.0-1"));
    QCOMPARE(m_phone.homeScreen(), QStringList());
    QCOMPARE(m_phone.storeChanges(), QStringList());
}

QTEST_GUILESS_MAIN(TstInstallRoad)
#include "tst_installroad.moc"
