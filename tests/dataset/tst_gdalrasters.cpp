#include <QFile>
#include <QTemporaryDir>
#include <QThread>
#include <QtTest>

#include <cmath>
#include <unistd.h>

#include "tests/dataset/fixtures.h"
#include "wizard/dataset/compressionutilfactory.h"
#include "wizard/dataset/icompressionutil.h"

using namespace TSR::ImageCompressor::API;

namespace {

constexpr double earthRadius = 6378137.0;  // of the spherical web Mercator

// WGS 84 / UTM zone 33N written out without any authority, as a .prj often comes.
const char* utm33WithoutAuthority =
    "PROJCS[\"UTM 33 north on WGS 84\",GEOGCS[\"WGS 84\",DATUM[\"WGS_1984\","
    "SPHEROID[\"WGS 84\",6378137,298.257223563]],PRIMEM[\"Greenwich\",0],"
    "UNIT[\"degree\",0.0174532925199433]],PROJECTION[\"Transverse_Mercator\"],"
    "PARAMETER[\"latitude_of_origin\",0],PARAMETER[\"central_meridian\",15],"
    "PARAMETER[\"scale_factor\",0.9996],PARAMETER[\"false_easting\",500000],"
    "PARAMETER[\"false_northing\",0],UNIT[\"metre\",1]]";

const char* geographicWithoutAuthority =
    "GEOGCS[\"GCS_WGS_1984\",DATUM[\"D_WGS_1984\",SPHEROID[\"WGS_1984\",6378137,298.257223563]],"
    "PRIMEM[\"Greenwich\",0],UNIT[\"Degree\",0.0174532925199433]]";

// The European equal-area grid (EPSG 3035) without authority. GeoTIFF keeps it as user-defined
// keys, since only UTM zones are recognised on writing.
const char* laeaWithoutAuthority =
    "PROJCS[\"ETRS89-extended / LAEA Europe\",GEOGCS[\"ETRS89\","
    "DATUM[\"European_Terrestrial_Reference_System_1989\",SPHEROID[\"GRS 1980\",6378137,298.257222101]],"
    "PRIMEM[\"Greenwich\",0],UNIT[\"degree\",0.0174532925199433]],"
    "PROJECTION[\"Lambert_Azimuthal_Equal_Area\"],PARAMETER[\"latitude_of_center\",52],"
    "PARAMETER[\"longitude_of_center\",10],PARAMETER[\"false_easting\",4321000],"
    "PARAMETER[\"false_northing\",3210000],UNIT[\"metre\",1]]";

// A projection no registry lists.
const char* customProjection =
    "PROJCS[\"Site grid\",GEOGCS[\"WGS 84\",DATUM[\"WGS_1984\","
    "SPHEROID[\"WGS 84\",6378137,298.257223563]],PRIMEM[\"Greenwich\",0],"
    "UNIT[\"degree\",0.0174532925199433]],PROJECTION[\"Transverse_Mercator\"],"
    "PARAMETER[\"latitude_of_origin\",47.123],PARAMETER[\"central_meridian\",8.777],"
    "PARAMETER[\"scale_factor\",1.000123],PARAMETER[\"false_easting\",12345],"
    "PARAMETER[\"false_northing\",678],UNIT[\"metre\",1]]";

// Area on the WGS 84 ellipsoid between two parallels and two meridians, in square kilometres.
double quadrangleArea(double west, double south, double east, double north)
{
    const double a = 6378137.0;
    const double f = 1.0 / 298.257223563;
    const double e2 = f * (2.0 - f);
    const double e = std::sqrt(e2);
    const auto q = [&](double latitude) {
        const double s = std::sin(latitude * M_PI / 180.0);
        return (1.0 - e2) * (s / (1.0 - e2 * s * s) - std::log((1.0 - e * s) / (1.0 + e * s)) / (2.0 * e));
    };
    return a * a / 2.0 * (east - west) * M_PI / 180.0 * (q(north) - q(south)) / 1e6;
}

double mercatorX(double longitude)
{
    return earthRadius * longitude * M_PI / 180.0;
}

double mercatorY(double latitude)
{
    return earthRadius * std::log(std::tan(M_PI / 4.0 + latitude * M_PI / 360.0));
}

DatasetMetadata record(double minX, double minY, double maxX, double maxY, int epsg,
                       double cellX = 1.0, double cellY = -1.0)
{
    DatasetMetadata metadata;
    metadata.MinX = minX;
    metadata.MinY = minY;
    metadata.MaxX = maxX;
    metadata.MaxY = maxY;
    metadata.EPSG = epsg;
    metadata.CellSizeX = cellX;
    metadata.CellSizeY = cellY;
    return metadata;
}

std::shared_ptr<ICompressionUtil> makeUtil()
{
    auto factory = std::make_shared<CompressionUtilFactory>();
    std::shared_ptr<ICompressionUtil> util;
    factory->GetCompressionUtil(util);
    return util;
}

// Checks what every long call promises of its progress reports.
struct ProgressLog {
    QVector<double> values;
    bool offThread = false;
    void add(double value)
    {
        values.append(value);
        offThread = offThread || QThread::currentThread() != qApp->thread();
    }
    bool risesFromZeroToHundred() const
    {
        if (values.isEmpty() || values.first() != 0.0 || values.last() != 100.0 || offThread)
            return false;
        for (int i = 1; i < values.size(); ++i) {
            if (values[i] < values[i - 1])
                return false;
        }
        return true;
    }
};

}  // namespace

