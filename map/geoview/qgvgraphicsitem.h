#pragma once

#include <QGraphicsItem>

class QGVDrawItem;

// The scene's side of a QGVDrawItem: it lets the scene index, cull and paint the item.
class QGVGraphicsItem : public QGraphicsItem
{
public:
    explicit QGVGraphicsItem(QGVDrawItem* item);

    QGVDrawItem* drawItem() const;
    QRectF boundingRect() const override;
    QPainterPath shape() const override;
    void paint(QPainter* painter, const QStyleOptionGraphicsItem* option, QWidget* widget) override;

    void invalidateBoundary();

protected:
    void hoverEnterEvent(QGraphicsSceneHoverEvent* event) override;
    void hoverLeaveEvent(QGraphicsSceneHoverEvent* event) override;

private:
    QGVDrawItem* item;
    // The shape is only asked for again after invalidateBoundary; the scene wants the bounds often.
    mutable QRectF bounds;
    mutable bool boundsValid = false;
};
