// The main window's commands that open the compression wizard.
#include <QFileInfo>

#include "app/kartopress.h"
#include "compression/compressiontask.h"
#include "wizard/imagecompressor.h"

void Kartopress::newWvcJp2Task()
{
    runCompressionWizard({});
}

void Kartopress::newWvcJp2TaskWithFiles(QList<QUrl> urls)
{
    runCompressionWizard(absoluteLocalPaths(urls));
}

QStringList Kartopress::absoluteLocalPaths(const QList<QUrl>& urls)
{
    QStringList paths;
    for (const QUrl& url : urls)
        paths.append(QFileInfo(url.toLocalFile()).absoluteFilePath());
    return paths;
}

void Kartopress::runCompressionWizard(const QStringList& files)
{
    setEnabled(false);
    CompressionLicense license;
    license.valid = licenseValid;
    license.text = licenseText;
    {
        TSR::ImageCompressor::API::ImageCompressor wizard(license, this);
        if (!files.isEmpty()) {
            wizard.addFiles(files);
            // Dropped files open the wizard past its first page.
            wizard.restart();
            wizard.next();
        }
        if (wizard.exec() == QDialog::Accepted) {
            QList<RunnableTaskBase*> tasks;
            for (CompressionTask* job : wizard.jobs())
                tasks.append(job);
            addTasks(tasks);
            show();
        }
    }
    setEnabled(true);
}
