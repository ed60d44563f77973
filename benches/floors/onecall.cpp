// The floor of a forwarded command: an application that makes one blocking call.

#include <QDBusConnection>
#include <QDBusMessage>
#include <QGuiApplication>

int main(int argc, char *argv[])
{
    const QGuiApplication application(argc, argv);
    const QDBusMessage call = QDBusMessage::createMethodCall(
        QStringLiteral("com.orvik.orvikstore"), QStringLiteral("/KioskClient"),
        QStringLiteral("com.orvik.orvikstore"), QStringLiteral("update"));
    return QDBusConnection::sessionBus().call(call).type() == QDBusMessage::ReplyMessage ? 0 : 1;
}
