#include "tools/imagecompressor/compressor.h"

#include <QDir>
#include <QFileInfo>
#include <algorithm>
#include <cmath>
#include <cpl_string.h>
#include <cpl_vsi.h>
#include <gdal_utils.h>
#include <ogr_api.h>
#include <ogr_geometry.h>
#include <ogr_spatialref.h>
#include <ogrsf_frmts.h>
#include <unistd.h>

#include "tools/common/gdalmessages.h"
#include "tools/common/interrupt.h"
#include "tools/common/toolconsole.h"

namespace {

QString quoted(const QString& value)
{
    return QLatin1Char('\'') + value + QLatin1Char('\'');
}

QByteArray utf8(const QString& text)
{
    return text.toUtf8();
}

CPLStringList argumentList(const QStringList& arguments)
{
    CPLStringList list;
    for (const QString& argument : arguments)
        list.AddString(argument.toUtf8().constData());
    return list;
}

QString number(double value)
{
    return QString::number(value, 'g', 17);
}

// The integer types the JPEG 2000 encoder takes, by signedness and width.
GDALDataType integerType(bool isSigned, int bits)
{
    if (bits <= 8)
        return isSigned ? GDT_Int16 : GDT_Byte;
    if (bits <= 16)
        return isSigned ? GDT_Int16 : GDT_UInt16;
    return isSigned ? GDT_Int32 : GDT_UInt32;
}

bool encodable(GDALDataType type)
{
    return type == GDT_Byte || type == GDT_UInt16 || type == GDT_Int16 || type == GDT_UInt32 || type == GDT_Int32;
}

bool contains(const double outer[4], const double inner[4])
{
    // A hair of tolerance for corners computed from the same numbers in another order.
    const double slack = 1e-9 * std::max(std::fabs(outer[2] - outer[0]), std::fabs(outer[3] - outer[1]));
    return outer[0] <= inner[0] + slack && outer[1] <= inner[1] + slack && outer[2] >= inner[2] - slack
        && outer[3] >= inner[3] - slack;
}

}  // namespace

Compressor::Compressor(const JobDocument& job, ToolConsole& console)
    : job(job)
    , console(console)
{}

Compressor::~Compressor()
{
    for (auto stage = stages.rbegin(); stage != stages.rend(); ++stage)
        GDALClose(*stage);
    for (Input& input : inputs)
        if (input.dataset)
            GDALClose(input.dataset);
    for (const QString& name : memoryFiles)
        VSIUnlink(utf8(name).constData());
}

QString Compressor::memoryName(const QString& name) const
{
    // Unique per process, so two tools in one test process (or a tool and a caller) never meet.
    return QStringLiteral("/vsimem/imagecompressor_%1_%2").arg(getpid()).arg(name);
}

int Compressor::run()
{
    if (!checkJob())
        return BadJob;
    configureGdal();
    if (!openInputs())
        return Interrupt::requested() ? interrupted() : BadJob;
    if (Interrupt::requested())
        return interrupted();
    if (!buildMosaic() || !convertType() || !applyCutline() || !describeOutput())
        return Interrupt::requested() ? interrupted() : BadJob;
    if (Interrupt::requested())
        return interrupted();
    if (!encode())
        return Interrupt::requested() ? interrupted() : Failure;
    if (job.genstats && !computeStatistics())
        return Interrupt::requested() ? interrupted() : Failure;
    console.log(QStringLiteral("Output complete: %1").arg(job.outputPath));
    return Success;
}

int Compressor::interrupted()
{
    if (outputStarted) {
        removeOutput();
        console.error(QStringLiteral("interrupted; the partial output %1 was removed").arg(quoted(job.outputPath)));
    } else {
        console.error(QStringLiteral("interrupted before any output was written"));
    }
    return Interrupt::exitCode();
}

int Compressor::badJob(const QString& text)
{
    console.error(text);
    return BadJob;
}

int Compressor::failure(const QString& text)
{
    console.error(text);
    return Failure;
}

