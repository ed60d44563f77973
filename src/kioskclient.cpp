#include "kioskclient.h"

#include "applicationstate.h"
#include "cachedirectory.h"
#include "contentgridmodel.h"
#include "contentmodel.h"
#include "dbusconnector.h"
#include "dbusnames.h"
#include "installhandler.h"
#include "mdeclarativecache.h"
#include "orvikstore.h"
#include "packagehandler.h"
#include "qmltypes.h"
#include "sharedimageprovider.h"
#include "storeimageprovider.h"
#include "terminationsignals.h"

#include <QDBusConnection>
#include <QDebug>
#include <QEvent>
#include <QFile>
#include <QFileInfo>
#include <QGuiApplication>
#include <QQmlContext>
#include <QQmlEngine>
#include <QQuickItem>
#include <QQuickView>
#include <QTimer>

#include <chrono>

using namespace std::chrono_literals;

namespace {

constexpr std::chrono::milliseconds inactivityInterval = 120000ms;
constexpr std::chrono::milliseconds dismissDelay = 500ms; // lets the scene fade out
const QLatin1String mainScene("/usr/share/kiosk-client/main.qml");
const QLatin1String upgradeScene("/usr/share/kiosk-client/upgrade.qml");
const QLatin1String upgradeArgument("osupdate");
const QLatin1String developerModePackage("orvik-developer-mode");
const QLatin1String developerModeMarker("developer-mode");
const QLatin1String privilegedGroup("privileged");

// Deletes the handler unless it has been given a parent, which then does it.
void deleteUnlessOwned(PackageHandler *handler)
{
    if (!handler->parent())
        delete handler;
}

} // namespace

KioskClient::KioskClient(const QStringList &arguments)
    : m_dbusConnector(new DBusConnector(arguments, this))
    , m_inactivityTimer(new QTimer(this))
{
    m_inactivityTimer->setSingleShot(true);
    m_inactivityTimer->setInterval(inactivityInterval);
    connect(m_inactivityTimer, &QTimer::timeout, this, &KioskClient::slotInactivityTimer);

    if (m_dbusConnector->hasService()) {
        auto *termination = new TerminationSignals(this);
        connect(termination, &TerminationSignals::requested, qApp, &QCoreApplication::quit);
        registerQmlTypes("org.tarnwell.orvikstore");
        m_packageHandler.reset(new PackageHandler, deleteUnlessOwned);
        m_dbusConnector->setPackageHandler(m_packageHandler);
        const bool hasCachedOsInfo = readCachedOsInfo();
        if (arguments.size() == 1 && arguments.constFirst() == upgradeArgument) {
            createUpgradeUi();
        } else {
            if (hasCachedOsInfo) {
                if (m_osInfo.downloaded)
                    m_packageHandler->setUpgradeProgress(100);
                showSystemUpdateNotification(m_osInfo.version);
            }
            m_inactivityTimer->start();
            m_packageHandler->refreshPackages();
            createStoreObjects();
            connectStoreObjects();
            // The backend learns of the OS version only when everything is wired, and
            // before a command can make it ask for anything.
            retrieveOsVersionAndDomain();
        }
    }
    // Last, so that "show" finds its signal connected.
    m_dbusConnector->processArguments();
}

KioskClient::~KioskClient()
{
    // The window outlives this object. Its scene goes first, while all that it shows exists.
    if (m_view) {
        m_view->removeEventFilter(this);
        m_view->setSource(QUrl());
        m_view->engine()->collectGarbage();
    }
    // The members go from the last to the first. What the earlier ones say on their way out
    // would reach slots that use what has gone already.
    if (m_packageHandler)
        m_packageHandler->disconnect(this);
    if (m_store)
        m_store->disconnect(this);
    if (m_installedModel)
        m_installedModel->disconnect(this);
}

bool KioskClient::hasService() const
{
    return m_dbusConnector->hasService();
}