class TestGdalRasters : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase();
    void cleanupTestCase();
    void readsHeader_data();
    void readsHeader();
    void epsgDetection_data();
    void epsgDetection();
    void withoutGeoreferencing();
    void truncatedFileReadsWithoutPixels();
    void unreadableFilesThrow_data();
    void unreadableFilesThrow();
    void blanksAndNonAsciiInPath();
    void reprojectPoints_data();
    void reprojectPoints();
    void reprojectExtentFollowsCurvedEdges();
    void reprojectExtentAtPoleAndAntimeridian();
    void reprojectExtentOfUnknownReference();
    void outputDimensions_data();
    void outputDimensions();
    void activeArea_data();
    void activeArea();
    void updateCoverage_data();
    void updateCoverage();
    void progressRisesOnCallingThread();

private:
    QString path(const QString& name) const { return directory.filePath(name); }
    QTemporaryDir directory;
};

void TestGdalRasters::initTestCase()
{
    QVERIFY(directory.isValid());
    fixtures::registerDrivers();
    QVERIFY(fixtures::makeTile(path("utm.tif"), 32633, 500000, 5000000, 10, 100, 50));
    QVERIFY(fixtures::makeTile(path("utm east.tif"), 32633, 501000, 5000000, 5, 200, 100));
    QVERIFY(fixtures::makeTile(path("geo.tif"), 4326, 10, 46, 0.01, 100, 100));
    QVERIFY(fixtures::makeTiff(path("laea.tif"), 20, 20, {4000000, 10, 0, 3000000, 0, -10}, 0,
                               laeaWithoutAuthority));
    // GeoTIFF would turn the UTM definition into its EPSG number on writing; a sidecar keeps it
    // as the user gave it.
    const auto withSidecar = [this](const QString& name, const QByteArray& wkt) {
        QFile sidecar(path(name + QStringLiteral(".aux.xml")));
        return fixtures::makeTiff(path(name), 20, 20, {500000, 10, 0, 5000000, 0, -10}, 0)
            && sidecar.open(QIODevice::WriteOnly)
            && sidecar.write("<PAMDataset><SRS>" + wkt + "</SRS></PAMDataset>\n") > 0;
    };
    QVERIFY(withSidecar(QStringLiteral("sidecar.tif"), utm33WithoutAuthority));
    QVERIFY(withSidecar(QStringLiteral("geographic sidecar.tif"), geographicWithoutAuthority));
    QVERIFY(fixtures::makeTiff(path("custom.tif"), 20, 20, {0, 1, 0, 100, 0, -1}, 0, customProjection));
    QVERIFY(fixtures::makeTiff(path("plain.tif"), 20, 10, {}, 0, std::string(), false));
    // Rotated by 30 degrees: pixel columns run east-north-east.
    const double c = std::cos(M_PI / 6.0) * 10.0;
    const double s = std::sin(M_PI / 6.0) * 10.0;
    QVERIFY(fixtures::makeTiff(path("rotated.tif"), 10, 10, {1000, c, -s, 2000, s, -c}, 32633));
    QVERIFY(fixtures::makeTiff(path("southup.tif"), 10, 10, {0, 2, 0, 100, 0, 2}, 32633));
}

