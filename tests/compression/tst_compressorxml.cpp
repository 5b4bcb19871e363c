#include <QDir>
#include <QDomDocument>
#include <QElapsedTimer>
#include <QRandomGenerator>
#include <QTemporaryDir>
#include <QTextCodec>
#include <QXmlStreamReader>
#include <QtTest>
#include <cmath>
#include <memory>

#include "compression/compressorxml.h"
#include "tests/support/testfiles.h"

namespace {

using Xml = CompressorXml;
const double notGiven = std::numeric_limits<double>::quiet_NaN();

// The start tags of a document as "path@attribute=value" lines, attributes in document order, with
// the root left out of the path, and "path=text" for text. The name and value pairs of option and item
// elements become "path[name]=value".
QStringList flatten(const QByteArray& document)
{
    QStringList lines;
    QStringList path;
    QXmlStreamReader xml(document);
    while (!xml.atEnd()) {
        xml.readNext();
        if (xml.isStartElement()) {
            path.append(xml.name().toString());
            const QString here = path.mid(1).join(QLatin1Char('/'));
            const QXmlStreamAttributes attributes = xml.attributes();
            if (xml.name() == QLatin1String("option") || xml.name() == QLatin1String("item")) {
                lines.append(QStringLiteral("%1[%2]=%3").arg(here, attributes.value(QStringLiteral("name")).toString(),
                                                             attributes.value(QStringLiteral("value")).toString()));
                continue;
            }
            if (attributes.isEmpty())
                lines.append(here);
            for (const QXmlStreamAttribute& attribute : attributes)
                lines.append(QStringLiteral("%1@%2=%3").arg(here, attribute.name().toString(), attribute.value().toString()));
        } else if (xml.isCharacters() && !xml.isWhitespace()) {
            lines.append(path.mid(1).join(QLatin1Char('/')) + QStringLiteral("=") + xml.text().toString());
        } else if (xml.isEndElement()) {
            path.removeLast();
        }
    }
    return lines;
}

QStringList startingWith(const QStringList& lines, const QString& prefix)
{
    QStringList result;
    for (const QString& line : lines)
        if (line.startsWith(prefix))
            result.append(line);
    return result;
}

Xml::Task task(const QString& method, int threads, double memcache = 0.25)
{
    Xml::Task record;
    record.method = method;
    record.threads = threads;
    record.memcache = memcache;
    return record;
}

Xml::InputFile input(const QString& path, int zindex = -1, bool hasNodata = false, int nodata = 0,
                     const QString& bandlist = QString())
{
    Xml::InputFile record;
    record.path = path;
    record.zindex = zindex;
    record.hasNodata = hasNodata;
    record.nodata = nodata;
    record.bandlist = bandlist;
    return record;
}

Xml::Output output(double cx, double cy, double tlx, double tly, double brx, double bry, int version = -1)
{
    Xml::Output record;
    record.version = version;
    record.path = QStringLiteral("/out/x.wvc");
    record.cellsizex = cx;
    record.cellsizey = cy;
    record.tlx = tlx;
    record.tly = tly;
    record.brx = brx;
    record.bry = bry;
    return record;
}

}  // namespace

Q_DECLARE_METATYPE(CompressorXml::Output)
Q_DECLARE_METATYPE(CompressorXml::Options)
Q_DECLARE_METATYPE(QVector<CompressorXml::InputFile>)

class TestCompressorXml : public QObject
{
    Q_OBJECT

private slots:
    void init();
    void cleanup();

    void writesCompleteDocument();
    void taskAttributes_data();
    void taskAttributes();
    void inputAttributes_data();
    void inputAttributes();
    void outputAttributes_data();
    void outputAttributes();
    void optionsInTheirOrder_data();
    void optionsInTheirOrder();
    void bandListElementAndAttribute();
    void regionTypes_data();
    void regionTypes();
    void metadataAndRpcData();
    void partsFirstWinsMetadataLastWins();
    void unwritableFileGivesFalse();

    void readsWhatTheListShows_data();
    void readsWhatTheListShows();
    void readFailures_data();
    void readFailures();
    void unreadableFileLeavesErrorText_data();
    void unreadableFileLeavesErrorText();
    void hostileDocuments_data();
    void hostileDocuments();
    void garbageAndTruncationNeverLoad();
    void limitsLeaveRealDocumentsAlone();

private:
    QStringList written(Xml& document);
    QString path(const QString& name) const { return directory->filePath(name); }
    std::unique_ptr<QTemporaryDir> directory;
};

void TestCompressorXml::init()
{
    directory = std::make_unique<QTemporaryDir>();
}

void TestCompressorXml::cleanup()
{
    directory.reset();
}

QStringList TestCompressorXml::written(Xml& document)
{
    const QString file = path(QStringLiteral("written.xml"));
    if (!document.write(file))
        return {QStringLiteral("write failed")};
    return flatten(readFile(file));
}

