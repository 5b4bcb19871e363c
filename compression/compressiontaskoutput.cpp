// How the image compressor's output becomes progress: the line rules, the completion estimate and the
// messages of the job's life.
#include <QFileInfo>
#include <QRegExp>
#include <cmath>

#include "compression/compressiontask.h"

namespace {

// The fraction is cut off and the value kept in a byte, so 256 wraps to 0. The digits are unbounded,
// so the cut is done in floating point, where a value past the integer range is still defined.
quint8 percentByte(double percent)
{
    const double value = std::trunc(percent);
    return std::isfinite(value) ? quint8(int(std::fmod(value, 256.0))) : 0;
}

// Like QString's constructor from QByteArray, which stops at the first NUL byte.
QString chunkText(const QByteArray& data)
{
    return QString::fromUtf8(data.constData(), int(qstrnlen(data.constData(), uint(data.size()))));
}

}  // namespace

bool CompressionTask::handleStandardOutput(const QByteArray& data)
{
    if (aborted)
        return false;
    const QString text = chunkText(data);
    parseOutput(text);
    standardOutputText_.append(text);
    return true;
}

bool CompressionTask::handleStandardError(const QByteArray& data)
{
    if (aborted)
        return false;
    standardErrorText_.append(chunkText(data));
    return true;
}

void CompressionTask::parseOutput(const QString& text)
{
    // QRegExp is not safe to share between threads while matching; each chunk makes its own.
    QRegExp validating(QStringLiteral("Validating input: \\.\\.\\. File ([0-9]+) of ([0-9]+)"));
    QRegExp encoding(QStringLiteral(".*\\[([0-9]+\\.[0-9]+)%.*\\E: ([0-9]+\\:[0-9]+\\:[0-9]+)\\].*"));
    QRegExp statistics(QStringLiteral(".*\\[([0-9]+\\.[0-9]+)%.*\\].*"));
    QRegExp grid(QStringLiteral("Creating grid geometry .*: \\.\\.\\."));
    const bool updating = operation_ == CompressorXml::OperationUpdate;
    const QString outputName = QFileInfo(outputFilename_).fileName();

    // A line split across two chunks is tested as two fragments: the tool writes whole lines.
    const QStringList lines = text.split(QRegExp(QStringLiteral("[\\r\\n]+")));
    for (const QString& line : lines) {
        if (validating.exactMatch(line)) {
            // A total of 0 would divide by zero; 0 is shown instead.
            const double total = validating.cap(2).toDouble();
            const double percent = total > 0.0 ? 100.0 * validating.cap(1).toDouble() / total : 0.0;
            emit progress(id_, tr("Validating input ..."), percentByte(percent));
        } else if (encoding.exactMatch(line)) {
            const quint8 value = percentByte(encoding.cap(1).toDouble());
            if (value == 100)
                emit progress(id_,
                              updating ? tr("Finished updating '%1'.").arg(outputName)
                                       : tr("Finished compressing '%1'.").arg(outputName),
                              100);
            else if (updating)
                emit progress(id_, tr("Updating file '%1'").arg(outputName), value);
            else
                emit progress(id_,
                              tr("Compressing file '%1'    Completion estimate: %2")
                                  .arg(outputName, estimateText(encoding.cap(2))),
                              value);
        } else if (line.startsWith(QLatin1String("Calculating Stats:"))) {
            // The match decides nothing: a line without a percentage leaves the group empty, which
            // reads as 0.
            statistics.exactMatch(line);
            const quint8 value = percentByte(statistics.cap(1).toDouble());
            if (value == 100)
                emit progress(id_, tr("Finished calculating statistics on file '%1'.").arg(outputName), 100);
            else
                emit progress(id_, tr("Calculating statistics on file '%1'").arg(outputName), value);
        } else if (grid.exactMatch(line)) {
            // The second ending carries a blank that the pattern excludes, so it never shows; the
            // tool's grid stage ends without a message of its own.
            if (line.endsWith(QLatin1String(" in progress: ...")))
                emit progress(id_, tr("Creating grid geometry in progress: ..."), 0);
            else if (line.endsWith(QLatin1String("Completed: ... ")))
                emit progress(id_, tr("Creating grid geometry completed: ..."), 0);
        }
    }
}

QString CompressionTask::estimateText(const QString& timeLeft) const
{
    const QStringList parts = timeLeft.split(QLatin1Char(':'));
    const int hours = parts.value(0).toInt();
    const int minutes = parts.value(1).toInt();
    const QString seconds = parts.value(2);
    // The full hour count stands beside the days, and finer parts are dropped: users know it so.
    if (hours / 24 >= 1)
        return QString::number(hours / 24) + tr(" days ") + QString::number(hours) + tr(" hours ");
    if (hours >= 1)
        return QString::number(hours) + tr(" hours ") + QString::number(minutes) + tr(" minutes ");
    if (minutes >= 1)
        return QString::number(minutes) + tr(" minutes ");
    return seconds + tr(" seconds ");
}

void CompressionTask::taskStarted()
{
    state_ = TaskState::Running;
    const QString inputName = QFileInfo(files_.value(0)).fileName();
    emit progress(id_,
                  operation_ == CompressorXml::OperationUpdate ? tr("Starting update of file '%1'").arg(inputName)
                                                               : tr("Starting compression of file '%1'").arg(inputName),
                  0);
}

void CompressionTask::taskFailedToStart()
{
    state_ = TaskState::Failed;
    emit progress(id_, tr("Failed to start ImageCompressor executable."), 0);
}

void CompressionTask::taskFailed()
{
    emit progress(id_, tr("Compressor exited with an error. See log file for details."), 0);
}

void CompressionTask::taskFinished()
{
    // Also after a failure: the row's status comes from the state, not from this message.
    const QString outputName = QFileInfo(outputFilename_).fileName();
    emit progress(id_,
                  operation_ == CompressorXml::OperationUpdate ? tr("Finished updating '%1'.").arg(outputName)
                                                               : tr("Finished compressing '%1'.").arg(outputName),
                  100);
}
