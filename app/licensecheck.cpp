#include "app/licensecheck.h"

#include <QMetaObject>
#include <QSysInfo>
#include <QThread>

LicenseCheck::LicenseCheck(QObject* parent)
    : QObject(parent)
{}

LicenseCheck::~LicenseCheck()
{
    if (thread) {
        thread->wait();
        delete thread;
    }
}

bool LicenseCheck::isRunning() const
{
    return thread && thread->isRunning();
}

void LicenseCheck::start()
{
    if (isRunning())
        return;
    if (thread) {
        thread->wait();
        delete thread;
    }
    thread = QThread::create([this] {
        const QString text = tr("Licensed for unrestricted use on %1.").arg(QSysInfo::machineHostName());
        // Queued: the report must reach the window on the GUI thread.
        QMetaObject::invokeMethod(
            this, [this, text] { emit finished(true, text); }, Qt::QueuedConnection);
    });
    thread->start();
}
