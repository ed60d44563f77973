#include "distchecktransactionpkgkit.h"

#include "osupdatepackages.h"
#include "pkgkitvalues.h"
#include "steppkgkit.h"

#include <QDebug>

namespace Package {

using Pk = PackageKit::Transaction;

DistCheckTransactionPkgKit::DistCheckTransactionPkgKit(Manager::UpgradeInformation::Ptr info,
                                                       bool refreshCache)
    : m_state(refreshCache ? StateRefreshing : StateCheckingInstalled)
    , m_info(std::move(info))
{ }

DistCheckTransactionPkgKit::~DistCheckTransactionPkgKit()
{
    qDebug() << "deleting DistCheckTransactionPkgKit";
}

void DistCheckTransactionPkgKit::start()
{
    if (m_state == StateRefreshing)
        refresh();
    else
        checkInstalledVersion();
}

void DistCheckTransactionPkgKit::slotTransactionFinished(Pk::Exit status, uint runtime)
{
    qDebug() << Q_FUNC_INFO << m_state << status << runtime;
    switch (m_state) {
    case StateRefreshing:
        m_state = StateCheckingInstalled;
        checkInstalledVersion();
        break;
    case StateCheckingInstalled:
        m_state = StateCheckingUpgrade;
        checkForUpgrade();
        break;
    case StateCheckingUpgrade:
        end();
        if (m_upgradeFound)
            Q_EMIT success();
        Q_EMIT finished();
        break;
    }
}

void DistCheckTransactionPkgKit::slotTransactionError(Pk::Error error, QString details)
{
    qDebug() << error << details;
    if (error == Pk::ErrorPackageConflicts)
        qDebug() << "Package Conflicts" << details;
    fail(details);
}

void DistCheckTransactionPkgKit::slotVersionPackageResolved(Pk::Info info, QString packageId,
                                                            QString summary)
{
    Q_UNUSED(info)
    const QString version = Pk::packageVersion(packageId);
    m_info->version = version;
    m_info->summary = summary;
    if (m_state == StateCheckingInstalled)
        m_installedVersion = version;
    else if (m_state == StateCheckingUpgrade && version != m_installedVersion)
        m_upgradeFound = true;
}

void DistCheckTransactionPkgKit::refresh()
{
    createStep()->repoSetData(OsUpdate::checkRepository(), QStringLiteral("refresh-now"),
                              QStringLiteral("true"));
}

void DistCheckTransactionPkgKit::checkInstalledVersion()
{
    StepPkgKit *step = createStep();
    connect(step, &StepPkgKit::package, this,
            &DistCheckTransactionPkgKit::slotVersionPackageResolved);
    step->resolve(OsUpdate::versionPackage(), PkgKit::filterInstalledBinary());
}

void DistCheckTransactionPkgKit::checkForUpgrade()
{
    StepPkgKit *step = createStep();
    connect(step, &StepPkgKit::package, this,
            &DistCheckTransactionPkgKit::slotVersionPackageResolved);
    step->resolve(OsUpdate::versionPackage(), PkgKit::filterNewestNotInstalled());
}

StepPkgKit *DistCheckTransactionPkgKit::createStep()
{
    auto *step = new StepPkgKit(this);
    connect(step, &StepPkgKit::finished, this,
            &DistCheckTransactionPkgKit::slotTransactionFinished);
    connect(step, &StepPkgKit::errorCode, this, &DistCheckTransactionPkgKit::slotTransactionError);
    return step;
}

} // namespace Package
