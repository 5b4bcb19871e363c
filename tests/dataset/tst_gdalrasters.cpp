#include <QTemporaryDir>
#include <QThread>
#include <QtTest>

#include "tests/dataset/fixtures.h"
#include "tests/support/testfiles.h"

using namespace TSR::ImageCompressor::API;

namespace {

constexpr double degree = M_PI / 180.0;
const double cos30 = 10.0 * std::cos(30 * degree);
const double sin30 = 10.0 * std::sin(30 * degree);

// A reference written out without any authority, as a .prj or a sidecar often brings it.
std::string withoutAuthority(const char* definition)
{
    char* wkt = nullptr;
    fixtures::spatialReference({definition}).exportToWkt(&wkt);
    const QString text = QString::fromLatin1(wkt).remove(QRegularExpression(QStringLiteral(",AUTHORITY\\[[^]]*\\]")));
    CPLFree(wkt);
    return text.toStdString();
}

QString pad(double value)
{
    return QString::number(value, 'f', 2);
}

// A dataset's whole record, and where it lands in degrees (the centre of its box in EPSG 4326).
QString describe(bool read, int epsg, const DatasetMetadata& m)
{
    double box[4];
    fixtures::makeUtil()->ReprojectExtent(m, epsg, 4326, box[0], box[1], box[2], box[3]);
    const QString at =
        box[0] < box[2] ? pad((box[0] + box[2]) / 2) + " " + pad((box[1] + box[3]) / 2) : QStringLiteral("nowhere");
    return QStringLiteral("read %1 epsg %2 extent %3 %4 %5 %6 cell %7 %8 size %9x%10 at %11")
        .arg(read)
        .arg(m.EPSG)
        .arg(pad(m.MinX), pad(m.MinY), pad(m.MaxX), pad(m.MaxY), pad(m.CellSizeX), pad(m.CellSizeY))
        .arg(m.RasterWidth)
        .arg(m.RasterHeight)
        .arg(at);
}

// The area of a band between two parallels on the WGS 84 ellipsoid, in km², by numerical
// integration of the surface element.
double bandArea(double south, double north, double west, double east)
{
    const double a = 6378137.0, f = 1 / 298.257223563, e2 = f * (2 - f);
    const int steps = 20000;
    const double h = (north - south) * degree / steps;
    double sum = 0;
    for (int i = 0; i <= steps; ++i) {
        const double phi = south * degree + i * h;
        const double s = std::sin(phi);
        const double value = a * a * (1 - e2) * std::cos(phi) / std::pow(1 - e2 * s * s, 2);
        sum += value * (i == 0 || i == steps ? 1 : (i % 2 ? 4 : 2));
    }
    return sum * h / 3 * (east - west) * degree / 1e6;
}

// The area of a box given in `epsg`, by PROJ's equal-area azimuthal projection centred where the
// box lies, in km².
double azimuthalArea(int epsg, const QRectF& box, double lat0, double lon0)
{
    OGRGeometry* ring = nullptr;
    const QString wkt = QStringLiteral("POLYGON((%1 %2,%3 %2,%3 %4,%1 %4,%1 %2))")
                            .arg(box.left(), 0, 'f')
                            .arg(box.top(), 0, 'f')
                            .arg(box.right(), 0, 'f')
                            .arg(box.bottom(), 0, 'f');
    OGRSpatialReference source = fixtures::spatialReference({"EPSG:" + std::to_string(epsg)});
    OGRGeometryFactory::createFromWkt(wkt.toLatin1().constData(), &source, &ring);
    ring->segmentize(box.width() / 500);
    OGRSpatialReference target = fixtures::spatialReference(
        {QStringLiteral("+proj=laea +lat_0=%1 +lon_0=%2 +datum=WGS84").arg(lat0).arg(lon0).toStdString()});
    ring->transformTo(&target);
    const double area = ring->toPolygon()->get_Area() / 1e6;
    OGRGeometryFactory::destroyGeometry(ring);
    return area;
}

}  // namespace

class TestGdalRasters : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase();
    void cleanupTestCase();
    void readsHeaders_data();
    void readsHeaders();
    void measuresWideExtents_data();
    void measuresWideExtents();
    void outputDimensions_data();
    void outputDimensions();
    void updateCoverage_data();
    void updateCoverage();

private:
    QString path(const QString& name) const { return directory.filePath(name); }
    QTemporaryDir directory;
};

