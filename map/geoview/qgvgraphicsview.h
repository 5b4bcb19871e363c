#pragma once

#include <QGraphicsView>

class QGVMap;

// The view inside QGVMap. It hands mouse, wheel and size events to the map, which owns the camera.
class QGVGraphicsView : public QGraphicsView
{
    Q_OBJECT

public:
    QGVGraphicsView(QGVMap* geoMap, QGraphicsScene* scene);

protected:
    void mousePressEvent(QMouseEvent* event) override;
    void mouseMoveEvent(QMouseEvent* event) override;
    void mouseReleaseEvent(QMouseEvent* event) override;
    void mouseDoubleClickEvent(QMouseEvent* event) override;
    void wheelEvent(QWheelEvent* event) override;
    void resizeEvent(QResizeEvent* event) override;
    void showEvent(QShowEvent* event) override;
    bool viewportEvent(QEvent* event) override;

private:
    QGVMap* geoMap;
};
