#pragma once

#include <QList>
#include <QPoint>
#include <QPointF>
#include <QRectF>
#include <QWidget>
#include <memory>

#include "map/geoview/qgvcameraactions.h"
#include "map/geoview/qgvcamerastate.h"
#include "map/geoview/qgvglobal.h"

class QGraphicsScene;
class QGraphicsView;
class QGVDrawItem;
class QGVGraphicsView;
class QGVItem;
class QGVProjection;
class QGVWidget;

// A map widget without base layer: items in EPSG:3857 on a plain background. Items are kept in
// the order of adding, which is also their stacking order, later above earlier. The map owns the
// items and widgets added to it. Left-drag pans, the wheel zooms; a left click goes to the topmost
// item under the pointer.
class QGVMap : public QWidget
{
    Q_OBJECT

public:
    static constexpr double minScale = 1e-7;
    static constexpr double maxScale = 40.0;

    explicit QGVMap(QWidget* parent = nullptr);
    ~QGVMap() override;

    QGVCameraState getCamera() const;
    void cameraTo(const QGVCameraActions& actions, bool animation = false);
    QGVProjection* getProjection() const;
    // Pixels per projected unit that fit projRect into the view; a rectangle without size gives the
    // largest scale.
    double scaleToFit(const QRectF& projRect) const;

    void addItem(QGVItem* item);
    void removeItem(QGVItem* item);
    void deleteItems();
    int countItems() const;
    QGVItem* getItem(int index) const;

    void select(QGVItem* item);
    void unselect(QGVItem* item);
    void unselectAll();
    // The selected items in the order of the item list.
    QList<QGVItem*> getSelections() const;

    void addWidget(QGVWidget* widget);
    void removeWidget(QGVWidget* widget);

    // Repaints every item as it stands, without projecting anything again.
    void refreshMap();

    QGraphicsView* geoView() const;
    QPointF mapToProj(const QPoint& viewPos) const;
    QPoint mapFromProj(const QPointF& projPos) const;

protected:
    void resizeEvent(QResizeEvent* event) override;

private:
    friend class QGVItem;
    friend class QGVGraphicsView;

    void forgetItem(QGVItem* item);
    void detachItem(QGVItem* item);
    void setCamera(double scale, const QPointF& projCenter);
    void applyCameraToView();
    QGVDrawItem* topItemAt(const QPointF& projPos) const;
    QString tooltipAt(const QPoint& viewPos) const;
    void viewResized();
    bool hasSize() const;

    void mousePress(QMouseEvent* event);
    bool mouseMove(QMouseEvent* event);
    void mouseRelease(QMouseEvent* event);
    void mouseDoubleClick(QMouseEvent* event);
    void wheel(QWheelEvent* event);

    std::unique_ptr<QGVProjection> projection;
    QGraphicsScene* scene;
    QGVGraphicsView* view;
    QList<QGVItem*> items;
    QList<QGVWidget*> widgets;
    double cameraScale;
    QPointF cameraCenter;
    bool fitPending = false;
    QRectF pendingFit;
    qreal nextZ = 0;

    bool leftPressed = false;
    bool panning = false;
    bool afterDoubleClick = false;
    QPoint pressPos;
    QPointF pressCenter;
};
