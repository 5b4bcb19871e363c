#pragma once

#include <QColor>
#include <QRectF>
#include <QString>

#include "map/geoview/qgvdrawitem.h"

namespace Tessara::GeoMap {

// A text drawn to fill a rectangle of the map. Nothing places one yet; it completes the family of
// map items.
class GeoViewTextAnnotation : public QGVDrawItem
{
    Q_OBJECT

public:
    // The flags word is accepted for symmetry with the rectangle and not used.
    GeoViewTextAnnotation(const QGV::GeoRect& geoRect, QGV::ItemFlags flags, const QColor& color);

    // Only for an annotation already on a map.
    void setRect(const QGV::GeoRect& geoRect);
    void setText(const QString& text);
    QString getText() const;

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
    QString text;
    bool textSet = false;
};

}  // namespace Tessara::GeoMap
