#include "diskcache.h"

#include <QDateTime>
#include <QDebug>
#include <QDir>
#include <QFile>
#include <QMutexLocker>
#include <QtConcurrent>

#include <algorithm>
#include <cerrno>
#include <limits>
#include <memory>
#include <vector>

#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <sys/time.h>
#include <unistd.h>

// Each access stamps a file and each start looks at all of them, so both go to the system
// calls themselves and count in milliseconds instead of building dates.
namespace {

qint64 modificationTime(const struct stat &status)
{
    return static_cast<qint64>(status.st_mtim.tv_sec) * 1000 + status.st_mtim.tv_nsec / 1000000;
}

QDateTime toDateTime(qint64 time)
{
    return QDateTime::fromMSecsSinceEpoch(time);
}

class FileHandle
{
public:
    explicit FileHandle(int descriptor)
        : m_descriptor(descriptor)
    { }
    ~FileHandle()
    {
        if (m_descriptor >= 0)
            close(m_descriptor);
    }
    FileHandle(const FileHandle &) = delete;
    FileHandle &operator=(const FileHandle &) = delete;

    [[nodiscard]] bool isOpen() const { return m_descriptor >= 0; }
    [[nodiscard]] int descriptor() const { return m_descriptor; }

private:
    int m_descriptor;
};

/**
 * The name by which a file is addressed; empty for one that can't be, and which could thus
 * never be dropped and would block put() for good.
 */
QString fileName(const char *entry)
{
    const QByteArray encoded = QByteArray::fromRawData(entry, static_cast<int>(qstrlen(entry)));
    const bool isPlain =
        std::all_of(encoded.cbegin(), encoded.cend(), [](char c) { return (c & 0x80) == 0; });
    if (isPlain)
        return QString::fromLatin1(encoded);
    const QString name = QFile::decodeName(encoded);
    return QFile::encodeName(name) == encoded ? name : QString();
}

QByteArray readAll(int descriptor, int size)
{
    QByteArray data(size, Qt::Uninitialized);
    int done = 0;
    while (done < size) {
        const ssize_t count =
            read(descriptor, data.data() + done, static_cast<size_t>(size - done));
        if (count < 0 && errno == EINTR)
            continue;
        if (count <= 0)
            break;
        done += static_cast<int>(count);
    }
    data.truncate(done);
    return data;
}

} // namespace

DiskCache::DiskCache(const QString &path, qint64 limit)
    : m_path(path)
    , m_limit(limit)
{
    if (!QDir(m_path).exists())
        QDir::root().mkpath(m_path);
    scan();
    dumpStatistics();
}

DiskCache::~DiskCache()
{
    for (auto write = m_writes.cbegin(); write != m_writes.cend(); ++write) {
        const std::unique_ptr<WriteWatcher> watcher(write.key());
        watcher->disconnect(this);
        watcher->waitForFinished();
    }
}

void DiskCache::scan()
{
    DIR *folder = opendir(QFile::encodeName(m_path).constData());
    if (!folder)
        return;
    std::vector<LruHeap::Item> found;
    while (const dirent *entry = readdir(folder)) {
        struct stat status = {};
        if (entry->d_name[0] == '.' || fstatat(dirfd(folder), entry->d_name, &status, 0) != 0
            || !S_ISREG(status.st_mode))
            continue;
        const QString name = fileName(entry->d_name);
        if (name.isEmpty())
            continue;
        m_usage += status.st_size;
        found.push_back({name, status.st_size, modificationTime(status)});
    }
    closedir(folder);
    m_items.reserve(found.size());
    for (const LruHeap::Item &item : found)
        m_items.insert(item);
}

bool DiskCache::contains(const QString &name) const
{
    const QMutexLocker locker(&m_mutex);
    return m_pending.contains(name) || m_items.contains(name);
}

