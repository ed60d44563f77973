#pragma once

#include "accountstate.h"
#include "application.h"
#include "backplate.h"
#include "category.h"
#include "company.h"
#include "feed.h"
#include "imageset.h"
#include "itemfilter.h"
#include "resultpage.h"
#include "review.h"
#include "user.h"

#include <QDateTime>
#include <QList>
#include <QMap>
#include <QNetworkConfiguration>
#include <QObject>
#include <QSet>
#include <QSslError>
#include <QStringList>
#include <QUrl>

class QAuthenticator;
class QNetworkAccessManager;
class QNetworkConfigurationManager;
class QNetworkReply;
class QNetworkRequest;

namespace Store {

class Json;
class RequestProxy;
class StoreAccount;

/**
 * Client of the store's REST API: owns the network access and the account, finds the API's
 * endpoints, builds every request, reads every response, and turns each failure into a
 * message for the user.
 *
 * An operation that returns a RequestProxy returns null if the request can't be sent yet.
 * Main thread only.
 */
class Server : public QObject
{
    Q_OBJECT

public:
    /** @param device model of the device in lower case, which the store filters by. */
    explicit Server(const QString &device, QObject *parent = nullptr);
    ~Server() override;

    [[nodiscard]] bool isOnline() const;
    [[nodiscard]] QNetworkConfiguration::BearerType bearerType() const;
    [[nodiscard]] bool isConnectionActive() const;
    /** Has the home screen offer a connection. @return true if online already. */
    bool goOnline();

    void signIn();
    [[nodiscard]] QString accountName() const;
    [[nodiscard]] QString accessToken() const;
    [[nodiscard]] AccountState::State accountState() const;

    [[nodiscard]] QString osVersion() const;
    void setOsVersion(const QString &version);
    void setDomain(const QString &domain);

    /**
     * Starts the discovery of the API, which ends in ready() or failure(). A schema that can't
     * be read gives error() alone, and one without applications or categories nothing at all.
     */
    void connectToServer();

    /**
     * Fetches the page behind @p page into the same proxy.
     * @return false if there is none, or the proxy has been cancelled.
     */
    bool requestNext(const ResultPage &page, RequestProxy *proxy);

    // Answers by signals of this object come only to transfers that succeeded.

    /** Further pages come on requestNext() only; until then, or cancel(), the proxy waits. */
    RequestProxy *requestApplications(const ItemFilter::Expression::ConstPtr &expression);
    /** The answer is the signal application(). */
    void requestApplicationData(const QString &uuid);
    /** The answer is the signal company(). */
    void requestCompany(const QString &uuid);
    /** The answer is the signal user(). */
    void requestUser(const QString &uuid);
    /** The answer is the signal image(), with @p url as id. */
    void requestImage(const QString &url);
    /** The image set of a "scaled://" identifier, or a new empty one. */
    [[nodiscard]] QSharedPointer<ImageSet> imageSet(const QString &id) const;

    /** @param count size of a page; all pages are delivered. */
    RequestProxy *requestFeedItems(int count);

    /**
     * All pages are delivered; hasMore is false on the last review of each.
     * @param limit size of a page.
     */
    RequestProxy *requestReviews(const QString &uuid, int limit);
    /** Posts a new review (@p uuid empty), or edits or (@p review empty) deletes one. */
    RequestProxy *sendReview(const QString &uuid, const QString &appUuid, const QString &review,
                             const QString &version);
    RequestProxy *requestLikes(const QString &uuid, int limit);
    /**
     * The outcome of these three is the HTTP status, read off the proxy's reply at finished():
     * 200 for liked, 201 and 204 for done.
     */
    RequestProxy *requestIsLiked(const QString &uuid);
    RequestProxy *like(const QString &uuid);
    RequestProxy *unlike(const QString &uuid);
    RequestProxy *requestSearchCompletions(const QString &text);
    /** Notes the installation also where it can't be sent. */
    RequestProxy *postStoreInstalled(const QString &uuid);
    /** Leaves that note as it is. */
    RequestProxy *postStoreUninstalled(const QString &uuid);
    /** Success is told by developerModeReported(). */
    void reportDeveloperModeEnabled();
    RequestProxy *activateBackplate(const QString &bkpId);

Q_SIGNALS:
    void onlineStateChanged(bool online);
    void accountStateChanged();
    /** Discovery is complete. */
    void ready();
    /** A request failed for good. @param uri its URL as text. */
    void failure(QString uri);
    /** @param details a translated text to show to the user. */
    void error(QString details);
    /** One entry of the list of applications that this user has installed. */
    void installedApplication(QString uuid);
    void application(Store::Application::ConstPtr app);
    void category(Store::Category::ConstPtr categ);
    void company(Store::Company::ConstPtr company);
    void user(Store::User::ConstPtr user);
    void backplateActivated(Store::Backplate::ConstPtr bkp);
    void review(Store::Review::ConstPtr review); // never emitted
    /** @param id what requestImage() was given. */
    void image(QString id, QByteArray data);
    void developerModeReported();

private Q_SLOTS:
    void slotAuthenticationRequired(QNetworkReply *reply, QAuthenticator *authenticator);
    void slotSslErrors(QNetworkReply *reply, QList<QSslError> errors);
    void slotSchemaReceived();
    void slotStoreEndPointsReceived();
    void slotSearchEndPointsReceived();
    void slotCategoriesReceived();
    void slotUserReceived();
    void slotFeedItemsReceived();
    void slotInstalledApplicationsReceived();
    void slotDeveloperModeResponse();
    void slotRequestFinished();
    void slotRequestError();
    void slotApplicationListFinished();
    void slotSearchCompletionsFinished();
    void slotReviewListFinished();
    void slotLikesListFinished();
    void slotCompanyFinished();
    void slotUserFinished();
    void slotImageFinished();
    void slotBackplateActivationFinished();
    void slotSendReviewFinished();
    void slotPostResponse();
    void slotApplicationDataFinished();
    void slotTryGoOnlineFinished(); // waits for a probe, which nothing sends at present
    void slotOnlineStateChanged(bool online);

private:
    using Slot = void (Server::*)();

