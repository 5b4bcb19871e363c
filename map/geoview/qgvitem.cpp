#include "map/geoview/qgvitem.h"

#include "map/geoview/qgvmap.h"

QGVItem::QGVItem(QObject* parent)
    : QObject(parent)
{}

QGVItem::~QGVItem()
{
    if (geoMap)
        geoMap->forgetItem(this);
}

QGVMap* QGVItem::getMap() const
{
    return geoMap;
}

void QGVItem::onProjection(QGVMap* geoMap)
{
    this->geoMap = geoMap;
}

void QGVItem::onCamera(const QGVCameraState&, const QGVCameraState&) {}

void QGVItem::onUpdate() {}

void QGVItem::onClean() {}

void QGVItem::setFlags(QGV::ItemFlags flags)
{
    if (this->flags == flags)
        return;
    this->flags = flags;
    onUpdate();
}

void QGVItem::setFlag(QGV::ItemFlag flag, bool enabled)
{
    QGV::ItemFlags changed = flags;
    changed.setFlag(flag, enabled);
    setFlags(changed);
}

QGV::ItemFlags QGVItem::getFlags() const
{
    return flags;
}

bool QGVItem::isFlag(QGV::ItemFlag flag) const
{
    return flags.testFlag(flag);
}

void QGVItem::setSelectable(bool selectable)
{
    this->selectable = selectable;
    if (!selectable)
        setSelected(false);
}

bool QGVItem::isSelectable() const
{
    return selectable;
}

void QGVItem::setSelected(bool selected)
{
    if (selected && !selectable)
        return;
    if (this->selected == selected)
        return;
    this->selected = selected;
    onUpdate();
}

bool QGVItem::isSelected() const
{
    return selected;
}
