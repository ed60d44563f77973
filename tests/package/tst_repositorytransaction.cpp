#include "package/repositorytransactionpkgkit.h"
#include "packagephone.h"
#include "platform/rdm.h"
#include "transactionrecorder.h"

#include <QtTest>

using namespace Package;

using Script = PackagePhone::Script;

namespace {

const QString oldRelease = text("3.2.1.20");
const QString newRelease = text("3.3.0.16");

QStringList words(const char *text)
{
    return QString::fromLatin1(text).split(QLatin1Char(' '), Qt::SkipEmptyParts);
}

const QStringList os = words("branwick hotfixes adaptation store");

/** Something to run in isolation, in the hands of the test. */
class Wrapped : public Transaction
{
    Q_OBJECT

public:
    explicit Wrapped(bool releases)
        : m_releases(releases)
    { }

    void start() override { Q_EMIT started(); }
    [[nodiscard]] bool releasesRepositoriesAtStart() const override { return m_releases; }
    void endAs(bool well)
    {
        if (well)
            succeed();
        else
            fail(text("wrapped"));
    }

Q_SIGNALS:
    void started();

private:
    bool m_releases;
};

} // namespace

/**
 * Isolation, with what it runs in the hands of the test. The phone's repositories are, in
 * the order in which they are handled: adaptation, branwick, hotfixes, nightly (disabled),
 * non-oss, oss, store, user-extra.
 */
class TstRepositoryTransaction : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init();
    void course_data();
    void course();
    void fastPass_data();
    void fastPass();
    void endCutsTheSlowPassOff();
    void release_data();
    void release();
    void addsWhatIsMissing();

private:
    void create(bool releasesAtStart, const QStringList &required = os,
                const QString &version = QString(), bool restoreVersion = false);
    /** Starts the transaction; what is wrapped has started, too, when this returns. */
    void start();
    [[nodiscard]] QStringList switches();
    QStringList releaseManagerCalls();

    PackagePhone m_phone;
    SimulatorClient m_services{text("Services")};
    QPointer<Wrapped> m_wrapped;
    Transaction *m_transaction = nullptr;
    QScopedPointer<TransactionRecorder> m_recorder;
    QScopedPointer<TransactionRecorder> m_wrappedRecorder;
    QStringList m_enabledAtStart; // of the wrapped transaction
    QString m_releaseAtStart;
    bool m_started = false;
};

void TstRepositoryTransaction::init()
{
    m_recorder.reset();
    m_wrappedRecorder.reset();
    m_phone.reset();
    m_services.command(text("reset"));
    m_services.clearLog();
    m_started = false;
}

void TstRepositoryTransaction::create(bool releasesAtStart, const QStringList &required,
                                      const QString &version, bool restoreVersion)
{
    m_wrapped = new Wrapped(releasesAtStart);
    m_wrappedRecorder.reset(new TransactionRecorder(m_wrapped));
    connect(m_wrapped, &Wrapped::started, this, [this] { m_started = true; });
    m_transaction = new RepositoryTransactionPkgKit(m_wrapped, version, restoreVersion, required);
    m_recorder.reset(new TransactionRecorder(m_transaction));
}

void TstRepositoryTransaction::start()
{
    m_transaction->start();
    QTRY_VERIFY(m_started);
    m_enabledAtStart = m_phone.enabledRepositories();
    m_releaseAtStart = Rdm().release(false);
}

/** What was switched, such as "-oss" and "+oss". */
QStringList TstRepositoryTransaction::switches()
{
    QStringList texts;
    for (const QString &call : m_phone.calls(text("RepoEnable"))) {
        const QString arguments = call.section(QLatin1Char('('), 1).chopped(1);
        const bool on = arguments.endsWith(QLatin1String("true"));
        texts.append(QLatin1Char(on ? '+' : '-') + arguments.section(QLatin1Char(','), 0, 0));
    }
    return texts;
}

QStringList TstRepositoryTransaction::releaseManagerCalls()
{
    QStringList texts;
    const QJsonArray entries = m_services.entries();
    for (const QJsonValue &entry : entries) {
        QStringList parts{entry[QLatin1String("kind")].toString()};
        parts += entry[QLatin1String("arguments")].toVariant().toStringList();
        if (parts.first().startsWith(QLatin1String("rdm.")))
            texts.append(parts.join(QLatin1Char(' ')).mid(4));
    }
    return texts;
}

