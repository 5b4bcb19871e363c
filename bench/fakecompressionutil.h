#pragma once

#include <map>
#include <memory>
#include <string>
#include <vector>

#include "wizard/dataset/compressionutilfactory.h"
#include "wizard/dataset/icompressionutil.h"

namespace API = TSR::ImageCompressor::API;

// Answers the map's calls from what the caller puts in. Coordinates pass through unchanged, so the
// datasets of a test are given in degrees whatever EPSG number they claim.
class FakeCompressionUtil : public API::ICompressionUtil
{
public:
    struct Header
    {
        bool read = true;
        API::DatasetMetadata metadata;
    };

    // By UTF-8 path.
    std::map<std::string, Header> headers;
    std::vector<API::FeaturePolygon> polygons;
    std::vector<int> extentSources;

    void ReprojectPoints(const API::Ring& points, int, int, API::Ring& result) override { result = points; }

    void ReprojectExtent(const API::DatasetMetadata& metadata, int sourceEPSG, int, double& minX, double& minY,
                         double& maxX, double& maxY) override
    {
        extentSources.push_back(sourceEPSG);
        minX = metadata.MinX;
        minY = metadata.MinY;
        maxX = metadata.MaxX;
        maxY = metadata.MaxY;
    }

    bool ReadDatasetMetadata(const TSR::CString& path, int& epsg, API::DatasetMetadata& metadata, bool) override
    {
        const auto found = headers.find(path.utf8_str());
        if (found == headers.end())
            throw TSR::CRuntimeError(std::string("cannot open ") + path.utf8_str());
        metadata = found->second.metadata;
        epsg = metadata.EPSG;
        return found->second.read;
    }

    void ReadFeaturePolygons(const TSR::CString&, const API::ExtractedFeatureClipInfo&, int,
                             std::vector<API::FeaturePolygon>& result) override
    {
        result = polygons;
    }

    void ComputeOutputDimensions(const API::DatasetMetadataMap&, double, double, double, double, double, double,
                                 std::uint32_t&, std::uint32_t&, const API::ProgressCallback&) override
    {
        unused();
    }
    bool CheckOutputSize(std::uint64_t) override { return unused(); }
    void ComputeActiveArea(const API::DatasetMetadataMap&, const API::ClipInfoPtr&, double&, std::int32_t&,
                           const API::ProgressCallback&) override
    {
        unused();
    }
    void ComputeUpdateCoverage(const std::vector<TSR::CString>&, const TSR::CString&, double&,
                               const API::ScanProgressCallback&) override
    {
        unused();
    }
    void FindIntersectingFeatures(const TSR::CString&, const API::DatasetScanResult&, API::ClipInfoList&) override
    {
        unused();
    }
    void CombineClipRegions(const API::ClipInfoMap&, API::ClipInfoPtr&) override { unused(); }
    bool ClipFeatureToExtent(const TSR::CString&, const API::ExtractedFeatureClipInfo&, int, double, double, double,
                             double, double&, double&, double&, double&) override
    {
        return unused();
    }

private:
    static bool unused() { throw TSR::CRuntimeError("the map does not call this"); }
};

// Hands out the one fake and counts how often the map came for it.
class FakeCompressionUtilFactory : public API::CompressionUtilFactory
{
public:
    explicit FakeCompressionUtilFactory(std::shared_ptr<FakeCompressionUtil> util)
        : util(std::move(util))
    {}

    void GetCompressionUtil(std::shared_ptr<API::ICompressionUtil>& result) override
    {
        ++handedOut;
        result = util;
    }

    static inline int handedOut = 0;

private:
    std::shared_ptr<FakeCompressionUtil> util;
};
