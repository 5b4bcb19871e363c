#include <QThreadPool>
#include <QtTest>

#include "diagnostics/checkertask.h"
#include "diagnostics/diskspeedtask.h"
#include "tests/support/faketool.h"
#include "tests/support/modalanswerer.h"
#include "tests/support/testfiles.h"
#include "tests/tasks/signaltrace.h"

namespace {

// Hands a job what its tool printed, chunk by chunk as the pipe delivered it, between the job's start and finish:
// standard output, "err:" and standard error, or "abort".
template <class Task> void feed(Task& task, const QList<QByteArray>& chunks)
{
    emit task.started(0);
    for (const QByteArray& chunk : chunks) {
        if (chunk == "abort")
            task.abort();
        else if (chunk.startsWith("err:"))
            task.handleStandardError(chunk.mid(4));
        else
            task.handleStandardOutput(chunk);
    }
    emit task.finished(0);
}

// The end of a diskspd run as it prints it; the job only reads, so the Write table is all zeros.
QByteArray recording(const QByteArray& figures)
{
    const QByteArray rule = "\n" + QByteArray(96, '-') + "\n";
    QByteArray text = "\nCommand Line: diskspd -d120 -r4b -t4 -L -b4k -c2G -Suw /data/kartopress_diskspd.dat\n\n"
                      "Results for timespan 1:\n"
        + QByteArray(79, '*') + "\n\nactual test time:\t120.00s\n\n";
    for (const QByteArray name : {"Total IO", "Read IO", "Write IO"}) {
        const QByteArray row =
            name == "Write IO" ? "          0 |            0 |   0.00 |      0.00 |   0.000 |  N/A" : figures;
        text += name + "\nthread |       bytes |         I/Os |  MiB/s | I/O per s |  AvgLat | LatStdDev" + rule
            + "     0 | " + row + rule + "total:   " + row + "\n\n";
    }
    return text;
}

// Drives whose figures lie on the edges of the ratings.
const QByteArray ssd = recording(" 2457600000 |       600000 |  10.00 |   5000.00 |  20.000 |     3.100");
const QByteArray hdd = recording("  250347520 |        60000 |   1.99 |    500.00 |  60.001 |    21.300");
const QByteArray usb = recording("  251658240 |        59998 |   2.00 |    499.99 |  60.000 |    18.120");
const QByteArray nas = recording(" 1257144320 |       614400 |   9.99 |   5120.00 |  20.001 |     8.120");
const QStringList verdicts{
    "ERROR: Disk profiling was unable to determine drive performance.\n",
    "WARNING: Slow disk IO detected. Processing input from this drive will result in poor performance.\n",
    "WARNING: Moderately slow disk IO detected. Processing input from this drive will result in moderate performance.\n",
    "INFO: Acceptable disk IO detected. Processing input from this drive will meet our recommended performance requirements.\n"};
const QString ssdReport = "INFO: Throughput 10.00 MiB/sec exceeds the recommended value of 10 MiB/sec.\n"
                          "INFO: IOPS 5000.00 exceed the recommended value of 5000.\n"
                          "INFO: latency 20.000ms is faster than the recommended value of 20ms.\n"
    + verdicts[3];
const QString hddReport =
    "WARNING: Throughput 1.99 MiB/sec is significantly below the recommended value of 10 MiB/sec.\n"
    "WARNING: IOPS 500.00 are below the recommended value of 5000.\n"
    "WARNING: latency 60.001ms is significantly slower than the recommended value of 20ms.\n"
    + verdicts[1];
const QString usbReport = "WARNING: Throughput 2.00 MiB/sec is below the recommended value of 10 MiB/sec.\n"
                          "WARNING: IOPS 499.99 are significantly below the recommended value of 5000.\n"
                          "WARNING: latency 60.000ms is slower than the recommended value of 20ms.\n"
    + verdicts[1];
const QString nasReport = "WARNING: Throughput 9.99 MiB/sec is below the recommended value of 10 MiB/sec.\n"
                          "INFO: IOPS 5120.00 exceed the recommended value of 5000.\n"
                          "WARNING: latency 20.001ms is slower than the recommended value of 20ms.\n"
    + verdicts[2];
const QString noReport = "WARNING: Could not determine Throughput.\nWARNING: Could not determine IOPS.\n"
                         "WARNING: Could not determine latency.\n"
    + verdicts[0];
const QString divider = QString(79, QLatin1Char('*')) + QStringLiteral("\n\n");

QByteArray crlf(QByteArray text)
{
    return text.replace("\n", "\r\n");
}

}  // namespace

