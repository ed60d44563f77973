#include "completiontree.h"

#include <vector>

CompletionTree::CompletionTree()
    : m_root(Node::Ptr::create())
{ }

CompletionTree::~CompletionTree()
{
    // One node at a time: a long word would otherwise be taken down by as deep a recursion.
    std::vector<Node::Ptr> pending{std::move(m_root)};
    while (!pending.empty()) {
        const Node::Ptr node = std::move(pending.back());
        pending.pop_back();
        for (const Node::Ptr &child : qAsConst(node->children))
            pending.push_back(child);
        node->children.clear();
    }
}

void CompletionTree::insert(const QString &word)
{
    Node *node = m_root.data();
    const QString lowered = word.toLower();
    for (const QChar character : lowered) {
        Node::Ptr &child = node->children[character];
        if (!child)
            child = Node::Ptr::create();
        node = child.data();
    }
    node->word = word;
}

QStringList CompletionTree::complete(const QString &prefix, int limit, int depth) const
{
    const Node *node = m_root.data();
    const QString lowered = prefix.toLower();
    for (const QChar character : lowered) {
        const auto child = node->children.constFind(character);
        if (child == node->children.constEnd())
            return {};
        node = child->data();
    }
    return collect(node, limit, depth);
}

QStringList CompletionTree::collect(const Node *node, int limit, int depth)
{
    QStringList words;
    while (true) {
        if (!node->word.isEmpty())
            words.append(node->word);
        if (depth < 1 || node->children.isEmpty() || words.size() >= limit)
            return words;
        if (node->children.size() > 1)
            break;
        node = node->children.constBegin()->data();
    }
    for (const Node::Ptr &child : qAsConst(node->children)) {
        const int room = limit - words.size();
        if (room > 0)
            words += collect(child.data(), room, depth - 1);
    }
    return words;
}
