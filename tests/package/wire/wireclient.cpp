#include "wireclient.h"

#include <QDBusObjectPath>
#include <QDBusPendingCallWatcher>
#include <QDBusPendingReply>
#include <QDBusReply>
#include <QDeadlineTimer>
#include <QEventLoop>
#include <QTimer>

namespace {

const QString service = QStringLiteral("org.freedesktop.PackageKit");
const QString daemonPath = QStringLiteral("/org/freedesktop/PackageKit");
const QString transactionInterface = QStringLiteral("org.freedesktop.PackageKit.Transaction");

QString textOf(const QVariant &value)
{
    if (value.userType() == qMetaTypeId<QDBusArgument>())
        return QStringLiteral("...");
    if (value.type() == QVariant::StringList)
        return value.toStringList().join(QLatin1Char(','));
    if (value.type() == QVariant::Bool)
        return value.toBool() ? QStringLiteral("1") : QStringLiteral("0");
    return value.toString();
}

} // namespace

QStringList only(const QStringList &events, const QStringList &starts)
{
    QStringList chosen;
    for (const QString &event : events) {
        for (const QString &start : starts) {
            if (event.startsWith(start)) {
                chosen.append(event);
                break;
            }
        }
    }
    return chosen;
}

WireClient::WireClient(const QString &connection, QObject *parent)
    : QObject(parent)
    , m_connection(QDBusConnection::connectToBus(QDBusConnection::SystemBus, connection))
{
    const auto listen = [this](const QString &interface, const QString &name) {
        m_connection.connect(service, QString(), interface, name, this,
                             SLOT(onSignal(QDBusMessage)));
    };
    listen(service, QStringLiteral("TransactionListChanged"));
    listen(QStringLiteral("org.freedesktop.DBus.Properties"), QStringLiteral("PropertiesChanged"));
    for (const char *name :
         {"Package", "Files", "RepoDetail", "Details", "ErrorCode", "Finished", "Destroy"})
        listen(transactionInterface, QLatin1String(name));
}

WireClient::~WireClient()
{
    QDBusConnection::disconnectFromBus(m_connection.name());
}

QString WireClient::create()
{
    const QDBusMessage message = QDBusMessage::createMethodCall(
        service, daemonPath, service, QStringLiteral("CreateTransaction"));
    const QDBusReply<QDBusObjectPath> reply = m_connection.call(message);
    return reply.value().path();
}

void WireClient::call(const QString &path, const QString &method, const QVariantList &arguments)
{
    QDBusMessage message =
        QDBusMessage::createMethodCall(service, path, transactionInterface, method);
    message.setArguments(arguments);
    auto *watcher = new QDBusPendingCallWatcher(m_connection.asyncCall(message), this);
    connect(watcher, &QDBusPendingCallWatcher::finished, this,
            [this, path](QDBusPendingCallWatcher *finished) {
                if (finished->isError()) {
                    note(path,
                         QStringLiteral("error %1 %2")
                             .arg(finished->error().name(), finished->error().message()));
                } else {
                    note(path, QStringLiteral("reply"));
                }
                finished->deleteLater();
            });
}

QStringList WireClient::run(const QString &method, const QVariantList &arguments, int timeout)
{
    const QString path = create();
    call(path, method, arguments);
    QDeadlineTimer deadline(timeout);
    while (!hasEnded(path) && !deadline.hasExpired()) {
        QEventLoop loop;
        connect(this, &WireClient::happened, &loop, &QEventLoop::quit);
        QTimer::singleShot(int(deadline.remainingTime()) + 1, &loop, &QEventLoop::quit);
        loop.exec();
    }
    return events(path);
}

bool WireClient::hasEnded(const QString &path) const
{
    const QStringList events = m_events.value(path);
    const bool refused = !only(events, {QStringLiteral("error ")}).isEmpty();
    return refused
        || (!only(events, {QStringLiteral("Finished ")}).isEmpty()
            && events.contains(QStringLiteral("delisted"))
            && events.contains(QStringLiteral("reply")));
}

bool WireClient::waitFor(const QString &path, const QString &start, int timeout)
{
    QDeadlineTimer deadline(timeout);
    while (only(events(path), {start}).isEmpty()) {
        if (deadline.hasExpired())
            return false;
        QEventLoop loop;
        connect(this, &WireClient::happened, &loop, &QEventLoop::quit);
        QTimer::singleShot(int(deadline.remainingTime()) + 1, &loop, &QEventLoop::quit);
        loop.exec();
    }
    return true;
}

void WireClient::onSignal(const QDBusMessage &message)
{
    const QVariantList arguments = message.arguments();
    if (message.member() == QLatin1String("TransactionListChanged")) {
        noteList(arguments.value(0).toStringList());
    } else if (message.member() == QLatin1String("PropertiesChanged")) {
        noteProperties(message.path(), qdbus_cast<QVariantMap>(arguments.value(1)));
    } else {
        QStringList words{message.member()};
        for (const QVariant &argument : arguments)
            words.append(textOf(argument));
        note(message.path(), words.join(QLatin1Char(' ')));
    }
}

void WireClient::noteProperties(const QString &path, const QVariantMap &properties)
{
    for (auto property = properties.begin(); property != properties.end(); ++property)
        note(path, property.key() + QLatin1Char(' ') + textOf(property.value()));
}

void WireClient::noteList(const QStringList &list)
{
    for (const QString &path : list) {
        if (!m_listed.contains(path))
            note(path, QStringLiteral("listed"));
    }
    const QStringList before = m_listed;
    m_listed = list;
    for (const QString &path : before) {
        if (!list.contains(path))
            note(path, QStringLiteral("delisted"));
    }
}

void WireClient::note(const QString &path, const QString &event)
{
    m_events[path].append(event);
    Q_EMIT happened();
}
