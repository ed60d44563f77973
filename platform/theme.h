#pragma once

#include <QtGlobal>

namespace Vitrex {

/** Measures of the platform's look. */
class Theme
{
public:
    Theme() = delete;

    /** Width and height of a launcher icon in pixels. */
    [[nodiscard]] static qreal iconSizeLauncher();
};

} // namespace Vitrex
