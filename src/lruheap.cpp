#include "lruheap.h"

#include <utility>

bool LruHeap::isEmpty() const
{
    return m_items.empty();
}

int LruHeap::size() const
{
    return static_cast<int>(m_items.size());
}

bool LruHeap::contains(const QString &name) const
{
    return m_index.find(name) != m_index.end();
}

void LruHeap::reserve(std::size_t size)
{
    m_items.reserve(size);
    m_index.reserve(size);
}

void LruHeap::insert(const Item &item)
{
    const auto [entry, isNew] = m_index.try_emplace(item.name);
    Node *node = &entry->second;
    node->item = item;
    if (!isNew) {
        siftDown(node->position);
        return;
    }
    m_items.push_back(node);
    node->position = m_items.size() - 1;
    siftUp(node->position);
}

const LruHeap::Item &LruHeap::oldest() const
{
    Q_ASSERT(!m_items.empty());
    return m_items.front()->item;
}

LruHeap::Item LruHeap::takeOldest()
{
    Q_ASSERT(!m_items.empty());
    Item item = std::move(m_items.front()->item);
    place(m_items.back(), 0);
    m_items.pop_back();
    m_index.erase(item.name);
    if (!m_items.empty())
        siftDown(0);
    return item;
}

void LruHeap::place(Node *node, std::size_t position)
{
    m_items[position] = node;
    node->position = position;
}

void LruHeap::siftUp(std::size_t position)
{
    Node *node = m_items[position];
    while (position > 0) {
        const std::size_t parent = (position - 1) >> 1;
        if (node->item.lastUsed >= m_items[parent]->item.lastUsed)
            break;
        place(m_items[parent], position);
        position = parent;
    }
    place(node, position);
}

void LruHeap::siftDown(std::size_t position)
{
    Node *node = m_items[position];
    for (;;) {
        std::size_t child = 2 * position + 1;
        if (child >= m_items.size())
            break;
        if (child + 1 < m_items.size()
            && m_items[child + 1]->item.lastUsed < m_items[child]->item.lastUsed)
            ++child;
        if (m_items[child]->item.lastUsed >= node->item.lastUsed)
            break;
        place(m_items[child], position);
        position = child;
    }
    place(node, position);
}
