#include <QAction>
#include <QMimeData>
#include <QTableWidget>
#include <QTemporaryDir>
#include <QThreadPool>
#include <QToolButton>
#include <QtTest>

#include "app/kartopress.h"
#include "core/settings.h"
#include "tests/support/desktopcapture.h"
#include "tests/support/faketool.h"
#include "tests/support/modalanswerer.h"
#include "tests/support/settingssandbox.h"
#include "tests/support/testfiles.h"

class TestCommands : public QObject
{
    Q_OBJECT

private slots:
    void init();
    void cleanup();
    void jobsFromTheFileDialogs_data();
    void jobsFromTheFileDialogs();
    void dialogsCancelledOrRefused_data();
    void dialogsCancelledOrRefused();
    void fileCheckFromDroppedFiles();
    void filesDropped_data();
    void filesDropped();
    void benchmarkRowShowsSummaryAndWarning();

private:
    QTableWidget* table() const { return window->findChild<QTableWidget*>(QStringLiteral("NAME_TASK_INPUT_LIST")); }
    QAction* action(const char* name) const { return window->findChild<QAction*>(QLatin1String(name)); }
    // Every row as "input | output | task | status".
    QStringList rows() const;
    QString lastDirectory() const { return createSettings()->value(QStringLiteral("GUI/CheckerLastDir")).toString(); }

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

QStringList TestCommands::rows() const
{
    QStringList all;
    for (int row = 0; row < table()->rowCount(); ++row) {
        QStringList cells;
        for (int column = 0; column < 4; ++column)
            cells.append(table()->item(row, column) ? table()->item(row, column)->text() : QString());
        all.append(cells.join(QStringLiteral(" | ")));
    }
    return all;
}

void TestCommands::jobsFromTheFileDialogs_data()
{
    QTest::addColumn<QString>("command");
    QTest::addColumn<QStringList>("chosen");  // names inside the data directory; "." is the directory
    QTest::addColumn<QString>("title");
    QTest::addColumn<QStringList>("rowsAfterRun");  // %1 is the data directory

    QTest::newRow("file check") << "actionWvcCheck" << QStringList{"b.wvc", "a.jp2"}
                                << "Select an WVC or JPEG 2000 file"
                                << QStringList{"b.wvc |  | Validate | Succeeded", "a.jp2 |  | Validate | Succeeded"};
    QTest::newRow("checksum") << "actionChecksum" << QStringList{"one.wvc", "two.jp2"}
                              << "Select files to calculate checksums"
                              << QStringList{"one.wvc | one.wvc.md5 | Hash | Succeeded",
                                             "two.jp2 | two.jp2.md5 | Hash | Succeeded"};
    // The benchmark's result text takes the output column once it has run.
    QTest::newRow("benchmark") << "actionDiskSpeed" << QStringList{"."}
                               << "Select directory to benchmark and log to. Write permission required."
                               << QStringList{"%1/ |  | Benchmark | Succeeded"};
}

void TestCommands::jobsFromTheFileDialogs()
{
    QFETCH(QString, command);
    QFETCH(QStringList, chosen);
    QFETCH(QString, title);
    QFETCH(QStringList, rowsAfterRun);
    QStringList paths;
    for (const QString& name : chosen) {
        paths.append(name == QLatin1String(".") ? data->path() : data->filePath(name));
        if (name != QLatin1String("."))
            writeFile(paths.last(), QByteArray(50000, name.at(0).toLatin1()));
    }
    ModalAnswerer answerer({ModalAnswerer::files(paths)});
    action(qPrintable(command))->trigger();
    QVERIFY2(answerer.done(), qPrintable(answerer.report()));
    QCOMPARE(answerer.seen().first().title, title);
    QCOMPARE(lastDirectory(), paths.first());
    QCOMPARE(table()->rowCount(), chosen.size());
    if (command == QLatin1String("actionDiskSpeed"))  // the write test leaves nothing behind
        QCOMPARE(QDir(data->path()).entryList(QDir::Files), QStringList());

    answerer.expect(ModalAnswerer::button(QMessageBox::Ok));
    window->start();
    QTRY_VERIFY2(answerer.done(), qPrintable(answerer.report()));
    QCOMPARE(rows().join(QLatin1Char('\n')),
             rowsAfterRun.join(QLatin1Char('\n')).replace(QStringLiteral("%1"), data->path()));
    if (command == QLatin1String("actionWvcCheck")) {
        QCOMPARE(tools->invocations(QStringLiteral("WVCCheck")).at(1).arguments, QStringList{paths.last()});
        QVERIFY(QFile::exists(paths.last() + QStringLiteral("-checker.log")));
    }
    if (command == QLatin1String("actionChecksum")) {
        // The row's buttons open the log and the result.
        DesktopCapture desktop;
        for (int column : {4, 5})
            qobject_cast<QToolButton*>(table()->indexWidget(table()->model()->index(1, column)))->click();
        QCOMPARE(desktop.urls.size(), 1);
        QCOMPARE(desktop.urls.first(), QUrl::fromLocalFile(paths.last() + QStringLiteral(".md5")));
    }
}

void TestCommands::dialogsCancelledOrRefused_data()
{
    QTest::addColumn<QString>("command");
    QTest::addColumn<QString>("answer");  // a path, or empty to cancel
    QTest::addColumn<QString>("refusal");

    QTest::newRow("file check cancelled") << "actionWvcCheck" << QString() << QString();
    QTest::newRow("checksum cancelled") << "actionChecksum" << QString() << QString();
    QTest::newRow("benchmark cancelled") << "actionDiskSpeed" << QString() << QString();
    // Running as root, permissions do not refuse a write; a file system that takes no files does.
    QTest::newRow("benchmark on an unwritable directory")
        << "actionDiskSpeed"
        << "/proc"
        << "Disk benchmarking requires write permission to the selected directory.\nPlease select another directory.";
}

void TestCommands::dialogsCancelledOrRefused()
{
    QFETCH(QString, command);
    QFETCH(QString, answer);
    QFETCH(QString, refusal);
    ModalAnswerer answerer({answer.isEmpty() ? ModalAnswerer::reject() : ModalAnswerer::files({answer})});
    if (!refusal.isEmpty())
        answerer.expect(ModalAnswerer::button(QMessageBox::Ok));
    action(qPrintable(command))->trigger();
    QVERIFY2(answerer.done(), qPrintable(answerer.report()));
    if (!refusal.isEmpty())
        QCOMPARE((QStringList{answerer.seen().last().title, answerer.seen().last().text}),
                 (QStringList{"Error", refusal}));
    QCOMPARE(table()->rowCount(), 0);
    QVERIFY(!createSettings()->contains(QStringLiteral("GUI/CheckerLastDir")));
}

void TestCommands::fileCheckFromDroppedFiles()
{
    QDir::setCurrent(data->path());
    window->newCheckTaskWithFiles({QUrl::fromLocalFile(QStringLiteral("relative.wvc"))});
    QCOMPARE(rows(), QStringList{"relative.wvc |  | Validate | Pending"});
    QVERIFY(createSettings()->allKeys().isEmpty());
}

void TestCommands::benchmarkRowShowsSummaryAndWarning()
{
    tools->setScript(QStringLiteral("diskspd"), {"out total: 1 | 2 | 1.50 | 300.00 | 80.000 | 0.1\\r\\n"});
    ModalAnswerer answerer({ModalAnswerer::files({data->path()}), ModalAnswerer::button(QMessageBox::Ok)});
    action("actionDiskSpeed")->trigger();
    window->start();
    QTRY_VERIFY2(answerer.done(), qPrintable(answerer.report()));

    QCOMPARE(rows(),
             QStringList{data->path()
                         + "/ | IOPS: 300.00, Throughput: 1.50 MiB/sec, Latency: 80.000ms | "
                           "Benchmark | Warning"});
    QCOMPARE(table()->item(0, 3)->toolTip(),
             QStringLiteral("Slow disk IO detected. Please refer to user guide.\nSee log for technical details."));
    QVERIFY(!table()->indexWidget(table()->model()->index(0, 5)));
    QCOMPARE(answerer.seen().last().text, QStringLiteral("All tasks finished successfully."));
}

void TestCommands::filesDropped_data()
{
    QTest::addColumn<QStringList>("dropped");  // names in the data directory; "sub" is a folder
    QTest::addColumn<QString>("answer");  // the button pressed in the first box, if any
    QTest::addColumn<QStringList>("expected");  // every box and window shown, then every row
    const QString k = QStringLiteral("Kartopress: ");
    const QString question =
        QStringLiteral("Select an Option: Would you like to compress to WVC/JP2, validate or create a "
                       "checksum for the file(s)?");
    // The compression wizard takes the file in before it shows; these files hold no image.
    const auto wizardWith = [&k](const QString& name) {
        return QStringList{"QProgressDialog",
                           k
                               + QStringLiteral("Cannot open \"@DIR@/%1\": `@DIR@/%1' not recognized as a "
                                                "supported file format.")
                                     .arg(name),
                           "TSR::ImageCompressor::API::ImageCompressor"};
    };
    QTest::newRow("folder first") << QStringList{"sub", "a.tif"} << "OK"
                                  << QStringList{k + "Cannot process a folder, please select a single file."};
    QTest::newRow("file first") << QStringList{"a.tif", "sub"} << "OK"
                                << QStringList{k + "Cannot process multiple drop files, please select a single file."};
    QTest::newRow("no suffix") << QStringList{"README"} << "OK" << QStringList{k + "Unknown file type."};
    QTest::newRow("raster suffix in capitals") << QStringList{"A.TIF"} << "OK" << QStringList{k + "Unknown file type."};
    QTest::newRow("xml of neither kind")
        << QStringList{"other.xml"} << "OK"
        << QStringList{
               k
               + "Error parsing XML: Xml document is not a valid upload process (root element is not <tsdruploader>)."};
    QTest::newRow("compression document")
        << QStringList{"job.xml"} << "" << QStringList{"only.tif | merged.wvc | Compress | Pending"};
    QTest::newRow("upload document") << QStringList{"upload.xml"} << ""
                                     << QStringList{"upload.xml |  | Upload | Pending"};
    QTest::newRow("validate") << QStringList{"A.JP2"} << "Validate"
                              << QStringList{question, "A.JP2 |  | Validate | Pending"};
    QTest::newRow("checksum") << QStringList{"old.wvc"} << "Checksum"
                              << QStringList{question, "old.wvc | old.wvc.md5 | Hash | Pending"};
    QTest::newRow("cancel") << QStringList{"old.wvc"} << "Cancel" << QStringList{question};
    QTest::newRow("raster opens the wizard") << QStringList{"a.tif"} << "" << wizardWith("a.tif");
    QTest::newRow("compress") << QStringList{"old.wvc"} << "Compress" << QStringList{question} + wizardWith("old.wvc");
    QTest::newRow("point cloud opens its wizard")
        << QStringList{"scan.laz"} << "" << QStringList{"UDSCompressorWizard"};
    QTest::newRow("upload") << QStringList{"old.wvc"} << "Upload" << QStringList{question, "UploadToTsDR"};
}

// Drops as the desktop delivers them, on the table's viewport.
void TestCommands::filesDropped()
{
    QFETCH(QStringList, dropped);
    QFETCH(QString, answer);
    QFETCH(QStringList, expected);
    QDir(data->path()).mkdir(QStringLiteral("sub"));
    writeFile(data->filePath(QStringLiteral("job.xml")), R"(<imagecompressor version="1.2"><compresstask><inputs><file
        path="/in/only.tif"/></inputs><output version="2" path="/out/merged.wvc"/></compresstask></imagecompressor>)");
    writeFile(data->filePath(QStringLiteral("other.xml")), "<catalogue><item/></catalogue>");
    writeFile(data->filePath(QStringLiteral("upload.xml")),
              "<tsdruploader version='1.0'><uploadtask><inputs><file path='/in/a.laz'/>"
              "</inputs><output type='folder' value='survey'/></uploadtask></tsdruploader>");
    QMimeData mime;
    for (const QString& name : dropped) {
        mime.setUrls(mime.urls() << QUrl::fromLocalFile(data->filePath(name)));
        if (name != QLatin1String("sub") && !QFile::exists(data->filePath(name)))
            writeFile(data->filePath(name), "bytes");
    }
    ModalAnswerer answerer;
    if (!answer.isEmpty())
        answerer.expect(ModalAnswerer::buttonText(answer));
    QDragEnterEvent enter(QPoint(10, 10), Qt::LinkAction, &mime, Qt::LeftButton, Qt::NoModifier);
    QApplication::sendEvent(table()->viewport(), &enter);
    QVERIFY(enter.isAccepted());
    QDropEvent drop(QPointF(10, 10), Qt::LinkAction, &mime, Qt::LeftButton, Qt::NoModifier);
    QApplication::sendEvent(table()->viewport(), &drop);
    QCOMPARE(answerer.shown(true) + rows(), expected.replaceInStrings(QStringLiteral("@DIR@"), data->path()));
}

QTEST_MAIN(TestCommands)
#include "tst_commands.moc"
