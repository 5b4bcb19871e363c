#pragma once

#include <QAction>
#include <QIcon>
#include <QList>
#include <QMainWindow>
#include <QSet>
#include <QSettings>
#include <QString>
#include <QSystemTrayIcon>
#include <QUrl>
#include <functional>
#include <memory>

class LicenseCheck;
class QThread;
class UDSComboLUTTask;
class RunnableTaskBase;
class QTableWidgetItem;

namespace Ui {
class Kartopress;
}

// The main window. Its task table is the one list of jobs: each row holds and owns one job, and a
// job's id is always its row.
class Kartopress : public QMainWindow
{
    Q_OBJECT

public:
    explicit Kartopress(QWidget* parent = nullptr);
    ~Kartopress() override;

    static Kartopress* instance();

    // The one way into the table; the table takes ownership of the jobs.
    void addTasks(const QList<RunnableTaskBase*>& tasks);
    QString findDuplicateOutput() const;

    // Whether a system tray can be used; read once, in the constructor. Tests replace it.
    static bool (*systemTrayAvailable)();

public slots:
    void newChecksumTask();
    void newChecksumTaskWithFiles(QList<QUrl> urls);
    void newWvcJp2Task();
    void newWvcJp2TaskWithFiles(QList<QUrl> urls);
    void newUdsTask();
    void newUdsTaskWithFiles(QList<QUrl> urls);
    void loadXmlTask();
    void newUploadTask();
    void newUploadTaskWithFiles(QList<QUrl> urls);
    void newCheckTask();
    void newCheckTaskWithFiles(QList<QUrl> urls);
    void newDiskSpeedTask();

    void start();
    void stop();
    void exit();
    void deleteSelectedTasks();
    void deleteFailedTasks();
    void deleteSuccessfulTasks();
    void deleteAllTasks();
    void updateTaskIds();
    void taskStart(quint32 taskId);
    void taskProgress(quint32 taskId, QString message, quint8 progress);
    void taskFinish(quint32 taskId);

    void launchExe(QString path, QString name);
    void launchConsole(QString path);
    void about();

signals:
    // Every tray balloon the window shows, as it is shown.
    void balloonShown(const QString& title, const QString& message);

protected:
    void closeEvent(QCloseEvent* event) override;
    bool eventFilter(QObject* watched, QEvent* event) override;

private:
    RunnableTaskBase* taskAt(int row) const;
    bool askToStop();
    void abortJobs(bool includingRunning);
    void shutDownJobs();
    void setStatus(int row, int state, const QString& warning = QString());
    void announceEndOfRun(int failures);
    void showBalloon(const QString& title, const QString& message, QSystemTrayIcon::MessageIcon icon);
    bool refuseRemovalWhileRunning(bool refused);
    void removeRows(const std::function<bool(int row, RunnableTaskBase* task)>& selects);
    void afterRemoval();
    void setupToolBar();
    void setupTray();
    void setupTable();
    void setupDeleteMenu();
    void setupToolsMenu();
    void checkToolInstalled(QLatin1String exe, QAction* action);
    void openHelp();
    // Connects an action to what it does; actions of the form that no part of the program carries
    // out yet stay disabled.
    template <typename Functor> void connectCommand(QAction* action, Functor functor);
    void disableActionsWithoutCommand();
    void licenseCheckFinished(bool valid, const QString& text);
    void addChecksumTasks(const QStringList& files);
    // The dropped files' paths, made absolute, as the job-creating slots take them.
    static QStringList absoluteLocalPaths(const QList<QUrl>& urls);
    void setupFileIntake();
    // Turns a drop into a job, a wizard or a refusal; returns a job read from a dropped document.
    RunnableTaskBase* takeDroppedFiles(const QList<QUrl>& urls);
    void askWhatToDoWith(const QList<QUrl>& urls);
    void runCompressionWizard(const QStringList& files);
    // The converter's colour tables are asked for once, on a thread of their own, for every
    // conversion wizard of the session.
    void startLookupTableQuery();
    void stopLookupTableQuery();

    Ui::Kartopress* ui;
    std::unique_ptr<QSettings> settings;
    QSystemTrayIcon* trayIcon = nullptr;
    QString newUdsToolTip;
    LicenseCheck* licenseCheck = nullptr;
    UDSComboLUTTask* lookupTables = nullptr;
    QThread* lookupTableThread = nullptr;
    bool endOfRunNoticeDue = false;
    bool licenseValid = false;
    QString licenseText;
    QSet<QAction*> commands;
    static bool trayMessageShown;
};

template <typename Functor> void Kartopress::connectCommand(QAction* action, Functor functor)
{
    connect(action, &QAction::triggered, this, functor);
    commands.insert(action);
}
