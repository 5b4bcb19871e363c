#include "tools/wvccheck/blockchecker.h"

#include <cpl_conv.h>
#include <gdal.h>
#include <algorithm>
#include <thread>
#include <vector>

#include "tools/common/gdalmessages.h"
#include "tools/common/interrupt.h"
#include "tools/common/toolconsole.h"

namespace {

GDALDatasetH openRaster(const QString& path)
{
    return GDALOpenEx(path.toUtf8().constData(), GDAL_OF_RASTER | GDAL_OF_VERBOSE_ERROR, nullptr, nullptr, nullptr);
}

}  // namespace

BlockChecker::BlockChecker(const QString& path, int threads, ToolConsole& console)
    : path(path)
    , threads(threads)
    , console(console)
{}

int BlockChecker::run()
{
    GDALDatasetH dataset = openRaster(path);
    if (!dataset) {
        console.line(
            QStringLiteral("ERROR: %1: cannot be opened as a raster: %2").arg(path, GdalMessages::takeFailures()));
        return -1;
    }
    GDALDriverH driver = GDALGetDatasetDriver(dataset);
    const int width = GDALGetRasterXSize(dataset);
    const int height = GDALGetRasterYSize(dataset);
    bandCount = GDALGetRasterCount(dataset);
    if (bandCount < 1) {
        GDALClose(dataset);
        console.line(QStringLiteral("ERROR: %1: the file holds no raster band").arg(path));
        return -1;
    }
    GDALRasterBandH first = GDALGetRasterBand(dataset, 1);
    int blockWidth = 0;
    int blockHeight = 0;
    GDALGetBlockSize(first, &blockWidth, &blockHeight);
    blocksAcross = (width + blockWidth - 1) / blockWidth;
    blocksDown = (height + blockHeight - 1) / blockHeight;
    blockCount = (long long)blocksAcross * blocksDown;
    console.line(
        QStringLiteral("INFO: Format: %1 (%2)")
            .arg(QString::fromUtf8(GDALGetDriverLongName(driver)), QString::fromUtf8(GDALGetDriverShortName(driver))));
    console.line(QStringLiteral("INFO: Size: %1 x %2 cells, %3 band(s) of %4")
                     .arg(width)
                     .arg(height)
                     .arg(bandCount)
                     .arg(QString::fromUtf8(GDALGetDataTypeName(GDALGetRasterDataType(first)))));
    console.line(QStringLiteral("INFO: Blocks: %1 x %2 cells, %3 per band, %4 in all")
                     .arg(blockWidth)
                     .arg(blockHeight)
                     .arg(blockCount)
                     .arg(blockCount * bandCount));
    GDALClose(dataset);

    threads = int(std::max<long long>(1, std::min<long long>(threads, blockCount)));
    console.line(QStringLiteral("INFO: Threads: %1").arg(threads));
    // Our threads already share the blocks out; a decoder spawning its own on top would only
    // compete with them.
    if (threads > 1)
        CPLSetConfigOption("GDAL_NUM_THREADS", "1");
    blockDone();
    std::vector<std::thread> workers;
    for (int i = 1; i < threads; ++i)
        workers.emplace_back(&BlockChecker::work, this);
    work();
    for (std::thread& worker : workers)
        worker.join();
    if (!stopped)
        console.line(
            QStringLiteral("INFO: %1 block(s) decoded, %2 failed").arg(blockCount * bandCount).arg(failures.load()));
    return failures;
}

void BlockChecker::work()
{
    GDALDatasetH dataset = openRaster(path);
    if (!dataset) {
        // The file opened a moment ago: whatever stops it now belongs in the report.
        console.line(QStringLiteral("ERROR: %1: cannot be opened again: %2").arg(path, GdalMessages::takeFailures()));
        ++failures;
        stopped = true;
        return;
    }
    int blockWidth = 0;
    int blockHeight = 0;
    GDALGetBlockSize(GDALGetRasterBand(dataset, 1), &blockWidth, &blockHeight);
    std::vector<GByte> buffer;
    for (long long index = nextBlock++; index < blockCount && !stopped; index = nextBlock++) {
        const int x = int(index % blocksAcross);
        const int y = int(index / blocksAcross);
        // All bands of one block on one thread: the decoder fills the other bands' blocks while
        // decoding the first, so they come from the cache.
        for (int band = 1; band <= bandCount; ++band) {
            if (Interrupt::requested()) {
                stopped = true;
                break;
            }
            GDALRasterBandH raster = GDALGetRasterBand(dataset, band);
            int width = 0;
            int height = 0;
            GDALGetBlockSize(raster, &width, &height);
            buffer.resize(size_t(width) * size_t(height)
                          * size_t(GDALGetDataTypeSizeBytes(GDALGetRasterDataType(raster))));
            GdalMessages::takeFailures();
            if (width != blockWidth || height != blockHeight || GDALReadBlock(raster, x, y, buffer.data()) != CE_None) {
                ++failures;
                const QString reason = GdalMessages::takeFailures();
                console.line(QStringLiteral("ERROR: band %1 block %2,%3: %4")
                                 .arg(band)
                                 .arg(x)
                                 .arg(y)
                                 .arg(reason.isEmpty() ? QStringLiteral("the block cannot be decoded") : reason));
            }
        }
        ++finished;
        blockDone();
    }
    GDALClose(dataset);
}

void BlockChecker::blockDone()
{
    const int percent = int(finished * 100 / std::max<long long>(1, blockCount));
    std::lock_guard<std::mutex> lock(statusMutex);
    if (percent <= lastPercent)
        return;
    lastPercent = percent;
    console.line(QStringLiteral("STATUS: %1 % done").arg(percent));
}
