#include "compression/compressorxml.h"

#include <QBuffer>
#include <QDir>
#include <QDomDocument>
#include <QFile>
#include <QXmlDefaultHandler>
#include <QXmlInputSource>
#include <QXmlSimpleReader>
#include <QXmlStreamWriter>
#include <algorithm>
#include <cmath>
#include <iterator>

namespace {

const char* const resampleNames[] = {"nearest", "bilinear", "cubic", "cubicspline",
                                     "lanczos", "average",  "mode",  "gauss"};

struct MetadataField
{
    const char* name;
    QString CompressorXml::Metadata::*field;
};

const MetadataField metadataFields[] = {
    {"classification", &CompressorXml::Metadata::classification},
    {"acquistiondate", &CompressorXml::Metadata::acquistiondate},
    {"acquisitionsensorname", &CompressorXml::Metadata::acquisitionsensorname},
    {"compressionsoftware", &CompressorXml::Metadata::compressionsoftware},
    {"author", &CompressorXml::Metadata::author},
    {"copyright", &CompressorXml::Metadata::copyright},
    {"company", &CompressorXml::Metadata::company},
    {"email", &CompressorXml::Metadata::email},
    {"address", &CompressorXml::Metadata::address},
    {"telephone", &CompressorXml::Metadata::telephone},
};

struct RpcScalar
{
    const char* name;
    double CompressorXml::RpcData::*field;
};

const RpcScalar rpcScalars[] = {
    {"errorbias", &CompressorXml::RpcData::errorbias},
    {"errorrandom", &CompressorXml::RpcData::errorrandom},
    {"lineoffset", &CompressorXml::RpcData::lineoffset},
    {"sampleoffset", &CompressorXml::RpcData::sampleoffset},
    {"latitudeoffset", &CompressorXml::RpcData::latitudeoffset},
    {"longitudeoffset", &CompressorXml::RpcData::longitudeoffset},
    {"heightoffset", &CompressorXml::RpcData::heightoffset},
    {"linescale", &CompressorXml::RpcData::linescale},
    {"samplescale", &CompressorXml::RpcData::samplescale},
    {"latitudescale", &CompressorXml::RpcData::latitudescale},
    {"longitudescale", &CompressorXml::RpcData::longitudescale},
    {"heightscale", &CompressorXml::RpcData::heightscale},
};

struct RpcArray
{
    const char* name;
    double (CompressorXml::RpcData::*field)[20];
};

const RpcArray rpcArrays[] = {
    {"linenumeratorcoefficients", &CompressorXml::RpcData::linenumeratorcoefficients},
    {"linedenominatorcoefficients", &CompressorXml::RpcData::linedenominatorcoefficients},
    {"samplenumeratorcoefficients", &CompressorXml::RpcData::samplenumeratorcoefficients},
    {"sampledenominatorcoefficients", &CompressorXml::RpcData::sampledenominatorcoefficients},
};

QString boolText(bool value)
{
    return value ? QStringLiteral("true") : QStringLiteral("false");
}

// The two rules that hold for every value of the document: texts only when not empty, counts only
// when not negative.
class DocumentWriter
{
public:
    explicit DocumentWriter(QIODevice* device)
        : xml(device)
    {
        xml.setAutoFormatting(true);
        xml.setCodec("UTF-8");
    }

    void text(const QString& name, const QString& value)
    {
        if (!value.isEmpty())
            xml.writeAttribute(name, value);
    }
    void path(const QString& name, const QString& value) { text(name, QDir::toNativeSeparators(value)); }
    void count(const QString& name, int value)
    {
        if (value >= 0)
            xml.writeAttribute(name, QString::number(value));
    }
    void option(const QString& name, const QString& value)
    {
        xml.writeStartElement(QStringLiteral("option"));
        xml.writeAttribute(QStringLiteral("name"), name);
        xml.writeAttribute(QStringLiteral("value"), value);
        xml.writeEndElement();
    }
    void textOption(const QString& name, const QString& value)
    {
        if (!value.isEmpty())
            option(name, value);
    }
    void countOption(const QString& name, int value)
    {
        if (value >= 0)
            option(name, QString::number(value));
    }

