#pragma once

#include <QProgressDialog>

// The modal dialog that stands while the wizard calls into the dataset library: 0 to 100, no
// cancel button. It is shown and painted at once, because even a short scan blocks the window and
// the user should see why.
class ScanProgressDialog : public QProgressDialog
{
public:
    ScanProgressDialog(const QString& label, QWidget* parent, Qt::WindowModality modality = Qt::WindowModal);

    ~ScanProgressDialog() override;

    // Shows the work done and closes the dialog, before any box that reports on the work.
    void finish();

    // The library's progress callbacks hand over percentages; the dialog shows their whole part.
    void setPercent(double percent);
};
