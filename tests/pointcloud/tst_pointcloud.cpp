#include <QComboBox>
#include <QtTest>

#include "core/platform.h"
#include "pointcloud/udscomboluttask.h"
#include "pointcloud/udscompressiontask.h"
#include "pointcloud/udscompressorwizard.h"
#include "tests/support/faketool.h"
#include "tests/support/modalanswerer.h"
#include "tests/support/settingssandbox.h"
#include "tests/support/testfiles.h"
#include "tests/tasks/signaltrace.h"

namespace {

// A caller's capture: chunks that say "drop" are dropped, one that says "abort" aborts the run, and a
// question on standard error is answered.
class Capture : public CommandLineCompressorTask
{
public:
    QStringList arguments() override { return {QStringLiteral("-q")}; }
    QProcessEnvironment& modifyEnvironment(QProcessEnvironment& environment) override { return environment; }
    QString filterStandardOutput(QString& text) override
    {
        return text.contains("abort") ? (abort(), text) : text.contains("drop") ? "" : text;
    }
    QString filterStandardError(QString& text, QString& reply) override
    {
        return (reply = text.endsWith("? ") ? "y\n" : "", text);
    }
};

// A colour table as the converter writes it, each entry from its index.
QString table(const QString& name, const std::function<QString(int)>& entry, int entries = 256)
{
    QStringList rgb;
    for (int i = 0; i < entries; ++i)
        rgb.append(entry(i));
    return QStringLiteral("<lut name=\"%1\" rgb=\"%2\"/>").arg(name, rgb.join(';'));
}

// The converter answering with these tables.
void answerWith(FakeTool& tool, const QString& tables)
{
    tool.setScript(tool.install(QStringLiteral("TSPCConverter")).section('/', -1),
                   {"out " + FakeTool::escaped(tables.toUtf8())});
}

}  // namespace

class TestPointCloud : public QObject
{
    Q_OBJECT

private slots:
    void captureRun_data();
    void captureRun();
    void conversionRun_data();
    void conversionRun();
    void lookupTables_data();
    void lookupTables();
    void wizardScenario();
};

void TestPointCloud::captureRun_data()
{
    QTest::addColumn<QStringList>("script");  // empty: the tool is missing
    QTest::addColumn<bool>("abortFirst");
    QTest::addColumn<QString>("outcome");  // signals; flags: standard output | standard error

    QTest::newRow("answered, a chunk dropped")
        << QStringList{"out drop this\\n", "err Overwrite? ", "in 2", "out kept\\n"} << false
        << "started 7; finished 7; finished success: y\nkept\n | Overwrite? ";
    QTest::newRow("tool missing") << QStringList() << false
                                  << "started 7; failedtostart 7; finished 7; finished aborted:  | ";
    QTest::newRow("aborted before the run") << QStringList{"out never\\n"} << true << "; aborted:  | ";
    QTest::newRow("aborted while running")
        << QStringList{"out ready to abort\\n", "sleep 60000"} << false
        << "started 7; failed 7 9; finished 7; finished aborted: ready to abort\n | ";
}

void TestPointCloud::captureRun()
{
    QFETCH(QStringList, script);
    QFETCH(bool, abortFirst);
    QFETCH(QString, outcome);
    FakeTool tool;
    if (!script.isEmpty()) {
        tool.install(QStringLiteral("TSPCConverter"));
        tool.setScript(QStringLiteral("TSPCConverter"), script);
    }
    Capture task;
    task.setId(7);
    task.setCompressorPath(tool.directory() + QStringLiteral("/TSPCConverter"));
    QStringList seen;
    const auto named = [&](const char* name) {
        return [&seen, name](quint32 id) { seen.append(name + QString::number(id)); };
    };
    connect(&task, &CommandLineCompressorTask::started, named("started "));
    connect(&task, &CommandLineCompressorTask::failedtostart, named("failedtostart "));
    connect(&task, &CommandLineCompressorTask::failed,
            [&](quint32 id, int code) { seen.append(QStringLiteral("failed %1 %2").arg(id).arg(code)); });
    connect(&task, &CommandLineCompressorTask::finished, named("finished "));
    if (abortFirst)
        task.abort();

    task.run();

    const QString flags = QString(task.hasFinishedRun() ? " finished" : "") + (task.hasSucceeded() ? " success" : "")
        + (task.wasAborted() ? " aborted" : "");
    QCOMPARE(seen.join("; ") + ";" + flags + ": " + task.getStdOut() + " | " + task.getStdError(), outcome);
}

