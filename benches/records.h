#pragma once

#include "store/application.h"

#include <QByteArray>

/** Records and responses such as the store has them, each different from the others. */
namespace Bench {

/** One page of a list of applications, as the store sends it. */
[[nodiscard]] QByteArray pageOf(int count);

/** The record number @p index. Dates and titles are spread evenly and in no order. */
[[nodiscard]] Store::Application::ConstPtr application(int index);

} // namespace Bench