bool Compressor::checkJob()
{
    if (job.version != 1) {
        badJob(QStringLiteral("output version '%1': WVC output needs the WVC encoder, which this build does not have; "
                              "version 1 writes JPEG 2000")
                   .arg(job.version));
        return false;
    }
    if (job.operation == QLatin1String("update")) {
        badJob(
            QStringLiteral("compresstask operation 'update': updating a compressed file needs the WVC encoder, which "
                           "this build does not have"));
        return false;
    }
    for (const JobDocument::Input& input : job.inputs) {
        if (input.path.startsWith(QLatin1String("/vsi")))
            continue;
        const QFileInfo file(input.path);
        if (!file.exists()) {
            badJob(QStringLiteral("file path %1: no such file").arg(quoted(input.path)));
            return false;
        }
        if (file.absoluteFilePath() == QFileInfo(job.outputPath).absoluteFilePath()) {
            badJob(QStringLiteral("output path %1: the output would overwrite an input").arg(quoted(job.outputPath)));
            return false;
        }
    }
    const QFileInfo outputDirectory(QFileInfo(job.outputPath).absolutePath());
    if (!outputDirectory.isDir()) {
        badJob(QStringLiteral("output path %1: the directory %2 does not exist")
                   .arg(quoted(job.outputPath), quoted(outputDirectory.filePath())));
        return false;
    }
    if (::access(QFile::encodeName(outputDirectory.filePath()).constData(), W_OK) != 0) {
        badJob(QStringLiteral("output path %1: the directory %2 is not writable")
                   .arg(quoted(job.outputPath), quoted(outputDirectory.filePath())));
        return false;
    }
    if (!job.tempdir.isEmpty()) {
        const QFileInfo temp(job.tempdir);
        if (!temp.isDir() || ::access(QFile::encodeName(job.tempdir).constData(), W_OK) != 0) {
            badJob(QStringLiteral("compresstask tempdir %1: not a writable directory").arg(quoted(job.tempdir)));
            return false;
        }
    }
    if (shapefileOpacity() && !job.region) {
        badJob(QStringLiteral("option opacity '2': opacity from a shapefile needs a <region> in <output>"));
        return false;
    }
    if (job.region && job.region->type == QLatin1String("shape") && !QFileInfo::exists(job.region->path)) {
        badJob(QStringLiteral("region path %1: no such file").arg(quoted(job.region->path)));
        return false;
    }
    if (job.region && !shapefileOpacity())
        console.log(QStringLiteral("The region is ignored: opacity does not come from a shapefile"));
    if (job.huffman >= 0 || job.blocksizex >= 0 || job.blocksizey >= 0)
        console.log(QStringLiteral(
            "JPEG 2000 has no Huffman stage; block sizes become the tile size unless jp2tilesize is given"));
    return true;
}

void Compressor::configureGdal()
{
    GDALAllRegister();
    GdalMessages::install(&console, job.loglevel == QLatin1String("debug"));
    // The caller's GDAL_CACHEMAX wins: it is how the application passes the cache the user chose.
    if (qEnvironmentVariableIsEmpty("GDAL_CACHEMAX") && job.memcache > 0.0) {
        const double memory = double(sysconf(_SC_PHYS_PAGES)) * double(sysconf(_SC_PAGE_SIZE));
        GDALSetCacheMax64(GIntBig(memory * job.memcache));
    }
    console.log(QStringLiteral("Block cache: %1 MiB").arg(GDALGetCacheMax64() / (1024 * 1024)));
    const QByteArray threads = job.threads > 0 ? QByteArray::number(job.threads) : QByteArray("ALL_CPUS");
    CPLSetConfigOption("GDAL_NUM_THREADS", threads.constData());
    if (!job.tempdir.isEmpty())
        CPLSetConfigOption("CPL_TMPDIR", utf8(job.tempdir).constData());
}

