#pragma once

// Small rasters and shapefiles made with GDAL at test time.

#include <gdal_priv.h>
#include <ogr_geometry.h>
#include <ogr_spatialref.h>
#include <ogrsf_frmts.h>

#include <QByteArray>
#include <QFileInfo>
#include <QString>
#include <QtGlobal>

#include <array>
#include <string>
#include <vector>

namespace fixtures {

using GeoTransform = std::array<double, 6>;

inline void registerDrivers()
{
    GDALAllRegister();
}

// A GeoTIFF of byte pixels. `epsg` 0 and an empty `wkt` write no reference; `withTransform` false
// writes no georeferencing at all.
inline bool makeTiff(const QString& path, int width, int height, const GeoTransform& transform,
                     int epsg, const std::string& wkt = std::string(), bool withTransform = true,
                     const char* compress = nullptr)
{
    GDALDriver* driver = GetGDALDriverManager()->GetDriverByName("GTiff");
    char** options = nullptr;
    if (compress)
        options = CSLSetNameValue(options, "COMPRESS", compress);
    GDALDataset* dataset = driver->Create(path.toUtf8().constData(), width, height, 1, GDT_Byte,
                                          options);
    CSLDestroy(options);
    if (!dataset)
        return false;
    if (withTransform) {
        GeoTransform copy = transform;
        dataset->SetGeoTransform(copy.data());
    }
    OGRSpatialReference reference;
    if (epsg > 0)
        reference.importFromEPSG(epsg);
    else if (!wkt.empty())
        reference.importFromWkt(wkt.c_str());
    if (!reference.IsEmpty())
        dataset->SetSpatialRef(&reference);
    std::vector<GByte> pixels(std::size_t(width) * height);
    for (std::size_t i = 0; i < pixels.size(); ++i)
        pixels[i] = GByte((i * 7) & 0xff);
    const CPLErr written = dataset->GetRasterBand(1)->RasterIO(
        GF_Write, 0, 0, width, height, pixels.data(), width, height, GDT_Byte, 0, 0);
    GDALClose(dataset);
    return written == CE_None;
}

// A north-up tile: `originX`, `originY` the top left corner.
inline bool makeTile(const QString& path, int epsg, double originX, double originY, double cell,
                     int width, int height)
{
    return makeTiff(path, width, height, {originX, cell, 0.0, originY, 0.0, -cell}, epsg);
}

struct Field {
    const char* name;
    OGRFieldType type;
};

struct Record {
    std::string wkt;
    std::vector<std::string> values;  // one per field, as text; empty leaves the field unset
};

// A shapefile of polygons in `epsg` whose features get FIDs 0, 1, 2... in the order given. The
// geometries are given in `sourceEpsg` and carried over when the two differ.
inline bool makeShapefile(const QString& path, int epsg, const std::vector<Field>& fields,
                          const std::vector<Record>& records, int sourceEpsg = 0)
{
    GDALDriver* driver = GetGDALDriverManager()->GetDriverByName("ESRI Shapefile");
    GDALDataset* dataset = driver->Create(path.toUtf8().constData(), 0, 0, 0, GDT_Unknown, nullptr);
    if (!dataset)
        return false;
    OGRSpatialReference reference;
    reference.importFromEPSG(epsg);
    reference.SetAxisMappingStrategy(OAMS_TRADITIONAL_GIS_ORDER);
    OGRSpatialReference source;
    source.importFromEPSG(sourceEpsg > 0 ? sourceEpsg : epsg);
    source.SetAxisMappingStrategy(OAMS_TRADITIONAL_GIS_ORDER);
    OGRLayer* layer = dataset->CreateLayer(QFileInfo(path).completeBaseName().toUtf8().constData(),
                                           &reference, wkbPolygon, nullptr);
    bool ok = layer != nullptr;
    for (const Field& field : fields) {
        OGRFieldDefn definition(field.name, field.type);
        if (field.type == OFTReal)
            definition.SetPrecision(6);
        ok = ok && layer->CreateField(&definition) == OGRERR_NONE;
    }
    for (const Record& record : records) {
        if (!ok)
            break;
        OGRFeature feature(layer->GetLayerDefn());
        OGRGeometry* geometry = nullptr;
        OGRGeometryFactory::createFromWkt(record.wkt.c_str(), &source, &geometry);
        if (!geometry) {
            ok = false;
            break;
        }
        if (sourceEpsg > 0 && sourceEpsg != epsg)
            geometry->transformTo(&reference);
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

}  // namespace fixtures
