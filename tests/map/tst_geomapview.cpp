#include <QGraphicsView>
#include <QtTest>

#include "map/geomapview.h"
#include "map/geoview/qgvcameraactions.h"
#include "map/geoview/qgvprojection.h"
#include "map/geoview/qgvwidgettext.h"
#include "map/geoviewtextannotation.h"
#include "tests/map/mapitems.h"

using namespace Tessara::GeoMap;
namespace API = TSR::ImageCompressor::API;

namespace {

const QString batchText = QStringLiteral("Map View not supported in batch mode.");
const QString epsgText = QStringLiteral("Not supported without a proper recognised EPSG Code.");

// Answers from what the test puts in, in degrees whatever EPSG number a dataset claims, and
// throws the library's error from the operation named in `failing`.
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
        check("ReprojectPoints");
        result = points;
    }
    void ReprojectExtent(const API::DatasetMetadata& m, int, int, double& minX, double& minY, double& maxX,
                         double& maxY) override
    {
        check("ReprojectExtent");
        std::tie(minX, minY, maxX, maxY) = std::make_tuple(m.MinX, m.MinY, m.MaxX, m.MaxY);
    }
    bool ReadDatasetMetadata(const TSR::CString& path, int& epsg, API::DatasetMetadata& metadata, bool) override
    {
        check("ReadDatasetMetadata");
        metadata = headers[path.utf8_str()];
        epsg = metadata.EPSG;
        return epsg > 0;
    }
    void ReadFeaturePolygons(const TSR::CString&, const API::ExtractedFeatureClipInfo&, int,
                             std::vector<API::FeaturePolygon>& result) override
    {
        check("ReadFeaturePolygons");
        result = polygons;
    }
    void ComputeOutputDimensions(const API::DatasetMetadataMap&, double, double, double, double, double, double,
                                 std::uint32_t&, std::uint32_t&, const API::ProgressCallback&) override {}
    bool CheckOutputSize(std::uint64_t) override { return true; }
    void ComputeActiveArea(const API::DatasetMetadataMap&, const API::ClipInfoPtr&, double&, std::int32_t&,
                           const API::ProgressCallback&) override {}
    void ComputeUpdateCoverage(const std::vector<TSR::CString>&, const TSR::CString&, double&,
                               const API::ScanProgressCallback&) override {}
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
    explicit FakeFactory(std::shared_ptr<FakeUtil> util) : util(std::move(util)) {}
    void GetCompressionUtil(std::shared_ptr<API::ICompressionUtil>& result) override { result = util; }
    std::shared_ptr<FakeUtil> util;
};

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

bool near(const QColor& actual, const QColor& expected)
{
    return qAbs(actual.red() - expected.red()) <= 3 && qAbs(actual.green() - expected.green()) <= 3
        && qAbs(actual.blue() - expected.blue()) <= 3;
}

QColor overWhite(const QColor& c)
{
    const auto mix = [&](int channel) { return qRound(channel * c.alphaF() + 255 * (1 - c.alphaF())); };
    return QColor(mix(c.red()), mix(c.green()), mix(c.blue()));
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
    void refreshKeepsTheUsersView_data();
    void refreshKeepsTheUsersView();
    void selectionRunsBothWays();
    void paints();

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
    delete view;
    delete list;
    delete map;
}

