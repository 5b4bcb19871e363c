// Polygons of a shapefile on the input page: choosing the file and the polygons, the re-check of a
// standing choice when the list changes, and the file that update mode writes into.

#include <QComboBox>
#include <QFileDialog>
#include <QFileInfo>
#include <QListWidget>
#include <QMessageBox>

#include "map/geomapview.h"
#include "ui_imagecompressor.h"
#include "wizard/imagecompressor.h"
#include "wizard/imagecompressorsettings.h"
#include "wizard/polygonselector.h"

namespace TSR::ImageCompressor::API {

namespace Keys = ImageCompressorSettings;

namespace {

bool hasBox(const ClipInfoPtr& polygon)
{
    return polygon && polygon->MaxX > polygon->MinX && polygon->MaxY > polygon->MinY;
}

int countWithBox(const ClipInfoList& polygons)
{
    return int(std::count_if(polygons.begin(), polygons.end(), hasBox));
}

}  // namespace

void ImageCompressor::connectPolygons()
{
    connect(ui->shapefileClipButton, &QToolButton::clicked, this, &ImageCompressor::chooseShapefile);
    connect(ui->choosePolygonButton, &QToolButton::clicked, this, &ImageCompressor::choosePolygons);
    connect(ui->updateFileButton, &QToolButton::clicked, this, &ImageCompressor::chooseUpdateFile);
    // Polygons of one shapefile mean nothing in another.
    connect(ui->shapefileClipLineEdit, &QLineEdit::textChanged, this, &ImageCompressor::clearPolygonChoice);
}

void ImageCompressor::clearPolygonChoice()
{
    dropPolygonSelection();
    mergedPolygons.clear();
    datasetPolygons.clear();
}

void ImageCompressor::chooseShapefile()
{
    const bool many = compressionMode == MosaicToManyMode;
    const QString start = many ? settings->value(Keys::LastClipShapeFile).toString() : lastShapeFile;
    const QString chosen = QFileDialog::getOpenFileName(this, tr("Select a shape file"), start, shapeFileFilter);
    if (chosen.isEmpty())
        return;
    if (many)
        settings->setValue(Keys::LastClipShapeFile, chosen);
    lastShapeFile = chosen;
    ui->shapefileClipLineEdit->setText(chosen);
    ui->shapeLayerNameClipLineEdit->setText(QFileInfo(chosen).completeBaseName());
}

void ImageCompressor::chooseUpdateFile()
{
    const QString chosen = QFileDialog::getOpenFileName(this, tr("Select the WVC file to update"), updateFile,
                                                        tr("WVC Files (*.wvc) ;; All files (*.*)"));
    if (chosen.isEmpty())
        return;
    updateFile = chosen;
    ui->updateFileLineEdit->setText(chosen);
    if (mapView->showUpdateFile(chosen, true, ui->inputListWidget, scanResult))
        mapView->itemOffset = 2;
}

void ImageCompressor::choosePolygons()
{
    const bool many = compressionMode == MosaicToManyMode;
    const QString shapefile = ui->shapefileClipLineEdit->text();
    if (!QFileInfo::exists(shapefile)) {
        QMessageBox::information(this, tr("Select Polygon"),
                                 many ? tr("Select an input shape file before selecting polygons.")
                                      : tr("Select an input shape file before selecting one polygon."));
        return;
    }
    PolygonSelector dialog(this);
    dialog.setInputFiles(inputFiles());
    dialog.setMultiSelect(many);
    if (!dialog.load(shapefile, scanResult) || dialog.exec() != QDialog::Accepted)
        return;
    selectedFeatures = dialog.selectedPolygons();
    // Deliberate: accepted with no row, the fields and the old clip lists stand.
    if (selectedFeatures.empty())
        return;
    const ExtractedFeatureClipInfo& first = *selectedFeatures.front();
    ui->shapeLayerNameClipLineEdit->setText(QFileInfo(QString::fromStdString(first.LayerName)).baseName());
    if (many && selectedFeatures.size() >= 2) {
        QStringList ids;
        for (const ClipInfoPtr& polygon : selectedFeatures)
            ids.append(QString::number(polygon->FeatureId));
        ui->shapeLayerIDClipLineEdit->setText(ids.join(QLatin1Char(',')));
    } else {
        ui->shapeLayerIDClipLineEdit->setText(QString::number(first.FeatureId));
    }

    if (!many) {
        if (selectedFeatures.size() != 1)
            QMessageBox::information(this, tr("Select Polygon"),
                                     tr("Only one polygon can be selected to determine opacity channel."));
        buildClipLists();
        if (compressionMode == MosaicMode) {
            activeArea = 0.0;
            if (!scanResult.Datasets.empty())
                calculateActiveArea();
            else
                refreshActiveAreaLabel();
        }
    } else {
        ui->fieldNamecomboBox->clear();
        ui->fieldNamecomboBox->addItem(QStringLiteral("(None)"));
        ui->fieldNamecomboBox->addItems(dialog.fieldNames());
        buildClipLists();
        ui->cliptoPolygonIconLabel->show();
        ui->clipToPolygonDescriptionLabel->setText(
            tr("%1 polygon(s) selected. There will be %2 output job(s), one for each polygon that intersects the selected dataset(s).")
                .arg(selectedFeatures.size())
                .arg(countWithBox(mergedPolygons)));
    }
    if (compressionMode == MosaicMode || many) {
        if (mapView->showPolygons(shapefile, selectedFeatures, true, epsg, ui->inputListWidget, scanResult))
            mapView->itemOffset = 1 + mapView->polygonCount;
        redrawClipRectangle(true);
    }
}

bool ImageCompressor::validateSelectedPolygons(QString& message)
{
    if (ui->shapefileClipLineEdit->text().isEmpty()) {
        selectedFeatures.clear();
        mergedPolygons.clear();
        datasetPolygons.clear();
        return true;
    }
    if (scanResult.Datasets.empty() || selectedFeatures.empty())
        return true;
    ClipInfoList found;
    try {
        compressionUtil()->FindIntersectingFeatures(
            TSR::CString(ui->shapefileClipLineEdit->text().toUtf8().constData()), scanResult, found);
    } catch (const TSR::CRuntimeError& error) {
        message = QString::fromUtf8(error.what());
        return false;
    }
    if (found.empty()) {
        message = tr(
            "None of the input datasets intersect with the polygons in the shapefile. Please reselect your polygons.");
        return false;
    }
    const CCRSIdentifier& layer = found.front()->CRS;
    if (!(layer == scanResult.CRS) || layer.GetEPSG() == 0 || scanResult.CRS.GetEPSG() == 0)
        message = tr("Input dataset(s) and shape file may be in different spatial reference systems.");
    const QString missing =
        tr("The input datasets does not intersect with one of the polygon(s). Please reselect your polygon(s).");
    if (found.size() < selectedFeatures.size()) {
        message = missing;
        return false;
    }
    for (ClipInfoPtr& chosen : selectedFeatures) {
        const auto fresh = std::find_if(found.begin(), found.end(), [&chosen](const ClipInfoPtr& record) {
            return record->FeatureId == chosen->FeatureId;
        });
        if (fresh == found.end()) {
            message = missing;
            return false;
        }
        // The fresh record knows the datasets added since the choice.
        chosen = *fresh;
    }
    if (compressionMode != MosaicToManyMode) {
        if (selectedFeatures.size() != 1) {
            message = tr("In Batch or Mosaic mode, you must select one polygon.");
            return false;
        }
        buildClipLists();
        return true;
    }
    buildClipLists();
    ui->clipToPolygonDescriptionLabel->setText(
        tr("You have selected %1 polygon(s). There will be %2 output job(s), one for each polygon that intersects the selected dataset(s).")
            .arg(selectedFeatures.size())
            .arg(countWithBox(mergedPolygons)));
    return true;
}

}  // namespace TSR::ImageCompressor::API
