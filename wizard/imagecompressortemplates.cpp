// Output name templates: the expansion of the directory and file name templates for one job, the
// preset menu, and the extension that follows the output format.

#include <QAction>
#include <QDateTime>
#include <QDir>
#include <QFileInfo>
#include <QMenu>

#include "ui_imagecompressor.h"
#include "wizard/imagecompressor.h"

namespace TSR::ImageCompressor::API {

namespace {

QString extensionFor(const QString& format)
{
    return format.startsWith(QLatin1String("WVC")) ? QStringLiteral(".wvc") : QStringLiteral(".jp2");
}

}  // namespace

void ImageCompressor::setupTemplateMenu()
{
    static const char* const presets[][2] = {
        {"$(FILENAME).$(SRCEXT).[wvc | jp2]", "$(FILENAME).$(SRCEXT)"},
        {"$(FILENAME)-$(DATE).$(SRCEXT).[wvc | jp2]", "$(FILENAME)-$(DATE).$(SRCEXT)"},
        {"$(FILENAME)-$(METHOD)-v$(VERSION)-r$(TARGETRATE).$(SRCEXT).[wvc | jp2]",
         "$(FILENAME)-$(METHOD)-v$(VERSION)-r$(TARGETRATE).$(SRCEXT)"},
    };
    auto* menu = new QMenu(ui->applyDefaultTemplateButton);
    for (const auto& preset : presets) {
        const QString text = QLatin1String(preset[1]);
        connect(menu->addAction(QLatin1String(preset[0])), &QAction::triggered, this, [this, text] {
            ui->outputFilenameTemplateTextEdit->setText(text + extensionFor(ui->fileFormat->currentText()));
        });
    }
    ui->applyDefaultTemplateButton->setMenu(menu);
    ui->applyDefaultTemplateButton->setPopupMode(QToolButton::InstantPopup);

    // Connected before the saved format comes back, so that restoring it rewrites the restored
    // template: the default "$(FILENAME).$(SRCEXT)" then opens as "$(FILENAME).wvc".
    connect(ui->fileFormat, QOverload<int>::of(&QComboBox::currentIndexChanged), this,
            [this](int index) { applyFormat(ui->fileFormat->itemText(index)); });
}

void ImageCompressor::rewriteTemplateExtension(const QString& format)
{
    // Deliberate: everything from the last dot goes, a variable such as $(SRCEXT) included.
    QString text = ui->outputFilenameTemplateTextEdit->text();
    const int dot = text.lastIndexOf(QLatin1Char('.'));
    if (dot >= 0)
        text.truncate(dot);
    ui->outputFilenameTemplateTextEdit->setText(text + extensionFor(format));
}

QString ImageCompressor::makeOutputFilename(const QString& inputFile, const QString& appendName) const
{
    const QFileInfo input(inputFile);
    QString directoryText = ui->outputDirLineEdit->text();
    directoryText.replace(QLatin1String("$(SOURCEDIR)"), inputFile.isEmpty() ? QString() : input.absolutePath());
    const QDir directory(directoryText);

    // A directory typed in front of the name is dropped: the directory template decides.
    QString name = QFileInfo(ui->outputFilenameTemplateTextEdit->text()).fileName();
    const QDateTime now = QDateTime::currentDateTime();
    name.replace(QLatin1String("$(FILENAME)"), input.completeBaseName());
    name.replace(QLatin1String("$(DATE)"), now.toString(QStringLiteral("yyyy-MM-dd")));
    name.replace(QLatin1String("$(TIME)"), now.toString(QStringLiteral("hh-mm-ss")));
    name.replace(QLatin1String("$(SRCEXT)"), input.suffix());
    name.replace(QLatin1String("$(METHOD)"), ui->method->currentText());
    name.replace(QLatin1String("$(TARGETRATE)"), ui->targetRate->text());

    // Deliberate: the last dotted part goes whatever it is, the source extension of a template
    // without one of its own included; the output extension comes back below.
    if (!appendName.isEmpty())
        name = QFileInfo(name).completeBaseName() + appendName;

    const QString format = ui->fileFormat->currentText();
    QString extension = QStringLiteral(".wvc");
    QString version = QStringLiteral("2");
    if (format == QLatin1String("WVC v3")) {
        version = QStringLiteral("3");
    } else if (format == QLatin1String("JPEG 2000")) {
        extension = QStringLiteral(".jp2");
        version = QStringLiteral("1");
    }
    name.replace(QLatin1String("$(VERSION)"), version);
    if (!name.endsWith(extension, Qt::CaseInsensitive))
        name += extension;
    return directory.absolutePath() + QLatin1Char('/') + name;
}

}  // namespace TSR::ImageCompressor::API
