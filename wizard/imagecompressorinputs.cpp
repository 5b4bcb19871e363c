// The input list: how paths enter and leave it, how refusals are reported, the rescan when the
// mode changes, the context menu and drops. Every path in the list has its record in
// scanResult.Datasets and, row for row, its item on the map.

#include <QDebug>
#include <QDir>
#include <QDirIterator>
#include <QFileInfo>
#include <QListWidget>
#include <QMessageBox>

#include "core/appconstants.h"
#include "core/filetypes.h"
#include "map/geomapview.h"
#include "ui_imagecompressor.h"
#include "wizard/imagecompressor.h"
#include "wizard/scanprogressdialog.h"

namespace TSR::ImageCompressor::API {

namespace {

constexpr int geographicEPSG = 4326;

// Names joined with "," with each new one in front, as the boxes have always listed them.
QString joinBackwards(const QStringList& names)
{
    QString joined;
    for (const QString& name : names)
        joined = joined.isEmpty() ? name : name + QLatin1Char(',') + joined;
    return joined;
}

bool isSupported(const QFileInfo& file)
{
    return FileTypes::rasterSuffixes().contains(file.suffix().toLower());
}

// The progress dialog lets events through at every step, and a list and a map repainted with each
// of thousands of new rows would cost more than reading the files; they are drawn once, after.
class PaintFreeze
{
public:
    explicit PaintFreeze(std::initializer_list<QWidget*> widgets)
        : widgets(widgets)
    {
        for (QWidget* widget : widgets)
            widget->setUpdatesEnabled(false);
    }
    ~PaintFreeze()
    {
        for (QWidget* widget : widgets)
            widget->setUpdatesEnabled(true);
    }
    Q_DISABLE_COPY(PaintFreeze)

private:
    std::vector<QWidget*> widgets;
};

}  // namespace

QStringList ImageCompressor::inputFiles() const
{
    QStringList files;
    for (int row = 0; row < ui->inputListWidget->count(); ++row)
        files.append(ui->inputListWidget->item(row)->text());
    return files;
}

bool ImageCompressor::addDataset(const QFileInfo& file, QString& duplicate, QString& mismatch, QString& error,
                                 QString& clipMessage)
{
    QListWidget* list = ui->inputListWidget;
    const QString path = file.absoluteFilePath();
    // The records hold a row's path each, and a lookup among them stays fast where a search of
    // the list's texts would slow every add down as the list grows.
    if (scanResult.Datasets.count(TSR::CString(path.toStdWString())) != 0) {
        duplicate = path;
        return false;
    }
    duplicate.clear();
    try {
        const std::shared_ptr<ICompressionUtil> util = compressionUtil();
        int readEPSG = -1;
        DatasetMetadata metadata;
        const bool read = util->ReadDatasetMetadata(TSR::CString(path.toUtf8().constData()), readEPSG, metadata,
                                                    compressionMode != BatchMode);
        const bool first = list->count() == 0;
        if (first) {
            epsg = readEPSG;
            scanResult.CRS = CCRSIdentifier(readEPSG);
            mapView->clearMessage();
            if (readEPSG > 0 && compressionMode != BatchMode)
                ui->EPSGLineEdit->setText(QStringLiteral("EPSG:%1").arg(readEPSG));
        } else if (compressionMode != BatchMode && readEPSG != epsg) {
            mismatch = path;
            return false;
        }
        mismatch.clear();
        if (first && !selectedFeatures.empty()) {
            mapView->unselectAll();
            mapView->clearItems();
        }

        list->addItem(path);
        scanResult.Datasets[TSR::CString(path.toStdWString())] = metadata;

        if (!validateSelectedPolygons(clipMessage))
            dropPolygonSelection();

        const bool fresh = mapView->itemCount() == 0
            || (!ui->updateFileLineEdit->text().isEmpty() && mapView->itemCount() == 1
                && compressionMode == UpdateMode);
        if (fresh)
            mapView->hasExtentItem = false;
        if (compressionMode == BatchMode || !read) {
            mapView->addUnplacedDataset(compressionMode == BatchMode, list);
            return true;
        }
        double minX = 0, minY = 0, maxX = 0, maxY = 0;
        util->ReprojectExtent(metadata, readEPSG, geographicEPSG, minX, minY, maxX, maxY);
        if (readEPSG <= 0) {
            mapView->addUnplacedDataset(false, list);
        } else if (maxX > minX && maxY > minY) {
            const QGV::GeoRect rect = Tessara::GeoMap::GeoMapView::clampedExtent(minX, minY, maxX, maxY);
            mapView->extendProjectExtent(rect, true);
            mapView->addDatasetRectangle(list, rect, list->count() - 1);
            if (fresh)
                redrawFreshMap();
            else
                redrawClipRectangle();
        } else {
            // Deliberate: a dataset with a code whose box cannot be placed shows the batch text,
            // as the map has always said in that case.
            mapView->addUnplacedDataset(true, list);
        }
        return true;
    } catch (const TSR::CRuntimeError& caught) {
        const char* text = caught.what();
        error = text ? QString::fromUtf8(text) : QString();
        return false;
    }
}

int ImageCompressor::addFiles(const QStringList& paths)
{
    ScanProgressDialog dialog(tr("Validating and reading image metadata..."), this);
    const PaintFreeze freeze{ui->inputListWidget, ui->geoViewMap};
    QStringList duplicates, mismatches, errors;
    QString clipMessage;
    int added = 0;
    const int total = paths.size();
    for (int index = 0; index < total; ++index) {
        const QFileInfo file(paths.at(index));
        if (isSupported(file)) {
            // Fresh outputs for every file, so that one refusal is never reported twice.
            QString duplicate, mismatch, error;
            if (!addDataset(file, duplicate, mismatch, error, clipMessage)) {
                if (!duplicate.isEmpty())
                    duplicates.append(duplicate);
                if (!mismatch.isEmpty())
                    mismatches.append(mismatch);
                if (!error.isEmpty())
                    errors.append(error);
            }
            // Deliberate: after the first error no further label is shown, though later files
            // are still added and counted.
            if (duplicate.isEmpty() && mismatch.isEmpty() && errors.isEmpty()) {
                ++added;
                dialog.setLabelText(tr("Validating and reading image metadata for %1 (%2 of %3)")
                                        .arg(file.fileName())
                                        .arg(index)
                                        .arg(total));
            }
        }
        dialog.setValue(int(double(index) * 100 / total));
    }
    dialog.finish();
    reportRefusedDatasets(duplicates, mismatches, errors, clipMessage);
    refreshListStatus();
    return added;
}

void ImageCompressor::addFolder(const QString& directory)
{
    ScanProgressDialog dialog(tr("Validating and reading image metadata..."), this);
    const PaintFreeze freeze{ui->inputListWidget, ui->geoViewMap};
    QString folder = directory;
    if (!folder.endsWith(QLatin1Char('/')))
        folder += QLatin1Char('/');
    const int total = countFiles(folder, recursive);
    QStringList duplicates, mismatches, errors;
    QString clipMessage;
    int count = 0;
    QDirIterator walk(directory, QDir::AllEntries | QDir::NoDotAndDotDot,
                      recursive ? QDirIterator::Subdirectories : QDirIterator::NoIteratorFlags);
    while (walk.hasNext()) {
        walk.next();
        const QFileInfo file = walk.fileInfo();
        if (file.isDir())
            continue;
        ++count;
        if (isSupported(file)) {
            QString duplicate, mismatch, error;
            if (addDataset(file, duplicate, mismatch, error, clipMessage)) {
                if (errors.isEmpty())
                    dialog.setLabelText(tr("Validating and reading image metadata for %1 (%2 of %3)")
                                            .arg(file.fileName())
                                            .arg(count - 1)
                                            .arg(total));
            } else {
                if (!duplicate.isEmpty())
                    duplicates.append(duplicate);
                if (!mismatch.isEmpty())
                    mismatches.append(mismatch);
                if (!error.isEmpty())
                    errors.append(error);
            }
        }
        if (total > 0)
            dialog.setValue(int(double(count) * 100 / total));
    }
    dialog.finish();
    reportRefusedDatasets(duplicates, mismatches, errors, clipMessage);
    refreshListStatus();
}

int ImageCompressor::countFiles(const QString& path, bool recursive)
{
    QDir directory(path);
    if (!directory.exists())
        return 0;
    int count = directory.entryList(QDir::Files).size();
    if (recursive) {
        for (const QString& name : directory.entryList(QDir::Dirs | QDir::NoSymLinks | QDir::NoDotAndDotDot))
            count += countFiles(path + name + QLatin1Char('/'), recursive);
    }
    return count;
}

void ImageCompressor::reportRefusedDatasets(const QStringList& duplicates, const QStringList& mismatches,
                                            const QStringList& errors, const QString& clipMessage)
{
    const QString title = AppConstants::ApplicationName;
    if (!duplicates.isEmpty()) {
        const int count = duplicates.size();
        const QString text = count >= 5 ? tr("%1 datasets are duplicate and won't be added to the list.").arg(count)
            : count == 1
            ? tr("The dataset %1 is duplicate and won't be added to the list.").arg(duplicates.first())
            : tr("The datasets %1 are duplicate and won't be added to the list.").arg(joinBackwards(duplicates));
        QMessageBox::warning(this, title, text);
    }
    if (!mismatches.isEmpty()) {
        const int count = mismatches.size();
        // Deliberate: the five-or-more text keeps its double blank and its missing "in".
        const QString text = count >= 5
            ? tr("%1 datasets  are different projection to the first dataset (i.e EPSG %2) and won't be added to the list.")
                  .arg(count)
                  .arg(epsg)
            : count == 1
            ? tr("The dataset %1 is in different projection to the first dataset (i.e EPSG %2) and won't be added to the list.")
                  .arg(mismatches.first())
                  .arg(epsg)
            : tr("The datasets %1 are in different projection to the first dataset (i.e EPSG %2) and won't be added to the list.")
                  .arg(joinBackwards(mismatches))
                  .arg(epsg);
        QMessageBox::warning(this, title, text);
    }
    if (!errors.isEmpty())
        QMessageBox::warning(this, title,
                             errors.size() >= 5 ? tr("Numerous datasets were not added due to errors.")
                                                : joinBackwards(errors));
    if (!clipMessage.isEmpty())
        QMessageBox::warning(this, title, clipMessage);
}

void ImageCompressor::refreshListStatus()
{
    updateNumFilesLabel();
    QListWidget* list = ui->inputListWidget;
    if (compressionMode == BatchMode && list->count() > 0 && list->selectedItems().isEmpty()) {
        list->item(0)->setSelected(true);
        showSelectedEPSG(false);
    }
    if (compressionMode == MosaicMode)
        updateActiveArea();
}

void ImageCompressor::removeSelectedDatasets()
{
    QListWidget* list = ui->inputListWidget;
    for (QListWidgetItem* item : list->selectedItems()) {
        list->removeItemWidget(item);
        scanResult.Datasets.erase(TSR::CString(item->text().toStdWString()));
        mapView->removeDatasetRow(list->row(item));
        delete item;
    }
    QString message;
    if (!validateSelectedPolygons(message))
        dropPolygonSelection();
    ui->shapeLayerIDClipLineEdit->clear();
    selectedFeatures.clear();
    if (!message.isEmpty())
        QMessageBox::warning(this, AppConstants::ApplicationName, message);

    mapView->refreshDatasets(false, compressionMode != BatchMode, epsg, list, scanResult);
    redrawClipRectangle();
    if (list->count() == 0) {
        epsg = -1;
        mapView->clearMessage();
        scanResult.Datasets.clear();
        mapView->removeExtentItem(compressionMode == UpdateMode);
        ui->EPSGLineEdit->clear();
    }
    updateNumFilesLabel();
    if (compressionMode == MosaicMode)
        updateActiveArea();
}

void ImageCompressor::rescanDatasets()
{
    QListWidget* list = ui->inputListWidget;
    if (list->count() == 0 || compressionMode == BatchMode || !rescanNeeded)
        return;
    ScanProgressDialog dialog(tr("Validating and reading image metadata..."), this);
    scanResult.Datasets.clear();
    const int total = list->count();
    try {
        const std::shared_ptr<ICompressionUtil> util = compressionUtil();
        for (int row = 0; row < total; ++row) {
            const QString path = list->item(row)->text();
            const TSR::CString key(path.toStdWString());
            int readEPSG = -1;
            DatasetMetadata metadata;
            util->ReadDatasetMetadata(key, readEPSG, metadata, true);
            if (row == 0) {
                epsg = readEPSG;
                scanResult.CRS = CCRSIdentifier(readEPSG);
            } else if (readEPSG != epsg) {
                dialog.cancel();
                // Deliberate: no blank after the first full stop, as the text has always read.
                QMessageBox::warning(
                    this, AppConstants::ApplicationName,
                    tr("The previously selected datasets have mismatched projections.You need to select again your datasets to mosaic."));
                clearDatasets();
                return;
            }
            if (epsg > 0)
                ui->EPSGLineEdit->setText(QStringLiteral("EPSG:%1").arg(epsg));
            scanResult.Datasets[key] = metadata;
            dialog.setLabelText(
                tr("Validating and reading image metadata for %1 (%2 of %3)").arg(path).arg(row).arg(total));
            dialog.setValue((row + 1) * 100 / total);
        }
    } catch (const TSR::CRuntimeError&) {
        dialog.cancel();
        QMessageBox::warning(
            this, AppConstants::ApplicationName,
            tr("The previously selected datasets cannot be opened. You need to select again your datasets to mosaic."));
        clearDatasets();
    }
}

void ImageCompressor::clearDatasets()
{
    ui->inputListWidget->clear();
    mapView->clearItems();
    epsg = -1;
    // The list and its records stay in step, and nothing on the page names a reference that no
    // longer has a dataset.
    scanResult.Datasets.clear();
    ui->EPSGLineEdit->clear();
    updateNumFilesLabel();
}

void ImageCompressor::updateNumFilesLabel()
{
    ui->numFilesLabel->setText(QStringLiteral("%1,").arg(ui->inputListWidget->count()));
}

void ImageCompressor::dropPolygonSelection()
{
    if (!selectedFeatures.empty())
        mapView->clearPolygons(compressionMode != BatchMode, ui->inputListWidget, scanResult);
    ui->shapeLayerIDClipLineEdit->clear();
    selectedFeatures.clear();
    if (compressionMode == MosaicToManyMode) {
        ui->cliptoPolygonIconLabel->hide();
        ui->clipToPolygonDescriptionLabel->clear();
    }
}

void ImageCompressor::redrawClipRectangle(bool anyMosaic)
{
    const bool mosaic = compressionMode == MosaicMode || (anyMosaic && compressionMode == MosaicToManyMode);
    if (!mosaic || ui->inputListWidget->count() == 0 || ui->shapefileClipLineEdit->text().isEmpty()
        || mergedPolygons.empty() || !mergedPolygons.front())
        return;
    const ExtractedFeatureClipInfo& region = *mergedPolygons.front();
    DatasetMetadata box;
    box.MinX = region.MinX;
    box.MinY = region.MinY;
    box.MaxX = region.MaxX;
    box.MaxY = region.MaxY;
    box.EPSG = epsg;
    try {
        double minX = 0, minY = 0, maxX = 0, maxY = 0;
        compressionUtil()->ReprojectExtent(box, epsg, geographicEPSG, minX, minY, maxX, maxY);
        if (maxX > minX && maxY > minY)
            mapView->setExtentRectangle(Tessara::GeoMap::GeoMapView::clampedExtent(minX, minY, maxX, maxY));
    } catch (const TSR::CRuntimeError& error) {
        // The rectangle only shows the region; the region itself stands.
        qWarning("Clip rectangle: %s", error.what());
    }
}

void ImageCompressor::redrawFreshMap()
{
    const bool nonBatch = compressionMode != BatchMode;
    QListWidget* list = ui->inputListWidget;
    if (!selectedFeatures.empty() && nonBatch) {
        mapView->showPolygons(ui->shapefileClipLineEdit->text(), selectedFeatures, nonBatch, epsg, list, scanResult);
        mapView->itemOffset = 1 + mapView->polygonCount;
    }
    if (compressionMode == UpdateMode && !ui->updateFileLineEdit->text().isEmpty()) {
        mapView->showUpdateFile(ui->updateFileLineEdit->text(), nonBatch, list, scanResult);
        mapView->itemOffset = 2;
    }
}

}  // namespace TSR::ImageCompressor::API
