#pragma once

#include <QMetaType>

#include "map/geoview/geopos.h"

namespace QGV {

// A rectangle in degrees. The constructor sorts the corners, so the top left is always the highest
// latitude and the lowest longitude whatever order the caller gave. Only a default-constructed
// rectangle is empty; one of zero size at 0, 0 is a place like any other.
class GeoRect
{
public:
    GeoRect();
    GeoRect(double lat1, double lon1, double lat2, double lon2);
    GeoRect(const GeoPos& pos1, const GeoPos& pos2);

    bool isEmpty() const;
    GeoPos topLeft() const;
    GeoPos topRight() const;
    GeoPos bottomLeft() const;
    GeoPos bottomRight() const;
    double lonLeft() const;
    double lonRight() const;
    double latTop() const;
    double latBottom() const;

    // Top and left edges belong to the rectangle, bottom and right ones do not, so that rectangles
    // that tile an area claim every point once.
    bool contains(const GeoPos& pos) const;
    bool contains(const GeoRect& rect) const;
    bool intersects(const GeoRect& rect) const;

    bool operator==(const GeoRect& other) const;
    bool operator!=(const GeoRect& other) const;

private:
    bool empty;
    double top;
    double bottom;
    double left;
    double right;
};

}  // namespace QGV

Q_DECLARE_METATYPE(QGV::GeoRect)
