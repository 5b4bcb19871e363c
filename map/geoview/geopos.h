#pragma once

#include <QMetaType>

namespace QGV {

// A point in degrees, latitude first. A default-constructed position is empty: it stands for "no
// place", which a position at 0, 0 cannot.
class GeoPos
{
public:
    GeoPos();
    GeoPos(double lat, double lon);

    bool isEmpty() const;
    double latitude() const;
    double longitude() const;
    double lat() const;
    double lon() const;
    void setLat(double lat);
    void setLon(double lon);

    bool operator==(const GeoPos& other) const;
    bool operator!=(const GeoPos& other) const;

private:
    bool empty;
    double mLat;
    double mLon;
};

}  // namespace QGV

Q_DECLARE_METATYPE(QGV::GeoPos)