void TestGdalRasters::cleanupTestCase()
{
    CompressionUtilFactory::Shutdown();
}

void TestGdalRasters::readsHeader_data()
{
    QTest::addColumn<QString>("file");
    QTest::addColumn<QRectF>("extent");  // left, top as MinX, MinY
    QTest::addColumn<double>("cellX");
    QTest::addColumn<double>("cellY");
    QTest::addColumn<int>("epsg");
    const double c = std::cos(M_PI / 6.0) * 10.0;
    const double s = std::sin(M_PI / 6.0) * 10.0;
    QTest::newRow("utm north-up") << "utm.tif" << QRectF(QPointF(500000, 4999500), QPointF(501000, 5000000))
                                  << 10.0 << -10.0 << 32633;
    QTest::newRow("geographic") << "geo.tif" << QRectF(QPointF(10, 45), QPointF(11, 46)) << 0.01 << -0.01
                                << 4326;
    QTest::newRow("rotated") << "rotated.tif"
                             << QRectF(QPointF(1000 - 10 * s, 2000 - 10 * c), QPointF(1000 + 10 * c, 2000 + 10 * s))
                             << c << -c << 32633;
    QTest::newRow("south-up") << "southup.tif" << QRectF(QPointF(0, 100), QPointF(20, 120)) << 2.0 << 2.0
                              << 32633;
}

void TestGdalRasters::readsHeader()
{
    QFETCH(QString, file);
    QFETCH(QRectF, extent);
    QFETCH(double, cellX);
    QFETCH(double, cellY);
    QFETCH(int, epsg);
    DatasetMetadata metadata;
    int detected = -1;
    QVERIFY(makeUtil()->ReadDatasetMetadata(TSR::CString(path(file).toUtf8().constData()), detected,
                                            metadata, true));
    QCOMPARE(detected, epsg);
    QCOMPARE(metadata.EPSG, epsg);
    QVERIFY(qAbs(metadata.MinX - extent.left()) < 1e-9);
    QVERIFY(qAbs(metadata.MinY - extent.top()) < 1e-9);
    QVERIFY(qAbs(metadata.MaxX - extent.right()) < 1e-9);
    QVERIFY(qAbs(metadata.MaxY - extent.bottom()) < 1e-9);
    QVERIFY(qAbs(metadata.CellSizeX - cellX) < 1e-12);
    QVERIFY(qAbs(metadata.CellSizeY - cellY) < 1e-12);
}

void TestGdalRasters::epsgDetection_data()
{
    QTest::addColumn<QString>("file");
    QTest::addColumn<int>("epsg");
    QTest::newRow("authority code") << "utm.tif" << 32633;
    QTest::newRow("identified in the file") << "laea.tif" << 3035;
    QTest::newRow("identified in a sidecar") << "sidecar.tif" << 32633;
    QTest::newRow("geographic in a sidecar") << "geographic sidecar.tif" << 4326;
    QTest::newRow("no match") << "custom.tif" << 0;
    QTest::newRow("no reference") << "plain.tif" << 0;
}

void TestGdalRasters::epsgDetection()
{
    QFETCH(QString, file);
    QFETCH(int, epsg);
    DatasetMetadata metadata;
    int detected = -1;
    makeUtil()->ReadDatasetMetadata(TSR::CString(path(file).toStdWString()), detected, metadata, false);
    QCOMPARE(detected, epsg);
}

