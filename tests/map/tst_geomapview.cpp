#include <QGraphicsView>
#include <QLayout>
#include <QListWidget>
#include <QtTest>

#include "map/geomapview.h"
#include "map/geoview/qgvcameraactions.h"
#include "map/geoview/qgvmap.h"
#include "map/geoview/qgvprojection.h"
#include "map/geoview/qgvwidgettext.h"
#include "map/geoviewpolygon.h"
#include "map/geoviewrectangle.h"
#include "map/geoviewtextannotation.h"
#include "tests/map/fakecompressionutil.h"

using Tessara::GeoMap::GeoMapView;
using Tessara::GeoMap::GeoViewTextAnnotation;
using Tessara::GeoMap::GeoViewPolygon;
using Tessara::GeoMap::GeoViewRectangle;

namespace {

const QString batchText = QStringLiteral("Map View not supported in batch mode.");
const QString epsgTextFull = QStringLiteral("Not supported without a proper recognised EPSG Code.");
const QString epsgTextShort = QStringLiteral("Not supported without a proper recognised EPSG Code");

struct Box {
    double minX, minY, maxX, maxY;
};

API::Ring ring(const QVector<QPointF>& points)
{
    API::Ring result;
    for (const QPointF& point : points)
        result.push_back({point.x(), point.y()});
    return result;
}

API::Ring square(double west, double south, double east, double north)
{
    return ring({{west, south}, {east, south}, {east, north}, {west, north}});
}

bool near(const QColor& actual, const QColor& expected, int tolerance = 3)
{
    return qAbs(actual.red() - expected.red()) <= tolerance && qAbs(actual.green() - expected.green()) <= tolerance
           && qAbs(actual.blue() - expected.blue()) <= tolerance;
}

// What a translucent colour gives over the white background.
QColor overWhite(const QColor& color)
{
    const auto mix = [&](int channel) { return qRound(channel * color.alphaF() + 255 * (1 - color.alphaF())); };
    return QColor(mix(color.red()), mix(color.green()), mix(color.blue()));
}

}  // namespace

class TestGeoMapView : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase();
    void cleanupTestCase();
    void init();
    void cleanup();

    void setupSetsLayoutAndTooltip();
    void itemOrder_data();
    void itemOrder();
    void removeRowShiftsLaterRows_data();
    void removeRowShiftsLaterRows();
    void messages_data();
    void messages();
    void modeSwitchSwapsMessages();
    void extentAndPolygonLimitsDiffer();
    void showPolygonsKeepsPreviousExtent();
    void refreshShrinksExtentAndKeepsView_data();
    void refreshShrinksExtentAndKeepsView();
    void selectionRunsBothWays();
    void selectedRectangleHasRedFill();
    void extentIsOutlineOnlyAndNotSelectable();
    void polygonHoleShowsBackground();
    void emptyRectanglePaintsNothing();
    void textAnnotationPaintsItsText();

private:
    void addDataset(const QString& name, const Box& box, int epsg = 4326);
    void fitTo(const QGV::GeoRect& rect);
    QPoint viewPos(double lat, double lon) const;
    QImage render() const;
    GeoViewRectangle* rectangleAt(int index) const;
    QString message() const;

    std::shared_ptr<FakeCompressionUtil> util;
    QGVMap* map = nullptr;
    QListWidget* list = nullptr;
    GeoMapView* view = nullptr;
    API::DatasetScanResult scan;
    GeoMapView::FactoryMaker realFactory;
};

void TestGeoMapView::initTestCase()
{
    realFactory = GeoMapView::factoryMaker;
    GeoMapView::factoryMaker = [this] { return std::make_shared<FakeCompressionUtilFactory>(util); };
}

void TestGeoMapView::cleanupTestCase()
{
    GeoMapView::factoryMaker = realFactory;
}

void TestGeoMapView::init()
{
    util = std::make_shared<FakeCompressionUtil>();
    scan = API::DatasetScanResult();
    map = new QGVMap;
    map->resize(400, 300);
    map->show();
    QVERIFY(QTest::qWaitForWindowExposed(map));
    list = new QListWidget;
    list->setSelectionMode(QAbstractItemView::ExtendedSelection);
    view = new GeoMapView(map);
    view->setupMap();
}

