#include <QFile>
#include <QTemporaryDir>
#include <QtTest>

#include <algorithm>

#include "tests/dataset/fixtures.h"
#include "wizard/dataset/compressionutilfactory.h"
#include "wizard/dataset/icompressionutil.h"

using namespace TSR::ImageCompressor::API;

namespace {

std::shared_ptr<ICompressionUtil> makeUtil()
{
    auto factory = std::make_shared<CompressionUtilFactory>();
    std::shared_ptr<ICompressionUtil> util;
    factory->GetCompressionUtil(util);
    return util;
}

QString square(double minX, double minY, double maxX, double maxY)
{
    return QStringLiteral("(%1 %2,%3 %2,%3 %4,%1 %4,%1 %2)").arg(minX, 0, 'f').arg(minY, 0, 'f').arg(maxX, 0, 'f').arg(maxY, 0, 'f');
}

// Polygons around two tiles in UTM 33N: west 500000..501000, east 501000..502000, both
// 4999500..5000000.
std::vector<fixtures::Record> parcels()
{
    const auto polygon = [](const QString& rings) { return ("POLYGON(" + rings + ")").toStdString(); };
    return {
        // 0: inside the west tile
        {polygon(square(500500, 4999600, 500700, 4999800)), {"north", "0.25", "7", "12", "5"}},
        // 1: a ring round a hole, in the west tile
        {polygon(square(500100, 4999550, 500900, 4999950) + "," + square(500300, 4999650, 500700, 4999850)),
         {"holed", "1.5", "-3", "", "5000000000"}},
        // 2: one part in each tile
        {("MULTIPOLYGON((" + square(500100, 4999600, 500200, 4999700) + "),("
          + square(501500, 4999600, 501600, 4999700) + "))").toStdString(),
         {"split", "", "", "2147483647", "6"}},
        // 3: far away
        {polygon(square(600000, 4000000, 600100, 4000100)), {"far", "2", "1", "1", "1"}},
        // 4: a triangle whose box overlaps the west tile while its area stays clear of it
        {"POLYGON((499000 4999000,500200 4999000,499000 5001000,499000 4999000))", {"corner", "3", "2", "1", "1"}},
    };
}

std::vector<fixtures::Field> parcelFields()
{
    return {{"name", OFTString}, {"ratio", OFTReal}, {"count", OFTInteger}, {"small64", OFTInteger64},
            {"big64", OFTInteger64}};
}

}  // namespace

class TestGdalFeatures : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase();
    void cleanupTestCase();
    void findsIntersectingFeatures_data();
    void findsIntersectingFeatures();
    void attributesBySplitType();
    void readsPolygonsWithHolesAndParts();
    void clipsFeatureToExtent_data();
    void clipsFeatureToExtent();
    void unreadableShapefilesThrow_data();
    void unreadableShapefilesThrow();

private:
    QString path(const QString& name) const { return directory.filePath(name); }
    DatasetScanResult scan() const;
    QTemporaryDir directory;
};

void TestGdalFeatures::initTestCase()
{
    QVERIFY(directory.isValid());
    fixtures::registerDrivers();
    QVERIFY(fixtures::makeTile(path("west.tif"), 32633, 500000, 5000000, 10, 100, 50));
    QVERIFY(fixtures::makeTile(path("east.tif"), 32633, 501000, 5000000, 10, 100, 50));
    QVERIFY(fixtures::makeShapefile(path("parcels.shp"), 32633, parcelFields(), parcels()));
    QVERIFY(fixtures::makeShapefile(path("parcels geographic.shp"), 4326, parcelFields(), parcels(), 32633));
}

void TestGdalFeatures::cleanupTestCase()
{
    CompressionUtilFactory::Shutdown();
}

DatasetScanResult TestGdalFeatures::scan() const
{
    DatasetScanResult result;
    auto util = makeUtil();
    for (const char* name : {"west.tif", "east.tif"}) {
        const TSR::CString file(path(QString::fromLatin1(name)).toStdWString());
        DatasetMetadata metadata;
        int epsg = -1;
        util->ReadDatasetMetadata(file, epsg, metadata, true);
        result.Datasets[file] = metadata;
    }
    result.CRS = CCRSIdentifier(32633);
    return result;
}

void TestGdalFeatures::findsIntersectingFeatures_data()
{
    QTest::addColumn<QString>("shapefile");
    QTest::addColumn<int>("epsg");
    QTest::newRow("same reference") << "parcels.shp" << 32633;
    QTest::newRow("layer in another reference") << "parcels geographic.shp" << 4326;
}

