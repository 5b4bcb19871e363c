#pragma once

#include <QHash>
#include <QList>
#include <QSettings>
#include <QSizeF>
#include <QStringList>
#include <QVariant>
#include <QWizard>
#include <map>
#include <memory>
#include <string>

#include "wizard/compressionlicense.h"
#include "wizard/dataset/icompressionutil.h"

class CompressionTask;
class QFileInfo;
class QMenu;

namespace Tessara::GeoMap {
class GeoMapView;
}

namespace Ui {
class ImageCompressor;
}

namespace TSR::ImageCompressor::API {

// The compression wizard: input datasets, a compression mode and the output options, turned into
// compression jobs. Its state lives in the named widgets of its form and in the few members below;
// the source is split by concern: imagecompressor.cpp (life cycle, pages, settings),
// imagecompressormodes.cpp, imagecompressorinputs.cpp, imagecompressorlist.cpp,
// imagecompressorepsg.cpp, imagecompressoroptions.cpp, imagecompressortemplates.cpp,
// imagecompressorsize.cpp, imagecompressorpolygons.cpp, imagecompressorvalidation.cpp,
// imagecompressorjobs.cpp and imagecompressorsummary.cpp.
class ImageCompressor : public QWizard
{
    Q_OBJECT

public:
    // CompressionMode: also the ids of the buttons in compressionModeGroup.
    static constexpr int BatchMode = 0;
    static constexpr int MosaicMode = 1;
    static constexpr int MosaicToManyMode = 2;
    static constexpr int UpdateMode = 3;

    enum PageId { StartPage = 1, InputPage = 2, OptionsPage = 3, OpacityPage = 4, FinishPage = 5 };

    explicit ImageCompressor(const CompressionLicense& license, QWidget* parent = nullptr);
    ~ImageCompressor() override;

    bool eventFilter(QObject* watched, QEvent* event) override;
    void reject() override;
    bool validateCurrentPage() override;
    void initializePage(int id) override;

    // The jobs built for the summary page; the main window takes them over on Finish.
    const QList<CompressionTask*>& jobs() const { return generatedJobs; }

    // Input list.
    bool addDataset(const QFileInfo& file, QString& duplicate, QString& mismatch, QString& error, QString& clipMessage);
    int addFiles(const QStringList& paths);
    void addFolder(const QString& directory);
    void reportRefusedDatasets(const QStringList& duplicates, const QStringList& mismatches, const QStringList& errors,
                               const QString& clipMessage);
    void refreshListStatus();
    void rescanDatasets();
    void removeSelectedDatasets();
    static int countFiles(const QString& path, bool recursive);
    QStringList inputFiles() const;
    const DatasetScanResult& datasets() const { return scanResult; }
    Tessara::GeoMap::GeoMapView* map() const { return mapView; }

    // Coordinate references.
    void showSelectedEPSG(bool clicked);
    void applyEPSG();
    void setDatasetOverride(const QString& path);
    void resetEPSG();
    void openEPSGRegistry();
    // The number in an override "EPSG:xxxx", -1 when the text is too short to hold one.
    static int overrideNumber(const TSR::CString& text);

    // Options and templates.
    void applyFormat(const QString& format);
    QString makeOutputFilename(const QString& inputFile, const QString& appendName) const;

    // Validation and the update region.
    // The warning for an update that covers `ratio` of the file; empty when there is none.
    static QString updatedRegionWarning(double ratio);
    QString updatedRegionWarning() const { return updatedRegionWarning(updatedRegionRatio); }
    void calculateUpdatedRegion(const QStringList& inputs, const QString& updateFilePath);
    static const QList<QChar>& invalidFilenameCharacters();

    // Jobs and the summary.
    void generateJobs();
    void addCompressionJob(const QStringList& inputs, const ClipInfoPtr& polygon, const TSR::CString& srs);
    void applyJobOptions(CompressionTask* task, const ClipInfoPtr& polygon);
    QString polygonAttributeValue(const ClipInfoPtr& polygon) const;
    void updateSummary();

