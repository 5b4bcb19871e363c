#include <QSignalSpy>
#include <QTemporaryDir>
#include <QtTest>
#include <memory>

#include "compression/compressiontask.h"
#include "tests/compression/documentlines.h"
#include "tests/support/testfiles.h"

using Messages = QList<QPair<QString, int>>;
Q_DECLARE_METATYPE(Messages)

class TestCompressionTask : public QObject
{
    Q_OBJECT

private slots:
    void init()
    {
        job = std::make_unique<CompressionTask>();
        directory = std::make_unique<QTemporaryDir>();
    }
    void document_data();
    void document();
    void loadsASavedJob_data();
    void loadsASavedJob();
    void recordedOutput_data();
    void recordedOutput();

private:
    QString path(const char* name) const { return directory->filePath(QLatin1String(name)); }
    std::unique_ptr<QTemporaryDir> directory;
    std::unique_ptr<CompressionTask> job;
};

void TestCompressionTask::document_data()
{
    QTest::addColumn<QVariantMap>("properties");
    QTest::addColumn<QByteArray>("expected");  // OUT stands for the output file

    const Jp2Options::JP2EncodeOptionsHash jp2{{"jp2tilesize", 1024},      {"jp2precinctsize", "64"},
                                               {"jp2qualitylayers", 3},    {"jp2progressionorder", "RPCL"},
                                               {"jp2markers", QVariant()}, {"jp2georef", "GMLJP2"}};
    const MetaData::MetaDataHash metadata{
        {"acquistiondate", "2020-01-02"}, {"author", "Surveyor"}, {"unknown", "dropped"}};
    // What every row asks for, and what only some formats take.
    const QVariantMap common{{"files", QStringList{"/in/a.tif"}},
                             {"jp2EncodeOptions", QVariant::fromValue(jp2)},
                             {"genStats", true},
                             {"metaData", QVariant::fromValue(metadata)},
                             {"blockSize", 4096u},
                             {"customArgs", "--secret"}};
    const auto row = [&common](const char* name, QVariantMap properties, const QByteArray& expected) {
        for (auto it = common.cbegin(); it != common.cend(); ++it)
            properties.insert(it.key(), properties.value(it.key(), it.value()));
        QTest::newRow(name) << properties
                            << R"(<imagecompressor version="1.2"><compresstask operation=)" + expected
                + "</imagecompressor>";
    };
    row("a WVC v3 mosaic",
        {{"files", QStringList{"/in/a.tif", "/in/b.tif", "/in/c.tif"}},
         {"bandList", "3,2,1"},
         {"hasNoDataValue", true},
         {"noDataValue", 0},
         {"ratio", 19.9},
         {"format", "WVC v3"},
         {"colorSpace", "RGB"},
         {"method", "Line"},
         {"threads", 8u},
         {"memCache", 1.5},
         {"tempDir", "/scratch"},
         {"logFilename", "/logs/x.log"},
         {"cellSize", QPointF(0.5, 0.25)},
         {"topLeft", QPointF(10, 20)},
         {"bottomRight", QPointF(30, 5)},
         {"resampleMethod", QVariant::fromValue(CompressorXml::ResampleAverage)},
         {"srs", "EPSG:4326"},
         {"nullColor", "0,0,0"},
         {"bitDepth", "16"},
         {"signedness", QVariant::fromValue(CompressorXml::SignSigned)},
         {"opacity", QVariant::fromValue(OpacityShapefile)},
         {"shapeFile", "/s/area.shp"},
         {"shapeFileLayerName", "area"},
         {"shapeFileFeatureID", "12"}},
        R"("create" method="line" threads="1" tempdir="/scratch" logfile="/logs/x.log" memcache="1.5" interactive="false"><inputs
           resample="average"><file path="/in/a.tif" bandlist="3,2,1" zindex="2" nodata="0"/><file path="/in/b.tif" bandlist="3,2,1"
           zindex="1" nodata="0"/><file path="/in/c.tif" bandlist="3,2,1" zindex="0" nodata="0"/></inputs><output version="3" path="OUT"
           cellsizex="0.50000000" cellsizey="0.25000000" tlx="10.00000000" tly="20.00000000" brx="30.00000000" bry="5.00000000"><region
           type="shape" name="Shapefile" path="/s/area.shp" layername="area" layerid="12"/><metadata><item name="acquistiondate"
           value="2020-01-02"/><item name="author" value="Surveyor"/></metadata><options><option name="bitdepth" value="16"/><option
           name="signedness" value="true"/><option name="targetrate" value="19"/><option name="colorspace" value="RGB"/><option
           name="genstats" value="true"/><option name="srs" value="EPSG:4326"/><option name="opacity" value="2"/><option name="nullvalue"
           value="0,0,0"/></options></output></compresstask>)");
    row("a WVC v2 update",
        {{"format", "WVC v2"},
         {"operation", int(CompressorXml::OperationUpdate)},
         {"method", "Tile"},
         {"threads", 8u},
         {"colorSpace", "Auto"},
         {"bitDepth", ""},
         {"opacity", QVariant::fromValue(OpacityNone)},
         {"shapeFile", "/s/area.shp"}},
        R"("update" method="tile" threads="8" memcache="0" interactive="false"><inputs resample="nearest"><file path="/in/a.tif"
           zindex="0"/></inputs><output version="2" path="OUT"><options><option name="targetrate" value="0"/><option name="genstats"
           value="false"/><option name="opacity" value="3"/></options></output></compresstask>)");
    row("a JPEG 2000 file",
        {{"format", "JPEG 2000"}, {"bitDepth", "auto"}, {"opacity", QVariant::fromValue(OpacityFromSource)}},
        R"("create" memcache="0" interactive="false"><inputs resample="nearest"><file path="/in/a.tif" zindex="0"/></inputs><output
           version="1" path="OUT"><options><option name="bitdepth" value="0"/><option name="targetrate" value="0"/><option name="genstats"
           value="false"/><option name="jp2tilesize" value="1024"/><option name="jp2precinctsize" value="64"/><option
           name="jp2qualitylayers" value="3"/><option name="jp2progressionorder" value="RPCL"/><option name="jp2georef" value="GMLJP2"/>
           </options></output></compresstask>)");
}

