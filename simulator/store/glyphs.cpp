#include "glyphs.h"

#include <QHash>
#include <QStringList>

#include <cmath>

namespace {

/**
 * Outlines in a small notation: "M x y" moves, "L x y" draws a line, "Q cx cy x y" and
 * "C ax ay bx by x y" draw curves, "Z" closes, "O x y r" is a circle, "R x y w h r" a
 * rounded rectangle, "S n x y outer inner" a star of n points.
 */
const QHash<QString, QString> &outlines()
{
    static const QHash<QString, QString> known{
        {QStringLiteral("bars"),
         QStringLiteral("R 18 44 12 22 6 R 36 26 12 58 6 R 54 36 12 36 6 R 72 20 12 66 6")},
        {QStringLiteral("bell"),
         QStringLiteral("M 20 70 Q 30 62 30 44 C 30 20 70 20 70 44 Q 70 62 80 70 Z O 50 79 7")},
        {QStringLiteral("bolt"),
         QStringLiteral("M 58 12 L 24 56 L 46 56 L 40 88 L 76 42 L 53 42 Z")},
        {QStringLiteral("book"),
         QStringLiteral("M 14 24 Q 34 16 48 26 L 48 80 Q 34 70 14 76 Z M 86 24 Q 66 16 52 26 L 52 "
                        "80 Q 66 70 86 76 Z")},
        {QStringLiteral("camera"),
         QStringLiteral("R 12 30 76 50 9 R 36 20 28 16 5 O 50 55 17 O 50 55 9")},
        {QStringLiteral("cart"),
         QStringLiteral("M 10 22 L 24 22 L 28 34 L 88 34 L 78 64 L 34 64 L 22 30 L 10 30 Z O 40 76 "
                        "7 O 70 76 7")},
        {QStringLiteral("chart"),
         QStringLiteral("R 16 54 16 30 3 R 42 36 16 48 3 R 68 16 16 68 3")},
        {QStringLiteral("check"),
         QStringLiteral("M 16 54 L 26 44 L 42 60 L 76 24 L 86 34 L 42 80 Z")},
        {QStringLiteral("clock"),
         QStringLiteral("O 50 50 36 O 50 50 28 M 46 30 L 54 30 L 54 48 L 68 58 L 63 64 L 46 52 Z")},
        {QStringLiteral("cloud"),
         QStringLiteral("M 28 74 C 8 74 8 48 28 48 C 30 22 66 20 70 44 C 92 44 92 74 72 74 Z")},
        {QStringLiteral("compass"),
         QStringLiteral("O 50 50 37 O 50 50 30 M 68 32 L 56 56 L 32 68 L 44 44 Z")},
        {QStringLiteral("crown"),
         QStringLiteral("M 14 32 L 34 50 L 50 22 L 66 50 L 86 32 L 78 76 L 22 76 Z")},
        {QStringLiteral("cup"),
         QStringLiteral("M 20 30 L 70 30 L 66 70 Q 64 78 56 78 L 34 78 Q 26 78 24 70 Z M 72 36 C "
                        "92 36 90 60 69 60 L 70 53 C 80 54 82 43 71 43 Z")},
        {QStringLiteral("dice"),
         QStringLiteral("R 18 18 64 64 14 O 34 34 6 O 66 34 6 O 50 50 6 O 34 66 6 O 66 66 6")},
        {QStringLiteral("droplet"),
         QStringLiteral("M 50 12 C 60 32 76 44 76 60 C 76 94 24 94 24 60 C 24 44 40 32 50 12 Z")},
        {QStringLiteral("envelope"),
         QStringLiteral("M 12 30 Q 12 26 16 26 L 84 26 Q 88 26 88 30 L 50 56 Z M 12 37 L 50 63 L "
                        "88 37 L 88 70 Q 88 74 84 74 L 16 74 Q 12 74 12 70 Z")},
        {QStringLiteral("flag"),
         QStringLiteral("R 22 14 7 74 3 M 32 18 Q 48 12 58 20 Q 70 26 82 20 L 82 54 Q 70 60 58 54 "
                        "Q 48 46 32 52 Z")},
        {QStringLiteral("folder"),
         QStringLiteral("M 12 28 Q 12 22 18 22 L 40 22 L 48 32 L 82 32 Q 88 32 88 38 L 88 72 Q 88 "
                        "78 82 78 L 18 78 Q 12 78 12 72 Z")},
        {QStringLiteral("gear"), QStringLiteral("S 10 50 50 38 29 O 50 50 13")},
        {QStringLiteral("globe"),
         QStringLiteral("O 50 50 37 M 50 20 C 32 34 32 66 50 80 C 68 66 68 34 50 20 Z M 50 30 C 60 "
                        "42 60 58 50 70 C 40 58 40 42 50 30 Z")},
        {QStringLiteral("grid"),
         QStringLiteral("R 16 16 30 30 7 R 54 16 30 30 7 R 16 54 30 30 7 R 54 54 30 30 7")},
        {QStringLiteral("heart"),
         QStringLiteral("M 50 84 C 20 62 10 48 14 34 C 20 14 44 16 50 34 C 56 16 80 14 86 34 C 90 "
                        "48 80 62 50 84 Z")},
        {QStringLiteral("house"),
         QStringLiteral("M 50 16 L 88 50 L 78 50 L 78 82 L 58 82 L 58 60 L 42 60 L 42 82 L 22 82 L "
                        "22 50 L 12 50 Z")},
        {QStringLiteral("key"),
         QStringLiteral("O 32 50 20 O 32 50 8 M 51 45 L 88 45 L 88 64 L 79 64 L 79 55 L 71 55 L 71 "
                        "64 L 62 64 L 62 55 L 51 55 Z")},
        {QStringLiteral("leaf"),
         QStringLiteral("M 20 82 C 12 40 40 16 84 16 C 86 60 64 84 30 74 L 25 84 Z M 32 68 Q 44 48 "
                        "66 34 Q 46 44 32 68 Z")},
        {QStringLiteral("lock"),
         QStringLiteral(
             "R 22 44 56 42 8 O 50 65 7 M 30 42 C 28 6 72 6 70 42 L 61 42 C 62 18 38 18 39 42 Z")},
        {QStringLiteral("moon"),
         QStringLiteral("M 62 14 C 30 10 12 42 26 66 C 40 90 74 88 86 64 C 58 74 40 44 62 14 Z")},
        {QStringLiteral("mountain"),
         QStringLiteral(
             "M 8 80 L 40 24 L 56 52 L 66 38 L 92 80 Z M 40 36 L 33 50 L 40 46 L 46 50 Z")},
        {QStringLiteral("music"),
         QStringLiteral("M 36 22 L 80 14 L 80 66 L 72 66 L 72 32 L 44 37 L 44 76 L 36 76 Z O 32 76 "
                        "11 O 68 66 11")},
        {QStringLiteral("pawn"),
         QStringLiteral("O 50 28 15 M 36 45 L 64 45 L 58 50 Q 60 66 70 74 L 30 74 Q 40 66 42 50 Z "
                        "R 24 77 52 9 4")},
        {QStringLiteral("pencil"),
         QStringLiteral(
             "M 66 14 L 86 34 L 78 42 L 58 22 Z M 54 26 L 74 46 L 38 82 L 14 86 L 18 62 Z")},
        {QStringLiteral("pin"),
         QStringLiteral(
             "M 50 90 C 34 64 22 54 22 38 C 22 2 78 2 78 38 C 78 54 66 64 50 90 Z O 50 38 12")},
        {QStringLiteral("play"), QStringLiteral("O 50 50 38 M 40 32 L 70 50 L 40 68 Z")},
        {QStringLiteral("puzzle"),
         QStringLiteral("M 18 32 L 38 32 C 28 12 64 12 54 32 L 72 32 L 72 50 C 92 40 92 76 72 66 L "
                        "72 86 L 54 86 C 64 66 28 66 38 86 L 18 86 Z")},
        {QStringLiteral("speech"),
         QStringLiteral(
             "M 22 18 L 78 18 Q 88 18 88 28 L 88 58 Q 88 68 78 68 L 48 68 L 28 86 L 30 68 L 22 68 "
             "Q 12 68 12 58 L 12 28 Q 12 18 22 18 Z O 34 43 5 O 50 43 5 O 66 43 5")},
        {QStringLiteral("star"), QStringLiteral("S 5 50 52 40 17")},
        {QStringLiteral("sun"), QStringLiteral("S 12 50 50 42 30 O 50 50 25 O 50 50 20")},
        {QStringLiteral("terminal"),
         QStringLiteral(
             "R 10 20 80 60 8 M 22 36 L 28 30 L 48 50 L 28 70 L 22 64 L 36 50 Z R 52 62 26 7 2")},
        {QStringLiteral("tree"),
         QStringLiteral(
             "M 50 10 L 74 42 L 64 42 L 82 68 L 18 68 L 36 42 L 26 42 Z R 44 70 12 20 2")},
        {QStringLiteral("wave"),
         QStringLiteral("M 8 44 Q 22 26 36 40 Q 50 54 64 40 Q 78 26 92 40 L 92 52 Q 78 38 64 52 Q "
                        "50 66 36 52 Q 22 38 8 56 Z M 8 68 Q 22 50 36 64 Q 50 78 64 64 Q 78 50 92 "
                        "64 L 92 76 Q 78 62 64 76 Q 50 90 36 76 Q 22 62 8 80 Z")},
        {QStringLiteral("wheel"),
         QStringLiteral("O 50 50 38 O 50 50 30 O 50 50 8 R 47 18 6 22 2 R 47 60 6 22 2 R 18 47 22 "
                        "6 2 R 60 47 22 6 2")},
    };
    return known;
}

void addStar(QPainterPath *path, int points, QPointF centre, qreal outer, qreal inner)
{
    for (int i = 0; i < 2 * points; ++i) {
        const qreal angle = M_PI * i / points - M_PI / 2;
        const qreal radius = i % 2 == 0 ? outer : inner;
        const QPointF at = centre + radius * QPointF(std::cos(angle), std::sin(angle));
        i == 0 ? path->moveTo(at) : path->lineTo(at);
    }
    path->closeSubpath();
}

} // namespace

