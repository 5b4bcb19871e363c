#pragma once

#include <QAction>
#include <QObject>
#include <QString>

#include "tasks/runnabletaskbase.h"

// Runs the point cloud converter on one file, or on the point cloud files of a directory, and
// turns its one-line progress reports into the row's progress. The tool's output goes to a log.
class UDSCompressionTask : public QObject, public RunnableTaskBase
{
    Q_OBJECT
    Q_PROPERTY(QString inputFilename READ inputFilename WRITE setInputFilename)
    Q_PROPERTY(QString outputFilename READ outputFilename WRITE setOutputFilename)
    Q_PROPERTY(QString logFilename READ logFilename WRITE setLogFilename)
    Q_PROPERTY(QString tempDirname READ tempDirname WRITE setTempDirname)
    Q_PROPERTY(int convertThreads READ convertThreads WRITE setConvertThreads)
    Q_PROPERTY(int readThreads READ readThreads WRITE setReadThreads)
    Q_PROPERTY(int targetMemoryGB READ targetMemoryGB WRITE setTargetMemoryGB)
    Q_PROPERTY(QString advancedOptions READ advancedOptions WRITE setAdvancedOptions)

public:
    explicit UDSCompressionTask(QObject* parent = nullptr);

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
    void setOutputFilename(const QString& path);
    void setLogFilename(const QString& path);
    QString tempDirname() const;
    void setTempDirname(const QString& path);
    int convertThreads() const;
    void setConvertThreads(int threads);
    int readThreads() const;
    void setReadThreads(int threads);
    int targetMemoryGB() const;
    void setTargetMemoryGB(int gigabytes);
    QString advancedOptions() const;
    void setAdvancedOptions(const QString& options);

signals:
    void progress(quint32 id, const QString& message, quint8 progress) override;
    void started(quint32 id) override;
    void failedtostart(quint32 id) override;
    void failed(quint32 id, int errorCode) override;
    void finished(quint32 id) override;

private:
    void taskStarted();
    void taskFailed();
    void taskFailedToStart();
    void taskFinished();
    void viewOutput();

    quint32 id_ = 0;
    QString inputFilename_;
    QString outputFilename_;
    QString logFilename_;
    QString tempDirname_;
    int convertThreads_ = 0;
    int readThreads_ = 0;
    int targetMemoryGB_ = 0;
    QString advancedOptions_;
    QAction* viewPointCloudAction = nullptr;
};