    QXmlStreamWriter xml;
};

QString coordinate(double value)
{
    return QString::number(value, 'f', 8);
}

QString rpcNumber(double value)
{
    return QString::number(value, 'g', 6);
}

// Finds, before the DOM parser sees the text, what would make it recurse past the stack, slow down
// quadratically or expand entities without bound: deep nesting, a large document type declaration
// and many references to declared entities. It only bounds; malformed text is the parser's to report.
class MarkupScan
{
public:
    explicit MarkupScan(const QString& text)
        : text(text)
    {}

    // The position of the first excess, or -1.
    int run()
    {
        const int size = text.size();
        int depth = 0;
        int at = 0;
        while (at < size) {
            const int open = text.indexOf(QLatin1Char('<'), at);
            if (open < 0)
                break;
            const QStringRef rest = text.midRef(open);
            if (rest.startsWith(QLatin1String("<!--"))) {
                at = skipPast(open + 4, QLatin1String("-->"));
            } else if (rest.startsWith(QLatin1String("<![CDATA["))) {
                at = skipPast(open + 9, QLatin1String("]]>"));
            } else if (rest.startsWith(QLatin1String("<?"))) {
                at = skipPast(open + 2, QLatin1String("?>"));
            } else if (rest.startsWith(QLatin1String("<!"))) {
                at = endOfDeclaration(open);
                if (at < 0) {
                    reason = CompressorXml::tr("Xml document type declaration is too large");
                    return open;
                }
            } else if (rest.startsWith(QLatin1String("</"))) {
                depth = qMax(0, depth - 1);
                at = endOfTag(open + 2);
            } else {
                at = endOfTag(open + 1);
                const bool empty =
                    at - 2 > open && text.at(at - 1) == QLatin1Char('>') && text.at(at - 2) == QLatin1Char('/');
                if (!empty && ++depth > CompressorXml::maximumNestingDepth) {
                    reason = CompressorXml::tr("Xml document is nested too deeply");
                    return open;
                }
            }
        }
        return tooManyEntityReferences();
    }

    QString reason;

private:
    int skipPast(int from, QLatin1String end) const
    {
        const int found = text.indexOf(end, from);
        return found < 0 ? text.size() : found + end.size();
    }

    // A '<' inside a tag ends the scan of that tag, quoted or not: the parser stops there too, and
    // counting it as a new element can only overestimate the depth.
    int endOfTag(int from) const
    {
        QChar quote;
        for (int at = from; at < text.size(); ++at) {
            const QChar c = text.at(at);
            if (c == QLatin1Char('<'))
                return at;
            if (!quote.isNull()) {
                if (c == quote)
                    quote = QChar();
            } else if (c == QLatin1Char('"') || c == QLatin1Char('\'')) {
                quote = c;
            } else if (c == QLatin1Char('>')) {
                return at + 1;
            }
        }
        return text.size();
    }

    // The end of a "<!" declaration with its internal subset, or -1 when it runs past the limit.
    int endOfDeclaration(int open) const
    {
        const int limit = qMin(text.size(), open + CompressorXml::maximumDocumentTypeSize);
        QChar quote;
        int brackets = 0;
        for (int at = open + 2; at < limit; ++at) {
            const QChar c = text.at(at);
            if (!quote.isNull()) {
                if (c == quote)
                    quote = QChar();
            } else if (c == QLatin1Char('"') || c == QLatin1Char('\'')) {
                quote = c;
            } else if (c == QLatin1Char('[')) {
                ++brackets;
            } else if (c == QLatin1Char(']')) {
                brackets = qMax(0, brackets - 1);
            } else if (c == QLatin1Char('>') && brackets == 0) {
                return at + 1;
            }
        }
        return limit == text.size() ? text.size() : -1;
    }

