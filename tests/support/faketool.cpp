#include "tests/support/faketool.h"

#include <QDir>
#include <QFile>
#include <QTextStream>

FakeTool::FakeTool(const QString& subdirectory, Role role)
    : toolDirectory(subdirectory.isEmpty() ? root.path() : root.filePath(subdirectory))
    , role(role)
    , previousToolDir(qgetenv("KARTOPRESS_TOOL_DIR"))
{
    QDir().mkpath(toolDirectory);
    if (role == ToolDirectory)
        qputenv("KARTOPRESS_TOOL_DIR", QFile::encodeName(toolDirectory));
}

FakeTool::~FakeTool()
{
    if (role != ToolDirectory)
        return;
    if (previousToolDir.isEmpty())
        qunsetenv("KARTOPRESS_TOOL_DIR");
    else
        qputenv("KARTOPRESS_TOOL_DIR", previousToolDir);
}

QString FakeTool::directory() const
{
    return toolDirectory;
}

QString FakeTool::pathOf(const QString& name) const
{
    QString bare = name;
    if (bare.startsWith(QLatin1Char('/')))
        bare.remove(0, 1);
    return toolDirectory + QLatin1Char('/') + bare;
}

QString FakeTool::install(const QString& name)
{
    const QString path = pathOf(name);
    QFile::remove(path);
    QFile::link(QStringLiteral(KP_FAKE_TOOL), path);
    return path;
}

void FakeTool::setScript(const QString& name, const QStringList& lines)
{
    QFile file(pathOf(name) + QStringLiteral(".script"));
    file.open(QIODevice::WriteOnly | QIODevice::Truncate);
    for (const QString& line : lines)
        file.write(line.toUtf8() + '\n');
}

namespace {

QString unescape(const QString& text)
{
    QString result;
    for (int i = 0; i < text.size(); ++i) {
        if (text[i] != QLatin1Char('\\') || i + 1 == text.size()) {
            result += text[i];
            continue;
        }
        const QChar next = text[++i];
        result += next == QLatin1Char('n') ? QLatin1Char('\n')
            : next == QLatin1Char('r')     ? QLatin1Char('\r')
            : next == QLatin1Char('t')     ? QLatin1Char('\t')
                                           : next;
    }
    return result;
}

}  // namespace

QList<FakeTool::Invocation> FakeTool::invocations(const QString& name) const
{
    QList<Invocation> result;
    QFile file(pathOf(name) + QStringLiteral(".record"));
    if (!file.open(QIODevice::ReadOnly))
        return result;
    const QList<QByteArray> lines = file.readAll().split('\n');
    for (const QByteArray& raw : lines) {
        const QString line = QString::fromUtf8(raw);
        if (line == QLatin1String("invocation")) {
            result.append(Invocation());
            continue;
        }
        if (result.isEmpty())
            continue;
        const int tab = line.indexOf(QLatin1Char('\t'));
        const QString key = line.left(tab);
        const QString value = unescape(line.mid(tab + 1));
        if (key == QLatin1String("cwd")) {
            result.last().workingDirectory = value;
        } else if (key == QLatin1String("arg")) {
            result.last().arguments.append(value);
        } else if (key == QLatin1String("env")) {
            const int equals = value.indexOf(QLatin1Char('='));
            result.last().environment.insert(value.left(equals), value.mid(equals + 1));
        }
    }
    return result;
}

QString FakeTool::escaped(const QByteArray& bytes)
{
    QString result;
    for (char c : bytes) {
        if (c == '\n')
            result += QStringLiteral("\\n");
        else if (c == '\r')
            result += QStringLiteral("\\r");
        else if (c == '\t')
            result += QStringLiteral("\\t");
        else if (c == '\\')
            result += QStringLiteral("\\\\");
        else if (uchar(c) < 0x20 || uchar(c) >= 0x7f)
            result += QStringLiteral("\\x%1").arg(uchar(c), 2, 16, QLatin1Char('0'));
        else
            result += QLatin1Char(c);
    }
    return result;
}
