#pragma once

#include <QString>
#include <QStringList>
#include <gdal.h>
#include <vector>

#include "tools/common/progressline.h"
#include "tools/imagecompressor/jobdocument.h"

class ToolConsole;

// Runs one job document: checks it against the file system, mosaics the inputs through a virtual
// raster, applies opacity, type and reference, and writes JPEG 2000 with the encoder's options
// mapped from the document. The output exists only if the whole run succeeded.
class Compressor
{
public:
    enum ExitCode { Success = 0, Failure = 1, BadJob = 2 };

    Compressor(const JobDocument& job, ToolConsole& console);
    ~Compressor();
    Compressor(const Compressor&) = delete;
    Compressor& operator=(const Compressor&) = delete;

    int run();

private:
    struct Input
    {
        const JobDocument::Input* entry = nullptr;
        GDALDatasetH dataset = nullptr;
        std::vector<int> bands;  // 1-based, after the band list and the opacity mode
        int order = 0;  // position in the document
        int z = 0;
        double extent[4] = {};  // minx, miny, maxx, maxy
        bool georeferenced = false;
    };

    bool checkJob();
    void configureGdal();
    bool openInputs();
    void planType();
    double fillValue() const;
    bool buildMosaic();
    bool addFill(std::vector<QString>& sources, const double extent[4]);
    bool assignReference();
    bool convertType();
    bool applyCutline();
    bool describeOutput();
    QStringList creationOptions(double overhead) const;
    double rawBytes() const;
    double boxBytes(GDALDriverH driver);
    bool encode();
    bool computeStatistics();
    bool verifyOutput();
    void removeOutput();
    static int CPL_STDCALL onEncoding(double fraction, const char* message, void* data);
    static int CPL_STDCALL onStatistics(double fraction, const char* message, void* data);
    int interrupted();
    int badJob(const QString& text);
    int failure(const QString& text);

    bool shapefileOpacity() const { return job.opacity == 2; }
    bool noOpacity() const { return job.opacity == 3; }
    QString memoryName(const QString& name) const;

    const JobDocument& job;
    ToolConsole& console;
    std::vector<Input> inputs;
    std::vector<GDALDatasetH> stages;  // each stage reads the one before; closed in reverse
    std::vector<QString> memoryFiles;
    GDALDataType dataType = GDT_Unknown;
    GDALDataType outputType = GDT_Unknown;
    int nbits = 0;
    bool hasAlpha = false;
    bool outputStarted = false;
    ProgressLine encoding{QStringLiteral("Encoding")};
    ProgressLine statistics{QStringLiteral("Calculating Stats:"), false};
    double statisticsDone = 0.0;
    int statisticsBands = 1;
};