    // Each reference to a declared entity may expand to thousands of characters, in content and in
    // attribute values alike; a job document needs none.
    int tooManyEntityReferences()
    {
        static const QLatin1String predefined[] = {QLatin1String("lt"), QLatin1String("gt"), QLatin1String("amp"),
                                                   QLatin1String("quot"), QLatin1String("apos")};
        int references = 0;
        const int size = text.size();
        for (int at = text.indexOf(QLatin1Char('&')); at >= 0; at = text.indexOf(QLatin1Char('&'), at + 1)) {
            // Only the name's own characters are looked at, so that a text full of '&' stays linear.
            int end = at + 1;
            while (end < size && isNameCharacter(text.at(end)))
                ++end;
            if (end == at + 1 || end == size || text.at(end) != QLatin1Char(';'))
                continue;
            const QStringRef name = text.midRef(at + 1, end - at - 1);
            if (std::find(std::begin(predefined), std::end(predefined), name) != std::end(predefined))
                continue;
            if (++references > maximumEntityReferences) {
                reason = CompressorXml::tr("Xml document refers to entities too often");
                return at;
            }
        }
        return -1;
    }

    static bool isNameCharacter(QChar c)
    {
        return c.isLetterOrNumber() || c == QLatin1Char('_') || c == QLatin1Char(':') || c == QLatin1Char('-')
            || c == QLatin1Char('.');
    }

    static constexpr int maximumEntityReferences = 1024;
    const QString& text;
};

QString positionText(int line, int column)
{
    return CompressorXml::tr(" at line %1 and colum %2.").arg(line).arg(column);
}

QString decodedAsTheParserDoes(const QByteArray& data)
{
    QT_WARNING_PUSH
    QT_WARNING_DISABLE_DEPRECATED
    QXmlInputSource source;
    source.setData(data);
    return source.data();
    QT_WARNING_POP
}

// The little the reader takes from a document: the root, the first compresstask, the child nodes of
// the first inputs and the first output, each found anywhere below the root.
struct Gathered
{
    QString rootName;
    QString rootVersion;
    bool hasTask = false;
    QString operation;
    QVector<CompressorXml::InputFile> inputs;
    bool hasOutput = false;
    QString outputVersion;
    QString outputPath;
};

// Gathers what the reader needs while the parser runs, without a tree of the whole document: a
// mosaic's document holds hundreds of thousands of inputs, and a tree of them costs twenty times the
// file in memory and most of the time of a load. It counts the child nodes of inputs as the document
// tree has them: every element, text piece, character data section, comment and processing
// instruction.
QT_WARNING_PUSH
QT_WARNING_DISABLE_DEPRECATED
class DocumentGatherer : public QXmlDefaultHandler
{
public:
    explicit DocumentGatherer(Gathered& gathered)
        : gathered(gathered)
    {}

    bool startElement(const QString&, const QString&, const QString& name, const QXmlAttributes& attributes) override
    {
        if (childOfInputs()) {
            CompressorXml::InputFile input;
            input.path = value(attributes, QStringLiteral("path"));
            input.bandlist = value(attributes, QStringLiteral("bandlist"));
            input.zindex = value(attributes, QStringLiteral("zindex")).toInt();
            const QString nodata = value(attributes, QStringLiteral("nodata"));
            input.hasNodata = !nodata.isNull();
            input.nodata = nodata.toInt();
            gathered.inputs.append(input);
        }
        ++depth;
        if (depth == 1) {
            gathered.rootName = name;
            gathered.rootVersion = value(attributes, QStringLiteral("version"));
        } else if (name == QLatin1String("compresstask")) {
            if (!gathered.hasTask) {
                gathered.hasTask = true;
                gathered.operation = value(attributes, QStringLiteral("operation"));
            }
        } else if (name == QLatin1String("inputs")) {
            if (inputsDepth == notSeen)
                inputsDepth = depth;
        } else if (name == QLatin1String("output")) {
            if (!gathered.hasOutput) {
                gathered.hasOutput = true;
                gathered.outputVersion = value(attributes, QStringLiteral("version"));
                gathered.outputPath = value(attributes, QStringLiteral("path"));
            }
        }
        return true;
    }

    bool endElement(const QString&, const QString&, const QString&) override
    {
        if (depth == inputsDepth)
            inputsDepth = done;
        --depth;
        return true;
    }