void TestCompressorXml::writesCompleteDocument()
{
    Xml document;
    Xml::Task t = task(QStringLiteral("tile"), 4, 2.5);
    t.operation = Xml::OperationUpdate;
    t.tempdir = QStringLiteral("/tmp/work");
    t.logfile = QStringLiteral("/out/x.log");
    t.loglevel = QStringLiteral("debug");
    t.interactive = true;
    document.setTask(t);
    document.setResampleMethod(Xml::ResampleCubicSpline);
    document.setInputs({input(QStringLiteral("/in/a.tif"), 1, true, 255), input(QStringLiteral("/in/b.tif"), 0)});
    document.setOutput(output(0.5, 0.5, 100.0, 200.0, 300.0, 50.0, 3));
    Xml::Options options;
    options.targetrate = 20;
    options.opacity = 3;
    document.setOptions(options);
    QVERIFY(document.write(path(QStringLiteral("full.xml"))));

    const QByteArray expected = R"(<?xml version="1.0" encoding="UTF-8"?>
<imagecompressor version="1.2">
    <compresstask operation="update" method="tile" threads="4" tempdir="/tmp/work" logfile="/out/x.log" loglevel="debug" memcache="2.5" interactive="true">
        <inputs resample="cubicspline">
            <file path="/in/a.tif" zindex="1" nodata="255"/>
            <file path="/in/b.tif" zindex="0"/>
        </inputs>
        <output version="3" path="/out/x.wvc" cellsizex="0.50000000" cellsizey="0.50000000" tlx="100.00000000" tly="200.00000000" brx="300.00000000" bry="50.00000000">
            <options>
                <option name="targetrate" value="20"/>
                <option name="genstats" value="true"/>
                <option name="opacity" value="3"/>
            </options>
        </output>
    </compresstask>
</imagecompressor>
)";
    QCOMPARE(QString::fromUtf8(readFile(path(QStringLiteral("full.xml")))), QString::fromUtf8(expected));
}

void TestCompressorXml::taskAttributes_data()
{
    QTest::addColumn<bool>("hasTask");
    QTest::addColumn<QString>("method");
    QTest::addColumn<int>("threads");
    QTest::addColumn<double>("memcache");
    QTest::addColumn<QStringList>("expected");
    QTest::addColumn<int>("threadsAfterWrite");

    const QString op = QStringLiteral("compresstask@operation=create");
    const QString interactive = QStringLiteral("compresstask@interactive=false");
    QTest::newRow("line forces one thread") << true << "line" << 8 << 0.25
        << QStringList{op, "compresstask@method=line", "compresstask@threads=1", "compresstask@memcache=0.25", interactive} << 1;
    QTest::newRow("the check is case-sensitive") << true << "Line" << 8 << 0.25
        << QStringList{op, "compresstask@method=Line", "compresstask@threads=8", "compresstask@memcache=0.25", interactive} << 8;
    QTest::newRow("tile keeps its threads") << true << "tile" << 3 << 0.25
        << QStringList{op, "compresstask@method=tile", "compresstask@threads=3", "compresstask@memcache=0.25", interactive} << 3;
    QTest::newRow("zero threads left out") << true << "" << 0 << 0.25
        << QStringList{op, "compresstask@memcache=0.25", interactive} << 0;
    QTest::newRow("negative threads left out") << true << "" << -1 << 0.25
        << QStringList{op, "compresstask@memcache=0.25", interactive} << -1;
    QTest::newRow("memcache zero") << true << "" << -1 << 0.0 << QStringList{op, "compresstask@memcache=0", interactive} << -1;
    QTest::newRow("memcache negative left out") << true << "" << -1 << -0.5 << QStringList{op, interactive} << -1;
    QTest::newRow("memcache six digits") << true << "" << -1 << 1234567.0
        << QStringList{op, "compresstask@memcache=1.23457e+06", interactive} << -1;
    QTest::newRow("no task: bare element") << false << "" << 0 << 0.0 << QStringList{"compresstask"} << 0;
}

void TestCompressorXml::taskAttributes()
{
    QFETCH(bool, hasTask);
    QFETCH(QString, method);
    QFETCH(int, threads);
    QFETCH(double, memcache);
    QFETCH(QStringList, expected);
    QFETCH(int, threadsAfterWrite);

    Xml document;
    if (hasTask)
        document.setTask(task(method, threads, memcache));
    const QStringList lines = written(document);
    QCOMPARE(lines.first(), QStringLiteral("@version=1.2"));
    QCOMPARE(startingWith(lines, QStringLiteral("compresstask")), expected);
    if (hasTask)
        QCOMPARE(document.task->threads, threadsAfterWrite);
}