void TestGdalRasters::initTestCase()
{
    QVERIFY(directory.isValid());
    // One UTM 33N tile in metres, US survey feet and kilometres; with a height system; in a
    // national grid with one; as sidecar text without a code.
    QVERIFY(fixtures::makeTile(path("utm.tif"), {"EPSG:32633"}, 500000, 5000000, 10, 100, 50));
    QVERIFY(fixtures::makeTile(path("utm feet.tif"), {"EPSG:32633", "US survey foot", 0.304800609601219}, 1640000,
                               16400000, 30, 100, 50));
    QVERIFY(fixtures::makeTile(path("utm km.tif"), {"EPSG:32633", "kilometre", 1000}, 500, 5000, 0.01, 100, 50));
    QVERIFY(fixtures::makeTile(path("utm height.tif"), {"EPSG:32633+5773"}, 500000, 5000000, 10, 100, 50));
    QVERIFY(fixtures::makeTile(path("norway height.tif"), {"EPSG:5972"}, 500000, 6600000, 10, 10, 10));
    QVERIFY(fixtures::makeTile(path("sidecar.tif"), {}, 500000, 5000000, 10, 100, 50));
    writeFile(path("sidecar.tif.aux.xml"),
              "<PAMDataset><SRS>" + QByteArray::fromStdString(withoutAuthority("EPSG:32633"))
                  + "</SRS></PAMDataset>\n");
    QVERIFY(fixtures::makeTile(path("laea.tif"), {withoutAuthority("EPSG:3035")}, 4000000, 3000000, 10, 20, 20));
    // A site grid no registry lists.
    const QString site = QString::fromStdString(withoutAuthority("EPSG:32633"))
                             .replace("\"central_meridian\",15", "\"central_meridian\",8.777");
    QVERIFY(fixtures::makeTile(path("site grid.tif"), {site.toStdString()}, 0, 100, 1, 20, 20));
    QVERIFY(fixtures::makeRaster(path("plain.tif"), 20, 10, {}, {}));
    QVERIFY(
        fixtures::makeRaster(path("rotated.tif"), 100, 50, {1000, cos30, -sin30, 2000, sin30, -cos30}, {"EPSG:32633"}));
    QVERIFY(fixtures::makeTile(path("Ortho Münster/Kachel Süd.tif"), {"EPSG:32633"}, 500000, 5000000, 10, 100, 50));
    // Headers only: the pixels are cut away, so a reader that decodes them fails.
    QVERIFY(fixtures::makeTile(path("truncated.tif"), {"EPSG:32633"}, 500000, 5000000, 10, 1000, 500));
    writeFile(path("truncated.tif"), readFile(path("truncated.tif")).left(4096));
    writeFile(path("update.wvc"), "WVC\x01 wavelet stream");
}

void TestGdalRasters::cleanupTestCase()
{
    CompressionUtilFactory::Shutdown();
}

void TestGdalRasters::readsHeaders_data()
{
    QTest::addColumn<QString>("file");
    QTest::addColumn<QString>("expected");
    const QString utm = QStringLiteral("extent 500000.00 4999500.00 501000.00 5000000.00 cell 10.00 -10.00 "
                                       "size 100x50 at 15.01 45.15");
    QTest::newRow("utm, metres") << "utm.tif"
                                 << "read 1 epsg 32633 " + utm;
    QTest::newRow("utm, US feet: no code of its own")
        << "utm feet.tif"
        << "read 1 epsg 0 extent 1640000.00 16398500.00 1643000.00 16400000.00 cell 30.00 "
           "-30.00 size 100x50 at nowhere";
    QTest::newRow("utm, kilometres: no code of its own")
        << "utm km.tif"
        << "read 1 epsg 0 extent 500.00 4999.50 501.00 5000.00 cell 0.01 -0.01 size 100x50 at nowhere";
    QTest::newRow("utm with heights") << "utm height.tif"
                                      << "read 1 epsg 32633 " + utm;
    QTest::newRow("national compound code")
        << "norway height.tif"
        << "read 1 epsg 25832 extent 500000.00 6599900.00 500100.00 6600000.00 cell 10.00 "
           "-10.00 size 10x10 at 9.00 59.54";
    QTest::newRow("utm in a sidecar, no code") << "sidecar.tif"
                                               << "read 1 epsg 32633 " + utm;
    QTest::newRow("national grid, no code")
        << "laea.tif"
        << "read 1 epsg 3035 extent 4000000.00 2999800.00 4000200.00 3000000.00 cell 10.00 -10.00 "
           "size 20x20 at 5.52 50.02";
    QTest::newRow("site grid") << "site grid.tif"
                               << "read 1 epsg 0 extent 0.00 80.00 20.00 100.00 cell 1.00 -1.00 size 20x20 at nowhere";
    QTest::newRow("no georeferencing")
        << "plain.tif"
        << "read 0 epsg 0 extent 0.00 0.00 0.00 0.00 cell 0.00 0.00 size 20x10 at nowhere";
    QTest::newRow("rotated: true ground cell")
        << "rotated.tif"
        << QStringLiteral("read 1 epsg 32633 extent %1 %2 %3 %4 cell 10.00 -10.00 size 100x50 at 10.52 0.02")
               .arg(pad(1000 - 50 * sin30), pad(2000 - 50 * cos30), pad(1000 + 100 * cos30), pad(2000 + 100 * sin30));
    QTest::newRow("missing") << "missing.tif"
                             << "Cannot open \"<path>\": the file does not exist";
    QTest::newRow("folder") << "Ortho Münster"
                            << "Cannot open \"<path>\": it is a folder, not a file";
    QTest::newRow("WVC without its plugin")
        << "update.wvc"
        << "Cannot open \"<path>\": `<path>' not recognized as a supported file format.";
    QTest::newRow("blanks and umlauts") << "Ortho Münster/Kachel Süd.tif"
                                        << "read 1 epsg 32633 " + utm;
    QTest::newRow("pixels missing") << "truncated.tif"
                                    << "read 1 epsg 32633 extent 500000.00 4995000.00 510000.00 5000000.00 cell 10.00 "
                                       "-10.00 size 1000x500 at 15.06 45.13";
}

