#include "steppkgkit.h"

#include <PackageKit/Daemon>

#include <QEvent>

namespace Package {

using PackageKit::Daemon;

namespace {

constexpr std::chrono::milliseconds refusalTimeout{1000};

/** Whether the library has sent its call, which it does once it has a path for it. */
bool hasBegun(const PackageKit::Transaction *inner)
{
    return !inner->tid().path().isEmpty();
}

} // namespace

StepPkgKit::StepPkgKit(QObject *parent)
    : QObject(parent)
    , m_refusalTimer(this)
{
    m_refusalTimer.setSingleShot(true);
    m_refusalTimer.setInterval(refusalTimeout);
    connect(&m_refusalTimer, &QTimer::timeout, this, &StepPkgKit::slotRefusalTimeout);
}

StepPkgKit::~StepPkgKit()
{
    letGo();
}

void StepPkgKit::setRefusalTimeout(std::chrono::milliseconds timeout)
{
    m_refusalTimer.setInterval(timeout);
}

void StepPkgKit::resolve(const QString &name, Pk::Filters filters)
{
    follow(Daemon::resolve(name, filters));
}

void StepPkgKit::getDepends(const QString &packageId, Pk::Filters filters, bool recursive)
{
    follow(Daemon::dependsOn(packageId, filters, recursive));
}

void StepPkgKit::getFiles(const QString &packageId)
{
    follow(Daemon::getFiles(packageId));
}

void StepPkgKit::getPackages(Pk::Filters filters)
{
    follow(Daemon::getPackages(filters));
}

void StepPkgKit::searchFiles(const QString &file, Pk::Filters filters)
{
    follow(Daemon::searchFiles(file, filters));
}

void StepPkgKit::getRepoList(Pk::Filters filters)
{
    follow(Daemon::getRepoList(filters));
}

void StepPkgKit::repoEnable(const QString &repository, bool enable)
{
    follow(Daemon::repoEnable(repository, enable));
}

void StepPkgKit::repoSetData(const QString &repository, const QString &key, const QString &value)
{
    follow(Daemon::repoSetData(repository, key, value));
}

void StepPkgKit::refreshCache(bool force)
{
    follow(Daemon::refreshCache(force));
}

void StepPkgKit::installPackage(const QString &packageId, Pk::TransactionFlags flags)
{
    follow(Daemon::installPackage(packageId, flags));
}

void StepPkgKit::installPackages(const QStringList &packageIds, Pk::TransactionFlags flags)
{
    follow(Daemon::installPackages(packageIds, flags));
}

void StepPkgKit::installFile(const QString &file, Pk::TransactionFlags flags)
{
    follow(Daemon::installFile(file, flags));
}

void StepPkgKit::updatePackage(const QString &packageId, Pk::TransactionFlags flags)
{
    follow(Daemon::updatePackage(packageId, flags));
}

void StepPkgKit::removePackage(const QString &packageId, bool allowDeps, bool autoRemove,
                               Pk::TransactionFlags flags)
{
    follow(Daemon::removePackage(packageId, allowDeps, autoRemove, flags));
}

void StepPkgKit::upgradeSystem(const QString &distribution, Pk::UpgradeKind kind)
{
    follow(Daemon::upgradeSystem(distribution, kind));
}

void StepPkgKit::cancel()
{
    if (!m_inner)
        return;
    if (!hasBegun(m_inner)) {
        m_cancelWanted = true;
        return;
    }
    m_inner->cancel();
}

uint StepPkgKit::percentage() const
{
    return m_inner ? m_inner->percentage() : m_percentage;
}

StepPkgKit::Pk::Status StepPkgKit::status() const
{
    return m_inner ? m_inner->status() : m_status;
}

QString StepPkgKit::internalErrorMessage() const
{
    return m_errorMessage;
}

bool StepPkgKit::eventFilter(QObject *watched, QEvent *event)
{
    // The library deletes the object of a refused call before the reason has arrived.
    if (watched == m_inner && event->type() == QEvent::DeferredDelete && m_refusalTimer.isActive())
        return true;
    return QObject::eventFilter(watched, event);
}

void StepPkgKit::slotFinished(Pk::Exit status, uint runtime)
{
    if (m_finished)
        return;
    // A refused call ends twice: first with no reason at all, then, a moment later, with
    // an error and a failure.
    if (status == Pk::ExitUnknown && !m_errorSeen) {
        m_runtime = runtime;
        m_refusalTimer.start();
        return;
    }
    report(status, runtime);
}

void StepPkgKit::slotError(Pk::Error error, const QString &details)
{
    if (m_finished)
        return;
    m_errorSeen = true;
    m_errorMessage = details;
    Q_EMIT errorCode(error, details);
}

void StepPkgKit::slotChanged()
{
    m_percentage = m_inner->percentage();
    m_status = m_inner->status();
    Q_EMIT changed();
}

void StepPkgKit::slotBegun()
{
    if (m_cancelWanted && hasBegun(m_inner)) {
        m_cancelWanted = false;
        m_inner->cancel();
    }
}

void StepPkgKit::slotRefusalTimeout()
{
    report(m_errorSeen ? Pk::ExitFailed : Pk::ExitUnknown, m_runtime);
}

/** Takes over what the library has begun; to be called in the turn in which it began. */
void StepPkgKit::follow(Pk *inner)
{
    m_inner = inner;
    inner->installEventFilter(this);
    connect(inner, &Pk::finished, this, &StepPkgKit::slotFinished);
    connect(inner, &Pk::errorCode, this, &StepPkgKit::slotError);
    connect(inner, &Pk::package, this, &StepPkgKit::package);
    connect(inner, &Pk::files, this, &StepPkgKit::files);
    connect(inner, &Pk::repoDetail, this, &StepPkgKit::repoDetail);
    connect(inner, &Pk::percentageChanged, this, &StepPkgKit::slotChanged);
    connect(inner, &Pk::statusChanged, this, &StepPkgKit::slotChanged);
    connect(inner, &Pk::roleChanged, this, &StepPkgKit::slotBegun);
    connect(inner, &QObject::destroyed, &m_refusalTimer, qOverload<>(&QTimer::start));
}

/**
 * Parts from the library's object, which must not be deleted here: it may be in the middle
 * of a signal.
 */
void StepPkgKit::letGo()
{
    if (!m_inner)
        return;
    Pk *inner = m_inner;
    m_inner.clear();
    inner->removeEventFilter(this);
    inner->disconnect(this);
    inner->disconnect(&m_refusalTimer);
    if (!hasBegun(inner)) {
        // The call goes out only when the daemon has handed out a path for it.
        connect(inner, &Pk::roleChanged, inner, &QObject::deleteLater);
        connect(inner, &Pk::finished, inner, &QObject::deleteLater);
        return;
    }
    inner->deleteLater();
}

void StepPkgKit::report(Pk::Exit status, uint runtime)
{
    m_finished = true;
    m_refusalTimer.stop();
    // The library tells changes one turn late, the end at once.
    const QPointer<StepPkgKit> self(this);
    if (m_inner && (m_inner->percentage() != m_percentage || m_inner->status() != m_status))
        slotChanged();
    if (!self)
        return;
    letGo();
    Q_EMIT finished(status, runtime);
}

} // namespace Package
