#include "completiontree.h"
#include "searchassistant.h"

#include "modelwatch.h"
#include "storephone.h"

#include <QTest>

namespace {

const QString completionPath = QStringLiteral("/api/search/application/autocomplete/");

QStringList words(const char *list)
{
    return text(list).split(QLatin1Char(' '), Qt::SkipEmptyParts);
}

} // namespace

class TstSearchAssistant : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init();
    void completes_data();
    void completes();
    void takesAVeryLongWord();
    void asksOnceForAWord();
    void worksWithLess();
    void keepsRowsInPlace();
    void goesByItsLimit();

private:
    /** What the store proposes from now on. */
    void propose(const QStringList &proposals);
    void type(const char *term);
    [[nodiscard]] QString rows() const;
    [[nodiscard]] QStringList asked();

    StorePhone m_phone;
    std::unique_ptr<SearchAssistant> m_assistant;
    std::unique_ptr<ModelWatch> m_watch;
};

void TstSearchAssistant::init()
{
    m_watch.reset();
    m_assistant = std::make_unique<SearchAssistant>();
    m_assistant->setStore(QVariant::fromValue<QObject *>(m_phone.facade.get()));
    m_watch = std::make_unique<ModelWatch>(m_assistant.get());
    m_phone.tell("clear-faults");
    m_phone.store.clearLog();
}

void TstSearchAssistant::propose(const QStringList &proposals)
{
    const QJsonDocument body(QJsonObject{{text("results"), QJsonArray::fromStringList(proposals)}});
    m_phone.tell("clear-faults");
    m_phone.store.command(text("fault"),
                          {{text("path"), completionPath},
                           {text("do"), text("body")},
                           {text("body"), QString::fromUtf8(body.toJson())}});
}

void TstSearchAssistant::type(const char *term)
{
    m_assistant->setSearchTerm(text(term));
}

QString TstSearchAssistant::rows() const
{
    return m_watch->shown("suggestion");
}

QStringList TstSearchAssistant::asked()
{
    QStringList terms = m_phone.requests(completionPath);
    for (QString &term : terms)
        term = term.section(text("q="), 1);
    return terms;
}

void TstSearchAssistant::completes_data()
{
    QTest::addColumn<QString>("learnt");
    QTest::addColumn<QString>("prefix");
    QTest::addColumn<int>("limit");
    QTest::addColumn<int>("depth");
    QTest::addColumn<QString>("expected");

    const auto row = [](const char *name, const char *learnt, const char *prefix, int limit,
                        int depth, const char *expected) {
        QTest::newRow(name) << text(learnt) << text(prefix) << limit << depth << text(expected);
    };
    const char *fruit = "apply apple app";
    row("a word before its extensions", fruit, "app", 5, 3, "app apple apply");
    row("whatever the case", fruit, "APP", 5, 3, "app apple apply");
    row("the last of a word stays", "App aPP", "a", 5, 3, "aPP");
    row("longer than all", fruit, "applesauce", 5, 3, "");
    row("no prefix", fruit, "", 5, 3, "app apple apply");
    row("a limit", fruit, "app", 2, 3, "app apple");
    row("0 lets the word itself pass", fruit, "app", 0, 3, "app");
    row("without depth", fruit, "app", 5, 0, "app");
    row("a chain costs nothing", "abcdefghijklmnop", "a", 5, 1, "abcdefghijklmnop");
    // Each letter leaves the chain of a by one branching.
    const char *ladder = "b ab aab aaab aaaab";
    row("one branching", ladder, "", 9, 1, "b");
    row("three branchings", ladder, "", 9, 3, "aab ab b");
}

void TstSearchAssistant::completes()
{
    QFETCH(QString, learnt);
    QFETCH(QString, prefix);
    QFETCH(int, limit);
    QFETCH(int, depth);
    QFETCH(QString, expected);
    CompletionTree tree;
    tree.insert(QString()); // an empty word is none
    for (const QString &word : learnt.split(QLatin1Char(' '), Qt::SkipEmptyParts))
        tree.insert(word);
    QCOMPARE(tree.complete(prefix, limit, depth).join(QLatin1Char(' ')), expected);
}

