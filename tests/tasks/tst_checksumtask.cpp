#include <QCryptographicHash>
#include <QSignalSpy>
#include <QTemporaryDir>
#include <QtTest>

#include "tasks/checksumtask.h"
#include "tasks/digest.h"
#include "tests/support/desktopcapture.h"
#include "tests/support/testfiles.h"
#include "tests/support/modalanswerer.h"

namespace {

QByteArray patterned(qint64 size)
{
    QByteArray data(int(size), Qt::Uninitialized);
    for (int i = 0; i < data.size(); ++i)
        data[i] = char((i * 31 + i / 7) & 0xff);
    return data;
}

QString writeFile(const QTemporaryDir& dir, const QString& name, const QByteArray& data)
{
    const QString path = dir.filePath(name);
    ::writeFile(path, data);
    return path;
}

struct Spies {
    explicit Spies(ChecksumTask* task)
        : progress(task, &ChecksumTask::progress)
        , failed(task, &ChecksumTask::failed)
        , failedToStart(task, &ChecksumTask::failedtostart)
        , finished(task, &ChecksumTask::finished)
    {
    }
    QSignalSpy progress;
    QSignalSpy failed;
    QSignalSpy failedToStart;
    QSignalSpy finished;
};

}  // namespace

class TestChecksumTask : public QObject
{
    Q_OBJECT

private slots:
    void writesChecksumLine_data();
    void writesChecksumLine();
    void otherAlgorithmIsHonoured();
    void digestAgreesWithQt_data();
    void digestAgreesWithQt();
    void inputThatCannotBeOpened_data();
    void inputThatCannotBeOpened();
    void outputThatCannotBeWritten();
    void abortDuringHashing();
    void openChecksumAction();
};

void TestChecksumTask::writesChecksumLine_data()
{
    QTest::addColumn<qint64>("size");
    QTest::addColumn<quint32>("bufferSize");
    QTest::addColumn<int>("reads");

    QTest::newRow("empty") << qint64(0) << 16384u << 0;
    QTest::newRow("one buffer") << qint64(16384) << 16384u << 1;
    QTest::newRow("several buffers") << qint64(3 * 16384 + 5) << 16384u << 4;
    QTest::newRow("zero buffer size takes the default") << qint64(3 * 16384 + 5) << 0u << 4;
    QTest::newRow("buffer size beyond an int") << qint64(100) << 0xffffffffu << 1;
}

void TestChecksumTask::writesChecksumLine()
{
    QFETCH(qint64, size);
    QFETCH(quint32, bufferSize);
    QFETCH(int, reads);
    QTemporaryDir dir;
    const QByteArray data = patterned(size);
    const QString input = writeFile(dir, QStringLiteral("tile 01.wvc"), data);
    const QString output = input + QStringLiteral(".md5");
    writeFile(dir, QStringLiteral("tile 01.wvc.md5"), QByteArray(200, 'z'));  // an old, longer file

    ChecksumTask task;
    task.setInputFilename(input);
    task.setOutputFilename(output);
    task.setId(3);
    task.setBufferSize(bufferSize);
    Spies spies(&task);
    task.run();

    const QByteArray digest = QCryptographicHash::hash(data, QCryptographicHash::Md5).toHex().toUpper();
    QCOMPARE(readFile(output), digest + " *tile 01.wvc");
    QCOMPARE(task.state(), int(TaskState::Succeeded));
    // The first message, one per read, and the closing one.
    QCOMPARE(spies.progress.count(), reads + 2);
    QCOMPARE(spies.progress.first().at(1).toString(), QStringLiteral("Calculating checksum for 'tile 01.wvc'"));
    if (reads > 0)
        QCOMPARE(spies.progress.at(reads).at(2).toInt(), 100);
    QCOMPARE(spies.progress.last().at(1).toString(), QStringLiteral("Finished calculating checksum"));
    QCOMPARE(spies.finished.count(), 2);
    QCOMPARE(spies.finished.first().first().toUInt(), 3u);
    QCOMPARE(spies.failed.count(), 0);
}

void TestChecksumTask::otherAlgorithmIsHonoured()
{
    QTemporaryDir dir;
    const QString input = writeFile(dir, QStringLiteral("a.jp2"), "abc");
    ChecksumTask task;
    task.setProperty("inputFilename", input);
    task.setProperty("outputFilename", dir.filePath(QStringLiteral("a.sum")));
    task.setProperty("algorithm", QVariant::fromValue(QCryptographicHash::Sha1));
    task.run();
    QCOMPARE(readFile(dir.filePath(QStringLiteral("a.sum"))), QByteArray("A9993E364706816ABA3E25717850C26C9CD0D89D *a.jp2"));
}

void TestChecksumTask::digestAgreesWithQt_data()
{
    QTest::addColumn<QCryptographicHash::Algorithm>("algorithm");
    const QMetaEnum algorithms = QMetaEnum::fromType<QCryptographicHash::Algorithm>();
    for (int i = 0; i < algorithms.keyCount(); ++i)
        QTest::newRow(algorithms.key(i)) << QCryptographicHash::Algorithm(algorithms.value(i));
}

