#pragma once

#include <QPointF>
#include <QRectF>

class QGVMap;

// What the map shows: the scale in pixels per projected unit and the projected rectangle that fills
// the view.
class QGVCameraState
{
public:
    QGVCameraState(QGVMap* geoMap, double scale, const QRectF& projRect);

    QGVMap* getMap() const;
    double scale() const;
    QRectF projRect() const;
    QPointF projCenter() const;

    bool operator==(const QGVCameraState& other) const;
    bool operator!=(const QGVCameraState& other) const;

private:
    QGVMap* geoMap;
    double mScale;
    QRectF mProjRect;
};
