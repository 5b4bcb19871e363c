#include <QDir>
#include <QHeaderView>
#include <QLabel>
#include <QMenu>
#include <QPlainTextEdit>
#include <QPushButton>
#include <QSignalSpy>
#include <QSystemTrayIcon>
#include <QTableWidget>
#include <QTemporaryDir>
#include <QTextEdit>
#include <QThreadPool>
#include <QTimer>
#include <QtTest>

#include "app/about.h"
#include "app/kartopress.h"
#include "core/platform.h"
#include "core/settings.h"
#include "tests/support/desktopcapture.h"
#include "tests/support/faketool.h"
#include "tests/support/modalanswerer.h"
#include "tests/support/scriptedtask.h"
#include "tests/support/settingssandbox.h"
#include "tests/support/testfiles.h"

namespace {

bool trayWanted = false;
const QString notInstalled = QStringLiteral("Kartopress Utilities not installed.");

}  // namespace

class TestShell : public QObject
{
    Q_OBJECT

private slots:
    void init();
    void cleanup();
    void closeHidesAndTheLayoutSurvives_data();
    void closeHidesAndTheLayoutSurvives();
    void toolsFollowWhatIsInstalled();
    void companionProgramMissing_data();
    void companionProgramMissing();
    void consoleStartsInToolDirectory();
    void helpAndLicenceReport();
    void pointCloudPlatformRule_data();
    void pointCloudPlatformRule();
    void aboutFindsItsTexts_data();
    void aboutFindsItsTexts();
    void trayExitStopsFirst();

private:
    void makeWindow(bool tray)
    {
        trayWanted = tray;
        window.reset();
        window = std::make_unique<Kartopress>();
    }
    QAction* action(const char* name) const { return window->findChild<QAction*>(QLatin1String(name)); }

    std::unique_ptr<SettingsSandbox> sandbox;
    std::unique_ptr<FakeTool> tools;
    std::unique_ptr<Kartopress> window;
};

void TestShell::init()
{
    sandbox = std::make_unique<SettingsSandbox>();
    tools = std::make_unique<FakeTool>(QStringLiteral("Program Files/Kartopress"));
    Kartopress::systemTrayAvailable = [] { return trayWanted; };
}

void TestShell::cleanup()
{
    QThreadPool::globalInstance()->waitForDone();
    window.reset();
    tools.reset();
    sandbox.reset();
}

void TestShell::closeHidesAndTheLayoutSurvives_data()
{
    QTest::addColumn<bool>("tray");
    QTest::newRow("tray") << true;
    QTest::newRow("no tray") << false;
}

void TestShell::closeHidesAndTheLayoutSurvives()
{
    QFETCH(bool, tray);
    makeWindow(tray);
    QSignalSpy balloons(window.get(), &Kartopress::balloonShown);
    for (int i = 0; i < 2; ++i) {
        window->show();
        window->close();
        QVERIFY(!window->isVisible());
    }
    QCOMPARE(bool(window->findChild<QSystemTrayIcon*>()), tray);
    // The hint comes once per process, and only with a tray.
    QCOMPARE(balloons.size(), tray ? 1 : 0);
    if (tray)
        QCOMPARE(balloons.first(),
                 (QList<QVariant>{"Kartopress",
                                  "Kartopress has been minimized to the system tray. Right click "
                                  "the icon to select an option or double click to open the "
                                  "progress window."}));

    window->setGeometry(QRect(100, 120, 800, 500));
    window->findChild<QTableWidget*>()->horizontalHeader()->resizeSection(0, 321);
    makeWindow(tray);
    QCOMPARE(window->geometry(), QRect(100, 120, 800, 500));
    QCOMPARE(window->findChild<QTableWidget*>()->horizontalHeader()->sectionSize(0), 321);
}

void TestShell::toolsFollowWhatIsInstalled()
{
    makeWindow(false);
    // The console needs no tool of its own, yet goes with the header editor; the viewer and the
    // checksum are never checked.
    const auto states = [this] {
        QStringList seen;
        for (const char* name : {"actionHeaderEditor", "actionConsole", "actionWvcCheck", "actionDiskSpeed"})
            seen.append(action(name)->isEnabled() ? QStringLiteral("on") : action(name)->toolTip());
        for (const char* name : {"actionViewer", "actionChecksum"})
            seen.append(action(name)->isEnabled() ? QStringLiteral("on") : QStringLiteral("off"));
        return seen;
    };
    QCOMPARE(states(), (QStringList{notInstalled, notInstalled, notInstalled, notInstalled, "on", "on"}));

    for (const char* tool : {"WVCHeaderEditorGUI", "WVCCheck", "diskspd", "KPViewer"})
        tools->install(QLatin1String(tool));
    makeWindow(false);
    QCOMPARE(states(), QVector<QString>(6, QStringLiteral("on")).toList());

    // The tool directory has a blank in its path.
    action("actionViewer")->trigger();
    QTRY_COMPARE(tools->invocations(QStringLiteral("KPViewer")).size(), 1);
    QCOMPARE(tools->invocations(QStringLiteral("KPViewer")).first().arguments, QStringList());
    QCOMPARE(tools->invocations(QStringLiteral("KPViewer")).first().workingDirectory, QDir::currentPath());
}

