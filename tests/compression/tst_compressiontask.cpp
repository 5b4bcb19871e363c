#include <QDir>
#include <QSignalSpy>
#include <QTemporaryDir>
#include <QXmlStreamReader>
#include <QtTest>
#include <cmath>
#include <memory>

#include "compression/compressiontask.h"
#include "core/appconstants.h"
#include "core/toolpaths.h"
#include "tests/support/testfiles.h"
#include "tests/support/desktopcapture.h"
#include "tests/support/modalanswerer.h"

namespace {

// Attributes of the document as "element@name=value", option and item elements as
// "element[name]=value", the element being the local name only.
QStringList flatten(const QByteArray& document)
{
    QStringList lines;
    QXmlStreamReader xml(document);
    while (!xml.atEnd()) {
        if (xml.readNext() != QXmlStreamReader::StartElement)
            continue;
        const QString element = xml.name().toString();
        const QXmlStreamAttributes attributes = xml.attributes();
        if (element == QLatin1String("option") || element == QLatin1String("item")) {
            lines.append(QStringLiteral("%1[%2]=%3").arg(element, attributes.value(QStringLiteral("name")).toString(),
                                                         attributes.value(QStringLiteral("value")).toString()));
            continue;
        }
        lines.append(element);
        for (const QXmlStreamAttribute& attribute : attributes)
            lines.append(QStringLiteral("%1@%2=%3").arg(element, attribute.name().toString(), attribute.value().toString()));
    }
    return lines;
}

using Messages = QList<QPair<QString, int>>;

Messages messagesOf(const QSignalSpy& spy)
{
    Messages messages;
    for (const QList<QVariant>& call : spy)
        messages.append({call.at(1).toString(), call.at(2).toInt()});
    return messages;
}

}  // namespace

Q_DECLARE_METATYPE(Messages)

class TestCompressionTask : public QObject
{
    Q_OBJECT

private slots:
    void init();
    void cleanup();

    void defaults();
    void propertiesTakeTheirTypes();
    void documentFromProperties_data();
    void documentFromProperties();
    void existingDocumentIsUsedUnread();
    void documentNameIsKeptForLife();
    void namesBesideTheOutput();
    void environment_data();
    void environment();
    void fromXmlFile();
    void fromXmlFileFailures_data();
    void fromXmlFileFailures();
    void loadedJobWithoutItsDocumentWritesOne();

    void outputLines_data();
    void outputLines();
    void linesSplitAcrossChunks();
    void nothingKeptAfterAbort();
    void lifeCycleMessages_data();
    void lifeCycleMessages();
    void viewOutput();

private:
    CompressionTask* newTask();
    QString path(const QString& name) const { return directory->filePath(name); }
    std::unique_ptr<QTemporaryDir> directory;
    std::unique_ptr<CompressionTask> task;
};

void TestCompressionTask::init()
{
    directory = std::make_unique<QTemporaryDir>();
}

void TestCompressionTask::cleanup()
{
    task.reset();
    directory.reset();
}

CompressionTask* TestCompressionTask::newTask()
{
    task = std::make_unique<CompressionTask>();
    task->setFiles({QStringLiteral("/data/in/a.tif")});
    task->setOutputFilename(path(QStringLiteral("out.wvc")));
    task->setFormat(QStringLiteral("WVC v3"));
    return task.get();
}

void TestCompressionTask::defaults()
{
    // The NaN defaults are what make the document leave a cell size and a region out.
    CompressionTask fresh;
    QCOMPARE(fresh.opacity(), OpacityNone);
    QCOMPARE(fresh.signedness(), CompressorXml::SignUnspecified);
    QCOMPARE(fresh.resampleMethod(), CompressorXml::ResampleNearest);
    QCOMPARE(fresh.gDalCache(), 0u);
    QVERIFY(std::isnan(fresh.cellSize().x()) && std::isnan(fresh.topLeft().y()) && std::isnan(fresh.bottomRight().x()));
    QVERIFY(fresh.format().isNull() && fresh.srs().isNull() && fresh.files().isEmpty());
}