void TestCompressorXml::inputAttributes_data()
{
    QTest::addColumn<QVector<Xml::InputFile>>("inputs");
    QTest::addColumn<int>("resample");
    QTest::addColumn<QStringList>("expected");

    QTest::newRow("no inputs, no element, no resample") << QVector<Xml::InputFile>{} << int(Xml::ResampleGauss) << QStringList{};
    QTest::newRow("default resample written with the first input")
        << QVector<Xml::InputFile>{input(QStringLiteral("/a.tif"))} << int(Xml::ResampleNearest)
        << QStringList{"compresstask/inputs@resample=nearest", "compresstask/inputs/file@path=/a.tif"};
    QTest::newRow("resample out of range left out")
        << QVector<Xml::InputFile>{input(QStringLiteral("/a.tif"))} << 8
        << QStringList{"compresstask/inputs", "compresstask/inputs/file@path=/a.tif"};
    QTest::newRow("every attribute") << QVector<Xml::InputFile>{input(QStringLiteral("/a.tif"), 0, true, 0, QStringLiteral("3,2,1"))}
                                     << int(Xml::ResampleGauss)
                                     << QStringList{"compresstask/inputs@resample=gauss", "compresstask/inputs/file@path=/a.tif",
                                                    "compresstask/inputs/file@bandlist=3,2,1", "compresstask/inputs/file@zindex=0",
                                                    "compresstask/inputs/file@nodata=0"};
    QTest::newRow("negative no-data dropped without a word")
        << QVector<Xml::InputFile>{input(QStringLiteral("/a.tif"), -1, true, -9999)} << int(Xml::ResampleMode)
        << QStringList{"compresstask/inputs@resample=mode", "compresstask/inputs/file@path=/a.tif"};
    QTest::newRow("no-data value without the flag")
        << QVector<Xml::InputFile>{input(QString(), 2, false, 7)} << int(Xml::ResampleBilinear)
        << QStringList{"compresstask/inputs@resample=bilinear", "compresstask/inputs/file@zindex=2"};
}

void TestCompressorXml::inputAttributes()
{
    QFETCH(QVector<Xml::InputFile>, inputs);
    QFETCH(int, resample);
    QFETCH(QStringList, expected);
    Xml document;
    document.setResampleMethod(Xml::ResampleMethod(resample));
    document.setInputs(inputs);
    QCOMPARE(startingWith(written(document), QStringLiteral("compresstask/inputs")), expected);
}

void TestCompressorXml::outputAttributes_data()
{
    QTest::addColumn<Xml::Output>("output");
    QTest::addColumn<QStringList>("expected");
    const QString out = QStringLiteral("compresstask/output@");

    QTest::newRow("nothing given") << output(notGiven, notGiven, notGiven, notGiven, notGiven, notGiven) << QStringList{out + "path=/out/x.wvc"};
    QTest::newRow("cell size needs both") << output(2.0, notGiven, notGiven, notGiven, notGiven, notGiven) << QStringList{out + "path=/out/x.wvc"};
    QTest::newRow("corners need all four") << output(notGiven, notGiven, 1.0, 2.0, 3.0, notGiven) << QStringList{out + "path=/out/x.wvc"};
    QTest::newRow("fixed with eight decimals")
        << output(0.1, 1.0 / 3.0, -180.0, 90.0, 180.123456789, -90.0, 0)
        << QStringList{out + "version=0", out + "path=/out/x.wvc", out + "cellsizex=0.10000000", out + "cellsizey=0.33333333",
                       out + "tlx=-180.00000000", out + "tly=90.00000000", out + "brx=180.12345679", out + "bry=-90.00000000"};
}

void TestCompressorXml::outputAttributes()
{
    QFETCH(Xml::Output, output);
    QFETCH(QStringList, expected);
    Xml document;
    document.setOutput(output);
    QCOMPARE(startingWith(written(document), QStringLiteral("compresstask/output")), expected);
}

void TestCompressorXml::optionsInTheirOrder_data()
{
    QTest::addColumn<Xml::Options>("options");
    QTest::addColumn<QStringList>("expected");
    const QString o = QStringLiteral("compresstask/output/options/option");

    QTest::newRow("all defaults write only genstats") << Xml::Options() << QStringList{o + "[genstats]=true"};

    Xml::Options all;
    all.bitdepth = 16;
    all.signedness = Xml::SignUnsigned;
    all.targetrate = 0;
    all.colorspace = QStringLiteral("RGB");
    all.genstats = false;
    all.blocksizex = 256;
    all.blocksizey = 128;
    all.huffman = 1;
    all.opacity = 2;
    all.nullvalue = QStringLiteral("0,0,0");
    all.srs = QStringLiteral("EPSG:32633");
    all.jp2tilesize = 1024;
    all.jp2precinctsize = 64;
    all.jp2qualitylayers = 5;
    all.jp2progressionorder = QStringLiteral("RPCL");
    all.jp2markers = QStringLiteral("SOP");
    all.jp2georef = QStringLiteral("GML");
    QTest::newRow("every option, srs after genstats")
        << all << QStringList{o + "[bitdepth]=16",         o + "[signedness]=false",     o + "[targetrate]=0",
                              o + "[colorspace]=RGB",      o + "[genstats]=false",       o + "[srs]=EPSG:32633",
                              o + "[blocksizex]=256",      o + "[blocksizey]=128",       o + "[huffman]=1",
                              o + "[opacity]=2",           o + "[nullvalue]=0,0,0",      o + "[jp2tilesize]=1024",
                              o + "[jp2precinctsize]=64",  o + "[jp2qualitylayers]=5",   o + "[jp2progressionorder]=RPCL",
                              o + "[jp2markers]=SOP",      o + "[jp2georef]=GML"};

    Xml::Options signedOnly;
    signedOnly.signedness = Xml::SignSigned;
    QTest::newRow("signed") << signedOnly << QStringList{o + "[signedness]=true", o + "[genstats]=true"};
}

