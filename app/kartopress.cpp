#include "app/kartopress.h"

#include <QCloseEvent>
#include <QCoreApplication>
#include <QFileDialog>
#include <QFileInfo>
#include <QHeaderView>
#include <QKeyEvent>
#include <QMenu>
#include <QMessageBox>
#include <QThreadPool>
#include <QToolButton>
#include <functional>

#include "app/licensecheck.h"
#include "app/ui_kartopress.h"
#include "core/appconstants.h"
#include "core/settings.h"
#include "core/toolpaths.h"
#include "tasks/checksumtask.h"
#include "tasks/runnabletaskbase.h"
#include "wizard/dataset/compressionutilfactory.h"

namespace {

Kartopress* mainWindow = nullptr;

enum Column { InputColumn = 0, OutputColumn, TaskColumn, StatusColumn, LogColumn, ViewColumn, ColumnCount };

// Built once per process, on the first construction of the window.
QIcon statusIcons[TaskState::Failed + 1];

void buildStatusIcons()
{
    if (!statusIcons[TaskState::Pending].isNull())
        return;
    statusIcons[TaskState::Pending] = QIcon(QStringLiteral(":/ImageCompressor/Resources/stopwatch.png"));
    statusIcons[TaskState::Running] = QIcon(QStringLiteral(":/ImageCompressor/Resources/stopwatch_run.png"));
    statusIcons[TaskState::Succeeded] = QIcon(QStringLiteral(":/ImageCompressor/Resources/check.png"));
    statusIcons[TaskState::Warning] = QIcon(QStringLiteral(":/ImageCompressor/Resources/warning.png"));
    statusIcons[TaskState::Failed] = QIcon(QStringLiteral(":/ImageCompressor/Resources/error.png"));
}

QTableWidgetItem* readOnlyItem(const QString& text)
{
    auto* item = new QTableWidgetItem(text);
    item->setFlags(Qt::ItemIsSelectable | Qt::ItemIsEnabled);
    return item;
}

bool runIsActive()
{
    return QThreadPool::globalInstance()->activeThreadCount() > 0;
}

QToolButton* rowButton(const QIcon& icon)
{
    auto* button = new QToolButton;
    button->setAutoRaise(true);
    button->setIcon(icon);
    button->setSizePolicy(QSizePolicy::Preferred, QSizePolicy::Preferred);
    return button;
}

}  // namespace

bool (*Kartopress::systemTrayAvailable)() = &QSystemTrayIcon::isSystemTrayAvailable;
bool Kartopress::trayMessageShown = false;

