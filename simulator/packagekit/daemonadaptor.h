#pragma once

#include <QDBusAbstractAdaptor>
#include <QDBusMessage>
#include <QDBusObjectPath>
#include <QList>
#include <QMap>
#include <QStringList>
#include <QVariantMap>

class PackageDaemon;

/** Answer of GetPackageHistory: for each package what happened to it. */
using PackageHistory = QMap<QString, QList<QVariantMap>>;
Q_DECLARE_METATYPE(PackageHistory)

/**
 * The interface org.freedesktop.PackageKit as the daemons 1.2.x spell it. Its signals are
 * sent by hand, like those of the TransactionAdaptor.
 */
class DaemonAdaptor final : public QDBusAbstractAdaptor
{
    Q_OBJECT
    Q_CLASSINFO("D-Bus Interface", "org.freedesktop.PackageKit")
    Q_PROPERTY(uint VersionMajor READ versionMajor)
    Q_PROPERTY(uint VersionMinor READ versionMinor)
    Q_PROPERTY(uint VersionMicro READ versionMicro)
    Q_PROPERTY(QString BackendName READ backendName)
    Q_PROPERTY(QString BackendDescription READ backendDescription)
    Q_PROPERTY(QString BackendAuthor READ backendAuthor)
    Q_PROPERTY(qulonglong Roles READ roles)
    Q_PROPERTY(qulonglong Groups READ groups)
    Q_PROPERTY(qulonglong Filters READ filters)
    Q_PROPERTY(QStringList MimeTypes READ mimeTypes)
    Q_PROPERTY(bool Locked READ locked)
    Q_PROPERTY(uint NetworkState READ networkState)
    Q_PROPERTY(QString DistroId READ distroId)

public:
    explicit DaemonAdaptor(PackageDaemon *daemon);

    [[nodiscard]] uint versionMajor() const { return 1; }
    [[nodiscard]] uint versionMinor() const { return 2; }
    [[nodiscard]] uint versionMicro() const { return 6; }
    [[nodiscard]] QString backendName() const { return QStringLiteral("simulated"); }
    [[nodiscard]] QString backendDescription() const { return QStringLiteral("Simulated phone"); }
    [[nodiscard]] QString backendAuthor() const { return {}; }
    [[nodiscard]] qulonglong roles() const;
    [[nodiscard]] qulonglong groups() const { return 0; }
    [[nodiscard]] qulonglong filters() const;
    [[nodiscard]] QStringList mimeTypes() const;
    [[nodiscard]] bool locked() const;
    [[nodiscard]] uint networkState() const;
    [[nodiscard]] QString distroId() const { return QStringLiteral("branwick;3;noarch"); }

public Q_SLOTS:
    uint CanAuthorize(const QString &action_id);
    QDBusObjectPath CreateTransaction(const QDBusMessage &message);
    uint GetTimeSinceAction(uint role);
    QList<QDBusObjectPath> GetTransactionList();
    void StateHasChanged(const QString &reason);
    void SuggestDaemonQuit();
    PackageHistory GetPackageHistory(const QStringList &names, uint count);
    QString GetDaemonState();
    void SetProxy(const QString &proxy_http, const QString &proxy_https, const QString &proxy_ftp,
                  const QString &proxy_socks, const QString &no_proxy, const QString &pac);

Q_SIGNALS:
    void TransactionListChanged(const QStringList &transactions);
    void RestartSchedule();
    void RepoListChanged();
    void UpdatesChanged();

private:
    PackageDaemon *m_daemon;
};
