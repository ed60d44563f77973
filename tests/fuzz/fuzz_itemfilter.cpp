#include "fuzzinput.h"

#include "itemfilter.h"

#include <QUrlQuery>

using namespace ItemFilter;

namespace {

constexpr int deepest = 60;

void checkEncoding(const Expression &leaf, const QString &key, const QString &text)
{
    const QUrlQuery query(leaf.query());
    require(query.queryItems().size() == 1, "a text can't add to the query");
    require(query.queryItemValue(key, QUrl::FullyDecoded) == text, "a text arrives as it was");
}

/** Reads a tree in prefix form: a byte for the kind of node, then what it is made of. */
Expression *takeTree(FuzzInput &input, int depth)
{
    switch (depth < deepest ? input.takeByte() % 14 : 0) {
    case 1: {
        const int kind = input.takeByte();
        return new Scope(kind, takeTree(input, depth + 1));
    }
    case 2: {
        const int kind = input.takeByte();
        const int top = input.takeByte();
        return new TopScope(kind, takeTree(input, depth + 1), top);
    }
    case 3: {
        const int limit = input.takeByte() - 10;
        return new Limit(limit, takeTree(input, depth + 1));
    }
    case 4: {
        Expression *first = takeTree(input, depth + 1);
        return new And(first, takeTree(input, depth + 1));
    }
    case 5:
        return new Application(input.takeText());
    case 6:
        return new Category(input.takeText());
    case 7:
        return new Company(input.takeText());
    case 8:
        return new User(input.takeText());
    case 9:
        return new Hidden;
    case 10: {
        const QString text = input.takeText();
        checkEncoding(Match(text), QStringLiteral("q"), text);
        return new Match(text);
    }
    case 11: {
        const QString text = input.takeText();
        checkEncoding(MatchPackage({text}), QStringLiteral("package_name"), text);
        return new MatchPackage({text, input.takeText()});
    }
    case 12:
        return new MatchPackageStartsWith(input.takeText());
    case 13:
        return new Search(input.takeText());
    default:
        return new Recommended;
    }
}

} // namespace

void fuzz(FuzzInput &input)
{
    const Expression::ConstPtr tree(takeTree(input, 0));
    const QString query = tree->query();
    const QString path = tree->path();
    require(query == tree->query() && path == tree->path(), "a tree always answers the same");
    const int kind = tree->scopeKind();
    const bool isScope = dynamic_cast<const Scope *>(tree.data()) != nullptr;
    require(isScope || kind == ScopeKindNone, "only a scope selects an endpoint");
}
