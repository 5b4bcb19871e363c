// libFuzzer target for the job document reader: whatever the bytes, read must return, either with a
// document or with a message, and what it returns must write and read back.
#include <QByteArray>
#include <QDir>
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
    if (!document) {
        // Only an unreadable file may leave the message empty, and the input file is readable.
        if (errorText.isEmpty())
            std::abort();
        return 0;
    }
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