void TstSearchAssistant::takesAVeryLongWord()
{
    const QString endless(1000000, QLatin1Char('x'));
    CompletionTree tree;
    tree.insert(endless);
    tree.insert(text("xyz"));
    QCOMPARE(tree.complete(text("xx"), 5, 3), QStringList(endless));
    // Taking the tree down is as deep as the word is long.
}

void TstSearchAssistant::asksOnceForAWord()
{
    propose(words("abc abcd abxy"));
    type("a");
    type("ab");
    QCOMPARE(m_watch->take(), text("reset, reset"));
    type("abc");
    QTRY_COMPARE(rows(), text("abc abcd"));
    type("abcd");
    QCOMPARE(rows(), text("abcd"));
    type("ab");
    QCOMPARE(rows(), QString());
    type("ABC");
    QCOMPARE(rows(), text("abc abcd"));
    type("");
    type("ABxyz"); // pasted
    type("AB");
    type("abx");
    QCOMPARE(rows(), text("abxy"));
    QTRY_COMPARE(asked().size(), 3);
    QStringList terms = asked();
    terms.sort();
    QCOMPARE(terms, words("ABxyz abc abx"));
}

void TstSearchAssistant::worksWithLess()
{
    SearchAssistant alone;
    alone.setStore(QVariant(3));
    alone.setStore(QVariant::fromValue<QObject *>(m_phone.packager.get()));
    alone.setSearchTerm(text("abc"));
    QVERIFY(!alone.property("store").isValid());
    // What was typed without a store isn't asked for later.
    alone.setStore(QVariant::fromValue<QObject *>(m_phone.facade.get()));
    alone.setSearchTerm(text("ab"));
    alone.setSearchTerm(text("abc"));

    // Bad answers teach nothing, and others still come.
    propose(words("abc abcd"));
    m_phone.tell("fault", R"({"path": "/api/search/", "times": 1, "do": "body",
                              "body": "{\"results\": {\"a\": 1}}"})");
    type("bad");
    QTRY_COMPARE(asked(), words("bad"));
    type("");
    type("abc");
    QTRY_COMPARE(rows(), text("abc abcd"));
    type("");
    type("other");
    m_watch.reset();
    m_assistant.reset(); // with a request under way
    QTRY_COMPARE(asked(), words("bad abc other"));
}

void TstSearchAssistant::keepsRowsInPlace()
{
    propose(words("Mapper maps mapping Map mango"));
    type("map");
    QTRY_COMPARE(rows(), text("Map Mapper mapping maps"));
    m_watch->take();
    type("mapp");
    QCOMPARE(m_watch->take(), text("remove 0, remove 2"));
    QCOMPARE(rows(), text("Mapper mapping"));
    type("map");
    QCOMPARE(m_watch->take(), text("insert 2, insert 3"));
    QCOMPARE(rows(), text("Mapper mapping Map maps"));

    // What arrives late adds rows to the present term, and takes none away for better ones.
    type("");
    m_assistant->setLimit(3);
    propose(words("mango manga"));
    m_phone.tell("fault", R"({"path": "/api/search/application/autocomplete/?q=xyz", "do": "body",
                               "body": "{\"results\": [\"mappage\", \"mappaz\"]}"})");
    type("xyz");
    type("mapp");
    QTRY_COMPARE(rows(), text("Mapper mapping mappage"));
    // Of a word that comes in another case the old row goes with the next keystroke.
    type("ma");
    propose(words("MAPPER"));
    type("mango");
    QTRY_COMPARE(asked().last(), text("mango"));
    type("mapper");
    QTRY_VERIFY(rows().contains(text("MAPPER")));
    type("mappe");
    QCOMPARE(rows(), text("MAPPER"));
}

void TstSearchAssistant::goesByItsLimit()
{
    propose(words("aaa aaab aaac aaad aaae aaaf"));
    type("aaa");
    QTRY_COMPARE(rows(), text("aaa aaab aaac aaad aaae")); // 5 unless told
    const auto rowsWithin = [this](int limit) {
        m_assistant->setLimit(limit);
        type("aa");
        type("aaa");
        return rows();
    };
    QCOMPARE(rowsWithin(2), text("aaa aaab"));
    QCOMPARE(rowsWithin(0), QString()); // where the word itself is found
    QCOMPARE(rowsWithin(-1), QString());
}

QTEST_GUILESS_MAIN(TstSearchAssistant)

#include "tst_searchassistant.moc"