void TestGdalFeatures::findsIntersectingFeatures()
{
    QFETCH(QString, shapefile);
    QFETCH(int, epsg);
    ClipInfoList features;
    makeUtil()->FindIntersectingFeatures(TSR::CString(path(shapefile).toStdWString()), scan(), features);

    QMap<int, QStringList> meeting;
    for (const ClipInfoPtr& feature : features) {
        QStringList files;
        for (const TSR::CString& file : feature->IntersectingDatasets)
            files << QFileInfo(QString::fromUtf8(file.utf8_str())).fileName();
        files.sort();
        meeting.insert(feature->FeatureId, files);
        QCOMPARE(feature->CRS.GetEPSG(), epsg);
        QCOMPARE(QString::fromStdString(feature->LayerName), QFileInfo(shapefile).completeBaseName());
        QVERIFY(feature->MinX < feature->MaxX && feature->MinY < feature->MaxY);
    }
    const QMap<int, QStringList> expected{{0, {"west.tif"}}, {1, {"west.tif"}}, {2, {"east.tif", "west.tif"}}};
    QCOMPARE(meeting, expected);

    // With only the east tile, only the multipolygon remains.
    DatasetScanResult eastOnly = scan();
    eastOnly.Datasets.erase(TSR::CString(path("west.tif").toStdWString()));
    makeUtil()->FindIntersectingFeatures(TSR::CString(path(shapefile).toUtf8().constData()), eastOnly, features);
    QCOMPARE(features.size(), std::size_t(1));
    QCOMPARE(features[0]->FeatureId, 2);
    QCOMPARE(features[0]->IntersectingDatasets.size(), std::size_t(1));
}

void TestGdalFeatures::attributesBySplitType()
{
    ClipInfoList features;
    makeUtil()->FindIntersectingFeatures(TSR::CString(path("parcels.shp").toStdWString()), scan(), features);
    QCOMPARE(features.size(), std::size_t(3));
    std::sort(features.begin(), features.end(), [](const ClipInfoPtr& a, const ClipInfoPtr& b) {
        return a->FeatureId < b->FeatureId;
    });
    const ExtractedFeatureClipInfo& first = *features[0];
    QCOMPARE(first.StringAttributes.at("name"), std::string("north"));
    QCOMPARE(first.RealAttributes.at("ratio"), 0.25);
    QCOMPARE(first.IntegerAttributes.at("count"), 7);
    QCOMPARE(first.IntegerAttributes.at("small64"), 12);
    // One value of big64 does not fit in 32 bits, so the whole field is text.
    QCOMPARE(first.StringAttributes.at("big64"), std::string("5"));
    QCOMPARE(features[1]->StringAttributes.at("big64"), std::string("5000000000"));
    QCOMPARE(features[1]->IntegerAttributes.at("count"), -3);
    QCOMPARE(features[2]->IntegerAttributes.at("small64"), 2147483647);
    for (const ClipInfoPtr& feature : features) {
        QCOMPARE(feature->StringAttributes.size(), std::size_t(2));
        QCOMPARE(feature->RealAttributes.size(), std::size_t(1));
        QCOMPARE(feature->IntegerAttributes.size(), std::size_t(2));
    }
    QCOMPARE(first.MinX, 500500.0);
    QCOMPARE(first.MaxY, 4999800.0);
}

void TestGdalFeatures::readsPolygonsWithHolesAndParts()
{
    auto util = makeUtil();
    const TSR::CString file(path("parcels.shp").toStdWString());
    ExtractedFeatureClipInfo feature;
    feature.LayerName = "parcels";

    std::vector<FeaturePolygon> polygons;
    util->ReadFeaturePolygons(file, feature, 1, polygons);
    QCOMPARE(polygons.size(), std::size_t(1));
    QCOMPARE(polygons[0].OuterRing.size(), std::size_t(5));
    QCOMPARE(polygons[0].InnerRings.size(), std::size_t(1));
    const Ring& hole = polygons[0].InnerRings[0];
    QCOMPARE(hole.size(), std::size_t(5));
    const auto [minX, maxX] = std::minmax_element(hole.begin(), hole.end(),
                                                  [](const PointXY& a, const PointXY& b) { return a.X < b.X; });
    QCOMPARE(minX->X, 500300.0);
    QCOMPARE(maxX->X, 500700.0);

    util->ReadFeaturePolygons(file, feature, 2, polygons);
    QCOMPARE(polygons.size(), std::size_t(2));
    QVERIFY(polygons[0].InnerRings.empty() && polygons[1].InnerRings.empty());
    QVERIFY(std::any_of(polygons.begin(), polygons.end(),
                        [](const FeaturePolygon& p) { return p.OuterRing[0].X >= 501500.0; }));

    util->ReadFeaturePolygons(file, feature, 0, polygons);
    QCOMPARE(polygons.size(), std::size_t(1));
    QCOMPARE(polygons[0].OuterRing.front().X, 500500.0);
    QCOMPARE(polygons[0].OuterRing.front().Y, 4999600.0);
}