void TestGdalRasters::withoutGeoreferencing()
{
    auto util = makeUtil();
    const TSR::CString file(path("plain.tif").toStdWString());
    DatasetMetadata metadata;
    int epsg = -1;
    QVERIFY(!util->ReadDatasetMetadata(file, epsg, metadata, false));
    QCOMPARE(epsg, 0);
    QCOMPARE(metadata.RasterWidth, std::int64_t(20));
    QCOMPARE(metadata.RasterHeight, std::int64_t(10));
    QVERIFY(!(metadata.MinX < metadata.MaxX));

    try {
        DatasetMetadata again;
        util->ReadDatasetMetadata(file, epsg, again, true);
        QFAIL("a dataset to be mosaicked needs georeferencing");
    } catch (const TSR::CRuntimeError& error) {
        const QString text = QString::fromUtf8(error.what());
        QVERIFY2(text.contains(path("plain.tif")), qPrintable(text));
        QVERIFY2(text.contains(QStringLiteral("has no georeferencing and cannot be mosaicked")), qPrintable(text));
    }
}

void TestGdalRasters::truncatedFileReadsWithoutPixels()
{
    const QString file = path("truncated.tif");
    QVERIFY(fixtures::makeTile(file, 32633, 600000, 5100000, 1, 512, 512));
    QFile tiff(file);
    QVERIFY(tiff.open(QIODevice::ReadWrite));
    const QByteArray head = tiff.read(8);
    const quint32 directoryOffset = quint32(uchar(head[4])) | quint32(uchar(head[5])) << 8
        | quint32(uchar(head[6])) << 16 | quint32(uchar(head[7])) << 24;
    const qint64 cut = 4096;
    QVERIFY2(directoryOffset < cut - 512, "the fixture needs its header at the start of the file");
    QVERIFY(tiff.resize(cut));
    tiff.close();

    DatasetMetadata metadata;
    int epsg = -1;
    QVERIFY(makeUtil()->ReadDatasetMetadata(TSR::CString(file.toUtf8().constData()), epsg, metadata, true));
    QCOMPARE(epsg, 32633);
    QCOMPARE(metadata.MaxX, 600512.0);
    QCOMPARE(metadata.MinY, 5100000.0 - 512);

    // The pixels really are gone: had the read touched them, it would have failed.
    CPLPushErrorHandler(CPLQuietErrorHandler);
    GDALDataset* dataset = GDALDataset::Open(file.toUtf8().constData(), GDAL_OF_RASTER);
    QVERIFY(dataset);
    std::vector<GByte> pixels(512 * 512);
    const CPLErr read = dataset->GetRasterBand(1)->RasterIO(GF_Read, 0, 0, 512, 512, pixels.data(), 512,
                                                            512, GDT_Byte, 0, 0);
    GDALClose(dataset);
    CPLPopErrorHandler();
    QCOMPARE(read, CE_Failure);
}

void TestGdalRasters::unreadableFilesThrow_data()
{
    QTest::addColumn<QString>("file");
    QTest::addColumn<QByteArray>("content");  // written unless empty
    QTest::addColumn<QString>("reason");
    QTest::newRow("missing") << "missing.tif" << QByteArray() << "does not exist";
    QTest::newRow("text with a raster suffix") << "notes.tif" << QByteArray("just some notes\n") << "";
    QTest::newRow("vector data with a raster suffix")
        << "shapes.tif"
        << QByteArray("{\"type\":\"FeatureCollection\",\"features\":[{\"type\":\"Feature\",\"properties\":{},"
                      "\"geometry\":{\"type\":\"Point\",\"coordinates\":[1,2]}}]}")
        << "";
    QTest::newRow("broken tiff") << "broken.tif" << QByteArray("II*\0\x10\0\0\0garbage", 16) << "";
    QTest::newRow("folder") << "folder.tif" << QByteArray() << "folder";
    QTest::newRow("permission denied") << "locked.tif" << QByteArray("II*\0") << "permission denied";
}

