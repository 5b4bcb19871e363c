// The wizard's state turned into compression jobs, rebuilt on every entry to the summary page so
// that the summary describes the very jobs that Finish hands over.

#include <QDir>
#include <QFileInfo>
#include <QListWidget>
#include <QMessageBox>
#include <QtNumeric>

#include "compression/compressiontask.h"
#include "compression/metadata.h"
#include "core/appconstants.h"
#include "ui_imagecompressor.h"
#include "wizard/imagecompressor.h"

namespace TSR::ImageCompressor::API {

namespace {

bool emptyBox(const ExtractedFeatureClipInfo& polygon)
{
    return !(polygon.MaxX > polygon.MinX) || !(polygon.MaxY > polygon.MinY);
}

QString logBesideOutput(const QString& output)
{
    const QFileInfo file(output);
    return file.absolutePath() + QLatin1Char('/') + file.completeBaseName() + QStringLiteral(".log");
}

TSR::CString overrideOf(const DatasetScanResult& scan, const QString& input)
{
    const auto found = scan.Datasets.find(TSR::CString(input.toStdWString()));
    return found == scan.Datasets.end() ? TSR::CString() : found->second.EPSGOverride;
}

}  // namespace

void ImageCompressor::generateJobs()
{
    const QStringList inputs = inputFiles();
    updatedRegionRatio = 0.0;
    // Deliberate: the jobs of an earlier visit are dropped from the list, not deleted.
    generatedJobs.clear();

    switch (compressionMode) {
    case BatchMode:
        for (const QString& input : inputs) {
            const TSR::CString srs = overrideOf(scanResult, input);
            if (datasetPolygons.empty()) {
                addCompressionJob({input}, nullptr, srs);
            } else {
                // An input that the polygon misses gets its job all the same, without a region.
                addCompressionJob({input}, datasetPolygons[input.toUtf8().toStdString()], srs);
            }
        }
        break;
    case MosaicMode:
        addCompressionJob(inputs, mergedPolygons.size() == 1 ? mergedPolygons.front() : nullptr,
                          inputs.isEmpty() ? TSR::CString() : overrideOf(scanResult, inputs.first()));
        break;
    case MosaicToManyMode: {
        const TSR::CString srs = inputs.isEmpty() ? TSR::CString() : overrideOf(scanResult, inputs.first());
        if (mergedPolygons.empty()) {
            addCompressionJob(inputs, nullptr, srs);
            break;
        }
        for (const ClipInfoPtr& polygon : mergedPolygons) {
            if (polygon && !emptyBox(*polygon))
                addCompressionJob(inputs, polygon, srs);
        }
        break;
    }
    case UpdateMode: {
        auto* task = new CompressionTask;
        task->setFiles(inputs);
        const QString output = ui->updateFileLineEdit->text();
        task->setOutputFilename(output);
        task->setLogFilename(logBesideOutput(output));
        applyJobOptions(task, nullptr);
        generatedJobs.append(task);
        calculateUpdatedRegion(inputs, task->outputFilename());
        task->setResampleMethod(CompressorXml::ResampleMethod(ui->comboBox_Resample->currentIndex()));
        const QString warning = updatedRegionWarning();
        if (!warning.isEmpty())
            QMessageBox::warning(this, AppConstants::ApplicationName, warning);
        break;
    }
    default:
        break;
    }
}

void ImageCompressor::addCompressionJob(const QStringList& inputs, const ClipInfoPtr& polygon, const TSR::CString& srs)
{
    auto* task = new CompressionTask;
    if (!srs.empty())
        task->setSrs(QString::fromUtf8(srs.utf8_str()));
    const QString appendName = polygonAttributeValue(polygon);
    if (polygon && compressionMode == MosaicToManyMode) {
        // Each output holds only what its polygon meets; its name still comes from the list's first input.
        QStringList files;
        for (const TSR::CString& path : polygon->IntersectingDatasets)
            files.append(QString::fromUtf8(path.utf8_str()));
        task->setFiles(files);
    } else {
        task->setFiles(inputs);
    }
    const QString output =
        QDir::toNativeSeparators(makeOutputFilename(inputs.isEmpty() ? QString() : inputs.first(), appendName));
    task->setOutputFilename(output);
    task->setLogFilename(logBesideOutput(output));
    applyJobOptions(task, polygon);
    generatedJobs.append(task);
}

QString ImageCompressor::polygonAttributeValue(const ClipInfoPtr& polygon) const
{
    if (!polygon)
        return QString();
    const QString name = ui->fieldNamecomboBox->currentText();
    const std::string key = name.toStdString();
    if (const auto text = polygon->StringAttributes.find(key); text != polygon->StringAttributes.end())
        return QString::fromStdString(text->second);
    if (const auto integer = polygon->IntegerAttributes.find(key); integer != polygon->IntegerAttributes.end())
        return QString::number(integer->second);
    if (const auto real = polygon->RealAttributes.find(key); real != polygon->RealAttributes.end())
        return QString::asprintf("%f", real->second);
    if (name == QLatin1String("Feature Id"))
        return QString::number(polygon->FeatureId);
    return QString();
}

void ImageCompressor::applyJobOptions(CompressionTask* task, const ClipInfoPtr& polygon)
{
    const QString tempDir = ui->tempDirEdit->text();
    task->setTempDir(tempDir);
    task->setFormat(ui->fileFormat->currentText());
    task->setColorSpace(ui->colorSpace->currentText());
    if (ui->outputBitDepthOverrideGroup->isChecked()) {
        task->setBitDepth(QString::number(ui->outputBitDepthOverride->value()));
        const QString sign = ui->outputSignednessOverrideCombo->currentText();
        if (sign == QLatin1String("Signed"))
            task->setSignedness(CompressorXml::SignSigned);
        else if (sign == QLatin1String("Unsigned"))
            task->setSignedness(CompressorXml::SignUnsigned);
    }
    task->setRatio(double(ui->targetRate->value()));
    task->setOperation(compressionMode == UpdateMode ? CompressorXml::OperationUpdate : CompressorXml::OperationCreate);
    task->setMethod(ui->method->currentText());
    task->setThreads(uint(ui->threads->value()));
    task->setMemCache(memoryFraction);
    task->setTempDir(tempDir);
    task->setHasNoDataValue(ui->checkBoxNoData->isChecked());
    task->setNoDataValue(ui->checkBoxNoData->isChecked() ? ui->spinBoxNoData->value() : 0);
    task->setGenStats(ui->statsCheckBox->isChecked());

    if (ui->resizeGroupBox->isChecked()) {
        // The tool wants a north-up y size, whatever sign the user typed.
        const double y = -std::abs(ui->CellSizeYLineEdit->text().toDouble());
        task->setCellSize(QPointF(ui->CellSizeXLineEdit->text().toDouble(), y));
        task->setResampleMethod(CompressorXml::ResampleMethod(resampleIndex));
    } else {
        task->setCellSize(QPointF(qQNaN(), qQNaN()));
        task->setResampleMethod(CompressorXml::ResampleMethod(0));
    }
    if (polygon) {
        task->setTopLeft(QPointF(polygon->MinX, polygon->MaxY));
        task->setBottomRight(QPointF(polygon->MaxX, polygon->MinY));
    } else {
        task->setTopLeft(QPointF(qQNaN(), qQNaN()));
        task->setBottomRight(QPointF(qQNaN(), qQNaN()));
    }

    if (!ui->shapefileClipLineEdit->text().isEmpty()) {
        task->setShapeFile(ui->shapefileClipLineEdit->text());
        if (!polygon || !ui->opacityShapefileRadio->isChecked()) {
            task->setShapeFileLayerName(ui->shapeLayerNameClipLineEdit->text());
            task->setShapeFileFeatureID(ui->shapeLayerIDClipLineEdit->text());
        } else {
            // The fields may list several polygons; each job names its own.
            task->setShapeFileLayerName(QString::fromStdString(polygon->LayerName));
            task->setShapeFileFeatureID(QString::number(polygon->FeatureId));
        }
    }

    // Deliberate: every output of mosaic to many takes its opacity from its polygon, and the
    // wizard keeps that choice from then on.
    if (compressionMode == MosaicToManyMode)
        opacityMode = 2;
    task->setOpacity(opacityMode == 1 ? OpacityNone : opacityMode == 2 ? OpacityShapefile : OpacityFromSource);
    task->setNullColor(nullColor);
    task->setBandList(ui->bandListLineEdit->text());
    if (ui->metaDataButton->isEnabled() && settings->value(MetaDataSettings::WriteMetadata, false).toBool())
        task->setMetaData(metaData);
    if (!jp2Options.isEmpty())
        task->setJp2EncodeOptions(jp2Options);
    task->setTempDir(tempDir);
}

}  // namespace TSR::ImageCompressor::API
