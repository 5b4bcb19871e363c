#include <QListWidget>
#include <QTemporaryDir>
#include <QtTest>
#include <gdal_priv.h>
#include <ogr_spatialref.h>

#include "map/geomapview.h"
#include "map/geoview/qgvmap.h"
#include "map/geoviewrectangle.h"

using Tessara::GeoMap::GeoMapView;
using Tessara::GeoMap::GeoViewRectangle;
namespace API = TSR::ImageCompressor::API;

namespace {

// A small north-up GeoTIFF covering the box, in the given reference.
bool writeGeoTiff(const QString& path, int epsg, double minX, double minY, double maxX, double maxY)
{
    GDALAllRegister();
    GDALDriver* driver = GetGDALDriverManager()->GetDriverByName("GTiff");
    if (!driver)
        return false;
    constexpr int size = 16;
    GDALDataset* dataset = driver->Create(path.toUtf8().constData(), size, size, 1, GDT_Byte, nullptr);
    if (!dataset)
        return false;
    double transform[6] = {minX, (maxX - minX) / size, 0, maxY, 0, -(maxY - minY) / size};
    dataset->SetGeoTransform(transform);
    OGRSpatialReference reference;
    reference.importFromEPSG(epsg);
    dataset->SetSpatialRef(&reference);
    GDALClose(dataset);
    return true;
}

}  // namespace

// Places datasets of two references on the map through the real dataset library.
class TestGeoMapGdal : public QObject
{
    Q_OBJECT

private slots:
    void cleanupTestCase();
    void placesDatasetsOfTwoReferences();
};

void TestGeoMapGdal::cleanupTestCase()
{
    API::CompressionUtilFactory::Shutdown();
}

void TestGeoMapGdal::placesDatasetsOfTwoReferences()
{
    QTemporaryDir dir;
    const QString geographic = dir.filePath(QStringLiteral("geographic.tif"));
    const QString utm = dir.filePath(QStringLiteral("utm 33n.tif"));
    QVERIFY(writeGeoTiff(geographic, 4326, 10, 45, 12, 47));
    // UTM zone 33 north, 20 km square starting on its central meridian, 15 degrees east.
    QVERIFY(writeGeoTiff(utm, 32633, 500000, 4980000, 520000, 5000000));

    QListWidget list;
    API::DatasetScanResult scan;
    {
        auto factory = std::make_shared<API::CompressionUtilFactory>();
        std::shared_ptr<API::ICompressionUtil> util;
        factory->GetCompressionUtil(util);
        for (const QString& path : {geographic, utm}) {
            API::DatasetMetadata metadata;
            int epsg = -1;
            QVERIFY(util->ReadDatasetMetadata(TSR::CString(path.toStdWString()), epsg, metadata, true));
            list.addItem(path);
            scan.Datasets[TSR::CString(path.toUtf8().constData())] = metadata;
        }
    }
    QCOMPARE(scan.Datasets.size(), size_t(2));

    QGVMap map;
    map.resize(300, 200);
    GeoMapView view(&map);
    view.setupMap();
    QVERIFY(view.addAllDatasets(true, &list, scan));
    QCOMPARE(map.countItems(), 3);

    auto* first = qobject_cast<GeoViewRectangle*>(map.getItem(1));
    auto* second = qobject_cast<GeoViewRectangle*>(map.getItem(2));
    QVERIFY(first && second);
    QCOMPARE(first->getRect(), QGV::GeoRect(47, 10, 45, 12));
    // 20 km east of the central meridian is about 0.254 degrees at 45 north; 4980 km to 5000 km
    // north is about 44.97 to 45.15 degrees.
    const QGV::GeoRect placed = second->getRect();
    QVERIFY2(qAbs(placed.lonLeft() - 15.0) < 1e-6, qPrintable(QString::number(placed.lonLeft(), 'f', 6)));
    QVERIFY(qAbs(placed.lonRight() - 15.254) < 0.01);
    QVERIFY(qAbs(placed.latBottom() - 44.969) < 0.01);
    QVERIFY(qAbs(placed.latTop() - 45.149) < 0.01);

    const QGV::GeoRect extent = qobject_cast<GeoViewRectangle*>(map.getItem(0))->getRect();
    QCOMPARE(extent.lonLeft(), 10.0);
    QCOMPARE(extent.latTop(), 47.0);
    QCOMPARE(extent.lonRight(), placed.lonRight());
    QCOMPARE(extent.latBottom(), placed.latBottom());
}

QTEST_MAIN(TestGeoMapGdal)
#include "tst_geomapgdal.moc"
