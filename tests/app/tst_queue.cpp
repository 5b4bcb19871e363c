#include <QAction>
#include <QCryptographicHash>
#include <QLabel>
#include <QPointer>
#include <QProgressBar>
#include <QSignalSpy>
#include <QTableWidget>
#include <QTemporaryDir>
#include <QThreadPool>
#include <QTimer>
#include <QToolButton>
#include <QtTest>

#include "app/kartopress.h"
#include "core/settings.h"
#include "tests/support/desktopcapture.h"
#include "tests/support/faketool.h"
#include "tests/support/modalanswerer.h"
#include "tests/support/scriptedtask.h"
#include "tests/support/settingssandbox.h"
#include "tests/support/testfiles.h"

namespace {

bool trayWanted = false;

const QString allFine = QStringLiteral("All tasks finished successfully.");
const QString notAllFine =
    QStringLiteral("Not all tasks finished successfully. Refer to the output log(s) for more information.");

}  // namespace

class TestQueue : public QObject
{
    Q_OBJECT

private slots:
    void init();
    void cleanup();
    void duplicateOutputs_data();
    void duplicateOutputs();
    void runEnd_data();
    void runEnd();
    void longRunWithRemovalsLateJobAndStop();
    void secondStartHandsPendingJobsAgain();
    void removalsByState();
    void endWithoutFinalStateReadsFailed();
    void shutdownDuringChecksum_data();
    void shutdownDuringChecksum();

private:
    void makeWindow(bool tray);
    ScriptedTask* job(const QString& tool, const QStringList& script, const QString& output = QString());
    QTableWidget* table() const { return window->findChild<QTableWidget*>(QStringLiteral("NAME_TASK_INPUT_LIST")); }
    QStringList statuses() const;
    QAction* action(const char* name) const { return window->findChild<QAction*>(QLatin1String(name)); }
    QWidget* cellWidget(int row, int column) const
    {
        return table()->indexWidget(table()->model()->index(row, column));
    }

    std::unique_ptr<SettingsSandbox> sandbox;
    std::unique_ptr<FakeTool> tools;
    std::unique_ptr<Kartopress> window;
};

void TestQueue::init()
{
    sandbox = std::make_unique<SettingsSandbox>();
    tools = std::make_unique<FakeTool>();
    Kartopress::systemTrayAvailable = [] { return trayWanted; };
    makeWindow(false);
}

void TestQueue::cleanup()
{
    QThreadPool::globalInstance()->waitForDone();
    window.reset();
    tools.reset();
    sandbox.reset();
}

void TestQueue::makeWindow(bool tray)
{
    trayWanted = tray;
    window.reset();
    window = std::make_unique<Kartopress>();
}

ScriptedTask* TestQueue::job(const QString& tool, const QStringList& script, const QString& output)
{
    tools->install(tool);
    tools->setScript(tool, script);
    return new ScriptedTask(tool, output.isNull() ? QStringLiteral("/data/") + tool + QStringLiteral(".wvc") : output);
}

QStringList TestQueue::statuses() const
{
    QStringList texts;
    for (int row = 0; row < table()->rowCount(); ++row)
        texts.append(table()->item(row, 3) ? table()->item(row, 3)->text() : QString());
    return texts;
}

void TestQueue::duplicateOutputs_data()
{
    QTest::addColumn<QStringList>("outputs");
    QTest::addColumn<QString>("duplicate");

    QTest::newRow("letter case differs") << QStringList{"/data/Out.wvc", "/data/out.wvc"} << QString();
    QTest::newRow("empty outputs") << QStringList{"", ""} << QString();
    QTest::newRow("relative outputs") << QStringList{"result", "result"} << QString();
    QTest::newRow("first duplicate wins") << QStringList{"/a/x", "/a/y", "/a/y", "/a/x"} << QStringLiteral("/a/y");
}

