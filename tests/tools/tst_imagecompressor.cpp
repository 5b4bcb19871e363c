#include <QFileInfo>
#include <QRegularExpression>
#include <QTemporaryDir>
#include <QtTest>
#include <csignal>
#include <memory>
#include <random>
#include <sys/resource.h>
#include <unistd.h>

#include "compression/compressiontask.h"
#include "tests/support/testfiles.h"
#include "tests/tools/toolfixtures.h"

using namespace ToolFixtures;

namespace {

// A whole image of `height` rows that all read `row`.
QVector<int> rows(const QVector<int>& row, int height)
{
    QVector<int> cells;
    for (int y = 0; y < height; ++y)
        cells += row;
    return cells;
}

QVector<int> columns(std::initializer_list<std::pair<int, int>> runs)
{
    QVector<int> row;
    for (const auto& run : runs)
        row += QVector<int>(run.first, run.second);
    return row;
}

// The compressor's output written where a full disk would stop it.
class LimitedProcess : public QProcess
{
protected:
    void setupChildProcess() override
    {
        const rlimit limit{64 * 1024, 64 * 1024};
        setrlimit(RLIMIT_FSIZE, &limit);
        signal(SIGXFSZ, SIG_IGN);
    }
};

}  // namespace

// The image compressor run for real on generated data: through its command line, through the
// application's own job and parser, and through the queue.
class TestImageCompressor : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase();
    void init();
    void mosaic_data();
    void mosaic();
    void cutline_data();
    void cutline();
    void targetRate_data();
    void targetRate();
    void progressReachesTheApplication();
    void interruptRemovesPartialOutput();
    void badJobs_data();
    void badJobs();
    void fullDiskRemovesPartialOutput();

private:
    QString path(const QString& name) const { return dir->filePath(name); }
    QString noisyImage(int size);

    std::unique_ptr<QTemporaryDir> dir;
};

void TestImageCompressor::initTestCase()
{
    useBuiltTools();
}

void TestImageCompressor::init()
{
    dir = std::make_unique<QTemporaryDir>();
}

QString TestImageCompressor::noisyImage(int size)
{
    const QString name = path(QStringLiteral("noise%1.tif").arg(size));
    std::mt19937 random(size);
    std::uniform_int_distribution<int> cell(0, 255);
    writeRaster(name, size, size, 3, 500000.0, 4000000.0, 2.0, [&](int, int, int) { return cell(random); });
    return name;
}

void TestImageCompressor::mosaic_data()
{
    QTest::addColumn<QStringList>("files");
    QTest::addColumn<bool>("nodata");
    QTest::addColumn<QString>("background");
    QTest::addColumn<QVector<double>>("frame");  // cell size, left, top, right, bottom; empty for none
    QTest::addColumn<QString>("geometry");
    QTest::addColumn<QVector<int>>("image");

    // a: 8 x 8 cells of 10 from x 0; b: the same of 200 from x 40; c: of 200 from x 120. The first
    // file named gets the highest z and lies on top.
    const QString twelve = QStringLiteral("12x8x1 at (0.0, 80.0) cell 10 EPSG:32633");
    QTest::newRow("first on top") << QStringList{"a", "b"} << false << "min" << QVector<double>() << twelve
                                  << rows(columns({{8, 10}, {4, 200}}), 8);
    QTest::newRow("second on top") << QStringList{"b", "a"} << false << "min" << QVector<double>() << twelve
                                   << rows(columns({{4, 10}, {8, 200}}), 8);
    QTest::newRow("no-data shows the input below") << QStringList{"a", "b"} << true << "min" << QVector<double>()
                                                   << twelve << rows(columns({{4, 0}, {8, 200}}), 8);
    QTest::newRow("gap takes the max background") << QStringList{"a", "c"} << false << "max" << QVector<double>()
                                                  << QStringLiteral("20x8x1 at (0.0, 80.0) cell 10 EPSG:32633")
                                                  << rows(columns({{8, 10}, {4, 255}, {8, 200}}), 8);
    // 20 m cells from x 20 to 100, the reference assigned rather than reprojected.
    QTest::newRow("cropped, resampled, reassigned")
        << QStringList{"a", "b"} << false << "min" << QVector<double>{20.0, 20.0, 80.0, 100.0, 0.0}
        << QStringLiteral("4x4x1 at (20.0, 80.0) cell 20 EPSG:32634") << rows(columns({{3, 10}, {1, 200}}), 4);
}

