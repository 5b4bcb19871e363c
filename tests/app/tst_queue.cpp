#include <QAction>
#include <QHeaderView>
#include <QLabel>
#include <QPointer>
#include <QProgressBar>
#include <QSignalSpy>
#include <QTableWidget>
#include <QTemporaryDir>
#include <QThreadPool>
#include <QToolButton>
#include <QtTest>

#include "app/kartopress.h"
#include "core/settings.h"
#include "tests/support/desktopcapture.h"
#include "tests/support/faketool.h"
#include "tests/support/modalanswerer.h"
#include "tests/support/scriptedtask.h"
#include "tests/support/settingssandbox.h"

namespace {

bool withTray()
{
    return true;
}

bool withoutTray()
{
    return false;
}

const QString refusal = QStringLiteral(
    "Cannot delete queued tasks while task list is running. Wait for tasks to stop before removing items form the queue.");

}  // namespace

class TestQueue : public QObject
{
    Q_OBJECT

private slots:
    void init();
    void cleanup();
    void startRefusesDuplicateOutputs();
    void duplicateOutputRule_data();
    void duplicateOutputRule();
    void runEndsWithBoxWithoutTray_data();
    void runEndsWithBoxWithoutTray();
    void runEndsWithBalloonsWithTray_data();
    void runEndsWithBalloonsWithTray();
    void jobAddedDuringRunJoinsIt();
    void secondStartHandsPendingJobsAgain();
    void removalsRefusedWhileRunning();
    void stopLeavesQueuedJobsPending();
    void stopAnsweredNoChangesNothing();
    void removalsByState();
    void logAndViewButtons();
    void headerAndGeometrySurviveRestart();
    void checksumJobsFromTheDialog();

private:
    ScriptedTask* job(const QString& tool, const QStringList& script, const QString& output = QString());
    QTableWidget* table() const;
    QString status(int row) const;
    QAction* action(const char* name) const;

    std::unique_ptr<SettingsSandbox> sandbox;
    std::unique_ptr<FakeTool> tools;
    std::unique_ptr<Kartopress> window;
};

void TestQueue::init()
{
    sandbox = std::make_unique<SettingsSandbox>();
    tools = std::make_unique<FakeTool>();
    Kartopress::systemTrayAvailable = &withoutTray;
    window = std::make_unique<Kartopress>();
}

void TestQueue::cleanup()
{
    QThreadPool::globalInstance()->waitForDone();
    window.reset();
    tools.reset();
    sandbox.reset();
}

ScriptedTask* TestQueue::job(const QString& tool, const QStringList& script, const QString& output)
{
    tools->install(tool);
    tools->setScript(tool, script);
    return new ScriptedTask(tool, output.isNull() ? QStringLiteral("/data/") + tool + QStringLiteral(".wvc") : output);
}

QTableWidget* TestQueue::table() const
{
    return window->findChild<QTableWidget*>(QStringLiteral("NAME_TASK_INPUT_LIST"));
}

QString TestQueue::status(int row) const
{
    QTableWidgetItem* item = table()->item(row, 3);
    return item ? item->text() : QString();
}

QAction* TestQueue::action(const char* name) const
{
    return window->findChild<QAction*>(QLatin1String(name));
}

void TestQueue::startRefusesDuplicateOutputs()
{
    window->addTasks({job(QStringLiteral("a"), {}, QStringLiteral("/data/out.wvc")),
                      job(QStringLiteral("b"), {}, QStringLiteral("/data/other.wvc")),
                      job(QStringLiteral("c"), {}, QStringLiteral("/data/out.wvc"))});
    ModalAnswerer answerer({ModalAnswerer::button(QMessageBox::Ok)});

    window->start();

    QVERIFY2(answerer.done(), qPrintable(answerer.report()));
    QCOMPARE(answerer.seen().first().title, QStringLiteral("Error"));
    QCOMPARE(answerer.seen().first().text, QStringLiteral("Duplicate output file name : /data/out.wvc"));
    QCOMPARE(answerer.seen().first().icon, QMessageBox::Critical);
    QCOMPARE(QThreadPool::globalInstance()->activeThreadCount(), 0);
    for (const char* tool : {"a", "b", "c"})
        QVERIFY(tools->invocations(QLatin1String(tool)).isEmpty());
    QCOMPARE(status(1), QStringLiteral("Pending"));
    QVERIFY(!action("actionStop")->isEnabled());
}