void TestGeoMapView::cleanup()
{
    delete view;
    delete list;
    delete map;
}

void TestGeoMapView::addDataset(const QString& name, const Box& box, int epsg)
{
    const QString path = QStringLiteral("/data/") + name;
    list->addItem(path);
    API::DatasetMetadata metadata;
    metadata.MinX = box.minX;
    metadata.MinY = box.minY;
    metadata.MaxX = box.maxX;
    metadata.MaxY = box.maxY;
    metadata.EPSG = epsg;
    scan.Datasets[TSR::CString(path.toStdWString())] = metadata;
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

QImage TestGeoMapView::render() const
{
    return map->geoView()->viewport()->grab().toImage();
}

GeoViewRectangle* TestGeoMapView::rectangleAt(int index) const
{
    return qobject_cast<GeoViewRectangle*>(map->getItem(index));
}

QString TestGeoMapView::message() const
{
    return view->messageWidget ? view->messageWidget->getText() : QString();
}

void TestGeoMapView::setupSetsLayoutAndTooltip()
{
    QCOMPARE(map->toolTip(), QStringLiteral("Map preview is in EPSG:3857"));
    QCOMPARE(map->layout()->spacing(), 4);
    QCOMPARE(map->layout()->contentsMargins(), QMargins());
}

void TestGeoMapView::itemOrder_data()
{
    QTest::addColumn<bool>("nonBatch");
    QTest::addColumn<int>("polygons");
    QTest::addColumn<bool>("update");
    QTest::addColumn<QString>("expected");  // E extent, P polygon, D dataset
    QTest::newRow("batch") << false << 0 << false << "DDD";
    QTest::newRow("mosaic") << true << 0 << false << "EDDD";
    QTest::newRow("mosaic with polygons") << true << 2 << false << "EPPDDD";
    QTest::newRow("update") << true << 0 << true << "EEDDD";
}

void TestGeoMapView::itemOrder()
{
    QFETCH(bool, nonBatch);
    QFETCH(int, polygons);
    QFETCH(bool, update);
    QFETCH(QString, expected);
    // In batch mode each dataset is put on the map as it enters the list.
    for (int i = 0; i < 3; ++i) {
        addDataset(QStringLiteral("tile%1.tif").arg(i), {i * 10.0, 0, i * 10.0 + 10, 10});
        if (!nonBatch)
            view->addUnplacedDataset(true, list);
    }
    if (nonBatch)
        QVERIFY(view->addAllDatasets(nonBatch, list, scan));
    for (int i = 0; i < polygons; ++i) {
        API::FeaturePolygon polygon;
        polygon.OuterRing = square(i, i, i + 5, i + 5);
        util->polygons.push_back(polygon);
    }
    if (polygons > 0)
        view->showPolygons(QStringLiteral("/data/clip.shp"), {std::make_shared<API::ExtractedFeatureClipInfo>()},
                           nonBatch, 4326, list, scan);
    if (update) {
        util->headers["/data/old.wvc"].metadata = {-5, -5, 40, 20, 1, -1, 0, 0, 4326, TSR::CString()};
        view->showUpdateFile(QStringLiteral("/data/old.wvc"), nonBatch, list, scan);
    }
    // The offsets as the wizard sets them.
    view->itemOffset = !nonBatch ? 0 : (update ? 2 : 1) + view->polygonCount;

    QString kinds;
    for (int i = 0; i < map->countItems(); ++i) {
        if (qobject_cast<GeoViewPolygon*>(map->getItem(i)))
            kinds += QLatin1Char('P');
        else if (GeoViewRectangle* rectangle = rectangleAt(i))
            kinds += rectangle->isExtent() ? QLatin1Char('E') : QLatin1Char('D');
    }
    QCOMPARE(kinds, expected);
    QCOMPARE(view->polygonCount, polygons);
    for (int row = 0; row < list->count(); ++row)
        QCOMPARE(rectangleAt(view->itemOffset + row)->boundItem(), list->item(row));
    if (update)
        QCOMPARE(rectangleAt(1)->getRect(), QGV::GeoRect(20, -5, -5, 40));
    if (nonBatch)
        QVERIFY(FakeCompressionUtilFactory::handedOut > 0);
}

void TestGeoMapView::removeRowShiftsLaterRows_data()
{
    QTest::addColumn<int>("polygons");
    QTest::addColumn<bool>("update");
    QTest::newRow("datasets only") << 0 << false;
    QTest::newRow("polygons in front") << 3 << false;
    QTest::newRow("update extent in front") << 0 << true;
}

void TestGeoMapView::removeRowShiftsLaterRows()
{
    QFETCH(int, polygons);
    QFETCH(bool, update);
    for (int i = 0; i < 4; ++i)
        addDataset(QStringLiteral("tile%1.tif").arg(i), {i * 10.0, 0, i * 10.0 + 10, 10});
    for (int i = 0; i < polygons; ++i) {
        API::FeaturePolygon polygon;
        polygon.OuterRing = square(1, 1, 5, 5);
        util->polygons.push_back(polygon);
    }
    if (update) {
        util->headers["/data/old.wvc"].metadata = {0, 0, 40, 10, 1, -1, 0, 0, 4326, TSR::CString()};
        view->showUpdateFile(QStringLiteral("/data/old.wvc"), true, list, scan);
        view->itemOffset = 2;
    } else {
        view->showPolygons(QStringLiteral("/data/clip.shp"), {std::make_shared<API::ExtractedFeatureClipInfo>()}, true,
                           4326, list, scan);
        view->itemOffset = 1 + view->polygonCount;
    }
    const int before = map->countItems();
    QListWidgetItem* third = list->item(2);

    view->removeDatasetRow(1);
    delete list->takeItem(1);

    QCOMPARE(map->countItems(), before - 1);
    QCOMPARE(rectangleAt(view->itemOffset + 1)->boundItem(), third);
    for (int row = 0; row < list->count(); ++row)
        QCOMPARE(rectangleAt(view->itemOffset + row)->boundItem(), list->item(row));
    int polygonsLeft = 0;
    for (int i = 0; i < map->countItems(); ++i)
        polygonsLeft += qobject_cast<GeoViewPolygon*>(map->getItem(i)) ? 1 : 0;
    QCOMPARE(polygonsLeft, polygons);
    QCOMPARE(rectangleAt(view->itemOffset + 1)->getRect(), QGV::GeoRect(10, 20, 0, 30));
    QVERIFY(rectangleAt(0)->isExtent());
}

void TestGeoMapView::messages_data()
{
    QTest::addColumn<QString>("action");
    QTest::addColumn<QString>("expected");
    QTest::newRow("batch add") << "unplaced batch" << batchText;
    QTest::newRow("unplaced in mosaic") << "unplaced epsg" << epsgTextShort;
    QTest::newRow("refresh in batch") << "refresh batch" << batchText;
    QTest::newRow("refresh without EPSG") << "refresh no epsg" << epsgTextFull;
    QTest::newRow("refresh with unknown list EPSG") << "refresh list epsg -1" << epsgTextFull;
}

void TestGeoMapView::messages()
{
    QFETCH(QString, action);
    QFETCH(QString, expected);
    addDataset(QStringLiteral("a.tif"), {0, 0, 10, 10});
    addDataset(QStringLiteral("b.tif"), {10, 0, 20, 10}, action == QLatin1String("refresh no epsg") ? 0 : 4326);
    if (action.startsWith(QLatin1String("unplaced"))) {
        view->addUnplacedDataset(action == QLatin1String("unplaced batch"), list);
        QCOMPARE(map->countItems(), 1);
    } else if (action == QLatin1String("refresh batch")) {
        QVERIFY(view->addAllDatasets(true, list, scan));
        view->refreshDatasets(true, false, 4326, list, scan);
    } else if (action == QLatin1String("refresh no epsg")) {
        view->addUnplacedDataset(true, list);  // item 0 is then no extent, so the refresh rebuilds
        view->refreshDatasets(true, true, 4326, list, scan);
    } else {
        QVERIFY(view->addAllDatasets(true, list, scan));
        view->refreshDatasets(true, true, -1, list, scan);
    }
    QCOMPARE(message(), expected);
    QCOMPARE(view->itemOffset, 0);
    QVERIFY(view->messageWidget->isVisible());
    QCOMPARE(view->messageWidget->pos(), QPoint(30, 60));
    if (action.startsWith(QLatin1String("unplaced"))) {
        QVERIFY(rectangleAt(0)->getRect().isEmpty());
        QCOMPARE(rectangleAt(0)->boundItem(), list->item(1));
        return;
    }
    // Placeholders keep row r at item r.
    QCOMPARE(map->countItems(), list->count());
    for (int i = 0; i < map->countItems(); ++i) {
        QVERIFY(rectangleAt(i)->getRect().isEmpty());
        QCOMPARE(rectangleAt(i)->boundItem(), list->item(i));
    }
}

void TestGeoMapView::modeSwitchSwapsMessages()
{
    addDataset(QStringLiteral("a.tif"), {0, 0, 10, 10});
    view->addUnplacedDataset(false, list);
    view->updateMessageForMode(true);
    QCOMPARE(message(), epsgTextShort);
    view->updateMessageForMode(false);
    QCOMPARE(message(), batchText);

    // Back to a mosaic: the batch text goes and the rectangles are placed again behind an extent.
    view->updateMessageForMode(true);
    QCOMPARE(message(), QString());
    view->refreshDatasets(true, true, 4326, list, scan);
    QCOMPARE(map->countItems(), 2);
    QVERIFY(rectangleAt(0)->isExtent());
    QCOMPARE(rectangleAt(1)->getRect(), QGV::GeoRect(10, 0, 0, 10));
    QCOMPARE(view->itemOffset, 1);

    view->clearMessage();
    QCOMPARE(message(), QString());
}

void TestGeoMapView::extentAndPolygonLimitsDiffer()
{
    addDataset(QStringLiteral("arctic.tif"), {-200, 80, 10, 90});
    API::FeaturePolygon polygon;
    polygon.OuterRing = ring({{0, 80}, {5, 90}, {10, 80}});
    polygon.InnerRings.push_back(ring({{4, 81}, {5, 95}, {6, 81}}));
    util->polygons.push_back(polygon);
    view->showPolygons(QStringLiteral("/data/clip.shp"), {std::make_shared<API::ExtractedFeatureClipInfo>()}, true,
                       4326, list, scan);

    auto* dataset = rectangleAt(2);
    QVERIFY(dataset && !dataset->isExtent());
    QCOMPARE(dataset->getRect().latTop(), 85.06);
    QCOMPARE(dataset->getRect().lonLeft(), -180.0);
    QCOMPARE(view->projectExtent.latTop(), 85.06);
    auto* drawn = qobject_cast<GeoViewPolygon*>(map->getItem(1));
    QVERIFY(drawn);
    QCOMPARE(drawn->getPoints().at(1).lat(), 85.6);
    QCOMPARE(drawn->getHoles().at(0).at(1).lat(), 85.6);
}

void TestGeoMapView::showPolygonsKeepsPreviousExtent()
{
    addDataset(QStringLiteral("a.tif"), {0, 0, 10, 10});
    QVERIFY(view->addAllDatasets(true, list, scan));
    view->projectExtent = QGV::GeoRect(30, -30, -30, 30);  // as left by an earlier, wider list
    view->showPolygons(QStringLiteral("/data/clip.shp"), {}, true, 4326, list, scan);
    QCOMPARE(rectangleAt(0)->getRect(), QGV::GeoRect(30, -30, -30, 30));
    QCOMPARE(view->projectExtent, QGV::GeoRect(30, -30, -30, 30));
    QCOMPARE(view->polygonCount, 0);
}

void TestGeoMapView::refreshShrinksExtentAndKeepsView_data()
{
    QTest::addColumn<bool>("keepFit");
    QTest::newRow("keep the user's view") << false;
    QTest::newRow("fit the extent") << true;
}

void TestGeoMapView::refreshShrinksExtentAndKeepsView()
{
    QFETCH(bool, keepFit);
    addDataset(QStringLiteral("a.tif"), {0, 0, 10, 10});
    addDataset(QStringLiteral("b.tif"), {10, 0, 20, 10});
    addDataset(QStringLiteral("far.tif"), {50, 40, 60, 50});
    QVERIFY(view->addAllDatasets(true, list, scan));
    QCOMPARE(view->projectExtent, QGV::GeoRect(50, 0, 0, 60));

    view->removeDatasetRow(2);
    delete list->takeItem(2);
    fitTo(QGV::GeoRect(2, 2, 1, 3));
    const QRectF userView = map->getCamera().projRect();

    view->refreshDatasets(keepFit, true, 4326, list, scan);
    QCOMPARE(view->projectExtent, QGV::GeoRect(10, 0, 0, 20));
    QCOMPARE(rectangleAt(0)->getRect(), view->projectExtent);
    const QRectF shown = map->getCamera().projRect();
    if (keepFit) {
        const QRectF extent = map->getProjection()->geoToProj(view->projectExtent);
        QVERIFY(shown.adjusted(-1, -1, 1, 1).contains(extent));
        QVERIFY(shown.width() < extent.width() * 1.5 + 1);
    } else {
        QVERIFY(qAbs(shown.center().x() - userView.center().x()) < 1e-3 * userView.width());
        QVERIFY(qAbs(shown.width() - userView.width()) < 1e-3 * userView.width());
    }
}

void TestGeoMapView::selectionRunsBothWays()
{
    for (int i = 0; i < 3; ++i)
        addDataset(QStringLiteral("tile%1.tif").arg(i), {i * 10.0, 0, i * 10.0 + 10, 10});
    QVERIFY(view->addAllDatasets(true, list, scan));
    fitTo(view->projectExtent);
    QWidget* viewport = map->geoView()->viewport();

    // Map to list, through the rectangle's click.
    list->item(1)->setSelected(true);
    QTest::mouseClick(viewport, Qt::LeftButton, Qt::NoModifier, viewPos(5, 25));
    QCOMPARE(list->selectedItems(), QList<QListWidgetItem*>{list->item(2)});
    QTest::mouseClick(viewport, Qt::LeftButton, Qt::ControlModifier, viewPos(5, 5));
    QCOMPARE(list->selectedItems().size(), 2);
    QVERIFY(list->item(0)->isSelected() && list->item(2)->isSelected());
    // A click on the extent alone selects nothing and leaves the list be.
    fitTo(QGV::GeoRect(20, -10, -10, 40));
    QTest::mouseClick(viewport, Qt::LeftButton, Qt::NoModifier, viewPos(-5, 15));
    QCOMPARE(list->selectedItems().size(), 2);

    // List to map.
    list->clearSelection();
    list->item(0)->setSelected(true);
    list->item(1)->setSelected(true);
    view->unselectAll();
    QCOMPARE(view->selectDatasetRows(list, view->itemOffset), 1);
    QCOMPARE(map->getSelections(), (QList<QGVItem*>{map->getItem(1), map->getItem(2)}));
    list->clearSelection();
    view->unselectAll();
    QCOMPARE(view->selectDatasetRows(list, view->itemOffset), -1);
    QVERIFY(map->getSelections().isEmpty());
}

void TestGeoMapView::selectedRectangleHasRedFill()
{
    addDataset(QStringLiteral("left.tif"), {0, 0, 10, 10});
    addDataset(QStringLiteral("right.tif"), {20, 0, 30, 10});
    QVERIFY(view->addAllDatasets(true, list, scan));
    fitTo(QGV::GeoRect(15, -5, -5, 35));
    list->item(1)->setSelected(true);
    view->selectDatasetRows(list, view->itemOffset);

    const QImage image = render();
    const QColor selected = image.pixelColor(viewPos(5, 25));
    const QColor unselected = image.pixelColor(viewPos(5, 5));
    QVERIFY2(near(selected, overWhite(QColor(255, 0, 0, 50))), qPrintable(selected.name()));
    QVERIFY2(near(unselected, overWhite(QColor(178, 223, 138, 25))), qPrintable(unselected.name()));

    // The outline stays one pixel wide, green, on the selected rectangle too.
    const QColor green(51, 160, 44);
    const int y = viewPos(5, 25).y();
    int outline = 0;
    for (int x = viewPos(5, 20).x() - 4; x <= viewPos(5, 20).x() + 4; ++x)
        outline += near(image.pixelColor(x, y), green, 1) ? 1 : 0;
    QCOMPARE(outline, 1);
}

void TestGeoMapView::extentIsOutlineOnlyAndNotSelectable()
{
    auto* extent = new GeoViewRectangle(QGV::GeoRect(10, 0, 0, 10), QGV::ItemFlag::Clickable, Qt::red, true);
    map->addItem(extent);
    QVERIFY(!extent->isSelectable());
    QVERIFY(!extent->isFlag(QGV::ItemFlag::Clickable));
    fitTo(QGV::GeoRect(12, -2, -2, 12));

    QTest::mouseClick(map->geoView()->viewport(), Qt::LeftButton, Qt::NoModifier, viewPos(5, 5));
    QVERIFY(!extent->isSelected());
    map->select(extent);
    QVERIFY(map->getSelections().isEmpty());

    const QImage image = render();
    QCOMPARE(image.pixelColor(viewPos(5, 5)), QColor(Qt::white));
    int blue = 0;
    const int y = viewPos(10, 5).y();
    for (int x = viewPos(10, 0).x(); x <= viewPos(10, 10).x(); ++x)
        blue += image.pixelColor(x, y) == QColor(0, 0, 255) ? 1 : 0;
    const int length = viewPos(10, 10).x() - viewPos(10, 0).x();
    // Dotted: blue for part of the edge, not all of it.
    QVERIFY2(blue > length / 4 && blue < length * 3 / 4, qPrintable(QString::number(blue)));
}

void TestGeoMapView::polygonHoleShowsBackground()
{
    API::FeaturePolygon polygon;
    polygon.OuterRing = square(-20, -20, 20, 20);
    polygon.InnerRings.push_back(square(-5, -5, 5, 5));
    util->polygons.push_back(polygon);
    view->showPolygons(QStringLiteral("/data/clip.shp"), {std::make_shared<API::ExtractedFeatureClipInfo>()}, false,
                       4326, list, scan);
    QCOMPARE(map->countItems(), 1);
    fitTo(QGV::GeoRect(25, -25, -25, 25));

    const QImage image = render();
    const QColor background = image.pixelColor(0, 0);
    QCOMPARE(image.pixelColor(viewPos(0, 0)), background);
    const QColor fill = image.pixelColor(viewPos(12, 0));
    QVERIFY2(near(fill, overWhite(QColor(255, 165, 0, 100))), qPrintable(fill.name()));
    // The hole's edge is outlined like the outer one.
    int black = 0;
    const int y = viewPos(0, 0).y();
    for (int x = viewPos(0, -7).x(); x <= viewPos(0, -3).x(); ++x)
        black += image.pixelColor(x, y) == QColor(Qt::black) ? 1 : 0;
    QCOMPARE(black, 1);
}

void TestGeoMapView::emptyRectanglePaintsNothing()
{
    addDataset(QStringLiteral("nowhere.tif"), {0, 0, 0, 0}, 0);
    view->addUnplacedDataset(false, list);
    view->clearMessage();
    fitTo(QGV::GeoRect(1, -1, -1, 1));
    QCOMPARE(map->countItems(), 1);

    const QImage image = render();
    const QColor background = image.pixelColor(0, 0);
    for (int y = 0; y < image.height(); ++y) {
        for (int x = 0; x < image.width(); ++x) {
            if (image.pixelColor(x, y) != background)
                QFAIL(qPrintable(QStringLiteral("painted at %1, %2").arg(x).arg(y)));
        }
    }
}

void TestGeoMapView::textAnnotationPaintsItsText()
{
    const QGV::GeoRect box(2, -4, -2, 4);
    auto* annotation = new GeoViewTextAnnotation(box, QGV::ItemFlags(), Qt::red);
    map->addItem(annotation);
    fitTo(QGV::GeoRect(10, -10, -10, 10));
    QVERIFY(!annotation->isSelectable());
    QCOMPARE(annotation->projAnchor(), map->getProjection()->geoToProj(box).center());

    const auto bluePixels = [this] {
        const QImage image = render();
        int count = 0;
        for (int y = 0; y < image.height(); ++y) {
            for (int x = 0; x < image.width(); ++x) {
                const QColor pixel = image.pixelColor(x, y);
                count += pixel.blue() > 200 && pixel.red() < 80 && pixel.green() < 80 ? 1 : 0;
            }
        }
        return count;
    };
    QCOMPARE(bluePixels(), 0);  // no text yet

    annotation->setText(QStringLiteral("Kartopress"));
    QCOMPARE(annotation->getText(), QStringLiteral("Kartopress"));
    QVERIFY(bluePixels() > 20);
}

QTEST_MAIN(TestGeoMapView)
#include "tst_geomapview.moc"
