#include "packagetransaction.h"

#include "packagedaemon.h"
#include "transactionadaptor.h"

#include <QDBusConnection>
#include <QFileInfo>

namespace {

const QString errorPrefix = QStringLiteral("org.freedesktop.PackageKit.Transaction.");
const QString interfaceName = QStringLiteral("org.freedesktop.PackageKit.Transaction");
constexpr int ticksPerPhase = 10;

bool isPackageId(const QString &id)
{
    return id.count(QLatin1Char(';')) == 3 && !id.startsWith(QLatin1Char(';'));
}

bool changesThePhone(Role role)
{
    switch (role) {
    case Transaction::RoleInstallFiles:
    case Transaction::RoleInstallPackages:
    case Transaction::RoleRefreshCache:
    case Transaction::RoleRemovePackages:
    case Transaction::RoleRepoEnable:
    case Transaction::RoleRepoSetData:
    case Transaction::RoleUpdatePackages:
    case Transaction::RoleUpgradeSystem:
        return true;
    default:
        return false;
    }
}

bool hasFlags(Role role)
{
    return role == Transaction::RoleInstallFiles || role == Transaction::RoleInstallPackages
        || role == Transaction::RoleRemovePackages || role == Transaction::RoleUpdatePackages
        || role == Transaction::RoleUpgradeSystem;
}

} // namespace

PackageTransaction::PackageTransaction(PackageDaemon &daemon, const QString &path,
                                       const QString &sender)
    : QObject(&daemon)
    , m_daemon(daemon)
    , m_path(path)
    , m_sender(sender)
{
    new TransactionAdaptor(this); // a child, which the bus finds
    connect(&m_ticker, &QTimer::timeout, this, &PackageTransaction::tick);
    QDBusConnection::systemBus().registerObject(path, this, QDBusConnection::ExportAdaptors);
}

uint PackageTransaction::elapsedSeconds() const
{
    return m_runtime.isValid() ? uint(m_runtime.elapsed() / 1000) : 0;
}

bool PackageTransaction::isExclusive() const
{
    // Switching a repository is a matter of a line in a file and waits for nobody.
    return changesThePhone(m_role) && m_role != Transaction::RoleRepoEnable;
}

bool PackageTransaction::needsPermission() const
{
    return changesThePhone(m_role)
        && !(m_flags
             & (Transaction::TransactionFlagSimulate | Transaction::TransactionFlagOnlyDownload));
}

void PackageTransaction::begin(Role role, const QDBusMessage &message)
{
    m_daemon.recordCall(role, message);
    if (message.service() != m_sender) {
        message.setDelayedReply(true);
        QDBusConnection::systemBus().send(message.createErrorReply(
            errorPrefix + QStringLiteral("RefusedByPolicy"),
            QStringLiteral("sender does not match (%1 vs %2)").arg(message.service(), m_sender)));
        return;
    }
    const Fault fault = m_daemon.takeFault(role);
    if (fault.die == QLatin1String("call"))
        m_daemon.die();
    QString name;
    QString text = refusal(role, message.arguments(), &name);
    if (m_state != Created) {
        name = QStringLiteral("InvalidState");
        text = QStringLiteral("the transaction has a role already");
    } else if (!fault.reject.isEmpty()) {
        name = QStringLiteral("NotSupported");
        text = fault.reject;
    }
    if (!text.isEmpty()) {
        refuse(message, name, text);
        return;
    }

    m_fault = fault;
    m_role = role;
    m_arguments = message.arguments();
    announce({{QStringLiteral("Role"), uint(role)}});
    if (hasFlags(role)) {
        m_flags = m_arguments.first().toULongLong();
        announce({{QStringLiteral("TransactionFlags"), m_flags}});
    }
    m_state = Entering;
    if (needsPermission())
        setStatus(Transaction::StatusWaitingForAuth);
    else
        m_daemon.enlist(this);
    QMetaObject::invokeMethod(this, &PackageTransaction::enter, Qt::QueuedConnection);
}

/** What real daemons refuse to begin with, and the name of the error. */
QString PackageTransaction::refusal(Role role, const QVariantList &arguments, QString *name) const
{
    QStringList values;
    for (const QVariant &argument : arguments) {
        if (argument.type() == QVariant::StringList)
            values = argument.toStringList();
    }
    switch (role) {
    case Transaction::RoleResolve:
        *name = QStringLiteral("InputInvalid");
        return values.isEmpty() ? QStringLiteral("Too few items to process") : QString();
    case Transaction::RoleSearchFile:
        *name = QStringLiteral("SearchInvalid");
        return values.value(0).isEmpty() ? QStringLiteral("Search string zero length") : QString();
    case Transaction::RoleInstallFiles:
        *name = QStringLiteral("NoSuchFile");
        for (const QString &file : qAsConst(values)) {
            if (!QFileInfo(file).isFile() || !file.endsWith(QLatin1String(".rpm")))
                return QStringLiteral("File %1 is not found or unsupported").arg(file);
        }
        return {};
    case Transaction::RoleDependsOn:
    case Transaction::RoleGetDetails:
    case Transaction::RoleGetFiles:
    case Transaction::RoleInstallPackages:
    case Transaction::RoleRemovePackages:
    case Transaction::RoleUpdatePackages:
        *name = QStringLiteral("PackageIdInvalid");
        if (values.isEmpty() || !std::all_of(values.begin(), values.end(), isPackageId)) {
            return QStringLiteral("The package id's '%1' are not valid")
                .arg(values.join(QLatin1String("', '")));
        }
        return {};
    default:
        return {};
    }
}

