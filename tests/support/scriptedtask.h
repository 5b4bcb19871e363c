#pragma once

#include <QByteArray>
#include <QList>
#include <QMutex>
#include <QObject>
#include <QString>

#include "tasks/runnabletaskbase.h"

// A job that runs a fake tool and reads its output as a real job would: a line "WARN" sets Warning,
// a line "FAIL" sets Failed, anything else only goes to the progress message.
class ScriptedTask : public QObject, public RunnableTaskBase
{
    Q_OBJECT

public:
    explicit ScriptedTask(const QString& tool, const QString& output = QString(), QObject* parent = nullptr);

    void setId(quint32 id) override;
    quint32 id() const override;
    QString inputFilename() const override;
    QString outputFilename() const override;
    QString logFilename() const override;
    QStringList arguments() override;
    QString programPath() const override;
    bool handleStandardError(const QByteArray& data) override;
    bool handleStandardOutput(const QByteArray& data) override;
    QString taskName() const override;
    QProcessEnvironment& modifyEnvironment(QProcessEnvironment& environment) override;

    QString input;
    QString output;
    QString log;
    QStringList toolArguments;
    // The chunks as they arrived; written on the worker thread, so read them through these.
    QList<QByteArray> outputChunks() const;
    QList<QByteArray> errorChunks() const;
    QByteArray allOutput() const;

signals:
    void progress(quint32 id, const QString& message, quint8 progress) override;
    void started(quint32 id) override;
    void failedtostart(quint32 id) override;
    void failed(quint32 id, int errorCode) override;
    void finished(quint32 id) override;

private:
    QString tool;
    quint32 taskId = 0;
    mutable QMutex mutex;
    QList<QByteArray> standardOutput;
    QList<QByteArray> standardError;
};
