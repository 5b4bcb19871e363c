#pragma once

#include <map>

#include "wizard/dataset/ccrsidentifier.h"
#include "wizard/dataset/cstring.h"
#include "wizard/dataset/datasetmetadata.h"

namespace TSR::ImageCompressor::API {

// Dataset records by absolute path.
using DatasetMetadataMap = std::map<TSR::CString, DatasetMetadata>;

struct DatasetScanResult
{
    CCRSIdentifier CRS;
    DatasetMetadataMap Datasets;
};

}  // namespace TSR::ImageCompressor::API
