#pragma once

#include <QLatin1String>
#include <QString>

// The directory the child tools live in: beside the executable, unless KARTOPRESS_TOOL_DIR names
// another one (packagers and tests use that).
QString toolDirectory();

// The full path of a tool, from one of the tool constants (which begin with a slash).
QString toolPath(QLatin1String tool);
