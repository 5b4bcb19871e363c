#include "map/geomapview.h"

#include <QLayout>
#include <QListWidget>
#include <algorithm>
#include <cmath>
#include <limits>

#include "map/geoview/qgvcameraactions.h"
#include "map/geoview/qgvmap.h"
#include "map/geoview/qgvwidgettext.h"
#include "map/geoviewpolygon.h"
#include "map/geoviewrectangle.h"

namespace Tessara::GeoMap {

namespace API = TSR::ImageCompressor::API;

namespace {

constexpr int geographicEPSG = 4326;

// Dataset rectangles: SelectCustom (32) paints the selection in red instead of the map's overlay,
// Clickable (128) lets a click reach the list.
const QGV::ItemFlags datasetFlags = QGV::ItemFlag::SelectCustom | QGV::ItemFlag::Clickable;
const QGV::ItemFlags extentFlags = QGV::ItemFlag::SelectCustom;
const QColor datasetColor(178, 223, 138, 25);
const QColor extentColor(0, 0, 0, 0);

// The form without a full stop is shown untranslated, as it always has been.
const char epsgMessageStem[] = "Not supported without a proper recognised EPSG Code";

QString batchText()
{
    return GeoMapView::tr("Map View not supported in batch mode.");
}

QString epsgText()
{
    return GeoMapView::tr("Not supported without a proper recognised EPSG Code.");
}

// A box may run east of 180 when it crosses the antimeridian. Of the ways to join two boxes, a
// turn of the world apart or not, the narrowest is taken, so that tiles on both sides of 180 make
// a narrow extent and not a band round the world.
QGV::GeoRect unite(const QGV::GeoRect& a, const QGV::GeoRect& b)
{
    if (a.isEmpty())
        return b;
    if (b.isEmpty())
        return a;
    double left = 0.0;
    double right = 0.0;
    double narrowest = std::numeric_limits<double>::max();
    for (const double shift : {0.0, 360.0, -360.0}) {
        const double west = std::min(a.lonLeft(), b.lonLeft() + shift);
        const double east = std::max(a.lonRight(), b.lonRight() + shift);
        if (east - west < narrowest - 1e-9) {
            narrowest = east - west;
            left = west;
            right = east;
        }
    }
    if (left < -GeoMapView::longitudeLimit) {
        left += 360.0;
        right += 360.0;
    } else if (left >= GeoMapView::longitudeLimit) {
        left -= 360.0;
        right -= 360.0;
    }
    return QGV::GeoRect(std::max(a.latTop(), b.latTop()), left, std::min(a.latBottom(), b.latBottom()), right);
}

// Longitudes of a box or a ring that crosses the antimeridian stay beyond 180 rather than be
// flattened against it; others are held within the limit.
bool crossesAntimeridian(double west, double east)
{
    return east > GeoMapView::longitudeLimit && west < GeoMapView::longitudeLimit && east - west <= 360.0;
}

QVector<QGV::GeoPos> toGeoRing(const API::Ring& ring)
{
    std::vector<double> longitudes;
    longitudes.reserve(ring.size());
    for (const API::PointXY& point : ring) {
        double longitude = point.X;
        if (!longitudes.empty())
            longitude += 360.0 * std::round((longitudes.back() - longitude) / 360.0);
        longitudes.push_back(longitude);
    }
    const auto [west, east] = std::minmax_element(longitudes.begin(), longitudes.end());
    const bool keep = !longitudes.empty() && crossesAntimeridian(*west, *east);
    QVector<QGV::GeoPos> points;
    points.reserve(int(ring.size()));
    for (std::size_t i = 0; i < ring.size(); ++i) {
        const double longitude =
            keep ? longitudes[i] : std::clamp(ring[i].X, -GeoMapView::longitudeLimit, GeoMapView::longitudeLimit);
        points.append(QGV::GeoPos(
            std::clamp(ring[i].Y, -GeoMapView::polygonLatitudeLimit, GeoMapView::polygonLatitudeLimit), longitude));
    }
    return points;
}

}  // namespace

GeoMapView::FactoryMaker GeoMapView::factoryMaker = [] { return std::make_shared<API::CompressionUtilFactory>(); };

GeoMapView::GeoMapView(QGVMap* map)
    : itemOffset(1)
    , polygonCount(0)
    , hasExtentItem(false)
    , map(map)
    , messageWidget(nullptr)
{}

GeoMapView::~GeoMapView() = default;

void GeoMapView::setupMap()
{
    if (QLayout* layout = map->layout()) {
        layout->setContentsMargins(0, 0, 0, 0);
        layout->setSpacing(4);
    }
    map->setContentsMargins(0, 0, 0, 0);
    map->setToolTip(tr("Map preview is in EPSG:3857"));
}

void GeoMapView::unselectAll()
{
    map->unselectAll();
}

void GeoMapView::clearItems()
{
    unselectAll();
    map->deleteItems();
}

int GeoMapView::itemCount() const
{
    return map->countItems();
}

void GeoMapView::extendProjectExtent(const QGV::GeoRect& rect, bool nonBatch)
{
    if (!nonBatch)
        return;
    if (!hasExtentItem) {
        projectExtent = rect;
        itemOffset = 1;
        addExtentRectangle(projectExtent);
        hasExtentItem = true;
    } else {
        projectExtent = unite(projectExtent, rect);
        if (GeoViewRectangle* extent = extentItem())
            extent->setRect(projectExtent);
    }
    scaleTo(projectExtent);
}

void GeoMapView::addDatasetRectangle(QListWidget* list, const QGV::GeoRect& rect, int row)
{
    auto* rectangle = new GeoViewRectangle(rect, datasetFlags, datasetColor, false);
    rectangle->bind(list, list->item(row));
    map->addItem(rectangle);
}

void GeoMapView::addUnplacedDataset(bool batchMessage, QListWidget* list)
{
    placeMessage(batchMessage ? batchText() : QString::fromLatin1(epsgMessageStem));
    itemOffset = 0;
    addDatasetRectangle(list, QGV::GeoRect(), list->count() - 1);
}

bool GeoMapView::addAllDatasets(bool nonBatch, QListWidget* list, API::DatasetScanResult& scanResult)
{
    try {
        return placeDatasets(nonBatch, list, scanResult);
    } catch (const TSR::CRuntimeError& error) {
        qWarning("Map preview: %s", error.what());
        return false;
    }
}

bool GeoMapView::placeDatasets(bool nonBatch, QListWidget* list, API::DatasetScanResult& scanResult)
{
    const std::shared_ptr<API::ICompressionUtil> util = compressionUtil();
    for (int row = 0; row < list->count(); ++row) {
        const TSR::CString path(list->item(row)->text().toStdWString());
        const API::DatasetMetadata& metadata = scanResult.Datasets[path];
        int epsg = -1;
        if (metadata.EPSGOverride.length() > 5)
            epsg = metadata.EPSGOverride.substr(5).ToINT32();
        if (epsg == -1)
            epsg = metadata.EPSG;
        if (epsg < 1)
            return false;
        double minX = 0, minY = 0, maxX = 0, maxY = 0;
        util->ReprojectExtent(metadata, epsg, geographicEPSG, minX, minY, maxX, maxY);
        if (!(maxX > minX) || !(maxY > minY))
            return false;
        const QGV::GeoRect rect = clampedExtent(minX, minY, maxX, maxY);
        extendProjectExtent(rect, nonBatch);
        addDatasetRectangle(list, rect, row);
    }
    return true;
}

void GeoMapView::refreshDatasets(bool keepFit, bool nonBatch, int epsg, QListWidget* list,
                                 API::DatasetScanResult& scanResult)
{
    if (map->countItems() == 0)
        return;
    auto* first = qobject_cast<GeoViewRectangle*>(map->getItem(0));
    if (!first)
        return;
    if (!nonBatch) {
        showMessage(batchText(), list);
    } else if (!first->isExtent()) {
        clearItems();
        hasExtentItem = false;
        polygonCount = 0;
        if (!addAllDatasets(nonBatch, list, scanResult))
            showMessage(epsgText(), list);
    } else if (epsg > 0) {
        itemOffset = polygonCount + 1;
        // Anew, not grown: this is where the extent shrinks after rows were removed.
        QGV::GeoRect extent;
        for (int i = 1; i < map->countItems(); ++i) {
            if (auto* rectangle = qobject_cast<GeoViewRectangle*>(map->getItem(i)))
                extent = unite(extent, rectangle->getRect());
        }
        if (!extent.isEmpty())
            projectExtent = extent;
        first->setRect(projectExtent);
    } else {
        showMessage(epsgText(), list);
    }

    // Moving the camera makes every item paint afresh; without keepFit the user's view comes back.
    const QRectF taken = map->getCamera().projRect();
    QGVCameraActions nudge(map);
    nudge.scaleTo(taken.adjusted(0, 0, 1, 1));
    map->cameraTo(nudge);
    scaleTo(projectExtent);
    map->refreshMap();
    if (!keepFit) {
        QGVCameraActions back(map);
        back.scaleTo(taken);
        map->cameraTo(back);
        map->refreshMap();
    }
}

void GeoMapView::updateMessageForMode(bool nonBatch)
{
    if (!messageWidget)
        return;
    messageWidget->setAnchor(QPoint(30, 60), {Qt::LeftEdge, Qt::TopEdge});
    const QString text = messageWidget->getText();
    if (nonBatch) {
        if (text.contains(batchText(), Qt::CaseInsensitive))
            messageWidget->setText(QString());
    } else if (text.contains(QLatin1String(epsgMessageStem), Qt::CaseInsensitive)
               || text.contains(epsgText(), Qt::CaseInsensitive)) {
        messageWidget->setText(batchText());
    }
}

void GeoMapView::clearMessage()
{
    if (messageWidget)
        messageWidget->setText(QString());
}

void GeoMapView::showMessage(const QString& text, QListWidget* list)
{
    itemOffset = 0;
    polygonCount = 0;
    hasExtentItem = false;
    clearItems();
    // Placeholders keep row r at item r, so that selection still finds its item.
    for (int row = 0; row < list->count(); ++row)
        addDatasetRectangle(list, QGV::GeoRect(), row);
    placeMessage(text);
}

int GeoMapView::selectDatasetRows(QListWidget* list, int offset)
{
    int last = -1;
    for (int row = 0; row < list->count(); ++row) {
        if (!list->item(row)->isSelected())
            continue;
        map->select(map->getItem(offset + row));
        map->refreshMap();
        last = row;
    }
    return last;
}

void GeoMapView::removeDatasetRow(int row)
{
    QGVItem* item = map->getItem(itemOffset + row);
    if (item) {
        map->removeItem(item);
        delete item;
    }
    map->refreshMap();
}

void GeoMapView::removeExtentItem(bool updateMode)
{
    unselectAll();
    if (!updateMode && polygonCount == 0) {
        map->deleteItems();
        return;
    }
    if (QGVItem* first = map->getItem(0)) {
        map->removeItem(first);
        delete first;
    }
}

bool GeoMapView::showPolygons(const QString& shapefile, const API::ClipInfoList& selectedFeatures, bool nonBatch,
                              int epsg, QListWidget* list, API::DatasetScanResult& scanResult)
{
    restartWithProjectExtent(nonBatch);
    polygonCount = 0;
    try {
        const std::shared_ptr<API::ICompressionUtil> util = compressionUtil();
        const TSR::CString path(shapefile.toStdWString());
        for (const API::ClipInfoPtr& feature : selectedFeatures) {
            if (feature)
                polygonCount += addPolygonItems(*util, path, *feature, epsg);
        }
    } catch (const TSR::CRuntimeError& error) {
        // Without all of its polygons the selection is not shown at all; the datasets are.
        qWarning("Map preview: %s", error.what());
        clearPolygons(nonBatch, list, scanResult);
        return false;
    }
    return placeDatasetsAfterFront(nonBatch, list, scanResult);
}

bool GeoMapView::clearPolygons(bool nonBatch, QListWidget* list, API::DatasetScanResult& scanResult)
{
    restartWithProjectExtent(nonBatch);
    polygonCount = 0;
    return placeDatasetsAfterFront(nonBatch, list, scanResult);
}

bool GeoMapView::showUpdateFile(const QString& path, bool nonBatch, QListWidget* list,
                                API::DatasetScanResult& scanResult)
{
    restartWithProjectExtent(nonBatch);
    double minX = 0, minY = 0, maxX = 0, maxY = 0;
    try {
        const std::shared_ptr<API::ICompressionUtil> util = compressionUtil();
        int epsg = -1;
        API::DatasetMetadata metadata;
        if (util->ReadDatasetMetadata(TSR::CString(path.toStdWString()), epsg, metadata, nonBatch))
            util->ReprojectExtent(metadata, epsg, geographicEPSG, minX, minY, maxX, maxY);
    } catch (const TSR::CRuntimeError& error) {
        // A file this system cannot read is a failed read: the rest of the map is still built.
        qWarning("Map preview: %s", error.what());
        minX = minY = maxX = maxY = 0;
    }
    const bool placed = maxX > minX && maxY > minY;
    updateExtent = placed ? clampedExtent(minX, minY, maxX, maxY) : QGV::GeoRect(0, 0, 0, 0);
    addExtentRectangle(updateExtent);
    const bool complete = placeDatasetsAfterFront(nonBatch, list, scanResult);
    if (placed)
        scaleTo(updateExtent);
    return complete;
}

bool GeoMapView::placeDatasetsAfterFront(bool nonBatch, QListWidget* list, API::DatasetScanResult& scanResult)
{
    const int front = map->countItems();
    if (addAllDatasets(nonBatch, list, scanResult))
        return true;
    // Rows keep their items at the offset the wizard expects: the front stays, every row gets an
    // empty rectangle, and the message says why nothing is placed.
    while (map->countItems() > front) {
        QGVItem* item = map->getItem(map->countItems() - 1);
        map->removeItem(item);
        delete item;
    }
    for (int row = 0; row < list->count(); ++row)
        addDatasetRectangle(list, QGV::GeoRect(), row);
    placeMessage(epsgText());
    return false;
}

void GeoMapView::setExtentRectangle(const QGV::GeoRect& rect)
{
    if (GeoViewRectangle* extent = extentItem())
        extent->setRect(rect);
    scaleTo(rect);
}

void GeoMapView::zoomToProjectExtent()
{
    scaleTo(projectExtent);
}

void GeoMapView::zoomToUpdateExtent()
{
    scaleTo(updateExtent);
}

QGV::GeoRect GeoMapView::clampedExtent(double minX, double minY, double maxX, double maxY)
{
    const auto lat = [](double value) { return std::clamp(value, -extentLatitudeLimit, extentLatitudeLimit); };
    const double west = std::min(minX, maxX);
    const double east = std::max(minX, maxX);
    const bool keep = crossesAntimeridian(west, east);
    const auto lon = [keep](double value) { return keep ? value : std::clamp(value, -longitudeLimit, longitudeLimit); };
    return QGV::GeoRect(lat(std::min(minY, maxY)), lon(west), lat(std::max(minY, maxY)), lon(east));
}

std::shared_ptr<API::ICompressionUtil> GeoMapView::compressionUtil() const
{
    const std::shared_ptr<API::CompressionUtilFactory> factory = factoryMaker();
    std::shared_ptr<API::ICompressionUtil> util;
    factory->GetCompressionUtil(util);
    return util;
}

GeoViewRectangle* GeoMapView::extentItem() const
{
    auto* first = qobject_cast<GeoViewRectangle*>(map->getItem(0));
    return (first && first->isExtent()) ? first : nullptr;
}

void GeoMapView::addExtentRectangle(const QGV::GeoRect& rect)
{
    map->addItem(new GeoViewRectangle(rect, extentFlags, extentColor, true));
}

void GeoMapView::restartWithProjectExtent(bool nonBatch)
{
    clearItems();
    hasExtentItem = false;
    extendProjectExtent(projectExtent, nonBatch);
}

int GeoMapView::addPolygonItems(API::ICompressionUtil& util, const TSR::CString& shapefile,
                                const API::ExtractedFeatureClipInfo& feature, int epsg)
{
    const GeoViewPolygon::Style style{Qt::SolidPattern, QColor(255, 165, 0, 100), QColor(0, 0, 0, 255), Qt::SolidLine,
                                      1};
    std::vector<API::FeaturePolygon> polygons;
    util.ReadFeaturePolygons(shapefile, feature, feature.FeatureId, polygons);
    // The library gives the polygons in the reference it reported the feature in.
    if (feature.CRS.GetEPSG() > 0)
        epsg = feature.CRS.GetEPSG();
    int added = 0;
    for (const API::FeaturePolygon& polygon : polygons) {
        API::Ring outer;
        util.ReprojectPoints(polygon.OuterRing, epsg, geographicEPSG, outer);
        auto* item = new GeoViewPolygon(toGeoRing(outer), style);
        if (!polygon.InnerRings.empty()) {
            QVector<QVector<QGV::GeoPos>> holes;
            for (const API::Ring& inner : polygon.InnerRings) {
                API::Ring reprojected;
                util.ReprojectPoints(inner, epsg, geographicEPSG, reprojected);
                holes.append(toGeoRing(reprojected));
            }
            item->setHoles(holes);
        }
        map->addItem(item);
        ++added;
    }
    return added;
}

void GeoMapView::placeMessage(const QString& text)
{
    if (!messageWidget)
        messageWidget = new QGVWidgetText();
    map->addWidget(messageWidget);
    messageWidget->setAnchor(QPoint(30, 60), {Qt::LeftEdge, Qt::TopEdge});
    messageWidget->setText(text);
}

void GeoMapView::scaleTo(const QGV::GeoRect& rect)
{
    if (rect.isEmpty())
        return;
    QGVCameraActions actions(map);
    actions.scaleTo(rect);
    map->cameraTo(actions, false);
}

}  // namespace Tessara::GeoMap
