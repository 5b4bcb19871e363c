#include "tools/common/toolconsole.h"

#include <QDateTime>
#include <unistd.h>

namespace {

// write(2) in a loop: stdio buffering could split a line across two pipe chunks or join two lines
// into one.
void writeAll(int fd, const QByteArray& bytes)
{
    const char* data = bytes.constData();
    qsizetype left = bytes.size();
    while (left > 0) {
        const ssize_t written = ::write(fd, data, size_t(left));
        if (written < 0) {
            if (errno == EINTR)
                continue;
            return;
        }
        data += written;
        left -= written;
    }
}

}  // namespace

ToolConsole::ToolConsole(const char* ending)
    : ending(ending)
{}

bool ToolConsole::openLog(const QString& path, QString& errorText)
{
    std::lock_guard<std::mutex> lock(mutex);
    logFile.setFileName(path);
    if (!logFile.open(QIODevice::WriteOnly | QIODevice::Truncate | QIODevice::Text)) {
        errorText = logFile.errorString();
        return false;
    }
    return true;
}

bool ToolConsole::hasLog() const
{
    return logFile.isOpen();
}

void ToolConsole::line(const QString& text)
{
    std::lock_guard<std::mutex> lock(mutex);
    writeAll(STDOUT_FILENO, text.toUtf8() + ending);
    writeLog(text);
}

void ToolConsole::error(const QString& text)
{
    const QString message = QStringLiteral("ERROR: ") + text;
    std::lock_guard<std::mutex> lock(mutex);
    writeAll(STDERR_FILENO, message.toUtf8() + '\n');
    writeLog(message);
}

void ToolConsole::log(const QString& text)
{
    std::lock_guard<std::mutex> lock(mutex);
    writeLog(text);
}

void ToolConsole::writeLog(const QString& text)
{
    if (!logFile.isOpen())
        return;
    // Flushed line by line: the log is what a user reads after a crash or an interrupt.
    logFile.write(QDateTime::currentDateTime().toString(Qt::ISODate).toUtf8() + ' ' + text.toUtf8() + '\n');
    logFile.flush();
}
