#pragma once

#include <QFile>
#include <QObject>
#include <QTextStream>
#include <condition_variable>
#include <mutex>
#include <thread>

#include "tasks/runnabletaskbase.h"

// Measures a drive with diskspd: a fixed two-minute test on a data file in the chosen directory, a
// paced progress of its own while the tool runs, and a rated report in a log that each run appends to.
class DiskSpeedTask : public QObject, public RunnableTaskBase
{
    Q_OBJECT
    Q_PROPERTY(QString inputFileName READ inputFilename WRITE setInputFileName)
    Q_PROPERTY(QString logFileName READ logFilename)

public:
    explicit DiskSpeedTask(QObject* parent = nullptr);
    ~DiskSpeedTask() override;

    void setInputFileName(const QString& directory);

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
    QString warningMessage() const override;

    // The pace of the progress shown while the tool runs. Tests shorten it.
    static int paceIntervalMs;
    static constexpr int DefaultPaceIntervalMs = 7000;

signals:
    void progress(quint32 id, const QString& message, quint8 progress) override;
    void started(quint32 id) override;
    void failedtostart(quint32 id) override;
    void failed(quint32 id, int errorCode) override;
    void finished(quint32 id) override;

private:
    void onStarted();
    void onFailedToStart();
    void onFailed(quint32 id, int errorCode);
    void onFinished();
    void pace(quint32 taskId, QString input);
    void stopPacing();
    QString report();

    quint32 id_ = 0;
    QString inputFileName;
    QString dataFileName = QStringLiteral("kartopress_diskspd.dat");
    QFile logFile;
    QTextStream logStream;
    QString iops;
    QString throughput;
    QString latency;

    // The pacing thread sleeps on this condition, so that the destructor can wake and join it at once
    // instead of letting it outlive the job.
    std::thread pacer;
    std::mutex paceMutex;
    std::condition_variable paceWake;
    bool stopPace = false;
};