void TestQueue::duplicateOutputs()
{
    QFETCH(QStringList, outputs);
    QFETCH(QString, duplicate);
    QList<RunnableTaskBase*> tasks;
    for (int i = 0; i < outputs.size(); ++i)
        tasks.append(job(QStringLiteral("t%1").arg(i), {"exit 0"}, outputs.at(i)));
    window->addTasks(tasks);
    QCOMPARE(window->findDuplicateOutput(), duplicate);

    // A duplicate refuses the whole start; otherwise the run ends normally.
    ModalAnswerer answerer({ModalAnswerer::button(QMessageBox::Ok)});
    window->start();
    QTRY_VERIFY2(answerer.done(), qPrintable(answerer.report()));
    const ModalRecord box = answerer.seen().first();
    if (duplicate.isNull()) {
        QCOMPARE(box.text, allFine);
        return;
    }
    QCOMPARE(box.title, QStringLiteral("Error"));
    QCOMPARE(box.text, QStringLiteral("Duplicate output file name : %1").arg(duplicate));
    QCOMPARE(box.icon, QMessageBox::Critical);
    for (int i = 0; i < outputs.size(); ++i)
        QVERIFY(tools->invocations(QStringLiteral("t%1").arg(i)).isEmpty());
    QCOMPARE(statuses(), QVector<QString>(outputs.size(), QStringLiteral("Pending")).toList());
    QVERIFY(!action("actionStop")->isEnabled());
}

void TestQueue::runEnd_data()
{
    QTest::addColumn<bool>("tray");
    QTest::addColumn<QList<QStringList>>("scripts");
    QTest::addColumn<QStringList>("statuses");
    // With a tray: the balloon titles, sorted; without: the text of the one box.
    QTest::addColumn<QStringList>("notices");

    const QList<QStringList> succeedAndWarn{{"out halfway\\n", "exit 0"}, {"out WARN\\n"}};
    const QList<QStringList> mixed{{"exit 1"}, {"crash"}, {"exit 0"}};
    QTest::newRow("box: a warning is no failure")
        << false << succeedAndWarn << QStringList{"Succeeded", "Warning"} << QStringList{allFine};
    QTest::newRow("box: failures") << false << mixed << QStringList{"Failed", "Failed", "Succeeded"}
                                   << QStringList{notAllFine};
    QTest::newRow("box: one row") << false << QList<QStringList>{{"exit 0"}} << QStringList{"Succeeded"}
                                  << QStringList{allFine};
    QTest::newRow("tray: one row has its balloon alone")
        << true << QList<QStringList>{{"exit 0"}} << QStringList{"Succeeded"} << QStringList{"Job Complete"};
    QTest::newRow("tray: warning and success") << true << succeedAndWarn << QStringList{"Succeeded", "Warning"}
                                               << QStringList{"Compression Complete", "Job Complete", "Warning"};
    QTest::newRow("tray: failures counted")
        << true << mixed << QStringList{"Failed", "Failed", "Succeeded"}
        << QStringList{"Compression Complete (2 failures)", "Job Complete", "Job Failed", "Job Failed"};
}

void TestQueue::runEnd()
{
    QFETCH(bool, tray);
    QFETCH(QList<QStringList>, scripts);
    QFETCH(QStringList, statuses);
    QFETCH(QStringList, notices);
    makeWindow(tray);
    QSignalSpy balloons(window.get(), &Kartopress::balloonShown);
    QList<RunnableTaskBase*> tasks;
    for (int i = 0; i < scripts.size(); ++i)
        tasks.append(job(QStringLiteral("tool%1").arg(i), scripts.at(i)));
    window->addTasks(tasks);
    ModalAnswerer answerer(tray ? QList<ModalAnswerer::Answer>{} : QList{ModalAnswerer::button(QMessageBox::Ok)});

    window->start();
    QVERIFY(action("actionStop")->isEnabled());
    if (tray) {
        QTRY_COMPARE(balloons.size(), notices.size());
        QTest::qWait(50);  // nothing further may follow
        QStringList titles;
        for (const QList<QVariant>& balloon : balloons)
            titles.append(balloon.first().toString());
        titles.sort();
        QCOMPARE(titles, notices);
        // Jobs ending close together may be announced after the run's end.
        for (const QList<QVariant>& balloon : balloons) {
            if (balloon.first().toString().startsWith(QLatin1String("Compression Complete")))
                QCOMPARE(balloon.at(1).toString(),
                         QStringLiteral("Kartopress has finished processing all files in "
                                        "the job list. Refer to the output log(s) for more "
                                        "information."));
            if (balloon.first() == QLatin1String("Job Complete") && scripts.size() == 1)
                QCOMPARE(balloon.at(1).toString(),
                         QStringLiteral("Kartopress has successfully finished processing "
                                        "the file '/data/tool0.wvc'. See log file for more "
                                        "details."));
        }
    } else {
        QTRY_VERIFY2(answerer.done(), qPrintable(answerer.report()));
        QCOMPARE(answerer.seen().first().title, QStringLiteral("Kartopress"));
        QCOMPARE(QStringList{answerer.seen().first().text}, notices);
        QCOMPARE(answerer.seen().first().icon,
                 notices.first() == allFine ? QMessageBox::Information : QMessageBox::Warning);
    }
    QCOMPARE(this->statuses(), statuses);
    QVERIFY(window->isVisible());
    QVERIFY(action("actionStart")->isEnabled());
    QVERIFY(!action("actionStop")->isEnabled());
    // Log from the start on; View only for a success.
    for (int row = 0; row < statuses.size(); ++row) {
        QVERIFY(cellWidget(row, 4));
        QCOMPARE(cellWidget(row, 5) != nullptr, statuses.at(row) == QLatin1String("Succeeded"));
    }
}

