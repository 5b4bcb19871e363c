#include <QtTest>

#include <QtWidgets>

#include "compression/compressiontask.h"
#include "core/formatbytes.h"
#include "core/settings.h"
#include "core/platform.h"
#include "tests/dataset/fixtures.h"
#include "tests/support/modalanswerer.h"
#include "tests/support/settingssandbox.h"
#include "wizard/imagecompressor.h"
#include "wizard/polygonselector.h"

using TSR::ImageCompressor::API::ImageCompressor;
using Answer = ModalAnswerer::Answer;

namespace {

const Answer progress = ModalAnswerer::accept();
const Answer ok = ModalAnswerer::button(QMessageBox::Ok);
const int batch = ImageCompressor::BatchMode, mosaic = ImageCompressor::MosaicMode,
          many = ImageCompressor::MosaicToManyMode, update = ImageCompressor::UpdateMode;

// Selects the rows of the given feature ids in the polygon dialog the moment it shows, before the
// answerer accepts it.
class RowPicker : public QObject
{
public:
    explicit RowPicker(QList<int> ids)
        : ids(std::move(ids))
    {
        qApp->installEventFilter(this);
    }
    bool eventFilter(QObject* watched, QEvent* event) override
    {
        if (event->type() == QEvent::Show && qobject_cast<PolygonSelector*>(watched)) {
            auto* table = watched->findChild<QTableView*>(QStringLiteral("tableView"));
            for (int row = 0; row < table->model()->rowCount(); ++row) {
                if (ids.contains(table->model()->index(row, 0).data().toInt()))
                    table->selectionModel()->select(table->model()->index(row, 0),
                                                    QItemSelectionModel::Select | QItemSelectionModel::Rows);
            }
        }
        return false;
    }
    QList<int> ids;
};

QString point(const QPointF& p)
{
    return QStringLiteral("(%1,%2)").arg(p.x()).arg(p.y());
}

}  // namespace

class TestWizardJobs : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase();
    void init() { sandbox = std::make_unique<SettingsSandbox>(); }
    void modes_data();
    void modes();
    void allOptionsReachTheJob();
    void pageChecks_data();
    void pageChecks();
    void updatedRegionThreshold();
    void polygonChoice_data();
    void polygonChoice();
    void optionsPagePasses_data();
    void optionsPagePasses();
    void resizeGroup_data();
    void resizeGroup();

private:
    std::unique_ptr<ImageCompressor> openWizard(int mode, const QStringList& inputs);
    QString file(const QString& name) const { return dir.filePath(name); }
    template <typename T> T* child(ImageCompressor& wizard, const char* name)
    {
        return wizard.findChild<T*>(QLatin1String(name));
    }

    QTemporaryDir dir;
    std::unique_ptr<SettingsSandbox> sandbox;
};

void TestWizardJobs::initTestCase()
{
    QVERIFY(dir.isValid());
    const fixtures::Reference utm{"EPSG:32633"};
    // a covers x 500000-500160, b 500160-500320; both y 5599840-5600000.
    QVERIFY(fixtures::makeTile(file("a.tif"), utm, 500000, 5600000, 10, 16, 16));
    QVERIFY(fixtures::makeTile(file("b.tif"), utm, 500160, 5600000, 10, 16, 16));
    QVERIFY(fixtures::makeTile(file("far.tif"), utm, 700000, 5600000, 10, 16, 16));
    QVERIFY(fixtures::makeTile(file("target.wvc"), utm, 500000, 5600000, 10, 32, 16));
    QVERIFY(QDir(dir.path()).mkpath("out"));
    auto box = [](int x0, int y0, int x1, int y1, const char* hole = "") {
        return QStringLiteral("POLYGON((%1 %2,%3 %2,%3 %4,%1 %4,%1 %2)%5)")
            .arg(x0)
            .arg(y0)
            .arg(x1)
            .arg(y1)
            .arg(hole)
            .toStdString();
    };
    // 0 inside a with a hole, 1 partly on b, 2 clear of both, 3 and 4 only touch an edge, 5 across both.
    QVERIFY(fixtures::makeShapefile(
        file("zones.shp"), 32633, 32633, {{"name", OFTString}, {"share", OFTReal}, {"code", OFTInteger}},
        {{box(500020, 5599860, 500100, 5599940, ",(500040 5599880,500060 5599880,500060 5599900,500040 5599880)"),
          {"inner", "0.25", "7"}},
         {box(500280, 5599900, 500400, 5599980), {"east", "1.5", "8"}},
         {box(600000, 5599900, 600100, 5599980), {"far", "2", "9"}},
         {box(499900, 5599900, 500000, 5599980), {"west edge", "3", "10"}},
         {box(500200, 5599800, 500300, 5599840), {"south edge", "4", "11"}},
         {box(500140, 5599880, 500180, 5599960), {"across", "5", "12"}}}));
}