void TestGdalRasters::unreadableFilesThrow()
{
    QFETCH(QString, file);
    QFETCH(QByteArray, content);
    QFETCH(QString, reason);
    const QString fullPath = path(file);
    if (file == QLatin1String("folder.tif"))
        QVERIFY(QDir().mkpath(fullPath));
    if (!content.isEmpty()) {
        QFile out(fullPath);
        QVERIFY(out.open(QIODevice::WriteOnly));
        out.write(content);
    }
    if (file == QLatin1String("locked.tif")) {
        if (geteuid() == 0)
            QSKIP("permissions do not bind the superuser");
        QVERIFY(QFile::setPermissions(fullPath, QFileDevice::WriteOwner));
    }
    DatasetMetadata metadata;
    int epsg = -1;
    try {
        makeUtil()->ReadDatasetMetadata(TSR::CString(fullPath.toStdWString()), epsg, metadata, false);
        QFAIL("the file cannot be read as a raster");
    } catch (const TSR::CRuntimeError& error) {
        const QString text = QString::fromUtf8(error.what());
        QVERIFY2(text.contains(fullPath), qPrintable(text));
        QVERIFY2(text.contains(reason), qPrintable(text));
        QVERIFY2(text.length() > fullPath.length() + 20, qPrintable(text));
    }
}

void TestGdalRasters::blanksAndNonAsciiInPath()
{
    const QString folder = path(QStringLiteral("Ortho Münster ø"));
    QVERIFY(QDir().mkpath(folder));
    const QString file = folder + QStringLiteral("/Kachel Süd 1.tif");
    QVERIFY(fixtures::makeTile(file, 32633, 500000, 5000000, 10, 10, 10));
    auto util = makeUtil();
    DatasetScanResult scan;
    for (const TSR::CString& key : {TSR::CString(file.toUtf8().constData()), TSR::CString(file.toStdWString())}) {
        DatasetMetadata metadata;
        int epsg = -1;
        QVERIFY(util->ReadDatasetMetadata(key, epsg, metadata, true));
        QCOMPARE(epsg, 32633);
        scan.Datasets[key] = metadata;
    }
    QCOMPARE(scan.Datasets.size(), std::size_t(1));
    QCOMPARE(QString::fromUtf8(scan.Datasets.begin()->first.utf8_str()), file);
}

void TestGdalRasters::reprojectPoints_data()
{
    QTest::addColumn<int>("source");
    QTest::addColumn<QPointF>("point");
    QTest::addColumn<QPointF>("expected");  // longitude, latitude
    QTest::newRow("utm central meridian at the equator") << 32633 << QPointF(500000, 0) << QPointF(15, 0);
    const double x = mercatorX(13.404954);
    const double y = mercatorY(52.520008);
    QTest::newRow("web mercator") << 3857 << QPointF(x, y) << QPointF(13.404954, 52.520008);
    QTest::newRow("web mercator south west") << 3857 << QPointF(mercatorX(-70.5), mercatorY(-33.25))
                                             << QPointF(-70.5, -33.25);
    QTest::newRow("identity") << 4326 << QPointF(7.5, 47.25) << QPointF(7.5, 47.25);
}

void TestGdalRasters::reprojectPoints()
{
    QFETCH(int, source);
    QFETCH(QPointF, point);
    QFETCH(QPointF, expected);
    Ring result;
    makeUtil()->ReprojectPoints({{point.x(), point.y()}, {point.x(), point.y()}}, source, 4326, result);
    QCOMPARE(result.size(), std::size_t(2));
    QVERIFY2(qAbs(result[0].X - expected.x()) < 1e-6, qPrintable(QString::number(result[0].X, 'f', 9)));
    QVERIFY2(qAbs(result[0].Y - expected.y()) < 1e-6, qPrintable(QString::number(result[0].Y, 'f', 9)));
}

