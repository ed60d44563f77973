#pragma once

#include <QChar>
#include <QMap>
#include <QSharedPointer>
#include <QString>
#include <QStringList>

/** Words in a character tree, found by their beginning whatever the case. */
class CompletionTree
{
public:
    struct Node
    {
        using Ptr = QSharedPointer<Node>;

        QString word; // that ends here, in the case in which it came; empty if none does
        QMap<QChar, Ptr> children;
    };

    CompletionTree();
    ~CompletionTree();
    CompletionTree(const CompletionTree &) = delete;
    CompletionTree &operator=(const CompletionTree &) = delete;

    /** Of words that differ only in case, the last one stays. */
    void insert(const QString &word);

    /**
     * Words that begin with @p prefix, a word before its extensions.
     * @param limit most words; a word that equals the prefix comes even with 0.
     * @param depth how many branchings to follow; a chain without branching costs nothing.
     */
    [[nodiscard]] QStringList complete(const QString &prefix, int limit, int depth) const;

private:
    [[nodiscard]] static QStringList collect(const Node *node, int limit, int depth);

    Node::Ptr m_root;
};