void TestCompressionTask::propertiesTakeTheirTypes()
{
    // The wizard fills jobs through the property system, so every type must be known by its name.
    CompressionTask job;
    const MetaData::MetaDataHash metadata{{QStringLiteral("author"), QStringLiteral("A")}};
    const Jp2Options::JP2EncodeOptionsHash jp2{{QStringLiteral("jp2tilesize"), 512}};
    QVERIFY(job.setProperty("signedness", QVariant::fromValue(CompressorXml::SignSigned)));
    QVERIFY(job.setProperty("resampleMethod", QVariant::fromValue(CompressorXml::ResampleLanczos)));
    QVERIFY(job.setProperty("opacity", QVariant::fromValue(OpacityShapefile)));
    QVERIFY(job.setProperty("metaData", QVariant::fromValue(metadata)));
    QVERIFY(job.setProperty("jp2EncodeOptions", QVariant::fromValue(jp2)));
    QVERIFY(job.setProperty("logFilename", QStringLiteral("/logs/mine.log")));
    QCOMPARE(job.signedness(), CompressorXml::SignSigned);
    QCOMPARE(job.resampleMethod(), CompressorXml::ResampleLanczos);
    QCOMPARE(job.opacity(), OpacityShapefile);
    QCOMPARE(job.metaData(), metadata);
    QCOMPARE(job.jp2EncodeOptions(), jp2);
    QCOMPARE(job.property("logFilename").toString(), QStringLiteral("/logs/mine.log"));
    for (const char* name : {"CompressorXml::ResampleMethod", "CompressorXml::SignType", "CompressionOpacity",
                             "MetaData::MetaDataHash", "Jp2Options::JP2EncodeOptionsHash"})
        QVERIFY2(QMetaType::type(name) != QMetaType::UnknownType, name);
}

