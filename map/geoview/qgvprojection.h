#pragma once

#include <QPointF>
#include <QRectF>
#include <QString>

#include "map/geoview/geopos.h"
#include "map/geoview/georect.h"

// Turns degrees into the map's projected plane and back. Projected y grows downwards, as Qt's does,
// so north is up on screen without a flip in the view.
class QGVProjection
{
public:
    virtual ~QGVProjection() = default;

    virtual QString getID() const = 0;
    virtual QRectF boundaryProjRect() const = 0;
    virtual QPointF geoToProj(const QGV::GeoPos& geoPos) const = 0;
    virtual QGV::GeoPos projToGeo(const QPointF& projPos) const = 0;
    virtual QRectF geoToProj(const QGV::GeoRect& geoRect) const = 0;
    virtual QGV::GeoRect projToGeo(const QRectF& projRect) const = 0;
};
