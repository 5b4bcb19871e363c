// Hashes one file with a ChecksumTask sent through the real queue of a running main window, and
// reports the throughput and the longest stall of the GUI event loop while the job ran.
#include <QApplication>
#include <QElapsedTimer>
#include <QFileInfo>
#include <QSettings>
#include <QTemporaryDir>
#include <QTimer>
#include <QUrl>
#include <cstdio>

#include "app/kartopress.h"
#include "tests/support/modalanswerer.h"

int main(int argc, char* argv[])
{
    QApplication application(argc, argv);
    if (argc != 2) {
        std::fprintf(stderr, "usage: checksumbench FILE\n");
        return 2;
    }
    const QString file = QString::fromLocal8Bit(argv[1]);
    QTemporaryDir settingsDir;
    QSettings::setPath(QSettings::IniFormat, QSettings::UserScope, settingsDir.path());
    Kartopress::systemTrayAvailable = [] { return false; };
    Kartopress window;
    window.show();
    // The end-of-run box is answered, so that the benchmark never waits for a person.
    ModalAnswerer answerer({ModalAnswerer::button(QMessageBox::Ok)});

    constexpr int tickMs = 5;
    QElapsedTimer clock;
    qint64 lastTick = 0;
    qint64 longestStall = 0;
    QTimer ticker;
    ticker.setTimerType(Qt::PreciseTimer);
    QObject::connect(&ticker, &QTimer::timeout, [&] {
        const qint64 now = clock.elapsed();
        longestStall = std::max(longestStall, now - lastTick - tickMs);
        lastTick = now;
    });

    window.newChecksumTaskWithFiles({QUrl::fromLocalFile(file)});
    qint64 elapsed = 0;
    QTimer::singleShot(0, [&] {
        clock.start();
        ticker.start(tickMs);
        window.start();
    });
    QObject::connect(&window, &Kartopress::destroyed, [] {});
    // The run is over when the window answers with its end-of-run box.
    QTimer poll;
    QObject::connect(&poll, &QTimer::timeout, [&] {
        if (!answerer.seen().isEmpty() && elapsed == 0) {
            elapsed = clock.elapsed();
            QApplication::quit();
        }
    });
    poll.start(1);
    application.exec();

    const double mib = double(QFileInfo(file).size()) / (1024.0 * 1024.0);
    std::printf("checksumtask_seconds %.3f\n", double(elapsed) / 1000.0);
    std::printf("checksumtask_mib_per_s %.1f\n", mib / (double(elapsed) / 1000.0));
    std::printf("gui_longest_stall_ms %lld\n", static_cast<long long>(std::max<qint64>(longestStall, 0)));
    std::printf("end_of_run_notice %s\n",
                answerer.seen().isEmpty() ? "missing" : qPrintable(answerer.seen().first().text));
    return 0;
}
