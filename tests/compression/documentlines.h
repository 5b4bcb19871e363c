#pragma once

#include <QStringList>
#include <QXmlStreamReader>

// A job document as lines in document order: "path@attribute=value" for each attribute, the path
// alone for an element without attributes, "path=text" for text; the path leaves the root out.
inline QStringList documentLines(const QByteArray& document)
{
    QStringList lines;
    QStringList path;
    QXmlStreamReader xml(document);
    while (xml.readNext() != QXmlStreamReader::Invalid && !xml.atEnd()) {
        if (xml.isStartElement()) {
            path.append(xml.name().toString());
            if (xml.attributes().isEmpty())
                lines.append(path.mid(1).join(QLatin1Char('/')));
            for (const QXmlStreamAttribute& attribute : xml.attributes())
                lines.append(QStringLiteral("%1@%2=%3")
                                 .arg(path.mid(1).join(QLatin1Char('/')), attribute.name(), attribute.value()));
        } else if (xml.isCharacters() && !xml.isWhitespace()) {
            lines.append(path.mid(1).join(QLatin1Char('/')) + QLatin1Char('=') + xml.text());
        } else if (xml.isEndElement()) {
            path.removeLast();
        }
    }
    return xml.hasError() ? lines << QStringLiteral("error: ") + xml.errorString() : lines;
}
