// libFuzzer target for the job document reader: whatever the bytes, read must return, either with a
// document or with a message; past the guards it must agree with a reading of the document tree,
// which is what the reader gathers without building one; and what it returns must write and read
// back.
#include <QByteArray>
#include <QDir>
#include <QDomDocument>
#include <QFile>
#include <QString>
#include <cstdint>
#include <cstdlib>
#include <memory>
#include <unistd.h>

#include "compression/compressorxml.h"

namespace {

QString scratchFile(const char* suffix)
{
    static const QString directory = [] {
        QByteArray pattern = QDir::tempPath().toLocal8Bit() + "/kp-fuzz-XXXXXX";
        return QString::fromLocal8Bit(::mkdtemp(pattern.data()));
    }();
    return directory + QLatin1String(suffix);
}

QString positionText(int line, int column)
{
    return QStringLiteral(" at line %1 and colum %2.").arg(line).arg(column);
}

// The document tree's reading, step by step: a message, or the operation, every input and the output.
QString treeReading(const QByteArray& data)
{
    QDomDocument document;
    QString message;
    int line = 0;
    int column = 0;
    if (!document.setContent(data, false, &message, &line, &column))
        return QStringLiteral("error ") + message + positionText(line, column);
    const QDomElement root = document.documentElement();
    if (root.tagName() != QLatin1String("imagecompressor"))
        return QStringLiteral("error root");
    const QString version = root.attribute(QStringLiteral("version"));
    if (version != QLatin1String("1.2") && version != QLatin1String("1.1"))
        return QStringLiteral("error version");
    const QDomNodeList tasks = root.elementsByTagName(QStringLiteral("compresstask"));
    if (tasks.isEmpty())
        return QStringLiteral("no task");
    QString reading = tasks.item(0).toElement().attribute(QStringLiteral("operation")) == QLatin1String("create")
        ? QStringLiteral("create")
        : QStringLiteral("update");
    const QDomNode inputs = root.elementsByTagName(QStringLiteral("inputs")).item(0);
    for (QDomNode node = inputs.firstChild(); !node.isNull(); node = node.nextSibling()) {
        const QDomElement e = node.toElement();
        const QString nodata = e.attribute(QStringLiteral("nodata"), QString());
        reading += QStringLiteral("\n%1|%2|%3|%4")
                       .arg(e.attribute(QStringLiteral("path")), e.attribute(QStringLiteral("bandlist")))
                       .arg(e.attribute(QStringLiteral("zindex")).toInt())
                       .arg(nodata.isNull() ? QStringLiteral("-") : QString::number(nodata.toInt()));
    }
    const QDomElement output = root.elementsByTagName(QStringLiteral("output")).item(0).toElement();
    if (!output.isNull())
        reading += QStringLiteral("\noutput %1|%2")
                       .arg(output.attribute(QStringLiteral("version")).toInt())
                       .arg(output.attribute(QStringLiteral("path")));
    return reading;
}

QString readerReading(const CompressorXml* document, const QString& errorText)
{
    if (!document) {
        if (errorText.startsWith(QLatin1String("Xml document is not a valid")))
            return QStringLiteral("error root");
        if (errorText.startsWith(QLatin1String("<imagecompressor> version")))
            return QStringLiteral("error version");
        return QStringLiteral("error ") + errorText;
    }
    if (!document->task)
        return QStringLiteral("no task");
    QString reading = document->task->operation == CompressorXml::OperationCreate ? QStringLiteral("create")
                                                                                  : QStringLiteral("update");
    for (const CompressorXml::InputFile& input : document->inputs)
        reading += QStringLiteral("\n%1|%2|%3|%4")
                       .arg(input.path, input.bandlist)
                       .arg(input.zindex)
                       .arg(input.hasNodata ? QString::number(input.nodata) : QStringLiteral("-"));
    if (document->output)
        reading += QStringLiteral("\noutput %1|%2").arg(document->output->version).arg(document->output->path);
    return reading;
}

bool refusedByAGuard(const QString& errorText)
{
    return errorText.startsWith(QLatin1String("Xml document is nested too deeply"))
        || errorText.startsWith(QLatin1String("Xml document type declaration is too large"))
        || errorText.startsWith(QLatin1String("Xml document refers to entities too often"));
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    const QString input = scratchFile("/input.xml");
    {
        QFile file(input);
        if (!file.open(QIODevice::WriteOnly | QIODevice::Truncate))
            std::abort();
        file.write(reinterpret_cast<const char*>(data), qint64(size));
    }
    QString errorText;
    const std::unique_ptr<CompressorXml> document(CompressorXml::read(input, errorText));
    // Only an unreadable file may leave the message empty, and the input file is readable.
    if (!document && errorText.isEmpty())
        std::abort();
    if (!refusedByAGuard(errorText)) {
        // As the reader sees the file: in text mode, without carriage returns.
        QFile file(input);
        if (!file.open(QIODevice::ReadOnly | QIODevice::Text)
            || readerReading(document.get(), errorText) != treeReading(file.readAll()))
            std::abort();
    }
    if (!document)
        return 0;

    const QString copy = scratchFile("/copy.xml");
    if (!document->write(copy))
        std::abort();
    QString copyError;
    const std::unique_ptr<CompressorXml> again(CompressorXml::read(copy, copyError));
    // Texts the tool cannot take (control characters in a path) make the copy unreadable; that is
    // reported, never a crash. What is read back must agree with what was written.
    if (again && again->inputs.size() != document->inputs.size())
        std::abort();
    return 0;
}
