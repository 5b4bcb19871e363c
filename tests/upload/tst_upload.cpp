#include <QtTest>
#include <QtWidgets>

#include "tests/compression/documentlines.h"
#include "tests/support/faketool.h"
#include "tests/support/modalanswerer.h"
#include "tests/support/settingssandbox.h"
#include "tests/support/testfiles.h"
#include "tests/tasks/signaltrace.h"
#include "upload/credentialstore.h"
#include "upload/uploaddocument.h"
#include "upload/uploadtask.h"
#include "upload/uploadtotsdr.h"

namespace {

// Holds the one worker until a busy dialog has been shown and answered, so that the credential check
// is sure to queue behind a running job.
class PoolGate : public QObject, public QRunnable
{
public:
    PoolGate() { setAutoDelete(false), qApp->installEventFilter(this), QThreadPool::globalInstance()->start(this); }
    ~PoolGate() override { open.release(), QThreadPool::globalInstance()->waitForDone(); }
    void run() override { open.acquire(); }
    bool eventFilter(QObject* watched, QEvent* event) override
    {
        if (event->type() == QEvent::Hide && qobject_cast<QProgressDialog*>(watched))
            open.release();
        return false;
    }
    QSemaphore open;
};

QStringList listed(QWidget& dialog)
{
    QStringList lines;
    auto* list = dialog.findChild<QListWidget*>(QStringLiteral("fileList"));
    for (int row = 0; row < list->count(); ++row)
        lines.append(QFileInfo(list->item(row)->text()).fileName());
    return lines << (list->styleSheet().isEmpty() ? "no picture" : "picture");
}

QList<QUrl> urls(const QTemporaryDir& dir, const QStringList& names)
{
    QList<QUrl> result;
    for (const QString& name : names)
        result.append(QUrl::fromLocalFile(dir.filePath(name)));
    return result;
}

QLineEdit* edit(QWidget& dialog, const char* name)
{
    return dialog.findChild<QLineEdit*>(QLatin1String(name));
}

// A written job document with the common part of the element paths left out.
QStringList flattened(const QString& path)
{
    return documentLines(readFile(path))
        .replaceInStrings(QRegularExpression("^uploadtask/(output/options/)?"), QString());
}

}  // namespace

class TestUpload : public QObject
{
    Q_OBJECT

    QTemporaryDir temp;

private slots:
    void initTestCase()
    {
        // No keyring service answers here, as on a build machine: logins go to the scrambled file.
        qputenv("DBUS_SESSION_BUS_ADDRESS", "unix:path=/nonexistent");
        qputenv("TMPDIR", QFile::encodeName(temp.path()));
        QThreadPool::globalInstance()->setMaxThreadCount(1);
        UploadToTsDR::currentTime = [] { return QDateTime(QDate(2024, 5, 6), QTime(7, 8, 9)); };
    }

