#pragma once

#include <QMetaType>
#include <QSharedPointer>
#include <QString>
#include <QVariantMap>

namespace Store {

/** The outcome of activating a back cover: whatever the server told of it. */
struct Backplate
{
    using ConstPtr = QSharedPointer<const Backplate>;

    [[nodiscard]] QString bkpId() const { return map.value(QStringLiteral("bkpid")).toString(); }

    QVariantMap map;
};

} // namespace Store

Q_DECLARE_METATYPE(Store::Backplate::ConstPtr)
