#pragma once

#include "osinfo.h"

#include <QObject>
#include <QSharedPointer>
#include <QString>
#include <QStringList>

class ContentGridModel;
class ContentModel;
class DBusConnector;
class InstallHandler;
class OrvikStore;
class PackageHandler;
class QQuickView;
class QTimer;
class StoreImageProvider;

/**
 * The program as one object: it owns all that lives as long as the process, builds it in a
 * fixed order, makes the window when somebody asks for one, and ends the process when
 * nothing is left to do.
 *
 * Its members are told in three files: the process and its window in kioskclient.cpp, the
 * notifications in kioskclientnotifications.cpp, the OS update in kioskclientosupdate.cpp.
 * Main thread only.
 */
class KioskClient : public QObject
{
    Q_OBJECT

public:
    /**
     * Brings everything up and carries out the command line. In a process that doesn't win
     * the service name that is all: the command has been forwarded when this returns.
     * @param arguments without the program's name. The single argument "osupdate" brings up
     *        the installer of a downloaded OS update alone.
     */
    explicit KioskClient(const QStringList &arguments);
    ~KioskClient() override;

    /** This process is the service and is to enter its event loop. */
    [[nodiscard]] bool hasService() const;

    bool eventFilter(QObject *object, QEvent *event) override;

Q_SIGNALS:
    void uiOpened();
    void uiClosed();

private Q_SLOTS:
    void slotCreateUi();
    void slotRaiseUi();
    void slotDismissUi();
    void slotUpdateCountChanged();
    void slotPackagesCountChanged();
    void slotConnectionStateChanged();
    void slotOnlineStatusChanged();
    void slotCheckForOsUpdate(bool refreshCache, bool forced);
    void slotClearOsUpdateCheckCache();
    void slotOsUpdateUiRequested(QString version);
    void slotInactivityTimer();
    void slotStartUpgrade();
    void slotReleasePackageHandler();
    void slotUpgradeInstalled();
    void slotInstallFailed(QString packageName);
    void slotSideLoadingFinished(QString packageName, bool success);
    void slotOsUpdateInfo(OsInfo osInfo);
    void slotOsUpdateSize(qlonglong downloadSize, qlonglong installSize, qlonglong removeSize);
    void slotUpgradeProgressChanged();
    void slotOsUpdateStatusChanged();
    void slotDistUpgradeStatusChanged();
    void slotSystemDialogCreated();
    void slotSystemDialogDestroyed();
    void slotDeveloperModeReported();
    void slotHandleError(QString details);
    void slotHandlePackageError(QString details, QString packageName);
    void slotApplicationStateChanged(Qt::ApplicationState state);
    void slotRdmRegistrationChanged();
    void slotBackplateInstallationFailed(QString reason);

private:
    /** How far the one automatic check of a run has come. */
    enum UpdateCheckStage {
        UpdateCheckIdle = 0, // none has run
        UpdateCheckRunning = 1,
        UpdateSizeDeferred = 2, // the size query waits for the UI to go
        UpdateSizeRunning = 3,
        UpdateCheckDone = 4 // finished, or a check was asked for
    };

    // The process.
    void createStoreObjects();
    void connectStoreObjects();
    void createUpgradeUi();
    void handleUiClosed();
    [[nodiscard]] bool isUiActive() const;
    [[nodiscard]] bool isBusy() const;
    [[nodiscard]] bool isStoreReady() const;
    void resumePendingRequests();
    void reportDeveloperMode();

    // Notifications.
    [[nodiscard]] QString displayName(const QString &packageName) const;
    void showUpdatesNotification(int count, const QStringList &names);
    void showSystemUpdateNotification(const QString &version);
    void showUpgradeDownloadedNotification();
    void showErrorNotification(const QString &details);

    // The OS and its update.
    void retrieveOsVersionAndDomain();
    bool readCachedOsInfo();
    void writeCachedOsInfo();
    void checkForUpdate();
    void runDeferredUpdateWork();
    void publishOsUpdateInfo();
    void showBranwickOsSettings();

    QSharedPointer<DBusConnector> m_dbusConnector;
    QSharedPointer<PackageHandler> m_packageHandler; // null without the name, or once released
    QSharedPointer<OrvikStore> m_store; // this and the next four also null in "osupdate" mode
    QSharedPointer<InstallHandler> m_installHandler;
    QSharedPointer<StoreImageProvider> m_imageProvider;
    QSharedPointer<ContentModel> m_installedModel;
    QSharedPointer<ContentGridModel> m_installedGridModel;
    QQuickView *m_view = nullptr; // the one window, not ours; null until it is asked for
    QTimer *m_inactivityTimer;
    bool m_uiOpen = false;
    bool m_checkAfterConnect = false; // a check for updates waits for the store
    int m_systemDialogCount = 0; // open in the scene
    bool m_developerModeReported = false; // in this run
    OsInfo m_osInfo; // the update on offer
    QString m_osCodeName; // of the running OS
    QString m_pendingOsUpdateVersion; // its page waits for the store
    UpdateCheckStage m_updateCheckStage = UpdateCheckIdle;
};
