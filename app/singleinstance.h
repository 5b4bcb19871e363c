#pragma once

#include <QLocalServer>
#include <QLockFile>
#include <QObject>
#include <QString>
#include <memory>

// Keeps the program to one running instance per user and settings location. The first process to
// take the lock file listens on a local socket; any later one may pass it a message and learn
// whether the first received it.
class SingleInstance : public QObject
{
    Q_OBJECT

public:
    explicit SingleInstance(const QString& key, QObject* parent = nullptr);
    ~SingleInstance() override;

    // A key unique to this user and to the directory that holds our settings, so that a test or a
    // second settings location does not talk to the user's own instance.
    static QString defaultKey();

    bool isPrimary() const;

    // Sends to the first instance and waits for its acknowledgement. False when this process is the
    // first instance itself, or when the first one did not answer in time.
    bool sendMessage(const QString& message, int timeout);

signals:
    void messageReceived(const QString& message);

private:
    void acceptConnections();

    QString serverName;
    std::unique_ptr<QLockFile> lockFile;
    QLocalServer* server = nullptr;
};