std::unique_ptr<ImageCompressor> TestWizardJobs::openWizard(int mode, const QStringList& inputs)
{
    auto wizard = std::make_unique<ImageCompressor>(CompressionLicense{});
    wizard->show();
    child<QButtonGroup>(*wizard, "compressionModeGroup")->button(mode)->click();
    wizard->next();
    ModalAnswerer answerer(mode == mosaic ? QList<Answer>{progress, progress} : QList<Answer>{progress});
    wizard->addFiles(QStringList(inputs).replaceInStrings(QRegularExpression("^"), dir.path() + '/'));
    child<QLineEdit>(*wizard, "outputDirLineEdit")->setText(file("out"));
    child<QLineEdit>(*wizard, "outputFilenameTemplateTextEdit")->setText(QStringLiteral("$(FILENAME).$(SRCEXT).wvc"));
    return wizard;
}

void TestWizardJobs::modes_data()
{
    QTest::addColumn<int>("mode");
    QTest::addColumn<QStringList>("inputs");
    QTest::addColumn<QList<int>>("polygons");
    QTest::addColumn<QString>("field");
    QTest::addColumn<QStringList>("jobs");
    QTest::addColumn<QStringList>("summary");
    QTest::addColumn<QStringList>("warnings");
    const QString out = dir.filePath("out/"), a = dir.filePath("a.tif"), b = dir.filePath("b.tif");
    const QString nan = QStringLiteral("(nan,nan)");
    const QStringList head{"Compression Type: %1", "Input No Data Value: none",     "Format: WVC v3",
                           "Color Space: Auto",    "Bit Depth: from input dataset", "Target Ratio: 20",
                           "Method: Tile"};
    const QStringList names{"Output Directory or Template: " + dir.filePath("out"),
                            "Output Filename or Template: $(FILENAME).$(SRCEXT).wvc",
                            "Temp Directory: " + QDir::tempPath()};
    const QString memory = "Memory: Using " + formatBytes(Platform::totalPhysicalMemory() / 4) + " of maximum memory "
        + formatBytes(Platform::totalPhysicalMemory());
    auto summary = [&](const QString& mode, QStringList lines) {
        QStringList all = head;
        all[0] = all[0].arg(mode);
        return all + lines + QStringList{"Background Color: Enabled and using min band value", memory};
    };

    QTest::newRow("batch, polygon meets one of two")
        << batch << QStringList{"a.tif", "b.tif"} << QList<int>{0} << ""
        << QStringList{a + " -> " + out + "a.tif.wvc log " + out
                           + "a.tif.log (500020,5.59994e+06) (500100,5.59986e+06) zones 0 op 0",
                       b + " -> " + out + "b.tif.wvc log " + out + "b.tif.log " + nan + " " + nan + " zones 0 op 0"}
        << summary("batch mode",
                   QStringList{"Input Files: ", "    " + a + " --> " + out + "a.tif.wvc",
                               "    " + b + " --> " + out + "b.tif.wvc"}
                       + names + QStringList{"Opacity: copy from source"})
        << QStringList();
    QTest::newRow("mosaic, polygon partly on the data")
        << mosaic << QStringList{"b.tif"} << QList<int>{1} << ""
        << QStringList{b + " -> " + out + "b.tif.wvc log " + out
                       + "b.tif.log (500280,5.59998e+06) (500320,5.5999e+06) zones 1 op 0"}
        << summary("mosaic mode",
                   QStringList{"Input Files: ", "    " + b + " --> " + out + "b.tif.wvc"} + names
                       + QStringList{"Project Size: 3.2e-08 gigapixels", "Opacity: copy from source"})
        << QStringList();
    const QString one = out + "xacross.wvc", two = out + "xinner.wvc", three = out + "xeast.wvc";
    QTest::newRow("mosaic to many, five polygons, two meet nothing")
        << many << QStringList{"a.tif", "b.tif"} << QList<int>{0, 1, 3, 4, 5} << "name"
        << QStringList{a + " -> " + two + " log " + out
                           + "xinner.log (500020,5.59994e+06) (500100,5.59986e+06) zones 0,1,3,4,5 op 2",
                       b + " -> " + three + " log " + out
                           + "xeast.log (500280,5.59998e+06) (500320,5.5999e+06) zones 0,1,3,4,5 op 2",
                       a + ";" + b + " -> " + one + " log " + out
                           + "xacross.log (500140,5.59996e+06) (500180,5.59988e+06) zones 0,1,3,4,5 op 2"}
        << summary(
               "mosaic to many mode",
               QStringList{"Input Files: ", "    " + a + " --> " + two, "    " + b + " --> " + three,
                           "    " + out + "xacross.xml --> " + one}
                   + QStringList{names[0], "Output Filename or Template: x.wvc", names[2],
                                 "WARNING: the polygon FID 3 - Attribute name: west edge does not intersect the selected dataset(s)",
                                 "WARNING: the polygon FID 4 - Attribute name: south edge does not intersect the selected dataset(s)",
                                 "Opacity: copy from source"})
        << QStringList();
    QTest::newRow("update, half of the file")
        << update << QStringList{"a.tif"} << QList<int>{} << ""
        << QStringList{a + " -> " + file("target.wvc") + " log " + file("target.log") + " " + nan + " " + nan
                       + "   op 0"}
        << summary(
               "update mode",
               QStringList{
                   "Updated Area: 50.00 %",
                   "WARNING: The updated area (i.e 50.00 %) is bigger than the threshold: 40.0 %. Region update may not be efficient.",
                   "Input Files: ", "    " + a + " --> " + file("target.wvc"),
                   "Output file to update: " + file("target.wvc"), "Temp Directory: " + QDir::tempPath(),
                   "Opacity: copy from source"})
        << QStringList{
               "Kartopress: The updated area (i.e 50.00 %) is bigger than the threshold: 40.0 %. Region update may not be efficient.\n"};
}