void KioskClient::createStoreObjects()
{
    m_imageProvider.reset(new StoreImageProvider);
    // The facade holds the provider by a plain pointer, so its own pointer keeps it.
    m_store = QSharedPointer<OrvikStore>(
        new OrvikStore(m_imageProvider.data(), nullptr),
        [provider = m_imageProvider](OrvikStore *store) { delete store; });
    m_dbusConnector->setStore(m_store);
    m_installedModel.reset(new ContentModel);
    m_installedModel->setStore(m_store.data());
    m_installedModel->setPackager(m_packageHandler.data());
    m_installedModel->setSortMode(ContentModel::SortByState);
    m_installedModel->setScope(QStringLiteral("local"));
    m_installedModel->setCategory(QString());
    m_installedModel->setShowStates(ApplicationState::Updatable | ApplicationState::Updating
                                    | ApplicationState::Installing | ApplicationState::Installed);
    m_installedGridModel.reset(new ContentGridModel(m_installedModel));
    m_installHandler.reset(
        new InstallHandler(m_packageHandler, m_store, m_installedModel, nullptr));
    m_dbusConnector->setInstallHandler(m_installHandler);
}

void KioskClient::connectStoreObjects()
{
    const DBusConnector *connector = m_dbusConnector.data();
    connect(connector, &DBusConnector::showRequest, this, &KioskClient::slotRaiseUi);
    connect(connector, &DBusConnector::ensureUiRequest, this, &KioskClient::slotCreateUi);
    connect(connector, &DBusConnector::checkForOsUpdateRequest, this,
            &KioskClient::slotCheckForOsUpdate);
    connect(connector, &DBusConnector::clearOsUpdateCheckCacheRequest, this,
            &KioskClient::slotClearOsUpdateCheckCache);
    connect(connector, &DBusConnector::osUpdateRequest, this,
            &KioskClient::slotOsUpdateUiRequested);

    const OrvikStore *store = m_store.data();
    connect(store, &OrvikStore::connectionStateChanged, this,
            &KioskClient::slotConnectionStateChanged);
    connect(store, &OrvikStore::onlineStatusChanged, this, &KioskClient::slotOnlineStatusChanged);
    connect(store, &OrvikStore::developerModeReported, this,
            &KioskClient::slotDeveloperModeReported);
    connect(store, &OrvikStore::osUpdateInfo, this, &KioskClient::slotOsUpdateInfo);
    connect(store, &OrvikStore::error, this, &KioskClient::slotHandleError);

    const PackageHandler *handler = m_packageHandler.data();
    connect(handler, &PackageHandler::osUpdateInfo, this, &KioskClient::slotOsUpdateInfo);
    connect(handler, &PackageHandler::osUpdateSize, this, &KioskClient::slotOsUpdateSize);
    connect(store, &OrvikStore::osUpdateStatusChanged, this,
            &KioskClient::slotOsUpdateStatusChanged);
    connect(handler, &PackageHandler::distUpgradeStatusChanged, this,
            &KioskClient::slotDistUpgradeStatusChanged);
    connect(handler, &PackageHandler::upgradeProgressChanged, this,
            &KioskClient::slotUpgradeProgressChanged);
    connect(handler, &PackageHandler::packagesCountChanged, this,
            &KioskClient::slotPackagesCountChanged);
    connect(handler, &PackageHandler::installFailed, this, &KioskClient::slotInstallFailed);
    connect(handler, &PackageHandler::sideLoadingFinished, this,
            &KioskClient::slotSideLoadingFinished);
    connect(handler, &PackageHandler::error, this, &KioskClient::slotHandleError);
    connect(handler, &PackageHandler::packageError, this, &KioskClient::slotHandlePackageError);

    connect(m_installedModel.data(), &ContentModel::updateCountChanged, this,
            &KioskClient::slotUpdateCountChanged);
    connect(qGuiApp, &QGuiApplication::applicationStateChanged, this,
            &KioskClient::slotApplicationStateChanged);
    QDBusConnection::systemBus().connect(QString(), DBusNames::RdmPath, DBusNames::RdmInterface,
                                         DBusNames::RegistrationStatusChanged, this,
                                         SLOT(slotRdmRegistrationChanged()));
}

