#pragma once

#include <QMutex>
#include <QObject>
#include <QStringList>

// Every signal a job sends, in the order sent: "started 3", "failedtostart 3", "failed 3 1", "finished 3", and
// progress as "42 Validating file 'a.wvc'". A job may signal from its worker and a thread of its own at once.
class SignalTrace : public QObject
{
public:
    template <class Task> explicit SignalTrace(Task* task, bool withProgress = true)
    {
        const auto add = [this](const QString& line) {
            QMutexLocker lock(&mutex);
            recorded.append(line);
        };
        const auto named = [add](const char* name) {
            return [add, name](quint32 id) { add(name + QString::number(id)); };
        };
        connect(task, &Task::started, this, named("started "), Qt::DirectConnection);
        connect(task, &Task::failedtostart, this, named("failedtostart "), Qt::DirectConnection);
        connect(task, &Task::finished, this, named("finished "), Qt::DirectConnection);
        connect(
            task, &Task::failed, this,
            [add](quint32 id, int code) { add(QStringLiteral("failed %1 %2").arg(id).arg(code)); },
            Qt::DirectConnection);
        if (withProgress)
            connect(
                task, &Task::progress, this,
                [add](quint32, const QString& text, quint8 value) { add(QString::number(value) + ' ' + text); },
                Qt::DirectConnection);
    }

    QString text() const
    {
        QMutexLocker lock(&mutex);
        return recorded.join(QStringLiteral("; "));
    }

private:
    mutable QMutex mutex;
    QStringList recorded;
};