// Each mode walked from the input list to the summary: the jobs built and the summary text.
void TestWizardJobs::modes()
{
    QFETCH(int, mode);
    QFETCH(QStringList, inputs);
    QFETCH(QList<int>, polygons);
    QFETCH(QString, field);
    QFETCH(QStringList, jobs);
    QFETCH(QStringList, summary);
    QFETCH(QStringList, warnings);
    auto wizard = openWizard(mode, inputs);
    ModalAnswerer answerer;
    if (!polygons.isEmpty()) {
        RowPicker picker(polygons);
        child<QLineEdit>(*wizard, "Gui/ShapeFileName")->setText(file("zones.shp"));
        answerer.expect(progress);
        answerer.expect(ModalAnswerer::accept());
        if (mode == mosaic)
            answerer.expect(progress);
        child<QToolButton>(*wizard, "choosePolygonButton")->click();
        QVERIFY2(answerer.done(), qPrintable(answerer.report()));
        if (!field.isEmpty())
            child<QComboBox>(*wizard, "fieldNamecomboBox")->setCurrentText(field);
        child<QLineEdit>(*wizard, "outputFilenameTemplateTextEdit")
            ->setText(mode == many ? "x.wvc" : "$(FILENAME).$(SRCEXT).wvc");
    }
    if (mode == update)
        child<QLineEdit>(*wizard, "updateFileLineEdit")->setText(file("target.wvc"));
    if (mode == mosaic)
        answerer.expect(progress);
    if (mode == update) {
        answerer.expect(progress);
        answerer.expect(ok);
    }
    for (int page = 2; page < ImageCompressor::FinishPage; ++page)
        wizard->next();
    QCOMPARE(wizard->currentId(), int(ImageCompressor::FinishPage));
    QVERIFY2(answerer.done(), qPrintable(answerer.report()));
    QCOMPARE(answerer.shown(), warnings);
    QStringList built;
    for (CompressionTask* job : wizard->jobs()) {
        built.append(job->files().join(';') + " -> " + job->outputFilename() + " log " + job->logFilename() + " "
                     + point(job->topLeft()) + " " + point(job->bottomRight()) + " " + job->shapeFileLayerName() + " "
                     + job->shapeFileFeatureID() + " op " + QString::number(job->opacity()));
    }
    QCOMPARE(built, jobs);
    QCOMPARE(child<QTextEdit>(*wizard, "summaryTextEdit")->toPlainText().split('\n'), summary + QStringList{""});
}

