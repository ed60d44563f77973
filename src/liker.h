#pragma once

#include <QObject>
#include <QPointer>
#include <QVariant>

class OrvikStore;

/**
 * The likes of one application: how many, and whether the signed-in user's is among them.
 * Nothing is counted before the server has answered. The store must be set first.
 */
class Liker : public QObject
{
    Q_OBJECT
    Q_PROPERTY(QVariant store READ store WRITE setStore)
    Q_PROPERTY(QString application READ application WRITE setApplication NOTIFY applicationChanged)
    Q_PROPERTY(int likes READ likes NOTIFY likesChanged)
    Q_PROPERTY(bool isLiked READ isLiked NOTIFY isLikedChanged)
    Q_PROPERTY(bool loading READ loading NOTIFY loadingChanged)
    Q_PROPERTY(bool busy READ busy NOTIFY busyChanged)

public:
    explicit Liker(QObject *parent = nullptr);

    /** Can only be written: reading gives an invalid value. */
    [[nodiscard]] QVariant store() const;
    /** @param store an OrvikStore as an object, not owned. Anything else is passed over. */
    void setStore(const QVariant &store);
    [[nodiscard]] QString application() const;
    /** Loads both values. An empty or equal uuid does nothing. */
    void setApplication(const QString &uuid);
    [[nodiscard]] int likes() const;
    [[nodiscard]] bool isLiked() const;
    /** The first load is running. */
    [[nodiscard]] bool loading() const;
    /** A request is running. The end of the first load clears it, whatever else still runs. */
    [[nodiscard]] bool busy() const;

    /**
     * Tells the store. Count and state change when it has agreed; after a refusal they stay,
     * and nothing is said.
     */
    Q_INVOKABLE void like();
    Q_INVOKABLE void unlike();

Q_SIGNALS:
    void applicationChanged();
    void likesChanged();
    void isLikedChanged();
    void loadingChanged();
    void busyChanged();

private Q_SLOTS:
    void slotLikeCountReceived(int count);
    void slotListLikesFinished();
    void slotIsLikedFinished();
    void slotLikeFinished();
    void slotUnlikeFinished();

private:
    /** HTTP status of the request that called the present slot, 0 if there is none. */
    [[nodiscard]] int senderStatus() const;
    void setBusy(bool busy);
    void publishLikes();

    QPointer<OrvikStore> m_store;
    QString m_application;
    int m_likes = 0;
    bool m_isLiked = false;
    bool m_loading = false;
    bool m_busy = false;
};