void TestQueue::duplicateOutputRule_data()
{
    QTest::addColumn<QStringList>("outputs");
    QTest::addColumn<QString>("duplicate");

    QTest::newRow("letter case differs") << QStringList{"/data/Out.wvc", "/data/out.wvc"} << QString();
    QTest::newRow("empty outputs") << QStringList{"", ""} << QString();
    QTest::newRow("relative outputs") << QStringList{"result", "result"} << QString();
    QTest::newRow("first duplicate") << QStringList{"/a/x", "/a/y", "/a/y", "/a/x"} << QStringLiteral("/a/y");
}

void TestQueue::duplicateOutputRule()
{
    QFETCH(QStringList, outputs);
    QFETCH(QString, duplicate);
    QList<RunnableTaskBase*> tasks;
    for (int i = 0; i < outputs.size(); ++i)
        tasks.append(new ScriptedTask(QStringLiteral("t%1").arg(i), outputs.at(i)));
    window->addTasks(tasks);
    QCOMPARE(window->findDuplicateOutput(), duplicate);
    QCOMPARE(window->findDuplicateOutput().isNull(), duplicate.isNull());
}

void TestQueue::runEndsWithBoxWithoutTray_data()
{
    QTest::addColumn<QStringList>("lastScript");
    QTest::addColumn<QString>("lastStatus");
    QTest::addColumn<QString>("message");
    QTest::addColumn<int>("icon");

    const QString success = QStringLiteral("All tasks finished successfully.");
    QTest::newRow("all succeeded") << QStringList{"exit 0"} << "Succeeded" << success << int(QMessageBox::Information);
    QTest::newRow("a warning is no failure") << QStringList{"out WARN\\n"} << "Warning" << success
                                             << int(QMessageBox::Information);
    QTest::newRow("a failure") << QStringList{"exit 2"} << "Failed"
                               << "Not all tasks finished successfully. Refer to the output log(s) for more information."
                               << int(QMessageBox::Warning);
}

void TestQueue::runEndsWithBoxWithoutTray()
{
    QFETCH(QStringList, lastScript);
    QFETCH(QString, lastStatus);
    QFETCH(QString, message);
    QFETCH(int, icon);
    window->addTasks({job(QStringLiteral("first"), {"out halfway\\n", "exit 0"}), job(QStringLiteral("last"), lastScript)});
    ModalAnswerer answerer({ModalAnswerer::button(QMessageBox::Ok)});

    window->start();
    QVERIFY(action("actionStop")->isEnabled());
    QTRY_COMPARE(answerer.seen().size(), 1);

    QVERIFY2(answerer.done(), qPrintable(answerer.report()));
    QCOMPARE(answerer.seen().first().title, QStringLiteral("Kartopress"));
    QCOMPARE(answerer.seen().first().text, message);
    QCOMPARE(int(answerer.seen().first().icon), icon);
    QCOMPARE(status(0), QStringLiteral("Succeeded"));
    QCOMPARE(status(1), lastStatus);
    QVERIFY(window->isVisible());
    QVERIFY(action("actionStart")->isEnabled());
    QVERIFY(!action("actionStop")->isEnabled());
    // Log from the start on; View only for a success.
    QVERIFY(table()->indexWidget(table()->model()->index(1, 4)));
    QCOMPARE(table()->indexWidget(table()->model()->index(1, 5)) != nullptr, lastStatus == QLatin1String("Succeeded"));
    QCOMPARE(window->findChild<QLabel*>(QStringLiteral("messageLabel"))->text(), QStringLiteral("halfway"));
}

void TestQueue::runEndsWithBalloonsWithTray_data()
{
    QTest::addColumn<QList<QStringList>>("scripts");
    QTest::addColumn<QStringList>("jobTitles");
    QTest::addColumn<QString>("endTitle");

    QTest::newRow("one row: the job's balloon alone") << QList<QStringList>{{"exit 0"}} << QStringList{"Job Complete"}
                                                      << QString();
    QTest::newRow("warning and success") << QList<QStringList>{{"out WARN\\n"}, {"exit 0"}}
                                         << QStringList{"Job Complete", "Warning"} << "Compression Complete";
    QTest::newRow("failures counted") << QList<QStringList>{{"exit 1"}, {"crash"}, {"exit 0"}}
                                      << QStringList{"Job Complete", "Job Failed", "Job Failed"}
                                      << "Compression Complete (2 failures)";
}