    // Sizes and polygons.
    QSizeF defaultCellSize(bool silent);
    void updateMosaicSize();
    void calculateProjectSize();
    void cutPolygonToDataset(ICompressionUtil& util, const std::string& path, const DatasetMetadata& metadata,
                             const ExtractedFeatureClipInfo& box, const ClipInfoPtr& clone);
    void buildClipLists();
    void choosePolygons();

private:
    // Life cycle and pages (imagecompressor.cpp).
    void readSettings();
    void writeSettings();
    void pageChanged(int id);
    std::shared_ptr<ICompressionUtil> compressionUtil() const;

    // Modes (imagecompressormodes.cpp).
    void chooseCompressionMode(int id);
    void applyCompressionMode();
    void generalReset();
    void updateReset();
    void clearClipState();
    void calculateActiveArea();
    void ensureActiveArea();
    // Measures the datasets' area, or shows none when there are no datasets.
    void updateActiveArea();
    void refreshActiveAreaLabel();

    // Input list (imagecompressorinputs.cpp, imagecompressorlist.cpp).
    void setupInputList();
    void addImagesFromDialog();
    void addFolderFromDialog();
    void zoomToDatasets();
    void updateNumFilesLabel();
    void clearDatasets();
    bool validateSelectedPolygons(QString& message);
    void dropPolygonSelection();
    // Mosaic mode only, unless `anyMosaic` lets mosaic to many show its first region too.
    void redrawClipRectangle(bool anyMosaic = false);
    void redrawFreshMap();
    bool dropOnInputList(const QList<QUrl>& urls);
    bool dropOnShapefile(const QList<QUrl>& urls);

    // Options (imagecompressoroptions.cpp).
    void setupTempDirectoryMenus();
    void setupOptions();
    void connectOptions();
    void refreshMemoryLabels();
    void editMetaData();
    void editJp2Options();

    // Validation (imagecompressorvalidation.cpp).
    bool validateInputPage();
    bool validateOptionsPage();
    bool validateOpacityPage();
    bool checkOutputNames(const QStringList& names);
    bool licenseAllowsSize(quint64 pixels);

    // Sizes (imagecompressorsize.cpp).
    void connectResize();
    void resizeClicked(bool checked);
    void useNativeCellSize();
    void cellSizeEdited(bool fromX, const QString& text);
    void cellSizeReturnPressed();
    void showMosaicSize();
    void showDimensions(quint32 width, quint32 height);
    void clearSizeLabels();
    void checkOutputSize();
    static QString gigapixelText(double gigapixels);
    bool hasClipRegion() const;

    // Polygons (imagecompressorpolygons.cpp).
    void connectPolygons();
    void chooseShapefile();
    void chooseUpdateFile();
    void clearPolygonChoice();

    // Templates (imagecompressortemplates.cpp).
    void setupTemplateMenu();
    void rewriteTemplateExtension(const QString& format);

    Ui::ImageCompressor* ui;
    std::unique_ptr<QSettings> settings;
    CompressionLicense license;
    int compressionMode = BatchMode;
    bool rescanNeeded = false;
    QString lastInputFile;
    QString lastInputDirectory;
    QString imageFileFilter;
    QString shapeFileFilter;
    QString lastShapeFile;
    QString outputDirectory;
    QString outputFilename;
    QString updateFile;
    QString tempDirectory;
    QString nullColor;
    QList<CompressionTask*> generatedJobs;
    QHash<QString, QString> metaData;
    QHash<QString, QVariant> jp2Options;
    QMenu* inputListMenu = nullptr;
    int opacityMode = 0;
    quint64 totalMemory = 0;
    double memoryFraction = 0.25;
    double updatedRegionRatio = 0.0;
    int resampleIndex = 0;
    ClipInfoList selectedFeatures;
    ClipInfoList mergedPolygons;
    ClipInfoMap datasetPolygons;
    DatasetScanResult scanResult;
    bool recursive = false;
    int epsg = -1;
    Tessara::GeoMap::GeoMapView* mapView = nullptr;
    double mosaicSizeGigapixels = 0.0;
    double projectSizeGigapixels = 0.0;
    quint32 mosaicWidth = 0;
    quint32 mosaicHeight = 0;
    quint32 projectWidth = 0;
    quint32 projectHeight = 0;
    double activeArea = 0.0;
    int activeAreaUnit = 0;
    bool swallowNextValidation = false;
    bool sizesShownOnce = false;
};

}  // namespace TSR::ImageCompressor::API
