#include "tools/imagecompressor/jobdocument.h"

#include <QFile>
#include <QRegExp>
#include <QSet>
#include <QXmlStreamReader>
#include <climits>
#include <cmath>
#include <functional>

namespace {

// Thrown inside the reader only, and turned into the one error line at its edge.
struct DocumentError
{
    QString text;
};

[[noreturn]] void fail(const QString& text)
{
    throw DocumentError{text};
}

QString quoted(const QString& value)
{
    return QLatin1Char('\'') + value + QLatin1Char('\'');
}

int wholeNumber(const QString& where, const QString& value, int low, int high)
{
    bool ok = false;
    const int number = value.trimmed().toInt(&ok);
    if (!ok || number < low || number > high)
        fail(
            QStringLiteral("%1 %2: must be a whole number from %3 to %4").arg(where, quoted(value)).arg(low).arg(high));
    return number;
}

double realNumber(const QString& where, const QString& value)
{
    bool ok = false;
    const double number = value.trimmed().toDouble(&ok);
    if (!ok || !std::isfinite(number))
        fail(QStringLiteral("%1 %2: must be a number").arg(where, quoted(value)));
    return number;
}

bool truth(const QString& where, const QString& value)
{
    if (value == QLatin1String("true"))
        return true;
    if (value == QLatin1String("false"))
        return false;
    fail(QStringLiteral("%1 %2: must be \"true\" or \"false\"").arg(where, quoted(value)));
}

QString oneOf(const QString& where, const QString& value, const QStringList& allowed)
{
    for (const QString& choice : allowed)
        if (value.compare(choice, Qt::CaseInsensitive) == 0)
            return choice;
    fail(QStringLiteral("%1 %2: must be one of %3").arg(where, quoted(value), allowed.join(QStringLiteral(", "))));
}

// "sop,eph", "gml,geojp2" or "none": a set of the allowed words, "none" alone meaning empty.
QStringList wordSet(const QString& where, const QString& value, const QStringList& allowed)
{
    const QStringList words = value.toLower().split(QLatin1Char(','), Qt::SkipEmptyParts);
    if (words == QStringList{QStringLiteral("none")})
        return {};
    QStringList result;
    for (const QString& word : words) {
        const QString trimmed = word.trimmed();
        if (!allowed.contains(trimmed) || result.contains(trimmed))
            fail(QStringLiteral("%1 %2: must be \"none\" or a list of %3")
                     .arg(where, quoted(value), allowed.join(QStringLiteral(", "))));
        result.append(trimmed);
    }
    if (result.isEmpty())
        fail(QStringLiteral("%1 %2: must be \"none\" or a list of %3")
                 .arg(where, quoted(value), allowed.join(QStringLiteral(", "))));
    return result;
}

// A band list such as "1,2,3", "3 2 1" or "1-3,5".
QVector<int> bandList(const QString& where, const QString& value)
{
    QVector<int> bands;
    const QStringList parts = value.split(QRegExp(QStringLiteral("[,;\\s]+")), Qt::SkipEmptyParts);
    for (const QString& part : parts) {
        const int dash = part.indexOf(QLatin1Char('-'), 1);
        bool ok1 = false;
        bool ok2 = true;
        const int first = part.left(dash < 0 ? part.size() : dash).toInt(&ok1);
        const int last = dash < 0 ? first : part.mid(dash + 1).toInt(&ok2);
        if (!ok1 || !ok2 || first < 1 || last < first || last > 65535)
            fail(QStringLiteral("%1 %2: must list band numbers from 1, such as \"1,2,3\" or \"1-3\"")
                     .arg(where, quoted(value)));
        for (int band = first; band <= last; ++band)
            bands.append(band);
    }
    if (bands.isEmpty())
        fail(QStringLiteral("%1 %2: names no band").arg(where, quoted(value)));
    return bands;
}

bool isPowerOfTwo(int value)
{
    return value > 0 && (value & (value - 1)) == 0;
}

const QStringList rpcScalars{
    QStringLiteral("errorbias"),     QStringLiteral("errorrandom"),    QStringLiteral("lineoffset"),
    QStringLiteral("sampleoffset"),  QStringLiteral("latitudeoffset"), QStringLiteral("longitudeoffset"),
    QStringLiteral("heightoffset"),  QStringLiteral("linescale"),      QStringLiteral("samplescale"),
    QStringLiteral("latitudescale"), QStringLiteral("longitudescale"), QStringLiteral("heightscale"),
};
const QStringList rpcArrays{QStringLiteral("linenumeratorcoefficients"), QStringLiteral("linedenominatorcoefficients"),
                            QStringLiteral("samplenumeratorcoefficients"),
                            QStringLiteral("sampledenominatorcoefficients")};
// GDAL's names for the same sixteen values, in the same order.
const QStringList rpcKeys{
    QStringLiteral("ERR_BIAS"),       QStringLiteral("ERR_RAND"),       QStringLiteral("LINE_OFF"),
    QStringLiteral("SAMP_OFF"),       QStringLiteral("LAT_OFF"),        QStringLiteral("LONG_OFF"),
    QStringLiteral("HEIGHT_OFF"),     QStringLiteral("LINE_SCALE"),     QStringLiteral("SAMP_SCALE"),
    QStringLiteral("LAT_SCALE"),      QStringLiteral("LONG_SCALE"),     QStringLiteral("HEIGHT_SCALE"),
    QStringLiteral("LINE_NUM_COEFF"), QStringLiteral("LINE_DEN_COEFF"), QStringLiteral("SAMP_NUM_COEFF"),
    QStringLiteral("SAMP_DEN_COEFF"),
};

class Reader
{
public:
    Reader(QIODevice* device, JobDocument& job)
        : xml(device)
        , job(job)
    {}