void TestQueue::runEndsWithBalloonsWithTray()
{
    QFETCH(QList<QStringList>, scripts);
    QFETCH(QStringList, jobTitles);
    QFETCH(QString, endTitle);
    Kartopress::systemTrayAvailable = &withTray;
    window = std::make_unique<Kartopress>();
    QSignalSpy balloons(window.get(), &Kartopress::balloonShown);
    QList<RunnableTaskBase*> tasks;
    for (int i = 0; i < scripts.size(); ++i)
        tasks.append(job(QStringLiteral("tool%1").arg(i), scripts.at(i)));
    window->addTasks(tasks);

    window->start();
    const int expected = jobTitles.size() + (endTitle.isNull() ? 0 : 1);
    QTRY_COMPARE(balloons.size(), expected);
    QTest::qWait(50);  // nothing further may follow
    QCOMPARE(balloons.size(), expected);

    // Jobs that end close together may be reported after the run's end, but the end comes once.
    QStringList seenJobs;
    QStringList seenEnds;
    for (const QList<QVariant>& balloon : balloons) {
        const QString title = balloon.first().toString();
        if (title.startsWith(QLatin1String("Compression Complete"))) {
            seenEnds.append(title);
            QCOMPARE(balloon.at(1).toString(),
                     QStringLiteral("Kartopress has finished processing all files in the job list. Refer to the "
                                    "output log(s) for more information."));
        } else {
            seenJobs.append(title);
        }
    }
    seenJobs.sort();
    QCOMPARE(seenJobs, jobTitles);
    QCOMPARE(seenEnds, endTitle.isNull() ? QStringList() : QStringList{endTitle});
    if (scripts.size() == 1)
        QCOMPARE(balloons.first().at(1).toString(),
                 QStringLiteral("Kartopress has successfully finished processing the file '/data/tool0.wvc'. See log "
                                "file for more details."));
}

void TestQueue::jobAddedDuringRunJoinsIt()
{
    ScriptedTask* first = job(QStringLiteral("first"), {"out ready\\n", "sleep 400"});
    window->addTasks({first});
    ModalAnswerer answerer({ModalAnswerer::button(QMessageBox::Ok)});
    window->start();
    QTRY_VERIFY(first->allOutput().contains("ready"));

    window->addTasks({job(QStringLiteral("late"), {"exit 1"})});

    QTRY_COMPARE(answerer.seen().size(), 1);
    QCOMPARE(tools->invocations(QStringLiteral("late")).size(), 1);
    QCOMPARE(status(1), QStringLiteral("Failed"));
    // The late job's failure is part of the run's result.
    QCOMPARE(answerer.seen().first().icon, QMessageBox::Warning);
}

void TestQueue::secondStartHandsPendingJobsAgain()
{
    Kartopress::systemTrayAvailable = &withTray;
    window = std::make_unique<Kartopress>();
    ScriptedTask* first = job(QStringLiteral("first"), {"out ready\\n", "sleep 400"});
    window->addTasks({first, job(QStringLiteral("second"), {"exit 0"})});

    window->start();
    QTRY_VERIFY(first->allOutput().contains("ready"));
    window->start();
    QThreadPool::globalInstance()->waitForDone();

    QCOMPARE(tools->invocations(QStringLiteral("first")).size(), 1);
    QCOMPARE(tools->invocations(QStringLiteral("second")).size(), 2);
    QTRY_COMPARE(status(1), QStringLiteral("Succeeded"));
}

