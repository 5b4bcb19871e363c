#pragma once

#include <QListWidget>
#include <QStringList>

#include "map/geoview/qgvmap.h"
#include "map/geoviewpolygon.h"
#include "map/geoviewrectangle.h"

// Every item on the map in order, with its place in degrees: "E top left bottom right" for an
// extent, "D<row> ..." for a dataset bound to a list row ("D-" unbound, "empty" unplaced),
// "P<holes> <south-west vertex> <north-east vertex>" for a polygon.
inline QStringList describeItems(QGVMap* map, QListWidget* list)
{
    const auto box = [](const QGV::GeoRect& r) {
        return r.isEmpty() ? QStringLiteral("empty")
                           : QStringLiteral("%1 %2 %3 %4").arg(r.latTop(), 0, 'f', 2).arg(r.lonLeft(), 0, 'f', 2)
                                 .arg(r.latBottom(), 0, 'f', 2).arg(r.lonRight(), 0, 'f', 2);
    };
    QStringList items;
    for (int i = 0; i < map->countItems(); ++i) {
        if (auto* polygon = qobject_cast<Tessara::GeoMap::GeoViewPolygon*>(map->getItem(i))) {
            QGV::GeoPos low = polygon->getPoints().value(0), high = low;
            for (const QGV::GeoPos& point : polygon->getPoints()) {
                low = point.lat() + point.lon() < low.lat() + low.lon() ? point : low;
                high = point.lat() + point.lon() > high.lat() + high.lon() ? point : high;
            }
            items << QStringLiteral("P%1 %2 %3 %4 %5").arg(polygon->getHoles().size()).arg(low.lat(), 0, 'f', 2)
                         .arg(low.lon(), 0, 'f', 2).arg(high.lat(), 0, 'f', 2).arg(high.lon(), 0, 'f', 2);
        } else if (auto* rectangle = qobject_cast<Tessara::GeoMap::GeoViewRectangle*>(map->getItem(i))) {
            const int row = list->row(rectangle->boundItem());
            items << (rectangle->isExtent() ? QStringLiteral("E ") : QStringLiteral("D%1 ").arg(row < 0 ? "-" : QString::number(row)))
                    + box(rectangle->getRect());
        }
    }
    return items;
}