bool Compressor::openInputs()
{
    const int count = job.inputs.size();
    for (int i = 0; i < count; ++i) {
        console.line(QStringLiteral("Validating input: ... File %1 of %2").arg(i + 1).arg(count));
        if (Interrupt::requested())
            return false;
        Input input;
        input.entry = &job.inputs[i];
        input.order = i;
        // Without a z-index the first file lies on top, as the application numbers them.
        input.z = input.entry->zindex >= 0 ? input.entry->zindex : count - 1 - i;
        const QString where = QStringLiteral("file path ") + quoted(input.entry->path);
        input.dataset = GDALOpenEx(utf8(input.entry->path).constData(), GDAL_OF_RASTER | GDAL_OF_VERBOSE_ERROR, nullptr,
                                   nullptr, nullptr);
        if (!input.dataset) {
            badJob(QStringLiteral("%1: cannot be read as a raster: %2").arg(where, GdalMessages::takeFailures()));
            return false;
        }
        const int bandCount = GDALGetRasterCount(input.dataset);
        if (input.entry->bands.isEmpty())
            for (int band = 1; band <= bandCount; ++band)
                input.bands.push_back(band);
        for (int band : input.entry->bands) {
            if (band > bandCount) {
                badJob(QStringLiteral("%1 bandlist: band %2 asked, but the file has %3")
                           .arg(where)
                           .arg(band)
                           .arg(bandCount));
                return false;
            }
            input.bands.push_back(band);
        }
        const auto isAlpha = [&](int band) {
            return GDALGetRasterColorInterpretation(GDALGetRasterBand(input.dataset, band)) == GCI_AlphaBand;
        };
        if (noOpacity() && input.bands.size() > 1 && isAlpha(input.bands.back()))
            input.bands.pop_back();
        const GDALDataType type = GDALGetRasterDataType(GDALGetRasterBand(input.dataset, input.bands.front()));
        const bool alpha = input.bands.size() > 1 && isAlpha(input.bands.back());
        double transform[6];
        input.georeferenced = GDALGetGeoTransform(input.dataset, transform) == CE_None;
        if (input.georeferenced && (transform[2] != 0.0 || transform[4] != 0.0 || transform[5] >= 0.0)) {
            badJob(QStringLiteral("%1: the raster is rotated or not north up, which a mosaic cannot take unwarped")
                       .arg(where));
            return false;
        }
        if (input.georeferenced) {
            input.extent[0] = transform[0];
            input.extent[3] = transform[3];
            input.extent[2] = transform[0] + transform[1] * GDALGetRasterXSize(input.dataset);
            input.extent[1] = transform[3] + transform[5] * GDALGetRasterYSize(input.dataset);
        }
        if (i == 0) {
            dataType = type;
            hasAlpha = alpha;
        } else {
            const Input& first = inputs.front();
            const auto describe = [](size_t bands, GDALDataType type) {
                return QStringLiteral("%1 bands of %2").arg(bands).arg(QLatin1String(GDALGetDataTypeName(type)));
            };
            if (input.bands.size() != first.bands.size() || type != dataType || alpha != hasAlpha) {
                badJob(QStringLiteral("%1: gives %2%3, but %4 gives %5%6; the inputs of one mosaic must agree")
                           .arg(where, describe(input.bands.size(), type),
                                alpha ? QStringLiteral(" with alpha") : QString(), quoted(first.entry->path),
                                describe(first.bands.size(), dataType),
                                hasAlpha ? QStringLiteral(" with alpha") : QString()));
                return false;
            }
            OGRSpatialReferenceH ours = GDALGetSpatialRef(input.dataset);
            OGRSpatialReferenceH theirs = GDALGetSpatialRef(first.dataset);
            if ((ours == nullptr) != (theirs == nullptr) || (ours && !OSRIsSame(ours, theirs))) {
                badJob(
                    QStringLiteral("%1: its coordinate reference differs from that of %2; inputs are mosaicked as they "
                                   "are, never reprojected")
                        .arg(where, quoted(first.entry->path)));
                return false;
            }
        }
        if (!input.georeferenced && (count > 1 || job.cellSize || job.corners || shapefileOpacity())) {
            badJob(QStringLiteral("%1: has no georeferencing, which a mosaic, a cell size, corners or a region need")
                       .arg(where));
            return false;
        }
        console.log(QStringLiteral("Input %1: %2, %3 x %4, bands %5, z %6")
                        .arg(i + 1)
                        .arg(input.entry->path)
                        .arg(GDALGetRasterXSize(input.dataset))
                        .arg(GDALGetRasterYSize(input.dataset))
                        .arg([&] {
                            QStringList list;
                            for (int band : input.bands)
                                list.append(QString::number(band));
                            return list.join(QLatin1Char(','));
                        }())
                        .arg(input.z));
        inputs.push_back(input);
    }
    if (!encodable(dataType) && job.bitdepth <= 0) {
        badJob(QStringLiteral(
                   "file path %1: data type %2 cannot be held by JPEG 2000; give the option bitdepth to convert it")
                   .arg(quoted(job.inputs.front().path), QLatin1String(GDALGetDataTypeName(dataType))));
        return false;
    }
    planType();
    return true;
}

void Compressor::planType()
{
    const bool isSigned = job.isSigned.value_or(GDALDataTypeIsSigned(dataType) != 0);
    if (job.bitdepth <= 0 && !job.isSigned) {
        outputType = dataType;
        return;
    }
    const int bits = job.bitdepth > 0 ? job.bitdepth : GDALGetDataTypeSizeBits(dataType);
    outputType = integerType(isSigned, bits);
    // The encoder takes a narrower depth only inside its type's own range: 1 to 7 bits in a byte, 9
    // to 15 in 16 bits, 17 to 31 in 32; a signed byte travels as full 16 bits.
    const int width = GDALGetDataTypeSizeBits(outputType);
    nbits = bits < width && bits > width / 2 ? bits : (width == 8 && bits < 8 ? bits : 0);
}

double Compressor::fillValue() const
{
    const bool isSigned = GDALDataTypeIsSigned(outputType) != 0;
    const int bits = nbits > 0 ? nbits : GDALGetDataTypeSizeBits(outputType);
    double value = 0.0;
    if (job.nullvalue == QLatin1String("max"))
        value = isSigned ? std::ldexp(1.0, bits - 1) - 1.0 : std::ldexp(1.0, bits) - 1.0;
    else if (isSigned)
        value = -std::ldexp(1.0, bits - 1);
    // The fill is drawn before the conversion to the output type, so it has to fit the input type.
    const double low = GDALDataTypeIsSigned(dataType) ? -std::ldexp(1.0, GDALGetDataTypeSizeBits(dataType) - 1) : 0.0;
    const double high = GDALDataTypeIsSigned(dataType) ? std::ldexp(1.0, GDALGetDataTypeSizeBits(dataType) - 1) - 1.0
                                                       : std::ldexp(1.0, GDALGetDataTypeSizeBits(dataType)) - 1.0;
    return GDALDataTypeIsInteger(dataType) ? std::clamp(value, low, high) : value;
}

