#include "transactionrecorder.h"

#include "text.h"

#include <QTest>

TransactionRecorder::TransactionRecorder(Package::Transaction *transaction)
    : m_transaction(transaction)
{
    using Package::Transaction;
    connect(transaction, &Transaction::progress, this,
            [this](int value) { m_progress.append(value); });
    connect(transaction, &Transaction::failure, this,
            [this](const QString &details) { m_told.append(text("failure ") + details); });
    connect(transaction, &Transaction::success, this, [this] { m_told.append(text("success")); });
    connect(transaction, &Transaction::finished, this, [this] { m_told.append(text("finished")); });
}

TransactionRecorder::~TransactionRecorder()
{
    delete m_transaction;
}

QStringList TransactionRecorder::run()
{
    m_transaction->start();
    if (!m_told.isEmpty())
        m_told.append(text("too early"));
    if (!QTest::qWaitFor([this] { return isGone(); }, 20000))
        m_told.append(text("not gone"));
    return m_told;
}

QVector<int> TransactionRecorder::progressSteps() const
{
    QVector<int> steps = m_progress;
    steps.erase(std::unique(steps.begin(), steps.end()), steps.end());
    return steps;
}
