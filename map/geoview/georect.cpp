#include "map/geoview/georect.h"

#include <algorithm>

namespace QGV {

GeoRect::GeoRect()
    : empty(true)
    , top(0)
    , bottom(0)
    , left(0)
    , right(0)
{}

GeoRect::GeoRect(double lat1, double lon1, double lat2, double lon2)
    : empty(false)
    , top(std::max(lat1, lat2))
    , bottom(std::min(lat1, lat2))
    , left(std::min(lon1, lon2))
    , right(std::max(lon1, lon2))
{}

GeoRect::GeoRect(const GeoPos& pos1, const GeoPos& pos2)
    : GeoRect(pos1.lat(), pos1.lon(), pos2.lat(), pos2.lon())
{}

bool GeoRect::isEmpty() const
{
    return empty;
}

GeoPos GeoRect::topLeft() const
{
    return GeoPos(top, left);
}

GeoPos GeoRect::topRight() const
{
    return GeoPos(top, right);
}

GeoPos GeoRect::bottomLeft() const
{
    return GeoPos(bottom, left);
}

GeoPos GeoRect::bottomRight() const
{
    return GeoPos(bottom, right);
}

double GeoRect::lonLeft() const
{
    return left;
}

double GeoRect::lonRight() const
{
    return right;
}

double GeoRect::latTop() const
{
    return top;
}

double GeoRect::latBottom() const
{
    return bottom;
}

bool GeoRect::contains(const GeoPos& pos) const
{
    if (empty || pos.isEmpty())
        return false;
    return pos.lat() <= top && pos.lat() > bottom && pos.lon() >= left && pos.lon() < right;
}

bool GeoRect::contains(const GeoRect& rect) const
{
    if (empty || rect.empty)
        return false;
    return rect.top <= top && rect.bottom >= bottom && rect.left >= left && rect.right <= right;
}

bool GeoRect::intersects(const GeoRect& rect) const
{
    if (empty || rect.empty)
        return false;
    return rect.left <= right && left <= rect.right && rect.bottom <= top && bottom <= rect.top;
}

bool GeoRect::operator==(const GeoRect& other) const
{
    return empty == other.empty && top == other.top && bottom == other.bottom && left == other.left
        && right == other.right;
}

bool GeoRect::operator!=(const GeoRect& other) const
{
    return !(*this == other);
}

}  // namespace QGV
