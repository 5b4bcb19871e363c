#include "tasks/checksumtask.h"

#include <QDesktopServices>
#include <QFile>
#include <QFileInfo>
#include <QMessageBox>
#include <QUrl>
#include <QVarLengthArray>

#include "tasks/digest.h"

namespace {

// Reads the file in large blocks and hands them out one buffer at a time: a system call for every
// 16 KiB costs more than the hashing it feeds, while abort is still looked at before every buffer.
class BlockReader
{
public:
    BlockReader(QFile& file, int blockSize)
        : file(file)
        , block(blockSize, Qt::Uninitialized)
    {}

    bool atEnd() const { return blockUsed() && file.atEnd(); }

    // True once every byte of the current block has been handed out.
    bool blockUsed() const { return position >= filled; }

    // The next piece of at most `maximum` bytes, in place in the block: hashing reads it there, so no
    // copy is made. The count is -1 on a read error.
    const char* read(qint64 maximum, qint64& count)
    {
        if (blockUsed()) {
            filled = file.read(block.data(), block.size());
            position = 0;
            if (filled < 0) {
                count = -1;
                return nullptr;
            }
        }
        const char* piece = block.constData() + position;
        count = qMin(maximum, filled - position);
        position += count;
        return piece;
    }

private:
    QFile& file;
    QByteArray block;
    qint64 filled = 0;
    qint64 position = 0;
};

constexpr quint32 readBlockSize = 1u << 20;
constexpr quint32 largestBuffer = 64u << 20;

}  // namespace

ChecksumTask::ChecksumTask(QObject* parent)
    : QObject(parent)
    , openChecksumAction(
          new QAction(QIcon(QStringLiteral(":/ImageCompressor/Resources/text_lock.png")), tr("Open Checksum"), this))
{
    connect(openChecksumAction.data(), &QAction::triggered, this, &ChecksumTask::openChecksum);
}

void ChecksumTask::run()
{
    if (aborted)
        return;
    const QString name = QFileInfo(inputFilename_).fileName();
    emit started(id_);
    state_ = TaskState::Running;

    QFile input(inputFilename_);
    const qint64 size = input.size();
    // Unbuffered: the block reader asks for large blocks, which QIODevice's own buffer would only copy.
    if (!input.open(QIODevice::ReadOnly | QIODevice::Unbuffered)) {
        state_ = TaskState::Failed;
        emit progress(id_, tr("Could not open file '%1'.").arg(name), 0);
        emit failedtostart(id_);
        emit finished(id_);
        return;
    }

    Digest hash(algorithm_);
    // One message for the whole run: it is queued to the GUI once per buffer, so it is built once.
    const QString hashingMessage = tr("Calculating checksum for '%1'").arg(name);
    emit progress(id_, hashingMessage, 0);

    // The property can be set to anything: a zero buffer would never get past the first byte, and one
    // beyond what an int counts would not allocate.
    const quint32 buffer = bufferSize_ == 0 ? defaultBufferSize : qMin(bufferSize_, largestBuffer);
    BlockReader reader(input, int(qMax(buffer, readBlockSize)));
    // Every buffer gets its progress message, but the messages of one block are posted together once
    // the block is hashed. A post that finds the GUI thread asleep must wake it on the other core, and
    // on a virtual machine that costs about as much as hashing the buffer; posted back to back, one
    // wake-up serves the whole block. The GUI sees the same messages in the same order, at most one
    // block (about a millisecond) late.
    QVarLengthArray<quint8, readBlockSize / defaultBufferSize> unposted;
    const auto postProgress = [&] {
        for (const quint8 percent : unposted)
            emit progress(id_, hashingMessage, percent);
        unposted.clear();
    };
    bool successful = true;
    qint64 total = 0;
    while (!reader.atEnd()) {
        if (aborted) {
            successful = false;
            break;
        }
        qint64 count = 0;
        const char* piece = reader.read(buffer, count);
        if (count == -1) {
            successful = false;
            break;
        }
        hash.addData(piece, count);
        total += count;
        unposted.append(quint8(int(double(total) / double(size) * 100.0)));
        if (reader.blockUsed())
            postProgress();
    }
    postProgress();
    input.close();

    if (!successful) {
        if (!aborted)
            emit progress(id_, tr("Error reading file '%1'.").arg(name), 100);
        else
            emit progress(id_, tr("Checksum calculation aborted for file '%1'.").arg(name), 100);
        state_ = TaskState::Failed;
        emit failed(id_, 1);
        emit finished(id_);
        return;
    }

    const QByteArray digest = hash.result().toHex().toUpper();
    QFile output(outputFilename_);
    if (!output.open(QIODevice::WriteOnly | QIODevice::Text | QIODevice::Truncate)) {
        emit progress(id_, tr("Could not open checksum file for write '%1'.").arg(outputFilename_), 100);
        state_ = TaskState::Failed;
        emit failed(id_, 1);
        emit finished(id_);
        return;
    }
    output.write(digest + " *" + name.toUtf8());
    output.close();
    state_ = TaskState::Succeeded;
    emit progress(id_, tr("Finished calculating checksum"), 100);
    // Emitted twice on success, as the window has always received it; taskFinish is idempotent.
    emit finished(id_);
    emit finished(id_);
}

void ChecksumTask::openChecksum()
{
    if (!QDesktopServices::openUrl(QUrl::fromLocalFile(outputFilename_)))
        QMessageBox::information(nullptr, tr("Error"),
                                 tr("Could not find default application to compare md5 checksums."), QMessageBox::Ok);
}

void ChecksumTask::setId(quint32 id)
{
    id_ = id;
}

quint32 ChecksumTask::id() const
{
    return id_;
}

QString ChecksumTask::inputFilename() const
{
    return inputFilename_;
}

QString ChecksumTask::outputFilename() const
{
    return outputFilename_;
}

QString ChecksumTask::logFilename() const
{
    return QString();
}

QStringList ChecksumTask::arguments()
{
    return QStringList();
}

QString ChecksumTask::programPath() const
{
    return QString();
}

bool ChecksumTask::handleStandardError(const QByteArray&)
{
    return false;
}

bool ChecksumTask::handleStandardOutput(const QByteArray&)
{
    return false;
}

QAction* ChecksumTask::viewAction()
{
    return openChecksumAction.data();
}

QString ChecksumTask::taskName() const
{
    return tr("Hash");
}

void ChecksumTask::setInputFilename(const QString& path)
{
    inputFilename_ = path;
}

void ChecksumTask::setOutputFilename(const QString& path)
{
    outputFilename_ = path;
}

void ChecksumTask::setLogFilename(const QString& path)
{
    logFilename_ = path;
}

QCryptographicHash::Algorithm ChecksumTask::algorithm() const
{
    return algorithm_;
}

void ChecksumTask::setAlgorithm(QCryptographicHash::Algorithm algorithm)
{
    algorithm_ = algorithm;
}

quint32 ChecksumTask::bufferSize() const
{
    return bufferSize_;
}

void ChecksumTask::setBufferSize(quint32 size)
{
    bufferSize_ = size;
}
