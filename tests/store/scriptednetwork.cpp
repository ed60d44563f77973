#include "scriptednetwork.h"

#include <QIODevice>

#include <cstring>

ScriptedReply::ScriptedReply(QNetworkAccessManager::Operation operation,
                             const QNetworkRequest &request, const ScriptedAnswer &answer,
                             QObject *parent)
    : QNetworkReply(parent)
    , m_answer(answer)
{
    setOperation(operation);
    setRequest(request);
    setUrl(request.url());
    open(ReadOnly | Unbuffered);
    if (!m_answer.held)
        QMetaObject::invokeMethod(this, &ScriptedReply::answer, Qt::QueuedConnection);
}

void ScriptedReply::abort()
{
    if (isFinished())
        return;
    m_answer.body.clear();
    setError(OperationCanceledError, QStringLiteral("Operation canceled"));
    end();
}

qint64 ScriptedReply::bytesAvailable() const
{
    return m_answer.body.size() - m_read;
}

qint64 ScriptedReply::readData(char *data, qint64 maximum)
{
    const qint64 count = qMin(maximum, bytesAvailable());
    std::memcpy(data, m_answer.body.constData() + m_read, size_t(count));
    m_read += count;
    return count > 0 ? count : -1;
}

void ScriptedReply::answer()
{
    setAttribute(QNetworkRequest::HttpStatusCodeAttribute, m_answer.status);
    if (m_answer.error != NoError)
        setError(m_answer.error, m_answer.errorText);
    if (!m_answer.body.isEmpty())
        Q_EMIT readyRead();
    if (!isFinished())
        end();
}

void ScriptedReply::end()
{
    setFinished(true);
    Q_EMIT finished();
}

ScriptedNetwork::ScriptedNetwork(const QVector<ScriptedAnswer> &answers)
{
    for (const ScriptedAnswer &answer : answers)
        m_answers.enqueue(answer);
}

QNetworkReply *ScriptedNetwork::createRequest(Operation operation, const QNetworkRequest &request,
                                              QIODevice *body)
{
    sent.append({operation, request, body ? body->readAll() : QByteArray()});
    const ScriptedAnswer answer = m_answers.isEmpty() ? ScriptedAnswer() : m_answers.head();
    if (m_answers.size() > 1)
        m_answers.dequeue();
    latest = new ScriptedReply(operation, request, answer, this);
    return latest;
}