    // Connection: server.cpp
    [[nodiscard]] QNetworkAccessManager *makeAccessManager();
    /** The URL of @p path, which may be relative, absolute or full, with a query. */
    [[nodiscard]] QUrl makeUrl(const QString &path, const QStringList &queryParts = {}) const;
    /** An authenticated request. */
    [[nodiscard]] QNetworkRequest makeRequest(const QUrl &url) const;
    /** As makeRequest(), for a request with a JSON body. */
    [[nodiscard]] QNetworkRequest makeJsonRequest(const QUrl &url) const;
    /** The parts by which the store chooses what suits this device. */
    [[nodiscard]] QStringList standardQuery() const;
    /** A proxy that this object frees at its end if it hasn't ended by then. */
    [[nodiscard]] RequestProxy *makeProxy();
    void connectProxy(RequestProxy *proxy, Slot finished, Slot failed = &Server::slotRequestError);
    RequestProxy *get(const QNetworkRequest &request, Slot finished,
                      Slot failed = &Server::slotRequestError);
    RequestProxy *post(const QUrl &url, const QVariantMap &content, Slot finished,
                       Slot failed = &Server::slotRequestError);
    RequestProxy *deleteResource(const QNetworkRequest &request, Slot finished,
                                 Slot failed = &Server::slotRequestError);
    /** Gets what is not being fetched already, under @p id. */
    void fetchOnce(const QUrl &url, Slot finished, const QString &id = QString());
    /** The proxy whose signal is being handled; null in a direct call. */
    [[nodiscard]] RequestProxy *senderProxy() const;
    /** Logs what has become of @p reply, with its body, and tells the user where due. */
    void reportFailure(const QNetworkReply *reply, const QString &text);
    static void logParseError(const RequestProxy &proxy, const Json &json);
    void showError(const char *messageId);

    // Discovery: serverdiscovery.cpp
    /** Gets a description of the API by its path; not part of the discovery. */
    void requestSchema(const QString &path);
    void requestSearchEndPoints();
    void requestCategories();
    void requestOwnUser();
    void requestInstalledApplications();

    // Readers: serverreaders.cpp
    [[nodiscard]] Application::ConstPtr readApplication(const Json &json, bool fromTopList);
    [[nodiscard]] Feed::ConstPtr readFeed(const Json &json);
    [[nodiscard]] static Review::ConstPtr readReview(const Json &json);
    [[nodiscard]] static Company::ConstPtr readCompany(const Json &json);
    [[nodiscard]] static User::ConstPtr readUser(const Json &json, bool ownProfile);
    /** The image of @p listKey in all its sizes, else the plain reference of @p plainKey. */
    [[nodiscard]] QString readImage(const Json &json, const QString &listKey,
                                    const QString &plainKey);

    QNetworkConfigurationManager *m_networkConfigurationManager; // child
    QNetworkAccessManager *m_networkAccessManager; // child, replaced when coming online
    const QString m_authUser; // for authentication challenges, not the user's
    const QString m_authPassword;
    const QString m_device;
    QString m_osVersion;
    QString m_domain;
    StoreAccount *m_account; // child
    User::ConstPtr m_currentUser; // null until read
    QString m_feedEndpoint;
    QString m_applicationEndpoint;
    QString m_categoryEndpoint;
    QString m_companyEndpoint;
    QString m_likeEndpoint;
    QString m_myApplicationsEndpoint;
    QString m_profileEndpoint;
    QString m_reviewEndpoint;
    QString m_searchBase;
    QString m_searchEndpoint;
    QString m_topEndpoint;
    QString m_userEndpoint;
    QString m_backplateEndpoint;
    QMap<QString, QDateTime> m_installedApplications; // application uuid to installation time
    QSet<QUrl> m_pendingUrls; // of fetches in flight that must not be doubled
    ImageSets m_scaledImages;
    int m_categoryCount = 0; // index of the next category
    QSet<RequestProxy *> m_proxies; // those that haven't ended
};

} // namespace Store