void TestCompressionTask::documentFromProperties_data()
{
    QTest::addColumn<QVariantMap>("properties");
    QTest::addColumn<QStringList>("present");  // in document order
    QTest::addColumn<QStringList>("absent");   // prefixes

    const auto hash = [](std::initializer_list<std::pair<const char*, QVariant>> entries) {
        Jp2Options::JP2EncodeOptionsHash options;
        for (const auto& entry : entries)
            options.insert(QLatin1String(entry.first), entry.second);
        return QVariant::fromValue(options);
    };
    const QVariant jp2 = hash({{"jp2tilesize", 1024},
                               {"jp2precinctsize", QStringLiteral("64")},
                               {"jp2qualitylayers", 3},
                               {"jp2progressionorder", QStringLiteral("RPCL")},
                               {"jp2markers", QVariant()},
                               {"jp2georef", QStringLiteral("GMLJP2")}});
    MetaData::MetaDataHash metadata{{QStringLiteral("acquistiondate"), QStringLiteral("2020-01-02")},
                                    {QStringLiteral("author"), QStringLiteral("Surveyor")},
                                    {QStringLiteral("unknown"), QStringLiteral("dropped")}};

    QTest::newRow("three inputs count down")
        << QVariantMap{{"files", QStringList{"/a.tif", "/b.tif", "/c.tif"}}, {"bandList", "3,2,1"},
                       {"hasNoDataValue", true}, {"noDataValue", 0}}
        << QStringList{"inputs@resample=nearest", "file@path=/a.tif", "file@bandlist=3,2,1", "file@zindex=2", "file@nodata=0",
                       "file@path=/b.tif", "file@zindex=1", "file@path=/c.tif", "file@zindex=0"}
        << QStringList{};
    QTest::newRow("ratio cut to an integer") << QVariantMap{{"ratio", 19.9}} << QStringList{"option[targetrate]=19"}
                                             << QStringList{};
    QTest::newRow("WVC v2 never gathers statistics")
        << QVariantMap{{"format", "WVC v2"}, {"genStats", true}} << QStringList{"output@version=2", "option[genstats]=false"}
        << QStringList{};
    QTest::newRow("WVC v3 gathers them when asked")
        << QVariantMap{{"genStats", true}} << QStringList{"output@version=3", "option[genstats]=true"} << QStringList{};
    QTest::newRow("WVC v3 without statistics") << QVariantMap{{"genStats", false}} << QStringList{"option[genstats]=false"}
                                               << QStringList{};
    QTest::newRow("JPEG 2000 never gathers statistics")
        << QVariantMap{{"format", "JPEG 2000"}, {"genStats", true}} << QStringList{"output@version=1", "option[genstats]=false"}
        << QStringList{"option[jp2"};
    QTest::newRow("unknown format is version 1") << QVariantMap{{"format", "wvc v3"}} << QStringList{"output@version=1"}
                                                 << QStringList{};
    QTest::newRow("Auto colour space left out") << QVariantMap{{"colorSpace", "Auto"}} << QStringList{}
                                                << QStringList{"option[colorspace]"};
    QTest::newRow("RGB colour space written") << QVariantMap{{"colorSpace", "RGB"}} << QStringList{"option[colorspace]=RGB"}
                                              << QStringList{};
    QTest::newRow("Line method in lower case, one thread")
        << QVariantMap{{"method", "Line"}, {"threads", 8u}} << QStringList{"compresstask@method=line", "compresstask@threads=1"}
        << QStringList{};
    QTest::newRow("Tile method keeps its threads")
        << QVariantMap{{"method", "Tile"}, {"threads", 8u}, {"memCache", 1.5}, {"tempDir", "/scratch"}, {"logFilename", "/logs/x.log"},
                       {"operation", int(CompressorXml::OperationUpdate)}}
        << QStringList{"compresstask@operation=update", "compresstask@method=tile", "compresstask@threads=8",
                       "compresstask@tempdir=/scratch", "compresstask@logfile=/logs/x.log", "compresstask@memcache=1.5",
                       "compresstask@interactive=false"}
        << QStringList{"compresstask@loglevel"};
    QTest::newRow("default opacity writes 3") << QVariantMap{} << QStringList{"option[opacity]=3"} << QStringList{"region"};
    QTest::newRow("opacity from source writes none")
        << QVariantMap{{"opacity", QVariant::fromValue(OpacityFromSource)}} << QStringList{} << QStringList{"option[opacity]"};
    QTest::newRow("shapefile without its opacity writes no region")
        << QVariantMap{{"shapeFile", "/shapes/area.shp"}, {"opacity", QVariant::fromValue(OpacityNone)}}
        << QStringList{"option[opacity]=3"} << QStringList{"region"};
    QTest::newRow("shapefile region")
        << QVariantMap{{"shapeFile", "/shapes/area.shp"}, {"shapeFileLayerName", "area"}, {"shapeFileFeatureID", "12"},
                       {"opacity", QVariant::fromValue(OpacityShapefile)}}
        << QStringList{"region@type=shape", "region@name=Shapefile", "region@path=/shapes/area.shp",
                       "region@layername=area", "region@layerid=12", "option[opacity]=2"}
        << QStringList{};
    QTest::newRow("shapefile opacity without a shapefile")
        << QVariantMap{{"opacity", QVariant::fromValue(OpacityShapefile)}} << QStringList{"option[opacity]=2"}
        << QStringList{"region"};
    QTest::newRow("bit depth, signedness, null colour, srs")
        << QVariantMap{{"bitDepth", "16"}, {"signedness", QVariant::fromValue(CompressorXml::SignSigned)},
                       {"nullColor", "0,0,0"}, {"srs", "EPSG:4326"}, {"resampleMethod", QVariant::fromValue(CompressorXml::ResampleAverage)}}
        << QStringList{"inputs@resample=average", "option[bitdepth]=16", "option[signedness]=true", "option[srs]=EPSG:4326",
                       "option[nullvalue]=0,0,0"}
        << QStringList{"option[blocksize", "option[huffman]"};
    QTest::newRow("bit depth that is no number") << QVariantMap{{"bitDepth", "auto"}} << QStringList{"option[bitdepth]=0"}
                                                 << QStringList{};
    QTest::newRow("empty bit depth left to the tool") << QVariantMap{{"bitDepth", ""}} << QStringList{}
                                                      << QStringList{"option[bitdepth]", "option[signedness]"};
    QTest::newRow("geometry of the output")
        << QVariantMap{{"cellSize", QPointF(0.5, 0.25)}, {"topLeft", QPointF(10, 20)}, {"bottomRight", QPointF(30, 5)}}
        << QStringList{"output@cellsizex=0.50000000", "output@cellsizey=0.25000000", "output@tlx=10.00000000",
                       "output@tly=20.00000000", "output@brx=30.00000000", "output@bry=5.00000000"}
        << QStringList{};
    QTest::newRow("metadata for WVC v3")
        << QVariantMap{{"metaData", QVariant::fromValue(metadata)}}
        << QStringList{"metadata", "item[acquistiondate]=2020-01-02", "item[author]=Surveyor"} << QStringList{"item[unknown]"};
    QTest::newRow("no metadata for WVC v2")
        << QVariantMap{{"format", "WVC v2"}, {"metaData", QVariant::fromValue(metadata)}} << QStringList{}
        << QStringList{"metadata", "item"};
    QTest::newRow("no metadata element when there is none") << QVariantMap{} << QStringList{} << QStringList{"metadata"};
    QTest::newRow("JPEG 2000 options")
        << QVariantMap{{"format", "JPEG 2000"}, {"jp2EncodeOptions", jp2}}
        << QStringList{"option[jp2tilesize]=1024", "option[jp2precinctsize]=64", "option[jp2qualitylayers]=3",
                       "option[jp2progressionorder]=RPCL", "option[jp2georef]=GMLJP2"}
        << QStringList{"option[jp2markers]"};
    QTest::newRow("JPEG 2000 options only for JPEG 2000")
        << QVariantMap{{"jp2EncodeOptions", jp2}} << QStringList{} << QStringList{"option[jp2"};
    QTest::newRow("unused properties reach nothing")
        << QVariantMap{{"blockSize", 4096u}, {"customArgs", "--secret"}} << QStringList{}
        << QStringList{"option[blocksize", "--secret"};
}