// One mosaic job with every option away from its default, seen in the job document it writes. A y cell size of 10 and
// of -10 both reach the job as -10.
void TestWizardJobs::allOptionsReachTheJob()
{
    createSettings()->setValue(QStringLiteral("Gui/MetaData/WriteMetadata"), true);
    createSettings()->setValue(QStringLiteral("Gui/MetaData/Author"), QStringLiteral("Field team"));
    for (const QString& y : {QStringLiteral("10"), QStringLiteral("-10")}) {
        auto wizard = openWizard(mosaic, {"a.tif"});
        RowPicker picker({0});
        ModalAnswerer answerer({progress, ModalAnswerer::accept(), progress, progress, progress});
        child<QLineEdit>(*wizard, "Gui/ShapeFileName")->setText(file("zones.shp"));
        child<QToolButton>(*wizard, "choosePolygonButton")->click();
        child<QAbstractButton>(*wizard, "opacityShapefileRadio")->click();
        child<QComboBox>(*wizard, "colorSpace")->setCurrentText("RGB");
        child<QLineEdit>(*wizard, "outputFilenameTemplateTextEdit")->setText("all.wvc");
        wizard->next();
        wizard->next();
        child<QCheckBox>(*wizard, "checkBoxNoData")->setChecked(true);
        child<QSpinBox>(*wizard, "spinBoxNoData")->setValue(5);
        child<QGroupBox>(*wizard, "outputBitDepthOverrideGroup")->setChecked(true);
        child<QSpinBox>(*wizard, "outputBitDepthOverride")->setValue(12);
        child<QComboBox>(*wizard, "outputSignednessOverrideCombo")->setCurrentText("Signed");
        child<QLineEdit>(*wizard, "bandListLineEdit")->setText("0");
        child<QGroupBox>(*wizard, "resizeGroupBox")->setChecked(true);
        child<QLineEdit>(*wizard, "CellSizeXLineEdit")->setText("5");
        child<QLineEdit>(*wizard, "CellSizeYLineEdit")->setText(y);
        wizard->next();
        QVERIFY2(answerer.done(), qPrintable(answerer.report()));
        QCOMPARE(wizard->jobs().size(), 1);
        CompressionTask& job = *wizard->jobs().first();
        const QString out = file("out/all");
        job.arguments();
        QFile document(out + ".xml");
        QVERIFY(document.open(QIODevice::ReadOnly));
        const QString written = QString::fromUtf8(document.readAll()).replace(dir.path(), "$DIR");
        QCOMPARE(written.split('\n'),
                 QString(R"(<?xml version="1.0" encoding="UTF-8"?>
<imagecompressor version="1.2">
    <compresstask operation="create" method="tile" threads="%1" tempdir="%2" logfile="$DIR/out/all.log" memcache="0.25" interactive="false">
        <inputs resample="nearest">
            <file path="$DIR/a.tif" bandlist="0" zindex="0" nodata="5"/>
        </inputs>
        <output version="3" path="$DIR/out/all.wvc" cellsizex="5.00000000" cellsizey="-10.00000000" tlx="500020.00000000" tly="5599940.00000000" brx="500100.00000000" bry="5599860.00000000">
            <region type="shape" name="Shapefile" path="$DIR/zones.shp" layername="zones" layerid="0"/>
            <metadata>
                <item name="author" value="Field team"/>
            </metadata>
            <options>
                <option name="bitdepth" value="12"/>
                <option name="signedness" value="true"/>
                <option name="targetrate" value="20"/>
                <option name="colorspace" value="RGB"/>
                <option name="genstats" value="true"/>
                <option name="opacity" value="2"/>
                <option name="nullvalue" value="min"/>
            </options>
        </output>
    </compresstask>
</imagecompressor>
)")
                     .arg(QThread::idealThreadCount())
                     .arg(QDir::tempPath())
                     .split('\n'));
        document.remove();
    }
}

