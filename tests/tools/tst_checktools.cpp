#include <QFileInfo>
#include <QRegularExpression>
#include <QTemporaryDir>
#include <QtTest>
#include <memory>

#include "diagnostics/checkertask.h"
#include "diagnostics/diskspeedtask.h"
#include "tests/support/testfiles.h"
#include "tests/tools/toolfixtures.h"

using namespace ToolFixtures;

namespace {

// The application's benchmark job with a short run on a small file, so a test can afford it.
class ShortBenchmark : public DiskSpeedTask
{
public:
    QStringList arguments() override
    {
        return {QStringLiteral("-d2"),  QStringLiteral("-r4b"),
                QStringLiteral("-t4"),  QStringLiteral("-L"),
                QStringLiteral("-b4k"), QStringLiteral("-c16M"),
                QStringLiteral("-Suw"), inputFilename() + QStringLiteral("kartopress_diskspd.dat")};
    }
};

// The figures of the "total:" row under a table's title, pipes removed.
QStringList totalRow(const QString& report, const QString& title)
{
    const int table = report.indexOf(QLatin1Char('\n') + title + QLatin1Char('\n'));
    const QRegularExpressionMatch row =
        QRegularExpression(QStringLiteral("^total:(.*)$"), QRegularExpression::MultilineOption)
            .match(report, std::max(0, table));
    return table < 0 || !row.hasMatch()
        ? QStringList()
        : row.captured(1).remove(QLatin1Char('|')).split(QLatin1Char(' '), Qt::SkipEmptyParts);
}

}  // namespace

// The file checker and the disk benchmark run for real, their output read by the application's jobs.
class TestCheckTools : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase();
    void checker_data();
    void checker();
    void benchmark();
    void benchmarkRefuses_data();
    void benchmarkRefuses();

private:
    QTemporaryDir dir;
};

void TestCheckTools::initTestCase()
{
    useBuiltTools();
}

void TestCheckTools::checker_data()
{
    QTest::addColumn<QString>("file");
    QTest::addColumn<bool>("clean");
    QTest::addColumn<int>("state");
    QTest::addColumn<QStringList>("log");

    // 512 x 512 cells in four 256 x 256 tiles, so four blocks per band.
    const QStringList head{"INPUTS: @",
                           "INFO: Format: JPEG-2000 driver based on OpenJPEG library (JP2OpenJPEG)",
                           "INFO: Size: 512 x 512 cells, 3 band(s) of Byte",
                           "INFO: Blocks: 256 x 256 cells, 4 per band, 12 in all",
                           "INFO: Threads: 1",
                           "STATUS: 0 % done",
                           "STATUS: 25 % done",
                           "STATUS: 50 % done",
                           "STATUS: 75 % done"};
    QTest::newRow("intact") << "intact.jp2" << false << int(TaskState::Succeeded)
                            << head + QStringList{"STATUS: 100 % done", "INFO: 12 block(s) decoded, 0 failed"};
    // The cut takes the end of the last tile in the codestream.
    QTest::newRow("truncated") << "truncated.jp2" << false << int(TaskState::Failed)
                               << head
            + QStringList{"ERROR: band 1 block 1,1: …", "ERROR: band 2 block 1,1: …", "ERROR: band 3 block 1,1: …",
                          "STATUS: 100 % done", "INFO: 12 block(s) decoded, 3 failed"};
    QTest::newRow("WVC") << "city.wvc" << false << int(TaskState::Failed)
                         << QStringList{"INPUTS: @",
                                        "ERROR: @: a WVC file needs the WVC decoder, which this build does not have"};
    QTest::newRow("clean") << "intact.jp2" << true << int(TaskState::Failed)
                           << QStringList{
                                  "ERROR: -clean= is refused: this checker only validates, and repairing a file needs "
                                  "the WVC tools"};
}

void TestCheckTools::checker()
{
    QFETCH(QString, file);
    QFETCH(bool, clean);
    QFETCH(int, state);
    QFETCH(QStringList, log);

    const QString path = dir.filePath(file);
    if (!QFileInfo::exists(dir.filePath(QStringLiteral("intact.jp2")))) {
        writeJpeg2000(dir.filePath(QStringLiteral("intact.jp2")), 512, 256);
        const QByteArray whole = readFile(dir.filePath(QStringLiteral("intact.jp2")));
        writeFile(dir.filePath(QStringLiteral("truncated.jp2")), whole.left(whole.size() - 200));
        writeFile(dir.filePath(QStringLiteral("city.wvc")), whole);
    }
    CheckerTask task;
    task.setInputFilename(path);
    task.setProperty("threads", 1);
    task.setProperty("clean", clean);
    task.run();

    QCOMPARE(task.state(), state);
    QStringList lines =
        QString::fromUtf8(readFile(path + QStringLiteral("-checker.log"))).split(QLatin1Char('\n'), Qt::SkipEmptyParts);
    // The decoder's own words for a damaged tile differ between versions; where they stand does not.
    for (QString& line : lines)
        line.replace(QRegularExpression(QStringLiteral("^(ERROR: band \\d+ block \\d+,\\d+: ).+$")),
                     QStringLiteral("\\1…"));
    for (QString& line : log)
        line.replace(QLatin1Char('@'), path);
    QCOMPARE(lines, log);
}

