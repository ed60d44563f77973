#include "package/steppkgkit.h"
#include "packagephone.h"

#include <QtTest>

#include <functional>

using Package::StepPkgKit;
using Pk = PackageKit::Transaction;
using Script = PackagePhone::Script;

using Call = std::function<void(StepPkgKit *)>;
Q_DECLARE_METATYPE(Call)

namespace {

const QString noDaemon =
    text("error 4 The name org.freedesktop.PackageKit was not provided by any .service files");
const QStringList resolved{text("package orvik-notes"), text("finished 1")};
const Script noService{{{text("no daemon"), true}}};
const QRegularExpression end(text("^(?!at )"));

void resolveNotes(StepPkgKit *step)
{
    step->resolve(text("orvik-notes"), Pk::FilterInstalled);
}

void installMissingFile(StepPkgKit *step)
{
    step->installFile(text("/no/such.rpm"), Pk::TransactionFlagOnlyTrusted);
}

void cancelAtOnce(StepPkgKit *step)
{
    step->upgradeSystem(text("orvik-configuration-fjord"), Pk::UpgradeKindMinimal);
    step->cancel();
}

} // namespace

/** What the transactions rely on, and the library's own object doesn't give. */
class TstStepPkgKit : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init();
    void tellsEachEndOnce_data();
    void tellsEachEndOnce();
    void survivesDeletionAnywhere_data();
    void survivesDeletionAnywhere();
    void carriesOutWhatItWasToldThoughDeleted();
    void tellsItsLastPercentageBeforeTheEnd();

private:
    /** Tells the daemon what to do, or ends it for good. */
    void script(const Script &faults);
    /** Makes a step, carries out @p call and waits for its end. */
    StepPkgKit *run(const Call &call);

    PackagePhone m_phone;
    QObject m_parent; // of the steps
    QStringList m_told;
};

void TstStepPkgKit::init()
{
    m_phone.reset();
}

void TstStepPkgKit::script(const Script &faults)
{
    if (faults == noService)
        m_phone.killForGood();
    else
        m_phone.script(faults);
}

StepPkgKit *TstStepPkgKit::run(const Call &call)
{
    m_told.clear();
    auto *step = new StepPkgKit(&m_parent);
    connect(step, &StepPkgKit::finished, this,
            [this](Pk::Exit exit) { m_told.append(text("finished %1").arg(exit)); });
    connect(step, &StepPkgKit::errorCode, this, [this](Pk::Error error, const QString &details) {
        m_told.append(text("error %1 %2").arg(error).arg(details));
    });
    connect(step, &StepPkgKit::package, this, [this](Pk::Info, const QString &id) {
        m_told.append(text("package ") + Pk::packageName(id));
    });
    connect(step, &StepPkgKit::changed, this, [this, step] {
        if (step->percentage() != 101)
            m_told.append(text("at %1").arg(step->percentage()));
    });
    QSignalSpy finished(step, &StepPkgKit::finished);
    call(step);
    if (!finished.wait())
        m_told.append(text("no end"));
    return step;
}

void TstStepPkgKit::tellsEachEndOnce_data()
{
    QTest::addColumn<Call>("call");
    QTest::addColumn<Script>("script");
    QTest::addColumn<QStringList>("told");

    const auto row = [](const char *name, const Call &call, const Script &script,
                        const QStringList &told) { QTest::newRow(name) << call << script << told; };
    row("success", resolveNotes, {}, resolved);
    row("refused: the reason first, then one end", installMissingFile, {},
        {text("error 4 File /no/such.rpm is not found or unsupported"), text("finished 2")});
    row("error", resolveNotes, {failing("Resolve", 8, "gone")},
        {text("error 8 gone"), text("finished 2")});
    row("no error, only an exit", resolveNotes, {ending("Resolve", 6)}, {text("finished 6")});
    row("an end without a reason that never gets one", resolveNotes, {ending("Resolve", 0)},
        {text("finished 0")});
    row("signals behind the end are lost", resolveNotes,
        {with(canned("Resolve"), "late",
              QJsonArray{QJsonArray{text("ErrorCode"), 8, text("late")},
                         QJsonArray{text("Finished"), 2, 0}})},
        {text("finished 1")});
    row("the daemon dies", resolveNotes, {dying("Resolve", "running")},
        {text("error 21 "), text("finished 6")});
    row("the daemon dies behind the end", resolveNotes, {dying("Resolve", "end")},
        {text("finished 1")});
    row("cancelled before the daemon has begun", cancelAtOnce,
        {with(canned("UpgradeSystem"), "ms", 60000)}, {text("error 17 "), text("finished 3")});
    const QStringList nobody{noDaemon, text("finished 2")};
    row("no daemon: question", resolveNotes, noService, nobody);
    row("no daemon: change", installMissingFile, noService, nobody);
    row("no daemon: cancelled at once", cancelAtOnce, noService, nobody);
}

