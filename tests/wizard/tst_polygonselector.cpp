#include <QtTest>

#include <QLabel>
#include <QTableView>
#include <QTemporaryDir>

#include "tests/dataset/fixtures.h"
#include "tests/support/modalanswerer.h"
#include "tests/support/testfiles.h"
#include "wizard/polygonselector.h"

using namespace TSR::ImageCompressor::API;

class TestPolygonSelector : public QObject
{
    Q_OBJECT

private slots:
    void cleanupTestCase() { CompressionUtilFactory::Shutdown(); }
    void choosesAndSorts();
};

// Parcels 0 to 11 on a UTM 33N tile, but for parcel 3, which lies far away and alone in a second
// layer. The names do not follow the ids; ids and ranks would sort otherwise as text.
void TestPolygonSelector::choosesAndSorts()
{
    QTemporaryDir directory;
    QVERIFY(fixtures::makeTile(directory.filePath("tile.tif"), {"EPSG:32633"}, 500000, 5000000, 10, 100, 50));
    std::vector<fixtures::Record> parcels;
    for (int id = 0, x = 500010; id < 12; x = ++id == 3 ? 600000 : 500010 + 80 * id)
        parcels.push_back({QStringLiteral("POLYGON((%1 4999600,%2 4999600,%2 4999700,%1 4999700,%1 4999600))")
                               .arg(x)
                               .arg(x + 50)
                               .toStdString(),
                           {std::string(1, "afkdibglejch"[id]), std::to_string(id % 3), std::to_string(id + 0.23456),
                            std::to_string(100 - 7 * id)}});
    const std::vector<std::pair<const char*, OGRFieldType>> fields{
        {"name", OFTString}, {"code", OFTString}, {"area", OFTReal}, {"rank", OFTInteger}};
    QVERIFY(fixtures::makeShapefile(directory.filePath("parcels.shp"), 32633, 32633, fields, parcels));
    QVERIFY(fixtures::makeShapefile(directory.filePath("far.shp"), 32633, 32633, fields, {parcels[3]}));
    const TSR::CString tile(directory.filePath("tile.tif").toStdWString());
    DatasetScanResult scan{CCRSIdentifier(4326), {}};  // not the tile's own reference
    int epsg = -1;
    fixtures::makeUtil()->ReadDatasetMetadata(tile, epsg, scan.Datasets[tile], true);

    // Behind progress dialogs: a file the library cannot read, the far layer refused, a table with a
    // warning, one without.
    const QString broken = directory.filePath("broken.shp");
    writeFile(broken, "not a shapefile");
    const QList<ModalAnswerer::Answer> boxThenProgress{ModalAnswerer::accept(), ModalAnswerer::button(QMessageBox::Ok)};
    ModalAnswerer answerer(boxThenProgress + boxThenProgress + boxThenProgress + QList{ModalAnswerer::accept()});
    PolygonSelector selector;
    QVERIFY(!selector.load(broken, scan));
    QVERIFY(!selector.load(directory.filePath("far.shp"), scan));
    QVERIFY(selector.load(directory.filePath("parcels.shp"), scan));
    scan.CRS = CCRSIdentifier(32633);
    QVERIFY(selector.load(directory.filePath("parcels.shp"), scan));
    QCOMPARE(
        answerer.shown(true),
        (QStringList{
            "QProgressDialog",
            "Kartopress: Cannot open \"" + broken + "\": `" + broken + "' not recognized as a supported file format.",
            "QProgressDialog", "Kartopress: None of the input datasets intersect with the polygons in the shapefile.",
            "QProgressDialog",
            "Kartopress: Input dataset(s) and shape file may be in different spatial reference systems.",
            "QProgressDialog"}));

    auto* view = selector.findChild<QTableView*>(QStringLiteral("tableView"));
    selector.show();
    const auto click = [view](const QList<int>& rows) {
        for (int row : rows)
            view->scrollTo(view->model()->index(row, 0)),
                QTest::mouseClick(view->viewport(), Qt::LeftButton, {},
                                  view->visualRect(view->model()->index(row, 0)).center());
    };
    const auto state = [view, &selector] {
        QStringList rows{selector.findChild<QLabel*>(QStringLiteral("infoLabel"))->text()}, chosen;
        for (int row = 0; row < view->model()->rowCount(); ++row)
            for (int column = 0; column < 5; ++column)
                rows << view->model()->index(row, column).data().toString();
        for (const auto& polygon : selector.selectedPolygons())
            chosen << QString::number(polygon->FeatureId);
        return rows.join(' ') + " | chosen " + chosen.join(' ');
    };
    view->sortByColumn(0, Qt::DescendingOrder);
    click({0, 2});  // single: the second click replaces the first
    QCOMPARE(state().section(" | ", 1), "chosen 9");
    selector.setMultiSelect(true);
    view->sortByColumn(2, Qt::DescendingOrder);
    click({8, 0, 4});  // added to the standing one; sorting by name and by rank, records follow their rows
    QCOMPARE(state().section(" | ", 1), "chosen 7 9 11 10");
    view->sortByColumn(4, Qt::DescendingOrder);
    QCOMPARE(
        state(),
        "11 polygon records intersect the input datasets. 4 polygons selected. 0 0 a 0.2346 100 1 1 f 1.2346 93 2 2 k 2.2346 86 4 1 i 4.2346 72 "
        "5 2 b 5.2346 65 6 0 g 6.2346 58 7 1 l 7.2346 51 8 2 e 8.2346 44 9 0 j 9.2346 37 10 1 c 10.2346 30 11 2 h 11.2346 23 | chosen 7 9 10 11");
}

QTEST_MAIN(TestPolygonSelector)
#include "tst_polygonselector.moc"
