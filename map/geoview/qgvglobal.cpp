#include "map/geoview/qgvglobal.h"

#include <QFontMetricsF>
#include <QStringList>
#include <algorithm>

namespace QGV {

namespace {

QTransform aroundAnchor(const QPointF& anchor, const QTransform& transform)
{
    return QTransform::fromTranslate(-anchor.x(), -anchor.y()) * transform
        * QTransform::fromTranslate(anchor.x(), anchor.y());
}

}  // namespace

QTransform createTransfromAzimuth(const QPointF& projAnchor, double azimuth)
{
    // Projected y grows southwards, so a positive angle turns clockwise as a compass bearing does.
    return aroundAnchor(projAnchor, QTransform().rotate(azimuth));
}

QTransform createTransfromScale(const QPointF& projAnchor, double scale)
{
    return aroundAnchor(projAnchor, QTransform::fromScale(scale, scale));
}

QPainterPath createTextPath(const QRect& rect, const QString& text, const QFont& font, int penWidth)
{
    QPainterPath path;
    if (text.isEmpty() || rect.isEmpty())
        return path;
    const QFontMetricsF metrics(font);
    const QStringList lines = text.split(QLatin1Char('\n'));
    qreal baseline = metrics.ascent();
    for (const QString& line : lines) {
        const qreal indent = -metrics.horizontalAdvance(line) / 2;
        path.addText(indent, baseline, font, line);
        baseline += metrics.lineSpacing();
    }
    const QRectF textBounds = path.boundingRect();
    const QRectF target = QRectF(rect).adjusted(penWidth, penWidth, -penWidth, -penWidth);
    if (textBounds.isEmpty() || target.width() <= 0 || target.height() <= 0)
        return QPainterPath();
    const qreal scale = std::min(target.width() / textBounds.width(), target.height() / textBounds.height());
    QTransform fit = QTransform::fromTranslate(-textBounds.center().x(), -textBounds.center().y());
    fit *= QTransform::fromScale(scale, scale);
    fit *= QTransform::fromTranslate(target.center().x(), target.center().y());
    return fit.map(path);
}

}  // namespace QGV
