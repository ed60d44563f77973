#include "distupgradetransactionpkgkit.h"

#include "osupdatepackages.h"
#include "pkgkitvalues.h"
#include "steppkgkit.h"

#include <QDebug>

namespace Package {

using Pk = PackageKit::Transaction;

namespace {

constexpr int maximumRetries = 3;

/** What a step's percentage means for the whole: first the metadata, then the packages. */
int overallProgress(uint percentage, Pk::Status status)
{
    if (percentage >= 100)
        return -1;
    const int value = static_cast<int>(percentage);
    switch (status) {
    case Pk::StatusDownload:
        return qMax(1, value * 9 / 10 + 10);
    case Pk::StatusInstall:
        return qMax(1, value);
    case Pk::StatusRefreshCache:
        return qMax(1, value / 10);
    default:
        return 1;
    }
}

} // namespace

DistUpgradeTransactionPkgKit::DistUpgradeTransactionPkgKit(bool downloadOnly)
    : m_mode(downloadOnly ? ModeDownload : ModeInstall)
{ }

void DistUpgradeTransactionPkgKit::start()
{
    qDebug() << "RDM device configuration pattern:" << OsUpdate::configurationPattern();
    if (m_mode == ModeDownload)
        download();
    else
        upgrade();
}

void DistUpgradeTransactionPkgKit::cancel()
{
    qDebug() << Q_FUNC_INFO;
    if (m_transaction)
        m_transaction->cancel();
    else
        Transaction::cancel();
}

bool DistUpgradeTransactionPkgKit::releasesRepositoriesAtStart() const
{
    return true;
}

void DistUpgradeTransactionPkgKit::slotTransactionFinished(Pk::Exit status, uint runtime)
{
    qDebug() << Q_FUNC_INFO << status << runtime;
    m_transaction = nullptr;
    if (status == Pk::ExitSuccess) {
        succeed();
    } else if (status == Pk::ExitCancelled) {
        fail(QStringLiteral("cancelled"));
    } else if (m_mode == ModeDownload && m_retries < maximumRetries) {
        ++m_retries;
        download();
    } else {
        fail(m_errorDetails);
    }
    m_errorDetails.clear();
}

void DistUpgradeTransactionPkgKit::slotTransactionError(Pk::Error error, QString details)
{
    qDebug() << error << details;
    m_errorDetails =
        error == Pk::ErrorNoSpaceOnDevice ? QLatin1String("disk full: ") + details : details;
}

void DistUpgradeTransactionPkgKit::slotPackage(Pk::Info info, QString packageId, QString summary)
{
    qDebug() << Q_FUNC_INFO << info << packageId << summary;
}

void DistUpgradeTransactionPkgKit::slotUpgradeProgress()
{
    const auto *step = qobject_cast<StepPkgKit *>(sender());
    if (!step)
        return;
    const int value = overallProgress(step->percentage(), step->status());
    if (value > m_lastProgress) {
        m_lastProgress = value;
        Q_EMIT progress(value);
    }
}

void DistUpgradeTransactionPkgKit::download()
{
    beginStep(Pk::UpgradeKindMinimal);
}

void DistUpgradeTransactionPkgKit::upgrade()
{
    beginStep(Pk::UpgradeKindComplete);
    m_lastProgress = -1;
    Q_EMIT progress(-1);
}

void DistUpgradeTransactionPkgKit::beginStep(Pk::UpgradeKind kind)
{
    m_transaction = new StepPkgKit(this);
    connect(m_transaction, &StepPkgKit::finished, this,
            &DistUpgradeTransactionPkgKit::slotTransactionFinished);
    connect(m_transaction, &StepPkgKit::errorCode, this,
            &DistUpgradeTransactionPkgKit::slotTransactionError);
    connect(m_transaction, &StepPkgKit::changed, this,
            &DistUpgradeTransactionPkgKit::slotUpgradeProgress);
    connect(m_transaction, &StepPkgKit::package, this, &DistUpgradeTransactionPkgKit::slotPackage);
    m_transaction->upgradeSystem(OsUpdate::configurationPattern(), kind);
}

} // namespace Package