bool KioskClient::eventFilter(QObject *object, QEvent *event)
{
    if (object == m_view) {
        if (event->type() == QEvent::Show) {
            m_uiOpen = true;
            m_inactivityTimer->stop();
        } else if (event->type() == QEvent::Close) {
            handleUiClosed();
        }
    }
    return QObject::eventFilter(object, event);
}

void KioskClient::slotCreateUi()
{
    if (m_view)
        return;
    m_view = MDeclarativeCache::qQuickView();
    m_view->installEventFilter(this);
    QQmlContext *context = m_view->rootContext();
    const auto publish = [context](QLatin1String name, QObject *object) {
        context->setContextProperty(name, object);
    };
    publish(QLatin1String("orvikStore"), m_store.data());
    publish(QLatin1String("dbusConnector"), m_dbusConnector.data());
    publish(QLatin1String("packageHandler"), m_packageHandler.data());
    publish(QLatin1String("installHandler"), m_installHandler.data());
    publish(QLatin1String("installedModel"), m_installedModel.data());
    publish(QLatin1String("installedGridModel"), m_installedGridModel.data());
    context->engine()->addImageProvider(QStringLiteral("store"),
                                        new SharedImageProvider(m_imageProvider));
    m_view->setSource(QUrl::fromLocalFile(mainScene));
    const QObject *root = m_view->rootObject();
    if (!root)
        return;

    connect(m_view->engine(), &QQmlEngine::quit, qApp, &QCoreApplication::quit);
    connect(root, SIGNAL(dismissUi()), this, SLOT(slotDismissUi()));
    connect(root, SIGNAL(systemDialogCreated()), this, SLOT(slotSystemDialogCreated()));
    connect(root, SIGNAL(systemDialogDestroyed()), this, SLOT(slotSystemDialogDestroyed()));
    connect(root, SIGNAL(backplateInstallationFailed(QString)), this,
            SLOT(slotBackplateInstallationFailed(QString)));

    connect(this, SIGNAL(uiOpened()), root, SIGNAL(uiOpened()));
    connect(this, SIGNAL(uiClosed()), root, SIGNAL(uiClosed()));
    const DBusConnector *connector = m_dbusConnector.data();
    connect(connector, SIGNAL(showAppRequest(QString)), root, SIGNAL(showApp(QString)));
    connect(connector, SIGNAL(showAppsStartingWithRequest(QString, QString)), root,
            SIGNAL(showAppsStartingWith(QString, QString)));
    connect(connector, SIGNAL(installRequest(QString)), root, SIGNAL(install(QString)));
    connect(connector, SIGNAL(backplateConnectedRequest(QString)), root,
            SIGNAL(backplateConnected(QString)));
    connect(connector, SIGNAL(backplateDisconnectedRequest()), root,
            SIGNAL(backplateDisconnected()));
    connect(connector, SIGNAL(storeRequest()), root, SIGNAL(enterStore()));
    connect(connector, SIGNAL(updateRequest()), root, SIGNAL(update()));
    m_view->setTitle(qtTrId("orvik-store-ap-name"));
}

void KioskClient::createUpgradeUi()
{
    m_view = MDeclarativeCache::qQuickView();
    m_view->rootContext()->setContextProperty(QStringLiteral("packageHandler"),
                                              m_packageHandler.data());
    m_view->setSource(QUrl::fromLocalFile(upgradeScene));
    const QObject *root = m_view->rootObject();
    if (!root)
        return;
    connect(root, SIGNAL(startUpgrade()), this, SLOT(slotStartUpgrade()));
    connect(root, SIGNAL(releasePackageHandler()), this, SLOT(slotReleasePackageHandler()));
    connect(root, SIGNAL(upgradeInstalled()), this, SLOT(slotUpgradeInstalled()));
    m_view->showFullScreen();
}

void KioskClient::slotRaiseUi()
{
    m_inactivityTimer->stop();
    if (m_view) {
        m_view->raise();
    } else {
        slotCreateUi();
        m_view->showFullScreen();
    }
    m_uiOpen = true;
    Q_EMIT uiOpened();
}

