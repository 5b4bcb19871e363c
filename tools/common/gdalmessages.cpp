#include "tools/common/gdalmessages.h"

#include <cpl_conv.h>
#include <cpl_error.h>

#include "tools/common/toolconsole.h"

namespace {

ToolConsole* target = nullptr;
thread_local QString failures;

void CPL_STDCALL onMessage(CPLErr level, CPLErrorNum, const char* message)
{
    const QString text = QString::fromUtf8(message).trimmed();
    switch (level) {
    case CE_Failure:
    case CE_Fatal:
        if (!failures.isEmpty())
            failures += QStringLiteral("; ");
        failures += text;
        if (target)
            target->log(QStringLiteral("GDAL error: ") + text);
        break;
    case CE_Warning:
        if (target)
            target->log(QStringLiteral("GDAL warning: ") + text);
        break;
    default:
        if (target)
            target->log(QStringLiteral("GDAL: ") + text);
        break;
    }
}

}  // namespace

namespace GdalMessages {

void install(ToolConsole* console, bool withDebug)
{
    target = console;
    if (withDebug)
        CPLSetConfigOption("CPL_DEBUG", "ON");
    CPLSetErrorHandler(onMessage);
}

QString takeFailures()
{
    QString text;
    text.swap(failures);
    return text;
}

}  // namespace GdalMessages
