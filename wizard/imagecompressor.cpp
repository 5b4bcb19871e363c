#include "wizard/imagecompressor.h"

#include <QFile>
#include <QRect>
#include <QStandardPaths>
#include <QThread>

#include "compression/compressiontask.h"
#include "compression/metadata.h"
#include "core/appconstants.h"
#include "core/platform.h"
#include "core/settings.h"
#include "core/tempdirectorymenu.h"
#include "map/geomapview.h"
#include "ui_imagecompressor.h"
#include "wizard/imagecompressorsettings.h"

namespace TSR::ImageCompressor::API {

namespace Keys = ImageCompressorSettings;

ImageCompressor::ImageCompressor(const CompressionLicense& license, QWidget* parent)
    : QWizard(parent)
    , ui(new Ui::ImageCompressor)
    , settings(createSettings())
    , license(license)
{
    ui->setupUi(this);
    setWizardStyle(QWizard::AeroStyle);
    setOption(QWizard::HelpButtonOnRight);
    setSizeGripEnabled(false);
    resize(778, 770);
    setWindowFlags(windowFlags() | Qt::WindowCloseButtonHint | Qt::WindowMinimizeButtonHint
                   | Qt::WindowMaximizeButtonHint);
    setWindowTitle(AppConstants::ApplicationName + QLatin1Char(' ') + AppConstants::ApplicationYear);

    mapView = new Tessara::GeoMap::GeoMapView(ui->geoViewMap);
    mapView->setupMap();
    ui->EPSGInfoButton->setToolTip(tr("EPSG Geodetic Parameter Dataset link to the relevant EPSG code"));

    compressionMode = settings->value(Keys::CompressionMode, BatchMode).toInt();
    ui->compressionModeGroup->setId(ui->batchRadioButton, BatchMode);
    ui->compressionModeGroup->setId(ui->mosaicRadioButton, MosaicMode);
    ui->compressionModeGroup->setId(ui->mosaicToManyRadioButton, MosaicToManyMode);
    ui->compressionModeGroup->setId(ui->updateRadioButton, UpdateMode);
    if (!license.updateModeAllowed)
        ui->updateRadioButton->setEnabled(false);
    QAbstractButton* saved = ui->compressionModeGroup->button(compressionMode);
    if (!saved || !saved->isEnabled())
        saved = ui->batchRadioButton;
    saved->setChecked(true);
    connect(ui->compressionModeGroup, &QButtonGroup::idClicked, this, &ImageCompressor::chooseCompressionMode);
    emit ui->compressionModeGroup->idClicked(ui->compressionModeGroup->id(saved));

    setupTempDirectoryMenus();
    setupTemplateMenu();
    readSettings();
    setupInputList();
    setupOptions();
    connectOptions();
    connectResize();
    connectPolygons();
    // Stored values stand until the dialog is accepted; whether jobs get them is decided per job.
    metaData = MetaData::storedMetaData();
    connect(this, &QWizard::currentIdChanged, this, &ImageCompressor::pageChanged);

    const QRect geometry = settings->value(Keys::Geometry).toRect();
    if (geometry.isValid())
        setGeometry(geometry);
}

ImageCompressor::~ImageCompressor()
{
    writeSettings();
    // Jobs that went to the main window belong to its table; the rest are ours.
    if (result() != QDialog::Accepted)
        qDeleteAll(generatedJobs);
    scanResult = DatasetScanResult();
    delete mapView;
    delete ui;
}

void ImageCompressor::readSettings()
{
    lastInputFile = settings->value(Keys::LastInputFile).toString();
    lastInputDirectory = settings->value(Keys::LastInputDirectory).toString();
    const QString temp = QStandardPaths::writableLocation(QStandardPaths::TempLocation);
    outputFilename = settings->value(Keys::LastOutputFilename, QStringLiteral("$(FILENAME).$(SRCEXT)")).toString();
    outputDirectory = settings->value(Keys::LastOutputDirectory, temp).toString();
    updateFile = settings->value(Keys::LastUpdateFile).toString();
    tempDirectory = settings->value(TempDirectorySetting, temp).toString();
    ui->outputDirLineEdit->setText(outputDirectory);
    ui->outputFilenameTemplateTextEdit->setText(outputFilename);
    ui->tempDirEdit->setText(tempDirectory);
    ui->tempDirEdit2->setText(tempDirectory);

    // The template is in place before the format comes back, so that a restored format other than
    // the form's first rewrites the template's extension at once.
    ui->fileFormat->setCurrentIndex(settings->value(Keys::OutputFormat, 1).toInt());
    ui->colorSpace->setCurrentIndex(settings->value(Keys::ColorSpace, 3).toInt());
    ui->outputBitDepthOverride->setValue(settings->value(Keys::BitdepthOverride, 0).toInt());
    ui->outputSignednessOverrideCombo->setCurrentIndex(settings->value(Keys::SignednessOverride, 0).toInt());
    ui->targetRate->setValue(settings->value(Keys::TargetRate, 20).toInt());
    ui->method->setCurrentIndex(settings->value(Keys::Method, 1).toInt());
    ui->threads->setMaximum(license.maximumThreads);
    ui->threads->setValue(settings->value(Keys::NumberOfThreads, QThread::idealThreadCount()).toInt());

    nullColor = settings->value(Keys::NullColorMinMax, QStringLiteral("min")).toString();
    if (nullColor != QLatin1String("min") && nullColor != QLatin1String("max"))
        nullColor = QStringLiteral("min");
    resampleIndex = settings->value(Keys::ResampleMethod).toInt();
    memoryFraction = qBound(0.1, settings->value(Keys::MaxCompressionMemory, 0.25).toDouble(), 1.0);
    totalMemory = Platform::totalPhysicalMemory();
}

void ImageCompressor::writeSettings()
{
    settings->setValue(Keys::CompressionMode, ui->compressionModeGroup->checkedId());
    settings->setValue(Keys::LastInputFile, lastInputFile);
    settings->setValue(Keys::LastInputDirectory, lastInputDirectory);
    settings->setValue(Keys::LastOutputFilename, ui->outputFilenameTemplateTextEdit->text());
    settings->setValue(Keys::LastOutputDirectory, ui->outputDirLineEdit->text());
    settings->setValue(Keys::LastUpdateFile, updateFile);
    settings->setValue(TempDirectorySetting, ui->tempDirEdit->text());
    settings->setValue(Keys::OutputFormat, ui->fileFormat->currentIndex());
    settings->setValue(Keys::ColorSpace, ui->colorSpace->currentIndex());
    settings->setValue(Keys::BitdepthOverride, ui->outputBitDepthOverride->value());
    settings->setValue(Keys::SignednessOverride, ui->outputSignednessOverrideCombo->currentIndex());
    settings->setValue(Keys::TargetRate, ui->targetRate->value());
    settings->setValue(Keys::Method, ui->method->currentIndex());
    settings->setValue(Keys::NumberOfThreads, ui->threads->value());
    settings->setValue(Keys::NullColorMinMax, nullColor);
    settings->setValue(Keys::ResampleMethod, resampleIndex);
    settings->setValue(Keys::MaxCompressionMemory, memoryFraction);
    settings->setValue(Keys::Geometry, geometry());
    settings->setValue(Keys::LastShapeFile, ui->shapefileClipLineEdit->text());
    settings->setValue(Keys::LastShapeFileLayer, ui->shapeLayerNameClipLineEdit->text());
    settings->setValue(Keys::LastShapeFileFID, ui->shapeLayerIDClipLineEdit->text());
    settings->setValue(Keys::OpacityMode, opacityMode);
}

void ImageCompressor::reject()
{
    QWizard::reject();
    // A cancelled wizard leaves no job document behind.
    for (CompressionTask* job : qAsConst(generatedJobs))
        QFile::remove(job->xmlFilename());
}

bool ImageCompressor::validateCurrentPage()
{
    switch (currentId()) {
    case StartPage:
        applyCompressionMode();
        return true;
    case InputPage:
        return validateInputPage();
    case OptionsPage:
        return validateOptionsPage();
    case OpacityPage:
        return validateOpacityPage();
    case FinishPage:
        return true;
    default:
        return false;
    }
}

void ImageCompressor::initializePage(int id)
{
    if (id != OpacityPage)
        return;
    if (compressionMode == UpdateMode) {
        ui->resizeGroupBox->setEnabled(false);
        ui->resizeGroupBox->setChecked(false);
    } else {
        ui->resizeGroupBox->setEnabled(true);
    }
    ui->comboBox_Resample->setCurrentIndex(resampleIndex);
}

void ImageCompressor::pageChanged(int id)
{
    if (id == InputPage) {
        mapView->zoomToProjectExtent();
    } else if (id == FinishPage) {
        updateSummary();
    }
}

std::shared_ptr<ICompressionUtil> ImageCompressor::compressionUtil() const
{
    const std::shared_ptr<CompressionUtilFactory> factory = Tessara::GeoMap::GeoMapView::factoryMaker();
    std::shared_ptr<ICompressionUtil> util;
    factory->GetCompressionUtil(util);
    return util;
}

}  // namespace TSR::ImageCompressor::API