void PackageTransaction::refuse(const QDBusMessage &message, const QString &name,
                                const QString &text)
{
    m_state = Ended;
    send(QStringLiteral("Destroy"));
    message.setDelayedReply(true);
    QDBusConnection::systemBus().send(message.createErrorReply(errorPrefix + name, text));
    m_daemon.recordEnd(this, QStringLiteral("refused"), Transaction::ExitUnknown);
    QDBusConnection::systemBus().unregisterObject(m_path);
    deleteLater();
}

void PackageTransaction::beginForeign(Role role, int duration)
{
    m_role = role;
    Phase phase;
    phase.status = Transaction::StatusRunning;
    phase.duration = duration;
    m_plan = {phase};
    m_state = Entering;
    announce({{QStringLiteral("Role"), uint(role)}});
    if (!needsPermission())
        m_daemon.enlist(this);
    enter();
}

/** After the reply to the method; somebody may have cancelled meanwhile. */
void PackageTransaction::enter()
{
    if (m_state != Entering)
        return;
    m_state = Waiting;
    if (needsPermission()) {
        m_daemon.enlist(this);
        setStatus(Transaction::StatusWait);
    }
    m_daemon.schedule();
}

void PackageTransaction::run()
{
    m_state = Running;
    m_runtime.start();
    setStatus(Transaction::StatusSetup);
    if (m_fault.endsAt(QStringLiteral("start"))) {
        playFault();
        return;
    }
    if (m_plan.isEmpty())
        m_plan = m_daemon.planner().plan(m_role, m_arguments);
    if (m_fault.canned) {
        m_plan.resize(1);
        m_plan.first().begin = nullptr;
        m_plan.first().end = nullptr;
    }
    // Something happens between the middle and the end, whatever the work.
    if (m_fault.die == QLatin1String("running") || m_fault.endsAt(QStringLiteral("middle")))
        m_plan.last().duration = qMax(m_plan.last().duration, ticksPerPhase);
    QMetaObject::invokeMethod(this, &PackageTransaction::nextPhase, Qt::QueuedConnection);
}

void PackageTransaction::nextPhase()
{
    if (m_state != Running)
        return;
    ++m_phase;
    if (m_phase == m_plan.size()) {
        if (m_fault.endsAt(QStringLiteral("end")))
            playFault();
        else
            finish({});
        return;
    }
    const Phase &phase = m_plan.at(m_phase);
    setAllowCancel(phase.cancellable);
    setStatus(phase.status);
    if (m_phase == m_plan.size() - 1) {
        for (const PackageRow &row : qAsConst(m_fault.packages))
            package(row);
    }
    const Outcome outcome = phase.begin ? phase.begin(*this) : Outcome();
    if (!outcome.isSuccess()) {
        finish(outcome);
        return;
    }
    if (phase.from >= 0 && m_fault.percentages.isEmpty())
        setPercentage(uint(phase.from));
    const int duration = m_fault.ms >= 0 ? m_fault.ms : phase.duration;
    m_tick = 0;
    if (duration > 0)
        m_ticker.start(qMax(1, duration / ticksPerPhase));
    else
        endPhase();
}

void PackageTransaction::tick()
{
    ++m_tick;
    const Phase &phase = m_plan.at(m_phase);
    const bool isLast = m_phase == m_plan.size() - 1;
    if (isLast && m_tick == ticksPerPhase / 2) {
        if (m_fault.die == QLatin1String("running"))
            m_daemon.die();
        if (m_fault.endsAt(QStringLiteral("middle"))) {
            playFault();
            return;
        }
    }
    if (m_told < m_fault.percentages.size())
        setPercentage(m_fault.percentages.at(m_told++));
    else if (phase.from >= 0 && m_fault.percentages.isEmpty())
        setPercentage(uint(phase.from + (phase.to - phase.from) * m_tick / ticksPerPhase));
    if (m_tick >= ticksPerPhase && m_told >= m_fault.percentages.size()) {
        m_ticker.stop();
        endPhase();
    }
}

void PackageTransaction::endPhase()
{
    const Phase &phase = m_plan.at(m_phase);
    const Outcome outcome = phase.end ? phase.end(*this) : Outcome();
    if (outcome.isSuccess())
        nextPhase();
    else
        finish(outcome);
}

void PackageTransaction::playFault()
{
    m_ticker.stop();
    if (m_fault.hang)
        return;
    const auto exit = Transaction::Exit(m_fault.exit.value_or(Transaction::ExitFailed));
    if (m_fault.error)
        sendError(*m_fault.error, m_fault.text);
    finish({exit, Transaction::ErrorUnknown, QString()});
}

