#pragma once

#include "wizard/dataset/cstring.h"

namespace TSR::ImageCompressor::API {

// Passed to the callbacks of the scanning kind.
struct ScanProgress
{
    TSR::CString Message;
    // 0 to 100.
    double Percent = 0.0;
};

}  // namespace TSR::ImageCompressor::API
