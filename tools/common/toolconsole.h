#pragma once

#include <QFile>
#include <QString>
#include <mutex>

// The output conventions the application relies on: every line leaves in one write and is flushed
// at once, because the reader takes each pipe chunk as a unit and carries nothing over. Whatever is
// printed also goes to the tool's log file, once one is open.
class ToolConsole
{
public:
    // ending: what closes a stdout line. The checker ends its lines with "\r\n", since its reader
    // splits on "\r" alone.
    explicit ToolConsole(const char* ending = "\n");

    // Opens (truncating) the log; returns false with the reason in errorText.
    bool openLog(const QString& path, QString& errorText);
    bool hasLog() const;

    // A line for the reader of standard output.
    void line(const QString& text);
    // An "ERROR: " line on standard error.
    void error(const QString& text);
    // A line for the log alone, such as the encoder's own messages.
    void log(const QString& text);

private:
    void writeLog(const QString& text);

    const char* ending;
    QFile logFile;
    std::mutex mutex;
};
