#include "packagedaemon.h"

#include "daemonadaptor.h"
#include "packagetransaction.h"
#include "simulatorcontrol.h"

#include <QDBusConnection>
#include <QDBusConnectionInterface>
#include <QDBusError>
#include <QFile>
#include <QJsonDocument>
#include <QMetaEnum>
#include <QRandomGenerator>
#include <QTextStream>
#include <QTimer>

#include <unistd.h>

namespace {

const QString serviceName = QStringLiteral("org.freedesktop.PackageKit");
const QString objectPath = QStringLiteral("/org/freedesktop/PackageKit");
constexpr int updatesDelay = 100; // milliseconds from a change to UpdatesChanged

QString roleName(Role role)
{
    const char *name = QMetaEnum::fromType<Transaction::Role>().valueToKey(role);
    return name ? QString::fromLatin1(name).mid(int(qstrlen("Role"))) : QString::number(role);
}

} // namespace

PackageDaemon::PackageDaemon(PhonePackages &phone, SimulatorControl &control, QObject *parent)
    : QObject(parent)
    , m_control(control)
    , m_planner(phone, m_timing)
{
    new DaemonAdaptor(this); // a child, which the bus finds
    m_callers.setConnection(QDBusConnection::systemBus());
    m_callers.setWatchMode(QDBusServiceWatcher::WatchForUnregistration);
    connect(&m_callers, &QDBusServiceWatcher::serviceUnregistered, this,
            &PackageDaemon::onCallerLeft);
}

bool PackageDaemon::publish()
{
    QDBusConnection bus = QDBusConnection::systemBus();
    if (bus.registerObject(objectPath, this, QDBusConnection::ExportAdaptors)
        && bus.registerService(serviceName))
        return true;
    QTextStream(stderr) << "could not publish " << serviceName << ": " << bus.lastError().message()
                        << '\n';
    return false;
}

void PackageDaemon::setFaultFile(const QString &path)
{
    m_faultFile = path;
    QFile file(path);
    if (file.open(QIODevice::ReadOnly))
        m_faults.restore(QJsonDocument::fromJson(file.readAll()).array());
}

void PackageDaemon::saveFaults() const
{
    QFile file(m_faultFile);
    if (file.open(QIODevice::WriteOnly))
        file.write(QJsonDocument(m_faults.toJson()).toJson());
}

Fault PackageDaemon::takeFault(Role role)
{
    if (m_faults.isEmpty())
        return {};
    Fault fault = m_faults.take(role);
    saveFaults();
    return fault;
}

QString PackageDaemon::nextPath()
{
    QString letters;
    for (int i = 0; i < 8; ++i)
        letters.append(QChar(ushort('a' + QRandomGenerator::global()->bounded(5))));
    return QStringLiteral("/%1_%2").arg(++m_made).arg(letters);
}

QString PackageDaemon::createTransaction(const QString &sender)
{
    m_callers.addWatchedService(sender);
    return (new PackageTransaction(*this, nextPath(), sender))->path();
}

QString PackageDaemon::createForeign(Role role, int duration)
{
    auto *transaction = new PackageTransaction(*this, nextPath(), QString());
    transaction->beginForeign(role, duration);
    return transaction->path();
}

void PackageDaemon::reset()
{
    m_faults.clear();
    saveFaults();
    m_timing = Timing();
    const QVector<PackageTransaction *> list = m_list;
    for (PackageTransaction *transaction : list)
        transaction->endNow(Transaction::ExitCancelled);
}

QStringList PackageDaemon::transactionPaths() const
{
    QStringList paths;
    for (const PackageTransaction *transaction : m_list)
        paths.append(transaction->path());
    return paths;
}

void PackageDaemon::enlist(PackageTransaction *transaction)
{
    m_list.append(transaction);
    announceList();
}

