#include "tests/tools/toolfixtures.h"

#include <QDir>
#include <QTest>
#include <gdal_priv.h>
#include <ogr_spatialref.h>
#include <ogrsf_frmts.h>

#include "compression/compressiontask.h"

namespace ToolFixtures {

namespace {

OGRSpatialReference utm33()
{
    OGRSpatialReference reference;
    reference.importFromEPSG(32633);
    reference.SetAxisMappingStrategy(OAMS_TRADITIONAL_GIS_ORDER);
    return reference;
}

}  // namespace

void useBuiltTools()
{
    qputenv("KARTOPRESS_TOOL_DIR", KP_TOOL_BIN);
    GDALAllRegister();
}

void writeRaster(const QString& path, int width, int height, int bands, double left, double top, double cell,
                 const std::function<double(int, int, int)>& value, GDALDataType type)
{
    GDALDriver* driver = GetGDALDriverManager()->GetDriverByName("GTiff");
    GDALDatasetUniquePtr raster(driver->Create(path.toUtf8().constData(), width, height, bands, type, nullptr));
    QVERIFY2(raster, qPrintable(path));
    double transform[6] = {left, cell, 0.0, top, 0.0, -cell};
    raster->SetGeoTransform(transform);
    const OGRSpatialReference reference = utm33();
    raster->SetSpatialRef(&reference);
    std::vector<double> row(size_t(width), 0.0);
    for (int band = 1; band <= bands; ++band)
        for (int y = 0; y < height; ++y) {
            for (int x = 0; x < width; ++x)
                row[size_t(x)] = value(band, x, y);
            QCOMPARE(raster->GetRasterBand(band)->RasterIO(GF_Write, 0, y, width, 1, row.data(), width, 1, GDT_Float64,
                                                           0, 0, nullptr),
                     CE_None);
        }
}

void writeJpeg2000(const QString& path, int size, int tile)
{
    const QString source = path + QStringLiteral(".tif");
    writeRaster(source, size, size, 3, 500000.0, 4000000.0, 1.0,
                [](int band, int x, int y) { return (x * band + y * 3) % 256; });
    GDALDatasetUniquePtr input(GDALDataset::Open(source.toUtf8().constData(), GDAL_OF_RASTER));
    const QByteArray tileSize = QByteArray::number(tile);
    CPLStringList list;
    list.SetNameValue("QUALITY", "10");
    list.SetNameValue("BLOCKXSIZE", tileSize.constData());
    list.SetNameValue("BLOCKYSIZE", tileSize.constData());
    GDALDriver* driver = GetGDALDriverManager()->GetDriverByName("JP2OpenJPEG");
    GDALDatasetUniquePtr output(
        driver->CreateCopy(path.toUtf8().constData(), input.get(), FALSE, list.List(), nullptr, nullptr));
    QVERIFY2(output, qPrintable(path));
}

void writeRectangles(const QString& path, const QString& layerName, const QVector<QRectF>& boxes)
{
    GDALDriver* driver = GetGDALDriverManager()->GetDriverByName("ESRI Shapefile");
    GDALDatasetUniquePtr vectors(driver->Create(path.toUtf8().constData(), 0, 0, 0, GDT_Unknown, nullptr));
    QVERIFY2(vectors, qPrintable(path));
    OGRSpatialReference reference = utm33();
    OGRLayer* layer = vectors->CreateLayer(layerName.toUtf8().constData(), &reference, wkbPolygon, nullptr);
    QVERIFY(layer);
    for (const QRectF& box : boxes) {
        OGRLinearRing ring;
        ring.addPoint(box.left(), box.top());
        ring.addPoint(box.right(), box.top());
        ring.addPoint(box.right(), box.bottom());
        ring.addPoint(box.left(), box.bottom());
        ring.closeRings();
        OGRPolygon polygon;
        polygon.addRing(&ring);
        OGRFeature feature(layer->GetLayerDefn());
        feature.SetGeometry(&polygon);
        QCOMPARE(layer->CreateFeature(&feature), OGRERR_NONE);
    }
}

QVector<int> readBand(const QString& path, int band)
{
    GDALDatasetUniquePtr raster(GDALDataset::Open(path.toUtf8().constData(), GDAL_OF_RASTER));
    if (!raster || band > raster->GetRasterCount())
        return {};
    const int width = raster->GetRasterXSize();
    const int height = raster->GetRasterYSize();
    QVector<int> cells(width * height);
    if (raster->GetRasterBand(band)->RasterIO(GF_Read, 0, 0, width, height, cells.data(), width, height, GDT_Int32, 0,
                                              0, nullptr)
        != CE_None)
        return {};
    return cells;
}

QString describe(const QString& path)
{
    GDALDatasetUniquePtr raster(GDALDataset::Open(path.toUtf8().constData(), GDAL_OF_RASTER));
    if (!raster)
        return QStringLiteral("unreadable");
    double transform[6] = {};
    raster->GetGeoTransform(transform);
    const OGRSpatialReference* reference = raster->GetSpatialRef();
    return QStringLiteral("%1x%2x%3 at (%4, %5) cell %6 EPSG:%7")
        .arg(raster->GetRasterXSize())
        .arg(raster->GetRasterYSize())
        .arg(raster->GetRasterCount())
        .arg(transform[0], 0, 'f', 1)
        .arg(transform[3], 0, 'f', 1)
        .arg(transform[1], 0, 'g', 6)
        .arg(QLatin1String(reference && reference->GetAuthorityCode(nullptr) ? reference->GetAuthorityCode(nullptr)
                                                                             : "none"));
}

CompressionTask* wizardJob(const QStringList& files, const QString& output)
{
    auto* task = new CompressionTask;
    task->setFiles(files);
    task->setOutputFilename(QDir::toNativeSeparators(output));
    const QFileInfo info(output);
    task->setLogFilename(info.absolutePath() + QLatin1Char('/') + info.completeBaseName() + QStringLiteral(".log"));
    task->setTempDir(info.absolutePath());
    task->setFormat(QStringLiteral("JPEG 2000"));
    task->setColorSpace(QStringLiteral("Auto"));
    task->setRatio(20.0);
    task->setOperation(CompressorXml::OperationCreate);
    task->setMethod(QStringLiteral("Tile"));
    task->setThreads(2);
    task->setMemCache(0.25);
    task->setHasNoDataValue(false);
    task->setNoDataValue(0);
    task->setGenStats(false);
    task->setOpacity(OpacityNone);
    task->setNullColor(QStringLiteral("min"));
    task->setJp2EncodeOptions({{QStringLiteral("jp2georef"), QStringLiteral("gml,geojp2")}});
    return task;
}

ToolRun runTool(const QString& name, const QStringList& arguments, const QProcessEnvironment& environment)
{
    QProcess process;
    process.setProcessEnvironment(environment);
    process.start(QStringLiteral(KP_TOOL_BIN "/") + name, arguments);
    ToolRun run;
    if (!process.waitForStarted() || !process.waitForFinished(300000))
        return run;
    run.exitCode = process.exitStatus() == QProcess::NormalExit ? process.exitCode() : -1;
    run.out = process.readAllStandardOutput();
    run.err = process.readAllStandardError();
    return run;
}

}  // namespace ToolFixtures
