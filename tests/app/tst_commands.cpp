#include <QAction>
#include <QTableWidget>
#include <QTemporaryDir>
#include <QThreadPool>
#include <QtTest>

#include "app/kartopress.h"
#include "core/settings.h"
#include "tests/support/faketool.h"
#include "tests/support/modalanswerer.h"
#include "tests/support/settingssandbox.h"

class TestCommands : public QObject
{
    Q_OBJECT

private slots:
    void init();
    void cleanup();
    void fileCheckFromTheDialog();
    void fileCheckCancelled();
    void fileCheckFromDroppedFiles();
    void benchmarkDirectoryCrossesSettings();
    void benchmarkRefusesUnwritableDirectory();
    void benchmarkRowShowsSummaryAndWarning();
    void diagnosticsNeedTheirTools();

private:
    QTableWidget* table() const { return window->findChild<QTableWidget*>(QStringLiteral("NAME_TASK_INPUT_LIST")); }
    QAction* action(const char* name) const { return window->findChild<QAction*>(QLatin1String(name)); }

    std::unique_ptr<SettingsSandbox> sandbox;
    std::unique_ptr<FakeTool> tools;
    std::unique_ptr<QTemporaryDir> data;
    std::unique_ptr<Kartopress> window;
};

void TestCommands::init()
{
    sandbox = std::make_unique<SettingsSandbox>();
    tools = std::make_unique<FakeTool>();
    tools->install(QStringLiteral("WVCCheck"));
    tools->install(QStringLiteral("diskspd"));
    data = std::make_unique<QTemporaryDir>();
    Kartopress::systemTrayAvailable = [] { return false; };
    window = std::make_unique<Kartopress>();
}

void TestCommands::cleanup()
{
    QThreadPool::globalInstance()->waitForDone();
    window.reset();
    data.reset();
    tools.reset();
    sandbox.reset();
}

void TestCommands::fileCheckFromTheDialog()
{
    QStringList files;
    for (const char* name : {"b.wvc", "a.jp2"}) {
        files.append(data->filePath(QLatin1String(name)));
        QFile(files.last()).open(QIODevice::WriteOnly);
    }
    ModalAnswerer answerer({ModalAnswerer::files(files)});
    action("actionWvcCheck")->trigger();

    QVERIFY2(answerer.done(), qPrintable(answerer.report()));
    QCOMPARE(answerer.seen().first().title, QStringLiteral("Select an WVC or JPEG 2000 file"));
    QCOMPARE(table()->rowCount(), 2);
    QCOMPARE(table()->item(0, 0)->text(), QStringLiteral("b.wvc"));
    QCOMPARE(table()->item(1, 2)->text(), QStringLiteral("Validate"));
    QCOMPARE(createSettings()->value(QStringLiteral("GUI/CheckerLastDir")).toString(), files.first());

    answerer.expect(ModalAnswerer::button(QMessageBox::Ok));
    window->start();
    QTRY_VERIFY2(answerer.done(), qPrintable(answerer.report()));
    QCOMPARE(table()->item(1, 3)->text(), QStringLiteral("Succeeded"));
    QCOMPARE(tools->invocations(QStringLiteral("WVCCheck")).at(1).arguments, QStringList{files.last()});
    QVERIFY(QFile::exists(files.last() + QStringLiteral("-checker.log")));
}

void TestCommands::fileCheckCancelled()
{
    ModalAnswerer answerer({ModalAnswerer::reject()});
    action("actionWvcCheck")->trigger();
    QVERIFY2(answerer.done(), qPrintable(answerer.report()));
    QCOMPARE(table()->rowCount(), 0);
    QVERIFY(!createSettings()->contains(QStringLiteral("GUI/CheckerLastDir")));
}

void TestCommands::fileCheckFromDroppedFiles()
{
    QDir::setCurrent(data->path());
    window->newCheckTaskWithFiles({QUrl::fromLocalFile(QStringLiteral("relative.wvc"))});
    QCOMPARE(table()->rowCount(), 1);
    QCOMPARE(table()->item(0, 0)->text(), QStringLiteral("relative.wvc"));
    QVERIFY(createSettings()->allKeys().isEmpty());
}

