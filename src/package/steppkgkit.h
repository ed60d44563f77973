#pragma once

#include <PackageKit/Transaction>

#include <QObject>
#include <QPointer>
#include <QTimer>

#include <chrono>

namespace Package {

/**
 * One call of the package daemon, as a child of the transaction that needs its answer.
 *
 * Made, connected, then told once what to do. It may be deleted at any moment, in any of
 * its own slots, too; what it has been told is carried out by the daemon all the same.
 * finished() comes exactly once, whether the daemon answers, refuses the call, dies or
 * isn't there. The library's own object keeps none of these promises.
 */
class StepPkgKit final : public QObject
{
    Q_OBJECT

public:
    using Pk = PackageKit::Transaction;

    explicit StepPkgKit(QObject *parent);
    ~StepPkgKit() override;

    /** How long the reason of a refused call may take to arrive. */
    void setRefusalTimeout(std::chrono::milliseconds timeout);

    void resolve(const QString &name, Pk::Filters filters);
    void getDepends(const QString &packageId, Pk::Filters filters, bool recursive);
    void getFiles(const QString &packageId);
    void getPackages(Pk::Filters filters);
    void searchFiles(const QString &file, Pk::Filters filters);

    void getRepoList(Pk::Filters filters);
    void repoEnable(const QString &repository, bool enable);
    void repoSetData(const QString &repository, const QString &key, const QString &value);
    void refreshCache(bool force);

    void installPackage(const QString &packageId, Pk::TransactionFlags flags);
    void installPackages(const QStringList &packageIds, Pk::TransactionFlags flags);
    void installFile(const QString &file, Pk::TransactionFlags flags);
    void updatePackage(const QString &packageId, Pk::TransactionFlags flags);
    void removePackage(const QString &packageId, bool allowDeps, bool autoRemove,
                       Pk::TransactionFlags flags);
    void upgradeSystem(const QString &distribution, Pk::UpgradeKind kind);

    /** Asks the daemon to cancel, as soon as it has begun; finished() tells what came of it. */
    void cancel();

    /** In percent; 101 for unknown. */
    [[nodiscard]] uint percentage() const;
    [[nodiscard]] Pk::Status status() const;
    /** Text of the last error, empty if there was none. */
    [[nodiscard]] QString internalErrorMessage() const;

Q_SIGNALS:
    void finished(PackageKit::Transaction::Exit status, uint runtime);
    void errorCode(PackageKit::Transaction::Error error, const QString &details);
    void package(PackageKit::Transaction::Info info, const QString &packageId,
                 const QString &summary);
    void files(const QString &packageId, const QStringList &filenames);
    void repoDetail(const QString &repository, const QString &description, bool enabled);
    /** percentage() or status() is another. */
    void changed();

protected:
    bool eventFilter(QObject *watched, QEvent *event) override;

private Q_SLOTS:
    void slotFinished(PackageKit::Transaction::Exit status, uint runtime);
    void slotError(PackageKit::Transaction::Error error, const QString &details);
    void slotChanged();
    void slotBegun();
    void slotRefusalTimeout();

private:
    void follow(PackageKit::Transaction *inner);
    void letGo();
    void report(PackageKit::Transaction::Exit status, uint runtime);

    QPointer<PackageKit::Transaction> m_inner; // its own owner, may vanish
    QTimer m_refusalTimer; // runs while finished() is held back
    bool m_finished = false;
    bool m_cancelWanted = false;
    bool m_errorSeen = false;
    uint m_runtime = 0; // milliseconds, of the end that is held back
    uint m_percentage = 0;
    PackageKit::Transaction::Status m_status = PackageKit::Transaction::StatusUnknown;
    QString m_errorMessage;
};

} // namespace Package
