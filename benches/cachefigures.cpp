// The disk cache beside the system calls that it can't do without.

#include "measure.h"
#include "phone.h"

#include "diskcache.h"

#include <QCoreApplication>
#include <QDir>
#include <QFutureWatcher>
#include <QtConcurrent>

#include <memory>
#include <QTemporaryDir>
#include <QThreadPool>
#include <vector>

#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <sys/time.h>
#include <unistd.h>

namespace Bench {

namespace {

constexpr int items = 2000;
constexpr int itemSize = 12000; // bytes, as a picture of an icon
constexpr qint64 cacheLimit = 1024LL * 1024 * 1024; // bytes
constexpr int getsPerRound = 1000;
constexpr int putsPerRound = 200;
constexpr int rounds = 15;
constexpr int scanRounds = 41;

QString itemName(int index)
{
    return QStringLiteral("aW1hZ2U6Ly9zdG9yZS9zdGF0aWMvaWNvbi9hcHBsaWNhdGlvbi0%1LzE3MngxNzI=")
        .arg(index, 6, 10, QLatin1Char('0'));
}

bool write(const QString &path, const QByteArray &data)
{
    QFile file(path);
    return file.open(QIODevice::WriteOnly | QIODevice::Unbuffered)
        && file.write(data) == data.size();
}

void finishWrites()
{
    QThreadPool::globalInstance()->waitForDone();
    QCoreApplication::processEvents();
    QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
}

void measureGet(const QString &folder)
{
    DiskCache cache(folder, cacheLimit);
    qint64 bytes = 0;
    compare(
        "disk cache, get", Unit::Seconds, 1.6, rounds,
        [&] {
            return computingSecondsOf([&] {
                       for (int i = 0; i < getsPerRound; ++i)
                           bytes += cache.get(itemName(i)).size();
                   })
                / getsPerRound;
        },
        [&] {
            return computingSecondsOf([&] {
                       for (int i = 0; i < getsPerRound; ++i) {
                           const QByteArray path =
                               QFile::encodeName(folder + QLatin1Char('/') + itemName(i));
                           const int file = open(path.constData(), O_RDWR | O_CLOEXEC);
                           std::vector<char> data(itemSize);
                           bytes += read(file, data.data(), itemSize);
                           futimes(file, nullptr);
                           close(file);
                       }
                   })
                / getsPerRound;
        });
    if (bytes != qint64(itemSize) * getsPerRound * 2 * (rounds + 1))
        giveUp(QStringLiteral("bytes are missing"));
}

void measurePut()
{
    const QTemporaryDir folder;
    const QTemporaryDir floorFolder;
    DiskCache cache(folder.path(), cacheLimit);
    const QByteArray data(itemSize, 'x');
    int figureItem = 0;
    int floorItem = 0;
    compare(
        "disk cache, put until written", Unit::Seconds, 1.3, rounds,
        [&] {
            return secondsOf([&] {
                       for (int i = 0; i < putsPerRound; ++i)
                           cache.put(itemName(figureItem++), data);
                       finishWrites();
                   })
                / putsPerRound;
        },
        [&] {
            QObject receiver;
            int written = 0;
            const double seconds = secondsOf([&] {
                for (int i = 0; i < putsPerRound; ++i) {
                    auto *watcher = new QFutureWatcher<bool>(&receiver);
                    QObject::connect(watcher, &QFutureWatcher<bool>::finished, &receiver,
                                     [watcher, &written] {
                                         written += watcher->result() ? 1 : 0;
                                         watcher->deleteLater();
                                     });
                    watcher->setFuture(QtConcurrent::run(
                        write, floorFolder.filePath(itemName(floorItem++)), data));
                }
                finishWrites();
            });
            if (written != putsPerRound)
                giveUp(QStringLiteral("writes are missing"));
            return seconds / putsPerRound;
        });
}

void measureScan(const QString &folder)
{
    qint64 bytes = 0;
    compare(
        "disk cache, scan of 2,000 items", Unit::Seconds, 1.3, scanRounds,
        [&] {
            std::unique_ptr<DiskCache> cache; // its end is not measured
            return computingSecondsOf(
                [&] { cache = std::make_unique<DiskCache>(folder, cacheLimit); });
        },
        [&] {
            return computingSecondsOf([&] {
                DIR *directory = opendir(QFile::encodeName(folder).constData());
                while (const dirent *entry = readdir(directory)) {
                    struct stat status = {};
                    if (fstatat(dirfd(directory), entry->d_name, &status, 0) == 0
                        && S_ISREG(status.st_mode))
                        bytes += status.st_size;
                }
                closedir(directory);
            });
        });
    if (bytes != qint64(itemSize) * items * (scanRounds + 1))
        giveUp(QStringLiteral("items are missing"));
}

} // namespace

void measureDiskCache()
{
    const QTemporaryDir folder;
    const QByteArray data(itemSize, 'x');
    for (int i = 0; i < items; ++i) {
        if (!write(folder.filePath(itemName(i)), data))
            giveUp(QStringLiteral("can't fill the cache"));
    }
    measureGet(folder.path());
    measurePut();
    measureScan(folder.path());
}

} // namespace Bench
