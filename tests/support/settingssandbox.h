#pragma once

#include <QTemporaryDir>

// Gives every settings object made while it lives a fresh, empty location of its own.
class SettingsSandbox
{
public:
    SettingsSandbox();
    ~SettingsSandbox();

    QString path() const;

private:
    QTemporaryDir directory;
};