void TestCompressionTask::document()
{
    QFETCH(QVariantMap, properties);
    QFETCH(QByteArray, expected);
    const QString output = path("sub/../out.v2.wvc");
    const QString document = path("out.v2.xml");
    job->setOutputFilename(output);
    // As the wizard fills a job: through the property system, except for the three plain members.
    const QStringList plain{"genStats", "srs", "operation"};
    for (auto it = properties.cbegin(); it != properties.cend(); ++it)
        QVERIFY2(job->setProperty(qPrintable(it.key()), it.value()) != plain.contains(it.key()), qPrintable(it.key()));
    job->setGenStats(properties.value("genStats").toBool()), job->setSrs(properties.value("srs").toString());
    job->setOperation(CompressorXml::Operation(properties.value("operation").toInt()));
    QCOMPARE(job->arguments(), (QStringList{QStringLiteral("-xml"), document}));
    QCOMPARE(documentLines(readFile(document)),
             documentLines(expected.replace("\"OUT\"", '"' + output.toUtf8() + '"')));
    QCOMPARE(QStringList({job->inputFilename(), job->logFilename()}),
             QStringList({job->files().size() > 1 ? document : job->files().first(), path("out.v2.log")}));

    // Written once: the job keeps its document, and its name, when it changes and its output moves.
    job->setRatio(42.0);
    job->setOutputFilename(path("moved.wvc"));
    QCOMPARE(job->arguments(), (QStringList{QStringLiteral("-xml"), document}));
    QCOMPARE(documentLines(readFile(document)), documentLines(expected));
    QCOMPARE(job->logFilename(), path("moved.log"));
    // One left by an earlier job of the same output is run as it stands.
    job = std::make_unique<CompressionTask>();
    job->setOutputFilename(output);
    QCOMPARE(job->arguments(), (QStringList{QStringLiteral("-xml"), document}));
    QCOMPARE(documentLines(readFile(document)), documentLines(expected));
}

void TestCompressionTask::loadsASavedJob_data()
{
    QTest::addColumn<QByteArray>("content");
    QTest::addColumn<QStringList>("expected");  // the message, or output, operation, input column, log and files

    const QByteArray open = R"(<imagecompressor version="1.2">)", close = "</imagecompressor>";
    QTest::newRow("a saved mosaic") << open
            + R"(<compresstask operation="update" threads="4"><inputs><file path="/in/one.tif" zindex="7"/>
        <file path="/in/two.tif"/></inputs><output version="3" path="/out/result.wvc"/></compresstask>)"
            + close << QStringList{"/out/result.wvc", "update",      "SAVED",
                                   "/out/result.log", "/in/one.tif", "/in/two.tif"};
    QTest::newRow("no compresstask") << open + R"(<inputs><file path="a"/></inputs>)" + close
                                     << QStringList{"Xml document has no <compresstask> element."};
    QTest::newRow("empty inputs") << open + "<compresstask><inputs/></compresstask>" + close
                                  << QStringList{"Xml document has no input files."};
}

