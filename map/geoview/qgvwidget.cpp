#include "map/geoview/qgvwidget.h"

#include "map/geoview/qgvmap.h"

QGVWidget::QGVWidget(QWidget* parent)
    : QWidget(parent)
{
    setAttribute(Qt::WA_TransparentForMouseEvents);
}

QGVMap* QGVWidget::getMap() const
{
    return geoMap;
}

void QGVWidget::setAnchor(QPoint anchor, QSet<Qt::Edge> edge)
{
    anchorPoint = anchor;
    edges = edge;
    this->anchor();
}

QPoint QGVWidget::getAnchor() const
{
    return anchorPoint;
}

QSet<Qt::Edge> QGVWidget::getEdge() const
{
    return edges;
}

void QGVWidget::anchor()
{
    if (!geoMap)
        return;
    const QSize area = geoMap->size();
    int x = (area.width() - width()) / 2 + anchorPoint.x();
    if (edges.contains(Qt::LeftEdge))
        x = anchorPoint.x();
    else if (edges.contains(Qt::RightEdge))
        x = area.width() - width() - anchorPoint.x();
    int y = (area.height() - height()) / 2 + anchorPoint.y();
    if (edges.contains(Qt::TopEdge))
        y = anchorPoint.y();
    else if (edges.contains(Qt::BottomEdge))
        y = area.height() - height() - anchorPoint.y();
    move(x, y);
}

void QGVWidget::resizeEvent(QResizeEvent* event)
{
    QWidget::resizeEvent(event);
    // Right and bottom anchors depend on the widget's own size.
    anchor();
}
