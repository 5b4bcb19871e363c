#pragma once

#include <QCoreApplication>
#include <QMetaType>
#include <QString>
#include <QVector>
#include <limits>

// The job document handed to the image compressor. The writer produces the whole format, which the
// tool consumes; the reader takes back only what the task list shows, so a loaded document runs as it
// stands. The two are deliberately not inverse operations.
class CompressorXml
{
    Q_DECLARE_TR_FUNCTIONS(CompressorXml)

public:
    enum Operation { OperationCreate = 0, OperationUpdate = 1 };
    enum ResampleMethod {
        ResampleNearest = 0,
        ResampleBilinear = 1,
        ResampleCubic = 2,
        ResampleCubicSpline = 3,
        ResampleLanczos = 4,
        ResampleAverage = 5,
        ResampleMode = 6,
        ResampleGauss = 7
    };
    enum SignType { SignUnspecified = 0, SignSigned = 1, SignUnsigned = 2 };
    enum RegionType { RegionShape = 0, RegionWkt = 1, RegionNone = 2 };

    struct Task
    {
        Operation operation = OperationCreate;
        QString method;
        int threads = -1;
        QString tempdir;
        QString logfile;
        QString loglevel;
        double memcache = 0.25;
        bool interactive = false;
    };

    struct InputFile
    {
        QString path;
        QString bandlist;
        int zindex = -1;
        bool hasNodata = false;
        int nodata = 0;
    };

    // NaN stands for a value that is not given.
    struct Output
    {
        int version = -1;
        QString path;
        double cellsizex = std::numeric_limits<double>::quiet_NaN();
        double cellsizey = std::numeric_limits<double>::quiet_NaN();
        double tlx = std::numeric_limits<double>::quiet_NaN();
        double tly = std::numeric_limits<double>::quiet_NaN();
        double brx = std::numeric_limits<double>::quiet_NaN();
        double bry = std::numeric_limits<double>::quiet_NaN();
    };

    struct Band
    {
        int id = -1;
        QString description;
    };

    struct Region
    {
        RegionType type = RegionNone;
        QString name;
        QString path;
        QString layername;
        QString layerid;
    };

    struct Options
    {
        int bitdepth = -1;
        SignType signedness = SignUnspecified;
        int targetrate = -1;
        QString colorspace;
        bool genstats = true;
        int blocksizex = -1;
        int blocksizey = -1;
        int huffman = -1;
        int opacity = -1;
        QString nullvalue;
        QString srs;
        int jp2tilesize = -1;
        int jp2precinctsize = -1;
        int jp2qualitylayers = -1;
        QString jp2progressionorder;
        QString jp2markers;
        QString jp2georef;
    };

    // "acquistiondate" is the name the tool and the metadata hash know.
    struct Metadata
    {
        QString classification;
        QString acquistiondate;
        QString acquisitionsensorname;
        QString compressionsoftware;
        QString author;
        QString copyright;
        QString company;
        QString email;
        QString address;
        QString telephone;
    };

    struct RpcData
    {
        double errorbias = 0.0;
        double errorrandom = 0.0;
        double lineoffset = 0.0;
        double sampleoffset = 0.0;
        double latitudeoffset = 0.0;
        double longitudeoffset = 0.0;
        double heightoffset = 0.0;
        double linescale = 0.0;
        double samplescale = 0.0;
        double latitudescale = 0.0;
        double longitudescale = 0.0;
        double heightscale = 0.0;
        double linenumeratorcoefficients[20] = {};
        double linedenominatorcoefficients[20] = {};
        double samplenumeratorcoefficients[20] = {};
        double sampledenominatorcoefficients[20] = {};
    };

    CompressorXml();
    virtual ~CompressorXml();
    CompressorXml(const CompressorXml&) = delete;
    CompressorXml& operator=(const CompressorXml&) = delete;

    void setVersion(const QString& version);
    // The first record given wins; later calls leave the part as it is.
    void setTask(const Task& task);
    void setOutput(const Output& output);
    void setRegion(const Region& region);
    void setOptions(const Options& options);
    void setResampleMethod(ResampleMethod method);
    void setInputs(const QVector<InputFile>& inputs);
    void setBands(const QVector<Band>& bands);
    // Overwrites field by field, so the last call wins; null does nothing.
    void setMetadata(const Metadata* metadata);
    void setRpcData(const RpcData* rpcData);

    // False only when the file cannot be opened. Forces the task's threads to 1 for the line method.
    bool write(const QString& fileName);
    // A new document owned by the caller, or null with errorText set (left as it was when the file
    // cannot be opened).
    static CompressorXml* read(const QString& fileName, QString& errorText);

    // Limits on what read accepts. The size is the most text the toolkit holds in one string, about
    // nine million inputs; the writer's own documents are a handful of levels deep and declare and
    // refer to no entities, so that none of the limits refuses them.
    static constexpr qint64 maximumDocumentSize = 1000 * 1000 * 1000;
    static constexpr int maximumNestingDepth = 256;
    static constexpr int maximumDocumentTypeSize = 1024;

    QString version;
    Task* task = nullptr;
    ResampleMethod resampleMethod = ResampleNearest;
    QVector<InputFile> inputs;
    Output* output = nullptr;
    QVector<Band> bands;
    Region* region = nullptr;
    Options* options = nullptr;
    Metadata* metadata = nullptr;
    RpcData* rpcData = nullptr;
};

Q_DECLARE_METATYPE(CompressorXml::ResampleMethod)
Q_DECLARE_METATYPE(CompressorXml::SignType)
