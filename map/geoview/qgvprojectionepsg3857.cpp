#include "map/geoview/qgvprojectionepsg3857.h"

#include <QtMath>
#include <algorithm>
#include <cmath>

QString QGVProjectionEPSG3857::getID() const
{
    return QStringLiteral("EPSG3857");
}

QRectF QGVProjectionEPSG3857::boundaryProjRect() const
{
    return geoToProj(QGV::GeoRect(maxLatitude, -180, -maxLatitude, 180));
}

QPointF QGVProjectionEPSG3857::geoToProj(const QGV::GeoPos& geoPos) const
{
    const double lat = std::clamp(geoPos.lat(), -maxLatitude, maxLatitude);
    const double x = earthRadius * qDegreesToRadians(geoPos.lon());
    const double y = earthRadius * std::log(std::tan(M_PI / 4 + qDegreesToRadians(lat) / 2));
    return QPointF(x, -y);
}

QGV::GeoPos QGVProjectionEPSG3857::projToGeo(const QPointF& projPos) const
{
    const double lon = qRadiansToDegrees(projPos.x() / earthRadius);
    const double lat = qRadiansToDegrees(2 * std::atan(std::exp(-projPos.y() / earthRadius)) - M_PI / 2);
    return QGV::GeoPos(lat, lon);
}

QRectF QGVProjectionEPSG3857::geoToProj(const QGV::GeoRect& geoRect) const
{
    return QRectF(geoToProj(geoRect.topLeft()), geoToProj(geoRect.bottomRight()));
}

QGV::GeoRect QGVProjectionEPSG3857::projToGeo(const QRectF& projRect) const
{
    return QGV::GeoRect(projToGeo(projRect.topLeft()), projToGeo(projRect.bottomRight()));
}
