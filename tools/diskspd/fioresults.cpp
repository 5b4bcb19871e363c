#include "tools/diskspd/fioresults.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QThread>
#include <cmath>
#include <functional>

namespace {

FioResults::Direction direction(const QJsonObject& figures, qint64 blockSize)
{
    FioResults::Direction result;
    result.ios = qint64(figures.value(QLatin1String("total_ios")).toDouble());
    // fio's byte count takes in I/Os still in flight when the clock stopped; diskspd's bytes are
    // the I/Os counted times the block size.
    result.bytes = result.ios * blockSize;
    const QJsonObject latency = figures.value(QLatin1String("lat_ns")).toObject();
    result.latencyMs = latency.value(QLatin1String("mean")).toDouble() / 1e6;
    result.deviationMs = latency.value(QLatin1String("stddev")).toDouble() / 1e6;
    return result;
}

// Pools means and deviations of several groups into those of the union, weighted by I/O count.
FioResults::Direction pooled(const QVector<FioResults::Direction>& parts)
{
    FioResults::Direction sum;
    double weightedMean = 0.0;
    double weightedSquares = 0.0;
    for (const FioResults::Direction& part : parts) {
        sum.bytes += part.bytes;
        sum.ios += part.ios;
        weightedMean += double(part.ios) * part.latencyMs;
        weightedSquares += double(part.ios) * (part.deviationMs * part.deviationMs + part.latencyMs * part.latencyMs);
    }
    if (sum.ios > 0) {
        sum.latencyMs = weightedMean / double(sum.ios);
        sum.deviationMs = std::sqrt(std::max(0.0, weightedSquares / double(sum.ios) - sum.latencyMs * sum.latencyMs));
    }
    return sum;
}

QString sizeText(qint64 bytes)
{
    if (bytes % (Q_INT64_C(1) << 30) == 0)
        return QStringLiteral("%1GiB").arg(bytes >> 30);
    if (bytes % (Q_INT64_C(1) << 20) == 0)
        return QStringLiteral("%1MiB").arg(bytes >> 20);
    if (bytes % 1024 == 0)
        return QStringLiteral("%1KiB").arg(bytes >> 10);
    return QStringLiteral("%1B").arg(bytes);
}

}  // namespace

bool parseFioJson(const QByteArray& json, qint64 blockSize, FioResults& results, QString& errorText)
{
    // fio may print notes before the JSON document.
    const int start = json.indexOf('{');
    QJsonParseError error;
    const QJsonDocument document = QJsonDocument::fromJson(start < 0 ? json : json.mid(start), &error);
    if (!document.isObject()) {
        errorText = QStringLiteral("fio's results cannot be read: %1").arg(error.errorString());
        return false;
    }
    const QJsonArray jobs = document.object().value(QLatin1String("jobs")).toArray();
    if (jobs.isEmpty()) {
        errorText = QStringLiteral("fio's results hold no job");
        return false;
    }
    results.threads.clear();
    results.seconds = 0.0;
    for (const QJsonValue& value : jobs) {
        const QJsonObject job = value.toObject();
        FioResults::Thread thread;
        thread.read = direction(job.value(QLatin1String("read")).toObject(), blockSize);
        thread.write = direction(job.value(QLatin1String("write")).toObject(), blockSize);
        results.threads.append(thread);
        results.seconds = std::max(results.seconds, job.value(QLatin1String("job_runtime")).toDouble() / 1000.0);
    }
    if (results.seconds <= 0.0) {
        errorText = QStringLiteral("fio measured for no time at all");
        return false;
    }
    return true;
}

