#pragma once

#include <QString>

class QTranslator;

// Loads the program's and Qt's translations for the language setting into the two translators and
// installs those that loaded. An empty setting with an English default locale needs neither.
void loadTranslations(QTranslator& appTranslator, QTranslator& qtTranslator, const QString& language,
                      const QString& applicationDir);
