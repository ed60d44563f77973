#include "handlerjournal.h"

#include <QDir>
#include <QTemporaryDir>
#include <QTest>

/** How the package handler checks for, sizes, downloads and installs OS updates. */
class TstOsUpdateControl : public HandlerTest
{
    Q_OBJECT

private Q_SLOTS:
    void normalizesVersions_data();
    void normalizesVersions();
    void answers_data();
    void answers();
    void scenario_data();
    void scenario();
    void downloadGivesWay_data();
    void downloadGivesWay();
    void abortedDownloadEndsTwice();
};

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
        m_handler->getOsUpdateSize(text("2"));
        QCOMPARE(m_journal->take(),
                 text("isolate size version=2 restore=yes ; "
                      "upgrade-status 4; start isolated size; start size"));
    } else {
        m_handler->checkForOsUpdate(true);
        QCOMPARE(m_journal->take(), text("upgrade-status 2; start check refreshed"));
    }
    *find(job)->upgrade = {text("3.4.0-7.0"), text("news"), 10000000000, -5, 0};
    play(text(success ? "succeed " : "fail ") + job);
    QCOMPARE(m_journal->take(), journal);
    QCOMPARE(m_handler->upgradeVersion(), text("3.4.0-7.0"));
    QVERIFY(!m_handler->isBusy());
}

void TstOsUpdateControl::scenario_data()
{
    QTest::addColumn<QString>("before");
    QTest::addColumn<QString>("then");
    QTest::addColumn<QString>("journal"); // of the latter
    QTest::addColumn<bool>("isBusy"); // at the end

    const auto row = [](const char *name, const QString &before, const char *then,
                        const QString &journal, bool isBusy) {
        QTest::newRow(name) << before << text(then) << journal << isBusy;
    };
    const QString nothing;
    row("a check that waits is not doubled", text("remove foo, check, size 2"), "check, size 2",
        nothing, true);
    row("nor one that runs", text("check"), "check", nothing, true);
    row("nor a size that runs", text("size 2"), "size 2", nothing, true);
    row("but done again", text("check, end check"), "check", text("upgrade-status 2; start check"),
        true);
    // Its repositories are missing, and the end of the first passes for that of the second.
    row("a size from where one has failed", text("size 2, at-error size 2"), "fail isolated size",
        text("error orvik-store-no-error_repositories_missing; isolate size version=2 restore=yes "
             "; upgrade-status 4; start isolated size; start size"),
        false);
    row("a mark is heard of by nobody", nothing, "mark 100", nothing, false);
    row("an install of the update does not give way", text("upgrade 2"), "list, foreign", nothing,
        true);

    row("to install keeps the release", nothing, "upgrade 2",
        text("isolate upgrade version=2 restore=no ; start isolated upgrade; start upgrade"), true);
    const QString done = text("upgrade-progress 100; upgrade-result true false");
    row("downloaded", text("download 2"), "progress 50 download, succeed download",
        text("upgrade-progress 50; ") + done, false);
    row("downloaded to the last percent", text("download 2"),
        "progress 100 download, succeed download", done, false);
    row("installed", text("upgrade 2"), "progress -1 upgrade, succeed upgrade",
        text("upgrade-progress -1; ") + done, false);
    // The isolation around it reports success all the same, which must not be heard.
    const QString failed = text(
        "error orvik-store-no-error_os_update_failed; upgrade-progress 0; upgrade-result false ");
    row("not downloaded", text("download 2"), "fail download", failed + text("false"), false);
    row("no room", text("download 2"), "fail download: disk full: 20 MB", failed + text("true"),
        false);
    row("not installed", text("upgrade 2"), "fail upgrade: no disk full: at all",
        failed + text("false"), false);

    const QString given = text("download 2, linger download, foreign, ");
    const QString again = text("upgrade-progress 1; isolate download version=2 restore=yes ; "
                               "start isolated download; start download");
    row("no resuming beside what runs",
        text("download 2, linger download, remove foo, end isolated download"), "idle", nothing,
        true);
    row("resumed", given + text("end isolated download"), "idle", again, true);
    row("once", given + text("end isolated download, idle"), "idle", nothing, true);
    row("interrupted again", given + text("end isolated download, idle, linger download"),
        "foreign, foreign", text("cancel isolated download; cancel download"), true);
    row("a success after all is one", given, "succeed isolated download, idle", done, false);
    row("and ends the interruption also where it has failed before", given + text("mark 0"),
        "succeed isolated download, idle", nothing, false);
    row("asked for once more before its end, that is a failure", given + text("download 3"),
        "cancelled download", failed + text("false"), true);
}

