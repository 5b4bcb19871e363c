#include "pointcloud/udscompressiontask.h"

#include <QDebug>
#include <QFile>
#include <QFileInfo>
#include <QIcon>
#include <QMessageBox>
#include <QProcess>
#include <QRegularExpression>

#include "core/appconstants.h"
#include "core/toolpaths.h"

UDSCompressionTask::UDSCompressionTask(QObject* parent)
    : QObject(parent)
{
    viewPointCloudAction =
        new QAction(QIcon(QStringLiteral(":/ImageCompressor/Resources/pointcloud.png")), tr("View Point Cloud"), this);
    connect(viewPointCloudAction, &QAction::triggered, this, &UDSCompressionTask::viewOutput);

    // Direct: the messages leave on the worker thread before the window hears of the signal that
    // caused them.
    connect(this, &UDSCompressionTask::started, this, &UDSCompressionTask::taskStarted, Qt::DirectConnection);
    connect(this, &UDSCompressionTask::failed, this, &UDSCompressionTask::taskFailed, Qt::DirectConnection);
    connect(this, &UDSCompressionTask::failedtostart, this, &UDSCompressionTask::taskFailedToStart,
            Qt::DirectConnection);
    connect(this, &UDSCompressionTask::finished, this, &UDSCompressionTask::taskFinished, Qt::DirectConnection);
}

QStringList UDSCompressionTask::arguments()
{
    QStringList args{
        QStringLiteral("-i"),
        inputFilename_,
        QStringLiteral("-o"),
        outputFilename_,
        QStringLiteral("-t"),
        tempDirname_,
        QStringLiteral("-c"),
        QStringLiteral("Compressed with %1 %2.").arg(AppConstants::ApplicationName, AppConstants::ApplicationYear)};
    // The converter takes every file of a directory whose name matches this pattern.
    if (QFileInfo(inputFilename_).isDir())
        args << QStringLiteral("-e") << QStringLiteral("(e57|la[sz])");
    if (convertThreads_ != 0)
        args << QStringLiteral("-j") << QString::number(convertThreads_);
    if (readThreads_ != 0)
        args << QStringLiteral("--reading_thread_count") << QString::number(readThreads_);
    if (targetMemoryGB_ != 0)
        args << QStringLiteral("--target_memory") << QString::number(targetMemoryGB_);
    // Deliberate: the user's text stays one argument, blanks and all; the converter splits it itself.
    if (!advancedOptions_.isEmpty())
        args << advancedOptions_;
    // Only at this verbosity does the converter print its progress lines. Any "-v" of the user's,
    // "-vv" and "--verbose-level" included, is taken as their own choice of verbosity.
    if (!advancedOptions_.contains(QLatin1String("-v")))
        args << QStringLiteral("-v") << QStringLiteral("5");
    qDebug().noquote() << args.join(QLatin1Char(' '));
    return args;
}

QString UDSCompressionTask::programPath() const
{
    return toolPath(AppConstants::TspcConverterExe);
}

namespace {

QString toolText(const QByteArray& data)
{
    return QString::fromLocal8Bit(data).replace(QLatin1String("\r\r\n"), QLatin1String("\r\n"));
}

// Opened and closed for every chunk, so that nothing is held open between chunks and the log can be
// read while the conversion runs.
void appendToLog(const QString& path, const QString& text)
{
    QFile log(path);
    if (log.open(QIODevice::WriteOnly | QIODevice::Append))
        log.write(text.toLocal8Bit());
}

}  // namespace

bool UDSCompressionTask::handleStandardOutput(const QByteArray& data)
{
    if (aborted)
        return false;
    const QString text = toolText(data);
    appendToLog(logFilename_, text);
    // Anchored to the whole chunk: a chunk of several lines carries no progress.
    static const QRegularExpression progressLine(QStringLiteral("^TSPC:\\s+(\\d+)/100:(.*)$"));
    const QRegularExpressionMatch match = progressLine.match(text);
    if (match.hasMatch()) {
        bool isNumber = false;
        const uint value = match.captured(1).toUInt(&isNumber, 10);
        if (isNumber && value < 101)
            emit progress(id_, match.captured(2), quint8(value));
    }
    return true;
}

