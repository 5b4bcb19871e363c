#pragma once

#include <string>

namespace TSR::ImageCompressor::API {

// Keeps GDAL's own error reports off standard error while a call runs, and gives the last one, so
// that it can go into the exception the user reads.
class GdalErrorScope
{
public:
    GdalErrorScope();
    ~GdalErrorScope();
    GdalErrorScope(const GdalErrorScope&) = delete;
    GdalErrorScope& operator=(const GdalErrorScope&) = delete;

    // GDAL's last message of failure level since the scope began; empty if there was none.
    std::string lastError() const;

    // "Cannot open "<path>": <reason>", the reason told from the file system where it can be,
    // GDAL's message otherwise.
    std::string openFailure(const std::string& path) const;
};

}  // namespace TSR::ImageCompressor::API
