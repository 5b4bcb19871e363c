#include "tests/support/desktopcapture.h"

#include <QDesktopServices>

namespace {
const char* const schemes[] = {"file", "http", "https"};
}

DesktopCapture::DesktopCapture()
{
    for (const char* scheme : schemes)
        QDesktopServices::setUrlHandler(QLatin1String(scheme), this, "open");
}

DesktopCapture::~DesktopCapture()
{
    for (const char* scheme : schemes)
        QDesktopServices::unsetUrlHandler(QLatin1String(scheme));
}

void DesktopCapture::open(const QUrl& url)
{
    urls.append(url);
}
