#include <QtTest>

#include <QButtonGroup>
#include <QComboBox>
#include <QLabel>
#include <QLineEdit>
#include <QListWidget>
#include <QMenu>
#include <QMimeData>
#include <QRadioButton>
#include <QSlider>
#include <QSpinBox>
#include <QTemporaryDir>
#include <QToolButton>

#include "core/settings.h"
#include "map/geomapview.h"
#include "map/geoview/qgvmap.h"
#include "map/geoviewrectangle.h"
#include "tests/dataset/fixtures.h"
#include "tests/support/desktopcapture.h"
#include "tests/support/modalanswerer.h"
#include "tests/support/settingssandbox.h"
#include "tests/support/testfiles.h"
#include "wizard/imagecompressor.h"

using TSR::ImageCompressor::API::ImageCompressor;
using Answer = ModalAnswerer::Answer;

namespace {

const Answer progress = ModalAnswerer::accept();
const Answer ok = ModalAnswerer::button(QMessageBox::Ok);

// What adding files shows: the scan's progress, a box per refusal, and in mosaic mode the
// progress of the active area.
QList<Answer> scan(int mode, int boxes = 0)
{
    QList<Answer> script{progress};
    for (int i = 0; i < boxes; ++i)
        script.append(ok);
    if (mode == ImageCompressor::MosaicMode)
        script.append(progress);
    return script;
}

}  // namespace

class TestImageCompressor : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase();
    void init() { sandbox = std::make_unique<SettingsSandbox>(); }
    void addsAndRefuses_data();
    void addsAndRefuses();
    void mosaicLaterRescans();
    void folders();
    void epsgOverride_data();
    void epsgOverride();
    void resetAndRegistry();
    void templates_data();
    void templates();
    void formatChanges_data();
    void formatChanges();
    void settingsComeBackAndAreSaved();
    void fiveHundredDatasetsStayInStep();

private:
    std::unique_ptr<ImageCompressor> openWizard(int mode, const CompressionLicense& license = {});
    void leaveStartPage(ImageCompressor& wizard, int mode);
    QString file(const QString& name) const { return dir.filePath(name); }
    QStringList files(const QStringList& names) const;
    void checkInStep(ImageCompressor& wizard);
    template <typename T> T* child(ImageCompressor& wizard, const char* name)
    {
        T* found = wizard.findChild<T*>(QLatin1String(name));
        if (!found)
            qFatal("no widget %s", name);
        return found;
    }

    QTemporaryDir dir;
    std::unique_ptr<SettingsSandbox> sandbox;
};

void TestImageCompressor::initTestCase()
{
    QVERIFY(dir.isValid());
    const fixtures::Reference utm{"EPSG:32633"}, geographic{"EPSG:4326"}, none{};
    QVERIFY(fixtures::makeTile(file("utm1.tif"), utm, 500000, 5600000, 10, 16, 16));
    QVERIFY(fixtures::makeTile(file("utm2.tif"), utm, 500160, 5600000, 10, 16, 16));
    for (int i = 0; i < 6; ++i)
        QVERIFY(
            fixtures::makeTile(file(QStringLiteral("geo%1.tif").arg(i)), geographic, 14 + i * 0.01, 50, 0.001, 8, 8));
    QVERIFY(fixtures::makeTile(file("nocrs.tif"), none, 100, 200, 1, 8, 8));
    writeFile(file("broken.tif"), "not a raster at all");
    writeFile(file("notes.txt"), "text");
    QVERIFY(fixtures::makeTile(file("tree/a.tif"), utm, 500000, 5600000, 10, 8, 8));
    QVERIFY(fixtures::makeTile(file("tree/sub/b.tif"), utm, 500080, 5600000, 10, 8, 8));
}

QStringList TestImageCompressor::files(const QStringList& names) const
{
    QStringList paths;
    for (const QString& name : names)
        paths.append(file(name));
    return paths;
}

std::unique_ptr<ImageCompressor> TestImageCompressor::openWizard(int mode, const CompressionLicense& license)
{
    auto wizard = std::make_unique<ImageCompressor>(license);
    wizard->show();
    leaveStartPage(*wizard, mode);
    return wizard;
}

