#pragma once

// Rasters and shapefiles made with GDAL at test time, in the references users bring.

#include <gdal_priv.h>
#include <ogr_geometry.h>
#include <ogr_spatialref.h>
#include <ogrsf_frmts.h>

#include <QDir>
#include <QFileInfo>
#include <QString>

#include <array>
#include <string>
#include <vector>

#include "wizard/dataset/compressionutilfactory.h"

namespace fixtures {

using GeoTransform = std::array<double, 6>;

// A reference as GDAL's SetFromUserInput reads it ("EPSG:32633", "EPSG:32633+5773", WKT), with
// its linear unit replaced when `unit` is given: that is how a grid in feet reaches us.
struct Reference
{
    std::string definition;
    const char* unit = nullptr;
    double metres = 1.0;
};

inline OGRSpatialReference spatialReference(const Reference& wanted)
{
    OGRSpatialReference reference;
    if (!wanted.definition.empty())
        reference.SetFromUserInput(wanted.definition.c_str());
    if (wanted.unit)
        reference.SetLinearUnitsAndUpdateParameters(wanted.unit, wanted.metres);
    reference.SetAxisMappingStrategy(OAMS_TRADITIONAL_GIS_ORDER);
    return reference;
}

// A raster of byte pixels through `driver` (made in memory and copied, so drivers that only copy
// serve too). An empty transform writes no georeferencing.
inline bool makeRaster(const QString& path, int width, int height, const GeoTransform& transform,
                       const Reference& reference, const char* driver = "GTiff")
{
    GDALAllRegister();
    QDir().mkpath(QFileInfo(path).absolutePath());
    GDALDataset* memory =
        GetGDALDriverManager()->GetDriverByName("MEM")->Create("", width, height, 1, GDT_Byte, nullptr);
    GeoTransform copy = transform;
    if (transform != GeoTransform{})
        memory->SetGeoTransform(copy.data());
    const OGRSpatialReference srs = spatialReference(reference);
    if (!srs.IsEmpty())
        memory->SetSpatialRef(&srs);
    std::vector<GByte> pixels(std::size_t(width) * height, 77);
    if (memory->GetRasterBand(1)->RasterIO(GF_Write, 0, 0, width, height, pixels.data(), width, height, GDT_Byte, 0, 0)
        != CE_None) {
        GDALClose(memory);
        return false;
    }
    GDALDatasetH written = GDALCreateCopy(GDALGetDriverByName(driver), path.toUtf8().constData(), memory, FALSE,
                                          nullptr, nullptr, nullptr);
    GDALClose(memory);
    return written && (GDALClose(written), true);
}

inline bool makeTile(const QString& path, const Reference& reference, double west, double north, double cell, int width,
                     int height)
{
    return makeRaster(path, width, height, {west, cell, 0, north, 0, -cell}, reference);
}

struct Record
{
    std::string wkt;
    std::vector<std::string> values;  // one per field, as text; empty leaves the field unset
};

// A shapefile of polygons in `layerEpsg`, features numbered 0, 1, 2... The geometries are given
// in `givenEpsg` and carried over.
inline bool makeShapefile(const QString& path, int layerEpsg, int givenEpsg,
                          const std::vector<std::pair<const char*, OGRFieldType>>& fields,
                          const std::vector<Record>& records)
{
    GDALAllRegister();
    GDALDataset* dataset = GetGDALDriverManager()
                               ->GetDriverByName("ESRI Shapefile")
                               ->Create(path.toUtf8().constData(), 0, 0, 0, GDT_Unknown, nullptr);
    if (!dataset)
        return false;
    OGRSpatialReference layerReference = spatialReference({"EPSG:" + std::to_string(layerEpsg)});
    OGRSpatialReference given = spatialReference({"EPSG:" + std::to_string(givenEpsg)});
    OGRLayer* layer = dataset->CreateLayer(QFileInfo(path).completeBaseName().toUtf8().constData(), &layerReference,
                                           wkbPolygon, nullptr);
    bool ok = layer != nullptr;
    for (const auto& field : fields) {
        OGRFieldDefn definition(field.first, field.second);
        ok = ok && layer->CreateField(&definition) == OGRERR_NONE;
    }
    for (const Record& record : records) {
        OGRGeometry* geometry = nullptr;
        OGRGeometryFactory::createFromWkt(record.wkt.c_str(), &given, &geometry);
        if (!ok || !geometry)
            return false;
        geometry->transformTo(&layerReference);
        OGRFeature feature(layer->GetLayerDefn());
        feature.SetGeometryDirectly(geometry);
        for (std::size_t i = 0; i < record.values.size(); ++i) {
            if (!record.values[i].empty())
                feature.SetField(int(i), record.values[i].c_str());
        }
        ok = layer->CreateFeature(&feature) == OGRERR_NONE;
    }
    GDALClose(dataset);
    return ok;
}

inline std::shared_ptr<TSR::ImageCompressor::API::ICompressionUtil> makeUtil()
{
    std::shared_ptr<TSR::ImageCompressor::API::ICompressionUtil> util;
    std::make_shared<TSR::ImageCompressor::API::CompressionUtilFactory>()->GetCompressionUtil(util);
    return util;
}

}  // namespace fixtures