    void document_data()
    {
        QTest::addColumn<QByteArray>("xml");
        QTest::addColumn<QStringList>("result");  // the document written back, or the reader's error

        QTest::newRow("root in any case, only two option names, unknown type") << QByteArray(
            "<TsDRUploader version='1.0'><uploadtask logfile='/d/u.log'><inputs><file path='/d/a.las'/><FILE path='/d/b.laz'/>"
            "<dir path='/d'/></inputs><output type='bucket' value='42' description='Survey'><options>"
            "<option name='Publish' value='TRUE'/><Option name='publish' value='true'/><option name='ImportVectorToDb' value='true'/>"
            "<option name='importvectortodb' value='no'/><option name='colour' value='true'/></options></output></uploadtask></TsDRUploader>")
                                                                               << QStringList{
                                                                                      "@version=1.0",
                                                                                      "uploadtask@logfile=/d/u.log",
                                                                                      "inputs",
                                                                                      "inputs/file@path=/d/a.las",
                                                                                      "inputs/file@path=/d/b.laz",
                                                                                      "output@type=catalogid",
                                                                                      "output@value=42",
                                                                                      "output@description=Survey",
                                                                                      "output/options",
                                                                                      "option@name=Publish",
                                                                                      "option@value=true",
                                                                                      "option@name=importvectortodb",
                                                                                      "option@value=false"};
        QTest::newRow("no uploadtask")
            << QByteArray("<tsdruploader version='1.0'/>")
            << QStringList{"@version=1.0",  "uploadtask@logfile=", "inputs",        "output@type=folder",
                           "output@value=", "output@description=", "output/options"};
        QTest::newRow("missing version") << QByteArray("<tsdruploader><uploadtask/></tsdruploader>")
                                         << QStringList{"<tsdruploader> version attribute must be \"1.0\"."};
        QTest::newRow("compression document")
            << QByteArray("<imagecompressor version='1.0'/>")
            << QStringList{"Xml document is not a valid upload process (root element is not <tsdruploader>)."};
        QTest::newRow("broken") << QByteArray("<tsdruploader version='1.0'>\n<uploadtask>\n</tsdruploader>")
                                << QStringList{"tag mismatch at line 3 and colum 15."};
        QTest::newRow("no file") << QByteArray(
            "<tsdruploader version='1.0'><uploadtask/><inputs><files path='a'/></inputs><output/></tsdruploader>")
                                 << QStringList{"<inputs> element must contain at least one <file> element."};
        QTest::newRow("no output") << QByteArray(
            "<tsdruploader version='1.0'><uploadtask><inputs><file path='a'/></inputs></uploadtask></tsdruploader>")
                                   << QStringList{"Xml must contain at least one <output> element."};
    }

    void document()
    {
        QFETCH(QByteArray, xml);
        QFETCH(QStringList, result);
        QTemporaryDir dir;
        const QString path = dir.filePath("job.xml"), copy = dir.filePath("copy.xml");
        writeFile(path, xml);
        QString error;
        const std::unique_ptr<UploadDocument> document(UploadDocument::read(path, error));
        QVERIFY(!document || document->write(copy, error));
        QCOMPARE(document ? flattened(copy) : QStringList{error}, result);

        QString jobError;
        const std::unique_ptr<UploadTask> task(UploadTask::fromXml(path, jobError));
        const QString made = task
            ? QStringList{task->inputFilename(), task->outputFilename(), task->logFilename(), task->uploadFolder()}
                  .join('|')
            : jobError;
        QCOMPARE(
            made,
            document
                ? QStringList({path, document->output.description, document->logFile, document->output.value}).join('|')
                : error);
    }

    void progressLines_data()
    {
        QTest::addColumn<QList<QByteArray>>("chunks");  // "abort" aborts the job between chunks
        QTest::addColumn<QString>("sent");

        QTest::newRow("last file at 100")
            << QList<QByteArray>{"Uploading File 2/2 '/d/b.las':  100%\r\n"} << "100 Upload finished; ";
        QTest::newRow("last file at 99") << QList<QByteArray>{"Uploading File 2/2 '/d/b.las': 99% 3.1 MB/s\r\n"}
                                         << "99 File 2/2 'b.las'' uploading; ";
        QTest::newRow("two lines in a chunk, noise between")
            << QList<QByteArray>{"Login ok\r\n File 1/2 'a.las': 40%\rConnecting\n File 1/2 '/d/a.las':\t100%\r\n"}
            << "40 File 1/2 ''a.las'' uploading; 100 File 1/2 'a.las'' uploading; ";
        QTest::newRow("lines cut between chunks")
            << QList<QByteArray>{" File 1/3 '/d/a", ".las': 57%\r\n File 2/3 '/d/b.las': 5", "7%\r\n", "\n"}
            << "5 File 2/3 'b.las'' uploading; ";
        QTest::newRow("abort") << QList<QByteArray>{" File 1/1 '/d/a.las': 10%\r", "abort",
                                                    " File 1/1 '/d/a.las': 20%\r"}
                               << "10 File 1/1 'a.las'' uploading; ";
    }

