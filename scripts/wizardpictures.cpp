// Walks the compression wizard as a user does: a folder of generated GeoTIFF tiles added in mosaic
// mode, then every page in turn, each written as a PNG into the output directory.
// Usage: wizardpictures OUTPUT_DIRECTORY (run under xvfb-run for a real window system).
#include <gdal_priv.h>
#include <ogr_spatialref.h>

#include <QAbstractButton>
#include <QApplication>
#include <QButtonGroup>
#include <QDir>
#include <QListWidget>
#include <QTemporaryDir>
#include <QTimer>
#include <cstdio>
#include <vector>

#include "core/settings.h"
#include "wizard/imagecompressor.h"

using TSR::ImageCompressor::API::ImageCompressor;

namespace {

bool makeTiles(const QString& directory)
{
    GDALAllRegister();
    GDALDriver* driver = GetGDALDriverManager()->GetDriverByName("GTiff");
    OGRSpatialReference reference;
    reference.importFromEPSG(32633);
    std::vector<GByte> pixels(64 * 64, 90);
    for (int row = 0; row < 5; ++row) {
        for (int column = 0; column < 7; ++column) {
            if ((row == 0 && column > 4) || (row == 4 && column < 2))
                continue;
            const QString path = QStringLiteral("%1/ortho_%2_%3.tif").arg(directory).arg(row).arg(column);
            GDALDataset* tile = driver->Create(path.toUtf8().constData(), 64, 64, 1, GDT_Byte, nullptr);
            if (!tile)
                return false;
            double transform[6] = {500000.0 + column * 640, 10, 0, 5600000.0 - row * 640, 0, -10};
            tile->SetGeoTransform(transform);
            tile->SetSpatialRef(&reference);
            const CPLErr written = tile->GetRasterBand(1)->RasterIO(GF_Write, 0, 0, 64, 64, pixels.data(), 64, 64, GDT_Byte, 0, 0);
            GDALClose(tile);
            if (written != CE_None)
                return false;
        }
    }
    return true;
}

}  // namespace

int main(int argc, char* argv[])
{
    QApplication application(argc, argv);
    if (argc != 2) {
        std::fprintf(stderr, "usage: wizardpictures OUTPUT_DIRECTORY\n");
        return 2;
    }
    // Settings of a first run, not the user's.
    QTemporaryDir settings;
    QSettings::setPath(QSettings::IniFormat, QSettings::UserScope, settings.path());
    QTemporaryDir data;
    const QString tiles = data.filePath(QStringLiteral("survey"));
    if (!QDir().mkpath(tiles) || !makeTiles(tiles)) {
        std::fprintf(stderr, "cannot write the tiles\n");
        return 1;
    }
    const QDir output(QString::fromLocal8Bit(argv[1]));
    ImageCompressor wizard{CompressionLicense()};
    wizard.show();
    const auto shoot = [&wizard, &output](const char* name) {
        QApplication::processEvents();
        wizard.grab().save(output.filePath(QLatin1String(name)));
    };
    wizard.findChild<QButtonGroup*>(QStringLiteral("compressionModeGroup"))->button(ImageCompressor::MosaicMode)->click();
    shoot("wizard-1-start.png");
    wizard.next();
    wizard.addFolder(tiles);
    wizard.findChild<QListWidget*>(QStringLiteral("Gui/FileInputList"))->item(6)->setSelected(true);
    shoot("wizard-2-inputs.png");
    wizard.next();
    shoot("wizard-3-options.png");
    wizard.next();
    shoot("wizard-4-attributes.png");
    return 0;
}
