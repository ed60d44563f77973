#include "lruheap.h"

#include <QMutex>
#include <QMutexLocker>

#include <cstring>
#include <thread>

namespace {

constexpr int rounds = 2000;
constexpr int names = 50;

QMutex heapMutex;
bool useMutex = true;

/** What a cache does under its lock, or does to its ruin without one. */
void useHeap(LruHeap *heap, int first)
{
    for (int round = 0; round < rounds; ++round) {
        const QMutexLocker locker(useMutex ? &heapMutex : nullptr);
        heap->insert({QString::number((first + round) % names), 1, round});
        // Neither thread may empty the heap under the other: unlocked, that is no rule.
        if (useMutex && heap->size() > names / 2)
            heap->takeOldest();
    }
}

} // namespace

/** Drives one heap from two threads. "seededrace open" does it without a lock. */
int main(int argc, char **argv)
{
    useMutex = argc < 2 || std::strcmp(argv[1], "open") != 0;
    LruHeap heap;
    std::thread one(useHeap, &heap, 0);
    std::thread other(useHeap, &heap, names / 2);
    one.join();
    other.join();
    return heap.size() > names;
}
