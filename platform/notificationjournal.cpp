#include "notificationjournal.h"

#include <QCoreApplication>
#include <QDataStream>
#include <QDBusReply>
#include <QDebug>
#include <QDir>
#include <QFile>
#include <QGuiApplication>
#include <QLockFile>
#include <QPointer>
#include <QSaveFile>
#include <QStandardPaths>

#include <algorithm>

namespace {

constexpr int callTimeout = 2000; // ms
constexpr int lockTimeout = 200; // ms
constexpr quint32 fileMagic = 0x4b4e4a31;
constexpr int serverDecides = -1; // how long the notification stays

QString serverName()
{
    return QStringLiteral("org.freedesktop.Notifications");
}

QString serverPath()
{
    return QStringLiteral("/org/freedesktop/Notifications");
}

QDBusMessage serverCall(const QString &method)
{
    return QDBusMessage::createMethodCall(serverName(), serverPath(), serverName(), method);
}

/** The name of the action that a tap on the notification itself invokes. */
QString tapAction()
{
    return QStringLiteral("default");
}

/** Answer to a question to the bus itself, a null text if it has none. */
QString askBus(const QDBusConnection &bus, const QString &method, const QVariantList &arguments)
{
    const QString name = QStringLiteral("org.freedesktop.DBus");
    QDBusMessage call =
        QDBusMessage::createMethodCall(name, QStringLiteral("/org/freedesktop/DBus"), name, method);
    call.setArguments(arguments);
    return QDBusReply<QString>(bus.call(call, QDBus::Block, callTimeout)).value();
}

QString journalFileName()
{
    const QDir folder(QStandardPaths::writableLocation(QStandardPaths::RuntimeLocation));
    return folder.filePath(QCoreApplication::applicationName() + QStringLiteral("-notifications"));
}

} // namespace

QVariantMap Notification::Content::hints() const
{
    QVariantMap hints{{QStringLiteral("x-kiosk-item-count"), itemCount}};
    if (!category.isEmpty())
        hints.insert(QStringLiteral("category"), category);
    if (!previewSummary.isEmpty() || !previewBody.isEmpty()) {
        hints.insert(QStringLiteral("x-kiosk-preview"), QStringList{previewSummary, previewBody});
    }
    if (!service.isEmpty()) {
        hints.insert(QStringLiteral("x-kiosk-action"),
                     QVariantList{service, path, interface, method, QVariant(arguments)});
    }
    return hints;
}

void Notification::Content::write(QDataStream &stream) const
{
    stream << id << category << appName << summary << body << previewSummary << previewBody
           << itemCount << service << path << interface << method << arguments;
}

Notification::Content Notification::Content::read(QDataStream &stream)
{
    Content content;
    stream >> content.id >> content.category >> content.appName >> content.summary >> content.body
        >> content.previewSummary >> content.previewBody >> content.itemCount >> content.service
        >> content.path >> content.interface >> content.method >> content.arguments;
    return content;
}

NotificationJournal *NotificationJournal::instance()
{
    static QPointer<NotificationJournal> journal;
    if (!journal && QCoreApplication::instance() && QDBusConnection::sessionBus().isConnected())
        journal = new NotificationJournal(QCoreApplication::instance());
    return journal;
}

NotificationJournal::NotificationJournal(QObject *parent)
    : QObject(parent)
    , m_bus(QDBusConnection::sessionBus())
    , m_busId(askBus(m_bus, QStringLiteral("GetId"), {}))
    , m_fileName(journalFileName())
{
    m_bus.connect(serverName(), serverPath(), serverName(), QStringLiteral("NotificationClosed"),
                  this, SLOT(slotNotificationClosed(QDBusMessage)));
    m_bus.connect(serverName(), serverPath(), serverName(), QStringLiteral("ActionInvoked"), this,
                  SLOT(slotActionInvoked(QDBusMessage)));
}

NotificationJournal::Contents NotificationJournal::contents()
{
    return valid(read(), presentOwner());
}

