#include <QAction>
#include <QTableWidget>
#include <QTemporaryDir>
#include <QThreadPool>
#include <QtTest>
#include <memory>

#include "app/kartopress.h"
#include "compression/compressiontask.h"
#include "tests/support/faketool.h"
#include "tests/support/modalanswerer.h"
#include "tests/support/settingssandbox.h"
#include "tests/support/testfiles.h"

// A compression job through the real window and queue, with the fake tool standing in for the
// compressor.
class TestCompressionQueue : public QObject
{
    Q_OBJECT

private slots:
    void init()
    {
        sandbox = std::make_unique<SettingsSandbox>(), tools = std::make_unique<FakeTool>(),
        data = std::make_unique<QTemporaryDir>();
        tools->install(QStringLiteral("ImageCompressor"));
        Kartopress::systemTrayAvailable = [] { return false; };
        window = std::make_unique<Kartopress>();
    }
    void cleanup()
    {
        // In this order: the tool directory's variable is restored as it was before this test.
        QThreadPool::globalInstance()->waitForDone();
        window.reset(), data.reset(), tools.reset(), sandbox.reset();
    }
    void runsTheCompressor_data();
    void runsTheCompressor();
    void loadProject_data();
    void loadProject();

private:
    QStringList rows() const
    {
        const auto* table = window->findChild<QTableWidget*>(QStringLiteral("NAME_TASK_INPUT_LIST"));
        QStringList rows;
        for (int row = 0; row < table->rowCount(); ++row)
            rows.append(QStringList({table->item(row, 0)->text(), table->item(row, 1)->text(),
                                     table->item(row, 2)->text(), table->item(row, 3)->text()})
                            .join(QLatin1Char('|')));
        return rows;
    }
    QString path(const char* name) const { return data->filePath(QLatin1String(name)); }

    std::unique_ptr<SettingsSandbox> sandbox;
    std::unique_ptr<FakeTool> tools;
    std::unique_ptr<QTemporaryDir> data;
    std::unique_ptr<Kartopress> window;
};

void TestCompressionQueue::runsTheCompressor_data()
{
    QTest::addColumn<QString>("ending");
    QTest::addColumn<uint>("cache");
    QTest::addColumn<QStringList>("closing");  // the last messages and the row

    QTest::newRow("exit 0") << "exit 0" << 256u
                            << QStringList{"Finished compressing 'city.wvc'. | 100",
                                           "city.xml|city.wvc|Compress|Succeeded"};
    // Without a cache size the tool sees the environment as the system has it.
    QTest::newRow("a crash, no cache size")
        << "crash" << 0u
        << QStringList{"Compressor exited with an error. See log file for details. | 0",
                       "Finished compressing 'city.wvc'. | 100", "city.xml|city.wvc|Compress|Failed"};
}

void TestCompressionQueue::runsTheCompressor()
{
    QFETCH(QString, ending);
    QFETCH(uint, cache);
    QFETCH(QStringList, closing);
    tools->setScript(QStringLiteral("ImageCompressor"),
                     {"out Validating input: ... File 1 of 2\\r\\n", "err a complaint\\n",
                      "out Encoding [50.00% ... E: 00:03:10]\\r", "out Calculating Stats: [100.00%]\\n", ending});
    auto* task = new CompressionTask;
    task->setFiles({path("north.tif"), path("south.tif")}), task->setOutputFilename(path("city.wvc")),
        task->setGDalCache(cache);
    // Queued to this thread, in the order the worker sent them.
    QStringList messages;
    connect(task, &CompressionTask::progress, this, [&messages](quint32, const QString& message, quint8 value) {
        messages.append(message + QStringLiteral(" | %1").arg(value));
    });
    window->addTasks({task});
    QCOMPARE(rows(), QStringList{"city.xml|city.wvc|Compress|Pending"});

    ModalAnswerer answerer({ModalAnswerer::button(QMessageBox::Ok)});
    window->start();
    QTRY_VERIFY2(answerer.done(), qPrintable(answerer.report()));
    const QList<FakeTool::Invocation> runs = tools->invocations(QStringLiteral("ImageCompressor"));
    QCOMPARE(runs.size() == 1
                 ? runs.first().arguments + QStringList{runs.first().environment.value("GDAL_CACHEMAX", "unset")}
                 : QStringList(),
             QStringList({"-xml", path("city.xml"),
                          cache ? QString::number(cache) : qEnvironmentVariable("GDAL_CACHEMAX", "unset")}));
    QTRY_COMPARE(messages + rows(),
                 QStringList({"Starting compression of file 'north.tif' | 0", "Validating input ... | 50",
                              "Compressing file 'city.wvc'    Completion estimate: 3 minutes  | 50",
                              "Finished calculating statistics on file 'city.wvc'. | 100"})
                     + closing);
    QCOMPARE(task->standardErrorText(), QStringLiteral("a complaint\n"));
}

void TestCompressionQueue::loadProject_data()
{
    QTest::addColumn<QByteArray>("content");
    QTest::addColumn<QStringList>("expected");  // the last modal window, the table and the window
    QTest::newRow("a saved job")
        << QByteArray(R"(<imagecompressor version="1.2"><compresstask operation="update"><inputs><file
        path="/in/only.tif"/></inputs><output version="2" path="/out/merged.wvc"/></compresstask></imagecompressor>)")
        << QStringList{"Load Compression Task", "", "", "", "only.tif|merged.wvc|Compress|Pending", "shown"};
    // The reader's message, as it stands, in a box of the window's own.
    QTest::newRow("a malformed document")
        << QByteArray("<imagecompressor version=\"1.2\">\n<compresstask>")
        << QStringList{"Kartopress", "unexpected end of file at line 2 and colum 15.", "OK", "warning", "hidden"};
}

void TestCompressionQueue::loadProject()
{
    QFETCH(QByteArray, content);
    QFETCH(QStringList, expected);
    QTRY_VERIFY(window->findChild<QAction*>(QStringLiteral("actionLoadXml"))->isEnabled());
    writeFile(path("project.xml"), content);
    window->hide();
    ModalAnswerer answerer({ModalAnswerer::files({path("project.xml")})});
    if (expected.last() == QLatin1String("hidden"))
        answerer.expect(ModalAnswerer::button(QMessageBox::Ok));
    window->findChild<QAction*>(QStringLiteral("actionLoadXml"))->trigger();
    QVERIFY2(answerer.done(), qPrintable(answerer.report()));
    const ModalRecord last = answerer.seen().last();
    QCOMPARE(
        QStringList({last.title, last.text, last.buttons.join(','), last.icon == QMessageBox::Warning ? "warning" : ""})
            + rows() + QStringList{window->isVisible() ? "shown" : "hidden"},
        expected);
}

QTEST_MAIN(TestCompressionQueue)
#include "tst_compressionqueue.moc"
