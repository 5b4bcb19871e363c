#include <QDir>
#include <QTemporaryDir>
#include <QTextCodec>
#include <QtTest>
#include <cmath>
#include <functional>
#include <memory>

#include "compression/compressorxml.h"
#include "tests/compression/documentlines.h"
#include "tests/support/testfiles.h"

namespace {

using Xml = CompressorXml;
using Build = std::function<void(Xml&)>;
const QByteArray zeros = QByteArray("0,").repeated(19) + '0';

// Everything a read document holds, the parts the reader must leave alone included.
QStringList reading(const Xml& document)
{
    QStringList lines{QStringLiteral("version ") + document.version};
    if (const Xml::Task* t = document.task)
        lines.append(QStringLiteral("task %1|%2|%3|%4|%5|%6|%7|%8")
                         .arg(t->operation == Xml::OperationCreate ? "create" : "update", t->method)
                         .arg(t->threads)
                         .arg(t->tempdir, t->logfile, t->loglevel)
                         .arg(t->memcache)
                         .arg(t->interactive ? "true" : "false"));
    lines.append(QStringLiteral("resample %1").arg(document.resampleMethod));
    for (const Xml::InputFile& in : document.inputs)
        lines.append(QStringLiteral("file %1|%2|%3|%4")
                         .arg(in.path, in.bandlist)
                         .arg(in.zindex)
                         .arg(in.hasNodata ? QString::number(in.nodata) : QStringLiteral("-")));
    if (const Xml::Output* o = document.output)
        lines.append(
            QStringLiteral("output %1|%2%3")
                .arg(o->version)
                .arg(o->path,
                     std::isnan(o->cellsizex + o->cellsizey + o->tlx + o->tly + o->brx + o->bry) ? "" : "|geometry"));
    if (!document.bands.isEmpty() || document.region || document.options || document.metadata || document.rpcData)
        lines.append(QStringLiteral("other parts"));
    return lines;
}

}  // namespace

Q_DECLARE_METATYPE(Build)

class TestCompressorXml : public QObject
{
    Q_OBJECT

private slots:
    void init() { directory = std::make_unique<QTemporaryDir>(); }
    void writes_data();
    void writes();
    void reads_data();
    void reads();
    void writtenDocumentsAlwaysLoad();

private:
    QString path(const QString& name) const { return directory->filePath(name); }
    std::unique_ptr<QTemporaryDir> directory;
};

