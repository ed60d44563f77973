// Packages: the handler alone, and the client with the phone's package daemon.

#include "clientresults.h"
#include "instantmanager.h"
#include "measure.h"
#include "phone.h"

#include "packagehandler.h"

#include <QCoreApplication>
#include <QDBusConnection>
#include <QElapsedTimer>
#include <QEventLoop>
#include <QSet>
#include <QTimer>

#include <algorithm>
#include <Daemon>
#include <Transaction>

#include <malloc.h>
#include <rpm/rpmver.h>

namespace Bench {

namespace {

constexpr int manyPackages = 50000;
constexpr int knownPackages = 5000;
constexpr int stateCalls = 20000;
constexpr int queuedJobs = 1000;
constexpr int installs = 10000;
constexpr int realInstalls = 40;
constexpr int handlerRounds = 7;

void measureStates()
{
    PackageHandler handler(new InstantManager(knownPackages), nullptr);
    handler.refreshPackages();
    waitUntil("the list", [&handler] { return handler.packagesCount() == knownPackages; });
    QStringList names;
    for (int i = 0; i < knownPackages; ++i)
        names.append(QStringLiteral("application-%1").arg(i));
    const QString offered = QStringLiteral("1.16-1");
    const QMap<QString, QString> versions = handler.versions();
    const QSet<QString> installed(names.cbegin(), names.cend());
    int outdated = 0;
    compare(
        "applicationState() calls", Unit::PerSecond, 0.5, handlerRounds,
        [&] {
            return stateCalls / computingSecondsOf([&] {
                       for (int i = 0; i < stateCalls; ++i)
                           outdated +=
                               handler.applicationState(names.at(i % knownPackages), offered);
                   });
        },
        [&] {
            return stateCalls / computingSecondsOf([&] {
                       for (int i = 0; i < stateCalls; ++i) {
                           const QString &name = names.at(i % knownPackages);
                           if (!installed.contains(name))
                               continue;
                           outdated += rpmvercmp(offered.toUtf8().constData(),
                                                 versions.value(name).toUtf8().constData());
                       }
                   });
        });
    if (outdated == 0)
        giveUp(QStringLiteral("nothing is outdated"));
}

void measureQueue()
{
    compare(
        "queue of 1,000 jobs", Unit::Seconds, 3, handlerRounds,
        [] {
            PackageHandler handler(new InstantManager, nullptr);
            int answers = 0;
            QObject::connect(&handler, &PackageHandler::packageFilesReceived, &handler,
                             [&answers] { ++answers; });
            return secondsOf([&] {
                for (int i = 0; i < queuedJobs; ++i)
                    handler.packageFiles(QStringLiteral("application-%1").arg(i));
                waitUntil("the queue", [&answers] { return answers == queuedJobs; });
            });
        },
        [] {
            QQueue<QPointer<InstantTransaction>> waiting;
            int ended = 0;
            QObject receiver;
            const auto next = [&waiting] {
                if (!waiting.isEmpty())
                    waiting.dequeue()->start();
            };
            return secondsOf([&] {
                for (int i = 0; i < queuedJobs; ++i) {
                    auto *transaction = new InstantTransaction; // ends itself
                    QObject::connect(transaction, &Package::Transaction::finished, &receiver,
                                     [&ended, &next] {
                                         ++ended;
                                         next();
                                     });
                    waiting.enqueue(transaction);
                }
                next();
                waitUntil("the transactions", [&ended] { return ended == queuedJobs; });
            });
        });
}

void measureInstallGrowth()
{
    PackageHandler handler(new InstantManager(100), nullptr);
    const auto install = [&handler](int count) {
        for (int i = 0; i < count; ++i) {
            const QString name = QStringLiteral("application-%1").arg(i % 100);
            handler.install(name);
            waitUntil("an install", [&handler] { return !handler.isBusy(); });
        }
    };
    install(installs / 20);
    QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
    malloc_trim(0);
    const double heap = heapInUse();
    const double seconds = secondsOf([&] { install(installs); });
    QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
    addLimit("heap growth over 10,000 installs", Unit::Megabytes, 1,
             (heapInUse() - heap) / 1048576);
    addNote("an install without a daemon", Unit::Seconds, seconds / installs);
}

void measureList()
{
    tellPhone(QStringLiteral("PackageKit"), QStringLiteral("many"),
              {{QStringLiteral("count"), manyPackages}});
    compare(
        "list of 50,000 packages until counted", Unit::Seconds, 1.25, 3,
        [] {
            PackageHandler handler;
            bool isCounted = false;
            QObject::connect(&handler, &PackageHandler::packagesCountChanged, &handler,
                             [&isCounted] { isCounted = true; });
            return secondsOf([&] {
                handler.refreshPackages();
                waitUntil("the list", [&isCounted] { return isCounted; });
            });
        },
        [] {
            bool isOver = false;
            int rows = 0;
            return secondsOf([&] {
                using PackageKit::Transaction;
                const Transaction *transaction =
                    PackageKit::Daemon::getPackages(Transaction::FilterInstalled);
                QObject::connect(transaction, &Transaction::package, transaction,
                                 [&rows] { ++rows; });
                QObject::connect(transaction, &Transaction::finished, transaction,
                                 [&isOver] { isOver = true; });
                waitUntil("the rows", [&isOver] { return isOver; });
                if (rows < manyPackages)
                    giveUp(QStringLiteral("rows are missing"));
            });
        });
}

/** Listens to the bus, and knows for how long the package daemon was at work. */
class DaemonTime : public QObject
{
    Q_OBJECT

public:
    DaemonTime()
    {
        m_clock.start();
        QDBusConnection::systemBus().connect(
            QString(), QString(), QStringLiteral("org.freedesktop.PackageKit.Transaction"),
            QStringLiteral("Finished"), this, SLOT(slotFinished(uint, uint)));
    }

