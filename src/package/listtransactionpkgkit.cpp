#include "listtransactionpkgkit.h"

#include "pkgkitvalues.h"
#include "steppkgkit.h"

#include <QDebug>

namespace Package {

using Pk = PackageKit::Transaction;

ListTransactionPkgKit::ListTransactionPkgKit(Manager::PackageList::Ptr list)
    : m_list(std::move(list))
{ }

void ListTransactionPkgKit::start()
{
    auto *step = new StepPkgKit(this);
    connect(step, &StepPkgKit::finished, this, &ListTransactionPkgKit::slotTransactionFinished);
    connect(step, &StepPkgKit::errorCode, this, &ListTransactionPkgKit::slotTransactionError);
    connect(step, &StepPkgKit::package, this, &ListTransactionPkgKit::slotPackage);
    step->getPackages(PkgKit::FilterInstalled);
}

void ListTransactionPkgKit::slotTransactionFinished(Pk::Exit status, uint runtime)
{
    Q_UNUSED(runtime)
    m_list->seal();
    if (status == Pk::ExitSuccess)
        succeed();
    else if (!m_failed)
        fail(QStringLiteral("unknown failure with exit status %1").arg(status));
}

void ListTransactionPkgKit::slotTransactionError(Pk::Error error, QString details)
{
    qDebug() << "ListTransactionPkgKit::slotTransactionError" << error << details;
    m_failed = true;
    m_list->seal();
    fail(details);
}

void ListTransactionPkgKit::slotPackage(Pk::Info info, QString pkgId, QString summary)
{
    Q_UNUSED(info)
    m_list->add({Pk::packageName(pkgId), Pk::packageVersion(pkgId), summary});
    Q_EMIT progress(-1);
}

} // namespace Package
