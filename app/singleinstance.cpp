#include "app/singleinstance.h"

#include <QCryptographicHash>
#include <QDataStream>
#include <QDeadlineTimer>
#include <QDir>
#include <QFileInfo>
#include <QLocalSocket>
#include <QMetaObject>

#include <unistd.h>

#include "core/settings.h"

namespace {

const char acknowledgement = '\x06';

}  // namespace

SingleInstance::SingleInstance(const QString& key, QObject* parent)
    : QObject(parent)
    , serverName(key)
    , lockFile(std::make_unique<QLockFile>(QDir(QDir::tempPath()).filePath(key + QStringLiteral(".lock"))))
{
    // A lock is stale only when its process is gone, never because it is old.
    lockFile->setStaleLockTime(0);
    if (!lockFile->tryLock(0))
        return;
    // The lock is ours, so a socket file left by a crashed instance is stale.
    QLocalServer::removeServer(serverName);
    server = new QLocalServer(this);
    server->setSocketOptions(QLocalServer::UserAccessOption);
    if (!server->listen(serverName))
        qWarning("Cannot listen for other instances on %s: %s", qPrintable(serverName),
                 qPrintable(server->errorString()));
    connect(server, &QLocalServer::newConnection, this, &SingleInstance::acceptConnections);
}

SingleInstance::~SingleInstance() = default;

QString SingleInstance::defaultKey()
{
    const QString settingsDir = QFileInfo(createSettings()->fileName()).absolutePath();
    const QByteArray digest = QCryptographicHash::hash(settingsDir.toUtf8(), QCryptographicHash::Sha1).toHex().left(12);
    return QStringLiteral("kartopress-%1-%2").arg(::getuid()).arg(QString::fromLatin1(digest));
}

bool SingleInstance::isPrimary() const
{
    return server != nullptr;
}

bool SingleInstance::sendMessage(const QString& message, int timeout)
{
    if (isPrimary())
        return false;
    QDeadlineTimer deadline(timeout);
    QLocalSocket socket;
    socket.connectToServer(serverName);
    if (!socket.waitForConnected(int(deadline.remainingTime())))
        return false;

    QByteArray frame;
    QDataStream stream(&frame, QIODevice::WriteOnly);
    stream << message.toUtf8();
    socket.write(frame);
    if (!socket.waitForBytesWritten(int(deadline.remainingTime())))
        return false;
    while (socket.bytesAvailable() < 1) {
        if (deadline.hasExpired() || !socket.waitForReadyRead(int(deadline.remainingTime())))
            return false;
    }
    char answer = 0;
    return socket.getChar(&answer) && answer == acknowledgement;
}

void SingleInstance::acceptConnections()
{
    while (QLocalSocket* socket = server->nextPendingConnection()) {
        connect(socket, &QLocalSocket::disconnected, socket, &QObject::deleteLater);
        connect(socket, &QLocalSocket::readyRead, this, [this, socket] {
            // The frame is a QDataStream byte array: a 32-bit length, then the UTF-8 text.
            if (socket->bytesAvailable() < qint64(sizeof(quint32)))
                return;
            QDataStream peek(socket->peek(sizeof(quint32)));
            quint32 length = 0;
            peek >> length;
            if (length != 0xffffffffu && socket->bytesAvailable() < qint64(sizeof(quint32)) + length)
                return;
            QDataStream stream(socket);
            QByteArray payload;
            stream >> payload;
            socket->putChar(acknowledgement);
            socket->flush();
            socket->disconnectFromServer();
            // Re-emitted from the event loop, so that the sender has its answer before a handler that
            // may quit the program runs.
            const QString message = QString::fromUtf8(payload);
            QMetaObject::invokeMethod(
                this, [this, message] { emit messageReceived(message); }, Qt::QueuedConnection);
        });
    }
}
