#include "wizard/dataset/compressionutilfactory.h"

#include <gdal.h>

#include <mutex>

#include "wizard/dataset/gdal/gdalcompressionutil.h"
#include "wizard/dataset/gdal/transformcache.h"

namespace TSR::ImageCompressor::API {

struct CompressionUtilFactory::State
{
    std::shared_ptr<TransformCache> transforms = std::make_shared<TransformCache>();
};

namespace {

// Outlives single factories, so that the wizard's habit of one factory per dataset does not throw
// the cached transformations away each time.
std::shared_ptr<CompressionUtilFactory::State>& sharedState()
{
    static std::shared_ptr<CompressionUtilFactory::State> state;
    return state;
}

}  // namespace

CompressionUtilFactory::CompressionUtilFactory()
{
    static std::once_flag registered;
    std::call_once(registered, [] { GDALAllRegister(); });
    if (!sharedState())
        sharedState() = std::make_shared<State>();
    state = sharedState();
}

CompressionUtilFactory::~CompressionUtilFactory() = default;

void CompressionUtilFactory::GetCompressionUtil(std::shared_ptr<ICompressionUtil>& util)
{
    util = std::make_shared<GdalCompressionUtil>(state->transforms);
}

void CompressionUtilFactory::Shutdown()
{
    // Factories and interfaces still alive keep their share; the rest goes now.
    sharedState().reset();
}

}  // namespace TSR::ImageCompressor::API
