#include "core/tempdirectorymenu.h"

#include <QAction>
#include <QCoreApplication>
#include <QFileDialog>
#include <QIcon>
#include <QLineEdit>
#include <QMenu>
#include <QStandardPaths>
#include <QToolButton>

namespace {

struct TempDirectoryMenu
{
    Q_DECLARE_TR_FUNCTIONS(TempDirectoryMenu)
};

}  // namespace

void addTempDirectoryMenu(QWidget* parent, QLineEdit* edit, QToolButton* button)
{
    auto* menu = new QMenu(button);
    QAction* userTemp = menu->addAction(QIcon(QStringLiteral(":/ImageCompressor/Resources/user1.png")),
                                        TempDirectoryMenu::tr("User temp directory"));
    QAction* custom = menu->addAction(QIcon(QStringLiteral(":/ImageCompressor/Resources/folder_add.png")),
                                      TempDirectoryMenu::tr("Choose custom directory..."));
    QObject::connect(userTemp, &QAction::triggered, edit,
                     [edit] { edit->setText(QStandardPaths::writableLocation(QStandardPaths::TempLocation)); });
    QObject::connect(custom, &QAction::triggered, edit, [parent, edit] {
        const QString chosen = QFileDialog::getExistingDirectory(
            parent, TempDirectoryMenu::tr("Select temp directory"),
            QStandardPaths::writableLocation(QStandardPaths::TempLocation), QFileDialog::ShowDirsOnly);
        if (!chosen.isEmpty())
            edit->setText(chosen);
    });
    button->setMenu(menu);
    button->setPopupMode(QToolButton::InstantPopup);
}
