#pragma once

#include "accountstate.h"
#include "itemfilter.h"
#include "osinfo.h"
#include "scenecallback.h"
#include "store/application.h"
#include "store/backplate.h"
#include "store/category.h"
#include "store/company.h"
#include "store/resultpage.h"
#include "store/review.h"
#include "store/user.h"

#include <QJSValue>
#include <QMap>
#include <QMultiMap>
#include <QNetworkConfiguration>
#include <QObject>
#include <QSet>
#include <QStringList>
#include <QVariantMap>

#include <memory>

class StoreImageProvider;

namespace Store {
class RequestProxy;
class Server;
} // namespace Store

/**
 * The facade of the store for the scene and the shell: how far the connection has come,
 * and what the store has told so far. Reads never block: a miss answers with nothing and
 * starts a fetch, and the caller reads again when the signal comes.
 *
 * It starts nothing by itself; the first tryConnect() sets it moving, and who needs the
 * store waits for connectionStateChanged() with Ready. Main thread only.
 */
class OrvikStore : public QObject
{
    Q_OBJECT
    Q_PROPERTY(bool isOnline READ isOnline NOTIFY onlineStatusChanged)
    Q_PROPERTY(ConnectionState connectionState READ connectionState NOTIFY connectionStateChanged)
    Q_PROPERTY(QString user READ user CONSTANT)
    Q_PROPERTY(QString userName READ userName CONSTANT)
    Q_PROPERTY(OsUpdateStatus osUpdateStatus READ osUpdateStatus NOTIFY osUpdateStatusChanged)
    Q_PROPERTY(AccountState::State accountState READ accountState NOTIFY accountStateChanged)

public:
    enum ConnectionState {
        Initial = 0, // nothing has happened yet
        Unauthorized = 1, // no usable account, or sign-in failed
        Authorizing = 2, // sign-in is in progress
        Authorized = 3, // signed in, endpoints not asked for
        Connecting = 4, // discovery is running
        Ready = 5, // all requests may be made
        ServerError = 6 // discovery failed
    };
    Q_ENUM(ConnectionState)

    enum OsUpdateStatus {
        OsUpdateUnknown = 0, // no check has run
        OsUpToDate = 1,
        OsUpdateChecking = 2,
        OsUpdateAvailable = 3 // an update's details have arrived
    };
    Q_ENUM(OsUpdateStatus)

    /** @param provider keeps the images; not owned, must outlive the facade. */
    OrvikStore(StoreImageProvider *provider, QObject *parent);
    ~OrvikStore() override;

    [[nodiscard]] bool isOnline() const;
    [[nodiscard]] ConnectionState connectionState() const;
    [[nodiscard]] QString user() const;
    [[nodiscard]] QString userName() const;
    [[nodiscard]] OsUpdateStatus osUpdateStatus() const;
    [[nodiscard]] AccountState::State accountState() const;

    // For the shell.
    [[nodiscard]] QNetworkConfiguration::BearerType bearerType() const;
    [[nodiscard]] bool isConnectionActive() const;
    [[nodiscard]] QString accountName() const;
    [[nodiscard]] QString accessToken() const;
    [[nodiscard]] QString osVersion() const;
    void setOsVersion(const QString &version);
    void setDomain(const QString &domain);
    void reportDeveloperModeEnabled();
    /**
     * Asks the store which OS version is the newest; the answer is osUpdateInfo(), where an
     * empty offer may come ahead of the real one. Before the store has been discovered nothing
     * comes, and the status stays OsUpdateChecking.
     */
    void checkForOsUpdate();
    /** Uuid of the category with the maker's own applications. */
    [[nodiscard]] QString storeCategory() const;

