#include "map/geoview/qgvmap.h"

#include <QApplication>
#include <QGraphicsScene>
#include <QMouseEvent>
#include <QVBoxLayout>
#include <QWheelEvent>
#include <algorithm>
#include <cmath>

#include "map/geoview/qgvdrawitem.h"
#include "map/geoview/qgvgraphicsitem.h"
#include "map/geoview/qgvgraphicsview.h"
#include "map/geoview/qgvitem.h"
#include "map/geoview/qgvprojectionepsg3857.h"
#include "map/geoview/qgvwidget.h"

QGVMap::QGVMap(QWidget* parent)
    : QWidget(parent)
    , projection(std::make_unique<QGVProjectionEPSG3857>())
    , scene(new QGraphicsScene(this))
    , cameraScale(minScale)
{
    // A fixed scene rectangle spares the scene from growing, and re-indexing, as items arrive.
    const QRectF world = projection->boundaryProjRect();
    scene->setSceneRect(world.adjusted(-world.width(), -world.height(), world.width(), world.height()));
    view = new QGVGraphicsView(this, scene);
    auto* layout = new QVBoxLayout(this);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->addWidget(view);
    // Until the map has a size, it shows the whole world once it gets one.
    fitPending = true;
    pendingFit = world;
}

QGVMap::~QGVMap()
{
    deleteItems();
    for (QGVWidget* widget : qAsConst(widgets))
        widget->geoMap = nullptr;
}

QGVCameraState QGVMap::getCamera() const
{
    const QSizeF size = QSizeF(view->viewport()->size()) / cameraScale;
    const QPointF topLeft = cameraCenter - QPointF(size.width(), size.height()) / 2;
    return QGVCameraState(const_cast<QGVMap*>(this), cameraScale, QRectF(topLeft, size));
}

void QGVMap::cameraTo(const QGVCameraActions& actions, bool)
{
    fitPending = actions.hasFit() && !hasSize();
    pendingFit = actions.fitRect();
    setCamera(actions.scale(), actions.projCenter());
}

QGVProjection* QGVMap::getProjection() const
{
    return projection.get();
}

double QGVMap::scaleToFit(const QRectF& projRect) const
{
    const QSize size = view->viewport()->size();
    double scale = maxScale;
    if (projRect.width() > 0)
        scale = std::min(scale, size.width() / projRect.width());
    if (projRect.height() > 0)
        scale = std::min(scale, size.height() / projRect.height());
    return std::clamp(scale, minScale, maxScale);
}

void QGVMap::addItem(QGVItem* item)
{
    if (!item || item->geoMap == this)
        return;
    if (item->geoMap)
        item->geoMap->removeItem(item);
    item->setParent(this);
    items.append(item);
    item->geoMap = this;
    item->onProjection(this);
    if (auto* drawItem = qobject_cast<QGVDrawItem*>(item)) {
        drawItem->resetBoundary();
        drawItem->graphics->setZValue(nextZ++);
        scene->addItem(drawItem->graphics.get());
    }
}

void QGVMap::removeItem(QGVItem* item)
{
    if (!item || item->geoMap != this)
        return;
    detachItem(item);
    items.removeOne(item);
    item->setParent(nullptr);
}

void QGVMap::deleteItems()
{
    const QList<QGVItem*> doomed = items;
    for (QGVItem* item : doomed)
        detachItem(item);
    items.clear();
    qDeleteAll(doomed);
}

int QGVMap::countItems() const
{
    return items.size();
}

QGVItem* QGVMap::getItem(int index) const
{
    return items.value(index);
}

void QGVMap::select(QGVItem* item)
{
    if (item && item->geoMap == this)
        item->setSelected(true);
}

void QGVMap::unselect(QGVItem* item)
{
    if (item && item->geoMap == this)
        item->setSelected(false);
}

void QGVMap::unselectAll()
{
    for (QGVItem* item : qAsConst(items))
        item->setSelected(false);
}

QList<QGVItem*> QGVMap::getSelections() const
{
    QList<QGVItem*> selected;
    for (QGVItem* item : items) {
        if (item->isSelected())
            selected.append(item);
    }
    return selected;
}

void QGVMap::addWidget(QGVWidget* widget)
{
    if (!widget || widgets.contains(widget))
        return;
    widget->setParent(this);
    widget->geoMap = this;
    widgets.append(widget);
    widget->show();
    widget->raise();
    widget->anchor();
}

void QGVMap::removeWidget(QGVWidget* widget)
{
    if (!widgets.removeOne(widget))
        return;
    widget->hide();
    widget->geoMap = nullptr;
    widget->setParent(nullptr);
}

void QGVMap::refreshMap()
{
    scene->update();
}

QGraphicsView* QGVMap::geoView() const
{
    return view;
}

QPointF QGVMap::mapToProj(const QPoint& viewPos) const
{
    return getCamera().projRect().topLeft() + QPointF(viewPos) / cameraScale;
}

QPoint QGVMap::mapFromProj(const QPointF& projPos) const
{
    return ((projPos - getCamera().projRect().topLeft()) * cameraScale).toPoint();
}

void QGVMap::resizeEvent(QResizeEvent* event)
{
    QWidget::resizeEvent(event);
    for (QGVWidget* widget : qAsConst(widgets))
        widget->anchor();
}

void QGVMap::forgetItem(QGVItem* item)
{
    items.removeOne(item);
}

