#include <QThreadPool>
#include <QtTest>

#include "tasks/checksumtask.h"
#include "tests/support/desktopcapture.h"
#include "tests/support/faketool.h"
#include "tests/support/modalanswerer.h"
#include "tests/support/scriptedtask.h"
#include "tests/support/testfiles.h"
#include "tests/tasks/signaltrace.h"

namespace {

QByteArray patterned(int size)
{
    QByteArray data(size, Qt::Uninitialized);
    for (int i = 0; i < size; ++i)
        data[i] = char((i * 31 + i / 7) & 0xff);
    return data;
}

// What the job sends up to its last hashing figure.
QString hashing(const QList<int>& percents, const QString& name = QStringLiteral("tile 01.wvc"))
{
    QString text = QStringLiteral("started 3");
    for (int percent : QList<int>{0} + percents)
        text += QStringLiteral("; %1 Calculating checksum for '%2'").arg(percent).arg(name);
    return text;
}

}  // namespace

class TestTasks : public QObject
{
    Q_OBJECT

private slots:
    void run_data();
    void run();
    void checksum_data();
    void checksum();
    void openFile_data();
    void openFile();
};

void TestTasks::run_data()
{
    // Empty: the tool is missing. "abort": the job is aborted while queued, then reset and run. A child told what to do
    // on an interrupt is aborted once it is ready.
    QTest::addColumn<QStringList>("script");
    QTest::addColumn<QByteArray>("output");  // what reached the job from standard output
    QTest::addColumn<int>("state");  // 2 Succeeded, 3 Warning, 4 Failed
    QTest::addColumn<QString>("sent");

    const QByteArray flood =
        QByteArray("flooding the standard output with a line of no meaning at all\n").repeated(4000);
    // More than a pipe holds, and a last chunk written just before the exit.
    QTest::newRow("exit 0") << QStringList{"out first\\r\\n", "flood 200000", "out last\\n"}
                            << "first\r\n" + flood.left(200000) + "last\n"
                            << 2 << "started 7; finished 7";
    QTest::newRow("exit 1") << QStringList{"out a\\n", "exit 1"} << QByteArray("a\n") << 4
                            << "started 7; failed 7 1; finished 7";
    QTest::newRow("crash") << QStringList{"out a\\n", "crash"} << QByteArray("a\n") << 4
                           << "started 7; failed 7 11; finished 7";
    QTest::newRow("warning kept on 0") << QStringList{"out WARN\\n"} << QByteArray("WARN\n") << 3
                                       << "started 7; finished 7";
    QTest::newRow("warning lost on 3") << QStringList{"out WARN\\n", "exit 3"} << QByteArray("WARN\n") << 4
                                       << "started 7; failed 7 3; finished 7";
    QTest::newRow("failed by output, 0") << QStringList{"out FAIL\\n"} << QByteArray("FAIL\n") << 4
                                         << "started 7; failed 7 0; finished 7";
    QTest::newRow("aborted while queued")
        << QStringList{"abort", "out a\\n"} << QByteArray("a\n") << 2 << "started 7; finished 7";
    const QStringList ready{"out ready\\n", "sleep 8000", "out late\\n"};  // late: well after the grace period
    QTest::newRow("ends with 0 on the interrupt")
        << QStringList{"sigint exit 0"} + ready << QByteArray("ready\n") << 4 << "started 7; failed 7 0; finished 7";
    QTest::newRow("ignores the interrupt, killed")
        << QStringList{"sigint ignore"} + ready << QByteArray("ready\n") << 4 << "started 7; failed 7 9; finished 7";
    QTest::newRow("missing tool") << QStringList() << QByteArray() << 4 << "started 7; failedtostart 7; finished 7";
}

