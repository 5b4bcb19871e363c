#pragma once

#include <QColor>
#include <QRectF>

#include "map/geoview/qgvdrawitem.h"

class QListWidget;
class QListWidgetItem;

namespace Tessara::GeoMap {

// A dataset's place on the map, bound to its row of the input list, or the dotted outline of an
// extent. Only dataset rectangles can be selected; a click on one carries the map's selection into
// the list.
class GeoViewRectangle : public QGVDrawItem
{
    Q_OBJECT

public:
    // The flags word is ignored for an extent rectangle.
    GeoViewRectangle(const QGV::GeoRect& geoRect, QGV::ItemFlags flags, const QColor& color, bool isExtent);

    void bind(QListWidget* listWidget, QListWidgetItem* listItem);
    // Only for a rectangle already on a map.
    void setRect(const QGV::GeoRect& geoRect);
    bool isExtent() const;
    QGV::GeoRect getRect() const;
    QListWidgetItem* boundItem() const;

    void onProjection(QGVMap* geoMap) override;
    QPainterPath projShape() const override;
    void projPaint(QPainter* painter) override;
    QPointF projAnchor() const override;
    QTransform projTransform() const override;
    QString projTooltip(const QPointF& projPos) const override;
    void projOnMouseClick(const QPointF& projPos) override;
    void projOnMouseDoubleClick(const QPointF& projPos) override;

private:
    QGV::GeoRect geoRect;
    QRectF projRect;
    QColor color;
    bool extentFlag;
    QListWidget* listWidget = nullptr;
    QListWidgetItem* listItem = nullptr;
};

}  // namespace Tessara::GeoMap
