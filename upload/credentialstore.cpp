#include "upload/credentialstore.h"

#include <QCryptographicHash>
#include <QDataStream>
#include <QFile>
#include <QFileInfo>
#include <qt5keychain/keychain.h>

#include "core/settings.h"

namespace {

const QString keyringMarker = QStringLiteral("<desktop keyring>");
const QString fileMarker = QStringLiteral("<credentials file>");
const QString keyringEntry = QStringLiteral("UploadToTsDR");
const QString fileUserNameKey = QStringLiteral("UploadToTsDR/Username");
const QString filePasswordKey = QStringLiteral("UploadToTsDR/Password");

std::unique_ptr<QSettings> fallbackSettings()
{
    return createSettings(AppConstants::ApplicationName + QStringLiteral(" Credentials"));
}

// Not encryption: it keeps the login out of sight of a casual look and of text searches; the file's
// permissions are what keep others out.
QByteArray keystream(int length)
{
    QByteArray stream;
    for (quint32 block = 0; stream.size() < length; ++block) {
        QCryptographicHash hash(QCryptographicHash::Sha256);
        hash.addData(QByteArrayLiteral("Kartopress upload login"));
        hash.addData(reinterpret_cast<const char*>(&block), sizeof block);
        stream += hash.result();
    }
    return stream;
}

QString scrambled(const QString& text)
{
    QByteArray bytes = text.toUtf8();
    const QByteArray stream = keystream(bytes.size());
    for (int i = 0; i < bytes.size(); ++i)
        bytes[i] = char(bytes[i] ^ stream[i]);
    return QString::fromLatin1(bytes.toBase64());
}

QString unscrambled(const QString& text)
{
    QByteArray bytes = QByteArray::fromBase64(text.toLatin1());
    const QByteArray stream = keystream(bytes.size());
    for (int i = 0; i < bytes.size(); ++i)
        bytes[i] = char(bytes[i] ^ stream[i]);
    return QString::fromUtf8(bytes);
}

void restrictToOwner(const QString& path)
{
    QFile file(path);
    // Made empty and private before anything is written into it.
    if (!file.exists() && file.open(QIODevice::WriteOnly))
        file.close();
    file.setPermissions(QFileDevice::ReadOwner | QFileDevice::WriteOwner);
}

void removeFallback()
{
    auto file = fallbackSettings();
    file->remove(fileUserNameKey);
    file->remove(filePasswordKey);
}

}  // namespace

CredentialStore::CredentialStore(const QString& userNameKey, const QString& passwordKey)
    : userNameKey(userNameKey)
    , passwordKey(passwordKey)
{}

QString CredentialStore::fallbackFileName()
{
    return fallbackSettings()->fileName();
}

void CredentialStore::load()
{
    const QString marker = createSettings()->value(userNameKey).toString();
    if (marker == fileMarker) {
        auto file = fallbackSettings();
        emit loaded(unscrambled(file->value(fileUserNameKey).toString()),
                    unscrambled(file->value(filePasswordKey).toString()));
    }
    // Read also when the file holds the login: the answer tells whether the keyring can take it.
    auto* job = new QKeychain::ReadPasswordJob(AppConstants::ApplicationName, this);
    job->setKey(keyringEntry);
    connect(job, &QKeychain::Job::finished, this, &CredentialStore::readFinished);
    job->start();
}

void CredentialStore::readFinished(QKeychain::Job* job)
{
    if (job->error() != QKeychain::NoError && job->error() != QKeychain::EntryNotFound) {
        keyring = Keyring::Missing;
        emit keyringMissing();
        return;
    }
    keyring = Keyring::Answers;
    if (job->error() != QKeychain::NoError || createSettings()->value(userNameKey).toString() != keyringMarker)
        return;
    QByteArray data = static_cast<QKeychain::ReadPasswordJob*>(job)->binaryData();
    QDataStream stream(&data, QIODevice::ReadOnly);
    QString storedUserName;
    QString storedPassword;
    stream >> storedUserName >> storedPassword;
    emit loaded(storedUserName, storedPassword);
}

void CredentialStore::saveAndRelease(const QString& userName, const QString& password)
{
    this->userName = userName;
    this->password = password;
    if (keyring == Keyring::Missing) {
        saveToFile();
        deleteLater();
        return;
    }
    QByteArray data;
    QDataStream stream(&data, QIODevice::WriteOnly);
    stream << userName << password;
    auto* job = new QKeychain::WritePasswordJob(AppConstants::ApplicationName, this);
    job->setKey(keyringEntry);
    job->setBinaryData(data);
    connect(job, &QKeychain::Job::finished, this, &CredentialStore::writeFinished);
    job->start();
}

void CredentialStore::writeFinished(QKeychain::Job* job)
{
    if (job->error() == QKeychain::NoError) {
        setMarkers(keyringMarker);
        removeFallback();
    } else {
        saveToFile();
    }
    deleteLater();
}

void CredentialStore::forgetAndRelease()
{
    removeFallback();
    if (keyring == Keyring::Missing) {
        deleteLater();
        return;
    }
    auto* job = new QKeychain::DeletePasswordJob(AppConstants::ApplicationName, this);
    job->setKey(keyringEntry);
    connect(job, &QKeychain::Job::finished, this, &QObject::deleteLater);
    job->start();
}

void CredentialStore::saveToFile()
{
    auto file = fallbackSettings();
    restrictToOwner(file->fileName());
    file->setValue(fileUserNameKey, scrambled(userName));
    file->setValue(filePasswordKey, scrambled(password));
    file->sync();
    // The settings class writes a new file and renames it over the old one.
    restrictToOwner(file->fileName());
    setMarkers(fileMarker);
}

void CredentialStore::setMarkers(const QString& marker)
{
    auto settings = createSettings();
    settings->setValue(userNameKey, marker);
    settings->setValue(passwordKey, marker);
}
