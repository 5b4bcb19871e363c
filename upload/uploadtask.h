#pragma once

#include <QObject>
#include <QUrl>

#include "tasks/runnabletaskbase.h"

// Sends files to the TsDR cloud platform by running the uploader on a job document. With no document
// the uploader only logs in, which is how the upload dialog checks credentials.
class UploadTask : public QObject, public RunnableTaskBase
{
    Q_OBJECT
    Q_PROPERTY(QString inputFilename READ inputFilename WRITE setInputFilename)
    Q_PROPERTY(QString outputFilename READ outputFilename WRITE setOutputFilename)
    Q_PROPERTY(QString logFilename READ logFilename WRITE setLogFilename)
    Q_PROPERTY(QString uploadFolder READ uploadFolder WRITE setUploadFolder)
    Q_PROPERTY(QString userName READ userName WRITE setUserName)
    Q_PROPERTY(QString clientId READ clientId WRITE setClientId)
    Q_PROPERTY(bool singleUpload READ singleUpload WRITE setSingleUpload)

public:
    explicit UploadTask(QObject* parent = nullptr);

    // A job for a job document, or null with the reader's reason in `error`. Such a job has no
    // credentials, and the uploader is given empty ones.
    static UploadTask* fromXml(const QString& path, QString& error);

    void setId(quint32 id) override;
    quint32 id() const override;
    QString inputFilename() const override;
    QString outputFilename() const override;
    QString logFilename() const override;
    QStringList arguments() override;
    QString programPath() const override;
    bool handleStandardError(const QByteArray& data) override;
    bool handleStandardOutput(const QByteArray& data) override;
    QAction* viewAction() override;
    QString taskName() const override;

    void setInputFilename(const QString& path);
    void setOutputFilename(const QString& text);
    void setLogFilename(const QString& path);
    QString uploadFolder() const;
    void setUploadFolder(const QString& folder);
    QString userName() const;
    void setUserName(const QString& name);
    void setPassword(const QString& password);
    QString clientId() const;
    void setClientId(const QString& id);
    bool singleUpload() const;
    void setSingleUpload(bool single);

    // The platform's login page, opened by the job's "View" button.
    static const QUrl websiteUrl;

signals:
    void progress(quint32 id, const QString& message, quint8 progress) override;
    void started(quint32 id) override;
    void failedtostart(quint32 id) override;
    void failed(quint32 id, int errorCode) override;
    void finished(quint32 id) override;

private:
    void onStarted();
    void onFailedToStart();
    void onFailed();
    void onFinished();
    void openWebsite();
    void appendLog(const QByteArray& bytes);
    void logLine(const QString& line);

    quint32 id_ = 0;
    bool uploadFailed = false;
    bool singleUpload_ = false;
    QString inputFilename_;
    QString outputFilename_;
    QString logFilename_;
    QString uploadFolder_;
    QString userName_;
    QString password;
    QString clientId_;
    QAction* websiteAction;
};
