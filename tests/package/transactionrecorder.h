#pragma once

#include "package/transaction.h"

#include <QPointer>
#include <QStringList>
#include <QVector>

#include <functional>

/** Notes what a transaction tells, in order, until it is gone. */
class TransactionRecorder : public QObject
{
    Q_OBJECT

public:
    explicit TransactionRecorder(Package::Transaction *transaction);
    /** Deletes a transaction that has never ended. */
    ~TransactionRecorder() override;

    /**
     * Starts the transaction and waits until it is gone.
     * @return told(); whatever was told before the event loop turned is marked as too early.
     */
    QStringList run();

    /** "success", "failure <details>", "finished". */
    [[nodiscard]] const QStringList &told() const { return m_told; }
    [[nodiscard]] const QVector<int> &progress() const { return m_progress; }
    /** The progress without values that only repeat the one before. */
    [[nodiscard]] QVector<int> progressSteps() const;
    [[nodiscard]] bool isGone() const { return m_transaction.isNull(); }

private:
    QPointer<Package::Transaction> m_transaction;
    QStringList m_told;
    QVector<int> m_progress;
};

inline const QStringList succeeded{QStringLiteral("success"), QStringLiteral("finished")};
[[nodiscard]] inline QStringList failed(const QString &details)
{
    return {QLatin1String("failure ") + details, QStringLiteral("finished")};
}
[[nodiscard]] inline QStringList failed(const char *details)
{
    return failed(QString::fromUtf8(details));
}

/** Makes the transaction of a table's row. */
using Factory = std::function<Package::Transaction *()>;
Q_DECLARE_METATYPE(Factory)
