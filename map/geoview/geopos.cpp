#include "map/geoview/geopos.h"

namespace QGV {

GeoPos::GeoPos()
    : empty(true)
    , mLat(0)
    , mLon(0)
{}

GeoPos::GeoPos(double lat, double lon)
    : empty(false)
    , mLat(lat)
    , mLon(lon)
{}

bool GeoPos::isEmpty() const
{
    return empty;
}

double GeoPos::latitude() const
{
    return mLat;
}

double GeoPos::longitude() const
{
    return mLon;
}

double GeoPos::lat() const
{
    return mLat;
}

double GeoPos::lon() const
{
    return mLon;
}

void GeoPos::setLat(double lat)
{
    mLat = lat;
    empty = false;
}

void GeoPos::setLon(double lon)
{
    mLon = lon;
    empty = false;
}

bool GeoPos::operator==(const GeoPos& other) const
{
    return empty == other.empty && mLat == other.mLat && mLon == other.mLon;
}

bool GeoPos::operator!=(const GeoPos& other) const
{
    return !(*this == other);
}

}  // namespace QGV
