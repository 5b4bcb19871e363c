#include <QAction>
#include <QTableWidget>
#include <QTemporaryDir>
#include <QThreadPool>
#include <QtTest>
#include <memory>

#include "app/kartopress.h"
#include "compression/compressiontask.h"
#include "tests/support/testfiles.h"
#include "tests/support/faketool.h"
#include "tests/support/modalanswerer.h"
#include "tests/support/settingssandbox.h"

namespace {

bool withoutTray()
{
    return false;
}

const QString tool = QStringLiteral("ImageCompressor");

}  // namespace

// A compression job through the real window and queue, with the fake tool standing in for the
// compressor.
class TestCompressionQueue : public QObject
{
    Q_OBJECT

private slots:
    void init();
    void cleanup();
    void runsTheCompressor_data();
    void runsTheCompressor();
    void loadedProjectRunsItsDocument();
    void loadProjectRefusesBadDocuments_data();
    void loadProjectRefusesBadDocuments();
    void loadProjectCancelled();

private:
    QTableWidget* table() const { return window->findChild<QTableWidget*>(QStringLiteral("NAME_TASK_INPUT_LIST")); }
    QString cell(int row, int column) const
    {
        QTableWidgetItem* item = table()->item(row, column);
        return item ? item->text() : QString();
    }
    QAction* loadAction() const { return window->findChild<QAction*>(QStringLiteral("actionLoadXml")); }
    void collect(CompressionTask* task);

    std::unique_ptr<SettingsSandbox> sandbox;
    std::unique_ptr<FakeTool> tools;
    std::unique_ptr<QTemporaryDir> data;
    std::unique_ptr<Kartopress> window;
    QStringList messages;
    int finishedCount = 0;
};

void TestCompressionQueue::init()
{
    sandbox = std::make_unique<SettingsSandbox>();
    tools = std::make_unique<FakeTool>();
    tools->install(tool);
    data = std::make_unique<QTemporaryDir>();
    Kartopress::systemTrayAvailable = &withoutTray;
    window = std::make_unique<Kartopress>();
    messages.clear();
    finishedCount = 0;
}

void TestCompressionQueue::cleanup()
{
    QThreadPool::globalInstance()->waitForDone();
    window.reset();
    data.reset();
    tools.reset();
    sandbox.reset();
}

void TestCompressionQueue::collect(CompressionTask* task)
{
    // Queued to this thread, in the order the worker sent them.
    connect(task, &CompressionTask::progress, this,
            [this](quint32, const QString& message, quint8 value) { messages.append(message + QStringLiteral(" | %1").arg(value)); });
    connect(task, &CompressionTask::finished, this, [this] { ++finishedCount; });
}

void TestCompressionQueue::runsTheCompressor_data()
{
    QTest::addColumn<QString>("ending");
    QTest::addColumn<QString>("status");
    QTest::addColumn<QStringList>("closing");

    const QString finished = QStringLiteral("Finished compressing 'city.wvc'. | 100");
    const QString failed = QStringLiteral("Compressor exited with an error. See log file for details. | 0");
    QTest::newRow("exit 0") << "exit 0" << "Succeeded" << QStringList{finished};
    QTest::newRow("exit 1") << "exit 1" << "Failed" << QStringList{failed, finished};
    QTest::newRow("crash") << "crash" << "Failed" << QStringList{failed, finished};
}

void TestCompressionQueue::runsTheCompressor()
{
    QFETCH(QString, ending);
    QFETCH(QString, status);
    QFETCH(QStringList, closing);

    tools->setScript(tool, {"out Validating input: ... File 1 of 2\\r\\n",
                            "err a complaint that changes nothing\\n",
                            "out Creating grid geometry for city in progress: ...\\n",
                            "out Encoding [50.00% ... E: 00:03:10]\\r",
                            "out WARNING: something odd\\n",
                            "out Encoding [100.00% ... E: 00:00:00]\\n",
                            "out Calculating Stats: [100.00%]\\n",
                            ending});
    auto* task = new CompressionTask;
    task->setFiles({data->filePath(QStringLiteral("north.tif")), data->filePath(QStringLiteral("south.tif"))});
    task->setOutputFilename(data->filePath(QStringLiteral("city.wvc")));
    task->setFormat(QStringLiteral("WVC v3"));
    task->setMethod(QStringLiteral("Tile"));
    task->setThreads(2);
    task->setGDalCache(256);
    collect(task);
    window->addTasks({task});
    const QString document = data->filePath(QStringLiteral("city.xml"));
    QCOMPARE(cell(0, 0), QStringLiteral("city.xml"));
    QCOMPARE(cell(0, 2), QStringLiteral("Compress"));

    ModalAnswerer answerer({ModalAnswerer::button(QMessageBox::Ok)});
    window->start();
    QTRY_COMPARE(finishedCount, 1);
    QTRY_COMPARE(cell(0, 3), status);
    QTRY_VERIFY2(answerer.done(), qPrintable(answerer.report()));

    const QList<FakeTool::Invocation> runs = tools->invocations(tool);
    QCOMPARE(runs.size(), 1);
    QCOMPARE(runs.first().arguments, (QStringList{QStringLiteral("-xml"), document}));
    QCOMPARE(runs.first().environment.value(QStringLiteral("GDAL_CACHEMAX")), QStringLiteral("256"));
    const QByteArray written = readFile(document);
    QVERIFY(written.contains("<file path=\"" + QFile::encodeName(data->filePath(QStringLiteral("north.tif"))) + "\" zindex=\"1\"/>"));
    QVERIFY(written.contains("method=\"tile\" threads=\"2\""));

    const QStringList expected = QStringList{"Starting compression of file 'north.tif' | 0", "Validating input ... | 50",
                                             "Creating grid geometry in progress: ... | 0",
                                             "Compressing file 'city.wvc'    Completion estimate: 3 minutes  | 50",
                                             "Finished compressing 'city.wvc'. | 100",
                                             "Finished calculating statistics on file 'city.wvc'. | 100"}
                                 + closing;
    QCOMPARE(messages, expected);
    QVERIFY(task->standardErrorText().contains(QLatin1String("a complaint")));
}

