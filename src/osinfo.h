#pragma once

#include <QDateTime>
#include <QMetaType>
#include <QString>

class QSettings;

/** Which OS update is on offer, and what it costs. */
struct OsInfo
{
    QString version; // empty: nothing on offer
    QString codeName;
    QString summary;
    QString cover; // image reference
    QString website;
    QDateTime lastChecked; // when this information was made
    qint64 downloadSize = 0; // bytes; -1: not known
    qint64 installSize = 0; // bytes; -1: not known
    qint64 removeSize = 0; // bytes; -1: not known
    bool downloaded = false;
};

Q_DECLARE_METATYPE(OsInfo)

/**
 * Turns the version-release of an rpm package into the OS version that the store uses: the
 * last part of the release that is above zero becomes the version's last part, which is 0 if
 * there is none. A text without "-" is returned as it is.
 */
[[nodiscard]] QString normalizeOsVersion(const QString &text);

/** The offer that a file has kept. What isn't in it, or has another form, is as if empty. */
[[nodiscard]] OsInfo readOsInfo(const QSettings &file);
void writeOsInfo(QSettings &file, const OsInfo &info);
