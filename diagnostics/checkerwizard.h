#pragma once

#include <QWizard>

namespace Ui {
class CheckerWizard;
}

// A form for gathering images to check. File checks are made straight from a file dialog or from
// dropped files, so nothing opens it; it is kept as a form with no logic behind it.
class CheckerWizard : public QWizard
{
    Q_OBJECT

public:
    explicit CheckerWizard(QWidget* parent = nullptr);
    ~CheckerWizard() override;

private:
    Ui::CheckerWizard* ui;
};