void TestImageCompressor::leaveStartPage(ImageCompressor& wizard, int mode)
{
    while (wizard.currentId() != ImageCompressor::StartPage)
        wizard.back();
    child<QButtonGroup>(wizard, "compressionModeGroup")->button(mode)->click();
    wizard.next();
}

// The list, the records and the map agree: the same paths, and row r's rectangle at itemOffset + r,
// bound to that row.
void TestImageCompressor::checkInStep(ImageCompressor& wizard)
{
    QStringList records;
    for (const auto& entry : wizard.datasets().Datasets)
        records.append(QString::fromUtf8(entry.first.utf8_str()));
    QStringList rows = wizard.inputFiles();
    QStringList sortedRows = rows;
    std::sort(sortedRows.begin(), sortedRows.end());
    std::sort(records.begin(), records.end());
    QCOMPARE(records, sortedRows);
    auto* list = child<QListWidget>(wizard, "Gui/FileInputList");
    QGVMap* map = wizard.map()->map;
    QCOMPARE(map->countItems(), rows.isEmpty() ? map->countItems() : wizard.map()->itemOffset + rows.size());
    for (int row = 0; row < rows.size(); ++row) {
        auto* rectangle =
            qobject_cast<Tessara::GeoMap::GeoViewRectangle*>(map->getItem(wizard.map()->itemOffset + row));
        QVERIFY(rectangle && !rectangle->isExtent());
        QCOMPARE(rectangle->boundItem(), list->item(row));
    }
}

void TestImageCompressor::addsAndRefuses_data()
{
    QTest::addColumn<int>("mode");
    QTest::addColumn<QStringList>("added");
    QTest::addColumn<QStringList>("rows");
    QTest::addColumn<QStringList>("messages");
    const QString title = QStringLiteral("Kartopress: ");
    const QStringList geo = {"geo0.tif", "geo1.tif", "geo2.tif", "geo3.tif", "geo4.tif"};
    const int batch = ImageCompressor::BatchMode, mosaic = ImageCompressor::MosaicMode;

    QTest::newRow("the same file twice warns once")
        << batch << QStringList{"utm1.tif", "utm1.tif"} << QStringList{"utm1.tif"}
        << QStringList{title + "The dataset " + file("utm1.tif") + " is duplicate and won't be added to the list."};
    QTest::newRow("two duplicates are listed backwards")
        << batch << QStringList{"utm1.tif", "utm2.tif", "utm1.tif", "utm2.tif"} << QStringList{"utm1.tif", "utm2.tif"}
        << QStringList{title + "The datasets " + file("utm2.tif") + "," + file("utm1.tif")
                       + " are duplicate and won't be added to the list."};
    QTest::newRow("five duplicates are counted")
        << batch << QStringList(QVector<QString>(6, "utm1.tif").toList()) << QStringList{"utm1.tif"}
        << QStringList{title + "5 datasets are duplicate and won't be added to the list."};
    QTest::newRow("batch takes any reference") << batch << QStringList{"utm1.tif", "geo0.tif", "nocrs.tif"}
                                               << QStringList{"utm1.tif", "geo0.tif", "nocrs.tif"} << QStringList();
    QTest::newRow("mosaic refuses another reference")
        << mosaic << QStringList{"utm1.tif", "geo0.tif", "utm2.tif"} << QStringList{"utm1.tif", "utm2.tif"}
        << QStringList{
               title + "The dataset " + file("geo0.tif")
               + " is in different projection to the first dataset (i.e EPSG 32633) and won't be added to the list."};
    QTest::newRow("five mismatches are counted")
        << mosaic << QStringList{"utm1.tif"} + geo << QStringList{"utm1.tif"}
        << QStringList{
               title
               + "5 datasets  are different projection to the first dataset (i.e EPSG 32633) and won't be added to the list."};
    QTest::newRow("unsupported names are skipped silently")
        << mosaic << QStringList{"notes.txt", "utm1.tif"} << QStringList{"utm1.tif"} << QStringList();
    QTest::newRow("every refusal in one run, in order")
        << mosaic << QStringList{"utm1.tif", "utm1.tif", "geo0.tif", "broken.tif"} << QStringList{"utm1.tif"}
        << QStringList{
               title + "The dataset " + file("utm1.tif") + " is duplicate and won't be added to the list.",
               title + "The dataset " + file("geo0.tif")
                   + " is in different projection to the first dataset (i.e EPSG 32633) and won't be added to the list.",
               title + "broken.tif"};
}

