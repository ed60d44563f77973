#include "roadphone.h"

#include <QFile>
#include <QFileInfo>
#include <QRegularExpression>
#include <QSettings>
#include <QTest>

namespace {

const QString presentRelease = QStringLiteral("3.2.1.20");
const QString newRelease = QStringLiteral("3.3.0.12");
const QString installer = QStringLiteral("osupdate");
const QString none = QStringLiteral("osUpdateInfo 3.2.1.20 Lindmark -1 -1 -1");
const QString sized =
    QStringLiteral("osUpdateInfo 3.3.0.12 Saltholm 734003200 1258291200 943718400");
const QString downloadFailed = QStringLiteral("The system update failed. Try again later.");
const QString downloaded = QStringLiteral(
    "x-tesk.system-update-downloaded|System update downloaded||System update downloaded|");

/** A phone for which a release is out. */
QStringList offer()
{
    return lines({R"(Store osupdate {"version": "3.3.0.12", "code_name": "Saltholm"})",
                  R"(PackageKit offer-release {"release": "3.3.0.12"})"});
}

QString problem(const QString &text)
{
    return QStringLiteral("x-orvik.store.error|Problem in the store|%1|Problem in the store|%1")
        .arg(text);
}

QString progress(int value)
{
    return QStringLiteral("osUpdateProgressChanged %1").arg(value);
}

} // namespace

/** An OS update from the check to the new release, with all that comes in between. */
class TstOsUpdateRoad : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init();
    void cleanup() { m_phone.explainFailure(); }

    void check_data();
    void check();
    void download_data();
    void download();
    void reportedTooEarly();
    void killedAndStartedAgain();
    void killedWhileIsolating();
    void remembersTheDownload();
    void installsAtBoot_data();
    void installsAtBoot();

private:
    /** A ready client that has found and sized the new release. */
    void findUpdate();
    /** Whether sources and release are as before, and the daemon rests. */
    [[nodiscard]] bool isPutBack();
    /** Releases that the device was switched to since forget(). */
    [[nodiscard]] QStringList switches();
    [[nodiscard]] QVariant cached(const char *key);
    [[nodiscard]] QStringList osNotifications();

    RoadPhone m_phone;
    QStringList m_repositories; // those that are on in a phone as it starts
};

void TstOsUpdateRoad::init()
{
    m_phone.reset();
    // With one that is off a download is reported too early; one row below has it so.
    m_phone.enable({text("nightly")});
    m_repositories = m_phone.packages().enabledRepositories();
}

void TstOsUpdateRoad::findUpdate()
{
    m_phone.script(offer());
    QVERIFY(m_phone.startReady());
    QVERIFY(m_phone.call(text("checkForOsUpdate"), {true, true}));
    QVERIFY(m_phone.waitToHear(sized));
    QVERIFY(m_phone.waitUntil([this] { return isPutBack(); }));
    m_phone.forget();
}

bool TstOsUpdateRoad::isPutBack()
{
    return m_phone.isIdle() && RoadPhone::release() == presentRelease
        && m_phone.packages().enabledRepositories() == m_repositories;
}

QStringList TstOsUpdateRoad::switches()
{
    QStringList releases;
    const QJsonArray entries = m_phone.services().entries(text("rdm.setRelease"));
    for (const QJsonValue &entry : entries)
        releases.append(entry[QLatin1String("arguments")][0].toString());
    return releases;
}

QVariant TstOsUpdateRoad::cached(const char *key)
{
    const QSettings file(RoadPhone::cache().filePath(text("os-info")), QSettings::IniFormat);
    return file.value(QLatin1String(key));
}

QStringList TstOsUpdateRoad::osNotifications()
{
    return m_phone.published().filter(QRegularExpression(text("^x-tesk.system|error")));
}

