#include "wizard/dataset/gdal/gdalcompressionutil.h"

#include <ogr_geometry.h>
#include <ogr_spatialref.h>

#include <cpl_vsi.h>
#include <gdal.h>
#include <unistd.h>

#include <algorithm>
#include <cctype>
#include <cmath>
#include <map>
#include <memory>

#include "wizard/dataset/gdal/gdalerrorscope.h"
#include "wizard/dataset/gdal/transformcache.h"

namespace TSR::ImageCompressor::API {

namespace {

constexpr int geographicEPSG = 4326;
constexpr std::int32_t squareKilometres = 1;
// Points per edge of a dataset's box on its way to geographic coordinates: a polar tile's edges
// become long curves there.
constexpr int edgePoints = 64;
// Longest step along an edge when an area is measured.
constexpr double measureStepDegrees = 0.25;

bool validExtent(const DatasetMetadata& metadata)
{
    return metadata.MinX < metadata.MaxX && metadata.MinY < metadata.MaxY;
}

double areaOf(const OGRGeometry* geometry)
{
    if (const auto* surface = dynamic_cast<const OGRSurface*>(geometry))
        return surface->get_Area();
    if (const auto* collection = dynamic_cast<const OGRGeometryCollection*>(geometry))
        return collection->get_Area();
    return 0.0;
}

// The WGS 84 ellipsoid's area between the equator and a latitude, per radian of longitude: with
// x the longitude in radians and y this function, a shape's plane area is its area on the ground
// (the authalic cylinder), exact at the poles and for a whole band round the world.
double authalicY(double latitude)
{
    constexpr double a = 6378137.0;
    constexpr double f = 1.0 / 298.257223563;
    const double e2 = f * (2.0 - f);
    const double e = std::sqrt(e2);
    const double s = std::sin(latitude * M_PI / 180.0);
    const double q = (1.0 - e2) * (s / (1.0 - e2 * s * s) - std::log((1.0 - e * s) / (1.0 + e * s)) / (2.0 * e));
    return a * a / 2.0 * q;
}

double ringArea(const OGRLinearRing* ring)
{
    double twice = 0.0;
    const int count = ring->getNumPoints();
    for (int i = 0; i + 1 < count; ++i) {
        const double x0 = ring->getX(i) * M_PI / 180.0;
        const double x1 = ring->getX(i + 1) * M_PI / 180.0;
        twice += (x0 - x1) * (authalicY(ring->getY(i)) + authalicY(ring->getY(i + 1)));
    }
    return std::fabs(twice) / 2.0;
}

void shiftLongitudes(OGRGeometry& geometry, double shift)
{
    const OGRwkbGeometryType type = wkbFlatten(geometry.getGeometryType());
    if (type == wkbPolygon) {
        for (OGRLinearRing* ring : *geometry.toPolygon()) {
            for (int i = 0; i < ring->getNumPoints(); ++i)
                ring->setPoint(i, ring->getX(i) + shift, ring->getY(i));
        }
    } else if (type == wkbMultiPolygon || type == wkbGeometryCollection) {
        for (OGRGeometry* part : *geometry.toGeometryCollection())
            shiftLongitudes(*part, shift);
    }
}

// Square metres on the ellipsoid of polygons in geographic coordinates.
double groundArea(const OGRGeometry* geometry)
{
    if (!geometry)
        return 0.0;
    std::unique_ptr<OGRGeometry> measured(geometry->clone());
    measured->segmentize(measureStepDegrees);
    double area = 0.0;
    const auto addPolygon = [&area](const OGRPolygon* polygon) {
        area += ringArea(polygon->getExteriorRing());
        for (int i = 0; i < polygon->getNumInteriorRings(); ++i)
            area -= ringArea(polygon->getInteriorRing(i));
    };
    const OGRwkbGeometryType type = wkbFlatten(measured->getGeometryType());
    if (type == wkbPolygon) {
        addPolygon(measured->toPolygon());
    } else if (type == wkbMultiPolygon || type == wkbGeometryCollection) {
        for (const OGRGeometry* part : *measured->toGeometryCollection()) {
            if (wkbFlatten(part->getGeometryType()) == wkbPolygon)
                addPolygon(part->toPolygon());
        }
    }
    return area;
}

}  // namespace

GdalCompressionUtil::GeometryPtr GdalCompressionUtil::geographicFootprint(const DatasetMetadata& metadata, int epsg)
{
    if (!validExtent(metadata) || epsg <= 0 || !transforms->isKnown(epsg))
        return GeometryPtr();
    const GeometryPtr native = box(metadata.MinX, metadata.MinY, metadata.MaxX, metadata.MaxY);
    return geographicShape(*native->toPolygon(), epsg);
}

GdalCompressionUtil::GeometryPtr GdalCompressionUtil::geographicShape(const OGRPolygon& native, int epsg)
{
    OGREnvelope extent;
    native.getEnvelope(&extent);
    const double step = std::max(extent.MaxX - extent.MinX, extent.MaxY - extent.MinY) / edgePoints;
    GeometryPtr shape = geographicRing(*native.getExteriorRing(), epsg, step);
    if (!shape || native.getNumInteriorRings() == 0)
        return shape;
    std::vector<GeometryPtr> holes;
    for (int i = 0; i < native.getNumInteriorRings(); ++i) {
        if (GeometryPtr hole = geographicRing(*native.getInteriorRing(i), epsg, step))
            holes.push_back(std::move(hole));
    }
    if (GeometryPtr cut = unionOf(holes)) {
        GdalErrorScope errors;
        shape.reset(shape->Difference(cut.get()));
    }
    return shape;
}

GdalCompressionUtil::GeometryPtr GdalCompressionUtil::geographicRing(const OGRLinearRing& native, int epsg, double step)
{
    // Edges are cut into short pieces first: a straight edge of a projected box is a long curve
    // in geographic coordinates, near a pole above all.
    OGRLinearRing dense(native);
    if (step > 0.0)
        dense.segmentize(step);
    std::vector<double> x, y;
    x.reserve(std::size_t(dense.getNumPoints()));
    y.reserve(std::size_t(dense.getNumPoints()));
    // The closing point repeats the first and is left out, so a ring round a pole ends where the
    // turn shows.
    for (int i = 0; i + 1 < dense.getNumPoints(); ++i) {
        x.push_back(dense.getX(i));
        y.push_back(dense.getY(i));
    }
    std::vector<int> success(x.size(), TRUE);
    if (epsg != geographicEPSG) {
        GdalErrorScope errors;
        transforms->transformation(epsg, geographicEPSG)
            .Transform(int(x.size()), x.data(), y.data(), nullptr, nullptr, success.data());
    }

    // Longitudes made continuous along the ring, so that an edge across the antimeridian is a
    // short step and not a jump round the world.
    auto* ring = new OGRLinearRing();
    GeometryPtr owner(new OGRPolygon());
    double previous = 0.0;
    for (std::size_t i = 0; i < x.size(); ++i) {
        if (!success[i] || !std::isfinite(x[i]) || !std::isfinite(y[i]))
            continue;
        double longitude = x[i];
        if (ring->getNumPoints() > 0)
            longitude += 360.0 * std::round((previous - longitude) / 360.0);
        ring->addPoint(longitude, std::clamp(y[i], -90.0, 90.0));
        previous = longitude;
    }
    if (ring->getNumPoints() < 3) {
        delete ring;
        return GeometryPtr();
    }
    // A ring that goes once round a pole ends a whole turn away from its start: the pole lies
    // inside, so the ring is closed along it.
    const double turn = 360.0 * std::round((ring->getX(0) - previous) / 360.0);
    if (turn != 0.0) {
        double latitudes = 0.0;
        for (int i = 0; i < ring->getNumPoints(); ++i)
            latitudes += ring->getY(i);
        const double pole = latitudes > 0.0 ? 90.0 : -90.0;
        ring->addPoint(ring->getX(0) - turn, ring->getY(0));
        ring->addPoint(ring->getX(0) - turn, pole);
        ring->addPoint(ring->getX(0), pole);
    }
    ring->closeRings();
    owner->toPolygon()->addRingDirectly(ring);
    GdalErrorScope errors;
    if (!owner->IsValid())
        owner.reset(owner->MakeValid());
    if (!owner)
        return GeometryPtr();

    // Cut into whole turns of longitude and bring each piece into -180..180; most shapes lie
    // there already and need no overlay.
    OGREnvelope envelope;
    owner->getEnvelope(&envelope);
    if (envelope.MinX >= -180.0 && envelope.MaxX <= 180.0)
        return owner;
    std::vector<GeometryPtr> pieces;
    for (double shift = 360.0 * std::floor((envelope.MinX + 180.0) / 360.0); shift - 180.0 < envelope.MaxX;
         shift += 360.0) {
        GeometryPtr window = box(shift - 180.0, -90.0, shift + 180.0, 90.0);
        GeometryPtr piece(owner->Intersection(window.get()));
        if (!piece || piece->IsEmpty())
            continue;
        if (shift != 0.0)
            shiftLongitudes(*piece, -shift);
        pieces.push_back(std::move(piece));
    }
    return unionOf(pieces);
}

void GdalCompressionUtil::ComputeActiveArea(const DatasetMetadataMap& datasets, const ClipInfoPtr& region, double& area,
                                            std::int32_t& unit, const ProgressCallback& progress)
{
    area = 0.0;
    unit = squareKilometres;
    if (progress)
        progress(0.0);

    // The boxes of one reference are merged where they are exact, in that reference, where tiles
    // that touch share their edges; only the merged outlines go to geographic coordinates, where
    // the shapes of every reference are merged and measured on the ellipsoid. So no projection has
    // to suit the whole set: it may span the world, a pole or the antimeridian.
    std::map<int, std::vector<GeometryPtr>> boxes;
    int commonEPSG = 0;
    std::size_t done = 0;
    for (const auto& entry : datasets) {
        const DatasetMetadata& metadata = entry.second;
        const int epsg = effectiveEPSG(metadata);
        if (validExtent(metadata) && epsg > 0 && transforms->isKnown(epsg)) {
            boxes[epsg].push_back(box(metadata.MinX, metadata.MinY, metadata.MaxX, metadata.MaxY));
            if (commonEPSG == 0)
                commonEPSG = epsg;
        }
        if (progress)
            progress(35.0 * double(++done) / double(datasets.size()));
    }
    std::vector<GeometryPtr> footprints;
    for (auto& group : boxes) {
        GeometryPtr merged = unionOf(group.second);
        const auto addShape = [&](const OGRGeometry* part) {
            if (part && wkbFlatten(part->getGeometryType()) == wkbPolygon) {
                if (GeometryPtr shape = geographicShape(*part->toPolygon(), group.first))
                    footprints.push_back(std::move(shape));
            }
        };
        if (merged && wkbFlatten(merged->getGeometryType()) == wkbPolygon) {
            addShape(merged.get());
        } else if (merged) {
            for (const OGRGeometry* part : *merged->toGeometryCollection())
                addShape(part);
        }
        if (progress)
            progress(70.0);
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
        GeometryPtr clip = geographicFootprint(regionBox, regionEPSG);
        GdalErrorScope errors;
        covered.reset(clip ? covered->Intersection(clip.get()) : nullptr);
    }
    area = groundArea(covered.get()) / 1.0e6;
    if (progress)
        progress(100.0);
}

void GdalCompressionUtil::requireReadableFormat(const std::string& path)
{
    GdalErrorScope errors;
    VSIStatBufL info;
    const bool readableFile = VSIStatL(path.c_str(), &info) == 0 && VSI_ISREG(info.st_mode) && info.st_size > 0
        && ::access(path.c_str(), R_OK) == 0;
    if (!readableFile || GDALIdentifyDriver(path.c_str(), nullptr))
        return;
    // The compressor writes formats that GDAL reads only through a plugin of their maker; telling
    // that apart from a damaged file saves the user a search.
    const std::size_t dot = path.find_last_of('.');
    const std::string suffix =
        dot == std::string::npos || path.find('/', dot) != std::string::npos ? std::string() : path.substr(dot + 1);
    std::string upper = suffix;
    std::transform(upper.begin(), upper.end(), upper.begin(), [](unsigned char c) { return char(std::toupper(c)); });
    const std::string reader = upper == "WVC"
        ? "the WVC driver plugin for GDAL, installed in GDAL's plugin folder"
        : "a GDAL driver for " + (upper.empty() ? std::string("its format") : "\"." + suffix + "\" files");
    throw TSR::CRuntimeError("The format of \"" + path
                             + "\" cannot be read on this system: no installed "
                               "GDAL driver recognises it. Reading it needs "
                             + reader + ".");
}

void GdalCompressionUtil::ComputeUpdateCoverage(const std::vector<TSR::CString>& inputs, const TSR::CString& updateFile,
                                                double& coverage, const ScanProgressCallback& progress)
{
    coverage = 0.0;
    const auto report = [&progress](const TSR::CString& message, double percent) {
        if (progress)
            progress(ScanProgress{message, percent});
    };
    report(updateFile, 0.0);

    DatasetMetadata target;
    const std::string targetPath = updateFile.utf8_str();
    requireReadableFormat(targetPath);
    if (!readHeader(targetPath, target, false))
        throw TSR::CRuntimeError("\"" + targetPath
                                 + "\" has no georeferencing, so the area it "
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
