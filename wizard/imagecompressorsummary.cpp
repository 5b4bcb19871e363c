// The summary page: the jobs are built first, then described, so that the text tells of the very
// jobs that Finish hands over.

#include "compression/compressiontask.h"
#include "core/formatbytes.h"
#include "ui_imagecompressor.h"
#include "wizard/imagecompressor.h"

namespace TSR::ImageCompressor::API {

void ImageCompressor::updateSummary()
{
    generateJobs();

    static const char* const modeNames[] = {QT_TR_NOOP("batch mode"), QT_TR_NOOP("mosaic mode"),
                                            QT_TR_NOOP("mosaic to many mode"), QT_TR_NOOP("update mode")};
    QString text = tr("Compression Type: %1\n").arg(tr(modeNames[qBound(0, compressionMode, UpdateMode)]));
    text += tr("Input No Data Value: %1\n")
                .arg(ui->checkBoxNoData->isChecked() ? QString::number(ui->spinBoxNoData->value()) : tr("none"));
    text += tr("Format: %1\n").arg(ui->fileFormat->currentText());
    text += tr("Color Space: %1\n").arg(ui->colorSpace->currentText());
    if (!ui->outputBitDepthOverrideGroup->isEnabled() || !ui->outputBitDepthOverrideGroup->isChecked()) {
        text += QStringLiteral("Bit Depth: from input dataset\n");
    } else {
        const QString sign = ui->outputSignednessOverrideCombo->currentText();
        // With "Auto" the line keeps the blank before the empty sign.
        text += QStringLiteral("Bit Depth: %1 %2\n")
                    .arg(ui->outputBitDepthOverride->value())
                    .arg(sign == QLatin1String("Auto") ? QString() : QStringLiteral("(%1)").arg(sign));
    }
    text += QStringLiteral("Target Ratio: %1\n").arg(ui->targetRate->value());
    text += QStringLiteral("Method: %1\n").arg(ui->method->currentText());
    if (compressionMode == UpdateMode) {
        text += QStringLiteral("Updated Area: %1\n")
                    .arg(QString::asprintf("%2.2f", updatedRegionRatio * 100) + QStringLiteral(" %"));
        const QString warning = updatedRegionWarning();
        if (!warning.isEmpty())
            text += QStringLiteral("WARNING: ") + warning;
    }
    text += QStringLiteral("Input Files: \n");
    for (CompressionTask* job : qAsConst(generatedJobs))
        text += QStringLiteral("    ") + job->inputFilename() + QStringLiteral(" --> ") + job->outputFilename()
            + QLatin1Char('\n');

    if (compressionMode != UpdateMode) {
        text += tr("Output Directory or Template: %1\n").arg(ui->outputDirLineEdit->text());
        text += tr("Output Filename or Template: %1\n").arg(ui->outputFilenameTemplateTextEdit->text());
        text += tr("Temp Directory: %1\n").arg(ui->tempDirEdit->text());
    }
    if (compressionMode == MosaicToManyMode) {
        for (const ClipInfoPtr& polygon : mergedPolygons) {
            if (polygon && (!(polygon->MaxX > polygon->MinX) || !(polygon->MaxY > polygon->MinY))) {
                text +=
                    tr("WARNING: the polygon FID %1 - Attribute name: %2 does not intersect the selected dataset(s)")
                        .arg(polygon->FeatureId)
                        .arg(polygonAttributeValue(polygon))
                    + QLatin1Char('\n');
            }
        }
    }
    if (compressionMode == MosaicMode) {
        const double size = projectSizeGigapixels > 0.0 ? projectSizeGigapixels : mosaicSizeGigapixels;
        text += tr("Project Size: ") + gigapixelText(size) + tr(" gigapixels") + QLatin1Char('\n');
    }
    if (compressionMode == UpdateMode) {
        text += tr("Output file to update: %1\n").arg(ui->updateFileLineEdit->text());
        // Deliberate: the summary names the update page's copy while the job runs with the other.
        text += tr("Temp Directory: %1\n").arg(ui->tempDirEdit2->text());
    }
    if (ui->opacitySourceRadio->isChecked())
        text += tr("Opacity: copy from source\n");
    else if (ui->opacityNoneRadio->isChecked())
        text += tr("Opacity: none\n");
    else if (ui->opacityShapefileRadio->isChecked())
        text += tr("Opacity: from Shapefile\n");
    if (ui->opacityShapefileRadio->isChecked()) {
        text += tr("Shapefile: %1,%2,%3\n")
                    .arg(ui->shapeLayerIDClipLineEdit->text(), ui->shapeLayerNameClipLineEdit->text(),
                         ui->shapefileClipLineEdit->text());
    }
    if (ui->nullBackgroundColorGroup->isEnabled())
        text += tr("Background Color: Enabled and using %1 band value\n").arg(nullColor);
    text += tr("Memory: Using %1 of maximum memory %2\n")
                .arg(formatBytes(quint64(double(totalMemory) * memoryFraction)), formatBytes(totalMemory));
    ui->summaryTextEdit->setText(text);
}

}  // namespace TSR::ImageCompressor::API