bool Compressor::buildMosaic()
{
    // Highest z on top: the virtual raster draws its sources in order, the last one over the rest.
    // With equal z the file named first stays on top.
    std::vector<Input*> order;
    for (Input& input : inputs)
        order.push_back(&input);
    std::stable_sort(order.begin(), order.end(),
                     [](const Input* a, const Input* b) { return a->z != b->z ? a->z < b->z : a->order > b->order; });

    std::vector<QString> sources;
    for (const Input* input : order) {
        const int bandCount = GDALGetRasterCount(input->dataset);
        bool plain = !input->entry->nodata && int(input->bands.size()) == bandCount;
        for (size_t i = 0; plain && i < input->bands.size(); ++i)
            plain = input->bands[i] == int(i + 1);
        if (plain && input->georeferenced) {
            sources.push_back(input->entry->path);
            continue;
        }
        // A view of the file with its own band selection and no-data value, so that each input of
        // the mosaic can have its own.
        QStringList arguments{QStringLiteral("-of"), QStringLiteral("VRT")};
        for (int band : input->bands)
            arguments << QStringLiteral("-b") << QString::number(band);
        if (input->entry->nodata)
            arguments << QStringLiteral("-a_nodata") << number(*input->entry->nodata);
        const QString name = memoryName(QStringLiteral("input_%1.vrt").arg(input->order));
        CPLStringList list = argumentList(arguments);
        GDALTranslateOptions* options = GDALTranslateOptionsNew(list.List(), nullptr);
        GDALDatasetH view = GDALTranslate(utf8(name).constData(), input->dataset, options, nullptr);
        GDALTranslateOptionsFree(options);
        if (!view) {
            badJob(QStringLiteral("file path %1: cannot select its bands: %2")
                       .arg(quoted(input->entry->path), GdalMessages::takeFailures()));
            return false;
        }
        memoryFiles.push_back(name);
        if (!input->georeferenced) {
            // A lone image without georeferencing is compressed as it is, in pixel coordinates.
            stages.push_back(view);
            return assignReference();
        }
        GDALClose(view);
        sources.push_back(name);
    }

    double extent[4];
    if (job.corners) {
        const QVector<double>& corners = *job.corners;
        extent[0] = corners[0];
        extent[1] = corners[3];
        extent[2] = corners[2];
        extent[3] = corners[1];
    } else {
        std::copy(inputs.front().extent, inputs.front().extent + 4, extent);
        for (const Input& input : inputs) {
            extent[0] = std::min(extent[0], input.extent[0]);
            extent[1] = std::min(extent[1], input.extent[1]);
            extent[2] = std::max(extent[2], input.extent[2]);
            extent[3] = std::max(extent[3], input.extent[3]);
        }
    }
    const bool covered =
        std::any_of(inputs.begin(), inputs.end(), [&](const Input& input) { return contains(input.extent, extent); });
    if (!covered && !hasAlpha && !shapefileOpacity() && fillValue() != 0.0 && !addFill(sources, extent))
        return false;

    QStringList arguments{QStringLiteral("-r"), job.resample, QStringLiteral("-vrtnodata"), QStringLiteral("None")};
    if (job.cellSize)
        arguments << QStringLiteral("-tr") << number(job.cellSize->first) << number(job.cellSize->second);
    else
        arguments << QStringLiteral("-resolution") << QStringLiteral("highest");
    arguments << QStringLiteral("-te") << number(extent[0]) << number(extent[1]) << number(extent[2])
              << number(extent[3]);
    if (shapefileOpacity() && !hasAlpha)
        arguments << QStringLiteral("-addalpha");
    CPLStringList list = argumentList(arguments);
    CPLStringList names;
    for (const QString& source : sources)
        names.AddString(utf8(source).constData());
    GDALBuildVRTOptions* options = GDALBuildVRTOptionsNew(list.List(), nullptr);
    const QString name = memoryName(QStringLiteral("mosaic.vrt"));
    GDALDatasetH mosaic = GDALBuildVRT(utf8(name).constData(), names.size(), nullptr, names.List(), options, nullptr);
    GDALBuildVRTOptionsFree(options);
    if (!mosaic) {
        badJob(QStringLiteral("inputs: the mosaic cannot be built: %1").arg(GdalMessages::takeFailures()));
        return false;
    }
    memoryFiles.push_back(name);
    stages.push_back(mosaic);
    console.log(QStringLiteral("Mosaic: %1 x %2 cells, %3 bands")
                    .arg(GDALGetRasterXSize(mosaic))
                    .arg(GDALGetRasterYSize(mosaic))
                    .arg(GDALGetRasterCount(mosaic)));
    if (GDALGetRasterXSize(mosaic) < 1 || GDALGetRasterYSize(mosaic) < 1) {
        badJob(QStringLiteral("output tlx tly brx bry: the output would have no cells"));
        return false;
    }
    return assignReference();
}