void TestImageCompressor::addsAndRefuses()
{
    QFETCH(int, mode);
    QFETCH(QStringList, added);
    QFETCH(QStringList, rows);
    QFETCH(QStringList, messages);
    // The library's own text for the unreadable file is shown as it stands.
    int epsg = -1;
    TSR::ImageCompressor::API::DatasetMetadata unused;
    QString brokenText;
    try {
        fixtures::makeUtil()->ReadDatasetMetadata(TSR::CString(file("broken.tif").toUtf8().constData()), epsg, unused,
                                                  true);
    } catch (const TSR::CRuntimeError& error) {
        brokenText = QString::fromUtf8(error.what());
    }
    QVERIFY(!brokenText.isEmpty());
    messages.replaceInStrings(QStringLiteral("Kartopress: broken.tif"), QStringLiteral("Kartopress: ") + brokenText);

    auto wizard = openWizard(mode);
    ModalAnswerer answerer(scan(mode, messages.size()));
    wizard->addFiles(files(added));
    QVERIFY2(answerer.done(), qPrintable(answerer.report()));
    QCOMPARE(answerer.shown(), messages);
    QCOMPARE(wizard->inputFiles(), files(rows));
    QCOMPARE(child<QLabel>(*wizard, "numFilesLabel")->text(), QString::number(rows.size()) + ",");
    QCOMPARE(child<QLineEdit>(*wizard, "EPSGLineEdit")->text(), QStringLiteral("EPSG:32633"));
    checkInStep(*wizard);
}

// Batch takes datasets of any reference; the mosaic modes read them again when the user switches,
// keep a list that shares one reference and refuse a mixed one as a whole.
void TestImageCompressor::mosaicLaterRescans()
{
    auto wizard = openWizard(ImageCompressor::BatchMode);
    {
        ModalAnswerer answerer({progress});
        wizard->addFiles(files({"utm1.tif", "utm2.tif"}));
        QVERIFY2(answerer.done(), qPrintable(answerer.report()));
    }
    {
        ModalAnswerer answerer({progress, progress});
        leaveStartPage(*wizard, ImageCompressor::MosaicMode);
        QVERIFY2(answerer.done(), qPrintable(answerer.report()));
    }
    QCOMPARE(wizard->inputFiles(), files({"utm1.tif", "utm2.tif"}));
    QCOMPARE(child<QLineEdit>(*wizard, "EPSGLineEdit")->text(), QStringLiteral("EPSG:32633"));
    QCOMPARE(wizard->map()->itemOffset, 1);
    checkInStep(*wizard);

    leaveStartPage(*wizard, ImageCompressor::BatchMode);
    {
        ModalAnswerer answerer({progress});
        wizard->addFiles(files({"geo0.tif"}));
        QVERIFY2(answerer.done(), qPrintable(answerer.report()));
    }
    ModalAnswerer answerer({progress, ok});
    leaveStartPage(*wizard, ImageCompressor::MosaicMode);
    QVERIFY2(answerer.done(), qPrintable(answerer.report()));
    QCOMPARE(
        answerer.shown(),
        QStringList{
            "Kartopress: The previously selected datasets have mismatched projections.You need to select again your datasets to mosaic."});
    QCOMPARE(wizard->inputFiles(), QStringList());
    QCOMPARE(wizard->map()->itemCount(), 0);
    QCOMPARE(child<QLabel>(*wizard, "numFilesLabel")->text(), QStringLiteral("0,"));
    checkInStep(*wizard);
}

