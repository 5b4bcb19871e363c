#pragma once

#include <QString>
#include <QStringList>

// One disk test as diskspd's arguments describe it, and the same test as fio's arguments.
struct DiskspdJob
{
    int duration = 10;  // -d, seconds measured
    int warmup = 5;  // -W, seconds run before measuring
    int cooldown = 0;  // -C, seconds run after measuring
    bool random = false;  // -r
    qint64 alignment = 0;  // -r<align>; 0 means the block size
    int threads = 1;  // -t, per target
    int outstanding = 2;  // -o, per thread
    qint64 blockSize = 64 * 1024;  // -b
    qint64 createSize = -1;  // -c
    int writePercent = 0;  // -w
    bool latency = false;  // -L
    bool noSoftwareCache = false;  // -Su
    bool writeThrough = false;  // -Sw
    QString target;
    QStringList arguments;  // as given, for the report's command line
};

// Reads diskspd's arguments; false with the reason in errorText for anything it cannot honour.
bool parseDiskspdArguments(const QStringList& arguments, DiskspdJob& job, QString& errorText);

// fio's arguments for the same test on a file of fileSize bytes, with JSON results on stdout.
QStringList fioArguments(const DiskspdJob& job, qint64 fileSize);
