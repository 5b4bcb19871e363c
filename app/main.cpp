#include <QApplication>
#include <QPixmap>
#include <QSplashScreen>
#include <QThread>
#include <QTranslator>

#include "app/kartopress.h"
#include "app/singleinstance.h"
#include "app/translations.h"
#include "core/platform.h"
#include "core/settings.h"

int main(int argc, char* argv[])
{
    // Plug-ins shipped beside the executable must be known before the application object loads any.
    const QString executableDir = Platform::executableDirectory();
    QCoreApplication::addLibraryPath(executableDir + QStringLiteral("/qtplugins"));

    QApplication application(argc, argv);
    SingleInstance singleInstance(SingleInstance::defaultKey());
    const QStringList arguments = QCoreApplication::arguments();
    QApplication::setQuitOnLastWindowClosed(false);

    const QString language = createSettings(AppConstants::LanguageSettingsApplication)
                                 ->value(QStringLiteral("Gui/MainWindow/Language"), QString())
                                 .toString();
    QTranslator appTranslator;
    QTranslator qtTranslator;
    loadTranslations(appTranslator, qtTranslator, language, QCoreApplication::applicationDirPath());

    // The window is built before we know whether we are the first instance; a second one discards it.
    Kartopress* window = Kartopress::instance();
    QObject::connect(&singleInstance, &SingleInstance::messageReceived, window, [window](const QString& message) {
        if (message == QLatin1String("{ACTIVATE}")) {
            window->show();
            window->raise();
            window->activateWindow();
        } else if (message == QLatin1String("{QUIT}")) {
            QCoreApplication::quit();
        }
    });

    if (arguments.contains(QStringLiteral("-quit"))) {
        singleInstance.sendMessage(QStringLiteral("{QUIT}"), 5000);
        QCoreApplication::quit();
        return 0;
    }
    if (singleInstance.sendMessage(QStringLiteral("{ACTIVATE}"), 5000)) {
        delete window;
        return 0;
    }

    QSplashScreen splash(QPixmap(QStringLiteral(":/ImageCompressor/Resources/splash.png")));
    splash.show();
    QCoreApplication::processEvents();
    QThread::sleep(2);
    window->show();
    splash.finish(window);

    const int result = QApplication::exec();
    delete window;
    return result;
}
