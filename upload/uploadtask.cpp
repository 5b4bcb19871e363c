#include "upload/uploadtask.h"

#include <QDesktopServices>
#include <QFile>
#include <QFileInfo>
#include <QMessageBox>
#include <QRegularExpression>
#include <QUrl>
#include <memory>

#include "core/appconstants.h"
#include "core/toolpaths.h"
#include "upload/uploaddocument.h"

const QUrl UploadTask::websiteUrl(QStringLiteral("https://tsdr.tessarageodata.com/login"));

UploadTask::UploadTask(QObject* parent)
    : QObject(parent)
    , websiteAction(new QAction(QIcon(QStringLiteral(":/ImageCompressor/Resources/TessaraBugLogo.png")),
                                tr("Goto TsDR website"), this))
{
    connect(websiteAction, &QAction::triggered, this, &UploadTask::openWebsite);
    // Direct: the handlers run on the worker thread, before the queued delivery to the window, so
    // the log and the messages keep the tool's order.
    connect(this, &UploadTask::started, this, &UploadTask::onStarted, Qt::DirectConnection);
    connect(this, &UploadTask::failedtostart, this, &UploadTask::onFailedToStart, Qt::DirectConnection);
    connect(this, &UploadTask::failed, this, &UploadTask::onFailed, Qt::DirectConnection);
    connect(this, &UploadTask::finished, this, &UploadTask::onFinished, Qt::DirectConnection);
}

UploadTask* UploadTask::fromXml(const QString& path, QString& error)
{
    const std::unique_ptr<UploadDocument> document(UploadDocument::read(path, error));
    if (!document)
        return nullptr;
    auto* task = new UploadTask;
    task->inputFilename_ = document->path;
    task->outputFilename_ = document->output.description;
    task->logFilename_ = document->logFile;
    task->uploadFolder_ = document->output.value;
    return task;
}

void UploadTask::setId(quint32 id)
{
    id_ = id;
}

quint32 UploadTask::id() const
{
    return id_;
}

QString UploadTask::inputFilename() const
{
    return inputFilename_;
}

QString UploadTask::outputFilename() const
{
    return outputFilename_;
}

QString UploadTask::logFilename() const
{
    return logFilename_;
}

QStringList UploadTask::arguments()
{
    if (singleUpload_) {
        QStringList args{inputFilename_};
        if (!uploadFolder_.isEmpty())
            args << QStringLiteral("-foldername") << uploadFolder_;
        return args << QStringLiteral("-u") << userName_ << QStringLiteral("-p") << password
                    << QStringLiteral("-logfile") << logFilename_;
    }
    QStringList args{QStringLiteral("-u"), userName_, QStringLiteral("-p"), password};
    // Without a document the uploader only logs in.
    if (!inputFilename_.isEmpty())
        args << QStringLiteral("-xml") << inputFilename_;
    return args;
}

QString UploadTask::programPath() const
{
    return toolPath(AppConstants::TsdrUploaderExe);
}

bool UploadTask::handleStandardError(const QByteArray& data)
{
    appendLog(data);
    return !aborted;
}

bool UploadTask::handleStandardOutput(const QByteArray& data)
{
    if (aborted)
        return false;
    appendLog(data);
    static const QRegularExpression lineEnd(QStringLiteral("[\r\n]"));
    static const QRegularExpression progressLine(QStringLiteral("^.* File (\\d+)/(\\d+) ('.+'):\\s+(\\d+).*$"));
    // Each chunk stands alone: a line cut by the pipe matches in neither half, or in the first
    // half with a shorter number.
    for (const QString& line : QString::fromLocal8Bit(data).split(lineEnd)) {
        const QRegularExpressionMatch match = progressLine.match(line);
        if (!match.hasMatch())
            continue;
        const QString index = match.captured(1);
        const QString count = match.captured(2);
        const int percent = match.captured(4).toInt();
        QString message;
        if (index == count && percent == 100) {
            message = tr("Upload finished");
        } else {
            // Deliberate: the name is taken from the quoted group, so the opening quote goes with
            // the directory and the closing one stays; the row has always shown it so.
            message = tr("File %1/%2 '%3' uploading").arg(index, count, QFileInfo(match.captured(3)).fileName());
        }
        emit progress(id_, message, quint8(percent));
    }
    return true;
}

QAction* UploadTask::viewAction()
{
    return websiteAction;
}

QString UploadTask::taskName() const
{
    return tr("Upload");
}

void UploadTask::setInputFilename(const QString& path)
{
    inputFilename_ = path;
}

void UploadTask::setOutputFilename(const QString& text)
{
    outputFilename_ = text;
}

void UploadTask::setLogFilename(const QString& path)
{
    logFilename_ = path;
}

QString UploadTask::uploadFolder() const
{
    return uploadFolder_;
}

void UploadTask::setUploadFolder(const QString& folder)
{
    uploadFolder_ = folder;
}

QString UploadTask::userName() const
{
    return userName_;
}

void UploadTask::setUserName(const QString& name)
{
    userName_ = name;
}

void UploadTask::setPassword(const QString& password)
{
    this->password = password;
}

QString UploadTask::clientId() const
{
    return clientId_;
}

void UploadTask::setClientId(const QString& id)
{
    clientId_ = id;
}

bool UploadTask::singleUpload() const
{
    return singleUpload_;
}

void UploadTask::setSingleUpload(bool single)
{
    singleUpload_ = single;
}

void UploadTask::appendLog(const QByteArray& bytes)
{
    // Opened and closed for every write, so the log is whole on disk whenever the uploader stops.
    // The credential check has no log.
    if (logFilename_.isEmpty())
        return;
    QFile file(logFilename_);
    if (file.open(QIODevice::WriteOnly | QIODevice::Append))
        file.write(bytes);
}

void UploadTask::logLine(const QString& line)
{
    appendLog(line.toLocal8Bit() + "\r\n");
}

void UploadTask::onStarted()
{
    uploadFailed = false;
    emit progress(id_, tr("Starting upload"), 0);
    logLine(tr("Starting upload of file '%1'").arg(inputFilename_));
    logLine(tr("Uploading to %1.").arg(outputFilename_));
    logLine(tr("Using upload application : %1").arg(programPath()));
    QStringList shown = arguments();
    const int passwordAt = shown.indexOf(QStringLiteral("-p")) + 1;
    if (passwordAt > 0 && passwordAt < shown.size())
        shown[passwordAt] = QStringLiteral("******");
    logLine(tr("Calling %1 with arguments: '%2'.")
                .arg(QString(AppConstants::TsdrUploaderExe).remove(QLatin1Char('/')), shown.join(QLatin1Char(' '))));
}

void UploadTask::onFailedToStart()
{
    uploadFailed = true;
    const QString text = tr("Failed to start upload executable '%1'.").arg(programPath());
    emit progress(id_, text, 0);
    logLine(text);
}

void UploadTask::onFailed()
{
    uploadFailed = true;
    emit progress(id_, tr("Upload exited with an error. See log file for details."), 0);
    logLine(tr("Upload terminated with errors."));
}

void UploadTask::onFinished()
{
    if (uploadFailed)
        return;
    const QString text = tr("Finished uploading '%1'.").arg(QFileInfo(inputFilename_).fileName());
    emit progress(id_, text, 100);
    logLine(text);
}

void UploadTask::openWebsite()
{
    if (!QDesktopServices::openUrl(websiteUrl))
        QMessageBox::information(nullptr, tr("Error"), tr("Could not launch default web browser."), QMessageBox::Ok);
}
