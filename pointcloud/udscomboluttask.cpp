#include "pointcloud/udscomboluttask.h"

#include <QComboBox>
#include <QDomDocument>
#include <QIcon>
#include <QImage>
#include <QPixmap>
#include <cstring>

#include "core/appconstants.h"
#include "core/toolpaths.h"

namespace {

constexpr int TableEntries = 256;
constexpr int RampHeight = 15;

}  // namespace

UDSComboLUTTask::UDSComboLUTTask(QObject* parent)
    : CommandLineCompressorTask(parent)
{
    setCompressorPath(programPath());
    // Direct and connected first: the answer is stored before any listener elsewhere hears that the
    // run has finished.
    connect(this, &CommandLineCompressorTask::finished, this, &UDSComboLUTTask::storeAnswer, Qt::DirectConnection);
}

void UDSComboLUTTask::storeAnswer()
{
    lutXml = getStdOut().trimmed();
}

QStringList UDSComboLUTTask::arguments()
{
    return {QStringLiteral("-getlutxml")};
}

QProcessEnvironment& UDSComboLUTTask::modifyEnvironment(QProcessEnvironment& environment)
{
    return environment;
}

QString UDSComboLUTTask::programPath() const
{
    return toolPath(AppConstants::TspcConverterExe);
}

void UDSComboLUTTask::populateCombo(QComboBox* combo) const
{
    QDomDocument document;
    if (!document.setContent(lutXml))
        return;
    const QDomNodeList tables = document.elementsByTagName(QStringLiteral("lut"));
    for (int i = 0; i < tables.size(); ++i) {
        const QDomElement table = tables.at(i).toElement();
        const QStringList entries = table.attribute(QStringLiteral("rgb")).split(QLatin1Char(';'));
        if (entries.size() != TableEntries)
            continue;
        uchar ramp[TableEntries * 3];
        bool usable = true;
        for (int entry = 0; entry < TableEntries && usable; ++entry) {
            const QStringList parts = entries.at(entry).split(QLatin1Char(','));
            usable = parts.size() == 3;
            // A part that is no hexadecimal number reads as 0; the table still counts.
            for (int channel = 0; channel < 3 && usable; ++channel)
                ramp[entry * 3 + channel] = uchar(parts.at(channel).toUInt(nullptr, 16));
        }
        if (!usable)
            continue;
        QImage image(TableEntries, RampHeight, QImage::Format_RGB888);
        for (int row = 0; row < RampHeight; ++row)
            std::memcpy(image.scanLine(row), ramp, sizeof(ramp));
        combo->addItem(QIcon(QPixmap::fromImage(image)), table.attribute(QStringLiteral("name")), QVariant());
    }
}
