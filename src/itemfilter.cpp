#include "itemfilter.h"

#include <QStringList>
#include <QUrl>

namespace ItemFilter {

namespace {

QString encoded(const QString &text)
{
    return QString::fromLatin1(QUrl::toPercentEncoding(text));
}

} // namespace

Scope::Scope(int kind, Expression *inner)
    : m_kind(kind)
    , m_inner(inner)
{ }

Scope::~Scope()
{
    delete m_inner;
}

QString Scope::query() const
{
    return m_inner->query();
}

QString Scope::path() const
{
    return m_inner->path();
}

int Scope::scopeKind() const
{
    return m_kind;
}

TopScope::TopScope(int kind, Expression *inner, int topKind)
    : Scope(kind, inner)
    , m_topKind(topKind)
{ }

QString TopScope::path() const
{
    switch (m_topKind) {
    case TopKindDownloaded:
        return QStringLiteral("downloaded/");
    case TopKindLiked:
        return QStringLiteral("liked/");
    case TopKindNew:
        return QStringLiteral("new/");
    default:
        return QString();
    }
}

Limit::Limit(int limit, Expression *inner)
    : m_limit(limit)
    , m_inner(inner)
{ }

Limit::~Limit()
{
    delete m_inner;
}

QString Limit::query() const
{
    QString query = m_inner->query();
    if (m_limit < 1)
        return query;
    if (!query.isEmpty())
        query += QLatin1Char('&');
    return query + QStringLiteral("limit=%1").arg(m_limit);
}

QString Limit::path() const
{
    return m_inner->path();
}

int Limit::scopeKind() const
{
    return ScopeKindNone;
}

And::And(Expression *first, Expression *second)
    : m_first(first)
    , m_second(second)
{ }

And::~And()
{
    delete m_first;
    delete m_second;
}

QString And::query() const
{
    QStringList parts{m_first->query(), m_second->query()};
    parts.removeAll(QString());
    return parts.join(QLatin1Char('&'));
}

QString And::path() const
{
    return m_first->path();
}

int And::scopeKind() const
{
    return ScopeKindNone;
}

QString Leaf::query() const
{
    return QStringLiteral("");
}

QString Leaf::path() const
{
    return QStringLiteral("");
}

int Leaf::scopeKind() const
{
    return ScopeKindNone;
}

Application::Application(const QString &uuid)
    : m_uuid(uuid)
{ }

QString Application::path() const
{
    return QStringLiteral("%1/").arg(m_uuid);
}

Category::Category(const QString &uuid)
    : m_uuid(uuid)
{ }

QString Category::query() const
{
    if (m_uuid.isEmpty() || m_uuid == QLatin1String("0"))
        return QStringLiteral("");
    return QStringLiteral("category__uuid_incl_subs=%1").arg(m_uuid);
}

Company::Company(const QString &uuid)
    : m_uuid(uuid)
{ }

QString Company::query() const
{
    return QStringLiteral("company__uuid=%1").arg(m_uuid);
}

User::User(const QString &uuid)
    : m_uuid(uuid)
{ }

QString User::query() const
{
    return QStringLiteral("user__uuid=%1").arg(m_uuid);
}

QString Hidden::query() const
{
    return QStringLiteral("hidden=true");
}

QString Recommended::query() const
{
    return QStringLiteral("recommended=1");
}

Match::Match(const QString &text)
    : m_text(text)
{ }

QString Match::query() const
{
    return QStringLiteral("q=%1").arg(encoded(m_text));
}

QString Match::path() const
{
    return QStringLiteral("search/");
}

Search::Search(const QString &text)
    : m_text(text)
{ }

QString Search::query() const
{
    return QStringLiteral("q=%1").arg(encoded(m_text));
}

QString Search::path() const
{
    return QString();
}

MatchPackage::MatchPackage(const QSet<QString> &packages)
    : m_packages(packages)
{ }

QString MatchPackage::query() const
{
    if (m_packages.isEmpty())
        return QStringLiteral("");
    return QStringLiteral("package_name=%1").arg(encoded(m_packages.values().constFirst()));
}

MatchPackageStartsWith::MatchPackageStartsWith(const QString &prefix)
    : m_prefix(prefix)
{ }

QString MatchPackageStartsWith::query() const
{
    if (m_prefix.isEmpty())
        return QStringLiteral("");
    return QStringLiteral("package_name__startswith=%1").arg(encoded(m_prefix));
}

} // namespace ItemFilter