void TestCompressionTask::documentFromProperties()
{
    QFETCH(QVariantMap, properties);
    QFETCH(QStringList, present);
    QFETCH(QStringList, absent);

    CompressionTask* job = newTask();
    for (auto it = properties.cbegin(); it != properties.cend(); ++it) {
        if (it.key() == QLatin1String("genStats"))
            job->setGenStats(it.value().toBool());
        else if (it.key() == QLatin1String("srs"))
            job->setSrs(it.value().toString());
        else if (it.key() == QLatin1String("operation"))
            job->setOperation(CompressorXml::Operation(it.value().toInt()));
        else
            QVERIFY2(job->setProperty(qPrintable(it.key()), it.value()), qPrintable(it.key()));
    }

    const QString document = path(QStringLiteral("out.xml"));
    QCOMPARE(job->arguments(), (QStringList{QStringLiteral("-xml"), document}));
    const QByteArray text = readFile(document);
    QVERIFY(text.startsWith("<?xml version=\"1.0\" encoding=\"UTF-8\"?>"));
    const QStringList lines = flatten(text);
    QVERIFY(lines.contains(QStringLiteral("imagecompressor@version=1.2")));
    QVERIFY(lines.contains(QStringLiteral("output@path=") + path(QStringLiteral("out.wvc"))));
    // In document order, though not necessarily next to each other.
    int from = 0;
    for (const QString& line : present) {
        from = lines.indexOf(line, from) + 1;
        QVERIFY2(from > 0, qPrintable(line + QStringLiteral(" missing or out of order in\n") + lines.join(QLatin1Char('\n'))));
    }
    for (const QString& prefix : absent)
        for (const QString& line : lines)
            QVERIFY2(!line.startsWith(prefix), qPrintable(line));
    QVERIFY(!text.contains("--secret"));
}

void TestCompressionTask::existingDocumentIsUsedUnread()
{
    CompressionTask* job = newTask();
    const QString document = path(QStringLiteral("out.xml"));
    writeFile(document, "left by an earlier job");
    QCOMPARE(job->arguments(), (QStringList{QStringLiteral("-xml"), document}));
    QCOMPARE(readFile(document), QByteArray("left by an earlier job"));

    // A second run of the same job finds its own document and keeps it too.
    QFile::remove(document);
    job->arguments();
    const QByteArray first = readFile(document);
    QVERIFY(first.contains("<imagecompressor"));
    job->setRatio(42.0);
    QCOMPARE(job->arguments(), (QStringList{QStringLiteral("-xml"), document}));
    QCOMPARE(readFile(document), first);
}

void TestCompressionTask::documentNameIsKeptForLife()
{
    CompressionTask* job = newTask();
    job->setFiles({QStringLiteral("/a.tif"), QStringLiteral("/b.tif")});
    const QString first = path(QStringLiteral("out.xml"));
    QCOMPARE(job->inputFilename(), first);
    job->setOutputFilename(path(QStringLiteral("moved.wvc")));
    QCOMPARE(job->xmlFilename(), first);
    QCOMPARE(job->arguments().last(), first);
    QVERIFY(QFile::exists(first));
    QCOMPARE(job->logFilename(), path(QStringLiteral("moved.log")));
}