void TstOsUpdateRoad::check_data()
{
    QTest::addColumn<QStringList>("setup");
    QTest::addColumn<QStringList>("heard");
    QTest::addColumn<QStringList>("published");
    QTest::addColumn<QString>("kept"); // version in the cache

    const QString offered = text("osUpdateInfo 3.3.0.12 Saltholm -1 0 0");
    const QString sizeless = text("osUpdateInfo 3.3.0.12 Saltholm 0 0 0");
    const QString sizeError = text("The size of the system update could not be found out.");
    const QString sourcesError = text("These software sources could not be switched: nightly");
    const QString shown = text("x-tesk.system-update|System update available|"
                               "Branwick OS 3.3.0.12|System update available|"
                               "Branwick OS 3.3.0.12");
    const QString older = text("3.2.1.19");
    const auto status = [](int value) { return text("osUpdateStatusChanged %1").arg(value); };
    // Nothing new is said before the details are there, and their sizes come last.
    const QStringList nothing{status(0), status(1), none};
    const QStringList sizing{status(2), offered, status(3)};

    QTest::newRow("a release is out") << offer() << nothing + sizing + QStringList{status(2), sized}
                                      << QStringList{shown} << newRelease;
    QTest::newRow("an older one counts as well")
        << lines({R"(Store osupdate {"version": "3.2.1.19", "code_name": "Saltholm"})"})
        << nothing
            + QStringList{status(2), text("osUpdateInfo 3.2.1.19 Saltholm -1 0 0"), status(3),
                          status(2), QString(sized).replace(newRelease, older)}
        << QStringList{QString(shown).replace(newRelease, older)} << older;
    QTest::newRow("nothing is out")
        << lines({"Store osupdate {}"}) << nothing << QStringList() << QString();
    QTest::newRow("the same is out") << lines({R"(Store osupdate {"version": "3.2.1.20"})"})
                                     << nothing << QStringList() << QString();
    QTest::newRow("its details are missing")
        << lines({R"(Store osupdate {"version": "3.3.0.12", "info": false})"}) << nothing
        << QStringList() << QString();
    QTest::newRow("its sizes can't be had")
        << offer() + lines({R"(PackageKit script {"role": "UpgradeSystem", "error": 44,
                                                  "text": "DOWNLOAD=1;INSTALL=2;REMOVE=3"})"})
        << nothing + sizing + QStringList{text("packageError ") + sizeError, status(2), sizeless}
        << QStringList{shown, problem(sizeError)} << newRelease;
    QTest::newRow("sources can't be switched")
        << offer()
            + lines({R"(PackageKit script {"role": "RepoEnable", "error": 27, "text": "no"})"})
        << nothing + sizing
            + QStringList{text("packageError ") + sizeError, status(2), sizeless,
                          text("packageError ") + sourcesError}
        << QStringList{shown, problem(sizeError), problem(sourcesError)} << newRelease;
    QTest::newRow("a device without isolation")
        << offer() + lines({R"(Services rdm {"release/mode": 2})"})
        << QStringList{status(0),
                       status(2),
                       text("osUpdateInfo 3.3.0.12 Lindmark -1 -1 0"),
                       status(3),
                       status(2),
                       QString(sized).replace(QLatin1String("Saltholm"), QLatin1String("Lindmark"))}
        << QStringList{shown} << newRelease;
}

void TstOsUpdateRoad::check()
{
    QFETCH(QStringList, setup);
    QFETCH(QStringList, heard);
    QFETCH(QStringList, published);
    QFETCH(QString, kept);
    m_phone.script(setup);
    QVERIFY(m_phone.startReady());
    m_phone.forget();
    QVERIFY(m_phone.call(text("checkForOsUpdate"), {true, true}));
    QVERIFY(m_phone.waitUntil([&] { return m_phone.heard().size() >= heard.size(); }));
    QVERIFY(m_phone.waitUntil([&] {
        return isPutBack() && cached("lastChecked").isValid()
            && osNotifications().size() >= published.size();
    }));
    QCOMPARE(m_phone.heard(), heard);
    QCOMPARE(osNotifications(), published);
    QCOMPARE(cached("version").toString(), kept);
    QCOMPARE(cached("downloaded").toBool(), false);
    const QFileInfo file(RoadPhone::cache().filePath(text("os-info")));
    QVERIFY(file.isFile());
    QCOMPARE(file.group(), text("privileged"));
}

