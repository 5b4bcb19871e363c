#include "core/formatbytes.h"

QString formatBytes(quint64 bytes, const char* format)
{
    if (bytes < 1024)
        return QStringLiteral("%1 bytes").arg(bytes);
    static const char* const units[] = {" KB", " MB", " GB", " TB"};
    quint64 limit = quint64(1) << 20;
    for (const char* unit : units) {
        if (bytes < limit)
            return QString::asprintf(format, double(bytes) / double(limit >> 10)) + QLatin1String(unit);
        limit <<= 10;
    }
    return QString::asprintf(format, double(bytes) / double(quint64(1) << 50)) + QLatin1String(" PB");
}