QString diskspdReport(const DiskspdJob& job, const FioResults& results, qint64 fileSize)
{
    QString text;
    const auto add = [&text](const QString& line) { text += line + QLatin1Char('\n'); };
    add(QStringLiteral("Command Line: diskspd ") + job.arguments.join(QLatin1Char(' ')));
    add(QString());
    add(QStringLiteral("Input parameters:"));
    add(QString());
    add(QStringLiteral("\ttimespan:   1"));
    add(QStringLiteral("\t-------------"));
    add(QStringLiteral("\tduration: %1s").arg(job.duration));
    add(QStringLiteral("\twarm up time: %1s").arg(job.warmup));
    add(QStringLiteral("\tcool down time: %1s").arg(job.cooldown));
    if (job.latency)
        add(QStringLiteral("\tmeasuring latency"));
    add(QStringLiteral("\tpath: '%1'").arg(job.target));
    add(job.noSoftwareCache ? QStringLiteral("\t\tsoftware cache disabled")
                            : QStringLiteral("\t\tusing software cache"));
    if (job.writeThrough)
        add(QStringLiteral("\t\twrite-through on"));
    add(job.writePercent == 0         ? QStringLiteral("\t\tperforming read test")
            : job.writePercent == 100 ? QStringLiteral("\t\tperforming write test")
                                      : QStringLiteral("\t\tperforming mix test (read/write ratio: %1/%2)")
                                            .arg(100 - job.writePercent)
                                            .arg(job.writePercent));
    add(QStringLiteral("\t\tblock size: %1").arg(job.blockSize));
    if (job.random)
        add(QStringLiteral("\t\tusing random I/O (alignment: %1)")
                .arg(job.alignment > 0 ? job.alignment : job.blockSize));
    else
        add(QStringLiteral("\t\tusing sequential I/O"));
    add(QStringLiteral("\t\tnumber of outstanding I/O operations: %1").arg(job.outstanding));
    add(QStringLiteral("\t\tthreads per file: %1").arg(job.threads));
    add(QStringLiteral("\t\tmeasured by fio (libaio)"));
    add(QString());
    add(QStringLiteral("Results for timespan 1:"));
    add(QString(79, QLatin1Char('*')));
    add(QString());
    add(QStringLiteral("actual test time:\t%1s").arg(results.seconds, 0, 'f', 2));
    add(QStringLiteral("thread count:\t\t%1").arg(results.threads.size()));
    add(QStringLiteral("proc count:\t\t%1").arg(QThread::idealThreadCount()));

    const QString header = job.latency
        ? QStringLiteral(
            "thread |       bytes     |     I/Os     |    MiB/s   |  I/O per s |  AvgLat  | LatStdDev |  file")
        : QStringLiteral("thread |       bytes     |     I/Os     |    MiB/s   |  I/O per s |  file");
    const QString rule(header.size() + 24, QLatin1Char('-'));
    const QString file = QStringLiteral("%1 (%2)").arg(job.target, sizeText(fileSize));
    const auto row = [&](const QString& first, const FioResults::Direction& figures, const QString& last) {
        const double mib = double(figures.bytes) / results.seconds / (1024.0 * 1024.0);
        const double iops = double(figures.ios) / results.seconds;
        QString line = QStringLiteral("%1 | %2 | %3 | %4 | %5")
                           .arg(first)
                           .arg(figures.bytes, 15)
                           .arg(figures.ios, 12)
                           .arg(mib, 10, 'f', 2)
                           .arg(iops, 10, 'f', 2);
        if (job.latency)
            line += QStringLiteral(" | %1 | %2").arg(figures.latencyMs, 8, 'f', 3).arg(figures.deviationMs, 9, 'f', 3);
        return last.isEmpty() ? line : line + QStringLiteral(" | ") + last;
    };
    const auto table = [&](const QString& title,
                           const std::function<FioResults::Direction(const FioResults::Thread&)>& pick) {
        add(QString());
        add(title);
        add(header);
        add(rule);
        QVector<FioResults::Direction> parts;
        for (int i = 0; i < results.threads.size(); ++i) {
            parts.append(pick(results.threads[i]));
            add(row(QStringLiteral("%1").arg(i, 6), parts.last(), file));
        }
        add(rule);
        add(row(QStringLiteral("total:"), pooled(parts), QString()));
    };
    table(QStringLiteral("Total IO"), [](const FioResults::Thread& thread) {
        return pooled({thread.read, thread.write});
    });
    table(QStringLiteral("Read IO"), [](const FioResults::Thread& thread) { return thread.read; });
    table(QStringLiteral("Write IO"), [](const FioResults::Thread& thread) { return thread.write; });
    return text;
}