    void read()
    {
        if (!xml.readNextStartElement())
            parseFailure();
        if (xml.name() != QLatin1String("imagecompressor"))
            fail(QStringLiteral("<%1>: the root element must be <imagecompressor>").arg(xml.name().toString()));
        const QString version = xml.attributes().value(QLatin1String("version")).toString();
        if (version != QLatin1String("1.2") && version != QLatin1String("1.1"))
            fail(QStringLiteral("imagecompressor version %1: must be \"1.2\" or \"1.1\"").arg(quoted(version)));
        bool seenTask = false;
        children([&](const QString& name) {
            if (name != QLatin1String("compresstask") || seenTask)
                unexpected(name, QStringLiteral("imagecompressor"));
            seenTask = true;
            readTask();
        });
        xml.readNext();
        while (!xml.atEnd() && !xml.hasError())
            xml.readNext();
        if (xml.hasError())
            parseFailure();
        if (!seenTask)
            fail(QStringLiteral("imagecompressor: the document has no <compresstask>"));
    }

private:
    void parseFailure()
    {
        fail(QStringLiteral("job document line %1 column %2: %3")
                 .arg(xml.lineNumber())
                 .arg(xml.columnNumber())
                 .arg(xml.errorString().isEmpty() ? QStringLiteral("no root element") : xml.errorString()));
    }

    [[noreturn]] void unexpected(const QString& name, const QString& parent)
    {
        fail(QStringLiteral("%1: unexpected element <%2>").arg(parent, name));
    }

    // Calls handle for each child element of the current one; handle must consume the element.
    void children(const std::function<void(const QString&)>& handle)
    {
        while (xml.readNextStartElement())
            handle(xml.name().toString());
        if (xml.hasError())
            parseFailure();
    }

    void noChildren(const QString& element)
    {
        children([&](const QString& name) { unexpected(name, element); });
    }

    QString attribute(const char* name) const { return xml.attributes().value(QLatin1String(name)).toString(); }
    bool has(const char* name) const { return xml.attributes().hasAttribute(QLatin1String(name)); }