    bool characters(const QString&) override
    {
        // As the tree refuses text beside the root.
        if (depth == 0)
            return false;
        addNodeWithoutElement();
        return true;
    }

    bool comment(const QString&) override
    {
        addNodeWithoutElement();
        return true;
    }

    bool processingInstruction(const QString&, const QString&) override
    {
        addNodeWithoutElement();
        return true;
    }

    // The parser reports an entity it cannot expand both in content, where the tree has a node for
    // it, and in an attribute value, where it has none, and does not say which. Such a document
    // refers to a declaration outside itself, which no document of ours does; it is read again as a
    // tree.
    bool skippedEntity(const QString&) override
    {
        skippedEntities = true;
        return true;
    }

    bool fatalError(const QXmlParseException& exception) override
    {
        message = exception.message();
        line = exception.lineNumber();
        column = exception.columnNumber();
        return QXmlDefaultHandler::fatalError(exception);
    }

    bool skippedEntities = false;
    QString message;
    int line = 0;
    int column = 0;

private:
    static constexpr int notSeen = -1;
    static constexpr int done = -2;

    bool childOfInputs() const { return depth == inputsDepth; }

    // Read as an element without attributes: no path, and a z-index of 0 from the empty text.
    void addNodeWithoutElement()
    {
        if (childOfInputs()) {
            CompressorXml::InputFile input;
            input.zindex = 0;
            gathered.inputs.append(input);
        }
    }

    // The last of repeated attributes wins, as in the tree; a missing one is null.
    static QString value(const QXmlAttributes& attributes, const QString& name)
    {
        QString found;
        for (int i = 0; i < attributes.count(); ++i)
            if (attributes.qName(i) == name)
                found = attributes.value(i);
        return found;
    }

    Gathered& gathered;
    int depth = 0;
    int inputsDepth = notSeen;
};
QT_WARNING_POP

// What DocumentGatherer gathers, taken from the document tree instead.
void gatherFromTree(const QByteArray& data, Gathered& gathered)
{
    QDomDocument document;
    // The parser has read this text without an error already.
    document.setContent(data, false);
    gathered = Gathered();
    const QDomElement root = document.documentElement();
    gathered.rootName = root.tagName();
    gathered.rootVersion = root.attribute(QStringLiteral("version"));
    const QDomElement task = root.elementsByTagName(QStringLiteral("compresstask")).item(0).toElement();
    gathered.hasTask = !task.isNull();
    gathered.operation = task.attribute(QStringLiteral("operation"));
    const QDomNode inputList = root.elementsByTagName(QStringLiteral("inputs")).item(0);
    for (QDomNode node = inputList.firstChild(); !node.isNull(); node = node.nextSibling()) {
        const QDomElement element = node.toElement();
        CompressorXml::InputFile input;
        input.path = element.attribute(QStringLiteral("path"));
        input.bandlist = element.attribute(QStringLiteral("bandlist"));
        input.zindex = element.attribute(QStringLiteral("zindex")).toInt();
        input.hasNodata = !element.attribute(QStringLiteral("nodata"), QString()).isNull();
        input.nodata = element.attribute(QStringLiteral("nodata")).toInt();
        gathered.inputs.append(input);
    }
    const QDomElement output = root.elementsByTagName(QStringLiteral("output")).item(0).toElement();
    gathered.hasOutput = !output.isNull();
    gathered.outputVersion = output.attribute(QStringLiteral("version"));
    gathered.outputPath = output.attribute(QStringLiteral("path"));
}

// False with the parser's message and position when the text is no well-formed document.
bool parse(const QByteArray& data, Gathered& gathered, QString& errorText)
{
    QT_WARNING_PUSH
    QT_WARNING_DISABLE_DEPRECATED
    QBuffer buffer;
    buffer.setData(data);
    QXmlInputSource source(&buffer);
    // The features and handlers of the document tree's own parse, so that the same texts fail with
    // the same messages at the same places.
    QXmlSimpleReader reader;
    reader.setFeature(QStringLiteral("http://xml.org/sax/features/namespaces"), false);
    reader.setFeature(QStringLiteral("http://xml.org/sax/features/namespace-prefixes"), true);
    reader.setFeature(QStringLiteral("http://trolltech.com/xml/features/report-whitespace-only-CharData"), false);
    DocumentGatherer gatherer(gathered);
    reader.setContentHandler(&gatherer);
    reader.setErrorHandler(&gatherer);
    reader.setLexicalHandler(&gatherer);
    reader.setDeclHandler(&gatherer);
    reader.setDTDHandler(&gatherer);
    if (!reader.parse(&source)) {
        errorText = gatherer.message + positionText(gatherer.line, gatherer.column);
        return false;
    }
    QT_WARNING_POP
    if (gatherer.skippedEntities)
        gatherFromTree(data, gathered);
    return true;
}

}  // namespace

