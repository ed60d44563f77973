#include "theme.h"

namespace {

constexpr qreal launcherIconSize = 86; // pixels

} // namespace

qreal Vitrex::Theme::iconSizeLauncher()
{
    return launcherIconSize;
}
