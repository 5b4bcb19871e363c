#pragma once

#include <QObject>

#include "map/geoview/qgvglobal.h"

class QGVCameraState;
class QGVMap;

// Anything that lives on a QGVMap. The map calls the on... hooks; an item placed on no map has a
// null getMap and must not be asked to project itself.
class QGVItem : public QObject
{
    Q_OBJECT

public:
    explicit QGVItem(QObject* parent = nullptr);
    ~QGVItem() override;

    virtual QGVMap* getMap() const;
    // The item has been put on a map: work out projected coordinates from the geographic ones.
    virtual void onProjection(QGVMap* geoMap);
    virtual void onCamera(const QGVCameraState& oldState, const QGVCameraState& newState);
    // Flags or selection changed.
    virtual void onUpdate();
    // The item is about to leave its map.
    virtual void onClean();

    void setFlags(QGV::ItemFlags flags);
    void setFlag(QGV::ItemFlag flag, bool enabled = true);
    QGV::ItemFlags getFlags() const;
    bool isFlag(QGV::ItemFlag flag) const;

    void setSelectable(bool selectable);
    bool isSelectable() const;
    void setSelected(bool selected);
    bool isSelected() const;

private:
    friend class QGVMap;

    QGVMap* geoMap = nullptr;
    QGV::ItemFlags flags;
    bool selectable = true;
    bool selected = false;
};
