#include "compression/compressiontask.h"

#include <QDesktopServices>
#include <QDir>
#include <QFileInfo>
#include <QMessageBox>
#include <QUrl>
#include <limits>
#include <memory>

#include "core/appconstants.h"
#include "core/toolpaths.h"

namespace {

void registerPropertyTypes()
{
    static const bool registered = [] {
        qRegisterMetaType<CompressorXml::ResampleMethod>("CompressorXml::ResampleMethod");
        qRegisterMetaType<CompressorXml::SignType>("CompressorXml::SignType");
        qRegisterMetaType<CompressionOpacity>("CompressionOpacity");
        qRegisterMetaType<MetaData::MetaDataHash>("MetaData::MetaDataHash");
        qRegisterMetaType<Jp2Options::JP2EncodeOptionsHash>("Jp2Options::JP2EncodeOptionsHash");
        return true;
    }();
    Q_UNUSED(registered)
}

// A file beside the output, named after it: city.wvc gives city.xml and city.log.
QString besideOutput(const QString& output, const QString& suffix)
{
    const QFileInfo info(output);
    return QDir::toNativeSeparators(info.absolutePath() + QDir::separator() + info.completeBaseName() + suffix);
}

const QPointF notGiven(std::numeric_limits<double>::quiet_NaN(), std::numeric_limits<double>::quiet_NaN());

}  // namespace

CompressionTask::CompressionTask(QObject* parent)
    : QObject(parent)
    , cellSize_(notGiven)
    , topLeft_(notGiven)
    , bottomRight_(notGiven)
{
    registerPropertyTypes();
    viewOutputAction =
        new QAction(QIcon(QStringLiteral(":/ImageCompressor/Resources/photo_scenery.png")), tr("View Image"), this);
    connect(viewOutputAction, &QAction::triggered, this, &CompressionTask::viewOutput);

    // Direct: the life-cycle messages must leave on the worker thread before the window hears of
    // the signal that caused them.
    connect(this, &CompressionTask::started, this, &CompressionTask::taskStarted, Qt::DirectConnection);
    connect(this, &CompressionTask::failedtostart, this, &CompressionTask::taskFailedToStart, Qt::DirectConnection);
    connect(this, &CompressionTask::failed, this, &CompressionTask::taskFailed, Qt::DirectConnection);
    connect(this, &CompressionTask::finished, this, &CompressionTask::taskFinished, Qt::DirectConnection);
}

CompressionTask* CompressionTask::fromXmlFile(const QString& fileName, QString& errorText)
{
    const std::unique_ptr<CompressorXml> document(CompressorXml::read(fileName, errorText));
    if (!document)
        return nullptr;
    if (!document->task) {
        errorText = tr("Xml document has no <compresstask> element.");
        return nullptr;
    }
    if (document->inputs.isEmpty()) {
        errorText = tr("Xml document has no input files.");
        return nullptr;
    }

    auto* task = new CompressionTask;
    if (document->output)
        task->outputFilename_ = document->output->path;
    for (const CompressorXml::InputFile& input : qAsConst(document->inputs))
        task->files_.append(input.path);
    task->operation_ = document->task->operation;
    task->xmlFilename_ = fileName;
    return task;
}

QProcessEnvironment& CompressionTask::modifyEnvironment(QProcessEnvironment& environment)
{
    if (gDalCache_ != 0)
        environment.insert(QStringLiteral("GDAL_CACHEMAX"), QString::number(gDalCache_));
    return environment;
}

void CompressionTask::setId(quint32 id)
{
    id_ = id;
}

quint32 CompressionTask::id() const
{
    return id_;
}

QString CompressionTask::inputFilename() const
{
    if (files_.size() > 1)
        return xmlFilename();
    return files_.value(0);
}

QString CompressionTask::outputFilename() const
{
    return outputFilename_;
}

QString CompressionTask::logFilename() const
{
    return besideOutput(outputFilename_, QStringLiteral(".log"));
}