// The folder button asks about sub-folders and keeps the answer; a dropped folder never asks.
void TestImageCompressor::folders()
{
    auto wizard = openWizard(ImageCompressor::MosaicMode);
    const QString tree = file("tree");
    {
        ModalAnswerer answerer(
            {ModalAnswerer::files({tree}), ModalAnswerer::button(QMessageBox::No), progress, progress});
        child<QToolButton>(*wizard, "addFolder")->click();
        QVERIFY2(answerer.done(), qPrintable(answerer.report()));
        QCOMPARE(answerer.shown(),
                 QStringList{"Recursive Mode: Sub folders have been detected, do you want to add files recursively?"});
        QCOMPARE(wizard->inputFiles(), files({"tree/a.tif"}));
    }
    {
        ModalAnswerer answerer(
            {ModalAnswerer::files({tree}), ModalAnswerer::button(QMessageBox::Yes), progress, ok, progress});
        child<QToolButton>(*wizard, "addFolder")->click();
        QVERIFY2(answerer.done(), qPrintable(answerer.report()));
        QCOMPARE(answerer.shown().last(),
                 "Kartopress: The dataset " + file("tree/a.tif") + " is duplicate and won't be added to the list.");
    }
    child<QListWidget>(*wizard, "Gui/FileInputList")->selectAll();
    wizard->removeSelectedDatasets();
    QCOMPARE(wizard->inputFiles(), QStringList());

    // The answer "Yes" stands for the drop, which walks the sub-folder without asking.
    ModalAnswerer answerer(scan(ImageCompressor::MosaicMode));
    QMimeData data;
    data.setUrls({QUrl::fromLocalFile(tree)});
    QWidget* viewport = child<QListWidget>(*wizard, "Gui/FileInputList")->viewport();
    QDragEnterEvent enter(QPoint(5, 5), Qt::CopyAction, &data, Qt::LeftButton, Qt::NoModifier);
    QApplication::sendEvent(viewport, &enter);
    QVERIFY(enter.isAccepted());
    QDropEvent drop(QPointF(5, 5), Qt::CopyAction, &data, Qt::LeftButton, Qt::NoModifier);
    QApplication::sendEvent(viewport, &drop);
    QVERIFY2(answerer.done(), qPrintable(answerer.report()));
    QStringList added = wizard->inputFiles();
    added.sort();
    QCOMPARE(added, files({"tree/a.tif", "tree/sub/b.tif"}));
    checkInStep(*wizard);
}

void TestImageCompressor::epsgOverride_data()
{
    QTest::addColumn<int>("mode");
    QTest::addColumn<QList<int>>("selected");
    QTest::addColumn<QStringList>("typed");
    QTest::addColumn<QStringList>("messages");
    QTest::addColumn<QStringList>("overrides");
    const int batch = ImageCompressor::BatchMode, mosaic = ImageCompressor::MosaicMode;
    const QString confirm = QStringLiteral(
        "Modify EPSG Code: Overriding the detected EPSG code will not reproject between CRS and should only be used when the default detection is wrong.");
    const QString number = QStringLiteral("Kartopress: The EPSG Code should be number.");
    const QString prefix =
        QStringLiteral("Kartopress: The EPSG Code should be defined as 'EPSG:xxxx' (i.e EPSG:4326).");
    const QString positive = QStringLiteral("Modify EPSG Code: The EPSG Code should be > 0.");
    const QStringList none = {"", ""};

    QTest::newRow("empty") << mosaic << QList<int>{0} << QStringList{""}
                           << QStringList{confirm,
                                          "Kartopress: The EPSG Code to overwrite with should not be empty or 0."}
                           << none;
    QTest::newRow("no prefix") << mosaic << QList<int>{0} << QStringList{"25833"} << QStringList{confirm, prefix}
                               << none;
    QTest::newRow("lower-case prefix") << mosaic << QList<int>{0} << QStringList{"epsg:25833"}
                                       << QStringList{confirm, prefix} << none;
    QTest::newRow("blank before the prefix")
        << mosaic << QList<int>{0} << QStringList{" EPSG:25833"} << QStringList{confirm, prefix} << none;
    QTest::newRow("prefix alone") << mosaic << QList<int>{0} << QStringList{"EPSG:"} << QStringList{confirm, number}
                                  << none;
    QTest::newRow("letters") << mosaic << QList<int>{0} << QStringList{"EPSG:12a"} << QStringList{confirm, number}
                             << none;
    QTest::newRow("zero, once per dataset")
        << mosaic << QList<int>{0} << QStringList{"EPSG:0"} << QStringList{confirm, positive, positive} << none;
    QTest::newRow("mosaic overrides every dataset") << mosaic << QList<int>{} << QStringList{"EPSG:25833"}
                                                    << QStringList{confirm} << QStringList{"EPSG:25833", "EPSG:25833"};
    QTest::newRow("the detected number removes the override")
        << mosaic << QList<int>{} << QStringList{"EPSG:25833", "EPSG:32633"} << QStringList{confirm, confirm} << none;
    QTest::newRow("batch overrides the one selected")
        << batch << QList<int>{1} << QStringList{"EPSG:25833"} << QStringList{confirm} << QStringList{"", "EPSG:25833"};
    QTest::newRow("batch with two selected changes nothing")
        << batch << QList<int>{0, 1} << QStringList{"EPSG:25833"}
        << QStringList{"Modify EPSG Code: You must have a dataset selected to modify the EPSG Code"} << none;
}