void TestCompressionTask::loadsASavedJob()
{
    QFETCH(QByteArray, content);
    QFETCH(QStringList, expected);
    const QString document = path("saved.xml");
    writeFile(document, content);
    QString errorText;
    job.reset(CompressionTask::fromXmlFile(document, errorText));
    QCOMPARE(job ? QStringList({job->outputFilename(),
                                job->operation() == CompressorXml::OperationUpdate ? "update" : "create",
                                job->inputFilename(), job->logFilename()})
                     + job->files()
                 : QStringList{errorText},
             expected.replaceInStrings(QStringLiteral("SAVED"), document));
    if (!job)
        return;
    // Run as it stands; and when gone before the run, made again from the little that was loaded.
    QCOMPARE(job->arguments(), (QStringList{QStringLiteral("-xml"), document}));
    QCOMPARE(readFile(document), content);
    QFile::remove(document);
    QCOMPARE(job->arguments(), (QStringList{QStringLiteral("-xml"), document}));
    // The same as a new job with the loaded members writes.
    CompressionTask same;
    same.setFiles(job->files()), same.setOutputFilename(job->outputFilename()), same.setOperation(job->operation());
    same.setXmlFilename(path("same.xml"));
    same.arguments();
    QCOMPARE(documentLines(readFile(document)), documentLines(readFile(path("same.xml"))));
}

