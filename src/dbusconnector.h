#pragma once

#include "osinfo.h"
#include "startupappdata.h"
#include "store/application.h"

#include <QDBusContext>
#include <QDBusMessage>
#include <QMap>
#include <QObject>
#include <QSet>
#include <QSharedPointer>
#include <QStringList>

class InstallHandler;
class OrvikStore;
class PackageHandler;
class Service;
class StartupAppHelper;

/** What osUpdateStatusChanged() tells on the bus. */
enum OsUpdateAnnouncement {
    OsUpdateBusy = 0, // a check is running, or the update job is pending
    OsUpdateNone = 1, // the device is up to date
    OsUpdateOffered = 2,
    OsUpdateSizing = 3 // the size of an update is being worked out
};

/**
 * The program's presence on D-Bus, and the point where command line and bus meet: it turns
 * requests into signals, to which the client object and the scene listen.
 *
 * It tries to win the service name. A process that wins it is the service; one that doesn't
 * is a forwarder, in which the same operations call the service by a blocking call and
 * ignore the result. An operation whose handler isn't there does nothing. Main thread only.
 */
class DBusConnector : public QObject, public QDBusContext
{
    Q_OBJECT
    Q_CLASSINFO("D-Bus Interface", "com.orvik.orvikstore")

public:
    /** @param arguments the command line without the program's name. */
    DBusConnector(const QStringList &arguments, QObject *parent);
    /** Gives the service name back. */
    ~DBusConnector() override;

    /** This process is the service. */
    [[nodiscard]] bool hasService() const;
    /** Somebody on the bus waits for an outcome. */
    [[nodiscard]] bool isBusy() const;

    void setPackageHandler(const QSharedPointer<PackageHandler> &packageHandler);
    /** Lets the handler go: from here on there is none. */
    void releasePackageHandler();
    void setStore(const QSharedPointer<OrvikStore> &store);
    void setInstallHandler(const QSharedPointer<InstallHandler> &installHandler);

    /** Carries out the command line. An unknown command does nothing. */
    Q_INVOKABLE void processArguments();

    // Carried out here by the service, called on the service by a forwarder.
    void show();
    void showApp(const QString &packageName);
    void showAppsStartingWith(const QString &startsWith, const QString &title);
    void update();
    void upgrade();
    void osUpdateSet(const QString &version);
    void checkForOsUpdate(bool refreshCache, bool forced);
    void clearOsUpdateCheckCache();
    /**
     * Side-loads a package file through the scene, if the device lock allows it.
     * @param packageName the file's path
     */
    void install(const QString &packageName);

    // For the adaptor.
    /**
     * Whether the caller of the method being delivered runs in the group "privileged" or
     * belongs to root; if not, it has been sent an error reply. True outside of a delivery.
     */
    [[nodiscard]] bool isCallerPrivileged();
    void backplateConnected(const QString &id);
    void downloadOsUpdate(const QString &version);
    void getOsUpdateSize(const QString &version);
    void installAccountType(const QString &accountType);
    void checkInstalled(const QString &packageName);
    void installPackage(const QString &packageName);
    void removePackage(const QString &packageName, bool autoRemove);
    void removePackageByDesktopFile(const QString &desktopFile);
    void packageName(const QString &filePath);
    void startupApplications(const QStringList &providerList);
    /** Replies to @p message as soon as the store is signed in to. */
    void storeCredentials(const QDBusMessage &message);
    void packageInfo(const QString &packageName);

    // For the client object.
    /** @param status an OsUpdateAnnouncement. */
    void publishOsUpdateStatus(int status);
    void publishOsUpdateProgress(int progress);
    void publishOsUpdateInfo(const OsInfo &osInfo);

public Q_SLOTS:
    // For the scene.
    /** @param coverImage an image reference, sent on in the size of a preview. */
    void installingAmbience(const QString &filePath, const QString &displayName,
                            const QString &coverImage);
    void installedAmbience(const QString &packagePath, const QString &bkpId);
    void cancelledAmbience(const QString &filePath);

Q_SIGNALS:
    void installRequest(QString packageName);
    void ensureUiRequest();
    void showRequest();
    void showAppRequest(QString packageName);
    void showAppsStartingWithRequest(QString startsWith, QString title);
    void backplateConnectedRequest(QString id);
    void backplateDisconnectedRequest();
    void storeRequest();
    void updateRequest();
    void osUpdateRequest(QString version);
    void checkForOsUpdateRequest(bool refreshCache, bool forced);
    void clearOsUpdateCheckCacheRequest();

private Q_SLOTS:
    void propertiesChanged(QDBusMessage message);
    void showUpdatingRequested(QDBusMessage message);
    void slotPackageStatusChanged(QString package);
    void slotPackageProgressChanged(QString package, int value);
    void slotStartupApplicationsReceived(QList<StartupAppData> applications);
    void slotConnectionStateChangedForStoreCredentials();
    void slotOnlineStatusChangedForDownloadUpgrade();
    void slotOnlineStatusChangedForOsUpdateSize();
    void slotPackageResolved(QString packageName, QString uuid);

private:
    /** What the caller of a package method waits for. */
    enum PendingOutcome {
        InstallRequested = 0,
        InstallProgressDone = 1, // the install has reached 100 percent
        RemovalRequested = 2
    };

    void acquireService();
    template <typename... Arguments>
    bool forward(QLatin1String method, const Arguments &...arguments);
    bool sendStoreCredentials();
    void sendPackageInfo(const Store::Application::ConstPtr &app);

    Service *m_service = nullptr; // the adaptor; null in a forwarder
    QStringList m_arguments;
    QSharedPointer<PackageHandler> m_packageHandler;
    QSharedPointer<OrvikStore> m_store;
    QSharedPointer<InstallHandler> m_installHandler;
    QMap<QString, int> m_pendingPackages; // package to PendingOutcome
    StartupAppHelper *m_startupAppHelper = nullptr; // the one lookup that runs
    QDBusMessage m_pendingCredentialsReply; // invalid: none is due
    QSet<QString> m_pendingPackageInfo; // packages that the store is resolving
    QString m_pendingOsVersion; // of the download or size query that waits for the network
};
