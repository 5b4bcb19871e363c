// The compression mode: what choosing it on the first page does, what leaving that page sets up,
// and the active area that mosaic mode shows beside the map.

#include <QListWidget>

#include "map/geomapview.h"
#include "ui_imagecompressor.h"
#include "wizard/imagecompressor.h"
#include "wizard/scanprogressdialog.h"

namespace TSR::ImageCompressor::API {

namespace {

const char* const statsToolTip = QT_TRANSLATE_NOOP(
    "TSR::ImageCompressor::API::ImageCompressor",
    "Enabling statistics will calculate and embed the values into the WVC V3 header. For large images this can take some time.");

}  // namespace

void ImageCompressor::chooseCompressionMode(int id)
{
    const bool update = id == UpdateMode;
    ui->outputGroupBox->setVisible(!update);
    ui->opacityGroupBox->setVisible(!update);
    ui->updateFileGroupBox->setVisible(update);
    rescanNeeded = id != compressionMode && id != BatchMode && ui->inputListWidget->count() > 0;
    compressionMode = id;
}

void ImageCompressor::applyCompressionMode()
{
    static const char* const modeLabels[] = {QT_TR_NOOP("Batch"), QT_TR_NOOP("Mosaic,"), QT_TR_NOOP("Multi-output"),
                                             QT_TR_NOOP("WVC Update")};
    ui->CompressionModeLabel->setText(tr(modeLabels[qBound(0, compressionMode, UpdateMode)]));

    const bool mosaic = compressionMode == MosaicMode;
    ui->ActiveAreaLabel->setVisible(mosaic);
    ui->ActiveAreaTextLabel->setVisible(mosaic);
    ui->ProjectSizeGroupBox->setVisible(mosaic);
    ui->calculateSizeBtn->setVisible(mosaic);
    if (mosaic) {
        refreshActiveAreaLabel();
        ui->LicenseLabel->clear();
    }
    const bool update = compressionMode == UpdateMode;
    ui->EPSGLineEdit->setReadOnly(update);
    ui->ApplyEPSGButton->setVisible(!update);
    ui->statsCheckBox->setToolTip(
        update ? tr(
            "Warning: Disabling statistics generation will mean existing statistics are not recalculated with the updated area.")
               : tr(statsToolTip));
    ui->fieldNamecomboBox->setEnabled(compressionMode == MosaicToManyMode);
    if (mosaic)
        ui->fieldNamecomboBox->setToolTip(
            tr("This field is enabled only for mosaic to many mode and disabled otherwise."));
    else if (compressionMode == MosaicToManyMode)
        ui->fieldNamecomboBox->setToolTip(
            tr("The value of the attribute will be appended to the output filename to ensure the names are unique."));
    if (update)
        updateReset();
    else
        generalReset();

    if (!ui->updateFileLineEdit->text().isEmpty()) {
        ui->updateFileLineEdit->clear();
        mapView->clearItems();
    } else {
        mapView->unselectAll();
        if (ui->inputListWidget->count() == 0)
            mapView->clearItems();
    }
    rescanDatasets();
    const bool nonBatch = compressionMode != BatchMode;
    mapView->refreshDatasets(true, nonBatch, epsg, ui->inputListWidget, scanResult);
    mapView->updateMessageForMode(nonBatch);
    ensureActiveArea();
}

void ImageCompressor::generalReset()
{
    for (QWidget* widget :
         {static_cast<QWidget*>(ui->fileFormat), static_cast<QWidget*>(ui->colorSpace),
          static_cast<QWidget*>(ui->outputBitDepthOverrideGroup), static_cast<QWidget*>(ui->targetRate),
          static_cast<QWidget*>(ui->method), static_cast<QWidget*>(ui->threads),
          static_cast<QWidget*>(ui->opacityShapefileRadio), static_cast<QWidget*>(ui->resizeGroupBox)})
        widget->setEnabled(true);
    ui->wizardPageSelecInputs->setTitle(tr("Select Input Images, Region & Opacity Options"));
    clearClipState();
}

void ImageCompressor::updateReset()
{
    clearClipState();
    ui->shapeLayerNameClipLineEdit->clear();
    ui->opacityShapefileRadio->setEnabled(false);
    ui->shapeFileGroupBox->setEnabled(false);
    ui->fileFormat->setCurrentIndex(1);
    ui->fileFormat->setEnabled(false);
    ui->colorSpace->setCurrentIndex(3);
    ui->colorSpace->setEnabled(false);
    ui->targetRate->setEnabled(false);
    ui->method->setCurrentText(QStringLiteral("Tile"));
    ui->method->setEnabled(false);
    ui->outputBitDepthOverrideGroup->setEnabled(false);
    ui->resizeGroupBox->setEnabled(false);
    ui->resizeGroupBox->setChecked(false);
    ui->threads->setEnabled(true);
    ui->wizardPageSelecInputs->setTitle(tr("Select Input Images, and WVC Output Image"));
}

void ImageCompressor::clearClipState()
{
    ui->cliptoPolygonIconLabel->hide();
    ui->clipToPolygonDescriptionLabel->clear();
    ui->shapefileClipLineEdit->clear();
    if (!selectedFeatures.empty())
        mapView->clearPolygons(compressionMode != BatchMode, ui->inputListWidget, scanResult);
    ui->shapeLayerIDClipLineEdit->clear();
    selectedFeatures.clear();
}

void ImageCompressor::calculateActiveArea()
{
    ScanProgressDialog dialog(tr("Calculating active area..."), this, Qt::ApplicationModal);
    ClipInfoPtr region;
    if (!ui->shapeLayerIDClipLineEdit->text().isEmpty() && mergedPolygons.size() == 1)
        region = mergedPolygons.front();
    try {
        std::int32_t unit = 0;
        compressionUtil()->ComputeActiveArea(scanResult.Datasets, region, activeArea, unit,
                                             [&dialog](const double& percent) { dialog.setPercent(percent); });
        activeAreaUnit = unit;
    } catch (const TSR::CRuntimeError& error) {
        // The area is a hint beside the map, never a reason to stop: unknown reads as "N/A".
        qWarning("Active area: %s", error.what());
        activeArea = 0.0;
    }
    dialog.finish();
    if (activeArea == 0.0) {
        ui->ActiveAreaTextLabel->setText(tr("N/A"));
        return;
    }
    const QString unit = activeAreaUnit == 1 ? tr("sq km") : activeAreaUnit == 3 ? tr("sq mi") : QString();
    ui->ActiveAreaTextLabel->setText(QString::number(activeArea, 'f', 2) + QLatin1Char(' ') + unit);
}

void ImageCompressor::ensureActiveArea()
{
    if (compressionMode != MosaicMode || ui->inputListWidget->count() == 0 || activeArea != 0.0)
        return;
    updateActiveArea();
}

void ImageCompressor::updateActiveArea()
{
    if (!scanResult.Datasets.empty()) {
        calculateActiveArea();
    } else {
        activeArea = 0.0;
        refreshActiveAreaLabel();
    }
}

void ImageCompressor::refreshActiveAreaLabel()
{
    if (activeArea == 0.0)
        ui->ActiveAreaTextLabel->clear();
}

}  // namespace TSR::ImageCompressor::API
