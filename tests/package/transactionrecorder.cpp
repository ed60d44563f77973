#include "transactionrecorder.h"

#include <QTest>

TransactionRecorder::TransactionRecorder(Package::Transaction *transaction)
    : m_transaction(transaction)
{
    using Package::Transaction;
    connect(transaction, &Transaction::progress, this, &TransactionRecorder::onProgress);
    connect(transaction, &Transaction::failure, this, &TransactionRecorder::onFailure);
    connect(transaction, &Transaction::success, this, &TransactionRecorder::onSuccess);
    connect(transaction, &Transaction::finished, this, &TransactionRecorder::onFinished);
}

TransactionRecorder::~TransactionRecorder()
{
    delete m_transaction;
}

QStringList TransactionRecorder::run()
{
    m_transaction->start();
    if (!m_told.isEmpty())
        m_told.append(QStringLiteral("too early"));
    if (!QTest::qWaitFor([this] { return isGone(); }, 20000))
        m_told.append(QStringLiteral("not gone"));
    return m_told;
}

const QStringList &TransactionRecorder::told() const
{
    return m_told;
}

const QVector<int> &TransactionRecorder::progress() const
{
    return m_progress;
}

QVector<int> TransactionRecorder::progressSteps() const
{
    QVector<int> steps = m_progress;
    steps.erase(std::unique(steps.begin(), steps.end()), steps.end());
    return steps;
}

bool TransactionRecorder::isGone() const
{
    return m_transaction.isNull();
}

void TransactionRecorder::onProgress(int value)
{
    m_progress.append(value);
}

void TransactionRecorder::onFailure(const QString &details)
{
    m_told.append(QLatin1String("failure ") + details);
}

void TransactionRecorder::onSuccess()
{
    m_told.append(QStringLiteral("success"));
}

void TransactionRecorder::onFinished()
{
    m_told.append(QStringLiteral("finished"));
}