void TestQueue::removalsRefusedWhileRunning()
{
    Kartopress::systemTrayAvailable = &withTray;
    window = std::make_unique<Kartopress>();
    ScriptedTask* first = job(QStringLiteral("first"), {"out ready\\n", "sleep 600"});
    window->addTasks({first, job(QStringLiteral("second"), {"exit 1"})});
    window->start();
    QTRY_VERIFY(first->allOutput().contains("ready"));
    table()->selectAll();
    const ModalAnswerer::Answer ok = ModalAnswerer::button(QMessageBox::Ok);
    ModalAnswerer answerer({ok, ok, ok, ok});

    window->deleteSelectedTasks();
    window->deleteFailedTasks();
    window->deleteSuccessfulTasks();
    window->deleteAllTasks();

    QVERIFY2(answerer.done(), qPrintable(answerer.report()));
    for (const ModalRecord& record : answerer.seen()) {
        QCOMPARE(record.text, refusal);
        QCOMPARE(record.title, QStringLiteral("Kartopress"));
    }
    QCOMPARE(table()->rowCount(), 2);
}

void TestQueue::stopLeavesQueuedJobsPending()
{
    Kartopress::systemTrayAvailable = &withTray;
    window = std::make_unique<Kartopress>();
    QSignalSpy balloons(window.get(), &Kartopress::balloonShown);
    ScriptedTask* first = job(QStringLiteral("first"), {"sigint exit 0", "out ready\\n", "sleep 60000"});
    window->addTasks({first, job(QStringLiteral("second"), {"exit 0"})});
    window->start();
    QTRY_VERIFY(first->allOutput().contains("ready"));
    ModalAnswerer answerer({ModalAnswerer::button(QMessageBox::Yes)});

    window->stop();

    QVERIFY2(answerer.done(), qPrintable(answerer.report()));
    QCOMPARE(answerer.seen().first().title, QStringLiteral("Abort?"));
    QCOMPARE(answerer.seen().first().text, QStringLiteral("Are you sure you want to stop the currently running tasks?"));
    QCOMPARE(QThreadPool::globalInstance()->activeThreadCount(), 0);
    QTRY_COMPARE(status(0), QStringLiteral("Failed"));
    QCOMPARE(status(1), QStringLiteral("Pending"));
    QVERIFY(tools->invocations(QStringLiteral("second")).isEmpty());
    QVERIFY(!action("actionStop")->isEnabled());
    QVERIFY(action("actionStart")->isEnabled());
    QTest::qWait(50);
    QCOMPARE(balloons.size(), 1);  // the failed job's own balloon, and no end of run
    QVERIFY(!window->isVisible());

    window->start();
    QTRY_COMPARE(status(1), QStringLiteral("Succeeded"));
    QTRY_COMPARE(balloons.last().first().toString(), QStringLiteral("Compression Complete (1 failures)"));
}

void TestQueue::stopAnsweredNoChangesNothing()
{
    ScriptedTask* first = job(QStringLiteral("first"), {"out ready\\n", "sleep 300"});
    window->addTasks({first});
    window->start();
    QTRY_VERIFY(first->allOutput().contains("ready"));
    ModalAnswerer answerer({ModalAnswerer::button(QMessageBox::No), ModalAnswerer::button(QMessageBox::Ok)});

    window->stop();
    QCOMPARE(first->state(), int(TaskState::Running));
    QVERIFY(action("actionStop")->isEnabled());

    QTRY_COMPARE(status(0), QStringLiteral("Succeeded"));
    QTRY_VERIFY2(answerer.done(), qPrintable(answerer.report()));
}

void TestQueue::removalsByState()
{
    const int states[] = {TaskState::Failed, TaskState::Succeeded, TaskState::Warning, TaskState::Pending,
                          TaskState::Failed};
    QList<RunnableTaskBase*> tasks;
    QList<QPointer<ScriptedTask>> alive;
    for (int i = 0; i < 5; ++i) {
        auto* task = new ScriptedTask(QStringLiteral("t%1").arg(i));
        task->setState(states[i]);
        tasks.append(task);
        alive.append(task);
    }
    window->addTasks(tasks);
    auto* progress = window->findChild<QProgressBar*>(QStringLiteral("progress"));
    auto* label = window->findChild<QLabel*>(QStringLiteral("messageLabel"));
    progress->setValue(40);

    window->deleteFailedTasks();
    QCOMPARE(table()->rowCount(), 3);
    QVERIFY(!alive[0] && !alive[4]);
    QCOMPARE(alive[2]->id(), 1u);
    QCOMPARE(progress->value(), 0);
    QVERIFY(label->text().isEmpty());

    window->deleteSuccessfulTasks();
    QCOMPARE(table()->rowCount(), 2);
    QVERIFY(!alive[1]);
    QCOMPARE(alive[2]->id(), 0u);  // the Warning row stays
    QCOMPARE(alive[3]->id(), 1u);

    progress->setValue(70);
    label->setText(QStringLiteral("old"));
    table()->clearSelection();
    window->deleteSelectedTasks();
    QCOMPARE(table()->rowCount(), 2);
    QCOMPARE(progress->value(), 0);
    QVERIFY(label->text().isEmpty());

    table()->selectRow(1);
    QKeyEvent press(QEvent::KeyPress, Qt::Key_Delete, Qt::NoModifier);
    QCoreApplication::sendEvent(table(), &press);
    QCOMPARE(table()->rowCount(), 1);
    QVERIFY(alive[2] && !alive[3]);

    window->deleteAllTasks();
    QCOMPARE(table()->rowCount(), 0);
    QVERIFY(!alive[2]);
}