class TestDiagnostics : public QObject
{
    Q_OBJECT

private slots:
    void checkerOutput_data();
    void checkerOutput();
    void checkerRun_data();
    void checkerRun();
    void benchmarkOutput_data();
    void benchmarkOutput();
    void benchmarkRun_data();
    void benchmarkRun();
};

void TestDiagnostics::checkerOutput_data()
{
    QTest::addColumn<QList<QByteArray>>("chunks");
    QTest::addColumn<QString>("sent");
    QTest::addColumn<QString>("log");

    QTest::newRow("sound file, a status line cut between chunks")
        << QList<QByteArray>{"WVCCheck 6.0 - file integrity check\r\nINPUTS: /data/city.wvc\r\n",
                             "INFO: 4096 tiles\r\nSTATUS: 0 % checked\rSTATUS: 12 % checked\rSTATUS: 25 % che",
                             "cked\rSTATUS: 37 % checked\r", "STATUS: 100 % checked\r\nINFO: no damage found\r\n"}
        << "0; 12; 25; 37; 100"
        << "INPUTS: /data/city.wvc\nINFO: 4096 tiles\nSTATUS: 0 % checked\nSTATUS: 12 % checked\nSTATUS: 25 % che\n"
           "STATUS: 37 % checked\nSTATUS: 100 % checked\nINFO: no damage found\n";
    QTest::newRow("damaged file, errors on both streams")
        << QList<QByteArray>{"INPUTS: /data/city.wvc\r\n   INFO: header ok  \r\nSTATUS: 300 %\r",
                             "err:tile 7: checksum mismatch\r\r\n",
                             "ERROR: tile 7 damaged\r\nWARNING: tile 9 padded\r\nSTATUS:\r\nSTATUS: 12.5 %\r",
                             "\x01\x02\xff\xfe garbage\r status: 5\r\nInfo: done\r\n"}
        << "44; 0; 12"
        << "INPUTS: /data/city.wvc\nINFO: header ok\nSTATUS: 300 %\ntile 7: checksum mismatch\n\n\n"
           "ERROR: tile 7 damaged\nSTATUS:\nSTATUS: 12.5 %\n";
    QTest::newRow("abort silences both streams")
        << QList<QByteArray>{"STATUS: 10 % checked\r", "abort", "STATUS: 20 %\rINFO: late\r", "err:late\r\n"} << "10"
        << "STATUS: 10 % checked\n";
}

void TestDiagnostics::checkerOutput()
{
    QFETCH(QList<QByteArray>, chunks);
    QFETCH(QString, sent);
    QFETCH(QString, log);
    QTemporaryDir dir;
    CheckerTask task;
    task.setInputFilename(dir.filePath(QStringLiteral("city.wvc")));
    SignalTrace trace(&task);

    feed(task, chunks);

    sent.replace(QStringLiteral("; "), QStringLiteral(" Validating file 'city.wvc'; "));
    QCOMPARE(trace.text(),
             "0 Starting integrity check of file 'city.wvc'; started 0; " + sent
                 + " Validating file 'city.wvc'; 100 Finished validating file 'city.wvc'; finished 0");
    QCOMPARE(QString::fromLocal8Bit(readFile(task.logFilename())), log);
}

void TestDiagnostics::checkerRun_data()
{
    QTest::addColumn<QVariantMap>("properties");
    QTest::addColumn<QStringList>("arguments");  // after the input
    QTest::addColumn<QStringList>("script");  // empty: the tool is missing
    QTest::addColumn<QString>("sent");  // between the start message and the finish message
    QTest::addColumn<QByteArray>("log");  // null: the log cannot be opened

    const QStringList status{"out STATUS: 50 % checked\\r\\n"};
    QTest::newRow("clean exit replaces the old log")
        << QVariantMap() << QStringList() << status << "50 Validating file 'city.wvc'; "
        << QByteArray("STATUS: 50 % checked\n");
    QTest::newRow("exit 3, options in order")
        << QVariantMap{{"queueSize", 1}, {"numHeaps", 2}, {"maxMem", 3}, {"tileSize", 256}, {"threads", 5}}
        << QStringList{"-threads=5", "-tilesize=", "-maxmem=", "-numheaps=", "-queuesize="}
        << QStringList{"out ERROR: truncated\\r\\n", "exit 3"}
        << "0 File integrity check exited with an error. See log file for details.; failed 0 3; "
        << QByteArray("ERROR: truncated\n");
    QTest::newRow("missing tool, clean mode")
        << QVariantMap{{"clean", true}, {"threads", 4}} << QStringList{"-clean="} << QStringList()
        << "0 Failed to start file integrity check executable.; failedtostart 0; " << QByteArray("");
    QTest::newRow("log cannot be opened") << QVariantMap{{"threads", 4}} << QStringList{"-threads=4"} << status
                                          << "50 Validating file 'city.wvc'; " << QByteArray();
}

