#pragma once

#include <QString>

class ToolConsole;

// GDAL's warnings and errors go to the tool's log rather than to standard error, where they would
// mix with the tool's own error lines. Each thread also collects the failures raised on it, so a
// caller can say why one read or one write failed.
namespace GdalMessages {

void install(ToolConsole* console, bool withDebug = false);
// The failures raised on this thread since the last take, joined with "; ", and forgets them.
QString takeFailures();

}  // namespace GdalMessages