CompressorXml::CompressorXml()
    : version(QStringLiteral("1.2"))
{}

CompressorXml::~CompressorXml()
{
    delete task;
    delete output;
    delete region;
    delete options;
    delete metadata;
    delete rpcData;
}

void CompressorXml::setVersion(const QString& version)
{
    this->version = version;
}

void CompressorXml::setTask(const Task& task)
{
    if (!this->task)
        this->task = new Task(task);
}

void CompressorXml::setOutput(const Output& output)
{
    if (!this->output)
        this->output = new Output(output);
}

void CompressorXml::setRegion(const Region& region)
{
    if (!this->region)
        this->region = new Region(region);
}

void CompressorXml::setOptions(const Options& options)
{
    if (!this->options)
        this->options = new Options(options);
}

void CompressorXml::setResampleMethod(ResampleMethod method)
{
    resampleMethod = method;
}

void CompressorXml::setInputs(const QVector<InputFile>& inputs)
{
    this->inputs = inputs;
}

void CompressorXml::setBands(const QVector<Band>& bands)
{
    this->bands = bands;
}

void CompressorXml::setMetadata(const Metadata* metadata)
{
    if (!metadata)
        return;
    if (!this->metadata)
        this->metadata = new Metadata;
    for (const MetadataField& entry : metadataFields)
        this->metadata->*entry.field = metadata->*entry.field;
}

void CompressorXml::setRpcData(const RpcData* rpcData)
{
    if (!rpcData)
        return;
    if (!this->rpcData)
        this->rpcData = new RpcData;
    for (const RpcScalar& entry : rpcScalars)
        this->rpcData->*entry.field = rpcData->*entry.field;
    for (const RpcArray& entry : rpcArrays)
        std::copy(std::begin(rpcData->*entry.field), std::end(rpcData->*entry.field),
                  std::begin(this->rpcData->*entry.field));
}