void TestGdalRasters::reprojectExtentFollowsCurvedEdges()
{
    auto util = makeUtil();
    // A wide UTM tile: its top edge, a straight line of constant northing, bulges north at the
    // central meridian, so the corners alone would give too small a box.
    const DatasetMetadata tile = record(300000, 5000000, 700000, 5100000, 32633);
    double minX, minY, maxX, maxY;
    util->ReprojectExtent(tile, 32633, 4326, minX, minY, maxX, maxY);
    Ring corners;
    util->ReprojectPoints({{300000, 5100000}, {700000, 5100000}, {500000, 5100000}, {300000, 5000000}},
                          32633, 4326, corners);
    QCOMPARE(corners.size(), std::size_t(4));
    QVERIFY(maxY > corners[0].Y + 0.01);
    QVERIFY(qAbs(maxY - corners[2].Y) < 1e-6);
    // Meridians converge northwards, so the west edge reaches furthest west at its top.
    QVERIFY(qAbs(minX - corners[0].X) < 1e-6);
    QVERIFY(minX < corners[3].X);
    QVERIFY(minX < 15.0 && maxX > 15.0);

    // In web Mercator straight edges stay straight, so the box is exact.
    const DatasetMetadata mercator = record(mercatorX(10), mercatorY(45), mercatorX(11), mercatorY(46), 3857);
    util->ReprojectExtent(mercator, 3857, 4326, minX, minY, maxX, maxY);
    QVERIFY(qAbs(minX - 10) < 1e-6 && qAbs(minY - 45) < 1e-6);
    QVERIFY(qAbs(maxX - 11) < 1e-6 && qAbs(maxY - 46) < 1e-6);
}

void TestGdalRasters::reprojectExtentAtPoleAndAntimeridian()
{
    auto util = makeUtil();
    double minX, minY, maxX, maxY;
    // The south pole lies inside this polar tile but on none of its edges.
    util->ReprojectExtent(record(-100000, -100000, 100000, 100000, 3031), 3031, 4326, minX, minY, maxX, maxY);
    QVERIFY2(qAbs(minY + 90.0) < 1e-6, qPrintable(QString::number(minY, 'f', 9)));
    QVERIFY(maxY > -89.5 && maxY < -88.0);
    QCOMPARE(minX, -180.0);
    QCOMPARE(maxX, 180.0);

    // West of UTM zone 1 lies the other side of the antimeridian: the box spans the world rather
    // than turning inside out.
    util->ReprojectExtent(record(100000, 5000000, 300000, 5100000, 32601), 32601, 4326, minX, minY, maxX, maxY);
    QCOMPARE(minX, -180.0);
    QCOMPARE(maxX, 180.0);
    QVERIFY(minY > 44.0 && maxY < 47.0);
}

void TestGdalRasters::reprojectExtentOfUnknownReference()
{
    auto util = makeUtil();
    double box[4] = {1, 2, 3, 4};
    util->ReprojectExtent(record(0, 0, 10, 10, 0), 0, 4326, box[0], box[1], box[2], box[3]);
    QVERIFY(!(box[0] < box[2]));
    util->ReprojectExtent(record(0, 0, 10, 10, -1), -1, 4326, box[0], box[1], box[2], box[3]);
    QVERIFY(!(box[0] < box[2]));
    QVERIFY_EXCEPTION_THROWN(
        util->ReprojectExtent(record(0, 0, 10, 10, 999999), 999999, 4326, box[0], box[1], box[2], box[3]),
        TSR::CRuntimeError);
}

void TestGdalRasters::outputDimensions_data()
{
    QTest::addColumn<QRectF>("region");
    QTest::addColumn<double>("cellX");
    QTest::addColumn<double>("cellY");
    QTest::addColumn<uint>("width");
    QTest::addColumn<uint>("height");
    // Two tiles side by side: 500000..501000 at 10 m and 501000..502000 at 5 m, 4999500..5000000.
    const QRectF none(0, 0, 0, 0);
    QTest::newRow("native: finest of the set") << none << 0.0 << 0.0 << 400u << 100u;
    QTest::newRow("given") << none << 20.0 << 20.0 << 100u << 25u;
    QTest::newRow("given, negative y") << none << 20.0 << -25.0 << 100u << 20u;
    QTest::newRow("rounded up") << none << 3.0 << 3.0 << 667u << 167u;
    QTest::newRow("no rounding noise") << none << 0.1 << 0.1 << 20000u << 5000u;
    QTest::newRow("region") << QRectF(QPointF(500500, 4999600), QPointF(501500, 5000100)) << 0.0 << 0.0
                            << 200u << 80u;
    QTest::newRow("region apart") << QRectF(QPointF(0, 0), QPointF(10, 10)) << 0.0 << 0.0 << 0u << 0u;
}