Kartopress::Kartopress(QWidget* parent)
    : QMainWindow(parent)
    , ui(new Ui::Kartopress)
    , settings(createSettings())
{
    if (!mainWindow)
        mainWindow = this;
    buildStatusIcons();

    ui->setupUi(this);
    setWindowTitle(AppConstants::ApplicationName + QLatin1Char(' ') + AppConstants::ApplicationYear);
    setWindowIcon(QIcon(QStringLiteral(":/ImageCompressor/Resources/tws.png")));
    newUdsToolTip = ui->actionNewUDS->toolTip();

    setupToolBar();
    setContextMenuPolicy(Qt::NoContextMenu);
    setWindowFlags(Qt::CustomizeWindowHint | Qt::WindowMinimizeButtonHint | Qt::WindowMaximizeButtonHint
                   | Qt::WindowCloseButtonHint);

    if (systemTrayAvailable())
        setupTray();

    setupTable();
    ui->taskTable->horizontalHeader()->restoreState(
        settings->value(QStringLiteral("GUI/TableHeaderState"), QByteArray()).toByteArray());
    ui->taskTable->horizontalHeader()->restoreGeometry(
        settings->value(QStringLiteral("GUI/TableHeaderGeom"), QByteArray()).toByteArray());

    ui->progress->setRange(0, 100);
    ui->actionStart->setEnabled(true);
    ui->actionStop->setEnabled(false);

    connectCommand(ui->actionChecksum, &Kartopress::newChecksumTask);
    connectCommand(ui->actionNewWvcJP2, &Kartopress::newWvcJp2Task);
    connectCommand(ui->actionLoadXml, &Kartopress::loadXmlTask);
    connectCommand(ui->actionUpload, &Kartopress::newUploadTask);
    connectCommand(ui->actionWvcCheck, &Kartopress::newCheckTask);
    connectCommand(ui->actionDiskSpeed, &Kartopress::newDiskSpeedTask);
    connectCommand(ui->actionNewUDS, &Kartopress::newUdsTask);
    connectCommand(ui->actionViewer,
                   [this] { launchExe(toolPath(AppConstants::ViewerExe), QStringLiteral("Kartopress Viewer")); });
    connectCommand(ui->actionHeaderEditor,
                   [this] { launchExe(toolPath(AppConstants::HeaderEditorExe), QStringLiteral("WVC Header Editor")); });
    connectCommand(ui->actionConsole, [this] { launchConsole(toolDirectory()); });
    connectCommand(ui->actionHelp, &Kartopress::openHelp);
    connectCommand(ui->actionAbout, &Kartopress::about);
    addAction(ui->actionAbout);
    addAction(ui->actionHelp);
    setupDeleteMenu();
    setupToolsMenu();
    checkToolInstalled(AppConstants::WvcCheckExe, ui->actionWvcCheck);
    checkToolInstalled(AppConstants::HeaderEditorExe, ui->actionHeaderEditor);
    checkToolInstalled(AppConstants::DiskSpdExe, ui->actionDiskSpeed);
    checkToolInstalled(AppConstants::HeaderEditorExe, ui->actionConsole);

    setupFileIntake();
    connectCommand(ui->actionStart, &Kartopress::start);
    connectCommand(ui->actionStop, &Kartopress::stop);
    connectCommand(ui->actionExit, &Kartopress::exit);
    connectCommand(ui->actionDeleteTask, &Kartopress::deleteSelectedTasks);
    disableActionsWithoutCommand();

    ui->actionNewWvcJP2->setEnabled(false);
    ui->actionNewUDS->setEnabled(false);
    ui->actionLoadXml->setEnabled(false);
    licenseCheck = new LicenseCheck(this);
    connect(licenseCheck, &LicenseCheck::finished, this, &Kartopress::licenseCheckFinished);
    connect(ui->licenseRefreshButton, &QPushButton::clicked, this, [this] {
        if (!licenseCheck)
            return;
        ui->licenseTextLabel->setStyleSheet(QString());
        ui->licenseTextLabel->setText(tr("Checking license..."));
        licenseCheck->start();
    });
    licenseCheck->start();
    startLookupTableQuery();

    const QRect geometry = settings->value(QStringLiteral("GUI/ProgressGeometry")).toRect();
    if (geometry.isValid())
        setGeometry(geometry);

    QThreadPool::globalInstance()->setMaxThreadCount(1);
}

Kartopress::~Kartopress()
{
    shutDownJobs();
    stopLookupTableQuery();
    delete trayIcon;
    trayIcon = nullptr;
    for (int row = 0; row < ui->taskTable->rowCount(); ++row) {
        RunnableTaskBase* task = taskAt(row);
        if (!task)
            continue;
        ui->taskTable->item(row, InputColumn)->setData(Qt::UserRole, QVariant());
        delete task;
    }
    settings->setValue(QStringLiteral("GUI/ProgressGeometry"), geometry());
    settings->setValue(QStringLiteral("GUI/TableHeaderState"), ui->taskTable->horizontalHeader()->saveState());
    settings->setValue(QStringLiteral("GUI/TableHeaderGeom"), ui->taskTable->horizontalHeader()->saveGeometry());
    TSR::ImageCompressor::API::CompressionUtilFactory::Shutdown();
    delete licenseCheck;
    delete ui;
    if (mainWindow == this)
        mainWindow = nullptr;
}

void Kartopress::shutDownJobs()
{
    // The program ends whatever is answered here, and the jobs are deleted right after, so the pool
    // must be idle before this returns. Yes interrupts the running job; No lets it finish its output
    // (a half-written result is worth less than a late exit), and the queued jobs are dropped either way.
    const bool interrupt = !runIsActive() || askToStop();
    abortJobs(interrupt);
    QThreadPool::globalInstance()->waitForDone(-1);
}

bool Kartopress::askToStop()
{
    return QMessageBox::question(this, tr("Abort?"), tr("Are you sure you want to stop the currently running tasks?"),
                                 QMessageBox::Yes | QMessageBox::No)
        == QMessageBox::Yes;
}

void Kartopress::abortJobs(bool includingRunning)
{
    // Queued jobs are marked before the running one is interrupted: once its child is gone the
    // worker takes the next job at once, and that one must already find its mark.
    for (const bool running : {false, true}) {
        if (running && !includingRunning)
            break;
        for (int row = 0; row < ui->taskTable->rowCount(); ++row) {
            RunnableTaskBase* task = taskAt(row);
            if (task && (task->state() == TaskState::Running) == running)
                task->abort();
        }
    }
}

