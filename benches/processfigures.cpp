// The process as a whole: its start, its first frame, commands that it forwards, its rest.

#include "clientresults.h"
#include "measure.h"
#include "phone.h"

#include <QDBusConnection>
#include <QDir>
#include <QFile>
#include <QThread>

namespace Bench {

namespace {

constexpr int startRounds = 11;
constexpr int callsPerRound = 300;
constexpr int idleSeconds = 20;
const QString client = QStringLiteral("kiosk-client");

double secondsToFirstFrame(const QString &program, const QStringList &arguments)
{
    QProcess process;
    process.setProcessChannelMode(QProcess::MergedChannels);
    QByteArray told;
    const double seconds = secondsOf([&] {
        process.start(programFolder() + program, arguments);
        waitUntil("the first frame", [&] {
            told += process.readAll();
            return told.contains("first frame");
        });
    });
    process.kill();
    process.waitForFinished();
    return seconds;
}

double secondsToEnd(const QString &program, const QStringList &arguments)
{
    QProcess process;
    process.setStandardErrorFile(QProcess::nullDevice());
    return secondsOf([&] {
        process.start(programFolder() + program, arguments);
        process.waitForFinished();
        if (process.exitStatus() != QProcess::NormalExit || process.exitCode() != 0)
            giveUp(program + QStringLiteral(" failed"));
    });
}

double callRate(const QString &service, const QString &method)
{
    const QDBusMessage call =
        clientCall(service, method, {QStringLiteral("no-such-package-or-type")});
    return callsPerRound / secondsOf([&call] {
               for (int i = 0; i < callsPerRound; ++i)
                   (void)QDBusConnection::sessionBus().call(call);
           });
}

/** How often the threads of a process have been switched to. */
qint64 wakeups(qint64 pid)
{
    const QStringList threads =
        QDir(QStringLiteral("/proc/%1/task").arg(pid)).entryList(QDir::Dirs | QDir::NoDotAndDotDot);
    qint64 sum = 0;
    for (const QString &thread : threads)
        sum += processNumber(thread.toLongLong(), "status", "voluntary_ctxt_switches:");
    return sum;
}

} // namespace

void measureStart()
{
    const QString scene = QStringLiteral("/usr/share/kiosk-client/main.qml");
    QFile::remove(scene); // of the phone's own layer
    if (!QFile::copy(QStringLiteral(KIOSK_BENCH_DIR "/scene/main.qml"), scene))
        giveUp(QStringLiteral("can't lay the scene down"));

    compare(
        "exec to name owned, no window", Unit::Seconds, 1.3, startRounds,
        [] { return Program(client, {}, clientService).secondsToName(); },
        [] {
            return Program(QStringLiteral("bench-nameowner"), {},
                           QStringLiteral("org.kiosk.Bench.NameOwner"))
                .secondsToName();
        });
    compare(
        "exec to first frame", Unit::Seconds, 1.2, startRounds,
        [] { return secondsToFirstFrame(client, {QStringLiteral("show")}); },
        [] { return secondsToFirstFrame(QStringLiteral("bench-barescene"), {}); });

    const Program service(client, {QStringLiteral("show")}, clientService);
    compare(
        "forwarded command, whole process", Unit::Seconds, 1.2, startRounds,
        [] { return secondsToEnd(client, {QStringLiteral("update")}); },
        [] { return secondsToEnd(QStringLiteral("bench-onecall"), {}); });
}

void measureBusMethods()
{
    const QString floorService = QStringLiteral("org.kiosk.Bench.BareAdaptor");
    const Program floor(QStringLiteral("bench-bareadaptor"), {}, floorService);
    // As long as it knows of no package the client keeps its answers back.
    tellPhone(QStringLiteral("PackageKit"), QStringLiteral("many"),
              {{QStringLiteral("count"), 20}});
    const Program service(client, {}, clientService);
    ClientResults().waitForList();
    const QString unguarded = QStringLiteral("checkInstalled");
    const QString guarded = QStringLiteral("installAccountType");
    compare(
        "unguarded D-Bus method", Unit::PerSecond, 0.9, startRounds,
        [&] { return callRate(clientService, unguarded); },
        [&] { return callRate(floorService, unguarded); });
    compare(
        "guarded D-Bus method", Unit::PerSecond, 0.9, startRounds,
        [&] { return callRate(clientService, guarded); },
        [&] { return callRate(floorService, guarded); });
}

void measureIdle()
{
    const Program service(client, {}, clientService);
    const Program floor(QStringLiteral("bench-nameowner"), {},
                        QStringLiteral("org.kiosk.Bench.NameOwner"));
    // Signs in and goes online, and the store stays connected.
    (void)QDBusConnection::sessionBus().call(
        clientCall(clientService, QStringLiteral("checkForOsUpdate"), {false, true}));
    QThread::sleep(8); // the package daemon counts as idle after some seconds
    const qint64 before = wakeups(service.pid());
    QThread::sleep(idleSeconds);
    addLimit("wakeups in 20 s of rest", Unit::Count, 0, double(wakeups(service.pid()) - before));
    addRatio("anonymous memory at rest, no window", Unit::Megabytes, 4,
             double(processNumber(service.pid(), "smaps_rollup", "Anonymous:")) / 1024,
             double(processNumber(floor.pid(), "smaps_rollup", "Anonymous:")) / 1024);
    addLimit("threads at rest", Unit::Count, 5,
             double(processNumber(service.pid(), "status", "Threads:")));
}

} // namespace Bench