bool CompressorXml::write(const QString& fileName)
{
    QFile file(fileName);
    if (!file.open(QIODevice::WriteOnly | QIODevice::Truncate))
        return false;
    DocumentWriter w(&file);
    QXmlStreamWriter& xml = w.xml;

    xml.writeStartDocument(QStringLiteral("1.0"));
    xml.writeStartElement(QStringLiteral("imagecompressor"));
    xml.writeAttribute(QStringLiteral("version"), version);
    xml.writeStartElement(QStringLiteral("compresstask"));

    if (task) {
        // The tool runs the line method on one thread only and refuses anything else.
        if (task->method == QLatin1String("line"))
            task->threads = 1;
        xml.writeAttribute(QStringLiteral("operation"),
                           task->operation == OperationCreate ? QStringLiteral("create") : QStringLiteral("update"));
        w.text(QStringLiteral("method"), task->method);
        if (task->threads > 0)
            xml.writeAttribute(QStringLiteral("threads"), QString::number(task->threads));
        w.path(QStringLiteral("tempdir"), task->tempdir);
        w.path(QStringLiteral("logfile"), task->logfile);
        w.text(QStringLiteral("loglevel"), task->loglevel);
        if (task->memcache >= 0.0)
            xml.writeAttribute(QStringLiteral("memcache"), QString::number(task->memcache, 'g', 6));
        xml.writeAttribute(QStringLiteral("interactive"), boolText(task->interactive));
    }

    if (!inputs.isEmpty()) {
        xml.writeStartElement(QStringLiteral("inputs"));
        if (resampleMethod >= ResampleNearest && resampleMethod <= ResampleGauss)
            xml.writeAttribute(QStringLiteral("resample"), QLatin1String(resampleNames[resampleMethod]));
        for (const InputFile& input : qAsConst(inputs)) {
            xml.writeStartElement(QStringLiteral("file"));
            w.path(QStringLiteral("path"), input.path);
            w.text(QStringLiteral("bandlist"), input.bandlist);
            w.count(QStringLiteral("zindex"), input.zindex);
            if (input.hasNodata)
                w.count(QStringLiteral("nodata"), input.nodata);
            xml.writeEndElement();
        }
        xml.writeEndElement();
    }

    if (output) {
        xml.writeStartElement(QStringLiteral("output"));
        w.count(QStringLiteral("version"), output->version);
        w.path(QStringLiteral("path"), output->path);
        if (!std::isnan(output->cellsizex) && !std::isnan(output->cellsizey)) {
            xml.writeAttribute(QStringLiteral("cellsizex"), coordinate(output->cellsizex));
            xml.writeAttribute(QStringLiteral("cellsizey"), coordinate(output->cellsizey));
        }
        if (!std::isnan(output->tlx) && !std::isnan(output->tly) && !std::isnan(output->brx)
            && !std::isnan(output->bry)) {
            xml.writeAttribute(QStringLiteral("tlx"), coordinate(output->tlx));
            xml.writeAttribute(QStringLiteral("tly"), coordinate(output->tly));
            xml.writeAttribute(QStringLiteral("brx"), coordinate(output->brx));
            xml.writeAttribute(QStringLiteral("bry"), coordinate(output->bry));
        }

        if (!bands.isEmpty()) {
            xml.writeStartElement(QStringLiteral("bandlist"));
            for (const Band& band : qAsConst(bands)) {
                xml.writeStartElement(QStringLiteral("band"));
                w.count(QStringLiteral("id"), band.id);
                w.text(QStringLiteral("description"), band.description);
                xml.writeEndElement();
            }
            xml.writeEndElement();
        }

        if (region) {
            xml.writeStartElement(QStringLiteral("region"));
            if (region->type == RegionShape)
                xml.writeAttribute(QStringLiteral("type"), QStringLiteral("shape"));
            else if (region->type == RegionWkt)
                xml.writeAttribute(QStringLiteral("type"), QStringLiteral("wkt"));
            w.text(QStringLiteral("name"), region->name);
            w.path(QStringLiteral("path"), region->path);
            w.text(QStringLiteral("layername"), region->layername);
            w.text(QStringLiteral("layerid"), region->layerid);
            xml.writeEndElement();
        }

        if (metadata) {
            xml.writeStartElement(QStringLiteral("metadata"));
            for (const MetadataField& entry : metadataFields) {
                const QString& value = metadata->*entry.field;
                if (value.isEmpty())
                    continue;
                xml.writeStartElement(QStringLiteral("item"));
                xml.writeAttribute(QStringLiteral("name"), QLatin1String(entry.name));
                xml.writeAttribute(QStringLiteral("value"), value);
                xml.writeEndElement();
            }
            xml.writeEndElement();
        }

        if (rpcData) {
            xml.writeStartElement(QStringLiteral("rpcdata"));
            for (const RpcScalar& entry : rpcScalars)
                xml.writeTextElement(QLatin1String(entry.name), rpcNumber(rpcData->*entry.field));
            for (const RpcArray& entry : rpcArrays) {
                QStringList values;
                for (double value : rpcData->*entry.field)
                    values.append(rpcNumber(value));
                xml.writeTextElement(QLatin1String(entry.name), values.join(QLatin1Char(',')));
            }
            xml.writeEndElement();
        }

        if (options) {
            xml.writeStartElement(QStringLiteral("options"));
            w.countOption(QStringLiteral("bitdepth"), options->bitdepth);
            if (options->signedness != SignUnspecified)
                w.option(QStringLiteral("signedness"), boolText(options->signedness == SignSigned));
            w.countOption(QStringLiteral("targetrate"), options->targetrate);
            w.textOption(QStringLiteral("colorspace"), options->colorspace);
            w.option(QStringLiteral("genstats"), boolText(options->genstats));
            w.textOption(QStringLiteral("srs"), options->srs);
            w.countOption(QStringLiteral("blocksizex"), options->blocksizex);
            w.countOption(QStringLiteral("blocksizey"), options->blocksizey);
            w.countOption(QStringLiteral("huffman"), options->huffman);
            w.countOption(QStringLiteral("opacity"), options->opacity);
            w.textOption(QStringLiteral("nullvalue"), options->nullvalue);
            w.countOption(QStringLiteral("jp2tilesize"), options->jp2tilesize);
            w.countOption(QStringLiteral("jp2precinctsize"), options->jp2precinctsize);
            w.countOption(QStringLiteral("jp2qualitylayers"), options->jp2qualitylayers);
            w.textOption(QStringLiteral("jp2progressionorder"), options->jp2progressionorder);
            w.textOption(QStringLiteral("jp2markers"), options->jp2markers);
            w.textOption(QStringLiteral("jp2georef"), options->jp2georef);
            xml.writeEndElement();
        }

        xml.writeEndElement();
    }

    xml.writeEndElement();
    xml.writeEndElement();
    xml.writeEndDocument();
    return true;
}