void TestCompressionTask::namesBesideTheOutput()
{
    CompressionTask* job = newTask();
    job->setOutputFilename(path(QStringLiteral("sub/../city.v2.wvc")));
    job->setLogFilename(QStringLiteral("/elsewhere/tool.log"));
    QCOMPARE(job->inputFilename(), QStringLiteral("/data/in/a.tif"));
    QCOMPARE(job->logFilename(), path(QStringLiteral("city.v2.log")));
    QCOMPARE(job->xmlFilename(), path(QStringLiteral("city.v2.xml")));
    QCOMPARE(job->outputFilename(), path(QStringLiteral("sub/../city.v2.wvc")));
    QCOMPARE(job->programPath(), toolPath(AppConstants::ImageCompressorExe));
    QVERIFY(job->programPath().endsWith(QLatin1String("/ImageCompressor")));
    QCOMPARE(job->taskName(), QStringLiteral("Compress"));
    QCOMPARE(job->viewAction()->text(), QStringLiteral("View Image"));
    QCOMPARE(job->viewAction()->parent(), job);
    QVERIFY(job->logAction() && job->logAction() != job->viewAction());
}

void TestCompressionTask::environment_data()
{
    QTest::addColumn<uint>("cache");
    QTest::addColumn<QString>("expected");
    QTest::newRow("zero leaves the system's value") << 0u << "from the system";
    QTest::newRow("a value replaces it") << 512u << "512";
}

void TestCompressionTask::environment()
{
    QFETCH(uint, cache);
    QFETCH(QString, expected);
    CompressionTask* job = newTask();
    job->setGDalCache(cache);
    QProcessEnvironment environment;
    environment.insert(QStringLiteral("GDAL_CACHEMAX"), QStringLiteral("from the system"));
    environment.insert(QStringLiteral("OTHER"), QStringLiteral("1"));
    QCOMPARE(&job->modifyEnvironment(environment), &environment);
    QCOMPARE(environment.value(QStringLiteral("GDAL_CACHEMAX")), expected);
    QCOMPARE(environment.keys().size(), 2);

    QProcessEnvironment empty;
    job->modifyEnvironment(empty);
    QCOMPARE(empty.contains(QStringLiteral("GDAL_CACHEMAX")), cache != 0);
}

void TestCompressionTask::fromXmlFile()
{
    const QString document = path(QStringLiteral("saved.xml"));
    const QByteArray content = R"(<imagecompressor version="1.1"><compresstask operation="update" threads="4">
<inputs><file path="/in/one.tif" zindex="1"/><file path="/in/two.tif"/></inputs>
<output version="3" path="/out/result.wvc"/></compresstask></imagecompressor>)";
    writeFile(document, content);
    QString errorText;
    task.reset(CompressionTask::fromXmlFile(document, errorText));
    QVERIFY2(task, qPrintable(errorText));
    QCOMPARE(task->outputFilename(), QStringLiteral("/out/result.wvc"));
    QCOMPARE(task->files(), (QStringList{"/in/one.tif", "/in/two.tif"}));
    QCOMPARE(task->operation(), CompressorXml::OperationUpdate);
    QCOMPARE(task->xmlFilename(), document);
    QCOMPARE(task->inputFilename(), document);
    QCOMPARE(task->logFilename(), QStringLiteral("/out/result.log"));
    QCOMPARE(task->threads(), 0u);
    QVERIFY(task->format().isNull());
    QCOMPARE(task->arguments(), (QStringList{QStringLiteral("-xml"), document}));
    QCOMPARE(readFile(document), content);
}

void TestCompressionTask::fromXmlFileFailures_data()
{
    QTest::addColumn<QByteArray>("content");
    QTest::addColumn<QString>("message");
    QTest::newRow("no compresstask") << QByteArray(R"(<imagecompressor version="1.2"><inputs><file path="a"/></inputs></imagecompressor>)")
                                     << "Xml document has no <compresstask> element.";
    QTest::newRow("no inputs") << QByteArray(R"(<imagecompressor version="1.2"><compresstask><output path="o"/></compresstask></imagecompressor>)")
                               << "Xml document has no input files.";
    QTest::newRow("empty inputs") << QByteArray(R"(<imagecompressor version="1.2"><compresstask><inputs/></compresstask></imagecompressor>)")
                                  << "Xml document has no input files.";
    QTest::newRow("the reader's message") << QByteArray(R"(<tsdruploader version="1.0"/>)")
                                          << "Xml document is not a valid image compression process (root element is not <imagecompressor>).";
}

