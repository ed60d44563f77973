#pragma once

#include "notification.h"

#include <QDBusConnection>
#include <QDBusMessage>
#include <QObject>

#include <functional>

/** What a notification says and does. */
struct Notification::Content
{
    uint id = 0; // given by the service
    QString category;
    QString appName;
    QString summary;
    QString body;
    QString previewSummary;
    QString previewBody;
    int itemCount = 1;
    QString service; // of the remote call; no call if empty
    QString path;
    QString interface;
    QString method;
    QVariantList arguments;

    /** The hints of a Notify call that carry what its other arguments have no place for. */
    [[nodiscard]] QVariantMap hints() const;

    void write(QDataStream &stream) const;
    [[nodiscard]] static Content read(QDataStream &stream);
};

/**
 * Speaks with the session's notification service for all notifications of this
 * application, and keeps the record of what is on show.
 *
 * The service itself can't be asked. So the record lies in a file of the runtime
 * directory, where the next process of this application finds it. It names the bus and
 * the service's owner on it: once either is another, the numbers mean nothing any more and
 * the record is void. Notifications are thrown away as soon as they are published; this
 * object, which lives as long as the application object, hears what becomes of them.
 */
class NotificationJournal : public QObject
{
    Q_OBJECT

public:
    using Contents = QList<Notification::Content>;

    /** The journal of this process; null without an application object or a session bus. */
    [[nodiscard]] static NotificationJournal *instance();

    /** What is on show, oldest first. */
    [[nodiscard]] Contents contents();

    /**
     * Shows @p content, in place of what has its number if that is ours and still on show.
     * @return its number, 0 if the service didn't take it.
     */
    uint publish(const Notification::Content &content);

    /** Takes the notification @p id away. */
    void close(uint id);

private Q_SLOTS:
    // They take the message for its sender: a signal may arrive when the service that sent
    // it has been replaced, and its numbers have been given anew.
    void slotNotificationClosed(const QDBusMessage &message);
    void slotActionInvoked(const QDBusMessage &message);

private:
    explicit NotificationJournal(QObject *parent);

    struct Record
    {
        QString owner; // the bus, and the service's connection to it
        Contents contents;
    };
    [[nodiscard]] Record read() const;
    void change(const std::function<void(Record &)> &edit);
    [[nodiscard]] QString presentOwner() const;
    [[nodiscard]] QString ownerId(const QString &uniqueName) const;
    [[nodiscard]] static Contents valid(const Record &record, const QString &owner);
    [[nodiscard]] static bool contains(const Contents &contents, uint id);
    static void removeFrom(Record &record, uint id);

    QDBusConnection m_bus;
    QString m_busId; // unlike a connection's name, no two buses have the same
    QString m_fileName;
};