QPainterPath glyphPath(const QString &name)
{
    const QString outline = outlines().value(name, outlines().value(QStringLiteral("star")));
    const QStringList words = outline.split(QLatin1Char(' '));
    QPainterPath path;
    path.setFillRule(Qt::OddEvenFill);
    int at = 0;
    const auto number = [&] { return words.value(at++).toDouble(); };
    const auto point = [&] {
        const qreal x = number();
        return QPointF(x, number());
    };
    while (at < words.size()) {
        const QChar command = words[at++].at(0);
        if (command == QLatin1Char('M')) {
            path.moveTo(point());
        } else if (command == QLatin1Char('L')) {
            path.lineTo(point());
        } else if (command == QLatin1Char('Q')) {
            const QPointF control = point();
            path.quadTo(control, point());
        } else if (command == QLatin1Char('C')) {
            const QPointF first = point();
            const QPointF second = point();
            path.cubicTo(first, second, point());
        } else if (command == QLatin1Char('O')) {
            const QPointF centre = point();
            const qreal radius = number();
            path.addEllipse(centre, radius, radius);
        } else if (command == QLatin1Char('R')) {
            const QPointF corner = point();
            const QPointF extent = point();
            const qreal radius = number();
            path.addRoundedRect(QRectF(corner, corner + extent), radius, radius);
        } else if (command == QLatin1Char('S')) {
            const int points = int(number());
            const QPointF centre = point();
            const qreal outer = number();
            addStar(&path, points, centre, outer, number());
        } else {
            path.closeSubpath();
        }
    }
    return path;
}
