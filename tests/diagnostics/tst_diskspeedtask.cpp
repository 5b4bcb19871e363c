#include <QElapsedTimer>
#include <QSignalSpy>
#include <QTemporaryDir>
#include <QThreadPool>
#include <QtTest>

#include "diagnostics/diskspeedtask.h"
#include "tests/support/faketool.h"
#include "tests/support/testfiles.h"

namespace {

// diskspd's latency table, as it prints it after a run.
QString table(const QString& throughput, const QString& iops, const QString& latency, const QString& start = "total:")
{
    return QStringLiteral(
               "Total IO\\r\\nthread |       bytes     |     I/Os     |    MiB/s   |  I/O per s |  AvgLat  | LatStdDev\\r\\n"
               "---------------------------------------------------------------------------------\\r\\n"
               "     0 |       104857600 |        25600 |       %1 |    %2 |    %3 |     0.50\\r\\n"
               "%4       209715200 |        51200 |       %1 |    %2 |    %3 |     0.50\\r\\n")
        .arg(throughput, iops, latency, start);
}

QString readAll(const QString& path)
{
    return QString::fromUtf8(readFile(path));
}

QStringList messages(const QSignalSpy& spy)
{
    QStringList result;
    for (const QList<QVariant>& call : spy)
        result.append(call.at(1).toString());
    return result;
}

}  // namespace

class TestDiskSpeedTask : public QObject
{
    Q_OBJECT

private slots:
    void init();
    void cleanup();
    void ratings_data();
    void ratings();
    void reportLines();
    void figuresFromTheFirstTotalLine();
    void reportPerChunk();
    void appendedLogWithDivider();
    void pacedProgress();
    void toolEndingBeforeThePace();
    void abortSaysCancelled();
    void failedRunWithoutComplete();
    void logThatCannotBeOpened();
    void destructionJoinsAndCleansUp();

private:
    DiskSpeedTask* newTask();
    QString runWith(const QStringList& script, DiskSpeedTask* task);

    std::unique_ptr<QTemporaryDir> dir;
    std::unique_ptr<FakeTool> tool;
    QList<DiskSpeedTask*> tasks;
};

void TestDiskSpeedTask::init()
{
    DiskSpeedTask::paceIntervalMs = 60;
    dir = std::make_unique<QTemporaryDir>();
    tool = std::make_unique<FakeTool>();
    tool->install(QStringLiteral("diskspd"));
}

void TestDiskSpeedTask::cleanup()
{
    QThreadPool::globalInstance()->waitForDone();
    qDeleteAll(tasks);
    tasks.clear();
    tool.reset();
    dir.reset();
    DiskSpeedTask::paceIntervalMs = DiskSpeedTask::DefaultPaceIntervalMs;
}

DiskSpeedTask* TestDiskSpeedTask::newTask()
{
    auto* task = new DiskSpeedTask;
    task->setInputFileName(dir->path() + QLatin1Char('/'));
    tasks.append(task);
    return task;
}

QString TestDiskSpeedTask::runWith(const QStringList& script, DiskSpeedTask* task)
{
    tool->setScript(QStringLiteral("diskspd"), script);
    task->run();
    return readAll(task->logFilename());
}

void TestDiskSpeedTask::ratings_data()
{
    QTest::addColumn<QString>("throughput");
    QTest::addColumn<QString>("iops");
    QTest::addColumn<QString>("latency");
    QTest::addColumn<QString>("verdict");

    const QString ok = QStringLiteral("INFO: Acceptable disk IO");
    const QString moderate = QStringLiteral("WARNING: Moderately slow disk IO");
    const QString slow = QStringLiteral("WARNING: Slow disk IO");
    QTest::newRow("all at their thresholds") << "10.00" << "5000.00" << "20.000" << ok;
    QTest::newRow("throughput 1.99") << "1.99" << "9000" << "1.0" << slow;
    QTest::newRow("throughput 2.00") << "2.00" << "9000" << "1.0" << moderate;
    QTest::newRow("throughput 9.99") << "9.99" << "9000" << "1.0" << moderate;
    QTest::newRow("iops 499.99") << "50" << "499.99" << "1.0" << slow;
    QTest::newRow("iops 500.00") << "50" << "500.00" << "1.0" << moderate;
    QTest::newRow("latency 20.001") << "50" << "9000" << "20.001" << moderate;
    QTest::newRow("latency 60.000") << "50" << "9000" << "60.000" << moderate;
    QTest::newRow("latency 60.001") << "50" << "9000" << "60.001" << slow;
    QTest::newRow("good but latency 75") << "500" << "90000" << "75" << slow;
    QTest::newRow("throughput no number") << "n/a" << "9000" << "1.0" << slow;
    QTest::newRow("latency no number reads as fast") << "50" << "9000" << "n/a" << ok;
}

