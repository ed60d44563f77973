#pragma once

#include <QString>
#include <QStringList>
#include <QVariantMap>
#include <QVector>

#include <Transaction>

#include <functional>

using PackageKit::Transaction;
using Role = Transaction::Role;

/** One row of an answer about packages, as the signal "Package" carries it. */
struct PackageRow
{
    Transaction::Info info = Transaction::InfoUnknown;
    QString id; ///< "name;version;architecture;data"
    QString summary;
};

/** How a piece of work ended; an error has a code and words beside its exit. */
struct Outcome
{
    Transaction::Exit exit = Transaction::ExitSuccess;
    Transaction::Error error = Transaction::ErrorUnknown;
    QString details;

    [[nodiscard]] static Outcome failed(Transaction::Error error, const QString &details)
    {
        return {Transaction::ExitFailed, error, details};
    }
    [[nodiscard]] bool isSuccess() const { return exit == Transaction::ExitSuccess; }
};

/** Where work in progress sends its results. */
class PlanOutput
{
public:
    virtual ~PlanOutput() = default;
    virtual void package(const PackageRow &row) = 0;
    virtual void files(const QString &id, const QStringList &files) = 0;
    virtual void repository(const QString &id, const QString &description, bool enabled) = 0;
    virtual void details(const QVariantMap &details) = 0;
};

/** A stretch of a transaction with one status, at whose end something happens. */
struct Phase
{
    Transaction::Status status = Transaction::StatusQuery;
    int duration = 0; ///< milliseconds
    int from = -1; ///< percentage at the start, below 0 for a phase that tells none
    int to = -1; ///< percentage at the end
    bool cancellable = true;
    std::function<Outcome(PlanOutput &)> begin; ///< may be empty, as the next
    std::function<Outcome(PlanOutput &)> end;
};

/** What a transaction does from its start to its end. */
using Plan = QVector<Phase>;
