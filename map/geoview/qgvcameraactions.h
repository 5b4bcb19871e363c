#pragma once

#include <QPointF>
#include <QRectF>

#include "map/geoview/qgvglobal.h"

class QGVMap;

// A camera move to hand to QGVMap::cameraTo. It starts from the map's present camera. A fit is kept
// as the rectangle, not as a scale, so that the map can work the scale out again once its size is
// known.
class QGVCameraActions
{
public:
    explicit QGVCameraActions(QGVMap* geoMap);

    QGVMap* getMap() const;
    double scale() const;
    QPointF projCenter() const;
    bool hasFit() const;
    QRectF fitRect() const;

    QGVCameraActions& scaleTo(double scale);
    QGVCameraActions& scaleTo(const QRectF& projRect);
    QGVCameraActions& scaleTo(const QGV::GeoRect& geoRect);
    QGVCameraActions& moveTo(const QPointF& projPos);
    QGVCameraActions& moveTo(const QGV::GeoPos& geoPos);

private:
    QGVMap* geoMap;
    double mScale;
    QPointF mCenter;
    bool fit = false;
    bool centerGiven = false;
    QRectF mFitRect;
};
