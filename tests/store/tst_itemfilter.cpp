#include "itemfilter.h"
#include "text.h"

#include <QTest>

using namespace ItemFilter;

Q_DECLARE_METATYPE(Expression::ConstPtr)

class TstItemFilter : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void answers_data();
    void answers();
    void oneOfSeveralPackages();
};

void TstItemFilter::answers_data()
{
    QTest::addColumn<Expression::ConstPtr>("tree");
    QTest::addColumn<QString>("query");
    QTest::addColumn<QString>("path");
    QTest::addColumn<int>("kind");

    const auto row = [](const char *name, Expression *tree, const char *query,
                        const char *path = "", int kind = ScopeKindNone) {
        QTest::newRow(name) << Expression::ConstPtr(tree) << QString::fromLatin1(query)
                            << QString::fromLatin1(path) << kind;
    };
    const auto match = [](const char *text) { return new Match(QString::fromUtf8(text)); };
    const auto category = [](const char *uuid) { return new Category(QString::fromUtf8(uuid)); };
    const auto text = [](const char *string) { return QString::fromUtf8(string); };

    row("application", new Application(text("a/1 &")), "", "a/1 &/");
    row("category", category("c"), "category__uuid_incl_subs=c");
    row("all categories", category("0"), "");
    row("a category that only begins with 0", category("00"), "category__uuid_incl_subs=00");
    row("uuids are not encoded", new Company(text("a b&c")), "company__uuid=a b&c");
    row("user", new User(text("u")), "user__uuid=u");
    row("an empty uuid filters by it", new User(QString()), "user__uuid=");
    row("hidden", new Hidden, "hidden=true");
    row("recommended", new Recommended, "recommended=1");
    row("match", match("a b&c/d~"), "q=a%20b%26c%2Fd~", "search/");
    row("an empty match is sent", match(""), "q=", "search/");
    row("search", new Search(text("ä+%1")), "q=%C3%A4%2B%251");
    row("package", new MatchPackage({text("lib x")}), "package_name=lib%20x");
    row("no package", new MatchPackage({}), "");
    row("prefix", new MatchPackageStartsWith(text("x/")), "package_name__startswith=x%2F");
    row("no prefix", new MatchPackageStartsWith(QString()), "");

    row("a limit below one adds nothing", new Limit(0, category("0")), "");
    row("a negative limit", new Limit(-3, match("x")), "q=x", "search/");
    row("no separator without a first part", new Limit(18, category("")), "limit=18");
    row("a limit has no endpoint", new Limit(2, new Scope(ScopeKindApplications, new Hidden)),
        "hidden=true&limit=2");
    row("limit around both", new Limit(5, new And(match("a b"), category("c"))),
        "q=a%20b&category__uuid_incl_subs=c&limit=5", "search/");
    row("an empty first", new And(category(""), new Hidden), "hidden=true");
    row("an empty second", new And(new Hidden, category("")), "hidden=true");
    row("both empty", new And(category(""), category("0")), "");
    row("only the first path counts", new And(category("c"), match("x")),
        "category__uuid_incl_subs=c&q=x");

    row("scope", new Scope(ScopeKindSearch, new Limit(3, match("x"))), "q=x&limit=3", "search/",
        ScopeKindSearch);
    row("an unknown kind is handed on", new Scope(17, new Hidden), "hidden=true", "", 17);
    row("top of downloads", new TopScope(ScopeKindTop, match("x"), TopKindDownloaded), "q=x",
        "downloaded/", ScopeKindTop);
    row("top of likes", new TopScope(ScopeKindTop, match("x"), TopKindLiked), "q=x", "liked/",
        ScopeKindTop);
    row("the newest", new TopScope(ScopeKindTop, match("x"), TopKindNew), "q=x", "new/",
        ScopeKindTop);
    row("a tree within a tree",
        new Scope(1, new Limit(1, new And(new Hidden, new TopScope(3, new Recommended, 0)))),
        "hidden=true&recommended=1&limit=1", "", ScopeKindApplications);
    row("an unknown top list", new TopScope(ScopeKindTop, match("x"), 3), "q=x", "", ScopeKindTop);
}

void TstItemFilter::answers()
{
    QFETCH(Expression::ConstPtr, tree);
    QTEST(tree->query(), "query");
    QTEST(tree->path(), "path");
    QTEST(tree->scopeKind(), "kind");
}

void TstItemFilter::oneOfSeveralPackages()
{
    const QStringList names{text("one"), text("two"), text("three")};
    const QString query = MatchPackage(QSet<QString>(names.begin(), names.end())).query();
    QVERIFY(query.startsWith(QLatin1String("package_name=")));
    QVERIFY(names.contains(query.section(QLatin1Char('='), 1)));
}

QTEST_GUILESS_MAIN(TstItemFilter)
#include "tst_itemfilter.moc"
