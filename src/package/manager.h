#pragma once

#include <QList>
#include <QObject>
#include <QSharedPointer>
#include <QStringList>

namespace Package {

class Transaction;

/**
 * Makes transactions, and answers what needs none. A transaction comes unstarted and
 * without a parent; the caller connects it and starts it. Results are written into records
 * behind shared pointers, to be read in the slot that success() reaches.
 */
class Manager : public QObject
{
    Q_OBJECT

public:
    struct PackageInformation
    {
        using Ptr = QSharedPointer<PackageInformation>;

        QString name;
        QString version; // as the package manager gave it
        QString summary;
        QString file; // path of the package file, where one was read
    };

    struct UpgradeInformation
    {
        using Ptr = QSharedPointer<UpgradeInformation>;

        QString version; // of the offered OS update, as the package gave it
        QString summary;
        qint64 downloadSize = -1; // bytes
        qint64 installSize = -1; // bytes
        qint64 removeSize = -1; // bytes
    };

    struct PackageListEntry
    {
        QString name;
        QString version;
        QString summary;
    };

    /** A list that can be sealed against late additions. */
    class PackageList
    {
    public:
        using Ptr = QSharedPointer<PackageList>;

        void clear();
        void seal();
        /** Does nothing once the list is sealed. */
        void add(const PackageListEntry &entry);
        [[nodiscard]] const QList<PackageListEntry> &entries() const;

    private:
        bool m_sealed = false;
        QList<PackageListEntry> m_entries;
    };

    explicit Manager(QObject *parent = nullptr);
    ~Manager() override;

    /** success() means that an update exists. @param info takes what was found. */
    virtual Transaction *createDistCheckTransaction(UpgradeInformation::Ptr info,
                                                    bool refreshCache) = 0;
    /** @param info takes the sizes, in bytes. */
    virtual Transaction *createOsUpdateSizeTransaction(UpgradeInformation::Ptr info) = 0;
    /** @param downloadOnly fetches the update's packages; else they are installed. */
    virtual Transaction *createDistUpgradeTransaction(bool downloadOnly) = 0;
    /** @param list takes what is installed. */
    virtual Transaction *createListTransaction(PackageList::Ptr list) = 0;
    /** @param package a name, or the path of a package file. */
    virtual Transaction *createInstallTransaction(const QString &package,
                                                  PackageInformation::Ptr info) = 0;
    /** @param autoRemove also what nothing else needs. */
    virtual Transaction *createUninstallTransaction(const QString &package, bool autoRemove) = 0;
    /** Reads @p packageFile at once, before it returns. */
    virtual Transaction *createInfoTransaction(const QString &packageFile,
                                               PackageInformation::Ptr info) = 0;
    /** @param files must outlive the transaction. */
    virtual Transaction *createPackageFilesTransaction(const QString &package,
                                                       QStringList *files) = 0;
    /** Which installed package owns @p file. Nobody is a success with an empty name. */
    virtual Transaction *createPackageNameTransaction(const QString &file,
                                                      PackageInformation::Ptr info) = 0;
    /**
     * Isolates repositories around @p wrapped, which it doesn't own.
     * @param version the release to switch to; empty leaves it alone.
     * @param restoreVersion put the release back after a success, too.
     * @param requiredRepositories the ones that stay enabled, or are made so.
     */
    virtual Transaction *createRepositoryTransaction(Transaction *wrapped, const QString &version,
                                                     bool restoreVersion,
                                                     const QStringList &requiredRepositories) = 0;
    /** Below, equal to or above zero. Forms "[epoch:]version-release"; releases don't count. */
    [[nodiscard]] virtual int compareVersions(const QString &a, const QString &b) const = 0;
    /**
     * Desktop files of an installed package, of the package in an rpm file (a path that begins
     * with "/"), or of an Android package ("quayside-apk-…"), whose launchers they are.
     */
    [[nodiscard]] virtual QStringList packageDesktopFiles(const QString &package) const = 0;
    /** Empty if no installed package is known to own the file. */
    [[nodiscard]] virtual QString packageNameByDesktopFile(const QString &desktopFile) const = 0;

Q_SIGNALS:
    /** The daemon has had nothing to do for a while. */
    void packageManagerIdle();
    /**
     * The daemon's list has changed and holds at least two transactions, the newest of which
     * isn't a switch of a repository. Whose they are isn't asked.
     */
    void packageManagerForeignRequested();
};

} // namespace Package