bool Compressor::addFill(std::vector<QString>& sources, const double extent[4])
{
    // One cell spread over the whole extent, under every input: the background where no input
    // reaches, without declaring a no-data value that real cells could share.
    const QString name = memoryName(QStringLiteral("fill.tif"));
    GDALDriverH driver = GDALGetDriverByName("GTiff");
    const int bands = int(inputs.front().bands.size());
    GDALDatasetH fill = driver ? GDALCreate(driver, utf8(name).constData(), 1, 1, bands, dataType, nullptr) : nullptr;
    if (!fill) {
        failure(QStringLiteral("inputs: the background cannot be made: %1").arg(GdalMessages::takeFailures()));
        return false;
    }
    memoryFiles.push_back(name);
    double transform[6] = {extent[0], extent[2] - extent[0], 0.0, extent[3], 0.0, -(extent[3] - extent[1])};
    GDALSetGeoTransform(fill, transform);
    if (OGRSpatialReferenceH reference = GDALGetSpatialRef(inputs.front().dataset))
        GDALSetSpatialRef(fill, reference);
    for (int band = 1; band <= bands; ++band)
        GDALFillRaster(GDALGetRasterBand(fill, band), fillValue(), 0.0);
    GDALClose(fill);
    sources.insert(sources.begin(), name);
    return true;
}

bool Compressor::assignReference()
{
    if (job.srs.isEmpty())
        return true;
    OGRSpatialReferenceH reference = OSRNewSpatialReference(nullptr);
    const bool known = OSRSetFromUserInput(reference, utf8(job.srs).constData()) == OGRERR_NONE;
    if (known) {
        OSRSetAxisMappingStrategy(reference, OAMS_TRADITIONAL_GIS_ORDER);
        GDALSetSpatialRef(stages.back(), reference);
    }
    OSRDestroySpatialReference(reference);
    if (!known)
        badJob(QStringLiteral("option srs %1: not a coordinate reference: %2")
                   .arg(quoted(job.srs), GdalMessages::takeFailures()));
    return known;
}

bool Compressor::convertType()
{
    if (outputType == dataType)
        return true;
    // Values outside the new type's range are clamped by the conversion.
    CPLStringList list = argumentList({QStringLiteral("-of"), QStringLiteral("VRT"), QStringLiteral("-ot"),
                                       QLatin1String(GDALGetDataTypeName(outputType))});
    GDALTranslateOptions* options = GDALTranslateOptionsNew(list.List(), nullptr);
    const QString name = memoryName(QStringLiteral("typed.vrt"));
    GDALDatasetH typed = GDALTranslate(utf8(name).constData(), stages.back(), options, nullptr);
    GDALTranslateOptionsFree(options);
    if (!typed) {
        badJob(QStringLiteral("option bitdepth '%1': the conversion to %2 failed: %3")
                   .arg(job.bitdepth)
                   .arg(QLatin1String(GDALGetDataTypeName(outputType)), GdalMessages::takeFailures()));
        return false;
    }
    memoryFiles.push_back(name);
    stages.push_back(typed);
    return true;
}