void TestWizardJobs::pageChecks_data()
{
    QTest::addColumn<int>("mode");
    QTest::addColumn<QStringList>("inputs");
    QTest::addColumn<int>("page");
    QTest::addColumn<QStringList>("settings");
    QTest::addColumn<QStringList>("shown");
    QTest::addColumn<int>("after");
    const QStringList two{"a.tif", "b.tif"};
    const QString k = "Kartopress: ";
    QTest::newRow("no input") << batch << QStringList() << 2 << QStringList()
                              << QStringList{k + "You must select at least one image to compress."} << 2;
    QTest::newRow("no EPSG, cancelled")
        << mosaic << two << 2 << QStringList{"EPSGLineEdit="}
        << QStringList{k
                       + "Automatic lookup to EPSG code failed.\nEPSG codes support georeferencing interoperability across software products.\nPress Cancel to define EPSG manually or OK to proceed."}
        << 2;
    QTest::newRow("shapefile opacity, no feature")
        << batch << two << 2 << QStringList{"opacityShapefileRadio=1"}
        << QStringList{k + "You must select a shapefile, layer and feature ID to use polygons."} << 2;
    QTest::newRow("shapefile missing") << batch << two << 2
                                       << QStringList{"Gui/ShapeFileName=" + file("none.shp"),
                                                      "shapeLayerNameClipLineEdit=none", "shapeLayerIDClipLineEdit=0",
                                                      "opacityShapefileRadio=1"}
                                       << QStringList{k + "Shapefile does not exist."} << 2;
    QTest::newRow("source dir in the name")
        << batch << two << 3 << QStringList{"outputFilenameTemplateTextEdit=$(SOURCEDIR).wvc"}
        << QStringList{k
                       + "$(SOURCEDIR) variable can only be used for the Output Directory template, not as part of the Filename template."}
        << 3;
    QTest::newRow("mosaic of two names by file")
        << mosaic << two << 3 << QStringList()
        << QStringList{k
                       + "$(FILENAME) and $(SRCEXT) variables are ambiguous in mosaic mode and cannot be used in the output template."}
        << 3;
    QTest::newRow("clash")
        << batch << two << 3 << QStringList{"outputFilenameTemplateTextEdit=x.wvc"}
        << QStringList{k
                       + "There are output filename clashes for multiple files. Select a different output filename template that makes the files unique to continue."}
        << 3;
    QTest::newRow("exists")
        << batch << two << 3 << QStringList{"outputDirLineEdit=" + dir.path()}
        << QStringList{k
                       + "One or more of the output files already exists. Select a different destination directory or change the output filename template to continue."}
        << 3;
    QTest::newRow("refused character")
        << batch << two << 3 << QStringList{"outputFilenameTemplateTextEdit=$(FILENAME)?.wvc"}
        << QStringList{k + "One or more of the output filenames contain an invalid character."} << 3;
    QTest::newRow("no directory") << batch << two << 3 << QStringList{"outputDirLineEdit=" + file("missing")}
                                  << QStringList{k + "Output path (" + file("missing") + ") does not exist."} << 3;
    QTest::newRow("tile for JPEG 2000")
        << batch << two << 3 << QStringList{"fileFormat=JPEG 2000", "method=Tile"}
        << QStringList{k + "The 'Tile' compression method is only available for WVC output."} << 3;
    QTest::newRow("update file in capitals")
        << update << two << 3 << QStringList{"updateFileLineEdit=" + file("TARGET.WVC")}
        << QStringList{k + "The output file must exist and be an WVC version 3 file."} << 3;
    QTest::newRow("no temp dir") << batch << two << 3 << QStringList{"tempDirEdit=" + file("missing")}
                                 << QStringList{k + "Temporary directory does not exist."} << 3;
    QTest::newRow("empty temp dir in update")
        << update << two << 3 << QStringList{"updateFileLineEdit=" + file("target.wvc"), "tempDirEdit2="}
        << QStringList{k + "Temporary directory does not exist."} << 3;
    const QString bands = "Error: Invalid band list, must be of the format '0,1,2'.";
    for (const QString list : {"0,1,2", "1,1,1", "999", "0,,2", "0,1,", "-1"}) {
        const bool good = list.at(0) != '-' && !list.contains(",,") && !list.endsWith(',');
        QTest::newRow(qPrintable("bands " + list)) << batch << two << 3 << QStringList{"bandListLineEdit=" + list}
                                                   << (good ? QStringList() : QStringList{bands}) << (good ? 4 : 3);
    }
    QTest::newRow("no data on compressed input")
        << batch << QStringList{"target.wvc"} << 4 << QStringList{"checkBoxNoData=1"}
        << QStringList{k + "No-data value cannot be set for input images in WVC or JP2 lossy/compressed format."} << 4;
    QTest::newRow("zero x cell size")
        << batch << two << 4 << QStringList{"resizeGroupBox=1", "CellSizeXLineEdit=0", "CellSizeYLineEdit=5"}
        << QStringList{"Resize Output Image: The output cell size must be greater than 0.0."} << 4;
    QTest::newRow("zero y cell size is not looked at")
        << batch << two << 4 << QStringList{"resizeGroupBox=1", "CellSizeXLineEdit=5", "CellSizeYLineEdit=0"}
        << QStringList() << 5;
}

