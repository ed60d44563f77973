#pragma once

#include "transaction.h"

#include <PackageKit/Transaction>

namespace Package {

class StepPkgKit;

/**
 * Downloads an OS update, or installs what was downloaded. A download that fails is begun
 * again at once, up to three times; its progress doesn't fall back.
 */
class DistUpgradeTransactionPkgKit final : public Transaction
{
    Q_OBJECT

public:
    explicit DistUpgradeTransactionPkgKit(bool downloadOnly);

    void start() override;
    /**
     * Asks the daemon to cancel; the end comes when it has. A download that the daemon doesn't
     * give up may go on. Before the start the end comes at once.
     */
    void cancel() override;
    [[nodiscard]] bool releasesRepositoriesAtStart() const override;

private Q_SLOTS:
    void slotTransactionFinished(PackageKit::Transaction::Exit status, uint runtime);
    void slotTransactionError(PackageKit::Transaction::Error error, QString details);
    void slotPackage(PackageKit::Transaction::Info info, QString packageId, QString summary);
    void slotUpgradeProgress();

private:
    enum Mode { ModeDownload, ModeInstall };

    void download();
    void upgrade();
    void beginStep(PackageKit::Transaction::UpgradeKind kind);

    Mode m_mode;
    int m_lastProgress = -1;
    int m_retries = 0;
    QString m_errorDetails;
    StepPkgKit *m_transaction = nullptr; // the step in progress, a child
};

} // namespace Package
