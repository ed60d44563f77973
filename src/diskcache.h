#pragma once

#include "lruheap.h"

#include <QByteArray>
#include <QFutureWatcher>
#include <QHash>
#include <QMap>
#include <QMutex>
#include <QObject>
#include <QPair>
#include <QString>

/**
 * Byte blobs as files in one folder, within a limit on the sum of their sizes; what was
 * used longest ago goes first. The files are the whole state: a file's modification time is
 * its item's last use, and the next run rebuilds everything from them.
 *
 * put(), get() and contains() may be called from any thread. Writing happens on the global
 * thread pool; an item can be read while it is still being written. No failure reaches the
 * caller: what couldn't be stored isn't there on the next get().
 */
class DiskCache : public QObject
{
    Q_OBJECT

public:
    /** An item's name, and whether it was written. */
    using ItemResult = QPair<QString, bool>;

    /**
     * Reads the folder, which is created if it isn't there.
     * @param path the folder; must not be shared with another cache.
     * @param limit in bytes.
     */
    DiskCache(const QString &path, qint64 limit);
    /** Waits for writes that are under way. */
    ~DiskCache() override;

    [[nodiscard]] bool contains(const QString &name) const;
    /**
     * The item's bytes, empty if there is no such item. Counts as a use, unless it is still
     * being written. Also finds a file that contains() doesn't know of.
     */
    [[nodiscard]] QByteArray get(const QString &name);
    /** Stores an item, unless it is larger than the limit. @param name is its file name. */
    void put(const QString &name, const QByteArray &data);

    /** Writes four lines about the cache to the log. Not locked: meant for the constructor. */
    void dumpStatistics() const;

private Q_SLOTS:
    void slotFutureFinished();

private:
    using WriteWatcher = QFutureWatcher<ItemResult>;

    void scan();
    bool makeRoom(qint64 size);
    /** Runs on the thread pool, and so touches nothing but its arguments. */
    [[nodiscard]] ItemResult writeToDisk(const QString &name, const QString &path,
                                         const QByteArray &data) const;
    [[nodiscard]] QByteArray encodedPath(const QString &name) const;

    mutable QMutex m_mutex; // held by every operation from start to end
    LruHeap m_items;
    QString m_path;
    qint64 m_limit; // bytes
    qint64 m_usage = 0; // bytes, with the items that are being written
    QMap<QString, QByteArray> m_pending; // what is being written, by name
    QHash<WriteWatcher *, qint64> m_writes; // owned; the bytes that each write carries
};
