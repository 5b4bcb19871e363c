#include <QDir>
#include <QLabel>
#include <QMenu>
#include <QPlainTextEdit>
#include <QPushButton>
#include <QSignalSpy>
#include <QSystemTrayIcon>
#include <QTemporaryDir>
#include <QTextEdit>
#include <QThreadPool>
#include <QTimer>
#include <QtTest>

#include "app/about.h"
#include "app/kartopress.h"
#include "core/platform.h"
#include "tests/support/desktopcapture.h"
#include "tests/support/faketool.h"
#include "tests/support/modalanswerer.h"
#include "tests/support/scriptedtask.h"
#include "tests/support/settingssandbox.h"
#include "tests/support/testfiles.h"

namespace {

bool withTray()
{
    return true;
}

bool withoutTray()
{
    return false;
}

}  // namespace

class TestShell : public QObject
{
    Q_OBJECT

private slots:
    void init();
    void cleanup();
    void closeHidesAndHintsOnce();
    void closeWithoutTrayHides();
    void companionProgramWithBlankInPath();
    void companionProgramMissing_data();
    void companionProgramMissing();
    void missingUtilitiesDisableTheirActions();
    void consoleStartsInToolDirectory();
    void helpOpensUserGuide();
    void licenseReportReachesTheWindow();
    void pointCloudPlatformRule_data();
    void pointCloudPlatformRule();
    void aboutFindsItsTexts_data();
    void aboutFindsItsTexts();
    void aboutLicenseColoursAndLinks();
    void trayExitStopsFirst();

private:
    QAction* action(const char* name) const { return window->findChild<QAction*>(QLatin1String(name)); }

    std::unique_ptr<SettingsSandbox> sandbox;
    std::unique_ptr<FakeTool> tools;
    std::unique_ptr<Kartopress> window;
};

void TestShell::init()
{
    sandbox = std::make_unique<SettingsSandbox>();
    tools = std::make_unique<FakeTool>(QStringLiteral("Program Files/Kartopress"));
    Kartopress::systemTrayAvailable = &withoutTray;
}

void TestShell::cleanup()
{
    QThreadPool::globalInstance()->waitForDone();
    window.reset();
    tools.reset();
    sandbox.reset();
}

void TestShell::closeHidesAndHintsOnce()
{
    Kartopress::systemTrayAvailable = &withTray;
    window = std::make_unique<Kartopress>();
    QSignalSpy balloons(window.get(), &Kartopress::balloonShown);
    window->show();

    window->close();
    QVERIFY(!window->isVisible());
    QCOMPARE(balloons.size(), 1);
    QCOMPARE(balloons.first().at(0).toString(), QStringLiteral("Kartopress"));
    QCOMPARE(balloons.first().at(1).toString(),
             QStringLiteral("Kartopress has been minimized to the system tray. Right click the icon to select an option "
                            "or double click to open the progress window."));

    window->show();
    window->close();
    QVERIFY(!window->isVisible());
    QCOMPARE(balloons.size(), 1);
}

void TestShell::closeWithoutTrayHides()
{
    window = std::make_unique<Kartopress>();
    QSignalSpy balloons(window.get(), &Kartopress::balloonShown);
    window->show();
    window->close();
    QVERIFY(!window->isVisible());
    QCOMPARE(balloons.size(), 0);
    QVERIFY(!window->findChild<QSystemTrayIcon*>());
}

void TestShell::companionProgramWithBlankInPath()
{
    tools->install(QStringLiteral("KPViewer"));
    window = std::make_unique<Kartopress>();
    QVERIFY(tools->directory().contains(QLatin1Char(' ')));

    action("actionViewer")->trigger();

    QTRY_COMPARE(tools->invocations(QStringLiteral("KPViewer")).size(), 1);
    const FakeTool::Invocation call = tools->invocations(QStringLiteral("KPViewer")).first();
    QVERIFY(call.arguments.isEmpty());
    QCOMPARE(call.workingDirectory, QDir::currentPath());
}

void TestShell::companionProgramMissing_data()
{
    QTest::addColumn<QString>("name");
    QTest::addColumn<QString>("text");
    const QString path = QStringLiteral("/opt/kp/none");
    QTest::newRow("viewer") << "Kartopress Viewer"
                            << "Could not start \"Kartopress Viewer\". Reinstall Kartopress and select the optional "
                               "components.";
    QTest::newRow("header editor") << "WVC Header Editor"
                                   << "Could not start \"WVC Header Editor\". Reinstall Kartopress and select the "
                                      "optional components.";
    QTest::newRow("any other") << "Quality Meter" << "Could not start \"Quality Meter\" (/opt/kp/none).";
}