void TestQueue::logAndViewButtons()
{
    ScriptedTask* task = job(QStringLiteral("viewer"), {"exit 0"}, QStringLiteral("/data/result.wvc"));
    task->log = QStringLiteral("/data/result.log");
    window->addTasks({task});
    ModalAnswerer answerer({ModalAnswerer::button(QMessageBox::Ok)});
    window->start();
    QTRY_VERIFY(answerer.done());

    DesktopCapture desktop;
    qobject_cast<QToolButton*>(table()->indexWidget(table()->model()->index(0, 4)))->click();
    qobject_cast<QToolButton*>(table()->indexWidget(table()->model()->index(0, 5)))->click();
    QCOMPARE(desktop.urls, (QList<QUrl>{QUrl::fromLocalFile(QStringLiteral("/data/result.log")),
                                        QUrl::fromLocalFile(QStringLiteral("/data/result.wvc"))}));
    QCOMPARE(table()->item(0, 1)->text(), QStringLiteral("result.wvc"));
}

void TestQueue::headerAndGeometrySurviveRestart()
{
    window->setGeometry(QRect(100, 120, 800, 500));
    table()->horizontalHeader()->resizeSection(0, 321);
    window.reset();
    QCOMPARE(createSettings()->value(QStringLiteral("GUI/ProgressGeometry")).toRect(), QRect(100, 120, 800, 500));

    window = std::make_unique<Kartopress>();
    QCOMPARE(window->geometry(), QRect(100, 120, 800, 500));
    QCOMPARE(table()->horizontalHeader()->sectionSize(0), 321);
    QCOMPARE(table()->columnCount(), 6);
    QCOMPARE(table()->horizontalHeaderItem(4)->text(), QStringLiteral("  Log  "));
}

void TestQueue::checksumJobsFromTheDialog()
{
    QTemporaryDir dir;
    QStringList files;
    for (const char* name : {"one.wvc", "two.jp2"}) {
        files.append(dir.filePath(QLatin1String(name)));
        QFile file(files.last());
        file.open(QIODevice::WriteOnly);
        file.write(QByteArray(50000, name[0]));
    }
    ModalAnswerer answerer({ModalAnswerer::files(files)});
    action("actionChecksum")->trigger();
    QVERIFY2(answerer.done(), qPrintable(answerer.report()));
    QCOMPARE(answerer.seen().first().title, QStringLiteral("Select files to calculate checksums"));
    QCOMPARE(table()->rowCount(), 2);
    QCOMPARE(table()->item(1, 1)->text(), QStringLiteral("two.jp2.md5"));
    QCOMPARE(table()->item(0, 2)->text(), QStringLiteral("Hash"));
    QCOMPARE(createSettings()->value(QStringLiteral("GUI/CheckerLastDir")).toString(), files.first());

    answerer.expect(ModalAnswerer::button(QMessageBox::Ok));
    window->start();
    QTRY_VERIFY2(answerer.done(), qPrintable(answerer.report()));
    QCOMPARE(answerer.seen().last().text, QStringLiteral("All tasks finished successfully."));
    QCOMPARE(status(0), QStringLiteral("Succeeded"));
    QVERIFY(QFile::exists(files.last() + QStringLiteral(".md5")));
}

QTEST_MAIN(TestQueue)
#include "tst_queue.moc"
