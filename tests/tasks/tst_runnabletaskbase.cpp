#include <QElapsedTimer>
#include <QSignalSpy>
#include <QTemporaryDir>
#include <QThreadPool>
#include <QtTest>

#include "tests/support/desktopcapture.h"
#include "tests/support/faketool.h"
#include "tests/support/modalanswerer.h"
#include "tests/support/scriptedtask.h"

class TestRunnableTaskBase : public QObject
{
    Q_OBJECT

private slots:
    void cleanup();
    void exitDecidesState_data();
    void exitDecidesState();
    void missingToolFailsToStart();
    void outputInManyChunks();
    void argumentsAndEnvironmentReachTheChild();
    void abortWhileQueuedLeavesPending();
    void abortedChildExitingZeroIsFailed();
    void childIgnoringInterruptIsKilled();
    void openTaskFileNullAndEmpty();
    void openTaskFileFailures();
};

void TestRunnableTaskBase::cleanup()
{
    QThreadPool::globalInstance()->waitForDone();
    RunnableTaskBase::abortGracePeriodMs = RunnableTaskBase::DefaultAbortGracePeriodMs;
}

void TestRunnableTaskBase::exitDecidesState_data()
{
    QTest::addColumn<QStringList>("script");
    QTest::addColumn<int>("state");
    QTest::addColumn<int>("failedCode");  // -1: no failed signal

    QTest::newRow("exit 0") << QStringList{"out working\\n", "exit 0"} << int(TaskState::Succeeded) << -1;
    QTest::newRow("exit 1") << QStringList{"exit 1"} << int(TaskState::Failed) << 1;
    QTest::newRow("crash") << QStringList{"out before\\n", "crash"} << int(TaskState::Failed) << -2;
    QTest::newRow("warning kept on 0") << QStringList{"out WARN\\n", "exit 0"} << int(TaskState::Warning) << -1;
    QTest::newRow("warning lost on 1") << QStringList{"out WARN\\n", "exit 1"} << int(TaskState::Failed) << 1;
    QTest::newRow("failed by output, exit 0") << QStringList{"out FAIL\\n", "exit 0"} << int(TaskState::Failed) << 0;
}

void TestRunnableTaskBase::exitDecidesState()
{
    QFETCH(QStringList, script);
    QFETCH(int, state);
    QFETCH(int, failedCode);

    FakeTool tool;
    tool.install(QStringLiteral("ImageCompressor"));
    tool.setScript(QStringLiteral("ImageCompressor"), script);
    ScriptedTask task(QStringLiteral("ImageCompressor"));
    task.setId(7);
    QSignalSpy started(&task, &ScriptedTask::started);
    QSignalSpy failed(&task, &ScriptedTask::failed);
    QSignalSpy failedToStart(&task, &ScriptedTask::failedtostart);
    QSignalSpy finished(&task, &ScriptedTask::finished);

    task.run();

    QCOMPARE(task.state(), state);
    QCOMPARE(started.count(), 1);
    QCOMPARE(started.first().first().toUInt(), 7u);
    QCOMPARE(failedToStart.count(), 0);
    QCOMPARE(finished.count(), 1);
    if (failedCode == -1) {
        QCOMPARE(failed.count(), 0);
    } else {
        QCOMPARE(failed.count(), 1);
        if (failedCode >= 0)
            QCOMPARE(failed.first().at(1).toInt(), failedCode);
    }
}

void TestRunnableTaskBase::missingToolFailsToStart()
{
    FakeTool tool;  // an empty tool directory
    ScriptedTask task(QStringLiteral("ImageCompressor"));
    QSignalSpy failed(&task, &ScriptedTask::failed);
    QSignalSpy failedToStart(&task, &ScriptedTask::failedtostart);
    QSignalSpy finished(&task, &ScriptedTask::finished);

    task.run();

    QCOMPARE(task.state(), int(TaskState::Failed));
    QCOMPARE(failedToStart.count(), 1);
    QCOMPARE(failed.count(), 0);
    QCOMPARE(finished.count(), 1);
}

void TestRunnableTaskBase::outputInManyChunks()
{
    FakeTool tool;
    tool.install(QStringLiteral("WVCCheck"));
    QStringList script;
    QByteArray expected;
    for (int i = 0; i < 5; ++i) {
        const QByteArray line = "line " + QByteArray::number(i) + "\r\n";
        script << QStringLiteral("out ") + FakeTool::escaped(line) << QStringLiteral("sleep 30");
        expected += line;
    }
    script << QStringLiteral("err problem\\n") << QStringLiteral("flood 200000");
    expected += QByteArray(200000, 'x');
    tool.setScript(QStringLiteral("WVCCheck"), script);
    ScriptedTask task(QStringLiteral("WVCCheck"));

    task.run();

    const QByteArray all = task.allOutput();
    QVERIFY(task.outputChunks().size() >= 5);
    QCOMPARE(all.size(), expected.size());
    QVERIFY(all.startsWith(expected.left(expected.indexOf('x'))));
    QCOMPARE(task.errorChunks(), QList<QByteArray>{"problem\n"});
    QCOMPARE(task.state(), int(TaskState::Succeeded));
}