void TestImageCompressor::mosaic()
{
    QFETCH(QStringList, files);
    QFETCH(bool, nodata);
    QFETCH(QString, background);
    QFETCH(QVector<double>, frame);
    QFETCH(QString, geometry);
    QFETCH(QVector<int>, image);

    const QHash<QString, QPair<double, int>> inputs{{"a", {0.0, 10}}, {"b", {40.0, 200}}, {"c", {120.0, 200}}};
    QStringList paths;
    for (const QString& file : files) {
        paths << path(file + QStringLiteral(".tif"));
        const int value = inputs[file].second;
        writeRaster(paths.last(), 8, 8, 1, inputs[file].first, 80.0, 10.0, [value](int, int, int) { return value; });
    }
    const QString output = path(QStringLiteral("mosaic.jp2"));
    std::unique_ptr<CompressionTask> job(wizardJob(paths, output));
    job->setRatio(1.0);  // lossless, so cells compare exactly
    job->setHasNoDataValue(nodata);
    job->setNoDataValue(10);
    job->setNullColor(background);
    if (!frame.isEmpty()) {
        job->setCellSize({frame[0], -frame[0]});
        job->setTopLeft({frame[1], frame[2]});
        job->setBottomRight({frame[3], frame[4]});
        job->setSrs(QStringLiteral("EPSG:32634"));
    }

    const ToolRun run = runTool(QStringLiteral("ImageCompressor"), job->arguments());
    QVERIFY2(run.exitCode == 0, run.err.constData());
    QCOMPARE(describe(output), geometry);
    QCOMPARE(readBand(output, 1), image);
}

void TestImageCompressor::cutline_data()
{
    QTest::addColumn<QString>("feature");
    QTest::addColumn<QVector<int>>("alpha");

    // 16 x 16 cells of 10 m from (0, 160); feature 0 is the left half, feature 1 the top left quarter.
    QTest::newRow("left half") << "0" << rows(columns({{8, 255}, {8, 0}}), 16);
    QTest::newRow("top left quarter") << "1" << rows(columns({{8, 255}, {8, 0}}), 8) + QVector<int>(8 * 16, 0);
}

void TestImageCompressor::cutline()
{
    QFETCH(QString, feature);
    QFETCH(QVector<int>, alpha);

    const QString input = path(QStringLiteral("field.tif"));
    writeRaster(input, 16, 16, 1, 0.0, 160.0, 10.0, [](int, int, int) { return 100; });
    const QString shapes = path(QStringLiteral("parcels.shp"));
    writeRectangles(shapes, QStringLiteral("parcels"), {QRectF(0, 0, 80, 160), QRectF(0, 80, 80, 80)});
    const QString output = path(QStringLiteral("cut.jp2"));
    std::unique_ptr<CompressionTask> job(wizardJob({input}, output));
    job->setRatio(1.0);
    job->setOpacity(OpacityShapefile);
    job->setShapeFile(shapes);
    job->setShapeFileLayerName(QStringLiteral("parcels"));
    job->setShapeFileFeatureID(feature);

    const ToolRun run = runTool(QStringLiteral("ImageCompressor"), job->arguments());
    QVERIFY2(run.exitCode == 0, run.err.constData());
    QCOMPARE(describe(output), QStringLiteral("16x16x2 at (0.0, 160.0) cell 10 EPSG:32633"));
    QVector<int> values = alpha;
    for (int& value : values)
        value = value ? 100 : 0;
    QCOMPARE(readBand(output, 2), alpha);
    QCOMPARE(readBand(output, 1), values);
}

void TestImageCompressor::targetRate_data()
{
    QTest::addColumn<double>("ratio");
    QTest::newRow("10:1") << 10.0;
    QTest::newRow("20:1") << 20.0;
    QTest::newRow("40:1") << 40.0;
}