    void readTask()
    {
        const QString where = QStringLiteral("compresstask ");
        if (has("operation"))
            job.operation = oneOf(where + QStringLiteral("operation"), attribute("operation"),
                                  {QStringLiteral("create"), QStringLiteral("update")});
        if (has("method"))
            job.method = oneOf(where + QStringLiteral("method"), attribute("method"),
                               {QStringLiteral("line"), QStringLiteral("tile")});
        if (has("threads"))
            job.threads = wholeNumber(where + QStringLiteral("threads"), attribute("threads"), 0, 1024);
        job.tempdir = attribute("tempdir");
        job.logfile = attribute("logfile");
        if (has("loglevel"))
            job.loglevel = oneOf(
                where + QStringLiteral("loglevel"), attribute("loglevel"),
                {QStringLiteral("error"), QStringLiteral("warning"), QStringLiteral("info"), QStringLiteral("debug")});
        if (has("memcache")) {
            job.memcache = realNumber(where + QStringLiteral("memcache"), attribute("memcache"));
            if (job.memcache < 0.0 || job.memcache > 1.0)
                fail(QStringLiteral("compresstask memcache %1: must be a share of physical memory from 0 to 1")
                         .arg(quoted(attribute("memcache"))));
        }
        if (has("interactive"))
            job.interactive = truth(where + QStringLiteral("interactive"), attribute("interactive"));

        bool seenInputs = false;
        bool seenOutput = false;
        children([&](const QString& name) {
            if (name == QLatin1String("inputs") && !seenInputs) {
                seenInputs = true;
                readInputs();
            } else if (name == QLatin1String("output") && !seenOutput) {
                seenOutput = true;
                readOutput();
            } else {
                unexpected(name, QStringLiteral("compresstask"));
            }
        });
        if (job.inputs.isEmpty())
            fail(QStringLiteral("inputs: the job names no input <file>"));
        if (!seenOutput)
            fail(QStringLiteral("compresstask: the document has no <output>"));
    }

    void readInputs()
    {
        if (has("resample"))
            job.resample = oneOf(QStringLiteral("inputs resample"), attribute("resample"),
                                 {QStringLiteral("nearest"), QStringLiteral("bilinear"), QStringLiteral("cubic"),
                                  QStringLiteral("cubicspline"), QStringLiteral("lanczos"), QStringLiteral("average"),
                                  QStringLiteral("mode"), QStringLiteral("gauss")});
        children([&](const QString& name) {
            if (name != QLatin1String("file"))
                unexpected(name, QStringLiteral("inputs"));
            JobDocument::Input input;
            input.path = attribute("path");
            const QString where = QStringLiteral("file %1 ").arg(quoted(input.path));
            if (input.path.isEmpty())
                fail(QStringLiteral("file: an input <file> has no path"));
            if (has("bandlist"))
                input.bands = bandList(where + QStringLiteral("bandlist"), attribute("bandlist"));
            if (has("zindex"))
                input.zindex = wholeNumber(where + QStringLiteral("zindex"), attribute("zindex"), 0, 1000000);
            if (has("nodata"))
                input.nodata = realNumber(where + QStringLiteral("nodata"), attribute("nodata"));
            job.inputs.append(input);
            noChildren(QStringLiteral("file"));
        });
    }