void TestChecksumTask::digestAgreesWithQt()
{
    QFETCH(QCryptographicHash::Algorithm, algorithm);
    const QByteArray data = patterned(100000);
    Digest digest(algorithm);
    digest.addData(data.constData(), 12345);
    digest.addData(data.constData() + 12345, data.size() - 12345);
    QCOMPARE(digest.result().toHex(), QCryptographicHash::hash(data, algorithm).toHex());
}

void TestChecksumTask::inputThatCannotBeOpened_data()
{
    QTest::addColumn<QString>("name");
    QTest::newRow("missing") << QStringLiteral("vanished.wvc");
    QTest::newRow("directory") << QStringLiteral("folder.wvc");
}

void TestChecksumTask::inputThatCannotBeOpened()
{
    QFETCH(QString, name);
    QTemporaryDir dir;
    QDir(dir.path()).mkdir(QStringLiteral("folder.wvc"));
    ChecksumTask task;
    task.setInputFilename(dir.filePath(name));
    task.setOutputFilename(dir.filePath(name) + QStringLiteral(".md5"));
    Spies spies(&task);
    task.run();

    QCOMPARE(task.state(), int(TaskState::Failed));
    QCOMPARE(spies.progress.count(), 1);
    QCOMPARE(spies.progress.first().at(1).toString(), QStringLiteral("Could not open file '%1'.").arg(name));
    QCOMPARE(spies.progress.first().at(2).toInt(), 0);
    QCOMPARE(spies.failedToStart.count(), 1);
    QCOMPARE(spies.failed.count(), 0);
    QCOMPARE(spies.finished.count(), 1);
    QVERIFY(!QFile::exists(dir.filePath(name) + QStringLiteral(".md5")));
}

void TestChecksumTask::outputThatCannotBeWritten()
{
    QTemporaryDir dir;
    const QString input = writeFile(dir, QStringLiteral("b.wvc"), "data");
    // Running as root, permissions do not stop a write; a directory that does not exist does.
    const QString output = dir.filePath(QStringLiteral("no such folder/b.wvc.md5"));
    ChecksumTask task;
    task.setInputFilename(input);
    task.setOutputFilename(output);
    Spies spies(&task);
    task.run();

    QCOMPARE(task.state(), int(TaskState::Failed));
    QCOMPARE(spies.progress.last().at(1).toString(), QStringLiteral("Could not open checksum file for write '%1'.").arg(output));
    QCOMPARE(spies.progress.last().at(2).toInt(), 100);
    QCOMPARE(spies.failed.count(), 1);
    QCOMPARE(spies.failed.first().at(1).toInt(), 1);
    QCOMPARE(spies.finished.count(), 1);
}

void TestChecksumTask::abortDuringHashing()
{
    QTemporaryDir dir;
    // Large enough for several read blocks, so that the abort lands in the middle of the file.
    const int buffers = 256;
    const QString input = writeFile(dir, QStringLiteral("big.wvc"), patterned(buffers * 16384));
    ChecksumTask task;
    task.setInputFilename(input);
    task.setOutputFilename(input + QStringLiteral(".md5"));
    Spies spies(&task);
    // Aborted when the first figure of the hashing arrives, as a person watching the window would.
    connect(&task, &ChecksumTask::progress, &task, [&task, &spies] {
        if (spies.progress.count() == 2)
            task.abort();
    });
    task.run();

    QCOMPARE(task.state(), int(TaskState::Failed));
    // The buffers already hashed are all reported, and the loop stopped long before the end.
    const int hashing = spies.progress.count() - 2;
    QVERIFY2(hashing > 0 && hashing < buffers / 2, qPrintable(QString::number(hashing)));
    for (int i = 1; i <= hashing; ++i)
        QCOMPARE(spies.progress.at(i).at(2).toInt(), int(i * 100 / buffers));
    QCOMPARE(spies.progress.last().at(1).toString(), QStringLiteral("Checksum calculation aborted for file 'big.wvc'."));
    QCOMPARE(spies.progress.last().at(2).toInt(), 100);
    QCOMPARE(spies.failed.count(), 1);
    QCOMPARE(spies.finished.count(), 1);
    QVERIFY(!QFile::exists(input + QStringLiteral(".md5")));
}

void TestChecksumTask::openChecksumAction()
{
    ChecksumTask task;
    task.setOutputFilename(QStringLiteral("/data/x.wvc.md5"));
    QCOMPARE(task.viewAction()->text(), QStringLiteral("Open Checksum"));
    QVERIFY(task.logFilename().isNull());
    {
        DesktopCapture desktop;
        task.viewAction()->trigger();
        QCOMPARE(desktop.urls, QList<QUrl>{QUrl::fromLocalFile(QStringLiteral("/data/x.wvc.md5"))});
    }
    ModalAnswerer answerer({ModalAnswerer::button(QMessageBox::Ok)});
    task.viewAction()->trigger();
    QVERIFY2(answerer.done(), qPrintable(answerer.report()));
    QCOMPARE(answerer.seen().first().text, QStringLiteral("Could not find default application to compare md5 checksums."));
    QCOMPARE(answerer.seen().first().title, QStringLiteral("Error"));
}

QTEST_MAIN(TestChecksumTask)
#include "tst_checksumtask.moc"