void TestCompressorXml::optionsInTheirOrder()
{
    QFETCH(Xml::Options, options);
    QFETCH(QStringList, expected);
    Xml document;
    document.setOptions(options);
    QVERIFY(startingWith(written(document), QStringLiteral("compresstask/output")).isEmpty());
    document.setOutput(output(notGiven, notGiven, notGiven, notGiven, notGiven, notGiven));
    QCOMPARE(startingWith(written(document), QStringLiteral("compresstask/output/options/")), expected);
}

void TestCompressorXml::bandListElementAndAttribute()
{
    Xml document;
    document.setInputs({input(QStringLiteral("/a.tif"), -1, false, 0, QStringLiteral("1,2"))});
    document.setOutput(output(notGiven, notGiven, notGiven, notGiven, notGiven, notGiven));
    Xml::Band first;
    first.id = 0;
    first.description = QStringLiteral("red");
    Xml::Band second;
    second.id = -1;
    second.description = QStringLiteral("unnumbered");
    document.setBands({first, second});
    const QStringList lines = written(document);
    QCOMPARE(startingWith(lines, QStringLiteral("compresstask/inputs/file@bandlist")), QStringList{"compresstask/inputs/file@bandlist=1,2"});
    QCOMPARE(startingWith(lines, QStringLiteral("compresstask/output/")),
             (QStringList{"compresstask/output/bandlist", "compresstask/output/bandlist/band@id=0",
                          "compresstask/output/bandlist/band@description=red",
                          "compresstask/output/bandlist/band@description=unnumbered"}));
}

void TestCompressorXml::regionTypes_data()
{
    QTest::addColumn<int>("type");
    QTest::addColumn<QStringList>("expected");
    const QString r = QStringLiteral("compresstask/output/region@");
    QTest::newRow("shape") << int(Xml::RegionShape)
                           << QStringList{r + "type=shape", r + "name=Shapefile", r + "path=/shapes/a.shp", r + "layerid=7"};
    QTest::newRow("wkt") << int(Xml::RegionWkt) << QStringList{r + "type=wkt", r + "name=Shapefile", r + "path=/shapes/a.shp", r + "layerid=7"};
    QTest::newRow("none leaves type out") << int(Xml::RegionNone)
                                          << QStringList{r + "name=Shapefile", r + "path=/shapes/a.shp", r + "layerid=7"};
}

void TestCompressorXml::regionTypes()
{
    QFETCH(int, type);
    QFETCH(QStringList, expected);
    Xml document;
    document.setOutput(output(notGiven, notGiven, notGiven, notGiven, notGiven, notGiven));
    Xml::Region region;
    region.type = Xml::RegionType(type);
    region.name = QStringLiteral("Shapefile");
    region.path = QStringLiteral("/shapes/a.shp");
    region.layerid = QStringLiteral("7");
    document.setRegion(region);
    QCOMPARE(startingWith(written(document), QStringLiteral("compresstask/output/region")), expected);
}

