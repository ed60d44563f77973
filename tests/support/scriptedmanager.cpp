#include "scriptedmanager.h"

using Package::Transaction;

ScriptedTransaction::ScriptedTransaction(const QString &givenName, QStringList *journal)
    : name(givenName)
    , m_journal(journal)
{ }

void ScriptedTransaction::start()
{
    isStarted = true;
    m_journal->append(QLatin1String("start ") + name);
    if (wrapped)
        wrapped->start();
}

void ScriptedTransaction::cancel()
{
    m_journal->append(QLatin1String("cancel ") + name);
    if (wrapped)
        wrapped->cancel();
    else if (endsOnCancel)
        Transaction::cancel();
}

void ScriptedTransaction::succeed()
{
    Q_EMIT success();
    finish();
}

void ScriptedTransaction::fail(const QString &details)
{
    Q_EMIT failure(details);
    finish();
}

void ScriptedTransaction::finish()
{
    deleteLater();
    Q_EMIT finished();
}

QStringList deleteStarted(const MadeTransactions &made)
{
    QStringList forgotten;
    for (const QPointer<ScriptedTransaction> &transaction : qAsConst(*made)) {
        if (transaction && !transaction->isStarted)
            forgotten.append(transaction->name);
        delete transaction.data();
    }
    return forgotten;
}

ScriptedManager::ScriptedManager(QStringList *journal)
    : m_journal(journal)
{ }

ScriptedTransaction *ScriptedManager::find(const QString &name) const
{
    for (auto it = made->crbegin(); it != made->crend(); ++it) {
        if (*it && (*it)->name == name)
            return *it;
    }
    return nullptr;
}

ScriptedTransaction *ScriptedManager::make(const QString &name)
{
    auto *transaction = new ScriptedTransaction(name, m_journal); // the caller's
    made->append(transaction);
    return transaction;
}

Transaction *ScriptedManager::createDistCheckTransaction(UpgradeInformation::Ptr info,
                                                         bool refreshCache)
{
    auto *transaction =
        make(refreshCache ? QStringLiteral("check refreshed") : QStringLiteral("check"));
    transaction->upgrade = info;
    return transaction;
}

Transaction *ScriptedManager::createOsUpdateSizeTransaction(UpgradeInformation::Ptr info)
{
    auto *transaction = make(QStringLiteral("size"));
    transaction->upgrade = info;
    return transaction;
}

Transaction *ScriptedManager::createDistUpgradeTransaction(bool downloadOnly)
{
    return make(downloadOnly ? QStringLiteral("download") : QStringLiteral("upgrade"));
}

Transaction *ScriptedManager::createListTransaction(PackageList::Ptr list)
{
    auto *transaction = make(QStringLiteral("list"));
    if (transaction)
        transaction->list = list;
    return transaction;
}

Transaction *ScriptedManager::createInstallTransaction(const QString &package,
                                                       PackageInformation::Ptr info)
{
    auto *transaction = make(QLatin1String("install ") + package);
    transaction->information = info;
    return transaction;
}

Transaction *ScriptedManager::createUninstallTransaction(const QString &package, bool autoRemove)
{
    return make((autoRemove ? QLatin1String("autoremove ") : QLatin1String("remove ")) + package);
}

Transaction *ScriptedManager::createInfoTransaction(const QString &packageFile,
                                                    PackageInformation::Ptr info)
{
    auto *transaction = make(QLatin1String("info ") + packageFile);
    transaction->information = info;
    info->file = packageFile;
    return transaction;
}

Transaction *ScriptedManager::createPackageFilesTransaction(const QString &package,
                                                            QStringList *files)
{
    auto *transaction = make(QLatin1String("files ") + package);
    transaction->files = files;
    return transaction;
}

Transaction *ScriptedManager::createPackageNameTransaction(const QString &file,
                                                           PackageInformation::Ptr info)
{
    auto *transaction = make(QLatin1String("name ") + file);
    transaction->information = info;
    return transaction;
}

Transaction *ScriptedManager::createRepositoryTransaction(Transaction *wrapped,
                                                          const QString &version,
                                                          bool restoreVersion,
                                                          const QStringList &repositories)
{
    const QString inner = static_cast<ScriptedTransaction *>(wrapped)->name;
    m_journal->append(QStringLiteral("isolate %1 version=%2 restore=%3 %4")
                          .arg(inner, version,
                               restoreVersion ? QStringLiteral("yes") : QStringLiteral("no"),
                               repositories.join(QLatin1Char(','))));
    auto *transaction = make(QLatin1String("isolated ") + inner);
    transaction->wrapped = wrapped;
    connect(wrapped, &Transaction::finished, transaction, &ScriptedTransaction::succeed);
    return transaction;
}

int ScriptedManager::compareVersions(const QString &a, const QString &b) const
{
    return QString::compare(a, b);
}

QStringList ScriptedManager::packageDesktopFiles(const QString &package) const
{
    return {package + QLatin1String(".desktop")};
}

QString ScriptedManager::packageNameByDesktopFile(const QString &) const
{
    return desktopFileOwner;
}
