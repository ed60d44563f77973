#pragma once

#include <QList>
#include <QObject>
#include <QSharedPointer>
#include <QVariantList>

/**
 * One notification of this application on the session's notification service.
 *
 * An object is made, filled, published and thrown away; what has been published lives on
 * in the service, and notifications() finds it again, also in a later process. Without a
 * session bus, publish() and close() do nothing; a service that is missing or refuses costs
 * each of them at most two seconds and a warning in the log, and publish() the number.
 */
class Notification : public QObject
{
    Q_OBJECT

public:
    explicit Notification(QObject *parent = nullptr);
    ~Notification() override;

    /**
     * What this application has published and nobody has closed, oldest first. The service
     * can't be asked: what was closed while no process of this application ran is listed
     * until the service itself is another.
     */
    [[nodiscard]] static QList<QSharedPointer<Notification>> notifications();

    [[nodiscard]] QString category() const;
    void setCategory(const QString &category);

    /** Name shown as the sender; by default the application's display name. */
    [[nodiscard]] QString appName() const;
    void setAppName(const QString &appName);

    [[nodiscard]] QString summary() const;
    void setSummary(const QString &summary);
    [[nodiscard]] QString body() const;
    void setBody(const QString &body);
    [[nodiscard]] QString previewSummary() const;
    void setPreviewSummary(const QString &summary);
    [[nodiscard]] QString previewBody() const;
    void setPreviewBody(const QString &body);

    /** How many things the notification stands for; 1 by default. */
    [[nodiscard]] int itemCount() const;
    void setItemCount(int count);

    /** Number that the service has given; before publish() that to renew, or 0. */
    [[nodiscard]] uint replacesId() const;
    /** Makes publish() renew the notification of that number in place. */
    void setReplacesId(uint id);

    /** The D-Bus call, on the session bus, that a tap on the notification makes. */
    void setRemoteDBusCallServiceName(const QString &service);
    void setRemoteDBusCallObjectPath(const QString &path);
    void setRemoteDBusCallInterface(const QString &interface);
    void setRemoteDBusCallMethodName(const QString &method);
    void setRemoteDBusCallArguments(const QVariantList &arguments);
    [[nodiscard]] QString remoteDBusCallServiceName() const;
    [[nodiscard]] QString remoteDBusCallObjectPath() const;
    [[nodiscard]] QString remoteDBusCallInterface() const;
    [[nodiscard]] QString remoteDBusCallMethodName() const;
    [[nodiscard]] QVariantList remoteDBusCallArguments() const;

    /** Shows or renews the notification; replacesId() tells its number afterwards. */
    void publish();
    /** Takes the notification of replacesId() away. */
    void close();

private:
    struct Content;
    friend class NotificationJournal;
    QScopedPointer<Content> m_content;
};