void TestShell::companionProgramMissing()
{
    QFETCH(QString, name);
    QFETCH(QString, text);
    window = std::make_unique<Kartopress>();
    ModalAnswerer answerer({ModalAnswerer::button(QMessageBox::Ok)});
    window->launchExe(QStringLiteral("/opt/kp/none"), name);
    QVERIFY2(answerer.done(), qPrintable(answerer.report()));
    QCOMPARE(answerer.seen().first().title, QStringLiteral("Error"));
    QCOMPARE(answerer.seen().first().text, text);
}

void TestShell::missingUtilitiesDisableTheirActions()
{
    window = std::make_unique<Kartopress>();
    const QString notInstalled = QStringLiteral("Kartopress Utilities not installed.");
    QVERIFY(!action("actionHeaderEditor")->isEnabled());
    QCOMPARE(action("actionHeaderEditor")->toolTip(), notInstalled);
    // The console needs no tool of its own, yet goes with the header editor.
    QVERIFY(!action("actionConsole")->isEnabled());
    QCOMPARE(action("actionConsole")->toolTip(), notInstalled);
    // The viewer and the checksum are never checked.
    QVERIFY(action("actionViewer")->isEnabled());
    QVERIFY(action("actionChecksum")->isEnabled());

    tools->install(QStringLiteral("WVCHeaderEditorGUI"));
    window = std::make_unique<Kartopress>();
    QVERIFY(action("actionHeaderEditor")->isEnabled());
    QVERIFY(action("actionConsole")->isEnabled());
    QCOMPARE(action("actionConsole")->text(), QStringLiteral("Console"));
}

void TestShell::consoleStartsInToolDirectory()
{
    FakeTool terminals(QString(), FakeTool::ElsewhereOnly);
    terminals.install(QStringLiteral("x-terminal-emulator"));
    const QByteArray path = qgetenv("PATH");
    qputenv("PATH", QFile::encodeName(terminals.directory()) + ':' + path);
    tools->install(QStringLiteral("WVCHeaderEditorGUI"));
    window = std::make_unique<Kartopress>();

    action("actionConsole")->trigger();
    qputenv("PATH", path);

    QTRY_COMPARE(terminals.invocations(QStringLiteral("x-terminal-emulator")).size(), 1);
    const FakeTool::Invocation call = terminals.invocations(QStringLiteral("x-terminal-emulator")).first();
    QCOMPARE(call.workingDirectory, tools->directory());
    QCOMPARE(call.arguments.first(), QStringLiteral("-e"));
    QCOMPARE(call.arguments.last(), QStringLiteral("Kartopress 2022 Utilities Console."));
    // The terminal's command really prints the banner.
    QProcess shell;
    shell.start(call.arguments.at(1), call.arguments.mid(2, 3) + QStringList{call.arguments.last()});
    shell.closeWriteChannel();
    QVERIFY(shell.waitForFinished(10000));
    QVERIFY(shell.readAllStandardOutput().startsWith("Kartopress 2022 Utilities Console.\n"));
}

void TestShell::helpOpensUserGuide()
{
    window = std::make_unique<Kartopress>();
    {
        DesktopCapture desktop;
        action("actionHelp")->trigger();
        QCOMPARE(desktop.urls.size(), 1);
        QCOMPARE(QUrlQuery(desktop.urls.first()).queryItemValue(QStringLiteral("query")), QStringLiteral("Kartopress"));
        QCOMPARE(QUrlQuery(desktop.urls.first()).queryItemValue(QStringLiteral("content-lang")), QStringLiteral("en-US"));
    }
    ModalAnswerer answerer({ModalAnswerer::button(QMessageBox::Ok)});
    action("actionHelp")->trigger();
    QVERIFY2(answerer.done(), qPrintable(answerer.report()));
    QVERIFY(answerer.seen().first().text.startsWith(QLatin1String("Failed to open 'https://")));
    QCOMPARE(answerer.seen().first().title, QStringLiteral("Kartopress"));
}

