#include "diagnostics/checkerwizard.h"

#include "diagnostics/ui_checkerwizard.h"

CheckerWizard::CheckerWizard(QWidget* parent)
    : QWizard(parent)
    , ui(new Ui::CheckerWizard)
{
    ui->setupUi(this);
}

CheckerWizard::~CheckerWizard()
{
    delete ui;
}
