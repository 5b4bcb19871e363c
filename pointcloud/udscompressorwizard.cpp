#include "pointcloud/udscompressorwizard.h"

#include <QDir>
#include <QFileDialog>
#include <QFileInfo>
#include <QMessageBox>
#include <QStandardPaths>
#include <cmath>

#include "core/appconstants.h"
#include "core/filetypes.h"
#include "core/platform.h"
#include "core/settings.h"
#include "core/tempdirectorymenu.h"
#include "pointcloud/udscomboluttask.h"
#include "pointcloud/udscompressiontask.h"
#include "pointcloud/ui_udscompressorwizard.h"

namespace {

enum PageId { InputPage = 1, OptionsPage = 2, SummaryPage = 3 };

int wholeGigabytes(double bytes)
{
    return int(std::llround(bytes / 1024.0 / 1024.0 / 1024.0));
}

// A fifth of the machine's memory leaves room for the rest of the desktop while the converter runs.
int recommendedMemoryGB()
{
    return wholeGigabytes(double(UDSCompressorWizard::totalMemory()) * 0.2);
}

}  // namespace

quint64 (*UDSCompressorWizard::totalMemory)() = &Platform::totalPhysicalMemory;

UDSCompressorWizard::UDSCompressorWizard(UDSComboLUTTask* lookupTables, QWidget* parent)
    : QWizard(parent)
    , ui(new Ui::UDSCompressorWizard)
    , settings(createSettings())
{
    using namespace PointCloudSettings;
    ui->setupUi(this);
    setWindowTitle(AppConstants::ApplicationName + QLatin1Char(' ') + AppConstants::ApplicationYear);

    ui->inputFileLineEdit->setText(settings->value(InputFile, QString()).toString());
    ui->outputFileLineEdit->setText(settings->value(OutputFilename, QString()).toString());
    ui->tempDirLineEdit->setText(
        settings->value(TempDirectorySetting, QStandardPaths::writableLocation(QStandardPaths::TempLocation))
            .toString());
    ui->convertThreadSpinner->setValue(settings->value(ConvertThreads, 0).toInt());
    ui->readThreadSpinner->setValue(settings->value(ReadThreads, 0).toInt());
    // A machine whose memory cannot be read leaves the spinner at its minimum alone.
    ui->targetMemorySpinner->setRange(1, wholeGigabytes(double(totalMemory())));
    const int savedMemory = settings->value(MemoryTarget, 0).toInt();
    ui->targetMemorySpinner->setValue(savedMemory != 0 ? savedMemory : recommendedMemoryGB());
    ui->advancedOptionsLineEdit->setText(settings->value(AdvancedOptions, QString()).toString());
    savedColourTable = settings->value(ColourTable, QString()).toString();
    if (settings->value(CompressionMode, true).toBool())
        ui->radioButtonFile->setChecked(true);
    else
        ui->radioButtonFolder->setChecked(true);
    const QRect geometry = settings->value(WizardGeometry).toRect();
    if (geometry.isValid())
        setGeometry(geometry);

    connect(ui->inputToolButton, &QToolButton::clicked, this, &UDSCompressorWizard::chooseInput);
    connect(ui->outputToolButton, &QToolButton::clicked, this, &UDSCompressorWizard::chooseOutput);
    connect(ui->resetRamButton, &QToolButton::clicked, this, &UDSCompressorWizard::resetTargetMemory);
    addTempDirectoryMenu(this, ui->tempDirLineEdit, ui->tempDirButton);
    showLookupTables(lookupTables);
}

UDSCompressorWizard::~UDSCompressorWizard()
{
    using namespace PointCloudSettings;
    settings->setValue(InputFile, ui->inputFileLineEdit->text());
    settings->setValue(OutputFilename, ui->outputFileLineEdit->text());
    settings->setValue(TempDirectorySetting, ui->tempDirLineEdit->text());
    settings->setValue(ConvertThreads, ui->convertThreadSpinner->value());
    settings->setValue(ReadThreads, ui->readThreadSpinner->value());
    settings->setValue(MemoryTarget, ui->targetMemorySpinner->value());
    settings->setValue(AdvancedOptions, ui->advancedOptionsLineEdit->text());
    // A table the converter did not offer this time is remembered for the next.
    settings->setValue(ColourTable,
                       ui->lutComboBox->currentIndex() > 0 ? ui->lutComboBox->currentText() : savedColourTable);
    settings->setValue(CompressionMode, ui->radioButtonFile->isChecked());
    settings->setValue(WizardGeometry, geometry());
    delete ui;
}

void UDSCompressorWizard::setInputFiles(const QStringList& paths)
{
    if (!paths.isEmpty())
        ui->inputFileLineEdit->setText(paths.first());
}

void UDSCompressorWizard::showLookupTables(UDSComboLUTTask* lookupTables)
{
    ui->lutComboBox->addItem(tr("Converter default"));
    if (!lookupTables)
        return;
    // The query runs on a thread of its own and may still be running: the tables are shown when it
    // ends, or at once if it has. Filling anew each time keeps a late second call harmless.
    const auto fill = [this, lookupTables] {
        while (ui->lutComboBox->count() > 1)
            ui->lutComboBox->removeItem(1);
        lookupTables->populateCombo(ui->lutComboBox);
        const int saved = ui->lutComboBox->findText(savedColourTable);
        ui->lutComboBox->setCurrentIndex(saved > 0 ? saved : 0);
    };
    connect(lookupTables, &CommandLineCompressorTask::finished, this, fill);
    if (lookupTables->hasFinishedRun())
        fill();
}

