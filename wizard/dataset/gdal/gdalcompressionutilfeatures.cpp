#include "wizard/dataset/gdal/gdalcompressionutil.h"

#include <gdal_priv.h>
#include <ogr_geometry.h>
#include <ogrsf_frmts.h>

#include <algorithm>
#include <limits>
#include <set>

#include "wizard/dataset/gdal/gdalerrorscope.h"
#include "wizard/dataset/gdal/transformcache.h"

namespace TSR::ImageCompressor::API {

namespace {

bool isArea(const OGRGeometry* geometry)
{
    if (!geometry || geometry->IsEmpty())
        return false;
    const OGRwkbGeometryType type = wkbFlatten(geometry->getGeometryType());
    return type == wkbPolygon || type == wkbMultiPolygon || type == wkbCurvePolygon || type == wkbMultiSurface;
}

bool nonEmptyBox(const ExtractedFeatureClipInfo& info)
{
    return info.MinX < info.MaxX && info.MinY < info.MaxY;
}

Ring ringPoints(const OGRLinearRing* ring)
{
    Ring points;
    if (!ring)
        return points;
    points.reserve(ring->getNumPoints());
    for (int i = 0; i < ring->getNumPoints(); ++i)
        points.push_back({ring->getX(i), ring->getY(i)});
    return points;
}

bool fitsInt32(GIntBig value)
{
    return value >= std::numeric_limits<std::int32_t>::min() && value <= std::numeric_limits<std::int32_t>::max();
}

}  // namespace

GdalCompressionUtil::DatasetPtr GdalCompressionUtil::openVector(const std::string& path)
{
    GdalErrorScope errors;
    DatasetPtr dataset(GDALDataset::FromHandle(GDALOpenEx(
        path.c_str(), GDAL_OF_VECTOR | GDAL_OF_READONLY | GDAL_OF_VERBOSE_ERROR, nullptr, nullptr, nullptr)));
    if (!dataset)
        throw TSR::CRuntimeError(errors.openFailure(path));
    if (dataset->GetLayerCount() == 0)
        throw TSR::CRuntimeError("\"" + path + "\" contains no layer of features.");
    return dataset;
}

OGRLayer& GdalCompressionUtil::layerOf(GDALDataset& dataset, const ExtractedFeatureClipInfo& feature,
                                       const std::string& path)
{
    OGRLayer* layer = nullptr;
    if (!feature.LayerName.empty())
        layer = dataset.GetLayerByName(feature.LayerName.c_str());
    // A shapefile has one layer, named after the file; renaming the file must not lose it.
    if (!layer && (feature.LayerName.empty() || dataset.GetLayerCount() == 1))
        layer = dataset.GetLayer(0);
    if (!layer)
        throw TSR::CRuntimeError("\"" + path + "\" has no layer named \"" + feature.LayerName + "\".");
    return *layer;
}

GdalCompressionUtil::FeaturePtr GdalCompressionUtil::featureOf(OGRLayer& layer, int featureId, const std::string& path)
{
    GdalErrorScope errors;
    FeaturePtr feature(layer.GetFeature(featureId));
    if (!feature)
        throw TSR::CRuntimeError("Feature " + std::to_string(featureId) + " does not exist in layer \""
                                 + layer.GetName() + "\" of \"" + path + "\".");
    return feature;
}

GdalCompressionUtil::GeometryPtr GdalCompressionUtil::carriedTo(const OGRGeometry& geometry,
                                                                const OGRSpatialReference* layerReference,
                                                                int targetEPSG, const std::string& path)
{
    GeometryPtr copy(geometry.clone());
    if (targetEPSG <= 0 || !layerReference || layerReference->IsEmpty())
        return copy;
    const int layerEPSG = transforms->identifyEPSG(layerReference);
    if (layerEPSG == targetEPSG)
        return copy;
    std::unique_ptr<OGRCoordinateTransformation, void (*)(OGRCoordinateTransformation*)> own(
        nullptr, &OGRCoordinateTransformation::DestroyCT);
    OGRCoordinateTransformation* transformation = nullptr;
    GdalErrorScope errors;
    if (layerEPSG > 0) {
        transformation = &transforms->transformation(layerEPSG, targetEPSG);
    } else {
        OGRSpatialReference source(*layerReference);
        source.SetAxisMappingStrategy(OAMS_TRADITIONAL_GIS_ORDER);
        own.reset(OGRCreateCoordinateTransformation(&source, &transforms->spatialReference(targetEPSG)));
        transformation = own.get();
    }
    if (!transformation || copy->transform(transformation) != OGRERR_NONE)
        throw TSR::CRuntimeError("The polygons of \"" + path + "\" cannot be carried into EPSG:"
                                 + std::to_string(targetEPSG) + ": " + errors.lastError());
    return copy;
}

void GdalCompressionUtil::FindIntersectingFeatures(const TSR::CString& shapefile, const DatasetScanResult& scanResult,
                                                   ClipInfoList& features)
{
    features.clear();
    const std::string path = shapefile.utf8_str();
    DatasetPtr dataset = openVector(path);
    OGRLayer* layer = dataset->GetLayer(0);
    const int layerEPSG = transforms->identifyEPSG(layer->GetSpatialRef());
    // A layer whose reference has no EPSG number is still reached through its own definition.
    std::unique_ptr<OGRSpatialReference> layerReference;
    if (layerEPSG <= 0 && layer->GetSpatialRef()) {
        layerReference.reset(layer->GetSpatialRef()->Clone());
        layerReference->SetAxisMappingStrategy(OAMS_TRADITIONAL_GIS_ORDER);
    }

    struct Footprint
    {
        TSR::CString path;
        GeometryPtr shape;
        OGREnvelope envelope;
    };
    // Features are reported in the datasets' reference, so that their boxes, the clipping and the
    // drawing on the map all work in the one reference the wizard knows.
    int reported = 0;
    bool mixed = false;
    for (const auto& entry : scanResult.Datasets) {
        const int epsg = effectiveEPSG(entry.second);
        if (epsg > 0 && reported > 0 && epsg != reported)
            mixed = true;
        else if (epsg > 0)
            reported = epsg;
    }
    if (mixed || reported <= 0)
        reported = scanResult.CRS.GetEPSG();
    if (reported <= 0 || !transforms->isKnown(reported) || !layer->GetSpatialRef())
        reported = layerEPSG;

    std::vector<Footprint> footprints;
    OGREnvelope all;
    for (const auto& entry : scanResult.Datasets) {
        GeometryPtr shape = footprint(entry.second, effectiveEPSG(entry.second), layerReference.get(), layerEPSG);
        if (!shape || shape->IsEmpty())
            continue;
        OGREnvelope envelope;
        shape->getEnvelope(&envelope);
        all.Merge(envelope);
        footprints.push_back({entry.first, std::move(shape), envelope});
    }
    if (footprints.empty())
        return;

    GdalErrorScope errors;
    layer->SetSpatialFilterRect(all.MinX, all.MinY, all.MaxX, all.MaxY);
    layer->ResetReading();
    OGRFeatureDefn* definition = layer->GetLayerDefn();
    // 64-bit values go to the integer map only when every record's value fits, so that all records
    // of the layer keep the same keys in the same maps.
    std::vector<std::map<std::string, GIntBig>> wideValues;
    std::set<std::string> wideTooLarge;
    for (auto& feature : *layer) {
        const OGRGeometry* geometry = feature->GetGeometryRef();
        if (!isArea(geometry))
            continue;
        OGREnvelope envelope;
        geometry->getEnvelope(&envelope);
        std::vector<TSR::CString> meeting;
        for (const Footprint& candidate : footprints) {
            if (candidate.envelope.Intersects(envelope) && geometry->Intersects(candidate.shape.get()))
                meeting.push_back(candidate.path);
        }
        if (meeting.empty())
            continue;

        carriedTo(*geometry, layer->GetSpatialRef(), reported, path)->getEnvelope(&envelope);
        auto info = std::make_shared<ExtractedFeatureClipInfo>();
        info->LayerName = layer->GetName();
        info->FeatureId = static_cast<std::int32_t>(feature->GetFID());
        info->CRS = CCRSIdentifier(reported);
        info->MinX = envelope.MinX;
        info->MinY = envelope.MinY;
        info->MaxX = envelope.MaxX;
        info->MaxY = envelope.MaxY;
        info->IntersectingDatasets = std::move(meeting);
        std::map<std::string, GIntBig> wide;
        for (int i = 0; i < definition->GetFieldCount(); ++i) {
            const OGRFieldDefn* field = definition->GetFieldDefn(i);
            const std::string name = field->GetNameRef();
            const bool set = feature->IsFieldSetAndNotNull(i);
            switch (field->GetType()) {
            case OFTReal:
                info->RealAttributes[name] = set ? feature->GetFieldAsDouble(i) : 0.0;
                break;
            case OFTInteger:
                info->IntegerAttributes[name] = set ? feature->GetFieldAsInteger(i) : 0;
                break;
            case OFTInteger64: {
                const GIntBig value = set ? feature->GetFieldAsInteger64(i) : 0;
                wide[name] = value;
                if (!fitsInt32(value))
                    wideTooLarge.insert(name);
                break;
            }
            default:
                info->StringAttributes[name] = set ? feature->GetFieldAsString(i) : "";
                break;
            }
        }
        wideValues.push_back(std::move(wide));
        features.push_back(std::move(info));
    }
    for (std::size_t i = 0; i < features.size(); ++i) {
        for (const auto& value : wideValues[i]) {
            if (wideTooLarge.count(value.first))
                features[i]->StringAttributes[value.first] = std::to_string(value.second);
            else
                features[i]->IntegerAttributes[value.first] = static_cast<std::int32_t>(value.second);
        }
    }
}

void GdalCompressionUtil::CombineClipRegions(const ClipInfoMap& regions, ClipInfoPtr& combined)
{
    combined = std::make_shared<ExtractedFeatureClipInfo>();
    bool first = true;
    bool anyBox = false;
    for (const auto& entry : regions) {
        const ClipInfoPtr& region = entry.second;
        if (!region)
            continue;
        if (first) {
            // Every entry is a clone of one polygon; the first speaks for all.
            *combined = *region;
            combined->MinX = combined->MinY = combined->MaxX = combined->MaxY = 0.0;
            first = false;
        }
        if (!nonEmptyBox(*region))
            continue;
        if (!anyBox) {
            combined->MinX = region->MinX;
            combined->MinY = region->MinY;
            combined->MaxX = region->MaxX;
            combined->MaxY = region->MaxY;
            anyBox = true;
        } else {
            combined->MinX = std::min(combined->MinX, region->MinX);
            combined->MinY = std::min(combined->MinY, region->MinY);
            combined->MaxX = std::max(combined->MaxX, region->MaxX);
            combined->MaxY = std::max(combined->MaxY, region->MaxY);
        }
    }
}

bool GdalCompressionUtil::ClipFeatureToExtent(const TSR::CString& shapefile, const ExtractedFeatureClipInfo& feature,
                                              int featureId, double minX, double minY, double maxX, double maxY,
                                              double& clipMinX, double& clipMinY, double& clipMaxX, double& clipMaxY)
{
    const std::string path = shapefile.utf8_str();
    DatasetPtr dataset = openVector(path);
    OGRLayer& layer = layerOf(*dataset, feature, path);
    FeaturePtr found = featureOf(layer, featureId, path);
    if (!isArea(found->GetGeometryRef()) || minX >= maxX || minY >= maxY)
        return false;
    // The extent is in the reference the feature was reported in.
    const GeometryPtr carried = carriedTo(*found->GetGeometryRef(), layer.GetSpatialRef(), feature.CRS.GetEPSG(), path);
    const OGRGeometry* geometry = carried.get();
    GeometryPtr extent = box(minX, minY, maxX, maxY);
    GdalErrorScope errors;
    if (!geometry->Intersects(extent.get()))
        return false;
    GeometryPtr shared(geometry->Intersection(extent.get()));
    if (!shared || shared->IsEmpty())
        return false;
    OGREnvelope envelope;
    shared->getEnvelope(&envelope);
    // Touching along an edge or at a corner leaves no area to compress.
    if (envelope.MinX >= envelope.MaxX || envelope.MinY >= envelope.MaxY)
        return false;
    clipMinX = envelope.MinX;
    clipMinY = envelope.MinY;
    clipMaxX = envelope.MaxX;
    clipMaxY = envelope.MaxY;
    return true;
}

void GdalCompressionUtil::ReadFeaturePolygons(const TSR::CString& shapefile, const ExtractedFeatureClipInfo& feature,
                                              int featureId, std::vector<FeaturePolygon>& polygons)
{
    polygons.clear();
    const std::string path = shapefile.utf8_str();
    DatasetPtr dataset = openVector(path);
    OGRLayer& layer = layerOf(*dataset, feature, path);
    FeaturePtr found = featureOf(layer, featureId, path);
    if (!isArea(found->GetGeometryRef()))
        return;
    GeometryPtr geometry = carriedTo(*found->GetGeometryRef(), layer.GetSpatialRef(), feature.CRS.GetEPSG(), path);
    GdalErrorScope errors;
    // Curved rings become straight segments, and every part becomes one polygon.
    GeometryPtr parts(OGRGeometryFactory::forceToMultiPolygon(geometry.release()));
    if (!parts || wkbFlatten(parts->getGeometryType()) != wkbMultiPolygon)
        return;
    for (const OGRPolygon* part : *parts->toMultiPolygon()) {
        FeaturePolygon polygon;
        polygon.OuterRing = ringPoints(part->getExteriorRing());
        for (int i = 0; i < part->getNumInteriorRings(); ++i)
            polygon.InnerRings.push_back(ringPoints(part->getInteriorRing(i)));
        polygons.push_back(std::move(polygon));
    }
}

}  // namespace TSR::ImageCompressor::API
