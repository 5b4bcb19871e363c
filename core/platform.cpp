#include "core/platform.h"

#include <QElapsedTimer>
#include <QThread>

#include <cerrno>
#include <csignal>
#include <poll.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

namespace Platform {

QString executableDirectory()
{
    char buffer[8192];
    const ssize_t length = ::readlink("/proc/self/exe", buffer, sizeof(buffer) - 1);
    if (length <= 0)
        return QString();
    const QString path = QString::fromLocal8Bit(buffer, int(length));
    return path.left(path.lastIndexOf(QLatin1Char('/')));
}

namespace {

// waitid with WNOWAIT looks at the exit without reaping, for kernels that lack pidfd_open.
bool waitByPolling(qint64 pid, int graceMs)
{
    QElapsedTimer timer;
    timer.start();
    for (;;) {
        siginfo_t info{};
        if (::waitid(P_PID, id_t(pid), &info, WEXITED | WNOHANG | WNOWAIT) != 0)
            return errno == ECHILD;
        if (info.si_pid == pid)
            return true;
        if (timer.elapsed() >= graceMs)
            return false;
        QThread::msleep(20);
    }
}

}  // namespace

InterruptResult interruptChild(qint64 pid, int graceMs)
{
    if (pid <= 0)
        return InterruptResult::NotDelivered;
    // Open the pidfd before signalling, so that the pid cannot be reused between the two calls.
    const int pidfd = int(::syscall(SYS_pidfd_open, pid_t(pid), 0));
    if (::kill(pid_t(pid), SIGINT) != 0) {
        if (pidfd >= 0)
            ::close(pidfd);
        return InterruptResult::NotDelivered;
    }
    bool ended = false;
    if (pidfd >= 0) {
        pollfd descriptor{pidfd, POLLIN, 0};
        int result;
        do {
            result = ::poll(&descriptor, 1, graceMs);
        } while (result < 0 && errno == EINTR);
        ended = result > 0;
        ::close(pidfd);
    } else {
        ended = waitByPolling(pid, graceMs);
    }
    return ended ? InterruptResult::Ended : InterruptResult::TimedOut;
}

quint64 totalPhysicalMemory()
{
    const long pages = ::sysconf(_SC_PHYS_PAGES);
    const long pageSize = ::sysconf(_SC_PAGE_SIZE);
    if (pages <= 0 || pageSize <= 0)
        return 0;
    return quint64(pages) * quint64(pageSize);
}

}  // namespace Platform

namespace Platform {

bool supportsPointCloudConversion(const QString& kernelType, const QString& productType, const QString& productVersion)
{
    if (kernelType == QLatin1String("winnt"))
        return true;
    if (kernelType != QLatin1String("linux"))
        return false;
    if (productType != QLatin1String("centos") && productType != QLatin1String("redhat"))
        return true;
    bool isInteger = false;
    const int version = productVersion.toInt(&isInteger);
    return !isInteger || version >= 8;
}

QStringList terminalCandidates()
{
    return {QStringLiteral("x-terminal-emulator"), QStringLiteral("gnome-terminal"), QStringLiteral("konsole"),
            QStringLiteral("xfce4-terminal"),      QStringLiteral("lxterminal"),     QStringLiteral("xterm")};
}

}  // namespace Platform
