#pragma once

#include <QHash> // for std::hash of a text
#include <QString>

#include <cstddef>
#include <unordered_map>
#include <vector>

/**
 * Named items ordered by their last use: a binary heap with the oldest on top, in which
 * each item also knows its own position, so that a re-used item is found at once.
 */
class LruHeap
{
public:
    struct Item
    {
        QString name;
        qint64 size = 0; // bytes
        qint64 lastUsed = 0; // ms since the epoch
    };

    LruHeap() = default;
    LruHeap(const LruHeap &) = delete;
    LruHeap &operator=(const LruHeap &) = delete;

    [[nodiscard]] bool isEmpty() const;
    [[nodiscard]] int size() const;
    [[nodiscard]] bool contains(const QString &name) const;
    /** Makes room for so many items at once: growing looks at every name anew. */
    void reserve(std::size_t size);

    /**
     * Adds an item, or takes over its size and time if the name is known. A known item is
     * expected to be younger than before: it only ever moves away from the top.
     */
    void insert(const Item &item);
    /** The item that was used longest ago; the heap must not be empty. */
    [[nodiscard]] const Item &oldest() const;
    /** Removes and returns oldest(). Of items of the same time the first in goes first,
     * unless a swap has moved it. */
    Item takeOldest();

private:
    struct Node
    {
        Item item;
        std::size_t position = 0; // in m_items
    };

    void place(Node *node, std::size_t position);
    void siftUp(std::size_t position);
    void siftDown(std::size_t position);

    std::vector<Node *> m_items; // children of i at 2i+1 and 2i+2; owned by m_index
    std::unordered_map<QString, Node> m_index; // its nodes never move in memory
};
