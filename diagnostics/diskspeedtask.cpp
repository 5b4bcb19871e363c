#include "diagnostics/diskspeedtask.h"

#include <QRegularExpression>
#include <QRegExp>
#include <algorithm>
#include <chrono>

#include "core/appconstants.h"
#include "core/toolpaths.h"

int DiskSpeedTask::paceIntervalMs = DiskSpeedTask::DefaultPaceIntervalMs;

DiskSpeedTask::DiskSpeedTask(QObject* parent)
    : QObject(parent)
{
    connect(this, &DiskSpeedTask::started, this, &DiskSpeedTask::onStarted, Qt::DirectConnection);
    connect(this, &DiskSpeedTask::failedtostart, this, &DiskSpeedTask::onFailedToStart, Qt::DirectConnection);
    connect(this, &DiskSpeedTask::failed, this, &DiskSpeedTask::onFailed, Qt::DirectConnection);
    connect(this, &DiskSpeedTask::finished, this, &DiskSpeedTask::onFinished, Qt::DirectConnection);
}

DiskSpeedTask::~DiskSpeedTask()
{
    stopPacing();
    // The data file is large; it goes with the job rather than with each run.
    QFile::remove(inputFileName + dataFileName);
}

void DiskSpeedTask::setInputFileName(const QString& directory)
{
    inputFileName = directory;
}

void DiskSpeedTask::setId(quint32 id)
{
    id_ = id;
}

quint32 DiskSpeedTask::id() const
{
    return id_;
}

QString DiskSpeedTask::inputFilename() const
{
    return inputFileName;
}

QString DiskSpeedTask::outputFilename() const
{
    if (state_ > TaskState::Running && !iops.isNull() && !throughput.isNull() && !latency.isNull())
        return tr("IOPS: %1, Throughput: %2 MiB/sec, Latency: %3ms").arg(iops, throughput, latency);
    return QString();
}

QString DiskSpeedTask::logFilename() const
{
    return inputFileName + dataFileName + QStringLiteral(".log");
}

QStringList DiskSpeedTask::arguments()
{
    return {QStringLiteral("-d120"), QStringLiteral("-r4b"), QStringLiteral("-t4"),  QStringLiteral("-L"),
            QStringLiteral("-b4k"),  QStringLiteral("-c2G"), QStringLiteral("-Suw"), inputFileName + dataFileName};
}

QString DiskSpeedTask::programPath() const
{
    return toolPath(AppConstants::DiskSpdExe);
}

QAction* DiskSpeedTask::viewAction()
{
    return nullptr;
}

QString DiskSpeedTask::taskName() const
{
    return tr("Benchmark");
}

QString DiskSpeedTask::warningMessage() const
{
    return tr("Slow disk IO detected. Please refer to user guide.\nSee log for technical details.");
}

bool DiskSpeedTask::handleStandardError(const QByteArray& data)
{
    if (logFile.isOpen()) {
        logStream << QString::fromLocal8Bit(data).remove(QLatin1Char('\r'));
        logStream.flush();
    }
    return true;
}

bool DiskSpeedTask::handleStandardOutput(const QByteArray& data)
{
    emit progress(id_, tr("Preparing disk benchmarking report."), 95);
    const QString text = QString::fromLocal8Bit(data).remove(QLatin1Char('\r'));

    static const QRegularExpression totalLine(QStringLiteral("^total:\\s+(.+)$"), QRegularExpression::MultilineOption);
    const QRegularExpressionMatch match = totalLine.match(text);
    if (match.hasMatch()) {
        // diskspd's columns: bytes | I/Os | MiB/s | I/O per s | AvgLat | ...
        const QStringList fields =
            match.captured(1).remove(QLatin1Char('|')).split(QRegExp(QStringLiteral("\\s+")), Qt::SkipEmptyParts);
        if (fields.size() > 4) {
            throughput = fields.at(2);
            iops = fields.at(3);
            latency = fields.at(4);
        }
    }

    const QString summary = report();
    if (logFile.isOpen()) {
        logStream << tr("SUMMARY:\n") << summary << text;
        logStream.flush();
    }
    return true;
}

namespace {

struct Figure
{
    const char* line;
    const char* missing;
    double recommended;
    const char* verdicts[3];  // ratings 1, 2 and 3
};

// Ratings run from 0 (not found) to 3 (meets the recommended value).
int rateThroughput(double value)
{
    return value < 2 ? 1 : value < 10 ? 2 : 3;
}

int rateIops(double value)
{
    return value < 500 ? 1 : value < 5000 ? 2 : 3;
}

int rateLatency(double value)
{
    return value > 60 ? 1 : value > 20 ? 2 : 3;
}

}  // namespace

