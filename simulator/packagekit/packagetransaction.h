#pragma once

#include "faults.h"
#include "plan.h"

#include <QDBusMessage>
#include <QElapsedTimer>
#include <QObject>
#include <QTimer>
#include <QVariantList>

class PackageDaemon;

/**
 * One transaction on the bus, from CreateTransaction to its Destroy, with the order of
 * messages that real daemons have:
 *
 * A question: PropertiesChanged Role, TransactionListChanged, the method's reply, Status 2.
 * A change, which has to be allowed first unless it only fetches or pretends: Role,
 * TransactionFlags, Status 31, the reply, TransactionListChanged, Status 1, and Status 2 when no
 * other change is in the way. Both then: further Status, data, Percentage, ErrorCode if any, Status
 * 18, Finished, TransactionListChanged, and some seconds later Destroy. What the daemon refuses to
 * begin gets Destroy and then an error reply.
 */
class PackageTransaction final : public QObject, private PlanOutput
{
    Q_OBJECT

public:
    /** @param sender the one bus client that may use the transaction; empty: nobody. */
    PackageTransaction(PackageDaemon &daemon, const QString &path, const QString &sender);

    [[nodiscard]] QString path() const { return m_path; }
    [[nodiscard]] QString sender() const { return m_sender; }
    [[nodiscard]] uint role() const { return m_role; }
    [[nodiscard]] uint status() const { return m_status; }
    [[nodiscard]] uint percentage() const { return m_percentage; }
    [[nodiscard]] QString lastPackage() const { return m_lastPackage; }
    [[nodiscard]] bool allowCancel() const { return m_allowCancel; }
    [[nodiscard]] bool isCallerActive() const { return m_callerActive; }
    [[nodiscard]] quint64 flags() const { return m_flags; }
    [[nodiscard]] uint elapsedSeconds() const;

    [[nodiscard]] bool isWaiting() const { return m_state == Waiting; }
    [[nodiscard]] bool isRunning() const { return m_state == Running; }
    /** Whether the transaction must not run beside another such. */
    [[nodiscard]] bool isExclusive() const;

    /** A method with @p role was called by @p message; replies with an error or not at all. */
    void begin(Role role, const QDBusMessage &message);
    /** Begins as somebody else's transaction, which works for @p duration milliseconds. */
    void beginForeign(Role role, int duration);
    void cancel(const QDBusMessage &message);

    /** The transaction's turn has come. */
    void run();

    /** Tells the bus that the client that made the transaction has gone. */
    void callerLeft();

    /** Ends a transaction that was told never to end, with @p exit. */
    void endNow(Transaction::Exit exit);

private Q_SLOTS:
    void enter();
    void nextPhase();
    void tick();

private:
    enum State { Created, Entering, Waiting, Running, Ended };

    void package(const PackageRow &row) override;
    void files(const QString &id, const QStringList &files) override;
    void repository(const QString &id, const QString &description, bool enabled) override;
    void details(const QVariantMap &details) override;

    [[nodiscard]] bool needsPermission() const;
    [[nodiscard]] QString refusal(Role role, const QVariantList &arguments, QString *name) const;
    void refuse(const QDBusMessage &message, const QString &name, const QString &text);
    void send(const QString &name, const QVariantList &arguments = {}) const;
    void sendError(uint code, const QString &details) const;
    void announce(const QVariantMap &properties);
    void setStatus(uint status);
    void setPercentage(uint percentage);
    void setAllowCancel(bool allow);
    void endPhase();
    void playFault();
    void finish(const Outcome &outcome);
    void sendLate();

    PackageDaemon &m_daemon;
    QString m_path;
    QString m_sender;
    State m_state = Created;
    Role m_role = Transaction::RoleUnknown;
    QVariantList m_arguments;
    quint64 m_flags = 0;
    uint m_status = 0;
    uint m_percentage = 101; ///< 101: not known
    QString m_lastPackage;
    bool m_allowCancel = true;
    bool m_callerActive = true;
    Fault m_fault;
    Plan m_plan;
    int m_phase = -1;
    int m_tick = 0;
    int m_told = 0; ///< how many of the fault's percentages have been told
    QTimer m_ticker;
    QElapsedTimer m_runtime;
};
