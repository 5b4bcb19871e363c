#pragma once

#include <QObject>
#include <QString>

class QThread;

// Decides, on a thread of its own, whether the program may run, and reports a status text for the
// window. This build carries no licence restrictions, so the check always grants full use; the
// window depends only on the report.
class LicenseCheck : public QObject
{
    Q_OBJECT

public:
    explicit LicenseCheck(QObject* parent = nullptr);
    ~LicenseCheck() override;

    void start();
    bool isRunning() const;

signals:
    void finished(bool valid, const QString& text);

private:
    QThread* thread = nullptr;
};
