#include "desktopfilecache.h"

#include <sqlite3.h>

#include <memory>

namespace {

constexpr char database[] = "/var/lib/PackageKit/desktop-files.db";
constexpr int busyTimeout = 50; // ms, while the package manager writes

/** First column of the rows that @p query finds with @p value bound to its one parameter. */
QStringList column(const char *query, const QString &value)
{
    sqlite3 *connection = nullptr;
    const int opened =
        sqlite3_open_v2(database, &connection, SQLITE_OPEN_READONLY | SQLITE_OPEN_NOMUTEX, nullptr);
    const std::unique_ptr<sqlite3, decltype(&sqlite3_close)> closer(connection, &sqlite3_close);
    if (opened != SQLITE_OK)
        return {};
    sqlite3_busy_timeout(connection, busyTimeout);

    sqlite3_stmt *statement = nullptr;
    const int prepared = sqlite3_prepare_v2(connection, query, -1, &statement, nullptr);
    const std::unique_ptr<sqlite3_stmt, decltype(&sqlite3_finalize)> finalizer(statement,
                                                                               &sqlite3_finalize);
    const QByteArray text = value.toUtf8();
    if (prepared != SQLITE_OK
        || sqlite3_bind_text(statement, 1, text.constData(), text.size(), SQLITE_STATIC)
            != SQLITE_OK)
        return {};

    QStringList values;
    int step = sqlite3_step(statement);
    for (; step == SQLITE_ROW; step = sqlite3_step(statement)) {
        const auto *cell = reinterpret_cast<const char *>(sqlite3_column_text(statement, 0));
        values.append(QString::fromUtf8(cell));
    }
    return step == SQLITE_DONE ? values : QStringList();
}

} // namespace

QStringList DesktopFileCache::packageDesktopFiles(const QString &package)
{
    return column("SELECT filename FROM cache WHERE package = ?1 ORDER BY rowid", package);
}

QString DesktopFileCache::packageNameByDesktopFile(const QString &desktopFile)
{
    return column("SELECT package FROM cache WHERE filename = ?1 ORDER BY rowid LIMIT 1",
                  desktopFile)
        .value(0);
}
