#include "wizard/dataset/gdal/gdalerrorscope.h"

#include <cpl_error.h>

#include <cerrno>
#include <cstring>
#include <sys/stat.h>
#include <unistd.h>

namespace TSR::ImageCompressor::API {

GdalErrorScope::GdalErrorScope()
{
    CPLPushErrorHandler(CPLQuietErrorHandler);
    CPLErrorReset();
}

GdalErrorScope::~GdalErrorScope()
{
    CPLPopErrorHandler();
}

std::string GdalErrorScope::lastError() const
{
    if (CPLGetLastErrorType() < CE_Failure)
        return std::string();
    return CPLGetLastErrorMsg();
}

std::string GdalErrorScope::openFailure(const std::string& path) const
{
    std::string reason;
    // GDAL's message for a missing or unreadable file is often only "not recognized as a supported
    // file format", which sends the user looking in the wrong place.
    struct stat info;
    if (path.rfind("/vsi", 0) != 0) {
        if (::stat(path.c_str(), &info) != 0)
            reason = errno == ENOENT ? "the file does not exist" : std::strerror(errno);
        else if (S_ISDIR(info.st_mode))
            reason = "it is a folder, not a file";
        else if (::access(path.c_str(), R_OK) != 0)
            reason = "permission denied";
        else if (info.st_size == 0)
            reason = "the file is empty";
    }
    if (reason.empty())
        reason = lastError();
    if (reason.empty())
        reason = "the format is not supported";
    return "Cannot open \"" + path + "\": " + reason;
}

}  // namespace TSR::ImageCompressor::API
