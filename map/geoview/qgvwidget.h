#pragma once

#include <QPoint>
#include <QSet>
#include <QWidget>

class QGVMap;

// A widget drawn over the map and kept at a distance from chosen edges of it. Without an edge of a
// pair (left/right, top/bottom) it is centred along that axis, moved by the anchor's coordinate.
// The mouse goes through it to the map.
class QGVWidget : public QWidget
{
    Q_OBJECT

public:
    explicit QGVWidget(QWidget* parent = nullptr);

    QGVMap* getMap() const;
    void setAnchor(QPoint anchor, QSet<Qt::Edge> edge);
    QPoint getAnchor() const;
    QSet<Qt::Edge> getEdge() const;
    // Moves the widget to its anchored place; the map calls this when its size changes.
    void anchor();

protected:
    void resizeEvent(QResizeEvent* event) override;

private:
    friend class QGVMap;

    QGVMap* geoMap = nullptr;
    QPoint anchorPoint;
    QSet<Qt::Edge> edges;
};
