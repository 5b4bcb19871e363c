#include <QTemporaryDir>
#include <QtTest>

#include "tests/dataset/fixtures.h"
#include "tests/support/testfiles.h"

using namespace TSR::ImageCompressor::API;

namespace {

std::string square(double minX, double minY, double maxX, double maxY)
{
    return QStringLiteral("(%1 %2,%3 %2,%3 %4,%1 %4,%1 %2)")
        .arg(minX, 0, 'f')
        .arg(minY, 0, 'f')
        .arg(maxX, 0, 'f')
        .arg(maxY, 0, 'f')
        .toStdString();
}

// Parcels around two UTM 33N tiles: west 500000..501000, east 501000..502000, both
// 4999500..5000000. Given in UTM; written in the layer's own reference.
std::vector<fixtures::Record> parcels()
{
    return {
        {"POLYGON(" + square(500500, 4999600, 500700, 4999800) + ")", {"north", "0.25", "7", "12", "5"}},
        {"POLYGON(" + square(500100, 4999550, 500900, 4999950) + "," + square(500300, 4999650, 500700, 4999850) + ")",
         {"holed", "1.5", "-3", "", "5000000000"}},
        {"MULTIPOLYGON((" + square(500100, 4999600, 500200, 4999700) + "),(" + square(501500, 4999600, 501600, 4999700)
             + "))",
         {"split", "", "", "2147483647", "6"}},
        {"POLYGON(" + square(600000, 4000000, 600100, 4000100) + ")", {"far", "2", "1", "1", "1"}},
        // Its box overlaps the west tile while its area stays clear of it.
        {"POLYGON((499000 4999000,500200 4999000,499000 5001000,499000 4999000))", {"corner", "3", "2", "1", "1"}},
    };
}

QString rounded(double minX, double minY, double maxX, double maxY)
{
    return QStringLiteral("%1 %2 %3 %4").arg(qRound(minX)).arg(qRound(minY)).arg(qRound(maxX)).arg(qRound(maxY));
}

}  // namespace

class TestGdalFeatures : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase();
    void cleanupTestCase();
    void findsClipsAndReadsFeatures_data();
    void findsClipsAndReadsFeatures();
    void combinesClipRegions();

private:
    QString path(const QString& name) const { return directory.filePath(name); }
    DatasetScanResult scan(const QStringList& files) const;
    QTemporaryDir directory;
};

void TestGdalFeatures::initTestCase()
{
    QVERIFY(directory.isValid());
    QVERIFY(fixtures::makeTile(path("west.tif"), {"EPSG:32633"}, 500000, 5000000, 10, 100, 50));
    QVERIFY(fixtures::makeTile(path("east.tif"), {"EPSG:32633"}, 501000, 5000000, 10, 100, 50));
    const std::vector<std::pair<const char*, OGRFieldType>> fields{{"name", OFTString},
                                                                   {"ratio", OFTReal},
                                                                   {"count", OFTInteger},
                                                                   {"small64", OFTInteger64},
                                                                   {"big64", OFTInteger64}};
    QVERIFY(fixtures::makeShapefile(path("parcels.shp"), 32633, 32633, fields, parcels()));
    QVERIFY(fixtures::makeShapefile(path("parcels geographic.shp"), 4326, 32633, fields, parcels()));
}

void TestGdalFeatures::cleanupTestCase()
{
    CompressionUtilFactory::Shutdown();
}

DatasetScanResult TestGdalFeatures::scan(const QStringList& files) const
{
    DatasetScanResult result;
    for (const QString& name : files) {
        int epsg = -1;
        fixtures::makeUtil()->ReadDatasetMetadata(TSR::CString(path(name).toStdWString()), epsg,
                                                  result.Datasets[TSR::CString(path(name).toStdWString())], true);
    }
    result.CRS = CCRSIdentifier(32633);
    return result;
}

void TestGdalFeatures::findsClipsAndReadsFeatures_data()
{
    QTest::addColumn<QString>("shapefile");
    QTest::addColumn<QStringList>("tiles");
    QTest::addColumn<QStringList>("expected");
    // Per feature: id, reference and box as found, the datasets met, the box clipped to the west
    // tile, and the polygons read (outer ring's south-west corner, holes). Then the attributes: a
    // value of big64 that does not fit in 32 bits makes that field text in every record.
    const QStringList both{
        "0 EPSG:32633 500500 4999600 500700 4999800 west.tif | clip 500500 4999600 500700 4999800 | 500500 4999600 holes 0",
        "1 EPSG:32633 500100 4999550 500900 4999950 west.tif | clip 500100 4999550 500900 4999950 | 500100 4999550 holes 1",
        "2 EPSG:32633 500100 4999600 501600 4999700 east.tif west.tif | clip 500100 4999600 500200 4999700 | 500100 4999600 "
        "holes 0, 501500 4999600 holes 0",
        "attributes big64=5,name=north ratio=0.25 count=7,small64=12",
        "attributes big64=5000000000,name=holed ratio=1.5 count=-3,small64=0",
        "attributes big64=6,name=split ratio=0 count=0,small64=2147483647"};
    QTest::newRow("same reference as the tiles") << "parcels.shp" << QStringList{"west.tif", "east.tif"} << both;
    QTest::newRow("layer in EPSG 4326 over UTM tiles")
        << "parcels geographic.shp" << QStringList{"west.tif", "east.tif"} << both;
}

