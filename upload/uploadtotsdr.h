#pragma once

#include <QDateTime>
#include <QDialog>
#include <QList>
#include <QSet>
#include <QSettings>
#include <QString>
#include <QUrl>
#include <memory>

class CredentialStore;
class RunnableTaskBase;

namespace Ui {
class UploadToTsDR;
}

// The login and the files of one upload. Accepted, it writes a job document and yields one job for
// all the files together.
class UploadToTsDR : public QDialog
{
    Q_OBJECT

public:
    explicit UploadToTsDR(QWidget* parent = nullptr);
    ~UploadToTsDR() override;

    bool addFiles(const QList<QUrl>& urls);
    // One job, or none; to be called once exec() has returned Accepted.
    QList<RunnableTaskBase*> tasks();

    static const QString UserNameKey;
    static const QString PasswordKey;
    static const QString RememberCredentialsKey;
    static const QString LastUploadFolderKey;
    static const QStringList acceptedSuffixes;

    // Names the job document; tests hold the clock still.
    static QDateTime (*currentTime)();

protected:
    bool eventFilter(QObject* watched, QEvent* event) override;
    void keyPressEvent(QKeyEvent* event) override;

private:
    void chooseFiles();
    void checkAndAccept();
    bool checkCredentials();
    void updateStyleSheet();
    void fillCredentials(const QString& storedUserName, const QString& storedPassword);

    Ui::UploadToTsDR* ui;
    QSet<QString> files;
    QString userName;
    QString password;
    QString lastUploadFolder;
    std::unique_ptr<QSettings> settings;
    bool rememberCredentials = false;
    CredentialStore* credentialStore;
};