void TstOsUpdateRoad::download_data()
{
    QTest::addColumn<QStringList>("before"); // told to the phone before the download
    QTest::addColumn<QString>("method"); // called in the middle of it
    QTest::addColumn<QVariantList>("arguments");
    QTest::addColumn<QStringList>("meanwhile"); // told to the phone in the middle of it
    QTest::addColumn<QString>("awaited"); // heard when all is over
    QTest::addColumn<int>("progress"); // last; -1 where it stopped
    QTest::addColumn<int>("attempts");
    QTest::addColumn<QStringList>("published");

    const auto row = [](const char *name, const QStringList &before, const char *method,
                        const QVariantList &arguments, const QStringList &meanwhile,
                        const QString &awaited, int last, int attempts,
                        const QStringList &published) {
        QTest::newRow(name) << before << text(method) << arguments << meanwhile << awaited << last
                            << attempts << published;
    };
    const QString failed = text("packageError ") + downloadFailed;
    const QStringList silence;

    row("undisturbed", {}, "", {}, {}, progress(100), 100, 1, {downloaded});
    row("the bearer goes", {}, "", {}, lines({R"(Services connman {"state": "idle"})"}),
        progress(100), 100, 1, {downloaded});
    row("an install", {}, "installPackage", {text("dicebag")}, {},
        text("installPackageResult dicebag true"), -1, 1, silence);
    row("a removal", {}, "removePackage", {text("orvik-calculator"), false}, {},
        text("removePackageResult orvik-calculator true"), -1, 1, silence);
    row("somebody else's work", {}, "", {},
        lines({R"(PackageKit foreign {"role": "InstallPackages", "ms": 50})"}), QString(), -1, 1,
        silence);
    row("somebody else's question", {}, "", {},
        lines({R"(PackageKit foreign {"role": "Resolve", "ms": 50})"}), QString(), -1, 1, silence);
    // Its record begins anew.
    row("the daemon dies", {}, "kill", {}, {}, progress(100), 100, 1, {downloaded});
    row("the connection breaks once",
        lines({R"(PackageKit script {"role": "UpgradeSystem", "error": 2, "at": "middle"})"}), "",
        {}, {}, progress(100), 100, 2, {downloaded});
    row("the connection breaks for good",
        lines({R"(PackageKit script {"role": "UpgradeSystem", "times": 4, "error": 2,
                                     "at": "middle"})"}),
        "", {}, {}, progress(0), 0, 4, {problem(downloadFailed)});
    row("the disk is full",
        lines({R"(PackageKit script {"role": "UpgradeSystem", "times": 4, "error": 46,
                                     "text": "2 GB missing"})"}),
        "", {}, {}, progress(0), 0, 4, {problem(downloadFailed)});
}

void TstOsUpdateRoad::download()
{
    QFETCH(QStringList, before);
    QFETCH(QString, method);
    QFETCH(QVariantList, arguments);
    QFETCH(QStringList, meanwhile);
    QFETCH(QString, awaited);
    QFETCH(int, progress);
    QFETCH(int, attempts);
    QFETCH(QStringList, published);
    findUpdate();
    m_phone.script(before);
    const bool isDisturbed = !method.isEmpty() || !meanwhile.isEmpty();
    m_phone.script(lines({R"(PackageKit timing {"upgrade-download": 1000})"}));
    QVERIFY(m_phone.call(text("downloadOsUpdate"), {newRelease}));
    if (isDisturbed) {
        QVERIFY(m_phone.waitToHear(::progress(10)));
        QCOMPARE(RoadPhone::release(), newRelease);
        m_phone.script(meanwhile);
        if (method == QLatin1String("kill"))
            m_phone.packages().kill();
        else if (!method.isEmpty())
            QVERIFY(m_phone.call(method, arguments));
    }
    QVERIFY(awaited.isEmpty() || m_phone.waitToHear(awaited));
    QVERIFY(m_phone.waitUntil([this] { return isPutBack(); }));

    const QStringList steps = m_phone.heard().filter(text("osUpdateProgressChanged"));
    QCOMPARE(steps.constFirst(), ::progress(1));
    QCOMPARE(steps.filter(::progress(100)).size(), progress == 100 ? 1 : 0);
    if (progress >= 0)
        QCOMPARE(steps.constLast(), ::progress(progress));
    QCOMPARE(m_phone.packages().calls(text("UpgradeSystem")).size(), attempts);
    QCOMPARE(osNotifications(), published);
    QCOMPARE(m_phone.heard().filter(text("packageError")).size(), progress == 0 ? 1 : 0);
    QCOMPARE(cached("downloaded").toBool(), progress == 100);
    QCOMPARE(switches(), (QStringList{newRelease, presentRelease}));
}

