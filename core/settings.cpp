#include "core/settings.h"

std::unique_ptr<QSettings> createSettings(const QString& application)
{
    return std::make_unique<QSettings>(QSettings::IniFormat, QSettings::UserScope, AppConstants::OrganizationName,
                                       application);
}
