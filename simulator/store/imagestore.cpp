#include "imagestore.h"

#include "glyphs.h"

#include <QBuffer>
#include <QColor>
#include <QImage>
#include <QMutexLocker>
#include <QPainter>

namespace {

constexpr int cacheSize = 64 * 1024; // KiB
constexpr int maximumExtent = 2048; // pixels

QColor colour(const QString &text)
{
    if (!text.startsWith(QLatin1String("hsl:")))
        return QColor(text);
    const QStringList parts = text.split(QLatin1Char(':'));
    return QColor::fromHsl(parts.value(1).toInt(), 140, parts.value(2).toInt());
}

/** A number that looks random and depends on nothing but the two, on every machine. */
uint mixed(uint number, uint seed)
{
    uint value = seed ^ (number * 0x9e3779b9U + 0x7f4a7c15U);
    value = (value ^ (value >> 16)) * 0x45d9f3bU;
    value = (value ^ (value >> 16)) * 0x45d9f3bU;
    return value ^ (value >> 16);
}

uint hashOf(const QString &name)
{
    uint value = 0;
    for (const QChar character : name)
        value = mixed(character.unicode(), value);
    return value;
}

QColor faded(QColor base, int alpha)
{
    base.setAlpha(alpha);
    return base;
}

/** Draws the glyph so that it fills @p box. */
void drawGlyph(QPainter *painter, const QString &glyph, const QRectF &box, const QBrush &brush)
{
    painter->save();
    painter->translate(box.topLeft());
    painter->scale(box.width() / 100, box.height() / 100);
    painter->fillPath(glyphPath(glyph), brush);
    painter->restore();
}

/** The painter of one image; the hash of the name varies what the design leaves open. */
class Canvas
{
public:
    Canvas(QImage *image, const ImageRequest &request)
        : m_painter(image)
        , m_area(image->rect())
        , m_glyph(request.glyph)
        , m_light(colour(request.colours.value(0)))
        , m_dark(colour(request.colours.value(1)))
        , m_hash(hashOf(request.name))
    {
        m_painter.setRenderHint(QPainter::Antialiasing);
        m_painter.setPen(Qt::NoPen);
    }

    void drawIcon()
    {
        const qreal side = std::min(m_area.width(), m_area.height());
        const QRectF square = m_area.adjusted(side * 0.03, side * 0.03, -side * 0.03, -side * 0.03);
        QPainterPath plate;
        plate.addRoundedRect(square, side * 0.22, side * 0.22);
        m_painter.fillPath(plate, gradient(square));
        m_painter.setClipPath(plate);
        m_painter.setBrush(QColor(255, 255, 255, 28));
        m_painter.drawEllipse(QPointF(square.left(), square.top()), side * 0.75, side * 0.62);
        const QRectF box = square.adjusted(side * 0.19, side * 0.19, -side * 0.19, -side * 0.19);
        drawGlyph(&m_painter, m_glyph, box.translated(0, side * 0.02), QColor(0, 0, 0, 60));
        drawGlyph(&m_painter, m_glyph, box, QColor(255, 255, 255, 240));
    }

    void drawCover()
    {
        m_painter.fillRect(m_area, gradient(m_area));
        const qreal height = m_area.height();
        m_painter.setBrush(QColor(255, 255, 255, 22));
        m_painter.drawEllipse(QPointF(m_area.width() * 0.15, -height * 0.1), height * 0.9,
                              height * 0.9);
        m_painter.setBrush(QColor(0, 0, 0, 26));
        m_painter.drawEllipse(QPointF(m_area.width() * 0.95, height * 1.1), height * 0.8,
                              height * 0.8);
        for (uint i = 0; i < 9; ++i) {
            const uint spread = mixed(i, m_hash);
            const qreal size = height * (0.10 + 0.03 * (spread % 5));
            const QPointF at(m_area.width() * ((spread >> 4) % 100) / 100,
                             height * ((spread >> 12) % 100) / 100);
            drawGlyph(&m_painter, m_glyph, QRectF(at, QSizeF(size, size)),
                      QColor(255, 255, 255, 36));
        }
        const qreal size = height * 0.56;
        QRectF box(0, 0, size, size);
        box.moveCenter(m_area.center());
        drawGlyph(&m_painter, m_glyph, box.translated(0, height * 0.015), QColor(0, 0, 0, 70));
        drawGlyph(&m_painter, m_glyph, box, QColor(255, 255, 255, 235));
    }

    void drawAvatar()
    {
        const int hue = int(m_hash % 360);
        m_light = QColor::fromHsl(hue, 110, 170);
        m_dark = QColor::fromHsl(hue, 110, 110);
        QPainterPath round;
        round.addEllipse(m_area);
        m_painter.fillPath(round, gradient(m_area));
        m_painter.setClipPath(round);
        m_painter.setBrush(QColor(255, 255, 255, 225));
        const qreal side = m_area.width();
        m_painter.drawEllipse(QPointF(side * 0.5, side * 0.40), side * 0.18, side * 0.18);
        m_painter.drawEllipse(QPointF(side * 0.5, side * 0.95), side * 0.34, side * 0.32);
    }

