#include <QGraphicsView>
#include <QTemporaryDir>
#include <QtTest>

#include "map/geomapview.h"
#include "map/geoview/qgvcameraactions.h"
#include "map/geoview/qgvprojection.h"
#include "map/geoview/qgvwidgettext.h"
#include "tests/dataset/fixtures.h"
#include <QListWidget>

#include "map/geoview/qgvmap.h"
#include "map/geoviewpolygon.h"
#include "map/geoviewrectangle.h"
#include "tests/support/testfiles.h"

using namespace Tessara::GeoMap;
namespace API = TSR::ImageCompressor::API;

namespace {

const QString batchText = QStringLiteral("Map View not supported in batch mode.");
const QString epsgText = QStringLiteral("Not supported without a proper recognised EPSG Code.");

// Answers from what the test puts in, in degrees whatever EPSG number a dataset claims, and
// throws the library's error from the operation named in `failing`. The map calls no other.
class FakeUtil : public API::ICompressionUtil
{
public:
    std::map<std::string, API::DatasetMetadata> headers;
    std::vector<API::FeaturePolygon> polygons;
    std::string failing;

    void check(const char* operation) const
    {
        if (failing == operation)
            throw TSR::CRuntimeError(std::string(operation) + " failed");
    }
    void ReprojectPoints(const API::Ring& points, int, int, API::Ring& result) override
    {
        check("ReprojectPoints"), result = points;
    }
    void ReprojectExtent(const API::DatasetMetadata& m, int, int, double& x0, double& y0, double& x1,
                         double& y1) override
    {
        check("ReprojectExtent");
        std::tie(x0, y0, x1, y1) = std::make_tuple(m.MinX, m.MinY, m.MaxX, m.MaxY);
    }
    bool ReadDatasetMetadata(const TSR::CString& path, int& epsg, API::DatasetMetadata& metadata, bool) override
    {
        check("ReadDatasetMetadata");
        metadata = headers[path.utf8_str()];
        return (epsg = metadata.EPSG) > 0;
    }
    void ReadFeaturePolygons(const TSR::CString&, const API::ExtractedFeatureClipInfo&, int,
                             std::vector<API::FeaturePolygon>& result) override
    {
        check("ReadFeaturePolygons"), result = polygons;
    }
    void ComputeOutputDimensions(const API::DatasetMetadataMap&, double, double, double, double, double, double,
                                 std::uint32_t&, std::uint32_t&, const API::ProgressCallback&) override
    {}
    bool CheckOutputSize(std::uint64_t) override { return true; }
    void ComputeActiveArea(const API::DatasetMetadataMap&, const API::ClipInfoPtr&, double&, std::int32_t&,
                           const API::ProgressCallback&) override
    {}
    void ComputeUpdateCoverage(const std::vector<TSR::CString>&, const TSR::CString&, double&,
                               const API::ScanProgressCallback&) override
    {}
    void FindIntersectingFeatures(const TSR::CString&, const API::DatasetScanResult&, API::ClipInfoList&) override {}
    void CombineClipRegions(const API::ClipInfoMap&, API::ClipInfoPtr&) override {}
    bool ClipFeatureToExtent(const TSR::CString&, const API::ExtractedFeatureClipInfo&, int, double, double, double,
                             double, double&, double&, double&, double&) override
    {
        return false;
    }
};

class FakeFactory : public API::CompressionUtilFactory
{
public:
    explicit FakeFactory(std::shared_ptr<FakeUtil> util)
        : util(std::move(util))
    {}
    void GetCompressionUtil(std::shared_ptr<API::ICompressionUtil>& result) override { result = util; }
    std::shared_ptr<FakeUtil> util;
};

// Every item on the map in order, with its place in degrees: "E top left bottom right" for an
// extent, "D<row> ..." for a dataset bound to a list row ("D-" unbound, "empty" unplaced),
// "P<holes> <south-west vertex> <north-east vertex>" for a polygon.
QStringList describeItems(QGVMap* map, QListWidget* list)
{
    const auto box = [](const QGV::GeoRect& r) {
        return r.isEmpty() ? QStringLiteral("empty")
                           : QStringLiteral("%1 %2 %3 %4")
                                 .arg(r.latTop(), 0, 'f', 2)
                                 .arg(r.lonLeft(), 0, 'f', 2)
                                 .arg(r.latBottom(), 0, 'f', 2)
                                 .arg(r.lonRight(), 0, 'f', 2);
    };
    QStringList items;
    for (int i = 0; i < map->countItems(); ++i) {
        if (auto* polygon = qobject_cast<Tessara::GeoMap::GeoViewPolygon*>(map->getItem(i))) {
            QGV::GeoPos low = polygon->getPoints().value(0), high = low;
            for (const QGV::GeoPos& point : polygon->getPoints()) {
                low = point.lat() + point.lon() < low.lat() + low.lon() ? point : low;
                high = point.lat() + point.lon() > high.lat() + high.lon() ? point : high;
            }
            items << QStringLiteral("P%1 %2 %3 %4 %5")
                         .arg(polygon->getHoles().size())
                         .arg(low.lat(), 0, 'f', 2)
                         .arg(low.lon(), 0, 'f', 2)
                         .arg(high.lat(), 0, 'f', 2)
                         .arg(high.lon(), 0, 'f', 2);
        } else if (auto* rectangle = qobject_cast<Tessara::GeoMap::GeoViewRectangle*>(map->getItem(i))) {
            const int row = list->row(rectangle->boundItem());
            items << (rectangle->isExtent() ? QStringLiteral("E ")
                                            : QStringLiteral("D%1 ").arg(row < 0 ? "-" : QString::number(row)))
                    + box(rectangle->getRect());
        }
    }
    return items;
}

API::FeaturePolygon polygon(const QRectF& outer, const QRectF& hole = QRectF())
{
    const auto ring = [](const QRectF& r) {
        return API::Ring{{r.left(), r.top()}, {r.right(), r.top()}, {r.right(), r.bottom()}, {r.left(), r.bottom()}};
    };
    API::FeaturePolygon result;
    result.OuterRing = ring(outer);
    if (!hole.isNull())
        result.InnerRings.push_back(ring(hole));
    return result;
}

}  // namespace

