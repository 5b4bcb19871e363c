// The main window's point cloud conversion: the wizard's command and the colour table query that
// the wizard offers.
#include <QThread>

#include "app/kartopress.h"
#include "pointcloud/udscomboluttask.h"
#include "pointcloud/udscompressorwizard.h"

void Kartopress::newUdsTask()
{
    newUdsTaskWithFiles({});
}

void Kartopress::newUdsTaskWithFiles(QList<QUrl> urls)
{
    UDSCompressorWizard wizard(lookupTables, this);
    wizard.setInputFiles(absoluteLocalPaths(urls));
    if (wizard.exec() != QDialog::Accepted)
        return;
    addTasks(wizard.tasks());
    show();
}

void Kartopress::startLookupTableQuery()
{
    // Not the job pool: the answer should not wait behind a running conversion, and the capture
    // task must live on the thread that runs it for the child's output to reach it there.
    lookupTableThread = new QThread(this);
    lookupTables = new UDSComboLUTTask;
    lookupTables->setAutoDelete(false);
    lookupTables->moveToThread(lookupTableThread);
    UDSComboLUTTask* task = lookupTables;
    connect(lookupTableThread, &QThread::started, task, [task] { task->run(); });
    connect(task, &CommandLineCompressorTask::finished, lookupTableThread, &QThread::quit, Qt::DirectConnection);
    lookupTableThread->start();
}

void Kartopress::stopLookupTableQuery()
{
    if (!lookupTableThread)
        return;
    lookupTables->abort();
    // A thread whose query never got to run has no finished signal to end it.
    lookupTableThread->quit();
    lookupTableThread->wait();
    delete lookupTables;
    lookupTables = nullptr;
    delete lookupTableThread;
    lookupTableThread = nullptr;
}
