#pragma once

#include "application.h"
#include "feed.h"
#include "resultpage.h"
#include "review.h"

#include <QByteArray>
#include <QObject>
#include <QPointer>
#include <QStringList>
#include <QTimer>
#include <QUrl>

class QNetworkAccessManager;
class QNetworkReply;
class QNetworkRequest;

namespace Store {

/**
 * The handle of one logical request to the store, over all its transfers: it retries what
 * a repetition can mend, survives the loss of a reply, and delivers results.
 *
 * Made by Store::Server. The caller connects to the result signals and to finished(), may
 * cancel(), never deletes it and must not touch it after finished(). A proxy that is
 * cancelled from within a result signal may emit finished() a second time. One that was cut
 * off without a retry under way stays silent until it is cancelled.
 *
 * A transfer that fails is repeated after 250 ms, at most five times over all transfers of
 * the request; not if the server's answer is one that a repetition can't mend, and never
 * a PUT.
 */
class RequestProxy : public QObject
{
    Q_OBJECT

public:
    /** @param manager carries out the transfers; not owned, and may go away any time. */
    explicit RequestProxy(QNetworkAccessManager *manager);
    ~RequestProxy() override;

    void get(const QNetworkRequest &request);
    void post(const QNetworkRequest &request, const QByteArray &data);
    void put(const QNetworkRequest &request, const QByteArray &data);
    void deleteResource(const QNetworkRequest &request);

    /** Takes over @p reply, in place of an earlier one; the count of retries goes on. */
    void setReply(QNetworkReply *reply);

    /** Ends the request: emits finished() and deletes the proxy later. */
    void finish();
    /** As finish(), and silences all results. Doesn't stop the transfer. */
    void cancel();

    [[nodiscard]] bool isRunning() const;
    [[nodiscard]] bool isCancelled() const;

    /** The current reply, null before the first transfer and after the reply was lost. */
    [[nodiscard]] QNetworkReply *reply() const;
    /** URL of the latest transfer, known also after the reply was lost. */
    [[nodiscard]] QUrl url() const;
    /** Reads what the current reply holds, within the limit that a body has; once. */
    [[nodiscard]] QByteArray takeBody();

    /** A tag of the caller's that rides along. */
    [[nodiscard]] QString id() const;
    void setId(const QString &id);

    /** A quiet proxy logs no failed transfer. */
    void setQuiet(bool quiet);

    // Results; silent on a cancelled proxy. For Store::Server.
    void sendApplication(const Application::ConstPtr &app, bool hasMore);
    void sendFeed(const Feed::ConstPtr &feed);
    void sendLikeCount(int count);
    void sendPage(const ResultPage &page);
    void sendReview(const Review::ConstPtr &review, bool hasMore);
    void sendSearchCompletion(const QStringList &words);
    void sendReviewUuid(const QString &uuid);

Q_SIGNALS:
    /**
     * One application of a list; the list's end is an invalid one with hasMore false,
     * which a list that failed doesn't get.
     */
    void applicationReceived(Store::Application::ConstPtr app, bool hasMore);
    void feedReceived(Store::Feed::ConstPtr feed);
    void likeCountReceived(int count);
    /** A page has been read and a further one exists. */
    void pageReceived(Store::ResultPage page);
    /** @param hasMore false for the last review of a page. */
    void reviewReceived(Store::Review::ConstPtr review, bool hasMore);
    void searchCompletionReceived(QStringList words);
    /** The server's uuid for a review just sent. */
    void reviewUuidReceived(QString uuid);
    /** The request is over, with or without result. */
    void finished();
    /** A transfer ended without error. For Store::Server. */
    void replyFinished();
    /** The transfer failed for good. For Store::Server. */
    void error();

private Q_SLOTS:
    void slotReplyFinished();
    void slotReplyDestroyed();
    void slotRetry();

private:
    /** Aborts a transfer that brings more than any page of the store could hold. */
    void limitBody();

    QString m_id; // the caller's tag
    QByteArray m_data; // body of the last POST or PUT, for the replay
    QPointer<QNetworkAccessManager> m_manager;
    QNetworkReply *m_reply = nullptr; // only the proxy schedules its deletion
    bool m_cancelled = false;
    bool m_quiet = false;
    int m_retries = 0; // over all transfers
    QTimer m_timer; // delay of the next retry
    QUrl m_url; // of the latest transfer, since a lost reply can't be asked
};

} // namespace Store