Kartopress* Kartopress::instance()
{
    if (!mainWindow)
        new Kartopress;
    return mainWindow;
}

void Kartopress::setupToolBar()
{
    ui->toolBar->setStyleSheet(QStringLiteral("QWidget#toolBar{border:none;padding:4px;}"));
    auto* spacer = new QWidget(ui->toolBar);
    spacer->setSizePolicy(QSizePolicy::Expanding, QSizePolicy::Preferred);
    ui->toolBar->addWidget(spacer);
    auto* aboutButton = new QToolButton(ui->toolBar);
    aboutButton->setObjectName(QStringLiteral("aboutButton"));
    aboutButton->setAutoRaise(true);
    aboutButton->setIcon(QIcon(QStringLiteral(":/ImageCompressor/Resources/TessaraBugLogo.png")));
    aboutButton->setIconSize(ui->toolBar->iconSize());
    aboutButton->setToolTip(tr("About Kartopress"));
    connect(aboutButton, &QToolButton::clicked, this, &Kartopress::about);
    ui->toolBar->addWidget(aboutButton);
}

void Kartopress::setupTray()
{
    trayIcon = new QSystemTrayIcon(QIcon(QStringLiteral(":/ImageCompressor/Resources/trayicon.png")), this);
    trayIcon->setVisible(true);
    auto* menu = new QMenu(this);
    menu->addAction(ui->actionLoadXml);
    menu->addAction(ui->actionNewWvcJP2);
    menu->addAction(ui->actionNewUDS);
    menu->addAction(ui->actionUpload);
    menu->addAction(ui->actionViewer);
    menu->addSeparator();
    menu->addAction(tr("Restore"), this, &QWidget::show);
    menu->addAction(tr("Hide"), this, &QWidget::hide);
    menu->addSeparator();
    menu->addAction(QIcon(QStringLiteral(":/ImageCompressor/Resources/exit.png")), tr("Exit"), this, [this] {
        show();
        exit();
    });
    trayIcon->setContextMenu(menu);
    connect(trayIcon, &QSystemTrayIcon::activated, this, [this](QSystemTrayIcon::ActivationReason reason) {
        if (reason == QSystemTrayIcon::DoubleClick)
            show();
    });
    connect(trayIcon, &QSystemTrayIcon::messageClicked, this, &QWidget::show);
}

void Kartopress::setupTable()
{
    QTableWidget* table = ui->taskTable;
    table->setAlternatingRowColors(true);
    table->setSelectionBehavior(QAbstractItemView::SelectRows);
    table->setSelectionMode(QAbstractItemView::ExtendedSelection);
    table->setColumnCount(ColumnCount);
    table->setHorizontalHeaderLabels({tr("Input"), tr("Output"), tr("Tasks"), tr("Status"), tr("  Log  "), tr("View")});
    QHeaderView* header = table->horizontalHeader();
    header->setStretchLastSection(false);
    header->setSectionResizeMode(InputColumn, QHeaderView::Interactive);
    header->setSectionResizeMode(OutputColumn, QHeaderView::Stretch);
    for (int column : {TaskColumn, StatusColumn, LogColumn, ViewColumn})
        header->setSectionResizeMode(column, QHeaderView::ResizeToContents);
}

void Kartopress::setupDeleteMenu()
{
    auto* menu = new QMenu(this);
    menu->addAction(QIcon(QStringLiteral(":/ImageCompressor/Resources/table_selection_row.png")),
                    tr("Remove selected tasks"), this, &Kartopress::deleteSelectedTasks);
    menu->addAction(QIcon(QStringLiteral(":/ImageCompressor/Resources/table_sql_ok.png")),
                    tr("Remove successful tasks"), this, &Kartopress::deleteSuccessfulTasks);
    menu->addAction(QIcon(QStringLiteral(":/ImageCompressor/Resources/table_sql_delete.png")),
                    tr("Remove failed tasks"), this, &Kartopress::deleteFailedTasks);
    menu->addAction(QIcon(QStringLiteral(":/ImageCompressor/Resources/table_selection_all.png")),
                    tr("Remove all tasks"), this, &Kartopress::deleteAllTasks);
    ui->actionDeleteTask->setMenu(menu);
    if (auto* button = qobject_cast<QToolButton*>(ui->toolBar->widgetForAction(ui->actionDeleteTask)))
        button->setPopupMode(QToolButton::MenuButtonPopup);
}