void TestCompressionTask::fromXmlFileFailures()
{
    QFETCH(QByteArray, content);
    QFETCH(QString, message);
    const QString document = path(QStringLiteral("saved.xml"));
    writeFile(document, content);
    QString errorText;
    QVERIFY(!CompressionTask::fromXmlFile(document, errorText));
    QCOMPARE(errorText, message);

    // A job without output still loads; its output is simply unknown.
    writeFile(document, R"(<imagecompressor version="1.2"><compresstask operation="create"><inputs><file path="a"/></inputs></compresstask></imagecompressor>)");
    task.reset(CompressionTask::fromXmlFile(document, errorText));
    QVERIFY(task);
    QVERIFY(task->outputFilename().isNull());
    QCOMPARE(task->files(), QStringList{"a"});
}

void TestCompressionTask::loadedJobWithoutItsDocumentWritesOne()
{
    const QString document = path(QStringLiteral("saved.xml"));
    writeFile(document, R"(<imagecompressor version="1.2"><compresstask operation="create"><inputs><file path="/in/a.tif"/></inputs>)"
                        R"(<output path="/out/b.wvc"/></compresstask></imagecompressor>)");
    QString errorText;
    task.reset(CompressionTask::fromXmlFile(document, errorText));
    QVERIFY(task);
    QFile::remove(document);
    QCOMPARE(task->arguments(), (QStringList{QStringLiteral("-xml"), document}));
    const QStringList lines = flatten(readFile(document));
    QVERIFY(lines.contains(QStringLiteral("file@path=/in/a.tif")));
    QVERIFY(lines.contains(QStringLiteral("output@path=/out/b.wvc")));
}

