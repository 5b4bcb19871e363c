#include "map/geoviewtextannotation.h"

#include <QPainter>

#include "map/geoview/qgvmap.h"
#include "map/geoview/qgvprojection.h"

namespace Tessara::GeoMap {

GeoViewTextAnnotation::GeoViewTextAnnotation(const QGV::GeoRect& geoRect, QGV::ItemFlags, const QColor& color)
    : geoRect(geoRect)
    , color(color)
{
    setSelectable(false);
}

void GeoViewTextAnnotation::setRect(const QGV::GeoRect& geoRect)
{
    this->geoRect = geoRect;
    onProjection(getMap());
}

void GeoViewTextAnnotation::setText(const QString& text)
{
    this->text = text;
    textSet = true;
    repaint();
}

QString GeoViewTextAnnotation::getText() const
{
    return text;
}

void GeoViewTextAnnotation::onProjection(QGVMap* geoMap)
{
    QGVDrawItem::onProjection(geoMap);
    projRect = geoMap->getProjection()->geoToProj(geoRect);
}

QPainterPath GeoViewTextAnnotation::projShape() const
{
    QPainterPath path;
    path.addRect(projRect);
    return path;
}

void GeoViewTextAnnotation::projPaint(QPainter* painter)
{
    QPen pen(Qt::blue);
    pen.setWidth(1);
    pen.setCosmetic(true);
    painter->setPen(pen);
    painter->setBrush(QBrush(Qt::blue));
    const QRect rect(int(projRect.left()), int(projRect.top()), int(projRect.width()), int(projRect.height()));
    const QPainterPath path = QGV::createTextPath(rect, text, QFont(), pen.width());
    painter->drawPath(QGV::createTransfromScale(rect.bottomLeft(), 1.0).map(path));
}

QPointF GeoViewTextAnnotation::projAnchor() const
{
    return projRect.center();
}

QTransform GeoViewTextAnnotation::projTransform() const
{
    return QGV::createTransfromAzimuth(projAnchor(), 45);
}

QString GeoViewTextAnnotation::projTooltip(const QPointF&) const
{
    return QString();
}

void GeoViewTextAnnotation::projOnMouseClick(const QPointF&) {}

void GeoViewTextAnnotation::projOnMouseDoubleClick(const QPointF&) {}

}  // namespace Tessara::GeoMap