void TestDiskSpeedTask::ratings()
{
    QFETCH(QString, throughput);
    QFETCH(QString, iops);
    QFETCH(QString, latency);
    QFETCH(QString, verdict);
    DiskSpeedTask* task = newTask();

    const QString log = runWith({QStringLiteral("out ") + table(throughput, iops, latency)}, task);

    QVERIFY2(log.contains(verdict), qPrintable(log));
    QCOMPARE(task->state(), int(verdict == QLatin1String("INFO: Acceptable disk IO") ? TaskState::Succeeded : TaskState::Warning));
    QCOMPARE(task->outputFilename(),
             QStringLiteral("IOPS: %1, Throughput: %2 MiB/sec, Latency: %3ms").arg(iops, throughput, latency));
}

void TestDiskSpeedTask::reportLines()
{
    DiskSpeedTask* task = newTask();
    const QString log = runWith({QStringLiteral("out ") + table("1.99", "500.00", "20.000")}, task);
    const QString expected = QStringLiteral(
        "SUMMARY:\n"
        "WARNING: Throughput 1.99 MiB/sec is significantly below the recommended value of 10 MiB/sec.\n"
        "WARNING: IOPS 500.00 are below the recommended value of 5000.\n"
        "INFO: latency 20.000ms is faster than the recommended value of 20ms.\n"
        "WARNING: Slow disk IO detected. Processing input from this drive will result in poor performance.\n"
        "Total IO\n");
    QVERIFY2(log.startsWith(expected), qPrintable(log));
    // The tool's own output follows, without its carriage returns, then the divider.
    QVERIFY(!log.contains(QLatin1Char('\r')));
    QVERIFY(log.endsWith(QString(79, QLatin1Char('*')) + QStringLiteral("\n\n")));
}

void TestDiskSpeedTask::figuresFromTheFirstTotalLine()
{
    DiskSpeedTask* task = newTask();
    const QString output = QStringLiteral("out total: 1 | 2 | 3.00 | 4.00 | 5.000\\ntotal: 9 | 9 | 99 | 99999 | 0.1\\n");
    runWith({output}, task);
    QCOMPARE(task->outputFilename(), QStringLiteral("IOPS: 4.00, Throughput: 3.00 MiB/sec, Latency: 5.000ms"));

    // No total line, a capital T, or too few columns: nothing is found and the job warns.
    for (const QString& bad : {QStringLiteral("out read: 1 | 2 | 3 | 4 | 5\\n"), QStringLiteral("out Total: 1 | 2 | 3 | 4 | 5\\n"),
                               QStringLiteral("out total: 1 | 2 | 3 | 4\\n")}) {
        DiskSpeedTask* other = newTask();
        const QString log = runWith({bad}, other);
        QCOMPARE(other->state(), int(TaskState::Warning));
        QVERIFY(other->outputFilename().isNull());
        QVERIFY(log.contains(QLatin1String("WARNING: Could not determine Throughput.\nWARNING: Could not determine IOPS.\n"
                                           "WARNING: Could not determine latency.\nERROR: Disk profiling was unable")));
        QFile::remove(other->logFilename());
    }
}

void TestDiskSpeedTask::reportPerChunk()
{
    DiskSpeedTask* task = newTask();
    const QString log = runWith({"out Command Line: diskspd\\r\\n", "sleep 50", QStringLiteral("out ") + table("50", "9000", "1")},
                                task);
    QCOMPARE(log.count(QLatin1String("SUMMARY:\n")), 2);
    QVERIFY(log.contains(QLatin1String("ERROR: Disk profiling")));
    QVERIFY(log.contains(QLatin1String("INFO: Acceptable disk IO")));
    // A good report after a chunk without results does not take the warning back.
    QCOMPARE(task->state(), int(TaskState::Warning));
}

void TestDiskSpeedTask::appendedLogWithDivider()
{
    DiskSpeedTask* task = newTask();
    QCOMPARE(task->arguments(), (QStringList{"-d120", "-r4b", "-t4", "-L", "-b4k", "-c2G", "-Suw",
                                             dir->path() + QStringLiteral("/kartopress_diskspd.dat")}));
    QCOMPARE(task->logFilename(), dir->path() + QStringLiteral("/kartopress_diskspd.dat.log"));
    runWith({QStringLiteral("out ") + table("50", "9000", "1")}, task);
    task->reset();
    const QString log = runWith({QStringLiteral("out ") + table("51", "9001", "2")}, task);
    QCOMPARE(log.count(QString(79, QLatin1Char('*')) + QStringLiteral("\n\n")), 2);
    QVERIFY(log.indexOf(QLatin1String(" 9000 |")) >= 0);
    QVERIFY(log.indexOf(QLatin1String(" 9000 |")) < log.indexOf(QLatin1String(" 9001 |")));
    QCOMPARE(tool->invocations(QStringLiteral("diskspd")).first().arguments, task->arguments());
}

