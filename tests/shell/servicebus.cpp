#include "servicebus.h"

#include <QDBusConnection>
#include <QDBusConnectionInterface>
#include <QDBusMessage>
#include <QJsonDocument>
#include <QTest>

namespace ServiceBus {

const QString name = QStringLiteral("com.orvik.orvikstore");
const BusTarget target{name, QStringLiteral("/KioskClient"), name};

bool isOwned()
{
    return QDBusConnection::sessionBus().interface()->isServiceRegistered(name);
}

QVariantList call(const char *method, const QVariantList &arguments)
{
    QDBusMessage message =
        QDBusMessage::createMethodCall(name, target.path, name, QLatin1String(method));
    message.setArguments(arguments);
    const QDBusMessage reply = QDBusConnection::sessionBus().call(message);
    if (reply.type() != QDBusMessage::ReplyMessage)
        QTest::qFail(qPrintable(reply.errorMessage()), __FILE__, __LINE__);
    return reply.arguments();
}

std::unique_ptr<BusSignal> listen(const char *signal)
{
    return std::make_unique<BusSignal>(QDBusConnection::sessionBus(), QString(), target.path, name,
                                       QLatin1String(signal));
}

} // namespace ServiceBus

QJsonObject json(const QByteArray &text)
{
    const QJsonDocument document = QJsonDocument::fromJson(text);
    if (!document.isObject())
        qFatal("no JSON object: %s", text.constData());
    return document.object();
}
