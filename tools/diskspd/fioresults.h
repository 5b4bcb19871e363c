#pragma once

#include <QByteArray>
#include <QString>
#include <QVector>

#include "tools/diskspd/diskspdjob.h"

// What fio measured, per thread and direction, in the units diskspd reports.
struct FioResults
{
    struct Direction
    {
        qint64 bytes = 0;
        qint64 ios = 0;
        double latencyMs = 0.0;  // mean
        double deviationMs = 0.0;
    };
    struct Thread
    {
        Direction read;
        Direction write;
    };
    double seconds = 0.0;  // the measured time, warm-up excluded
    QVector<Thread> threads;
};

// Reads fio's JSON output (one job entry per thread) of a test with blocks of blockSize bytes; false
// with the reason in errorText.
bool parseFioJson(const QByteArray& json, qint64 blockSize, FioResults& results, QString& errorText);

// diskspd's results text: the parameters, then the "Total IO", "Read IO" and "Write IO" tables,
// each closed by a "total:" row of bytes, I/Os, MiB/s, I/O per s and, when latency is measured,
// the average latency and its standard deviation in milliseconds.
QString diskspdReport(const DiskspdJob& job, const FioResults& results, qint64 fileSize);
