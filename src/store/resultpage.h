#pragma once

#include <QMetaType>
#include <QUrl>
#include <QVariantList>

namespace Store {

class Json;

/**
 * One page of a list response. An object that is no list reads as a list of one, so a
 * resource that answers with a single object needs no reader of its own.
 */
struct ResultPage
{
    ResultPage() = default;
    explicit ResultPage(const Json &json);

    void clear();

    QVariantList objects;
    QUrl next; // empty: the last page
    QUrl previous;
    int limit = 0;
    int offset = 0;
    int totalCount = 0;
};

} // namespace Store

Q_DECLARE_METATYPE(Store::ResultPage)