    void readOutput()
    {
        if (!has("version"))
            fail(QStringLiteral("output version: missing; 1 is JPEG 2000, 2 and 3 are WVC"));
        job.version = wholeNumber(QStringLiteral("output version"), attribute("version"), 1, 3);
        job.outputPath = attribute("path");
        if (job.outputPath.isEmpty())
            fail(QStringLiteral("output path: missing"));
        if (has("cellsizex") || has("cellsizey")) {
            const double x = realNumber(QStringLiteral("output cellsizex"), attribute("cellsizex"));
            const double y = realNumber(QStringLiteral("output cellsizey"), attribute("cellsizey"));
            if (x == 0.0 || y == 0.0)
                fail(QStringLiteral("output cellsizex %1 cellsizey %2: a cell size must not be 0")
                         .arg(quoted(attribute("cellsizex")), quoted(attribute("cellsizey"))));
            job.cellSize = qMakePair(std::fabs(x), std::fabs(y));
        }
        if (has("tlx") || has("tly") || has("brx") || has("bry")) {
            QVector<double> corners;
            for (const char* name : {"tlx", "tly", "brx", "bry"})
                corners.append(realNumber(QStringLiteral("output ") + QLatin1String(name), attribute(name)));
            if (corners[2] <= corners[0] || corners[1] <= corners[3])
                fail(QStringLiteral(
                    "output tlx tly brx bry: the top left corner must lie above and left of the bottom right one"));
            job.corners = corners;
        }
        children([&](const QString& name) {
            if (name == QLatin1String("bandlist"))
                readBands();
            else if (name == QLatin1String("region") && !job.region)
                readRegion();
            else if (name == QLatin1String("metadata"))
                readMetadata();
            else if (name == QLatin1String("rpcdata"))
                readRpc();
            else if (name == QLatin1String("options"))
                readOptions();
            else
                unexpected(name, QStringLiteral("output"));
        });
    }

    void readBands()
    {
        children([&](const QString& name) {
            if (name != QLatin1String("band"))
                unexpected(name, QStringLiteral("bandlist"));
            JobDocument::Band band;
            band.id = wholeNumber(QStringLiteral("band id"), attribute("id"), 1, 65535);
            band.description = attribute("description");
            job.bands.append(band);
            noChildren(QStringLiteral("band"));
        });
    }

    void readRegion()
    {
        JobDocument::Region region;
        region.type =
            oneOf(QStringLiteral("region type"), attribute("type"), {QStringLiteral("shape"), QStringLiteral("wkt")});
        region.name = attribute("name");
        region.path = attribute("path");
        region.layername = attribute("layername");
        region.layerid = attribute("layerid");
        if (region.type == QLatin1String("shape")) {
            if (region.path.isEmpty())
                fail(QStringLiteral("region path: a shape region needs the shapefile's path"));
            if (region.layerid.isEmpty())
                fail(QStringLiteral("region layerid: a shape region needs the feature's id"));
            wholeNumber(QStringLiteral("region layerid"), region.layerid, 0, INT_MAX);
        } else if (region.path.isEmpty() && region.name.isEmpty()) {
            fail(QStringLiteral(
                "region: a wkt region needs a path to a file holding the geometry, or the geometry as its name"));
        }
        job.region = region;
        noChildren(QStringLiteral("region"));
    }

    void readMetadata()
    {
        children([&](const QString& name) {
            if (name != QLatin1String("item"))
                unexpected(name, QStringLiteral("metadata"));
            const QString key = attribute("name");
            if (key.isEmpty() || key.contains(QLatin1Char('=')))
                fail(QStringLiteral("item name %1: a metadata item needs a name without \"=\"").arg(quoted(key)));
            job.metadata.append(qMakePair(key, attribute("value")));
            noChildren(QStringLiteral("item"));
        });
    }

    void readRpc()
    {
        QSet<QString> seen;
        children([&](const QString& name) {
            const QString text = xml.readElementText();
            if (xml.hasError())
                parseFailure();
            const int scalar = rpcScalars.indexOf(name);
            const int array = rpcArrays.indexOf(name);
            if ((scalar < 0 && array < 0) || seen.contains(name))
                unexpected(name, QStringLiteral("rpcdata"));
            seen.insert(name);
            if (scalar >= 0) {
                realNumber(name, text);
                job.rpc.append(qMakePair(rpcKeys[scalar], text.trimmed()));
                return;
            }
            const QStringList values = text.split(QLatin1Char(','));
            if (values.size() != 20)
                fail(QStringLiteral("%1: must hold 20 numbers joined by \",\", not %2").arg(name).arg(values.size()));
            QStringList numbers;
            for (const QString& value : values)
                numbers.append(QString::number(realNumber(name, value), 'g', 17));
            job.rpc.append(qMakePair(rpcKeys[12 + array], numbers.join(QLatin1Char(' '))));
        });
        if (seen.size() != rpcScalars.size() + rpcArrays.size())
            fail(QStringLiteral("rpcdata: must hold all 12 values and 4 coefficient lists"));
    }