// The first failing check of a page, with its text, keeps the user there.
void TestWizardJobs::pageChecks()
{
    QFETCH(int, mode);
    QFETCH(QStringList, inputs);
    QFETCH(int, page);
    QFETCH(QStringList, settings);
    QFETCH(QStringList, shown);
    QFETCH(int, after);
    QVERIFY(QFile(file("a.tif.wvc")).open(QIODevice::WriteOnly));
    auto wizard = openWizard(mode, inputs);
    if (mode == update)
        child<QLineEdit>(*wizard, "updateFileLineEdit")->setText(file("target.wvc"));
    while (wizard->currentId() < page)
        wizard->next();
    ModalAnswerer answerer;
    for (int i = 0; i < shown.size(); ++i)
        answerer.expect(mode == mosaic && page == 2 ? ModalAnswerer::button(QMessageBox::Cancel) : ok);
    for (const QString& setting : settings) {
        const QString name = setting.section('=', 0, 0), value = setting.section('=', 1);
        QObject* widget = wizard->findChild<QObject*>(name);
        QVERIFY2(widget, qPrintable(name));
        if (auto* edit = qobject_cast<QLineEdit*>(widget))
            edit->setText(value);
        else if (auto* combo = qobject_cast<QComboBox*>(widget))
            combo->setCurrentText(value);
        else
            widget->setProperty("checked", value == "1");
    }
    wizard->next();
    QVERIFY2(answerer.done(), qPrintable(answerer.report()));
    QCOMPARE(answerer.shown(), shown);
    QCOMPARE(wizard->currentId(), after);
}

// 0.4 itself does not warn; anything above does, and nothing covered at all has its own text.
void TestWizardJobs::updatedRegionThreshold()
{
    QCOMPARE(ImageCompressor::updatedRegionWarning(0.4), QString());
    QCOMPARE(
        ImageCompressor::updatedRegionWarning(0.4001),
        QStringLiteral(
            "The updated area (i.e 40.01 %) is bigger than the threshold: 40.0 %. Region update may not be efficient.\n"));
    QCOMPARE(ImageCompressor::updatedRegionWarning(0.0),
             QStringLiteral("The region of input file(s) do not intersect with the region of output file.\n"));
}

void TestWizardJobs::polygonChoice_data()
{
    QTest::addColumn<int>("mode");
    QTest::addColumn<QStringList>("inputs");
    QTest::addColumn<QList<int>>("picked");
    QTest::addColumn<QString>("change");
    // Every box shown, then the feature ids, the description, whether its icon shows, and the page.
    QTest::addColumn<QStringList>("expected");
    const QString jobs = " output job(s), one for each polygon that intersects the selected dataset(s).",
                  k = "Kartopress: ";
    const QString missing = k
        + "The input datasets does not intersect with one of the polygon(s). Please reselect your polygon(s).",
                  choose = "Select Polygon: Select an input shape file before selecting ";
    const QStringList dropped{"", "", "0", "2"};
    QTest::newRow("no shapefile") << batch << QStringList{"a.tif"} << QList<int>() << ""
                                  << QStringList{choose + "one polygon."} + dropped;
    QTest::newRow("no shapefile, mosaic to many")
        << many << QStringList{"a.tif"} << QList<int>() << "" << QStringList{choose + "polygons."} + dropped;
    QTest::newRow("two in batch, then a dataset added")
        << batch << QStringList{"a.tif"} << QList<int>{0, 5} << "+b.tif"
        << QStringList{"Select Polygon: Only one polygon can be selected to determine opacity channel.",
                       k + "In Batch or Mosaic mode, you must select one polygon."}
            + dropped;
    QTest::newRow("the dataset left meets no polygon")
        << batch << QStringList{"a.tif", "far.tif"} << QList<int>{0} << "-a.tif"
        << QStringList{k
                       + "None of the input datasets intersect with the polygons in the shapefile. Please reselect your polygons."}
            + dropped;
    QTest::newRow("many, a removal drops the whole choice")
        << many << QStringList{"a.tif", "b.tif"} << QList<int>{0, 1} << "-b.tif" << QStringList{missing} + dropped;
    QTest::newRow("many, a dataset added keeps the choice")
        << many << QStringList{"a.tif"} << QList<int>{0, 3, 5} << "+b.tif"
        << QStringList{"0,3,5", "You have selected 3 polygon(s). There will be 2" + jobs, "1", "2"};
    QTest::newRow("many, two polygons need a field name")
        << many << QStringList{"a.tif"} << QList<int>{0, 5} << "next"
        << QStringList{"Output file Name: Please select a field name to avoid output filename collision.", "0,5",
                       "2 polygon(s) selected. There will be 2" + jobs, "1", "2"};
    QTest::newRow("many, one polygon needs none")
        << many << QStringList{"a.tif"} << QList<int>{3} << "next"
        << QStringList{"3", "1 polygon(s) selected. There will be 0" + jobs, "1", "3"};
}

