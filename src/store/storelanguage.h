#pragma once

#include <QStringList>

namespace Store {

/**
 * The language in which the store files a review.
 * @param uiLanguages the user's languages, best first, as QLocale gives them.
 * @return the best without its country, but Chinese with its script or country; "en" for
 *         none.
 */
[[nodiscard]] QString storeLanguage(const QStringList &uiLanguages);

} // namespace Store
