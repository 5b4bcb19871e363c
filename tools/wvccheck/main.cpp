// WVCCheck: decodes every block of every band of a compressed image and reports what fails.
// Usage: WVCCheck <file> [-threads=N] [-tilesize=] [-maxmem=] [-numheaps=] [-queuesize=]
// Exit 0 for an intact file, 1 for a damaged or unreadable one, 2 for a refused request.
#include <QCoreApplication>
#include <QFileInfo>
#include <QStringList>
#include <gdal.h>
#include <thread>

#include "tools/common/gdalmessages.h"
#include "tools/common/interrupt.h"
#include "tools/common/toolconsole.h"
#include "tools/wvccheck/blockchecker.h"

namespace {

enum ExitCode { Intact = 0, Damaged = 1, Refused = 2 };

}  // namespace

int main(int argc, char** argv)
{
    Interrupt::install();
    QCoreApplication application(argc, argv);
    // The application splits this tool's output on "\r" alone.
    ToolConsole console("\r\n");
    QString file;
    int threads = int(std::max(1u, std::thread::hardware_concurrency()));
    QStringList ignored;
    for (const QString& argument : QCoreApplication::arguments().mid(1)) {
        if (argument.startsWith(QLatin1String("-clean="))) {
            console.line(QStringLiteral("ERROR: -clean= is refused: this checker only validates, and repairing a file "
                                        "needs the WVC tools"));
            return Refused;
        }
        if (argument.startsWith(QLatin1String("-threads="))) {
            bool ok = false;
            const int value = argument.mid(9).toInt(&ok);
            if (!argument.mid(9).isEmpty() && (!ok || value < 1 || value > 256)) {
                console.line(QStringLiteral("ERROR: %1: the thread count must be from 1 to 256").arg(argument));
                return Refused;
            }
            if (ok)
                threads = value;
        } else if (argument.startsWith(QLatin1String("-tilesize=")) || argument.startsWith(QLatin1String("-maxmem="))
                   || argument.startsWith(QLatin1String("-numheaps="))
                   || argument.startsWith(QLatin1String("-queuesize="))) {
            ignored.append(argument);
        } else if (argument.startsWith(QLatin1Char('-')) || !file.isEmpty()) {
            console.line(
                QStringLiteral("ERROR: %1: unknown argument; usage: WVCCheck <file> [-threads=N]").arg(argument));
            return Refused;
        } else {
            file = argument;
        }
    }
    if (file.isEmpty()) {
        console.line(QStringLiteral("ERROR: no file given; usage: WVCCheck <file> [-threads=N]"));
        return Refused;
    }
    console.line(QStringLiteral("INPUTS: %1").arg(file));
    for (const QString& argument : ignored)
        console.line(QStringLiteral("INFO: %1 tunes the WVC decoder and has no effect here").arg(argument));
    if (QFileInfo(file).suffix().compare(QLatin1String("wvc"), Qt::CaseInsensitive) == 0) {
        console.line(
            QStringLiteral("ERROR: %1: a WVC file needs the WVC decoder, which this build does not have").arg(file));
        return Refused;
    }
    if (!QFileInfo(file).isFile()) {
        console.line(QStringLiteral("ERROR: %1: no such file").arg(file));
        return Damaged;
    }
    GDALAllRegister();
    GdalMessages::install(nullptr);
    BlockChecker checker(file, threads, console);
    const int failures = checker.run();
    if (checker.interrupted()) {
        console.line(QStringLiteral("ERROR: interrupted before every block was checked"));
        return Interrupt::exitCode();
    }
    return failures == 0 ? Intact : Damaged;
}
