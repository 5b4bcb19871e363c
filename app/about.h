#pragma once

#include <QDialog>
#include <QString>

namespace Ui {
class About;
}

// Shows the version, the licence check's status, the licence agreement and the acknowledgements.
class About : public QDialog
{
    Q_OBJECT

public:
    // applicationDir: where the texts are looked up from; the executable's directory in the program.
    explicit About(QWidget* parent, const QString& applicationDir = QString());
    ~About() override;

    void setLicenseStatus(bool valid, QString text);

private:
    void openLink(const QString& link);

    Ui::About* ui;
};
