#include "tests/support/settingssandbox.h"

#include <QSettings>

SettingsSandbox::SettingsSandbox()
{
    QSettings::setPath(QSettings::IniFormat, QSettings::UserScope, directory.path());
}

SettingsSandbox::~SettingsSandbox()
{
    QSettings::setPath(QSettings::IniFormat, QSettings::UserScope, QString());
}

QString SettingsSandbox::path() const
{
    return directory.path();
}
