#include "app/about.h"

#include <QCoreApplication>
#include <QDesktopServices>
#include <QFile>
#include <QFileInfo>
#include <QMessageBox>
#include <QPlainTextEdit>
#include <QTextEdit>
#include <QUrl>

#include "app/ui_about.h"
#include "core/appconstants.h"
#include "core/userguide.h"

namespace {

// The text lies two levels above the executable in an installed layout and one level above it in a
// build tree; the second path is taken without a test, so a missing file is reported by its name.
QString textPath(const QString& applicationDir, const QString& relative)
{
    const QString installed = QStringLiteral("%1/../../").arg(applicationDir) + relative;
    if (QFileInfo::exists(installed))
        return installed;
    return QStringLiteral("%1/../").arg(applicationDir) + relative;
}

QString readText(const QString& path, bool* ok)
{
    QFile file(path);
    *ok = file.open(QIODevice::ReadOnly | QIODevice::Text);
    return *ok ? QString::fromUtf8(file.readAll()) : QString();
}

}  // namespace

About::About(QWidget* parent, const QString& applicationDir)
    : QDialog(parent)
    , ui(new Ui::About)
{
    ui->setupUi(this);
    const QString directory = applicationDir.isEmpty() ? QCoreApplication::applicationDirPath() : applicationDir;
    setWindowTitle(tr("About %1 %2").arg(AppConstants::ApplicationName, AppConstants::ApplicationYear));
    // The product label shows the year where the version placeholder stands; the build number has
    // its own label.
    ui->productLabel->setText(ui->productLabel->text()
                                  .replace(QLatin1String("${APPNAME}"), AppConstants::ApplicationName)
                                  .replace(QLatin1String("${VERSION}"), AppConstants::ApplicationYear));
    ui->noticeLabel->setText(ui->noticeLabel->text().replace(QLatin1String("${YEAR}"), QLatin1String("2022")));
    ui->versionLabel->setText(QStringLiteral(KP_VERSION));

    bool ok = false;
    const QString agreementPath = textPath(directory, QStringLiteral("Licenses/TGD EULA.txt"));
    const QString agreement = readText(agreementPath, &ok);
    ui->licenseText->setPlainText(ok ? agreement : tr("Could not open file '%1'.").arg(agreementPath));
    const QString acknowledgementsPath = textPath(directory, QStringLiteral("acknowledgements.txt"));
    const QString acknowledgements = readText(acknowledgementsPath, &ok);
    ui->acknowledgementsText->setPlainText(ok ? acknowledgements
                                              : tr("Could not open file '%1'.").arg(acknowledgementsPath));

    ui->helpLabel->setText(QStringLiteral("<a href=\"%1\">%2</a>")
                               .arg(userGuideUrl().toString(QUrl::FullyEncoded), tr("User Guide") + tr(" (online)")));
    connect(ui->helpLabel, &QLabel::linkActivated, this, &About::openLink);
    connect(ui->webLabel, &QLabel::linkActivated, this, &About::openLink);
    connect(ui->buttonBox, &QDialogButtonBox::rejected, this, &QDialog::reject);
}

About::~About()
{
    delete ui;
}

void About::setLicenseStatus(bool valid, QString text)
{
    ui->licenseStatusLabel->setText(text);
    ui->licenseStatusLabel->setStyleSheet(valid ? QStringLiteral("QLabel { color : green; }")
                                                : QStringLiteral("QLabel { color : red; }"));
}

void About::openLink(const QString& link)
{
    if (!QDesktopServices::openUrl(QUrl(link)))
        QMessageBox::warning(this, AppConstants::ApplicationName, tr("Could not open Url: '%1'.").arg(link),
                             QMessageBox::Ok);
}