bool Compressor::applyCutline()
{
    if (!shapefileOpacity())
        return true;
    const JobDocument::Region& region = *job.region;
    std::unique_ptr<OGRGeometry> geometry;
    std::unique_ptr<OGRSpatialReference> geometryReference;
    if (region.type == QLatin1String("shape")) {
        GDALDatasetUniquePtr vectors(
            GDALDataset::Open(utf8(region.path).constData(), GDAL_OF_VECTOR | GDAL_OF_VERBOSE_ERROR));
        if (!vectors) {
            badJob(QStringLiteral("region path %1: cannot be read as vector data: %2")
                       .arg(quoted(region.path), GdalMessages::takeFailures()));
            return false;
        }
        OGRLayer* layer = region.layername.isEmpty() ? vectors->GetLayer(0)
                                                     : vectors->GetLayerByName(utf8(region.layername).constData());
        if (!layer) {
            badJob(QStringLiteral("region layername %1: no such layer in %2")
                       .arg(quoted(region.layername), quoted(region.path)));
            return false;
        }
        OGRFeatureUniquePtr feature(layer->GetFeature(region.layerid.toLongLong()));
        OGRGeometry* shape = feature ? feature->GetGeometryRef() : nullptr;
        const OGRwkbGeometryType kind = shape ? wkbFlatten(shape->getGeometryType()) : wkbUnknown;
        if (!shape || !(OGR_GT_IsSurface(kind) || OGR_GT_IsSubClassOf(kind, wkbMultiSurface))) {
            badJob(QStringLiteral("region layerid %1: layer %2 has no polygon feature of that id")
                       .arg(quoted(region.layerid), quoted(QString::fromUtf8(layer->GetName()))));
            return false;
        }
        geometry.reset(shape->clone());
        if (const OGRSpatialReference* reference = layer->GetSpatialRef())
            geometryReference.reset(reference->Clone());
    } else {
        QString text = region.name;
        if (!region.path.isEmpty()) {
            QFile file(region.path);
            if (!file.open(QIODevice::ReadOnly)) {
                badJob(QStringLiteral("region path %1: %2").arg(quoted(region.path), file.errorString()));
                return false;
            }
            text = QString::fromUtf8(file.readAll());
        }
        OGRGeometry* parsed = nullptr;
        const QByteArray wkt = utf8(text.trimmed());
        if (OGRGeometryFactory::createFromWkt(wkt.constData(), nullptr, &parsed) != OGRERR_NONE || !parsed) {
            badJob(QStringLiteral("region: the wkt region is not a WKT geometry"));
            return false;
        }
        geometry.reset(parsed);
    }

    GDALDatasetH source = stages.back();
    const OGRSpatialReference* rasterReference = OGRSpatialReference::FromHandle(GDALGetSpatialRef(source));
    if (geometryReference && rasterReference && !geometryReference->IsSame(rasterReference)) {
        geometryReference->SetAxisMappingStrategy(OAMS_TRADITIONAL_GIS_ORDER);
        geometry->assignSpatialReference(geometryReference.get());
        std::unique_ptr<OGRSpatialReference> target(rasterReference->Clone());
        target->SetAxisMappingStrategy(OAMS_TRADITIONAL_GIS_ORDER);
        if (geometry->transformTo(target.get()) != OGRERR_NONE) {
            badJob(QStringLiteral("region: the feature cannot be brought into the raster's coordinate reference: %1")
                       .arg(GdalMessages::takeFailures()));
            return false;
        }
    }
    geometry->assignSpatialReference(nullptr);

    double transform[6];
    GDALGetGeoTransform(source, transform);
    const int width = GDALGetRasterXSize(source);
    const int height = GDALGetRasterYSize(source);
    OGREnvelope envelope;
    geometry->getEnvelope(&envelope);
    const double right = transform[0] + transform[1] * width;
    const double bottom = transform[3] + transform[5] * height;
    if (envelope.MaxX <= transform[0] || envelope.MinX >= right || envelope.MaxY <= bottom
        || envelope.MinY >= transform[3]) {
        badJob(QStringLiteral("region layerid %1: the feature lies wholly outside the output")
                   .arg(quoted(region.layerid)));
        return false;
    }

    // The warper takes its cut-line from a data source; a one-line table in memory is the smallest.
    char* wkt = nullptr;
    geometry->exportToWkt(&wkt);
    // The table reader wants a second column to recognise the file as a table.
    const QByteArray table = QByteArray("id,WKT\n1,\"") + QByteArray(wkt) + QByteArray("\"\n");
    CPLFree(wkt);
    const QString tableName = memoryName(QStringLiteral("cutline.csv"));
    VSIFCloseL(VSIFileFromMemBuffer(utf8(tableName).constData(), reinterpret_cast<GByte*>(CPLStrdup(table.constData())),
                                    vsi_l_offset(table.size()), TRUE));
    memoryFiles.push_back(tableName);

    CPLStringList list = argumentList(
        {QStringLiteral("-of"), QStringLiteral("VRT"), QStringLiteral("-dstalpha"), QStringLiteral("-cutline"),
         tableName, QStringLiteral("-r"), QStringLiteral("near"), QStringLiteral("-te"), number(transform[0]),
         number(bottom), number(right), number(transform[3]), QStringLiteral("-ts"), QString::number(width),
         QString::number(height), QStringLiteral("-wo"), QStringLiteral("INIT_DEST=0")});
    GDALWarpAppOptions* options = GDALWarpAppOptionsNew(list.List(), nullptr);
    const QString name = memoryName(QStringLiteral("cut.vrt"));
    GDALDatasetH cut = GDALWarp(utf8(name).constData(), nullptr, 1, &source, options, nullptr);
    GDALWarpAppOptionsFree(options);
    if (!cut) {
        badJob(QStringLiteral("region: the cut-line cannot be applied: %1").arg(GdalMessages::takeFailures()));
        return false;
    }
    memoryFiles.push_back(name);
    stages.push_back(cut);
    return true;
}

bool Compressor::describeOutput()
{
    GDALDatasetH output = stages.back();
    const int bands = GDALGetRasterCount(output);
    hasAlpha = bands > 1 && GDALGetRasterColorInterpretation(GDALGetRasterBand(output, bands)) == GCI_AlphaBand;
    const int colourBands = bands - (hasAlpha ? 1 : 0);
    if ((job.colorspace == QLatin1String("RGB") && colourBands != 3)
        || (job.colorspace == QLatin1String("Greyscale") && colourBands != 1)) {
        badJob(QStringLiteral("option colorspace %1: needs %2 colour band(s), the output has %3")
                   .arg(quoted(job.colorspace))
                   .arg(job.colorspace == QLatin1String("RGB") ? 3 : 1)
                   .arg(colourBands));
        return false;
    }
    for (const JobDocument::Band& band : job.bands) {
        if (band.id > bands) {
            badJob(QStringLiteral("band id '%1': the output has %2 bands").arg(band.id).arg(bands));
            return false;
        }
        GDALSetDescription(GDALGetRasterBand(output, band.id), utf8(band.description).constData());
    }
    for (const auto& item : job.metadata)
        GDALSetMetadataItem(output, utf8(item.first).constData(), utf8(item.second).constData(), nullptr);
    for (const auto& item : job.rpc)
        GDALSetMetadataItem(output, utf8(item.first).constData(), utf8(item.second).constData(), "RPC");
    return true;
}

