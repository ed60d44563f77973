#include "osrelease.h"

#include <QByteArray>
#include <QIODevice>

namespace {

// The code name stands in brackets behind the version, as in "4.4.0 (Branwick)".
QString textInBrackets(const QByteArray &line)
{
    const int begin = line.indexOf('(') + 1;
    return QString::fromUtf8(line.mid(begin, qMax(0, line.indexOf(')') - begin)));
}

} // namespace

OsRelease readOsRelease(QIODevice &device)
{
    OsRelease release;
    while (device.bytesAvailable() > 0) {
        const QByteArray line = device.readLine();
        if (line.isEmpty())
            break; // a read error, after which there are bytes that never come
        if (line.startsWith("VERSION_ID=")) {
            if (release.version.isEmpty())
                release.version = QString::fromUtf8(line.mid(line.indexOf('=') + 1).trimmed());
        } else if (line.startsWith("VERSION=")) {
            if (line.contains('(') && line.contains(')'))
                release.codeName = textInBrackets(line);
        }
    }
    return release;
}
