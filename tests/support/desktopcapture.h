#pragma once

#include <QList>
#include <QObject>
#include <QUrl>

// Receives, while it lives, what the program asks the desktop to open, instead of the desktop.
class DesktopCapture : public QObject
{
    Q_OBJECT

public:
    DesktopCapture();
    ~DesktopCapture() override;

    QList<QUrl> urls;

public slots:
    void open(const QUrl& url);
};
