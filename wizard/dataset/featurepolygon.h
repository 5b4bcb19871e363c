#pragma once

#include <vector>

namespace TSR::ImageCompressor::API {

struct PointXY
{
    double X = 0.0;
    double Y = 0.0;
};

using Ring = std::vector<PointXY>;

// One polygon of a feature: a multipolygon feature gives one of these per part.
class FeaturePolygon
{
public:
    FeaturePolygon();
    FeaturePolygon(const FeaturePolygon& other);
    FeaturePolygon(FeaturePolygon&& other) noexcept;
    virtual ~FeaturePolygon();

    FeaturePolygon& operator=(const FeaturePolygon& other);
    FeaturePolygon& operator=(FeaturePolygon&& other) noexcept;

    Ring OuterRing;
    std::vector<Ring> InnerRings;
};

}  // namespace TSR::ImageCompressor::API
