#include "core/filetypes.h"

namespace FileTypes {

const QStringList& rasterSuffixes()
{
    static const QStringList suffixes{QStringLiteral("wvc"),  QStringLiteral("jp2"),    QStringLiteral("tif"),
                                      QStringLiteral("tiff"), QStringLiteral("alg"),    QStringLiteral("ers"),
                                      QStringLiteral("sid"),  QStringLiteral("img"),    QStringLiteral("vrt"),
                                      QStringLiteral("jpg"),  QStringLiteral("ntf"),    QStringLiteral("rbd"),
                                      QStringLiteral("webp"), QStringLiteral("png"),    QStringLiteral("gpkg"),
                                      QStringLiteral("mrf"),  QStringLiteral("mbtiles")};
    return suffixes;
}

const QStringList& pointCloudSuffixes()
{
    static const QStringList suffixes{QStringLiteral("las"), QStringLiteral("laz"), QStringLiteral("e57")};
    return suffixes;
}

}  // namespace FileTypes
