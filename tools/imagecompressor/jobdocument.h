#pragma once

#include <QPair>
#include <QString>
#include <QStringList>
#include <QVector>
#include <optional>

// Everything a job document says, read and checked for form and range. Whether the files it names
// exist and fit together is the compressor's business, not the reader's.
struct JobDocument
{
    struct Input
    {
        QString path;
        QVector<int> bands;  // 1-based; empty means all
        int zindex = -1;
        std::optional<double> nodata;
    };
    struct Band
    {
        int id = 0;
        QString description;
    };
    struct Region
    {
        QString type;  // "shape" or "wkt"
        QString name;
        QString path;
        QString layername;
        QString layerid;
    };

    // compresstask
    QString operation = QStringLiteral("create");
    QString method;
    int threads = 0;  // 0: the encoder decides
    QString tempdir;
    QString logfile;
    QString loglevel;
    double memcache = -1.0;  // share of physical memory; negative when not given
    bool interactive = false;

    // inputs
    QString resample = QStringLiteral("nearest");
    QVector<Input> inputs;

    // output
    int version = -1;
    QString outputPath;
    std::optional<QPair<double, double>> cellSize;
    std::optional<QVector<double>> corners;  // tlx, tly, brx, bry
    QVector<Band> bands;
    std::optional<Region> region;
    QVector<QPair<QString, QString>> metadata;
    QVector<QPair<QString, QString>> rpc;  // GDAL's RPC keys and values, in document order

    // options
    int bitdepth = -1;
    std::optional<bool> isSigned;
    int targetrate = -1;
    QString colorspace;
    bool genstats = true;
    QString srs;
    int blocksizex = -1;
    int blocksizey = -1;
    int huffman = -1;
    int opacity = -1;
    QString nullvalue;
    int jp2tilesize = -1;
    int jp2precinctsize = -1;
    int jp2qualitylayers = -1;
    QString jp2progressionorder;
    std::optional<QStringList> jp2markers;
    std::optional<QStringList> jp2georef;
};

// Reads the document at path. On failure returns false with one line in errorText that names the
// element (and attribute or option) at fault.
bool readJobDocument(const QString& path, JobDocument& job, QString& errorText);
