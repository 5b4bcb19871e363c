// How big the job is: the mosaic's and the resized project's pixel sizes on the attributes page,
// the default cell size, and the cutting of chosen polygons down to the datasets they meet.

#include <QDoubleValidator>
#include <QLineEdit>
#include <QListWidget>
#include <QLocale>
#include <QMessageBox>

#include <cfloat>
#include <cmath>

#include "core/appconstants.h"
#include "ui_imagecompressor.h"
#include "wizard/imagecompressor.h"
#include "wizard/scanprogressdialog.h"

namespace TSR::ImageCompressor::API {

namespace {

double gigapixels(quint32 width, quint32 height)
{
    return double(width) * double(height) / 1000000000.0;
}

QString cellSizeText(double size)
{
    return QString::number(size, 'f', 10);
}

}  // namespace

void ImageCompressor::connectResize()
{
    ui->CellSizeXLineEdit->setValidator(new QDoubleValidator(ui->CellSizeXLineEdit));
    ui->CellSizeYLineEdit->setValidator(new QDoubleValidator(ui->CellSizeYLineEdit));
    connect(ui->resizeGroupBox, &QGroupBox::clicked, this, &ImageCompressor::resizeClicked);
    connect(ui->calcNativeCellSizeButton, &QPushButton::clicked, this, &ImageCompressor::useNativeCellSize);
    connect(ui->calculateSizeBtn, &QPushButton::clicked, this, &ImageCompressor::calculateProjectSize);
    connect(ui->CellSizeXLineEdit, &QLineEdit::textEdited, this,
            [this](const QString& text) { cellSizeEdited(true, text); });
    connect(ui->CellSizeYLineEdit, &QLineEdit::textEdited, this,
            [this](const QString& text) { cellSizeEdited(false, text); });
    connect(ui->CellSizeXLineEdit, &QLineEdit::returnPressed, this, &ImageCompressor::cellSizeReturnPressed);
    connect(ui->CellSizeYLineEdit, &QLineEdit::returnPressed, this, &ImageCompressor::cellSizeReturnPressed);
}

QSizeF ImageCompressor::defaultCellSize(bool silent)
{
    const DatasetMetadataMap& datasets = scanResult.Datasets;
    switch (compressionMode) {
    case BatchMode:
        if (datasets.size() == 1)
            return QSizeF(datasets.begin()->second.CellSizeX, std::abs(datasets.begin()->second.CellSizeY));
        if (!silent) {
            QMessageBox::information(
                this, tr("Cell Size"),
                tr("Cannot calculate a default cell size in batch mode for multiple files. Specifying a cell size will affect all output files."));
        }
        return QSizeF();
    case MosaicMode:
    case MosaicToManyMode: {
        if (datasets.empty())
            return QSizeF();
        // The finest of each axis; the two may come from different datasets.
        double x = DBL_MAX, y = DBL_MAX;
        for (const auto& entry : datasets) {
            x = std::min(x, entry.second.CellSizeX);
            y = std::min(y, std::abs(entry.second.CellSizeY));
        }
        return QSizeF(x, y);
    }
    default:
        if (!silent)
            QMessageBox::information(this, tr("Cell Size"),
                                     tr("Cannot change cell size or dimensions when updating an WVC file."));
        return QSizeF();
    }
}

void ImageCompressor::resizeClicked(bool checked)
{
    if (checked) {
        const QSizeF size = defaultCellSize(true);
        ui->CellSizeXLineEdit->setText(cellSizeText(size.isValid() ? size.width() : 1.0));
        ui->CellSizeYLineEdit->setText(cellSizeText(size.isValid() ? size.height() : 1.0));
    }
    projectSizeGigapixels = 0.0;
    if (!sizesShownOnce) {
        updateMosaicSize();
        sizesShownOnce = true;
    }
    showMosaicSize();
    showDimensions(mosaicWidth, mosaicHeight);
}

void ImageCompressor::useNativeCellSize()
{
    const QSizeF size = defaultCellSize(false);
    if (size.isValid()) {
        ui->CellSizeXLineEdit->setText(cellSizeText(size.width()));
        ui->CellSizeYLineEdit->setText(cellSizeText(size.height()));
    }
    projectSizeGigapixels = 0.0;
    showMosaicSize();
    showDimensions(mosaicWidth, mosaicHeight);
}

void ImageCompressor::cellSizeEdited(bool fromX, const QString& text)
{
    if (ui->maintainAspectCheckBox->isChecked())
        (fromX ? ui->CellSizeYLineEdit : ui->CellSizeXLineEdit)->setText(text);
    // A size worked out for other cell sizes is never left standing.
    projectSizeGigapixels = 0.0;
    ui->SizeTextLabel->setText(QStringLiteral(" "));
    ui->WidthLabel->clear();
    ui->HeightLabel->clear();
}

void ImageCompressor::cellSizeReturnPressed()
{
    if (compressionMode != MosaicMode || swallowNextValidation)
        return;
    calculateProjectSize();
    // The same key press reaches the wizard's default button next; that Next is not meant.
    swallowNextValidation = true;
}

bool ImageCompressor::hasClipRegion() const
{
    return !ui->shapeLayerIDClipLineEdit->text().isEmpty() && mergedPolygons.size() == 1 && mergedPolygons.front();
}

void ImageCompressor::updateMosaicSize()
{
    if (compressionMode != MosaicMode)
        return;
    if (scanResult.Datasets.empty()) {
        mosaicSizeGigapixels = 0.0;
        clearSizeLabels();
        return;
    }
    ScanProgressDialog dialog(tr("Calculating mosaic size..."), this, Qt::ApplicationModal);
    try {
        const bool region = hasClipRegion();
        const ExtractedFeatureClipInfo none;
        const ExtractedFeatureClipInfo& box = region ? *mergedPolygons.front() : none;
        std::uint32_t width = 0, height = 0;
        compressionUtil()->ComputeOutputDimensions(scanResult.Datasets, box.MinX, box.MinY, box.MaxX, box.MaxY, 0.0,
                                                   0.0, width, height,
                                                   [&dialog](const double& percent) { dialog.setPercent(percent); });
        dialog.finish();
        mosaicWidth = width;
        mosaicHeight = height;
        mosaicSizeGigapixels = gigapixels(width, height);
        showMosaicSize();
        showDimensions(mosaicWidth, mosaicHeight);
        checkOutputSize();
    } catch (const TSR::CRuntimeError& error) {
        dialog.finish();
        mosaicSizeGigapixels = 0.0;
        clearSizeLabels();
        QMessageBox::warning(
            this, AppConstants::ApplicationName,
            tr("Please review input images. Could not open the mosaic and calculate the size due to the following error(s):")
                + QLatin1Char('\n') + QString::fromUtf8(error.what()));
    }
}

void ImageCompressor::calculateProjectSize()
{
    if (compressionMode != MosaicMode)
        return;
    const QString xText = ui->CellSizeXLineEdit->text();
    const QString yText = ui->CellSizeYLineEdit->text();
    if (xText.isEmpty() || yText.isEmpty() || xText.toDouble() == 0.0 || yText.toDouble() == 0.0) {
        projectSizeGigapixels = 0.0;
        return;
    }
    ui->LicenseLabel->clear();
    ScanProgressDialog dialog(tr("Calculating project size..."), this, Qt::ApplicationModal);
    try {
        const bool region = hasClipRegion();
        const ExtractedFeatureClipInfo none;
        const ExtractedFeatureClipInfo& box = region ? *mergedPolygons.front() : none;
        std::uint32_t width = 0, height = 0;
        compressionUtil()->ComputeOutputDimensions(scanResult.Datasets, box.MinX, box.MinY, box.MaxX, box.MaxY,
                                                   xText.toDouble(), yText.toDouble(), width, height,
                                                   [&dialog](const double& percent) { dialog.setPercent(percent); });
        dialog.finish();
        projectWidth = width;
        projectHeight = height;
        projectSizeGigapixels = gigapixels(width, height);
        showMosaicSize();
        showDimensions(projectWidth, projectHeight);
        checkOutputSize();
    } catch (const TSR::CRuntimeError& error) {
        dialog.finish();
        mosaicSizeGigapixels = 0.0;
        projectSizeGigapixels = 0.0;
        clearSizeLabels();
        QMessageBox::warning(this, AppConstants::ApplicationName, QString::fromUtf8(error.what()));
    }
}

void ImageCompressor::checkOutputSize()
{
    const quint64 pixels =
        projectSizeGigapixels > 0.0 ? quint64(projectWidth) * projectHeight : quint64(mosaicWidth) * mosaicHeight;
    if (licenseAllowsSize(pixels))
        return;
    ui->LicenseLabel->setStyleSheet(QStringLiteral("QLabel { color : red; }"));
    ui->LicenseLabel->setText(license.text);
}

QString ImageCompressor::gigapixelText(double size)
{
    // Small projects keep their digits instead of reading as 0.00.
    return size >= 0.005 ? QString::number(size, 'f', 2) : QString::number(size, 'g', 6);
}

void ImageCompressor::showMosaicSize()
{
    if (projectSizeGigapixels > 0.0)
        ui->SizeTextLabel->setText(QLatin1Char(' ') + gigapixelText(projectSizeGigapixels));
    else if (mosaicSizeGigapixels > 0.0)
        ui->SizeTextLabel->setText(gigapixelText(mosaicSizeGigapixels));
    else
        ui->SizeTextLabel->setText(QStringLiteral(" "));
}

void ImageCompressor::showDimensions(quint32 width, quint32 height)
{
    if (width == 0 || height == 0) {
        ui->WidthLabel->clear();
        ui->HeightLabel->clear();
        return;
    }
    const QLocale locale;
    ui->WidthLabel->setText(locale.toString(width) + QStringLiteral(" px"));
    ui->HeightLabel->setText(locale.toString(height) + QStringLiteral(" px"));
}

void ImageCompressor::clearSizeLabels()
{
    ui->SizeTextLabel->setText(QStringLiteral(" "));
    ui->WidthLabel->clear();
    ui->HeightLabel->clear();
}

void ImageCompressor::cutPolygonToDataset(ICompressionUtil& util, const std::string& path,
                                          const DatasetMetadata& metadata, const ExtractedFeatureClipInfo& box,
                                          const ClipInfoPtr& clone)
{
    const double lowX = std::max(box.MinX, metadata.MinX), highX = std::min(box.MaxX, metadata.MaxX);
    const double lowY = std::max(box.MinY, metadata.MinY), highY = std::min(box.MaxY, metadata.MaxY);
    if (lowX > highX || lowY > highY)
        return;
    const bool inside = box.MinX >= metadata.MinX && box.MaxX <= metadata.MaxX && box.MinY >= metadata.MinY
        && box.MaxY <= metadata.MaxY;
    try {
        if (inside) {
            clone->MinX = box.MinX;
            clone->MinY = box.MinY;
            clone->MaxX = box.MaxX;
            clone->MaxY = box.MaxY;
        } else {
            double minX = 0, minY = 0, maxX = 0, maxY = 0;
            if (util.ClipFeatureToExtent(TSR::CString(ui->shapefileClipLineEdit->text().toUtf8().constData()), *clone,
                                         clone->FeatureId, metadata.MinX, metadata.MinY, metadata.MaxX, metadata.MaxY,
                                         minX, minY, maxX, maxY)) {
                clone->MinX = minX;
                clone->MinY = minY;
                clone->MaxX = maxX;
                clone->MaxY = maxY;
            }
        }
        datasetPolygons[path] = clone;
    } catch (const TSR::CRuntimeError& error) {
        QMessageBox::warning(this, AppConstants::ApplicationName, QString::fromUtf8(error.what()));
    }
}

void ImageCompressor::buildClipLists()
{
    if (selectedFeatures.empty())
        return;
    std::shared_ptr<ICompressionUtil> util = compressionUtil();
    mergedPolygons.clear();
    datasetPolygons.clear();
    try {
        if (compressionMode != MosaicToManyMode) {
            const ExtractedFeatureClipInfo& chosen = *selectedFeatures.front();
            for (const auto& entry : scanResult.Datasets) {
                auto clone = std::make_shared<ExtractedFeatureClipInfo>();
                clone->LayerName = chosen.LayerName;
                clone->FeatureId = chosen.FeatureId;
                clone->CRS = chosen.CRS;
                cutPolygonToDataset(*util, entry.first.utf8_str(), entry.second, chosen, clone);
            }
            if (compressionMode == MosaicMode) {
                ClipInfoPtr combined;
                util->CombineClipRegions(datasetPolygons, combined);
                mergedPolygons.push_back(combined);
            }
            return;
        }
        for (const ClipInfoPtr& chosen : selectedFeatures) {
            datasetPolygons.clear();
            for (const auto& entry : scanResult.Datasets) {
                auto clone = std::make_shared<ExtractedFeatureClipInfo>();
                clone->LayerName = chosen->LayerName;
                clone->FeatureId = chosen->FeatureId;
                clone->CRS = chosen->CRS;
                clone->StringAttributes = chosen->StringAttributes;
                clone->RealAttributes = chosen->RealAttributes;
                clone->IntegerAttributes = chosen->IntegerAttributes;
                clone->IntersectingDatasets = chosen->IntersectingDatasets;
                cutPolygonToDataset(*util, entry.first.utf8_str(), entry.second, *chosen, clone);
            }
            ClipInfoPtr combined;
            util->CombineClipRegions(datasetPolygons, combined);
            // A polygon that meets no dataset still has its entry, so that the summary can name it.
            if (!combined) {
                combined = std::make_shared<ExtractedFeatureClipInfo>(*chosen);
                combined->MinX = combined->MinY = combined->MaxX = combined->MaxY = 0.0;
            }
            if (datasetPolygons.empty()) {
                *combined = *chosen;
                combined->MinX = combined->MinY = combined->MaxX = combined->MaxY = 0.0;
            }
            mergedPolygons.push_back(combined);
        }
    } catch (const TSR::CRuntimeError& error) {
        QMessageBox::warning(this, AppConstants::ApplicationName, QString::fromUtf8(error.what()));
    }
}

}  // namespace TSR::ImageCompressor::API
