#include "diskcache.h"
#include "logcapture.h"
#include "lruheap.h"
#include "storeimageprovider.h"
#include "text.h"

#include <QBuffer>
#include <QDateTime>
#include <QDir>
#include <QFile>
#include <QImage>
#include <QRandomGenerator>
#include <QSemaphore>
#include <QTemporaryDir>
#include <QTest>
#include <QThreadPool>

#include <atomic>
#include <map>
#include <memory>
#include <thread>
#include <vector>

#include <sys/stat.h>

namespace {

/** Keeps the global thread pool from starting anything, so that writes stay under way. */
class BlockedPool
{
public:
    BlockedPool()
    {
        QThreadPool *pool = QThreadPool::globalInstance();
        m_threads = pool->maxThreadCount();
        pool->setMaxThreadCount(1);
        pool->start([this] { m_gate.acquire(); });
    }
    ~BlockedPool()
    {
        m_gate.release();
        QThreadPool::globalInstance()->setMaxThreadCount(m_threads);
    }
    BlockedPool(const BlockedPool &) = delete;
    BlockedPool &operator=(const BlockedPool &) = delete;

private:
    QSemaphore m_gate;
    int m_threads;
};

constexpr QLatin1Char blank(' ');

QByteArray bytesFor(const QString &name, int size)
{
    return QByteArray(size, static_cast<char>(qHash(name, 7) % 255 + 1));
}

} // namespace

class TstDiskCache : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init();

    void heapOrder();
    void heapAgainstReference();

    void room_data();
    void room();
    void startNeverTrims();
    void lastUseSurvivesRestart();
    void readsWhatIsBeingWritten();
    void endWaitsForWrites();
    void failedWriteGivesItsBytesBack();
    void sameNameTwiceCountsTwice();
    void oldestRemovedByOthersBlocks();
    void scanTakesFilesOnly();
    void findsWhatItNeverNoted();
    void folderThatIsAFile();
    void readersAndWriters();

    void providerChoosesCacheBySize();
    void providerServesImages();

private:
    void makeFile(const char *name, int size, int secondsAgo);
    [[nodiscard]] QString filePath(const QString &name) const;
    /** What is in the folder, with blanks between the names. */
    [[nodiscard]] QString files() const;
    /** Waits for what is being written. */
    static void settle();
    /** Stores an item and waits until it is written. */
    static void store(DiskCache &cache, const QString &name, int size);

    std::unique_ptr<QTemporaryDir> m_folder;
};

void TstDiskCache::init()
{
    m_folder = std::make_unique<QTemporaryDir>();
    qputenv("XDG_CACHE_HOME", QFile::encodeName(filePath(text("cache"))));
}

void TstDiskCache::makeFile(const char *name, int size, int secondsAgo)
{
    QFile file(filePath(text(name)));
    QVERIFY(file.open(QIODevice::WriteOnly));
    file.write(bytesFor(text(name), size));
    file.flush();
    QVERIFY(file.setFileTime(QDateTime::currentDateTime().addSecs(-secondsAgo),
                             QFileDevice::FileModificationTime));
}

QString TstDiskCache::filePath(const QString &name) const
{
    return m_folder->filePath(name);
}

QString TstDiskCache::files() const
{
    const QStringList names = QDir(m_folder->path()).entryList(QDir::Files, QDir::Name);
    return names.join(blank);
}

void TstDiskCache::settle()
{
    QVERIFY(QThreadPool::globalInstance()->waitForDone());
    QCoreApplication::processEvents();
}

void TstDiskCache::store(DiskCache &cache, const QString &name, int size)
{
    cache.put(name, bytesFor(name, size));
    settle();
}