void TestCheckTools::benchmark()
{
    ShortBenchmark task;
    task.setInputFileName(dir.path() + QLatin1Char('/'));
    task.run();

    QVERIFY2(task.state() == TaskState::Succeeded || task.state() == TaskState::Warning,
             qPrintable(task.outputFilename()));
    const QString report = QString::fromUtf8(readFile(task.logFilename()));
    const QStringList total = totalRow(report, QStringLiteral("Total IO"));
    QCOMPARE(total.size(), 6);
    QCOMPARE(task.outputFilename(),
             QStringLiteral("IOPS: %1, Throughput: %2 MiB/sec, Latency: %3ms").arg(total[3], total[2], total[4]));
    // A read-only test: every I/O is a read of one 4 KiB block.
    QCOMPARE(totalRow(report, QStringLiteral("Read IO")), total);
    QCOMPARE(totalRow(report, QStringLiteral("Write IO")), (QStringList{"0", "0", "0.00", "0.00", "0.000", "0.000"}));
    QCOMPARE(total[0].toLongLong(), total[1].toLongLong() * 4096);
    QVERIFY(total[1].toLongLong() > 0 && total[4].toDouble() > 0.0);
    QVERIFY(std::fabs(total[2].toDouble() - total[3].toDouble() * 4096 / 1048576) <= 0.01 * total[2].toDouble() + 0.01);
    QCOMPARE(QFileInfo(dir.filePath(QStringLiteral("kartopress_diskspd.dat"))).size(), 16 * 1024 * 1024);
}

void TestCheckTools::benchmarkRefuses_data()
{
    QTest::addColumn<QStringList>("arguments");
    QTest::addColumn<bool>("withFio");
    QTest::addColumn<int>("exitCode");
    QTest::addColumn<QString>("message");

    QTest::newRow("unknown option") << QStringList{"-d2", "-Z1M", "@/a.dat"} << true << 2
                                    << "diskspd: the option '-Z1M' is not supported by this diskspd";
    QTest::newRow("bad size") << QStringList{"-d2", "-c16Q", "@/a.dat"} << true << 2
                              << "diskspd: the option '-c16Q' has a value out of range";
    QTest::newRow("no file to read")
        << QStringList{"-d2", "@/none.dat"} << true << 1
        << "diskspd: the test file '@/none.dat' does not exist or is smaller than a block; give "
           "-c<size> to create it";
    QTest::newRow("missing directory")
        << QStringList{"-d2", "-c16M", "@/absent/a.dat"} << true << 1
        << "diskspd: cannot create the test file '@/absent/a.dat': the directory '@/absent' does "
           "not exist or is not writable";
    QTest::newRow("no fio") << QStringList{"-d2", "-c16M", "@/a.dat"} << false << 1
                            << "diskspd: fio was not found on the PATH; install the fio package";
    QTest::newRow("fio fails") << QStringList{"-d2", "-b1000", "-c16M", "-Su", "@/a.dat"} << true << 1
                               << "diskspd: fio failed";
}

void TestCheckTools::benchmarkRefuses()
{
    QFETCH(QStringList, arguments);
    QFETCH(bool, withFio);
    QFETCH(int, exitCode);
    QFETCH(QString, message);

    for (QString& argument : arguments)
        argument.replace(QLatin1Char('@'), dir.path());
    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    if (!withFio)
        environment.insert(QStringLiteral("PATH"), dir.path());
    const ToolRun run = runTool(QStringLiteral("diskspd"), arguments, environment);
    QCOMPARE(run.exitCode, exitCode);
    QCOMPARE(run.out, QByteArray());
    // Past the usage and progress notes, the first line says why; fio's own complaint may follow.
    QStringList lines = QString::fromLocal8Bit(run.err).split(QLatin1Char('\n'), Qt::SkipEmptyParts);
    lines.erase(
        std::remove_if(
            lines.begin(), lines.end(),
            [](const QString& line) {
                return QRegularExpression(QStringLiteral("^diskspd: (usage|warming|running):?")).match(line).hasMatch();
            }),
        lines.end());
    const QString reason = lines.value(0);
    QVERIFY2(reason.startsWith(message.replace(QLatin1Char('@'), dir.path())), qPrintable(run.err));
}

QTEST_MAIN(TestCheckTools)
#include "tst_checktools.moc"
