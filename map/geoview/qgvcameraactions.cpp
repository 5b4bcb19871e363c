#include "map/geoview/qgvcameraactions.h"

#include "map/geoview/qgvmap.h"
#include "map/geoview/qgvprojection.h"

QGVCameraActions::QGVCameraActions(QGVMap* geoMap)
    : geoMap(geoMap)
    , mScale(geoMap->getCamera().scale())
    , mCenter(geoMap->getCamera().projCenter())
{}

QGVMap* QGVCameraActions::getMap() const
{
    return geoMap;
}

double QGVCameraActions::scale() const
{
    return fit ? geoMap->scaleToFit(mFitRect) : mScale;
}

QPointF QGVCameraActions::projCenter() const
{
    return (fit && !centerGiven) ? mFitRect.center() : mCenter;
}

bool QGVCameraActions::hasFit() const
{
    return fit;
}

QRectF QGVCameraActions::fitRect() const
{
    return mFitRect;
}

QGVCameraActions& QGVCameraActions::scaleTo(double scale)
{
    fit = false;
    mScale = scale;
    return *this;
}

QGVCameraActions& QGVCameraActions::scaleTo(const QRectF& projRect)
{
    fit = true;
    centerGiven = false;
    mFitRect = projRect.normalized();
    return *this;
}

QGVCameraActions& QGVCameraActions::scaleTo(const QGV::GeoRect& geoRect)
{
    return scaleTo(geoMap->getProjection()->geoToProj(geoRect));
}

QGVCameraActions& QGVCameraActions::moveTo(const QPointF& projPos)
{
    centerGiven = true;
    mCenter = projPos;
    return *this;
}

QGVCameraActions& QGVCameraActions::moveTo(const QGV::GeoPos& geoPos)
{
    return moveTo(geoMap->getProjection()->geoToProj(geoPos));
}
