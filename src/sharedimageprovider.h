#pragma once

#include <QQuickImageProvider>
#include <QSharedPointer>

class StoreImageProvider;

/**
 * What the scene's engine gets in place of the image provider itself. An engine deletes its
 * providers, and its image thread may read from one until then; the provider behind this
 * one belongs to all that hold it and goes with the last of them.
 */
class SharedImageProvider final : public QQuickImageProvider
{
public:
    explicit SharedImageProvider(const QSharedPointer<StoreImageProvider> &provider);

    QImage requestImage(const QString &id, QSize *size, const QSize &requestedSize) override;

private:
    const QSharedPointer<StoreImageProvider> m_provider;
};
