#pragma once

#include <QMap>
#include <QObject>
#include <QSet>
#include <QSharedPointer>
#include <QStringList>

class ContentModel;
class OrvikStore;
class PackageHandler;
class QDBusInterface;

/**
 * Ties together the three parties of a package operation: the package queue that does it,
 * the store that is told about it, and the home screen, whose launcher shows a progress
 * icon for it.
 *
 * The calls to the launcher block until it answers; their results are ignored. Main thread
 * only.
 */
class InstallHandler : public QObject
{
    Q_OBJECT

public:
    InstallHandler(const QSharedPointer<PackageHandler> &packageHandler,
                   const QSharedPointer<OrvikStore> &store,
                   const QSharedPointer<ContentModel> &installedModel, QObject *parent);

    /**
     * Installs or updates an application. What needs the store waits until it is ready.
     * @param uuid the application; "local-…" for one that the store doesn't know, which is
     *        not reported to it; empty for a package without application.
     */
    Q_INVOKABLE void install(const QString &uuid, const QString &packageName);
    /** As install(), with the application that the store finds for the package. */
    Q_INVOKABLE void installByPackageName(const QString &packageName);

private Q_SLOTS:
    void slotPackageStatusChanged(QString packageName);
    void slotPackageResolved(QString packageName, QString uuid);
    void slotInstallFailed(QString packageName);
    void slotSideLoadingFinished(QString packageName, bool success);
    void slotConnectionStateChanged();

private:
    [[nodiscard]] bool isStoreReady() const;
    void announceStart(const QString &packageName);
    void announceStart(const QString &packageName, const QString &label, const QString &icon,
                       const QString &desktopFile);
    void announceEnd(const QString &packageName);
    void handleRemoved(const QString &packageName);
    void handleInstalled(const QString &packageName);

    QDBusInterface *m_launcherModel;
    QSharedPointer<PackageHandler> m_packageHandler;
    QSharedPointer<OrvikStore> m_store;
    QSharedPointer<ContentModel> m_installedModel;
    QSet<QString> m_resolvingPackages; // to be installed once their uuid is known
    QMap<QString, bool> m_uninstalling; // true: removed, the store is still to be told
    QMap<QString, QString> m_installing; // package to application uuid
    QSet<QString> m_updating;
    QStringList m_pendingPackages; // wait for the store to be ready
};