RunnableTaskBase* Kartopress::taskAt(int row) const
{
    QTableWidgetItem* item = ui->taskTable->item(row, InputColumn);
    if (!item)
        return nullptr;
    return static_cast<RunnableTaskBase*>(item->data(Qt::UserRole).value<void*>());
}

void Kartopress::setStatus(int row, int state, const QString& warning)
{
    static const char* const texts[] = {QT_TR_NOOP("Pending"), QT_TR_NOOP("Running"), QT_TR_NOOP("Succeeded"),
                                        QT_TR_NOOP("Warning"), QT_TR_NOOP("Failed")};
    // Every state but Succeeded and Warning reads as failed once a job has run.
    if (state < TaskState::Pending || state > TaskState::Failed)
        state = TaskState::Failed;
    QTableWidgetItem* item = readOnlyItem(tr(texts[state]));
    item->setIcon(statusIcons[state]);
    if (state == TaskState::Warning)
        item->setToolTip(warning);
    ui->taskTable->setItem(row, StatusColumn, item);
}

void Kartopress::addTasks(const QList<RunnableTaskBase*>& tasks)
{
    QTableWidget* table = ui->taskTable;
    const int firstRow = table->rowCount();
    table->setRowCount(firstRow + tasks.size());
    int row = firstRow;
    for (RunnableTaskBase* task : tasks) {
        const QString input = task->inputFilename();
        const QString inputName = QFileInfo(input).fileName();
        QTableWidgetItem* inputItem = readOnlyItem(inputName.isEmpty() ? input : inputName);
        inputItem->setData(Qt::UserRole, QVariant::fromValue(static_cast<void*>(task)));
        table->setItem(row, InputColumn, inputItem);
        table->setItem(row, OutputColumn, readOnlyItem(QFileInfo(task->outputFilename()).fileName()));
        table->setItem(row, TaskColumn, readOnlyItem(task->taskName()));
        setStatus(row, TaskState::Pending);
        task->setId(quint32(row));

        // The signals are declared by each concrete job class, not by the base, so they are connected
        // by signature.
        QObject* object = dynamic_cast<QObject*>(task);
        connect(object, SIGNAL(started(quint32)), this, SLOT(taskStart(quint32)), Qt::QueuedConnection);
        connect(object, SIGNAL(progress(quint32, QString, quint8)), this, SLOT(taskProgress(quint32, QString, quint8)),
                Qt::QueuedConnection);
        connect(object, SIGNAL(finished(quint32)), this, SLOT(taskFinish(quint32)), Qt::QueuedConnection);

        if (runIsActive()) {
            task->setAutoDelete(false);
            task->reset();
            endOfRunNoticeDue = true;
            QThreadPool::globalInstance()->start(task);
        }
        ++row;
    }
}

QString Kartopress::findDuplicateOutput() const
{
    QStringList seen;
    for (int row = 0; row < ui->taskTable->rowCount(); ++row) {
        const RunnableTaskBase* task = taskAt(row);
        if (!task)
            continue;
        const QString output = task->outputFilename();
        if (QFileInfo(output).isAbsolute() && seen.contains(output))
            return output;
        seen.append(output);
    }
    return QString();
}

void Kartopress::start()
{
    const QString duplicate = findDuplicateOutput();
    if (!duplicate.isEmpty()) {
        QMessageBox::critical(this, tr("Error"), tr("Duplicate output file name : %1").arg(duplicate), QMessageBox::Ok);
        return;
    }
    updateTaskIds();
    bool startedAny = false;
    for (int row = 0; row < ui->taskTable->rowCount(); ++row) {
        RunnableTaskBase* task = taskAt(row);
        if (!task || task->state() != TaskState::Pending)
            continue;
        task->setAutoDelete(false);
        task->reset();
        endOfRunNoticeDue = true;
        QThreadPool::globalInstance()->start(task);
        startedAny = true;
    }
    if (startedAny) {
        // Start stays enabled, so that jobs added later can be sent after the running ones.
        ui->actionStart->setEnabled(true);
        ui->actionStop->setEnabled(true);
    }
}

void Kartopress::stop()
{
    if (runIsActive() && !askToStop())
        return;
    abortJobs(true);
    QThreadPool::globalInstance()->waitForDone(-1);
    ui->actionStart->setEnabled(true);
    ui->actionStop->setEnabled(false);
}

