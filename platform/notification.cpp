#include "notification.h"

#include "notificationjournal.h"

Notification::Notification(QObject *parent)
    : QObject(parent)
    , m_content(new Content)
{ }

Notification::~Notification() = default;

QList<QSharedPointer<Notification>> Notification::notifications()
{
    QList<QSharedPointer<Notification>> list;
    if (NotificationJournal *journal = NotificationJournal::instance()) {
        const NotificationJournal::Contents contents = journal->contents();
        for (const Content &content : contents) {
            list.append(QSharedPointer<Notification>::create());
            *list.last()->m_content = content;
        }
    }
    return list;
}

QString Notification::category() const
{
    return m_content->category;
}

void Notification::setCategory(const QString &category)
{
    m_content->category = category;
}

QString Notification::appName() const
{
    return m_content->appName;
}

void Notification::setAppName(const QString &appName)
{
    m_content->appName = appName;
}

QString Notification::summary() const
{
    return m_content->summary;
}

void Notification::setSummary(const QString &summary)
{
    m_content->summary = summary;
}

QString Notification::body() const
{
    return m_content->body;
}

void Notification::setBody(const QString &body)
{
    m_content->body = body;
}

QString Notification::previewSummary() const
{
    return m_content->previewSummary;
}

void Notification::setPreviewSummary(const QString &summary)
{
    m_content->previewSummary = summary;
}

QString Notification::previewBody() const
{
    return m_content->previewBody;
}

void Notification::setPreviewBody(const QString &body)
{
    m_content->previewBody = body;
}

int Notification::itemCount() const
{
    return m_content->itemCount;
}

void Notification::setItemCount(int count)
{
    m_content->itemCount = count;
}

uint Notification::replacesId() const
{
    return m_content->id;
}

void Notification::setReplacesId(uint id)
{
    m_content->id = id;
}

QString Notification::remoteDBusCallServiceName() const
{
    return m_content->service;
}

void Notification::setRemoteDBusCallServiceName(const QString &service)
{
    m_content->service = service;
}

QString Notification::remoteDBusCallObjectPath() const
{
    return m_content->path;
}

void Notification::setRemoteDBusCallObjectPath(const QString &path)
{
    m_content->path = path;
}

QString Notification::remoteDBusCallInterface() const
{
    return m_content->interface;
}

void Notification::setRemoteDBusCallInterface(const QString &interface)
{
    m_content->interface = interface;
}

QString Notification::remoteDBusCallMethodName() const
{
    return m_content->method;
}

void Notification::setRemoteDBusCallMethodName(const QString &method)
{
    m_content->method = method;
}

QVariantList Notification::remoteDBusCallArguments() const
{
    return m_content->arguments;
}

void Notification::setRemoteDBusCallArguments(const QVariantList &arguments)
{
    m_content->arguments = arguments;
}

void Notification::publish()
{
    if (NotificationJournal *journal = NotificationJournal::instance())
        m_content->id = journal->publish(*m_content);
}

void Notification::close()
{
    if (NotificationJournal *journal = NotificationJournal::instance())
        journal->close(m_content->id);
}