/** A source that is off from the start has the download reported as done at once. */
void TstOsUpdateRoad::reportedTooEarly()
{
    m_phone.script(lines({R"(PackageKit repository {"name": "nightly", "enabled": false})"}));
    m_repositories.removeAll(text("nightly"));
    findUpdate();
    m_phone.script(lines({R"(PackageKit timing {"upgrade-download": 500})"}));
    QVERIFY(m_phone.call(text("downloadOsUpdate"), {newRelease}));
    QVERIFY(m_phone.waitToHear(progress(91)));
    QVERIFY(m_phone.waitUntil([this] { return isPutBack(); }));
    const QStringList steps = m_phone.heard().filter(text("osUpdateProgressChanged"));
    QVERIFY(steps.indexOf(progress(100)) < steps.indexOf(progress(91)));
    QCOMPARE(steps.filter(progress(100)).size(), 1);
    QCOMPARE(osNotifications(), QStringList{downloaded});
    QVERIFY(cached("downloaded").toBool());
}

/** What a crash in the middle leaves, and that the next run gets over it. */
void TstOsUpdateRoad::killedAndStartedAgain()
{
    findUpdate();
    m_phone.script(lines({R"(PackageKit timing {"upgrade-download": 1000})"}));
    QVERIFY(m_phone.call(text("downloadOsUpdate"), {newRelease}));
    QVERIFY(m_phone.waitToHear(progress(10)));
    m_phone.killClient();
    // The sources were back already; nobody is left who puts the release back.
    QVERIFY(m_phone.waitUntil([this] { return m_phone.isIdle(); }));
    QCOMPARE(RoadPhone::release(), newRelease);
    QCOMPARE(m_phone.packages().enabledRepositories(), m_repositories);
    QCOMPARE(cached("version").toString(), newRelease);
    QVERIFY(!cached("downloaded").toBool());

    m_phone.forget();
    QVERIFY(m_phone.startReady());
    // The notification of the run before still stands.
    QCOMPARE(osNotifications(), QStringList());
    QVERIFY(m_phone.onShow().contains(text("x-tesk.system-update|Branwick OS 3.3.0.12")));
    QVERIFY(m_phone.call(text("checkForOsUpdate"), {true, true}));
    // The daemon has brought its work to an end all the same.
    QVERIFY(m_phone.waitToHear(text("osUpdateInfo 3.3.0.12 Saltholm 0 1258291200 943718400")));
    QVERIFY(m_phone.call(text("downloadOsUpdate"), {newRelease}));
    QVERIFY(m_phone.waitToHear(progress(100)));
    QVERIFY(m_phone.waitUntil([this] { return m_phone.isIdle(); }));
    QVERIFY(m_phone.waitUntil([this] { return cached("downloaded").toBool(); }));
    QCOMPARE(RoadPhone::release(), newRelease);
}

void TstOsUpdateRoad::killedWhileIsolating()
{
    findUpdate();
    m_phone.script(lines({R"(PackageKit script {"role": "RepoEnable", "skip": 2, "hang": true})"}));
    QVERIFY(m_phone.call(text("downloadOsUpdate"), {newRelease}));
    const auto hangs = [this] { return m_phone.packages().calls(text("RepoEnable")).size() == 3; };
    QVERIFY(m_phone.waitUntil(hangs));
    m_phone.killClient();
    m_repositories.removeAll(text("nightly"));
    m_repositories.removeAll(text("non-oss"));
    QCOMPARE(m_phone.packages().enabledRepositories(), m_repositories);
    QCOMPARE(RoadPhone::release(), newRelease);

    QVERIFY(m_phone.startReady());
    QVERIFY(m_phone.call(text("installPackage"), {text("dicebag")}));
    QVERIFY(m_phone.waitToHear(text("installPackageResult dicebag true")));
    const auto isBack = [this] {
        return m_phone.packages().enabledRepositories() == m_repositories;
    };
    QVERIFY(m_phone.waitUntil(isBack));
}

