#pragma once

#include <QUrl>

// The online user guide: a search of the documentation site for the application. Kept in the
// setting "GUI/UserGuideUrl" so that a site that moves needs no new build.
QUrl userGuideUrl();
