#include "tools/diskspd/diskspdjob.h"

#include <QRegularExpression>

namespace {

// A size with diskspd's suffixes: K, M, G, T in binary multiples, or b for a count of blocks. Blocks
// are resolved once the block size is known, so they come back negative here.
bool readSize(const QString& text, qint64& value)
{
    static const QRegularExpression pattern(QStringLiteral("^([0-9]+)([KkMmGgTtb]?)$"));
    const QRegularExpressionMatch match = pattern.match(text);
    if (!match.hasMatch())
        return false;
    bool ok = false;
    value = match.captured(1).toLongLong(&ok);
    if (!ok)
        return false;
    const QString suffix = match.captured(2).toUpper();
    const int shift = suffix == QLatin1String("K") ? 10
        : suffix == QLatin1String("M")             ? 20
        : suffix == QLatin1String("G")             ? 30
        : suffix == QLatin1String("T")             ? 40
                                                   : 0;
    if (shift > 0 && value > (Q_INT64_C(1) << (62 - shift)))
        return false;
    value <<= shift;
    if (match.captured(2) == QLatin1String("b"))
        value = -value;
    return true;
}

bool readCount(const QString& text, int low, int high, int& value)
{
    bool ok = false;
    value = text.toInt(&ok);
    return ok && value >= low && value <= high;
}

}  // namespace

bool parseDiskspdArguments(const QStringList& arguments, DiskspdJob& job, QString& errorText)
{
    job.arguments = arguments;
    qint64 alignment = 0;
    qint64 createSize = -1;
    for (const QString& argument : arguments) {
        // Only the dash form: a leading slash starts a path here.
        const bool option = argument.size() >= 2 && argument.startsWith(QLatin1Char('-')) && argument.at(1).isLetter();
        if (!option) {
            if (!job.target.isEmpty()) {
                errorText = QStringLiteral("only one target is supported, and '%1' would be a second").arg(argument);
                return false;
            }
            job.target = argument;
            continue;
        }
        const QChar letter = argument.at(1);
        const QString value = argument.mid(2);
        bool ok = true;
        if (letter == QLatin1Char('d')) {
            ok = readCount(value, 1, 86400 * 7, job.duration);
        } else if (letter == QLatin1Char('W')) {
            ok = readCount(value, 0, 86400, job.warmup);
        } else if (letter == QLatin1Char('C')) {
            ok = readCount(value, 0, 86400, job.cooldown);
        } else if (letter == QLatin1Char('r')) {
            job.random = true;
            ok = value.isEmpty() || (readSize(value, alignment) && alignment != 0);
        } else if (letter == QLatin1Char('s')) {
            job.random = false;
            ok = value.isEmpty();
        } else if (letter == QLatin1Char('t')) {
            ok = readCount(value, 1, 256, job.threads);
        } else if (letter == QLatin1Char('o')) {
            ok = readCount(value, 1, 4096, job.outstanding);
        } else if (letter == QLatin1Char('b')) {
            ok = readSize(value, job.blockSize) && job.blockSize > 0;
        } else if (letter == QLatin1Char('c')) {
            ok = readSize(value, createSize) && createSize != 0;
        } else if (letter == QLatin1Char('w')) {
            ok = readCount(value, 0, 100, job.writePercent);
        } else if (letter == QLatin1Char('L')) {
            ok = value.isEmpty();
            job.latency = true;
        } else if (letter == QLatin1Char('S')) {
            // -S alone and -Su turn the software cache off; -Sw asks for write-through; -Sh is both;
            // -Sb keeps the cache.
            const QString flags = value.isEmpty() ? QStringLiteral("u") : value;
            for (const QChar flag : flags) {
                if (flag == QLatin1Char('u'))
                    job.noSoftwareCache = true;
                else if (flag == QLatin1Char('w'))
                    job.writeThrough = true;
                else if (flag == QLatin1Char('h'))
                    job.noSoftwareCache = job.writeThrough = true;
                else if (flag != QLatin1Char('b'))
                    ok = false;
            }
        } else {
            errorText = QStringLiteral("the option '%1' is not supported by this diskspd").arg(argument);
            return false;
        }
        if (!ok) {
            errorText = QStringLiteral("the option '%1' has a value out of range").arg(argument);
            return false;
        }
    }
    if (job.target.isEmpty()) {
        errorText = QStringLiteral("no target file given");
        return false;
    }
    job.alignment = alignment < 0 ? -alignment * job.blockSize : alignment;
    job.createSize = createSize < 0 && createSize != -1 ? -createSize * job.blockSize : createSize;
    if (job.createSize > 0 && job.createSize < job.blockSize) {
        errorText = QStringLiteral("the file to create (%1 bytes) is smaller than one block (%2 bytes)")
                        .arg(job.createSize)
                        .arg(job.blockSize);
        return false;
    }
    return true;
}

QStringList fioArguments(const DiskspdJob& job, qint64 fileSize)
{
    QString pattern = job.random ? QStringLiteral("rand") : QString();
    if (job.writePercent == 0)
        pattern += QStringLiteral("read");
    else if (job.writePercent == 100)
        pattern += QStringLiteral("write");
    else
        pattern += QStringLiteral("rw");
    QString target = job.target;
    // fio takes ':' as a separator of file names.
    target.replace(QLatin1Char(':'), QStringLiteral("\\:"));
    QStringList arguments{
        QStringLiteral("--name=diskspd"),
        QStringLiteral("--filename=") + target,
        QStringLiteral("--size=%1").arg(fileSize),
        QStringLiteral("--rw=") + pattern,
        QStringLiteral("--bs=%1").arg(job.blockSize),
        QStringLiteral("--ioengine=libaio"),
        QStringLiteral("--iodepth=%1").arg(job.outstanding),
        QStringLiteral("--numjobs=%1").arg(job.threads),
        QStringLiteral("--thread"),
        QStringLiteral("--time_based"),
        QStringLiteral("--runtime=%1").arg(job.duration),
        QStringLiteral("--ramp_time=%1").arg(job.warmup),
        QStringLiteral("--direct=%1").arg(job.noSoftwareCache ? 1 : 0),
        QStringLiteral("--norandommap"),
        QStringLiteral("--randrepeat=0"),
        QStringLiteral("--eta=never"),
        QStringLiteral("--output-format=json"),
    };
    if (job.random)
        arguments << QStringLiteral("--blockalign=%1").arg(job.alignment > 0 ? job.alignment : job.blockSize);
    if (job.writePercent > 0 && job.writePercent < 100)
        arguments << QStringLiteral("--rwmixwrite=%1").arg(job.writePercent);
    if (job.writeThrough)
        arguments << QStringLiteral("--sync=dsync");
    return arguments;
}
