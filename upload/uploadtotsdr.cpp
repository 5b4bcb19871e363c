#include "upload/uploadtotsdr.h"

#include <QDir>
#include <QDragEnterEvent>
#include <QDropEvent>
#include <QFileDialog>
#include <QFileInfo>
#include <QKeyEvent>
#include <QMessageBox>
#include <QMimeData>
#include <QProgressDialog>
#include <QPushButton>
#include <QSemaphore>
#include <QStandardPaths>
#include <QThreadPool>

#include "core/settings.h"
#include "upload/credentialstore.h"
#include "upload/ui_uploadtotsdr.h"
#include "upload/uploaddocument.h"
#include "upload/uploadtask.h"

const QString UploadToTsDR::UserNameKey = QStringLiteral("Gui/UploadToTsDR/Username");
const QString UploadToTsDR::PasswordKey = QStringLiteral("Gui/UploadToTsDR/Password");
const QString UploadToTsDR::RememberCredentialsKey = QStringLiteral("Gui/UploadToTsDR/RememberCredentials");
const QString UploadToTsDR::LastUploadFolderKey = QStringLiteral("Gui/UploadToTsDR/LastUploadFolder");
const QStringList UploadToTsDR::acceptedSuffixes{QStringLiteral("las"), QStringLiteral("laz"), QStringLiteral("e57"),
                                                 QStringLiteral("tspc")};

QDateTime (*UploadToTsDR::currentTime)() = &QDateTime::currentDateTime;

UploadToTsDR::UploadToTsDR(QWidget* parent)
    : QDialog(parent)
    , ui(new Ui::UploadToTsDR)
    , settings(createSettings())
    , credentialStore(new CredentialStore(UserNameKey, PasswordKey))
{
    ui->setupUi(this);
    rememberCredentials = settings->value(RememberCredentialsKey, false).toBool();
    lastUploadFolder = settings->value(LastUploadFolderKey, QString()).toString();
    ui->rememberCheckBox->setChecked(rememberCredentials);
    ui->showPasswordCheckBox->setChecked(false);

    connect(ui->showPasswordCheckBox, &QCheckBox::toggled, this,
            [this](bool shown) { ui->passwordEdit->setEchoMode(shown ? QLineEdit::Normal : QLineEdit::Password); });
    connect(ui->rememberCheckBox, &QCheckBox::toggled, this, [this](bool checked) { rememberCredentials = checked; });
    connect(ui->addFilesButton, &QPushButton::clicked, this, &UploadToTsDR::chooseFiles);
    connect(ui->buttonBox, &QDialogButtonBox::accepted, this, &UploadToTsDR::checkAndAccept);
    connect(ui->buttonBox, &QDialogButtonBox::rejected, this, &QDialog::reject);
    connect(credentialStore, &CredentialStore::loaded, this, &UploadToTsDR::fillCredentials);
    connect(credentialStore, &CredentialStore::keyringMissing, ui->keyringNoteLabel, &QWidget::show);
    credentialStore->load();

    ui->fileList->installEventFilter(this);
    ui->fileList->setAcceptDrops(true);
    updateStyleSheet();
    ui->fileList->setAlternatingRowColors(true);
}

UploadToTsDR::~UploadToTsDR()
{
    // Also after Cancel: the flag decides, so that clearing it forgets an earlier login.
    if (rememberCredentials) {
        credentialStore->saveAndRelease(ui->userNameEdit->text(), ui->passwordEdit->text());
    } else {
        settings->remove(UserNameKey);
        settings->remove(PasswordKey);
        credentialStore->forgetAndRelease();
    }
    settings->setValue(RememberCredentialsKey, rememberCredentials);
    settings->setValue(LastUploadFolderKey, lastUploadFolder);
    delete ui;
}

void UploadToTsDR::fillCredentials(const QString& storedUserName, const QString& storedPassword)
{
    // The keyring may answer after the user has begun to type; what was typed wins.
    if (!ui->userNameEdit->text().isEmpty() || !ui->passwordEdit->text().isEmpty())
        return;
    ui->userNameEdit->setText(storedUserName);
    ui->passwordEdit->setText(storedPassword);
}

bool UploadToTsDR::addFiles(const QList<QUrl>& urls)
{
    for (const QUrl& url : urls) {
        const QString path = QDir::toNativeSeparators(url.toLocalFile());
        const QFileInfo info(path);
        QString refusal;
        if (info.isDir())
            refusal = tr("Cannot add a directory of items.");
        else if (!info.exists())
            // Deliberate: "download list" is the text this box has always shown for a missing file.
            refusal = tr("Error adding files to the download list.");
        else if (files.contains(path))
            refusal = tr("Cannot add duplicate items.");
        if (!refusal.isEmpty()) {
            QMessageBox::information(this, tr("Information"), refusal, QMessageBox::Ok);
            return false;
        }
        ui->fileList->addItem(path);
        files.insert(path);
        updateStyleSheet();
    }
    return true;
}