void PackageTransaction::endNow(Transaction::Exit exit)
{
    if (m_state == Running || m_state == Waiting)
        finish({exit, Transaction::ErrorUnknown, QString()});
}

void PackageTransaction::finish(const Outcome &outcome)
{
    m_ticker.stop();
    const bool hasRun = m_state == Running;
    m_state = Ended;
    if (outcome.error != Transaction::ErrorUnknown)
        sendError(outcome.error, outcome.details);
    setAllowCancel(true);
    if (hasRun)
        setStatus(Transaction::StatusFinished);
    m_daemon.recordEnd(this, QStringLiteral("end"), outcome.exit);
    send(QStringLiteral("Finished"), {uint(outcome.exit), hasRun ? uint(m_runtime.elapsed()) : 0U});
    sendLate();
    m_daemon.delist(this);
    if (m_fault.die == QLatin1String("end"))
        m_daemon.die();
    QTimer::singleShot(m_daemon.timing().destroy, this, [this] {
        send(QStringLiteral("Destroy"));
        QDBusConnection::systemBus().unregisterObject(m_path);
        deleteLater();
    });
}

void PackageTransaction::sendLate()
{
    for (const QJsonValue &value : qAsConst(m_fault.late)) {
        const QJsonArray late = value.toArray();
        const QString name = late.at(0).toString();
        if (name == QLatin1String("Package"))
            package({Transaction::Info(late.at(1).toInt()), late.at(2).toString(),
                     late.at(3).toString()});
        else if (name == QLatin1String("ErrorCode"))
            sendError(uint(late.at(1).toInt()), late.at(2).toString());
        else if (name == QLatin1String("Percentage"))
            setPercentage(uint(late.at(1).toInt()));
        else if (name == QLatin1String("Finished"))
            send(name, {uint(late.at(1).toInt()), uint(late.at(2).toInt())});
    }
}

void PackageTransaction::cancel(const QDBusMessage &message)
{
    m_daemon.recordCall(Transaction::RoleCancel, message);
    const Fault fault = m_daemon.takeFault(Transaction::RoleCancel);
    if (fault.die == QLatin1String("call"))
        m_daemon.die();
    if (fault.hang || m_state == Ended)
        return;
    if (m_state == Entering || m_state == Waiting) {
        finish({Transaction::ExitCancelled, Transaction::ErrorTransactionCancelled,
                QStringLiteral("%1 was cancelled and was never run").arg(m_path)});
        return;
    }
    if (!m_allowCancel || m_state == Created) {
        message.setDelayedReply(true);
        QDBusConnection::systemBus().send(message.createErrorReply(
            errorPrefix + QStringLiteral("CannotCancel"),
            QStringLiteral("Tried to cancel a transaction that can't be cancelled")));
        return;
    }
    m_ticker.stop();
    QTimer::singleShot(0, this, [this] {
        if (m_state != Running)
            return;
        setStatus(Transaction::StatusCancel);
        finish({Transaction::ExitCancelled, Transaction::ErrorTransactionCancelled,
                QStringLiteral("The task was stopped successfully")});
    });
}

void PackageTransaction::callerLeft()
{
    m_callerActive = false;
    announce({{QStringLiteral("CallerActive"), false}});
}

void PackageTransaction::package(const PackageRow &row)
{
    m_lastPackage = row.id;
    send(QStringLiteral("Package"), {uint(row.info), row.id, row.summary});
}

void PackageTransaction::files(const QString &id, const QStringList &files)
{
    send(QStringLiteral("Files"), {id, files});
}

void PackageTransaction::repository(const QString &id, const QString &description, bool enabled)
{
    send(QStringLiteral("RepoDetail"), {id, description, enabled});
}

void PackageTransaction::details(const QVariantMap &details)
{
    send(QStringLiteral("Details"), {details});
}

void PackageTransaction::send(const QString &name, const QVariantList &arguments) const
{
    PackageDaemon::sendSignal(m_path, interfaceName, name, arguments);
}

void PackageTransaction::sendError(uint code, const QString &details) const
{
    send(QStringLiteral("ErrorCode"), {code, details});
}

void PackageTransaction::announce(const QVariantMap &properties)
{
    PackageDaemon::announceProperties(m_path, interfaceName, properties);
}

void PackageTransaction::setStatus(uint status)
{
    if (status == m_status)
        return;
    m_status = status;
    announce({{QStringLiteral("Status"), status}});
}

void PackageTransaction::setPercentage(uint percentage)
{
    if (percentage == m_percentage)
        return;
    m_percentage = percentage;
    announce({{QStringLiteral("Percentage"), percentage},
              {QStringLiteral("ElapsedTime"), elapsedSeconds()},
              {QStringLiteral("RemainingTime"), 0U},
              {QStringLiteral("Speed"), 0U},
              {QStringLiteral("DownloadSizeRemaining"), 0ULL}});
}

/** What can't be cancelled holds the phone up, so the daemon's list is told again. */
void PackageTransaction::setAllowCancel(bool allow)
{
    if (allow == m_allowCancel)
        return;
    m_allowCancel = allow;
    m_daemon.announceList();
    announce({{QStringLiteral("AllowCancel"), allow}});
}