class TestGeoMapView : public QObject
{
    Q_OBJECT

private slots:
    void init();
    void cleanup();
    void rebuilds_data();
    void rebuilds();
    void refreshKeepsTheUsersView();
    void selectionRunsBothWays();
    void placesRealData();

private:
    void addDataset(const QRectF& box, int epsg = 4326, const QString& override = QString());
    void fitTo(const QGV::GeoRect& rect);
    QPoint viewPos(double lat, double lon) const;

    std::shared_ptr<FakeUtil> util;
    QGVMap* map = nullptr;
    QListWidget* list = nullptr;
    GeoMapView* view = nullptr;
    API::DatasetScanResult scan;
};

void TestGeoMapView::init()
{
    util = std::make_shared<FakeUtil>();
    GeoMapView::factoryMaker = [this] { return std::make_shared<FakeFactory>(util); };
    scan = API::DatasetScanResult();
    map = new QGVMap;
    map->resize(400, 300);
    map->show();
    QVERIFY(QTest::qWaitForWindowExposed(map));
    list = new QListWidget;
    list->setSelectionMode(QAbstractItemView::ExtendedSelection);
    view = new GeoMapView(map);
    view->setupMap();
    QCOMPARE(map->toolTip(), QStringLiteral("Map preview is in EPSG:3857"));
}

void TestGeoMapView::cleanup()
{
    API::CompressionUtilFactory::Shutdown();
    delete view;
    delete list;
    delete map;
}

void TestGeoMapView::addDataset(const QRectF& box, int epsg, const QString& override)
{
    const QString path = QStringLiteral("/data/tile%1.tif").arg(list->count());
    list->addItem(path);
    API::DatasetMetadata& m = scan.Datasets[TSR::CString(path.toStdWString())];
    std::tie(m.MinX, m.MinY, m.MaxX, m.MaxY, m.EPSG) =
        std::make_tuple(box.left(), box.top(), box.right(), box.bottom(), epsg);
    m.EPSGOverride = TSR::CString(override.toStdWString());
}

void TestGeoMapView::fitTo(const QGV::GeoRect& rect)
{
    QGVCameraActions actions(map);
    actions.scaleTo(rect);
    map->cameraTo(actions);
}

QPoint TestGeoMapView::viewPos(double lat, double lon) const
{
    return map->mapFromProj(map->getProjection()->geoToProj(QGV::GeoPos(lat, lon)));
}

