#pragma once

#include <QSettings>
#include <QString>
#include <memory>

#include "core/appconstants.h"

// Every settings object of the program is made here, so that all of them share format, scope and
// organisation; tests redirect them with QSettings::setPath.
std::unique_ptr<QSettings> createSettings(const QString& application = AppConstants::ApplicationName);
