#include "wizard/dataset/gdal/gdalcompressionutil.h"

#include <gdal_priv.h>
#include <ogr_geometry.h>
#include <ogr_spatialref.h>

#include <algorithm>
#include <cmath>
#include <limits>

#include "wizard/dataset/gdal/gdalerrorscope.h"
#include "wizard/dataset/gdal/transformcache.h"

namespace TSR::ImageCompressor::API {

namespace {

// Points per edge when a box is carried into another reference: enough for the curvature of a
// projected tile's edges in geographic coordinates to show in its bounding box.
constexpr int densifyPoints = 21;

bool validExtent(const DatasetMetadata& metadata)
{
    return metadata.MinX < metadata.MaxX && metadata.MinY < metadata.MaxY;
}

void report(const ProgressCallback& progress, double percent)
{
    if (progress)
        progress(percent);
}

// Rounds up to whole pixels, but a quotient that misses an integer only by floating-point noise
// is that integer: 1000 m at 0.1 m must not become 10001 pixels.
std::uint64_t wholePixels(double length, double cellSize)
{
    const double pixels = length / cellSize;
    const double nearest = std::round(pixels);
    if (std::fabs(pixels - nearest) <= 1e-6 * std::max(1.0, nearest))
        return static_cast<std::uint64_t>(nearest);
    return static_cast<std::uint64_t>(std::ceil(pixels));
}

}  // namespace

GdalCompressionUtil::GdalCompressionUtil(std::shared_ptr<TransformCache> transforms)
    : transforms(std::move(transforms))
{}

GdalCompressionUtil::~GdalCompressionUtil() = default;

void GdalCompressionUtil::DatasetCloser::operator()(GDALDataset* dataset) const
{
    GDALClose(GDALDataset::ToHandle(dataset));
}

void GdalCompressionUtil::GeometryDeleter::operator()(OGRGeometry* geometry) const
{
    OGRGeometryFactory::destroyGeometry(geometry);
}

void GdalCompressionUtil::FeatureDeleter::operator()(OGRFeature* feature) const
{
    OGRFeature::DestroyFeature(feature);
}

int GdalCompressionUtil::effectiveEPSG(const DatasetMetadata& metadata)
{
    const TSR::CString& userChoice = metadata.EPSGOverride;
    if (userChoice.length() > 5 && std::string(userChoice.substr(0, 5).utf8_str()) == "EPSG:") {
        bool ok = false;
        const int epsg = userChoice.substr(5).ToINT32(&ok);
        if (ok && epsg > 0)
            return epsg;
    }
    return metadata.EPSG;
}

void GdalCompressionUtil::ReprojectPoints(const Ring& points, int sourceEPSG, int targetEPSG, Ring& result)
{
    result.clear();
    // A reference PROJ does not know (a mistyped override) places nothing, like an unknown one.
    if (sourceEPSG <= 0 || !transforms->isKnown(sourceEPSG) || !transforms->isKnown(targetEPSG))
        return;
    if (sourceEPSG == targetEPSG) {
        result = points;
        return;
    }
    OGRCoordinateTransformation& transformation = transforms->transformation(sourceEPSG, targetEPSG);
    std::vector<double> x(points.size());
    std::vector<double> y(points.size());
    std::vector<int> success(points.size());
    for (std::size_t i = 0; i < points.size(); ++i) {
        x[i] = points[i].X;
        y[i] = points[i].Y;
    }
    GdalErrorScope errors;
    transformation.Transform(static_cast<int>(points.size()), x.data(), y.data(), nullptr, nullptr, success.data());
    result.reserve(points.size());
    for (std::size_t i = 0; i < points.size(); ++i) {
        // A point outside the target's domain is left out rather than drawn at a wrong place.
        if (success[i] && std::isfinite(x[i]) && std::isfinite(y[i]))
            result.push_back({x[i], y[i]});
    }
}

void GdalCompressionUtil::ReprojectExtent(const DatasetMetadata& metadata, int sourceEPSG, int targetEPSG, double& minX,
                                          double& minY, double& maxX, double& maxY)
{
    minX = minY = maxX = maxY = 0.0;
    if (sourceEPSG <= 0 || !validExtent(metadata) || !transforms->isKnown(sourceEPSG)
        || !transforms->isKnown(targetEPSG))
        return;
    if (sourceEPSG == targetEPSG) {
        minX = metadata.MinX;
        minY = metadata.MinY;
        maxX = metadata.MaxX;
        maxY = metadata.MaxY;
        return;
    }
    OGRCoordinateTransformation& transformation = transforms->transformation(sourceEPSG, targetEPSG);
    GdalErrorScope errors;

    // The edges, each cut into densifyPoints - 1 pieces, in one call: GDAL's own TransformBounds
    // costs five times as much, which shows when thousands of files are added.
    const int perEdge = densifyPoints - 1;
    std::vector<double> x(4 * perEdge);
    std::vector<double> y(4 * perEdge);
    std::vector<int> success(4 * perEdge);
    const double width = metadata.MaxX - metadata.MinX;
    const double height = metadata.MaxY - metadata.MinY;
    for (int i = 0; i < perEdge; ++i) {
        const double t = double(i) / perEdge;
        x[i] = metadata.MinX + t * width;  // south, eastwards
        y[i] = metadata.MinY;
        x[perEdge + i] = metadata.MaxX;  // east, northwards
        y[perEdge + i] = metadata.MinY + t * height;
        x[2 * perEdge + i] = metadata.MaxX - t * width;  // north, westwards
        y[2 * perEdge + i] = metadata.MaxY;
        x[3 * perEdge + i] = metadata.MinX;  // west, southwards
        y[3 * perEdge + i] = metadata.MaxY - t * height;
    }
    transformation.Transform(static_cast<int>(x.size()), x.data(), y.data(), nullptr, nullptr, success.data());
    double west = std::numeric_limits<double>::max();
    double south = std::numeric_limits<double>::max();
    double east = std::numeric_limits<double>::lowest();
    double north = std::numeric_limits<double>::lowest();
    bool allCarried = true;
    for (std::size_t i = 0; i < x.size(); ++i) {
        if (!success[i] || !std::isfinite(x[i]) || !std::isfinite(y[i])) {
            allCarried = false;
            continue;
        }
        west = std::min(west, x[i]);
        east = std::max(east, x[i]);
        south = std::min(south, y[i]);
        north = std::max(north, y[i]);
    }
    // Near a pole, across the antimeridian, or where points fall outside the projection, the
    // edges alone mislead (a pole inside the extent lies on no edge); GDAL's TransformBounds
    // handles those cases, at its price.
    const bool geographic = transforms->spatialReference(targetEPSG).IsGeographic();
    const bool delicate = !allCarried || (geographic && (north > 60.0 || south < -60.0 || east - west > 180.0));
    if (delicate) {
        if (!transformation.TransformBounds(metadata.MinX, metadata.MinY, metadata.MaxX, metadata.MaxY, &west, &south,
                                            &east, &north, densifyPoints))
            return;
        // A box across the antimeridian comes back with west above east. It stays what it is, a
        // narrow box, in one continuous range of longitudes that ends east of 180.
        if (west > east && geographic)
            east += 360.0;
    }
    if (!(west < east) || !(south < north))
        return;
    minX = west;
    minY = south;
    maxX = east;
    maxY = north;
}

bool GdalCompressionUtil::ReadDatasetMetadata(const TSR::CString& path, int& epsg, DatasetMetadata& metadata,
                                              bool mosaic)
{
    const bool read = readHeader(path.utf8_str(), metadata, mosaic);
    epsg = metadata.EPSG;
    return read;
}

bool GdalCompressionUtil::readHeader(const std::string& path, DatasetMetadata& metadata, bool mosaic)
{
    GdalErrorScope errors;
    DatasetPtr dataset(GDALDataset::FromHandle(GDALOpenEx(
        path.c_str(), GDAL_OF_RASTER | GDAL_OF_READONLY | GDAL_OF_VERBOSE_ERROR, nullptr, nullptr, nullptr)));
    if (!dataset)
        throw TSR::CRuntimeError(errors.openFailure(path));

    metadata.RasterWidth = dataset->GetRasterXSize();
    metadata.RasterHeight = dataset->GetRasterYSize();
    metadata.EPSG = transforms->identifyEPSG(dataset->GetSpatialRef());

    double transform[6];
    if (dataset->GetGeoTransform(transform) != CE_None) {
        if (mosaic)
            throw TSR::CRuntimeError("\"" + path + "\" has no georeferencing and cannot be mosaicked.");
        return false;
    }
    const double width = metadata.RasterWidth;
    const double height = metadata.RasterHeight;
    const double cornersX[4] = {0.0, width, 0.0, width};
    const double cornersY[4] = {0.0, 0.0, height, height};
    metadata.MinX = metadata.MinY = std::numeric_limits<double>::max();
    metadata.MaxX = metadata.MaxY = std::numeric_limits<double>::lowest();
    for (int i = 0; i < 4; ++i) {
        const double x = transform[0] + cornersX[i] * transform[1] + cornersY[i] * transform[2];
        const double y = transform[3] + cornersX[i] * transform[4] + cornersY[i] * transform[5];
        metadata.MinX = std::min(metadata.MinX, x);
        metadata.MaxX = std::max(metadata.MaxX, x);
        metadata.MinY = std::min(metadata.MinY, y);
        metadata.MaxY = std::max(metadata.MaxY, y);
    }
    // The ground size of a pixel is the length of a column and of a row step, which for a
    // rotated raster is not the geotransform's diagonal term. North-up keeps its negative height.
    metadata.CellSizeX = std::hypot(transform[1], transform[4]);
    metadata.CellSizeY = std::copysign(std::hypot(transform[2], transform[5]), transform[5]);
    return true;
}

void GdalCompressionUtil::ComputeOutputDimensions(const DatasetMetadataMap& datasets, double regionMinX,
                                                  double regionMinY, double regionMaxX, double regionMaxY,
                                                  double cellSizeX, double cellSizeY, std::uint32_t& width,
                                                  std::uint32_t& height, const ProgressCallback& progress)
{
    width = height = 0;
    report(progress, 0.0);
    double minX = std::numeric_limits<double>::max();
    double minY = std::numeric_limits<double>::max();
    double maxX = std::numeric_limits<double>::lowest();
    double maxY = std::numeric_limits<double>::lowest();
    double finestX = std::numeric_limits<double>::max();
    double finestY = std::numeric_limits<double>::max();
    std::size_t done = 0;
    for (const auto& entry : datasets) {
        const DatasetMetadata& metadata = entry.second;
        if (validExtent(metadata)) {
            minX = std::min(minX, metadata.MinX);
            minY = std::min(minY, metadata.MinY);
            maxX = std::max(maxX, metadata.MaxX);
            maxY = std::max(maxY, metadata.MaxY);
            if (metadata.CellSizeX != 0.0)
                finestX = std::min(finestX, std::fabs(metadata.CellSizeX));
            if (metadata.CellSizeY != 0.0)
                finestY = std::min(finestY, std::fabs(metadata.CellSizeY));
        }
        report(progress, 90.0 * double(++done) / double(datasets.size()));
    }
    if (minX >= maxX || minY >= maxY) {
        report(progress, 100.0);
        return;
    }
    const bool hasRegion = regionMinX != 0.0 || regionMinY != 0.0 || regionMaxX != 0.0 || regionMaxY != 0.0;
    if (hasRegion) {
        minX = std::max(minX, regionMinX);
        minY = std::max(minY, regionMinY);
        maxX = std::min(maxX, regionMaxX);
        maxY = std::min(maxY, regionMaxY);
        if (minX >= maxX || minY >= maxY) {
            report(progress, 100.0);
            return;
        }
    }
    const double cellX = cellSizeX != 0.0 ? std::fabs(cellSizeX) : finestX;
    const double cellY = cellSizeY != 0.0 ? std::fabs(cellSizeY) : finestY;
    if (cellX == std::numeric_limits<double>::max() || cellY == std::numeric_limits<double>::max())
        throw TSR::CRuntimeError("The datasets report no cell size, so the output size cannot be "
                                 "calculated.");
    const std::uint64_t columns = wholePixels(maxX - minX, cellX);
    const std::uint64_t rows = wholePixels(maxY - minY, cellY);
    if (columns > std::numeric_limits<std::uint32_t>::max() || rows > std::numeric_limits<std::uint32_t>::max())
        throw TSR::CRuntimeError("The output would be " + std::to_string(columns) + " x " + std::to_string(rows)
                                 + " pixels, more than an image can hold. Choose a larger cell "
                                   "size or a smaller region.");
    width = static_cast<std::uint32_t>(columns);
    height = static_cast<std::uint32_t>(rows);
    report(progress, 100.0);
}

bool GdalCompressionUtil::CheckOutputSize(std::uint64_t)
{
    // This build carries no licence limit on output size.
    return true;
}

GdalCompressionUtil::GeometryPtr GdalCompressionUtil::box(double minX, double minY, double maxX, double maxY)
{
    auto* ring = new OGRLinearRing();
    ring->addPoint(minX, minY);
    ring->addPoint(maxX, minY);
    ring->addPoint(maxX, maxY);
    ring->addPoint(minX, maxY);
    ring->addPoint(minX, minY);
    auto* polygon = new OGRPolygon();
    polygon->addRingDirectly(ring);
    return GeometryPtr(polygon);
}

GdalCompressionUtil::GeometryPtr GdalCompressionUtil::footprint(const DatasetMetadata& metadata, int sourceEPSG,
                                                                const OGRSpatialReference* target, int targetEPSG)
{
    if (!validExtent(metadata))
        return GeometryPtr();
    GeometryPtr shape = box(metadata.MinX, metadata.MinY, metadata.MaxX, metadata.MaxY);
    if (sourceEPSG <= 0 || (!target && targetEPSG <= 0) || sourceEPSG == targetEPSG)
        return shape;

    // Straight edges in one reference are curves in another: carry many points of each edge.
    auto* polygon = shape->toPolygon();
    const double segment =
        std::max(metadata.MaxX - metadata.MinX, metadata.MaxY - metadata.MinY) / double(densifyPoints * 3);
    polygon->segmentize(segment);
    OGRLinearRing* ring = polygon->getExteriorRing();

    std::unique_ptr<OGRCoordinateTransformation, void (*)(OGRCoordinateTransformation*)> ownTransform(
        nullptr, &OGRCoordinateTransformation::DestroyCT);
    OGRCoordinateTransformation* transformation = nullptr;
    if (targetEPSG > 0) {
        transformation = &transforms->transformation(sourceEPSG, targetEPSG);
    } else {
        ownTransform.reset(OGRCreateCoordinateTransformation(&transforms->spatialReference(sourceEPSG), target));
        transformation = ownTransform.get();
        if (!transformation)
            throw TSR::CRuntimeError("No transformation from EPSG:" + std::to_string(sourceEPSG) + " is available.");
    }
    const int count = ring->getNumPoints();
    std::vector<double> x(count), y(count);
    std::vector<int> success(count);
    ring->getPoints(x.data(), sizeof(double), y.data(), sizeof(double));
    GdalErrorScope errors;
    transformation->Transform(count, x.data(), y.data(), nullptr, nullptr, success.data());
    auto* carried = new OGRLinearRing();
    for (int i = 0; i < count; ++i) {
        if (success[i] && std::isfinite(x[i]) && std::isfinite(y[i]))
            carried->addPoint(x[i], y[i]);
    }
    if (carried->getNumPoints() < 4) {
        delete carried;
        return GeometryPtr();
    }
    carried->closeRings();
    auto* result = new OGRPolygon();
    result->addRingDirectly(carried);
    if (!result->IsValid()) {
        // A ring that folds over itself after the transformation (a point that failed on a
        // corner) is repaired rather than dropped.
        GeometryPtr repaired(result->MakeValid());
        delete result;
        return repaired;
    }
    return GeometryPtr(result);
}

GdalCompressionUtil::GeometryPtr GdalCompressionUtil::unionOf(std::vector<GeometryPtr>& geometries)
{
    auto* collection = new OGRMultiPolygon();
    GeometryPtr owner(collection);
    for (GeometryPtr& geometry : geometries) {
        if (!geometry || geometry->IsEmpty())
            continue;
        const OGRwkbGeometryType type = wkbFlatten(geometry->getGeometryType());
        if (type == wkbPolygon) {
            collection->addGeometryDirectly(geometry.release());
        } else if (type == wkbMultiPolygon || type == wkbGeometryCollection) {
            for (const OGRGeometry* part : *geometry->toGeometryCollection()) {
                if (wkbFlatten(part->getGeometryType()) == wkbPolygon)
                    collection->addGeometry(part);
            }
        }
    }
    if (collection->IsEmpty())
        return GeometryPtr();
    GdalErrorScope errors;
    GeometryPtr merged(collection->UnionCascaded());
    if (!merged)
        throw TSR::CRuntimeError("The footprints of the datasets could not be merged: " + errors.lastError());
    return merged;
}

}  // namespace TSR::ImageCompressor::API
