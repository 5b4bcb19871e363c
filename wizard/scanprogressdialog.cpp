#include "wizard/scanprogressdialog.h"

#include <QCoreApplication>

ScanProgressDialog::ScanProgressDialog(const QString& label, QWidget* parent, Qt::WindowModality modality)
    : QProgressDialog(label, QString(), 0, 100, parent)
{
    setCancelButton(nullptr);
    setWindowModality(modality);
    // With no minimum duration the first value shows the dialog; the events processed after it
    // paint it before the first call into the library blocks the window.
    setMinimumDuration(0);
    setValue(0);
    QCoreApplication::processEvents();
}

void ScanProgressDialog::setPercent(double percent)
{
    setValue(int(percent));
}

ScanProgressDialog::~ScanProgressDialog()
{
    finish();
}

void ScanProgressDialog::finish()
{
    // Reaching the maximum resets the dialog, which hides it; a second call finds it reset.
    setValue(maximum());
}