void TestGeoMapView::rebuilds_data()
{
    QTest::addColumn<QString>("steps");
    QTest::addColumn<QString>("failing");  // the library call that throws
    QTest::addColumn<QStringList>("expected");
    QTest::addColumn<QString>("message");
    QTest::addColumn<bool>("complete");  // what the last rebuild returned
    const QString d0 = "D0 10.00 0.00 0.00 10.00", d1 = "D1 10.00 10.00 0.00 20.00", d2 = "D2 10.00 20.00 0.00 30.00";
    const QStringList placeholders{"D0 empty", "D1 empty", "D2 empty"};
    QTest::newRow("batch") << "batch"
                           << "" << placeholders << batchText << true;
    QTest::newRow("mosaic") << "all"
                            << "" << QStringList{"E 10.00 0.00 0.00 30.00", d0, d1, d2} << "" << true;
    QTest::newRow("mosaic with polygons")
        << "all polygons"
        << ""
        << QStringList{"E 10.00 0.00 0.00 30.00", "P1 0.00 0.00 5.00 5.00", "P0 80.00 0.00 85.60 5.00", d0, d1, d2}
        << "" << true;
    QTest::newRow("update file") << "all update"
                                 << ""
                                 << QStringList{"E 10.00 0.00 0.00 30.00", "E 20.00 -5.00 -5.00 40.00", d0, d1, d2}
                                 << "" << true;
    QTest::newRow("row removed behind polygons")
        << "all polygons remove"
        << ""
        << QStringList{"E 10.00 0.00 0.00 30.00", "P1 0.00 0.00 5.00 5.00", "P0 80.00 0.00 85.60 5.00", d0,
                       "D1 10.00 20.00 0.00 30.00"}
        << "" << true;
    QTest::newRow("back from batch") << "batch switch"
                                     << "" << QStringList{"E 10.00 0.00 0.00 30.00", d0, d1, d2} << "" << true;
    QTest::newRow("unknown EPSG of the list") << "all refresh-1"
                                              << "" << placeholders << epsgText << true;
    QTest::newRow("a dataset without EPSG") << "no-epsg batch switch"
                                            << "" << placeholders << epsgText << true;
    QTest::newRow("pole and antimeridian")
        << "arctic"
        << ""
        << QStringList{"E 85.06 170.00 80.00 190.00", "P0 80.00 170.00 85.60 190.00", "D0 85.06 170.00 80.00 190.00"}
        << "" << true;
    // The library fails in the middle of a rebuild.
    QTest::newRow("refresh meets an error") << "batch switch"
                                            << "ReprojectExtent" << placeholders << epsgText << true;
    QTest::newRow("polygons unreadable") << "all polygons"
                                         << "ReadFeaturePolygons" << QStringList{"E 10.00 0.00 0.00 30.00", d0, d1, d2}
                                         << "" << false;
    QTest::newRow("update file unreadable")
        << "all update"
        << "ReadDatasetMetadata" << QStringList{"E 10.00 0.00 0.00 30.00", "E 0.00 0.00 0.00 0.00", d0, d1, d2} << ""
        << true;
    QTest::newRow("update rebuild meets an error")
        << "all update"
        << "ReprojectExtent" << QStringList{"E 10.00 0.00 0.00 30.00", "E 0.00 0.00 0.00 0.00"} + placeholders
        << epsgText << false;
}