QStringList Compressor::creationOptions(double overhead) const
{
    const QString suffix = QFileInfo(job.outputPath).suffix().toLower();
    // The encoder guesses the container from the name; any name but a raw codestream's gets JP2.
    const bool raw = suffix == QLatin1String("j2k") || suffix == QLatin1String("j2c") || suffix == QLatin1String("jpc");
    QStringList options{QStringLiteral("CODEC=") + (raw ? QStringLiteral("J2K") : QStringLiteral("JP2"))};

    // QUALITY is the percentage of the uncompressed size, so a 20:1 rate is 5; each extra quality
    // layer below the top one halves the rate of the one above.
    const int layers = std::max(1, job.jp2qualitylayers);
    double top = 25.0;
    if (job.targetrate >= 0 && job.targetrate <= 1) {
        options << QStringLiteral("REVERSIBLE=YES");
        top = 100.0;
    } else if (job.targetrate > 1) {
        // The rate holds for the whole file: the boxes around the codestream (georeferencing,
        // metadata) come out of the budget, though never more than half of it.
        const double budget = rawBytes() / job.targetrate;
        top = 100.0 / job.targetrate * std::max(0.5, (budget - overhead) / budget);
    }
    if (job.targetrate >= 0 || layers > 1) {
        QStringList qualities;
        for (int layer = 1; layer <= layers; ++layer)
            qualities << number(std::ldexp(top, layer - layers));
        options << QStringLiteral("QUALITY=") + qualities.join(QLatin1Char(','));
    }
    if (job.jp2tilesize > 0) {
        options << QStringLiteral("BLOCKXSIZE=%1").arg(job.jp2tilesize)
                << QStringLiteral("BLOCKYSIZE=%1").arg(job.jp2tilesize);
    } else {
        if (job.blocksizex > 0)
            options << QStringLiteral("BLOCKXSIZE=%1").arg(job.blocksizex);
        if (job.blocksizey > 0)
            options << QStringLiteral("BLOCKYSIZE=%1").arg(job.blocksizey);
    }
    if (job.jp2precinctsize > 0)
        options << QStringLiteral("PRECINCTS={%1,%1}").arg(job.jp2precinctsize);
    if (!job.jp2progressionorder.isEmpty())
        options << QStringLiteral("PROGRESSION=") + job.jp2progressionorder;
    const auto yesNo = [](bool value) { return value ? QStringLiteral("YES") : QStringLiteral("NO"); };
    if (job.jp2markers)
        options << QStringLiteral("SOP=") + yesNo(job.jp2markers->contains(QStringLiteral("sop")))
                << QStringLiteral("EPH=") + yesNo(job.jp2markers->contains(QStringLiteral("eph")));
    if (job.jp2georef)
        options << QStringLiteral("GMLJP2=") + yesNo(job.jp2georef->contains(QStringLiteral("gml")))
                << QStringLiteral("GeoJP2=") + yesNo(job.jp2georef->contains(QStringLiteral("geojp2")));
    if (job.colorspace == QLatin1String("RGB"))
        options << QStringLiteral("YCC=YES");
    else if (job.colorspace == QLatin1String("Greyscale") || job.colorspace == QLatin1String("Multiband"))
        options << QStringLiteral("YCC=NO");
    if (nbits > 0)
        options << QStringLiteral("NBITS=%1").arg(nbits);
    if (hasAlpha)
        options << QStringLiteral("ALPHA=YES");
    if (!job.metadata.isEmpty() || !job.rpc.isEmpty())
        options << QStringLiteral("WRITE_METADATA=YES");
    return options;
}

int CPL_STDCALL Compressor::onEncoding(double fraction, const char*, void* data)
{
    auto* self = static_cast<Compressor*>(data);
    if (Interrupt::requested())
        return FALSE;
    // 100% is said only once the file is closed and checked.
    if (fraction < 1.0) {
        const QString line = self->encoding.next(fraction);
        if (!line.isNull())
            self->console.line(line);
    }
    return TRUE;
}

int CPL_STDCALL Compressor::onStatistics(double fraction, const char*, void* data)
{
    auto* self = static_cast<Compressor*>(data);
    if (Interrupt::requested())
        return FALSE;
    const double overall = (self->statisticsDone + fraction) / self->statisticsBands;
    if (overall < 1.0) {
        const QString line = self->statistics.next(overall);
        if (!line.isNull())
            self->console.line(line);
    }
    return TRUE;
}

bool Compressor::encode()
{
    GDALDriverH driver = GDALGetDriverByName("JP2OpenJPEG");
    if (!driver) {
        failure(
            QStringLiteral("output version '1': the JPEG 2000 encoder (GDAL's JP2OpenJPEG driver) is not installed"));
        return false;
    }
    const QStringList options = creationOptions(job.targetrate > 1 ? boxBytes(driver) : 0.0);
    console.log(QStringLiteral("Encoder options: %1").arg(options.join(QLatin1Char(' '))));
    CPLStringList list = argumentList(options);
    VSIUnlink(utf8(job.outputPath + QStringLiteral(".aux.xml")).constData());
    outputStarted = true;
    encoding.restart();
    GdalMessages::takeFailures();
    GDALDatasetH output = GDALCreateCopy(driver, utf8(job.outputPath).constData(), stages.back(), FALSE, list.List(),
                                         &Compressor::onEncoding, this);
    if (output)
        GDALClose(output);
    const QString failures = GdalMessages::takeFailures();
    if (Interrupt::requested())
        return false;
    if (!output || !failures.isEmpty() || !verifyOutput()) {
        removeOutput();
        failure(QStringLiteral("output path %1: encoding failed: %2")
                    .arg(quoted(job.outputPath), failures.isEmpty() ? GdalMessages::takeFailures() : failures));
        return false;
    }
    console.line(encoding.format(1.0));
    return true;
}