void TstDiskCache::heapOrder()
{
    // Names with their times, and the names in the order in which they are taken.
    const std::pair<const char *, const char *> rows[] = {
        {"a5 b3 c9 d1 e7", "d b a e c"}, // oldest first
        {"a1 b1", "a b"}, // of two equal ones the first
        {"a1 b1 c1", "a c b"}, // unless a swap moved it
        {"a1 b2 c3 a4", "b c a"}, // a used one gets younger
        {"a1 b2 a1", "a b"}, // used again at the same time
        {"a1 b2 c3 c0", "a c b"}, // a known one never climbs
    };
    for (const auto &[inserted, taken] : rows) {
        LruHeap heap;
        const QStringList entries = text(inserted).split(blank);
        for (const QString &entry : entries)
            heap.insert({entry.left(1), 1, entry.mid(1).toInt()});
        QStringList names;
        while (!heap.isEmpty()) {
            names.append(heap.oldest().name);
            QVERIFY(heap.contains(names.constLast()));
            QCOMPARE(heap.takeOldest().name, names.constLast());
            QVERIFY(!heap.contains(names.constLast()));
        }
        QCOMPARE(names.join(blank), text(taken));
    }
}

void TstDiskCache::heapAgainstReference()
{
    QRandomGenerator random(20130617);
    LruHeap heap;
    std::map<qint64, QString> byTime;
    std::map<QString, qint64> byName;
    for (qint64 time = 1; time <= 20000; ++time) {
        if (random.bounded(3) == 0 && !byTime.empty()) {
            const auto oldest = byTime.begin();
            const LruHeap::Item item = heap.takeOldest();
            QCOMPARE(item.name, oldest->second);
            QCOMPARE(item.lastUsed, oldest->first);
            byName.erase(oldest->second);
            byTime.erase(oldest);
        } else {
            const QString name = QString::number(random.bounded(500));
            if (const auto known = byName.find(name); known != byName.end())
                byTime.erase(known->second);
            byName[name] = time;
            byTime[time] = name;
            heap.insert({name, 1, time});
        }
        QCOMPARE(heap.size(), int(byTime.size()));
    }
}

void TstDiskCache::room_data()
{
    QTest::addColumn<int>("size");
    QTest::addColumn<QString>("left");

    // a, b and c, used in this order, of 40, 30 and 30 bytes, fill a cache of 100.
    QTest::newRow("nothing needs no room") << 0 << "a b c new";
    QTest::newRow("one byte costs the oldest") << 1 << "b c new";
    QTest::newRow("the oldest is just enough") << 40 << "b c new";
    QTest::newRow("and just not enough") << 41 << "c new";
    QTest::newRow("the limit costs everything") << 100 << "new";
    QTest::newRow("beyond the limit costs nothing") << 101 << "a b c";
}

void TstDiskCache::room()
{
    QFETCH(const int, size);
    QFETCH(const QString, left);

    makeFile("b", 30, 20);
    makeFile("c", 30, 10);
    makeFile("a", 40, 30);
    DiskCache cache(m_folder->path(), 100);
    if (size > 100)
        QTest::ignoreMessage(QtDebugMsg,
                             "Cache rejection of item with 101 bytes exceeding limit "
                             "of 100 bytes.");
    store(cache, text("new"), size);
    QCOMPARE(files(), left);
    for (const char *name : {"a", "b", "c", "new"})
        QCOMPARE(cache.contains(text(name)), files().split(blank).contains(text(name)));
}

void TstDiskCache::startNeverTrims()
{
    makeFile("old", 80, 20);
    makeFile("young", 80, 10);
    QTest::ignoreMessage(QtDebugMsg, "Usage:  160 / 100 bytes");
    QTest::ignoreMessage(QtDebugMsg, "Size:   2 items");
    DiskCache cache(m_folder->path(), 100);
    QCOMPARE(files(), text("old young"));
    store(cache, text("new"), 20);
    QCOMPARE(files(), text("new young"));
}

void TstDiskCache::lastUseSurvivesRestart()
{
    makeFile("a", 40, 30);
    makeFile("b", 40, 20);
    QCOMPARE(DiskCache(m_folder->path(), 100).get(text("a")), bytesFor(text("a"), 40));
    DiskCache cache(m_folder->path(), 100);
    store(cache, text("c"), 40);
    QCOMPARE(files(), text("a c"));
}

