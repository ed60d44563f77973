#pragma once

#include <QMetaType>
#include <QSharedPointer>
#include <QString>

namespace Store {

/** One node of the store's tree of categories. */
struct Category
{
    using ConstPtr = QSharedPointer<const Category>;

    int index = 0; // order of arrival; 0 is the "All" entry
    QString uuid;
    QString parent; // uuid; "0" is the top level
    QString title;
};

} // namespace Store

Q_DECLARE_METATYPE(Store::Category::ConstPtr)
