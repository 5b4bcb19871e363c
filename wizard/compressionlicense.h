#pragma once

#include <QString>

// What the licence check allows the compression wizard. The check itself belongs to the main
// window; the wizard only reads its verdict.
struct CompressionLicense
{
    bool valid = true;
    QString text;
    bool updateModeAllowed = true;
    int maximumThreads = 99;
};
