#pragma once

#include <QDialog>
#include <QHash>
#include <QLatin1String>
#include <QString>

#include <memory>

class QSettings;

namespace Ui {
class MetaData;
}

// The header metadata of a WVC v3 file, keyed by the field names of the job document's metadata
// part; a missing key is an empty field. The type lives with the dialog that fills it but in the
// job library, so that jobs carry it without knowing the wizard.
class MetaData : public QDialog
{
    Q_OBJECT

public:
    using MetaDataHash = QHash<QString, QString>;

    explicit MetaData(QWidget* parent = nullptr);
    // Writes the settings back, so that it must run after the result has been read.
    ~MetaData() override;

    MetaDataHash metaData() const;

    // What a wizard uses before, or without, the dialog. Unlike metaData() it holds every key, an
    // empty one too, and the stored date as it stands whether or not the date is to be set.
    static MetaDataHash storedMetaData();

private:
    std::unique_ptr<Ui::MetaData> ui;
    std::unique_ptr<QSettings> settings;
};

namespace MetaDataSettings {

// Read when jobs are made, not only by the dialog: it decides whether jobs get metadata at all.
constexpr QLatin1String WriteMetadata("Gui/MetaData/WriteMetadata");
constexpr QLatin1String Classification("Gui/MetaData/Classification");
constexpr QLatin1String SetAquisitionDate("Gui/MetaData/SetAquisitionDate");
constexpr QLatin1String AquisitionDate("Gui/MetaData/AquisitionDate");
constexpr QLatin1String SensorName("Gui/MetaData/SensorName");
constexpr QLatin1String Author("Gui/MetaData/Author");
constexpr QLatin1String Copyright("Gui/MetaData/Copyright");
constexpr QLatin1String Company("Gui/MetaData/Company");
constexpr QLatin1String Email("Gui/MetaData/Email");
constexpr QLatin1String Address("Gui/MetaData/Address");
constexpr QLatin1String Telephone("Gui/MetaData/Telephone");

}  // namespace MetaDataSettings
