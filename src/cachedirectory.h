#pragma once

#include <QDir>

/** The folder for what this application may lose, or the home folder if there is none. */
[[nodiscard]] QDir cacheDirectory();
