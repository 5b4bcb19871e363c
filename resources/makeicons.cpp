// Build-time generator for every Kartopress image resource.
// Usage: makeicons <outdir>   (run with QT_QPA_PLATFORM=offscreen)

#include <QDir>
#include <QFile>
#include <QFont>
#include <QGuiApplication>
#include <QImage>
#include <QLinearGradient>
#include <QPainter>
#include <QPainterPath>
#include <QRandomGenerator>
#include <QTextStream>

#include <cmath>
#include <cstdio>
#include <functional>
#include <initializer_list>
#include <vector>

namespace {

const QColor deepBlue(0x1f, 0x5f, 0xa8);
const QColor teal(0x1a, 0x9c, 0x8c);
const QColor green(0x2e, 0x9d, 0x48);
const QColor amber(0xe8, 0xa3, 0x17);
const QColor red(0xc8, 0x37, 0x2d);
const QColor slate(0x5a, 0x64, 0x70);
const QColor ink(0x3a, 0x2a, 0x05);
const QColor mint(0x8f, 0xe0, 0xd4);
const QColor lightBlue(0xdc, 0xeb, 0xf8);
const QColor lightGrey(0xe4, 0xe8, 0xed);
const QColor lightAmber(0xf6, 0xc4, 0x53);
const QColor darkAmber(0xa8, 0x6f, 0x05);
const QColor highlightBlue(0x9c, 0xc3, 0xec);

QPen roundPen(const QColor& color, qreal width)
{
    return QPen(color, width, Qt::SolidLine, Qt::RoundCap, Qt::RoundJoin);
}

// Nearly every shape sets an outline and a fill together; one call keeps the drawing code flat.
void setStyle(QPainter& p, const QPen& pen, const QBrush& brush = Qt::NoBrush)
{
    p.setPen(pen);
    p.setBrush(brush);
}

// Qt 5's QPolygonF has no initializer-list constructor.
QPolygonF polygon(std::initializer_list<QPointF> points)
{
    return QPolygonF(QVector<QPointF>(points));
}

QFont sansFont(int pixelSize, bool bold)
{
    QFont font(QStringLiteral("DejaVu Sans"));
    font.setPixelSize(pixelSize);
    font.setBold(bold);
    return font;
}

void drawArrow(QPainter& p, QPointF from, QPointF to, qreal width, const QColor& color)
{
    const QLineF unit = QLineF(from, to).unitVector();
    const QPointF direction = unit.p2() - unit.p1();
    const QPointF normal(-direction.y(), direction.x());
    const QPointF headBase = to - direction * (width * 2.0);
    setStyle(p, roundPen(color, width));
    p.drawLine(from, headBase);
    setStyle(p, roundPen(color, width * 0.4), color);
    p.drawPolygon(polygon({to, headBase + normal * (width * 1.5), headBase - normal * (width * 1.5)}));
}

void drawDisc(QPainter& p, QPointF centre, qreal radius, const QColor& fill)
{
    setStyle(p, roundPen(fill.darker(130), radius * 0.1), fill);
    p.drawEllipse(centre, radius, radius);
}

void drawDocument(QPainter& p, const QRectF& r, qreal lineWidth, int textLines)
{
    const qreal fold = r.width() * 0.3;
    setStyle(p, roundPen(slate, lineWidth), Qt::white);
    p.drawPolygon(polygon(
        {r.topLeft(), {r.right() - fold, r.top()}, {r.right(), r.top() + fold}, r.bottomRight(), r.bottomLeft()}));
    p.setBrush(lightGrey);
    p.drawPolygon(
        polygon({{r.right() - fold, r.top()}, {r.right() - fold, r.top() + fold}, {r.right(), r.top() + fold}}));
    const qreal margin = r.width() * 0.2;
    const qreal top = r.top() + fold * 1.3;
    const qreal spacing = textLines > 1 ? (r.bottom() - margin - top) / (textLines - 1) : 0.0;
    p.setPen(roundPen(QColor(0x8f, 0x9b, 0xa8), lineWidth * 0.9));
    for (int i = 0; i < textLines; ++i) {
        // Ragged line ends make the sheet read as prose rather than a table.
        const qreal shorten = (i % 3 == 2) ? r.width() * 0.25 : 0.0;
        const qreal y = top + i * spacing;
        p.drawLine(QPointF(r.left() + margin, y), QPointF(r.right() - margin - shorten, y));
    }
}

enum class Glyph { tick, cross, plus, info };

void drawBadge(QPainter& p, QPointF c, qreal r, const QColor& fill, Glyph glyph, bool ring)
{
    // The white ring separates a badge from whatever it is overlaid on.
    setStyle(p, ring ? QPen(Qt::white, r * 0.3) : QPen(Qt::NoPen), fill);
    p.drawEllipse(c, r, r);
    setStyle(p, roundPen(Qt::white, r * 0.28));
    switch (glyph) {
    case Glyph::tick:
        p.drawPolyline(polygon(
            {c + QPointF(-0.5 * r, 0.02 * r), c + QPointF(-0.12 * r, 0.4 * r), c + QPointF(0.5 * r, -0.38 * r)}));
        break;
    case Glyph::cross:
        p.drawLine(c + QPointF(-0.4 * r, -0.4 * r), c + QPointF(0.4 * r, 0.4 * r));
        p.drawLine(c + QPointF(0.4 * r, -0.4 * r), c + QPointF(-0.4 * r, 0.4 * r));
        break;
    case Glyph::plus:
        p.drawLine(c + QPointF(-0.55 * r, 0), c + QPointF(0.55 * r, 0));
        p.drawLine(c + QPointF(0, -0.55 * r), c + QPointF(0, 0.55 * r));
        break;
    case Glyph::info:
        p.setPen(roundPen(Qt::white, r * 0.3));
        p.drawLine(c + QPointF(0, -0.05 * r), c + QPointF(0, 0.5 * r));
        setStyle(p, Qt::NoPen, Qt::white);
        p.drawEllipse(c + QPointF(0, -0.48 * r), r * 0.18, r * 0.18);
        break;
    }
}

enum class RowHighlight { none, one, all };

void drawGrid(QPainter& p, const QRectF& r, RowHighlight highlight)
{
    const int rows = 4;
    const int columns = 3;
    const qreal rowHeight = r.height() / rows;
    const qreal columnWidth = r.width() / columns;
    auto rowRect = [&](int row) { return QRectF(r.left(), r.top() + row * rowHeight, r.width(), rowHeight); };
    setStyle(p, Qt::NoPen, Qt::white);
    p.drawRect(r);
    p.setBrush(deepBlue);
    p.drawRect(rowRect(0));
    p.setBrush(highlightBlue);
    for (int row = 1; row < rows; ++row) {
        if (highlight == RowHighlight::all || (highlight == RowHighlight::one && row == 2))
            p.drawRect(rowRect(row));
    }
    p.setPen(QPen(slate, 0.8));
    for (int row = 2; row < rows; ++row)
        p.drawLine(rowRect(row).topLeft(), rowRect(row).topRight());
    for (int column = 1; column < columns; ++column)
        p.drawLine(QPointF(r.left() + column * columnWidth, r.top() + rowHeight),
                   QPointF(r.left() + column * columnWidth, r.bottom()));
    setStyle(p, roundPen(slate, 1.2));
    p.drawRect(r);
}

void drawFolderBack(QPainter& p, const QRectF& r, qreal lineWidth)
{
    const qreal tabBottom = r.top() + r.height() * 0.15;
    setStyle(p, roundPen(darkAmber, lineWidth), amber);
    p.drawPolygon(polygon({r.bottomLeft(),
                           r.topLeft(),
                           {r.left() + r.width() * 0.36, r.top()},
                           {r.left() + r.width() * 0.45, tabBottom},
                           {r.right(), tabBottom},
                           r.bottomRight()}));
}

void drawFolderFront(QPainter& p, const QRectF& r, qreal lineWidth, bool open)
{
    setStyle(p, roundPen(darkAmber, lineWidth), lightAmber);
    if (!open) {
        p.drawRect(QRectF(r.left(), r.top() + r.height() * 0.3, r.width(), r.height() * 0.7));
        return;
    }
    const qreal flapTop = r.top() + r.height() * 0.42;
    p.drawPolygon(polygon({{r.left() + r.width() * 0.16, flapTop},
                           {r.right(), flapTop},
                           {r.right() - r.width() * 0.14, r.bottom()},
                           r.bottomLeft()}));
}

void drawClosedFolder(QPainter& p, const QRectF& r, qreal lineWidth)
{
    drawFolderBack(p, r, lineWidth);
    drawFolderFront(p, r, lineWidth, false);
}

void drawStopwatch(QPainter& p, bool running)
{
    const QPointF centre(8, 9.5);
    setStyle(p, Qt::NoPen, slate);
    p.drawRoundedRect(QRectF(6, 0.5, 4, 1.8), 0.6, 0.6);
    p.drawRect(QRectF(7.3, 2, 1.4, 2.2));
    p.setPen(roundPen(slate, 1.4));
    p.drawLine(QPointF(11.9, 5.5), QPointF(13.1, 4.3));
    setStyle(p, roundPen(running ? green.darker(150) : slate, 1.3), running ? green : QColor(0xee, 0xf3, 0xf9));
    p.drawEllipse(centre, 5.6, 5.6);
    const QColor hand = running ? QColor(Qt::white) : deepBlue;
    p.setPen(roundPen(hand, 1.4));
    p.drawLine(centre, centre + QPointF(2.4, -2.6));
    setStyle(p, Qt::NoPen, hand);
    p.drawEllipse(centre, 1.1, 1.1);
}

void drawGear(QPainter& p, QPointF c, qreal outer, qreal root, int teeth, qreal offset, const QColor& fill)
{
    const qreal step = 2 * M_PI / teeth;
    QPolygonF outline;
    for (int i = 0; i < teeth; ++i) {
        for (auto [radius, fraction] : {std::pair{root, -0.3}, {outer, -0.17}, {outer, 0.17}, {root, 0.3}}) {
            const qreal a = offset + (i + fraction) * step;
            outline << c + QPointF(std::cos(a) * radius, std::sin(a) * radius);
        }
    }
    QPainterPath gear;
    gear.addPolygon(outline);
    gear.closeSubpath();
    gear.addEllipse(c, root * 0.38, root * 0.38);
    gear.setFillRule(Qt::OddEvenFill);
    setStyle(p, roundPen(fill.darker(140), 1.5), fill);
    p.drawPath(gear);
}

// Application mark, drawn in a 64-unit box.
void drawAppMark(QPainter& p)
{
    QLinearGradient background(0, 4, 0, 60);
    background.setColorAt(0, deepBlue.lighter(115));
    background.setColorAt(1, deepBlue.darker(125));
    setStyle(p, Qt::NoPen, background);
    p.drawRoundedRect(QRectF(4, 4, 56, 56), 12, 12);
    setStyle(p, roundPen(mint, 3.5));
    p.drawPolyline(polygon({{14, 41}, {32, 50}, {50, 41}}));
    setStyle(p, roundPen(Qt::white, 3.5));
    p.drawPolyline(polygon({{14, 32}, {32, 41}, {50, 32}}));
    p.setBrush(Qt::white);
    p.drawPolygon(polygon({{32, 14}, {50, 23}, {32, 32}, {14, 23}}));
    // A tiny route across the top tile hints at a map rather than a plain stack.
    setStyle(p, roundPen(teal, 2.2));
    p.drawPolyline(polygon({{23, 23}, {30, 20}, {35, 26}, {41, 23}}));
}

void warningIcon(QPainter& p)
{
    setStyle(p, roundPen(darkAmber, 1.0), amber);
    p.drawPolygon(polygon({{8, 1.2}, {15.2, 14.5}, {0.8, 14.5}}));
    p.setPen(roundPen(ink, 1.9));
    p.drawLine(QPointF(8, 5.8), QPointF(8, 9.6));
    setStyle(p, Qt::NoPen, ink);
    p.drawEllipse(QPointF(8, 12.2), 1.05, 1.05);
}

void documentInfoIcon(QPainter& p)
{
    drawDocument(p, QRectF(1.5, 0.5, 10, 14), 1.0, 3);
    drawBadge(p, {11.3, 11.3}, 4.4, deepBlue, Glyph::info, true);
}

void sortIcon(QPainter& p, bool ascending)
{
    drawArrow(p, {3.5, ascending ? 14.0 : 2.0}, {3.5, ascending ? 1.5 : 14.5}, 1.6, deepBlue);
    setStyle(p, Qt::NoPen, slate);
    for (int i = 0; i < 4; ++i)
        p.drawRect(QRectF(7.5, 1.5 + i * 3.6, 2 + 1.8 * (ascending ? i : 3 - i), 2));
}

void tableBadgeIcon(QPainter& p, const QColor& fill, Glyph glyph)
{
    drawGrid(p, QRectF(1.5, 1.5, 18, 15), RowHighlight::none);
    drawBadge(p, {17.5, 17.5}, 5.5, fill, glyph, true);
}

void elementsSelectionIcon(QPainter& p)
{
    setStyle(p, Qt::NoPen, deepBlue);
    p.drawEllipse(QPointF(9, 9), 3.5, 3.5);
    p.setBrush(teal);
    p.drawRect(QRectF(11, 11, 7, 7));
    p.setBrush(amber);
    p.drawPolygon(polygon({{6, 18}, {9.5, 12.5}, {13, 18}}));
    setStyle(p, QPen(slate, 1, Qt::DashLine));
    p.drawRect(QRectF(2.5, 2.5, 19, 19));
    setStyle(p, QPen(deepBlue, 1), Qt::white);
    for (const QPointF& corner : {QPointF(2.5, 2.5), QPointF(21.5, 2.5), QPointF(2.5, 21.5), QPointF(21.5, 21.5)})
        p.drawRect(QRectF(corner - QPointF(1.5, 1.5), QSizeF(3, 3)));
}

void photoSceneryIcon(QPainter& p)
{
    const QRectF frame(4, 8, 40, 32);
    setStyle(p, Qt::NoPen, lightBlue);
    p.drawRoundedRect(frame, 3, 3);
    p.save();
    p.setClipRect(frame.adjusted(1, 1, -1, -1));
    p.setBrush(amber);
    p.drawEllipse(QPointF(34, 17), 4, 4);
    p.setBrush(teal);
    p.drawPolygon(polygon({{2, 40}, {18, 19}, {32, 40}}));
    p.setBrush(green);
    p.drawPolygon(polygon({{16, 40}, {31, 24}, {46, 40}}));
    p.restore();
    setStyle(p, roundPen(slate, 2.5));
    p.drawRoundedRect(frame, 3, 3);
}

void textLockIcon(QPainter& p)
{
    drawDocument(p, QRectF(6, 3, 28, 38), 2.2, 5);
    const QRectF shackle(28.5, 20, 11, 14);
    setStyle(p, roundPen(Qt::white, 6));
    p.drawArc(shackle, 0, 180 * 16);
    p.setPen(roundPen(slate, 2.8));
    p.drawArc(shackle, 0, 180 * 16);
    p.drawLine(QPointF(28.5, 27), QPointF(28.5, 30));
    p.drawLine(QPointF(39.5, 27), QPointF(39.5, 30));
    setStyle(p, roundPen(darkAmber, 2), amber);
    p.drawRoundedRect(QRectF(24.5, 29, 19, 15), 2.5, 2.5);
    p.setPen(roundPen(ink, 2.4));
    p.drawLine(QPointF(34, 35), QPointF(34, 38.5));
}

void exitIcon(QPainter& p)
{
    setStyle(p, roundPen(slate, 2.5), lightGrey);
    p.drawRect(QRectF(6, 4, 22, 40));
    setStyle(p, roundPen(deepBlue.darker(130), 2), deepBlue);
    p.drawPolygon(polygon({{6, 4}, {18, 9}, {18, 44}, {6, 44}}));
    setStyle(p, Qt::NoPen, Qt::white);
    p.drawEllipse(QPointF(15, 26), 1.6, 1.6);
    drawArrow(p, {24, 24}, {45, 24}, 4, red);
}

void companyMarkIcon(QPainter& p)
{
    QPolygonF sixSided;
    for (int i = 0; i < 6; ++i) {
        const qreal a = M_PI / 6 + i * M_PI / 3;
        sixSided << QPointF(24 + 21.5 * std::cos(a), 24 + 21.5 * std::sin(a));
    }
    setStyle(p, roundPen(teal.darker(130), 2), teal);
    p.drawPolygon(sixSided);
    // Slanted crossbar ends and a pointed stem keep the letter from looking like a plain font glyph.
    setStyle(p, Qt::NoPen, Qt::white);
    p.drawPolygon(polygon({{12, 13}, {36, 13}, {33, 19}, {27, 19}, {27, 36}, {24, 39}, {21, 36}, {21, 19}, {15, 19}}));
}

void splashImage(QPainter& p)
{
    const QRectF area(0, 0, 560, 320);
    QLinearGradient background(area.topLeft(), area.bottomRight());
    background.setColorAt(0, QColor(0x0d, 0x2a, 0x52));
    background.setColorAt(0.55, QColor(0x17, 0x4e, 0x86));
    background.setColorAt(1, QColor(0x13, 0x7f, 0x74));
    p.fillRect(area, background);
    setStyle(p, QPen(QColor(255, 255, 255, 28), 1));
    for (int y = 20; y < 320; y += 40)
        p.drawLine(QPointF(0, y), QPointF(560, y));
    // Bowed meridians read as a projected graticule rather than a plain grid.
    for (int x = 0; x <= 560; x += 40) {
        QPainterPath meridian;
        meridian.moveTo(x, 0);
        meridian.quadTo(x + (x - 280) * 0.18, 160, x, 320);
        p.drawPath(meridian);
    }
    p.save();
    p.translate(36, 98);
    p.scale(2.0, 2.0);
    drawAppMark(p);
    p.restore();
    p.setFont(sansFont(50, true));
    p.setPen(Qt::white);
    p.drawText(QPointF(192, 160), QStringLiteral("Kartopress"));
    p.setPen(QPen(mint, 3, Qt::SolidLine, Qt::RoundCap));
    p.drawLine(QPointF(194, 178), QPointF(300, 178));
    p.setFont(sansFont(19, false));
    p.setPen(QColor(255, 255, 255, 225));
    p.drawText(QPointF(194, 208), QStringLiteral("Geospatial data preparation"));
    p.setFont(sansFont(13, false));
    p.setPen(QColor(255, 255, 255, 170));
    p.drawText(QRectF(0, 280, 536, 24), Qt::AlignRight | Qt::AlignVCenter, QStringLiteral("Tessara Geodata"));
}

void gearsIcon(QPainter& p)
{
    const QPointF big(19, 29);
    const QPointF small(36, 15.5);
    // Big gear shows a gap and small gear a tooth along the line between centres, so they mesh.
    const qreal towardSmall = std::atan2(small.y() - big.y(), small.x() - big.x());
    drawGear(p, big, 15.5, 11.5, 10, towardSmall + M_PI / 10, slate);
    drawGear(p, small, 10, 7, 8, towardSmall + M_PI, teal);
}

void pointcloudIcon(QPainter& p)
{
    // Fixed seed: the build must produce identical bytes every time.
    QRandomGenerator random(20240611);
    p.setPen(Qt::NoPen);
    for (qreal x = 4; x <= 44; x += 2.5) {
        const qreal height = 26 * std::exp(-std::pow((x - 23) / 12.0, 2)) + 5;
        for (qreal y = 42; y > 42 - height; y -= 2.5) {
            const qreal level = (42 - y) / 31;
            p.setBrush(level < 0.25 ? deepBlue : level < 0.5 ? teal : level < 0.75 ? green : amber);
            p.drawEllipse(QPointF(x + random.bounded(1.0) - 0.5, y + random.bounded(1.0) - 0.5), 1.1, 1.1);
        }
    }
}

void uploadIcon(QPainter& p)
{
    QPainterPath cloud;
    for (const QRectF& puff : {QRectF(4, 16, 16, 16), QRectF(13, 5, 22, 22), QRectF(28, 13, 16, 16)}) {
        QPainterPath part;
        part.addEllipse(puff);
        cloud = cloud.united(part);
    }
    QPainterPath base;
    base.addRoundedRect(QRectF(12, 20, 24, 12), 4, 4);
    setStyle(p, roundPen(deepBlue, 2.5), lightBlue);
    p.drawPath(cloud.united(base));
    drawArrow(p, {24, 45}, {24, 15}, 4, deepBlue);
}

void userIcon(QPainter& p)
{
    QPainterPath shoulders;
    shoulders.moveTo(7, 44);
    shoulders.cubicTo(7, 31, 14, 27, 24, 27);
    shoulders.cubicTo(34, 27, 41, 31, 41, 44);
    shoulders.closeSubpath();
    setStyle(p, Qt::NoPen, deepBlue);
    p.drawPath(shoulders);
    p.setPen(QPen(Qt::white, 2.5));
    p.drawEllipse(QPointF(24, 15.5), 9.5, 9.5);
}

void openProjectIcon(QPainter& p)
{
    const QRectF folder(3, 8, 42, 34);
    drawFolderBack(p, folder, 2);
    drawDocument(p, QRectF(12, 4, 24, 28), 2, 0);
    setStyle(p, roundPen(deepBlue, 2.2));
    p.drawPolyline(polygon({{19, 9.5}, {16, 13}, {19, 16.5}}));
    p.drawPolyline(polygon({{27, 9.5}, {30, 13}, {27, 16.5}}));
    p.drawLine(QPointF(24.5, 9), QPointF(21.5, 17));
    drawFolderFront(p, folder, 2, true);
}

void newCompressIcon(QPainter& p)
{
    const QColor cells[] = {teal, green, deepBlue, lightBlue, teal, green, deepBlue, lightBlue, teal};
    p.setPen(Qt::NoPen);
    for (int i = 0; i < 9; ++i) {
        p.setBrush(cells[i]);
        p.drawRect(QRectF(15 + (i % 3) * 6, 15 + (i / 3) * 6, 6, 6));
    }
    setStyle(p, roundPen(slate, 2));
    p.drawRect(QRectF(15, 15, 18, 18));
    const QColor clamp = amber.darker(115);
    drawArrow(p, {3, 3}, {12, 12}, 3, clamp);
    drawArrow(p, {45, 3}, {36, 12}, 3, clamp);
    drawArrow(p, {3, 45}, {12, 36}, 3, clamp);
    drawArrow(p, {45, 45}, {36, 36}, 3, clamp);
}

void startIcon(QPainter& p)
{
    drawDisc(p, {24, 24}, 20, green);
    setStyle(p, roundPen(Qt::white, 2), Qt::white);
    p.drawPolygon(polygon({{19, 14}, {35, 24}, {19, 34}}));
}

void stopIcon(QPainter& p)
{
    setStyle(p, roundPen(red.darker(130), 2), red);
    p.drawRoundedRect(QRectF(6, 6, 36, 36), 7, 7);
    setStyle(p, roundPen(Qt::white, 2.2));
    p.drawRoundedRect(QRectF(11, 11, 26, 26), 4, 4);
}

void deleteIcon(QPainter& p)
{
    setStyle(p, roundPen(red.darker(140), 2), red);
    p.drawPolygon(polygon({{11, 14}, {37, 14}, {34, 44}, {14, 44}}));
    p.drawRoundedRect(QRectF(7, 8, 34, 5), 2, 2);
    p.setBrush(Qt::NoBrush);
    p.drawRoundedRect(QRectF(19, 3.5, 10, 4.5), 1.5, 1.5);
    p.setPen(roundPen(QColor(255, 255, 255, 200), 2.2));
    for (qreal x : {18.0, 24.0, 30.0})
        p.drawLine(QPointF(x, 19), QPointF(x, 39));
}

void viewerIcon(QPainter& p)
{
    const qreal folds[] = {5, 18, 30, 43};
    for (int i = 0; i < 3; ++i) {
        const qreal lift = (i % 2) ? 0.0 : 3.0;
        setStyle(p, roundPen(slate, 1.8), (i % 2) ? QColor(0xc8, 0xe8, 0xe3) : QColor(0xcf, 0xec, 0xd2));
        p.drawPolygon(polygon(
            {{folds[i], 24 + lift}, {folds[i + 1], 27 - lift}, {folds[i + 1], 45 - lift}, {folds[i], 42 + lift}}));
    }
    p.setPen(QPen(red, 1.8, Qt::DashLine, Qt::RoundCap));
    p.drawPolyline(polygon({{9, 40}, {20, 35}, {29, 40}, {39, 33}}));
    QPainterPath eye;
    eye.moveTo(6, 15);
    eye.quadTo(24, -3, 42, 15);
    eye.quadTo(24, 33, 6, 15);
    setStyle(p, roundPen(deepBlue, 2.4), Qt::white);
    p.drawPath(eye);
    setStyle(p, Qt::NoPen, deepBlue);
    p.drawEllipse(QPointF(24, 15), 6, 6);
    p.setBrush(QColor(0x10, 0x25, 0x40));
    p.drawEllipse(QPointF(24, 15), 2.6, 2.6);
    p.setBrush(Qt::white);
    p.drawEllipse(QPointF(26, 13), 1.3, 1.3);
}

void fileCheckIcon(QPainter& p)
{
    drawDocument(p, QRectF(5, 3, 28, 38), 2.2, 5);
    p.setPen(roundPen(slate, 5.5));
    p.drawLine(QPointF(37, 36), QPointF(43.5, 42.5));
    setStyle(p, roundPen(slate, 3), QColor(0xdc, 0xeb, 0xf8, 220));
    p.drawEllipse(QPointF(31, 30), 8, 8);
}

void headerEditorIcon(QPainter& p)
{
    drawDocument(p, QRectF(5, 3, 28, 38), 2.2, 5);
    // The pencil is laid out along +x, then turned so its point faces the lower left.
    p.save();
    p.translate(32, 26);
    p.rotate(135);
    setStyle(p, roundPen(ink, 1.5), QColor(0xe0, 0x7a, 0x8a));
    p.drawRect(QRectF(-17, -4, 5, 8));
    p.setBrush(amber);
    p.drawRect(QRectF(-12, -4, 20, 8));
    p.setBrush(QColor(0xf3, 0xd9, 0xa4));
    p.drawPolygon(polygon({{8, -4}, {17, 0}, {8, 4}}));
    p.setBrush(ink);
    p.drawPolygon(polygon({{14, -1.3}, {17, 0}, {14, 1.3}}));
    p.restore();
}

void diskSpeedIcon(QPainter& p)
{
    const QColor bands[] = {green, amber, red};
    p.setBrush(Qt::NoBrush);
    for (int i = 0; i < 3; ++i) {
        p.setPen(QPen(bands[i], 4.5, Qt::SolidLine, Qt::FlatCap));
        p.drawArc(QRectF(8, 6, 32, 32), (180 - i * 60) * 16, -60 * 16);
    }
    p.setPen(roundPen(slate, 3));
    p.drawLine(QPointF(24, 22), QPointF(34, 13));
    setStyle(p, roundPen(slate.darker(130), 2), slate);
    p.drawRoundedRect(QRectF(4, 26, 40, 16), 3, 3);
    setStyle(p, Qt::NoPen, QColor(0x7d, 0xe0, 0x8f));
    p.drawEllipse(QPointF(37, 34), 2.2, 2.2);
    p.setPen(roundPen(lightGrey, 1.6));
    for (qreal x : {10.0, 14.0, 18.0})
        p.drawLine(QPointF(x, 31), QPointF(x, 37));
}

void consoleIcon(QPainter& p)
{
    const QRectF window(3, 7, 42, 34);
    setStyle(p, Qt::NoPen, QColor(0x2b, 0x32, 0x3a));
    p.drawRoundedRect(window, 3, 3);
    p.setBrush(deepBlue);
    p.drawRoundedRect(QRectF(3, 7, 42, 8), 3, 3);
    p.drawRect(QRectF(3, 11, 42, 4));
    setStyle(p, roundPen(slate.darker(120), 2));
    p.drawRoundedRect(window, 3, 3);
    p.setPen(roundPen(QColor(0x7d, 0xe0, 0x8f), 3));
    p.drawPolyline(polygon({{10, 21}, {16, 26}, {10, 31}}));
    p.setPen(roundPen(Qt::white, 3));
    p.drawLine(QPointF(20, 33), QPointF(29, 33));
}

void helpIcon(QPainter& p)
{
    drawDisc(p, {24, 24}, 20, deepBlue);
    p.setFont(sansFont(30, true));
    p.setPen(Qt::white);
    p.drawText(QRectF(4, 4, 40, 41), Qt::AlignCenter, QStringLiteral("?"));
}

void fileInfoIcon(QPainter& p)
{
    drawDisc(p, {24, 24}, 20, deepBlue);
    setStyle(p, Qt::NoPen, Qt::white);
    p.drawEllipse(QPointF(24, 14), 3.3, 3.3);
    p.drawRoundedRect(QRectF(21, 20.5, 6, 16), 2, 2);
}

void qualityIcon(QPainter& p)
{
    p.setPen(Qt::NoPen);
    for (int i = 0; i < 5; ++i) {
        p.setBrush(i % 2 ? QColor(Qt::white) : red);
        p.drawEllipse(QPointF(22, 26), 20 - i * 4.4, 20 - i * 4.4);
    }
    setStyle(p, roundPen(red.darker(140), 1.5));
    p.drawEllipse(QPointF(22, 26), 20, 20);
    drawArrow(p, {45, 3}, {23, 25}, 3, deepBlue);
}

struct ImageJob
{
    QString fileName;
    QSize size;
    qreal designWidth;  // drawing coordinates span this many units across the image
    std::function<void(QPainter&)> draw;
};

std::vector<ImageJob> allImages()
{
    const QSize small(16, 16);
    const QSize medium(24, 24);
    const QSize large(48, 48);
    const QRectF tableArea(2.5, 3.5, 19, 17);
    return {
        {QStringLiteral("stopwatch.png"), small, 16, [](QPainter& p) { drawStopwatch(p, false); }},
        {QStringLiteral("stopwatch_run.png"), small, 16, [](QPainter& p) { drawStopwatch(p, true); }},
        {QStringLiteral("check.png"), small, 16,
         [](QPainter& p) {
             drawBadge(p, {8, 8}, 7.2, green, Glyph::tick, false);
         }},
        {QStringLiteral("warning.png"), small, 16, warningIcon},
        {QStringLiteral("error.png"), small, 16,
         [](QPainter& p) {
             drawBadge(p, {8, 8}, 7.2, red, Glyph::cross, false);
         }},
        {QStringLiteral("document_info.png"), small, 16, documentInfoIcon},
        {QStringLiteral("sort_az_ascending.png"), small, 16, [](QPainter& p) { sortIcon(p, true); }},
        {QStringLiteral("sort_az_descending.png"), small, 16, [](QPainter& p) { sortIcon(p, false); }},
        {QStringLiteral("table_selection_row.png"), medium, 24,
         [tableArea](QPainter& p) { drawGrid(p, tableArea, RowHighlight::one); }},
        {QStringLiteral("table_selection_all.png"), medium, 24,
         [tableArea](QPainter& p) { drawGrid(p, tableArea, RowHighlight::all); }},
        {QStringLiteral("table_sql_ok.png"), medium, 24, [](QPainter& p) { tableBadgeIcon(p, green, Glyph::tick); }},
        {QStringLiteral("table_sql_delete.png"), medium, 24, [](QPainter& p) { tableBadgeIcon(p, red, Glyph::cross); }},
        {QStringLiteral("elements_selection.png"), medium, 24, elementsSelectionIcon},
        {QStringLiteral("folder_add.png"), medium, 24,
         [](QPainter& p) {
             drawClosedFolder(p, QRectF(1.5, 3.5, 19, 15), 1.2);
             drawBadge(p, {17.5, 17.5}, 5.5, green, Glyph::plus, true);
         }},
        {QStringLiteral("folder_document.png"), medium, 24,
         [](QPainter& p) {
             drawClosedFolder(p, QRectF(1.5, 3.5, 19, 15), 1.2);
             drawDocument(p, QRectF(11.5, 8.5, 11, 14), 1.2, 3);
         }},
        {QStringLiteral("trayicon.png"), QSize(32, 32), 64, drawAppMark},
        {QStringLiteral("tws.png"), QSize(64, 64), 64, drawAppMark},
        {QStringLiteral("TessaraBugLogo.png"), large, 48, companyMarkIcon},
        {QStringLiteral("splash.png"), QSize(560, 320), 560, splashImage},
        {QStringLiteral("photo_scenery.png"), large, 48, photoSceneryIcon},
        {QStringLiteral("log.png"), large, 48, [](QPainter& p) { drawDocument(p, QRectF(9, 4, 30, 40), 2.2, 6); }},
        {QStringLiteral("text_lock.png"), large, 48, textLockIcon},
        {QStringLiteral("exit.png"), large, 48, exitIcon},
        {QStringLiteral("gears.png"), large, 48, gearsIcon},
        {QStringLiteral("pointcloud.png"), large, 48, pointcloudIcon},
        {QStringLiteral("upload-48.png"), large, 48, uploadIcon},
        {QStringLiteral("user1.png"), large, 48, userIcon},
        {QStringLiteral("open_project.png"), large, 48, openProjectIcon},
        {QStringLiteral("new_compress.png"), large, 48, newCompressIcon},
        {QStringLiteral("start.png"), large, 48, startIcon},
        {QStringLiteral("stop.png"), large, 48, stopIcon},
        {QStringLiteral("delete.png"), large, 48, deleteIcon},
        {QStringLiteral("viewer.png"), large, 48, viewerIcon},
        {QStringLiteral("file_check.png"), large, 48, fileCheckIcon},
        {QStringLiteral("header_editor.png"), large, 48, headerEditorIcon},
        {QStringLiteral("disk_speed.png"), large, 48, diskSpeedIcon},
        {QStringLiteral("console.png"), large, 48, consoleIcon},
        {QStringLiteral("help.png"), large, 48, helpIcon},
        {QStringLiteral("file_info.png"), large, 48, fileInfoIcon},
        {QStringLiteral("quality.png"), large, 48, qualityIcon},
    };
}

bool renderImage(const ImageJob& job, const QString& path)
{
    QImage image(job.size, QImage::Format_ARGB32_Premultiplied);
    image.fill(Qt::transparent);
    QPainter painter(&image);
    painter.setRenderHint(QPainter::Antialiasing);
    painter.setRenderHint(QPainter::TextAntialiasing);
    const qreal scale = job.size.width() / job.designWidth;
    painter.scale(scale, scale);
    job.draw(painter);
    painter.end();
    return image.save(path, "PNG");
}

bool writeResourceFile(const std::vector<ImageJob>& jobs, const QString& path)
{
    QFile file(path);
    if (!file.open(QIODevice::WriteOnly | QIODevice::Truncate | QIODevice::Text))
        return false;
    QTextStream out(&file);
    out << "<!DOCTYPE RCC>\n<RCC version=\"1.0\">\n";
    out << "<qresource prefix=\"/ImageCompressor/Resources\">\n";
    for (const ImageJob& job : jobs)
        out << "    <file>" << job.fileName << "</file>\n";
    out << "</qresource>\n</RCC>\n";
    out.flush();
    return out.status() == QTextStream::Ok && file.error() == QFileDevice::NoError;
}

}  // namespace

