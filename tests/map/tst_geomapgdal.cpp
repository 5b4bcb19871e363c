#include <QTemporaryDir>
#include <QtTest>

#include "map/geomapview.h"
#include "map/geoview/qgvprojection.h"
#include "map/geoview/qgvwidgettext.h"
#include "tests/dataset/fixtures.h"
#include "tests/map/mapitems.h"
#include "tests/support/testfiles.h"

using Tessara::GeoMap::GeoMapView;
namespace API = TSR::ImageCompressor::API;

// The map on files made by GDAL: the list and the items are checked against each other after
// every step, failures included.
class TestGeoMapGdal : public QObject
{
    Q_OBJECT

private slots:
    void cleanupTestCase();
    void placesRealData();

private:
    void add(const QString& file);
    void check(const QStringList& expected, const QString& message, int offset);

    QTemporaryDir directory;
    QListWidget list;
    API::DatasetScanResult scan;
    QGVMap* map = nullptr;
    GeoMapView* view = nullptr;
};

void TestGeoMapGdal::cleanupTestCase()
{
    API::CompressionUtilFactory::Shutdown();
}

void TestGeoMapGdal::add(const QString& file)
{
    const QString path = directory.filePath(file);
    int epsg = -1;
    fixtures::makeUtil()->ReadDatasetMetadata(TSR::CString(path.toStdWString()), epsg,
                                              scan.Datasets[TSR::CString(path.toUtf8().constData())], true);
    list.addItem(path);
}

void TestGeoMapGdal::check(const QStringList& expected, const QString& message, int offset)
{
    QCOMPARE(describeItems(map, &list), expected);
    QCOMPARE(view->messageWidget ? view->messageWidget->getText() : QString(), message);
    view->itemOffset = offset;  // as the wizard sets it
    for (int row = 0; row < list.count(); ++row)
        QCOMPARE(qobject_cast<Tessara::GeoMap::GeoViewRectangle*>(map->getItem(offset + row))->boundItem(), list.item(row));
}

void TestGeoMapGdal::placesRealData()
{
    QVERIFY(directory.isValid());
    const auto file = [this](const char* name) { return directory.filePath(QString::fromUtf8(name)); };
    // Two 20 km UTM 33N tiles, one with heights; a tile in feet; a shapefile in EPSG 4326 with a
    // square on the first tile; a WVC file this system has no driver for; a tile across 180.
    QVERIFY(fixtures::makeTile(file("utm.tif"), {"EPSG:32633"}, 500000, 5000000, 200, 100, 100));
    QVERIFY(fixtures::makeTile(file("utm height.tif"), {"EPSG:32633+5773"}, 520000, 5000000, 200, 100, 100));
    QVERIFY(fixtures::makeTile(file("utm feet.tif"), {"EPSG:32633", "US survey foot", 0.304800609601219}, 1640000,
                               16400000, 600, 100, 100));
    QVERIFY(fixtures::makeShapefile(file("clip.shp"), 4326, 32633, {},
                                    {{"POLYGON((505000 4985000,515000 4985000,515000 4995000,505000 4995000,505000 4985000))", {}}}));
    writeFile(file("old.wvc"), "WVC\x01 wavelet stream");
    QVERIFY(fixtures::makeTile(file("pacific.tif"), {"EPSG:32660"}, 500000, 5700000, 1000, 300, 200));
    QGVMap widget;
    widget.resize(400, 300);
    map = &widget;
    GeoMapView mapView(map);
    view = &mapView;
    view->setupMap();

    add("utm.tif");
    add("utm height.tif");
    QVERIFY(view->addAllDatasets(true, &list, scan));
    const QString tiles = "E 45.15 15.00 44.97 15.51";
    const QStringList datasets{"D0 45.15 15.00 44.97 15.25", "D1 45.15 15.25 44.97 15.51"};
    check(QStringList{tiles} + datasets, "", 1);

    // Polygons of a layer in another reference are found, and drawn where they lie.
    API::ClipInfoList features;
    fixtures::makeUtil()->FindIntersectingFeatures(TSR::CString(file("clip.shp").toStdWString()), scan, features);
    QCOMPARE(int(features.size()), 1);
    QVERIFY(view->showPolygons(file("clip.shp"), features, true, 32633, &list, scan));
    check(QStringList{tiles, "P0 45.02 15.06 45.11 15.19"} + datasets, "", 2);

    // No driver reads the update file: a failed read, and the rest is built.
    QVERIFY(view->showUpdateFile(file("old.wvc"), true, &list, scan));
    check(QStringList{tiles, "E 0.00 0.00 0.00 0.00"} + datasets, "", 2);

    // An override PROJ does not know places nothing, and every row keeps its item.
    scan.Datasets.begin()->second.EPSGOverride = TSR::CString("EPSG:32699");
    QVERIFY(!view->clearPolygons(true, &list, scan));
    check(QStringList{tiles, "D0 empty", "D1 empty"}, "Not supported without a proper recognised EPSG Code.", 1);

    // A tile in feet has no code, so it stops the mosaic; alone across 180 a tile is drawn narrow.
    add("utm feet.tif");
    QVERIFY(!view->addAllDatasets(true, &list, scan));
    list.clear();
    scan.Datasets.clear();
    view->clearItems();
    view->hasExtentItem = false;
    add("pacific.tif");
    QVERIFY(view->addAllDatasets(true, &list, scan));
    check({"E 51.45 177.00 49.58 181.31", "D0 51.45 177.00 49.58 181.31"}, "Not supported without a proper recognised EPSG Code.", 1);
    const QRectF shown = map->getCamera().projRect();
    QVERIFY(shown.width() < map->getProjection()->boundaryProjRect().width() / 10);
    QVERIFY(shown.contains(map->getProjection()->geoToProj(QGV::GeoPos(50, 180))));
}

QTEST_MAIN(TestGeoMapGdal)
#include "tst_geomapgdal.moc"
