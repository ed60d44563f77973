#include "packagefilestransactionpkgkit.h"

#include "pkgkitvalues.h"
#include "steppkgkit.h"

#include <QDebug>

namespace Package {

using Pk = PackageKit::Transaction;

PackageFilesTransactionPkgKit::PackageFilesTransactionPkgKit(const QString &package,
                                                             QStringList *files)
    : m_package(package)
    , m_files(files)
{ }

PackageFilesTransactionPkgKit::~PackageFilesTransactionPkgKit()
{
    qDebug() << "deleting PackageFilesTransactionPkgKit";
}

void PackageFilesTransactionPkgKit::start()
{
    StepPkgKit *step = createStep();
    connect(step, &StepPkgKit::package, this, &PackageFilesTransactionPkgKit::slotPackage);
    step->resolve(m_package, PkgKit::FilterAll);
}

void PackageFilesTransactionPkgKit::slotTransactionFinished(Pk::Exit status, uint runtime)
{
    qDebug() << "PackageFilesTransactionPkgKit::slotTransactionFinished" << status << runtime;
    if (status == Pk::ExitSuccess) {
        if (m_packageId.isEmpty()) {
            succeed();
            return;
        }
        StepPkgKit *step = createStep();
        connect(step, &StepPkgKit::files, this, &PackageFilesTransactionPkgKit::slotFiles);
        step->getFiles(m_packageId);
        m_packageId.clear();
    } else if (!m_failed) {
        fail(QStringLiteral("unknown failure with exit status %1").arg(status));
    }
}

void PackageFilesTransactionPkgKit::slotTransactionError(Pk::Error error, QString details)
{
    qDebug() << "PackageFilesTransactionPkgKit::slotTransactionError" << error << details;
    m_failed = true;
    fail(details);
}

void PackageFilesTransactionPkgKit::slotFiles(QString packageID, QStringList filenames)
{
    Q_UNUSED(packageID)
    *m_files = filenames;
}

void PackageFilesTransactionPkgKit::slotPackage(Pk::Info info, QString pkgId, QString summary)
{
    Q_UNUSED(info)
    Q_UNUSED(summary)
    m_packageId = pkgId;
}

StepPkgKit *PackageFilesTransactionPkgKit::createStep()
{
    auto *step = new StepPkgKit(this);
    connect(step, &StepPkgKit::finished, this,
            &PackageFilesTransactionPkgKit::slotTransactionFinished);
    connect(step, &StepPkgKit::errorCode, this,
            &PackageFilesTransactionPkgKit::slotTransactionError);
    return step;
}

} // namespace Package