CompressorXml* CompressorXml::read(const QString& fileName, QString& errorText)
{
    QFile file(fileName);
    if (!file.open(QIODevice::ReadOnly | QIODevice::Text))
        return nullptr;
    // Read with a bound, so that a device or a runaway file cannot fill the memory. A file is read
    // at its size; a pipe or a device, which has none, in pieces up to the bound, since asking for
    // the bound at once reserves all of it.
    QByteArray data;
    bool tooLarge = file.size() > maximumDocumentSize;
    if (!file.isSequential() && !tooLarge)
        data = file.readAll();
    while (file.isSequential() && !tooLarge) {
        const QByteArray piece = file.read(1024 * 1024);
        if (piece.isEmpty())
            break;
        data += piece;
        tooLarge = data.size() > maximumDocumentSize;
    }
    if (tooLarge) {
        errorText = tr("Xml document is larger than %1 bytes and cannot be an image compression process.")
                        .arg(maximumDocumentSize);
        return nullptr;
    }

    {
        const QString text = decodedAsTheParserDoes(data);
        MarkupScan scan(text);
        const int excess = scan.run();
        if (excess >= 0) {
            const int lineStart = text.lastIndexOf(QLatin1Char('\n'), excess) + 1;
            const int line = text.leftRef(excess).count(QLatin1Char('\n')) + 1;
            errorText = scan.reason + positionText(line, excess - lineStart + 1);
            return nullptr;
        }
    }

    Gathered gathered;
    if (!parse(data, gathered, errorText))
        return nullptr;

    if (gathered.rootName != QLatin1String("imagecompressor")) {
        errorText = tr("Xml document is not a valid image compression process (root element is not "
                       "<imagecompressor>).");
        return nullptr;
    }

    if (gathered.rootVersion != QLatin1String("1.2") && gathered.rootVersion != QLatin1String("1.1")) {
        errorText = tr("<imagecompressor> version attribute must be \"%1\" or \"%2\".")
                        .arg(QStringLiteral("1.2"), QStringLiteral("1.1"));
        return nullptr;
    }

    auto* result = new CompressorXml;
    if (!gathered.hasTask)
        return result;

    Task loaded;
    loaded.operation = gathered.operation == QLatin1String("create") ? OperationCreate : OperationUpdate;
    result->setTask(loaded);
    result->inputs = std::move(gathered.inputs);
    if (gathered.hasOutput) {
        Output loadedOutput;
        loadedOutput.version = gathered.outputVersion.toInt();
        loadedOutput.path = gathered.outputPath;
        result->setOutput(loadedOutput);
    }
    return result;
}
