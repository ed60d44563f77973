#include "transaction.h"

namespace Package {

Transaction::Transaction() = default;

Transaction::~Transaction()
{
    while (!children().isEmpty())
        delete children().first();
}

void Transaction::cancel()
{
    if (!m_ended)
        fail(QStringLiteral("cancelled"));
}

bool Transaction::releasesRepositoriesAtStart() const
{
    return false;
}

void Transaction::end()
{
    m_ended = true;
    for (QObject *child : children())
        child->disconnect(this);
    deleteLater();
}

void Transaction::succeed()
{
    end();
    Q_EMIT success();
    Q_EMIT finished();
}

void Transaction::fail(const QString &details)
{
    end();
    Q_EMIT failure(details);
    Q_EMIT finished();
}

bool Transaction::hasEnded() const
{
    return m_ended;
}

} // namespace Package
