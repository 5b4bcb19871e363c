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

// FindMatches gives 100 and 90 for an equivalent definition with the same or a similar name, 70
// for an equivalent one under another name, 50 for one that differs only in axis order (which
// the traditional GIS order makes irrelevant here), 25 for a likeness of names alone.
constexpr int minimumMatchConfidence = 50;

bool isEpsg(const char* authority)
{
    return authority && EQUAL(authority, "EPSG");
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
        throw TSR::CRuntimeError("EPSG:" + std::to_string(epsg)
                                 + " is not a known coordinate reference system.");
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
                                 + " to EPSG:" + std::to_string(targetEPSG) + " is available: "
                                 + errors.lastError());
    return *transformations.emplace(key, made).first->second;
}

int TransformCache::identifyEPSG(const OGRSpatialReference* reference)
{
    if (!reference || reference->IsEmpty())
        return 0;
    if (isEpsg(reference->GetAuthorityName(nullptr))) {
        const char* code = reference->GetAuthorityCode(nullptr);
        return code ? std::atoi(code) : 0;
    }
    GdalErrorScope errors;
    int count = 0;
    int* confidences = nullptr;
    OGRSpatialReferenceH* matches = reference->FindMatches(nullptr, &count, &confidences);
    int epsg = 0;
    // Matches come best first. Two equally good candidates leave the reference unknown rather
    // than place the dataset by a guess.
    int bestConfidence = 0;
    for (int i = 0; i < count && confidences[i] >= minimumMatchConfidence; ++i) {
        const auto* match = OGRSpatialReference::FromHandle(matches[i]);
        if (!isEpsg(match->GetAuthorityName(nullptr)))
            continue;
        if (epsg != 0) {
            if (confidences[i] == bestConfidence)
                epsg = 0;
            break;
        }
        const char* code = match->GetAuthorityCode(nullptr);
        epsg = code ? std::atoi(code) : 0;
        bestConfidence = confidences[i];
    }
    OSRFreeSRSArray(matches);
    CPLFree(confidences);
    return epsg;
}

}  // namespace TSR::ImageCompressor::API
