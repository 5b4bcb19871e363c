#include "diagnostics/checkertask.h"

#include <QCoreApplication>
#include <QFileInfo>
#include <QMessageBox>

#include "core/appconstants.h"
#include "core/toolpaths.h"

CheckerTask::CheckerTask(QObject* parent)
    : QObject(parent)
{
    // Direct: the handlers run on the worker thread, in step with run().
    connect(this, &CheckerTask::started, this, &CheckerTask::onStarted, Qt::DirectConnection);
    connect(this, &CheckerTask::failedtostart, this, &CheckerTask::onFailedToStart, Qt::DirectConnection);
    connect(this, &CheckerTask::failed, this, &CheckerTask::onFailed, Qt::DirectConnection);
    connect(this, &CheckerTask::finished, this, &CheckerTask::onFinished, Qt::DirectConnection);
}

bool CheckerTask::setInputFilename(const QString& path)
{
    inputPath = path;
    inputName = QFileInfo(path).fileName();
    return QFileInfo::exists(path);
}

void CheckerTask::setId(quint32 id)
{
    id_ = id;
}

quint32 CheckerTask::id() const
{
    return id_;
}

QString CheckerTask::inputFilename() const
{
    return inputPath;
}

QString CheckerTask::outputFilename() const
{
    return QString();
}

QString CheckerTask::logFilename() const
{
    return QFileInfo(inputPath).absoluteFilePath() + QStringLiteral("-checker.log");
}

QStringList CheckerTask::arguments()
{
    QStringList args{inputPath};
    if (clean) {
        args.append(QStringLiteral("-clean=%1").arg(outputFilename()));
        return args;
    }
    // Only the threads option carries a marker: the tool has always been given the other four bare.
    if (threads != -1)
        args.append(QStringLiteral("-threads=%1").arg(threads));
    if (tileSize != -1)
        args.append(QStringLiteral("-tilesize="));
    if (maxMem != -1)
        args.append(QStringLiteral("-maxmem="));
    if (numHeaps != -1)
        args.append(QStringLiteral("-numheaps="));
    if (queueSize != -1)
        args.append(QStringLiteral("-queuesize="));
    return args;
}

QString CheckerTask::programPath() const
{
    return toolPath(AppConstants::WvcCheckExe);
}

namespace {

// The tool ends its lines with \r while it updates a status line in place; no part is carried over
// from one chunk to the next.
QStringList toolLines(const QByteArray& data)
{
    QStringList lines = QString::fromLocal8Bit(data).split(QLatin1Char('\r'));
    for (QString& line : lines)
        line = line.remove(QLatin1Char('\n')).trimmed();
    return lines;
}

}  // namespace

bool CheckerTask::handleStandardOutput(const QByteArray& data)
{
    if (aborted)
        return false;
    for (const QString& line : toolLines(data)) {
        if (line.startsWith(QLatin1String("STATUS:"))) {
            QString text = line;
            QTextStream reader(&text, QIODevice::ReadOnly);
            QString word;
            uint percent = 0;
            QChar sign;
            QString rest;
            reader >> word >> percent >> sign >> rest;
            emit progress(id_, QStringLiteral("Validating file '%1'").arg(inputName), quint8(percent & 0xff));
            log(line);
        } else if (line.startsWith(QLatin1String("INPUTS:")) || line.startsWith(QLatin1String("INFO:"))
                   || line.startsWith(QLatin1String("ERROR:"))) {
            log(line);
        }
    }
    return true;
}

bool CheckerTask::handleStandardError(const QByteArray& data)
{
    if (aborted)
        return false;
    for (const QString& line : toolLines(data))
        log(line);
    return true;
}

QAction* CheckerTask::viewAction()
{
    return nullptr;
}

QString CheckerTask::taskName() const
{
    return clean ? tr("Clean") : tr("Validate");
}

void CheckerTask::log(const QString& line)
{
    // Without an open log the lines are dropped, rather than gathered in memory for a file that
    // will never be written.
    if (logFile.isOpen())
        logStream << line << Qt::endl;
}

void CheckerTask::onStarted()
{
    logFile.setFileName(logFilename());
    if (logFile.open(QIODevice::WriteOnly | QIODevice::Truncate | QIODevice::Text)) {
        logStream.setDevice(&logFile);
    } else {
        const QString text = tr("Could not open log file '%1'.").arg(logFile.fileName());
        // This runs on the worker thread: the box is shown by the GUI thread, and the job carries on.
        QMetaObject::invokeMethod(
            qApp, [text] { QMessageBox::warning(nullptr, tr("Warning"), text, QMessageBox::Ok); },
            Qt::QueuedConnection);
    }
    state_ = TaskState::Running;
    emit progress(id_, tr("Starting integrity check of file '%1'").arg(inputName), 0);
}

void CheckerTask::onFailedToStart()
{
    state_ = TaskState::Failed;
    emit progress(id_, tr("Failed to start file integrity check executable."), 0);
}

void CheckerTask::onFailed()
{
    emit progress(id_, tr("File integrity check exited with an error. See log file for details."), 0);
}

void CheckerTask::onFinished()
{
    if (logFile.isOpen()) {
        logStream.flush();
        logFile.close();
    }
    emit progress(id_, tr("Finished validating file '%1'").arg(inputName), 100);
}