    /** A program's window: a title bar, then one of three layouts. */
    void drawScreenshot(uint number)
    {
        const qreal unit = m_area.width() / 27;
        m_painter.fillRect(m_area, QColor(246, 246, 248));
        const QRectF bar(0, 0, m_area.width(), unit * 5);
        m_painter.fillRect(bar, gradient(bar));
        drawGlyph(&m_painter, m_glyph, QRectF(unit, unit, unit * 3, unit * 3), Qt::white);
        box(QRectF(unit * 5, unit * 2, unit * 11, unit * 1.1), QColor(255, 255, 255, 230));
        switch ((number + m_hash) % 3) {
        case 0:
            drawList(unit);
            break;
        case 1:
            drawTiles(unit);
            break;
        default:
            drawChart(unit);
        }
    }

private:
    [[nodiscard]] QLinearGradient gradient(const QRectF &area) const
    {
        QLinearGradient shade(area.topLeft(), area.bottomRight());
        shade.setColorAt(0, m_light);
        shade.setColorAt(1, m_dark);
        return shade;
    }

    void box(const QRectF &area, const QBrush &brush)
    {
        m_painter.setBrush(brush);
        const qreal radius = std::min(area.height(), area.width()) * 0.25;
        m_painter.drawRoundedRect(area, radius, radius);
    }

    void drawList(qreal unit)
    {
        uint row = 0;
        for (qreal y = unit * 7; y < m_area.height() - unit * 4; y += unit * 5, ++row) {
            const uint spread = mixed(row, m_hash);
            m_painter.setBrush(faded(row % 2 == 0 ? m_light : m_dark, 200));
            m_painter.drawEllipse(QPointF(unit * 3.2, y + unit * 1.6), unit * 1.6, unit * 1.6);
            box(QRectF(unit * 6, y + unit * 0.4, unit * (8 + spread % 9), unit),
                QColor(70, 70, 80));
            box(QRectF(unit * 6, y + unit * 2.1, unit * (10 + (spread >> 8) % 9), unit * 0.7),
                QColor(175, 175, 185));
        }
    }

    void drawTiles(qreal unit)
    {
        uint tile = 0;
        for (qreal y = unit * 6.5; y < m_area.height() - unit * 9; y += unit * 10) {
            for (qreal x = unit * 1.5; x < m_area.width() - unit * 9; x += unit * 12.5, ++tile) {
                const QRectF area(x, y, unit * 11.5, unit * 9);
                m_painter.setBrush(
                    faded(tile % 3 == 0 ? m_light : m_dark, 150 + int(tile % 4) * 30));
                m_painter.drawRoundedRect(area, unit, unit);
                const QRectF inner = area.adjusted(unit * 3.2, unit * 2, -unit * 3.2, -unit * 2);
                drawGlyph(&m_painter, m_glyph, inner, QColor(255, 255, 255, 170));
            }
        }
    }

    void drawChart(qreal unit)
    {
        QRectF panel(unit * 1.5, unit * 6.5, m_area.width() - unit * 3, unit * 18);
        m_painter.setBrush(Qt::white);
        m_painter.drawRoundedRect(panel, unit, unit);
        for (uint i = 0; i < 8; ++i) {
            const qreal height = unit * (3 + mixed(i, m_hash) % 12);
            box(QRectF(panel.left() + unit * (1 + 2.8 * i), panel.bottom() - unit - height,
                       unit * 2, height),
                i % 2 == 0 ? m_light : m_dark);
        }
        for (uint i = 0; i < 4; ++i) {
            const qreal y = panel.bottom() + unit * (2 + 4.5 * i);
            box(QRectF(unit * 1.5, y, unit * (9 + mixed(i, m_hash) % 10), unit),
                QColor(80, 80, 90));
            box(QRectF(unit * 21, y, unit * 4.5, unit), m_dark);
        }
    }

    QPainter m_painter;
    QRectF m_area;
    QString m_glyph;
    QColor m_light;
    QColor m_dark;
    uint m_hash;
};

/** @return false for an unknown kind. */
bool paint(QImage *image, const ImageRequest &request)
{
    const QString screenshot = QStringLiteral("screenshot-");
    Canvas canvas(image, request);
    if (request.kind == QLatin1String("icon"))
        canvas.drawIcon();
    else if (request.kind == QLatin1String("cover"))
        canvas.drawCover();
    else if (request.kind == QLatin1String("avatar"))
        canvas.drawAvatar();
    else if (request.kind.startsWith(screenshot))
        canvas.drawScreenshot(request.kind.midRef(screenshot.size()).toUInt());
    else
        return false;
    return true;
}

} // namespace

ImageStore::ImageStore()
    : m_images(cacheSize)
{ }

QByteArray ImageStore::image(const ImageRequest &request)
{
    if (request.size.width() < 1 || request.size.height() < 1
        || request.size.width() > maximumExtent || request.size.height() > maximumExtent)
        return {};
    const QString key = QStringLiteral("%1/%2/%3x%4")
                            .arg(request.kind, request.name)
                            .arg(request.size.width())
                            .arg(request.size.height());
    {
        const QMutexLocker lock(&m_mutex);
        if (const QByteArray *known = m_images.object(key))
            return *known;
    }
    QImage image(request.size, QImage::Format_ARGB32_Premultiplied);
    image.fill(Qt::transparent);
    if (!paint(&image, request))
        return {};
    QByteArray bytes;
    QBuffer buffer(&bytes);
    buffer.open(QIODevice::WriteOnly);
    image.save(&buffer, "PNG");
    const QMutexLocker lock(&m_mutex);
    m_images.insert(key, new QByteArray(bytes), int(bytes.size() / 1024) + 1);
    return bytes;
}
