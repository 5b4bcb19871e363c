#pragma once

#include <QPainterPath>
#include <QPointF>
#include <QString>
#include <QTransform>
#include <memory>

#include "map/geoview/qgvitem.h"

class QGVGraphicsItem;
class QPainter;

// An item that paints itself in projected coordinates. Subclasses give the shape and the painting;
// the map does culling, stacking, selection and the click routing.
class QGVDrawItem : public QGVItem
{
    Q_OBJECT

public:
    explicit QGVDrawItem(QObject* parent = nullptr);
    ~QGVDrawItem() override;

    void onProjection(QGVMap* geoMap) override;
    void onCamera(const QGVCameraState& oldState, const QGVCameraState& newState) override;
    void onUpdate() override;
    void onClean() override;

    virtual QPainterPath projShape() const = 0;
    virtual void projPaint(QPainter* painter) = 0;
    virtual QPointF projAnchor() const;
    // Used only while the Transformed flag is set.
    virtual QTransform projTransform() const;
    virtual QString projTooltip(const QPointF& projPos) const;
    virtual QString projDebug();
    virtual void projOnFlags();
    // Called for a click on the item when it is the topmost one and has the Clickable flag.
    virtual void projOnMouseClick(const QPointF& projPos);
    virtual void projOnMouseDoubleClick(const QPointF& projPos);

    void repaint();
    // To be called whenever projShape would answer differently.
    void resetBoundary();

private:
    friend class QGVMap;
    friend class QGVGraphicsItem;

    void updateTransform();

    std::unique_ptr<QGVGraphicsItem> graphics;
};