void TestGdalRasters::outputDimensions()
{
    QFETCH(QRectF, region);
    QFETCH(double, cellX);
    QFETCH(double, cellY);
    QFETCH(uint, width);
    QFETCH(uint, height);
    DatasetMetadataMap datasets;
    datasets[TSR::CString("/a.tif")] = record(500000, 4999500, 501000, 5000000, 32633, 10, -10);
    datasets[TSR::CString("/b.tif")] = record(501000, 4999500, 502000, 5000000, 32633, 5, -5);
    datasets[TSR::CString("/unplaced.tif")] = DatasetMetadata();
    std::uint32_t columns = 1;
    std::uint32_t rows = 1;
    makeUtil()->ComputeOutputDimensions(datasets, region.left(), region.top(), region.right(),
                                        region.bottom(), cellX, cellY, columns, rows, nullptr);
    QCOMPARE(uint(columns), width);
    QCOMPARE(uint(rows), height);
}

void TestGdalRasters::activeArea_data()
{
    QTest::addColumn<QVector<QRectF>>("tiles");  // geographic boxes
    QTest::addColumn<int>("epsg");                // the reference the tiles are written in
    QTest::addColumn<QRectF>("region");           // geographic; null for none
    QTest::addColumn<double>("expected");         // square kilometres
    const QRectF none;
    const double single = quadrangleArea(10, 45, 11, 46);
    QTest::newRow("one degree tile") << QVector<QRectF>{QRectF(QPointF(10, 45), QPointF(11, 46))} << 4326
                                     << none << single;
    QTest::newRow("overlap counts once")
        << QVector<QRectF>{QRectF(QPointF(10, 45), QPointF(11, 46)), QRectF(QPointF(10.5, 45), QPointF(11.5, 46))}
        << 4326 << none << quadrangleArea(10, 45, 11.5, 46);
    QTest::newRow("projected tile") << QVector<QRectF>{QRectF(QPointF(10, 45), QPointF(11, 46))} << 3857
                                    << none << single;
    QTest::newRow("far north") << QVector<QRectF>{QRectF(QPointF(20, 70), QPointF(25, 72))} << 4326 << none
                               << quadrangleArea(20, 70, 25, 72);
    QTest::newRow("clipped to a region")
        << QVector<QRectF>{QRectF(QPointF(10, 45), QPointF(11, 46))} << 4326
        << QRectF(QPointF(10.25, 44), QPointF(10.75, 45.5)) << quadrangleArea(10.25, 45, 10.75, 45.5);
    QTest::newRow("region apart") << QVector<QRectF>{QRectF(QPointF(10, 45), QPointF(11, 46))} << 4326
                                  << QRectF(QPointF(30, 0), QPointF(31, 1)) << 0.0;
    QTest::newRow("unknown reference") << QVector<QRectF>{QRectF(QPointF(10, 45), QPointF(11, 46))} << 0
                                       << none << 0.0;
}