void UDSCompressorWizard::chooseInput()
{
    const QString start = settings->value(PointCloudSettings::InputFile, QString()).toString();
    QString chosen;
    if (ui->radioButtonFile->isChecked()) {
        QStringList patterns;
        for (const QString& suffix : FileTypes::pointCloudSuffixes())
            patterns.append(QStringLiteral("*.") + suffix);
        chosen = QFileDialog::getOpenFileName(
            this, tr("Select an input file to convert"), start,
            tr("Point Cloud Files (%1);; All Files(*.*)").arg(patterns.join(QLatin1Char(' '))));
    } else {
        chosen = QFileDialog::getExistingDirectory(this, tr("Select an input directory to mosaic"), start,
                                                   QFileDialog::ShowDirsOnly);
    }
    if (chosen.isEmpty())
        return;
    ui->inputFileLineEdit->setText(chosen);
    settings->setValue(PointCloudSettings::InputFile, chosen);
}

void UDSCompressorWizard::chooseOutput()
{
    const QString chosen = QFileDialog::getExistingDirectory(
        this, tr("Select output directory name"),
        settings->value(PointCloudSettings::OutputFilename, QString()).toString(), QFileDialog::ShowDirsOnly);
    if (chosen.isEmpty())
        return;
    ui->outputFileLineEdit->setText(chosen);
    settings->setValue(PointCloudSettings::OutputFilename, chosen);
}

void UDSCompressorWizard::resetTargetMemory()
{
    ui->targetMemorySpinner->setValue(recommendedMemoryGB());
}

QString UDSCompressorWizard::advancedOptions() const
{
    // The chosen colour table travels in the advanced options, behind the user's own text.
    QString options = ui->advancedOptionsLineEdit->text();
    if (ui->lutComboBox->currentIndex() > 0) {
        const QString table = QStringLiteral("--lut=\"%1\"").arg(ui->lutComboBox->currentText());
        options = options.isEmpty() ? table : options + QLatin1Char(' ') + table;
    }
    return options;
}

QList<RunnableTaskBase*> UDSCompressorWizard::tasks() const
{
    const QFileInfo input(ui->inputFileLineEdit->text());
    auto* task = new UDSCompressionTask;
    task->setInputFilename(ui->inputFileLineEdit->text());
    task->setOutputFilename(ui->outputFileLineEdit->text());
    task->setLogFilename(input.absolutePath() + QLatin1Char('/') + input.completeBaseName() + QStringLiteral(".log"));
    task->setTempDirname(ui->tempDirLineEdit->text());
    task->setConvertThreads(ui->convertThreadSpinner->value());
    task->setReadThreads(ui->readThreadSpinner->value());
    task->setTargetMemoryGB(ui->targetMemorySpinner->value());
    task->setAdvancedOptions(advancedOptions());
    return {task};
}

bool UDSCompressorWizard::validateCurrentPage()
{
    switch (currentId()) {
    case InputPage:
        return validateInputPage();
    case OptionsPage:
        return validateOptionsPage();
    default:
        return true;
    }
}

bool UDSCompressorWizard::refuse(const QString& text)
{
    QMessageBox::warning(this, AppConstants::ApplicationName, text, QMessageBox::Ok);
    return false;
}

namespace {

bool hasEntries(const QString& directory)
{
    return !QDir(directory).entryList(QDir::Dirs | QDir::Files | QDir::Drives | QDir::NoDotAndDotDot).isEmpty();
}

}  // namespace

bool UDSCompressorWizard::validateInputPage()
{
    if (!QFileInfo::exists(ui->inputFileLineEdit->text()))
        return refuse(tr("Input file does not exist."));
    // The converter makes an output directory that does not exist yet.
    const QFileInfo output(ui->outputFileLineEdit->text());
    if (!output.exists())
        return true;
    if (!output.isDir())
        return refuse(tr("Output must be a new directory."));
    if (hasEntries(output.filePath()))
        return refuse(tr("Output directory is not empty."));
    return true;
}

bool UDSCompressorWizard::validateOptionsPage()
{
    // Deliberate: even the default system temp directory is refused when anything lies in it; the
    // converter's working files must not mix with others'.
    const QFileInfo temp(ui->tempDirLineEdit->text());
    if (temp.exists() && !temp.isDir())
        return refuse(tr("Path given for temp directory isn't a directory."));
    if (temp.exists() && hasEntries(temp.filePath()))
        return refuse(tr("Temp directory is not empty."));

    QString summary = tr("Input: %1\n").arg(ui->inputFileLineEdit->text());
    summary += tr("Output: %1\n").arg(ui->outputFileLineEdit->text());
    summary += tr("Temp Dir: %1\n").arg(ui->tempDirLineEdit->text());
    // The shown texts, so that 0 reads "Auto" as on the spinners.
    summary += tr("Conversion Threads: %1\n").arg(ui->convertThreadSpinner->text());
    summary += tr("Read Threads: %1\n").arg(ui->readThreadSpinner->text());
    summary += tr("Target Memory Limit (GB): %1\n").arg(ui->targetMemorySpinner->text());
    summary += tr("Advanced Options: %1\n").arg(advancedOptions());
    ui->summaryTextEdit->setPlainText(summary);
    return true;
}
