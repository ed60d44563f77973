#include "packagenametransactionpkgkit.h"

#include "pkgkitvalues.h"
#include "steppkgkit.h"

#include <QDebug>

namespace Package {

using Pk = PackageKit::Transaction;

PackageNameTransactionPkgKit::PackageNameTransactionPkgKit(const QString &file,
                                                           Manager::PackageInformation::Ptr info)
    : m_file(file)
    , m_info(std::move(info))
{ }

PackageNameTransactionPkgKit::~PackageNameTransactionPkgKit()
{
    qDebug() << "deleting PackageNameTransactionPkgKit";
}

void PackageNameTransactionPkgKit::start()
{
    auto *step = new StepPkgKit(this);
    connect(step, &StepPkgKit::finished, this,
            &PackageNameTransactionPkgKit::slotTransactionFinished);
    connect(step, &StepPkgKit::errorCode, this,
            &PackageNameTransactionPkgKit::slotTransactionError);
    connect(step, &StepPkgKit::package, this, &PackageNameTransactionPkgKit::slotPackage);
    // The file stays: it is what the record is about.
    m_info->name = QString();
    m_info->version = QString();
    m_info->summary = QString();
    m_info->version = QString();
    step->searchFiles(m_file, PkgKit::FilterInstalled);
}

void PackageNameTransactionPkgKit::slotTransactionFinished(Pk::Exit status, uint runtime)
{
    qDebug() << "PackageNameTransactionPkgKit::slotTransactionFinished" << status << runtime;
    if (status == Pk::ExitSuccess)
        succeed();
    else if (!m_failed)
        fail(QStringLiteral("unknown failure with exit status %1").arg(status));
}

void PackageNameTransactionPkgKit::slotTransactionError(Pk::Error error, QString details)
{
    qDebug() << "PackageNameTransactionPkgKit::slotTransactionError" << error << details;
    m_failed = true;
    fail(details);
}

void PackageNameTransactionPkgKit::slotPackage(Pk::Info info, QString pkgId, QString summary)
{
    Q_UNUSED(info)
    Q_UNUSED(summary)
    m_info->name = Pk::packageName(pkgId);
    m_info->version = Pk::packageVersion(pkgId);
    Q_EMIT progress(-1);
}

} // namespace Package
