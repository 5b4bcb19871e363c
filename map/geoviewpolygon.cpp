#include "map/geoviewpolygon.h"

#include <QPainter>

#include "map/geoview/qgvmap.h"
#include "map/geoview/qgvprojection.h"

namespace Tessara::GeoMap {

namespace {

QPolygonF project(const QGVProjection* projection, const QVector<QGV::GeoPos>& ring)
{
    QPolygonF polygon;
    polygon.reserve(ring.size());
    for (const QGV::GeoPos& pos : ring)
        polygon.append(projection->geoToProj(pos));
    return polygon;
}

}  // namespace

GeoViewPolygon::GeoViewPolygon(const QVector<QGV::GeoPos>& geoPoints, const Style& style)
    : geoPoints(geoPoints)
    , brushStyle(style.brushStyle)
    , fillColor(style.fillColor)
    , lineColor(style.lineColor)
    , penStyle(style.penStyle)
    , lineWidth(style.lineWidth)
{
    setSelectable(false);
}

void GeoViewPolygon::setHoles(const QVector<QVector<QGV::GeoPos>>& geoHoles)
{
    if (this->geoHoles.isSharedWith(geoHoles))
        return;
    this->geoHoles = geoHoles;
    if (getMap()) {
        resetBoundary();
        projectHoles();
        repaint();
    }
}

QVector<QGV::GeoPos> GeoViewPolygon::getPoints() const
{
    return geoPoints;
}

QVector<QVector<QGV::GeoPos>> GeoViewPolygon::getHoles() const
{
    return geoHoles;
}

void GeoViewPolygon::onProjection(QGVMap* geoMap)
{
    QGVDrawItem::onProjection(geoMap);
    projPolygon = project(geoMap->getProjection(), geoPoints);
    projectHoles();
}

void GeoViewPolygon::projectHoles()
{
    const QGVProjection* projection = getMap()->getProjection();
    projHoles.clear();
    projHoles.reserve(geoHoles.size());
    for (const QVector<QGV::GeoPos>& hole : qAsConst(geoHoles))
        projHoles.append(project(projection, hole));
    shapeValid = false;
}

QPainterPath GeoViewPolygon::projShape() const
{
    if (!shapeValid) {
        QPainterPath path;
        path.addPolygon(projPolygon);
        path.closeSubpath();
        for (const QPolygonF& hole : projHoles) {
            QPainterPath holePath;
            holePath.addPolygon(hole);
            holePath.closeSubpath();
            path = path.subtracted(holePath);
        }
        shapeCache = path;
        shapeValid = true;
    }
    return shapeCache;
}

void GeoViewPolygon::projPaint(QPainter* painter)
{
    QPen pen(QBrush(lineColor), lineWidth, Qt::SolidLine, Qt::SquareCap, Qt::BevelJoin);
    pen.setCosmetic(true);
    pen.setStyle(Qt::PenStyle(penStyle));
    painter->setPen(pen);
    painter->setBrush(QBrush(fillColor, Qt::BrushStyle(brushStyle)));
    painter->drawPath(projShape());
}

QPointF GeoViewPolygon::projAnchor() const
{
    return projPolygon.boundingRect().center();
}

QTransform GeoViewPolygon::projTransform() const
{
    return QGV::createTransfromAzimuth(projAnchor(), 45);
}

QString GeoViewPolygon::projTooltip(const QPointF&) const
{
    return QString();
}

void GeoViewPolygon::projOnMouseClick(const QPointF&) {}

void GeoViewPolygon::projOnMouseDoubleClick(const QPointF&) {}

}  // namespace Tessara::GeoMap
