// The same generated RGB image to JPEG 2000 at 20:1 through ImageCompressor, run by a compression job
// as the queue runs it (the job writes its document as the wizard's jobs do), and through
// gdal_translate with the encoder options ImageCompressor logged. Prints the times, sizes and PSNR of
// both and, last, "ratio <ImageCompressor time / gdal_translate time>".
// Usage: compressbench <work directory> [size] [rounds]; KARTOPRESS_TOOL_DIR names the tools.
#include <QApplication>
#include <QElapsedTimer>
#include <QFile>
#include <QFileInfo>
#include <QProcess>
#include <QRegularExpression>
#include <QThread>
#include <cmath>
#include <cstdio>
#include <gdal_priv.h>
#include <limits>
#include <ogr_spatialref.h>
#include <random>
#include <vector>

#include "compression/compressiontask.h"

namespace {

// Smooth structure in every band plus noise, so the encoder has real work and a rate to meet.
bool generate(const QString& path, int size)
{
    GDALDriver* driver = GetGDALDriverManager()->GetDriverByName("GTiff");
    char** options = CSLSetNameValue(nullptr, "TILED", "YES");
    GDALDataset* image = driver->Create(path.toUtf8().constData(), size, size, 3, GDT_Byte, options);
    CSLDestroy(options);
    if (!image)
        return false;
    double transform[6] = {500000.0, 0.5, 0.0, 4000000.0, 0.0, -0.5};
    image->SetGeoTransform(transform);
    OGRSpatialReference reference;
    reference.importFromEPSG(32633);
    image->SetSpatialRef(&reference);
    std::mt19937 random(7);
    std::normal_distribution<double> noise(0.0, 12.0);
    std::vector<GByte> row(size_t(size), 0);
    bool written = true;
    for (int band = 1; band <= 3 && written; ++band) {
        for (int y = 0; y < size && written; ++y) {
            for (int x = 0; x < size; ++x) {
                const double value = 128.0 + 60.0 * std::sin(x * 0.01 * band) * std::cos(y * 0.013)
                    + 30.0 * std::sin((x + y) * 0.002) + noise(random);
                row[size_t(x)] = GByte(std::clamp(value, 0.0, 255.0));
            }
            written = image->GetRasterBand(band)->RasterIO(GF_Write, 0, y, size, 1, row.data(), size, 1, GDT_Byte, 0, 0,
                                                           nullptr)
                == CE_None;
        }
    }
    GDALClose(image);
    return written;
}

double psnr(const QString& sourcePath, const QString& decodedPath)
{
    GDALDatasetUniquePtr source(GDALDataset::Open(sourcePath.toUtf8().constData(), GDAL_OF_RASTER));
    GDALDatasetUniquePtr decoded(GDALDataset::Open(decodedPath.toUtf8().constData(), GDAL_OF_RASTER));
    if (!source || !decoded || source->GetRasterXSize() != decoded->GetRasterXSize()
        || source->GetRasterCount() != decoded->GetRasterCount())
        return std::numeric_limits<double>::quiet_NaN();
    const int width = source->GetRasterXSize();
    const int height = source->GetRasterYSize();
    std::vector<GByte> a(static_cast<size_t>(width));
    std::vector<GByte> b(static_cast<size_t>(width));
    double squares = 0.0;
    for (int band = 1; band <= source->GetRasterCount(); ++band)
        for (int y = 0; y < height; ++y) {
            if (source->GetRasterBand(band)->RasterIO(GF_Read, 0, y, width, 1, a.data(), width, 1, GDT_Byte, 0, 0,
                                                      nullptr)
                    != CE_None
                || decoded->GetRasterBand(band)->RasterIO(GF_Read, 0, y, width, 1, b.data(), width, 1, GDT_Byte, 0, 0,
                                                          nullptr)
                    != CE_None)
                return std::numeric_limits<double>::quiet_NaN();
            for (int x = 0; x < width; ++x) {
                const double difference = double(a[size_t(x)]) - double(b[size_t(x)]);
                squares += difference * difference;
            }
        }
    const double mse = squares / (double(width) * height * source->GetRasterCount());
    return 10.0 * std::log10(255.0 * 255.0 / mse);
}

// A batch job for one image, with the choices the wizard's defaults give for JPEG 2000 at 20:1.
double runCompressor(const QString& source, const QString& output)
{
    QFile::remove(output);
    const QFileInfo info(output);
    const QString document = info.absolutePath() + QLatin1Char('/') + info.completeBaseName() + QStringLiteral(".xml");
    QFile::remove(document);
    CompressionTask task;
    task.setFiles({source});
    task.setOutputFilename(output);
    task.setLogFilename(info.absolutePath() + QLatin1Char('/') + info.completeBaseName() + QStringLiteral(".log"));
    task.setTempDir(info.absolutePath());
    task.setFormat(QStringLiteral("JPEG 2000"));
    task.setColorSpace(QStringLiteral("Auto"));
    task.setRatio(20.0);
    task.setOperation(CompressorXml::OperationCreate);
    task.setMethod(QStringLiteral("Tile"));
    task.setThreads(uint(QThread::idealThreadCount()));
    task.setMemCache(0.25);
    task.setHasNoDataValue(false);
    task.setNoDataValue(0);
    task.setGenStats(false);
    task.setOpacity(OpacityNone);
    task.setNullColor(QStringLiteral("min"));
    task.setJp2EncodeOptions({{QStringLiteral("jp2georef"), QStringLiteral("gml,geojp2")}});
    QElapsedTimer timer;
    timer.start();
    task.run();
    const double seconds = timer.nsecsElapsed() / 1e9;
    return task.state() == TaskState::Succeeded ? seconds : std::numeric_limits<double>::quiet_NaN();
}

QStringList loggedOptions(const QString& log)
{
    QFile file(log);
    if (!file.open(QIODevice::ReadOnly))
        return {};
    static const QRegularExpression line(QStringLiteral("Encoder options: (.*)$"), QRegularExpression::MultilineOption);
    const QRegularExpressionMatch match = line.match(QString::fromUtf8(file.readAll()));
    return match.hasMatch() ? match.captured(1).split(QLatin1Char(' '), Qt::SkipEmptyParts) : QStringList();
}

double runTranslate(const QString& source, const QString& output, const QStringList& options)
{
    QFile::remove(output);
    QStringList arguments{QStringLiteral("-q"), QStringLiteral("-of"), QStringLiteral("JP2OpenJPEG")};
    for (const QString& option : options)
        arguments << QStringLiteral("-co") << option;
    arguments << source << output;
    QProcess translate;
    translate.setProcessChannelMode(QProcess::ForwardedChannels);
    QElapsedTimer timer;
    timer.start();
    translate.start(QStringLiteral("gdal_translate"), arguments);
    translate.waitForFinished(-1);
    const double seconds = timer.nsecsElapsed() / 1e9;
    return translate.exitStatus() == QProcess::NormalExit && translate.exitCode() == 0
        ? seconds
        : std::numeric_limits<double>::quiet_NaN();
}

}  // namespace

