#include "compression/metadata.h"

#include <QCheckBox>
#include <QDateTime>
#include <QSettings>

#include "core/settings.h"
#include "ui_metadata.h"

namespace {

// Deliberate: "acquistiondate" is misspelt; it is the key the job document and the compressor know.
const QString AcquisitionDateKey = QStringLiteral("acquistiondate");

}  // namespace

MetaData::MetaData(QWidget* parent)
    : QDialog(parent)
    , ui(std::make_unique<Ui::MetaData>())
    , settings(createSettings())
{
    ui->setupUi(this);
    setWindowTitle(QString(AppConstants::ApplicationName) + QLatin1Char(' ') + QStringLiteral(KP_VERSION));
    connect(ui->buttonBox, &QDialogButtonBox::accepted, this, &QDialog::accept);
    connect(ui->buttonBox, &QDialogButtonBox::rejected, this, &QDialog::reject);
    connect(ui->aquisitionDateCheckBox, &QCheckBox::toggled, ui->aquisitionDate, &QWidget::setEnabled);

    using namespace MetaDataSettings;
    ui->groupBox->setChecked(settings->value(WriteMetadata, false).toBool());
    ui->classificationEdit->setText(settings->value(Classification).toString());
    ui->aquisitionDateCheckBox->setChecked(settings->value(SetAquisitionDate, false).toBool());
    ui->aquisitionDate->setDateTime(settings->value(AquisitionDate, QDateTime::currentDateTime()).toDateTime());
    ui->sensorEdit->setText(settings->value(SensorName).toString());
    ui->authorEdit->setText(settings->value(Author).toString());
    ui->copyrightEdit->setText(settings->value(Copyright).toString());
    ui->companyEdit->setText(settings->value(Company).toString());
    ui->emailEdit->setText(settings->value(Email).toString());
    ui->addressEdit->setText(settings->value(Address).toString());
    ui->telephoneEdit->setText(settings->value(Telephone).toString());
    ui->aquisitionDate->setEnabled(ui->aquisitionDateCheckBox->isChecked());
}

// Whether metadata is written at all takes effect on Cancel too, because jobs read that setting
// when they are made; the field values change only when the user accepts them.
MetaData::~MetaData()
{
    using namespace MetaDataSettings;
    settings->setValue(WriteMetadata, ui->groupBox->isChecked());
    if (result() != QDialog::Accepted)
        return;
    settings->setValue(Classification, ui->classificationEdit->text());
    settings->setValue(SetAquisitionDate, ui->aquisitionDateCheckBox->isChecked());
    settings->setValue(AquisitionDate, ui->aquisitionDate->dateTime());
    settings->setValue(SensorName, ui->sensorEdit->text());
    settings->setValue(Author, ui->authorEdit->text());
    settings->setValue(Copyright, ui->copyrightEdit->text());
    settings->setValue(Company, ui->companyEdit->text());
    settings->setValue(Email, ui->emailEdit->text());
    settings->setValue(Address, ui->addressEdit->text());
    settings->setValue(Telephone, ui->telephoneEdit->text());
}

MetaData::MetaDataHash MetaData::metaData() const
{
    MetaDataHash hash;
    const auto addText = [&hash](const QString& key, const QString& text) {
        if (!text.isEmpty())
            hash.insert(key, text);
    };
    addText(QStringLiteral("classification"), ui->classificationEdit->text());
    // The compressor takes the date in UTC, whatever zone the user edited it in.
    if (ui->aquisitionDateCheckBox->isChecked())
        hash.insert(AcquisitionDateKey, ui->aquisitionDate->dateTime().toTimeSpec(Qt::UTC).toString(Qt::ISODate));
    addText(QStringLiteral("acquisitionsensorname"), ui->sensorEdit->text());
    addText(QStringLiteral("author"), ui->authorEdit->text());
    addText(QStringLiteral("copyright"), ui->copyrightEdit->text());
    addText(QStringLiteral("company"), ui->companyEdit->text());
    addText(QStringLiteral("email"), ui->emailEdit->text());
    addText(QStringLiteral("address"), ui->addressEdit->text());
    addText(QStringLiteral("telephone"), ui->telephoneEdit->text());
    return hash;
}

// Deliberate: the date is taken as stored, in local time and whether or not it is to be set; a
// wizard that never opens the dialog passes it on like that, and the document writer leaves empty
// values out.
MetaData::MetaDataHash MetaData::storedMetaData()
{
    using namespace MetaDataSettings;
    const std::unique_ptr<QSettings> stored = createSettings();
    return {
        {AcquisitionDateKey, stored->value(AquisitionDate).toString()},
        {QStringLiteral("acquisitionsensorname"), stored->value(SensorName).toString()},
        {QStringLiteral("address"), stored->value(Address).toString()},
        {QStringLiteral("author"), stored->value(Author).toString()},
        {QStringLiteral("classification"), stored->value(Classification).toString()},
        {QStringLiteral("company"), stored->value(Company).toString()},
        {QStringLiteral("copyright"), stored->value(Copyright).toString()},
        {QStringLiteral("email"), stored->value(Email).toString()},
        {QStringLiteral("telephone"), stored->value(Telephone).toString()},
    };
}