void TestCompressionTask::outputLines_data()
{
    QTest::addColumn<QByteArray>("chunk");
    QTest::addColumn<bool>("update");
    QTest::addColumn<Messages>("expected");

    const QString compressing = QStringLiteral("Compressing file 'out.wvc'    Completion estimate: ");
    const QString statistics = QStringLiteral("Calculating statistics on file 'out.wvc'");
    QTest::newRow("validation") << QByteArray("Validating input: ... File 3 of 12") << false
                                << Messages{{"Validating input ...", 25}};
    QTest::newRow("validation cut, not rounded") << QByteArray("Validating input: ... File 2 of 3") << false
                                                 << Messages{{"Validating input ...", 66}};
    QTest::newRow("validation of zero files") << QByteArray("Validating input: ... File 1 of 0") << false
                                              << Messages{{"Validating input ...", 0}};
    QTest::newRow("validation must fill the line") << QByteArray("Validating input: ... File 3 of 12 done") << false << Messages{};
    QTest::newRow("almost done") << QByteArray("Encoding [99.99% ... E: 00:00:01]") << false
                                 << Messages{{compressing + "01 seconds ", 99}};
    QTest::newRow("done during the run") << QByteArray("Encoding [100.00% ... E: 00:00:00]") << false
                                         << Messages{{"Finished compressing 'out.wvc'.", 100}};
    QTest::newRow("no time left") << QByteArray("[50.00% E: 00:00:00]") << false << Messages{{compressing + "00 seconds ", 50}};
    QTest::newRow("a day and the full hours") << QByteArray("x [10.5% y E: 24:05:00] z") << false
                                              << Messages{{compressing + "1 days 24 hours ", 10}};
    QTest::newRow("two days") << QByteArray("[1.0% E: 49:59:59]") << false << Messages{{compressing + "2 days 49 hours ", 1}};
    QTest::newRow("hours drop the seconds") << QByteArray("[2.0% E: 02:00:30]") << false
                                            << Messages{{compressing + "2 hours 0 minutes ", 2}};
    QTest::newRow("minutes drop the seconds") << QByteArray("[3.0% E: 00:05:09]") << false
                                              << Messages{{compressing + "5 minutes ", 3}};
    QTest::newRow("E is a capital letter") << QByteArray("[3.0% e: 00:05:09]") << false << Messages{};
    QTest::newRow("blank after the bracket") << QByteArray("[ 3.0% E: 00:05:09]") << false << Messages{};
    QTest::newRow("percentage without a point") << QByteArray("[3% E: 00:05:09]") << false << Messages{};
    QTest::newRow("byte wraps") << QByteArray("[300.00% E: 00:00:01]") << false << Messages{{compressing + "01 seconds ", 44}};
    QTest::newRow("256 wraps to 0, not finished") << QByteArray("[256.00% E: 00:00:01]") << false
                                                  << Messages{{compressing + "01 seconds ", 0}};
    QTest::newRow("statistics") << QByteArray("Calculating Stats: [50.00%]") << false << Messages{{statistics, 50}};
    QTest::newRow("statistics without percentage") << QByteArray("Calculating Stats:") << false << Messages{{statistics, 0}};
    QTest::newRow("statistics without point") << QByteArray("Calculating Stats: [50%]") << false << Messages{{statistics, 0}};
    QTest::newRow("statistics done") << QByteArray("Calculating Stats: [100.00%] done") << false
                                     << Messages{{"Finished calculating statistics on file 'out.wvc'.", 100}};
    QTest::newRow("statistics with a time are compression") << QByteArray("Calculating Stats: [40.00% E: 00:01:00]") << false
                                                            << Messages{{compressing + "1 minutes ", 40}};
    QTest::newRow("statistics are case-sensitive") << QByteArray("calculating stats: [50.00%]") << false << Messages{};
    QTest::newRow("statistics at the start only") << QByteArray(" Calculating Stats: [50.00%]") << false << Messages{};
    QTest::newRow("grid in progress") << QByteArray("Creating grid geometry for x in progress: ...") << false
                                      << Messages{{"Creating grid geometry in progress: ...", 0}};
    QTest::newRow("grid, neither ending") << QByteArray("Creating grid geometry for x: ...") << false << Messages{};
    QTest::newRow("grid completed never shows") << QByteArray("Creating grid geometry Completed: ... ") << false << Messages{};
    QTest::newRow("unknown line") << QByteArray("Reading tile 4/9") << false << Messages{};
    QTest::newRow("two lines, in order, any stage order")
        << QByteArray("Calculating Stats: [20.00%]\r\nValidating input: ... File 1 of 4\n") << false
        << Messages{{statistics, 20}, {"Validating input ...", 25}};
    QTest::newRow("carriage returns separate lines")
        << QByteArray("[10.00% E: 00:00:09]\r[20.00% E: 00:00:08]\r") << false
        << Messages{{compressing + "09 seconds ", 10}, {compressing + "08 seconds ", 20}};
    QTest::newRow("text stops at a NUL byte") << QByteArray("Calculating Stats: [20.00%]\n\0Calculating Stats: [30.00%]", 56)
                                              << false << Messages{{statistics, 20}};
    QTest::newRow("update without estimate") << QByteArray("[50.00% E: 01:00:00]") << true
                                             << Messages{{"Updating file 'out.wvc'", 50}};
    QTest::newRow("update finished") << QByteArray("[100.00% E: 00:00:00]") << true
                                     << Messages{{"Finished updating 'out.wvc'.", 100}};
    QTest::newRow("update statistics") << QByteArray("Calculating Stats: [5.00%]") << true << Messages{{statistics, 5}};
}

void TestCompressionTask::outputLines()
{
    QFETCH(QByteArray, chunk);
    QFETCH(bool, update);
    QFETCH(Messages, expected);
    CompressionTask* job = newTask();
    job->setId(7);
    job->setOperation(update ? CompressorXml::OperationUpdate : CompressorXml::OperationCreate);
    QSignalSpy progress(job, &CompressionTask::progress);
    QVERIFY(job->handleStandardOutput(chunk));
    QCOMPARE(messagesOf(progress), expected);
    for (const QList<QVariant>& call : progress)
        QCOMPARE(call.at(0).toUInt(), 7u);
    QCOMPARE(job->standardOutputText(), QString::fromUtf8(chunk.constData()));
    QCOMPARE(job->state(), int(TaskState::Pending));
}

void TestCompressionTask::linesSplitAcrossChunks()
{
    CompressionTask* job = newTask();
    QSignalSpy progress(job, &CompressionTask::progress);
    const QList<QByteArray> chunks{"Validating input: ... File 3", " of 12\nCalculating Stats: [1", "0.00%]\n",
                                   "Calculating Stats: [10.00%]\n[5.00% E: 00:00:0", "1]\n"};
    for (const QByteArray& chunk : chunks)
        job->handleStandardOutput(chunk);
    // Each fragment stands alone: " of 12" and "0.00%]" fit nothing, "Calculating Stats: [1" is a
    // statistics line without a percentage.
    const QString statistics = QStringLiteral("Calculating statistics on file 'out.wvc'");
    QCOMPARE(messagesOf(progress), (Messages{{statistics, 0}, {statistics, 10}}));
    QCOMPARE(job->standardOutputText(), QString::fromLatin1(chunks.join()));

    QVERIFY(job->handleStandardError("problem on stderr\nCalculating Stats: [50.00%]\n"));
    QCOMPARE(progress.size(), 2);
    QCOMPARE(job->standardErrorText(), QStringLiteral("problem on stderr\nCalculating Stats: [50.00%]\n"));
    QCOMPARE(job->state(), int(TaskState::Pending));
}

