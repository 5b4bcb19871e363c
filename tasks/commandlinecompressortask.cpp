#include "tasks/commandlinecompressortask.h"

#include <QDebug>

CommandLineCompressorTask::CommandLineCompressorTask(QObject* parent)
    : QObject(parent)
{}

CommandLineCompressorTask::~CommandLineCompressorTask()
{
    if (process)
        process->deleteLater();
}

void CommandLineCompressorTask::run()
{
    if (aborted)
        return;
    emit started(id_);

    process = new QProcess;
    connect(process, &QProcess::readyReadStandardError, this, &CommandLineCompressorTask::readyReadStandardError);
    connect(process, &QProcess::readyReadStandardOutput, this, &CommandLineCompressorTask::readyReadStandardOutput);

    const QStringList args = arguments();
    // Deliberate: modifyEnvironment is not consulted; these runs always get the system environment.
    process->setProcessEnvironment(QProcessEnvironment::systemEnvironment());
    commandLine = compressorPath_ + QLatin1Char(' ') + args.join(QLatin1Char(' '));
    qDebug().noquote() << commandLine;
    process->start(compressorPath_, args, QIODevice::ReadWrite);
    process->waitForStarted(30000);

    if (process->error() == QProcess::FailedToStart) {
        aborted = true;
        success = false;
        finishedRun = true;
        emit failedtostart(id_);
    } else {
        process->waitForFinished(-1);
        const int exitCode = process->exitCode();
        finishedRun = true;
        success = process->exitStatus() == QProcess::NormalExit && exitCode == 0;
        if (exitCode != 0)
            emit failed(id_, exitCode);
    }

    // The process object is kept until the task goes, unlike a queue job's.
    disconnect(process, nullptr, nullptr, nullptr);
    emit finished(id_);
}

bool CommandLineCompressorTask::hasFinishedRun() const
{
    return finishedRun;
}

bool CommandLineCompressorTask::hasSucceeded() const
{
    return success;
}

bool CommandLineCompressorTask::wasAborted() const
{
    return aborted;
}

void CommandLineCompressorTask::abort()
{
    aborted = true;
    // No interrupt and no grace period: these runs are short and their output is worth nothing once
    // unwanted.
    if (!finishedRun && process)
        process->kill();
}

void CommandLineCompressorTask::readyReadStandardError()
{
    if (aborted)
        return;
    QString text = QString::fromLocal8Bit(process->readAllStandardError());
    QString reply;
    stdError += filterStandardError(text, reply);
    if (!reply.isEmpty()) {
        qDebug().noquote() << reply;
        process->write(reply.toLocal8Bit());
    }
}

void CommandLineCompressorTask::readyReadStandardOutput()
{
    if (aborted)
        return;
    QString text = QString::fromLocal8Bit(process->readAllStandardOutput());
    stdOut += filterStandardOutput(text);
}

QString CommandLineCompressorTask::filterStandardOutput(QString& sOutput)
{
    return sOutput;
}

QString CommandLineCompressorTask::filterStandardError(QString& sError, QString&)
{
    return sError;
}

QString CommandLineCompressorTask::getCommandLine() const
{
    return commandLine;
}

QString CommandLineCompressorTask::getStdError() const
{
    return stdError;
}

QString CommandLineCompressorTask::getStdOut() const
{
    return stdOut;
}

QString CommandLineCompressorTask::compressorPath() const
{
    return compressorPath_;
}

void CommandLineCompressorTask::setCompressorPath(QString path)
{
    compressorPath_ = path;
}

quint32 CommandLineCompressorTask::id() const
{
    return id_;
}

void CommandLineCompressorTask::setId(quint32 id)
{
    id_ = id;
}