void TestCompressorXml::writes_data()
{
    QTest::addColumn<Build>("build");
    QTest::addColumn<QByteArray>("expected");
    QTest::addColumn<int>("threadsAfter");

    // Parts set in another order than they are written; a second record is ignored, except that
    // metadata and rpc data are overwritten field by field, and not by null.
    QTest::newRow("every part")
        << Build([](Xml& d) {
               const Xml::Metadata first{"open", {}, {}, {}, "someone", {}, {}, {}, {}, "555"},
                   second{{}, "2021-06-01", {}, {}, {}, {}, {}, {}, {}, {}};
               d.setMetadata(&first), d.setMetadata(&second), d.setMetadata(nullptr);
               d.setOptions({16, Xml::SignUnsigned, 0, "RGB", false, 256, 128, 1, 2, "0,0,0", "EPSG:32633", 1024, 64, 5,
                             "RPCL", "SOP", "GML"});
               d.setOptions(Xml::Options());
               Xml::RpcData rpc;
               rpc.linescale = 7, rpc.linedenominatorcoefficients[19] = 7;
               d.setRpcData(&rpc);
               rpc = Xml::RpcData();
               rpc.errorbias = 0.5, rpc.lineoffset = 12345.678, rpc.heightscale = -1e-7;
               for (int i = 0; i < 20; ++i)
                   rpc.samplenumeratorcoefficients[i] = i * 0.25;
               d.setRpcData(&rpc), d.setRpcData(nullptr);
               d.setRegion({Xml::RegionWkt, "area", "/s/a.shp", {}, "7"}), d.setRegion(Xml::Region());
               d.setBands({{0, "red"}, {-1, "unnumbered"}});
               d.setOutput({3, "/out/x.wvc", 0.1, 1.0 / 3, -180, 90, 180.123456789, -90}), d.setOutput(Xml::Output());
               d.setInputs({{"/in/a.tif", "3,2,1", 2, true, 255},
                            {"/in/b & <c>.tif", {}, 1, true, -9999},
                            {"/in/c.tif", {}, 0, false, 7}});
               d.setResampleMethod(Xml::ResampleCubicSpline);
               d.setTask({Xml::OperationUpdate, "Line", 4, "/tmp/work", "/out/x.log", "debug", -0.5, true}),
                   d.setTask(Xml::Task());
           })
        << R"(<imagecompressor version="1.2"><compresstask operation="update" method="Line" threads="4" tempdir="/tmp/work"
            logfile="/out/x.log" loglevel="debug" interactive="true"><inputs resample="cubicspline"><file path="/in/a.tif" bandlist="3,2,1"
            zindex="2" nodata="255"/><file path="/in/b &amp; &lt;c>.tif" zindex="1"/><file path="/in/c.tif" zindex="0"/></inputs><output
            version="3" path="/out/x.wvc" cellsizex="0.10000000" cellsizey="0.33333333" tlx="-180.00000000" tly="90.00000000"
            brx="180.12345679" bry="-90.00000000"><bandlist><band id="0" description="red"/><band description="unnumbered"/></bandlist>
            <region type="wkt" name="area" path="/s/a.shp" layerid="7"/><metadata><item name="acquistiondate" value="2021-06-01"/>
            </metadata><rpcdata><errorbias>0.5</errorbias><errorrandom>0</errorrandom><lineoffset>12345.7</lineoffset>
            <sampleoffset>0</sampleoffset><latitudeoffset>0</latitudeoffset><longitudeoffset>0</longitudeoffset>
            <heightoffset>0</heightoffset><linescale>0</linescale><samplescale>0</samplescale><latitudescale>0</latitudescale>
            <longitudescale>0</longitudescale><heightscale>-1e-07</heightscale><linenumeratorcoefficients>)"
            + zeros + "</linenumeratorcoefficients><linedenominatorcoefficients>" + zeros
            + "</linedenominatorcoefficients>"
              "<samplenumeratorcoefficients>0,0.25,0.5,0.75,1,1.25,1.5,1.75,2,2.25,2.5,2.75,3,"
              "3.25,3.5,3.75,4,4.25,4.5,4.75</samplenumeratorcoefficients><sampledenominatorcoefficients>"
            + zeros +
            R"(</sampledenominatorcoefficients></rpcdata><options><option name="bitdepth" value="16"/><option name="signedness"
          value="false"/><option name="targetrate" value="0"/><option name="colorspace" value="RGB"/><option name="genstats" value="false"/>
          <option name="srs" value="EPSG:32633"/><option name="blocksizex" value="256"/><option name="blocksizey" value="128"/><option
          name="huffman" value="1"/><option name="opacity" value="2"/><option name="nullvalue" value="0,0,0"/><option name="jp2tilesize"
          value="1024"/><option name="jp2precinctsize" value="64"/><option name="jp2qualitylayers" value="5"/><option
          name="jp2progressionorder" value="RPCL"/><option name="jp2markers" value="SOP"/><option name="jp2georef" value="GML"/></options>
          </output></compresstask></imagecompressor>)"
        << 4;
    QTest::newRow("the line method on one thread, defaults, half a geometry, empty parts")
        << Build([](Xml& d) {
               d.setTask({Xml::OperationCreate, "line", 8, {}, {}, {}, 1234567.0, false});
               d.setInputs({{"/a.tif", {}, -1, false, 0}, {{}, {}, 0, true, 0}});
               d.setOutput({-1, "/out/x.wvc", 2.0, NAN, 1, 2, 3, NAN});
               const Xml::Metadata empty;
               d.setOptions(Xml::Options()), d.setRegion(Xml::Region()), d.setMetadata(&empty);
           })
        << QByteArray(
               R"(<imagecompressor version="1.2"><compresstask operation="create" method="line" threads="1" memcache="1.23457e+06"
          interactive="false"><inputs resample="nearest"><file path="/a.tif"/><file zindex="0" nodata="0"/></inputs><output
          path="/out/x.wvc"><region/><metadata/><options><option name="genstats" value="true"/></options></output></compresstask>
          </imagecompressor>)")
        << 1;
    QTest::newRow("no output, no options; no input, no resample") << Build([](Xml& d) {
        d.setVersion("1.1"), d.setResampleMethod(Xml::ResampleGauss), d.setOptions(Xml::Options()),
            d.setBands({{1, "red"}});
    }) << QByteArray(R"(<imagecompressor version="1.1"><compresstask/></imagecompressor>)")
                                                                  << 0;
}

