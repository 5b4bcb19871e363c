// The main window's commands that make upload jobs.
#include "app/kartopress.h"
#include "upload/uploadtotsdr.h"

void Kartopress::newUploadTask()
{
    newUploadTaskWithFiles({});
}

void Kartopress::newUploadTaskWithFiles(QList<QUrl> urls)
{
    UploadToTsDR dialog(this);
    dialog.addFiles(urls);
    if (dialog.exec() != QDialog::Accepted)
        return;
    addTasks(dialog.tasks());
    show();
}