void TestGdalRasters::readsHeaders()
{
    QFETCH(QString, file);
    QFETCH(QString, expected);
    // The UTF-8 and the wide form of a path are one key and are read alike; a dataset to be
    // mosaicked needs georeferencing.
    const std::map<TSR::CString, bool> keys{{TSR::CString(path(file).toUtf8().constData()), false},
                                            {TSR::CString(path(file).toStdWString()), true}};
    QCOMPARE(keys.size(), std::size_t(1));
    for (const bool mosaic : {false, true}) {
        DatasetMetadata metadata;
        int epsg = -1;
        QString result;
        try {
            const bool read = fixtures::makeUtil()->ReadDatasetMetadata(
                mosaic ? keys.begin()->first : TSR::CString(path(file).toUtf8().constData()), epsg, metadata, mosaic);
            QCOMPARE(epsg, metadata.EPSG);
            result = describe(read, epsg, metadata);
        } catch (const TSR::CRuntimeError& error) {
            result = QString::fromUtf8(error.what()).replace(path(file), QLatin1String("<path>"));
        }
        QCOMPARE(result,
                 mosaic && expected.startsWith("read 0") ? "\"<path>\" has no georeferencing and cannot be mosaicked."
                                                         : expected);
    }
}

void TestGdalRasters::measuresWideExtents_data()
{
    QTest::addColumn<int>("epsg");
    QTest::addColumn<QString>("override");
    QTest::addColumn<QVector<QRectF>>("boxes");  // in the reference; left, top as MinX, MinY
    QTest::addColumn<QRectF>("region");  // in EPSG 4326; null for none
    QTest::addColumn<double>("area");  // km²
    QTest::addColumn<QString>("geographic");  // box of the first in EPSG 4326
    const double mercator = 20037508.342789244;
    const double mercatorLatitude = 85.0511287798;
    const QRectF none;
    QTest::newRow("world, geographic") << 4326 << "" << QVector<QRectF>{{-180, -90, 360, 180}} << none
                                       << bandArea(-90, 90, -180, 180) << "-180.00 -90.00 180.00 90.00";
    QTest::newRow("world, web mercator") << 3857 << ""
                                         << QVector<QRectF>{{-mercator, -mercator, 2 * mercator, 2 * mercator}} << none
                                         << bandArea(-mercatorLatitude, mercatorLatitude, -180, 180)
                                         << "-180.00 -85.05 180.00 85.05";
    QTest::newRow("band of 60 degrees either side") << 4326 << "" << QVector<QRectF>{{-180, -60, 360, 120}} << none
                                                    << bandArea(-60, 60, -180, 180) << "-180.00 -60.00 180.00 60.00";
    QTest::newRow("polar, round the south pole")
        << 3031 << "" << QVector<QRectF>{{-1e6, -1e6, 2e6, 2e6}} << none
        << azimuthalArea(3031, {-1e6, -1e6, 2e6, 2e6}, -90, 0) << "-180.00 -90.00 180.00 -77.04";
    QTest::newRow("across the antimeridian")
        << 32660 << "" << QVector<QRectF>{{500000, 5500000, 300000, 200000}} << none
        << azimuthalArea(32660, {500000, 5500000, 300000, 200000}, 50.5, 179) << "177.00 49.58 181.31 51.45";
    QTest::newRow("overlap counts once") << 4326 << "" << QVector<QRectF>{{10, 45, 1, 1}, {10.5, 45, 1, 1}} << none
                                         << bandArea(45, 46, 10, 11.5) << "10.00 45.00 11.00 46.00";
    QVector<QRectF> ring;  // eight tiles round an empty one: the merged outline has a hole
    for (int i = 0; i < 9; ++i)
        if (i != 4)
            ring.append(QRectF(10 + i % 3, 45 + i / 3, 1, 1));
    QTest::newRow("tiles round a gap") << 4326 << "" << ring << none
                                       << bandArea(45, 48, 10, 13) - bandArea(46, 47, 11, 12)
                                       << "10.00 45.00 11.00 46.00";
    QTest::newRow("clipped to a region") << 4326 << "" << QVector<QRectF>{{10, 45, 1, 1}} << QRectF(10.25, 44, 0.5, 1.5)
                                         << bandArea(45, 45.5, 10.25, 10.75) << "10.00 45.00 11.00 46.00";
    QTest::newRow("override PROJ does not know")
        << 32633 << "EPSG:32699" << QVector<QRectF>{{500000, 4999500, 1000, 500}} << none << 0.0 << "nowhere";
    QTest::newRow("no reference") << 0 << "" << QVector<QRectF>{{10, 45, 1, 1}} << none << 0.0 << "nowhere";
}

