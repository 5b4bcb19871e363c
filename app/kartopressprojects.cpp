#include <QFileDialog>
#include <QMessageBox>

#include "app/kartopress.h"
#include "compression/compressiontask.h"
#include "core/appconstants.h"

void Kartopress::loadXmlTask()
{
    const QString fileName = QFileDialog::getOpenFileName(this, tr("Load Compression Task"), QString(),
                                                          tr("Kartopress XML Task ") + QStringLiteral("(*.xml)"));
    if (fileName.isEmpty())
        return;
    // The reader leaves the text alone when it cannot open the file at all, so it starts with the
    // message for that case rather than leaving the user an empty box.
    QString errorText = tr("Could not open file '%1'.").arg(fileName);
    CompressionTask* task = CompressionTask::fromXmlFile(fileName, errorText);
    if (!task) {
        QMessageBox::warning(this, AppConstants::ApplicationName, errorText, QMessageBox::Ok);
        return;
    }
    addTasks({task});
    show();
}
