#pragma once

#include <QString>
#include <QtGlobal>

// A byte count for people: whole bytes below 1 KB, otherwise the count in the largest binary unit
// (KB, MB, GB, TB, PB) it reaches, printed with `format`. Shared by the wizards' memory labels and
// the compression summary, so both read the same.
QString formatBytes(quint64 bytes, const char* format = "%2.2f");
