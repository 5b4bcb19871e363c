#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "wizard/dataset/ccrsidentifier.h"
#include "wizard/dataset/cruntimeerror.h"
#include "wizard/dataset/cstring.h"
#include "wizard/dataset/datasetmetadata.h"
#include "wizard/dataset/datasetscanresult.h"
#include "wizard/dataset/extractedfeatureclipinfo.h"
#include "wizard/dataset/featurepolygon.h"
#include "wizard/dataset/scanprogress.h"

namespace TSR::ImageCompressor::API {

// Percentages 0 to 100, always delivered on the calling thread.
using ProgressCallback = std::function<void(const double&)>;
using ScanProgressCallback = std::function<void(const ScanProgress&)>;

using ClipInfoPtr = std::shared_ptr<ExtractedFeatureClipInfo>;
using ClipInfoList = std::vector<ClipInfoPtr>;
// Regions by the dataset's UTF-8 path.
using ClipInfoMap = std::map<std::string, ClipInfoPtr>;

// Everything the wizard and the map know about datasets and shapefiles comes through here. Calls
// report failure by throwing TSR::CRuntimeError, whose text names the file and the reason; the
// three operations that return bool report an expected refusal by returning false instead.
// Output arguments are filled in place.
class ICompressionUtil
{
public:
    virtual ~ICompressionUtil();

    virtual void ReprojectPoints(const Ring& points, int sourceEPSG, int targetEPSG, Ring& result) = 0;

    // An unknown source (0 or less, or a number PROJ does not know) or an invalid extent gives
    // back an invalid box of zeros. In geographic coordinates a box across the antimeridian keeps
    // one continuous range: its east edge lies beyond 180.
    virtual void ReprojectExtent(const DatasetMetadata& metadata, int sourceEPSG, int targetEPSG, double& minX,
                                 double& minY, double& maxX, double& maxY) = 0;

    // Reads the header only. False when the dataset opens but has no georeferencing; with
    // `mosaic` set that case throws instead, since such a dataset cannot be placed in a mosaic.
    virtual bool ReadDatasetMetadata(const TSR::CString& path, int& epsg, DatasetMetadata& metadata, bool mosaic) = 0;

    // Region: all four 0 for none. Cell sizes: both 0 for the finest native ones.
    virtual void ComputeOutputDimensions(const DatasetMetadataMap& datasets, double regionMinX, double regionMinY,
                                         double regionMaxX, double regionMaxY, double cellSizeX, double cellSizeY,
                                         std::uint32_t& width, std::uint32_t& height,
                                         const ProgressCallback& progress) = 0;

    virtual bool CheckOutputSize(std::uint64_t pixels) = 0;

    // Unit: 1 square kilometres, 3 square miles.
    virtual void ComputeActiveArea(const DatasetMetadataMap& datasets, const ClipInfoPtr& region, double& area,
                                   std::int32_t& unit, const ProgressCallback& progress) = 0;

    // The share, 0 to 1, of the update file's extent that the inputs cover.
    virtual void ComputeUpdateCoverage(const std::vector<TSR::CString>& inputs, const TSR::CString& updateFile,
                                       double& coverage, const ScanProgressCallback& progress) = 0;

    // Features come in the datasets' reference (their CRS says which) when the datasets share
    // one, whatever the layer's own; ClipFeatureToExtent and ReadFeaturePolygons work in the
    // reference of the record they are given.
    virtual void FindIntersectingFeatures(const TSR::CString& shapefile, const DatasetScanResult& scanResult,
                                          ClipInfoList& features) = 0;

    virtual void CombineClipRegions(const ClipInfoMap& regions, ClipInfoPtr& combined) = 0;

    virtual bool ClipFeatureToExtent(const TSR::CString& shapefile, const ExtractedFeatureClipInfo& feature,
                                     int featureId, double minX, double minY, double maxX, double maxY,
                                     double& clipMinX, double& clipMinY, double& clipMaxX, double& clipMaxY) = 0;

    virtual void ReadFeaturePolygons(const TSR::CString& shapefile, const ExtractedFeatureClipInfo& feature,
                                     int featureId, std::vector<FeaturePolygon>& polygons) = 0;
};

}  // namespace TSR::ImageCompressor::API
