// The main window's commands that make file check and disk benchmark jobs.
#include <QDir>
#include <QFileDialog>
#include <QFileInfo>
#include <QMessageBox>
#include <QTemporaryFile>

#include "app/kartopress.h"
#include "diagnostics/checkertask.h"
#include "diagnostics/diskspeedtask.h"

void Kartopress::newCheckTask()
{
    const QString lastFile = settings->value(QStringLiteral("GUI/CheckerLastDir"), QString()).toString();
    const QStringList files = QFileDialog::getOpenFileNames(this, tr("Select an WVC or JPEG 2000 file"), lastFile,
                                                            tr("Images(*.wvc *.jp2);;All Files (*.*)"));
    QList<RunnableTaskBase*> tasks;
    for (const QString& file : files) {
        auto* task = new CheckerTask;
        task->setInputFilename(file);
        tasks.append(task);
    }
    addTasks(tasks);
    if (!tasks.isEmpty())
        settings->setValue(QStringLiteral("GUI/CheckerLastDir"), QFileInfo(files.first()).absoluteFilePath());
}

void Kartopress::newCheckTaskWithFiles(QList<QUrl> urls)
{
    QList<RunnableTaskBase*> tasks;
    for (const QString& path : absoluteLocalPaths(urls)) {
        auto* task = new CheckerTask;
        task->setInputFilename(path);
        tasks.append(task);
    }
    addTasks(tasks);
}

void Kartopress::newDiskSpeedTask()
{
    // The benchmark's own key is only read: its choice becomes the file check's start directory.
    const QString lastDir = settings->value(QStringLiteral("GUI/DiskSpdLastDir"), QString()).toString();
    const QString directory = QFileDialog::getExistingDirectory(
        this, tr("Select directory to benchmark and log to. Write permission required."), lastDir,
        QFileDialog::ShowDirsOnly);
    if (directory.isEmpty())
        return;
    QTemporaryFile probe(directory + QStringLiteral("/tempfile"));
    if (!probe.open()) {
        QMessageBox::warning(this, tr("Error"),
                             tr("Disk benchmarking requires write permission to the selected directory.\nPlease "
                                "select another directory."),
                             QMessageBox::Ok);
        return;
    }
    probe.remove();
    settings->setValue(QStringLiteral("GUI/CheckerLastDir"), directory);
    auto* task = new DiskSpeedTask(this);
    task->setInputFileName(QDir::toNativeSeparators(directory + QStringLiteral("/")));
    addTasks({task});
}
