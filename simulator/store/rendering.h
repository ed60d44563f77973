#pragma once

#include "storestate.h"

#include <QJsonArray>
#include <QJsonObject>

/** The store's records as the objects that go over the wire. */
class Rendering
{
public:
    /** @param host the name, with the port if any, below which images are offered. */
    Rendering(const Catalogue &catalogue, const QString &host);

    [[nodiscard]] QJsonObject application(const StoreApplication &application) const;
    [[nodiscard]] QJsonObject feedItem(const StoreFeedItem &item) const;
    [[nodiscard]] QJsonObject user(const StoreUser &user) const;
    [[nodiscard]] QJsonObject review(const StoreReview &review) const;

private:
    [[nodiscard]] QString imageUrl(const QString &kind, const QString &name, int width,
                                   int height) const;
    void addImages(const StoreApplication &application, QJsonObject *object) const;
    [[nodiscard]] QString userName(const QString &uuid) const;

    const Catalogue &m_catalogue;
    QString m_base;
};
