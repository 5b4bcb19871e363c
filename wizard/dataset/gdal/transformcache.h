#pragma once

#include <map>
#include <memory>
#include <string>
#include <utility>

class OGRCoordinateTransformation;
class OGRSpatialReference;

namespace TSR::ImageCompressor::API {

// Spatial references and transformations by EPSG number, made once and kept until the factory's
// shared state is released: building a transformation costs far more than using it, and the
// wizard asks for the same pair once per dataset. All in traditional GIS order (x = easting or
// longitude). Not for use from several threads at once; every call comes from the GUI thread.
class TransformCache
{
public:
    TransformCache();
    ~TransformCache();
    TransformCache(const TransformCache&) = delete;
    TransformCache& operator=(const TransformCache&) = delete;

    // Throw TSR::CRuntimeError for a number that names no known reference.
    const OGRSpatialReference& spatialReference(int epsg);
    OGRCoordinateTransformation& transformation(int sourceEPSG, int targetEPSG);
    // Whether PROJ knows the number; never throws.
    bool isKnown(int epsg);

    // The EPSG number of a reference: its authority code, or when it carries none an EPSG
    // reference equivalent to it apart from axis order. A compound reference is known by its
    // horizontal part. 0 when unknown. Searching the registry costs milliseconds, so the answer is
    // kept for each distinct definition.
    int identifyEPSG(const OGRSpatialReference* reference);

private:
    struct TransformDeleter
    {
        void operator()(OGRCoordinateTransformation* transformation) const;
    };
    std::map<int, std::unique_ptr<OGRSpatialReference>> references;
    std::map<std::pair<int, int>, std::unique_ptr<OGRCoordinateTransformation, TransformDeleter>> transformations;
    std::map<std::string, int> identified;
};

}  // namespace TSR::ImageCompressor::API
