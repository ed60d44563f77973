#include "simulatorclient.h"

#include <QDBusConnection>
#include <QDBusInterface>
#include <QDBusReply>
#include <QDeadlineTimer>
#include <QEventLoop>
#include <QJsonDocument>
#include <QTest>
#include <QTimer>

namespace {

const QString path = QStringLiteral("/org/kiosk/Simulator");
const QString interface = QStringLiteral("org.kiosk.Simulator1");

} // namespace

SimulatorClient::SimulatorClient(const QString &part, QObject *parent)
    : QObject(parent)
    , m_service(QStringLiteral("org.kiosk.Simulator.") + part)
{
    QDBusConnection::systemBus().connect(m_service, path, interface, QStringLiteral("Recorded"),
                                         this, SLOT(onRecorded(QString)));
}

QJsonObject SimulatorClient::command(const QString &verb, const QJsonObject &arguments)
{
    QDBusMessage call =
        QDBusMessage::createMethodCall(m_service, path, interface, QStringLiteral("Command"));
    call << verb << QString::fromUtf8(QJsonDocument(arguments).toJson(QJsonDocument::Compact));
    const QDBusReply<QString> reply = QDBusConnection::systemBus().call(call);
    QJsonObject answer;
    if (reply.isValid())
        answer = QJsonDocument::fromJson(reply.value().toUtf8()).object();
    else
        answer.insert(QStringLiteral("error"), reply.error().message());
    if (answer.contains(QLatin1String("error"))) {
        QTest::qFail(qPrintable(m_service + QLatin1Char(' ') + verb + QStringLiteral(": ")
                                + answer[QLatin1String("error")].toString()),
                     __FILE__, __LINE__);
    }
    return answer;
}

QJsonObject SimulatorClient::command(const char *verb, const QByteArray &arguments)
{
    const QJsonDocument document = QJsonDocument::fromJson(arguments);
    if (!document.isObject())
        QTest::qFail(arguments.constData(), __FILE__, __LINE__);
    return command(QString::fromLatin1(verb), document.object());
}

void SimulatorClient::fault(const QString &at, const QByteArray &description)
{
    QJsonObject arguments = QJsonDocument::fromJson(description).object();
    arguments.insert(QStringLiteral("path"), at);
    command(QStringLiteral("fault"), arguments);
}

QJsonArray SimulatorClient::requests(const QString &below)
{
    QJsonArray requests;
    const QJsonArray all = entries(QStringLiteral("request"));
    for (const QJsonValue &entry : all) {
        if (entry.toObject()[QLatin1String("path")].toString().startsWith(below))
            requests.append(entry);
    }
    return requests;
}

QJsonArray SimulatorClient::entries(const QString &kind)
{
    return command(QStringLiteral("log"),
                   {{QStringLiteral("kind"), kind}})[QLatin1String("entries")]
        .toArray();
}

void SimulatorClient::clearLog()
{
    command(QStringLiteral("clear-log"));
}

QJsonObject SimulatorClient::waitFor(const std::function<bool(const QJsonObject &)> &wanted,
                                     int timeout)
{
    QDeadlineTimer deadline(timeout);
    while (true) {
        QEventLoop loop;
        connect(this, &SimulatorClient::recorded, &loop, &QEventLoop::quit);
        const QJsonArray present = entries();
        for (const QJsonValue &entry : present) {
            if (wanted(entry.toObject()))
                return entry.toObject();
        }
        if (deadline.hasExpired())
            return {};
        QTimer::singleShot(int(deadline.remainingTime()) + 1, &loop, &QEventLoop::quit);
        loop.exec();
    }
}

QJsonObject SimulatorClient::waitForKind(const QString &kind, int timeout)
{
    return waitFor(
        [&kind](const QJsonObject &entry) {
            return entry[QLatin1String("kind")].toString() == kind;
        },
        timeout);
}

void SimulatorClient::onRecorded(const QString &)
{
    Q_EMIT recorded();
}
