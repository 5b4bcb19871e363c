#include "compression/jp2options.h"

#include <QComboBox>
#include <QPushButton>
#include <QSettings>
#include <QStringList>

#include "core/settings.h"
#include "ui_jp2options.h"

namespace {

// Item 0 of each combo box is the encoder's default, which the job document leaves unsaid.
void addChoice(Jp2Options::JP2EncodeOptionsHash& options, const QString& key, const QComboBox* box)
{
    if (box->currentIndex() > 0)
        options.insert(key, box->currentText());
}

// A stored index from an older list must not leave a combo box blank, which would pass an empty
// value to the encoder.
void setStoredIndex(QComboBox* box, const QVariant& stored)
{
    const int index = stored.toInt();
    box->setCurrentIndex(index >= 0 && index < box->count() ? index : 0);
}

QString joinedOrNone(const QStringList& parts)
{
    return parts.isEmpty() ? QStringLiteral("none") : parts.join(QLatin1Char(','));
}

}  // namespace

Jp2Options::Jp2Options(QWidget* parent)
    : QDialog(parent)
    , ui(std::make_unique<Ui::Jp2Options>())
    , settings(createSettings())
{
    ui->setupUi(this);
    connect(ui->buttonBox, &QDialogButtonBox::accepted, this, [this] {
        writeSettings();
        accept();
    });
    connect(ui->buttonBox, &QDialogButtonBox::rejected, this, &QDialog::reject);
    connect(ui->defaults, &QPushButton::clicked, this, &Jp2Options::restoreDefaults);
    readSettings();
}

Jp2Options::~Jp2Options() = default;

Jp2Options::JP2EncodeOptionsHash Jp2Options::options() const
{
    JP2EncodeOptionsHash options;
    if (ui->advancedJp2OptionsGroupBox->isChecked()) {
        addChoice(options, QStringLiteral("jp2tilesize"), ui->tileSizeComboBox);
        addChoice(options, QStringLiteral("jp2precinctsize"), ui->precinctSizeComboBox);
        addChoice(options, QStringLiteral("jp2progressionorder"), ui->progressionOrderComboBox);
        if (ui->qualityLayersSpinBox->value() > 1)
            options.insert(QStringLiteral("jp2qualitylayers"), ui->qualityLayersSpinBox->value());
        QStringList markers;
        if (ui->sopMarkersCheckBox->isChecked())
            markers << QStringLiteral("sop");
        if (ui->ephMarkersCheckBox->isChecked())
            markers << QStringLiteral("eph");
        options.insert(QStringLiteral("jp2markers"), joinedOrNone(markers));
    }
    QStringList georeferencing;
    if (ui->gmlJp2heckBox->isChecked())
        georeferencing << QStringLiteral("gml");
    if (ui->geoJp2heckBox->isChecked())
        georeferencing << QStringLiteral("geojp2");
    options.insert(QStringLiteral("jp2georef"), joinedOrNone(georeferencing));
    return options;
}

void Jp2Options::readSettings()
{
    using namespace Jp2OptionsSettings;
    ui->gmlJp2heckBox->setChecked(settings->value(WriteGMLJP2, true).toBool());
    ui->geoJp2heckBox->setChecked(settings->value(WriteGeoJP2, true).toBool());
    ui->advancedJp2OptionsGroupBox->setChecked(settings->value(Advanced, false).toBool());
    setStoredIndex(ui->tileSizeComboBox, settings->value(TileDimensions, 0));
    setStoredIndex(ui->precinctSizeComboBox, settings->value(PrecinctDimensions, 0));
    setStoredIndex(ui->progressionOrderComboBox, settings->value(ProgressionOrder, 0));
    ui->qualityLayersSpinBox->setValue(settings->value(QualityLayers, 1).toInt());
    ui->sopMarkersCheckBox->setChecked(settings->value(IncludeSOPMarkers, true).toBool());
    ui->ephMarkersCheckBox->setChecked(settings->value(IncludeEPHMarkers, true).toBool());
}

// Choices inside an unchecked advanced group are kept too: they come back when the group is
// checked again, though they do not reach the options.
void Jp2Options::writeSettings()
{
    using namespace Jp2OptionsSettings;
    settings->setValue(WriteGMLJP2, ui->gmlJp2heckBox->isChecked());
    settings->setValue(WriteGeoJP2, ui->geoJp2heckBox->isChecked());
    settings->setValue(Advanced, ui->advancedJp2OptionsGroupBox->isChecked());
    settings->setValue(TileDimensions, ui->tileSizeComboBox->currentIndex());
    settings->setValue(PrecinctDimensions, ui->precinctSizeComboBox->currentIndex());
    settings->setValue(ProgressionOrder, ui->progressionOrderComboBox->currentIndex());
    settings->setValue(QualityLayers, ui->qualityLayersSpinBox->value());
    settings->setValue(IncludeSOPMarkers, ui->sopMarkersCheckBox->isChecked());
    settings->setValue(IncludeEPHMarkers, ui->ephMarkersCheckBox->isChecked());
}

// Only the widgets: the stored choice stays until the user accepts.
void Jp2Options::restoreDefaults()
{
    ui->gmlJp2heckBox->setChecked(true);
    ui->geoJp2heckBox->setChecked(true);
    ui->advancedJp2OptionsGroupBox->setChecked(false);
    ui->tileSizeComboBox->setCurrentIndex(0);
    ui->precinctSizeComboBox->setCurrentIndex(0);
    ui->progressionOrderComboBox->setCurrentIndex(0);
    ui->qualityLayersSpinBox->setValue(1);
    ui->sopMarkersCheckBox->setChecked(true);
    ui->ephMarkersCheckBox->setChecked(true);
}
