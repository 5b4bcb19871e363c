// diskspd: diskspd's command line and results layout over fio. The test runs as an equivalent fio
// job; the results are printed in one write at the end, since the application reads each chunk of
// standard output as the whole report. Progress and errors go to standard error.
#include <QCoreApplication>
#include <QFileInfo>
#include <QProcess>
#include <QStandardPaths>
#include <csignal>
#include <unistd.h>

#include "tools/common/interrupt.h"
#include "tools/diskspd/diskspdjob.h"
#include "tools/diskspd/fioresults.h"

namespace {

enum ExitCode { Success = 0, Failure = 1, Usage = 2 };

void say(const QString& text)
{
    const QByteArray bytes = (QStringLiteral("diskspd: ") + text + QLatin1Char('\n')).toLocal8Bit();
    if (::write(STDERR_FILENO, bytes.constData(), size_t(bytes.size())) < 0)
        return;
}

bool writeAll(const QByteArray& bytes)
{
    qsizetype done = 0;
    while (done < bytes.size()) {
        const ssize_t written = ::write(STDOUT_FILENO, bytes.constData() + done, size_t(bytes.size() - done));
        if (written < 0 && errno != EINTR)
            return false;
        done += written > 0 ? written : 0;
    }
    return true;
}

}  // namespace

int main(int argc, char** argv)
{
    Interrupt::install();
    QCoreApplication application(argc, argv);
    DiskspdJob job;
    QString errorText;
    if (!parseDiskspdArguments(QCoreApplication::arguments().mid(1), job, errorText)) {
        say(errorText);
        say(QStringLiteral(
            "usage: diskspd [-d<s>] [-W<s>] [-r[<align>]] [-t<n>] [-o<n>] [-b<size>] [-c<size>] [-w<%>] [-L] "
            "[-S[u|w|h|b]] <file>"));
        return Usage;
    }
    const QString fio = QStandardPaths::findExecutable(QStringLiteral("fio"));
    if (fio.isEmpty()) {
        say(QStringLiteral("fio was not found on the PATH; install the fio package"));
        return Failure;
    }

    const QFileInfo target(job.target);
    const qint64 existing = target.exists() ? target.size() : -1;
    if (target.exists() && !target.isFile()) {
        say(QStringLiteral("the target '%1' is not a regular file").arg(job.target));
        return Failure;
    }
    if (job.createSize < 0 && existing < job.blockSize) {
        say(QStringLiteral("the test file '%1' does not exist or is smaller than a block; give -c<size> to create it")
                .arg(job.target));
        return Failure;
    }
    const qint64 fileSize = std::max(existing, job.createSize);
    if (existing < job.createSize && ::access(QFile::encodeName(target.absolutePath()).constData(), W_OK) != 0) {
        say(QStringLiteral("cannot create the test file '%1': the directory '%2' does not exist or is not writable")
                .arg(job.target, target.absolutePath()));
        return Failure;
    }

    const QStringList arguments = fioArguments(job, fileSize);
    say(QStringLiteral("warming up for %1 s, then measuring for %2 s").arg(job.warmup).arg(job.duration));
    say(QStringLiteral("running: fio ") + arguments.join(QLatin1Char(' ')));
    QProcess runner;
    runner.start(fio, arguments);
    if (!runner.waitForStarted(30000)) {
        say(QStringLiteral("fio could not be started: %1").arg(runner.errorString()));
        return Failure;
    }
    bool forwarded = false;
    while (!runner.waitForFinished(200)) {
        if (Interrupt::requested() && !forwarded) {
            ::kill(pid_t(runner.processId()), SIGINT);
            forwarded = true;
        }
        if (runner.state() == QProcess::NotRunning)
            break;
    }
    const QByteArray output = runner.readAllStandardOutput();
    const QByteArray errors = runner.readAllStandardError().trimmed();
    if (Interrupt::requested()) {
        say(QStringLiteral("interrupted; no results"));
        return Interrupt::exitCode();
    }
    if (runner.exitStatus() != QProcess::NormalExit || runner.exitCode() != 0) {
        say(QStringLiteral("fio failed (exit code %1)%2")
                .arg(runner.exitCode())
                .arg(errors.isEmpty() ? QString() : QStringLiteral(": ") + QString::fromLocal8Bit(errors)));
        return Failure;
    }
    FioResults results;
    if (!parseFioJson(output, job.blockSize, results, errorText)) {
        say(errorText);
        return Failure;
    }
    if (!errors.isEmpty())
        say(QString::fromLocal8Bit(errors));
    return writeAll(diskspdReport(job, results, fileSize).toLocal8Bit()) ? Success : Failure;
}