void TestShell::companionProgramMissing_data()
{
    QTest::addColumn<QString>("name");
    QTest::addColumn<QString>("text");
    const QString reinstall = QStringLiteral("Reinstall Kartopress and select the optional components.");
    QTest::newRow("viewer") << "Kartopress Viewer"
                            << "Could not start \"Kartopress Viewer\". " + reinstall;
    QTest::newRow("header editor") << "WVC Header Editor"
                                   << "Could not start \"WVC Header Editor\". " + reinstall;
    QTest::newRow("any other") << "Quality Meter"
                               << "Could not start \"Quality Meter\" (/opt/kp/none).";
}

void TestShell::companionProgramMissing()
{
    QFETCH(QString, name);
    QFETCH(QString, text);
    makeWindow(false);
    ModalAnswerer answerer({ModalAnswerer::button(QMessageBox::Ok)});
    window->launchExe(QStringLiteral("/opt/kp/none"), name);
    QVERIFY2(answerer.done(), qPrintable(answerer.report()));
    QCOMPARE(answerer.seen().first().title, QStringLiteral("Error"));
    QCOMPARE(answerer.seen().first().text, text);
}

void TestShell::consoleStartsInToolDirectory()
{
    FakeTool terminals(QString(), FakeTool::ElsewhereOnly);
    terminals.install(QStringLiteral("x-terminal-emulator"));
    const QByteArray path = qgetenv("PATH");
    qputenv("PATH", QFile::encodeName(terminals.directory()) + ':' + path);
    tools->install(QStringLiteral("WVCHeaderEditorGUI"));
    makeWindow(false);

    action("actionConsole")->trigger();
    qputenv("PATH", path);

    QTRY_COMPARE(terminals.invocations(QStringLiteral("x-terminal-emulator")).size(), 1);
    const FakeTool::Invocation call = terminals.invocations(QStringLiteral("x-terminal-emulator")).first();
    QCOMPARE(call.workingDirectory, tools->directory());
    QCOMPARE(call.arguments.first(), QStringLiteral("-e"));
    // The terminal's command really prints the banner.
    QProcess shell;
    shell.start(call.arguments.at(1), call.arguments.mid(2, 3) + QStringList{call.arguments.last()});
    shell.closeWriteChannel();
    QVERIFY(shell.waitForFinished(10000));
    QVERIFY(shell.readAllStandardOutput().startsWith("Kartopress 2022 Utilities Console.\n"));
}

void TestShell::helpAndLicenceReport()
{
    makeWindow(false);
    {
        DesktopCapture desktop;
        action("actionHelp")->trigger();
        QCOMPARE(desktop.urls.size(), 1);
        const QUrlQuery query(desktop.urls.first());
        QCOMPARE(query.queryItemValue(QStringLiteral("query")), QStringLiteral("Kartopress"));
        QCOMPARE(query.queryItemValue(QStringLiteral("content-lang")), QStringLiteral("en-US"));
    }
    ModalAnswerer answerer({ModalAnswerer::button(QMessageBox::Ok)});
    action("actionHelp")->trigger();
    QVERIFY2(answerer.done(), qPrintable(answerer.report()));
    QVERIFY(answerer.seen().first().text.startsWith(QLatin1String("Failed to open 'https://")));

    auto* label = window->findChild<QLabel*>(QStringLiteral("licenseTextLabel"));
    QTRY_COMPARE(label->styleSheet(), QStringLiteral("QLabel { color : green; }"));
    // The conversion command's own tooltip is back on a suitable platform.
    QCOMPARE(action("actionNewUDS")->toolTip(), QStringLiteral("Convert point clouds to TSPC"));
    label->setText(QString());
    QTest::mouseClick(window->findChild<QPushButton*>(QStringLiteral("licenseRefreshButton")), Qt::LeftButton);
    QTRY_VERIFY(label->text().startsWith(QLatin1String("Licensed")));
}

