#include "wizard/dataset/featurepolygon.h"

namespace TSR::ImageCompressor::API {

FeaturePolygon::FeaturePolygon() = default;
FeaturePolygon::FeaturePolygon(const FeaturePolygon& other) = default;
FeaturePolygon::FeaturePolygon(FeaturePolygon&& other) noexcept = default;
FeaturePolygon::~FeaturePolygon() = default;
FeaturePolygon& FeaturePolygon::operator=(const FeaturePolygon& other) = default;
FeaturePolygon& FeaturePolygon::operator=(FeaturePolygon&& other) noexcept = default;

}  // namespace TSR::ImageCompressor::API
