#pragma once

#include <QObject>
#include <QString>

namespace QKeychain {
class Job;
}

// Keeps the upload login where a Linux desktop keeps secrets: in the keyring, with the two settings
// keys holding only a marker. Where no keyring service answers (a bare session, a build machine) the
// login goes, scrambled, into a settings file of its own that only its owner may read. Neither way
// writes a password in clear text.
class CredentialStore : public QObject
{
    Q_OBJECT

public:
    // The settings keys that hold the markers; the dialog that owns them names them.
    CredentialStore(const QString& userNameKey, const QString& passwordKey);

    // Emits loaded() with what was stored, at once for the file and later for the keyring, and
    // keyringMissing() once the keyring has failed to answer. Nothing is emitted for an empty store.
    void load();
    // Both end the store's life once the keyring has answered.
    void saveAndRelease(const QString& userName, const QString& password);
    void forgetAndRelease();

    // The file that takes the login when no keyring answers.
    static QString fallbackFileName();

signals:
    void loaded(const QString& userName, const QString& password);
    void keyringMissing();

private:
    enum class Keyring { Unknown, Answers, Missing };
    void readFinished(QKeychain::Job* job);
    void writeFinished(QKeychain::Job* job);
    void saveToFile();
    void setMarkers(const QString& marker);

    QString userNameKey;
    QString passwordKey;
    Keyring keyring = Keyring::Unknown;
    QString userName;
    QString password;
};