    void progressLines()
    {
        QFETCH(QList<QByteArray>, chunks);
        QFETCH(QString, sent);
        UploadTask task;
        task.setInputFilename(QStringLiteral("/tmp/job.xml"));
        SignalTrace trace(&task);
        emit task.started(0);
        for (const QByteArray& chunk : chunks)
            chunk == "abort" ? task.abort() : void(task.handleStandardOutput(chunk));
        emit task.finished(0);
        QCOMPARE(trace.text(),
                 "0 Starting upload; started 0; " + sent + "100 Finished uploading 'job.xml'.; finished 0");
    }

    void uploadRun_data()
    {
        QTest::addColumn<QStringList>("script");  // empty: the uploader is missing
        QTest::addColumn<QString>("sent");  // between the start and the end
        QTest::addColumn<QString>("logged");  // after the start lines

        QTest::newRow("uploaded") << QStringList{"out Login ok\\r\\n File 1/1 '/d/a.las': 100%\\r\\n"}
                                  << "100 Upload finished; 100 Finished uploading 'job.xml'.; finished 0"
                                  << "Login ok\r\n File 1/1 '/d/a.las': 100%\r\nFinished uploading 'job.xml'.\r\n";
        QTest::newRow("refused") << QStringList{"err no such folder\\n", "exit 3"}
                                 << "0 Upload exited with an error. See log file for details.; failed 0 3; finished 0"
                                 << "no such folder\nUpload terminated with errors.\r\n";
        QTest::newRow("missing uploader")
            << QStringList() << "0 Failed to start upload executable '<tool>'.; failedtostart 0; finished 0"
            << "Failed to start upload executable '<tool>'.\r\n";
    }

    void uploadRun()
    {
        QFETCH(QStringList, script);
        QFETCH(QString, sent);
        QFETCH(QString, logged);
        QTemporaryDir dir;
        FakeTool tool;
        if (!script.isEmpty())
            tool.install("TsDRUploader"), tool.setScript("TsDRUploader", script);
        UploadTask task;
        task.setUserName("alice"), task.setPassword("s3cret"), task.setOutputFilename("TsDR upload [alice]");
        task.setInputFilename(dir.filePath("job.xml")), task.setLogFilename(dir.filePath("job.log"));
        SignalTrace trace(&task);
        task.run();

        const QString program = tool.directory() + "/TsDRUploader";
        QCOMPARE(trace.text(), "0 Starting upload; started 0; " + sent.replace("<tool>", program));
        QCOMPARE(tool.invocations("TsDRUploader").value(0).arguments,
                 script.isEmpty() ? QStringList()
                                  : QStringList({"-u", "alice", "-p", "s3cret", "-xml", task.inputFilename()}));
        QCOMPARE(
            QString::fromLocal8Bit(readFile(task.logFilename())),
            QStringLiteral(
                "Starting upload of file '%1'\r\nUploading to TsDR upload [alice].\r\nUsing upload application : %2\r\n"
                "Calling TsDRUploader with arguments: '-u alice -p ****** -xml %1'.\r\n")
                    .arg(task.inputFilename(), program)
                + logged.replace("<tool>", program));
    }

    void okChecks_data()
    {
        QTest::addColumn<QString>("password");
        QTest::addColumn<QStringList>("files");
        QTest::addColumn<int>("exitCode");  // of the uploader's login
        QTest::addColumn<QStringList>("modals");

        const QStringList clouds{"a.LAS", "b.e57", "c.tspc"};
        QTest::newRow("no password") << "" << QStringList() << 0
                                     << QStringList{"Authentication: You must enter a valid username and password."};
        QTest::newRow("no files") << "s3cret" << QStringList() << 0
                                  << QStringList{"Upload: No files selected for upload."};
        QTest::newRow("a WVC file") << "s3cret" << clouds + QStringList{"d.wvc"} << 0
                                    << QStringList{"Validation: Unsupported file type."};
        QTest::newRow("login refused behind a job")
            << "s3cret" << clouds << 1 << QStringList{"QProgressDialog", "Authentication: Invalid credentials."};
        QTest::newRow("login accepted behind a job") << "s3cret" << clouds << 0 << QStringList{"QProgressDialog"};
    }

