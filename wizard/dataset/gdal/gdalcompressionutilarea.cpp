#include "wizard/dataset/gdal/gdalcompressionutil.h"

#include <ogr_geometry.h>
#include <ogr_spatialref.h>

#include <algorithm>
#include <cstdio>
#include <limits>

#include "wizard/dataset/gdal/gdalerrorscope.h"
#include "wizard/dataset/gdal/transformcache.h"

namespace TSR::ImageCompressor::API {

namespace {

constexpr int geographicEPSG = 4326;
constexpr std::int32_t squareKilometres = 1;

double areaOf(const OGRGeometry* geometry)
{
    if (const auto* surface = dynamic_cast<const OGRSurface*>(geometry))
        return surface->get_Area();
    if (const auto* collection = dynamic_cast<const OGRGeometryCollection*>(geometry))
        return collection->get_Area();
    return 0.0;
}

}  // namespace

void GdalCompressionUtil::ComputeActiveArea(const DatasetMetadataMap& datasets,
                                            const ClipInfoPtr& region, double& area,
                                            std::int32_t& unit, const ProgressCallback& progress)
{
    area = 0.0;
    unit = squareKilometres;
    if (progress)
        progress(0.0);

    // The equal-area projection is centred on the footprints, where its shapes are truest, so
    // the union and the clipping behave as on the ground.
    double west = std::numeric_limits<double>::max();
    double south = std::numeric_limits<double>::max();
    double east = std::numeric_limits<double>::lowest();
    double north = std::numeric_limits<double>::lowest();
    int commonEPSG = 0;
    for (const auto& entry : datasets) {
        const int epsg = effectiveEPSG(entry.second);
        double minX, minY, maxX, maxY;
        ReprojectExtent(entry.second, epsg, geographicEPSG, minX, minY, maxX, maxY);
        if (minX >= maxX || minY >= maxY)
            continue;
        if (commonEPSG == 0)
            commonEPSG = epsg;
        west = std::min(west, minX);
        south = std::min(south, minY);
        east = std::max(east, maxX);
        north = std::max(north, maxY);
    }
    if (west >= east || south >= north) {
        if (progress)
            progress(100.0);
        return;
    }
    char definition[160];
    std::snprintf(definition, sizeof definition,
                  "+proj=laea +lat_0=%.9f +lon_0=%.9f +x_0=0 +y_0=0 +datum=WGS84 +units=m +no_defs",
                  (south + north) / 2.0, (west + east) / 2.0);
    OGRSpatialReference equalArea;
    {
        GdalErrorScope errors;
        if (equalArea.importFromProj4(definition) != OGRERR_NONE)
            throw TSR::CRuntimeError("The equal-area projection for the active area could not be "
                                     "made: " + errors.lastError());
    }
    equalArea.SetAxisMappingStrategy(OAMS_TRADITIONAL_GIS_ORDER);

    std::vector<GeometryPtr> footprints;
    footprints.reserve(datasets.size());
    std::size_t done = 0;
    for (const auto& entry : datasets) {
        const int epsg = effectiveEPSG(entry.second);
        if (epsg > 0)
            footprints.push_back(footprint(entry.second, epsg, &equalArea, 0));
        if (progress)
            progress(70.0 * double(++done) / double(datasets.size()));
    }
    GeometryPtr covered = unionOf(footprints);
    if (progress)
        progress(90.0);

    if (covered && region) {
        DatasetMetadata regionBox;
        regionBox.MinX = region->MinX;
        regionBox.MinY = region->MinY;
        regionBox.MaxX = region->MaxX;
        regionBox.MaxY = region->MaxY;
        const int regionEPSG = region->CRS.GetEPSG() > 0 ? region->CRS.GetEPSG() : commonEPSG;
        GeometryPtr clip = footprint(regionBox, regionEPSG, &equalArea, 0);
        covered.reset(clip ? covered->Intersection(clip.get()) : nullptr);
    }
    area = areaOf(covered.get()) / 1.0e6;
    if (progress)
        progress(100.0);
}

void GdalCompressionUtil::ComputeUpdateCoverage(const std::vector<TSR::CString>& inputs,
                                                const TSR::CString& updateFile, double& coverage,
                                                const ScanProgressCallback& progress)
{
    coverage = 0.0;
    const auto report = [&progress](const TSR::CString& message, double percent) {
        if (progress)
            progress(ScanProgress{message, percent});
    };
    report(updateFile, 0.0);

    DatasetMetadata target;
    const std::string targetPath = updateFile.utf8_str();
    if (!readHeader(targetPath, target, false))
        throw TSR::CRuntimeError("\"" + targetPath + "\" has no georeferencing, so the area it "
                                 "shares with the input datasets cannot be found.");
    GeometryPtr targetBox = box(target.MinX, target.MinY, target.MaxX, target.MaxY);
    const double targetArea = areaOf(targetBox.get());
    if (targetArea <= 0.0)
        return;

    std::vector<GeometryPtr> footprints;
    footprints.reserve(inputs.size());
    for (std::size_t i = 0; i < inputs.size(); ++i) {
        DatasetMetadata input;
        const std::string path = inputs[i].utf8_str();
        if (readHeader(path, input, false)) {
            // An input whose reference is unknown is taken to share the file's.
            const bool sameReference = input.EPSG <= 0 || target.EPSG <= 0;
            footprints.push_back(sameReference ? footprint(input, 0, nullptr, 0)
                                               : footprint(input, input.EPSG, nullptr, target.EPSG));
        }
        report(inputs[i], 90.0 * double(i + 1) / double(inputs.size()));
    }
    GeometryPtr covered = unionOf(footprints);
    if (covered) {
        GdalErrorScope errors;
        GeometryPtr shared(covered->Intersection(targetBox.get()));
        coverage = std::clamp(areaOf(shared.get()) / targetArea, 0.0, 1.0);
    }
    report(updateFile, 100.0);
}

}  // namespace TSR::ImageCompressor::API
