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
    void compareVersions_data();
    void compareVersions();
    void desktopFilesOfPackages_data();
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

void TstManagerPkgKit::compareVersions_data()
{
    QTest::addColumn<QString>("a");
    QTest::addColumn<QString>("b");
    QTest::addColumn<int>("sign");

    const auto row = [](const char *a, const char *b, int sign) {
        QTest::addRow("%s and %s", a, b) << QString::fromUtf8(a) << QString::fromUtf8(b) << sign;
    };
    row("1.0-1", "1.0-2", 0);
    row("1.10-1", "1.9-1", 1);
    row("1.0-1", "1.0.1-1", -1);
    row("1:1.0-1", "2.0-1", 1);
    row("2:1.0-1", "10:0.1-1", -1);
    row("1.0", "1.0-5", 0); // without a release
    row("1.0-rc1-3", "1.0-rc2-1", -1); // only the last part is one
    row("1-2:3.0-1", "3.0-1", 1); // an epoch may look odd
    row("1.0~beta-1", "1.0-1", -1);
    row("", "1-1", -1);
}

void TstManagerPkgKit::compareVersions()
{
    QFETCH(QString, a);
    QFETCH(QString, b);
    QFETCH(int, sign);
    const auto signOf = [](int value) { return (value > 0) - (value < 0); };
    QCOMPARE(signOf(m_manager->compareVersions(a, b)), sign);
    QCOMPARE(signOf(m_manager->compareVersions(b, a)), -sign);
}

void TstManagerPkgKit::desktopFilesOfPackages_data()
{
    QTest::addColumn<QString>("package");
    QTest::addColumn<bool>("found");

    const auto row = [](const char *package, bool found) {
        QTest::newRow(package) << QString::fromLatin1(package) << found;
    };
    row("orvik-notes", true);
    row("/a-1/b/orvik-notes-1.2.3-1.armv7hl.rpm", true);
    row("/orvik-notes", true);
    row("/orvik-notes-2bar-1.0-1.rpm", true); // a digit behind "-" begins the version
    row("/orvik-notes.bar-1.0-1.rpm", false);
    row("orvik-notes-1.2.3-1.armv7hl.rpm", false); // no path, no file
    row("/a/", false);
    row("", false);
}

void TstManagerPkgKit::desktopFilesOfPackages()
{
    QFETCH(QString, package);
    QFETCH(bool, found);
    const QStringList files = m_manager->packageDesktopFiles(package);
    QCOMPARE(!files.isEmpty(), found);
    for (const QString &file : files)
        QCOMPARE(m_manager->packageNameByDesktopFile(file), text("orvik-notes"));
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