void TestWizardJobs::polygonChoice()
{
    QFETCH(int, mode);
    QFETCH(QStringList, inputs);
    QFETCH(QList<int>, picked);
    QFETCH(QString, change);
    auto wizard = openWizard(mode, inputs);
    ModalAnswerer answerer(QVector<Answer>(8, ModalAnswerer::accept()).toList());
    RowPicker picker(picked);
    child<QLineEdit>(*wizard, "Gui/ShapeFileName")->setText(picked.isEmpty() ? QString() : file("zones.shp"));
    child<QToolButton>(*wizard, "choosePolygonButton")->click();
    if (change.startsWith('-'))
        child<QListWidget>(*wizard, "Gui/FileInputList")
            ->findItems(file(change.mid(1)), Qt::MatchExactly)
            .first()
            ->setSelected(true);
    if (change == "next")
        wizard->next();
    else if (change.startsWith('+'))
        wizard->addFiles({file(change.mid(1))});
    else if (change.startsWith('-'))
        wizard->removeSelectedDatasets();
    QTEST((answerer.shown()
           + QStringList{child<QLineEdit>(*wizard, "shapeLayerIDClipLineEdit")->text(),
                         child<QLabel>(*wizard, "clipToPolygonDescriptionLabel")->text(),
                         QString::number(!child<QLabel>(*wizard, "cliptoPolygonIconLabel")->isHidden()),
                         QString::number(wizard->currentId())}),
          "expected");
}

void TestWizardJobs::optionsPagePasses_data()
{
    // Each pass: "format/method/button" on the options page, "/answer" for a dialog, then on to the summary.
    QTest::addColumn<QStringList>("passes");
    // After each pass: both opacities, background colour enabled, shapefile tool tip, metadata and JPEG 2000 options.
    QTest::addColumn<QStringList>("expected");
    const QString line = "0 0 0 Null blocks are not supported by the line compressor method|";
    const QString stored =
        R"({"acquisitionsensorname":"","acquistiondate":"","address":"","author":"","classification":"","company":"","copyright":"","email":"","telephone":""})";
    QTest::newRow("line gives up shapefile opacity")
        << QStringList{"WVC v3/Line/opacityShapefileRadio"} << QStringList{line + stored};
    QTest::newRow("WVC v2 tile, then WVC v3 tile")
        << QStringList{"WVC v2/Tile/opacityShapefileRadio", "WVC v3/Tile/opacityShapefileRadio"}
        << QStringList{"2 2 0 Null blocks are only supported by WVC v3.|{}", "2 2 1 |" + stored};
    QTest::newRow("a refused metadata dialog keeps the metadata")
        << QStringList{"WVC v3/Tile/metaDataButton/reject", "WVC v3/Tile/metaDataButton/accept"}
        << QStringList{"0 0 1 |" + stored, "0 0 1 |{}"};
    QTest::newRow("a refused JPEG 2000 dialog empties the options")
        << QStringList{"JPEG 2000/Line/jp2OptionsButton/accept", "JPEG 2000/Line/jp2OptionsButton/reject"}
        << QStringList{line + R"({"jp2georef":"gml,geojp2"})", line + "{}"};
}

void TestWizardJobs::optionsPagePasses()
{
    QFETCH(QStringList, passes);
    createSettings()->setValue(QStringLiteral("Gui/MetaData/WriteMetadata"), true);
    auto wizard = openWizard(batch, {"a.tif"});
    wizard->next();
    QStringList found;
    for (const QString& pass : passes) {
        child<QComboBox>(*wizard, "method")->setCurrentText(pass.section('/', 1, 1));
        child<QComboBox>(*wizard, "fileFormat")->setCurrentText(pass.section('/', 0, 0));
        ModalAnswerer answerer(pass.count('/') < 3 ? QList<Answer>()
                                                   : QList<Answer>{pass.endsWith("accept") ? ModalAnswerer::accept()
                                                                                           : ModalAnswerer::reject()});
        child<QAbstractButton>(*wizard, qPrintable(pass.section('/', 2, 2)))->click();
        wizard->next();
        wizard->next();
        QVERIFY2(answerer.done(), qPrintable(answerer.report()));
        const CompressionTask& job = *wizard->jobs().first();
        QVariantHash options = job.jp2EncodeOptions();
        for (const QString& key : job.metaData().keys())
            options.insert(key, job.metaData().value(key));
        found << QStringLiteral("%1 %2 %3 %4|")
                     .arg(child<QButtonGroup>(*wizard, "opacityButtonGroup")->checkedId())
                     .arg(job.opacity())
                     .arg(child<QGroupBox>(*wizard, "nullBackgroundColorGroup")->isEnabled())
                     .arg(child<QGroupBox>(*wizard, "shapeFileGroupBox")->toolTip())
                + QJsonDocument(QJsonObject::fromVariantHash(options)).toJson(QJsonDocument::Compact);
        wizard->back();
        wizard->back();
    }
    QTEST(found, "expected");
}

