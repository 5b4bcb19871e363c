// Reads the headers of many small GeoTIFFs through the dataset interface (ReadDatasetMetadata and
// ReprojectExtent to 4326, one factory per file as the wizard does) and with a bare GDAL loop
// (open, geotransform, spatial reference, authority code, close), alternating rounds, and prints
// the best per-file time of each and their ratio. A second round does the same with files in one
// site grid that has no authority code, whose identification the interface must keep per
// definition. The last line is the worse of the two ratios.
// Usage: datasetbench <directory> [count]. Files are made in the directory when missing.

#include <gdal_priv.h>
#include <ogr_spatialref.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <sys/stat.h>
#include <vector>

#include "bench/tilegenerator.h"
#include "wizard/dataset/compressionutilfactory.h"

using namespace TSR::ImageCompressor::API;
using tiles::filePath;
using tiles::generate;

namespace {

double interfaceRound(const std::vector<std::wstring>& files, double& checksum)
{
    const auto start = std::chrono::steady_clock::now();
    for (const std::wstring& file : files) {
        auto factory = std::make_shared<CompressionUtilFactory>();
        std::shared_ptr<ICompressionUtil> util;
        factory->GetCompressionUtil(util);
        DatasetMetadata metadata;
        int epsg = -1;
        util->ReadDatasetMetadata(TSR::CString(file), epsg, metadata, true);
        double minX, minY, maxX, maxY;
        util->ReprojectExtent(metadata, epsg, 4326, minX, minY, maxX, maxY);
        checksum += minX + maxY;
    }
    return std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
}

}  // namespace

int main(int argc, char** argv)
{
    if (argc < 2) {
        std::fprintf(stderr, "usage: %s <directory> [count]\n", argv[0]);
        return 2;
    }
    const std::string directory = argv[1];
    const int count = argc > 2 ? std::atoi(argv[2]) : 5000;
    GDALAllRegister();

    double worst = 0.0;
    for (const bool custom : {false, true}) {
        const std::string folder = directory + (custom ? "/site grid" : "/coded");
        ::mkdir(folder.c_str(), 0755);
        struct stat info;
        if (::stat(filePath(folder, count - 1).c_str(), &info) != 0) {
            const auto start = std::chrono::steady_clock::now();
            if (!generate(folder, count, custom)) {
                std::fprintf(stderr, "could not write the test files in %s\n", folder.c_str());
                return 1;
            }
            std::printf("generated %d files in %.1f s\n", count,
                        std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count());
        }
        std::vector<std::string> files;
        std::vector<std::wstring> wideFiles;
        for (int i = 0; i < count; ++i) {
            files.push_back(filePath(folder, i));
            wideFiles.emplace_back(files.back().begin(), files.back().end());
        }

        // One unmeasured round of each fills the page cache and GDAL's driver and PROJ database
        // state; the interface starts from a fresh factory state, as a new wizard session would.
        CompressionUtilFactory::Shutdown();
        double checksum = 0.0;
        tiles::bareHeaderRound(files, checksum);
        interfaceRound(wideFiles, checksum);
        double bestBare = 1e30;
        double bestInterface = 1e30;
        for (int round = 0; round < 3; ++round) {
            bestBare = std::min(bestBare, tiles::bareHeaderRound(files, checksum));
            bestInterface = std::min(bestInterface, interfaceRound(wideFiles, checksum));
        }
        const char* kind = custom ? "site_grid" : "epsg_coded";
        std::printf("%s files %d (checksum %.0f)\n", kind, count, checksum);
        std::printf("%s bare_gdal_us_per_file %.1f\n", kind, bestBare / count * 1e6);
        std::printf("%s interface_us_per_file %.1f\n", kind, bestInterface / count * 1e6);
        std::printf("%s ratio %.3f\n", kind, bestInterface / bestBare);
        worst = std::max(worst, bestInterface / bestBare);
    }
    CompressionUtilFactory::Shutdown();
    std::printf("ratio %.3f\n", worst);
    return 0;
}
