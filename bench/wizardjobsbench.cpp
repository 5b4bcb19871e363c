// A mosaic to many project over thousands of GeoTIFF tiles of one reference and a shapefile of
// hundreds of parcels, taken through the compression wizard as a user does: the polygons chosen
// (their search and their clipping to every tile) and the entry into the summary page (one job per
// polygon, no document written). The same tile headers are read by a bare GDAL loop in the same
// run. Prints the times of each and, last, the ratio wizard / bare loop.
// Usage: wizardjobsbench <directory> [tiles] [polygons]. Files are made in the directory when missing.
#include <QAbstractButton>
#include <QApplication>
#include <QButtonGroup>
#include <QComboBox>
#include <QLineEdit>
#include <QMessageBox>
#include <QTableView>
#include <QTemporaryDir>
#include <QTimer>
#include <QToolButton>
#include <chrono>
#include <cmath>
#include <cstdio>
#include <ogrsf_frmts.h>

#include "bench/tilegenerator.h"
#include "compression/compressiontask.h"
#include "wizard/imagecompressor.h"
#include "wizard/polygonselector.h"

using TSR::ImageCompressor::API::ImageCompressor;

namespace {

using Clock = std::chrono::steady_clock;

double since(Clock::time_point start)
{
    return std::chrono::duration<double>(Clock::now() - start).count();
}

// Parcels in a grid over the tiles of tiles::generate, each a quadrilateral with its corners pulled
// in by different amounts, so that no edge follows a tile's border and most parcels cross several.
bool makeParcels(const std::string& path, int tileCount, int count)
{
    GDALDriver* driver = GetGDALDriverManager()->GetDriverByName("ESRI Shapefile");
    GDALDatasetUniquePtr vectors(driver->Create(path.c_str(), 0, 0, 0, GDT_Unknown, nullptr));
    if (!vectors)
        return false;
    OGRSpatialReference reference;
    reference.importFromEPSG(32633);
    OGRLayer* layer = vectors->CreateLayer("parcels", &reference, wkbPolygon, nullptr);
    OGRFieldDefn name("name", OFTString), code("code", OFTInteger), share("share", OFTReal);
    if (!layer || layer->CreateField(&name) != OGRERR_NONE || layer->CreateField(&code) != OGRERR_NONE
        || layer->CreateField(&share) != OGRERR_NONE)
        return false;
    const int tileRows = (tileCount + 69) / 70;
    const double width = 70 * 320.0, height = tileRows * 320.0;
    const int columns = int(std::ceil(std::sqrt(count * width / height)));
    const int rows = (count + columns - 1) / columns;
    const double cellX = width / columns, cellY = height / rows;
    for (int i = 0; i < count; ++i) {
        const double left = 400000.0 + (i % columns) * cellX, top = 5500000.0 - (i / columns) * cellY;
        const double pull = 0.05 + 0.1 * (i % 3);
        OGRLinearRing ring;
        ring.addPoint(left + cellX * pull, top - cellY * 0.05);
        ring.addPoint(left + cellX * 0.97, top - cellY * pull);
        ring.addPoint(left + cellX * (1.0 - pull), top - cellY * 0.96);
        ring.addPoint(left + cellX * 0.04, top - cellY * (1.0 - pull));
        ring.closeRings();
        OGRPolygon polygon;
        polygon.addRing(&ring);
        OGRFeature feature(layer->GetLayerDefn());
        feature.SetGeometry(&polygon);
        feature.SetField("name", ("parcel " + std::to_string(i)).c_str());
        feature.SetField("code", 1000 + i);
        feature.SetField("share", i / double(count));
        if (layer->CreateFeature(&feature) != OGRERR_NONE)
            return false;
    }
    return true;
}

double bareRound(const QStringList& files)
{
    std::vector<std::string> paths;
    for (const QString& file : files)
        paths.push_back(file.toStdString());
    double checksum = 0.0;
    const double seconds = tiles::bareHeaderRound(paths, checksum);
    if (checksum == 0.0)
        std::fprintf(stderr, "no file was read\n");
    return seconds;
}

// Chooses every row of the polygon dialog and accepts it; any other box is answered with its
// default and told on standard error, since a run that asks the user anything is not the one meant.
class Answerer : public QObject
{
public:
    Answerer() { qApp->installEventFilter(this); }
    bool eventFilter(QObject* watched, QEvent* event) override
    {
        if (event->type() != QEvent::Show)
            return false;
        if (auto* selector = qobject_cast<PolygonSelector*>(watched)) {
            selector->findChild<QTableView*>(QStringLiteral("tableView"))->selectAll();
            QTimer::singleShot(0, selector, &QDialog::accept);
        } else if (auto* box = qobject_cast<QMessageBox*>(watched)) {
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
    if (argc < 2) {
        std::fprintf(stderr, "usage: %s <directory> [tiles] [polygons]\n", argv[0]);
        return 2;
    }
    const std::string directory = argv[1];
    const int count = argc > 2 ? std::atoi(argv[2]) : 5000;
    const int polygons = argc > 3 ? std::atoi(argv[3]) : 500;
    QTemporaryDir settings, output;
    QSettings::setPath(QSettings::IniFormat, QSettings::UserScope, settings.path());
    GDALAllRegister();
    const std::string shapefile = directory + "/parcels" + std::to_string(polygons) + ".shp";
    struct stat info;
    if ((::stat(tiles::filePath(directory, count - 1).c_str(), &info) != 0
         && !tiles::generate(directory, count, false, 32633))
        || (::stat(shapefile.c_str(), &info) != 0 && !makeParcels(shapefile, count, polygons))) {
        std::fprintf(stderr, "could not write the test files in %s\n", directory.c_str());
        return 1;
    }
    QStringList files;
    for (int i = 0; i < count; ++i)
        files.append(QString::fromStdString(tiles::filePath(directory, i)));

    // An unmeasured bare round fills the page cache.
    bareRound(files);
    const double bare = bareRound(files);

    Answerer answerer;
    ImageCompressor wizard{CompressionLicense()};
    wizard.show();
    wizard.findChild<QButtonGroup*>(QStringLiteral("compressionModeGroup"))
        ->button(ImageCompressor::MosaicToManyMode)
        ->click();
    wizard.next();
    wizard.addFiles(files);
    wizard.findChild<QLineEdit*>(QStringLiteral("outputDirLineEdit"))->setText(output.path());
    wizard.findChild<QLineEdit*>(QStringLiteral("outputFilenameTemplateTextEdit"))
        ->setText(QStringLiteral("parcel.wvc"));
    wizard.findChild<QLineEdit*>(QStringLiteral("Gui/ShapeFileName"))->setText(QString::fromStdString(shapefile));

    auto start = Clock::now();
    wizard.findChild<QToolButton*>(QStringLiteral("choosePolygonButton"))->click();
    const double choice = since(start);
    wizard.findChild<QComboBox*>(QStringLiteral("fieldNamecomboBox"))->setCurrentText(QStringLiteral("name"));
    for (int page = ImageCompressor::InputPage; page < ImageCompressor::OpacityPage; ++page)
        wizard.next();
    start = Clock::now();
    wizard.next();
    const double jobs = since(start);
    if (wizard.currentId() != ImageCompressor::FinishPage || wizard.jobs().size() != polygons) {
        std::fprintf(stderr, "page %d with %d jobs, not the summary with %d\n", wizard.currentId(),
                     int(wizard.jobs().size()), polygons);
        return 1;
    }
    std::printf("tiles %d polygons %d\n", count, polygons);
    std::printf("bare_gdal_s %.3f\n", bare);
    std::printf("wizard_polygon_choice_s %.3f\n", choice);
    std::printf("wizard_summary_entry_s %.3f\n", jobs);
    std::printf("ratio %.3f\n", (choice + jobs) / bare);
    return 0;
}
