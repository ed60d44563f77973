#include "repositorytransactionpkgkit.h"

#include "pkgkitvalues.h"
#include "steppkgkit.h"

#include "rdm.h"

#include <QDBusConnection>
#include <QDBusMessage>
#include <QDebug>

#include <limits>

namespace Package {

using Pk = PackageKit::Transaction;

namespace {

constexpr int noTimeout = std::numeric_limits<int>::max(); // which the bus takes for endless
constexpr int defaultTimeout = -1;

const QString rdmService = QStringLiteral("org.tesk.rdm");
const QString rdmPath = QStringLiteral("/org/tesk/rdm");
const QString rdmInterface = QStringLiteral("org.tesk.rdm");

enum RepositoryAction { AddRepository = 1, EnableRepository = 3 };

/** A blocking call of the release manager's service. Results are of no concern here. */
void callRdm(const QString &method, const QVariantList &arguments, int timeout = defaultTimeout)
{
    QDBusMessage call = QDBusMessage::createMethodCall(rdmService, rdmPath, rdmInterface, method);
    call.setArguments(arguments);
    QDBusConnection::systemBus().call(call, QDBus::Block, timeout);
}

} // namespace

RepositoryTransactionPkgKit::RepositoryTransactionPkgKit(Transaction *wrapped,
                                                         const QString &version,
                                                         bool restoreVersion,
                                                         const QStringList &required)
    : m_wrapped(wrapped)
    , m_version(version)
    , m_restoreVersion(restoreVersion)
    , m_required(required)
{
    if (!wrapped)
        return;
    connect(wrapped, &Transaction::finished, this,
            &RepositoryTransactionPkgKit::slotWrappedTransactionFinished);
    connect(wrapped, &Transaction::success, this, &Transaction::success);
    connect(wrapped, &Transaction::failure, this,
            &RepositoryTransactionPkgKit::slotWrappedTransactionFailure);
}

void RepositoryTransactionPkgKit::start()
{
    if (!m_version.isEmpty() && (Rdm().deviceMode() & Rdm::DeviceModeNoIsolation) == 0) {
        m_previousVersion = Rdm().release(false);
        setRdmVersion(m_version);
    }
    auto *step = new StepPkgKit(this);
    connect(step, &StepPkgKit::finished, this, &RepositoryTransactionPkgKit::slotListReposFinished);
    connect(step, &StepPkgKit::repoDetail, this, &RepositoryTransactionPkgKit::slotGotRepository);
    step->getRepoList(PkgKit::FilterAll);
}

void RepositoryTransactionPkgKit::cancel()
{
    if (m_wrapped)
        m_wrapped->cancel();
}

void RepositoryTransactionPkgKit::slotListReposFinished(Pk::Exit status, uint runtime)
{
    Q_UNUSED(status)
    Q_UNUSED(runtime)
    verifyRequired();
}

void RepositoryTransactionPkgKit::slotIsolateRepositoryFinished(Pk::Exit status, uint runtime)
{
    Q_UNUSED(runtime)
    if (status == Pk::ExitSuccess)
        isolateNext();
    else
        abortWithRepositories({m_currentRepository});
}

void RepositoryTransactionPkgKit::slotRestoreRepositoryFinished(Pk::Exit status, uint runtime)
{
    Q_UNUSED(status)
    Q_UNUSED(runtime)
    restoreNext(false);
}

void RepositoryTransactionPkgKit::slotGotRepository(QString repoId, QString description,
                                                    bool enabled)
{
    qDebug() << "Repository:" << repoId << description << enabled;
    m_repositoryIds.append(repoId);
    m_repositories[repoId] = enabled;
}

void RepositoryTransactionPkgKit::slotWrappedTransactionFinished()
{
    if (m_wrapped && m_wrapped->releasesRepositoriesAtStart()) {
        restoreRdmVersion();
        endWrapper();
        Q_EMIT finished();
        return;
    }
    m_wrapped.clear(); // it has ended, and must not be started by a pass still under way
    m_pendingRepositories = nonRequiredRepositories();
    restoreNext(false);
}

void RepositoryTransactionPkgKit::slotWrappedTransactionFailure(QString details)
{
    m_wrappedFailed = true;
    qDebug() << "Wrapped transaction failed:" << details;
}

void RepositoryTransactionPkgKit::slotRepositoryModificationError(Pk::Error error, QString details)
{
    qDebug() << "Failure modifying repository: " << error << details;
}

void RepositoryTransactionPkgKit::setRdmVersion(const QString &newVersion)
{
    const QString currentVersion = Rdm().release(false);
    qDebug() << "new version" << newVersion << "current version" << currentVersion;
    if (newVersion.isEmpty() || newVersion == currentVersion)
        return;
    qDebug() << "changing RDM release:" << newVersion;
    Rdm().setRelease(newVersion, false);
    callRdm(QStringLiteral("setRelease"), {newVersion, false}, noTimeout);
}

void RepositoryTransactionPkgKit::restoreRdmVersion()
{
    if (m_previousVersion.isEmpty())
        return;
    if (!m_wrappedFailed && !m_restoreVersion)
        return;
    qDebug() << "Resetting rdm version";
    setRdmVersion(m_previousVersion);
}

void RepositoryTransactionPkgKit::verifyRequired()
{
    QStringList missing;
    for (const QString &repository : qAsConst(m_required)) {
        if (!m_repositories.value(repository, false))
            missing.append(repository);
    }
    if (!missing.isEmpty()) {
        qDebug() << "enabling missing repos" << missing;
        for (const QString &repository : qAsConst(missing)) {
            callRdm(QStringLiteral("modifyRepo"), {int(AddRepository), repository});
            callRdm(QStringLiteral("modifyRepo"), {int(EnableRepository), repository});
        }
        callRdm(QStringLiteral("updateRepos"), {});
    }
    m_pendingRepositories = nonRequiredRepositories();
    isolateNext();
}

void RepositoryTransactionPkgKit::isolateNext()
{
    while (!m_pendingRepositories.isEmpty()) {
        m_currentRepository = m_pendingRepositories.takeFirst();
        const bool enabled = m_repositories.value(m_currentRepository, false);
        const bool wanted = m_required.contains(m_currentRepository);
        qDebug() << (wanted ? "enabling" : "disabling") << m_currentRepository;
        if (enabled == wanted)
            continue;
        auto *step = new StepPkgKit(this);
        connect(step, &StepPkgKit::finished, this,
                &RepositoryTransactionPkgKit::slotIsolateRepositoryFinished);
        connect(step, &StepPkgKit::errorCode, this,
                &RepositoryTransactionPkgKit::slotRepositoryModificationError);
        step->repoEnable(m_currentRepository, wanted);
        return;
    }
    runWrapped();
}

void RepositoryTransactionPkgKit::restoreNext(bool fast)
{
    while (!m_pendingRepositories.isEmpty()) {
        m_currentRepository = m_pendingRepositories.takeFirst();
        const bool isolated = m_required.contains(m_currentRepository);
        const bool wasEnabled = m_repositories.value(m_currentRepository, false);
        qDebug() << (wasEnabled ? "enabling" : "disabling") << m_currentRepository;
        if (isolated == wasEnabled) {
            fast = false;
            continue;
        }
        auto *step = new StepPkgKit(this);
        if (!fast) {
            connect(step, &StepPkgKit::finished, this,
                    &RepositoryTransactionPkgKit::slotRestoreRepositoryFinished);
            connect(step, &StepPkgKit::errorCode, this,
                    &RepositoryTransactionPkgKit::slotRepositoryModificationError);
        }
        step->repoEnable(m_currentRepository, wasEnabled);
        if (!fast)
            return;
    }
    if (fast)
        return; // the end of the wrapped transaction is the end of this one
    restoreRdmVersion();
    endWrapper();
    Q_EMIT success();
    Q_EMIT finished();
}

void RepositoryTransactionPkgKit::runWrapped()
{
    if (!m_wrapped) {
        slotWrappedTransactionFinished();
        return;
    }
    m_wrapped->start();
    if (hasEnded() || !m_wrapped || !m_wrapped->releasesRepositoriesAtStart())
        return;
    m_pendingRepositories = nonRequiredRepositories();
    restoreNext(true);
}

void RepositoryTransactionPkgKit::abortWithRepositories(const QStringList &repositories)
{
    if (m_wrapped)
        m_wrapped->cancel();
    restoreRdmVersion();
    endWrapper();
    Q_EMIT failure(repositories.join(QLatin1Char(' ')));
    Q_EMIT finished();
}

QStringList RepositoryTransactionPkgKit::nonRequiredRepositories() const
{
    QStringList repositories;
    for (auto it = m_repositories.cbegin(); it != m_repositories.cend(); ++it) {
        if (!m_required.contains(it.key()))
            repositories.append(it.key());
    }
    return repositories;
}

void RepositoryTransactionPkgKit::endWrapper()
{
    end();
    if (m_wrapped)
        m_wrapped->disconnect(this);
}

} // namespace Package
