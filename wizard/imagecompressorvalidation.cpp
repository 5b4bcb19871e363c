// The checks behind Next on the input, options and attributes pages, and the share of an update
// file that the inputs cover. The first failing check of a page tells the user and keeps the page.

#include <QDir>
#include <QFileInfo>
#include <QListWidget>
#include <QMessageBox>
#include <QProgressDialog>
#include <QSet>

#include "core/appconstants.h"
#include "ui_imagecompressor.h"
#include "wizard/imagecompressor.h"

namespace TSR::ImageCompressor::API {

namespace {

constexpr double updatedRegionThreshold = 0.4;

void warn(QWidget* parent, const QString& text, const QString& title = AppConstants::ApplicationName)
{
    QMessageBox::warning(parent, title, text);
}

}  // namespace

const QList<QChar>& ImageCompressor::invalidFilenameCharacters()
{
    // Deliberate: the two separators stay in the set although only the name part is ever looked at.
    static const QList<QChar> characters{QLatin1Char(':'),  QLatin1Char('"'), QLatin1Char('/'),
                                         QLatin1Char('\\'), QLatin1Char('?'), QLatin1Char('|'),
                                         QLatin1Char('*'),  QLatin1Char('<'), QLatin1Char('>')};
    return characters;
}

bool ImageCompressor::validateInputPage()
{
    if (ui->inputListWidget->count() == 0) {
        warn(this, tr("You must select at least one image to compress."));
        return false;
    }
    if (ui->EPSGLineEdit->text().isEmpty() && compressionMode != BatchMode) {
        const auto answer = QMessageBox::warning(
            this, AppConstants::ApplicationName,
            tr("Automatic lookup to EPSG code failed.\nEPSG codes support georeferencing interoperability across software products.\nPress Cancel to define EPSG manually or OK to proceed."),
            QMessageBox::Ok | QMessageBox::Cancel);
        if (answer != QMessageBox::Ok)
            return false;
    }
    if (ui->opacityShapefileRadio->isChecked()) {
        if (ui->shapefileClipLineEdit->text().isEmpty() || ui->shapeLayerNameClipLineEdit->text().isEmpty()
            || ui->shapeLayerIDClipLineEdit->text().isEmpty()) {
            warn(this, tr("You must select a shapefile, layer and feature ID to use polygons."));
            return false;
        }
        if (!QFileInfo::exists(ui->shapefileClipLineEdit->text())) {
            warn(this, tr("Shapefile does not exist."));
            return false;
        }
    }
    const QString field = ui->fieldNamecomboBox->currentText();
    if ((field.isEmpty() || field == QLatin1String("(None)")) && selectedFeatures.size() > 1) {
        warn(this, tr("Please select a field name to avoid output filename collision."), tr("Output file Name"));
        return false;
    }
    if (ui->fileFormat->currentText() != QLatin1String("WVC v3"))
        ui->statsCheckBox->setEnabled(false);
    return true;
}

bool ImageCompressor::validateOptionsPage()
{
    const QString nameTemplate = ui->outputFilenameTemplateTextEdit->text();
    if (nameTemplate.contains(QLatin1String("$(SOURCEDIR)"))) {
        warn(
            this,
            tr("$(SOURCEDIR) variable can only be used for the Output Directory template, not as part of the Filename template."));
        return false;
    }
    const QStringList inputs = inputFiles();
    QStringList names;
    const bool mosaicKind = compressionMode == MosaicMode || compressionMode == MosaicToManyMode;
    if (mosaicKind && inputs.size() > 1) {
        if (nameTemplate.contains(QLatin1String("$(FILENAME)")) || nameTemplate.contains(QLatin1String("$(SRCEXT)"))) {
            warn(
                this,
                tr("$(FILENAME) and $(SRCEXT) variables are ambiguous in mosaic mode and cannot be used in the output template."));
            return false;
        }
        names.append(makeOutputFilename(QString(), QString()));
    } else {
        for (const QString& input : inputs)
            names.append(makeOutputFilename(input, QString()));
    }
    if (compressionMode != UpdateMode && !checkOutputNames(names))
        return false;
    if (compressionMode == UpdateMode) {
        const QFileInfo target(ui->updateFileLineEdit->text());
        if (!target.isFile() || target.suffix() != QLatin1String("wvc")) {
            warn(this, tr("The output file must exist and be an WVC version 3 file."));
            return false;
        }
    }

    // The attributes page's opacity choices follow the method and format; this part cannot fail
    // and survives a later refusal of the same press.
    ui->opacitySourceRadio->setEnabled(true);
    ui->opacityNoneRadio->setEnabled(true);
    ui->opacityShapefileRadio->setEnabled(true);
    const bool line = ui->method->currentText() == QLatin1String("Line");
    const bool wvc3 = ui->fileFormat->currentText() == QLatin1String("WVC v3");
    if (line) {
        if (ui->opacityButtonGroup->checkedId() == 2) {
            ui->opacitySourceRadio->setChecked(true);
            opacityMode = 0;
        }
        ui->shapeFileGroupBox->setToolTip(tr("Null blocks are not supported by the line compressor method"));
    } else if (!wvc3) {
        ui->shapeFileGroupBox->setToolTip(tr("Null blocks are only supported by WVC v3."));
    } else {
        ui->nullBackgroundColorGroup->setEnabled(true);
        ui->shapeFileGroupBox->setToolTip(QString());
        ui->nullBackgroundColorGroup->setToolTip(QString());
    }

    // Deliberate: only update mode refuses an empty temp directory; elsewhere an empty text is
    // the current directory, which exists.
    bool tempExists = false;
    if (compressionMode == UpdateMode) {
        const QString temp = ui->tempDirEdit2->text();
        tempExists = !temp.isEmpty() && QDir(temp).exists();
    } else {
        tempExists = QDir(ui->tempDirEdit->text()).exists();
    }
    if (!tempExists) {
        warn(this, tr("Temporary directory does not exist."));
        return false;
    }

    const QString bands = ui->bandListLineEdit->text();
    if (!bands.isEmpty()) {
        for (const QString& part : bands.split(QLatin1Char(','), Qt::KeepEmptyParts)) {
            bool ok = false;
            const int band = part.toInt(&ok, 10);
            if (!ok || band < 0) {
                warn(this, tr("Invalid band list, must be of the format '0,1,2'."), tr("Error"));
                return false;
            }
        }
    }

    if (ui->resizeGroupBox->isChecked())
        calculateProjectSize();
    else
        updateMosaicSize();
    return true;
}

bool ImageCompressor::checkOutputNames(const QStringList& names)
{
    const QSet<QString> unique(names.begin(), names.end());
    if (unique.size() < names.size()) {
        warn(
            this,
            tr("There are output filename clashes for multiple files. Select a different output filename template that makes the files unique to continue."));
        return false;
    }
    for (const QString& name : unique) {
        const QFileInfo output(name);
        if (output.exists()) {
            warn(
                this,
                tr("One or more of the output files already exists. Select a different destination directory or change the output filename template to continue."));
            return false;
        }
        const QString fileName = output.fileName();
        for (const QChar refused : invalidFilenameCharacters()) {
            if (fileName.contains(refused)) {
                warn(this, tr("One or more of the output filenames contain an invalid character."));
                return false;
            }
        }
        if (!output.absoluteDir().exists()) {
            warn(this, tr("Output path (%1) does not exist.").arg(output.absolutePath()));
            return false;
        }
    }
    if (ui->fileFormat->currentText() == QLatin1String("JPEG 2000")
        && ui->method->currentText() != QLatin1String("Line")) {
        warn(this, tr("The 'Tile' compression method is only available for WVC output."));
        return false;
    }
    return true;
}

bool ImageCompressor::validateOpacityPage()
{
    if (swallowNextValidation) {
        // The Return that calculated the size also reached the default button.
        swallowNextValidation = false;
        return false;
    }
    if (ui->checkBoxNoData->isChecked()) {
        static const QStringList compressed{QStringLiteral("wvc"), QStringLiteral("jp2"), QStringLiteral("sid"),
                                            QStringLiteral("j2k")};
        for (const QString& input : inputFiles()) {
            if (compressed.contains(QFileInfo(input).suffix().toLower())) {
                warn(this, tr("No-data value cannot be set for input images in WVC or JP2 lossy/compressed format."));
                return false;
            }
        }
    }
    if (ui->resizeGroupBox->isChecked()) {
        // Deliberate: the x field is tested twice and the y field not at all.
        const bool xPositive = ui->CellSizeXLineEdit->text().toDouble() > 0.0;
        const bool againPositive = ui->CellSizeXLineEdit->text().toDouble() > 0.0;
        if (!xPositive || !againPositive) {
            warn(this, tr("The output cell size must be greater than 0.0."), tr("Resize Output Image"));
            return false;
        }
        if (projectSizeGigapixels == 0.0)
            calculateProjectSize();
    }
    if (compressionMode == MosaicMode) {
        const quint64 pixels =
            projectSizeGigapixels > 0.0 ? quint64(projectWidth) * projectHeight : quint64(mosaicWidth) * mosaicHeight;
        if (pixels > 0 && !licenseAllowsSize(pixels)) {
            warn(this, license.text, tr("Licensing"));
            return false;
        }
    }
    return true;
}

bool ImageCompressor::licenseAllowsSize(quint64 pixels)
{
    try {
        return compressionUtil()->CheckOutputSize(pixels);
    } catch (const TSR::CRuntimeError& error) {
        qWarning("Output size check: %s", error.what());
        return true;
    }
}

void ImageCompressor::calculateUpdatedRegion(const QStringList& inputs, const QString& updateFilePath)
{
    std::shared_ptr<ICompressionUtil> util = compressionUtil();
    std::vector<TSR::CString> paths;
    paths.reserve(std::size_t(inputs.size()));
    for (const QString& input : inputs)
        paths.emplace_back(input.toUtf8().constData());

    QProgressDialog dialog(tr("Calculating % of updated region  ..."), QString(), 0, 100, this,
                           Qt::Dialog | Qt::WindowTitleHint | Qt::CustomizeWindowHint);
    dialog.setWindowModality(Qt::WindowModal);
    dialog.setCancelButton(nullptr);
    dialog.setMinimumDuration(0);
    dialog.setValue(0);
    try {
        double coverage = 0.0;
        util->ComputeUpdateCoverage(
            paths, TSR::CString(updateFilePath.toUtf8().constData()), coverage,
            [&dialog](const ScanProgress& progress) { dialog.setValue(int(progress.Percent)); });
        updatedRegionRatio = coverage;
    } catch (const TSR::CRuntimeError& error) {
        dialog.close();
        // The ratio stays 0 and reads as no intersection in the summary.
        warn(this, QString::fromUtf8(error.what()));
    }
    dialog.close();
}

QString ImageCompressor::updatedRegionWarning(double ratio)
{
    if (ratio > updatedRegionThreshold) {
        return tr("The updated area (i.e %1) is bigger than the threshold: %2. Region update may not be efficient.\n")
            .arg(QString::asprintf("%2.2f", ratio * 100) + QStringLiteral(" %"),
                 QString::asprintf("%2.1f", updatedRegionThreshold * 100) + QStringLiteral(" %"));
    }
    if (ratio == 0.0)
        return tr("The region of input file(s) do not intersect with the region of output file.\n");
    return QString();
}

}  // namespace TSR::ImageCompressor::API
