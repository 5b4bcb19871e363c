#include "tasks/runnabletaskbase.h"

#include <QApplication>
#include <QDesktopServices>
#include <QFileInfo>
#include <QMessageBox>
#include <QUrl>

#include "core/platform.h"

int RunnableTaskBase::abortGracePeriodMs = RunnableTaskBase::DefaultAbortGracePeriodMs;

RunnableTaskBase::RunnableTaskBase()
    : viewImageAction(new QAction(QIcon(QStringLiteral(":/ImageCompressor/Resources/photo_scenery.png")),
                                  QApplication::translate("RunnableTaskBase", "View Image"), nullptr))
    , viewLogAction(new QAction(QIcon(QStringLiteral(":/ImageCompressor/Resources/log.png")),
                                QApplication::translate("RunnableTaskBase", "View Log"), nullptr))
{
    // No receiver object: the functors run on whichever thread triggers the action.
    QObject::connect(viewImageAction.data(), &QAction::triggered, [this] { openTaskFile(outputFilename()); });
    QObject::connect(viewLogAction.data(), &QAction::triggered, [this] { openTaskFile(logFilename()); });
}

RunnableTaskBase::~RunnableTaskBase()
{
    viewImageAction.reset();
    viewLogAction.reset();
}

void RunnableTaskBase::run()
{
    if (aborted)
        return;
    emit started(id());

    QProcess* child = new QProcess;
    process = child;
    QObject::connect(child, &QProcess::readyReadStandardError,
                     [this, child] { handleStandardError(child->readAllStandardError()); });
    QObject::connect(child, &QProcess::readyReadStandardOutput,
                     [this, child] { handleStandardOutput(child->readAllStandardOutput()); });

    const QStringList args = arguments();
    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    child->setProcessEnvironment(modifyEnvironment(environment));
    child->start(programPath(), args, QIODevice::ReadWrite);
    child->waitForStarted(30000);

    if (child->error() == QProcess::FailedToStart) {
        state_ = TaskState::Failed;
        emit failedtostart(id());
    } else {
        state_ = TaskState::Running;
        child->waitForFinished(-1);
        const int exitCode = child->exitCode();
        const bool cleanExit = child->exitStatus() == QProcess::NormalExit && exitCode == 0;
        if (!cleanExit) {
            state_ = TaskState::Failed;
            emit failed(id(), exitCode);
        } else if (state_ == TaskState::Pending || state_ == TaskState::Running) {
            state_ = TaskState::Succeeded;
        } else if (state_ == TaskState::Failed) {
            emit failed(id(), exitCode);
        }
    }

    QObject::disconnect(child, nullptr, nullptr, nullptr);
    child->deleteLater();
    emit finished(id());
}

void RunnableTaskBase::abort()
{
    aborted = true;
    if (state_ != TaskState::Running || !process)
        return;
    // Failed is set before the interrupt as well as after it: a child that ends at once on SIGINT
    // wakes the worker, which must already find the job failed, also when the child exits with 0.
    state_ = TaskState::Failed;
    const Platform::InterruptResult result = Platform::interruptChild(process->processId(), abortGracePeriodMs);
    if (result == Platform::InterruptResult::NotDelivered) {
        if (process->state() == QProcess::Running) {
            qDebug("Could not attach to console of child process, calling TerminateProcess instead.");
            process->kill();
        }
    } else if (result == Platform::InterruptResult::TimedOut) {
        process->kill();
    }
    state_ = TaskState::Failed;
}

int RunnableTaskBase::state() const
{
    return state_;
}

void RunnableTaskBase::setState(int state)
{
    state_ = state;
}

void RunnableTaskBase::reset()
{
    state_ = TaskState::Pending;
    aborted = false;
}

QProcessEnvironment& RunnableTaskBase::modifyEnvironment(QProcessEnvironment& environment)
{
    return environment;
}

QAction* RunnableTaskBase::viewAction()
{
    return viewImageAction.data();
}

QAction* RunnableTaskBase::logAction()
{
    return viewLogAction.data();
}

QString RunnableTaskBase::warningMessage() const
{
    return QString();
}

void openTaskFile(const QString& path)
{
    QWidget* parent = QApplication::activeWindow();
    if (path.isNull()) {
        QMessageBox::information(parent, QApplication::translate("RunnableTaskBase", "Information"),
                                 QApplication::translate("RunnableTaskBase", "No file was produced by this task."),
                                 QMessageBox::Ok);
        return;
    }
    if (QDesktopServices::openUrl(QUrl::fromLocalFile(path)))
        return;
    if (!QFileInfo::exists(path)) {
        QMessageBox::warning(parent, QApplication::translate("RunnableTaskBase", "Error"),
                             QApplication::translate("RunnableTaskBase", "File \"%1\" does not exist.").arg(path),
                             QMessageBox::Ok);
    } else {
        QMessageBox::warning(parent, QApplication::translate("RunnableTaskBase", "Error"),
                             QApplication::translate("RunnableTaskBase",
                                                     "Could not open file \"%1\". Install an application to "
                                                     "handle this file type.")
                                 .arg(path),
                             QMessageBox::Ok);
    }
}
