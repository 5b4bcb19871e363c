// Puts dataset rectangles on the wizard's map one by one, as the input page does, then refreshes
// and repaints it; and does the same with plain rectangle items in a plain scene. Prints both times
// and their ratio.
#include <QApplication>
#include <QElapsedTimer>
#include <QGraphicsRectItem>
#include <QGraphicsScene>
#include <QGraphicsView>
#include <QListWidget>
#include <algorithm>
#include <cstdio>

#include "map/geomapview.h"
#include "map/geoview/qgvmap.h"
#include "map/geoview/qgvprojectionepsg3857.h"
#include "bench/fakecompressionutil.h"

using Tessara::GeoMap::GeoMapView;

namespace {

constexpr int columns = 100;
constexpr int rows = 50;
constexpr int repaints = 10;
const QSize viewSize(800, 600);

// Tiles of a tenth of a degree, with a gap, over northern Europe.
API::DatasetMetadata tile(int index)
{
    API::DatasetMetadata metadata;
    metadata.MinX = 5 + (index % columns) * 0.1;
    metadata.MinY = 50 + (index / columns) * 0.1;
    metadata.MaxX = metadata.MinX + 0.09;
    metadata.MaxY = metadata.MinY + 0.09;
    metadata.EPSG = 4326;
    return metadata;
}

qint64 timeGeoMapView()
{
    QListWidget list;
    API::DatasetScanResult scan;
    for (int i = 0; i < columns * rows; ++i) {
        const QString path = QStringLiteral("/data/tile%1.tif").arg(i);
        list.addItem(path);
        scan.Datasets[TSR::CString(path.toStdWString())] = tile(i);
    }
    QGVMap map;
    map.resize(viewSize);
    map.show();
    GeoMapView view(&map);
    view.setupMap();
    QApplication::processEvents();

    QElapsedTimer clock;
    clock.start();
    for (int i = 0; i < list.count(); ++i) {
        // As the wizard does for each added file: a factory, a reprojection, then the map.
        std::shared_ptr<API::ICompressionUtil> dataset;
        GeoMapView::factoryMaker()->GetCompressionUtil(dataset);
        double minX = 0, minY = 0, maxX = 0, maxY = 0;
        dataset->ReprojectExtent(tile(i), 4326, 4326, minX, minY, maxX, maxY);
        const QGV::GeoRect rect = GeoMapView::clampedExtent(minX, minY, maxX, maxY);
        view.extendProjectExtent(rect, true);
        view.addDatasetRectangle(&list, rect, i);
    }
    for (int i = 0; i < repaints; ++i) {
        view.refreshDatasets(true, true, 4326, &list, scan);
        map.geoView()->viewport()->repaint();
    }
    const qint64 elapsed = clock.nsecsElapsed();
    if (map.countItems() != list.count() + 1)
        std::fprintf(stderr, "unexpected item count %d\n", map.countItems());
    return elapsed;
}

qint64 timePlainScene()
{
    const QGVProjectionEPSG3857 projection;
    QGraphicsScene scene;
    QGraphicsView view(&scene);
    view.setFrameShape(QFrame::NoFrame);
    view.resize(viewSize);
    view.show();
    QPen pen(QColor(51, 160, 44));
    pen.setCosmetic(true);
    const QBrush brush(QColor(178, 223, 138, 25));
    QApplication::processEvents();

    QElapsedTimer clock;
    clock.start();
    for (int i = 0; i < columns * rows; ++i) {
        const API::DatasetMetadata metadata = tile(i);
        const QRectF rect =
            projection.geoToProj(QGV::GeoRect(metadata.MinY, metadata.MinX, metadata.MaxY, metadata.MaxX));
        scene.addRect(rect, pen, brush);
    }
    for (int i = 0; i < repaints; ++i) {
        view.fitInView(scene.itemsBoundingRect(), Qt::KeepAspectRatio);
        view.viewport()->repaint();
    }
    return clock.nsecsElapsed();
}

}  // namespace

int main(int argc, char* argv[])
{
    QApplication application(argc, argv);
    auto util = std::make_shared<FakeCompressionUtil>();
    GeoMapView::factoryMaker = [util] { return std::make_shared<FakeCompressionUtilFactory>(util); };

    // The best of three runs of each, taken in turns, so that neither gains from a warmer machine.
    qint64 mapTime = 0;
    qint64 plainTime = 0;
    for (int run = 0; run < 3; ++run) {
        const qint64 m = timeGeoMapView();
        const qint64 p = timePlainScene();
        mapTime = run == 0 ? m : std::min(mapTime, m);
        plainTime = run == 0 ? p : std::min(plainTime, p);
    }
    std::printf("rectangles %d\n", columns * rows);
    std::printf("repaints %d\n", repaints);
    std::printf("geomapview_ms %.1f\n", mapTime / 1e6);
    std::printf("plain_scene_ms %.1f\n", plainTime / 1e6);
    std::printf("ratio %.3f\n", double(mapTime) / double(plainTime));
    return 0;
}
