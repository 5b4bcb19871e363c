// ImageCompressor: compresses the images a job document names into one JPEG 2000 file, printing the
// progress lines the application reads. Usage: ImageCompressor -xml <job document>
#include <QCoreApplication>
#include <QStringList>

#include "tools/common/interrupt.h"
#include "tools/common/toolconsole.h"
#include "tools/imagecompressor/compressor.h"
#include "tools/imagecompressor/jobdocument.h"

int main(int argc, char** argv)
{
    Interrupt::install();
    QCoreApplication application(argc, argv);
    const QStringList arguments = QCoreApplication::arguments().mid(1);
    ToolConsole console;
    if (arguments.size() != 2 || arguments.first() != QLatin1String("-xml")) {
        console.error(QStringLiteral("usage: ImageCompressor -xml <job document>"));
        return Compressor::BadJob;
    }
    JobDocument job;
    QString errorText;
    if (!readJobDocument(arguments.at(1), job, errorText)) {
        console.error(errorText);
        return Compressor::BadJob;
    }
    if (!job.logfile.isEmpty() && !console.openLog(job.logfile, errorText)) {
        console.error(QStringLiteral("compresstask logfile '%1': cannot be written: %2").arg(job.logfile, errorText));
        return Compressor::BadJob;
    }
    console.log(QStringLiteral("ImageCompressor, job document %1").arg(arguments.at(1)));
    const int code = Compressor(job, console).run();
    console.log(QStringLiteral("Exit code %1").arg(code));
    return code;
}