void TestImageCompressor::epsgOverride()
{
    QFETCH(int, mode);
    QFETCH(QList<int>, selected);
    QFETCH(QStringList, typed);
    QFETCH(QStringList, messages);
    QFETCH(QStringList, overrides);
    auto wizard = openWizard(mode);
    {
        ModalAnswerer answerer(scan(mode));
        wizard->addFiles(files({"utm1.tif", "utm2.tif"}));
    }
    auto* list = child<QListWidget>(*wizard, "Gui/FileInputList");
    list->clearSelection();
    for (int row : selected)
        list->item(row)->setSelected(true);
    auto* field = child<QLineEdit>(*wizard, "EPSGLineEdit");
    ModalAnswerer answerer;
    for (int i = 0; i < messages.size(); ++i)
        answerer.expect(ok);
    for (const QString& text : typed) {
        field->setText(text);
        child<QToolButton>(*wizard, "ApplyEPSGButton")->click();
    }
    QVERIFY2(answerer.done(), qPrintable(answerer.report()));
    QCOMPARE(answerer.shown(), messages);
    QStringList found;
    for (const QString& path : files({"utm1.tif", "utm2.tif"}))
        found.append(QString::fromUtf8(
            wizard->datasets().Datasets.at(TSR::CString(path.toStdWString())).EPSGOverride.utf8_str()));
    QCOMPARE(found, overrides);
    if (messages.first().contains(QLatin1String("must have")))
        QCOMPARE(field->text(), QString());
}

// Reset brings the detected number back everywhere; the info button opens the registry's search
// for the number in force.
void TestImageCompressor::resetAndRegistry()
{
    auto wizard = openWizard(ImageCompressor::MosaicMode);
    {
        ModalAnswerer answerer(scan(ImageCompressor::MosaicMode));
        wizard->addFiles(files({"utm1.tif", "utm2.tif"}));
    }
    auto* field = child<QLineEdit>(*wizard, "EPSGLineEdit");
    DesktopCapture desktop;
    {
        ModalAnswerer answerer({ok});
        field->setText(QStringLiteral("EPSG:25833"));
        child<QToolButton>(*wizard, "ApplyEPSGButton")->click();
        QVERIFY2(answerer.done(), qPrintable(answerer.report()));
    }
    child<QToolButton>(*wizard, "EPSGInfoButton")->click();
    child<QToolButton>(*wizard, "EPSGResetButton")->click();
    child<QToolButton>(*wizard, "EPSGInfoButton")->click();
    QCOMPARE(field->text(), QStringLiteral("EPSG:32633"));
    for (const auto& entry : wizard->datasets().Datasets)
        QVERIFY(entry.second.EPSGOverride.empty());
    QCOMPARE(desktop.urls,
             (QList<QUrl>{QUrl("https://epsg.org/search/by-name?query=[code]%3D25833"),
                          QUrl("https://epsg.org/search/by-name?query=[code]%3D32633")}));
}

