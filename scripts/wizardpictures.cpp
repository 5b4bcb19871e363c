// Walks the compression wizard as a user does: a folder of generated GeoTIFF tiles added in mosaic
// mode, one polygon of a generated shapefile chosen for the opacity, then every page in turn, each
// written as a PNG into the output directory.
// Usage: wizardpictures OUTPUT_DIRECTORY (run under xvfb-run for a real window system).
#include <gdal_priv.h>
#include <ogr_spatialref.h>
#include <ogrsf_frmts.h>

#include <QAbstractButton>
#include <QApplication>
#include <QButtonGroup>
#include <QDir>
#include <QLineEdit>
#include <QListWidget>
#include <QMessageBox>
#include <QTableView>
#include <QTemporaryDir>
#include <QTimer>
#include <QToolButton>
#include <cstdio>
#include <vector>

#include "core/settings.h"
#include "wizard/imagecompressor.h"
#include "wizard/polygonselector.h"

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
            const CPLErr written =
                tile->GetRasterBand(1)->RasterIO(GF_Write, 0, 0, 64, 64, pixels.data(), 64, 64, GDT_Byte, 0, 0);
            GDALClose(tile);
            if (written != CE_None)
                return false;
        }
    }
    return true;
}

// Survey blocks over the tiles, of which the picture chooses the first, an irregular one across
// most of the survey.
bool makeBlocks(const QString& path)
{
    GDALDriver* driver = GetGDALDriverManager()->GetDriverByName("ESRI Shapefile");
    GDALDatasetUniquePtr vectors(driver->Create(path.toUtf8().constData(), 0, 0, 0, GDT_Unknown, nullptr));
    OGRSpatialReference reference;
    reference.importFromEPSG(32633);
    OGRLayer* layer = vectors ? vectors->CreateLayer("blocks", &reference, wkbPolygon, nullptr) : nullptr;
    OGRFieldDefn name("name", OFTString);
    if (!layer || layer->CreateField(&name) != OGRERR_NONE)
        return false;
    const std::vector<std::pair<const char*, const char*>> blocks{
        {"North fields",
         "POLYGON((500300 5599700,503900 5599400,504300 5597500,502500 5596900,500800 5597300,500300 5599700))"},
        {"River bank", "POLYGON((501000 5597000,503000 5596900,502900 5596000,501100 5596100,501000 5597000))"}};
    for (const auto& block : blocks) {
        OGRGeometry* geometry = nullptr;
        OGRGeometryFactory::createFromWkt(block.second, &reference, &geometry);
        OGRFeature feature(layer->GetLayerDefn());
        feature.SetGeometryDirectly(geometry);
        feature.SetField("name", block.first);
        if (layer->CreateFeature(&feature) != OGRERR_NONE)
            return false;
    }
    return true;
}

// Chooses the first row of the polygon dialog the moment it shows, and closes it as OK would.
class PolygonAnswer : public QObject
{
public:
    PolygonAnswer() { qApp->installEventFilter(this); }
    bool eventFilter(QObject* watched, QEvent* event) override
    {
        if (auto* selector = event->type() == QEvent::Show ? qobject_cast<PolygonSelector*>(watched) : nullptr) {
            selector->findChild<QTableView*>(QStringLiteral("tableView"))->selectRow(0);
            QTimer::singleShot(0, selector, &QDialog::accept);
        }
        if (auto* box = event->type() == QEvent::Show ? qobject_cast<QMessageBox*>(watched) : nullptr) {
            std::fprintf(stderr, "box: %s\n", qPrintable(box->text()));
            QTimer::singleShot(0, box, &QDialog::accept);
        }
        return false;
    }
};

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
    const QString blocks = data.filePath(QStringLiteral("blocks.shp"));
    if (!QDir().mkpath(tiles) || !makeTiles(tiles) || !makeBlocks(blocks)) {
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
    wizard.findChild<QButtonGroup*>(QStringLiteral("compressionModeGroup"))
        ->button(ImageCompressor::MosaicMode)
        ->click();
    shoot("wizard-1-start.png");
    wizard.next();
    wizard.addFolder(tiles);
    wizard.findChild<QListWidget*>(QStringLiteral("Gui/FileInputList"))->item(6)->setSelected(true);
    wizard.findChild<QLineEdit*>(QStringLiteral("Gui/ShapeFileName"))->setText(blocks);
    PolygonAnswer answer;
    wizard.findChild<QToolButton*>(QStringLiteral("choosePolygonButton"))->click();
    wizard.findChild<QAbstractButton*>(QStringLiteral("opacityShapefileRadio"))->click();
    shoot("wizard-2-inputs.png");
    wizard.next();
    // A mosaic has one output; the default template names it after an input, which mosaics refuse.
    QDir(data.path()).mkpath(QStringLiteral("mosaics"));
    wizard.findChild<QLineEdit*>(QStringLiteral("outputDirLineEdit"))
        ->setText(data.filePath(QStringLiteral("mosaics")));
    wizard.findChild<QLineEdit*>(QStringLiteral("outputFilenameTemplateTextEdit"))
        ->setText(QStringLiteral("survey_$(DATE).wvc"));
    shoot("wizard-3-options.png");
    wizard.next();
    shoot("wizard-4-attributes.png");
    wizard.next();
    shoot("wizard-5-summary.png");
    return 0;
}