QByteArray DiskCache::get(const QString &name)
{
    const QMutexLocker locker(&m_mutex);
    const auto pending = m_pending.constFind(name);
    if (pending != m_pending.constEnd())
        return *pending;

    const FileHandle file(open(encodedPath(name).constData(), O_RDWR | O_CLOEXEC | O_NONBLOCK));
    struct stat status = {};
    if (!file.isOpen() || fstat(file.descriptor(), &status) != 0 || !S_ISREG(status.st_mode)
        || status.st_size > std::numeric_limits<int>::max() / 2)
        return {};
    QByteArray data = readAll(file.descriptor(), static_cast<int>(status.st_size));
    futimes(file.descriptor(), nullptr);
    m_items.insert({name, data.size(), QDateTime::currentMSecsSinceEpoch()});
    return data;
}

void DiskCache::put(const QString &name, const QByteArray &data)
{
    const QMutexLocker locker(&m_mutex);
    if (data.size() > m_limit) {
        qDebug() << "Cache rejection of item with" << data.size() << "bytes exceeding limit of"
                 << m_limit << "bytes.";
        return;
    }
    if (!makeRoom(data.size()))
        return;

    m_usage += data.size();
    m_pending.insert(name, data);
    const QFuture<ItemResult> future = QtConcurrent::run(this, &DiskCache::writeToDisk, name,
                                                         m_path + QLatin1Char('/') + name, data);
    // The caller's thread may have no event loop, and may end before the write does.
    auto *watcher = new WriteWatcher; // owned by m_writes
    connect(watcher, &WriteWatcher::finished, this, &DiskCache::slotFutureFinished);
    watcher->moveToThread(thread());
    m_writes.insert(watcher, data.size());
    watcher->setFuture(future);
}

/** Drops the oldest items until @p size more bytes are within the limit. */
bool DiskCache::makeRoom(qint64 size)
{
    while (!m_items.isEmpty() && m_usage + size > m_limit) {
        const LruHeap::Item &oldest = m_items.oldest();
        if (unlink(encodedPath(oldest.name).constData()) != 0) {
            qDebug() << "Cache error. Could not remove LRU item" << oldest.name;
            return false;
        }
        qDebug() << "Cache drop of item last used" << toDateTime(oldest.lastUsed);
        m_usage = qMax<qint64>(0, m_usage - m_items.takeOldest().size);
    }
    return true;
}

DiskCache::ItemResult DiskCache::writeToDisk(const QString &name, const QString &path,
                                             const QByteArray &data) const
{
    QFile file(path);
    // Unbuffered, or a full disk would only show when the file is closed, to nobody.
    if (!file.open(QIODevice::WriteOnly | QIODevice::Unbuffered)) {
        qDebug() << "Cache error. Could not open cache for writing.";
        return {name, false};
    }
    if (file.write(data) == -1) {
        qDebug() << "Cache error. Could not write to cache.";
        return {name, false};
    }
    return {name, true};
}

void DiskCache::dumpStatistics() const
{
    qDebug() << "Cache: " << m_path;
    qDebug() << "Usage: " << m_usage << "/" << m_limit << "bytes";
    qDebug() << "Size:  " << m_items.size() << "items";
    qDebug() << "Oldest:"
             << (m_items.isEmpty() ? QStringLiteral("-")
                                   : toDateTime(m_items.oldest().lastUsed).toString(Qt::TextDate));
}

void DiskCache::slotFutureFinished()
{
    auto *watcher = dynamic_cast<WriteWatcher *>(sender());
    if (!watcher)
        return;
    const auto [name, written] = watcher->result();

    const QMutexLocker locker(&m_mutex);
    // The name may stand for a later write by now; this one's size is its own.
    const qint64 size = m_writes.take(watcher);
    if (written) {
        struct stat status = {};
        const bool known = stat(encodedPath(name).constData(), &status) == 0;
        m_items.insert({name, size, known ? modificationTime(status) : 0});
    } else {
        m_usage = qMax<qint64>(0, m_usage - size);
    }
    m_pending.remove(name);
    watcher->setParent(this); // goes with the cache if that ends first
    watcher->deleteLater();
}

QByteArray DiskCache::encodedPath(const QString &name) const
{
    // A name is cut nowhere: one with a zero byte in it names no file.
    if (name.contains(QChar::Null))
        return {};
    return QFile::encodeName(m_path + QLatin1Char('/') + name);
}