void TestCompressorXml::writes()
{
    QFETCH(Build, build);
    QFETCH(QByteArray, expected);
    QFETCH(int, threadsAfter);
    Xml document;
    build(document);
    // Replaces what stands there; fails only where no file can be made.
    const QString file = path(QStringLiteral("written.xml"));
    writeFile(file, QByteArray(100000, 'x'));
    QVERIFY(document.write(file));
    QVERIFY(!document.write(path(QStringLiteral("missing/x.xml"))));
    QVERIFY(readFile(file).startsWith("<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<imagecompressor"));
    QCOMPARE(documentLines(readFile(file)), documentLines(expected));
    QCOMPARE(document.task ? document.task->threads : 0, threadsAfter);
}

void TestCompressorXml::reads_data()
{
    QTest::addColumn<QByteArray>("document");
    QTest::addColumn<QStringList>("expected");  // what the list needs, all else at its defaults; or the message

    const QStringList base{"version 1.2", "task create||-1||||0.25|false", "resample 0"};
    const QByteArray open = "<imagecompressor version=\"1.2\">", close = "</imagecompressor>";
    const auto row = [](const char* name, const QByteArray& document, const QStringList& expected) {
        QTest::newRow(name) << document << expected;
    };
    row("a written document",
        R"(<?xml version="1.0" encoding="UTF-8"?><imagecompressor version="1.2"><compresstask operation="create"
        method="tile" threads="4" tempdir="/t" logfile="/l" loglevel="x" memcache="3" interactive="true"><inputs resample="cubic"><file
        path="C:\in\a.tif" bandlist="1,2" zindex="1" nodata="255"/><file path="/in/b &amp; c.tif" zindex="0"/></inputs><output version="3"
        path="/out/x.wvc" cellsizex="1.00000000" cellsizey="1.00000000" tlx="1" tly="2" brx="3" bry="4"><bandlist><band id="1"/></bandlist>
        <region type="shape" path="/s.shp"/><metadata><item name="author" value="A"/></metadata><rpcdata><errorbias>1</errorbias></rpcdata>
        <options><option name="genstats" value="true"/></options></output></compresstask></imagecompressor>)",
        base + QStringList{"file C:\\in\\a.tif|1,2|1|255", "file /in/b & c.tif||0|-", "output 3|/out/x.wvc"});
    row("version 1.1 without an operation is an update",
        R"(<imagecompressor version="1.1"><compresstask><inputs><file path="a"/></inputs>
        </compresstask>)"
            + close,
        {"version 1.2", "task update||-1||||0.25|false", "resample 0", "file a||0|-"});
    row("bad numbers read as 0, any no-data taken, every node among the inputs",
        open + R"(<compresstask operation="create"><inputs><file
        zindex="x" nodata="-5"/><file nodata=""/><file nodata="y" zindex="1" zindex="2"/><!-- b --><other
        path="c"/>text &amp; more
        <![CDATA[]]><?pi x?><inputs><file path="inner"/></inputs></inputs><output version="v"/>
        </compresstask>)"
            + close,
        base
            + QStringList{"file ||0|-5", "file ||0|0", "file ||2|0", "file ||0|-", "file c||0|-", "file ||0|-",
                          "file ||0|-", "file ||0|-", "file ||0|-", "output 0|"});
    row("declared entities expand; a reference among the inputs is a node",
        R"(<!DOCTYPE imagecompressor [<!ENTITY dir "/data/">]>)" + open
            + R"(<compresstask operation="create"><inputs><file path="&dir;a.tif"/>&dir;</inputs></compresstask>)"
            + close,
        base + QStringList{"file /data/a.tif||0|-", "file ||0|-"});
    row("entities declared elsewhere are skipped, a node in content only",
        R"(<!DOCTYPE imagecompressor SYSTEM "job.dtd">)" + open
            + R"(<compresstask operation="create"><inputs><file path="&p;" nodata="&n;"/>&q;</inputs></compresstask>)"
            + close,
        base + QStringList{"file ||0|0", "file ||0|-"});
    row("found anywhere, the first taken; any operation but create is an update",
        open + R"(<x><inputs><file path="first"/></inputs></x>
        <inputs><file path="second"/></inputs><y><z><output path="deep" version="2"/></z></y><output path="later"/><compresstask
        operation="Create"/><compresstask operation="create"/>)"
            + close,
        {"version 1.2", "task update||-1||||0.25|false", "resample 0", "file first||0|-", "output 2|deep"});
    row("without compresstask nothing else is read",
        open + R"(<inputs><file path="a"/></inputs><output path="o"/>)" + close, {"version 1.2", "resample 0"});

    const QString version = QStringLiteral("<imagecompressor> version attribute must be \"1.2\" or \"1.1\".");
    const QString root = QStringLiteral(
        "Xml document is not a valid image compression process (root element is not <imagecompressor>).");
    row("version 1.3", R"(<imagecompressor version="1.3"><compresstask/></imagecompressor>)", {version});
    row("no version", R"(<imagecompressor><compresstask/></imagecompressor>)", {version});
    row("root checked before version", R"(<ImageCompressor version="9"/>)", {root});
    row("malformed", open + "\n  <compresstask>\n" + close, {"tag mismatch at line 3 and colum 18."});
    row("empty", "", {"unexpected end of file at line 1 and colum 1."});
    row("carriage returns dropped before parsing", open + "\r\r\r<compresstask>\r",
        {"unexpected end of file at line 1 and colum 46."});
    row("billion laughs",
        "<?xml version=\"1.0\"?>\n<!DOCTYPE l [<!ENTITY a \"aaaaaaaaaa\"><!ENTITY b \"&a;&a;&a;&a;&a;&a;&a;&a;&a;&a;\">"
        "<!ENTITY c \"&b;&b;&b;&b;&b;&b;&b;&b;&b;&b;\"><!ENTITY d \"&c;&c;&c;&c;&c;&c;&c;&c;&c;&c;\"><!ENTITY e \"&d;&d;&d;&d;&d;&d;"
        "&d;&d;&d;&d;\">]>\n"
            + open + "&e;" + close,
        {"The XML entity \"d\" expands to a string that is too large to process (10000 characters > 4096). at line 2 and colum 213."});
    row("deeply nested", open + QByteArray("<a>").repeated(100000) + QByteArray("</a>").repeated(100000) + close,
        {"Xml document is nested too deeply at line 1 and colum 797."});
    row("deeply nested, unclosed", open + QByteArray("<a x='>'>").repeated(300),
        {"Xml document is nested too deeply at line 1 and colum 2327."});
    row("deeply nested in UTF-16",
        QTextCodec::codecForName("UTF-16")->fromUnicode(QString::fromLatin1(open + QByteArray("<a>").repeated(100000))),
        {"Xml document is nested too deeply at line 1 and colum 797."});
    QByteArray chain = "<!DOCTYPE imagecompressor [<!ENTITY e0 \"x\">";
    for (int i = 1; i < 20000; ++i)
        chain += "<!ENTITY e" + QByteArray::number(i) + " \"&e" + QByteArray::number(i - 1) + ";\">";
    row("long entity chain", chain + "]>\n" + open + "&e19999;" + close,
        {"Xml document type declaration is too large at line 1 and colum 1."});
    row("many references to a small entity",
        "<!DOCTYPE imagecompressor [<!ENTITY a \"" + QByteArray(900, 'a') + "\">]>\n" + open + "<compresstask a=\""
            + QByteArray("&a;").repeated(1000000) + "\"/>" + close,
        {"Xml document refers to entities too often at line 2 and colum 3121."});
    // A file that cannot be opened leaves the message as it was; one past the bound is refused by its size, unread.
    row("missing", "<missing>", {"as it was"});
    row("a directory", "<directory>", {"as it was"});
    row("too large", "<sparse file past the bound>",
        {"Xml document is larger than 1000000000 bytes and cannot be an image compression process."});
    row("ampersands that end nowhere", open + "<compresstask a=\"" + QByteArray("&amp").repeated(1000000),
        {"error occurred while parsing reference at line 1 and colum 53."});
}