    void readOptions()
    {
        children([&](const QString& name) {
            if (name != QLatin1String("option"))
                unexpected(name, QStringLiteral("options"));
            readOption(attribute("name"), attribute("value"));
            noChildren(QStringLiteral("option"));
        });
    }

    void readOption(const QString& name, const QString& value)
    {
        const QString where = QStringLiteral("option ") + name;
        if (name == QLatin1String("bitdepth")) {
            // 0 leaves the depth to the inputs; JPEG 2000 holds integers of up to 31 bits here.
            job.bitdepth = wholeNumber(where, value, 0, 31);
        } else if (name == QLatin1String("signedness")) {
            job.isSigned = truth(where, value);
        } else if (name == QLatin1String("targetrate")) {
            job.targetrate = wholeNumber(where, value, 0, 10000);
        } else if (name == QLatin1String("colorspace")) {
            job.colorspace = oneOf(where, value,
                                   {QStringLiteral("Greyscale"), QStringLiteral("RGB"), QStringLiteral("Multiband"),
                                    QStringLiteral("Auto")});
        } else if (name == QLatin1String("genstats")) {
            job.genstats = truth(where, value);
        } else if (name == QLatin1String("srs")) {
            if (value.trimmed().isEmpty())
                fail(where + QStringLiteral(": empty"));
            job.srs = value.trimmed();
        } else if (name == QLatin1String("blocksizex")) {
            job.blocksizex = wholeNumber(where, value, 16, 65536);
        } else if (name == QLatin1String("blocksizey")) {
            job.blocksizey = wholeNumber(where, value, 16, 65536);
        } else if (name == QLatin1String("huffman")) {
            job.huffman = wholeNumber(where, value, 0, 1);
        } else if (name == QLatin1String("opacity")) {
            job.opacity = wholeNumber(where, value, 0, 3);
        } else if (name == QLatin1String("nullvalue")) {
            job.nullvalue = oneOf(where, value, {QStringLiteral("min"), QStringLiteral("max")});
        } else if (name == QLatin1String("jp2tilesize")) {
            job.jp2tilesize = wholeNumber(where, value, 64, 65536);
        } else if (name == QLatin1String("jp2precinctsize")) {
            job.jp2precinctsize = wholeNumber(where, value, 2, 32768);
            if (!isPowerOfTwo(job.jp2precinctsize))
                fail(QStringLiteral("%1 %2: must be a power of two").arg(where, quoted(value)));
        } else if (name == QLatin1String("jp2qualitylayers")) {
            job.jp2qualitylayers = wholeNumber(where, value, 1, 30);
        } else if (name == QLatin1String("jp2progressionorder")) {
            job.jp2progressionorder = oneOf(where, value,
                                            {QStringLiteral("LRCP"), QStringLiteral("RLCP"), QStringLiteral("RPCL"),
                                             QStringLiteral("PCRL"), QStringLiteral("CPRL")});
        } else if (name == QLatin1String("jp2markers")) {
            job.jp2markers = wordSet(where, value, {QStringLiteral("sop"), QStringLiteral("eph")});
        } else if (name == QLatin1String("jp2georef")) {
            job.jp2georef = wordSet(where, value, {QStringLiteral("gml"), QStringLiteral("geojp2")});
        } else {
            fail(QStringLiteral("option %1: unknown option").arg(quoted(name)));
        }
    }

    QXmlStreamReader xml;
    JobDocument& job;
};

}  // namespace

bool readJobDocument(const QString& path, JobDocument& job, QString& errorText)
{
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly)) {
        errorText = QStringLiteral("job document %1: %2").arg(quoted(path), file.errorString());
        return false;
    }
    try {
        Reader(&file, job).read();
    } catch (const DocumentError& error) {
        errorText = error.text;
        return false;
    }
    return true;
}