void TstDiskCache::readsWhatIsBeingWritten()
{
    const QString name = text("name");
    DiskCache cache(m_folder->path(), 1000);
    {
        const BlockedPool blocked;
        cache.put(name, bytesFor(name, 500));
        QVERIFY(cache.contains(name));
        QVERIFY(files().isEmpty());
        QCOMPARE(cache.get(name), bytesFor(name, 500));
        QVERIFY(files().isEmpty());
    }
    QTRY_COMPARE(files(), name);
    settle();
    QCOMPARE(cache.get(name), bytesFor(name, 500));
}

void TstDiskCache::endWaitsForWrites()
{
    auto cache = std::make_unique<DiskCache>(m_folder->path(), 100000);
    for (int i = 0; i < 50; ++i)
        cache->put(QString::number(i), bytesFor(QString::number(i), 1000));
    cache.reset();
    const QStringList names = files().split(blank);
    QCOMPARE(names.size(), 50);
    for (const QString &name : names)
        QCOMPARE(QFile(filePath(name)).size(), 1000);
}

void TstDiskCache::failedWriteGivesItsBytesBack()
{
    // The last one lies on a disk without room, the others are no names of files here.
    for (const QString &name : {text("a/b"), text("../../nowhere/b"), text(""), text("."),
                                QString(300, QLatin1Char('n')), text("full")}) {
        init();
        makeFile("kept", 40, 10);
        QVERIFY(QFile::link(text("/dev/full"), filePath(text("full"))));
        DiskCache cache(m_folder->path(), 130);
        const LogCapture log; // which the threads of the pool write at once
        {
            // Both are under way at once, and each gives back what it carried.
            const BlockedPool blocked;
            cache.put(name, QByteArray(30, 'x'));
            cache.put(name, QByteArray(60, 'x'));
            QVERIFY(cache.contains(name));
        }
        QTRY_VERIFY(!cache.contains(name));
        settle();
        const char *message = name == text("full")
            ? "Cache error. Could not write to cache."
            : "Cache error. Could not open cache for writing.";
        QCOMPARE(LogCapture::lines(message).size(), 2);
        QVERIFY(cache.get(name).isEmpty());

        store(cache, text("new"), 90);
        QVERIFY(files().contains(text("kept")) && files().contains(text("new")));
    }
}

void TstDiskCache::sameNameTwiceCountsTwice()
{
    const QString name = text("name");
    {
        DiskCache cache(m_folder->path(), 100);
        store(cache, name, 40);
        store(cache, name, 40);
        store(cache, text("other"), 40);
        QCOMPARE(files(), text("other"));
    }
    DiskCache cache(m_folder->path(), 100);
    store(cache, name, 60);
    QCOMPARE(files(), text("name other"));
}

void TstDiskCache::oldestRemovedByOthersBlocks()
{
    makeFile("a", 60, 20);
    makeFile("b", 40, 10);
    DiskCache cache(m_folder->path(), 100);
    QVERIFY(QFile::remove(filePath(text("a"))));
    for (int attempt = 0; attempt < 2; ++attempt) {
        QTest::ignoreMessage(QtDebugMsg, "Cache error. Could not remove LRU item \"a\"");
        store(cache, text("new"), 10);
        QVERIFY(!cache.contains(text("new")));
        QCOMPARE(files(), text("b"));
    }
}

void TstDiskCache::scanTakesFilesOnly()
{
    makeFile("foreign.txt", 10, 10);
    makeFile(".hidden", 10, 10);
    QVERIFY(QDir(m_folder->path()).mkdir(text("folder")));
    QVERIFY(QFile::link(text("/nowhere"), filePath(text("broken"))));
    QVERIFY(mkfifo(QFile::encodeName(filePath(text("fifo"))).constData(), 0600) == 0);

    QTest::ignoreMessage(QtDebugMsg, "Size:   1 items");
    DiskCache cache(m_folder->path(), 100);
    QVERIFY(cache.contains(text("foreign.txt")));
    QVERIFY(!cache.contains(text(".hidden")));
    for (const char *name : {"folder", "broken", "fifo"}) {
        QVERIFY2(!cache.contains(text(name)), name);
        QVERIFY2(cache.get(text(name)).isEmpty(), name);
    }
}

