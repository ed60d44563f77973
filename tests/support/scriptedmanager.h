#pragma once

#include "package/manager.h"
#include "package/transaction.h"

#include <QList>
#include <QPointer>
#include <QSharedPointer>
#include <QString>
#include <QStringList>

/**
 * A transaction that a test moves by hand. It notes its start and its cancelling in the
 * journal, and may hold another one that it runs in turn.
 */
class ScriptedTransaction final : public Package::Transaction
{
    Q_OBJECT

public:
    ScriptedTransaction(const QString &name, QStringList *journal);

    void start() override;
    void cancel() override;

    /** Ends as a transaction does: the result, finished(), and it is gone with the next turn. */
    void succeed();
    void fail(const QString &details);
    void finish();

    QString name; // such as "install foo"
    QPointer<Package::Transaction> wrapped;
    bool endsOnCancel = true;
    bool isStarted = false;

    // Where the results are wanted.
    Package::Manager::PackageInformation::Ptr information;
    Package::Manager::UpgradeInformation::Ptr upgrade;
    Package::Manager::PackageList::Ptr list;
    QStringList *files = nullptr;

private:
    QStringList *m_journal;
};

/** What a manager has made, which outlives it; those that have ended are null. */
using MadeTransactions = QSharedPointer<QList<QPointer<ScriptedTransaction>>>;

/**
 * Ends what still runs when a test is over.
 * @return the names of those that were never started, which somebody has forgotten.
 */
[[nodiscard]] QStringList deleteStarted(const MadeTransactions &made);

/** Makes transactions for a test to move, and notes what it was asked for. */
class ScriptedManager final : public Package::Manager
{
    Q_OBJECT

public:
    /** @param journal takes "start NAME", "cancel NAME", and "isolate …" for each isolation. */
    explicit ScriptedManager(QStringList *journal);

    /** The newest transaction of that name which is still there, or null. */
    [[nodiscard]] ScriptedTransaction *find(const QString &name) const;

    Package::Transaction *createDistCheckTransaction(UpgradeInformation::Ptr info,
                                                     bool refreshCache) override;
    Package::Transaction *createOsUpdateSizeTransaction(UpgradeInformation::Ptr info) override;
    Package::Transaction *createDistUpgradeTransaction(bool downloadOnly) override;
    Package::Transaction *createListTransaction(PackageList::Ptr list) override;
    Package::Transaction *createInstallTransaction(const QString &package,
                                                   PackageInformation::Ptr info) override;
    Package::Transaction *createUninstallTransaction(const QString &package,
                                                     bool autoRemove) override;
    Package::Transaction *createInfoTransaction(const QString &packageFile,
                                                PackageInformation::Ptr info) override;
    Package::Transaction *createPackageFilesTransaction(const QString &package,
                                                        QStringList *files) override;
    Package::Transaction *createPackageNameTransaction(const QString &file,
                                                       PackageInformation::Ptr info) override;
    Package::Transaction *createRepositoryTransaction(Package::Transaction *wrapped,
                                                      const QString &version, bool restoreVersion,
                                                      const QStringList &repositories) override;
    [[nodiscard]] int compareVersions(const QString &a, const QString &b) const override;
    [[nodiscard]] QStringList packageDesktopFiles(const QString &package) const override;
    [[nodiscard]] QString packageNameByDesktopFile(const QString &desktopFile) const override;

    const MadeTransactions made = MadeTransactions::create();
    QString desktopFileOwner; // what packageNameByDesktopFile() answers

private:
    ScriptedTransaction *make(const QString &name);

    QStringList *m_journal;
};