void QGVMap::detachItem(QGVItem* item)
{
    item->setSelected(false);
    item->onClean();
    if (auto* drawItem = qobject_cast<QGVDrawItem*>(item)) {
        if (drawItem->graphics->scene())
            scene->removeItem(drawItem->graphics.get());
    }
    item->geoMap = nullptr;
}

void QGVMap::setCamera(double scale, const QPointF& projCenter)
{
    const QGVCameraState oldState = getCamera();
    cameraScale = std::clamp(scale, minScale, maxScale);
    const QRectF world = projection->boundaryProjRect();
    // A box across the antimeridian continues east of 180, and its centre may lie there too.
    cameraCenter = QPointF(std::clamp(projCenter.x(), world.left(), world.right() + world.width() / 2),
                           std::clamp(projCenter.y(), world.top(), world.bottom()));
    applyCameraToView();
    const QGVCameraState newState = getCamera();
    if (newState == oldState)
        return;
    for (QGVItem* item : qAsConst(items))
        item->onCamera(oldState, newState);
}

void QGVMap::applyCameraToView()
{
    // The translation lives in the view's transform, so the camera rectangle maps onto the viewport
    // exactly; left to scrolling, it would be rounded to whole pixels of a huge offset.
    const QGVCameraState state = getCamera();
    const QSize size = view->viewport()->size();
    const QPointF offset = QPointF(size.width(), size.height()) / 2 - cameraCenter * cameraScale;
    view->setTransform(QTransform(cameraScale, 0, 0, cameraScale, offset.x(), offset.y()));
    view->setSceneRect(state.projRect());
}

QGVDrawItem* QGVMap::topItemAt(const QPointF& projPos) const
{
    const QList<QGraphicsItem*> hits = scene->items(projPos, Qt::IntersectsItemShape, Qt::DescendingOrder);
    for (QGraphicsItem* hit : hits) {
        if (auto* graphics = dynamic_cast<QGVGraphicsItem*>(hit))
            return graphics->drawItem();
    }
    return nullptr;
}

QString QGVMap::tooltipAt(const QPoint& viewPos) const
{
    const QPointF projPos = mapToProj(viewPos);
    QGVDrawItem* item = topItemAt(projPos);
    return item ? item->projTooltip(projPos) : QString();
}

bool QGVMap::hasSize() const
{
    return isVisible() && !view->viewport()->size().isEmpty();
}

void QGVMap::viewResized()
{
    if (view->viewport()->size().isEmpty())
        return;
    if (fitPending) {
        QGVCameraActions fit(this);
        fit.scaleTo(pendingFit);
        fitPending = !isVisible();
        setCamera(fit.scale(), fit.projCenter());
        return;
    }
    setCamera(cameraScale, cameraCenter);
}

void QGVMap::mousePress(QMouseEvent* event)
{
    if (event->button() != Qt::LeftButton)
        return;
    leftPressed = true;
    panning = false;
    afterDoubleClick = false;
    pressPos = event->pos();
    pressCenter = cameraCenter;
}

bool QGVMap::mouseMove(QMouseEvent* event)
{
    if (!leftPressed || !(event->buttons() & Qt::LeftButton))
        return false;
    const QPoint moved = event->pos() - pressPos;
    if (!panning && moved.manhattanLength() < QApplication::startDragDistance())
        return true;
    panning = true;
    fitPending = false;
    setCamera(cameraScale, pressCenter - QPointF(moved) / cameraScale);
    return true;
}

void QGVMap::mouseRelease(QMouseEvent* event)
{
    if (event->button() != Qt::LeftButton || !leftPressed)
        return;
    leftPressed = false;
    if (panning || afterDoubleClick)
        return;
    const QPointF projPos = mapToProj(event->pos());
    QGVDrawItem* item = topItemAt(projPos);
    if (!item)
        return;
    if (item->isSelectable()) {
        if (event->modifiers() & (Qt::ControlModifier | Qt::ShiftModifier)) {
            item->setSelected(!item->isSelected());
        } else {
            unselectAll();
            item->setSelected(true);
        }
    }
    if (item->isFlag(QGV::ItemFlag::Clickable))
        item->projOnMouseClick(projPos);
}

void QGVMap::mouseDoubleClick(QMouseEvent* event)
{
    if (event->button() != Qt::LeftButton)
        return;
    leftPressed = true;
    afterDoubleClick = true;
    unselectAll();
    const QPointF projPos = mapToProj(event->pos());
    QGVDrawItem* item = topItemAt(projPos);
    if (item && item->isFlag(QGV::ItemFlag::Clickable))
        item->projOnMouseDoubleClick(projPos);
}

void QGVMap::wheel(QWheelEvent* event)
{
    const int delta = event->angleDelta().y();
    if (delta == 0)
        return;
    // One notch of a common wheel (120) zooms by the square root of two.
    const double scale = std::clamp(cameraScale * std::pow(2.0, delta / 240.0), minScale, maxScale);
    const QPoint viewPos = event->position().toPoint();
    const QPointF fixed = mapToProj(viewPos);
    const QSize size = view->viewport()->size();
    const QPointF fromCenter = QPointF(viewPos) - QPointF(size.width(), size.height()) / 2;
    fitPending = false;
    setCamera(scale, fixed - fromCenter / scale);
    event->accept();
}
