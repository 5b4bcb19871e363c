#pragma once

#include <QObject>
#include <QPointF>
#include <QString>
#include <QStringList>

#include "compression/compressorxml.h"
#include "compression/jp2options.h"
#include "compression/metadata.h"
#include "tasks/runnabletaskbase.h"

enum CompressionOpacity { OpacityFromSource = 0, OpacityNone = 1, OpacityShapefile = 2 };
Q_DECLARE_METATYPE(CompressionOpacity)

// Runs the image compressor on one job document, written beside the output from the properties the
// wizard fills, or loaded as it stands from a saved document.
class CompressionTask : public QObject, public RunnableTaskBase
{
    Q_OBJECT
    Q_PROPERTY(QStringList files READ files WRITE setFiles)
    Q_PROPERTY(bool hasNoDataValue READ hasNoDataValue WRITE setHasNoDataValue)
    Q_PROPERTY(int noDataValue READ noDataValue WRITE setNoDataValue)
    Q_PROPERTY(double ratio READ ratio WRITE setRatio)
    Q_PROPERTY(QString format READ format WRITE setFormat)
    Q_PROPERTY(QString bitDepth READ bitDepth WRITE setBitDepth)
    Q_PROPERTY(CompressorXml::SignType signedness READ signedness WRITE setSignedness)
    Q_PROPERTY(QString colorSpace READ colorSpace WRITE setColorSpace)
    Q_PROPERTY(QString method READ method WRITE setMethod)
    Q_PROPERTY(QString outputFilename READ outputFilename WRITE setOutputFilename)
    Q_PROPERTY(QString tempDir READ tempDir WRITE setTempDir)
    Q_PROPERTY(uint blockSize READ blockSize WRITE setBlockSize)
    Q_PROPERTY(uint threads READ threads WRITE setThreads)
    Q_PROPERTY(double memCache READ memCache WRITE setMemCache)
    Q_PROPERTY(uint gDalCache READ gDalCache WRITE setGDalCache)
    Q_PROPERTY(QString nullColor READ nullColor WRITE setNullColor)
    Q_PROPERTY(QString bandList READ bandList WRITE setBandList)
    Q_PROPERTY(QString shapeFile READ shapeFile WRITE setShapeFile)
    Q_PROPERTY(QString shapeFileLayerName READ shapeFileLayerName WRITE setShapeFileLayerName)
    Q_PROPERTY(QString shapeFileFeatureID READ shapeFileFeatureID WRITE setShapeFileFeatureID)
    // The log named in the document; logFilename() itself is computed from the output.
    Q_PROPERTY(QString logFilename MEMBER logFilename_ WRITE setLogFilename)
    Q_PROPERTY(QString customArgs READ customArgs WRITE setCustomArgs)
    Q_PROPERTY(CompressionOpacity opacity READ opacity WRITE setOpacity)
    Q_PROPERTY(MetaData::MetaDataHash metaData READ metaData WRITE setMetaData)
    Q_PROPERTY(Jp2Options::JP2EncodeOptionsHash jp2EncodeOptions READ jp2EncodeOptions WRITE setJp2EncodeOptions)
    Q_PROPERTY(QPointF cellSize READ cellSize WRITE setCellSize)
    Q_PROPERTY(QPointF topLeft READ topLeft WRITE setTopLeft)
    Q_PROPERTY(QPointF bottomRight READ bottomRight WRITE setBottomRight)
    Q_PROPERTY(CompressorXml::ResampleMethod resampleMethod READ resampleMethod WRITE setResampleMethod)

public:
    // Published for scripting and the wizard's combo boxes; the string properties do not use them.
    enum CompressionMethod { MethodLine = 0, MethodTile = 1 };
    Q_ENUM(CompressionMethod)
    enum CompressionFormat { FormatWVCv2 = 0, FormatWVCv3 = 1, FormatJPEG2000 = 2 };
    Q_ENUM(CompressionFormat)
    enum CompressionColorSpace {
        ColorSpaceAuto = 0,
        ColorSpaceGreyscalce = 1,
        ColorSpaceRGB = 2,
        ColorSpaceMultiband = 3
    };
    Q_ENUM(CompressionColorSpace)
    enum CompressionBitDepth { BitDepth8 = 0, BitDepth16 = 1, BitDepthAuto = 2 };
    Q_ENUM(CompressionBitDepth)

    explicit CompressionTask(QObject* parent = nullptr);

    // A job that runs a saved document as it stands; null with errorText set when the document cannot
    // be read or has no compresstask or no input.
    static CompressionTask* fromXmlFile(const QString& fileName, QString& errorText);

    QProcessEnvironment& modifyEnvironment(QProcessEnvironment& environment) override;
    void setId(quint32 id) override;
    quint32 id() const override;
    QString inputFilename() const override;
    QString outputFilename() const override;
    QString logFilename() const override;
    QStringList arguments() override;
    QString programPath() const override;
    bool handleStandardError(const QByteArray& data) override;
    bool handleStandardOutput(const QByteArray& data) override;
    QAction* viewAction() override;
    QString taskName() const override;