void TestQueue::longRunWithRemovalsLateJobAndStop()
{
    makeWindow(true);
    QSignalSpy balloons(window.get(), &Kartopress::balloonShown);
    ScriptedTask* first = job(QStringLiteral("first"), {"sigint exit 0", "out ready\\n", "sleep 60000"});
    window->addTasks({first, job(QStringLiteral("second"), {"exit 0"})});
    window->start();
    QTRY_VERIFY(first->allOutput().contains("ready"));

    // Rows stay put while the list runs.
    table()->selectAll();
    const ModalAnswerer::Answer ok = ModalAnswerer::button(QMessageBox::Ok);
    ModalAnswerer answerer({ok, ok, ok, ok});
    window->deleteSelectedTasks();
    window->deleteFailedTasks();
    window->deleteSuccessfulTasks();
    window->deleteAllTasks();
    QVERIFY2(answerer.done(), qPrintable(answerer.report()));
    for (const ModalRecord& record : answerer.seen())
        QCOMPARE(record.text,
                 QStringLiteral("Cannot delete queued tasks while task list is running. Wait for tasks "
                                "to stop before removing items form the queue."));

    // A job added now joins the run without a press of Start.
    window->addTasks({job(QStringLiteral("late"), {"exit 1"})});

    answerer.expect(ModalAnswerer::button(QMessageBox::No));
    window->stop();
    QCOMPARE(first->state(), int(TaskState::Running));
    QVERIFY(action("actionStop")->isEnabled());

    answerer.expect(ModalAnswerer::button(QMessageBox::Yes));
    window->stop();
    QVERIFY2(answerer.done(), qPrintable(answerer.report()));
    QCOMPARE(answerer.seen().last().title, QStringLiteral("Abort?"));
    QCOMPARE(answerer.seen().last().text, QStringLiteral("Are you sure you want to stop the currently running tasks?"));
    QCOMPARE(QThreadPool::globalInstance()->activeThreadCount(), 0);
    QTRY_COMPARE(statuses(), (QStringList{"Failed", "Pending", "Pending"}));
    QVERIFY(tools->invocations(QStringLiteral("second")).isEmpty()
            && tools->invocations(QStringLiteral("late")).isEmpty());
    QVERIFY(action("actionStart")->isEnabled() && !action("actionStop")->isEnabled());
    QTest::qWait(50);
    QCOMPARE(balloons.size(), 1);  // the failed job's own balloon, and no end of run
    QVERIFY(!window->isVisible());

    window->start();
    QTRY_COMPARE(statuses(), (QStringList{"Failed", "Succeeded", "Failed"}));
    QTRY_VERIFY(std::any_of(balloons.begin(), balloons.end(), [](const QList<QVariant>& balloon) {
        return balloon.first() == QLatin1String("Compression Complete (2 failures)");
    }));
}

void TestQueue::secondStartHandsPendingJobsAgain()
{
    makeWindow(true);
    ScriptedTask* first = job(QStringLiteral("first"), {"out ready\\n", "sleep 400"});
    window->addTasks({first, job(QStringLiteral("second"), {"exit 0"})});

    window->start();
    QTRY_VERIFY(first->allOutput().contains("ready"));
    window->start();
    QThreadPool::globalInstance()->waitForDone();

    QCOMPARE(tools->invocations(QStringLiteral("first")).size(), 1);
    QCOMPARE(tools->invocations(QStringLiteral("second")).size(), 2);
    QTRY_COMPARE(statuses(), (QStringList{"Succeeded", "Succeeded"}));
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
    const auto remaining = [&] {
        QList<quint32> ids;
        for (const QPointer<ScriptedTask>& task : alive)
            ids.append(task ? task->id() : 99);
        return ids;
    };

    progress->setValue(40);
    window->deleteFailedTasks();
    QCOMPARE(remaining(), (QList<quint32>{99, 0, 1, 2, 99}));
    QCOMPARE(progress->value(), 0);

    window->deleteSuccessfulTasks();  // the Warning row stays
    QCOMPARE(remaining(), (QList<quint32>{99, 99, 0, 1, 99}));

    // No selection changes no row, and still clears the status area.
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
    QCOMPARE(remaining(), (QList<quint32>{99, 99, 0, 99, 99}));

    window->deleteAllTasks();
    QCOMPARE(table()->rowCount(), 0);
    QVERIFY(!alive[2]);
}

