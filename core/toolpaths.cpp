#include "core/toolpaths.h"

#include <QCoreApplication>
#include <QDir>

QString toolDirectory()
{
    const QString overridden = qEnvironmentVariable("KARTOPRESS_TOOL_DIR");
    if (!overridden.isEmpty())
        return QDir::cleanPath(overridden);
    return QCoreApplication::applicationDirPath();
}

QString toolPath(QLatin1String tool)
{
    return toolDirectory() + tool;
}