void TestGdalRasters::measuresWideExtents()
{
    QFETCH(int, epsg);
    QFETCH(QString, override);
    QFETCH(QVector<QRectF>, boxes);
    QFETCH(QRectF, region);
    QFETCH(double, area);
    QFETCH(QString, geographic);
    auto util = fixtures::makeUtil();
    DatasetMetadataMap datasets;
    for (const QRectF& box : boxes) {
        DatasetMetadata& m = datasets[TSR::CString(QString::number(datasets.size()).toStdWString())];
        std::tie(m.MinX, m.MinY, m.MaxX, m.MaxY, m.EPSG) =
            std::make_tuple(box.left(), box.top(), box.right(), box.bottom(), epsg);
        m.EPSGOverride = TSR::CString(override.toStdWString());
    }
    const int placedBy = override.isEmpty() ? epsg : override.mid(5).toInt();
    double box[4];
    util->ReprojectExtent(datasets.begin()->second, placedBy, 4326, box[0], box[1], box[2], box[3]);
    QCOMPARE(box[0] < box[2] ? QStringLiteral("%1 %2 %3 %4").arg(pad(box[0]), pad(box[1]), pad(box[2]), pad(box[3]))
                             : QStringLiteral("nowhere"),
             geographic);

    ClipInfoPtr clip;
    if (!region.isNull()) {
        clip = std::make_shared<ExtractedFeatureClipInfo>();
        clip->CRS = CCRSIdentifier(4326);
        std::tie(clip->MinX, clip->MinY, clip->MaxX, clip->MaxY) =
            std::make_tuple(region.left(), region.top(), region.right(), region.bottom());
    }
    QVector<double> progress;
    double measured = -1;
    std::int32_t unit = 0;
    util->ComputeActiveArea(datasets, clip, measured, unit, [&](const double& value) {
        QCOMPARE(QThread::currentThread(), qApp->thread());
        progress << value;
    });
    QCOMPARE(unit, 1);
    QVERIFY2(area == 0 ? measured == 0 : qAbs(measured - area) / area < 0.005,
             qPrintable(QStringLiteral("%1 km² against %2 km²").arg(measured, 0, 'f').arg(area, 0, 'f')));
    QVERIFY(std::is_sorted(progress.begin(), progress.end()));
    QCOMPARE(progress.first(), 0.0);
    QCOMPARE(progress.last(), 100.0);
}