void TstRepositoryTransaction::course_data()
{
    QTest::addColumn<bool>("releasesAtStart");
    QTest::addColumn<QJsonObject>("fault");
    QTest::addColumn<QString>("act"); // empty: what is wrapped never runs
    QTest::addColumn<QStringList>("told");
    QTest::addColumn<QString>("switched");
    QTest::addColumn<QStringList>("required");

    const auto row = [](const char *name, bool releasesAtStart, const QJsonObject &fault,
                        const char *act, const QStringList &told, const char *switched,
                        const QStringList &required = os) {
        QTest::newRow(name) << releasesAtStart << fault << text(act) << told << text(switched)
                            << required;
    };
    const QStringList twice = QStringList{text("success")} + succeeded;
    const QStringList none{text("finished")};
    const char *all = "-non-oss -oss -user-extra +non-oss +oss +user-extra";
    const QJsonObject disk = failing("RepoEnable", 28, "disk");
    const QJsonObject second = with(disk, "skip", 1);
    const QJsonObject listing = with(canned("GetRepoList"), "hang", true);
    const QJsonObject isolating = with(with(canned("RepoEnable"), "hang", true), "skip", 1);
    row("one that was disabled is left alone", false, {}, "succeed", twice, all);
    row("a failure inside is a success of the restoring", false, {}, "fail", succeeded, all);
    row("the name counts letter for letter", false, {}, "succeed", twice, "-oss +oss",
        os + words("OSS non-oss user-extra nightly"));
    row("nothing but what is required", false, {}, "succeed", twice, "",
        os + words("non-oss oss user-extra nightly"));
    row("one that can't be put back is passed over", false, with(disk, "skip", 3), "succeed", twice,
        all);
    row("a list that fails is an empty list", false, failing("GetRepoList", 4, "no"), "succeed",
        twice, "");

    row("the first fails: restoring begins, and comes no further", false, disk, "",
        failed("non-oss"), "-non-oss +non-oss");
    row("the second fails", false, second, "", failed("oss"), "-non-oss -oss +non-oss");
    row("an exit without an error", false, with(ending("RepoEnable", 2), "skip", 1), "",
        failed("oss"), "-non-oss -oss +non-oss");
    row("inside releases at the start: two ends, nothing put back", true, second, "",
        none + failed("oss"), "-non-oss -oss");

    row("cancelled while listing", false, listing, "cancel", succeeded, "");
    row("listing, inside releases at the start", true, listing, "cancel", none, "");
    row("isolating", false, isolating, "cancel", succeeded,
        "-non-oss -oss +non-oss +oss +user-extra");
    row("isolating, inside releases at the start", true, isolating, "cancel", none,
        "-non-oss -oss");
    row("running", false, {}, "cancel", succeeded, all);
}

void TstRepositoryTransaction::course()
{
    QFETCH(bool, releasesAtStart);
    QFETCH(QJsonObject, fault);
    QFETCH(QString, act);
    QFETCH(QStringList, told);
    QFETCH(QString, switched);
    QFETCH(QStringList, required);
    if (!fault.isEmpty())
        m_phone.script({fault});
    create(releasesAtStart, required, newRelease);
    m_transaction->start();
    if (fault.contains(text("hang"))) {
        const QString role = fault[text("role")].toString();
        QTRY_COMPARE(m_phone.calls(role).size(), 1 + fault[text("skip")].toInt());
    } else if (!act.isEmpty()) {
        QTRY_VERIFY(m_started);
        QCOMPARE(switches().join(QLatin1Char(' ')), switched.section(text(" +"), 0, 0));
    }
    if (act == text("cancel"))
        m_transaction->cancel();
    else if (!act.isEmpty())
        m_wrapped->endAs(act == text("succeed"));
    QTRY_VERIFY(m_recorder->isGone());
    QCOMPARE(m_recorder->told(), told);
    QCOMPARE(m_wrappedRecorder->told(),
             act == text("succeed")    ? succeeded
                 : act == text("fail") ? failed("wrapped")
                                       : failed("cancelled"));
    QCOMPARE(Rdm().release(false), act == text("succeed") ? newRelease : oldRelease);
    // A switch that has begun is told to the daemon, though nobody waits for it any more.
    QTRY_COMPARE(switches().join(QLatin1Char(' ')), switched);
}

void TstRepositoryTransaction::fastPass_data()
{
    QTest::addColumn<QString>("disabled");
    QTest::addColumn<QStringList>("restoring");
    QTest::addColumn<bool>("restoreVersion");

    QTest::newRow("all at once, and the end comes from what is wrapped")
        << QString() << words("+nightly +non-oss +oss +user-extra") << true;
    QTest::newRow("slow behind the first that was disabled, and early at its end")
        << text("oss") << words("+nightly +non-oss +user-extra") << true;
    QTest::newRow("slow from the start, a failure behind the early end doesn't count")
        << text("nightly") << words("+non-oss +oss +user-extra") << false;
    QTest::newRow("slow with nothing left to do")
        << text("user-extra") << words("+nightly +non-oss +oss") << true;
}

