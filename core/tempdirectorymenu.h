#pragma once

#include <QLatin1String>

class QLineEdit;
class QToolButton;
class QWidget;

// Turns `button` into an instant popup that fills `edit` with the user's temp directory or with a
// directory chosen in a dialog on `parent`. The compression and point cloud wizards share it.
void addTempDirectoryMenu(QWidget* parent, QLineEdit* edit, QToolButton* button);

// The temp directory last chosen, shared by the two wizards so that each offers the other's choice.
constexpr QLatin1String TempDirectorySetting("Gui/TempDirectory");