void TestQueue::endWithoutFinalStateReadsFailed()
{
    makeWindow(true);
    QSignalSpy balloons(window.get(), &Kartopress::balloonShown);
    QList<RunnableTaskBase*> tasks;
    for (const int state : {int(TaskState::Pending), int(TaskState::Running), 7}) {
        auto* task = new ScriptedTask(QStringLiteral("t"));
        task->setState(state);
        tasks.append(task);
    }
    window->addTasks(tasks);
    for (int row = 0; row < 3; ++row)
        emit static_cast<ScriptedTask*>(tasks.at(row))->finished(quint32(row));
    QTRY_COMPARE(statuses(), (QStringList{"Failed", "Failed", "Failed"}));
    QCOMPARE(balloons.first().first().toString(), QStringLiteral("Job Failed"));
}

void TestQueue::shutdownDuringChecksum_data()
{
    // How the program is ended, what is answered at the window's exit and at its destructor ("" where
    // no question comes), and whether the job gets to finish.
    QTest::addColumn<bool>("exitCommand");
    QTest::addColumn<QStringList>("answers");
    QTest::addColumn<bool>("finishes");

    QTest::newRow("Exit, Yes") << true << QStringList{"Yes"} << false;
    QTest::newRow("Exit, No, Yes") << true << QStringList{"No", "Yes"} << false;
    QTest::newRow("Exit, No, No: the job finishes") << true << QStringList{"No", "No"} << true;
    QTest::newRow("quit message, Yes") << false << QStringList{"Yes"} << false;
    QTest::newRow("quit message, No: the job finishes") << false << QStringList{"No"} << true;
}

void TestQueue::shutdownDuringChecksum()
{
    QFETCH(bool, exitCommand);
    QFETCH(QStringList, answers);
    QFETCH(bool, finishes);
    QTemporaryDir dir;
    const QString input = dir.filePath(QStringLiteral("big.wvc"));
    {
        QFile file(input);
        QVERIFY(file.open(QIODevice::WriteOnly) && file.resize(qint64(1) << 30));
    }
    window->newChecksumTaskWithFiles({QUrl::fromLocalFile(input)});
    QPointer<QObject> task = dynamic_cast<QObject*>(
        reinterpret_cast<RunnableTaskBase*>(table()->item(0, 0)->data(Qt::UserRole).value<void*>()));
    QSignalSpy finished(task.data(), SIGNAL(finished(quint32)));
    QSignalSpy failed(task.data(), SIGNAL(failed(quint32, int)));
    QList<ModalAnswerer::Answer> script;
    for (const QString& answer : answers)
        script.append(ModalAnswerer::button(answer == QLatin1String("Yes") ? QMessageBox::Yes : QMessageBox::No));
    ModalAnswerer answerer(script);
    window->start();
    QTRY_COMPARE(statuses(), QStringList{"Running"});

    // As in the program: the event loop ends, then the window is deleted.
    if (exitCommand)
        QTimer::singleShot(0, window.get(), &Kartopress::exit);
    else
        QTimer::singleShot(0, qApp, &QCoreApplication::quit);
    QCOMPARE(QCoreApplication::exec(), 0);
    window.reset();

    QVERIFY2(answerer.done(), qPrintable(answerer.report()));
    QVERIFY(!task);
    QCOMPARE(QThreadPool::globalInstance()->activeThreadCount(), 0);
    const QString output = input + QStringLiteral(".md5");
    QCOMPARE(QFile::exists(output), finishes);
    if (finishes) {
        QFile file(input);
        QVERIFY(file.open(QIODevice::ReadOnly));
        QCryptographicHash md5(QCryptographicHash::Md5);
        md5.addData(&file);
        QCOMPARE(readFile(output), md5.result().toHex().toUpper() + " *big.wvc");
    }
    // An interrupted job ends failed; a finished checksum job signals its end twice.
    const QList<int> ends{finished.size(), failed.size()};
    const QList<int> expectedEnds = finishes ? QList<int>{2, 0} : QList<int>{1, 1};
    QCOMPARE(ends, expectedEnds);
}

QTEST_MAIN(TestQueue)
#include "tst_queue.moc"