void TestPointCloud::conversionRun_data()
{
    QTest::addColumn<QString>("input");  // a file or a directory inside the data directory <d>
    QTest::addColumn<QVariantMap>("properties");
    QTest::addColumn<QStringList>("script");  // empty: the converter is missing
    QTest::addColumn<QStringList>("arguments");  // after the comment
    QTest::addColumn<QString>("sent");  // between the start message and the finish message, then the log
    QTest::addColumn<QString>("viewer");  // its script; empty: missing; "dir": there, but it cannot start
    QTest::addColumn<QString>("viewed");  // the message, or where and how the viewer started

    const QStringList dirPattern{"-e", "(e57|la[sz])"};
    const QString cannotView = "Error: Could not launch application to view TSPC files.";
    QTest::newRow("file, the converter's choices, a progress line")
        << "scan.laz" << QVariantMap() << QStringList{"out TSPC:  42/100: Indexing\\r\\r\\n"} << QStringList{"-v", "5"}
        << "42  Indexing\r; | TSPC:  42/100: Indexing\r\n"
        << "exit 0"
        << "<t>: -datadir <d>/out.tspc";
    QTest::newRow("directory, every option, two lines in a chunk, exit 2")
        << "scans"
        << QVariantMap{{"convertThreads", 4},
                       {"readThreads", 2},
                       {"targetMemoryGB", 12},
                       {"advancedOptions", "--lod 3 --crs 2193"}}
        << QStringList{"out TSPC: 10/100: a\\r\\r\\nTSPC: 20/100: b\\n", "exit 2"}
        << dirPattern
            + QStringList{"-j", "4", "--reading_thread_count", "2", "--target_memory", "12", "--lod 3 --crs 2193",
                          "-v", "5"}
        << "0 TPSC converter exited with an error. See log file for details.; failed 0 2; | TSPC: 10/100: a\r\nTSPC: 20/100: b\n"
        << "dir"
        << "Error: Could not launch TSPC viewer application (<t>/TSPCViewer).";
    QTest::newRow("directory, -vv, converter missing")
        << "scans" << QVariantMap{{"readThreads", 2}, {"advancedOptions", "-vv"}} << QStringList()
        << dirPattern + QStringList{"--reading_thread_count", "2", "-vv"}
        << "0 Failed to start TPSC converter executable.; failedtostart 0; | "
        << "" << cannotView;
    QTest::newRow("file, --verbose-level, above 100")
        << "scan.e57" << QVariantMap{{"targetMemoryGB", 8}, {"advancedOptions", "--verbose-level 2"}}
        << QStringList{"out TSPC: 101/100: over\\n", "err bad header\\r\\r\\n"}
        << QStringList{"--target_memory", "8", "--verbose-level 2"} << "| TSPC: 101/100: over\nbad header\r\n"
        << "" << cannotView;
}

void TestPointCloud::conversionRun()
{
    QFETCH(QString, input);
    QFETCH(QVariantMap, properties);
    QFETCH(QStringList, script);
    QFETCH(QStringList, arguments);
    QFETCH(QString, sent);
    QFETCH(QString, viewer);
    QFETCH(QString, viewed);
    QTemporaryDir dir;
    for (const char* file : {"scans/a.las", "scan.laz", "scan.e57"})
        writeFile(dir.filePath(QLatin1String(file)), "points");
    FakeTool tool(QStringLiteral("tools dir"));
    for (const auto& [name, lines] :
         {std::pair{QStringLiteral("TSPCConverter"), script}, {QStringLiteral("TSPCViewer"), QStringList{viewer}}}) {
        if (lines.value(0) == QLatin1String("dir")) {
            QDir().mkpath(tool.directory() + '/' + name);
        } else if (!lines.value(0).isEmpty()) {
            tool.install(name);
            tool.setScript(name, lines);
        }
    }
    UDSCompressionTask task;
    properties.insert({{"inputFilename", dir.filePath(input)},
                       {"outputFilename", dir.filePath("out.tspc")},
                       {"tempDirname", dir.filePath("tmp")},
                       {"logFilename", dir.filePath("scan.log")}});
    for (auto it = properties.cbegin(); it != properties.cend(); ++it)
        QVERIFY(task.setProperty(qPrintable(it.key()), it.value()));
    SignalTrace trace(&task);

    task.run();
    ModalAnswerer answerer;
    if (viewed.startsWith(QLatin1String("Error")))
        answerer.expect(ModalAnswerer::button(QMessageBox::Ok));
    task.viewAction()->trigger();

    QCOMPARE(trace.text() + " | " + readFile(task.logFilename()),
             "0 Starting conversion of file '" + input + "'; started 0; "
                 + sent.replace("| ", "100 Finished converting 'out.tspc'.; finished 0 | "));
    arguments = QStringList{"-i", dir.filePath(input), "-o", dir.filePath("out.tspc"),
                            "-t", dir.filePath("tmp"), "-c", "Compressed with Kartopress 2022."}
        + arguments;
    QCOMPARE(task.arguments(), arguments);
    QCOMPARE(tool.invocations(QStringLiteral("TSPCConverter")).value(0).arguments,
             script.isEmpty() ? QStringList() : arguments);
    QTRY_VERIFY2(answerer.done(), qPrintable(answerer.report()));
    if (answerer.seen().isEmpty())
        QTRY_COMPARE(tool.invocations(QStringLiteral("TSPCViewer")).size(), 1);
    const FakeTool::Invocation started = tool.invocations(QStringLiteral("TSPCViewer")).value(0);
    QCOMPARE(answerer.shown().join(QStringLiteral("; ")) + started.workingDirectory
                 + (started.arguments.isEmpty() ? "" : ": ") + started.arguments.join(' '),
             viewed.replace("<t>", tool.directory()).replace("<d>", dir.path()));
}