    // For the models.
    /** The cached record, or a default one (not valid), which isn't kept. Never null. */
    [[nodiscard]] Store::Application::ConstPtr application(const QString &uuid) const;
    /** Uuids of the applications that this user has installed. */
    [[nodiscard]] QSet<QString> installedApplications() const;
    // Requests: null if they cannot be sent yet. The proxy deletes itself at its end; see
    // Store::Server for what each delivers.
    Store::RequestProxy *requestApplications(const ItemFilter::Expression::ConstPtr &filter);
    Store::RequestProxy *requestFeedItems(int count);
    Store::RequestProxy *requestReviews(const QString &uuid, int limit);
    Store::RequestProxy *requestLikes(const QString &uuid, int limit);
    Store::RequestProxy *requestIsLiked(const QString &uuid);
    Store::RequestProxy *like(const QString &uuid);
    Store::RequestProxy *unlike(const QString &uuid);
    Store::RequestProxy *requestSearchCompletions(const QString &text);
    bool requestNext(const Store::ResultPage &page, Store::RequestProxy *proxy);
    /** Caches a valid record and announces it by applicationReceived(). */
    void addApplication(const Store::Application::ConstPtr &app);
    /** Replaces a cached record and announces it by applicationDataUpdated(). */
    void replaceApplication(const Store::Application::ConstPtr &app);
    /** The URL of a "scaled://" image for a size; any other @p url as it is. */
    [[nodiscard]] QString scaledImageUrl(const QString &url, int width, int height) const;

