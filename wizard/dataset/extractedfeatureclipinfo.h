#pragma once

#include <cstdint>
#include <map>
#include <string>
#include <vector>

#include "wizard/dataset/ccrsidentifier.h"
#include "wizard/dataset/cstring.h"

namespace TSR::ImageCompressor::API {

// One polygon feature of a shapefile, or a region made from several. Held through std::shared_ptr.
struct ExtractedFeatureClipInfo
{
    std::string LayerName;
    std::int32_t FeatureId = 0;
    CCRSIdentifier CRS;
    std::map<std::string, std::string> StringAttributes;
    std::map<std::string, double> RealAttributes;
    std::map<std::string, std::int32_t> IntegerAttributes;
    // In the layer's coordinates. Empty when MaxX is not above MinX or MaxY not above MinY.
    double MinX = 0.0;
    double MinY = 0.0;
    double MaxX = 0.0;
    double MaxY = 0.0;
    std::vector<TSR::CString> IntersectingDatasets;
};

}  // namespace TSR::ImageCompressor::API
