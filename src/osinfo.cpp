#include "osinfo.h"

#include <QSettings>
#include <QStringList>

QString normalizeOsVersion(const QString &text)
{
    const int dash = text.indexOf(QLatin1Char('-'));
    if (dash < 0)
        return text;
    QString release = QStringLiteral("0");
    const QStringList parts = text.mid(dash + 1).split(QLatin1Char('.'));
    for (auto part = parts.crbegin(); part != parts.crend(); ++part) {
        if (part->toInt() > 0) {
            release = *part;
            break;
        }
    }
    return QStringLiteral("%1.%2").arg(text.left(dash), release);
}

OsInfo readOsInfo(const QSettings &file)
{
    OsInfo info;
    info.version = file.value(QStringLiteral("version")).toString();
    info.codeName = file.value(QStringLiteral("codeName")).toString();
    info.summary = file.value(QStringLiteral("summary")).toString();
    info.cover = file.value(QStringLiteral("cover")).toString();
    info.website = file.value(QStringLiteral("website")).toString();
    info.lastChecked = file.value(QStringLiteral("lastChecked")).toDateTime();
    info.downloadSize = file.value(QStringLiteral("downloadSize")).toLongLong();
    info.installSize = file.value(QStringLiteral("installSize")).toLongLong();
    info.removeSize = file.value(QStringLiteral("removeSize")).toLongLong();
    info.downloaded = file.value(QStringLiteral("downloaded")).toBool();
    return info;
}

void writeOsInfo(QSettings &file, const OsInfo &info)
{
    file.setValue(QStringLiteral("version"), info.version);
    file.setValue(QStringLiteral("codeName"), info.codeName);
    file.setValue(QStringLiteral("summary"), info.summary);
    file.setValue(QStringLiteral("cover"), info.cover);
    file.setValue(QStringLiteral("website"), info.website);
    file.setValue(QStringLiteral("lastChecked"), info.lastChecked);
    file.setValue(QStringLiteral("downloadSize"), info.downloadSize);
    file.setValue(QStringLiteral("installSize"), info.installSize);
    file.setValue(QStringLiteral("removeSize"), info.removeSize);
    file.setValue(QStringLiteral("downloaded"), info.downloaded);
}
