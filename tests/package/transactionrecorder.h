#pragma once

#include "package/transaction.h"

#include <QPointer>
#include <QStringList>
#include <QVector>

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
    [[nodiscard]] const QStringList &told() const;
    [[nodiscard]] const QVector<int> &progress() const;
    /** The progress without values that only repeat the one before. */
    [[nodiscard]] QVector<int> progressSteps() const;
    [[nodiscard]] bool isGone() const;

private Q_SLOTS:
    void onProgress(int value);
    void onFailure(const QString &details);
    void onSuccess();
    void onFinished();

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