void TstDiskCache::findsWhatItNeverNoted()
{
    const QString name = text("later");
    DiskCache cache(m_folder->path(), 100);
    makeFile("later", 40, 10);
    QVERIFY(!cache.contains(name));
    QCOMPARE(cache.get(name), bytesFor(name, 40));
    QVERIFY(cache.contains(name));
    // Its bytes were never counted, so its end must not take the count below nothing.
    store(cache, text("a"), 100);
    store(cache, text("b"), 100);
    QCOMPARE(files(), text("b"));
    store(cache, text("c"), 40);
    QCOMPARE(files(), text("c"));
}

void TstDiskCache::folderThatIsAFile()
{
    const QString name = text("name");
    makeFile("file", 10, 10);
    DiskCache cache(filePath(text("file")), 100);
    cache.put(name, bytesFor(name, 10));
    QVERIFY(cache.contains(name));
    QTRY_VERIFY(!cache.contains(name));
    QVERIFY(cache.get(name).isEmpty());
    QCOMPARE(QFile(filePath(text("file"))).size(), 10);
}

void TstDiskCache::readersAndWriters()
{
    constexpr int names = 40;
    constexpr int size = 3000;
    constexpr int rounds = 1500;
    DiskCache cache(m_folder->path(), names * size / 2);
    std::atomic<int> wrong = 0;
    std::atomic<int> found = 0;
    std::atomic<int> running = 4;

    std::vector<std::thread> threads;
    for (int writer = 0; writer < 2; ++writer) {
        threads.emplace_back([&cache, &running, writer] {
            for (int i = 0; i < rounds; ++i) {
                const QString name = QString::number(i % names * 2 + writer);
                if (!cache.contains(name))
                    cache.put(name, bytesFor(name, size));
            }
            --running;
        });
        threads.emplace_back([&] {
            for (int i = 0; i < rounds; ++i) {
                const QString name = QString::number(i % (names * 2));
                const QByteArray data = cache.get(name);
                found += data.isEmpty() ? 0 : 1;
                wrong += data.isEmpty() || data == bytesFor(name, size) ? 0 : 1;
            }
            --running;
        });
    }
    QTRY_COMPARE_WITH_TIMEOUT(running.load(), 0, 60000);
    for (std::thread &thread : threads)
        thread.join();
    QCOMPARE(wrong.load(), 0);
    QVERIFY(found.load() > 0);
}

void TstDiskCache::providerChoosesCacheBySize()
{
    const QString url = StoreImageProvider::localImageUrl(text("/icon/ä.png"));
    const QDir caches(QStandardPaths::writableLocation(QStandardPaths::CacheLocation));
    for (const auto &[size, folder] : {std::pair(102400, "small-images"), {102401, "big-images"}}) {
        {
            StoreImageProvider provider;
            provider.insertImage(url, QByteArray(size, 'x'));
            QVERIFY(provider.containsImage(url));
        }
        const QString name = QString::fromLatin1(url.toUtf8().toBase64());
        QCOMPARE(QFile(caches.filePath(text(folder) + QLatin1Char('/') + name)).size(), size);
    }
}

void TstDiskCache::providerServesImages()
{
    for (const char *path : {"/a%1", "a%1"})
        QCOMPARE(StoreImageProvider::localImageUrl(text(path)), text("image://store/a%1"));

    QImage image(30, 20, QImage::Format_RGB32);
    image.fill(Qt::red);
    QBuffer png;
    QVERIFY(image.save(&png, "PNG"));
    StoreImageProvider provider;
    provider.insertImage(text("image://store/good.png"), png.data());
    provider.insertImage(text("image://store/cut.png"), png.data().left(20));

    QSize size(1, 1);
    QVERIFY(provider.requestImage(text("missing.png"), &size, QSize()).isNull());
    QCOMPARE(size, QSize(1, 1));
    QCOMPARE(provider.requestImage(text("good.png"), &size, QSize(5, 5)).size(), QSize(30, 20));
    QCOMPARE(size, QSize(30, 20));
    QVERIFY(provider.requestImage(text("cut.png"), &size, QSize()).isNull());
}

QTEST_GUILESS_MAIN(TstDiskCache)
#include "tst_diskcache.moc"