void TestImageCompressor::templates_data()
{
    QTest::addColumn<QString>("format");
    QTest::addColumn<QString>("directory");
    QTest::addColumn<QString>("name");
    QTest::addColumn<QString>("input");
    QTest::addColumn<QString>("append");
    QTest::addColumn<QString>("expected");
    const QString here = QDir::currentPath();
    QTest::newRow("source directory and extension") << "WVC v3"
                                                    << "$(SOURCEDIR)"
                                                    << "$(FILENAME).$(SRCEXT).wvc"
                                                    << "/data/tile.a.tif"
                                                    << ""
                                                    << "/data/tile.a.tif.wvc";
    QTest::newRow("a value goes before the extension") << "WVC v3"
                                                       << "$(SOURCEDIR)"
                                                       << "$(FILENAME).$(SRCEXT).wvc"
                                                       << "/data/tile.a.tif"
                                                       << "12"
                                                       << "/data/tile.a.tif12.wvc";
    QTest::newRow("a value takes the source extension") << "WVC v2"
                                                        << "/out"
                                                        << "$(FILENAME).$(SRCEXT)"
                                                        << "/data/a.tif"
                                                        << "12"
                                                        << "/out/a12.wvc";
    QTest::newRow("a typed directory is dropped") << "WVC v2"
                                                  << "/out"
                                                  << "sub/dir/$(FILENAME)"
                                                  << "/data/tile.tif"
                                                  << ""
                                                  << "/out/tile.wvc";
    QTest::newRow("the extension in capitals stays alone") << "WVC v2"
                                                           << "/out"
                                                           << "x.WVC"
                                                           << "/data/a.tif"
                                                           << ""
                                                           << "/out/x.WVC";
    QTest::newRow("JPEG 2000 after a typed .wvc") << "JPEG 2000"
                                                  << "/out"
                                                  << "$(FILENAME).wvc"
                                                  << "/data/a.tif"
                                                  << ""
                                                  << "/out/a.wvc.jp2";
    QTest::newRow("an input without suffix") << "WVC v2"
                                             << "/out"
                                             << "$(FILENAME).$(SRCEXT)"
                                             << "/data/a"
                                             << ""
                                             << "/out/a..wvc";
    QTest::newRow("no input, source directory is the current one") << "WVC v2"
                                                                   << "$(SOURCEDIR)"
                                                                   << "$(FILENAME).$(SRCEXT)"
                                                                   << ""
                                                                   << "" << here + "/..wvc";
    QTest::newRow("method, version and rate") << "WVC v3"
                                              << "/out"
                                              << "$(FILENAME)-$(METHOD)-v$(VERSION)-r$(TARGETRATE)"
                                              << "/d/t.tif"
                                              << ""
                                              << "/out/t-Tile-v3-r20.wvc";
    QTest::newRow("version after the value") << "JPEG 2000"
                                             << "/out"
                                             << "$(FILENAME)-v$(VERSION).x"
                                             << "/d/t.tif"
                                             << "7"
                                             << "/out/t-v17.jp2";
    QTest::newRow("unknown variables and other directories stay") << "WVC v2"
                                                                  << "/out/$(DATE)"
                                                                  << "$(NAME)"
                                                                  << "/d/t.tif"
                                                                  << ""
                                                                  << "/out/$(DATE)/$(NAME).wvc";
    QTest::newRow("a relative directory") << "WVC v2"
                                          << "rel"
                                          << "n"
                                          << "/d/t.tif"
                                          << "" << here + "/rel/n.wvc";
}

void TestImageCompressor::templates()
{
    QFETCH(QString, format);
    QFETCH(QString, directory);
    QFETCH(QString, name);
    QFETCH(QString, input);
    QFETCH(QString, append);
    QFETCH(QString, expected);
    auto wizard = openWizard(ImageCompressor::BatchMode);
    child<QComboBox>(*wizard, "method")->setCurrentText(QStringLiteral("Tile"));
    child<QComboBox>(*wizard, "fileFormat")->setCurrentText(format);
    child<QLineEdit>(*wizard, "outputDirLineEdit")->setText(directory);
    child<QLineEdit>(*wizard, "outputFilenameTemplateTextEdit")->setText(name);
    QCOMPARE(wizard->makeOutputFilename(input, append), expected);
}