void TestDiagnostics::checkerRun()
{
    QFETCH(QVariantMap, properties);
    QFETCH(QStringList, arguments);
    QFETCH(QStringList, script);
    QFETCH(QString, sent);
    QFETCH(QByteArray, log);
    QTemporaryDir dir;
    const QString input = dir.filePath(log.isNull() ? QStringLiteral("gone/city.wvc") : QStringLiteral("city.wvc"));
    writeFile(dir.filePath(QStringLiteral("city.wvc-checker.log")), "an earlier check\n");
    FakeTool tool;
    if (!script.isEmpty()) {
        tool.install(QStringLiteral("WVCCheck"));
        tool.setScript(QStringLiteral("WVCCheck"), script);
    }
    CheckerTask task;
    task.setInputFilename(input);
    for (auto it = properties.cbegin(); it != properties.cend(); ++it)
        QVERIFY(task.setProperty(qPrintable(it.key()), it.value()));
    SignalTrace trace(&task);
    ModalAnswerer answerer;
    if (log.isNull())
        answerer.expect(ModalAnswerer::button(QMessageBox::Ok));

    task.run();

    QCOMPARE(trace.text(),
             "0 Starting integrity check of file 'city.wvc'; started 0; " + sent
                 + "100 Finished validating file 'city.wvc'; finished 0");
    QCOMPARE(task.state(), int(sent.contains(QLatin1String("failed")) ? TaskState::Failed : TaskState::Succeeded));
    QCOMPARE(readFile(task.logFilename()), log);
    QCOMPARE(task.arguments(), QStringList{input} + arguments);
    QCOMPARE(tool.invocations(QStringLiteral("WVCCheck")).value(0).arguments,
             script.isEmpty() ? QStringList() : task.arguments());
    QTRY_VERIFY2(answerer.done(), qPrintable(answerer.report()));
    if (log.isNull())
        QCOMPARE(answerer.seen().first().title + ": " + answerer.seen().first().text,
                 QStringLiteral("Warning: Could not open log file '%1-checker.log'.").arg(input));
}

void TestDiagnostics::benchmarkOutput_data()
{
    QTest::addColumn<QList<QByteArray>>("chunks");
    QTest::addColumn<QStringList>("reports");  // one for each chunk

    const int results = hdd.indexOf("Total IO"), cut = crlf(usb).indexOf("total:") + 20;
    const int lineEnd = crlf(nas).indexOf("\r\n", crlf(nas).indexOf("total:")) + 1;
    QTest::newRow("solid-state disk, one chunk") << QList<QByteArray>{crlf(ssd)} << QStringList{ssdReport};
    QTest::newRow("hard disk, results a chunk after the command line")
        << QList<QByteArray>{hdd.left(results), hdd.mid(results)} << QStringList{noReport, hddReport};
    QTest::newRow("USB stick, the first total line cut")
        << QList<QByteArray>{crlf(usb).left(cut), crlf(usb).mid(cut)} << QStringList{noReport, usbReport};
    QTest::newRow("network drive, cut between \\r and \\n")
        << QList<QByteArray>{crlf(nas).left(lineEnd), crlf(nas).mid(lineEnd)} << QStringList{nasReport, nasReport};
    QTest::newRow("no results") << QList<QByteArray>{"total: 1 | 2 | 3 | 4\r\nTotal: 1 | 2 | 3 | 4 | 5\r\n"}
                                << QStringList{noReport};
}

void TestDiagnostics::benchmarkOutput()
{
    QFETCH(QList<QByteArray>, chunks);
    QFETCH(QStringList, reports);
    QTemporaryDir dir;
    DiskSpeedTask task;
    task.setInputFileName(dir.path() + QLatin1Char('/'));
    feed(task, chunks);
    QString log;
    for (int i = 0; i < chunks.size(); ++i)
        log += "SUMMARY:\n" + reports.at(i) + QString::fromUtf8(chunks.at(i)).remove(QLatin1Char('\r'));

    QCOMPARE(QString::fromUtf8(readFile(task.logFilename())), log + divider);
    // Any report short of the verdict of an acceptable drive leaves the job warning.
    QCOMPARE(task.state(),
             int(reports.filter(verdicts[3]).size() == reports.size() ? TaskState::Running : TaskState::Warning));
}

