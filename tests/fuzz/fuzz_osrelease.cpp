#include "fuzzinput.h"

#include "osinfo.h"
#include "osrelease.h"

#include <QBuffer>

void fuzz(FuzzInput &input)
{
    QByteArray data = input.takeRest();
    QBuffer buffer(&data);
    require(buffer.open(QIODevice::ReadOnly), "a buffer can be read");
    const OsRelease release = readOsRelease(buffer);
    require(!release.version.contains(QLatin1Char('\n')), "a version is of one line");
    require(!release.codeName.contains(QLatin1Char(')')), "a code name ends at its bracket");
    const QString normal = normalizeOsVersion(release.version);
    const QString before = release.version.section(QLatin1Char('-'), 0, 0);
    require(normal.startsWith(before), "a version keeps what stands before its release");
}
