#include "map/geoviewrectangle.h"

#include <QListWidget>
#include <QPainter>

#include "map/geoview/qgvmap.h"
#include "map/geoview/qgvprojection.h"

namespace Tessara::GeoMap {

GeoViewRectangle::GeoViewRectangle(const QGV::GeoRect& geoRect, QGV::ItemFlags flags, const QColor& color,
                                   bool isExtent)
    : geoRect(geoRect)
    , color(color)
    , extentFlag(isExtent)
{
    if (!isExtent)
        setFlags(flags);
    setSelectable(!isExtent);
}

void GeoViewRectangle::bind(QListWidget* listWidget, QListWidgetItem* listItem)
{
    this->listWidget = listWidget;
    this->listItem = listItem;
}

void GeoViewRectangle::setRect(const QGV::GeoRect& geoRect)
{
    this->geoRect = geoRect;
    onProjection(getMap());
}

bool GeoViewRectangle::isExtent() const
{
    return extentFlag;
}

QGV::GeoRect GeoViewRectangle::getRect() const
{
    return geoRect;
}

QListWidgetItem* GeoViewRectangle::boundItem() const
{
    return listItem;
}

void GeoViewRectangle::onProjection(QGVMap* geoMap)
{
    QGVDrawItem::onProjection(geoMap);
    projRect = geoMap->getProjection()->geoToProj(geoRect);
}

QPainterPath GeoViewRectangle::projShape() const
{
    QPainterPath path;
    path.addRect(projRect);
    return path;
}

void GeoViewRectangle::projPaint(QPainter* painter)
{
    if (extentFlag) {
        QPen pen(QBrush(QColor(0, 0, 255)), 3.0, Qt::SolidLine, Qt::SquareCap, Qt::BevelJoin);
        pen.setCosmetic(true);
        pen.setStyle(Qt::DotLine);
        painter->setPen(pen);
        painter->setBrush(Qt::NoBrush);
    } else {
        const bool highlighted = isFlag(QGV::ItemFlag::Highlighted) && isFlag(QGV::ItemFlag::HighlightCustom);
        QPen pen(QBrush(QColor(51, 160, 44)), highlighted ? 5.0 : 1.0, Qt::SolidLine, Qt::SquareCap, Qt::BevelJoin);
        pen.setCosmetic(true);
        painter->setPen(pen);
        if (isSelected() && isFlag(QGV::ItemFlag::SelectCustom))
            painter->setBrush(QBrush(QColor(255, 0, 0, 50)));
        else
            painter->setBrush(QBrush(color));
    }
    painter->drawRects(&projRect, 1);
}

QPointF GeoViewRectangle::projAnchor() const
{
    return projRect.center();
}

QTransform GeoViewRectangle::projTransform() const
{
    return QGV::createTransfromAzimuth(projAnchor(), 45);
}

QString GeoViewRectangle::projTooltip(const QPointF&) const
{
    return QString();
}

void GeoViewRectangle::projOnMouseClick(const QPointF&)
{
    if (extentFlag || !listWidget)
        return;
    // Read before the list changes: a handler of the list's selection may well clear the map's.
    const QList<QGVItem*> selected = getMap()->getSelections();
    listWidget->clearSelection();
    QListWidgetItem* last = nullptr;
    for (QGVItem* item : selected) {
        auto* rectangle = qobject_cast<GeoViewRectangle*>(item);
        if (!rectangle || !rectangle->listItem)
            continue;
        rectangle->listItem->setSelected(true);
        last = rectangle->listItem;
    }
    if (last)
        listWidget->scrollToItem(last);
}

void GeoViewRectangle::projOnMouseDoubleClick(const QPointF&) {}

}  // namespace Tessara::GeoMap