void TestPointCloud::lookupTables_data()
{
    QTest::addColumn<QString>("answer");
    QTest::addColumn<QStringList>("items");  // each name with its ramp's first, middle and last colour

    const QString grey = table("Grey", [](int i) { return QStringLiteral("%1,%1,%1").arg(i, 0, 16); });
    QTest::newRow("tables at any depth, one of 255 entries passed over") << "\n <luts>" + grey
            + table(
                                                                                "Short", [](int) { return "1,2,3"; },
                                                                                255)
            + "<group>"
            + table("Heat", [](int i) { return QStringLiteral("%1,%2,0").arg(i, 0, 16).arg(255 - i, 0, 16); })
            + "</group></luts>\n" << QStringList{"Grey #000000 #808080 #ffffff", "Heat #00ff00 #807f00 #ff0000"};
    QTest::newRow("a part that is no number reads as 0, two parts drop the table") << "<luts>"
            + table("Odd", [](int) { return "zz,FF,1"; }) + table("Pairs", [](int) { return "1,2"; })
            + "</luts>" << QStringList{"Odd #00ff01 #00ff01 #00ff01"};
    QTest::newRow("empty answer") << "" << QStringList();
    QTest::newRow("no document") << "<luts>" + grey << QStringList();
}

void TestPointCloud::lookupTables()
{
    QFETCH(QString, answer);
    QFETCH(QStringList, items);
    FakeTool tool;
    answerWith(tool, answer);
    UDSComboLUTTask task;
    task.run();
    QComboBox combo;
    task.populateCombo(&combo);

    QStringList shown;
    for (int i = 0; i < combo.count(); ++i) {
        const QImage ramp = combo.itemIcon(i).pixmap(256, 15).toImage();
        shown.append(QStringList{combo.itemText(i), QColor(ramp.pixel(0, 14)).name(),
                                 QColor(ramp.pixel(128, 14)).name(), QColor(ramp.pixel(255, 14)).name()}
                         .join(' '));
        QVERIFY(ramp.size() == QSize(256, 15) && !combo.itemData(i).isValid());
    }
    QCOMPARE(shown, items);
    QCOMPARE(tool.invocations(QStringLiteral("TSPCConverter")).value(0).arguments, QStringList{"-getlutxml"});
}