void UploadToTsDR::chooseFiles()
{
    QStringList patterns;
    for (const QString& suffix : acceptedSuffixes)
        patterns.append(QStringLiteral("*.%1").arg(suffix));
    const QStringList chosen = QFileDialog::getOpenFileNames(
        this, tr("Select Files to Upload"), lastUploadFolder,
        tr("Point Cloud Files (%1);; All Files(*.*)").arg(patterns.join(QLatin1Char(' '))));
    if (chosen.isEmpty())
        return;
    for (const QString& file : chosen)
        files.insert(QDir::toNativeSeparators(file));
    ui->fileList->clear();
    for (const QString& file : qAsConst(files))
        ui->fileList->addItem(file);
    updateStyleSheet();
    lastUploadFolder = QDir::toNativeSeparators(chosen.first());
}

void UploadToTsDR::updateStyleSheet()
{
    ui->fileList->setStyleSheet(files.isEmpty() ? QStringLiteral(
                                    "QListWidget { background: white url(:/ImageCompressor/Resources/upload-48.png) "
                                    "no-repeat center center; }")
                                                : QString());
}

bool UploadToTsDR::eventFilter(QObject* watched, QEvent* event)
{
    if (watched == ui->fileList) {
        switch (event->type()) {
        case QEvent::DragEnter:
        case QEvent::DragMove:
            static_cast<QDropEvent*>(event)->acceptProposedAction();
            return true;
        case QEvent::Drop: {
            auto* drop = static_cast<QDropEvent*>(event);
            if (!drop->mimeData()->hasUrls())
                break;
            drop->acceptProposedAction();
            addFiles(drop->mimeData()->urls());
            return true;
        }
        default:
            break;
        }
    }
    return QDialog::eventFilter(watched, event);
}

void UploadToTsDR::keyPressEvent(QKeyEvent* event)
{
    if (event->key() != Qt::Key_Delete) {
        QDialog::keyPressEvent(event);
        return;
    }
    if (QListWidgetItem* item = ui->fileList->currentItem()) {
        files.remove(item->text());
        delete item;
        updateStyleSheet();
    }
}

void UploadToTsDR::checkAndAccept()
{
    userName = ui->userNameEdit->text();
    password = ui->passwordEdit->text();
    if (userName.isEmpty() || password.isEmpty()) {
        QMessageBox::warning(this, tr("Authentication"), tr("You must enter a valid username and password."),
                             QMessageBox::Ok);
        return;
    }
    if (files.isEmpty()) {
        QMessageBox::warning(this, tr("Upload"), tr("No files selected for upload."), QMessageBox::Ok);
        return;
    }
    for (const QString& file : qAsConst(files)) {
        if (!acceptedSuffixes.contains(QFileInfo(file).suffix().toLower())) {
            QMessageBox::warning(this, tr("Validation"), tr("Unsupported file type."), QMessageBox::Ok);
            return;
        }
    }
    if (!checkCredentials()) {
        QMessageBox::warning(this, tr("Authentication"), tr("Invalid credentials."), QMessageBox::Ok);
        return;
    }
    QDialog::accept();
}

bool UploadToTsDR::checkCredentials()
{
    // A job with credentials and no document: the uploader only logs in.
    UploadTask task;
    task.setUserName(userName);
    task.setPassword(password);
    QProgressDialog busy(tr("Authenticating credentials, please wait..."), QString(), 0, 0, this);
    busy.setCancelButton(nullptr);
    busy.setWindowModality(Qt::WindowModal);

    // The check takes its turn on the one worker, so it waits behind every job already running or
    // queued, and the dialog stays busy meanwhile.
    QSemaphore done;
    QThreadPool::globalInstance()->start([&task, &busy, &done] {
        task.run();
        QMetaObject::invokeMethod(
            &busy, [&busy] { busy.close(); }, Qt::QueuedConnection);
        done.release();
    });
    if (task.state() == TaskState::Pending || task.state() == TaskState::Running)
        busy.exec();
    done.acquire();
    return task.state() == TaskState::Succeeded;
}

QList<RunnableTaskBase*> UploadToTsDR::tasks()
{
    if (ui->fileList->count() == 0)
        return {};
    const QString base = QStandardPaths::writableLocation(QStandardPaths::TempLocation) + QLatin1Char('/')
        + QStringLiteral("KartopressUpload-%1").arg(currentTime().toString(QStringLiteral("yyyy.MM.dd'-'hh.mm.ss")));
    const QString documentPath = QDir::toNativeSeparators(base + QStringLiteral(".xml"));

    UploadDocument document;
    document.logFile = QDir::toNativeSeparators(base + QStringLiteral(".log"));
    document.version = QStringLiteral("1.0");
    for (const QString& file : qAsConst(files))
        document.inputs.append(new QString(file));
    document.output.type = UploadOutputType::Folder;
    // The dialog offers no folder choice: everything goes to the top of the user's space.
    document.output.value = QStringLiteral("ROOT");
    document.output.description = tr("TsDR upload [%1]").arg(userName);
    QString error;
    if (!document.write(documentPath, error)) {
        QMessageBox::warning(this, tr("Error writing Xml"), tr("Error: ") + error, QMessageBox::Ok);
        return {};
    }

    auto* task = new UploadTask;
    task->setUserName(userName);
    task->setPassword(password);
    task->setInputFilename(documentPath);
    task->setOutputFilename(document.output.description);
    task->setUploadFolder(QString());
    task->setLogFilename(document.logFile);
    return {task};
}
