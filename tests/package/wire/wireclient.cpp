#include "wireclient.h"

#include <QDBusObjectPath>
#include <QDBusPendingCallWatcher>
#include <QDBusPendingReply>
#include <QDBusReply>
#include <QTest>

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
        const auto begins = [&](const QString &start) { return event.startsWith(start); };
        if (std::any_of(starts.begin(), starts.end(), begins))
            chosen.append(event);
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
    const QDBusReply<QDBusObjectPath> reply = m_connection.call(QDBusMessage::createMethodCall(
        service, daemonPath, service, QStringLiteral("CreateTransaction")));
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
                const QDBusError error = finished->error();
                note(path,
                     error.isValid()
                         ? QStringLiteral("error %1 %2").arg(error.name(), error.message())
                         : QStringLiteral("reply"));
                finished->deleteLater();
            });
}

QStringList WireClient::run(const QString &method, const QVariantList &arguments)
{
    const QString path = create();
    call(path, method, arguments);
    static_cast<void>(QTest::qWaitFor([=] { return hasEnded(path); }, 30000));
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

bool WireClient::waitFor(const QString &path, const QString &start)
{
    return QTest::qWaitFor([=] { return !only(events(path), {start}).isEmpty(); }, 30000);
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
}
