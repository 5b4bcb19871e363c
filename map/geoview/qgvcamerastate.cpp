#include "map/geoview/qgvcamerastate.h"

QGVCameraState::QGVCameraState(QGVMap* geoMap, double scale, const QRectF& projRect)
    : geoMap(geoMap)
    , mScale(scale)
    , mProjRect(projRect)
{}

QGVMap* QGVCameraState::getMap() const
{
    return geoMap;
}

double QGVCameraState::scale() const
{
    return mScale;
}

QRectF QGVCameraState::projRect() const
{
    return mProjRect;
}

QPointF QGVCameraState::projCenter() const
{
    return mProjRect.center();
}

bool QGVCameraState::operator==(const QGVCameraState& other) const
{
    return geoMap == other.geoMap && mScale == other.mScale && mProjRect == other.mProjRect;
}

bool QGVCameraState::operator!=(const QGVCameraState& other) const
{
    return !(*this == other);
}