int main(int argc, char* argv[])
{
    QGuiApplication app(argc, argv);
    const QStringList arguments = QCoreApplication::arguments();
    if (arguments.size() != 2) {
        std::fprintf(stderr, "usage: makeicons <outdir>\n");
        return 1;
    }
    const QDir outDir(arguments.at(1));
    if (!QDir().mkpath(outDir.path())) {
        std::fprintf(stderr, "%s\n", qPrintable(outDir.path()));
        return 1;
    }
    const std::vector<ImageJob> jobs = allImages();
    bool ok = true;
    for (const ImageJob& job : jobs) {
        if (!renderImage(job, outDir.filePath(job.fileName))) {
            std::fprintf(stderr, "%s\n", qPrintable(job.fileName));
            ok = false;
        }
    }
    // The desktop's menu and launcher take the application mark at the standard theme sizes.
    for (const int size : {16, 22, 24, 32, 48, 64, 128, 256}) {
        const QString themeDir = QStringLiteral("hicolor/%1x%1/apps").arg(size);
        const ImageJob mark{QStringLiteral("kartopress.png"), QSize(size, size), 64, drawAppMark};
        if (!QDir().mkpath(outDir.filePath(themeDir))
            || !renderImage(mark, outDir.filePath(themeDir + QStringLiteral("/kartopress.png")))) {
            std::fprintf(stderr, "%s\n", qPrintable(themeDir));
            ok = false;
        }
    }
    const QString resourceName = QStringLiteral("kartopress.qrc");
    if (!writeResourceFile(jobs, outDir.filePath(resourceName))) {
        std::fprintf(stderr, "%s\n", qPrintable(resourceName));
        ok = false;
    }
    return ok ? 0 : 1;
}