void TestDiskSpeedTask::pacedProgress()
{
    DiskSpeedTask* task = newTask();
    QSignalSpy spy(task, &DiskSpeedTask::progress);
    const QString benchmarking = QStringLiteral("Benchmarking '%1/'...").arg(dir->path());
    runWith({"sleep 400", QStringLiteral("out ") + table("50", "9000", "1")}, task);

    QStringList seen = messages(spy);
    QCOMPARE(seen.first(), QStringLiteral("Starting disk benchmarking of '%1/'").arg(dir->path()));
    QCOMPARE(seen.last(), QStringLiteral("Benchmarking '%1/' complete.").arg(dir->path()));
    QVERIFY(seen.count(benchmarking) >= 2);
    QCOMPARE(spy.at(seen.indexOf(benchmarking)).at(2).toInt(), 5);
    // Once the run is over, the pace stops.
    const int count = spy.count();
    QVERIFY(!spy.wait(4 * DiskSpeedTask::paceIntervalMs));
    QCOMPARE(spy.count(), count);
}

void TestDiskSpeedTask::toolEndingBeforeThePace()
{
    DiskSpeedTask::paceIntervalMs = 300;
    DiskSpeedTask* task = newTask();
    QSignalSpy spy(task, &DiskSpeedTask::progress);
    runWith({QStringLiteral("out ") + table("50", "9000", "1")}, task);
    QVERIFY(!spy.wait(2 * DiskSpeedTask::paceIntervalMs));
    QVERIFY(!messages(spy).join(QLatin1Char('\n')).contains(QLatin1String("...")));
}

void TestDiskSpeedTask::abortSaysCancelled()
{
    DiskSpeedTask* task = newTask();
    task->setAutoDelete(false);
    tool->setScript(QStringLiteral("diskspd"), {"sigint exit 0", "err ready\\n", "sleep 60000"});
    QSignalSpy spy(task, &DiskSpeedTask::progress);
    QThreadPool::globalInstance()->start(task);
    QTRY_VERIFY(readAll(task->logFilename()).contains(QLatin1String("ready")));

    task->abort();
    QThreadPool::globalInstance()->waitForDone();

    QCOMPARE(task->state(), int(TaskState::Failed));
    const QStringList seen = messages(spy);
    QVERIFY(seen.contains(QStringLiteral("Disk benchmarking cancelled. See log file for details.")));
    QVERIFY(!seen.join(QLatin1Char('\n')).contains(QLatin1String("exited with error")));
    QVERIFY(!seen.join(QLatin1Char('\n')).contains(QLatin1String("complete.")));
}

void TestDiskSpeedTask::failedRunWithoutComplete()
{
    DiskSpeedTask* task = newTask();
    QSignalSpy spy(task, &DiskSpeedTask::progress);
    const QString log = runWith({"err disk full\\r\\n", "exit 2"}, task);
    QCOMPARE(task->state(), int(TaskState::Failed));
    QVERIFY(messages(spy).contains(QStringLiteral("Disk benchmarking exited with error 2. See log file for details.")));
    QVERIFY(!messages(spy).join(QLatin1Char('\n')).contains(QLatin1String("complete.")));
    QCOMPARE(log, QStringLiteral("disk full\n") + QString(79, QLatin1Char('*')) + QStringLiteral("\n\n"));
}

void TestDiskSpeedTask::logThatCannotBeOpened()
{
    auto* task = new DiskSpeedTask;
    tasks.append(task);
    task->setInputFileName(dir->filePath(QStringLiteral("missing/")));
    QSignalSpy spy(task, &DiskSpeedTask::progress);
    QSignalSpy failedToStart(task, &DiskSpeedTask::failedtostart);
    tool->setScript(QStringLiteral("diskspd"), {"sleep 200"});
    task->run();
    QCOMPARE(failedToStart.count(), 1);
    QCOMPARE(messages(spy).first(), QStringLiteral("Failed to start disk benchmarking executable."));
    // The tool runs all the same, without a log or a paced progress.
    QCOMPARE(tool->invocations(QStringLiteral("diskspd")).size(), 1);
    QVERIFY(!messages(spy).join(QLatin1Char('\n')).contains(QLatin1String("...")));
}

void TestDiskSpeedTask::destructionJoinsAndCleansUp()
{
    DiskSpeedTask::paceIntervalMs = 60000;
    auto* task = new DiskSpeedTask;
    task->setInputFileName(dir->path() + QLatin1Char('/'));
    tool->setScript(QStringLiteral("diskspd"), {"out nothing\\n"});
    QFile data(dir->filePath(QStringLiteral("kartopress_diskspd.dat")));
    QVERIFY(data.open(QIODevice::WriteOnly));
    data.close();
    task->run();

    // The pace thread is asleep for a minute; the job must not wait for it, nor leave it behind.
    QElapsedTimer timer;
    timer.start();
    delete task;
    QVERIFY(timer.elapsed() < 10000);
    QVERIFY(!data.exists());
    QVERIFY(QFile::exists(dir->filePath(QStringLiteral("kartopress_diskspd.dat.log"))));
}

QTEST_MAIN(TestDiskSpeedTask)
#include "tst_diskspeedtask.moc"
