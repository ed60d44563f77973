#include "handlerjournal.h"

#include <QTemporaryFile>
#include <QTest>

#include <functional>

namespace {

const QString version = QStringLiteral("3.4.0.7");

} // namespace

using Request = std::function<void(PackageHandler *)>;
Q_DECLARE_METATYPE(Request)

/** How the package handler checks for, sizes, downloads and installs OS updates. */
class TstOsUpdateControl : public HandlerTest
{
    Q_OBJECT

private Q_SLOTS:
    void normalizesVersions_data();
    void normalizesVersions();
    void answers_data();
    void answers();
    void checksAreNotDoubled();
    void upgrade_data();
    void upgrade();
    void downloadGivesWay_data();
    void downloadGivesWay();
    void downloadResumes();
    void abortedDownloadEndsTwice();
    void onlyDownloadsGiveWay();

private:
    /** Starts a download that goes on until a test ends it. */
    void download();
};

void TstOsUpdateControl::download()
{
    m_handler->downloadOsUpdate(version);
    find("download")->endsOnCancel = false;
}

void TstOsUpdateControl::normalizesVersions_data()
{
    QTest::addColumn<QString>("normalized");

    QTest::newRow("1.2.3-4.0") << "1.2.3.4";
    QTest::newRow("1.2.3.4-5.6") << "1.2.3.4.6";
    QTest::newRow("1.2.3.4-5.0") << "1.2.3.4.5";
    QTest::newRow("1.2.3.4-0") << "1.2.3.4.0";
    QTest::newRow("1.2.3-0.0") << "1.2.3.0";
    QTest::newRow("1.2-3.x") << "1.2.3";
    QTest::newRow("1-2-3") << "1.0";
    QTest::newRow("3.4") << "3.4";
    QTest::newRow("-") << ".0";
    QTest::newRow("") << "";
}

void TstOsUpdateControl::normalizesVersions()
{
    QFETCH(const QString, normalized);
    QCOMPARE(normalizeOsVersion(text(QTest::currentDataTag())), normalized);
}

void TstOsUpdateControl::answers_data()
{
    QTest::addColumn<QString>("job");
    QTest::addColumn<bool>("success");
    QTest::addColumn<QString>("journal");

    // Fields of the offer: version, summary, download, install and removed size, downloaded
    QTest::newRow("found") << "check refreshed" << true
                           << "upgrade-status 3; os-info 3.4.0.7 news -1 -1 0 false true";
    QTest::newRow("nothing, or failed")
        << "check refreshed" << false << "upgrade-status 1; os-info   0 0 0 false true";
    QTest::newRow("sized") << "size" << true << "upgrade-status 3; os-size 10000000000 -5 0";
    QTest::newRow("not sized") << "size" << false
                               << "upgrade-status 0; error "
                                  "orvik-store-no-error_os_update_size_failed; os-size 0 0 0";
}

void TstOsUpdateControl::answers()
{
    QFETCH(const QString, job);
    QFETCH(const bool, success);
    QFETCH(const QString, journal);

    if (job == text("size")) {
        m_handler->getOsUpdateSize(version);
        QCOMPARE(m_journal->take(),
                 text("isolate size version=3.4.0.7 restore=yes ; "
                      "upgrade-status 4; start isolated size; start size"));
    } else {
        m_handler->checkForOsUpdate(true);
        QCOMPARE(m_journal->take(), text("upgrade-status 2; start check refreshed"));
    }
    Package::Manager::UpgradeInformation &upgrade = *find(job)->upgrade;
    upgrade = {text("3.4.0-7.0"), text("news"), 10000000000, -5, 0};
    if (success)
        find(job)->succeed();
    else
        find(job)->fail(text("details"));
    QCOMPARE(m_journal->take(), journal);
    QCOMPARE(m_handler->upgradeVersion(), text("3.4.0-7.0"));
    QVERIFY(!m_handler->isBusy());
}

