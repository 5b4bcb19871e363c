#pragma once

#include <QIcon>
#include <QList>
#include <QMainWindow>
#include <QSettings>
#include <QString>
#include <QSystemTrayIcon>
#include <QUrl>
#include <functional>
#include <memory>

class LicenseCheck;
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

signals:
    // Every tray balloon the window shows, as it is shown.
    void balloonShown(const QString& title, const QString& message);

protected:
    void closeEvent(QCloseEvent* event) override;
    bool eventFilter(QObject* watched, QEvent* event) override;

private:
    RunnableTaskBase* taskAt(int row) const;
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
    void licenseCheckFinished(bool valid, const QString& text);
    void addChecksumTasks(const QStringList& files);

    Ui::Kartopress* ui;
    std::unique_ptr<QSettings> settings;
    QSystemTrayIcon* trayIcon = nullptr;
    QString newUdsToolTip;
    LicenseCheck* licenseCheck = nullptr;
    bool endOfRunNoticeDue = false;
    static bool trayMessageShown;
};