void TestGeoMapView::addDataset(const QRectF& box, int epsg, const QString& override)
{
    const QString path = QStringLiteral("/data/tile%1.tif").arg(list->count());
    list->addItem(path);
    API::DatasetMetadata& m = scan.Datasets[TSR::CString(path.toStdWString())];
    std::tie(m.MinX, m.MinY, m.MaxX, m.MaxY, m.EPSG) = std::make_tuple(box.left(), box.top(), box.right(), box.bottom(), epsg);
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
    QTest::newRow("batch") << "batch" << "" << placeholders << batchText << true;
    QTest::newRow("mosaic") << "all" << "" << QStringList{"E 10.00 0.00 0.00 30.00", d0, d1, d2} << "" << true;
    QTest::newRow("mosaic with polygons")
        << "all polygons" << "" << QStringList{"E 10.00 0.00 0.00 30.00", "P1 0.00 0.00 5.00 5.00", "P0 80.00 0.00 85.60 5.00", d0, d1, d2} << "" << true;
    QTest::newRow("update file") << "all update" << ""
                                 << QStringList{"E 10.00 0.00 0.00 30.00", "E 20.00 -5.00 -5.00 40.00", d0, d1, d2} << "" << true;
    QTest::newRow("row removed behind polygons")
        << "all polygons remove" << "" << QStringList{"E 10.00 0.00 0.00 30.00", "P1 0.00 0.00 5.00 5.00", "P0 80.00 0.00 85.60 5.00", d0, "D1 10.00 20.00 0.00 30.00"} << "" << true;
    QTest::newRow("back from batch") << "batch switch" << "" << QStringList{"E 10.00 0.00 0.00 30.00", d0, d1, d2} << "" << true;
    QTest::newRow("unknown EPSG of the list") << "all refresh-1" << "" << placeholders << epsgText << true;
    QTest::newRow("a dataset without EPSG") << "no-epsg batch switch" << "" << placeholders << epsgText << true;
    QTest::newRow("pole and antimeridian")
        << "arctic" << "" << QStringList{"E 85.06 170.00 80.00 190.00", "P0 80.00 170.00 85.60 190.00", "D0 85.06 170.00 80.00 190.00"} << "" << true;
    // The library fails in the middle of a rebuild.
    QTest::newRow("refresh meets an error") << "batch switch" << "ReprojectExtent" << placeholders << epsgText << true;
    QTest::newRow("polygons unreadable") << "all polygons" << "ReadFeaturePolygons"
                                         << QStringList{"E 10.00 0.00 0.00 30.00", d0, d1, d2} << "" << false;
    QTest::newRow("update file unreadable") << "all update" << "ReadDatasetMetadata"
                                            << QStringList{"E 10.00 0.00 0.00 30.00", "E 0.00 0.00 0.00 0.00", d0, d1, d2} << "" << true;
    QTest::newRow("update rebuild meets an error")
        << "all update" << "ReprojectExtent" << QStringList{"E 10.00 0.00 0.00 30.00", "E 0.00 0.00 0.00 0.00"} + placeholders << epsgText << false;
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
            placed = view->showPolygons("/data/clip.shp", {std::make_shared<API::ExtractedFeatureClipInfo>()}, true, 4326, list, scan);
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

void TestGeoMapView::refreshKeepsTheUsersView_data()
{
    QTest::addColumn<bool>("keepFit");
    QTest::newRow("keep the user's view") << false;
    QTest::newRow("fit the extent") << true;
}

void TestGeoMapView::refreshKeepsTheUsersView()
{
    QFETCH(bool, keepFit);
    addDataset(QRectF(0, 0, 10, 10));
    addDataset(QRectF(10, 0, 10, 10));
    addDataset(QRectF(50, 40, 10, 10));
    QVERIFY(view->addAllDatasets(true, list, scan));
    view->removeDatasetRow(2);
    delete list->takeItem(2);
    fitTo(QGV::GeoRect(2, 2, 1, 3));
    const QRectF userView = map->getCamera().projRect();

    view->refreshDatasets(keepFit, true, 4326, list, scan);
    QCOMPARE(describeItems(map, list), QStringList({"E 10.00 0.00 0.00 20.00", "D0 10.00 0.00 0.00 10.00", "D1 10.00 10.00 0.00 20.00"}));
    const QRectF shown = map->getCamera().projRect();
    const QRectF wanted = keepFit ? map->getProjection()->geoToProj(view->projectExtent) : userView;
    QVERIFY(shown.adjusted(-1, -1, 1, 1).contains(wanted));
    QVERIFY(qAbs(shown.width() - wanted.width()) < 1e-3 * wanted.width() || qAbs(shown.height() - wanted.height()) < 1e-3 * wanted.height());
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

void TestGeoMapView::paints()
{
    addDataset(QRectF(0, 0, 10, 10));
    addDataset(QRectF(20, 0, 10, 10));
    util->polygons = {polygon(QRectF(-20, -20, 15, 15), QRectF(-15, -15, 5, 5))};
    view->showPolygons("/data/clip.shp", {std::make_shared<API::ExtractedFeatureClipInfo>()}, true, 4326, list, scan);
    auto* annotation = new GeoViewTextAnnotation(QGV::GeoRect(-12, 12, -18, 28), QGV::ItemFlags(), Qt::red);
    annotation->setText(QStringLiteral("Kartopress"));
    map->addItem(annotation);
    fitTo(QGV::GeoRect(15, -25, -25, 35));
    list->item(1)->setSelected(true);
    view->selectDatasetRows(list, 2);
    map->select(map->getItem(0));  // the extent: not selectable

    const QImage image = map->geoView()->viewport()->grab().toImage();
    const auto at = [&](double lat, double lon) { return image.pixelColor(viewPos(lat, lon)); };
    QVERIFY(near(at(5, 25), overWhite(QColor(255, 0, 0, 50))));     // selected dataset
    QVERIFY(near(at(5, 5), overWhite(QColor(178, 223, 138, 25))));  // the other one
    QVERIFY(near(at(-8, -8), overWhite(QColor(255, 165, 0, 100)))); // polygon
    QCOMPARE(at(-12, -12), QColor(Qt::white));                      // its hole
    QCOMPARE(at(5, 15), QColor(Qt::white));                         // in the extent: no fill
    QCOMPARE(map->getSelections(), QList<QGVItem*>{map->getItem(3)});
    int green = 0, blue = 0, black = 0, text = 0;
    for (int x = viewPos(5, 18).x(); x <= viewPos(5, 22).x(); ++x)
        green += near(image.pixelColor(x, viewPos(5, 0).y()), QColor(51, 160, 44)) ? 1 : 0;
    for (int x = viewPos(10, 11).x(); x <= viewPos(10, 19).x(); ++x)
        blue += image.pixelColor(x, viewPos(10, 0).y()) == QColor(0, 0, 255) ? 1 : 0;
    for (int x = viewPos(-12, -17).x(); x <= viewPos(-12, -13).x(); ++x)
        black += image.pixelColor(x, viewPos(-12, 0).y()) == QColor(Qt::black) ? 1 : 0;
    for (int y = viewPos(-12, 0).y(); y <= viewPos(-18, 0).y(); ++y)
        for (int x = viewPos(0, 12).x(); x <= viewPos(0, 28).x(); ++x)
            text += image.pixelColor(x, y).blue() > 200 && image.pixelColor(x, y).red() < 80 ? 1 : 0;
    const int edge = viewPos(10, 19).x() - viewPos(10, 11).x();
    // One-pixel green outline when selected too; a dotted blue extent; the hole outlined; the text.
    QCOMPARE(QVector<int>({green, black, blue > edge / 4 && blue < edge * 3 / 4, text > 20}), QVector<int>({1, 1, 1, 1}));
}

QTEST_MAIN(TestGeoMapView)
#include "tst_geomapview.moc"
