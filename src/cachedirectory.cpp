#include "cachedirectory.h"

#include <QStandardPaths>

QDir cacheDirectory()
{
    const QStringList locations = QStandardPaths::standardLocations(QStandardPaths::CacheLocation);
    return locations.isEmpty() ? QDir(QDir::homePath()) : QDir(locations.constFirst());
}