void TestCompressionTask::recordedOutput_data()
{
    QTest::addColumn<QList<QByteArray>>("chunks");  // "@signal": the job's own signal; "!text": standard error
    QTest::addColumn<bool>("update");
    QTest::addColumn<Messages>("expected");
    QTest::addColumn<int>("state");

    const QString validating = QStringLiteral("Validating input ...");
    const QString compressing = QStringLiteral("Compressing file 'out.wvc'    Completion estimate: ");
    const QString statistics = QStringLiteral("Calculating statistics on file 'out.wvc'");
    // As a pipe delivers them: lines together, a line cut in two (each half stands alone and fits
    // nothing), progress redrawn with carriage returns.
    QTest::newRow("compressing a mosaic") << QList<
        QByteArray>{"@started",
                    "ImageCompressor 6.0.2\r\nValidating input: ... File 1 of 3\r\nValidating input: ... File 2 of 3\r\n",
                    "Validating input: ... File 3 of 3\r\nCreating grid geometry for out.wvc: ...\r\n",
                    "Creating grid geometry for out.wvc in progress: ...\r\n",
                    "Encoding [0.00%  T: 00:00:00  E: 00:00:00]\r", "Encoding [12.50%  T: 00:00:41  E: 24:05:00]\r",
                    "Encoding [37.5", "0%  T: 00:02:03  E: 02:07:44]\rEncoding [50.00%  T: 00:02:50  E: 02:00:30]\r",
                    "Encoding [62.50%  T: 00:03:25  E: 00:01:22]\r",
                    "WARNING: tile 17 holds no data\r\nEncoding [99.99%  T: 00:05:30  E: 00:00:01]\r",
                    // Lines that only resemble the rules.
                    "Validating input: ... File 3 of 3 done\n[3.0% e: 00:05:09]\n[ 3.0% E: 00:05:09]\n[3% E: 00:05:09]\n"
                    " Calculating Stats: [5.00%]\nCreating grid geometry Completed: ... \n",
                    "Encoding [100.00%  T: 00:05:31  E: 00:00:00]\r\n",
                    "Calculating Stats: [25.00%]\rCalculating Stats: [100.00%]\r\nDone.\r\n", "@finished"}
                                          << false
                                          << Messages{{"Starting compression of file 'a.tif'", 0},
                                                      {validating, 33},
                                                      {validating, 66},
                                                      {validating, 100},
                                                      {"Creating grid geometry in progress: ...", 0},
                                                      {compressing + "00 seconds ", 0},
                                                      {compressing + "1 days 24 hours ", 12},
                                                      {compressing + "2 hours 0 minutes ", 50},
                                                      {compressing + "1 minutes ", 62},
                                                      {compressing + "01 seconds ", 99},
                                                      {"Finished compressing 'out.wvc'.", 100},
                                                      {statistics, 25},
                                                      {"Finished calculating statistics on file 'out.wvc'.", 100},
                                                      {"Finished compressing 'out.wvc'.", 100}}
                                          << int(TaskState::Running);
    QTest::newRow("an update that fails") << QList<
        QByteArray>{"@started",
                    "Validating input: ... File 1 of 0\nValidating input: ... File 1 of 1\n",
                    "Encoding [50.00%  T: 00:10:00  E: 01:00:00]\nEncoding [100.00%  T: 00:20:00  E: 00:00:00]\n",
                    "Encoding [300.00%  T: 00:20:00  E: 00:00:00]\nEncoding [256.00%  T: 00:20:00  E: 00:00:00]\n",
                    "Calculating Stats: [40.00%  T: 00:00:10  E: 00:00:15]\n",
                    "Calculating Stats:\nCalculating Stats: [50%]\n",
                    "@failed",
                    "@finished"} << true
                                          << Messages{{"Starting update of file 'a.tif'", 0},
                                                      {validating, 0},
                                                      {validating, 100},
                                                      {"Updating file 'out.wvc'", 50},
                                                      {"Finished updating 'out.wvc'.", 100},
                                                      {"Updating file 'out.wvc'", 44},
                                                      {"Updating file 'out.wvc'", 0},
                                                      {"Updating file 'out.wvc'", 40},
                                                      {statistics, 0},
                                                      {statistics, 0},
                                                      {"Compressor exited with an error. See log file for details.", 0},
                                                      {"Finished updating 'out.wvc'.", 100}}
                                          << int(TaskState::Running);
    QTest::newRow("a tool that cannot start")
        << QList<QByteArray>{"@failedtostart", "@finished"} << false
        << Messages{{"Failed to start ImageCompressor executable.", 0}, {"Finished compressing 'out.wvc'.", 100}}
        << int(TaskState::Failed);
    // Standard error only collects; text ends at a NUL byte; nothing is kept after an abort.
    QTest::newRow("standard error, then an abort")
        << QList<QByteArray>{"!problem\nCalculating Stats: [50.00%]\n",
                             QByteArray("before\n\0Calculating Stats: [30.00%]", 35), "@abort",
                             "Calculating Stats: [50.00%]\n", "!after"}
        << false << Messages{} << int(TaskState::Pending);
}

void TestCompressionTask::recordedOutput()
{
    QFETCH(QList<QByteArray>, chunks);
    QFETCH(bool, update);
    QFETCH(Messages, expected);
    QFETCH(int, state);
    job->setFiles({QStringLiteral("/data/in/a.tif"), QStringLiteral("/data/in/z.tif")}),
        job->setOutputFilename(path("out.wvc"));
    job->setId(7), job->setOperation(update ? CompressorXml::OperationUpdate : CompressorXml::OperationCreate);
    QSignalSpy progress(job.get(), &CompressionTask::progress);
    QString output;
    QString error;
    for (const QByteArray& chunk : chunks) {
        if (chunk == "@abort")
            job->abort();
        else if (chunk == "@failed")
            emit job->failed(7, 1);
        else if (chunk.startsWith('@'))
            QVERIFY(QMetaObject::invokeMethod(job.get(), chunk.mid(1).constData(), Q_ARG(quint32, 7)));
        else if (chunk.startsWith('!') && job->handleStandardError(chunk.mid(1)))
            error += QString::fromUtf8(chunk.mid(1));
        else if (!chunk.startsWith('!') && job->handleStandardOutput(chunk))
            output += QString::fromUtf8(chunk.constData());
    }
    Messages messages;
    for (const QList<QVariant>& call : progress) {
        QCOMPARE(call.at(0).toUInt(), 7u);
        messages.append({call.at(1).toString(), call.at(2).toInt()});
    }
    QCOMPARE(messages, expected);
    QCOMPARE(QStringList({job->standardOutputText(), job->standardErrorText()}), QStringList({output, error}));
    QCOMPARE(job->state(), state);
}

QTEST_MAIN(TestCompressionTask)
#include "tst_compressiontask.moc"