void TestGdalFeatures::clipsFeatureToExtent_data()
{
    QTest::addColumn<int>("featureId");
    QTest::addColumn<QRectF>("extent");  // MinX, MinY as left, top
    QTest::addColumn<bool>("meets");
    QTest::addColumn<QRectF>("expected");
    QTest::newRow("partly") << 0 << QRectF(QPointF(500600, 4999500), QPointF(501000, 5000000)) << true
                            << QRectF(QPointF(500600, 4999600), QPointF(500700, 4999800));
    QTest::newRow("wholly") << 0 << QRectF(QPointF(500000, 4999500), QPointF(501000, 5000000)) << true
                            << QRectF(QPointF(500500, 4999600), QPointF(500700, 4999800));
    QTest::newRow("apart") << 0 << QRectF(QPointF(0, 0), QPointF(10, 10)) << false << QRectF();
    QTest::newRow("inside the hole") << 1 << QRectF(QPointF(500400, 4999700), QPointF(500600, 4999800))
                                     << false << QRectF();
    QTest::newRow("one part of two") << 2 << QRectF(QPointF(501000, 4999500), QPointF(502000, 5000000))
                                     << true << QRectF(QPointF(501500, 4999600), QPointF(501600, 4999700));
    QTest::newRow("touching an edge") << 0 << QRectF(QPointF(500700, 4999500), QPointF(501000, 5000000))
                                      << false << QRectF();
}

void TestGdalFeatures::clipsFeatureToExtent()
{
    QFETCH(int, featureId);
    QFETCH(QRectF, extent);
    QFETCH(bool, meets);
    QFETCH(QRectF, expected);
    ExtractedFeatureClipInfo feature;
    feature.LayerName = "parcels";
    feature.FeatureId = featureId;
    double box[4] = {-1, -1, -1, -1};
    QCOMPARE(makeUtil()->ClipFeatureToExtent(TSR::CString(path("parcels.shp").toStdWString()), feature,
                                             featureId, extent.left(), extent.top(), extent.right(),
                                             extent.bottom(), box[0], box[1], box[2], box[3]),
             meets);
    if (meets)
        QCOMPARE(QRectF(QPointF(box[0], box[1]), QPointF(box[2], box[3])), expected);
}

void TestGdalFeatures::unreadableShapefilesThrow_data()
{
    QTest::addColumn<QString>("file");
    QTest::addColumn<int>("featureId");
    QTest::addColumn<QString>("reason");
    QTest::newRow("missing") << "nothing.shp" << 0 << "does not exist";
    QTest::newRow("index removed") << "noindex.shp" << 0 << "noindex";
    QTest::newRow("raster given") << "west.tif" << 0 << "west.tif";
    QTest::newRow("no such feature") << "parcels.shp" << 99 << "Feature 99";
}

void TestGdalFeatures::unreadableShapefilesThrow()
{
    QFETCH(QString, file);
    QFETCH(int, featureId);
    QFETCH(QString, reason);
    if (file == QLatin1String("noindex.shp")) {
        QVERIFY(fixtures::makeShapefile(path(file), 32633, parcelFields(), parcels()));
        QVERIFY(QFile::remove(path("noindex.shx")));
    }
    const TSR::CString shapefile(path(file).toStdWString());
    auto util = makeUtil();
    ExtractedFeatureClipInfo feature;
    const auto checkMessage = [&](const TSR::CRuntimeError& error) {
        const QString text = QString::fromUtf8(error.what());
        QVERIFY2(text.contains(reason), qPrintable(text));
        QVERIFY2(text.contains(path(file)), qPrintable(text));
    };
    try {
        std::vector<FeaturePolygon> polygons;
        util->ReadFeaturePolygons(shapefile, feature, featureId, polygons);
        QFAIL("no polygons can be read");
    } catch (const TSR::CRuntimeError& error) {
        checkMessage(error);
    }
    if (featureId != 0)
        return;
    try {
        ClipInfoList features;
        util->FindIntersectingFeatures(shapefile, scan(), features);
        QFAIL("no features can be read");
    } catch (const TSR::CRuntimeError& error) {
        checkMessage(error);
    }
}

QTEST_GUILESS_MAIN(TestGdalFeatures)
#include "tst_gdalfeatures.moc"
