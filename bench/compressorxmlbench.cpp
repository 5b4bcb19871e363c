// The measuring half of bench/compressorxml-load: writes the job document of a mosaic with
// CompressorXml::write, loads it with CompressorXml::read, or parses it with a bare QDomDocument,
// and prints the time and the peak memory of the process.
#include <QCoreApplication>
#include <QDir>
#include <QDomDocument>
#include <QElapsedTimer>
#include <QFile>
#include <QFileInfo>
#include <cstdio>
#include <memory>
#include <sys/resource.h>

#include "compression/compressorxml.h"

namespace {

// A job as the mosaic wizard makes it: one input per tile, the first on top.
void fillMosaic(CompressorXml& document, int count, const QString& directory)
{
    CompressorXml::Task task;
    task.method = QStringLiteral("tile");
    task.threads = 8;
    task.tempdir = directory + QStringLiteral("/scratch");
    task.logfile = directory + QStringLiteral("/mosaic.log");
    document.setTask(task);
    document.setResampleMethod(CompressorXml::ResampleCubic);

    QVector<CompressorXml::InputFile> inputs;
    inputs.reserve(count);
    for (int i = 0; i < count; ++i) {
        CompressorXml::InputFile input;
        input.path = QStringLiteral("/srv/survey/2024/ortho/row_%1/tile_%1_%2.tif")
                         .arg(i / 500, 4, 10, QLatin1Char('0'))
                         .arg(i % 500, 4, 10, QLatin1Char('0'));
        input.bandlist = QStringLiteral("1,2,3");
        input.zindex = count - 1 - i;
        input.hasNodata = true;
        input.nodata = 0;
        inputs.append(input);
    }
    document.setInputs(inputs);

    CompressorXml::Output output;
    output.version = 3;
    output.path = directory + QStringLiteral("/mosaic.wvc");
    output.cellsizex = output.cellsizey = 0.1;
    output.tlx = 500000.0;
    output.tly = 6200000.0;
    output.brx = 750000.0;
    output.bry = 6000000.0;
    document.setOutput(output);
    CompressorXml::Options options;
    options.targetrate = 20;
    options.opacity = 3;
    document.setOptions(options);
}

qint64 timeRead(const QString& file, int expected)
{
    QElapsedTimer clock;
    clock.start();
    QString errorText;
    const std::unique_ptr<CompressorXml> document(CompressorXml::read(file, errorText));
    if (!document || document->inputs.size() != expected) {
        std::fprintf(stderr, "read failed: %s\n", qPrintable(errorText));
        std::exit(1);
    }
    return clock.elapsed();
}

// What the reader would cost as a tree: the parse and the release of the tree.
qint64 timeBareParse(const QString& file)
{
    QElapsedTimer clock;
    clock.start();
    QFile in(file);
    if (!in.open(QIODevice::ReadOnly))
        std::exit(1);
    {
        QDomDocument document;
        if (!document.setContent(in.readAll(), false)) {
            std::fprintf(stderr, "bare parse failed\n");
            std::exit(1);
        }
    }
    return clock.elapsed();
}

long peakMemoryMib()
{
    rusage usage{};
    getrusage(RUSAGE_SELF, &usage);
    return usage.ru_maxrss / 1024;
}

}  // namespace

// One measurement per process, so that neither side pays for the other's freed memory.
int main(int argc, char** argv)
{
    QCoreApplication application(argc, argv);
    const QStringList arguments = application.arguments();
    if (arguments.size() < 3) {
        std::fprintf(stderr, "usage: compressorxmlbench write FILE INPUTS | read FILE INPUTS | bare FILE\n");
        return 2;
    }
    const QString mode = arguments.at(1);
    const QString file = arguments.at(2);
    const int count = arguments.value(3).toInt();

    if (mode == QLatin1String("write")) {
        QElapsedTimer clock;
        clock.start();
        CompressorXml document;
        fillMosaic(document, count, QFileInfo(file).absolutePath());
        if (!document.write(file))
            return 1;
        std::printf("write_ms %lld\n", static_cast<long long>(clock.elapsed()));
    } else if (mode == QLatin1String("read")) {
        std::printf("read_ms %lld\n", static_cast<long long>(timeRead(file, count)));
    } else {
        std::printf("bare_ms %lld\n", static_cast<long long>(timeBareParse(file)));
    }
    std::printf("peak_mib %ld\n", peakMemoryMib());
    return 0;
}