    void okChecks()
    {
        QFETCH(QString, password);
        QFETCH(QStringList, files);
        QFETCH(int, exitCode);
        QFETCH(QStringList, modals);
        SettingsSandbox sandbox;
        FakeTool tool;
        tool.install("TsDRUploader");
        tool.setScript("TsDRUploader", {QStringLiteral("exit %1").arg(exitCode)});
        QTemporaryDir dir;
        for (const QString& name : files)
            writeFile(dir.filePath(name), "points");
        PoolGate gate;
        UploadToTsDR dialog;
        dialog.show();
        QVERIFY(dialog.addFiles(urls(dir, files)));
        edit(dialog, "userNameEdit")->setText("alice");
        edit(dialog, "passwordEdit")->setText(password);
        ModalAnswerer answerer;
        for (const QString& modal : modals)
            answerer.expect(modal == "QProgressDialog" ? ModalAnswerer::accept()
                                                       : ModalAnswerer::button(QMessageBox::Ok));

        dialog.findChild<QDialogButtonBox*>()->button(QDialogButtonBox::Ok)->click();

        QTRY_VERIFY2(answerer.done(), qPrintable(answerer.report()));
        QCOMPARE(answerer.shown(true), modals);
        const bool accepted = modals == QStringList{"QProgressDialog"};
        QCOMPARE(dialog.result(), accepted ? QDialog::Accepted : QDialog::Rejected);
        // A refusal keeps everything the user gave.
        const QStringList kept =
            QStringList{edit(dialog, "userNameEdit")->text(), edit(dialog, "passwordEdit")->text()} + listed(dialog);
        QCOMPARE(kept,
                 QStringList({"alice", password}) + files + QStringList{files.isEmpty() ? "picture" : "no picture"});
        QCOMPARE(tool.invocations("TsDRUploader").value(0).arguments,
                 modals.contains("QProgressDialog") ? QStringList({"-u", "alice", "-p", "s3cret"}) : QStringList());
        if (!accepted)
            return;

        const QList<RunnableTaskBase*> tasks = dialog.tasks();
        QCOMPARE(tasks.size(), 1);
        const QString base = temp.filePath("KartopressUpload-2024.05.06-07.08.09");
        QCOMPARE(tasks[0]->arguments(), QStringList({"-u", "alice", "-p", "s3cret", "-xml", base + ".xml"}));
        QCOMPARE(tasks[0]->outputFilename() + '|' + tasks[0]->logFilename(), "TsDR upload [alice]|" + base + ".log");
        QStringList document = flattened(base + ".xml");
        std::sort(document.begin() + 3, document.begin() + 6);  // the inputs come in the order of a set
        QCOMPARE(document,
                 QStringList({"@version=1.0", "uploadtask@logfile=" + base + ".log", "inputs",
                              "inputs/file@path=" + dir.filePath("a.LAS"), "inputs/file@path=" + dir.filePath("b.e57"),
                              "inputs/file@path=" + dir.filePath("c.tspc"), "output@type=folder", "output@value=ROOT",
                              "output@description=TsDR upload [alice]", "output/options"}));

        // A second upload in the same second writes over the first one's document.
        UploadToTsDR second;
        second.addFiles(urls(dir, {"b.e57"}));
        const QList<RunnableTaskBase*> secondTasks = second.tasks();
        QCOMPARE(secondTasks.value(0)->inputFilename(), base + ".xml");
        QCOMPARE(flattened(base + ".xml").filter("file@"), QStringList{"inputs/file@path=" + dir.filePath("b.e57")});
        qDeleteAll(tasks + secondTasks);
    }