void TestGdalFeatures::findsClipsAndReadsFeatures()
{
    QFETCH(QString, shapefile);
    QFETCH(QStringList, tiles);
    QFETCH(QStringList, expected);
    auto util = fixtures::makeUtil();
    const TSR::CString file(path(shapefile).toStdWString());
    ClipInfoList features;
    util->FindIntersectingFeatures(file, scan(tiles), features);
    QStringList found, attributes;
    for (const ClipInfoPtr& f : features) {
        QString line = QStringLiteral("%1 EPSG:%2 ").arg(f->FeatureId).arg(f->CRS.GetEPSG())
            + rounded(f->MinX, f->MinY, f->MaxX, f->MaxY);
        QStringList met;
        for (const TSR::CString& dataset : f->IntersectingDatasets)
            met << QFileInfo(QString::fromUtf8(dataset.utf8_str())).fileName();
        met.sort();
        line += " " + met.join(' ');
        double clip[4] = {0, 0, 0, 0};
        const bool clipped = util->ClipFeatureToExtent(file, *f, f->FeatureId, 500000, 4999500, 501000, 5000000,
                                                       clip[0], clip[1], clip[2], clip[3]);
        line += " | clip " + (clipped ? rounded(clip[0], clip[1], clip[2], clip[3]) : QStringLiteral("none")) + " |";
        std::vector<FeaturePolygon> polygons;
        util->ReadFeaturePolygons(file, *f, f->FeatureId, polygons);
        QStringList parts;
        for (const FeaturePolygon& polygon : polygons) {
            const auto corner = *std::min_element(polygon.OuterRing.begin(), polygon.OuterRing.end(),
                                                  [](auto& a, auto& b) { return a.X + a.Y < b.X + b.Y; });
            parts << QStringLiteral("%1 %2 holes %3")
                         .arg(qRound(corner.X))
                         .arg(qRound(corner.Y))
                         .arg(polygon.InnerRings.size());
        }
        found << line + " " + parts.join(QStringLiteral(", "));
        QStringList text, real, whole;
        for (const auto& [key, value] : f->StringAttributes)
            text << QString::fromStdString(key + "=" + value);
        for (const auto& [key, value] : f->RealAttributes)
            real << QString::fromStdString(key) + "=" + QString::number(value);
        for (const auto& [key, value] : f->IntegerAttributes)
            whole << QString::fromStdString(key) + "=" + QString::number(value);
        attributes << "attributes " + text.join(',') + " " + real.join(',') + " " + whole.join(',');
    }
    QCOMPARE(found + attributes, expected);
    try {
        std::vector<FeaturePolygon> polygons;
        util->ReadFeaturePolygons(file, {}, 99, polygons);
        QFAIL("feature 99 was read");
    } catch (const TSR::CRuntimeError& error) {
        QCOMPARE(QString::fromUtf8(error.what()),
                 QStringLiteral("Feature 99 does not exist in layer \"%1\" of \"%2\".")
                     .arg(QFileInfo(shapefile).completeBaseName(), path(shapefile)));
    }
}

void TestGdalFeatures::combinesClipRegions()
{
    // Entries cut to a dataset they do not meet keep an empty box, which must not widen the union.
    ClipInfoMap regions{{"/data/!absent.tif", nullptr}};
    ExtractedFeatureClipInfo clone{"parcels", 7, CCRSIdentifier(32633),        {{"name", "north"}}, {}, {}, 0, 0,
                                   0,         0, {TSR::CString("/data/0.tif")}};
    const QVector<QRectF> boxes{{1, 2, 2, 2}, {-5, 3, 7, 6}, {}, {7, 5, -1, 3}};
    for (int i = 0; i < boxes.size(); ++i) {
        std::tie(clone.MinX, clone.MinY, clone.MaxX, clone.MaxY) =
            std::make_tuple(boxes[i].left(), boxes[i].top(), boxes[i].right(), boxes[i].bottom());
        regions["/data/" + std::to_string(i) + ".tif"] = std::make_shared<ExtractedFeatureClipInfo>(clone);
    }
    ClipInfoPtr combined;
    fixtures::makeUtil()->CombineClipRegions(regions, combined);
    QVERIFY(combined);
    const QString whole = QStringLiteral("%1 %2 %3 %4 %5 %6 %7")
                              .arg(QString::fromStdString(combined->LayerName))
                              .arg(combined->FeatureId)
                              .arg(combined->CRS.GetEPSG())
                              .arg(QString::fromStdString(combined->StringAttributes.at("name")))
                              .arg(combined->IntersectingDatasets.size())
                              .arg(rounded(combined->MinX, combined->MinY, combined->MaxX, combined->MaxY))
                              .arg(regions.size());
    QCOMPARE(whole, QStringLiteral("parcels 7 32633 north 1 -5 2 3 9 5"));
}

QTEST_GUILESS_MAIN(TestGdalFeatures)
#include "tst_gdalfeatures.moc"
