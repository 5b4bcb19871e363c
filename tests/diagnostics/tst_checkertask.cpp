#include <QListWidget>
#include <QSignalSpy>
#include <QToolButton>
#include <QWizardPage>
#include <QTemporaryDir>
#include <QtTest>

#include "diagnostics/checkertask.h"
#include "diagnostics/checkerwizard.h"
#include "tests/support/faketool.h"
#include "tests/support/modalanswerer.h"

namespace {

QStringList readLog(const QString& path)
{
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly | QIODevice::Text))
        return {};
    return QString::fromUtf8(file.readAll()).split(QLatin1Char('\n'));
}

QStringList messages(const QSignalSpy& spy)
{
    QStringList result;
    for (const QList<QVariant>& call : spy)
        result.append(QStringLiteral("%1 %2").arg(call.at(2).toInt()).arg(call.at(1).toString()));
    return result;
}

}  // namespace

class TestCheckerTask : public QObject
{
    Q_OBJECT

private slots:
    void outputRules_data();
    void outputRules();
    void arguments_data();
    void arguments();
    void logThatCannotBeOpened();
    void toolFailures_data();
    void toolFailures();
    void wizardForm();
};

void TestCheckerTask::outputRules_data()
{
    QTest::addColumn<QStringList>("script");
    QTest::addColumn<QStringList>("progress");  // after the start message, before the finish message
    QTest::addColumn<QStringList>("log");

    QTest::newRow("status with a number") << QStringList{"out STATUS: 42 % done\\r"} << QStringList{"42"}
                                          << QStringList{"STATUS: 42 % done"};
    QTest::newRow("status without a number") << QStringList{"out STATUS:\\r"} << QStringList{"0"} << QStringList{"STATUS:"};
    QTest::newRow("status keeps the low byte") << QStringList{"out STATUS: 300 %\\r"} << QStringList{"44"}
                                               << QStringList{"STATUS: 300 %"};
    QTest::newRow("report lines trimmed and logged")
        << QStringList{"out   INFO: header ok  \\r\\n", "sleep 20", "out INPUTS: 1\\rERROR: tile 7 damaged\\n"}
        << QStringList{} << QStringList{"INFO: header ok", "INPUTS: 1", "ERROR: tile 7 damaged"};
    QTest::newRow("other lines dropped") << QStringList{"out WARNING: odd tile\\rstatus: 5\\rNoise\\n"} << QStringList{}
                                         << QStringList{};
    QTest::newRow("standard error unfiltered, empty parts kept")
        << QStringList{"err oops\\r\\r", "sleep 20", "err  second \\n"} << QStringList{}
        << QStringList{"oops", "", "", "second"};
    QTest::newRow("megabytes of noise and binary garbage")
        << QStringList{"flood 3000000", "out \\x01\\x02\\xff\\xfe\\r", "out INFO: done\\r"} << QStringList{}
        << QStringList{"INFO: done"};
    // Carried over, the halves would make a status line.
    QTest::newRow("a line split between chunks is two lines")
        << QStringList{"out STAT", "sleep 50", "out US: 7\\r"} << QStringList{} << QStringList{};
}

void TestCheckerTask::outputRules()
{
    QFETCH(QStringList, script);
    QFETCH(QStringList, progress);
    QFETCH(QStringList, log);
    QTemporaryDir dir;
    FakeTool tool;
    tool.install(QStringLiteral("WVCCheck"));
    tool.setScript(QStringLiteral("WVCCheck"), script);
    CheckerTask task;
    task.setInputFilename(dir.filePath(QStringLiteral("city.wvc")));
    QSignalSpy spy(&task, &CheckerTask::progress);

    task.run();

    QStringList expected{QStringLiteral("0 Starting integrity check of file 'city.wvc'")};
    for (const QString& value : progress)
        expected.append(value + QStringLiteral(" Validating file 'city.wvc'"));
    expected.append(QStringLiteral("100 Finished validating file 'city.wvc'"));
    QCOMPARE(messages(spy), expected);
    QCOMPARE(task.logFilename(), dir.filePath(QStringLiteral("city.wvc-checker.log")));
    QCOMPARE(readLog(task.logFilename()), log + QStringList{QString()});
    QCOMPARE(task.state(), int(TaskState::Succeeded));
}

