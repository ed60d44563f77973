#include "phone.h"

#include "measure.h"

#include <QCoreApplication>
#include <QDBusConnection>
#include <QDBusReply>
#include <QDBusServiceWatcher>
#include <QJsonDocument>

namespace Bench {

const QString clientService = QStringLiteral("com.orvik.orvikstore");

QJsonObject tellPhone(const QString &part, const QString &verb, const QJsonObject &arguments)
{
    QDBusMessage call = QDBusMessage::createMethodCall(
        QStringLiteral("org.kiosk.Simulator.") + part, QStringLiteral("/org/kiosk/Simulator"),
        QStringLiteral("org.kiosk.Simulator1"), QStringLiteral("Command"));
    call << verb << QString::fromUtf8(QJsonDocument(arguments).toJson(QJsonDocument::Compact));
    const QDBusReply<QString> reply = QDBusConnection::systemBus().call(call);
    const QJsonObject answer = QJsonDocument::fromJson(reply.value().toUtf8()).object();
    if (!reply.isValid() || answer.contains(QLatin1String("error")))
        giveUp(part + QLatin1Char(' ') + verb + QStringLiteral(": ") + reply.error().message()
               + answer[QLatin1String("error")].toString());
    return answer;
}

QDBusMessage clientCall(const QString &service, const QString &method,
                        const QVariantList &arguments)
{
    QDBusMessage call = QDBusMessage::createMethodCall(service, QStringLiteral("/KioskClient"),
                                                       clientService, method);
    call.setArguments(arguments);
    return call;
}

QString programFolder()
{
    return QCoreApplication::applicationDirPath() + QLatin1Char('/');
}

Program::Program(const QString &program, const QStringList &arguments, const QString &service)
{
    bool isThere = false;
    const QDBusServiceWatcher watcher(service, QDBusConnection::sessionBus(),
                                      QDBusServiceWatcher::WatchForRegistration);
    QObject::connect(&watcher, &QDBusServiceWatcher::serviceRegistered, &watcher,
                     [&isThere] { isThere = true; });
    m_process.setStandardErrorFile(QProcess::nullDevice());
    m_secondsToName = secondsOf([&] {
        m_process.start(programFolder() + program, arguments);
        waitUntil("a program's name", [&isThere] { return isThere; });
    });
}

Program::~Program()
{
    m_process.kill();
    m_process.waitForFinished();
}

QByteArray Program::end()
{
    m_process.terminate();
    m_process.waitForFinished();
    return m_process.readAllStandardOutput();
}

} // namespace Bench
