#pragma once

#include "plan.h"

#include <QJsonArray>
#include <QJsonObject>

#include <optional>

/**
 * What a transaction is told to do wrong. As a JSON object, all fields but "role" optional:
 *
 *     role         name of a role ("Resolve", "SearchFiles"), its number, or "*"
 *     times        how often it strikes, 1 if not said; below 0 always
 *     skip         how many transactions of the role go well before that
 *     reject       words: Destroy instead of a beginning, then an error reply
 *     die          the daemon goes away: "call" before the reply, "running" in the middle,
 *                  "end" right after Finished
 *     at           where the following strike: "start" (if not said), "middle", "end"
 *     error, text  an ErrorCode, then Finished with "exit" (2 if not said)
 *     exit         without "error": Finished with it and no ErrorCode
 *     hang         true: nothing more comes
 *     ms           how long each stretch of work takes
 *     percentages  what is told instead of the real ones
 *     packages     [[info, id, summary], ...] rows beside the real ones
 *     canned       true: none of the work is done, only "packages" are told
 *     late         [[signal, arguments...], ...] sent after Finished; the signals are
 *                  Package, ErrorCode, Percentage, Finished
 */
struct Fault
{
    QString reject;
    QString die;
    QString at;
    std::optional<uint> error;
    QString text;
    std::optional<uint> exit;
    bool hang = false;
    int ms = -1;
    QVector<uint> percentages;
    QVector<PackageRow> packages;
    bool canned = false;
    QJsonArray late;

    /** Whether an end of its own comes at the place @p place of the transaction. */
    [[nodiscard]] bool endsAt(const QString &place) const
    {
        return (error || exit || hang) && at == place;
    }
};

/** The faults that are still to come, in the order in which they were told. */
class Faults final
{
public:
    /** @return false if @p fault names no role that exists. */
    bool add(const QJsonObject &fault);
    void clear() { m_waiting = {}; }
    [[nodiscard]] bool isEmpty() const { return m_waiting.isEmpty(); }

    /** The fault that a transaction of @p role has to play, which is used up by that. */
    [[nodiscard]] Fault take(Role role);

    [[nodiscard]] QJsonArray toJson() const { return m_waiting; }
    void restore(const QJsonArray &waiting) { m_waiting = waiting; }

    /** The role of a name, as the enumeration or the D-Bus method spells it, or a number. */
    [[nodiscard]] static std::optional<Role> roleFor(const QJsonValue &text);

private:
    QJsonArray m_waiting;
};
