#pragma once

#include <QFile>
#include <QObject>
#include <QTextStream>

#include "tasks/runnabletaskbase.h"

// Runs the integrity checker on one compressed image. Its status lines become the row's progress and
// its report lines go to a log beside the image.
class CheckerTask : public QObject, public RunnableTaskBase
{
    Q_OBJECT
    Q_PROPERTY(int tileSize MEMBER tileSize)
    Q_PROPERTY(int threads MEMBER threads)
    Q_PROPERTY(int maxMem MEMBER maxMem)
    Q_PROPERTY(int numHeaps MEMBER numHeaps)
    Q_PROPERTY(int queueSize MEMBER queueSize)
    Q_PROPERTY(bool clean MEMBER clean)

public:
    explicit CheckerTask(QObject* parent = nullptr);

    bool setInputFilename(const QString& path);

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
    void log(const QString& line);

    int tileSize = -1;
    int threads = -1;
    int maxMem = -1;
    int numHeaps = -1;
    int queueSize = -1;
    bool clean = false;
    quint32 id_ = 0;
    QString inputPath;
    QString inputName;
    QFile logFile;
    QTextStream logStream;
};