void TestCompressorXml::metadataAndRpcData()
{
    Xml document;
    document.setOutput(output(notGiven, notGiven, notGiven, notGiven, notGiven, notGiven));
    Xml::Metadata empty;
    document.setMetadata(&empty);
    QCOMPARE(startingWith(written(document), QStringLiteral("compresstask/output/metadata")),
             QStringList{"compresstask/output/metadata"});

    Xml::Metadata metadata;
    metadata.telephone = QStringLiteral("555");
    metadata.acquistiondate = QStringLiteral("2021-06-01");
    metadata.classification = QStringLiteral("open");
    document.setMetadata(&metadata);
    Xml::RpcData rpc;
    rpc.errorbias = 0.5;
    rpc.lineoffset = 12345.678;
    rpc.heightscale = -1e-7;
    for (int i = 0; i < 20; ++i)
        rpc.samplenumeratorcoefficients[i] = i * 0.25;
    document.setRpcData(&rpc);

    const QStringList lines = written(document);
    QCOMPARE(startingWith(lines, QStringLiteral("compresstask/output/metadata")),
             (QStringList{"compresstask/output/metadata", "compresstask/output/metadata/item[classification]=open",
                          "compresstask/output/metadata/item[acquistiondate]=2021-06-01",
                          "compresstask/output/metadata/item[telephone]=555"}));
    const QStringList rpcLines = startingWith(lines, QStringLiteral("compresstask/output/rpcdata/")).filter(QLatin1String("="));
    QCOMPARE(rpcLines.size(), 16);
    QCOMPARE(rpcLines.at(0), QStringLiteral("compresstask/output/rpcdata/errorbias=0.5"));
    QCOMPARE(rpcLines.at(2), QStringLiteral("compresstask/output/rpcdata/lineoffset=12345.7"));
    QCOMPARE(rpcLines.at(11), QStringLiteral("compresstask/output/rpcdata/heightscale=-1e-07"));
    QCOMPARE(rpcLines.at(12), QStringLiteral("compresstask/output/rpcdata/linenumeratorcoefficients=0,0,0,0,0,0,0,0,0,0,0,0,0,0,0,0,0,0,0,0"));
    QCOMPARE(rpcLines.at(14), QStringLiteral("compresstask/output/rpcdata/samplenumeratorcoefficients="
                                             "0,0.25,0.5,0.75,1,1.25,1.5,1.75,2,2.25,2.5,2.75,3,3.25,3.5,3.75,4,4.25,4.5,4.75"));
    // The parts stand inside output in a fixed order, whatever order they were set in.
    QStringList order;
    for (const QString& line : startingWith(lines, QStringLiteral("compresstask/output/"))) {
        const QString element = line.section(QLatin1Char('/'), 2, 2).section(QLatin1Char('['), 0, 0).section(QLatin1Char('@'), 0, 0).section(QLatin1Char('='), 0, 0);
        if (order.isEmpty() || order.last() != element)
            order.append(element);
    }
    QCOMPARE(order, (QStringList{"metadata", "rpcdata"}));
}

void TestCompressorXml::partsFirstWinsMetadataLastWins()
{
    Xml document;
    document.setTask(task(QStringLiteral("tile"), 2));
    document.setTask(task(QStringLiteral("line"), 5));
    Xml::Options options;
    options.targetrate = 10;
    document.setOptions(options);
    options.targetrate = 20;
    document.setOptions(options);
    document.setOutput(output(notGiven, notGiven, notGiven, notGiven, notGiven, notGiven, 2));
    document.setOutput(output(notGiven, notGiven, notGiven, notGiven, notGiven, notGiven, 3));
    Xml::Region region;
    region.name = QStringLiteral("first");
    document.setRegion(region);
    region.name = QStringLiteral("second");
    document.setRegion(region);
    QCOMPARE(document.task->method, QStringLiteral("tile"));
    QCOMPARE(document.options->targetrate, 10);
    QCOMPARE(document.output->version, 2);
    QCOMPARE(document.region->name, QStringLiteral("first"));

    Xml::Metadata metadata;
    metadata.author = QStringLiteral("A");
    document.setMetadata(&metadata);
    metadata.author = QStringLiteral("B");
    metadata.email = QStringLiteral("b@example.org");
    document.setMetadata(&metadata);
    document.setMetadata(nullptr);
    QCOMPARE(document.metadata->author, QStringLiteral("B"));
    QCOMPARE(document.metadata->email, QStringLiteral("b@example.org"));

    Xml::RpcData rpc;
    rpc.linescale = 1.0;
    document.setRpcData(&rpc);
    rpc.linescale = 2.0;
    rpc.sampledenominatorcoefficients[19] = 9.0;
    document.setRpcData(&rpc);
    document.setRpcData(nullptr);
    QCOMPARE(document.rpcData->linescale, 2.0);
    QCOMPARE(document.rpcData->sampledenominatorcoefficients[19], 9.0);

    document.setInputs({input(QStringLiteral("/a"))});
    document.setInputs({input(QStringLiteral("/b")), input(QStringLiteral("/c"))});
    QCOMPARE(document.inputs.size(), 2);
}

void TestCompressorXml::unwritableFileGivesFalse()
{
    Xml document;
    QVERIFY(!document.write(path(QStringLiteral("missing/directory/x.xml"))));
    const QString existing = path(QStringLiteral("replace.xml"));
    writeFile(existing, QByteArray(5000, 'x'));
    QVERIFY(document.write(existing));
    QVERIFY(!readFile(existing).contains('x' + QByteArray("xxxx")));
}

