#pragma once

#include <QLatin1String>
#include <QList>
#include <QSettings>
#include <QStringList>
#include <QWizard>
#include <memory>

class RunnableTaskBase;
class UDSComboLUTTask;

namespace Ui {
class UDSCompressorWizard;
}

// The settings of the point cloud conversion wizard; the temp directory's is shared with the
// compression wizard (TempDirectorySetting).
namespace PointCloudSettings {
constexpr QLatin1String InputFile("Gui/PointCloudInputFile");
constexpr QLatin1String OutputFilename("Gui/PointCloudOutputFilename");
constexpr QLatin1String ConvertThreads("Gui/PointCloudConvertThreads");
constexpr QLatin1String ReadThreads("Gui/PointCloudReadThreads");
constexpr QLatin1String MemoryTarget("Gui/PointCloudMemoryTarget");
constexpr QLatin1String AdvancedOptions("Gui/PointCloudAdvancedOptions");
constexpr QLatin1String ColourTable("Gui/PointCloudColourTable");
constexpr QLatin1String CompressionMode("Gui/PointCloudWizardCompressionMode");
constexpr QLatin1String WizardGeometry("Gui/PointCloudWizardGeometry");
}  // namespace PointCloudSettings

// Collects what one point cloud conversion needs: an input file or directory, a new output
// directory, and the converter's options. It reads no point cloud; it only checks paths.
class UDSCompressorWizard : public QWizard
{
    Q_OBJECT

public:
    // lookupTables: the converter's answer about its colour tables, offered on the options page
    // once it has come; may be null.
    explicit UDSCompressorWizard(UDSComboLUTTask* lookupTables = nullptr, QWidget* parent = nullptr);
    ~UDSCompressorWizard() override;

    // Files given before the wizard opens, such as dropped ones: the first becomes the input.
    void setInputFiles(const QStringList& paths);
    // The one conversion job of the wizard's entries; the caller owns it.
    QList<RunnableTaskBase*> tasks() const;
    bool validateCurrentPage() override;

    // Installed physical memory in bytes; tests replace it.
    static quint64 (*totalMemory)();

private:
    void chooseInput();
    void chooseOutput();
    void resetTargetMemory();
    void showLookupTables(UDSComboLUTTask* lookupTables);
    bool validateInputPage();
    bool validateOptionsPage();
    bool refuse(const QString& text);
    QString advancedOptions() const;

    Ui::UDSCompressorWizard* ui;
    std::unique_ptr<QSettings> settings;
    QString savedColourTable;
};
