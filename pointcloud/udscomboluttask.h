#pragma once

#include <QString>

#include "tasks/commandlinecompressortask.h"

class QComboBox;

// Asks the point cloud converter for the colour lookup tables it knows, and offers them as combo
// box items, each with its table drawn as a small colour ramp.
class UDSComboLUTTask : public CommandLineCompressorTask
{
    Q_OBJECT

public:
    explicit UDSComboLUTTask(QObject* parent = nullptr);

    QStringList arguments() override;
    QProcessEnvironment& modifyEnvironment(QProcessEnvironment& environment) override;
    QString programPath() const;

    // Appends one item for each usable table of the tool's answer; an answer that is no document
    // adds nothing.
    void populateCombo(QComboBox* combo) const;

private:
    void storeAnswer();

    QString lutXml;
};