void KioskClient::handleUiClosed()
{
    m_uiOpen = false;
    Q_EMIT uiClosed();
    runDeferredUpdateWork();
    m_inactivityTimer->start();
}

void KioskClient::slotDismissUi()
{
    if (!m_view)
        return;
    // The scene counts as closed at once, and once more when the window really closes.
    QTimer::singleShot(dismissDelay, m_view, &QWindow::close);
    handleUiClosed();
}

void KioskClient::slotApplicationStateChanged(Qt::ApplicationState state)
{
    if (m_uiOpen && state != Qt::ApplicationActive)
        runDeferredUpdateWork();
}

void KioskClient::slotSystemDialogCreated()
{
    ++m_systemDialogCount;
}

void KioskClient::slotSystemDialogDestroyed()
{
    --m_systemDialogCount;
}

void KioskClient::slotInactivityTimer()
{
    if (m_uiOpen) {
        qWarning() << "Shouldn't be here! Something wrong with setting up the inactivity timer.";
        return;
    }
    if (isBusy()) {
        qDebug() << "-- still busy, restarting inactivity timer";
        m_inactivityTimer->start();
    } else {
        qDebug() << "-- quiting, inactivity timer expired";
        QCoreApplication::quit();
    }
}

bool KioskClient::isBusy() const
{
    return m_dbusConnector->isBusy() || (m_packageHandler && m_packageHandler->isBusy())
        || m_systemDialogCount >= 1;
}

bool KioskClient::isUiActive() const
{
    return m_uiOpen && QGuiApplication::applicationState() == Qt::ApplicationActive;
}

bool KioskClient::isStoreReady() const
{
    return m_store->connectionState() == OrvikStore::Ready;
}

void KioskClient::slotStartUpgrade()
{
    if (m_packageHandler)
        m_packageHandler->installOsUpdate(m_osInfo.version);
}

void KioskClient::slotReleasePackageHandler()
{
    if (!m_packageHandler)
        return;
    // Nobody may use a handler that is about to go, so all pointers to it go at once. Until
    // it is deleted it belongs to this object, which covers an end before that.
    m_packageHandler->setParent(this);
    m_packageHandler->deleteLater();
    m_view->rootContext()->setContextProperty(QStringLiteral("packageHandler"),
                                              static_cast<QObject *>(nullptr));
    m_dbusConnector->releasePackageHandler();
    m_packageHandler.clear();
}

void KioskClient::slotConnectionStateChanged()
{
    if (!isStoreReady())
        return;
    slotPackagesCountChanged();
    resumePendingRequests();
}

void KioskClient::slotOnlineStatusChanged()
{
    resumePendingRequests();
}

void KioskClient::resumePendingRequests()
{
    if (!m_pendingOsUpdateVersion.isEmpty())
        slotOsUpdateUiRequested(m_pendingOsUpdateVersion);
    if (m_checkAfterConnect)
        checkForUpdate();
}

void KioskClient::slotPackagesCountChanged()
{
    if (m_store->connectionState() == OrvikStore::Unauthorized) {
        m_installedModel->reset();
        return;
    }
    if (!isStoreReady())
        return;
    if (!m_developerModeReported)
        reportDeveloperMode();
    if (m_installedModel->rowCount(QModelIndex()) == 0 && m_packageHandler->packagesCount() > 0)
        m_installedModel->refresh();
}

/**
 * Tells the store once that the device is in developer mode. A marker remembers that; only
 * this program runs in the group that makes a marker count.
 */
void KioskClient::reportDeveloperMode()
{
    const QFileInfo marker(cacheDirectory().filePath(developerModeMarker));
    if (marker.exists()) {
        if (marker.group() == privilegedGroup)
            return;
        QFile::remove(marker.filePath());
    }
    if (m_packageHandler->knownPackages().contains(developerModePackage))
        m_store->reportDeveloperModeEnabled();
}

void KioskClient::slotDeveloperModeReported()
{
    m_developerModeReported = true;
    QFile marker(cacheDirectory().filePath(developerModeMarker));
    if (!marker.open(QIODevice::WriteOnly))
        qWarning() << "Could not write" << marker.fileName();
}