void TstOsUpdateControl::scenario()
{
    QFETCH(const QString, before);
    QFETCH(const QString, then);
    QFETCH(const QString, journal);
    QFETCH(const bool, isBusy);
    play(before);
    m_journal->entries.clear();
    play(then);
    QCOMPARE(m_journal->take(), journal);
    QCOMPARE(m_handler->isBusy(), isBusy);
}

void TstOsUpdateControl::downloadGivesWay_data()
{
    QTest::addColumn<QString>("request");
    QTest::addColumn<bool>("interrupts");
    QTest::addColumn<QString>("started"); // after the download has ended

    const auto row = [](const char *request, bool interrupts, const char *started) {
        QTest::newRow(request) << text(request) << interrupts << text(started);
    };
    row("install foo", true, "start isolated install foo; start install foo");
    row("remove foo", true, "start remove foo");
    row("list", true, "start list");
    row("foreign", true, "");
    row("remove-launcher %1/a.desktop", true, "");
    row("remove-launcher %1/applications/a.desktop", false, ""); // the user's own
    row("info /foo.rpm", false, "");
    row("files foo", false, "start files foo");
    row("name /foo", false, "");
    row("check", false, "upgrade-status 2; start check");
    row("size 2", false, "upgrade-status 4; start isolated size; start size");
}

void TstOsUpdateControl::downloadGivesWay()
{
    QFETCH(const QString, request);
    QFETCH(const bool, interrupts);
    QFETCH(const QString, started);
    const QTemporaryDir folder;
    qputenv("XDG_DATA_HOME", QFile::encodeName(folder.path()));
    QVERIFY(QDir(folder.path()).mkdir(text("applications")));
    for (const char *name : {"a.desktop", "applications/a.desktop"})
        QVERIFY(QFile(folder.filePath(text(name))).open(QIODevice::WriteOnly));

    play(text("download 2, linger download, ")
         + QString(request).replace(text("%1"), folder.path()));
    QCOMPARE(m_journal->entries.count(text("cancel download")), interrupts ? 1 : 0);
    QVERIFY(!m_journal->entries.contains(text("start list")));

    // The interrupted download ends in a failure that reaches nobody.
    m_journal->entries.clear();
    play(text("cancelled download"));
    QCOMPARE(m_journal->take().isEmpty(), interrupts);
    play(text("end isolated download"));
    QCOMPARE(m_journal->take(), started);
    QCOMPARE(m_handler->isBusy(), interrupts || !started.isEmpty());
    QCOMPARE(m_handler->upgradeProgress(), interrupts ? 1 : 0);
}

void TstOsUpdateControl::abortedDownloadEndsTwice()
{
    // An isolation without anything to restore tells its end once more behind its failure.
    play(text("download 2, files a, files b"));
    m_journal->entries.clear();
    const QPointer<ScriptedTransaction> dropped = find("files b");
    ScriptedTransaction *isolated = find("isolated download");
    Q_EMIT isolated->finished();
    Q_EMIT isolated->failure(text("store"));
    Q_EMIT isolated->finished();
    QCOMPARE(m_journal->take(),
             text("start files a; error orvik-store-no-error_repositories_missing"));
    QVERIFY(!m_handler->isBusy());
    // What had begun meanwhile is nobody's job any more.
    find("files a")->succeed();
    QCOMPARE(m_journal->take(), text("files  "));
    QVERIFY(dropped && !dropped->isStarted);
}

QTEST_GUILESS_MAIN(TstOsUpdateControl)
#include "tst_osupdatecontrol.moc"