void TestCompressionTask::nothingKeptAfterAbort()
{
    CompressionTask* job = newTask();
    job->handleStandardOutput("before\n");
    job->handleStandardError("before\n");
    job->abort();
    QSignalSpy progress(job, &CompressionTask::progress);
    QVERIFY(!job->handleStandardOutput("Calculating Stats: [50.00%]\n"));
    QVERIFY(!job->handleStandardError("after\n"));
    QCOMPARE(progress.size(), 0);
    QCOMPARE(job->standardOutputText(), QStringLiteral("before\n"));
    QCOMPARE(job->standardErrorText(), QStringLiteral("before\n"));
}

void TestCompressionTask::lifeCycleMessages_data()
{
    QTest::addColumn<QString>("signal");
    QTest::addColumn<bool>("update");
    QTest::addColumn<QString>("message");
    QTest::addColumn<int>("value");
    QTest::addColumn<int>("state");

    QTest::newRow("started") << "started" << false << "Starting compression of file 'a.tif'" << 0 << int(TaskState::Running);
    QTest::newRow("started update") << "started" << true << "Starting update of file 'a.tif'" << 0 << int(TaskState::Running);
    QTest::newRow("failed to start") << "failedtostart" << false << "Failed to start ImageCompressor executable." << 0
                                     << int(TaskState::Failed);
    QTest::newRow("failed") << "failed" << false << "Compressor exited with an error. See log file for details." << 0
                            << int(TaskState::Warning);
    QTest::newRow("finished") << "finished" << false << "Finished compressing 'out.wvc'." << 100 << int(TaskState::Warning);
    QTest::newRow("finished update") << "finished" << true << "Finished updating 'out.wvc'." << 100 << int(TaskState::Warning);
}

void TestCompressionTask::lifeCycleMessages()
{
    QFETCH(QString, signal);
    QFETCH(bool, update);
    QFETCH(QString, message);
    QFETCH(int, value);
    QFETCH(int, state);
    CompressionTask* job = newTask();
    job->setFiles({QStringLiteral("/data/in/a.tif"), QStringLiteral("/data/in/z.tif")});
    job->setOperation(update ? CompressorXml::OperationUpdate : CompressorXml::OperationCreate);
    // A state the handlers have no business with shows which of them leave it alone.
    job->setState(TaskState::Warning);
    QSignalSpy progress(job, &CompressionTask::progress);
    if (signal == QLatin1String("started"))
        emit job->started(3);
    else if (signal == QLatin1String("failedtostart"))
        emit job->failedtostart(3);
    else if (signal == QLatin1String("failed"))
        emit job->failed(3, 1);
    else
        emit job->finished(3);
    QCOMPARE(messagesOf(progress), (Messages{{message, value}}));
    QCOMPARE(job->state(), state);
}

void TestCompressionTask::viewOutput()
{
    CompressionTask* job = newTask();
    {
        DesktopCapture desktop;
        job->viewAction()->trigger();
        QCOMPARE(desktop.urls, QList<QUrl>{QUrl::fromLocalFile(path(QStringLiteral("out.wvc")))});
    }
    // Without a desktop to hand the file to, the job says so itself, also for a missing file.
    ModalAnswerer answerer({ModalAnswerer::button(QMessageBox::Ok)});
    job->viewAction()->trigger();
    QVERIFY2(answerer.done(), qPrintable(answerer.report()));
    QCOMPARE(answerer.seen().first().title, QStringLiteral("Error"));
    QCOMPARE(answerer.seen().first().text, QStringLiteral("Could not launch application to view WVC or JPEG 2000 images. "
                                                          "Please install an image viewer."));
    QCOMPARE(answerer.seen().first().buttons, QStringList{"OK"});
    QCOMPARE(answerer.seen().first().icon, QMessageBox::Information);
}

QTEST_MAIN(TestCompressionTask)
#include "tst_compressiontask.moc"