QStringList CompressionTask::arguments()
{
    if (!xmlFilename_.isEmpty() && QFileInfo::exists(xmlFilename_))
        return {QStringLiteral("-xml"), xmlFilename_};

    CompressorXml document;
    buildDocument(document);
    const QString name = xmlFilename();
    // A document left by an earlier job of the same output is run as it stands.
    if (!QFileInfo::exists(name))
        document.write(name);
    return {QStringLiteral("-xml"), name};
}

void CompressionTask::buildDocument(CompressorXml& document) const
{
    document.setVersion(QStringLiteral("1.2"));

    CompressorXml::Task task;
    task.operation = operation_;
    task.threads = int(threads_);
    task.memcache = memCache_;
    task.method = method_.toLower();
    task.logfile = logFilename_;
    task.tempdir = tempDir_;
    document.setTask(task);

    document.setResampleMethod(resampleMethod_);

    QVector<CompressorXml::InputFile> inputs;
    for (int i = 0; i < files_.size(); ++i) {
        CompressorXml::InputFile input;
        input.path = files_.at(i);
        // The first file lies on top.
        input.zindex = files_.size() - 1 - i;
        input.bandlist = bandList_;
        input.hasNodata = hasNoDataValue_;
        input.nodata = noDataValue_;
        inputs.append(input);
    }
    document.setInputs(inputs);

    CompressorXml::Output output;
    output.path = outputFilename_;
    output.cellsizex = cellSize_.x();
    output.cellsizey = cellSize_.y();
    output.tlx = topLeft_.x();
    output.tly = topLeft_.y();
    output.brx = bottomRight_.x();
    output.bry = bottomRight_.y();
    if (format_ == QLatin1String("WVC v2"))
        output.version = 2;
    else if (format_ == QLatin1String("WVC v3"))
        output.version = 3;
    else
        output.version = 1;
    document.setOutput(output);

    const bool jpeg2000 = format_ == QLatin1String("JPEG 2000");
    CompressorXml::Options options;
    if (!bitDepth_.isEmpty())
        options.bitdepth = bitDepth_.toInt();
    options.signedness = signedness_;
    if (colorSpace_ != QLatin1String("Auto"))
        options.colorspace = colorSpace_;
    // Neither WVC v2 nor JPEG 2000 files can hold statistics.
    options.genstats = format_ == QLatin1String("WVC v2") || jpeg2000 ? false : genStats_;
    options.targetrate = int(ratio_);
    if (opacity_ == OpacityNone)
        options.opacity = 3;
    else if (opacity_ == OpacityShapefile)
        options.opacity = 2;
    options.nullvalue = nullColor_;
    options.srs = srs_;
    if (jpeg2000) {
        const auto given = [this](const char* key, auto apply) {
            const QVariant value = jp2EncodeOptions_.value(QLatin1String(key));
            if (!value.isNull())
                apply(value);
        };
        given("jp2tilesize", [&](const QVariant& v) { options.jp2tilesize = v.toInt(); });
        given("jp2precinctsize", [&](const QVariant& v) { options.jp2precinctsize = v.toInt(); });
        given("jp2qualitylayers", [&](const QVariant& v) { options.jp2qualitylayers = v.toInt(); });
        given("jp2progressionorder", [&](const QVariant& v) { options.jp2progressionorder = v.toString(); });
        given("jp2markers", [&](const QVariant& v) { options.jp2markers = v.toString(); });
        given("jp2georef", [&](const QVariant& v) { options.jp2georef = v.toString(); });
    }

    if (!shapeFile_.isEmpty() && opacity_ == OpacityShapefile) {
        CompressorXml::Region region;
        region.type = CompressorXml::RegionShape;
        region.name = QStringLiteral("Shapefile");
        region.path = shapeFile_;
        region.layername = shapeFileLayerName_;
        region.layerid = shapeFileFeatureID_;
        document.setRegion(region);
    }
    document.setOptions(options);

    if (format_ == QLatin1String("WVC v3") && !metaData_.isEmpty()) {
        CompressorXml::Metadata metadata;
        metadata.classification = metaData_.value(QStringLiteral("classification"));
        metadata.acquistiondate = metaData_.value(QStringLiteral("acquistiondate"));
        metadata.acquisitionsensorname = metaData_.value(QStringLiteral("acquisitionsensorname"));
        metadata.compressionsoftware = metaData_.value(QStringLiteral("compressionsoftware"));
        metadata.author = metaData_.value(QStringLiteral("author"));
        metadata.copyright = metaData_.value(QStringLiteral("copyright"));
        metadata.company = metaData_.value(QStringLiteral("company"));
        metadata.email = metaData_.value(QStringLiteral("email"));
        metadata.address = metaData_.value(QStringLiteral("address"));
        metadata.telephone = metaData_.value(QStringLiteral("telephone"));
        document.setMetadata(&metadata);
    }
}

