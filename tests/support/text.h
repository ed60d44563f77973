#pragma once

#include <QString>

/** A text from a literal, shorter than the toolkit has it. */
[[nodiscard]] inline QString text(const char *utf8)
{
    return QString::fromUtf8(utf8);
}
