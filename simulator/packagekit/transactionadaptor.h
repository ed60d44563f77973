#pragma once

#include <QDBusAbstractAdaptor>
#include <QDBusMessage>
#include <QVariantMap>

class PackageTransaction;

/**
 * The interface org.freedesktop.PackageKit.Transaction as the daemons 1.2.x spell it. Each
 * method that starts work hands its role and arguments to the PackageTransaction. The
 * signals stand here for whoever introspects the object; they are sent by hand, since
 * emitted ones pass through a queue of the toolkit and may overtake a reply or get lost
 * when the object goes away.
 */
class TransactionAdaptor final : public QDBusAbstractAdaptor
{
    Q_OBJECT
    Q_CLASSINFO("D-Bus Interface", "org.freedesktop.PackageKit.Transaction")
    Q_PROPERTY(uint Role READ role)
    Q_PROPERTY(uint Status READ status)
    Q_PROPERTY(QString LastPackage READ lastPackage)
    Q_PROPERTY(uint Uid READ uid)
    Q_PROPERTY(QString Sender READ sender)
    Q_PROPERTY(uint Percentage READ percentage)
    Q_PROPERTY(bool AllowCancel READ allowCancel)
    Q_PROPERTY(bool CallerActive READ callerActive)
    Q_PROPERTY(uint ElapsedTime READ elapsedTime)
    Q_PROPERTY(uint RemainingTime READ zero)
    Q_PROPERTY(uint Speed READ zero)
    Q_PROPERTY(qulonglong DownloadSizeRemaining READ zero)
    Q_PROPERTY(qulonglong TransactionFlags READ transactionFlags)

public:
    explicit TransactionAdaptor(PackageTransaction *transaction);

    [[nodiscard]] uint role() const;
    [[nodiscard]] uint status() const;
    [[nodiscard]] QString lastPackage() const;
    [[nodiscard]] uint uid() const;
    [[nodiscard]] QString sender() const;
    [[nodiscard]] uint percentage() const;
    [[nodiscard]] bool allowCancel() const;
    [[nodiscard]] bool callerActive() const;
    [[nodiscard]] uint elapsedTime() const;
    [[nodiscard]] uint zero() const { return 0; }
    [[nodiscard]] qulonglong transactionFlags() const;

public Q_SLOTS:
    void SetHints(const QStringList &hints);
    void Cancel(const QDBusMessage &message);
    void DependsOn(qulonglong filter, const QStringList &package_ids, bool recursive,
                   const QDBusMessage &message);
    void GetDetails(const QStringList &package_ids, const QDBusMessage &message);
    void GetFiles(const QStringList &package_ids, const QDBusMessage &message);
    void GetPackages(qulonglong filter, const QDBusMessage &message);
    void GetRepoList(qulonglong filter, const QDBusMessage &message);
    void GetUpdates(qulonglong filter, const QDBusMessage &message);
    void InstallFiles(qulonglong transaction_flags, const QStringList &full_paths,
                      const QDBusMessage &message);
    void InstallPackages(qulonglong transaction_flags, const QStringList &package_ids,
                         const QDBusMessage &message);
    void RefreshCache(bool force, const QDBusMessage &message);
    void RemovePackages(qulonglong transaction_flags, const QStringList &package_ids,
                        bool allow_deps, bool autoremove, const QDBusMessage &message);
    void RepoEnable(const QString &repo_id, bool enabled, const QDBusMessage &message);
    void RepoSetData(const QString &repo_id, const QString &parameter, const QString &value,
                     const QDBusMessage &message);
    void Resolve(qulonglong filter, const QStringList &packages, const QDBusMessage &message);
    void SearchFiles(qulonglong filter, const QStringList &values, const QDBusMessage &message);
    void UpdatePackages(qulonglong transaction_flags, const QStringList &package_ids,
                        const QDBusMessage &message);
    void UpgradeSystem(qulonglong transaction_flags, const QString &distro_id, uint upgrade_kind,
                       const QDBusMessage &message);

Q_SIGNALS:
    void Details(const QVariantMap &data);
    void ErrorCode(uint code, const QString &details);
    void Files(const QString &package_id, const QStringList &file_list);
    void Finished(uint exit, uint runtime);
    void Package(uint info, const QString &package_id, const QString &summary);
    void RepoDetail(const QString &repo_id, const QString &description, bool enabled);
    void Destroy();

private:
    void begin(int role, const QDBusMessage &message);

    PackageTransaction *m_transaction;
};