    // For the scene as well, in the order that it sees.
    /** Makes a record for a package that the store doesn't know. @return its uuid. */
    Q_INVOKABLE QString makeLocalApplication(const QString &name, const QString &version,
                                             const QString &summary, const QString &packageName);
    /** Uuid of the first known application with that package, else empty. */
    Q_INVOKABLE [[nodiscard]] QString cachedApplicationUuid(const QString &packageName) const;
    /** Moves the connection forward from wherever it stands. */
    Q_INVOKABLE void tryConnect();
    /** Asks for a connection, by the system's dialog if need be. */
    Q_INVOKABLE void tryGoOnline();
    /** Uuids of the categories below @p parent, in the store's order. */
    Q_INVOKABLE [[nodiscard]] QStringList categories(const QString &parent) const;
    /** Tell the store what this user has, or has no more; noted here at once. */
    Q_INVOKABLE void postStoreInstalled(const QString &uuid);
    Q_INVOKABLE void postStoreUninstalled(const QString &uuid);
    /** Notes that the application was installed now; announced by applicationUpdated(). */
    Q_INVOKABLE void updateInstalledOn(const QString &uuid);
    /**
     * Posts a review (@p uuid empty), edits one, or (@p review empty) deletes it. It is shown
     * at once by reviewSent(), a new one under a temporary uuid.
     */
    Q_INVOKABLE void sendReview(const QString &uuid, const QString &appUuid, const QString &review,
                                const QString &version);
    /** What is known; empty if it has to be fetched first, which applicationReceived() ends. */
    Q_INVOKABLE QVariantMap applicationData(const QString &uuid);
    /**
     * Finds the application of a package; the answer is packageResolved(), with an empty uuid
     * if the store has none. No answer comes before discovery or after a failed request.
     */
    Q_INVOKABLE void resolvePackage(const QString &packageName);
    /** The uuid itself for a category that isn't known. */
    Q_INVOKABLE [[nodiscard]] QString categoryName(const QString &categoryUuid) const;
    /** As applicationData(), ended by companyReceived() and userReceived(). */
    Q_INVOKABLE QVariantMap companyData(const QString &uuid);
    Q_INVOKABLE QVariantMap userData(const QString &uuid);
    /**
     * Calls @p callback with (ready, local URL): at once for an image that is local, cached or
     * nameless, else when it has come or failed. A failure while the connection is being made
     * leaves it waiting. @param width, height in pixels, for a "scaled://" URL.
     */
    Q_INVOKABLE void loadStoreImage(const QString &url, int width, int height,
                                    const QJSValue &callback);
    /** Forgets the first call of loadStoreImage() with that function; the fetch goes on. */
    Q_INVOKABLE void cancelStoreImageCallback(const QJSValue &callback);
    /** The answer is a signal with the back cover's record. */
    Q_INVOKABLE void activateBackplate(const QString &bkpId);
    Q_INVOKABLE [[nodiscard]] QString marketPlacesCategory() const;
    /** Asks for the details of an OS version; the answer to a success is osUpdateInfo(). */
    Q_INVOKABLE void selectOsUpdate(const QString &newOsVersion);

Q_SIGNALS:
    void signUpRequired();
    void applicationReceived(QString uuid);
    void applicationDataUpdated(QString uuid);
    void applicationUpdated(Store::Application::ConstPtr updatedApp);
    void companyReceived(QString uuid);
    void userReceived(QString uuid);
    void backplateActivationReceived(QVariantMap data);
    void categoriesChanged(); // never: categories come before the state is Ready
    void onlineStatusChanged();
    void connectionStateChanged();
    /** @param details a translated text to show to the user. */
    void error(QString details);
    /** @param uuid empty if the store doesn't know the package. */
    void packageResolved(QString packageName, QString uuid);
    void developerModeReported();
    void osUpdateInfo(OsInfo osInfo);
    void osUpdateStatusChanged();
    void reviewSent(Store::Review::ConstPtr review);
    void reviewUuidReceived(QString tempId, QString uuid);
    void accountStateChanged();

private Q_SLOTS:
    void slotAccountStateChanged();
    void slotOnlineStateChanged(bool isOnline);
    void slotServerReady();
    void slotServerFailure(const QString &url);
    void slotInstalledApplicationReceived(const QString &uuid);
    void slotApplicationDataReceived(const Store::Application::ConstPtr &app);
    void slotApplicationReceived(const Store::Application::ConstPtr &app);
    void slotCategoryReceived(const Store::Category::ConstPtr &categ);
    void slotCompanyReceived(const Store::Company::ConstPtr &company);
    void slotUserReceived(const Store::User::ConstPtr &user);
    void slotImageReceived(const QString &url, const QByteArray &data);
    void slotBackplateActivationReceived(const Store::Backplate::ConstPtr &bkp);
    void slotPackageResolved(const Store::Application::ConstPtr &app, bool hasMore);
    void slotOsUpdateVersionReceived(const Store::Application::ConstPtr &app, bool hasMore);
    void slotOsUpdateVersionFinished();
    void slotOsUpdateInfoReceived(const Store::Application::ConstPtr &app, bool hasMore);
    void slotOsUpdateInfoFinished();
    void slotReviewUuidReceived(const QString &uuid);

private:
    void connectToServer();
    void changeConnectionState(ConnectionState state);
    /** Tells all who wait for the image that the failed request for @p url was to bring. */
    void failImage(const QString &url);
    /** Calls all who wait for @p source, the last to ask first, and forgets them. */
    void tellWaiters(const QString &source, bool isReady);
    [[nodiscard]] static OsInfo emptyOsInfo();

    static const QString s_deviceModel; // in lower case
    static const QString s_versionCheckPackage; // its version is the newest OS version
    static const QString s_versionInfoPrefix; // with "-" and a version, the details of that

    std::unique_ptr<Store::Server> m_server;
    StoreImageProvider *m_imageProvider;
    ConnectionState m_connectionState = Initial;
    QString m_user; // uuid of the signed-in user
    QString m_userName;
    QMap<QString, Store::Application::ConstPtr> m_applications; // by uuid
    QSet<QString> m_installedApplications; // uuids
    QMap<QString, Store::Category::ConstPtr> m_categories; // by uuid
    QMap<QString, Store::Company::ConstPtr> m_companies; // by uuid
    QMap<QString, Store::User::ConstPtr> m_users; // by uuid
    QMap<QString, Store::Backplate::ConstPtr> m_backplates; // by back cover id
    QMultiMap<QString, SceneCallback> m_imageCallbacks; // server URL to who waits for it
    QMap<Store::RequestProxy *, QString> m_resolvingPackages; // request to package
    OsUpdateStatus m_osUpdateStatus = OsUpdateUnknown;
    int m_reviewCounter = 0; // number of the next temporary review id
};