void TestImageCompressor::targetRate()
{
    QFETCH(double, ratio);
    const QString output = path(QStringLiteral("rate.jp2"));
    std::unique_ptr<CompressionTask> job(wizardJob({noisyImage(512)}, output));
    job->setRatio(ratio);
    const ToolRun run = runTool(QStringLiteral("ImageCompressor"), job->arguments());
    QVERIFY2(run.exitCode == 0, run.err.constData());
    // Noise cannot be squeezed below the rate, so the encoder's ceiling is met from below.
    const double target = 512.0 * 512.0 * 3.0 / ratio;
    const double size = double(QFileInfo(output).size());
    QVERIFY2(std::fabs(size - target) <= 0.1 * target,
             qPrintable(QStringLiteral("%1 bytes for %2").arg(size).arg(target)));
}

void TestImageCompressor::progressReachesTheApplication()
{
    const QString output = path(QStringLiteral("progress.jp2"));
    std::unique_ptr<CompressionTask> job(wizardJob({noisyImage(1024)}, output));
    job->setJp2EncodeOptions(
        {{QStringLiteral("jp2tilesize"), 256}, {QStringLiteral("jp2georef"), QStringLiteral("none")}});
    // The application never asks for statistics in JPEG 2000; a hand-edited document may.
    const QString document = job->arguments().last();
    writeFile(document,
              readFile(document).replace("name=\"genstats\" value=\"false\"", "name=\"genstats\" value=\"true\""));

    QStringList messages;
    QVector<int> percents;
    connect(job.get(), &CompressionTask::progress, this, [&](quint32, const QString& message, quint8 value) {
        // Estimates and stage values vary from run to run; the order of the stages does not.
        QString stage = message;
        stage.replace(QRegularExpression(QStringLiteral("Completion estimate: .*")),
                      QStringLiteral("Completion estimate: …"));
        stage += value == 0 || value == 100 ? QStringLiteral(" | %1").arg(value) : QStringLiteral(" | …");
        if (messages.isEmpty() || messages.last() != stage)
            messages << stage;
        if (message.startsWith(QLatin1String("Compressing")))
            percents << value;
    });
    job->run();

    QCOMPARE(job->state(), int(TaskState::Succeeded));
    QCOMPARE(
        messages,
        (QStringList{"Starting compression of file 'noise1024.tif' | 0", "Validating input ... | 100",
                     "Compressing file 'progress.jp2'    Completion estimate: … | 0",
                     "Compressing file 'progress.jp2'    Completion estimate: … | …",
                     "Finished compressing 'progress.jp2'. | 100", "Calculating statistics on file 'progress.jp2' | 0",
                     "Calculating statistics on file 'progress.jp2' | …",
                     "Finished calculating statistics on file 'progress.jp2'. | 100",
                     "Finished compressing 'progress.jp2'. | 100"}));
    QVERIFY(std::is_sorted(percents.begin(), percents.end()));
    QVERIFY(QFileInfo::exists(output + QStringLiteral(".aux.xml")));
    QVERIFY(readFile(path(QStringLiteral("progress.log"))).contains("Band 3: minimum"));
}

void TestImageCompressor::interruptRemovesPartialOutput()
{
    const QString output = path(QStringLiteral("stopped.jp2"));
    std::unique_ptr<CompressionTask> job(wizardJob({noisyImage(2048)}, output));
    job->setJp2EncodeOptions({{QStringLiteral("jp2tilesize"), 256}});
    QProcess tool;
    tool.start(QStringLiteral(KP_TOOL_BIN "/ImageCompressor"), job->arguments());
    QByteArray seen;
    while (!seen.contains("Encoding [") && tool.waitForReadyRead(60000))
        seen += tool.readAllStandardOutput();
    QVERIFY2(seen.contains("Encoding ["), seen.constData());
    ::kill(pid_t(tool.processId()), SIGINT);
    QVERIFY(tool.waitForFinished(30000));
    QCOMPARE(tool.exitCode(), 128 + SIGINT);
    QCOMPARE(tool.readAllStandardError(),
             "ERROR: interrupted; the partial output '" + output.toUtf8() + "' was removed\n");
    QVERIFY(!QFileInfo::exists(output));
}

