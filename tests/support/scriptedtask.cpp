#include "tests/support/scriptedtask.h"

#include "core/toolpaths.h"

ScriptedTask::ScriptedTask(const QString& tool, const QString& output, QObject* parent)
    : QObject(parent)
    , input(QStringLiteral("/data/input-") + tool + QStringLiteral(".tif"))
    , output(output)
    , tool(tool)
{}

void ScriptedTask::setId(quint32 id)
{
    taskId = id;
}

quint32 ScriptedTask::id() const
{
    return taskId;
}

QString ScriptedTask::inputFilename() const
{
    return input;
}

QString ScriptedTask::outputFilename() const
{
    return output;
}

QString ScriptedTask::logFilename() const
{
    return log;
}

QStringList ScriptedTask::arguments()
{
    return toolArguments;
}

QString ScriptedTask::programPath() const
{
    return toolDirectory() + QLatin1Char('/') + tool;
}

bool ScriptedTask::handleStandardError(const QByteArray& data)
{
    QMutexLocker locker(&mutex);
    standardError.append(data);
    return true;
}

bool ScriptedTask::handleStandardOutput(const QByteArray& data)
{
    {
        QMutexLocker locker(&mutex);
        standardOutput.append(data);
    }
    for (const QByteArray& line : data.split('\n')) {
        if (line == "WARN")
            setState(TaskState::Warning);
        else if (line == "FAIL")
            setState(TaskState::Failed);
        else if (!line.isEmpty())
            emit progress(taskId, QString::fromUtf8(line), 50);
    }
    return true;
}

QString ScriptedTask::taskName() const
{
    return QStringLiteral("Scripted");
}

QProcessEnvironment& ScriptedTask::modifyEnvironment(QProcessEnvironment& environment)
{
    environment.insert(QStringLiteral("KP_SCRIPTED_TASK"), tool);
    return environment;
}

QList<QByteArray> ScriptedTask::outputChunks() const
{
    QMutexLocker locker(&mutex);
    return standardOutput;
}

QList<QByteArray> ScriptedTask::errorChunks() const
{
    QMutexLocker locker(&mutex);
    return standardError;
}

QByteArray ScriptedTask::allOutput() const
{
    QMutexLocker locker(&mutex);
    QByteArray all;
    for (const QByteArray& chunk : standardOutput)
        all += chunk;
    return all;
}
