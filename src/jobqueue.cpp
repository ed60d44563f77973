#include "jobqueue.h"

#include "package/transaction.h"

#include <algorithm>

JobQueue::~JobQueue()
{
    drop();
    for (const QPointer<Package::Transaction> &transaction : qAsConst(m_leftBehind))
        delete transaction.data();
}

void JobQueue::add(const Job &job)
{
    if (job.type == JobList)
        m_jobs.prepend(job);
    else
        m_jobs.append(job);
}

bool JobQueue::advance()
{
    m_running = !m_jobs.isEmpty();
    m_current = m_running ? m_jobs.takeFirst() : Job();
    return m_running;
}

const Job &JobQueue::current() const
{
    return m_current;
}

bool JobQueue::isRunning() const
{
    return m_running;
}

bool JobQueue::has(int type) const
{
    return (m_running && m_current.type == type)
        || std::any_of(m_jobs.cbegin(), m_jobs.cend(),
                       [type](const Job &job) { return job.type == type; });
}

std::optional<Job> JobQueue::waiting(const QString &package) const
{
    const auto job = std::find_if(m_jobs.cbegin(), m_jobs.cend(), [&package](const Job &candidate) {
        return candidate.package == package;
    });
    return job == m_jobs.cend() ? std::nullopt : std::optional<Job>(*job);
}

void JobQueue::remove(const Job &job)
{
    const auto waiting = std::find_if(m_jobs.begin(), m_jobs.end(), [&job](const Job &candidate) {
        return candidate.transaction == job.transaction && candidate.package == job.package;
    });
    if (waiting == m_jobs.end())
        return;
    leaveBehind(job.wrapped);
    delete job.transaction.data();
    m_jobs.erase(waiting);
}

void JobQueue::drop()
{
    for (const Job &job : qAsConst(m_jobs)) {
        leaveBehind(job.transaction);
        leaveBehind(job.wrapped);
    }
    m_jobs.clear();
    m_running = false;
}

void JobQueue::leaveBehind(const QPointer<Package::Transaction> &transaction)
{
    if (transaction)
        m_leftBehind.append(transaction);
}
