#include "fuzzinput.h"

#include "completiontree.h"

/** A limit, a depth and a prefix, then words, one a line. */
void fuzz(FuzzInput &input)
{
    const int limit = input.takeByte() % 20;
    const int depth = input.takeByte() % 20;
    const QString prefix = input.takeText();
    CompletionTree tree;
    while (!input.isEmpty())
        tree.insert(input.takeText());

    const QStringList words = tree.complete(prefix, limit, depth);
    require(words.size() <= qMax(limit, 1), "no more words than asked for");
    for (const QString &word : words) {
        require(word.toLower().startsWith(prefix.toLower()), "a completion begins as asked");
        require(tree.complete(word, 0, 0) == QStringList(word), "a completion is a word");
    }
}
