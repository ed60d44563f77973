#pragma once

#include <QPainterPath>
#include <QString>

/**
 * The shape called @p name, in a square of 100 by 100; a star for an unknown name. Shapes
 * are filled odd-even, so that what lies inside another outline is a hole.
 */
[[nodiscard]] QPainterPath glyphPath(const QString &name);