QString CompressionTask::programPath() const
{
    return toolPath(AppConstants::ImageCompressorExe);
}

QAction* CompressionTask::viewAction()
{
    return viewOutputAction;
}

QString CompressionTask::taskName() const
{
    return tr("Compress");
}

void CompressionTask::viewOutput()
{
    // Not openTaskFile: a missing output gets the same advice as a missing viewer.
    if (!QDesktopServices::openUrl(QUrl::fromLocalFile(outputFilename_)))
        QMessageBox::information(nullptr, tr("Error"),
                                 tr("Could not launch application to view WVC or JPEG 2000 images. Please install an "
                                    "image viewer."),
                                 QMessageBox::Ok);
}

QString CompressionTask::xmlFilename() const
{
    if (xmlFilename_.isEmpty())
        xmlFilename_ = besideOutput(outputFilename_, QStringLiteral(".xml"));
    return xmlFilename_;
}

void CompressionTask::setXmlFilename(const QString& path)
{
    xmlFilename_ = path;
}

QString CompressionTask::standardOutputText() const
{
    return standardOutputText_;
}

QString CompressionTask::standardErrorText() const
{
    return standardErrorText_;
}

QStringList CompressionTask::files() const
{
    return files_;
}
void CompressionTask::setFiles(const QStringList& files)
{
    files_ = files;
}
bool CompressionTask::hasNoDataValue() const
{
    return hasNoDataValue_;
}
void CompressionTask::setHasNoDataValue(bool has)
{
    hasNoDataValue_ = has;
}
int CompressionTask::noDataValue() const
{
    return noDataValue_;
}
void CompressionTask::setNoDataValue(int value)
{
    noDataValue_ = value;
}
double CompressionTask::ratio() const
{
    return ratio_;
}
void CompressionTask::setRatio(double ratio)
{
    ratio_ = ratio;
}
QString CompressionTask::format() const
{
    return format_;
}
void CompressionTask::setFormat(const QString& format)
{
    format_ = format;
}
QString CompressionTask::bitDepth() const
{
    return bitDepth_;
}
void CompressionTask::setBitDepth(const QString& bitDepth)
{
    bitDepth_ = bitDepth;
}
CompressorXml::SignType CompressionTask::signedness() const
{
    return signedness_;
}
void CompressionTask::setSignedness(CompressorXml::SignType signedness)
{
    signedness_ = signedness;
}
QString CompressionTask::colorSpace() const
{
    return colorSpace_;
}
void CompressionTask::setColorSpace(const QString& colorSpace)
{
    colorSpace_ = colorSpace;
}
QString CompressionTask::method() const
{
    return method_;
}
void CompressionTask::setMethod(const QString& method)
{
    method_ = method;
}
void CompressionTask::setOutputFilename(const QString& path)
{
    outputFilename_ = path;
}
QString CompressionTask::tempDir() const
{
    return tempDir_;
}
void CompressionTask::setTempDir(const QString& path)
{
    tempDir_ = path;
}
uint CompressionTask::blockSize() const
{
    return blockSize_;
}
void CompressionTask::setBlockSize(uint size)
{
    blockSize_ = size;
}
uint CompressionTask::threads() const
{
    return threads_;
}
void CompressionTask::setThreads(uint threads)
{
    threads_ = threads;
}
double CompressionTask::memCache() const
{
    return memCache_;
}
void CompressionTask::setMemCache(double memCache)
{
    memCache_ = memCache;
}
uint CompressionTask::gDalCache() const
{
    return gDalCache_;
}
void CompressionTask::setGDalCache(uint megabytes)
{
    gDalCache_ = megabytes;
}
QString CompressionTask::nullColor() const
{
    return nullColor_;
}
void CompressionTask::setNullColor(const QString& color)
{
    nullColor_ = color;
}
QString CompressionTask::bandList() const
{
    return bandList_;
}
void CompressionTask::setBandList(const QString& bands)
{
    bandList_ = bands;
}
QString CompressionTask::shapeFile() const
{
    return shapeFile_;
}
void CompressionTask::setShapeFile(const QString& path)
{
    shapeFile_ = path;
}
QString CompressionTask::shapeFileLayerName() const
{
    return shapeFileLayerName_;
}
void CompressionTask::setShapeFileLayerName(const QString& name)
{
    shapeFileLayerName_ = name;
}
QString CompressionTask::shapeFileFeatureID() const
{
    return shapeFileFeatureID_;
}
void CompressionTask::setShapeFileFeatureID(const QString& id)
{
    shapeFileFeatureID_ = id;
}
void CompressionTask::setLogFilename(const QString& path)
{
    logFilename_ = path;
}
QString CompressionTask::customArgs() const
{
    return customArgs_;
}
void CompressionTask::setCustomArgs(const QString& arguments)
{
    customArgs_ = arguments;
}
CompressionOpacity CompressionTask::opacity() const
{
    return opacity_;
}
void CompressionTask::setOpacity(CompressionOpacity opacity)
{
    opacity_ = opacity;
}
MetaData::MetaDataHash CompressionTask::metaData() const
{
    return metaData_;
}
void CompressionTask::setMetaData(const MetaData::MetaDataHash& metaData)
{
    metaData_ = metaData;
}
Jp2Options::JP2EncodeOptionsHash CompressionTask::jp2EncodeOptions() const
{
    return jp2EncodeOptions_;
}
void CompressionTask::setJp2EncodeOptions(const Jp2Options::JP2EncodeOptionsHash& options)
{
    jp2EncodeOptions_ = options;
}
QPointF CompressionTask::cellSize() const
{
    return cellSize_;
}
void CompressionTask::setCellSize(const QPointF& size)
{
    cellSize_ = size;
}
QPointF CompressionTask::topLeft() const
{
    return topLeft_;
}
void CompressionTask::setTopLeft(const QPointF& corner)
{
    topLeft_ = corner;
}
QPointF CompressionTask::bottomRight() const
{
    return bottomRight_;
}
void CompressionTask::setBottomRight(const QPointF& corner)
{
    bottomRight_ = corner;
}
CompressorXml::ResampleMethod CompressionTask::resampleMethod() const
{
    return resampleMethod_;
}
void CompressionTask::setResampleMethod(CompressorXml::ResampleMethod method)
{
    resampleMethod_ = method;
}
CompressorXml::Operation CompressionTask::operation() const
{
    return operation_;
}
void CompressionTask::setOperation(CompressorXml::Operation operation)
{
    operation_ = operation;
}
bool CompressionTask::genStats() const
{
    return genStats_;
}
void CompressionTask::setGenStats(bool genStats)
{
    genStats_ = genStats;
}
QString CompressionTask::srs() const
{
    return srs_;
}
void CompressionTask::setSrs(const QString& srs)
{
    srs_ = srs;
}
