#include "app/translations.h"

#include <QCoreApplication>
#include <QLocale>
#include <QTranslator>

void loadTranslations(QTranslator& appTranslator, QTranslator& qtTranslator, const QString& language,
                      const QString& applicationDir)
{
    if (QLocale().language() == QLocale::English && language.isEmpty())
        return;
    QString localeName;
    if (language.isEmpty() || language == QLatin1String("System Default")) {
        localeName = QLocale::system().name();
    } else {
        // The default locale is set from the still-empty name on purpose: the setting chooses the
        // translation files, not the number and date formats.
        QLocale::setDefault(QLocale(localeName));
        localeName = language;
    }
    const QString directory = applicationDir + QStringLiteral("/translations");
    if (appTranslator.load(QStringLiteral("imagecompressorgui_") + localeName, directory))
        QCoreApplication::installTranslator(&appTranslator);
    else
        qWarning("Can't load app translator file for locale %s from %s", qPrintable(localeName), qPrintable(directory));
    if (qtTranslator.load(QStringLiteral("qtbase_") + localeName, directory))
        QCoreApplication::installTranslator(&qtTranslator);
    else
        qWarning("Can't load Qt Base translator file for locale %s from %s", qPrintable(localeName),
                 qPrintable(directory));
}