    QStringList files() const;
    void setFiles(const QStringList& files);
    bool hasNoDataValue() const;
    void setHasNoDataValue(bool has);
    int noDataValue() const;
    void setNoDataValue(int value);
    double ratio() const;
    void setRatio(double ratio);
    QString format() const;
    void setFormat(const QString& format);
    QString bitDepth() const;
    void setBitDepth(const QString& bitDepth);
    CompressorXml::SignType signedness() const;
    void setSignedness(CompressorXml::SignType signedness);
    QString colorSpace() const;
    void setColorSpace(const QString& colorSpace);
    QString method() const;
    void setMethod(const QString& method);
    void setOutputFilename(const QString& path);
    QString tempDir() const;
    void setTempDir(const QString& path);
    uint blockSize() const;
    void setBlockSize(uint size);
    uint threads() const;
    void setThreads(uint threads);
    double memCache() const;
    void setMemCache(double memCache);
    uint gDalCache() const;
    void setGDalCache(uint megabytes);
    QString nullColor() const;
    void setNullColor(const QString& color);
    QString bandList() const;
    void setBandList(const QString& bands);
    QString shapeFile() const;
    void setShapeFile(const QString& path);
    QString shapeFileLayerName() const;
    void setShapeFileLayerName(const QString& name);
    QString shapeFileFeatureID() const;
    void setShapeFileFeatureID(const QString& id);
    void setLogFilename(const QString& path);
    QString customArgs() const;
    void setCustomArgs(const QString& arguments);
    CompressionOpacity opacity() const;
    void setOpacity(CompressionOpacity opacity);
    MetaData::MetaDataHash metaData() const;
    void setMetaData(const MetaData::MetaDataHash& metaData);
    Jp2Options::JP2EncodeOptionsHash jp2EncodeOptions() const;
    void setJp2EncodeOptions(const Jp2Options::JP2EncodeOptionsHash& options);
    QPointF cellSize() const;
    void setCellSize(const QPointF& size);
    QPointF topLeft() const;
    void setTopLeft(const QPointF& corner);
    QPointF bottomRight() const;
    void setBottomRight(const QPointF& corner);
    CompressorXml::ResampleMethod resampleMethod() const;
    void setResampleMethod(CompressorXml::ResampleMethod method);

    CompressorXml::Operation operation() const;
    void setOperation(CompressorXml::Operation operation);
    bool genStats() const;
    void setGenStats(bool genStats);
    QString srs() const;
    void setSrs(const QString& srs);
    // The job document beside the output; the name is fixed the first time it is asked for.
    QString xmlFilename() const;
    void setXmlFilename(const QString& path);
    // All the tool printed; complete once the job has finished.
    QString standardOutputText() const;
    QString standardErrorText() const;

signals:
    void progress(quint32 id, const QString& message, quint8 progress) override;
    void started(quint32 id) override;
    void failedtostart(quint32 id) override;
    void failed(quint32 id, int errorCode) override;
    void finished(quint32 id) override;

private:
    void buildDocument(CompressorXml& document) const;
    void parseOutput(const QString& text);
    QString estimateText(const QString& timeLeft) const;
    void taskStarted();
    void taskFailedToStart();
    void taskFailed();
    void taskFinished();
    void viewOutput();

    QStringList files_;
    bool hasNoDataValue_ = false;
    int noDataValue_ = 0;
    double ratio_ = 0.0;
    QString format_;
    QString bitDepth_;
    CompressorXml::SignType signedness_ = CompressorXml::SignUnspecified;
    QString colorSpace_;
    QString method_;
    QString outputFilename_;
    QString tempDir_;
    uint blockSize_ = 0;  // kept for the wizard; the tool is never told
    uint threads_ = 0;
    double memCache_ = 0.0;
    uint gDalCache_ = 0;
    QString nullColor_;
    QString bandList_;
    QString shapeFile_;
    QString shapeFileLayerName_;
    QString shapeFileFeatureID_;
    QString logFilename_;
    QString customArgs_;  // kept for the wizard; never passed to the tool
    CompressionOpacity opacity_ = OpacityNone;
    MetaData::MetaDataHash metaData_;
    Jp2Options::JP2EncodeOptionsHash jp2EncodeOptions_;
    QPointF cellSize_;
    QPointF topLeft_;
    QPointF bottomRight_;
    CompressorXml::ResampleMethod resampleMethod_ = CompressorXml::ResampleNearest;

    CompressorXml::Operation operation_ = CompressorXml::OperationCreate;
    bool genStats_ = false;
    QString srs_;
    mutable QString xmlFilename_;
    QString standardOutputText_;
    QString standardErrorText_;
    QAction* viewOutputAction = nullptr;
    quint32 id_ = 0;
};