int main(int argc, char** argv)
{
    QApplication application(argc, argv);
    const QStringList arguments = QCoreApplication::arguments();
    if (arguments.size() < 2) {
        std::fprintf(stderr, "usage: compressbench <work directory> [size] [rounds]\n");
        return 2;
    }
    const QString work = arguments.at(1);
    const int size = arguments.value(2, QStringLiteral("4096")).toInt();
    const int rounds = std::max(1, arguments.value(3, QStringLiteral("3")).toInt());
    GDALAllRegister();
    const QString source = work + QStringLiteral("/bench source.tif");
    const QString ours = work + QStringLiteral("/imagecompressor.jp2");
    const QString theirs = work + QStringLiteral("/gdal_translate.jp2");
    if (!generate(source, size)) {
        std::fprintf(stderr, "cannot generate %s\n", qPrintable(source));
        return 1;
    }

    // Alternating rounds, each side judged by its best, so other load on the machine does not decide.
    double bestOurs = std::numeric_limits<double>::infinity();
    double bestTheirs = std::numeric_limits<double>::infinity();
    for (int round = 1; round <= rounds; ++round) {
        const double compressor = runCompressor(source, ours);
        const QStringList options = loggedOptions(work + QStringLiteral("/imagecompressor.log"));
        if (std::isnan(compressor) || options.isEmpty()) {
            std::fprintf(stderr, "ImageCompressor failed; see %s/imagecompressor.log\n", qPrintable(work));
            return 1;
        }
        const double translate = runTranslate(source, theirs, options);
        if (std::isnan(translate)) {
            std::fprintf(stderr, "gdal_translate failed\n");
            return 1;
        }
        std::printf("round %d: ImageCompressor %.2f s, gdal_translate %.2f s (options %s)\n", round, compressor,
                    translate, qPrintable(options.join(QLatin1Char(' '))));
        std::fflush(stdout);
        bestOurs = std::min(bestOurs, compressor);
        bestTheirs = std::min(bestTheirs, translate);
    }
    const qint64 raw = qint64(size) * size * 3;
    std::printf("source %s: %d x %d RGB, %lld bytes\n", qPrintable(source), size, size, raw);
    std::printf("imagecompressor_seconds %.2f\n", bestOurs);
    std::printf("gdal_translate_seconds %.2f\n", bestTheirs);
    std::printf("imagecompressor_bytes %lld (%.2f:1)\n", QFileInfo(ours).size(), double(raw) / QFileInfo(ours).size());
    std::printf("gdal_translate_bytes %lld (%.2f:1)\n", QFileInfo(theirs).size(),
                double(raw) / QFileInfo(theirs).size());
    std::printf("imagecompressor_psnr_db %.3f\n", psnr(source, ours));
    std::printf("gdal_translate_psnr_db %.3f\n", psnr(source, theirs));
    std::printf("ratio %.3f\n", bestOurs / bestTheirs);
    return 0;
}