void Kartopress::exit()
{
    delete licenseCheck;
    licenseCheck = nullptr;
    stop();
    QCoreApplication::quit();
}

void Kartopress::updateTaskIds()
{
    for (int row = ui->taskTable->rowCount() - 1; row >= 0; --row) {
        if (RunnableTaskBase* task = taskAt(row))
            task->setId(quint32(row));
    }
}

void Kartopress::taskStart(quint32 taskId)
{
    const int row = int(taskId);
    RunnableTaskBase* task = taskAt(row);
    if (!task)
        return;
    setStatus(row, TaskState::Running);
    QToolButton* logButton = rowButton(QIcon(QStringLiteral(":/ImageCompressor/Resources/document_info.png")));
    connect(logButton, &QToolButton::clicked, this, [task] {
        if (QAction* action = task->logAction())
            action->trigger();
    });
    ui->taskTable->setIndexWidget(ui->taskTable->model()->index(row, LogColumn), logButton);
}

void Kartopress::taskProgress(quint32 taskId, QString message, quint8 progress)
{
    ui->messageLabel->setText(message);
    ui->progress->setValue(progress);
    if (trayIcon)
        trayIcon->setToolTip(tr("Compressing file %1 of %2 file(s).").arg(taskId + 1).arg(ui->taskTable->rowCount()));
}

void Kartopress::taskFinish(quint32 taskId)
{
    const int row = int(taskId);
    if (RunnableTaskBase* task = taskAt(row)) {
        const int state = task->state();
        // A job that ends still Pending or Running (a start that never got going) has failed too.
        const bool ran = state == TaskState::Succeeded || state == TaskState::Warning;
        setStatus(row, ran ? state : TaskState::Failed, task->warningMessage());
        if (state == TaskState::Succeeded) {
            QAction* view = task->viewAction();
            QToolButton* viewButton = rowButton(view ? view->icon() : QIcon());
            connect(viewButton, &QToolButton::clicked, this, [task] {
                if (QAction* action = task->viewAction())
                    action->trigger();
            });
            ui->taskTable->setIndexWidget(ui->taskTable->model()->index(row, ViewColumn), viewButton);
        }
        QTableWidgetItem* outputItem = ui->taskTable->item(row, OutputColumn);
        if (outputItem && outputItem->text().isEmpty())
            outputItem->setText(task->outputFilename());

        if (trayIcon) {
            const QString output = task->outputFilename();
            if (state == TaskState::Succeeded)
                showBalloon(tr("Job Complete"),
                            tr("%1 has successfully finished processing the file '%2'. See log file for more details.")
                                .arg(AppConstants::ApplicationName, output),
                            QSystemTrayIcon::Information);
            else if (state == TaskState::Warning)
                showBalloon(tr("Warning"),
                            tr("%1 has finished processing the file '%2' with warnings. See log file for more details.")
                                .arg(AppConstants::ApplicationName, output),
                            QSystemTrayIcon::Warning);
            else
                showBalloon(tr("Job Failed"),
                            tr("%1 has failed processing the file '%2'. See log file for more details.")
                                .arg(AppConstants::ApplicationName, output),
                            QSystemTrayIcon::Critical);
        }
    }

    int failures = 0;
    for (int other = 0; other < ui->taskTable->rowCount(); ++other) {
        const RunnableTaskBase* task = taskAt(other);
        if (!task)
            continue;
        const int state = task->state();
        if (state == TaskState::Pending || state == TaskState::Running)
            return;
        if (state == TaskState::Failed)
            ++failures;
    }

    show();
    ui->actionStart->setEnabled(false);
    ui->actionStop->setEnabled(false);
    // Queued finished signals of jobs that ended close together, and the checksum job's second one,
    // all find the run over; the user is told about it once.
    if (endOfRunNoticeDue) {
        endOfRunNoticeDue = false;
        announceEndOfRun(failures);
    }
    ui->actionStart->setEnabled(true);
    ui->actionStop->setEnabled(false);
}

void Kartopress::announceEndOfRun(int failures)
{
    if (trayIcon) {
        if (ui->taskTable->rowCount() > 1) {
            const QString title =
                failures == 0 ? tr("Compression Complete") : tr("Compression Complete (%1 failures)").arg(failures);
            showBalloon(title,
                        tr("%1 has finished processing all files in the job list. Refer to the output log(s) for "
                           "more information.")
                            .arg(AppConstants::ApplicationName),
                        QSystemTrayIcon::Information);
        }
    } else if (failures == 0) {
        QMessageBox::information(nullptr, AppConstants::ApplicationName, tr("All tasks finished successfully."),
                                 QMessageBox::Ok);
    } else {
        QMessageBox::warning(
            nullptr, AppConstants::ApplicationName,
            tr("Not all tasks finished successfully. Refer to the output log(s) for more information."),
            QMessageBox::Ok);
    }
}

