#pragma once

#include <QByteArray>
#include <QProcess>
#include <QRectF>
#include <QString>
#include <QStringList>
#include <QVector>
#include <functional>
#include <gdal.h>

class CompressionTask;

// Data for the reference tools, made with GDAL at test time, and a way to run a tool as a child.
namespace ToolFixtures {

// Points KARTOPRESS_TOOL_DIR at the built tools and registers GDAL's drivers.
void useBuiltTools();

// A north-up raster in UTM zone 33N (EPSG:32633) whose top left corner is (left, top).
void writeRaster(const QString& path, int width, int height, int bands, double left, double top, double cell,
                 const std::function<double(int band, int x, int y)>& value, GDALDataType type = GDT_Byte);
// A JPEG 2000 file straight from GDAL, in square tiles.
void writeJpeg2000(const QString& path, int size, int tile);
// A polygon shapefile in the same reference, one rectangle per feature, ids from 0.
void writeRectangles(const QString& path, const QString& layer, const QVector<QRectF>& boxes);

// All cells of one band, row by row.
QVector<int> readBand(const QString& path, int band);
// "<width>x<height>x<bands> at (<left>, <top>) cell <size> EPSG:<code>"
QString describe(const QString& path);

// A compression job as the wizard makes one for JPEG 2000 output: ratio 20, automatic colour space,
// tile method, opacity none, background from the minimum, both georeferencing boxes.
CompressionTask* wizardJob(const QStringList& files, const QString& output);

struct ToolRun
{
    int exitCode = -1;
    QByteArray out;
    QByteArray err;
};
// Runs a built tool to its end.
ToolRun runTool(const QString& name, const QStringList& arguments,
                const QProcessEnvironment& environment = QProcessEnvironment::systemEnvironment());

}  // namespace ToolFixtures
