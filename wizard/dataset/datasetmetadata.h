#pragma once

#include <cstdint>

#include "wizard/dataset/cstring.h"

namespace TSR::ImageCompressor::API {

// What one dataset reports. The extent is valid when MinX < MaxX and MinY < MaxY.
struct DatasetMetadata
{
    double MinX = 0.0;
    double MinY = 0.0;
    double MaxX = 0.0;
    double MaxY = 0.0;
    double CellSizeX = 0.0;
    // Negative for north-up rasters; readers take the absolute value.
    double CellSizeY = 0.0;
    // The raster's size in pixels; the program carries these along without reading them.
    std::int64_t RasterWidth = 0;
    std::int64_t RasterHeight = 0;
    // 0 or less when unknown.
    std::int32_t EPSG = 0;
    // Empty, or the user's choice as "EPSG:xxxx"; when set it takes the place of EPSG.
    TSR::CString EPSGOverride;
};

}  // namespace TSR::ImageCompressor::API
