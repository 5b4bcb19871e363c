#pragma once

#include <QByteArray>
#include <QString>

// The whole content of a file, empty when it cannot be read.
QByteArray readFile(const QString& path);

// Writes a fixture file, making its directory first; a write that fails fails the calling test.
void writeFile(const QString& path, const QByteArray& data);