void TestShell::pointCloudPlatformRule_data()
{
    QTest::addColumn<QString>("kernel");
    QTest::addColumn<QString>("product");
    QTest::addColumn<QString>("version");
    QTest::addColumn<bool>("suitable");

    QTest::newRow("windows") << "winnt"
                             << "windows"
                             << "10" << true;
    QTest::newRow("debian") << "linux"
                            << "debian"
                            << "12" << true;
    QTest::newRow("centos 7") << "linux"
                              << "centos"
                              << "7" << false;
    QTest::newRow("centos 8") << "linux"
                              << "centos"
                              << "8" << true;
    QTest::newRow("redhat 8.4 is no integer") << "linux"
                                              << "redhat"
                                              << "8.4" << true;
    QTest::newRow("redhat 6") << "linux"
                              << "redhat"
                              << "6" << false;
    QTest::newRow("redhat unknown") << "linux"
                                    << "redhat"
                                    << "" << true;
    QTest::newRow("macos") << "darwin"
                           << "macos"
                           << "13" << false;
}

void TestShell::pointCloudPlatformRule()
{
    QFETCH(QString, kernel);
    QFETCH(QString, product);
    QFETCH(QString, version);
    QFETCH(bool, suitable);
    QCOMPARE(Platform::supportsPointCloudConversion(kernel, product, version), suitable);
}

void TestShell::aboutFindsItsTexts_data()
{
    QTest::addColumn<QString>("agreementAt");  // relative to the executable's directory; empty: nowhere
    QTest::newRow("two levels up") << "../../Licenses/TGD EULA.txt";
    QTest::newRow("one level up") << "../Licenses/TGD EULA.txt";
    QTest::newRow("missing") << QString();
}

void TestShell::aboutFindsItsTexts()
{
    QFETCH(QString, agreementAt);
    QTemporaryDir root;
    const QString bin = root.filePath(QStringLiteral("opt/kartopress/bin"));
    QDir().mkpath(bin);
    if (!agreementAt.isEmpty())
        writeFile(QDir(bin).filePath(agreementAt), "The agreement.\n");
    writeFile(QDir(bin).filePath(QStringLiteral("../acknowledgements.txt")), "Thanks.\n");

    About about(nullptr, bin);
    QCOMPARE(about.findChild<QTextEdit*>(QStringLiteral("licenseText"))->toPlainText(),
             agreementAt.isEmpty() ? QStringLiteral("Could not open file '%1/../Licenses/TGD EULA.txt'.").arg(bin)
                                   : QStringLiteral("The agreement.\n"));
    QCOMPARE(about.findChild<QPlainTextEdit*>(QStringLiteral("acknowledgementsText"))->toPlainText(),
             QStringLiteral("Thanks.\n"));

    auto* status = about.findChild<QLabel*>(QStringLiteral("licenseStatusLabel"));
    about.setLicenseStatus(false, QStringLiteral("expired"));
    QCOMPARE(status->text(), QStringLiteral("expired"));
    QCOMPARE(status->styleSheet(), QStringLiteral("QLabel { color : red; }"));
    ModalAnswerer answerer({ModalAnswerer::button(QMessageBox::Ok)});
    emit about.findChild<QLabel*>(QStringLiteral("helpLabel"))->linkActivated(QStringLiteral("https://docs.example/g"));
    QVERIFY2(answerer.done(), qPrintable(answerer.report()));
    QCOMPARE(answerer.seen().first().text, QStringLiteral("Could not open Url: 'https://docs.example/g'."));
}

void TestShell::trayExitStopsFirst()
{
    // Last: it ends the event loop of the test program on purpose.
    makeWindow(true);
    tools->install(QStringLiteral("long"));
    tools->setScript(QStringLiteral("long"), {"sigint exit 0", "out ready\\n", "sleep 60000"});
    auto* task = new ScriptedTask(QStringLiteral("long"), QStringLiteral("/data/long.wvc"));
    window->addTasks({task});
    window->start();
    QTRY_VERIFY(task->allOutput().contains("ready"));

    QAction* exitEntry = nullptr;
    for (QAction* entry : window->findChild<QSystemTrayIcon*>()->contextMenu()->actions()) {
        if (entry->text() == QLatin1String("Exit"))
            exitEntry = entry;
    }
    QVERIFY(exitEntry);
    ModalAnswerer answerer({ModalAnswerer::button(QMessageBox::Yes)});
    QTimer::singleShot(0, exitEntry, &QAction::trigger);
    QCOMPARE(QCoreApplication::exec(), 0);

    QVERIFY2(answerer.done(), qPrintable(answerer.report()));
    QCOMPARE(answerer.seen().first().title, QStringLiteral("Abort?"));
    QCOMPARE(task->state(), int(TaskState::Failed));
    QVERIFY(window->isVisible());
}

QTEST_MAIN(TestShell)
#include "tst_shell.moc"
