#include "package/managerpkgkit.h"
#include "package/transaction.h"
#include "packagephone.h"

#include <QtTest>

#include <csignal>

using namespace Package;

/** The questions that need no transaction, and the watch over the daemon. */
class TstManagerPkgKit : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init();
    void compareVersions();
    void desktopFilesOfPackages();
    void desktopFilesOfAndroidApplications();
    void tellsForeignRequests_data();
    void tellsForeignRequests();
    void asksForTheRoleOnlyAsLongAsItMay();
    void tellsIdleOnce();
    void passesTheRetryDelayOn();
    void tellsTheDaemonToQuit();

private:
    [[nodiscard]] QTimer *idleTimer() const;
    /** As if the daemon's list were @p tids now. */
    void change(const QStringList &tids);
    /** Somebody else's transaction for @p ms milliseconds. */
    void runForeign(const QString &role, int ms);
    PackagePhone m_phone;
    QScopedPointer<ManagerPkgKit> m_manager;
};

void TstManagerPkgKit::init()
{
    m_phone.reset();
    m_manager.reset(new ManagerPkgKit);
}

QTimer *TstManagerPkgKit::idleTimer() const
{
    return m_manager->findChild<QTimer *>();
}

void TstManagerPkgKit::change(const QStringList &tids)
{
    QVERIFY(QMetaObject::invokeMethod(m_manager.data(), "slotTransactionListChanged",
                                      Q_ARG(QStringList, tids)));
}

void TstManagerPkgKit::runForeign(const QString &role, int ms)
{
    m_phone.command(text("foreign"), {{text("role"), role}, {text("ms"), ms}});
}

void TstManagerPkgKit::compareVersions()
{
    const std::tuple<const char *, const char *, int> table[] = {
        {"1.0-1", "1.0-2", 0},          {"1.10-1", "1.9-1", 1},
        {"1.0-1", "1.0.1-1", -1},       {"1:1.0-1", "2.0-1", 1},
        {"2:1.0-1", "10:0.1-1", -1},    {"1.0", "1.0-5", 0}, // without a release
        {"1.0-rc1-3", "1.0-rc2-1", -1}, // only the last part is one
        {"1-2:3.0-1", "3.0-1", 1}, // an epoch may look odd
        {"1.0~beta-1", "1.0-1", -1},    {"", "1-1", -1},
    };
    const auto compare = [this](const char *a, const char *b) {
        const int result = m_manager->compareVersions(text(a), text(b));
        return (result > 0) - (result < 0);
    };
    for (const auto &[a, b, sign] : table) {
        QVERIFY2(compare(a, b) == sign, a);
        QVERIFY2(compare(b, a) == -sign, a);
    }
}

void TstManagerPkgKit::desktopFilesOfPackages()
{
    const std::pair<const char *, bool> table[] = {
        {"orvik-notes", true},
        {"/a-1/b/orvik-notes-1.2.3-1.armv7hl.rpm", true},
        {"/orvik-notes", true},
        {"/orvik-notes-2bar-1.0-1.rpm", true}, // a digit behind "-" begins the version
        {"/orvik-notes.bar-1.0-1.rpm", false},
        {"orvik-notes-1.2.3-1.armv7hl.rpm", false}, // no path, no file
        {"/a/", false},
        {"", false},
    };
    for (const auto &[package, found] : table) {
        const QStringList files = m_manager->packageDesktopFiles(text(package));
        QVERIFY2(!files.isEmpty() == found, package);
        for (const QString &desktopFile : files)
            QCOMPARE(m_manager->packageNameByDesktopFile(desktopFile), text("orvik-notes"));
    }
}

void TstManagerPkgKit::desktopFilesOfAndroidApplications()
{
    const QString folder = text("/usr/share/applications/");
    const QStringList names{
        text("apkd_launcher_com_example_app-com_example_Main.desktop"),
        text("apkd_launcher_com_example_app.desktop"),
        text("apkd_launcher_com_example_other.desktop"),
        text("apkd_launcher_com_example_app.desktop.bak"),
        text("com_example_app.desktop"),
    };
    for (const QString &name : names) {
        QFile file(folder + name);
        QVERIFY(file.open(QIODevice::WriteOnly));
    }
    QStringList files = m_manager->packageDesktopFiles(text("quayside-apk-com.example.app"));
    files.sort();
    QCOMPARE(files, (QStringList{folder + names.at(0), folder + names.at(1)}));
    QCOMPARE(m_phone.calls(), QStringList{});
    for (const QString &name : names)
        QVERIFY(QFile::remove(folder + name));
}