void TestTasks::run()
{
    QFETCH(QStringList, script);
    QFETCH(QByteArray, output);
    QFETCH(int, state);
    QFETCH(QString, sent);
    const bool abortQueued = script.removeOne(QStringLiteral("abort"));
    RunnableTaskBase::abortGracePeriodMs =
        script.contains("sigint ignore") ? 300 : RunnableTaskBase::DefaultAbortGracePeriodMs;
    FakeTool tool;
    const QString name = QStringLiteral("ImageCompressor");
    if (!script.isEmpty()) {
        tool.install(name);
        tool.setScript(name, QStringList{"err note\\r\\n"} + script);
    }
    ScriptedTask task(name);
    task.setId(7);
    task.toolArguments = QStringList{QStringLiteral("-xml"), QStringLiteral("/path with blank/job.xml"), QString()};
    task.setAutoDelete(false);
    SignalTrace trace(&task, false);

    if (abortQueued) {
        task.abort();
        task.run();
        QCOMPARE(trace.text() + QString::number(task.state()), QStringLiteral("0"));  // nothing sent, still pending
        QCOMPARE(tool.invocations(name).size(), 0);
        task.reset();
    }
    QThreadPool::globalInstance()->start(&task);
    if (script.value(0).startsWith(QLatin1String("sigint"))) {
        QTRY_COMPARE(task.allOutput(), QByteArray("ready\n"));
        QCOMPARE(task.state(), int(TaskState::Running));
        task.abort();
    }
    QThreadPool::globalInstance()->waitForDone();

    QCOMPARE(trace.text(), sent);
    QCOMPARE(task.state(), state);
    QCOMPARE(task.allOutput(), output);
    QCOMPARE(task.errorChunks().join(), script.isEmpty() ? QByteArray() : QByteArray("note\r\n"));
    const QList<FakeTool::Invocation> calls = tool.invocations(name);
    QCOMPARE(calls.size(), script.isEmpty() ? 0 : 1);
    QCOMPARE(calls.value(0).arguments, script.isEmpty() ? QStringList() : task.toolArguments);
    const QProcessEnvironment environment = calls.value(0).environment;
    QCOMPARE(environment.value("KP_SCRIPTED_TASK") + environment.value("PATH"),
             script.isEmpty() ? "" : name + qgetenv("PATH"));
}

void TestTasks::checksum_data()
{
    QTest::addColumn<QString>("input");
    QTest::addColumn<int>("size");
    QTest::addColumn<quint32>("bufferSize");
    QTest::addColumn<int>("algorithm");
    QTest::addColumn<QString>("output");  // "abort": aborted once the job has started
    QTest::addColumn<QString>("sent");  // <dir> is the job's directory

    const QString in = QStringLiteral("tile 01.wvc"), out = QStringLiteral("tile 01.wvc.md5");
    const QString done = QStringLiteral("; 100 Finished calculating checksum; finished 3; finished 3");
    const int md5 = QCryptographicHash::Md5;
    QTest::newRow("empty") << in << 0 << 16384u << md5 << out << hashing({}) + done;
    QTest::newRow("several buffers") << in << 49157 << 16384u << md5 << out << hashing({33, 66, 99, 100}) + done;
    QTest::newRow("buffer size 0 is the default")
        << in << 49157 << 0u << md5 << out << hashing({33, 66, 99, 100}) + done;
    QTest::newRow("buffer size beyond an int") << in << 100 << 0xffffffffu << md5 << out << hashing({100}) + done;
    QTest::newRow("buffers across a megabyte")
        << in << 1058576 << 300000u << md5 << out << hashing({28, 56, 85, 99, 100}) + done;
    const QMetaEnum algorithms = QMetaEnum::fromType<QCryptographicHash::Algorithm>();
    for (int i = 0; i < algorithms.keyCount(); ++i)
        QTest::newRow(algorithms.key(i)) << in << 100000 << 16384u << algorithms.value(i) << "a.sum"
                                         << hashing({16, 32, 49, 65, 81, 98, 100}) + done;
    for (const QString name : {"vanished.wvc", "folder.wvc"})
        QTest::newRow(qPrintable(name)) << name << 10 << 16384u << md5 << out
                                        << "started 3; 0 Could not open file '" + name
                + "'.; failedtostart 3; finished 3";
    // The loop looks at the abort mark before every read.
    QTest::newRow("aborted at the first message") << in << 49157 << 16384u << md5 << "abort"
                                                  << hashing({})
            + "; 100 Checksum calculation aborted for file 'tile 01.wvc'.; "
              "failed 3 1; finished 3";
    QTest::newRow("output cannot be written") << in << 5 << 16384u << md5 << "no such folder/b.md5"
                                              << hashing({100})
            + "; 100 Could not open checksum file for write '<dir>/no such folder/b.md5'.; failed 3 1; finished 3";
}