void TestWizardJobs::resizeGroup_data()
{
    QTest::addColumn<int>("mode");
    // A button clicked, "field=text" typed, a field given Return (which must not also move on), or Next.
    QTest::addColumn<QStringList>("steps");
    // On arrival and after each step "x y|size|width height|page", then every box shown.
    QTest::addColumn<QStringList>("expected");
    const QString native = "10.0000000000 10.0000000000|5.12e-07|32 px 16 px|4", x = "CellSizeXLineEdit",
                  y = "CellSizeYLineEdit=";
    const QString calculate = "calculateSizeBtn", aspect = "maintainAspectCheckBox",
                  one = "1.0000000000 1.0000000000| | |4";
    QTest::newRow("mosaic") << mosaic << QStringList{"resizeGroupBox",
                                                     x + "=5",
                                                     calculate,
                                                     aspect,
                                                     x + "=20",
                                                     calculate,
                                                     "calcNativeCellSizeButton",
                                                     aspect,
                                                     y + "0",
                                                     calculate,
                                                     x + "=0.1",
                                                     x,
                                                     "next"}
                            << QStringList{" |5.12e-07|32 px 16 px|4",
                                           native,
                                           "5 5| | |4",
                                           "5 5| 2.048e-06|64 px 32 px|4",
                                           "5 5| 2.048e-06|64 px 32 px|4",
                                           "20 5| | |4",
                                           "20 5| 5.12e-07|16 px 32 px|4",
                                           native,
                                           native,
                                           "0 0| | |4",
                                           "0 0| | |4",
                                           "0.1 0.1| | |4",
                                           "0.1 0.1| 0.01|3,200 px 1,600 px|4",
                                           "0.1 0.1| 0.01|3,200 px 1,600 px|5"};
    const QString refused =
        "Cell Size: Cannot calculate a default cell size in batch mode for multiple files. Specifying a cell size will affect all output files.";
    QTest::newRow("batch of two") << batch << QStringList{"resizeGroupBox", "calcNativeCellSizeButton"}
                                  << QStringList{" || |4", one, one, refused};
}

void TestWizardJobs::resizeGroup()
{
    QFETCH(int, mode);
    QFETCH(QStringList, steps);
    QLocale::setDefault(QLocale(QLocale::English, QLocale::UnitedStates));
    auto wizard = openWizard(mode, {"a.tif", "b.tif"});
    child<QLineEdit>(*wizard, "outputFilenameTemplateTextEdit")->setText(mode == mosaic ? "m.wvc" : "$(FILENAME).wvc");
    ModalAnswerer answerer(QVector<Answer>(8, ModalAnswerer::accept()).toList());
    auto text = [&wizard](const char* name) { return wizard->findChild<QWidget*>(name)->property("text").toString(); };
    QStringList found;
    for (const QString& step : QStringList{"next", "next"} + steps) {
        QWidget* target = wizard->findChild<QWidget*>(step.section('=', 0, 0));
        if (auto* edit = qobject_cast<QLineEdit*>(target))
            edit->selectAll();
        if (step == "next")
            wizard->next();
        else if (auto* button = qobject_cast<QAbstractButton*>(target))
            button->click();
        else if (!step.contains('='))
            QTest::keyClick(target, qobject_cast<QGroupBox*>(target) ? Qt::Key_Space : Qt::Key_Return);
        else
            QTest::keyClicks(target, step.section('=', 1));
        found << text("CellSizeXLineEdit") + ' ' + text("CellSizeYLineEdit") + '|' + text("SizeTextLabel") + '|'
                + text("WidthLabel") + ' ' + text("HeightLabel") + '|' + QString::number(wizard->currentId());
    }
    QTEST(found.mid(1) + answerer.shown(), "expected");
}

QTEST_MAIN(TestWizardJobs)
#include "tst_wizardjobs.moc"