void TestImageCompressor::badJobs_data()
{
    QTest::addColumn<QString>("outputDirectory");
    QTest::addColumn<QString>("document");
    QTest::addColumn<QString>("error");

    const QString job = QStringLiteral(
        "<imagecompressor version=\"1.2\"><compresstask operation=\"%1\"><inputs resample=\"nearest\">%2</inputs>"
        "<output version=\"%3\" path=\"@OUT@\"><options><option name=\"targetrate\" value=\"%4\"/></options></output>"
        "</compresstask></imagecompressor>");
    const QString grey = QStringLiteral("<file path=\"@DIR@/grey.tif\" zindex=\"1\"/>");
    const QString rgb = QStringLiteral("<file path=\"@DIR@/rgb.tif\" zindex=\"0\"/>");
    QTest::newRow("malformed") << "" << job.arg("create", grey, "1", "20").left(60)
                               << "job document line 1 column 60: Premature end of document.";
    QTest::newRow("missing input") << "" << job.arg("create", "<file path=\"@DIR@/gone.tif\"/>", "1", "20")
                                   << "file path '@DIR@/gone.tif': no such file";
    QTest::newRow("missing output directory") << "/absent" << job.arg("create", grey, "1", "20")
                                              << "output path '@OUT@': the directory '@DIR@/absent' does not exist";
    QTest::newRow("read-only output directory") << "/locked" << job.arg("create", grey, "1", "20")
                                                << "output path '@OUT@': the directory '@DIR@/locked' is not writable";
    QTest::newRow("rate out of range") << "" << job.arg("create", grey, "1", "twenty")
                                       << "option targetrate 'twenty': must be a whole number from 0 to 10000";
    QTest::newRow("band counts differ")
        << "" << job.arg("create", grey + rgb, "1", "20")
        << "file path '@DIR@/rgb.tif': gives 3 bands of Byte, but '@DIR@/grey.tif' gives 1 "
           "bands of Byte; the inputs of one mosaic must agree";
    QTest::newRow("WVC output")
        << "" << job.arg("create", grey, "3", "20")
        << "output version '3': WVC output needs the WVC encoder, which this build does not have; "
           "version 1 writes JPEG 2000";
    QTest::newRow("update")
        << "" << job.arg("update", grey, "1", "20")
        << "compresstask operation 'update': updating a compressed file needs the WVC encoder, which "
           "this build does not have";
}

void TestImageCompressor::badJobs()
{
    QFETCH(QString, outputDirectory);
    QFETCH(QString, document);
    QFETCH(QString, error);

    if (outputDirectory == QLatin1String("/locked")) {
        if (geteuid() == 0)
            QSKIP("the superuser writes into any directory");
        QVERIFY(QDir().mkpath(path(QStringLiteral("locked"))));
        QFile::setPermissions(path(QStringLiteral("locked")), QFileDevice::ReadOwner | QFileDevice::ExeOwner);
    }
    writeRaster(path(QStringLiteral("grey.tif")), 4, 4, 1, 0.0, 40.0, 10.0, [](int, int, int) { return 1; });
    writeRaster(path(QStringLiteral("rgb.tif")), 4, 4, 3, 0.0, 40.0, 10.0, [](int, int, int) { return 1; });
    const QString output = dir->path() + outputDirectory + QStringLiteral("/out.jp2");
    const auto fill = [&](QString text) { return text.replace("@OUT@", output).replace("@DIR@", dir->path()); };
    writeFile(path(QStringLiteral("job.xml")), fill(document).toUtf8());

    const ToolRun run =
        runTool(QStringLiteral("ImageCompressor"), {QStringLiteral("-xml"), path(QStringLiteral("job.xml"))});
    QCOMPARE(run.exitCode, 2);
    QCOMPARE(QString::fromUtf8(run.err), QStringLiteral("ERROR: ") + fill(error) + QLatin1Char('\n'));
    QVERIFY(!QFileInfo::exists(output));
}

void TestImageCompressor::fullDiskRemovesPartialOutput()
{
    const QString output = path(QStringLiteral("full.jp2"));
    std::unique_ptr<CompressionTask> job(wizardJob({noisyImage(512)}, output));
    job->setRatio(1.0);
    LimitedProcess tool;
    tool.start(QStringLiteral(KP_TOOL_BIN "/ImageCompressor"), job->arguments());
    QVERIFY(tool.waitForFinished(60000));
    QCOMPARE(tool.exitCode(), 1);
    QVERIFY2(tool.readAllStandardError().startsWith("ERROR: output path '" + output.toUtf8() + "': encoding failed: "),
             "no encoding failure reported");
    QVERIFY(!QFileInfo::exists(output));
}

QTEST_MAIN(TestImageCompressor)
#include "tst_imagecompressor.moc"