void TestCompressionQueue::loadedProjectRunsItsDocument()
{
    QTRY_VERIFY(loadAction()->isEnabled());
    const QString document = data->filePath(QStringLiteral("project.xml"));
    const QByteArray content = "<imagecompressor version=\"1.2\"><compresstask operation=\"update\" threads=\"9\">"
                               "<inputs><file path=\"/in/only.tif\"/></inputs><output version=\"2\" path=\"/out/merged.wvc\"/>"
                               "</compresstask></imagecompressor>";
    writeFile(document, content);
    window->hide();

    ModalAnswerer answerer({ModalAnswerer::files({document})});
    loadAction()->trigger();
    QVERIFY2(answerer.done(), qPrintable(answerer.report()));
    QCOMPARE(answerer.seen().first().title, QStringLiteral("Load Compression Task"));
    QCOMPARE(table()->rowCount(), 1);
    QCOMPARE(cell(0, 0), QStringLiteral("only.tif"));
    QCOMPARE(cell(0, 1), QStringLiteral("merged.wvc"));
    QCOMPARE(cell(0, 3), QStringLiteral("Pending"));
    QVERIFY(window->isVisible());

    tools->setScript(tool, {"out [40.00% E: 00:00:05]\\n", "exit 0"});
    ModalAnswerer endOfRun({ModalAnswerer::button(QMessageBox::Ok)});
    window->start();
    QTRY_COMPARE(cell(0, 3), QStringLiteral("Succeeded"));
    QTRY_VERIFY2(endOfRun.done(), qPrintable(endOfRun.report()));
    QCOMPARE(tools->invocations(tool).first().arguments, (QStringList{QStringLiteral("-xml"), document}));
    // No cache size given: the tool sees the environment as the system has it.
    QCOMPARE(tools->invocations(tool).first().environment.contains(QStringLiteral("GDAL_CACHEMAX")),
             QProcessEnvironment::systemEnvironment().contains(QStringLiteral("GDAL_CACHEMAX")));
    QCOMPARE(readFile(document), content);
}

void TestCompressionQueue::loadProjectRefusesBadDocuments_data()
{
    QTest::addColumn<QByteArray>("content");
    QTest::addColumn<QString>("message");
    QTest::newRow("malformed") << QByteArray("<imagecompressor version=\"1.2\">\n<compresstask>") << "unexpected end of file at line 2 and colum 15.";
    QTest::newRow("wrong version") << QByteArray("<imagecompressor version=\"2.0\"/>")
                                   << "<imagecompressor> version attribute must be \"1.2\" or \"1.1\".";
    QTest::newRow("no compresstask") << QByteArray("<imagecompressor version=\"1.2\"/>") << "Xml document has no <compresstask> element.";
}

void TestCompressionQueue::loadProjectRefusesBadDocuments()
{
    QFETCH(QByteArray, content);
    QFETCH(QString, message);
    QTRY_VERIFY(loadAction()->isEnabled());
    const QString document = data->filePath(QStringLiteral("bad.xml"));
    writeFile(document, content);

    ModalAnswerer answerer({ModalAnswerer::files({document}), ModalAnswerer::button(QMessageBox::Ok)});
    loadAction()->trigger();
    QVERIFY2(answerer.done(), qPrintable(answerer.report()));
    const ModalRecord warning = answerer.seen().at(1);
    QCOMPARE(warning.title, QStringLiteral("Kartopress"));
    QCOMPARE(warning.text, message);
    QCOMPARE(warning.icon, QMessageBox::Warning);
    QCOMPARE(warning.buttons, QStringList{"OK"});
    QCOMPARE(table()->rowCount(), 0);
}

void TestCompressionQueue::loadProjectCancelled()
{
    QTRY_VERIFY(loadAction()->isEnabled());
    ModalAnswerer answerer({ModalAnswerer::reject()});
    window->hide();
    loadAction()->trigger();
    QVERIFY2(answerer.done(), qPrintable(answerer.report()));
    QCOMPARE(table()->rowCount(), 0);
    QVERIFY(!window->isVisible());
}

QTEST_MAIN(TestCompressionQueue)
#include "tst_compressionqueue.moc"
