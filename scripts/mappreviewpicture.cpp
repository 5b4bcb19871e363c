// Draws the wizard's map preview as a user sees it in a mosaic: a few dozen dataset rectangles, the
// dotted extent around them, a clip polygon with a hole, and one rectangle selected. Writes a PNG.
#include <QApplication>
#include <QListWidget>
#include <cstdio>

#include "map/geomapview.h"
#include "map/geoview/qgvmap.h"
#include "bench/fakecompressionutil.h"

using Tessara::GeoMap::GeoMapView;

int main(int argc, char* argv[])
{
    QApplication application(argc, argv);
    if (argc != 2) {
        std::fprintf(stderr, "usage: mappreviewpicture OUTPUT.png\n");
        return 2;
    }
    auto util = std::make_shared<FakeCompressionUtil>();
    GeoMapView::factoryMaker = [util] { return std::make_shared<FakeCompressionUtilFactory>(util); };

    // Orthophoto tiles of a survey in degrees, a ragged block with a few missing.
    QListWidget list;
    API::DatasetScanResult scan;
    for (int row = 0; row < 6; ++row) {
        for (int column = 0; column < 8; ++column) {
            if ((row == 0 && column > 5) || (row == 5 && column < 2) || (row == 2 && column == 4))
                continue;
            API::DatasetMetadata metadata;
            metadata.MinX = 9.0 + column * 0.25 + (row % 2) * 0.1;
            metadata.MaxX = metadata.MinX + 0.25;
            metadata.MaxY = 48.0 - row * 0.2;
            metadata.MinY = metadata.MaxY - 0.2;
            metadata.EPSG = 4326;
            const QString path = QStringLiteral("/survey/tile_%1_%2.tif").arg(row).arg(column);
            list.addItem(path);
            scan.Datasets[TSR::CString(path.toStdWString())] = metadata;
        }
    }
    API::FeaturePolygon polygon;
    polygon.OuterRing = {{9.55, 47.75}, {10.6, 47.9}, {11.05, 47.35}, {10.45, 46.95}, {9.7, 47.15}};
    polygon.InnerRings.push_back({{10.05, 47.5}, {10.45, 47.55}, {10.5, 47.3}, {10.15, 47.25}});
    util->polygons.push_back(polygon);

    QGVMap map;
    map.resize(900, 560);
    map.show();
    GeoMapView view(&map);
    view.setupMap();
    view.addAllDatasets(true, &list, scan);
    view.showPolygons(QStringLiteral("/survey/clip.shp"), {std::make_shared<API::ExtractedFeatureClipInfo>()}, true,
                      4326, &list, scan);
    view.itemOffset = 1 + view.polygonCount;
    list.item(13)->setSelected(true);
    view.selectDatasetRows(&list, view.itemOffset);
    view.zoomToProjectExtent();
    QApplication::processEvents();

    if (!map.grab().save(QString::fromLocal8Bit(argv[1]))) {
        std::fprintf(stderr, "cannot write %s\n", argv[1]);
        return 1;
    }
    return 0;
}