void TestGdalRasters::outputDimensions_data()
{
    QTest::addColumn<QStringList>("files");
    QTest::addColumn<QRectF>("region");  // left, top as MinX, MinY; null for none
    QTest::addColumn<QSizeF>("cell");  // 0 x 0 for the finest native one
    QTest::addColumn<QSize>("expected");
    // utm.tif: 500000..501000 x 4999500..5000000 at 10 m; utm east.tif 501000..502000 at 5 m.
    const QStringList pair{"utm.tif", "utm east.tif"};
    QTest::newRow("native: finest of the set") << pair << QRectF() << QSizeF(0, 0) << QSize(400, 100);
    QTest::newRow("given, negative y") << pair << QRectF() << QSizeF(20, -25) << QSize(100, 20);
    QTest::newRow("rounded up") << pair << QRectF() << QSizeF(3, 3) << QSize(667, 167);
    QTest::newRow("no rounding noise") << pair << QRectF() << QSizeF(0.1, 0.1) << QSize(20000, 5000);
    QTest::newRow("region") << pair << QRectF(500500, 4999600, 1000, 500) << QSizeF(0, 0) << QSize(200, 80);
    // 1000 m by 500 m turned by 30 degrees: a box of 1116 m by 933 m at 10 m.
    QTest::newRow("rotated") << QStringList{"rotated.tif"} << QRectF() << QSizeF(0, 0) << QSize(112, 94);
    QTest::newRow("no georeferencing") << QStringList{"plain.tif"} << QRectF() << QSizeF(0, 0) << QSize(0, 0);
}

void TestGdalRasters::outputDimensions()
{
    QFETCH(QStringList, files);
    QFETCH(QRectF, region);
    QFETCH(QSizeF, cell);
    QFETCH(QSize, expected);
    if (!QFile::exists(path("utm east.tif")))
        QVERIFY(fixtures::makeTile(path("utm east.tif"), {"EPSG:32633"}, 501000, 5000000, 5, 200, 100));
    auto util = fixtures::makeUtil();
    DatasetMetadataMap datasets;
    for (const QString& file : files) {
        int epsg = -1;
        util->ReadDatasetMetadata(TSR::CString(path(file).toStdWString()), epsg,
                                  datasets[TSR::CString(path(file).toStdWString())], false);
    }
    std::uint32_t width = 1, height = 1;
    util->ComputeOutputDimensions(datasets, region.left(), region.top(), region.right(), region.bottom(), cell.width(),
                                  cell.height(), width, height, nullptr);
    QCOMPARE(QSize(int(width), int(height)), expected);
}

void TestGdalRasters::updateCoverage_data()
{
    QTest::addColumn<QString>("target");
    QTest::addColumn<QStringList>("inputs");
    QTest::addColumn<QString>("expected");  // the share, or the error's text
    QTest::newRow("half, twice") << "utm.tif" << QStringList{"west half.tif", "west half.tif"} << "0.50";
    QTest::newRow("in another reference") << "utm.tif" << QStringList{"wide geographic.tif"} << "1.00";
    QTest::newRow("JPEG 2000 target") << "target.jp2" << QStringList{"west half.tif"} << "0.50";
    QTest::newRow("WVC target, no plugin")
        << "update.wvc" << QStringList{"utm.tif"}
        << "The format of \"%1\" cannot be read on this system: no installed GDAL driver recognises it. Reading it "
           "needs the WVC driver plugin for GDAL, installed in GDAL's plugin folder.";
}

void TestGdalRasters::updateCoverage()
{
    QFETCH(QString, target);
    QFETCH(QStringList, inputs);
    QFETCH(QString, expected);
    if (!QFile::exists(path("target.jp2"))) {
        QVERIFY(fixtures::makeTile(path("west half.tif"), {"EPSG:32633"}, 500000, 5000000, 10, 50, 50));
        QVERIFY(fixtures::makeTile(path("wide geographic.tif"), {"EPSG:4326"}, 14, 46, 0.5, 4, 4));
        QVERIFY(fixtures::makeRaster(path("target.jp2"), 100, 50, {500000, 10, 0, 5000000, 0, -10}, {"EPSG:32633"},
                                     "JP2OpenJPEG"));
    }
    std::vector<TSR::CString> paths;
    for (const QString& input : inputs)
        paths.push_back(TSR::CString(path(input).toStdWString()));
    double coverage = -1;
    try {
        fixtures::makeUtil()->ComputeUpdateCoverage(paths, TSR::CString(path(target).toStdWString()), coverage,
                                                    nullptr);
        QCOMPARE(pad(coverage), expected);
    } catch (const TSR::CRuntimeError& error) {
        QCOMPARE(QString::fromUtf8(error.what()), expected.arg(path(target)));
    }
}

QTEST_GUILESS_MAIN(TestGdalRasters)
#include "tst_gdalrasters.moc"
