#pragma once

#include <QAction>
#include <QProcess>
#include <QProcessEnvironment>
#include <QRunnable>
#include <QSharedPointer>
#include <QString>
#include <QStringList>

// A job's state is a plain int so that the window can compare it with these numbers.
namespace TaskState {
enum Value : int { Pending = 0, Running = 1, Succeeded = 2, Warning = 3, Failed = 4 };
}

// Base of every queued job. It is a QRunnable and deliberately not a QObject: each concrete job
// inherits QObject first and this second, and declares the five signals below as Qt signals, whose
// moc bodies fill the pure slots here so that run() can emit through them.
class RunnableTaskBase : public QRunnable
{
public:
    RunnableTaskBase();

    void run() override;
    ~RunnableTaskBase() override;
    virtual void abort();
    virtual int state() const;
    virtual void setState(int state);
    virtual void reset();
    virtual QProcessEnvironment& modifyEnvironment(QProcessEnvironment& environment);
    virtual void setId(quint32 id) = 0;
    virtual quint32 id() const = 0;
    virtual QString inputFilename() const = 0;
    virtual QString outputFilename() const = 0;
    virtual QString logFilename() const = 0;
    virtual QStringList arguments() = 0;
    virtual QString programPath() const = 0;
    virtual bool handleStandardError(const QByteArray& data) = 0;
    virtual bool handleStandardOutput(const QByteArray& data) = 0;
    virtual QAction* viewAction();
    virtual QAction* logAction();
    virtual QString taskName() const = 0;
    virtual QString warningMessage() const;
    virtual void progress(quint32 id, const QString& message, quint8 progress) = 0;
    virtual void started(quint32 id) = 0;
    virtual void failedtostart(quint32 id) = 0;
    virtual void failed(quint32 id, int errorCode) = 0;
    virtual void finished(quint32 id) = 0;

    // How long an interrupted child may take to end before it is killed. Tests shorten it.
    static int abortGracePeriodMs;
    static constexpr int DefaultAbortGracePeriodMs = 120000;

protected:
    // Only to be dereferenced while the state is Running: it is never cleared after a run.
    QProcess* process = nullptr;
    // The state and the abort mark are plain fields, written from the GUI thread and the worker
    // without a lock; the single pool worker and stop() waiting for the pool keep that sound.
    int state_ = TaskState::Pending;
    bool aborted = false;
    QSharedPointer<QAction> viewImageAction;
    QSharedPointer<QAction> viewLogAction;
};

// Opens a job's file with the desktop's default application, or says why it cannot. A null path
// means the job produced no such file; an empty one is still handed to the desktop.
void openTaskFile(const QString& path);
