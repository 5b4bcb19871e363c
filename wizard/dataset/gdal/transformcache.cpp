#include "wizard/dataset/gdal/transformcache.h"

#include <cpl_conv.h>
#include <cpl_string.h>
#include <ogr_spatialref.h>

#include <cstdlib>
#include <string>

#include "wizard/dataset/cruntimeerror.h"
#include "wizard/dataset/gdal/gdalerrorscope.h"

namespace TSR::ImageCompressor::API {

namespace {

// FindMatches ranks by likeness of name as much as of definition: a UTM zone in feet comes back
// as the metre zone with confidence 50. Below that only names are alike.
constexpr int minimumMatchConfidence = 50;

bool isEpsg(const char* authority)
{
    return authority && EQUAL(authority, "EPSG");
}

// Equal in datum, projection, parameters and units; the order of the axes does not count, since
// every coordinate is handled in easting-northing order here.
bool equivalent(const OGRSpatialReference& a, const OGRSpatialReference& b)
{
    const char* const options[] = {"IGNORE_DATA_AXIS_TO_SRS_AXIS_MAPPING=YES",
                                   "CRITERION=EQUIVALENT_EXCEPT_AXIS_ORDER_GEOGCRS", nullptr};
    if (a.IsSame(&b, options))
        return true;
    if (!a.IsProjected() || !b.IsProjected())
        return false;
    OGRSpatialReference eastNorthA(a);
    OGRSpatialReference eastNorthB(b);
    for (OGRSpatialReference* reference : {&eastNorthA, &eastNorthB})
        reference->SetAxes("PROJCS", "Easting", OAO_East, "Northing", OAO_North);
    return eastNorthA.IsSame(&eastNorthB, options);
}

int codeOf(const OGRSpatialReference& reference)
{
    const char* code = reference.GetAuthorityCode(nullptr);
    return code ? std::atoi(code) : 0;
}

// The one EPSG reference equivalent to the given one; 0 for none, and for two equally likely ones
// rather than place the dataset by a guess.
int searchRegistry(const OGRSpatialReference& reference)
{
    int count = 0;
    int* confidences = nullptr;
    OGRSpatialReferenceH* matches = reference.FindMatches(nullptr, &count, &confidences);
    int epsg = 0;
    int bestConfidence = 0;
    for (int i = 0; i < count && confidences[i] >= minimumMatchConfidence; ++i) {
        const auto& match = *OGRSpatialReference::FromHandle(matches[i]);
        if (!isEpsg(match.GetAuthorityName(nullptr)) || !equivalent(reference, match))
            continue;
        if (epsg != 0) {
            if (confidences[i] == bestConfidence)
                epsg = 0;
            break;
        }
        epsg = codeOf(match);
        bestConfidence = confidences[i];
    }
    OSRFreeSRSArray(matches);
    CPLFree(confidences);
    return epsg;
}

}  // namespace

TransformCache::TransformCache() = default;

TransformCache::~TransformCache() = default;

void TransformCache::TransformDeleter::operator()(OGRCoordinateTransformation* transformation) const
{
    OGRCoordinateTransformation::DestroyCT(transformation);
}

const OGRSpatialReference& TransformCache::spatialReference(int epsg)
{
    auto found = references.find(epsg);
    if (found != references.end())
        return *found->second;
    GdalErrorScope errors;
    auto reference = std::make_unique<OGRSpatialReference>();
    if (epsg <= 0 || reference->importFromEPSG(epsg) != OGRERR_NONE)
        throw TSR::CRuntimeError("EPSG:" + std::to_string(epsg) + " is not a known coordinate reference system.");
    reference->SetAxisMappingStrategy(OAMS_TRADITIONAL_GIS_ORDER);
    return *references.emplace(epsg, std::move(reference)).first->second;
}

OGRCoordinateTransformation& TransformCache::transformation(int sourceEPSG, int targetEPSG)
{
    const auto key = std::make_pair(sourceEPSG, targetEPSG);
    auto found = transformations.find(key);
    if (found != transformations.end())
        return *found->second;
    const OGRSpatialReference& source = spatialReference(sourceEPSG);
    const OGRSpatialReference& target = spatialReference(targetEPSG);
    GdalErrorScope errors;
    OGRCoordinateTransformation* made = OGRCreateCoordinateTransformation(&source, &target);
    if (!made)
        throw TSR::CRuntimeError("No transformation from EPSG:" + std::to_string(sourceEPSG)
                                 + " to EPSG:" + std::to_string(targetEPSG) + " is available: " + errors.lastError());
    return *transformations.emplace(key, made).first->second;
}

bool TransformCache::isKnown(int epsg)
{
    try {
        spatialReference(epsg);
        return true;
    } catch (const TSR::CRuntimeError&) {
        return false;
    }
}

int TransformCache::identifyEPSG(const OGRSpatialReference* reference)
{
    if (!reference || reference->IsEmpty())
        return 0;
    const bool compound = reference->IsCompound();
    if (!compound && isEpsg(reference->GetAuthorityName(nullptr)))
        return codeOf(*reference);
    GdalErrorScope errors;
    char* text = nullptr;
    reference->exportToWkt(&text);
    std::string definition = text ? text : "";
    CPLFree(text);
    const auto known = identified.find(definition);
    if (known != identified.end())
        return known->second;
    int epsg = 0;
    if (compound) {
        // Heights do not move a dataset on the map nor keep it out of a mosaic of plain tiles.
        OGRSpatialReference horizontal(*reference);
        if (horizontal.StripVertical() == OGRERR_NONE && !horizontal.IsCompound())
            epsg = identifyEPSG(&horizontal);
    } else {
        epsg = searchRegistry(*reference);
    }
    identified.emplace(std::move(definition), epsg);
    return epsg;
}

}  // namespace TSR::ImageCompressor::API