QString DiskSpeedTask::report()
{
    static const Figure figures[] = {
        {QT_TR_NOOP("%3: Throughput %1 MiB/sec %4 the recommended value of %2 MiB/sec.\n"),
         QT_TR_NOOP("WARNING: Could not determine Throughput.\n"),
         10,
         {QT_TR_NOOP("is significantly below"), QT_TR_NOOP("is below"), QT_TR_NOOP("exceeds")}},
        {QT_TR_NOOP("%3: IOPS %1 %4 the recommended value of %2.\n"),
         QT_TR_NOOP("WARNING: Could not determine IOPS.\n"),
         5000,
         {QT_TR_NOOP("are significantly below"), QT_TR_NOOP("are below"), QT_TR_NOOP("exceed")}},
        {QT_TR_NOOP("%3: latency %1ms %4 than the recommended value of %2ms.\n"),
         QT_TR_NOOP("WARNING: Could not determine latency.\n"),
         20,
         {QT_TR_NOOP("is significantly slower"), QT_TR_NOOP("is slower"), QT_TR_NOOP("is faster")}},
    };
    const QString values[] = {throughput, iops, latency};
    int (*const rate[])(double) = {rateThroughput, rateIops, rateLatency};

    QString text;
    int overall = 3;
    for (int i = 0; i < 3; ++i) {
        const Figure& figure = figures[i];
        if (values[i].isEmpty()) {
            overall = 0;
            text += tr(figure.missing);
            continue;
        }
        const int rating = rate[i](values[i].toDouble());
        overall = std::min(overall, rating);
        text +=
            tr(figure.line)
                .arg(values[i], QString::number(figure.recommended, 'g'),
                     rating == 3 ? QStringLiteral("INFO") : QStringLiteral("WARNING"), tr(figure.verdicts[rating - 1]));
    }
    if (overall < 3)
        state_ = TaskState::Warning;
    static const char* const verdicts[] = {
        QT_TR_NOOP("ERROR: Disk profiling was unable to determine drive performance.\n"),
        QT_TR_NOOP(
            "WARNING: Slow disk IO detected. Processing input from this drive will result in poor performance.\n"),
        QT_TR_NOOP(
            "WARNING: Moderately slow disk IO detected. Processing input from this drive will result in moderate "
            "performance.\n"),
        QT_TR_NOOP("INFO: Acceptable disk IO detected. Processing input from this drive will meet our recommended "
                   "performance requirements.\n"),
    };
    return text + tr(verdicts[overall]);
}

void DiskSpeedTask::onStarted()
{
    logFile.setFileName(logFilename());
    if (!logFile.open(QIODevice::WriteOnly | QIODevice::Append | QIODevice::Text)) {
        emit failedtostart(id_);
        return;
    }
    logStream.setDevice(&logFile);
    state_ = TaskState::Running;
    emit progress(id_, tr("Starting disk benchmarking of '%1'").arg(inputFileName), 0);
    stopPacing();
    stopPace = false;
    pacer = std::thread(&DiskSpeedTask::pace, this, id_, inputFileName);
}

void DiskSpeedTask::pace(quint32 taskId, QString input)
{
    const QString message = tr("Benchmarking '%1'...").arg(input);
    for (int value = 5; value < 100; value += 5) {
        std::unique_lock<std::mutex> lock(paceMutex);
        if (paceWake.wait_for(lock, std::chrono::milliseconds(paceIntervalMs), [this] { return stopPace; }))
            return;
        lock.unlock();
        if (state_ != TaskState::Running)
            return;
        emit progress(taskId, message, quint8(value));
    }
}

void DiskSpeedTask::stopPacing()
{
    if (!pacer.joinable())
        return;
    {
        std::lock_guard<std::mutex> lock(paceMutex);
        stopPace = true;
    }
    paceWake.notify_all();
    pacer.join();
}

void DiskSpeedTask::onFailedToStart()
{
    emit progress(id_, tr("Failed to start disk benchmarking executable."), 0);
}

void DiskSpeedTask::onFailed(quint32, int errorCode)
{
    if (aborted)
        emit progress(id_, tr("Disk benchmarking cancelled. See log file for details."), 0);
    else
        emit progress(id_, tr("Disk benchmarking exited with error %1. See log file for details.").arg(errorCode), 0);
}

void DiskSpeedTask::onFinished()
{
    if (state_ == TaskState::Succeeded || state_ == TaskState::Warning)
        emit progress(id_, tr("Benchmarking '%1' complete.").arg(inputFileName), 100);
    if (logFile.isOpen()) {
        logStream << QString(79, QLatin1Char('*')) << "\n\n";
        logStream.flush();
        logFile.close();
    }
}