void TestDiagnostics::benchmarkRun_data()
{
    QTest::addColumn<QStringList>("script");  // a tool that sleeps first gets a quick pace
    QTest::addColumn<QString>("sent");  // <in> is the directory under test, paced messages aside
    QTest::addColumn<QString>("log");  // null: the log cannot be opened

    const QString results = "out " + FakeTool::escaped(ssd);
    QTest::newRow("good disk, paced, appended to the log")
        << QStringList{"sleep 400", results}
        << "0 Starting disk benchmarking of '<in>'; started 0; 95 Preparing disk benchmarking report.; "
           "100 Benchmarking '<in>' complete.; finished 0"
        << "SUMMARY:\n" + ssdReport + ssd + divider;
    QTest::newRow("aborted") << QStringList{"sigint exit 0", "err ready\\r\\n", "sleep 60000"}
                             << "0 Starting disk benchmarking of '<in>'; started 0; "
                                "0 Disk benchmarking cancelled. See log file for details.; failed 0 0; finished 0"
                             << "ready\n" + divider;
    QTest::newRow("no log, results, exit 2")
        << QStringList{results, "exit 2"}
        << "0 Failed to start disk benchmarking executable.; failedtostart 0; started 0; 95 Preparing disk benchmarking report.; "
           "0 Disk benchmarking exited with error 2. See log file for details.; failed 0 2; finished 0"
        << QString();
}

void TestDiagnostics::benchmarkRun()
{
    QFETCH(QStringList, script);
    QFETCH(QString, sent);
    QFETCH(QString, log);
    QTemporaryDir dir;
    const QString in = dir.filePath(log.isNull() ? QStringLiteral("missing/") : QStringLiteral("d/"));
    const QString data = in + QStringLiteral("kartopress_diskspd.dat");
    if (!log.isNull()) {
        writeFile(data + QStringLiteral(".log"), "an earlier run\n");
        writeFile(data, "left by the tool");
    }
    const bool paced = script.first().startsWith(QLatin1String("sleep"));
    DiskSpeedTask::paceIntervalMs = paced ? 60 : 60000;
    FakeTool tool;
    tool.install(QStringLiteral("diskspd"));
    tool.setScript(QStringLiteral("diskspd"), script);
    auto task = std::make_unique<DiskSpeedTask>();
    task->setInputFileName(in);
    task->setAutoDelete(false);
    SignalTrace trace(task.get());

    QThreadPool::globalInstance()->start(task.get());
    if (script.first().startsWith(QLatin1String("sigint"))) {
        QTRY_VERIFY(readFile(task->logFilename()).endsWith("ready\n"));
        task->abort();
    }
    QThreadPool::globalInstance()->waitForDone();
    // Once the run is over the pace stops: the thread wakes, finds the job no longer running and ends.
    QSignalSpy spy(task.get(), &DiskSpeedTask::progress);
    QVERIFY(!paced || !spy.wait(4 * DiskSpeedTask::paceIntervalMs));

    // The paced values count up by five from 5; one missed would leave the rest behind.
    QString text = trace.text();
    int value = 5;
    for (; text.contains(QStringLiteral("; %1 Benchmarking '%2'...").arg(value).arg(in)); value += 5)
        text.remove(QStringLiteral("; %1 Benchmarking '%2'...").arg(value).arg(in));
    QVERIFY2(paced ? value > 10 : value == 5, qPrintable(trace.text()));
    QCOMPARE(text, sent.replace(QStringLiteral("<in>"), in));
    QCOMPARE(task->state(), int(sent.contains(QLatin1String("failed 0")) ? TaskState::Failed : TaskState::Succeeded));
    // Whether the figures show depends on the state alone: a failed job with figures shows them too.
    QCOMPARE(task->outputFilename(),
             sent.contains(QLatin1String("Preparing"))
                 ? QStringLiteral("IOPS: 5000.00, Throughput: 10.00 MiB/sec, Latency: 20.000ms")
                 : QString());
    QCOMPARE(tool.invocations(QStringLiteral("diskspd")).value(0).arguments,
             (QStringList{"-d120", "-r4b", "-t4", "-L", "-b4k", "-c2G", "-Suw", data}));
    // The data file goes with the job; the log stays.
    task.reset();
    QVERIFY(!QFile::exists(data));
    QCOMPARE(readFile(data + QStringLiteral(".log")), log.isNull() ? "" : "an earlier run\n" + log.toUtf8());
}

QTEST_MAIN(TestDiagnostics)
#include "tst_diagnostics.moc"
