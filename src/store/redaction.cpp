#include "redaction.h"

#include <QNetworkRequest>

namespace Store {

QString withoutToken(QString text, const QString &token)
{
    if (!token.isEmpty())
        text.replace(token, QStringLiteral("***"));
    return text;
}

QString withoutToken(const QString &text, const QNetworkRequest &request)
{
    const QByteArray authorization = request.rawHeader(QByteArrayLiteral("Authorization"));
    return withoutToken(text, QString::fromUtf8(authorization.mid(authorization.indexOf(' ') + 1)));
}

} // namespace Store
