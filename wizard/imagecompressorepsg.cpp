// Coordinate references of the input page: the EPSG field, overrides per dataset or for the whole
// mosaic, and the link to the public registry. An override never reprojects anything; it only
// changes the reference written with the output.

#include <QDesktopServices>
#include <QListWidget>
#include <QMessageBox>
#include <QRegularExpression>
#include <QUrl>
#include <QUrlQuery>

#include "core/appconstants.h"
#include "map/geomapview.h"
#include "ui_imagecompressor.h"
#include "wizard/imagecompressor.h"
#include "wizard/imagecompressorsettings.h"

namespace TSR::ImageCompressor::API {

int ImageCompressor::overrideNumber(const TSR::CString& text)
{
    if (text.empty() || text.length() <= 5)
        return -1;
    return text.substr(5).ToINT32();
}

void ImageCompressor::showSelectedEPSG(bool clicked)
{
    QListWidget* list = ui->inputListWidget;
    if (clicked)
        mapView->unselectAll();
    const int lastRow = mapView->selectDatasetRows(list, mapView->itemOffset);
    ui->EPSGLineEdit->clear();
    const QList<QListWidgetItem*> selected = list->selectedItems();
    if (compressionMode != BatchMode) {
        if (selected.isEmpty() || list->count() == 0)
            return;
        const DatasetMetadata& first = scanResult.Datasets[TSR::CString(list->item(0)->text().toStdWString())];
        if (!first.EPSGOverride.empty())
            ui->EPSGLineEdit->setText(QString::fromUtf8(first.EPSGOverride.utf8_str()));
        else if (first.EPSG > 0)
            ui->EPSGLineEdit->setText(QStringLiteral("EPSG:%1").arg(first.EPSG));
        return;
    }
    if (selected.size() != 1 || lastRow < 0)
        return;
    const DatasetMetadata& record = scanResult.Datasets[TSR::CString(list->item(lastRow)->text().toStdWString())];
    int number = record.EPSG;
    // Deliberate: any one of the characters of "EPSG:" counts as an override here, not the
    // whole word; overrides are only ever written in the full form.
    if (!record.EPSGOverride.empty() && record.EPSGOverride.find_first_of(L"EPSG:") != TSR::CString::npos)
        number = overrideNumber(record.EPSGOverride);
    if (number > 0)
        ui->EPSGLineEdit->setText(QStringLiteral("EPSG:%1").arg(number));
}

void ImageCompressor::applyEPSG()
{
    QListWidget* list = ui->inputListWidget;
    const QString title = tr("Modify EPSG Code");
    if (compressionMode == BatchMode && list->selectedItems().size() != 1) {
        QMessageBox::warning(this, title, tr("You must have a dataset selected to modify the EPSG Code"));
        ui->EPSGLineEdit->clear();
        return;
    }
    if (compressionMode != BatchMode && list->count() == 0) {
        QMessageBox::warning(this, title, tr("You must add a dataset to modify the EPSG Code"));
        ui->EPSGLineEdit->clear();
        return;
    }
    if (QMessageBox::warning(
            this, title,
            tr("Overriding the detected EPSG code will not reproject between CRS and should only be used when the default detection is wrong."),
            QMessageBox::Ok | QMessageBox::Cancel)
        != QMessageBox::Ok)
        return;

    const QString text = ui->EPSGLineEdit->text();
    const QString application = AppConstants::ApplicationName;
    if (text.isEmpty()) {
        QMessageBox::warning(this, application, tr("The EPSG Code to overwrite with should not be empty or 0."));
        return;
    }
    // Deliberate: the text is not trimmed, so blanks in front of the prefix fail here.
    if (!text.startsWith(QLatin1String("EPSG:"))) {
        QMessageBox::warning(this, application, tr("The EPSG Code should be defined as 'EPSG:xxxx' (i.e EPSG:4326)."));
        return;
    }
    static const QRegularExpression digits(QStringLiteral("\\A\\d*\\z"));
    const QString number = text.mid(5);
    if (number.isEmpty() || !digits.match(number).hasMatch()) {
        QMessageBox::warning(this, application, tr("The EPSG Code should be number."));
        return;
    }

    if (compressionMode == BatchMode) {
        setDatasetOverride(list->selectedItems().first()->text());
    } else if (compressionMode != UpdateMode) {
        for (const QString& path : inputFiles())
            setDatasetOverride(path);
        epsg = overrideNumber(TSR::CString(text.toStdWString()));
        if (epsg > 0)
            mapView->clearMessage();
    }
    if (compressionMode != BatchMode)
        mapView->refreshDatasets(true, true, epsg, list, scanResult);
}

void ImageCompressor::setDatasetOverride(const QString& path)
{
    const auto found = scanResult.Datasets.find(TSR::CString(path.toStdWString()));
    if (found == scanResult.Datasets.end())
        return;
    DatasetMetadata record = found->second;
    const TSR::CString text(ui->EPSGLineEdit->text().toStdWString());
    const int number = overrideNumber(text);
    if (number < 1) {
        QMessageBox::warning(this, tr("Modify EPSG Code"), tr("The EPSG Code should be > 0."));
        return;
    }
    if (number == record.EPSG)
        record.EPSGOverride.clear();
    else
        record.EPSGOverride = text;
    found->second = record;
}

void ImageCompressor::resetEPSG()
{
    QListWidget* list = ui->inputListWidget;
    if (list->count() == 0)
        return;
    const auto show = [this](int number) {
        if (number > 0)
            ui->EPSGLineEdit->setText(QStringLiteral("EPSG:%1").arg(number));
        else
            ui->EPSGLineEdit->clear();
    };
    if (compressionMode != BatchMode) {
        const int number = scanResult.Datasets[TSR::CString(list->item(0)->text().toStdWString())].EPSG;
        show(number);
        epsg = number;
        for (auto& entry : scanResult.Datasets)
            entry.second.EPSGOverride.clear();
        mapView->refreshDatasets(true, true, epsg, list, scanResult);
        return;
    }
    const QList<QListWidgetItem*> selected = list->selectedItems();
    if (selected.size() != 1)
        return;
    DatasetMetadata& record = scanResult.Datasets[TSR::CString(selected.first()->text().toStdWString())];
    show(record.EPSG);
    record.EPSGOverride.clear();
}

void ImageCompressor::openEPSGRegistry()
{
    int number = epsg;
    if (compressionMode == BatchMode) {
        const QList<QListWidgetItem*> selected = ui->inputListWidget->selectedItems();
        if (selected.size() != 1)
            return;
        const DatasetMetadata& record = scanResult.Datasets[TSR::CString(selected.first()->text().toStdWString())];
        number = record.EPSGOverride.empty() ? record.EPSG : overrideNumber(record.EPSGOverride);
    }
    if (number < 1) {
        QMessageBox::warning(this, AppConstants::ApplicationName, tr("Unknown EPSG code."));
        return;
    }
    QUrl url(
        settings->value(ImageCompressorSettings::EPSGRegistryHost, ImageCompressorSettings::DefaultEPSGRegistryHost)
            .toString());
    url.setPath(QStringLiteral("/search/by-name"));
    QUrlQuery query;
    query.addQueryItem(QStringLiteral("query"), QStringLiteral("[code]=%1").arg(number));
    url.setQuery(query);
    QDesktopServices::openUrl(url);
}

}  // namespace TSR::ImageCompressor::API