bool UDSCompressionTask::handleStandardError(const QByteArray& data)
{
    if (aborted)
        return false;
    // The converter's complaints belong in the log that the failure message points to.
    appendToLog(logFilename_, toolText(data));
    return true;
}

QAction* UDSCompressionTask::viewAction()
{
    return viewPointCloudAction;
}

QString UDSCompressionTask::taskName() const
{
    return tr("Compress");
}

void UDSCompressionTask::taskStarted()
{
    emit progress(id_, tr("Starting conversion of file '%1'").arg(QFileInfo(inputFilename_).fileName()), 0);
}

// Deliberate: "TPSC" in the two messages below is how users have always seen them.
void UDSCompressionTask::taskFailed()
{
    emit progress(id_, tr("TPSC converter exited with an error. See log file for details."), 0);
}

void UDSCompressionTask::taskFailedToStart()
{
    emit progress(id_, tr("Failed to start TPSC converter executable."), 0);
}

void UDSCompressionTask::taskFinished()
{
    emit progress(id_, tr("Finished converting '%1'.").arg(QFileInfo(outputFilename_).fileName()), 100);
}

void UDSCompressionTask::viewOutput()
{
    const QString viewer = toolPath(AppConstants::TspcViewerExe);
    const QFileInfo viewerInfo(viewer);
    if (!viewerInfo.exists() || !viewerInfo.isExecutable()) {
        QMessageBox::warning(nullptr, tr("Error"), tr("Could not launch application to view TSPC files."),
                             QMessageBox::Ok);
        return;
    }
    if (!QProcess::startDetached(viewer, {QStringLiteral("-datadir"), outputFilename_}, viewerInfo.absolutePath()))
        QMessageBox::warning(nullptr, tr("Error"), tr("Could not launch TSPC viewer application (%1).").arg(viewer),
                             QMessageBox::Ok);
}

void UDSCompressionTask::setId(quint32 id)
{
    id_ = id;
}
quint32 UDSCompressionTask::id() const
{
    return id_;
}
QString UDSCompressionTask::inputFilename() const
{
    return inputFilename_;
}
void UDSCompressionTask::setInputFilename(const QString& path)
{
    inputFilename_ = path;
}
QString UDSCompressionTask::outputFilename() const
{
    return outputFilename_;
}
void UDSCompressionTask::setOutputFilename(const QString& path)
{
    outputFilename_ = path;
}
QString UDSCompressionTask::logFilename() const
{
    return logFilename_;
}
void UDSCompressionTask::setLogFilename(const QString& path)
{
    logFilename_ = path;
}
QString UDSCompressionTask::tempDirname() const
{
    return tempDirname_;
}
void UDSCompressionTask::setTempDirname(const QString& path)
{
    tempDirname_ = path;
}
int UDSCompressionTask::convertThreads() const
{
    return convertThreads_;
}
void UDSCompressionTask::setConvertThreads(int threads)
{
    convertThreads_ = threads;
}
int UDSCompressionTask::readThreads() const
{
    return readThreads_;
}
void UDSCompressionTask::setReadThreads(int threads)
{
    readThreads_ = threads;
}
int UDSCompressionTask::targetMemoryGB() const
{
    return targetMemoryGB_;
}
void UDSCompressionTask::setTargetMemoryGB(int gigabytes)
{
    targetMemoryGB_ = gigabytes;
}
QString UDSCompressionTask::advancedOptions() const
{
    return advancedOptions_;
}
void UDSCompressionTask::setAdvancedOptions(const QString& options)
{
    advancedOptions_ = options;
}