void TstRepositoryTransaction::fastPass()
{
    QFETCH(QString, disabled);
    QFETCH(QStringList, restoring);
    QFETCH(bool, restoreVersion);
    for (const QString &name : words("nightly non-oss oss user-extra"))
        m_phone.command(text("repository"),
                        {{text("name"), name}, {text("enabled"), name != disabled}});
    const QStringList before = m_phone.enabledRepositories();
    const bool endsEarly = !disabled.isEmpty();

    create(true, os, newRelease, restoreVersion);
    start();
    QTRY_COMPARE(m_phone.enabledRepositories(), before);
    const QStringList all = switches();
    QStringList put = all.mid(restoring.size());
    // Those that started at once may overtake each other.
    put.sort();
    QCOMPARE(put, restoring);

    if (endsEarly)
        QTRY_VERIFY(m_recorder->isGone());
    QCOMPARE(m_wrappedRecorder->told(), QStringList{});
    QCOMPARE(m_recorder->told(), endsEarly ? succeeded : QStringList{});
    QCOMPARE(Rdm().release(false), endsEarly && restoreVersion ? oldRelease : newRelease);
    m_wrapped->endAs(restoreVersion);
    QCOMPARE(m_recorder->told(), succeeded);
    QCOMPARE(Rdm().release(false), restoreVersion ? oldRelease : newRelease);
    QTRY_VERIFY(m_recorder->isGone());
    QCOMPARE(switches(), all);
}

void TstRepositoryTransaction::endCutsTheSlowPassOff()
{
    m_phone.script({with(with(canned("RepoEnable"), "hang", true), "skip", 3)});
    create(true);
    start();
    QTRY_COMPARE(switches().size(), 4); // nightly was disabled, so they go one by one
    m_wrapped->endAs(true);
    QTRY_VERIFY(m_recorder->isGone());
    QCOMPARE(m_recorder->told(), succeeded); // the wrapped one's
    QCOMPARE(switches(), words("-non-oss -oss -user-extra +non-oss"));
}

void TstRepositoryTransaction::release_data()
{
    QTest::addColumn<QString>("version");
    QTest::addColumn<bool>("restoreVersion");
    QTest::addColumn<int>("mode");
    QTest::addColumn<bool>("endsWell");
    QTest::addColumn<QString>("releases"); // at the start and at the end of what is wrapped

    const QString untouched = oldRelease + text(" ") + oldRelease;
    const QString put = newRelease + text(" ") + oldRelease;
    const QString kept = newRelease + text(" ") + newRelease;
    QTest::newRow("stays after a success") << newRelease << false << 0 << true << kept;
    QTest::newRow("put back after a success where told to")
        << newRelease << true << 0 << true << put;
    QTest::newRow("put back after a failure") << newRelease << false << 0 << false << put;
    QTest::newRow("none wanted") << QString() << true << 0 << false << untouched;
    QTest::newRow("there already") << oldRelease << true << 0 << false << untouched;
    QTest::newRow("not in the mode without isolation")
        << newRelease << true << 2 << false << untouched;
    QTest::newRow("not with more bits either") << newRelease << true << 7 << false << untouched;
    QTest::newRow("other bits don't matter") << newRelease << true << 5 << true << put;
    QTest::newRow("no release manager answers") << newRelease << true << 0 << true << put;
}

void TstRepositoryTransaction::release()
{
    QFETCH(QString, version);
    QFETCH(bool, restoreVersion);
    QFETCH(int, mode);
    QFETCH(bool, endsWell);
    QFETCH(QString, releases);
    m_services.command(text("rdm"), {{text("release/mode"), mode}});
    const bool answers = QTest::currentDataTag() != QByteArray("no release manager answers");
    // Slow answers are waited for.
    m_services.command(text(answers ? "hang" : "error"),
                       {{text("method"), text("rdm.setRelease")},
                        {text("ms"), 50},
                        {text("name"), text("org.freedesktop.DBus.Error.ServiceUnknown")},
                        {text("text"), text("gone")}});
    create(false, os, version, restoreVersion);
    start();
    m_wrapped->endAs(endsWell);
    QTRY_VERIFY(m_recorder->isGone());
    QCOMPARE(m_releaseAtStart + text(" ") + Rdm().release(false), releases);
    QStringList calls;
    if (releases.startsWith(newRelease))
        calls.append(text("setRelease 3.3.0.16 false"));
    if (releases == newRelease + text(" ") + oldRelease)
        calls.append(text("setRelease 3.2.1.20 false"));
    QCOMPARE(releaseManagerCalls(), calls);
}

void TstRepositoryTransaction::addsWhatIsMissing()
{
    create(false, words("store brand-new hotfixes nightly"));
    start();
    QCOMPARE(releaseManagerCalls().join(QLatin1Char(',')),
             text("modifyRepo 1 brand-new,modifyRepo 3 brand-new,"
                  "modifyRepo 1 nightly,modifyRepo 3 nightly,updateRepos"));
    QCOMPARE(m_enabledAtStart, words("brand-new hotfixes nightly store"));
    m_wrapped->endAs(true);
    QTRY_VERIFY(m_recorder->isGone());
    // What was put right stays so.
    QVERIFY(m_phone.enabledRepositories().contains(text("nightly")));
}

QTEST_GUILESS_MAIN(TstRepositoryTransaction)
#include "tst_repositorytransaction.moc"