void TestCompressorXml::readsWhatTheListShows_data()
{
    QTest::addColumn<QByteArray>("document");
    QTest::addColumn<bool>("hasTask");
    QTest::addColumn<int>("operation");
    QTest::addColumn<QStringList>("inputs");  // path|bandlist|zindex|nodata or "-" for none
    QTest::addColumn<QString>("output");       // version|path, or empty for none

    QTest::newRow("what the writer writes, read back")
        << QByteArray(R"(<?xml version="1.0" encoding="UTF-8"?>
<imagecompressor version="1.2">
  <compresstask operation="create" method="tile" threads="4" tempdir="/t" memcache="3" interactive="true">
    <inputs resample="cubic">
      <file path="C:\in\a.tif" bandlist="1,2" zindex="1" nodata="255"/>
      <file path="/in/b.tif" zindex="0"/>
    </inputs>
    <output version="3" path="/out/x.wvc" cellsizex="1.00000000" cellsizey="1.00000000">
      <bandlist><band id="1"/></bandlist>
      <region type="shape" path="/s.shp"/>
      <metadata><item name="author" value="A"/></metadata>
      <rpcdata><errorbias>1</errorbias></rpcdata>
      <options><option name="genstats" value="true"/></options>
    </output>
  </compresstask>
</imagecompressor>)")
        << true << int(Xml::OperationCreate) << QStringList{"C:\\in\\a.tif|1,2|1|255", "/in/b.tif||0|-"} << "3|/out/x.wvc";
    QTest::newRow("version 1.1, no operation means update")
        << QByteArray(R"(<imagecompressor version="1.1"><compresstask><inputs><file path="a"/></inputs></compresstask></imagecompressor>)")
        << true << int(Xml::OperationUpdate) << QStringList{"a||0|-"} << "";
    QTest::newRow("operation other than create")
        << QByteArray(R"(<imagecompressor version="1.2"><compresstask operation="Create"/></imagecompressor>)")
        << true << int(Xml::OperationUpdate) << QStringList{} << "";
    QTest::newRow("bad numbers read as 0, any no-data taken")
        << QByteArray(R"(<imagecompressor version="1.2"><compresstask operation="create"><inputs>)"
                      R"(<file zindex="x" nodata="-5"/><file nodata=""/><file nodata="y"/></inputs>)"
                      R"(<output version="v"/></compresstask></imagecompressor>)")
        << true << int(Xml::OperationCreate) << QStringList{"||0|-5", "||0|0", "||0|0"} << "0|";
    QTest::newRow("comment and text among inputs")
        << QByteArray(R"(<imagecompressor version="1.2"><compresstask operation="create"><inputs>)"
                      R"(<file path="a" zindex="4"/><!-- b --><other path="c"/>text</inputs></compresstask></imagecompressor>)")
        << true << int(Xml::OperationCreate) << QStringList{"a||4|-", "||0|-", "c||0|-", "||0|-"} << "";
    QTest::newRow("inputs and output found anywhere, first taken")
        << QByteArray(R"(<imagecompressor version="1.2"><x><inputs><file path="first"/></inputs></x>)"
                      R"(<inputs><file path="second"/></inputs><y><z><output path="deep" version="2"/></z></y>)"
                      R"(<output path="later"/><compresstask operation="create"/></imagecompressor>)")
        << true << int(Xml::OperationCreate) << QStringList{"first||0|-"} << "2|deep";
    QTest::newRow("no compresstask is no error")
        << QByteArray(R"(<imagecompressor version="1.2"><inputs><file path="a"/></inputs><output path="o"/></imagecompressor>)")
        << false << 0 << QStringList{} << "";
}

void TestCompressorXml::readsWhatTheListShows()
{
    QFETCH(QByteArray, document);
    QFETCH(bool, hasTask);
    QFETCH(int, operation);
    QFETCH(QStringList, inputs);
    QFETCH(QString, output);

    const QString file = path(QStringLiteral("read.xml"));
    writeFile(file, document);
    QString errorText = QStringLiteral("untouched");
    const std::unique_ptr<Xml> read(Xml::read(file, errorText));
    QVERIFY(read);
    QCOMPARE(errorText, QStringLiteral("untouched"));
    QCOMPARE(read->version, QStringLiteral("1.2"));
    QCOMPARE(read->task != nullptr, hasTask);
    if (hasTask) {
        QCOMPARE(int(read->task->operation), operation);
        QCOMPARE(read->task->method, QString());
        QCOMPARE(read->task->threads, -1);
        QCOMPARE(read->task->memcache, 0.25);
        QCOMPARE(read->task->interactive, false);
        QVERIFY(read->task->tempdir.isNull());
    }
    QStringList got;
    for (const Xml::InputFile& in : read->inputs)
        got.append(QStringLiteral("%1|%2|%3|%4").arg(in.path, in.bandlist).arg(in.zindex).arg(in.hasNodata ? QString::number(in.nodata) : QStringLiteral("-")));
    QCOMPARE(got, inputs);
    QCOMPARE(read->output != nullptr, !output.isEmpty());
    if (read->output) {
        QCOMPARE(QStringLiteral("%1|%2").arg(read->output->version).arg(read->output->path), output);
        QVERIFY(std::isnan(read->output->cellsizex) && std::isnan(read->output->cellsizey));
        QVERIFY(std::isnan(read->output->tlx) && std::isnan(read->output->bry));
    }
    QCOMPARE(read->resampleMethod, Xml::ResampleNearest);
    QVERIFY(read->bands.isEmpty());
    QVERIFY(!read->region && !read->options && !read->metadata && !read->rpcData);
}

