#pragma once

#include "scenecallback.h"

#include <QList>
#include <QPointer>
#include <QString>

#include <optional>

namespace Package {
class Transaction;
} // namespace Package

enum JobType {
    JobNone = 0, // the empty current job
    JobList = 1,
    JobCheckUpgrade = 2,
    JobUpgradeSize = 3,
    JobInstall = 4, // of a package that isn't installed
    JobUpdate = 5,
    JobUninstall = 6,
    JobDownloadUpgrade = 7,
    JobInstallUpgrade = 8,
    JobPackageFiles = 9
};

/** One transaction that waits for its turn or runs. */
struct Job
{
    int type = JobNone;
    QString package; // empty for jobs without one
    QPointer<Package::Transaction> transaction; // what to run
    QPointer<Package::Transaction> wrapped; // what the transaction runs in turn, if anything
    SceneCallback callback; // called with one boolean at the end
};

/**
 * The jobs that wait and the one that runs. Lists of packages go ahead of everything, all
 * else runs first come, first served. Starting a job is up to the owner.
 */
class JobQueue
{
public:
    JobQueue() = default;
    /** Frees what has never been started. */
    ~JobQueue();
    JobQueue(const JobQueue &) = delete;
    JobQueue &operator=(const JobQueue &) = delete;

    void add(const Job &job);
    /** Makes the next job the current one. @return false if there is none: nothing runs. */
    bool advance();
    /** The job running, else an empty one. */
    [[nodiscard]] const Job &current() const;
    [[nodiscard]] bool isRunning() const;
    /** Whether a job of the type runs or waits. */
    [[nodiscard]] bool has(int type) const;

    /** The first waiting job of a package, if there is one. */
    [[nodiscard]] std::optional<Job> waiting(const QString &package) const;
    /**
     * Takes a waiting job out and deletes its transaction. What that was to run stays
     * behind, and goes with the queue.
     */
    void remove(const Job &job);
    /**
     * Forgets all that waits, and that a job runs; the current job stays what it is. The
     * transactions stay behind, and go with the queue.
     */
    void drop();

private:
    void leaveBehind(const QPointer<Package::Transaction> &transaction);

    QList<Job> m_jobs;
    Job m_current;
    bool m_running = false;
    QList<QPointer<Package::Transaction>> m_leftBehind; // never started, and no job's any more
};
