#pragma once

#include <QSet>
#include <QSharedPointer>
#include <QString>

/**
 * Small immutable trees that say which list of applications the store is to return. A tree
 * answers three questions about the request that it stands for and knows nothing of HTTP.
 */
namespace ItemFilter {

enum ScopeKind {
    ScopeKindNone = 0, // can't be sent by itself
    ScopeKindApplications = 1,
    ScopeKindSearch = 2,
    ScopeKindTop = 3
};

/** Which top list a TopScope asks for. */
enum TopKind { TopKindDownloaded = 0, TopKindLiked = 1, TopKindNew = 2 };

/**
 * A node. Composite nodes own their operands, which are allocated by the builder of the
 * tree and never shared; the root is held by a ConstPtr.
 */
class Expression
{
public:
    using ConstPtr = QSharedPointer<const Expression>;

    Expression() = default;
    Expression(const Expression &) = delete;
    Expression &operator=(const Expression &) = delete;

    /** Contribution to the URL's query, without "?" or "&" in front; may be empty. */
    [[nodiscard]] virtual QString query() const = 0;
    /** Contribution to the URL's path, appended to the endpoint; may be empty or null. */
    [[nodiscard]] virtual QString path() const = 0;
    /** The list endpoint that the expression selects, a ScopeKind. */
    [[nodiscard]] virtual int scopeKind() const = 0;

    virtual ~Expression() = default;
};

/** Selects an endpoint for what is inside. Owns @p inner. */
class Scope : public Expression
{
public:
    Scope(int kind, Expression *inner);
    ~Scope() override;

    [[nodiscard]] QString query() const override;
    [[nodiscard]] QString path() const override;
    [[nodiscard]] int scopeKind() const override;

protected:
    int m_kind;
    Expression *m_inner;
};

/** Selects one of the top lists; an unknown @p topKind asks the bare endpoint. */
class TopScope : public Scope
{
public:
    TopScope(int kind, Expression *inner, int topKind);
    ~TopScope() override = default;

    [[nodiscard]] QString path() const override;

private:
    int m_topKind;
};

/** Limits the size of a page; a limit below 1 adds nothing. Owns @p inner. */
class Limit : public Expression
{
public:
    Limit(int limit, Expression *inner);
    ~Limit() override;

    [[nodiscard]] QString query() const override;
    [[nodiscard]] QString path() const override;
    [[nodiscard]] int scopeKind() const override;

private:
    int m_limit;
    Expression *m_inner;
};

/** Both queries, and the path of the first. Owns its operands. */
class And : public Expression
{
public:
    And(Expression *first, Expression *second);
    ~And() override;

    [[nodiscard]] QString query() const override;
    [[nodiscard]] QString path() const override;
    [[nodiscard]] int scopeKind() const override;

private:
    Expression *m_first;
    Expression *m_second;
};

/** A node without operands: no path of its own, and it selects no endpoint. */
class Leaf : public Expression
{
public:
    [[nodiscard]] QString query() const override;
    [[nodiscard]] QString path() const override;
    [[nodiscard]] int scopeKind() const override;
};

/** One application, addressed by its uuid. */
class Application final : public Leaf
{
public:
    explicit Application(const QString &uuid);
    [[nodiscard]] QString path() const override;

private:
    QString m_uuid;
};

/** A category with all below it; empty or "0" stands for all categories. */
class Category final : public Leaf
{
public:
    explicit Category(const QString &uuid);
    [[nodiscard]] QString query() const override;

private:
    QString m_uuid;
};

class Company final : public Leaf
{
public:
    explicit Company(const QString &uuid);
    [[nodiscard]] QString query() const override;

private:
    QString m_uuid;
};

class User final : public Leaf
{
public:
    explicit User(const QString &uuid);
    [[nodiscard]] QString query() const override;

private:
    QString m_uuid;
};

/** Applications that the store doesn't show, such as OS releases. */
class Hidden final : public Leaf
{
public:
    [[nodiscard]] QString query() const override;
};

class Recommended final : public Leaf
{
public:
    [[nodiscard]] QString query() const override;
};

/** A text search that starts from the ordinary application endpoint. */
class Match final : public Leaf
{
public:
    explicit Match(const QString &text);
    [[nodiscard]] QString query() const override;
    [[nodiscard]] QString path() const override;

private:
    QString m_text;
};

/** A text search at the search endpoint, which needs no path. */
class Search final : public Leaf
{
public:
    explicit Search(const QString &text);
    [[nodiscard]] QString query() const override;
    [[nodiscard]] QString path() const override;

private:
    QString m_text;
};

/**
 * An application by its package name. The server takes one name a request, so of several
 * names the query holds one.
 */
class MatchPackage final : public Leaf
{
public:
    explicit MatchPackage(const QSet<QString> &packages);
    [[nodiscard]] QString query() const override;

private:
    QSet<QString> m_packages;
};

class MatchPackageStartsWith final : public Leaf
{
public:
    explicit MatchPackageStartsWith(const QString &prefix);
    [[nodiscard]] QString query() const override;

private:
    QString m_prefix;
};

} // namespace ItemFilter