void TestRunnableTaskBase::argumentsAndEnvironmentReachTheChild()
{
    FakeTool tool;
    tool.install(QStringLiteral("diskspd"));
    ScriptedTask task(QStringLiteral("diskspd"));
    task.toolArguments = QStringList{QStringLiteral("-xml"), QStringLiteral("/path with blank/job.xml"), QString()};

    task.run();

    const QList<FakeTool::Invocation> calls = tool.invocations(QStringLiteral("diskspd"));
    QCOMPARE(calls.size(), 1);
    QCOMPARE(calls.first().arguments, task.toolArguments);
    QCOMPARE(calls.first().environment.value(QStringLiteral("KP_SCRIPTED_TASK")), QStringLiteral("diskspd"));
    QVERIFY(calls.first().environment.contains(QStringLiteral("PATH")));
}

void TestRunnableTaskBase::abortWhileQueuedLeavesPending()
{
    FakeTool tool;
    tool.install(QStringLiteral("ImageCompressor"));
    ScriptedTask task(QStringLiteral("ImageCompressor"));
    QSignalSpy started(&task, &ScriptedTask::started);
    QSignalSpy finished(&task, &ScriptedTask::finished);

    task.abort();
    task.run();
    QCOMPARE(started.count(), 0);
    QCOMPARE(finished.count(), 0);
    QCOMPARE(task.state(), int(TaskState::Pending));
    QVERIFY(tool.invocations(QStringLiteral("ImageCompressor")).isEmpty());

    task.reset();
    task.run();
    QCOMPARE(task.state(), int(TaskState::Succeeded));
    QCOMPARE(finished.count(), 1);
}

void TestRunnableTaskBase::abortedChildExitingZeroIsFailed()
{
    FakeTool tool;
    tool.install(QStringLiteral("ImageCompressor"));
    tool.setScript(QStringLiteral("ImageCompressor"), {"sigint exit 0", "out ready\\n", "sleep 60000", "exit 3"});
    ScriptedTask task(QStringLiteral("ImageCompressor"));
    task.setAutoDelete(false);
    QSignalSpy failed(&task, &ScriptedTask::failed);
    QSignalSpy finished(&task, &ScriptedTask::finished);

    QThreadPool::globalInstance()->start(&task);
    QTRY_VERIFY(task.allOutput().contains("ready"));
    QCOMPARE(task.state(), int(TaskState::Running));
    task.abort();
    QThreadPool::globalInstance()->waitForDone();

    QCOMPARE(task.state(), int(TaskState::Failed));
    QTRY_COMPARE(finished.count(), 1);
    QCOMPARE(failed.count(), 1);
    QCOMPARE(failed.first().at(1).toInt(), 0);
}

void TestRunnableTaskBase::childIgnoringInterruptIsKilled()
{
    RunnableTaskBase::abortGracePeriodMs = 300;
    FakeTool tool;
    tool.install(QStringLiteral("ImageCompressor"));
    tool.setScript(QStringLiteral("ImageCompressor"), {"sigint ignore", "out ready\\n", "sleep 60000"});
    ScriptedTask task(QStringLiteral("ImageCompressor"));
    task.setAutoDelete(false);
    QSignalSpy finished(&task, &ScriptedTask::finished);

    QThreadPool::globalInstance()->start(&task);
    QTRY_VERIFY(task.allOutput().contains("ready"));
    QElapsedTimer timer;
    timer.start();
    task.abort();
    QThreadPool::globalInstance()->waitForDone();

    QVERIFY2(timer.elapsed() < 30000, "the child outlived its grace period");
    QCOMPARE(task.state(), int(TaskState::Failed));
    QTRY_COMPARE(finished.count(), 1);
}

void TestRunnableTaskBase::openTaskFileNullAndEmpty()
{
    DesktopCapture desktop;
    ModalAnswerer answerer({ModalAnswerer::button(QMessageBox::Ok)});

    openTaskFile(QString());
    QVERIFY2(answerer.done(), qPrintable(answerer.report()));
    QCOMPARE(answerer.seen().first().title, QStringLiteral("Information"));
    QCOMPARE(answerer.seen().first().text, QStringLiteral("No file was produced by this task."));
    QVERIFY(desktop.urls.isEmpty());

    // An empty path is no "no file": it goes to the desktop, which cannot open it.
    answerer.expect(ModalAnswerer::button(QMessageBox::Ok));
    openTaskFile(QLatin1String(""));
    QVERIFY2(answerer.done(), qPrintable(answerer.report()));
    QCOMPARE(answerer.seen().last().text, QStringLiteral("File \"\" does not exist."));

    const QString path = QDir::temp().filePath(QStringLiteral("some.wvc"));
    openTaskFile(path);
    QCOMPARE(desktop.urls, QList<QUrl>{QUrl::fromLocalFile(path)});
}

void TestRunnableTaskBase::openTaskFileFailures()
{
    // No URL handler: the offscreen desktop opens nothing.
    QTemporaryDir dir;
    const QString existing = dir.filePath(QStringLiteral("out.wvc"));
    QFile(existing).open(QIODevice::WriteOnly);
    const QString missing = dir.filePath(QStringLiteral("gone.wvc"));
    ModalAnswerer answerer({ModalAnswerer::button(QMessageBox::Ok), ModalAnswerer::button(QMessageBox::Ok)});

    openTaskFile(missing);
    openTaskFile(existing);

    QVERIFY2(answerer.done(), qPrintable(answerer.report()));
    QCOMPARE(answerer.seen().at(0).title, QStringLiteral("Error"));
    QCOMPARE(answerer.seen().at(0).text, QStringLiteral("File \"%1\" does not exist.").arg(missing));
    QCOMPARE(answerer.seen().at(1).text,
             QStringLiteral("Could not open file \"%1\". Install an application to handle this file type.").arg(existing));
}

QTEST_MAIN(TestRunnableTaskBase)
#include "tst_runnabletaskbase.moc"
