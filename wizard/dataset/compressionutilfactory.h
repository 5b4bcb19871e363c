#pragma once

#include <memory>

#include "wizard/dataset/icompressionutil.h"

namespace TSR::ImageCompressor::API {

// The way in. Make one with shared ownership for each user action and drop it at the end; what is
// worth keeping between actions (coordinate transformations) lives behind it until Shutdown.
// The definitions come with the implementation library (datasetgdal), which callers link.
class CompressionUtilFactory
{
public:
    CompressionUtilFactory();
    CompressionUtilFactory(const CompressionUtilFactory&) = delete;
    CompressionUtilFactory& operator=(const CompressionUtilFactory&) = delete;

    virtual void GetCompressionUtil(std::shared_ptr<ICompressionUtil>& util);
    virtual ~CompressionUtilFactory();

    // Releases the shared state. Safe when idle and when called twice; a later factory starts afresh.
    static void Shutdown();

    struct State;

private:
    std::shared_ptr<State> state;
};

}  // namespace TSR::ImageCompressor::API