void TstOsUpdateControl::checksAreNotDoubled()
{
    m_handler->uninstall(text("foo"), false);
    m_handler->checkForOsUpdate(false);
    m_handler->getOsUpdateSize(version);
    for (int state = 0; state < 2; ++state) {
        m_journal->entries.clear();
        QTest::ignoreMessage(QtDebugMsg, "-- already issued");
        m_handler->checkForOsUpdate(true);
        QTest::ignoreMessage(QtDebugMsg, "-- already issued");
        m_handler->getOsUpdateSize(version);
        QCOMPARE(m_journal->take(), QString());
        if (state == 0)
            find("remove foo")->finish(); // and the check runs
    }
    find("check")->finish();
    find("size")->succeed();
    m_journal->entries.clear();
    m_handler->checkForOsUpdate(false);
    QCOMPARE(m_journal->take(), text("upgrade-status 2; start check"));
}

void TstOsUpdateControl::upgrade_data()
{
    QTest::addColumn<bool>("download");
    QTest::addColumn<QVector<int>>("progress");
    QTest::addColumn<QString>("failure"); // empty: it succeeds
    QTest::addColumn<QString>("journal");

    const QString done = text("upgrade-progress 100; upgrade-result true false");
    QTest::newRow("downloaded") << true << QVector<int>{50} << ""
                                << text("upgrade-progress 50; ") + done;
    QTest::newRow("downloaded to the last percent") << true << QVector<int>{100} << "" << done;
    QTest::newRow("downloaded at once") << true << QVector<int>{} << "" << done;
    QTest::newRow("installed") << false << QVector<int>{-1} << ""
                               << text("upgrade-progress -1; ") + done;
    // The isolation around it reports success all the same, which must not be heard.
    const QString failed = text(
        "error orvik-store-no-error_os_update_failed; upgrade-progress 0; upgrade-result false ");
    QTest::newRow("not downloaded") << true << QVector<int>{50} << "details"
                                    << text("upgrade-progress 50; ") + failed + text("false");
    QTest::newRow("no room") << true << QVector<int>{} << "disk full: 20 MB"
                             << failed + text("true");
    QTest::newRow("not installed") << false << QVector<int>{-1} << "no disk full: at all"
                                   << text("upgrade-progress -1; ") + failed + text("false");
}

void TstOsUpdateControl::upgrade()
{
    QFETCH(const bool, download);
    QFETCH(const QVector<int>, progress);
    QFETCH(const QString, failure);
    QFETCH(const QString, journal);

    if (download)
        m_handler->downloadOsUpdate(version);
    else
        m_handler->installOsUpdate(version);
    QCOMPARE(m_journal->take(),
             text(download ? "upgrade-progress 1; isolate download version=3.4.0.7 restore=yes ; "
                             "start isolated download; start download"
                           : "isolate upgrade version=3.4.0.7 restore=no ; "
                             "start isolated upgrade; start upgrade"));
    ScriptedTransaction *transaction = find(download ? "download" : "upgrade");
    for (int value : progress)
        Q_EMIT transaction->progress(value);
    if (failure.isEmpty())
        transaction->succeed();
    else
        transaction->fail(failure);
    QCOMPARE(m_journal->take(), journal);
    QVERIFY(!m_handler->isBusy());
}

void TstOsUpdateControl::downloadGivesWay_data()
{
    QTest::addColumn<Request>("request"); // null: another program's
    QTest::addColumn<bool>("interrupts");
    QTest::addColumn<QString>("started"); // after the download has ended

    const auto row = [](const char *name, const Request &request, bool interrupts,
                        const char *started) {
        QTest::newRow(name) << request << interrupts << text(started);
    };
    row(
        "an install", [](PackageHandler *handler) { handler->install(text("foo")); }, true,
        "start isolated install foo; start install foo");
    row(
        "a removal", [](PackageHandler *handler) { handler->uninstall(text("foo"), false); }, true,
        "start remove foo");
    row(
        "a list", [](PackageHandler *handler) { handler->refreshPackages(); }, true, "start list");
    row("somebody else", nullptr, true, "");
    row(
        "a lookup for a removal",
        [](PackageHandler *handler) {
            QTemporaryFile launcher;
            QVERIFY(launcher.open());
            handler->uninstallByDesktopFile(launcher.fileName());
        },
        true, "");
    row(
        "a package file", [](PackageHandler *handler) { handler->packageInfo(text("/foo.rpm")); },
        false, "");
    row(
        "a question for files", [](PackageHandler *handler) { handler->packageFiles(text("foo")); },
        false, "start files foo");
    row(
        "a lookup", [](PackageHandler *handler) { handler->resolvePackageName(text("/foo")); },
        false, "");
    row(
        "a check", [](PackageHandler *handler) { handler->checkForOsUpdate(false); }, false,
        "upgrade-status 2; start check");
    row(
        "a size", [](PackageHandler *handler) { handler->getOsUpdateSize(version); }, false,
        "upgrade-status 4; start isolated size; start size");
}