/** A release that lies on the device is not looked for again. */
void TstOsUpdateRoad::remembersTheDownload()
{
    findUpdate();
    QVERIFY(m_phone.call(text("downloadOsUpdate"), {newRelease}));
    QVERIFY(m_phone.waitToHear(progress(100)));
    QVERIFY(m_phone.waitUntil([this] { return isPutBack(); }));
    QVERIFY(m_phone.stopClient());
    m_phone.forget();
    QVERIFY(m_phone.startReady());
    QVERIFY(m_phone.call(text("checkForOsUpdate"), {true, true}));
    QVERIFY(m_phone.client()->waitForLog(
        text("System update already in progress. Check request ignored.")));
    QVERIFY(m_phone.call(text("checkForOsUpdate"), {false, false}));
    QVERIFY(m_phone.waitToHear(sized));
    QCOMPARE(m_phone.heard(), (QStringList{text("osUpdateStatusChanged 2"), progress(100), sized}));
    QCOMPARE(osNotifications(), QStringList());
}

void TstOsUpdateRoad::installsAtBoot_data()
{
    QTest::addColumn<QStringList>("setup");
    QTest::addColumn<bool>("succeeds");
    QTest::newRow("well") << lines({}) << true;
    QTest::newRow("fails") << lines(
        {R"(PackageKit script {"role": "UpgradeSystem", "error": 8, "at": "middle"})"})
                           << false;
    QTest::newRow("the disk is full")
        << lines({R"(PackageKit script {"role": "UpgradeSystem", "error": 46})"}) << false;
    QTest::newRow("the daemon dies")
        << lines({R"(PackageKit timing {"upgrade-install": 500})",
                  R"(PackageKit script {"role": "UpgradeSystem", "die": "running"})"})
        << false;
    QTest::newRow("sources can't be switched")
        << lines({R"(PackageKit script {"role": "RepoEnable", "error": 27})"}) << false;
}

/** The boot into the installer, with the phone's own scene for it. */
void TstOsUpdateRoad::installsAtBoot()
{
    QFETCH(QStringList, setup);
    QFETCH(bool, succeeds);
    findUpdate();
    QVERIFY(m_phone.call(text("downloadOsUpdate"), {newRelease}));
    QVERIFY(m_phone.waitToHear(progress(100)));
    QVERIFY(m_phone.waitUntil([this] { return isPutBack(); }));
    QVERIFY(m_phone.stopClient());
    m_phone.forget();
    m_phone.script(setup);

    QVERIFY(m_phone.startClient({installer}));
    // The scene lets the handler go when it has the result.
    QVERIFY(m_phone.client()->waitForLog(text("telling PackageKit daemon to quit")));
    QVERIFY(m_phone.waitUntil([this] { return m_phone.isIdle(); }));
    QCOMPARE(RoadPhone::release(), succeeds ? newRelease : presentRelease);
    QCOMPARE(m_phone.installedVersion(text("branwick-version")),
             succeeds ? text("3.3.0-12") : text("3.2.1-20"));
    QCOMPARE(switches(),
             succeeds ? QStringList{newRelease} : (QStringList{newRelease, presentRelease}));
    QCOMPARE(m_phone.packages().enabledRepositories(), m_repositories);
    // An update that lies there still can be tried again.
    QCOMPARE(cached("version").toString(), succeeds ? QString() : newRelease);
    QCOMPARE(cached("downloaded").toBool(), !succeeds);
    QCOMPARE(osNotifications(), QStringList());
}

QTEST_GUILESS_MAIN(TstOsUpdateRoad)
#include "tst_osupdateroad.moc"
