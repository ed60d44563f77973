#pragma once

#include "transaction.h"

#include <PackageKit/Transaction>

#include <QMap>
#include <QPointer>
#include <QStringList>

namespace Package {

class StepPkgKit;

/**
 * Runs another transaction in isolation: optionally on another release of the OS, with the
 * required repositories there and enabled and all others disabled. Afterwards the
 * repositories are put back and, where told to, the release.
 *
 * The wrapped transaction reports for itself: success() and failure() here are about the
 * repositories. A success() of the wrapped one is passed on, and comes besides the one that
 * ends the restoring; its failure() is not passed on. An isolation that fails half way may
 * end twice.
 */
class RepositoryTransactionPkgKit final : public Transaction
{
    Q_OBJECT

public:
    /**
     * @param wrapped not owned; it deletes itself at its end. May be null.
     * @param version the release to switch to; empty leaves it alone.
     * @param restoreVersion put the release back after a success, too.
     * @param required the repositories to be enabled.
     */
    RepositoryTransactionPkgKit(Transaction *wrapped, const QString &version, bool restoreVersion,
                                const QStringList &required);

    void start() override;
    /**
     * Cancels the wrapped transaction, whose end leads to the usual restoring, unless it is of
     * the kind that has them restored at its start. Before that, what has been switched off
     * stays off.
     */
    void cancel() override;

private Q_SLOTS:
    void slotListReposFinished(PackageKit::Transaction::Exit status, uint runtime);
    void slotIsolateRepositoryFinished(PackageKit::Transaction::Exit status, uint runtime);
    void slotRestoreRepositoryFinished(PackageKit::Transaction::Exit status, uint runtime);
    void slotGotRepository(QString repoId, QString description, bool enabled);
    void slotWrappedTransactionFinished();
    void slotWrappedTransactionFailure(QString details);
    void slotRepositoryModificationError(PackageKit::Transaction::Error error, QString details);

private:
    void setRdmVersion(const QString &newVersion);
    void restoreRdmVersion();
    void verifyRequired();
    void isolateNext();
    /**
     * Puts repositories back as they were. A fast pass starts all switches at once, because
     * the wrapped transaction is running already and must not wait. It falls back to one at
     * a time as soon as it meets a repository that was disabled from the start; listeners
     * rely on the success() that such a pass ends with, so the fall-back stays.
     */
    void restoreNext(bool fast);
    void runWrapped();
    void abortWithRepositories(const QStringList &repositories);
    [[nodiscard]] QStringList nonRequiredRepositories() const;
    /** Lets go of the wrapped transaction, too, so that nothing follows the end. */
    void endWrapper();

    QMap<QString, bool> m_repositories; // whether enabled at the start
    QPointer<Transaction> m_wrapped;
    bool m_wrappedFailed = false;
    QString m_version;
    QString m_previousVersion; // the release before the switch
    bool m_restoreVersion;
    QStringList m_required;
    QStringList m_repositoryIds; // in the daemon's order
    QString m_currentRepository;
    QStringList m_pendingRepositories; // work list of an isolating or restoring pass
};

} // namespace Package