void TstOsUpdateControl::downloadGivesWay()
{
    QFETCH(const Request, request);
    QFETCH(const bool, interrupts);
    QFETCH(const QString, started);

    download();
    if (request)
        request(m_handler.get());
    else
        Q_EMIT m_manager->packageManagerForeignRequested();
    QCOMPARE(m_journal->entries.count(text("cancel download")), interrupts ? 1 : 0);
    if (interrupts)
        Q_EMIT m_manager->packageManagerForeignRequested();
    QCOMPARE(m_journal->entries.count(text("cancel download")), interrupts ? 1 : 0);
    QVERIFY(!m_journal->entries.contains(text("start list")));

    // The interrupted download ends in a failure that reaches nobody.
    m_journal->entries.clear();
    if (interrupts)
        QTest::ignoreMessage(QtDebugMsg, "OS update download was interrupted.");
    Q_EMIT find("download")->failure(text("cancelled"));
    QCOMPARE(m_journal->take().isEmpty(), interrupts);
    find("isolated download")->finish();
    QCOMPARE(m_journal->take(), started);
    QCOMPARE(m_handler->isBusy(), interrupts || !started.isEmpty());
    QCOMPARE(m_handler->upgradeProgress(), interrupts ? 1 : 0);
}

void TstOsUpdateControl::downloadResumes()
{
    download();
    Q_EMIT find("download")->progress(40);
    m_handler->uninstall(text("foo"), false);
    find("isolated download")->finish();
    m_journal->entries.clear();

    Q_EMIT m_manager->packageManagerIdle();
    QCOMPARE(m_journal->take(), QString()); // the removal runs
    find("remove foo")->finish();
    QVERIFY(m_handler->isBusy());
    Q_EMIT m_manager->packageManagerIdle();
    QCOMPARE(m_journal->take(),
             text("upgrade-progress 1; isolate download version=3.4.0.7 restore=yes ; "
                  "start isolated download; start download"));
    // It may be interrupted again, and an idle daemon finds nothing more to resume.
    find("download")->endsOnCancel = false;
    Q_EMIT m_manager->packageManagerForeignRequested();
    QVERIFY(m_journal->take().contains(text("cancel download")));
    find("isolated download")->finish();
    Q_EMIT m_manager->packageManagerIdle();
    find("download")->succeed();
    m_journal->entries.clear();
    Q_EMIT m_manager->packageManagerIdle();
    QCOMPARE(m_journal->take(), QString());
    QVERIFY(!m_handler->isBusy());
}

void TstOsUpdateControl::abortedDownloadEndsTwice()
{
    // An isolation without anything to restore tells its end once more behind its failure.
    const MissingRepositoriesText translation;
    download();
    m_handler->packageFiles(text("a"));
    m_handler->packageFiles(text("b"));
    m_journal->entries.clear();
    const QPointer<ScriptedTransaction> dropped = find("files b");
    ScriptedTransaction *isolated = find("isolated download");
    Q_EMIT isolated->finished();
    Q_EMIT isolated->failure(text("store"));
    Q_EMIT isolated->finished();
    QCOMPARE(m_journal->take(), text("start files a; error missing: store"));
    QVERIFY(!m_handler->isBusy());
    // What had begun meanwhile is nobody's job any more.
    find("files a")->succeed();
    QCOMPARE(m_journal->take(), text("files  "));
    QVERIFY(dropped && !dropped->isStarted);
}

void TstOsUpdateControl::onlyDownloadsGiveWay()
{
    m_handler->setUpgradeProgress(100); // a mark, which nobody hears of
    QCOMPARE(m_handler->upgradeProgress(), 100);
    QCOMPARE(m_journal->take(), QString());
    m_handler->installOsUpdate(version);
    m_handler->refreshPackages();
    Q_EMIT m_manager->packageManagerForeignRequested();
    QVERIFY(!m_journal->take().contains(text("cancel")));
}

QTEST_GUILESS_MAIN(TstOsUpdateControl)
#include "tst_osupdatecontrol.moc"
