#pragma once

// Small GeoTIFF tiles for the benchmarks that read dataset headers, in folders of a hundred.
// Files cycle through four EPSG references, or all take `onlyEPSG` when it is given, or all lie
// in a site grid without a code when `custom` is set.

#include <gdal_priv.h>
#include <ogr_spatialref.h>

#include <algorithm>
#include <chrono>
#include <cstdlib>
#include <string>
#include <sys/stat.h>
#include <vector>

namespace tiles {

// A transverse Mercator grid of a site, on WGS 84, that no registry lists.
inline const char* siteGrid =
    "PROJCS[\"Site grid\",GEOGCS[\"WGS 84\",DATUM[\"WGS_1984\",SPHEROID[\"WGS 84\",6378137,298.257223563]],"
    "PRIMEM[\"Greenwich\",0],UNIT[\"degree\",0.0174532925199433]],PROJECTION[\"Transverse_Mercator\"],"
    "PARAMETER[\"latitude_of_origin\",47.123],PARAMETER[\"central_meridian\",8.777],PARAMETER[\"scale_factor\","
    "1.000123],PARAMETER[\"false_easting\",12345],PARAMETER[\"false_northing\",678],UNIT[\"metre\",1]]";

// Folders of a hundred files, as tiles are usually delivered; one folder of thousands would make
// both loops mostly measure GDAL's listing of sibling files on every open.
inline std::string filePath(const std::string& directory, int index)
{
    return directory + "/set" + std::to_string(index / 100) + "/tile " + std::to_string(index) + ".tif";
}

inline bool generate(const std::string& directory, int count, bool custom, int onlyEPSG = 0)
{
    GDALDriver* driver = GetGDALDriverManager()->GetDriverByName("GTiff");
    const int references[] = {32633, 32632, 3857, 4326};
    std::vector<GByte> pixels(32 * 32, 128);
    for (int i = 0; i < count; ++i) {
        if (i % 100 == 0)
            ::mkdir((directory + "/set" + std::to_string(i / 100)).c_str(), 0755);
        const int epsg = onlyEPSG > 0 ? onlyEPSG : references[i % 4];
        double transform[6];
        if (epsg == 4326 && !custom) {
            const double origin[6] = {10.0 + (i % 70) * 0.01, 0.0001, 0, 50.0 - (i / 70) * 0.01, 0, -0.0001};
            std::copy(origin, origin + 6, transform);
        } else {
            const double origin[6] = {400000.0 + (i % 70) * 320, 10, 0, 5500000.0 - (i / 70) * 320, 0, -10};
            std::copy(origin, origin + 6, transform);
        }
        GDALDataset* dataset = driver->Create(filePath(directory, i).c_str(), 32, 32, 1, GDT_Byte, nullptr);
        if (!dataset)
            return false;
        OGRSpatialReference reference;
        if (custom)
            reference.importFromWkt(siteGrid);
        else
            reference.importFromEPSG(epsg);
        dataset->SetGeoTransform(transform);
        dataset->SetSpatialRef(&reference);
        const CPLErr written =
            dataset->GetRasterBand(1)->RasterIO(GF_Write, 0, 0, 32, 32, pixels.data(), 32, 32, GDT_Byte, 0, 0);
        GDALClose(dataset);
        if (written != CE_None)
            return false;
    }
    return true;
}

// The reference the benchmarks measure against: the bare GDAL loop that opens each file and reads
// its geotransform and reference code. Returns seconds; `checksum` keeps the reads from being
// optimised away.
inline double bareHeaderRound(const std::vector<std::string>& files, double& checksum)
{
    const auto start = std::chrono::steady_clock::now();
    for (const std::string& file : files) {
        GDALDatasetH dataset = GDALOpen(file.c_str(), GA_ReadOnly);
        if (!dataset)
            continue;
        double transform[6];
        GDALGetGeoTransform(dataset, transform);
        OGRSpatialReferenceH reference = GDALGetSpatialRef(dataset);
        const char* code = reference ? OSRGetAuthorityCode(reference, nullptr) : nullptr;
        checksum += transform[0] + (code ? std::atoi(code) : 0);
        GDALClose(dataset);
    }
    return std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
}

}  // namespace tiles
