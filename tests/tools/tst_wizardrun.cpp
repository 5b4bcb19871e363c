#include <QTableWidget>
#include <QThreadPool>
#include <QtTest>
#include <QtWidgets>

#include "app/kartopress.h"
#include "compression/compressiontask.h"
#include "tests/dataset/fixtures.h"
#include "tests/support/modalanswerer.h"
#include "tests/support/settingssandbox.h"
#include "tests/tools/toolfixtures.h"
#include "wizard/imagecompressor.h"
#include "wizard/polygonselector.h"

using namespace ToolFixtures;
using TSR::ImageCompressor::API::ImageCompressor;

namespace {

// Selects the polygon dialog's first row the moment it shows, before the answerer accepts it.
class PolygonPicker : public QObject
{
public:
    PolygonPicker() { qApp->installEventFilter(this); }
    bool eventFilter(QObject* watched, QEvent* event) override
    {
        if (event->type() == QEvent::Show && qobject_cast<PolygonSelector*>(watched))
            watched->findChild<QTableView*>(QStringLiteral("tableView"))->selectRow(0);
        return false;
    }
};

}  // namespace

// A job built by the compression wizard, run by the main window's queue through the real tool.
class TestWizardRun : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase() { useBuiltTools(); }
    void cutToAPolygon_data();
    void cutToAPolygon();
};

void TestWizardRun::cutToAPolygon_data()
{
    QTest::addColumn<int>("mode");
    QTest::addColumn<int>("modals");  // progress dialogs and the polygon dialog on the way to the summary
    QTest::addColumn<bool>("cut");
    // JPEG 2000 takes the line method, which has no null blocks: in mosaic mode the output keeps
    // the polygon's box and leaves opacity to the source; every output of mosaic to many is cut.
    QTest::newRow("mosaic") << int(ImageCompressor::MosaicMode) << 6 << false;
    QTest::newRow("mosaic to many") << int(ImageCompressor::MosaicToManyMode) << 3 << true;
}

// Two tiles of 32 x 32 cells of 10 m side by side, the west of 100 and the east of 200, and an L of
// 32 x 16 cells across their seam whose top right quarter is cut away.
void TestWizardRun::cutToAPolygon()
{
    QFETCH(int, mode);
    QFETCH(int, modals);
    QFETCH(bool, cut);
    SettingsSandbox sandbox;
    Kartopress::systemTrayAvailable = [] { return false; };
    QTemporaryDir dir;
    const QStringList tiles{dir.filePath("west.tif"), dir.filePath("east.tif")};
    writeRaster(tiles[0], 32, 32, 1, 500000.0, 5600000.0, 10.0, [](int, int, int) { return 100; });
    writeRaster(tiles[1], 32, 32, 1, 500320.0, 5600000.0, 10.0, [](int, int, int) { return 200; });
    QVERIFY(fixtures::makeShapefile(dir.filePath("lots.shp"), 32633, 32633, {},
                                    {{"POLYGON((500160 5599920,500320 5599920,500320 5599840,"
                                      "500480 5599840,500480 5599760,500160 5599760,500160 5599920))",
                                      {}}}));

    ImageCompressor wizard{CompressionLicense{}};
    wizard.show();
    wizard.findChild<QButtonGroup*>("compressionModeGroup")->button(mode)->click();
    wizard.next();
    ModalAnswerer answerer(QVector<ModalAnswerer::Answer>(modals, ModalAnswerer::accept()).toList());
    wizard.addFiles(tiles);
    wizard.findChild<QComboBox*>("fileFormat")->setCurrentText("JPEG 2000");
    wizard.findChild<QLineEdit*>("outputDirLineEdit")->setText(dir.path());
    wizard.findChild<QLineEdit*>("outputFilenameTemplateTextEdit")->setText("lots.jp2");
    wizard.findChild<QLineEdit*>("Gui/ShapeFileName")->setText(dir.filePath("lots.shp"));
    PolygonPicker picker;
    wizard.findChild<QToolButton*>("choosePolygonButton")->click();
    wizard.findChild<QAbstractButton*>("opacityShapefileRadio")->click();
    wizard.findChild<QSpinBox*>("targetRate")->setValue(1);  // lossless, so cells compare exactly
    for (int page = ImageCompressor::InputPage; page < ImageCompressor::FinishPage; ++page)
        wizard.next();
    QCOMPARE(wizard.currentId(), int(ImageCompressor::FinishPage));
    QVERIFY2(answerer.done(), qPrintable(answerer.report()));
    QCOMPARE(wizard.jobs().size(), 1);

    wizard.accept();
    Kartopress window;
    window.addTasks({wizard.jobs().first()});
    ModalAnswerer endOfRun({ModalAnswerer::button(QMessageBox::Ok)});
    window.start();
    auto* table = window.findChild<QTableWidget*>(QStringLiteral("NAME_TASK_INPUT_LIST"));
    QTRY_COMPARE_WITH_TIMEOUT(table->item(0, 3)->text(), QStringLiteral("Succeeded"), 120000);
    QTRY_VERIFY2(endOfRun.done(), qPrintable(endOfRun.report()));
    QThreadPool::globalInstance()->waitForDone();

    const QString output = dir.filePath(table->item(0, 1)->text());
    QCOMPARE(describe(output), QStringLiteral("32x16x%1 at (500160.0, 5599920.0) cell 10 EPSG:32633").arg(cut ? 2 : 1));
    QVector<int> grey, alpha;
    for (int y = 0; y < 16; ++y) {
        for (int x = 0; x < 32; ++x) {
            const bool inside = !cut || x < 16 || y >= 8;
            alpha << (inside ? 255 : 0);
            grey << (!inside ? 0 : x < 16 ? 100 : 200);
        }
    }
    QCOMPARE(readBand(output, 2), cut ? alpha : QVector<int>());
    QCOMPARE(readBand(output, 1), grey);
}

QTEST_MAIN(TestWizardRun)
#include "tst_wizardrun.moc"
