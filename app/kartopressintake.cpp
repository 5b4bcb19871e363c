#include <QDropEvent>
#include <QFileInfo>
#include <QKeyEvent>
#include <QMessageBox>
#include <QMimeData>
#include <QPushButton>
#include <QTableWidget>
#include <QToolBar>

#include "app/kartopress.h"
#include "compression/compressiontask.h"
#include "core/appconstants.h"
#include "core/filetypes.h"
#include "ui_kartopress.h"
#include "upload/uploadtask.h"

// Files dropped on the task table become jobs through the same slots as the commands, so a drop and
// a command never build a job two ways.

void Kartopress::setupFileIntake()
{
    setAcceptDrops(true);
    ui->toolBar->setAcceptDrops(true);
    QTableWidget* table = ui->taskTable;
    // The drop handling recognises the table by this name, not by its designer name.
    table->setObjectName(QStringLiteral("NAME_TASK_INPUT_LIST"));
    table->setAcceptDrops(true);
    table->setDragDropMode(QAbstractItemView::DropOnly);
    table->setDefaultDropAction(Qt::LinkAction);
    table->setDragDropOverwriteMode(false);
    table->installEventFilter(this);
    // A drag over the table reaches its viewport, never the table itself, and the view would refuse
    // file URLs there; so the viewport is watched too and counts as the table.
    table->viewport()->installEventFilter(this);
}

bool Kartopress::eventFilter(QObject* watched, QEvent* event)
{
    switch (event->type()) {
    case QEvent::DragEnter:
    case QEvent::DragMove:
        static_cast<QDropEvent*>(event)->acceptProposedAction();
        return true;
    case QEvent::KeyPress:
        if (static_cast<QKeyEvent*>(event)->key() != Qt::Key_Delete)
            break;
        deleteSelectedTasks();
        return true;
    case QEvent::Drop: {
        auto* drop = static_cast<QDropEvent*>(event);
        drop->acceptProposedAction();
        QObject* target = watched == ui->taskTable->viewport() ? ui->taskTable : watched;
        if (!drop->mimeData()->hasUrls() || target->objectName() != QLatin1String("NAME_TASK_INPUT_LIST"))
            return false;
        RunnableTaskBase* loaded = takeDroppedFiles(drop->mimeData()->urls());
        if (!loaded)
            return false;
        addTasks({loaded});
        return true;
    }
    default:
        break;
    }
    return QMainWindow::eventFilter(watched, event);
}

RunnableTaskBase* Kartopress::takeDroppedFiles(const QList<QUrl>& urls)
{
    const auto refuse = [this](const QString& text) {
        QMessageBox::warning(this, AppConstants::ApplicationName, text, QMessageBox::Ok);
        return nullptr;
    };
    if (urls.isEmpty())
        return nullptr;
    // Only the first URL decides; a folder is named as such even when files follow it.
    const QFileInfo info(urls.first().toLocalFile());
    const QString suffix = info.suffix().toLower();
    if (info.isDir())
        return refuse(tr("Cannot process a folder, please select a single file."));
    if (urls.size() > 1)
        return refuse(tr("Cannot process multiple drop files, please select a single file."));

    if (suffix == QLatin1String("xml")) {
        // Both readers share one error text, so what the user reads is the last reader's word; it
        // starts with the one case in which a reader may say nothing.
        QString errorText = tr("Could not open file '%1'.").arg(info.filePath());
        if (CompressionTask* task = CompressionTask::fromXmlFile(info.filePath(), errorText))
            return task;
        if (UploadTask* task = UploadTask::fromXml(info.filePath(), errorText))
            return task;
        return refuse(tr("Error parsing XML: %1").arg(errorText));
    }
    if (suffix == QLatin1String("wvc") || suffix == QLatin1String("jp2")) {
        askWhatToDoWith(urls);
        return nullptr;
    }
    // Deliberate: past the lower-cased tests above the suffix is compared as it stands, so a.tif
    // opens the wizard while A.TIF is refused, as the wizard itself would refuse it.
    if (FileTypes::rasterSuffixes().contains(info.suffix()))
        newWvcJp2TaskWithFiles(urls);
    else if (FileTypes::pointCloudSuffixes().contains(info.suffix()))
        newUdsTaskWithFiles(urls);
    else
        refuse(tr("Unknown file type."));
    return nullptr;
}

void Kartopress::askWhatToDoWith(const QList<QUrl>& urls)
{
    QMessageBox box(QMessageBox::Question, tr("Select an Option"),
                    // Deliberate: the text names three of the four actions the buttons offer.
                    tr("Would you like to compress to WVC/JP2, validate or create a checksum for the file(s)?"),
                    QMessageBox::NoButton, this);
    QPushButton* compress = box.addButton(tr("Compress"), QMessageBox::ActionRole);
    QPushButton* upload = box.addButton(tr("Upload"), QMessageBox::ActionRole);
    QPushButton* validate = box.addButton(tr("Validate"), QMessageBox::ActionRole);
    QPushButton* checksum = box.addButton(tr("Checksum"), QMessageBox::ActionRole);
    box.addButton(tr("Cancel"), QMessageBox::RejectRole);
    box.exec();
    QAbstractButton* chosen = box.clickedButton();
    if (chosen == compress)
        newWvcJp2TaskWithFiles(urls);
    else if (chosen == upload)
        newUploadTaskWithFiles(urls);
    else if (chosen == validate)
        newCheckTaskWithFiles(urls);
    else if (chosen == checksum)
        newChecksumTaskWithFiles(urls);
}
