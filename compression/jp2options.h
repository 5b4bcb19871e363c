#pragma once

#include <QDialog>
#include <QHash>
#include <QLatin1String>
#include <QString>
#include <QVariant>

#include <memory>

class QSettings;

namespace Ui {
class Jp2Options;
}

// The JPEG 2000 encoder options, keyed by the option names of the job document. The type lives with
// the dialog that fills it but in the job library, so that jobs carry it without knowing the wizard.
class Jp2Options : public QDialog
{
    Q_OBJECT

public:
    using JP2EncodeOptionsHash = QHash<QString, QVariant>;

    explicit Jp2Options(QWidget* parent = nullptr);
    ~Jp2Options() override;

    // Only what differs from the encoder's own defaults, except the markers and the georeferencing,
    // which are always stated so that the encoder's defaults cannot change the output behind our back.
    JP2EncodeOptionsHash options() const;

private:
    void readSettings();
    void writeSettings();
    void restoreDefaults();

    std::unique_ptr<Ui::Jp2Options> ui;
    std::unique_ptr<QSettings> settings;
};

// The dialog's settings; only OK writes them, so they hold the last accepted state.
namespace Jp2OptionsSettings {

constexpr QLatin1String WriteGMLJP2("Gui/JP2Options/WriteGMLJP2");
constexpr QLatin1String WriteGeoJP2("Gui/JP2Options/WriteGeoJP2");
constexpr QLatin1String Advanced("Gui/JP2Options/Advanced");
constexpr QLatin1String TileDimensions("Gui/JP2Options/TileDimensions");
constexpr QLatin1String PrecinctDimensions("Gui/JP2Options/PrecinctDimensions");
constexpr QLatin1String ProgressionOrder("Gui/JP2Options/ProgressionOrder");
constexpr QLatin1String QualityLayers("Gui/JP2Options/QualityLayers");
constexpr QLatin1String IncludeSOPMarkers("Gui/JP2Options/IncludeSOPMarkers");
constexpr QLatin1String IncludeEPHMarkers("Gui/JP2Options/IncludeEPHMarkers");

}  // namespace Jp2OptionsSettings
