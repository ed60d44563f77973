#pragma once

#include <QString>

class QNetworkRequest;

namespace Store {

/**
 * @p text for the log. What a server answers may repeat what it was sent, so a secret, such
 * as the bearer token, is blotted out wherever it occurs.
 */
[[nodiscard]] QString withoutToken(QString text, const QString &token);
/** As above, with the token that @p request carries. */
[[nodiscard]] QString withoutToken(const QString &text, const QNetworkRequest &request);

} // namespace Store