uint NotificationJournal::publish(const Notification::Content &content)
{
    // A server that draws only what every server knows still has something to show.
    const bool previewOnly = content.summary.isEmpty() && content.body.isEmpty();
    QDBusMessage call = serverCall(QStringLiteral("Notify"));
    call << (content.appName.isEmpty() ? QGuiApplication::applicationDisplayName()
                                       : content.appName)
         << (contains(contents(), content.id) ? content.id : 0U) << QString()
         << (previewOnly ? content.previewSummary : content.summary)
         << (previewOnly ? content.previewBody : content.body)
         << (content.service.isEmpty() ? QStringList() : QStringList{tapAction(), QString()})
         << content.hints() << serverDecides;
    const QDBusMessage answer = m_bus.call(call, QDBus::Block, callTimeout);
    const QDBusReply<uint> reply(answer);
    if (!reply.isValid()) {
        qWarning() << "Could not publish a notification:" << reply.error().message();
        return 0;
    }

    const QString owner = ownerId(answer.service());
    Notification::Content shown = content;
    shown.id = reply.value();
    change([&](Record &record) {
        record = {owner, valid(record, owner)};
        removeFrom(record, content.id);
        removeFrom(record, shown.id);
        record.contents.append(shown);
    });
    return shown.id;
}

void NotificationJournal::close(uint id)
{
    if (!contains(contents(), id))
        return; // somebody else's, by now
    m_bus.call(serverCall(QStringLiteral("CloseNotification")) << id, QDBus::Block, callTimeout);
    change([id](Record &record) { removeFrom(record, id); });
}

void NotificationJournal::slotNotificationClosed(const QDBusMessage &message)
{
    const uint id = message.arguments().value(0).toUInt();
    const QString sender = ownerId(message.service());
    if (!contains(valid(read(), sender), id))
        return; // every application hears of every notification
    change([&](Record &record) {
        if (record.owner == sender)
            removeFrom(record, id);
    });
}

void NotificationJournal::slotActionInvoked(const QDBusMessage &message)
{
    const uint id = message.arguments().value(0).toUInt();
    if (message.arguments().value(1).toString() != tapAction())
        return;
    const Contents present = valid(read(), ownerId(message.service()));
    for (const Notification::Content &content : present) {
        if (content.id != id || content.service.isEmpty())
            continue;
        QDBusMessage call = QDBusMessage::createMethodCall(content.service, content.path,
                                                           content.interface, content.method);
        call.setArguments(content.arguments);
        m_bus.send(call);
    }
}

NotificationJournal::Record NotificationJournal::read() const
{
    QFile file(m_fileName);
    if (!file.open(QIODevice::ReadOnly))
        return {};
    QDataStream stream(&file);
    stream.setVersion(QDataStream::Qt_5_15);
    quint32 magic = 0;
    quint32 count = 0;
    Record record;
    stream >> magic;
    if (magic != fileMagic)
        return {};
    stream >> record.owner >> count;
    for (; count > 0 && stream.status() == QDataStream::Ok; --count)
        record.contents.append(Notification::Content::read(stream));
    return stream.status() == QDataStream::Ok ? record : Record();
}

void NotificationJournal::change(const std::function<void(Record &)> &edit)
{
    QLockFile lock(m_fileName + QStringLiteral(".lock"));
    if (!lock.tryLock(lockTimeout))
        qWarning() << "Could not lock the record of notifications";
    Record record = read();
    edit(record);

    QSaveFile file(m_fileName);
    if (file.open(QIODevice::WriteOnly)) {
        QDataStream stream(&file);
        stream.setVersion(QDataStream::Qt_5_15);
        stream << fileMagic << record.owner << quint32(record.contents.size());
        for (const Notification::Content &content : qAsConst(record.contents))
            content.write(stream);
    }
    if (!file.commit())
        qWarning() << "Could not write the record of notifications:" << file.errorString();
}

QString NotificationJournal::presentOwner() const
{
    return ownerId(askBus(m_bus, QStringLiteral("GetNameOwner"), {serverName()}));
}

QString NotificationJournal::ownerId(const QString &uniqueName) const
{
    return uniqueName.isEmpty() ? QString() : m_busId + QLatin1Char(' ') + uniqueName;
}

NotificationJournal::Contents NotificationJournal::valid(const Record &record, const QString &owner)
{
    return owner.isEmpty() || record.owner != owner ? Contents() : record.contents;
}

bool NotificationJournal::contains(const Contents &contents, uint id)
{
    return std::any_of(contents.cbegin(), contents.cend(),
                       [id](const Notification::Content &content) { return content.id == id; });
}

void NotificationJournal::removeFrom(Record &record, uint id)
{
    record.contents.erase(
        std::remove_if(record.contents.begin(), record.contents.end(),
                       [id](const Notification::Content &content) { return content.id == id; }),
        record.contents.end());
}