// A user's path through the wizard: every check of the two pages refuses once, then the summary and the job.
void TestPointCloud::wizardScenario()
{
    SettingsSandbox sandbox;
    QTemporaryDir dir;
    const auto inDir = [&dir](QString text) { return text.replace("<d>", dir.path()); };
    for (const char* file : {"scans/a.las", "file.txt", "full/x"})
        writeFile(dir.filePath(QLatin1String(file)), "x");
    FakeTool tool;
    answerWith(tool,
               "<luts>" + table("Grey", [](int) { return "1,1,1"; }) + table("Heat", [](int) { return "ff,0,0"; })
                   + "</luts>");
    UDSComboLUTTask tables;
    const auto memoryOf = [](quint64 gigabytes) {
        UDSCompressorWizard::totalMemory = gigabytes ? [] { return quint64(16) << 30; } : [] { return quint64(0); };
    };
    memoryOf(16);
    auto wizard = std::make_unique<UDSCompressorWizard>(&tables);
    const auto child = [&](const char* name) { return wizard->findChild<QWidget*>(QLatin1String(name)); };
    const auto shown = [&](const char* name) {
        return child(name)->property(qobject_cast<QComboBox*>(child(name)) ? "currentText" : "text").toString();
    };
    QStringList memory{shown("targetMemorySpinner") + " of "
                       + child("targetMemorySpinner")->property("maximum").toString()};
    for (const quint64 total : {0, 16}) {  // a machine whose memory cannot be read gets the minimum
        child("targetMemorySpinner")->setProperty("value", 10);
        memoryOf(total);
        QMetaObject::invokeMethod(child("resetRamButton"), "click");
        memory.append(shown("targetMemorySpinner"));
    }
    tables.run();  // the tables come while the wizard is open
    for (const auto& [name, property, value] : std::initializer_list<std::tuple<const char*, const char*, QVariant>>{
             {"outputFileLineEdit", "text", dir.filePath("file.txt")},
             {"tempDirLineEdit", "text", dir.filePath("file.txt")},
             {"advancedOptionsLineEdit", "text", "--lod 3"},
             {"readThreadSpinner", "value", 2},
             {"lutComboBox", "currentText", "Heat"},
             {"radioButtonFolder", "checked", true}})
        QVERIFY(child(name)->setProperty(property, value));
    wizard->setInputFiles({dir.filePath("gone.laz"), dir.filePath("scans")});  // as dropped: the first counts
    wizard->restart();
    ModalAnswerer answerer(QVector<ModalAnswerer::Answer>(5, ModalAnswerer::button(QMessageBox::Ok)).toList());
    QStringList pages;
    for (const auto& [name, value] :
         std::initializer_list<std::pair<const char*, const char*>>{{"", ""},
                                                                    {"inputFileLineEdit", "scans"},
                                                                    {"outputFileLineEdit", "full"},
                                                                    {"outputFileLineEdit", "out"},
                                                                    {"", ""},
                                                                    {"tempDirLineEdit", "full"},
                                                                    {"tempDirLineEdit", "tmp"}}) {
        if (*name)
            child(name)->setProperty("text", dir.filePath(value));
        wizard->next();
        pages.append(QString::number(wizard->currentId()));
    }

    QCOMPARE(memory, (QStringList{"3 of 16", "1", "3"}));
    QVERIFY2(answerer.done(), qPrintable(answerer.report()));
    QCOMPARE(
        pages.join(' ') + ": " + answerer.shown().join(QStringLiteral("; ")),
        "1 1 1 2 2 2 3: Kartopress: Input file does not exist.; Kartopress: Output must be a new directory.; Kartopress: Output directory is "
        "not empty.; Kartopress: Path given for temp directory isn't a directory.; Kartopress: Temp directory is not empty.");
    QCOMPARE(child("summaryTextEdit")->property("plainText").toString(),
             inDir("Input: <d>/scans\nOutput: <d>/out\nTemp Dir: <d>/tmp\nConversion Threads: Auto\nRead Threads: 2\n"
                   "Target Memory Limit (GB): 3\nAdvanced Options: --lod 3 --lut=\"Heat\"\n"));
    const QList<RunnableTaskBase*> jobs = wizard->tasks();
    QStringList properties{QString::number(jobs.size())};
    for (int i = UDSCompressionTask::staticMetaObject.propertyOffset();
         i < UDSCompressionTask::staticMetaObject.propertyCount(); ++i)
        properties.append(
            UDSCompressionTask::staticMetaObject.property(i).read(dynamic_cast<QObject*>(jobs.first())).toString());
    QCOMPARE(properties.join(" | "),
             inDir("1 | <d>/scans | <d>/out | <d>/scans.log | <d>/tmp | 0 | 2 | 3 | --lod 3 --lut=\"Heat\""));
    qDeleteAll(jobs);

    // A second wizard comes back as the first was left.
    wizard.reset();
    wizard.reset(new UDSCompressorWizard(&tables));
    QStringList restored;
    for (const char* name : {"inputFileLineEdit", "tempDirLineEdit", "readThreadSpinner", "targetMemorySpinner",
                             "lutComboBox", "radioButtonFolder"})
        restored.append(shown(name) + (child(name)->property("checked").toBool() ? " checked" : ""));
    QCOMPARE(restored.join(" | "), inDir("<d>/scans | <d>/tmp | 2 | 3 | Heat | Mosaic a directory of files checked"));
    UDSCompressorWizard::totalMemory = &Platform::totalPhysicalMemory;
}

QTEST_MAIN(TestPointCloud)
#include "tst_pointcloud.moc"