void TstStepPkgKit::tellsEachEndOnce()
{
    QFETCH(Call, call);
    QFETCH(Script, script);
    QFETCH(QStringList, told);
    this->script(script);
    run(call);
    // The answer to a later question, or the daemon's end, is behind all that it had to say.
    const bool dies = !script.isEmpty() && script.first().contains(text("die"));
    if (dies)
        QTRY_VERIFY(!m_phone.isRunning());
    else if (m_phone.isRunning())
        static_cast<void>(m_phone.calls());
    QCoreApplication::processEvents();
    m_told = m_told.filter(end);
    if (told.first().endsWith(QLatin1Char(' '))) // with words of the library's or the daemon's own
        m_told.first().truncate(told.first().size());
    QCOMPARE(m_told.join(QLatin1Char('|')), told.join(QLatin1Char('|')));
}

void TstStepPkgKit::survivesDeletionAnywhere_data()
{
    QTest::addColumn<Call>("call");
    QTest::addColumn<Script>("script");

    QTest::newRow("refused") << Call(installMissingFile) << Script{};
    QTest::newRow("error") << Call(resolveNotes)
                           << Script{with(failing("*", 8, "gone"), "times", -1)};
    QTest::newRow("daemon dies, success behind it")
        << Call(resolveNotes) << Script{dying("Resolve", "running")};
    QTest::newRow("no daemon") << Call(resolveNotes) << noService;
}

void TstStepPkgKit::survivesDeletionAnywhere()
{
    QFETCH(Call, call);
    QFETCH(Script, script);
    this->script(script);

    QObject parent;
    for (int round = 0; round < 10; ++round) {
        QVector<StepPkgKit *> made;
        for (int i = 0; i < 5; ++i)
            made.append(new StepPkgKit(&parent));
        connect(made[0], &StepPkgKit::finished, this, [step = made[0]] { delete step; });
        connect(made[1], &StepPkgKit::errorCode, this, [step = made[1]] { delete step; });
        connect(made[2], &StepPkgKit::changed, this, [step = made[2]] { delete step; });
        connect(made[3], &StepPkgKit::package, this, [step = made[3]] { delete step; });
        for (int i = 1; i < 4; ++i) // where that signal doesn't come
            connect(made[i], &StepPkgKit::finished, made[i], &QObject::deleteLater);
        for (StepPkgKit *step : qAsConst(made))
            call(step);
        QTimer::singleShot(round, &parent, [step = made[4]] { delete step; });
        QTRY_VERIFY(parent.findChildren<StepPkgKit *>().isEmpty());
    }
    // Nothing of what was let go is in the way of the next question.
    m_phone.reset();
    run(resolveNotes);
    QCOMPARE(m_told.filter(end), resolved);
}

void TstStepPkgKit::carriesOutWhatItWasToldThoughDeleted()
{
    auto *step = new StepPkgKit(this);
    step->repoEnable(text("oss"), false);
    delete step;
    QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
    QTRY_VERIFY(!m_phone.enabledRepositories().contains(text("oss")));
}

void TstStepPkgKit::tellsItsLastPercentageBeforeTheEnd()
{
    // The last one is told in the same breath as the end.
    const QJsonArray values{1, 2, 3, 4, 5, 6, 7, 8, 9, 42};
    m_phone.script({with(with(canned("Resolve"), "percentages", values), "ms", 10)});
    const StepPkgKit *step = run(resolveNotes);
    QCOMPARE(m_told.mid(m_told.size() - 2), (QStringList{text("at 42"), text("finished 1")}));
    // The library's object is gone by now, its last values are not.
    QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
    QCOMPARE(step->percentage(), 42U);
}

QTEST_GUILESS_MAIN(TstStepPkgKit)
#include "tst_steppkgkit.moc"