void TestCompressorXml::readFailures_data()
{
    QTest::addColumn<QByteArray>("document");
    QTest::addColumn<QString>("message");

    const QString version = QStringLiteral("<imagecompressor> version attribute must be \"1.2\" or \"1.1\".");
    QTest::newRow("version 1.3") << QByteArray(R"(<imagecompressor version="1.3"><compresstask/></imagecompressor>)") << version;
    QTest::newRow("no version") << QByteArray(R"(<imagecompressor><compresstask/></imagecompressor>)") << version;
    QTest::newRow("version with blank") << QByteArray(R"(<imagecompressor version="1.2 "/>)") << version;
    QTest::newRow("other root")
        << QByteArray(R"(<tsdruploader version="1.0"/>)")
        << "Xml document is not a valid image compression process (root element is not <imagecompressor>).";
    QTest::newRow("root checked before version")
        << QByteArray(R"(<ImageCompressor version="9"/>)")
        << "Xml document is not a valid image compression process (root element is not <imagecompressor>).";
    QTest::newRow("malformed") << QByteArray("<imagecompressor version=\"1.2\">\n  <compresstask>\n</imagecompressor>")
                               << "tag mismatch at line 3 and colum 18.";
    QTest::newRow("empty") << QByteArray() << "unexpected end of file at line 1 and colum 1.";
    QTest::newRow("truncated") << QByteArray("<imagecompressor version=\"1.2\"><compresstask operation=\"cre")
                               << "unexpected end of file at line 1 and colum 60.";
    QTest::newRow("billion laughs")
        << QByteArray("<?xml version=\"1.0\"?>\n<!DOCTYPE l [<!ENTITY a \"aaaaaaaaaa\"><!ENTITY b \"&a;&a;&a;&a;&a;&a;&a;&a;&a;&a;\">"
                      "<!ENTITY c \"&b;&b;&b;&b;&b;&b;&b;&b;&b;&b;\"><!ENTITY d \"&c;&c;&c;&c;&c;&c;&c;&c;&c;&c;\">"
                      "<!ENTITY e \"&d;&d;&d;&d;&d;&d;&d;&d;&d;&d;\">]>\n<imagecompressor version=\"1.2\">&e;</imagecompressor>")
        << "The XML entity \"d\" expands to a string that is too large to process (10000 characters > 4096). at line 2 and colum 213.";
}

void TestCompressorXml::readFailures()
{
    QFETCH(QByteArray, document);
    QFETCH(QString, message);
    const QString file = path(QStringLiteral("bad.xml"));
    writeFile(file, document);
    QString errorText;
    const std::unique_ptr<Xml> read(Xml::read(file, errorText));
    QVERIFY(!read);
    QCOMPARE(errorText, message);
}

void TestCompressorXml::unreadableFileLeavesErrorText_data()
{
    QTest::addColumn<QString>("name");
    QTest::newRow("missing file") << QStringLiteral("nothing-here.xml");
    QTest::newRow("a directory") << QStringLiteral("folder.xml");
}

void TestCompressorXml::unreadableFileLeavesErrorText()
{
    QFETCH(QString, name);
    QDir(directory->path()).mkdir(QStringLiteral("folder.xml"));
    QString errorText = QStringLiteral("as it was");
    QVERIFY(!Xml::read(path(name), errorText));
    QCOMPARE(errorText, QStringLiteral("as it was"));
}

void TestCompressorXml::hostileDocuments_data()
{
    QTest::addColumn<QByteArray>("document");
    QTest::addColumn<QString>("message");

    const QByteArray open = "<imagecompressor version=\"1.2\">";
    const QByteArray close = "</imagecompressor>";
    QTest::newRow("deeply nested") << open + QByteArray("<a>").repeated(100000) + QByteArray("</a>").repeated(100000) + close
                                   << "Xml document is nested too deeply at line 1 and colum 797.";
    QTest::newRow("deeply nested and unclosed") << open + QByteArray("<a x='>'>").repeated(300)
                                                << "Xml document is nested too deeply at line 1 and colum 2327.";
    QTest::newRow("nested in another encoding")
        << QTextCodec::codecForName("UTF-16")->fromUnicode(QString::fromLatin1(open + QByteArray("<a>").repeated(100000)))
        << "Xml document is nested too deeply at line 1 and colum 797.";
    QByteArray chain = "<!DOCTYPE imagecompressor [<!ENTITY e0 \"x\">";
    for (int i = 1; i < 20000; ++i)
        chain += "<!ENTITY e" + QByteArray::number(i) + " \"&e" + QByteArray::number(i - 1) + ";\">";
    QTest::newRow("long entity chain") << chain + "]>\n" + open + "&e19999;" + close
                                       << "Xml document type declaration is too large at line 1 and colum 1.";
    QTest::newRow("many entity references")
        << "<!DOCTYPE imagecompressor [<!ENTITY a \"" + QByteArray(4000, 'a') + "\">]>\n" + open
               + QByteArray("&a;").repeated(1000000) + close
        << "Xml document type declaration is too large at line 1 and colum 1.";
    QTest::newRow("many references to a small entity")
        << "<!DOCTYPE imagecompressor [<!ENTITY a \"" + QByteArray(900, 'a') + "\">]>\n" + open
               + "<compresstask a=\"" + QByteArray("&a;").repeated(1000000) + "\"/>" + close
        << "Xml document refers to entities too often at line 2 and colum 3121.";
    QTest::newRow("ampersands that end nowhere") << open + "<compresstask a=\"" + QByteArray("&amp").repeated(1000000)
                                                 << "error occurred while parsing reference at line 1 and colum 53.";
    QTest::newRow("tens of megabytes")
        << open + "<compresstask><inputs>" + QByteArray("<file path=\"/data/x.tif\" zindex=\"1\"/>\n").repeated(800000)
               + "</inputs></compresstask>" + close
        << "Xml document is larger than 4194304 bytes and cannot be an image compression process.";
}

