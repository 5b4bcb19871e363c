#pragma once

#include <QObject>
#include <QProcess>
#include <QProcessEnvironment>
#include <QRunnable>
#include <QString>
#include <QStringList>

// A short run of a command-line tool whose whole output the caller wants as text. It is no queue
// job: it never enters the task table. A subclass says what to run and may filter the output, and
// may answer the child on its standard input.
//
// The child's signals reach this object's slots on the thread that runs run(), inside the wait for
// the child, so the object must live on that thread; otherwise the output is only read later, on
// the object's own thread.
class CommandLineCompressorTask : public QObject, public QRunnable
{
    Q_OBJECT
    Q_PROPERTY(QString compressorPath READ compressorPath WRITE setCompressorPath)
    Q_PROPERTY(quint32 id READ id WRITE setId)

public:
    explicit CommandLineCompressorTask(QObject* parent = nullptr);
    ~CommandLineCompressorTask() override;

    void run() override;
    virtual QStringList arguments() = 0;
    virtual QProcessEnvironment& modifyEnvironment(QProcessEnvironment& environment) = 0;

    // The outcome of the one run the object is meant for.
    bool hasFinishedRun() const;
    bool hasSucceeded() const;
    bool wasAborted() const;

signals:
    void started(quint32 id);
    void failedtostart(quint32 id);
    void failed(quint32 id, int errorCode);
    void finished(quint32 id);

public slots:
    void abort();
    virtual void readyReadStandardError();
    virtual void readyReadStandardOutput();
    virtual QString filterStandardOutput(QString& sOutput);
    virtual QString filterStandardError(QString& sError, QString& sResult);
    QString getCommandLine() const;
    QString getStdError() const;
    QString getStdOut() const;
    QString compressorPath() const;
    void setCompressorPath(QString path);
    quint32 id() const;
    void setId(quint32 id);

protected:
    QProcess* process = nullptr;
    quint32 id_ = 0;
    bool aborted = false;
    bool success = false;
    bool finishedRun = false;
    QString compressorPath_;
    QString stdError;
    QString stdOut;
    QString commandLine;
};
