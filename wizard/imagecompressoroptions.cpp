// The options shared by every job of the wizard: the format and what depends on it, the memory
// control, the temp directory choosers and the smaller switches of the attributes page.

#include <QFileDialog>
#include <QListWidget>

#include "compression/jp2options.h"
#include "compression/metadata.h"
#include "core/formatbytes.h"
#include "core/tempdirectorymenu.h"
#include "ui_imagecompressor.h"
#include "wizard/imagecompressor.h"

namespace TSR::ImageCompressor::API {

void ImageCompressor::setupTempDirectoryMenus()
{
    addTempDirectoryMenu(this, ui->tempDirEdit, ui->tempDirButton);
    addTempDirectoryMenu(this, ui->tempDirEdit2, ui->tempDirButton2);
}

void ImageCompressor::setupOptions()
{
    ui->threads->setToolTip(QString());
    ui->threads->setEnabled(ui->method->currentIndex() != 0);
    ui->memSlider->setValue(int(memoryFraction * 100));
    refreshMemoryLabels();
    (nullColor == QLatin1String("max") ? ui->nullBackgroundColorMaxRadio : ui->nullBackgroundColorMinRadio)
        ->setChecked(true);
    ui->comboBox_Resample->setCurrentIndex(resampleIndex);
    ui->opacityButtonGroup->setId(ui->opacitySourceRadio, 0);
    ui->opacityButtonGroup->setId(ui->opacityNoneRadio, 1);
    ui->opacityButtonGroup->setId(ui->opacityShapefileRadio, 2);
    ui->cliptoPolygonIconLabel->hide();
    // Only the tile method of WVC v3 writes null blocks; leaving the options page enables the
    // colour once that pair is chosen, and the summary mentions the colour only then.
    ui->nullBackgroundColorGroup->setEnabled(false);
}

void ImageCompressor::connectOptions()
{
    connect(ui->method, QOverload<int>::of(&QComboBox::currentIndexChanged), this,
            [this](int index) { ui->threads->setEnabled(index != 0); });
    connect(ui->memSlider, &QSlider::valueChanged, this, [this](int value) {
        memoryFraction = value / 100.0;
        refreshMemoryLabels();
    });
    connect(ui->resetMemToolButton, &QToolButton::clicked, this, [this] {
        memoryFraction = 0.25;
        ui->memSlider->setValue(25);
        refreshMemoryLabels();
    });
    connect(ui->checkBoxNoData, &QCheckBox::clicked, ui->spinBoxNoData, &QSpinBox::setEnabled);
    connect(ui->nullBackgroundColorMinRadio, &QRadioButton::toggled, this, [this](bool on) {
        if (on)
            nullColor = QStringLiteral("min");
    });
    connect(ui->nullBackgroundColorMaxRadio, &QRadioButton::toggled, this, [this](bool on) {
        if (on)
            nullColor = QStringLiteral("max");
    });
    connect(ui->comboBox_Resample, QOverload<int>::of(&QComboBox::activated), this,
            [this](int index) { resampleIndex = index; });
    connect(ui->opacityButtonGroup, &QButtonGroup::idClicked, this, [this](int id) { opacityMode = id; });
    connect(ui->metaDataButton, &QPushButton::clicked, this, &ImageCompressor::editMetaData);
    connect(ui->jp2OptionsButton, &QPushButton::clicked, this, &ImageCompressor::editJp2Options);
    connect(ui->outputDirButton, &QToolButton::clicked, this, [this] {
        const QString chosen =
            QFileDialog::getExistingDirectory(this, tr("Select output directory"), ui->outputDirLineEdit->text());
        if (!chosen.isEmpty())
            ui->outputDirLineEdit->setText(chosen);
    });
    connect(ui->ApplyEPSGButton, &QToolButton::clicked, this, &ImageCompressor::applyEPSG);
    connect(ui->EPSGResetButton, &QToolButton::clicked, this, &ImageCompressor::resetEPSG);
    connect(ui->EPSGInfoButton, &QToolButton::clicked, this, &ImageCompressor::openEPSGRegistry);
}

void ImageCompressor::refreshMemoryLabels()
{
    // Deliberate: the percentage is cut, not rounded, and held in eight bits, as the label has
    // always shown it.
    const quint8 percent = quint8(int(memoryFraction * 100));
    ui->maxMemLabel->setText(tr("(%1% of %2)").arg(percent).arg(formatBytes(totalMemory)));
    ui->memLabel->setText(formatBytes(quint64(double(totalMemory) * memoryFraction)));
}

void ImageCompressor::applyFormat(const QString& format)
{
    rewriteTemplateExtension(format);
    const bool wvc3 = format == QLatin1String("WVC v3");
    const bool jpeg2000 = format == QLatin1String("JPEG 2000");
    if (!wvc3 && !jpeg2000 && format != QLatin1String("WVC v2"))
        return;
    ui->metaDataButton->setEnabled(wvc3);
    ui->metaDataButton->setToolTip(wvc3 ? tr("Set metadata in the header of the WVC file.")
                                        : tr("Only WVC v3 supports metadata"));
    ui->jp2OptionsButton->setEnabled(jpeg2000);
    ui->jp2OptionsButton->setToolTip(jpeg2000 ? tr("Set advanced options for JPEG 2000 format.")
                                              : tr("Advanced options for JPEG 2000 format are not supported for WVC."));
    if (jpeg2000)
        ui->method->setCurrentText(QStringLiteral("Line"));
    ui->method->setEnabled(!jpeg2000);
    ui->method->setToolTip(jpeg2000 ? tr("Only WVC v3 supports TILE encoding") : QString());
    ui->statsCheckBox->setEnabled(wvc3);
}

void ImageCompressor::editMetaData()
{
    MetaData dialog(this);
    // A refused dialog leaves the wizard's metadata as it was.
    if (dialog.exec() == QDialog::Accepted)
        metaData = dialog.metaData();
}

void ImageCompressor::editJp2Options()
{
    Jp2Options dialog(this);
    // Deliberate: unlike the metadata, Cancel also discards what an earlier visit chose.
    jp2Options = dialog.exec() == QDialog::Accepted ? dialog.options() : Jp2Options::JP2EncodeOptionsHash();
}

}  // namespace TSR::ImageCompressor::API