void TestCommands::benchmarkDirectoryCrossesSettings()
{
    createSettings()->setValue(QStringLiteral("GUI/CheckerLastDir"), QStringLiteral("/elsewhere/file.wvc"));
    const QString directory = data->filePath(QStringLiteral("fast disk"));
    QDir().mkpath(directory);
    ModalAnswerer answerer({ModalAnswerer::files({directory})});
    action("actionDiskSpeed")->trigger();

    QVERIFY2(answerer.done(), qPrintable(answerer.report()));
    QCOMPARE(answerer.seen().first().title, QStringLiteral("Select directory to benchmark and log to. Write permission required."));
    QCOMPARE(table()->rowCount(), 1);
    QCOMPARE(table()->item(0, 0)->text(), directory + QLatin1Char('/'));
    QCOMPARE(table()->item(0, 2)->text(), QStringLiteral("Benchmark"));
    QCOMPARE(createSettings()->value(QStringLiteral("GUI/CheckerLastDir")).toString(), directory);
    QVERIFY(!createSettings()->contains(QStringLiteral("GUI/DiskSpdLastDir")));
    // The write test leaves nothing behind.
    QCOMPARE(QDir(directory).entryList(QDir::Files), QStringList());
}

void TestCommands::benchmarkRefusesUnwritableDirectory()
{
    // Running as root, permissions do not refuse a write; a file system that takes no files does.
    ModalAnswerer answerer({ModalAnswerer::files({QStringLiteral("/proc")}), ModalAnswerer::button(QMessageBox::Ok)});
    action("actionDiskSpeed")->trigger();
    QVERIFY2(answerer.done(), qPrintable(answerer.report()));
    QCOMPARE(answerer.seen().last().title, QStringLiteral("Error"));
    QCOMPARE(answerer.seen().last().text, QStringLiteral("Disk benchmarking requires write permission to the selected "
                                                         "directory.\nPlease select another directory."));
    QCOMPARE(table()->rowCount(), 0);
    QVERIFY(!createSettings()->contains(QStringLiteral("GUI/CheckerLastDir")));
}

void TestCommands::benchmarkRowShowsSummaryAndWarning()
{
    tools->setScript(QStringLiteral("diskspd"), {"out total: 1 | 2 | 1.50 | 300.00 | 80.000 | 0.1\\r\\n"});
    ModalAnswerer answerer({ModalAnswerer::files({data->path()}), ModalAnswerer::button(QMessageBox::Ok)});
    action("actionDiskSpeed")->trigger();
    window->start();
    QTRY_VERIFY2(answerer.done(), qPrintable(answerer.report()));

    QCOMPARE(table()->item(0, 3)->text(), QStringLiteral("Warning"));
    QCOMPARE(table()->item(0, 3)->toolTip(),
             QStringLiteral("Slow disk IO detected. Please refer to user guide.\nSee log for technical details."));
    QCOMPARE(table()->item(0, 1)->text(), QStringLiteral("IOPS: 300.00, Throughput: 1.50 MiB/sec, Latency: 80.000ms"));
    QVERIFY(!table()->indexWidget(table()->model()->index(0, 5)));
    QCOMPARE(answerer.seen().last().text, QStringLiteral("All tasks finished successfully."));
}

void TestCommands::diagnosticsNeedTheirTools()
{
    tools = std::make_unique<FakeTool>();  // no tools at all
    window = std::make_unique<Kartopress>();
    for (const char* name : {"actionWvcCheck", "actionDiskSpeed"}) {
        QVERIFY(!action(name)->isEnabled());
        QCOMPARE(action(name)->toolTip(), QStringLiteral("Kartopress Utilities not installed."));
    }
}

QTEST_MAIN(TestCommands)
#include "tst_commands.moc"