void TestCompressorXml::hostileDocuments()
{
    QFETCH(QByteArray, document);
    QFETCH(QString, message);
    const QString file = path(QStringLiteral("hostile.xml"));
    writeFile(file, document);
    QString errorText;
    QElapsedTimer clock;
    clock.start();
    const std::unique_ptr<Xml> read(Xml::read(file, errorText));
    QVERIFY(!read);
    QCOMPARE(errorText, message);
    // Generous enough for a loaded machine, far below what the unguarded parser takes.
    QVERIFY2(clock.elapsed() < 5000, qPrintable(QString::number(clock.elapsed())));
}

void TestCompressorXml::garbageAndTruncationNeverLoad()
{
    const QString file = path(QStringLiteral("garbage.xml"));
    QRandomGenerator random(20220607);
    for (int round = 0; round < 50; ++round) {
        QByteArray bytes(int(random.bounded(1, 20000)), Qt::Uninitialized);
        for (char& byte : bytes)
            byte = char(random.bounded(256));
        writeFile(file, bytes);
        QString errorText;
        QVERIFY(!Xml::read(file, errorText));
        QVERIFY2(errorText.contains(QLatin1String(" at line ")), qPrintable(errorText));
    }

    Xml document;
    document.setTask(task(QStringLiteral("tile"), 2));
    document.setInputs({input(QStringLiteral("/a.tif"), 1), input(QStringLiteral("/b.tif"), 0)});
    document.setOutput(output(1.0, 1.0, notGiven, notGiven, notGiven, notGiven, 3));
    document.setOptions(Xml::Options());
    const QString whole = path(QStringLiteral("whole.xml"));
    QVERIFY(document.write(whole));
    const QByteArray complete = readFile(whole);
    for (int cut = 0; cut < complete.size() - 20; cut += 7) {
        writeFile(file, complete.left(cut));
        QString errorText;
        QVERIFY2(!Xml::read(file, errorText), qPrintable(QString::number(cut)));
        QVERIFY2(errorText.endsWith(QLatin1Char('.')) && errorText.contains(QLatin1String(" and colum ")),
                 qPrintable(errorText));
    }
}

void TestCompressorXml::limitsLeaveRealDocumentsAlone()
{
    // Just below each limit still loads.
    const QByteArray open = "<imagecompressor version=\"1.2\"><compresstask operation=\"create\"><inputs>";
    const QByteArray close = "</inputs></compresstask></imagecompressor>";
    const int depth = Xml::maximumNestingDepth - 3;
    const QByteArray deep = open + "<file path=\"a\"/><file path=\"b\" zindex=\"1\"/></inputs>"
                            + QByteArray("<!-- <a><a><a> --><![CDATA[<a><a>]]><?pi <a>?>").repeated(1000)
                            + QByteArray("<x t='>'>").repeated(depth) + QByteArray("</x>").repeated(depth)
                            + "</compresstask></imagecompressor>";
    const QString file = path(QStringLiteral("limits.xml"));
    writeFile(file, deep);
    QString errorText;
    std::unique_ptr<Xml> read(Xml::read(file, errorText));
    QVERIFY2(read, qPrintable(errorText));
    QCOMPARE(read->inputs.size(), 2);

    QByteArray many = "<!DOCTYPE imagecompressor [<!ENTITY dir \"/data/\">]>" + open;
    const QByteArray entry = "<file path=\"&dir;a.tif\" zindex=\"1\" nodata=\"&lt;0\"/>\n";
    many += entry.repeated(1000);
    many += QByteArray("<file path=\"/data/b.tif\" zindex=\"0\"/>\n").repeated(int((Xml::maximumDocumentSize - many.size()) / 40));
    many += close;
    QVERIFY(many.size() <= Xml::maximumDocumentSize);
    writeFile(file, many);
    read.reset(Xml::read(file, errorText));
    QVERIFY2(read, qPrintable(errorText));
    QCOMPARE(read->inputs.first().path, QStringLiteral("/data/a.tif"));
    QVERIFY(read->inputs.size() > 100000);
}

QTEST_GUILESS_MAIN(TestCompressorXml)
#include "tst_compressorxml.moc"
