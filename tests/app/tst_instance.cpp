#include <QLocalSocket>
#include <QLockFile>
#include <QProcess>
#include <QSignalSpy>
#include <QTemporaryDir>
#include <QThread>
#include <QTranslator>
#include <QtTest>

#include "app/singleinstance.h"
#include "app/translations.h"
#include "tests/support/settingssandbox.h"

class TestInstance : public QObject
{
    Q_OBJECT

private slots:
    void init();
    void messageReachesTheFirstInstance();
    void staleSocketIsReplaced();
    void unreachableFirstInstance();
    void quitWithNoneRunningEndsAtOnce();
    void secondStartActivatesTheFirstAndQuitEndsIt();
    void translations();

private:
    QProcess* launch(const QStringList& arguments);
    QString key() const;

    std::unique_ptr<SettingsSandbox> sandbox;
};

void TestInstance::init()
{
    sandbox = std::make_unique<SettingsSandbox>();
}

QString TestInstance::key() const
{
    return QStringLiteral("kp-test-%1-%2").arg(QCoreApplication::applicationPid()).arg(QTest::currentTestFunction());
}

QProcess* TestInstance::launch(const QStringList& arguments)
{
    auto* process = new QProcess(this);
    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    // The sandbox's settings location gives the launched program the same instance key as
    // SingleInstance::defaultKey() has here, and keeps it away from the user's own instance.
    environment.insert(QStringLiteral("XDG_CONFIG_HOME"), sandbox->path());
    environment.insert(QStringLiteral("QT_QPA_PLATFORM"), QStringLiteral("offscreen"));
    process->setProcessEnvironment(environment);
    process->setProcessChannelMode(QProcess::ForwardedErrorChannel);
    process->start(QStringLiteral(KP_APP_BINARY), arguments);
    return process;
}

void TestInstance::messageReachesTheFirstInstance()
{
    // The first instance answers from its own thread's event loop while this one waits in send.
    QThread thread;
    auto* first = new SingleInstance(key());
    QVERIFY(first->isPrimary());
    first->moveToThread(&thread);
    connect(&thread, &QThread::finished, first, &QObject::deleteLater);
    QSignalSpy received(first, &SingleInstance::messageReceived);
    thread.start();

    SingleInstance second(key());
    QVERIFY(!second.isPrimary());
    QVERIFY(!first->sendMessage(QStringLiteral("{ACTIVATE}"), 1000));  // the first has nobody to tell
    QVERIFY(second.sendMessage(QStringLiteral("{ACTIVATE}"), 5000));
    QVERIFY(second.sendMessage(QString(2000, QChar(0x00e9)), 5000));
    QTRY_COMPARE(received.size(), 2);
    QCOMPARE(received.at(0).first().toString(), QStringLiteral("{ACTIVATE}"));
    QCOMPARE(received.at(1).first().toString(), QString(2000, QChar(0x00e9)));

    thread.quit();
    thread.wait();
}

void TestInstance::staleSocketIsReplaced()
{
    // A crashed instance leaves its socket file behind, but no lock.
    QFile leftover(QDir(QDir::tempPath()).filePath(key()));
    QVERIFY(leftover.open(QIODevice::WriteOnly));
    leftover.close();
    SingleInstance first(key());
    QVERIFY(first.isPrimary());
    QLocalSocket socket;
    socket.connectToServer(key());
    QVERIFY(socket.waitForConnected(2000));
}

void TestInstance::unreachableFirstInstance()
{
    // The lock is held but nobody listens: the send fails within its timeout and this process runs on.
    QLockFile lock(QDir(QDir::tempPath()).filePath(key() + QStringLiteral(".lock")));
    QVERIFY(lock.tryLock(0));
    SingleInstance second(key());
    QVERIFY(!second.isPrimary());
    QVERIFY(!second.sendMessage(QStringLiteral("{ACTIVATE}"), 500));
}

void TestInstance::quitWithNoneRunningEndsAtOnce()
{
    QProcess* quitter = launch({QStringLiteral("--something"), QStringLiteral("-quit")});
    QVERIFY(quitter->waitForFinished(15000));
    QCOMPARE(quitter->exitStatus(), QProcess::NormalExit);
    QCOMPARE(quitter->exitCode(), 0);
}

void TestInstance::secondStartActivatesTheFirstAndQuitEndsIt()
{
    QProcess* first = launch({});
    QVERIFY(first->waitForStarted());
    const QString firstKey = SingleInstance::defaultKey();
    QTRY_VERIFY_WITH_TIMEOUT(
        [&] {
            QLocalSocket probe;
            probe.connectToServer(firstKey);
            return probe.waitForConnected(100);
        }(),
        15000);

    QProcess* second = launch({});
    QVERIFY(second->waitForFinished(15000));
    QCOMPARE(second->exitCode(), 0);
    QCOMPARE(first->state(), QProcess::Running);

    QProcess* quitter = launch({QStringLiteral("-quit")});
    QVERIFY(quitter->waitForFinished(15000));
    QCOMPARE(quitter->exitCode(), 0);
    QVERIFY(first->waitForFinished(15000));
    QCOMPARE(first->exitStatus(), QProcess::NormalExit);
    QCOMPARE(first->exitCode(), 0);
}

// English with no language setting loads nothing and says nothing; a language whose files are
// missing warns once for each of the two.
void TestInstance::translations()
{
    static QStringList warnings;
    const QtMessageHandler previous =
        qInstallMessageHandler([](QtMsgType type, const QMessageLogContext&, const QString& text) {
            if (type == QtWarningMsg)
                warnings.append(text);
        });
    QTemporaryDir appDir;
    QTranslator app, qt;
    QLocale::setDefault(QLocale(QLocale::English, QLocale::UnitedKingdom));
    loadTranslations(app, qt, QString(), appDir.path());
    const QStringList quiet = warnings;
    loadTranslations(app, qt, QStringLiteral("xx_YY"), appDir.path());
    qInstallMessageHandler(previous);
    QLocale::setDefault(QLocale(QLocale::English));
    QCOMPARE(quiet, QStringList());
    QCOMPARE(
        warnings,
        (QStringList{"Can't load app translator file for locale xx_YY from " + appDir.path() + "/translations",
                     "Can't load Qt Base translator file for locale xx_YY from " + appDir.path() + "/translations"}));
    QVERIFY(app.isEmpty() && qt.isEmpty());
}

QTEST_MAIN(TestInstance)
#include "tst_instance.moc"