void Kartopress::showBalloon(const QString& title, const QString& message, QSystemTrayIcon::MessageIcon icon)
{
    trayIcon->setVisible(true);
    trayIcon->showMessage(title, message, icon, 10000);
    emit balloonShown(title, message);
}

bool Kartopress::refuseRemovalWhileRunning(bool refused)
{
    if (refused)
        QMessageBox::warning(this, AppConstants::ApplicationName,
                             tr("Cannot delete queued tasks while task list is running. Wait for tasks to stop "
                                "before removing items form the queue."),
                             QMessageBox::Ok);
    return refused;
}

void Kartopress::removeRows(const std::function<bool(int, RunnableTaskBase*)>& selects)
{
    QTableWidget* table = ui->taskTable;
    for (int row = table->rowCount() - 1; row >= 0; --row) {
        RunnableTaskBase* task = taskAt(row);
        if (!selects(row, task))
            continue;
        if (QTableWidgetItem* item = table->item(row, InputColumn))
            item->setData(Qt::UserRole, QVariant());
        delete task;
        table->removeRow(row);
    }
    afterRemoval();
}

void Kartopress::afterRemoval()
{
    updateTaskIds();
    ui->progress->setValue(0);
    ui->messageLabel->setText(QString());
    ui->actionStart->setEnabled(true);
    ui->actionStop->setEnabled(false);
}

void Kartopress::deleteSelectedTasks()
{
    if (refuseRemovalWhileRunning(runIsActive() && ui->taskTable->rowCount() > 0))
        return;
    removeRows([this](int row, RunnableTaskBase*) {
        const QTableWidgetItem* item = ui->taskTable->item(row, InputColumn);
        return item && item->isSelected();
    });
}

void Kartopress::deleteFailedTasks()
{
    if (refuseRemovalWhileRunning(runIsActive()))
        return;
    removeRows([](int, RunnableTaskBase* task) { return task && task->state() == TaskState::Failed; });
}

void Kartopress::deleteSuccessfulTasks()
{
    if (refuseRemovalWhileRunning(runIsActive()))
        return;
    removeRows([](int, RunnableTaskBase* task) { return task && task->state() == TaskState::Succeeded; });
}

void Kartopress::deleteAllTasks()
{
    if (refuseRemovalWhileRunning(runIsActive()))
        return;
    ui->taskTable->selectAll();
    deleteSelectedTasks();
}

void Kartopress::newChecksumTask()
{
    const QString lastFile = settings->value(QStringLiteral("GUI/CheckerLastDir"), QString()).toString();
    // The blank in " .jp2" has always been part of this filter; it is kept as users know it.
    const QStringList files = QFileDialog::getOpenFileNames(this, tr("Select files to calculate checksums"), lastFile,
                                                            tr("Images(*.wvc * .jp2);; All Files(*.*)"));
    addChecksumTasks(files);
    if (!files.isEmpty())
        settings->setValue(QStringLiteral("GUI/CheckerLastDir"), QFileInfo(files.first()).absoluteFilePath());
}

void Kartopress::newChecksumTaskWithFiles(QList<QUrl> urls)
{
    QStringList files;
    for (const QUrl& url : urls)
        files.append(url.toLocalFile());
    addChecksumTasks(files);
}

void Kartopress::addChecksumTasks(const QStringList& files)
{
    QList<RunnableTaskBase*> tasks;
    for (const QString& file : files) {
        auto* task = new ChecksumTask;
        task->setInputFilename(file);
        task->setAlgorithm(QCryptographicHash::Md5);
        task->setOutputFilename(file + QStringLiteral(".md5"));
        tasks.append(task);
    }
    addTasks(tasks);
}

void Kartopress::closeEvent(QCloseEvent* event)
{
    event->ignore();
    hide();
    if (!trayMessageShown && trayIcon) {
        showBalloon(AppConstants::ApplicationName,
                    tr("%1 has been minimized to the system tray. Right click the icon to select an option or double "
                       "click to open the progress window.")
                        .arg(AppConstants::ApplicationName),
                    QSystemTrayIcon::Information);
        trayMessageShown = true;
    }
}
