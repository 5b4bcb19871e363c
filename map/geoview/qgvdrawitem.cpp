#include "map/geoview/qgvdrawitem.h"

#include <QGraphicsScene>

#include "map/geoview/qgvcamerastate.h"
#include "map/geoview/qgvgraphicsitem.h"
#include "map/geoview/qgvmap.h"

QGVDrawItem::QGVDrawItem(QObject* parent)
    : QGVItem(parent)
    , graphics(std::make_unique<QGVGraphicsItem>(this))
{}

QGVDrawItem::~QGVDrawItem() = default;

void QGVDrawItem::onProjection(QGVMap* geoMap)
{
    QGVItem::onProjection(geoMap);
    resetBoundary();
    updateTransform();
}

void QGVDrawItem::onCamera(const QGVCameraState& oldState, const QGVCameraState& newState)
{
    QGVItem::onCamera(oldState, newState);
    if (isFlag(QGV::ItemFlag::IgnoreScale) && oldState.scale() != newState.scale())
        updateTransform();
}

void QGVDrawItem::onUpdate()
{
    QGVItem::onUpdate();
    graphics->setAcceptHoverEvents(isFlag(QGV::ItemFlag::Highlightable));
    updateTransform();
    projOnFlags();
    repaint();
}

void QGVDrawItem::onClean()
{
    QGVItem::onClean();
    if (graphics->scene())
        graphics->scene()->removeItem(graphics.get());
}

QPointF QGVDrawItem::projAnchor() const
{
    return projShape().boundingRect().center();
}

QTransform QGVDrawItem::projTransform() const
{
    return QTransform();
}

QString QGVDrawItem::projTooltip(const QPointF&) const
{
    return QString();
}

QString QGVDrawItem::projDebug()
{
    const QRectF bounds = projShape().boundingRect();
    return QStringLiteral("%1 (%2, %3, %4 x %5)")
        .arg(QString::fromLatin1(metaObject()->className()))
        .arg(bounds.x(), 0, 'f', 1)
        .arg(bounds.y(), 0, 'f', 1)
        .arg(bounds.width(), 0, 'f', 1)
        .arg(bounds.height(), 0, 'f', 1);
}

void QGVDrawItem::projOnFlags() {}

void QGVDrawItem::projOnMouseClick(const QPointF&) {}

void QGVDrawItem::projOnMouseDoubleClick(const QPointF&) {}

void QGVDrawItem::repaint()
{
    graphics->update();
}

void QGVDrawItem::resetBoundary()
{
    graphics->invalidateBoundary();
}

void QGVDrawItem::updateTransform()
{
    QTransform transform;
    if (isFlag(QGV::ItemFlag::Transformed))
        transform = projTransform();
    // The camera never turns, so IgnoreAzimuth has nothing to undo; only the scale is cancelled.
    if (isFlag(QGV::ItemFlag::IgnoreScale) && getMap())
        transform *= QGV::createTransfromScale(transform.map(projAnchor()), 1.0 / getMap()->getCamera().scale());
    if (graphics->transform() != transform)
        graphics->setTransform(transform);
}
