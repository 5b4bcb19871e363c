#pragma once

#include <QCoreApplication>
#include <QString>
#include <functional>
#include <memory>

#include "map/geoview/qgvglobal.h"
#include "wizard/dataset/compressionutilfactory.h"
#include "wizard/dataset/datasetscanresult.h"
#include "wizard/dataset/icompressionutil.h"

class QGVMap;
class QGVWidgetText;
class QListWidget;

namespace Tessara::GeoMap {

class GeoViewRectangle;

// The wizard's map preview. Rows of the input list are tied to map items by position: the item of
// row r is item itemOffset + r, behind the extent rectangles and polygons, so every rebuild adds
// items in the same order. Errors of the dataset library end here: a rebuild that meets one
// still gives every row its item, with a message instead of the rectangles.
class GeoMapView
{
    Q_DECLARE_TR_FUNCTIONS(Tessara::GeoMap::GeoMapView)

public:
    using FactoryMaker = std::function<std::shared_ptr<TSR::ImageCompressor::API::CompressionUtilFactory>()>;
    // Every operation that reads datasets makes its own factory through this; tests put theirs here.
    static FactoryMaker factoryMaker;

    static constexpr double extentLatitudeLimit = 85.06;
    static constexpr double polygonLatitudeLimit = 85.6;
    static constexpr double longitudeLimit = 180.0;

    explicit GeoMapView(QGVMap* map);
    virtual ~GeoMapView();

    void setupMap();
    void unselectAll();
    void clearItems();
    int itemCount() const;
    void extendProjectExtent(const QGV::GeoRect& rect, bool nonBatch);
    void addDatasetRectangle(QListWidget* list, const QGV::GeoRect& rect, int row);
    void addUnplacedDataset(bool batchMessage, QListWidget* list);
    bool addAllDatasets(bool nonBatch, QListWidget* list, TSR::ImageCompressor::API::DatasetScanResult& scanResult);
    void refreshDatasets(bool keepFit, bool nonBatch, int epsg, QListWidget* list,
                         TSR::ImageCompressor::API::DatasetScanResult& scanResult);
    void updateMessageForMode(bool nonBatch);
    void clearMessage();
    void showMessage(const QString& text, QListWidget* list);
    int selectDatasetRows(QListWidget* list, int offset);
    void removeDatasetRow(int row);
    void removeExtentItem(bool updateMode);
    // These three rebuild the map and return whether everything was placed. On false the items in
    // front (extents, polygons) keep their places, so itemOffset still finds each row's item, and
    // every row has an empty rectangle; showPolygons then shows no polygons at all.
    bool showPolygons(const QString& shapefile, const TSR::ImageCompressor::API::ClipInfoList& selectedFeatures,
                      bool nonBatch, int epsg, QListWidget* list,
                      TSR::ImageCompressor::API::DatasetScanResult& scanResult);
    bool clearPolygons(bool nonBatch, QListWidget* list, TSR::ImageCompressor::API::DatasetScanResult& scanResult);
    bool showUpdateFile(const QString& path, bool nonBatch, QListWidget* list,
                        TSR::ImageCompressor::API::DatasetScanResult& scanResult);
    void setExtentRectangle(const QGV::GeoRect& rect);
    void zoomToProjectExtent();
    void zoomToUpdateExtent();

    // A box of the dataset library, in degrees, held within the limits for extents. A box that
    // crosses the antimeridian keeps its longitudes east of 180.
    static QGV::GeoRect clampedExtent(double minX, double minY, double maxX, double maxY);

    int itemOffset;
    int polygonCount;
    bool hasExtentItem;
    QGV::GeoRect projectExtent;
    QGV::GeoRect updateExtent;
    QGVMap* map;
    QGVWidgetText* messageWidget;

private:
    std::shared_ptr<TSR::ImageCompressor::API::ICompressionUtil> compressionUtil() const;
    bool placeDatasets(bool nonBatch, QListWidget* list, TSR::ImageCompressor::API::DatasetScanResult& scanResult);
    bool placeDatasetsAfterFront(bool nonBatch, QListWidget* list,
                                 TSR::ImageCompressor::API::DatasetScanResult& scanResult);
    GeoViewRectangle* extentItem() const;
    void addExtentRectangle(const QGV::GeoRect& rect);
    void restartWithProjectExtent(bool nonBatch);
    int addPolygonItems(TSR::ImageCompressor::API::ICompressionUtil& util, const TSR::CString& shapefile,
                        const TSR::ImageCompressor::API::ExtractedFeatureClipInfo& feature, int epsg);
    void placeMessage(const QString& text);
    void scaleTo(const QGV::GeoRect& rect);
};

}  // namespace Tessara::GeoMap