void PackageDaemon::delist(PackageTransaction *transaction)
{
    // One that was cancelled before its turn may not have come into the list at all.
    m_list.removeAll(transaction);
    updateLocked();
    announceList();
    const uint role = transaction->role();
    if (role == Transaction::RoleRepoEnable || role == Transaction::RoleRepoSetData)
        sendSignal(objectPath, serviceName, QStringLiteral("RepoListChanged"));
    if (transaction->isExclusive() || role == Transaction::RoleRepoEnable)
        QTimer::singleShot(updatesDelay, this, &PackageDaemon::announceUpdates);
    schedule();
}

void PackageDaemon::schedule()
{
    const auto isBusy = [](const PackageTransaction *transaction) {
        return transaction->isRunning() && transaction->isExclusive();
    };
    const QVector<PackageTransaction *> list = m_list;
    for (PackageTransaction *transaction : list) {
        const bool mayRun =
            !transaction->isExclusive() || std::none_of(m_list.begin(), m_list.end(), isBusy);
        if (transaction->isWaiting() && mayRun)
            transaction->run();
    }
    updateLocked();
}

void PackageDaemon::updateLocked()
{
    const bool locked =
        std::any_of(m_list.begin(), m_list.end(), [](const PackageTransaction *transaction) {
            return transaction->isRunning() && transaction->isExclusive();
        });
    if (locked == m_locked)
        return;
    m_locked = locked;
    announceProperties(objectPath, serviceName, {{QStringLiteral("Locked"), locked}});
}

void PackageDaemon::announceList()
{
    sendSignal(objectPath, serviceName, QStringLiteral("TransactionListChanged"),
               {transactionPaths()});
}

void PackageDaemon::announceUpdates() const
{
    sendSignal(objectPath, serviceName, QStringLiteral("UpdatesChanged"));
}

void PackageDaemon::sendSignal(const QString &path, const QString &interface, const QString &name,
                               const QVariantList &arguments)
{
    QDBusMessage signal = QDBusMessage::createSignal(path, interface, name);
    signal.setArguments(arguments);
    QDBusConnection::systemBus().send(signal);
}

void PackageDaemon::announceProperties(const QString &path, const QString &interface,
                                       const QVariantMap &properties)
{
    sendSignal(path, QStringLiteral("org.freedesktop.DBus.Properties"),
               QStringLiteral("PropertiesChanged"), {interface, properties, QStringList()});
}

void PackageDaemon::recordCall(Role role, const QDBusMessage &message)
{
    m_control.record(
        {{QStringLiteral("kind"), QStringLiteral("call")},
         {QStringLiteral("role"), roleName(role)},
         {QStringLiteral("transaction"), message.path()},
         {QStringLiteral("arguments"), QJsonArray::fromVariantList(message.arguments())}});
}

void PackageDaemon::recordEnd(const PackageTransaction *transaction, const QString &kind,
                              Transaction::Exit exit)
{
    m_control.record({{QStringLiteral("kind"), kind},
                      {QStringLiteral("role"), roleName(Role(transaction->role()))},
                      {QStringLiteral("transaction"), transaction->path()},
                      {QStringLiteral("exit"), int(exit)}});
}

void PackageDaemon::recordDaemonCall(const QString &method)
{
    m_control.record({{QStringLiteral("kind"), QStringLiteral("call")},
                      {QStringLiteral("role"), method},
                      {QStringLiteral("arguments"), QJsonArray()}});
}

void PackageDaemon::die()
{
    // A question that the bus answers: what was sent before it has then arrived.
    QDBusConnection::systemBus().interface()->isServiceRegistered(serviceName);
    ::_exit(1);
}

void PackageDaemon::onCallerLeft(const QString &sender)
{
    m_callers.removeWatchedService(sender);
    const auto transactions =
        findChildren<PackageTransaction *>(QString(), Qt::FindDirectChildrenOnly);
    for (PackageTransaction *transaction : transactions) {
        if (transaction->sender() == sender)
            transaction->callerLeft();
    }
}