void TestGdalRasters::activeArea()
{
    QFETCH(QVector<QRectF>, tiles);
    QFETCH(int, epsg);
    QFETCH(QRectF, region);
    QFETCH(double, expected);
    DatasetMetadataMap datasets;
    for (int i = 0; i < tiles.size(); ++i) {
        const QRectF& t = tiles[i];
        datasets[TSR::CString(("/tile" + std::to_string(i) + ".tif").c_str())] = epsg == 3857
            ? record(mercatorX(t.left()), mercatorY(t.top()), mercatorX(t.right()), mercatorY(t.bottom()), epsg)
            : record(t.left(), t.top(), t.right(), t.bottom(), epsg);
    }
    ClipInfoPtr clip;
    if (!region.isNull()) {
        clip = std::make_shared<ExtractedFeatureClipInfo>();
        clip->CRS = CCRSIdentifier(4326);
        clip->MinX = region.left();
        clip->MinY = region.top();
        clip->MaxX = region.right();
        clip->MaxY = region.bottom();
    }
    double area = -1;
    std::int32_t unit = 0;
    makeUtil()->ComputeActiveArea(datasets, clip, area, unit, nullptr);
    QCOMPARE(unit, 1);
    if (expected == 0.0)
        QCOMPARE(area, 0.0);
    else
        QVERIFY2(qAbs(area - expected) / expected < 0.005,
                 qPrintable(QStringLiteral("%1 km² against %2 km²").arg(area).arg(expected)));
}

void TestGdalRasters::updateCoverage_data()
{
    QTest::addColumn<QStringList>("inputs");
    QTest::addColumn<double>("expected");
    // The update file is utm.tif: 500000..501000 x 4999500..5000000 in UTM 33N.
    QTest::newRow("apart") << QStringList{"utm east.tif"} << 0.0;
    QTest::newRow("half") << QStringList{"west half.tif"} << 0.5;
    QTest::newRow("half twice counts once") << QStringList{"west half.tif", "west half.tif"} << 0.5;
    QTest::newRow("whole") << QStringList{"utm.tif"} << 1.0;
    QTest::newRow("in another reference") << QStringList{"wide geographic.tif"} << 1.0;
}

void TestGdalRasters::updateCoverage()
{
    QFETCH(QStringList, inputs);
    QFETCH(double, expected);
    if (!QFile::exists(path("west half.tif"))) {
        QVERIFY(fixtures::makeTile(path("west half.tif"), 32633, 500000, 5000000, 10, 50, 50));
        QVERIFY(fixtures::makeTile(path("wide geographic.tif"), 4326, 14, 46, 0.5, 4, 4));
    }
    std::vector<TSR::CString> paths;
    for (const QString& input : inputs)
        paths.push_back(TSR::CString(path(input).toStdWString()));
    double coverage = -1;
    makeUtil()->ComputeUpdateCoverage(paths, TSR::CString(path("utm.tif").toStdWString()), coverage, nullptr);
    QVERIFY2(qAbs(coverage - expected) < 1e-6, qPrintable(QString::number(coverage)));
}

void TestGdalRasters::progressRisesOnCallingThread()
{
    auto util = makeUtil();
    DatasetMetadataMap datasets;
    for (int i = 0; i < 5; ++i)
        datasets[TSR::CString(("/t" + std::to_string(i)).c_str())] = record(i, 45, i + 1, 46, 4326, 0.01, -0.01);

    ProgressLog dimensions;
    std::uint32_t width = 0, height = 0;
    util->ComputeOutputDimensions(datasets, 0, 0, 0, 0, 0, 0, width, height,
                                  [&](const double& value) { dimensions.add(value); });
    QVERIFY(dimensions.risesFromZeroToHundred());
    QCOMPARE(width, 500u);

    ProgressLog area;
    double squareKilometres = 0;
    std::int32_t unit = 0;
    util->ComputeActiveArea(datasets, nullptr, squareKilometres, unit,
                            [&](const double& value) { area.add(value); });
    QVERIFY(area.risesFromZeroToHundred());
    QVERIFY(area.values.size() > 5);

    ProgressLog coverage;
    double share = 0;
    util->ComputeUpdateCoverage({TSR::CString(path("utm.tif").toStdWString())},
                                TSR::CString(path("utm.tif").toStdWString()), share,
                                [&](const ScanProgress& value) { coverage.add(value.Percent); });
    QVERIFY(coverage.risesFromZeroToHundred());
}

QTEST_GUILESS_MAIN(TestGdalRasters)
#include "tst_gdalrasters.moc"
