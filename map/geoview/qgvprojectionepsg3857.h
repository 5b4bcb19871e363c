#pragma once

#include "map/geoview/qgvprojection.h"

// Spherical Mercator. Latitudes beyond 85 degrees are held at 85, where the plane is nearly square.
class QGVProjectionEPSG3857 : public QGVProjection
{
public:
    static constexpr double earthRadius = 6378137.0;
    static constexpr double maxLatitude = 85.0;

    QString getID() const override;
    QRectF boundaryProjRect() const override;
    QPointF geoToProj(const QGV::GeoPos& geoPos) const override;
    QGV::GeoPos projToGeo(const QPointF& projPos) const override;
    QRectF geoToProj(const QGV::GeoRect& geoRect) const override;
    QGV::GeoRect projToGeo(const QRectF& projRect) const override;
};