    void fileList()
    {
        SettingsSandbox sandbox;
        QTemporaryDir dir;
        for (const char* name : {"a.las", "b.laz", "c.las", "d.e57"})
            writeFile(dir.filePath(name), "points");
        QDir(dir.path()).mkdir("tiles");
        UploadToTsDR dialog;
        dialog.show();
        const ModalAnswerer::Answer ok = ModalAnswerer::button(QMessageBox::Ok);
        ModalAnswerer answerer({ok, ok, ok, ModalAnswerer::files({dir.filePath("d.e57"), dir.filePath("c.las")})});
        QStringList results;
        // A directory between two files: the first stays, the third is not looked at.
        results << QString::number(dialog.addFiles(urls(dir, {"a.las", "tiles", "b.laz"}))) << listed(dialog);
        results << QString::number(dialog.addFiles(urls(dir, {"gone.las"})))
                << QString::number(dialog.addFiles(urls(dir, {"a.las"})));
        dialog.findChild<QListWidget*>()->setCurrentRow(0);
        QTest::keyClick(dialog.findChild<QListWidget*>(), Qt::Key_Delete);
        results << listed(dialog);
        dialog.findChild<QPushButton*>("addFilesButton")->click();
        QStringList afterAdd = listed(dialog);
        std::sort(afterAdd.begin(), afterAdd.end() - 1);
        results << afterAdd;

        QTRY_VERIFY2(answerer.done(), qPrintable(answerer.report()));
        QCOMPARE(results,
                 QStringList({"0", "a.las", "no picture", "0", "0", "picture", "c.las", "d.e57", "no picture"}));
        QCOMPARE(answerer.shown(true),
                 QStringList({"Information: Cannot add a directory of items.",
                              "Information: Error adding files to the download list.",
                              "Information: Cannot add duplicate items.", "QFileDialog"}));
    }

    void rememberOnClose_data()
    {
        QTest::addColumn<bool>("remember");
        QTest::addColumn<QStringList>("reopened");  // the edits and the flag of the next dialog

        QTest::newRow("remembered after Cancel") << true << QStringList{"alice", "s3cret", "1"};
        QTest::newRow("forgotten after Cancel") << false << QStringList{"", "", "0"};
    }

    void rememberOnClose()
    {
        QFETCH(bool, remember);
        QFETCH(QStringList, reopened);
        SettingsSandbox sandbox;
        // Each dialog is cancelled with what the next one is to show, the last one is only looked at.
        const QStringList typed{"old", "0ld-secret", "1", "alice", "s3cret", remember ? "1" : "0"};
        QStringList seen;
        for (int round = 0; round < 3; ++round) {
            UploadToTsDR dialog;
            // Once the keyring has failed to answer, the login is saved at once when the dialog closes.
            QTRY_VERIFY(!dialog.findChild<QLabel*>("keyringNoteLabel")->isHidden());
            auto* rememberBox = dialog.findChild<QCheckBox*>("rememberCheckBox");
            seen << edit(dialog, "userNameEdit")->text() << edit(dialog, "passwordEdit")->text()
                 << QString::number(rememberBox->isChecked());
            if (round == 2)
                break;
            edit(dialog, "userNameEdit")->setText(typed[round * 3]);
            edit(dialog, "passwordEdit")->setText(typed[round * 3 + 1]);
            rememberBox->setChecked(typed[round * 3 + 2] == "1");
            dialog.reject();
        }
        QCOMPARE(seen, QStringList({"", "", "0", "old", "0ld-secret", "1"}) + reopened);

        // No file holds a login in clear text, and the one that holds it scrambled is its owner's alone.
        for (QDirIterator it(sandbox.path(), QDir::Files, QDirIterator::Subdirectories); it.hasNext();) {
            const QByteArray content = readFile(it.next());
            QVERIFY2(!content.contains("s3cret") && !content.contains("alice") && !content.contains("0ld"),
                     qPrintable(it.filePath()));
        }
        QCOMPARE(QFile::permissions(CredentialStore::fallbackFileName()),
                 QFileDevice::ReadOwner | QFileDevice::WriteOwner | QFileDevice::ReadUser | QFileDevice::WriteUser);
    }
};

QTEST_MAIN(TestUpload)
#include "tst_upload.moc"
