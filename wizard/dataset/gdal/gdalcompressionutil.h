#pragma once

#include <memory>
#include <string>
#include <vector>

#include "wizard/dataset/icompressionutil.h"

class GDALDataset;
class OGRFeature;
class OGRGeometry;
class OGRLayer;
class OGRLinearRing;
class OGRPolygon;
class OGRSpatialReference;

namespace TSR::ImageCompressor::API {

class TransformCache;

// The dataset interface on GDAL: raster headers, reprojection and sizes here; areas and coverage
// in gdalcompressionutilarea.cpp; shapefile features in gdalcompressionutilfeatures.cpp.
class GdalCompressionUtil : public ICompressionUtil
{
public:
    explicit GdalCompressionUtil(std::shared_ptr<TransformCache> transforms);
    ~GdalCompressionUtil() override;

    void ReprojectPoints(const Ring& points, int sourceEPSG, int targetEPSG, Ring& result) override;
    void ReprojectExtent(const DatasetMetadata& metadata, int sourceEPSG, int targetEPSG, double& minX, double& minY,
                         double& maxX, double& maxY) override;
    bool ReadDatasetMetadata(const TSR::CString& path, int& epsg, DatasetMetadata& metadata, bool mosaic) override;
    void ComputeOutputDimensions(const DatasetMetadataMap& datasets, double regionMinX, double regionMinY,
                                 double regionMaxX, double regionMaxY, double cellSizeX, double cellSizeY,
                                 std::uint32_t& width, std::uint32_t& height,
                                 const ProgressCallback& progress) override;
    bool CheckOutputSize(std::uint64_t pixels) override;
    void ComputeActiveArea(const DatasetMetadataMap& datasets, const ClipInfoPtr& region, double& area,
                           std::int32_t& unit, const ProgressCallback& progress) override;
    void ComputeUpdateCoverage(const std::vector<TSR::CString>& inputs, const TSR::CString& updateFile,
                               double& coverage, const ScanProgressCallback& progress) override;
    void FindIntersectingFeatures(const TSR::CString& shapefile, const DatasetScanResult& scanResult,
                                  ClipInfoList& features) override;
    void CombineClipRegions(const ClipInfoMap& regions, ClipInfoPtr& combined) override;
    bool ClipFeatureToExtent(const TSR::CString& shapefile, const ExtractedFeatureClipInfo& feature, int featureId,
                             double minX, double minY, double maxX, double maxY, double& clipMinX, double& clipMinY,
                             double& clipMaxX, double& clipMaxY) override;
    void ReadFeaturePolygons(const TSR::CString& shapefile, const ExtractedFeatureClipInfo& feature, int featureId,
                             std::vector<FeaturePolygon>& polygons) override;

    // The reference a dataset is in: the user's "EPSG:xxxx" override when there is one.
    static int effectiveEPSG(const DatasetMetadata& metadata);

private:
    struct DatasetCloser
    {
        void operator()(GDALDataset* dataset) const;
    };
    struct GeometryDeleter
    {
        void operator()(OGRGeometry* geometry) const;
    };
    struct FeatureDeleter
    {
        void operator()(OGRFeature* feature) const;
    };
    using DatasetPtr = std::unique_ptr<GDALDataset, DatasetCloser>;
    using GeometryPtr = std::unique_ptr<OGRGeometry, GeometryDeleter>;
    using FeaturePtr = std::unique_ptr<OGRFeature, FeatureDeleter>;

    // Header only; with `mosaic` a dataset without georeferencing throws. False: no georeferencing.
    bool readHeader(const std::string& path, DatasetMetadata& metadata, bool mosaic);

    // The extent as a polygon with its edges cut into short pieces, carried from `sourceEPSG` to
    // `target` (both unknown: left where it is). Empty when nothing of it could be carried over.
    GeometryPtr footprint(const DatasetMetadata& metadata, int sourceEPSG, const OGRSpatialReference* target,
                          int targetEPSG);
    // The extent in geographic coordinates, as what it covers on the ground: in pieces within
    // -180..180 when it crosses the antimeridian, closed along the pole when it holds one. Empty
    // for an unknown reference or an invalid extent.
    GeometryPtr geographicFootprint(const DatasetMetadata& metadata, int epsg);
    // The same for a polygon in `epsg`, holes included; its edges are cut into pieces of a 64th of
    // its larger side on the way.
    GeometryPtr geographicShape(const OGRPolygon& native, int epsg);
    GeometryPtr geographicRing(const OGRLinearRing& native, int epsg, double step);
    // Throws, naming what would read it, when the file is there but no driver knows its format.
    static void requireReadableFormat(const std::string& path);
    static GeometryPtr box(double minX, double minY, double maxX, double maxY);
    static GeometryPtr unionOf(std::vector<GeometryPtr>& geometries);

    // A copy of a feature's geometry in `targetEPSG`; left as it is when that is 0 or the layer
    // has no reference.
    GeometryPtr carriedTo(const OGRGeometry& geometry, const OGRSpatialReference* layerReference, int targetEPSG,
                          const std::string& path);
    DatasetPtr openVector(const std::string& path);
    OGRLayer& layerOf(GDALDataset& dataset, const ExtractedFeatureClipInfo& feature, const std::string& path);
    FeaturePtr featureOf(OGRLayer& layer, int featureId, const std::string& path);

    std::shared_ptr<TransformCache> transforms;
};

}  // namespace TSR::ImageCompressor::API