    /** Seconds since the last call in which at least one transaction ran. */
    double take()
    {
        double sum = 0;
        double covered = 0;
        std::sort(m_spans.begin(), m_spans.end());
        for (const auto &[begin, end] : qAsConst(m_spans)) {
            sum += qMax(0.0, end - qMax(begin, covered));
            covered = qMax(covered, end);
        }
        m_spans.clear();
        return sum / 1e3;
    }

private Q_SLOTS:
    void slotFinished(uint, uint runtime)
    {
        const double now = double(m_clock.nsecsElapsed()) / 1e6;
        // Told in whole milliseconds, rounded down.
        m_spans.append({now - runtime - 0.5, now});
    }

private:
    QElapsedTimer m_clock;
    QVector<std::pair<double, double>> m_spans; // milliseconds
};

void measureInstall()
{
    const auto resident = [](qint64 pid) {
        return double(processNumber(pid, "status", "VmRSS:")) / 1024;
    };
    ClientResults results;
    DaemonTime daemon;
    Program service(QStringLiteral("kiosk-client"), {}, clientService);
    results.waitForList();
    double atRest = 0;
    int round = 0;
    // The floor is what the daemon took for the install just measured; the rest is the round
    // trips that begin its some ten transactions, and the question to the store.
    double daemonSeconds = 1;
    double seconds = 0;
    compare(
        "installPackage from call to result", Unit::Seconds, 3, realInstalls,
        [&] { return seconds; },
        [&] {
            (void)daemon.take();
            seconds = results.secondsToInstall();
            daemonSeconds = daemon.take();
            (void)results.secondsToRemove();
            if (++round == realInstalls / 4)
                atRest = resident(service.pid());
            return daemonSeconds;
        });
    addLimit("resident growth over 30 installs and removals", Unit::Megabytes, 1,
             resident(service.pid()) - atRest);
}

void measureHeartbeat()
{
    ClientResults results;
    const auto longestPause = [&results] {
        Program service(QStringLiteral("bench-heartbeat"), {}, clientService);
        results.waitForList();
        (void)results.secondsToInstall();
        (void)results.secondsToRemove();
        results.waitForList();
        return service.end().toDouble() / 1e3;
    };
    addLimit("main thread blocked longest, install and removal", Unit::Seconds, 0.05,
             longestPause());
    tellPhone(QStringLiteral("PackageKit"), QStringLiteral("many"),
              {{QStringLiteral("count"), manyPackages}});
    addLimit("the same with 50,000 packages installed", Unit::Seconds, 0.05, longestPause());
    tellPhone(QStringLiteral("PackageKit"), QStringLiteral("many"), {{QStringLiteral("count"), 0}});
}

} // namespace

void measurePackages()
{
    measureStates();
    measureQueue();
    measureInstallGrowth();
}

void measurePackagesInPhone()
{
    for (const char *step : {"download", "install", "remove", "refresh"})
        tellPhone(QStringLiteral("PackageKit"), QStringLiteral("timing"),
                  {{QLatin1String(step), 0}});
    measureInstall();
    measureHeartbeat();
    measureList();
}

} // namespace Bench

#include "packagefigures.moc"
