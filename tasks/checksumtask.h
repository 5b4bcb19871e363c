#pragma once

#include <QCryptographicHash>
#include <QObject>
#include <QSharedPointer>

#include "tasks/runnabletaskbase.h"

Q_DECLARE_METATYPE(QCryptographicHash::Algorithm)

// Hashes one file inside our own process and writes "<HEX> *<name>" beside it, in the form the usual
// command-line hash tools check. The only job that replaces run(): it has no child and no log.
class ChecksumTask : public QObject, public RunnableTaskBase
{
    Q_OBJECT
    Q_PROPERTY(QString inputFilename READ inputFilename WRITE setInputFilename)
    Q_PROPERTY(QString outputFilename READ outputFilename WRITE setOutputFilename)
    Q_PROPERTY(QString logFilename READ logFilename WRITE setLogFilename)
    Q_PROPERTY(QCryptographicHash::Algorithm algorithm READ algorithm WRITE setAlgorithm)
    Q_PROPERTY(quint32 bufferSize READ bufferSize WRITE setBufferSize)

public:
    // Also what a buffer size of 0 falls back to when the job runs.
    static constexpr quint32 defaultBufferSize = 16384;

    explicit ChecksumTask(QObject* parent = nullptr);

    void run() override;

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

    void setInputFilename(const QString& path);
    void setOutputFilename(const QString& path);
    void setLogFilename(const QString& path);
    QCryptographicHash::Algorithm algorithm() const;
    void setAlgorithm(QCryptographicHash::Algorithm algorithm);
    quint32 bufferSize() const;
    void setBufferSize(quint32 size);

signals:
    void progress(quint32 id, const QString& message, quint8 progress) override;
    void started(quint32 id) override;
    void failedtostart(quint32 id) override;
    void failed(quint32 id, int errorCode) override;
    void finished(quint32 id) override;

private:
    void openChecksum();

    QString inputFilename_;
    QString outputFilename_;
    QString logFilename_;  // a property that nothing reads: the job never has a log
    QCryptographicHash::Algorithm algorithm_ = QCryptographicHash::Md5;
    quint32 id_ = 0;
    quint32 bufferSize_ = defaultBufferSize;
    QSharedPointer<QAction> openChecksumAction;
};