double Compressor::rawBytes() const
{
    GDALDatasetH source = stages.back();
    const int bits = nbits > 0 ? nbits : GDALGetDataTypeSizeBits(outputType);
    return double(GDALGetRasterXSize(source)) * GDALGetRasterYSize(source) * GDALGetRasterCount(source) * bits / 8.0;
}

double Compressor::boxBytes(GDALDriverH driver)
{
    // A corner of the output written with the same options and georeferencing shows what the file
    // holds besides the codestream.
    GDALDatasetH source = stages.back();
    const int width = std::min(16, GDALGetRasterXSize(source));
    const int height = std::min(16, GDALGetRasterYSize(source));
    CPLStringList list =
        argumentList({QStringLiteral("-of"), QStringLiteral("VRT"), QStringLiteral("-srcwin"), QStringLiteral("0"),
                      QStringLiteral("0"), QString::number(width), QString::number(height)});
    GDALTranslateOptions* options = GDALTranslateOptionsNew(list.List(), nullptr);
    const QString cornerName = memoryName(QStringLiteral("corner.vrt"));
    GDALDatasetH corner = GDALTranslate(utf8(cornerName).constData(), source, options, nullptr);
    GDALTranslateOptionsFree(options);
    memoryFiles.push_back(cornerName);
    if (!corner)
        return 0.0;
    const QString probeName = memoryName(QStringLiteral("probe.jp2"));
    CPLStringList probeOptions = argumentList(creationOptions(0.0));
    GDALDatasetH probe =
        GDALCreateCopy(driver, utf8(probeName).constData(), corner, FALSE, probeOptions.List(), nullptr, nullptr);
    const double cornerCodestream = double(width) * height
        / (double(GDALGetRasterXSize(source)) * GDALGetRasterYSize(source)) * rawBytes() / job.targetrate;
    GDALClose(corner);
    if (!probe)
        return 0.0;
    GDALClose(probe);
    VSIStatBufL stat;
    const double size = VSIStatL(utf8(probeName).constData(), &stat) == 0 ? double(stat.st_size) : 0.0;
    VSIUnlink(utf8(probeName).constData());
    VSIUnlink(utf8(probeName + QStringLiteral(".aux.xml")).constData());
    GdalMessages::takeFailures();
    return std::max(0.0, size - cornerCodestream);
}

bool Compressor::verifyOutput()
{
    GDALDatasetH output = GDALOpenEx(utf8(job.outputPath).constData(), GDAL_OF_RASTER, nullptr, nullptr, nullptr);
    if (!output)
        return false;
    GDALDatasetH source = stages.back();
    const bool whole = GDALGetRasterXSize(output) == GDALGetRasterXSize(source)
        && GDALGetRasterYSize(output) == GDALGetRasterYSize(source)
        && GDALGetRasterCount(output) == GDALGetRasterCount(source);
    GDALClose(output);
    return whole;
}

bool Compressor::computeStatistics()
{
    GDALDatasetH output =
        GDALOpenEx(utf8(job.outputPath).constData(), GDAL_OF_RASTER | GDAL_OF_VERBOSE_ERROR, nullptr, nullptr, nullptr);
    if (!output) {
        removeOutput();
        failure(QStringLiteral("output path %1: cannot be read back for statistics: %2")
                    .arg(quoted(job.outputPath), GdalMessages::takeFailures()));
        return false;
    }
    statisticsBands = GDALGetRasterCount(output);
    statistics.restart();
    bool done = true;
    for (int band = 1; band <= statisticsBands && done; ++band) {
        statisticsDone = band - 1;
        double minimum = 0.0, maximum = 0.0, mean = 0.0, deviation = 0.0;
        done = GDALComputeRasterStatistics(GDALGetRasterBand(output, band), FALSE, &minimum, &maximum, &mean,
                                           &deviation, &Compressor::onStatistics, this)
            == CE_None;
        if (done)
            console.log(QStringLiteral("Band %1: minimum %2, maximum %3, mean %4, standard deviation %5")
                            .arg(band)
                            .arg(minimum)
                            .arg(maximum)
                            .arg(mean)
                            .arg(deviation));
    }
    GDALClose(output);
    if (!done) {
        removeOutput();
        if (!Interrupt::requested())
            failure(QStringLiteral("output path %1: statistics failed: %2")
                        .arg(quoted(job.outputPath), GdalMessages::takeFailures()));
        return false;
    }
    console.line(statistics.format(1.0));
    return true;
}

void Compressor::removeOutput()
{
    VSIUnlink(utf8(job.outputPath).constData());
    VSIUnlink(utf8(job.outputPath + QStringLiteral(".aux.xml")).constData());
}