void TestGeoMapView::rebuilds()
{
    QFETCH(QString, steps);
    QFETCH(QString, failing);
    QFETCH(QStringList, expected);
    QFETCH(QString, message);
    QFETCH(bool, complete);
    const QStringList step = steps.split(' ');
    if (step.contains("arctic")) {
        addDataset(QRectF(170, 80, 20, 10));
        util->polygons = {polygon(QRectF(170, 80, 20, 20))};
    } else {
        for (int i = 0; i < 3; ++i)
            addDataset(QRectF(i * 10, 0, 10, 10), step.contains("no-epsg") && i == 1 ? 0 : 4326);
        util->polygons = {polygon(QRectF(0, 0, 5, 5), QRectF(1, 1, 1, 1)), polygon(QRectF(0, 80, 5, 10))};
    }
    util->headers["/data/old.wvc"] = {-5, -5, 40, 20, 1, -1, 0, 0, 4326, TSR::CString()};
    QVERIFY(view->addAllDatasets(true, list, scan) || step.contains("no-epsg"));
    util->failing = failing.toStdString();
    bool placed = true;
    for (const QString& action : step) {
        if (action == "batch")
            view->refreshDatasets(true, false, 4326, list, scan);
        else if (action == "switch" || action == "refresh-1")
            view->refreshDatasets(true, true, action == "switch" ? 4326 : -1, list, scan);
        else if (action == "polygons" || action == "arctic")
            placed = view->showPolygons("/data/clip.shp", {std::make_shared<API::ExtractedFeatureClipInfo>()}, true,
                                        4326, list, scan);
        else if (action == "update")
            placed = view->showUpdateFile("/data/old.wvc", true, list, scan);
        else if (action == "remove") {
            view->itemOffset = 1 + view->polygonCount;
            view->removeDatasetRow(1);
            delete list->takeItem(1);
        }
        if (action == "switch")
            view->updateMessageForMode(true);
    }
    QCOMPARE(describeItems(map, list), expected);
    QCOMPARE(view->messageWidget ? view->messageWidget->getText() : QString(), message);
    QCOMPARE(placed, complete);
    if (view->messageWidget && !message.isEmpty())
        QCOMPARE(view->messageWidget->pos(), QPoint(30, 60));
}

void TestGeoMapView::refreshKeepsTheUsersView()
{
    addDataset(QRectF(0, 0, 10, 10));
    addDataset(QRectF(10, 0, 10, 10));
    addDataset(QRectF(50, 40, 10, 10));
    QVERIFY(view->addAllDatasets(true, list, scan));
    view->removeDatasetRow(2);
    delete list->takeItem(2);
    fitTo(QGV::GeoRect(2, 2, 1, 3));
    const QRectF userView = map->getCamera().projRect();
    // The extent shrinks to what is left, and the view the user zoomed to stays.
    view->refreshDatasets(false, true, 4326, list, scan);
    QCOMPARE(describeItems(map, list),
             QStringList({"E 10.00 0.00 0.00 20.00", "D0 10.00 0.00 0.00 10.00", "D1 10.00 10.00 0.00 20.00"}));
    QVERIFY(qAbs(map->getCamera().projRect().center().x() - userView.center().x()) < 1e-3 * userView.width());
    QVERIFY(qAbs(map->getCamera().projRect().width() - userView.width()) < 1e-3 * userView.width());
}

void TestGeoMapView::selectionRunsBothWays()
{
    for (int i = 0; i < 3; ++i)
        addDataset(QRectF(i * 10, 0, 10, 10));
    QVERIFY(view->addAllDatasets(true, list, scan));
    fitTo(view->projectExtent);
    QWidget* viewport = map->geoView()->viewport();
    // Map to list through the rectangle's click; a click on the extent alone leaves the list be.
    list->item(1)->setSelected(true);
    QTest::mouseClick(viewport, Qt::LeftButton, Qt::NoModifier, viewPos(5, 25));
    QTest::mouseClick(viewport, Qt::LeftButton, Qt::ControlModifier, viewPos(5, 5));
    fitTo(QGV::GeoRect(20, -10, -10, 40));
    QTest::mouseClick(viewport, Qt::LeftButton, Qt::NoModifier, viewPos(-5, 15));
    QCOMPARE(QVector<bool>({list->item(0)->isSelected(), list->item(1)->isSelected(), list->item(2)->isSelected()}),
             QVector<bool>({true, false, true}));
    // List to map.
    list->clearSelection();
    list->item(0)->setSelected(true);
    list->item(1)->setSelected(true);
    view->unselectAll();
    QCOMPARE(view->selectDatasetRows(list, view->itemOffset), 1);
    QCOMPARE(map->getSelections(), (QList<QGVItem*>{map->getItem(1), map->getItem(2)}));
}

