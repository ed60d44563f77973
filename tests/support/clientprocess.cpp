#include "clientprocess.h"

#include <QDBusConnection>
#include <QDBusConnectionInterface>
#include <QDBusReply>
#include <QDBusServiceWatcher>
#include <QDeadlineTimer>
#include <QEventLoop>
#include <QTimer>

namespace {

const QString serviceName = QStringLiteral("com.orvik.orvikstore");
constexpr int endTimeout = 5000; // milliseconds until a process is no longer asked to end

} // namespace

ClientProcess::ClientProcess(const QStringList &arguments, Identity identity, QObject *parent)
    : QObject(parent)
    , m_command(commandAs(identity, QStringList{qEnvironmentVariable("KIOSK_CLIENT")} + arguments))
{
    m_process.setProcessChannelMode(QProcess::MergedChannels);
    m_process.setProcessEnvironment(QProcessEnvironment::systemEnvironment());
    connect(&m_process, &QProcess::readyRead, this, &ClientProcess::readLog);
    connect(&m_process, &QProcess::stateChanged, this, &ClientProcess::changed);
}

ClientProcess::~ClientProcess()
{
    m_process.disconnect(this);
    if (!isRunning())
        return;
    m_process.terminate();
    if (!m_process.waitForFinished(endTimeout)) {
        m_process.kill();
        m_process.waitForFinished();
    }
}

void ClientProcess::setEnvironment(const QString &name, const QString &value)
{
    QProcessEnvironment environment = m_process.processEnvironment();
    environment.insert(name, value);
    m_process.setProcessEnvironment(environment);
}

bool ClientProcess::start()
{
    m_process.start(m_command.first(), m_command.mid(1));
    return m_process.waitForStarted();
}

bool ClientProcess::startService(int timeout)
{
    QDBusServiceWatcher watcher(serviceName, QDBusConnection::sessionBus(),
                                QDBusServiceWatcher::WatchForRegistration);
    connect(&watcher, &QDBusServiceWatcher::serviceRegistered, this, &ClientProcess::changed);
    if (!start())
        return false;
    const auto owned = [this] {
        const QDBusReply<uint> owner =
            QDBusConnection::sessionBus().interface()->servicePid(serviceName);
        return owner.isValid() && qint64(owner.value()) == processId();
    };
    return waitUntil([this, &owned] { return owned() || !isRunning(); }, timeout) && isRunning();
}

bool ClientProcess::waitForLog(const QString &text, int timeout)
{
    return waitUntil([this, &text] { return !m_log.filter(text).isEmpty(); }, timeout);
}

bool ClientProcess::waitForEnd(int timeout)
{
    return waitUntil([this] { return !isRunning(); }, timeout);
}

void ClientProcess::readLog()
{
    m_partialLine += m_process.readAll();
    const QList<QByteArray> lines = m_partialLine.split('\n');
    m_partialLine = lines.last();
    for (int i = 0; i + 1 < lines.size(); ++i)
        m_log.append(QString::fromUtf8(lines.at(i)));
    Q_EMIT changed();
}

bool ClientProcess::waitUntil(const std::function<bool()> &condition, int timeout)
{
    const QDeadlineTimer deadline(timeout);
    while (!condition()) {
        if (deadline.hasExpired())
            return false;
        QEventLoop loop;
        connect(this, &ClientProcess::changed, &loop, &QEventLoop::quit);
        QTimer::singleShot(int(deadline.remainingTime()) + 1, &loop, &QEventLoop::quit);
        loop.exec();
    }
    return true;
}