void TestShell::licenseReportReachesTheWindow()
{
    window = std::make_unique<Kartopress>();
    auto* label = window->findChild<QLabel*>(QStringLiteral("licenseTextLabel"));
    QTRY_COMPARE(label->styleSheet(), QStringLiteral("QLabel { color : green; }"));
    QVERIFY(!label->text().isEmpty());
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

    QTest::newRow("windows") << "winnt" << "windows" << "10" << true;
    QTest::newRow("debian") << "linux" << "debian" << "12" << true;
    QTest::newRow("centos 7") << "linux" << "centos" << "7" << false;
    QTest::newRow("centos 8") << "linux" << "centos" << "8" << true;
    QTest::newRow("redhat 8.4 is no integer") << "linux" << "redhat" << "8.4" << true;
    QTest::newRow("redhat 6") << "linux" << "redhat" << "6" << false;
    QTest::newRow("redhat unknown") << "linux" << "redhat" << "" << true;
    QTest::newRow("macos") << "darwin" << "macos" << "13" << false;
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
    QTest::addColumn<bool>("found");

    QTest::newRow("two levels up") << "../../Licenses/TGD EULA.txt" << true;
    QTest::newRow("one level up") << "../Licenses/TGD EULA.txt" << true;
    QTest::newRow("missing") << QString() << false;
}

void TestShell::aboutFindsItsTexts()
{
    QFETCH(QString, agreementAt);
    QFETCH(bool, found);
    QTemporaryDir root;
    const QString bin = root.filePath(QStringLiteral("opt/kartopress/bin"));
    QDir().mkpath(bin);
    if (!agreementAt.isEmpty())
        writeFile(QDir(bin).filePath(agreementAt), "The agreement.\n");
    writeFile(QDir(bin).filePath(QStringLiteral("../acknowledgements.txt")), "Thanks.\n");

    About about(nullptr, bin);
    QCOMPARE(about.windowTitle(), QStringLiteral("About Kartopress 2022"));
    QVERIFY(about.findChild<QLabel*>(QStringLiteral("productLabel"))->text().contains(QLatin1String("Kartopress 2022")));
    QVERIFY(about.findChild<QLabel*>(QStringLiteral("noticeLabel"))->text().contains(QLatin1String("2022")));
    const QString agreement = about.findChild<QTextEdit*>(QStringLiteral("licenseText"))->toPlainText();
    if (found)
        QCOMPARE(agreement, QStringLiteral("The agreement.\n"));
    else
        QCOMPARE(agreement, QStringLiteral("Could not open file '%1/../Licenses/TGD EULA.txt'.").arg(bin));
    QCOMPARE(about.findChild<QPlainTextEdit*>(QStringLiteral("acknowledgementsText"))->toPlainText(),
             QStringLiteral("Thanks.\n"));
}

void TestShell::aboutLicenseColoursAndLinks()
{
    About about(nullptr);
    auto* status = about.findChild<QLabel*>(QStringLiteral("licenseStatusLabel"));
    about.setLicenseStatus(true, QStringLiteral("valid"));
    QCOMPARE(status->styleSheet(), QStringLiteral("QLabel { color : green; }"));
    about.setLicenseStatus(false, QStringLiteral("expired"));
    QCOMPARE(status->styleSheet(), QStringLiteral("QLabel { color : red; }"));
    QCOMPARE(status->text(), QStringLiteral("expired"));
    // The shipped texts are found from the build tree.
    QVERIFY(about.findChild<QTextEdit*>(QStringLiteral("licenseText"))->toPlainText().startsWith(QLatin1String("KARTOPRESS")));

    auto* help = about.findChild<QLabel*>(QStringLiteral("helpLabel"));
    QVERIFY(help->text().contains(QLatin1String("User Guide (online)")));
    {
        DesktopCapture desktop;
        emit help->linkActivated(QStringLiteral("https://docs.example/guide"));
        QCOMPARE(desktop.urls, QList<QUrl>{QUrl(QStringLiteral("https://docs.example/guide"))});
    }
    ModalAnswerer answerer({ModalAnswerer::button(QMessageBox::Ok)});
    emit help->linkActivated(QStringLiteral("https://docs.example/guide"));
    QVERIFY2(answerer.done(), qPrintable(answerer.report()));
    QCOMPARE(answerer.seen().first().text, QStringLiteral("Could not open Url: 'https://docs.example/guide'."));
}

void TestShell::trayExitStopsFirst()
{
    // Last: it ends the event loop of the test program on purpose.
    Kartopress::systemTrayAvailable = &withTray;
    window = std::make_unique<Kartopress>();
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
