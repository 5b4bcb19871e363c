// The main window's tools and status: the Tools menu, companion programs, the console, help, the
// About dialog and what the licence check's report enables.
#include <QDesktopServices>
#include <QFileInfo>
#include <QMenu>
#include <QMessageBox>
#include <QProcess>
#include <QStandardPaths>
#include <QSysInfo>
#include <QToolButton>

#include "app/about.h"
#include "app/kartopress.h"
#include "app/ui_kartopress.h"
#include "core/appconstants.h"
#include "core/platform.h"
#include "core/toolpaths.h"
#include "core/userguide.h"

void Kartopress::disableActionsWithoutCommand()
{
    for (QAction* action : findChildren<QAction*>(QString(), Qt::FindDirectChildrenOnly)) {
        if (!action->objectName().startsWith(QLatin1String("action")) || action->menu())
            continue;
        if (!commands.contains(action))
            action->setEnabled(false);
    }
}

void Kartopress::setupToolsMenu()
{
    ui->actionConsole->setText(tr("Console"));
    auto* menu = new QMenu(this);
    menu->setToolTipsVisible(true);
    menu->addAction(ui->actionWvcCheck);
    menu->addAction(ui->actionHeaderEditor);
    menu->addAction(ui->actionChecksum);
    menu->addAction(ui->actionDiskSpeed);
    menu->addAction(ui->actionConsole);
    menu->addSeparator();
    menu->addAction(ui->actionHelp);
    ui->actionTools_2->setMenu(menu);
    if (auto* button = qobject_cast<QToolButton*>(ui->toolBar->widgetForAction(ui->actionTools_2))) {
        button->setPopupMode(QToolButton::MenuButtonPopup);
        // Tools does nothing itself, so a click on its face opens its menu too.
        connect(ui->actionTools_2, &QAction::triggered, button, &QToolButton::showMenu);
    }
}

void Kartopress::checkToolInstalled(QLatin1String exe, QAction* action)
{
    if (QFileInfo(toolPath(exe)).isExecutable())
        return;
    action->setEnabled(false);
    action->setToolTip(tr("Kartopress Utilities not installed."));
}

void Kartopress::launchExe(QString path, QString name)
{
    const QString command = path.contains(QLatin1Char(' ')) ? QLatin1Char('"') + path + QLatin1Char('"') : path;
    // The command is split as a shell would split it, so the quotes keep a path with blanks whole. The
    // companion program inherits our working directory.
    const QStringList parts = QProcess::splitCommand(command);
    if (!parts.isEmpty() && QProcess::startDetached(parts.first(), parts.mid(1)))
        return;
    if (name == QLatin1String("Kartopress Viewer") || name == QLatin1String("WVC Header Editor"))
        QMessageBox::warning(
            this, tr("Error"),
            tr("Could not start \"%1\". Reinstall Kartopress and select the optional components.").arg(name),
            QMessageBox::Ok);
    else
        QMessageBox::warning(this, tr("Error"), tr("Could not start \"%1\" (%2).").arg(name, path), QMessageBox::Ok);
}

void Kartopress::launchConsole(QString)
{
    const QString banner =
        tr("%1 %2 Utilities Console.").arg(AppConstants::ApplicationName, AppConstants::ApplicationYear);
    // The banner travels as an argument of the shell, never inside the script, so no quoting can break it.
    const QStringList shell{QStringLiteral("/bin/sh"), QStringLiteral("-c"),
                            QStringLiteral("echo \"$1\"; exec \"${SHELL:-/bin/sh}\" -i"), QStringLiteral("sh"), banner};
    for (const QString& terminal : Platform::terminalCandidates()) {
        const QString program = QStandardPaths::findExecutable(terminal);
        if (program.isEmpty())
            continue;
        // Each terminal has its own word for "run this program with these arguments".
        const QString runFlag = terminal == QLatin1String("gnome-terminal") ? QStringLiteral("--")
            : terminal == QLatin1String("xfce4-terminal")                   ? QStringLiteral("-x")
                                                                            : QStringLiteral("-e");
        QProcess::startDetached(program, QStringList{runFlag} + shell, toolDirectory());
        return;
    }
    qWarning("No terminal emulator found for the utilities console.");
}

void Kartopress::openHelp()
{
    const QUrl address = userGuideUrl();
    if (!QDesktopServices::openUrl(address))
        QMessageBox::warning(this, AppConstants::ApplicationName, tr("Failed to open '%1'.").arg(address.toString()),
                             QMessageBox::Ok);
}

void Kartopress::about()
{
    About dialog(this);
    dialog.setLicenseStatus(licenseValid, licenseText);
    dialog.exec();
}

void Kartopress::licenseCheckFinished(bool valid, const QString& text)
{
    licenseValid = valid;
    licenseText = text;
    ui->licenseTextLabel->setText(text);
    ui->licenseTextLabel->setStyleSheet(valid ? QStringLiteral("QLabel { color : green; }")
                                              : QStringLiteral("QLabel { color : red; }"));
    if (!valid)
        return;
    const auto enableCommand = [this](QAction* action) { action->setEnabled(commands.contains(action)); };
    enableCommand(ui->actionNewWvcJP2);
    enableCommand(ui->actionLoadXml);
    if (!Platform::supportsPointCloudConversion(QSysInfo::kernelType(), QSysInfo::productType(),
                                                QSysInfo::productVersion())) {
        ui->actionNewUDS->setEnabled(false);
        ui->actionNewUDS->setToolTip(tr("TSPC conversion not available on this platform."));
        return;
    }
    ui->actionNewUDS->setToolTip(newUdsToolTip);
    enableCommand(ui->actionNewUDS);
}
