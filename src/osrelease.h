#pragma once

#include <QString>

class QIODevice;

/** What the system's own description of itself says about its version. */
struct OsRelease
{
    QString version; // as written, quotes and all
    QString codeName;
};

/** Reads a description in the format of /etc/os-release. What isn't in it stays empty. */
[[nodiscard]] OsRelease readOsRelease(QIODevice &device);
