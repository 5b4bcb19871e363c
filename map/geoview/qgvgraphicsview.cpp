#include "map/geoview/qgvgraphicsview.h"

#include <QHelpEvent>
#include <QToolTip>

#include "map/geoview/qgvmap.h"

QGVGraphicsView::QGVGraphicsView(QGVMap* geoMap, QGraphicsScene* scene)
    : QGraphicsView(scene, geoMap)
    , geoMap(geoMap)
{
    // The map places the camera itself; scroll bars over a whole-world scene would overflow their
    // integer range at close zoom.
    setHorizontalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
    setVerticalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
    setFrameShape(QFrame::NoFrame);
    setTransformationAnchor(QGraphicsView::NoAnchor);
    setResizeAnchor(QGraphicsView::NoAnchor);
    setMouseTracking(true);
}

void QGVGraphicsView::mousePressEvent(QMouseEvent* event)
{
    geoMap->mousePress(event);
}

void QGVGraphicsView::mouseMoveEvent(QMouseEvent* event)
{
    if (!geoMap->mouseMove(event))
        QGraphicsView::mouseMoveEvent(event);  // hover for highlightable items
}

void QGVGraphicsView::mouseReleaseEvent(QMouseEvent* event)
{
    geoMap->mouseRelease(event);
}

void QGVGraphicsView::mouseDoubleClickEvent(QMouseEvent* event)
{
    geoMap->mouseDoubleClick(event);
}

void QGVGraphicsView::wheelEvent(QWheelEvent* event)
{
    geoMap->wheel(event);
}

void QGVGraphicsView::resizeEvent(QResizeEvent* event)
{
    QGraphicsView::resizeEvent(event);
    geoMap->viewResized();
}

void QGVGraphicsView::showEvent(QShowEvent* event)
{
    QGraphicsView::showEvent(event);
    geoMap->viewResized();
}

bool QGVGraphicsView::viewportEvent(QEvent* event)
{
    if (event->type() != QEvent::ToolTip)
        return QGraphicsView::viewportEvent(event);
    auto* help = static_cast<QHelpEvent*>(event);
    const QString text = geoMap->tooltipAt(help->pos());
    if (text.isEmpty()) {
        // Unhandled, the event goes on to the map widget and shows the map's own tool tip.
        event->ignore();
        return false;
    }
    QToolTip::showText(help->globalPos(), text, viewport());
    return true;
}