void TstManagerPkgKit::tellsForeignRequests_data()
{
    QTest::addColumn<QString>("roles");
    QTest::addColumn<int>("told");

    QTest::newRow("one alone") << text("InstallPackages") << 0;
    QTest::newRow("a second") << text("RefreshCache Resolve") << 1;
    QTest::newRow("switches of repositories") << text("UpgradeSystem RepoEnable RepoEnable") << 0;
    QTest::newRow("the newest counts, at each change")
        << text("RepoEnable Resolve RepoEnable GetPackages") << 2;
}

void TstManagerPkgKit::tellsForeignRequests()
{
    QFETCH(QString, roles);
    QFETCH(int, told);
    QSignalSpy foreign(m_manager.data(), &Manager::packageManagerForeignRequested);
    idleTimer()->start();
    for (const QString &role : roles.split(QLatin1Char(' ')))
        runForeign(role, 600000);
    QTRY_VERIFY(!idleTimer()->isActive());
    QTRY_COMPARE(foreign.count(), told);
}

void TstManagerPkgKit::asksForTheRoleOnlyAsLongAsItMay()
{
    QSignalSpy foreign(m_manager.data(), &Manager::packageManagerForeignRequested);
    change({text("/1_a"), text("/2_gone")});
    QCOMPARE(foreign.count(), 1); // a role that can't be had is none

    const uint pid =
        QDBusConnection::systemBus().interface()->servicePid(text("org.freedesktop.PackageKit"));
    QCOMPARE(::kill(pid_t(pid), SIGSTOP), 0); // it never answers
    const auto isStopped = [pid] {
        QFile state(text("/proc/%1/stat").arg(pid));
        return state.open(QIODevice::ReadOnly) && state.readAll().contains(") T ");
    };
    QTRY_VERIFY(isStopped());
    QElapsedTimer clock;
    clock.start();
    change({text("/1_a"), text("/2_b")});
    const qint64 blocked = clock.elapsed();
    change({text("/1_a")});
    const qint64 single = clock.elapsed() - blocked;
    QCOMPARE(::kill(pid_t(pid), SIGCONT), 0);
    QCOMPARE(foreign.count(), 2);
    QVERIFY2(blocked >= 450 && blocked < 5000, qPrintable(QString::number(blocked)));
    QVERIFY2(single < 400, qPrintable(QString::number(single))); // no need to ask
}

void TstManagerPkgKit::tellsIdleOnce()
{
    QCOMPARE(idleTimer()->interval(), 30000);
    idleTimer()->setInterval(20);
    QSignalSpy idle(m_manager.data(), &Manager::packageManagerIdle);
    runForeign(text("Resolve"), 100);
    QVERIFY(idle.wait());
    QVERIFY(!idleTimer()->isActive());

    // Each empty list begins the time anew, a transaction stops it.
    idleTimer()->setTimerType(Qt::PreciseTimer); // a coarse one rounds
    idleTimer()->setInterval(600000);
    change({});
    QTRY_VERIFY(idleTimer()->remainingTime() < 599800);
    change({});
    QVERIFY(idleTimer()->remainingTime() > 599800);
    change({text("/1_a")});
    QVERIFY(!idleTimer()->isActive());
    QCOMPARE(idle.count(), 1);
}

void TstManagerPkgKit::passesTheRetryDelayOn()
{
    const auto info = Manager::PackageInformation::Ptr::create();
    info->name = info->file = text("old");
    m_manager->setRetryDelay(std::chrono::milliseconds(7));
    QScopedPointer<Transaction> install(m_manager->createInstallTransaction(text("foo"), info));
    QCOMPARE(info->name + info->file, QString());
    QCOMPARE(install->findChild<QTimer *>()->interval(), 7);
    QVERIFY(!install->parent());
    QCOMPARE(m_phone.calls(), QStringList{});
}

void TstManagerPkgKit::tellsTheDaemonToQuit()
{
    m_phone.clearLog();
    QTest::ignoreMessage(QtDebugMsg, "telling PackageKit daemon to quit");
    m_manager.reset();
    const QJsonObject told = m_phone.waitFor([](const QJsonObject &entry) {
        return entry[QLatin1String("role")].toString() == QLatin1String("SuggestDaemonQuit");
    });
    QVERIFY(!told.isEmpty());
}

QTEST_GUILESS_MAIN(TstManagerPkgKit)
#include "tst_managerpkgkit.moc"
