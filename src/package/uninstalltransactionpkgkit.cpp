#include "uninstalltransactionpkgkit.h"

#include "pkgkitvalues.h"
#include "steppkgkit.h"

#include <QDebug>

namespace Package {

using Pk = PackageKit::Transaction;

namespace {

/** What a package file removes: its name up to the first dot, without the last "-" part. */
QString nameToRemove(const QString &path)
{
    const QString file = path.section(QLatin1Char('/'), -1);
    const QString piece = file.section(QLatin1Char('.'), 0, 0);
    return piece.left(piece.lastIndexOf(QLatin1Char('-')));
}

} // namespace

UninstallTransactionPkgKit::UninstallTransactionPkgKit(const QString &package, bool autoRemove)
    : m_package(package)
    , m_autoRemove(autoRemove)
{ }

void UninstallTransactionPkgKit::start()
{
    qDebug() << "UninstallTransactionPkgKit::start:" << m_package;
    if (m_package.endsWith(QLatin1String(".rpm")))
        m_package = nameToRemove(m_package);
    resolve(m_package);
}

void UninstallTransactionPkgKit::slotResolveFinished(Pk::Exit status, uint runtime)
{
    Q_UNUSED(status)
    Q_UNUSED(runtime)
    if (m_resolved)
        return; // the removal decides
    m_transaction = nullptr;
    succeed();
}

void UninstallTransactionPkgKit::slotResolveError(Pk::Error error, QString details)
{
    qDebug() << "Resolve Error:" << m_package << error << details;
    giveUp(details);
}

void UninstallTransactionPkgKit::slotResolved(Pk::Info info, QString pkgId, QString summary)
{
    qDebug() << "Resolved:" << info << pkgId << summary;
    m_resolved = true;
    uninstall(pkgId);
}

void UninstallTransactionPkgKit::slotUninstallFinished(Pk::Exit status, uint runtime)
{
    qDebug() << "slotUninstallFinished:" << m_package << status << runtime;
    m_transaction = nullptr;
    if (status == Pk::ExitSuccess)
        succeed();
    else
        end(); // without a word, on purpose: a queue waits on
}

void UninstallTransactionPkgKit::slotUninstallError(Pk::Error error, QString details)
{
    qDebug() << "Uninstall Error:" << m_package << error << details;
    giveUp(details);
}

void UninstallTransactionPkgKit::slotUninstallProgress()
{
    if (m_transaction)
        Q_EMIT progress(static_cast<int>(m_transaction->percentage()));
}

void UninstallTransactionPkgKit::resolve(const QString &package)
{
    auto *step = new StepPkgKit(this);
    connect(step, &StepPkgKit::finished, this, &UninstallTransactionPkgKit::slotResolveFinished);
    connect(step, &StepPkgKit::errorCode, this, &UninstallTransactionPkgKit::slotResolveError);
    connect(step, &StepPkgKit::package, this, &UninstallTransactionPkgKit::slotResolved);
    step->resolve(package, PkgKit::FilterInstalled);
}

void UninstallTransactionPkgKit::uninstall(const QString &packageId)
{
    m_transaction = new StepPkgKit(this);
    connect(m_transaction, &StepPkgKit::finished, this,
            &UninstallTransactionPkgKit::slotUninstallFinished);
    connect(m_transaction, &StepPkgKit::errorCode, this,
            &UninstallTransactionPkgKit::slotUninstallError);
    connect(m_transaction, &StepPkgKit::changed, this,
            &UninstallTransactionPkgKit::slotUninstallProgress);
    m_transaction->removePackage(packageId, false, m_autoRemove, PkgKit::FlagTrusted);
}

void UninstallTransactionPkgKit::giveUp(const QString &details)
{
    qDebug() << details;
    m_transaction = nullptr;
    fail(details);
}

} // namespace Package