void TestCompressorXml::reads()
{
    QFETCH(QByteArray, document);
    QFETCH(QStringList, expected);
    const QString file = path(QStringLiteral("read.xml"));
    if (document == "<directory>")
        QVERIFY(QDir().mkdir(file));
    else if (document == "<sparse file past the bound>")
        QVERIFY(QFile(file).open(QIODevice::WriteOnly) && QFile(file).resize(Xml::maximumDocumentSize + 1));
    else if (document != "<missing>")
        writeFile(file, document);
    QString errorText = QStringLiteral("as it was");
    const std::unique_ptr<Xml> read(Xml::read(file, errorText));
    QCOMPARE(read ? reading(*read) : QStringList{errorText}, expected);
    QVERIFY(!read || errorText == QLatin1String("as it was"));
}

void TestCompressorXml::writtenDocumentsAlwaysLoad()
{
    // A mosaic far past the old bound of 4 MiB, with texts that look like the markup the guards count.
    const QStringList awkward{"&e;", "<!DOCTYPE x [", "]]>", "<a><a>", "&#38;", "\"'", "é中😀", " - ", "&amp;"};
    Xml document;
    document.setTask({Xml::OperationCreate, {}, 2, awkward.join(QString()), awkward.join(QString()), {}, 0.25, false});
    QVector<Xml::InputFile> inputs;
    for (int i = 0; i < 200000; ++i)
        inputs.append({QStringLiteral("/tiles/%1%2.tif").arg(awkward.at(i % 9)).arg(i), awkward.at((i + 1) % 9),
                       199999 - i, i % 3 == 0, i % 256});
    document.setInputs(inputs);
    document.setOutput({3, "/out/<!ENTITY x \"&x;\">.wvc", NAN, NAN, NAN, NAN, NAN, NAN});
    const Xml::Metadata metadata{awkward.join('|'), {}, {}, {}, awkward.join(QString()), {}, {}, {}, {}, {}};
    document.setMetadata(&metadata);
    QVERIFY(document.write(path(QStringLiteral("mosaic.xml"))));
    QVERIFY(QFileInfo(path(QStringLiteral("mosaic.xml"))).size() > 10 * 1024 * 1024);

    QString errorText;
    const std::unique_ptr<Xml> read(Xml::read(path(QStringLiteral("mosaic.xml")), errorText));
    QVERIFY2(read, qPrintable(errorText));
    QCOMPARE(reading(*read).mid(3), reading(document).mid(3, inputs.size() + 1));
}

QTEST_GUILESS_MAIN(TestCompressorXml)
#include "tst_compressorxml.moc"