void TestImageCompressor::formatChanges_data()
{
    QTest::addColumn<QString>("start");
    QTest::addColumn<QStringList>("formats");
    QTest::addColumn<int>("preset");
    QTest::addColumn<QStringList>("expected");
    // Template, then each widget as "name enabled [value]".
    QTest::newRow("the default template on start-up")
        << "" << QStringList() << -1 << QStringList{"$(FILENAME).wvc", "metaDataButton 1", "jp2OptionsButton 0",
                                                    "method 1 Tile",   "threads 1",        "statsCheckBox 1"};
    QTest::newRow("JPEG 2000") << "$(FILENAME).$(SRCEXT).wvc" << QStringList{"JPEG 2000"} << -1
                               << QStringList{"$(FILENAME).$(SRCEXT).jp2",
                                              "metaDataButton 0",
                                              "jp2OptionsButton 1",
                                              "method 0 Line",
                                              "threads 0",
                                              "statsCheckBox 0"};
    QTest::newRow("back to WVC v3 stays on Line") << "$(FILENAME).$(SRCEXT).wvc" << QStringList{"JPEG 2000", "WVC v3"}
                                                  << -1 << QStringList{"$(FILENAME).$(SRCEXT).wvc",
                                                                       "metaDataButton 1",
                                                                       "jp2OptionsButton 0",
                                                                       "method 1 Line",
                                                                       "threads 0",
                                                                       "statsCheckBox 1"};
    QTest::newRow("WVC v2, dotted directory-like text")
        << "out.v1/name" << QStringList{"WVC v2"} << -1
        << QStringList{"out.wvc",       "metaDataButton 0", "jp2OptionsButton 0",
                       "method 1 Tile", "threads 1",        "statsCheckBox 0"};
    QTest::newRow("a preset follows the format")
        << "x" << QStringList{"JPEG 2000"} << 2
        << QStringList{"$(FILENAME)-$(METHOD)-v$(VERSION)-r$(TARGETRATE).$(SRCEXT).jp2",
                       "metaDataButton 0",
                       "jp2OptionsButton 1",
                       "method 0 Line",
                       "threads 0",
                       "statsCheckBox 0"};
}

void TestImageCompressor::formatChanges()
{
    QFETCH(QString, start);
    QFETCH(QStringList, formats);
    QFETCH(int, preset);
    QFETCH(QStringList, expected);
    auto wizard = openWizard(ImageCompressor::BatchMode);
    auto* name = child<QLineEdit>(*wizard, "outputFilenameTemplateTextEdit");
    if (!start.isEmpty())
        name->setText(start);
    for (const QString& format : formats)
        child<QComboBox>(*wizard, "fileFormat")->setCurrentText(format);
    if (preset >= 0)
        child<QToolButton>(*wizard, "applyDefaultTemplateButton")->menu()->actions().at(preset)->trigger();
    QStringList found{name->text()};
    for (const char* widget : {"metaDataButton", "jp2OptionsButton", "method", "threads", "statsCheckBox"}) {
        QWidget* w = child<QWidget>(*wizard, widget);
        auto* combo = qobject_cast<QComboBox*>(w);
        found.append(QStringLiteral("%1 %2").arg(widget).arg(w->isEnabled())
                     + (combo ? " " + combo->currentText() : QString()));
    }
    QCOMPARE(found, expected);
}

