#include "client.h"

#include <QDBusConnection>
#include <QDBusConnectionInterface>
#include <QDBusMessage>
#include <QDBusServiceWatcher>
#include <QEventLoop>
#include <QJsonDocument>
#include <QTimer>

#include <chrono>
#include <csignal>

using namespace std::chrono_literals;

namespace {

constexpr auto startTimeout = 15000ms;
constexpr int stopTimeout = 10000; // milliseconds
constexpr int callTimeout = 15000; // milliseconds

const QString service = QStringLiteral("com.orvik.orvikstore");
const QString path = QStringLiteral("/KioskClient");

} // namespace

Client::Client(QObject *parent)
    : QObject(parent)
{
    QDBusConnection bus = QDBusConnection::sessionBus();
    const auto hear = [this, &bus](const QString &signal, const char *slot) {
        bus.connect(service, path, service, signal, this, slot);
    };
    hear(QStringLiteral("packageProgressChanged"), SIGNAL(packageProgress(QString, int)));
    hear(QStringLiteral("installPackageResult"), SIGNAL(installed(QString, bool)));
    hear(QStringLiteral("removePackageResult"), SIGNAL(removed(QString, bool)));
    hear(QStringLiteral("osUpdateStatusChanged"), SIGNAL(osUpdateStatus(int)));
    hear(QStringLiteral("osUpdateProgressChanged"), SIGNAL(osUpdateProgress(int)));
    hear(QStringLiteral("osUpdateInfo"), SLOT(onOsUpdateInfo(QDBusMessage)));
    QDBusConnection::systemBus().connect(QStringLiteral("org.kiosk.Simulator.Store"),
                                         QStringLiteral("/org/kiosk/Simulator"),
                                         QStringLiteral("org.kiosk.Simulator1"),
                                         QStringLiteral("Recorded"), this, SIGNAL(storeAsked()));
    m_process.setProcessChannelMode(QProcess::MergedChannels);
    m_process.setStandardOutputFile(log());
}

Client::~Client()
{
    if (m_process.state() != QProcess::NotRunning)
        stop();
}

bool Client::start(const QStringList &arguments)
{
    QEventLoop loop;
    QDBusServiceWatcher watcher(service, QDBusConnection::sessionBus(),
                                QDBusServiceWatcher::WatchForRegistration);
    connect(&watcher, &QDBusServiceWatcher::serviceRegistered, &loop, [&loop] { loop.exit(0); });
    connect(&m_process, QOverload<int, QProcess::ExitStatus>::of(&QProcess::finished), &loop,
            [&loop] { loop.exit(1); });
    QTimer::singleShot(startTimeout, &loop, [&loop] { loop.exit(1); });
    // As the phone's user in the group whose files the client trusts.
    m_process.start(QStringLiteral("setpriv"),
                    QStringList{QStringLiteral("--reuid"), QStringLiteral("1000"),
                                QStringLiteral("--regid"), QStringLiteral("996"),
                                QStringLiteral("--clear-groups"), QStringLiteral("env"),
                                QStringLiteral("XDG_RUNTIME_DIR=/run/user/1000"),
                                qEnvironmentVariable("KIOSK_CLIENT")}
                        + arguments);
    return loop.exec() == 0;
}

int Client::stop()
{
    if (m_process.state() != QProcess::NotRunning)
        ::kill(pid_t(m_process.processId()), SIGTERM);
    m_process.waitForFinished(stopTimeout);
    return m_process.exitStatus() == QProcess::NormalExit ? m_process.exitCode() : -1;
}

QString Client::log() const
{
    return qEnvironmentVariable("XDG_RUNTIME_DIR") + QStringLiteral("/kiosk-client.log");
}

void Client::call(const QString &method, const QVariantList &arguments)
{
    QDBusMessage message = QDBusMessage::createMethodCall(service, path, service, method);
    message.setArguments(arguments);
    QDBusConnection::sessionBus().send(message);
}

QVariantList Client::ask(const QString &method)
{
    const QDBusMessage message = QDBusMessage::createMethodCall(service, path, service, method);
    return QDBusConnection::sessionBus()
        .call(message, QDBus::BlockWithGui, callTimeout)
        .arguments();
}

QJsonObject Client::simulator(const QString &part, const QString &verb,
                              const QJsonObject &arguments)
{
    QDBusMessage message = QDBusMessage::createMethodCall(
        QStringLiteral("org.kiosk.Simulator.") + part, QStringLiteral("/org/kiosk/Simulator"),
        QStringLiteral("org.kiosk.Simulator1"), QStringLiteral("Command"));
    message << verb << QString::fromUtf8(QJsonDocument(arguments).toJson(QJsonDocument::Compact));
    const QDBusMessage reply = QDBusConnection::systemBus().call(message);
    return QJsonDocument::fromJson(reply.arguments().value(0).toString().toUtf8()).object();
}

void Client::onOsUpdateInfo(const QDBusMessage &message)
{
    const QVariantList values = message.arguments();
    Q_EMIT osUpdateOffered(values.value(0).toString(), values.value(1).toString(),
                           values.value(6).toLongLong(), values.value(7).toLongLong());
}
