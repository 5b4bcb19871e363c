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

QStringList boxes(const ModalAnswerer& answerer)
{
    QStringList shown;
    for (const ModalRecord& record : answerer.seen()) {
        if (record.className != QLatin1String("QProgressDialog") && record.className != QLatin1String("PolygonSelector"))
            shown.append(record.title + QStringLiteral(": ") + record.text);
    }
    return shown;
}

// Selects the rows of the given feature ids in the polygon dialog the moment it shows, before the
// answerer accepts it.
class RowPicker : public QObject
{
public:
    explicit RowPicker(QList<int> ids) : ids(std::move(ids)) { qApp->installEventFilter(this); }
    bool eventFilter(QObject* watched, QEvent* event) override
    {
        if (event->type() == QEvent::Show && qobject_cast<PolygonSelector*>(watched)) {
            auto* table = watched->findChild<QTableView*>(QStringLiteral("tableView"));
            for (int row = 0; row < table->model()->rowCount(); ++row) {
                if (ids.contains(table->model()->index(row, 0).data().toInt()))
                    table->selectionModel()->select(table->model()->index(row, 0), QItemSelectionModel::Select | QItemSelectionModel::Rows);
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

private:
    std::unique_ptr<ImageCompressor> openWizard(int mode, const QStringList& inputs);
    QString file(const QString& name) const { return dir.filePath(name); }
    template <typename T> T* child(ImageCompressor& wizard, const char* name) { return wizard.findChild<T*>(QLatin1String(name)); }

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
    QVERIFY(fixtures::makeTile(file("target.wvc"), utm, 500000, 5600000, 10, 32, 16));
    QVERIFY(QDir(dir.path()).mkpath("out"));
    auto box = [](int x0, int y0, int x1, int y1, const char* hole = "") {
        return QStringLiteral("POLYGON((%1 %2,%3 %2,%3 %4,%1 %4,%1 %2)%5)").arg(x0).arg(y0).arg(x1).arg(y1).arg(hole).toStdString();
    };
    // 0 inside a with a hole, 1 partly on b, 2 clear of both, 3 and 4 only touch an edge, 5 across both.
    QVERIFY(fixtures::makeShapefile(file("zones.shp"), 32633, 32633,
                                    {{"name", OFTString}, {"share", OFTReal}, {"code", OFTInteger}},
                                    {{box(500020, 5599860, 500100, 5599940, ",(500040 5599880,500060 5599880,500060 5599900,500040 5599880)"), {"inner", "0.25", "7"}},
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
    const QStringList head{"Compression Type: %1", "Input No Data Value: none", "Format: WVC v3", "Color Space: Auto",
                           "Bit Depth: from input dataset", "Target Ratio: 20", "Method: Tile"};
    const QStringList names{"Output Directory or Template: " + dir.filePath("out"),
                            "Output Filename or Template: $(FILENAME).$(SRCEXT).wvc", "Temp Directory: " + QDir::tempPath()};
    const QString memory = "Memory: Using " + formatBytes(Platform::totalPhysicalMemory() / 4) + " of maximum memory "
        + formatBytes(Platform::totalPhysicalMemory());
    auto summary = [&](const QString& mode, QStringList lines) {
        QStringList all = head;
        all[0] = all[0].arg(mode);
        return all + lines + QStringList{"Background Color: Enabled and using min band value", memory};
    };

    QTest::newRow("batch, polygon meets one of two") << batch << QStringList{"a.tif", "b.tif"} << QList<int>{0} << ""
        << QStringList{a + " -> " + out + "a.tif.wvc log " + out + "a.tif.log (500020,5.59994e+06) (500100,5.59986e+06) zones 0 op 0",
                       b + " -> " + out + "b.tif.wvc log " + out + "b.tif.log " + nan + " " + nan + " zones 0 op 0"}
        << summary("batch mode", QStringList{"Input Files: ", "    " + a + " --> " + out + "a.tif.wvc", "    " + b + " --> " + out + "b.tif.wvc"}
                                     + names + QStringList{"Opacity: copy from source"})
        << QStringList();
    QTest::newRow("mosaic, polygon partly on the data") << mosaic << QStringList{"b.tif"} << QList<int>{1} << ""
        << QStringList{b + " -> " + out + "b.tif.wvc log " + out + "b.tif.log (500280,5.59998e+06) (500320,5.5999e+06) zones 1 op 0"}
        << summary("mosaic mode", QStringList{"Input Files: ", "    " + b + " --> " + out + "b.tif.wvc"} + names
                                      + QStringList{"Project Size: 3.2e-08 gigapixels", "Opacity: copy from source"})
        << QStringList();
    const QString one = out + "xacross.wvc", two = out + "xinner.wvc", three = out + "xeast.wvc";
    QTest::newRow("mosaic to many, five polygons, two meet nothing") << many << QStringList{"a.tif", "b.tif"} << QList<int>{0, 1, 3, 4, 5} << "name"
        << QStringList{a + " -> " + two + " log " + out + "xinner.log (500020,5.59994e+06) (500100,5.59986e+06) zones 0,1,3,4,5 op 2",
                       b + " -> " + three + " log " + out + "xeast.log (500280,5.59998e+06) (500320,5.5999e+06) zones 0,1,3,4,5 op 2",
                       a + ";" + b + " -> " + one + " log " + out + "xacross.log (500140,5.59996e+06) (500180,5.59988e+06) zones 0,1,3,4,5 op 2"}
        << summary("mosaic to many mode", QStringList{"Input Files: ", "    " + a + " --> " + two, "    " + b + " --> " + three,
                                              "    " + out + "xacross.xml --> " + one}
                       + QStringList{names[0], "Output Filename or Template: x.wvc", names[2],
                                     "WARNING: the polygon FID 3 - Attribute name: west edge does not intersect the selected dataset(s)",
                                     "WARNING: the polygon FID 4 - Attribute name: south edge does not intersect the selected dataset(s)",
                                     "Opacity: copy from source"})
        << QStringList();
    QTest::newRow("update, half of the file") << update << QStringList{"a.tif"} << QList<int>{} << ""
        << QStringList{a + " -> " + file("target.wvc") + " log " + file("target.log") + " " + nan + " " + nan + "   op 0"}
        << summary("update mode", QStringList{"Updated Area: 50.00 %", "WARNING: The updated area (i.e 50.00 %) is bigger than the threshold: 40.0 %. Region update may not be efficient.",
                                              "Input Files: ", "    " + a + " --> " + file("target.wvc"), "Output file to update: " + file("target.wvc"),
                                              "Temp Directory: " + QDir::tempPath(), "Opacity: copy from source"})
        << QStringList{"Kartopress: The updated area (i.e 50.00 %) is bigger than the threshold: 40.0 %. Region update may not be efficient.\n"};
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
        child<QLineEdit>(*wizard, "outputFilenameTemplateTextEdit")->setText(mode == many ? "x.wvc" : "$(FILENAME).$(SRCEXT).wvc");
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
    QCOMPARE(boxes(answerer), warnings);
    QStringList built;
    for (CompressionTask* job : wizard->jobs()) {
        built.append(job->files().join(';') + " -> " + job->outputFilename() + " log " + job->logFilename() + " "
                     + point(job->topLeft()) + " " + point(job->bottomRight()) + " " + job->shapeFileLayerName() + " "
                     + job->shapeFileFeatureID() + " op " + QString::number(job->opacity()));
    }
    QCOMPARE(built, jobs);
    QCOMPARE(child<QTextEdit>(*wizard, "summaryTextEdit")->toPlainText().split('\n'), summary + QStringList{""});
}

// One mosaic job with every option away from its default, seen in the job document it writes. A y cell size of 10 and of -10 both reach the job as -10.
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
        QCOMPARE(written.split('\n'), QString(R"(<?xml version="1.0" encoding="UTF-8"?>
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
)").arg(QThread::idealThreadCount()).arg(QDir::tempPath()).split('\n'));
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
    QTest::newRow("no input") << batch << QStringList() << 2 << QStringList() << QStringList{k + "You must select at least one image to compress."} << 2;
    QTest::newRow("no EPSG, cancelled") << mosaic << two << 2 << QStringList{"EPSGLineEdit="}
        << QStringList{k + "Automatic lookup to EPSG code failed.\nEPSG codes support georeferencing interoperability across software products.\nPress Cancel to define EPSG manually or OK to proceed."} << 2;
    QTest::newRow("shapefile opacity, no feature") << batch << two << 2 << QStringList{"opacityShapefileRadio=1"}
        << QStringList{k + "You must select a shapefile, layer and feature ID to use polygons."} << 2;
    QTest::newRow("shapefile missing") << batch << two << 2 << QStringList{"Gui/ShapeFileName=" + file("none.shp"), "shapeLayerNameClipLineEdit=none", "shapeLayerIDClipLineEdit=0", "opacityShapefileRadio=1"}
        << QStringList{k + "Shapefile does not exist."} << 2;
    QTest::newRow("source dir in the name") << batch << two << 3 << QStringList{"outputFilenameTemplateTextEdit=$(SOURCEDIR).wvc"}
        << QStringList{k + "$(SOURCEDIR) variable can only be used for the Output Directory template, not as part of the Filename template."} << 3;
    QTest::newRow("mosaic of two names by file") << mosaic << two << 3 << QStringList()
        << QStringList{k + "$(FILENAME) and $(SRCEXT) variables are ambiguous in mosaic mode and cannot be used in the output template."} << 3;
    QTest::newRow("clash") << batch << two << 3 << QStringList{"outputFilenameTemplateTextEdit=x.wvc"}
        << QStringList{k + "There are output filename clashes for multiple files. Select a different output filename template that makes the files unique to continue."} << 3;
    QTest::newRow("exists") << batch << two << 3 << QStringList{"outputDirLineEdit=" + dir.path()}
        << QStringList{k + "One or more of the output files already exists. Select a different destination directory or change the output filename template to continue."} << 3;
    QTest::newRow("refused character") << batch << two << 3 << QStringList{"outputFilenameTemplateTextEdit=$(FILENAME)?.wvc"}
        << QStringList{k + "One or more of the output filenames contain an invalid character."} << 3;
    QTest::newRow("no directory") << batch << two << 3 << QStringList{"outputDirLineEdit=" + file("missing")}
        << QStringList{k + "Output path (" + file("missing") + ") does not exist."} << 3;
    QTest::newRow("tile for JPEG 2000") << batch << two << 3 << QStringList{"fileFormat=JPEG 2000", "method=Tile"}
        << QStringList{k + "The 'Tile' compression method is only available for WVC output."} << 3;
    QTest::newRow("update file in capitals") << update << two << 3 << QStringList{"updateFileLineEdit=" + file("TARGET.WVC")}
        << QStringList{k + "The output file must exist and be an WVC version 3 file."} << 3;
    QTest::newRow("no temp dir") << batch << two << 3 << QStringList{"tempDirEdit=" + file("missing")} << QStringList{k + "Temporary directory does not exist."} << 3;
    QTest::newRow("empty temp dir in update") << update << two << 3 << QStringList{"updateFileLineEdit=" + file("target.wvc"), "tempDirEdit2="}
        << QStringList{k + "Temporary directory does not exist."} << 3;
    const QString bands = "Error: Invalid band list, must be of the format '0,1,2'.";
    for (const QString list : {"0,1,2", "1,1,1", "999", "0,,2", "0,1,", "-1"}) {
        const bool good = list.at(0) != '-' && !list.contains(",,") && !list.endsWith(',');
        QTest::newRow(qPrintable("bands " + list)) << batch << two << 3 << QStringList{"bandListLineEdit=" + list}
            << (good ? QStringList() : QStringList{bands}) << (good ? 4 : 3);
    }
    QTest::newRow("no data on compressed input") << batch << QStringList{"target.wvc"} << 4 << QStringList{"checkBoxNoData=1"}
        << QStringList{k + "No-data value cannot be set for input images in WVC or JP2 lossy/compressed format."} << 4;
    QTest::newRow("zero x cell size") << batch << two << 4 << QStringList{"resizeGroupBox=1", "CellSizeXLineEdit=0", "CellSizeYLineEdit=5"}
        << QStringList{"Resize Output Image: The output cell size must be greater than 0.0."} << 4;
    QTest::newRow("zero y cell size is not looked at") << batch << two << 4 << QStringList{"resizeGroupBox=1", "CellSizeXLineEdit=5", "CellSizeYLineEdit=0"}
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
    QCOMPARE(boxes(answerer), shown);
    QCOMPARE(wizard->currentId(), after);
}

// 0.4 itself does not warn; anything above does, and nothing covered at all has its own text.
void TestWizardJobs::updatedRegionThreshold()
{
    QCOMPARE(ImageCompressor::updatedRegionWarning(0.4), QString());
    QCOMPARE(ImageCompressor::updatedRegionWarning(0.4001), QStringLiteral("The updated area (i.e 40.01 %) is bigger than the threshold: 40.0 %. Region update may not be efficient.\n"));
    QCOMPARE(ImageCompressor::updatedRegionWarning(0.0), QStringLiteral("The region of input file(s) do not intersect with the region of output file.\n"));
}

QTEST_MAIN(TestWizardJobs)
#include "tst_wizardjobs.moc"