// A wizard opens with the last run's choices, cancelled runs included, and a saved update mode
// that the licence does not allow comes up as batch.
void TestImageCompressor::settingsComeBackAndAreSaved()
{
    {
        auto settings = createSettings();
        settings->setValue("Gui/CompressionMode", 3);
        settings->setValue("Gui/OutputFormat", 2);
        settings->setValue("Gui/LastOutputFilename", "name.tif");
        settings->setValue("Gui/NullColorMinMax", "purple");
        settings->setValue("Gui/MaxCompressionMemory", 7.0);
        settings->setValue("Gui/Method", 0);
        settings->setValue("Gui/TargetRate", 33);
    }
    CompressionLicense restricted;
    restricted.updateModeAllowed = false;
    {
        ImageCompressor wizard(restricted);
        QStringList found;
        for (const char* radio : {"batchRadioButton", "updateRadioButton", "nullBackgroundColorMinRadio"}) {
            auto* button = child<QRadioButton>(wizard, radio);
            found << QStringLiteral("%1 %2 %3").arg(radio).arg(button->isEnabled()).arg(button->isChecked());
        }
        found << child<QComboBox>(wizard, "fileFormat")->currentText()
              << child<QLineEdit>(wizard, "outputFilenameTemplateTextEdit")->text()
              << child<QComboBox>(wizard, "method")->currentText()
              << QString::number(child<QSpinBox>(wizard, "targetRate")->value())
              << QString::number(child<QSlider>(wizard, "memSlider")->value())
              << child<QLabel>(wizard, "maxMemLabel")->text().section(' ', 0, 0);
        QCOMPARE(found,
                 (QStringList{"batchRadioButton 1 1", "updateRadioButton 0 0", "nullBackgroundColorMinRadio 0 1",
                              "JPEG 2000", "name.jp2", "Line", "33", "100", "(100%"}));
        child<QRadioButton>(wizard, "mosaicRadioButton")->click();
        child<QComboBox>(wizard, "fileFormat")->setCurrentText(QStringLiteral("WVC v2"));
        child<QRadioButton>(wizard, "nullBackgroundColorMaxRadio")->setChecked(true);
        child<QSlider>(wizard, "memSlider")->setValue(40);
        wizard.reject();
    }
    auto settings = createSettings();
    QStringList saved;
    for (const char* key : {"Gui/CompressionMode", "Gui/OutputFormat", "Gui/LastOutputFilename", "Gui/NullColorMinMax",
                            "Gui/MaxCompressionMemory", "Gui/Method", "Gui/TargetRate", "Gui/OpacityMode"})
        saved << settings->value(key).toString();
    QCOMPARE(saved, (QStringList{"1", "0", "name.wvc", "max", "0.4", "0", "33", "0"}));
}

// Many datasets through the real library: after removals and a rescan the list, the records and
// the map still agree row for row.
void TestImageCompressor::fiveHundredDatasetsStayInStep()
{
    QTemporaryDir many;
    QStringList paths;
    for (int i = 0; i < 500; ++i) {
        paths << many.filePath(QStringLiteral("tile%1.tif").arg(i, 3, 10, QLatin1Char('0')));
        QVERIFY(fixtures::makeTile(paths.last(), {"EPSG:32633"}, 500000 + (i % 25) * 80, 5600000 - (i / 25) * 80, 10, 8,
                                   8));
    }
    auto wizard = openWizard(ImageCompressor::MosaicMode);
    {
        ModalAnswerer answerer(scan(ImageCompressor::MosaicMode));
        QCOMPARE(wizard->addFiles(paths), 500);
        QVERIFY2(answerer.done(), qPrintable(answerer.report()));
    }
    QCOMPARE(wizard->inputFiles(), paths);
    checkInStep(*wizard);

    auto* list = child<QListWidget>(*wizard, "Gui/FileInputList");
    list->clearSelection();
    QStringList kept;
    for (int row = 0; row < list->count(); ++row) {
        list->item(row)->setSelected(row % 7 == 3);
        if (row % 7 != 3)
            kept << paths.at(row);
    }
    {
        ModalAnswerer answerer({progress});
        wizard->removeSelectedDatasets();
        QVERIFY2(answerer.done(), qPrintable(answerer.report()));
    }
    QCOMPARE(wizard->inputFiles(), kept);
    checkInStep(*wizard);

    leaveStartPage(*wizard, ImageCompressor::MosaicToManyMode);
    {
        ModalAnswerer answerer({progress});
        leaveStartPage(*wizard, ImageCompressor::MosaicMode);
        QVERIFY2(answerer.done(), qPrintable(answerer.report()));
    }
    QCOMPARE(wizard->inputFiles(), kept);
    QCOMPARE(child<QLabel>(*wizard, "numFilesLabel")->text(), QString::number(kept.size()) + ",");
    checkInStep(*wizard);
}

QTEST_MAIN(TestImageCompressor)
#include "tst_compressionwizard.moc"