void TestTasks::checksum()
{
    QFETCH(QString, input);
    QFETCH(int, size);
    QFETCH(quint32, bufferSize);
    QFETCH(int, algorithm);
    QFETCH(QString, output);
    QFETCH(QString, sent);
    QTemporaryDir dir;
    writeFile(dir.filePath(QStringLiteral("tile 01.wvc")), patterned(size));
    QDir(dir.path()).mkdir(QStringLiteral("folder.wvc"));
    const QString outputPath =
        dir.filePath(output == QLatin1String("abort") ? QStringLiteral("tile 01.wvc.md5") : output);
    // An older, longer checksum file, where there can be one.
    const QByteArray old = QFileInfo(QFileInfo(outputPath).path()).isDir() ? QByteArray(200, 'z') : QByteArray();
    if (!old.isEmpty())
        writeFile(outputPath, old);

    ChecksumTask task;
    task.setInputFilename(dir.filePath(input));
    task.setOutputFilename(outputPath);
    task.setId(3);
    task.setBufferSize(bufferSize);
    task.setAlgorithm(QCryptographicHash::Algorithm(algorithm));
    SignalTrace trace(&task);
    if (output == QLatin1String("abort"))
        connect(&task, &ChecksumTask::progress, &task, [&task] { task.abort(); });
    task.run();

    QCOMPARE(trace.text(), sent.replace(QStringLiteral("<dir>"), dir.path()));
    const bool written = sent.endsWith(QLatin1String("checksum; finished 3; finished 3"));
    QCOMPARE(task.state(), int(written ? TaskState::Succeeded : TaskState::Failed));
    const QByteArray digest =
        QCryptographicHash::hash(patterned(size), QCryptographicHash::Algorithm(algorithm)).toHex().toUpper();
    QCOMPARE(readFile(outputPath), written ? digest + " *tile 01.wvc" : old);
}

void TestTasks::openFile_data()
{
    QTest::addColumn<QString>("name");  // null and empty stand for themselves; a checksum goes through Open Checksum
    QTest::addColumn<QString>("box");  // "title: text", %1 the path; empty when the desktop opens the file

    QTest::newRow("null") << QString() << "Information: No file was produced by this task.";
    QTest::newRow("empty goes to the desktop") << QString("") << "Error: File \"\" does not exist.";
    QTest::newRow("missing") << "gone.wvc"
                             << "Error: File \"%1\" does not exist.";
    QTest::newRow("existing") << "out.wvc"
                              << "Error: Could not open file \"%1\". Install an application to handle this file type.";
    QTest::newRow("opened by the desktop") << "gone.wvc"
                                           << "";
    QTest::newRow("checksum, no application") << "out.wvc.md5"
                                              << "Error: Could not find default application to compare md5 checksums.";
    QTest::newRow("checksum opened by the desktop") << "out.wvc.md5"
                                                    << "";
}

void TestTasks::openFile()
{
    QFETCH(QString, name);
    QFETCH(QString, box);
    QTemporaryDir dir;
    writeFile(dir.filePath(QStringLiteral("out.wvc")), "x");
    const QString path = name.isEmpty() ? name : dir.filePath(name);
    // Without a handler of ours the offscreen desktop opens nothing.
    std::unique_ptr<DesktopCapture> desktop(box.isEmpty() || name.isEmpty() ? new DesktopCapture : nullptr);
    ModalAnswerer answerer;
    if (!box.isEmpty())
        answerer.expect(ModalAnswerer::button(QMessageBox::Ok));
    ChecksumTask checksum;
    checksum.setOutputFilename(path);

    if (name.endsWith(QLatin1String(".md5")))
        checksum.viewAction()->trigger();
    else
        openTaskFile(path);

    QVERIFY2(answerer.done(), qPrintable(answerer.report()));
    if (!box.isEmpty())
        QCOMPARE(answerer.seen().first().title + ": " + answerer.seen().first().text, box.replace("%1", path));
    if (desktop)
        QCOMPARE(desktop->urls, box.isEmpty() ? QList<QUrl>{QUrl::fromLocalFile(path)} : QList<QUrl>());
    QVERIFY(checksum.logFilename().isNull());  // its Log button finds no file
}

QTEST_MAIN(TestTasks)
#include "tst_tasks.moc"
