#pragma once

#include "faults.h"
#include "phonepackages.h"
#include "planner.h"

#include <QDBusMessage>
#include <QDBusServiceWatcher>
#include <QObject>
#include <QVector>

class PackageTransaction;
class SimulatorControl;

/**
 * The daemon on the bus: makes transactions, keeps the list of those under way, and lets
 * one change of the phone run at a time, in the order in which they came.
 */
class PackageDaemon final : public QObject
{
    Q_OBJECT

public:
    /** @param phone and @param control outlive the daemon. */
    PackageDaemon(PhonePackages &phone, SimulatorControl &control, QObject *parent = nullptr);

    /** Takes the bus name; false, with a message, if it can't be had. */
    [[nodiscard]] bool publish();

    [[nodiscard]] Faults &faults() { return m_faults; }
    [[nodiscard]] Timing &timing() { return m_timing; }
    [[nodiscard]] const Planner &planner() const { return m_planner; }
    /** Where faults are kept, so that they outlive a daemon that is told to die. */
    void setFaultFile(const QString &path);
    void saveFaults() const;
    /** Faults::take(), and keeps what is left. */
    [[nodiscard]] Fault takeFault(Role role);

    /** A new transaction of @p sender; @return its object path. */
    QString createTransaction(const QString &sender);
    /** Begins a transaction of somebody else, see PackageTransaction::beginForeign(). */
    QString createForeign(Role role, int duration);
    /** Ends what hangs and what is somebody else's, and forgets the faults. */
    void reset();

    [[nodiscard]] QStringList transactionPaths() const;
    [[nodiscard]] bool isLocked() const { return m_locked; }

    // For the transactions.
    void enlist(PackageTransaction *transaction);
    void delist(PackageTransaction *transaction);
    void schedule();
    void announceList();
    static void sendSignal(const QString &path, const QString &interface, const QString &name,
                           const QVariantList &arguments = {});
    static void announceProperties(const QString &path, const QString &interface,
                                   const QVariantMap &properties);
    void recordCall(Role role, const QDBusMessage &message);
    void recordEnd(const PackageTransaction *transaction, const QString &kind,
                   Transaction::Exit exit);
    /** Ends the process without a farewell, once what was sent before is on its way. */
    [[noreturn]] void die();

    /** A client has called @p method on the daemon itself. */
    void recordDaemonCall(const QString &method);

private Q_SLOTS:
    void onCallerLeft(const QString &sender);

private:
    [[nodiscard]] QString nextPath();
    void announceUpdates() const;
    void updateLocked();

    SimulatorControl &m_control;
    Faults m_faults;
    QString m_faultFile;
    Timing m_timing;
    Planner m_planner;
    QVector<PackageTransaction *> m_list; ///< under way, newest last
    QDBusServiceWatcher m_callers;
    int m_made = 0;
    bool m_locked = false;
};
