#pragma once

#include <QColor>
#include <QPolygonF>
#include <QVector>

#include "map/geoview/qgvdrawitem.h"

namespace Tessara::GeoMap {

// A polygon of a shapefile feature, holes included. It shows where a clip region lies and takes no
// part in selection.
class GeoViewPolygon : public QGVDrawItem
{
    Q_OBJECT

public:
    struct Style
    {
        int brushStyle;
        QColor fillColor;
        QColor lineColor;
        int penStyle;
        int lineWidth;
    };

    GeoViewPolygon(const QVector<QGV::GeoPos>& geoPoints, const Style& style);

    void setHoles(const QVector<QVector<QGV::GeoPos>>& geoHoles);
    QVector<QGV::GeoPos> getPoints() const;
    QVector<QVector<QGV::GeoPos>> getHoles() const;

    void onProjection(QGVMap* geoMap) override;
    QPainterPath projShape() const override;
    void projPaint(QPainter* painter) override;
    QPointF projAnchor() const override;
    QTransform projTransform() const override;
    QString projTooltip(const QPointF& projPos) const override;
    void projOnMouseClick(const QPointF& projPos) override;
    void projOnMouseDoubleClick(const QPointF& projPos) override;

private:
    void projectHoles();

    QPolygonF projPolygon;
    QVector<QGV::GeoPos> geoPoints;
    int brushStyle;
    QColor fillColor;
    QColor lineColor;
    int penStyle;
    int lineWidth;
    QVector<QPolygonF> projHoles;
    QVector<QVector<QGV::GeoPos>> geoHoles;
    // Subtracting holes is costly and the scene asks for the shape on every paint and hit test.
    mutable QPainterPath shapeCache;
    mutable bool shapeValid = false;
};

}  // namespace Tessara::GeoMap
