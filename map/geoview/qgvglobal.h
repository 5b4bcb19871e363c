#pragma once

#include <QFlags>
#include <QFont>
#include <QPainterPath>
#include <QPointF>
#include <QRect>
#include <QString>
#include <QTransform>

#include "map/geoview/geopos.h"
#include "map/geoview/georect.h"

namespace QGV {

// The values are part of the interface: callers pass whole flag words as numbers.
enum class ItemFlag {
    IgnoreScale = 0x1,
    IgnoreAzimuth = 0x2,
    Highlightable = 0x4,
    Highlighted = 0x8,
    HighlightCustom = 0x10,
    SelectCustom = 0x20,
    Transformed = 0x40,
    Clickable = 0x80,
    Movable = 0x100,
};
Q_DECLARE_FLAGS(ItemFlags, ItemFlag)

// The misspelt names are kept: they are the names callers of this interface use.
QTransform createTransfromAzimuth(const QPointF& projAnchor, double azimuth);
QTransform createTransfromScale(const QPointF& projAnchor, double scale);

// The text as outlines, scaled to fill the rectangle less penWidth on every side and centred in it,
// so that an annotation keeps its place on the map at any zoom. Lines break at '\n'.
QPainterPath createTextPath(const QRect& rect, const QString& text, const QFont& font, int penWidth);

}  // namespace QGV

Q_DECLARE_OPERATORS_FOR_FLAGS(QGV::ItemFlags)