void TestCheckerTask::arguments_data()
{
    QTest::addColumn<QVariantMap>("properties");
    QTest::addColumn<QStringList>("arguments");
    QTest::addColumn<QString>("name");

    QTest::newRow("defaults") << QVariantMap{} << QStringList{"/d/a.wvc"} << "Validate";
    QTest::newRow("clean") << QVariantMap{{"clean", true}, {"threads", 4}} << QStringList{"/d/a.wvc", "-clean="}
                           << "Clean";
    QTest::newRow("threads") << QVariantMap{{"threads", 4}} << QStringList{"/d/a.wvc", "-threads=4"} << "Validate";
    QTest::newRow("tile size has no value") << QVariantMap{{"tileSize", 256}} << QStringList{"/d/a.wvc", "-tilesize="}
                                            << "Validate";
    QTest::newRow("all, in order") << QVariantMap{{"queueSize", 1}, {"numHeaps", 2}, {"maxMem", 3}, {"tileSize", 4},
                                                  {"threads", 5}}
                                   << QStringList{"/d/a.wvc", "-threads=5", "-tilesize=", "-maxmem=", "-numheaps=",
                                                  "-queuesize="}
                                   << "Validate";
}

void TestCheckerTask::arguments()
{
    QFETCH(QVariantMap, properties);
    QFETCH(QStringList, arguments);
    QFETCH(QString, name);
    CheckerTask task;
    QVERIFY(!task.setInputFilename(QStringLiteral("/d/a.wvc")));
    for (auto it = properties.cbegin(); it != properties.cend(); ++it)
        QVERIFY(task.setProperty(qPrintable(it.key()), it.value()));
    QCOMPARE(task.arguments(), arguments);
    QCOMPARE(task.taskName(), name);
    QVERIFY(task.outputFilename().isNull());
    QVERIFY(!task.viewAction());
}

void TestCheckerTask::logThatCannotBeOpened()
{
    QTemporaryDir dir;
    FakeTool tool;
    tool.install(QStringLiteral("WVCCheck"));
    tool.setScript(QStringLiteral("WVCCheck"), {"out STATUS: 50\\r"});
    CheckerTask task;
    const QString input = dir.filePath(QStringLiteral("gone/city.wvc"));
    task.setInputFilename(input);
    ModalAnswerer answerer({ModalAnswerer::button(QMessageBox::Ok)});

    task.run();

    QCOMPARE(task.state(), int(TaskState::Succeeded));
    QCOMPARE(tool.invocations(QStringLiteral("WVCCheck")).size(), 1);
    QTRY_VERIFY2(answerer.done(), qPrintable(answerer.report()));
    QCOMPARE(answerer.seen().first().title, QStringLiteral("Warning"));
    QCOMPARE(answerer.seen().first().text, QStringLiteral("Could not open log file '%1-checker.log'.").arg(input));
}

void TestCheckerTask::toolFailures_data()
{
    QTest::addColumn<bool>("installed");
    QTest::addColumn<QString>("message");

    QTest::newRow("missing tool") << false << "0 Failed to start file integrity check executable.";
    QTest::newRow("non-zero exit") << true << "0 File integrity check exited with an error. See log file for details.";
}

void TestCheckerTask::toolFailures()
{
    QFETCH(bool, installed);
    QFETCH(QString, message);
    QTemporaryDir dir;
    FakeTool tool;
    if (installed) {
        tool.install(QStringLiteral("WVCCheck"));
        tool.setScript(QStringLiteral("WVCCheck"), {"out ERROR: truncated\\n", "exit 3"});
    }
    CheckerTask task;
    task.setInputFilename(dir.filePath(QStringLiteral("x.jp2")));
    QSignalSpy spy(&task, &CheckerTask::progress);

    task.run();

    QCOMPARE(task.state(), int(TaskState::Failed));
    const QStringList seen = messages(spy);
    QCOMPARE(seen.at(seen.size() - 2), message);
    QCOMPARE(seen.last(), QStringLiteral("100 Finished validating file 'x.jp2'"));
    if (installed)
        QCOMPARE(readLog(task.logFilename()).first(), QStringLiteral("ERROR: truncated"));
}

void TestCheckerTask::wizardForm()
{
    CheckerWizard wizard;
    QCOMPARE(wizard.windowTitle(), QStringLiteral("WVC JP2 File Integrity Check"));
    auto* page = wizard.findChild<QWizardPage*>(QStringLiteral("wizardPage"));
    QVERIFY(page);
    QCOMPARE(page->title(), QStringLiteral("Check the integrity of an WVC or JPEG 2000 file"));
    QVERIFY(wizard.findChild<QListWidget*>(QStringLiteral("listWidget")));
    const struct {
        const char* name;
        const char* text;
        const char* shortcut;
    } buttons[] = {{"addImages", "Add Images", "Ctrl+O"}, {"addFolder", "Add Folder", "Ctrl+F"},
                   {"deleteImages", "Delete Image", ""}, {"toolButton", "Settings", ""}};
    for (const auto& expected : buttons) {
        auto* button = wizard.findChild<QToolButton*>(QLatin1String(expected.name));
        QVERIFY2(button, expected.name);
        QCOMPARE(button->text(), QLatin1String(expected.text));
        QCOMPARE(button->shortcut().toString(), QLatin1String(expected.shortcut));
    }
}

QTEST_MAIN(TestCheckerTask)
#include "tst_checkertask.moc"
