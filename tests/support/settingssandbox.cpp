#include "tests/support/settingssandbox.h"

#include <QSettings>

namespace {
// The sandbox in force; one that is replaced before it is destroyed must not undo its successor.
const SettingsSandbox* current = nullptr;
}  // namespace

SettingsSandbox::SettingsSandbox()
{
    QSettings::setPath(QSettings::IniFormat, QSettings::UserScope, directory.path());
    current = this;
}

SettingsSandbox::~SettingsSandbox()
{
    if (current != this)
        return;
    QSettings::setPath(QSettings::IniFormat, QSettings::UserScope, QString());
    current = nullptr;
}

QString SettingsSandbox::path() const
{
    return directory.path();
}
