#include "map/geoview/qgvgraphicsitem.h"

#include <QPainter>

#include "map/geoview/qgvdrawitem.h"

QGVGraphicsItem::QGVGraphicsItem(QGVDrawItem* item)
    : item(item)
{
    // Clicks are routed by the map, which knows about selection and the Clickable flag.
    setAcceptedMouseButtons(Qt::NoButton);
}

QGVDrawItem* QGVGraphicsItem::drawItem() const
{
    return item;
}

QRectF QGVGraphicsItem::boundingRect() const
{
    if (!boundsValid) {
        bounds = item->projShape().boundingRect();
        boundsValid = true;
    }
    return bounds;
}

QPainterPath QGVGraphicsItem::shape() const
{
    return item->projShape();
}

void QGVGraphicsItem::paint(QPainter* painter, const QStyleOptionGraphicsItem*, QWidget*)
{
    painter->save();
    item->projPaint(painter);
    painter->restore();

    const bool selectOverlay = item->isSelected() && !item->isFlag(QGV::ItemFlag::SelectCustom);
    const bool highlightOverlay =
        item->isFlag(QGV::ItemFlag::Highlighted) && !item->isFlag(QGV::ItemFlag::HighlightCustom);
    if (!selectOverlay && !highlightOverlay)
        return;
    painter->save();
    painter->setPen(Qt::NoPen);
    const QPainterPath path = item->projShape();
    if (highlightOverlay)
        painter->fillPath(path, QColor(0, 0, 0, 40));
    if (selectOverlay)
        painter->fillPath(path, QColor(30, 120, 255, 90));
    painter->restore();
}

void QGVGraphicsItem::invalidateBoundary()
{
    // Qt wants to hear of the change while the old bounds are still current.
    if (scene())
        prepareGeometryChange();
    boundsValid = false;
}

void QGVGraphicsItem::hoverEnterEvent(QGraphicsSceneHoverEvent*)
{
    item->setFlag(QGV::ItemFlag::Highlighted, true);
}

void QGVGraphicsItem::hoverLeaveEvent(QGraphicsSceneHoverEvent*)
{
    item->setFlag(QGV::ItemFlag::Highlighted, false);
}
