#pragma once

#include <QString>
#include <QStringList>
#include <QtGlobal>

namespace Platform {

// The directory of the running executable, found without an application object.
QString executableDirectory();

enum class InterruptResult {
    NotDelivered,  // the child could not be signalled at all
    Ended,  // the child ended within the grace period
    TimedOut  // the child is still there after the grace period
};

// Asks one child process to stop as a Ctrl-C in its terminal would (SIGINT to that pid alone, never
// to our process group) and waits up to graceMs for it to end. The child is not reaped here, so the
// QProcess that owns it still sees its exit.
InterruptResult interruptChild(qint64 pid, int graceMs);

// Installed physical memory in bytes, 0 when it cannot be read.
quint64 totalPhysicalMemory();

}  // namespace Platform

namespace Platform {

// Whether point cloud conversion can run on a platform, from QSysInfo's kernel type, product type
// and product version: Windows, or Linux except CentOS and Red Hat releases below 8. A version that
// is no integer counts as suitable.
bool supportsPointCloudConversion(const QString& kernelType, const QString& productType, const QString& productVersion);

// The terminal emulators tried, in order, for the utilities console.
QStringList terminalCandidates();

}  // namespace Platform