// The map on files made by GDAL: the list and the items are checked against each other after
// every step, failures included.
void TestGeoMapView::placesRealData()
{
    QTemporaryDir directory;
    const auto file = [&directory](const char* name) { return directory.filePath(QString::fromUtf8(name)); };
    // Two 20 km UTM 33N tiles, one with heights; a tile in feet; a shapefile in EPSG 4326 with a
    // square on the first tile; a WVC file this system has no driver for; a tile across 180.
    QVERIFY(fixtures::makeTile(file("utm.tif"), {"EPSG:32633"}, 500000, 5000000, 200, 100, 100));
    QVERIFY(fixtures::makeTile(file("utm height.tif"), {"EPSG:32633+5773"}, 520000, 5000000, 200, 100, 100));
    QVERIFY(fixtures::makeTile(file("utm feet.tif"), {"EPSG:32633", "US survey foot", 0.304800609601219}, 1640000,
                               16400000, 600, 100, 100));
    QVERIFY(fixtures::makeShapefile(
        file("clip.shp"), 4326, 32633, {},
        {{"POLYGON((505000 4985000,515000 4985000,515000 4995000,505000 4995000,505000 4985000))", {}}}));
    writeFile(file("old.wvc"), "WVC\x01 wavelet stream");
    QVERIFY(fixtures::makeTile(file("pacific.tif"), {"EPSG:32660"}, 500000, 5700000, 1000, 300, 200));
    GeoMapView::factoryMaker = [] { return std::make_shared<API::CompressionUtilFactory>(); };
    const auto add = [&](const char* name) {
        int epsg = -1;
        fixtures::makeUtil()->ReadDatasetMetadata(TSR::CString(file(name).toStdWString()), epsg,
                                                  scan.Datasets[TSR::CString(file(name).toUtf8().constData())], true);
        list->addItem(file(name));
    };
    // The whole map, its message, and each row's item at the offset the wizard sets.
    const auto check = [&](const QStringList& expected, const QString& message, int offset) {
        QCOMPARE(describeItems(map, list), expected);
        QCOMPARE(view->messageWidget ? view->messageWidget->getText() : QString(), message);
        view->itemOffset = offset;
        for (int row = 0; row < list->count(); ++row)
            QCOMPARE(qobject_cast<GeoViewRectangle*>(map->getItem(offset + row))->boundItem(), list->item(row));
    };
    add("utm.tif");
    add("utm height.tif");
    QVERIFY(view->addAllDatasets(true, list, scan));
    const QString tiles = "E 45.15 15.00 44.97 15.51";
    const QStringList datasets{"D0 45.15 15.00 44.97 15.25", "D1 45.15 15.25 44.97 15.51"};
    check(QStringList{tiles} + datasets, "", 1);

    // Polygons of a layer in another reference are found, and drawn where they lie.
    API::ClipInfoList features;
    fixtures::makeUtil()->FindIntersectingFeatures(TSR::CString(file("clip.shp").toStdWString()), scan, features);
    QCOMPARE(int(features.size()), 1);
    QVERIFY(view->showPolygons(file("clip.shp"), features, true, 32633, list, scan));
    check(QStringList{tiles, "P0 45.02 15.06 45.11 15.19"} + datasets, "", 2);

    // No driver reads the update file: a failed read, and the rest is built.
    QVERIFY(view->showUpdateFile(file("old.wvc"), true, list, scan));
    check(QStringList{tiles, "E 0.00 0.00 0.00 0.00"} + datasets, "", 2);

    // An override PROJ does not know places nothing, and every row keeps its item.
    scan.Datasets.begin()->second.EPSGOverride = TSR::CString("EPSG:32699");
    QVERIFY(!view->clearPolygons(true, list, scan));
    check(QStringList{tiles, "D0 empty", "D1 empty"}, "Not supported without a proper recognised EPSG Code.", 1);

    // A tile in feet has no code, so it stops the mosaic; alone across 180 a tile is drawn narrow.
    add("utm feet.tif");
    QVERIFY(!view->addAllDatasets(true, list, scan));
    list->clear();
    scan.Datasets.clear();
    view->clearItems();
    view->hasExtentItem = false;
    add("pacific.tif");
    QVERIFY(view->addAllDatasets(true, list, scan));
    check({"E 51.45 177.00 49.58 181.31", "D0 51.45 177.00 49.58 181.31"},
          "Not supported without a proper recognised EPSG Code.", 1);
    const QRectF shown = map->getCamera().projRect();
    QVERIFY(shown.width() < map->getProjection()->boundaryProjRect().width() / 10);
    QVERIFY(shown.contains(map->getProjection()->geoToProj(QGV::GeoPos(50, 180))));
}

QTEST_MAIN(TestGeoMapView)
#include "tst_geomapview.moc"
