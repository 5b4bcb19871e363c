// The input page's interaction: the list's set-up and context menu, the add buttons with their
// dialogs, and drops of files and folders on the list and of a shapefile on its field.

#include <QDir>
#include <QDropEvent>
#include <QFileDialog>
#include <QFileInfo>
#include <QListWidget>
#include <QMenu>
#include <QMessageBox>
#include <QMimeData>

#include "core/filetypes.h"
#include "map/geomapview.h"
#include "ui_imagecompressor.h"
#include "wizard/imagecompressor.h"

namespace TSR::ImageCompressor::API {

void ImageCompressor::setupInputList()
{
    imageFileFilter = QStringLiteral("Image Files (");
    for (const QString& suffix : FileTypes::rasterSuffixes())
        imageFileFilter += QStringLiteral("*.") + suffix + QLatin1Char(' ');
    imageFileFilter += QStringLiteral(") ;; All files (*.*)");
    shapeFileFilter = QStringLiteral("Shape Files (*.shp) ;; All files (*.*)");

    QListWidget* list = ui->inputListWidget;
    // Every row is one line of text, so the view need not measure each of thousands of rows.
    list->setUniformItemSizes(true);
    // Deliberate: the two drop targets are told apart by these object names, which read like
    // settings keys but are none.
    list->setObjectName(QStringLiteral("Gui/FileInputList"));
    ui->shapefileClipLineEdit->setObjectName(QStringLiteral("Gui/ShapeFileName"));
    list->setSelectionMode(QAbstractItemView::ExtendedSelection);
    list->setDragDropMode(QAbstractItemView::InternalMove);
    // Internal moves alone would leave the list deaf to files dragged in from outside.
    list->setAcceptDrops(true);
    list->setDropIndicatorShown(true);
    list->setContextMenuPolicy(Qt::CustomContextMenu);
    list->installEventFilter(this);
    list->viewport()->installEventFilter(this);
    ui->shapefileClipLineEdit->setAcceptDrops(true);
    ui->shapefileClipLineEdit->installEventFilter(this);

    inputListMenu = new QMenu(tr("Options"), this);
    // Deliberate: the ascending entry carries the picture named descending and the other way
    // round; the pictures show the order the list ends in, not the one it starts from.
    QAction* ascending = inputListMenu->addAction(
        QIcon(QStringLiteral(":/ImageCompressor/Resources/sort_az_descending.png")), tr("Sort Ascending"));
    QAction* descending = inputListMenu->addAction(
        QIcon(QStringLiteral(":/ImageCompressor/Resources/sort_az_ascending.png")), tr("Sort Descending"));
    QAction* selectAll = inputListMenu->addAction(
        QIcon(QStringLiteral(":/ImageCompressor/Resources/elements_selection.png")), tr("Select All"));
    QAction* remove =
        inputListMenu->addAction(QIcon(QStringLiteral(":/ImageCompressor/Resources/error.png")), tr("Delete"));
    connect(ascending, &QAction::triggered, this, [list] { list->sortItems(Qt::AscendingOrder); });
    connect(descending, &QAction::triggered, this, [list] { list->sortItems(Qt::DescendingOrder); });
    connect(selectAll, &QAction::triggered, this, [this, list] {
        list->selectAll();
        showSelectedEPSG(true);
    });
    connect(remove, &QAction::triggered, this, &ImageCompressor::removeSelectedDatasets);
    connect(list, &QListWidget::customContextMenuRequested, this,
            [this, list](const QPoint& position) { inputListMenu->popup(list->viewport()->mapToGlobal(position)); });

    connect(list, &QListWidget::itemClicked, this, [this] { showSelectedEPSG(true); });
    connect(list, &QListWidget::itemSelectionChanged, this, [this, list] {
        mapView->unselectAll();
        mapView->selectDatasetRows(list, mapView->itemOffset);
    });
    connect(ui->addImages, &QToolButton::clicked, this, &ImageCompressor::addImagesFromDialog);
    connect(ui->addFolder, &QToolButton::clicked, this, &ImageCompressor::addFolderFromDialog);
    connect(ui->deleteImages, &QToolButton::clicked, this, &ImageCompressor::removeSelectedDatasets);
    connect(ui->zoomToExtents, &QToolButton::clicked, this, &ImageCompressor::zoomToDatasets);
    updateNumFilesLabel();
}

void ImageCompressor::addImagesFromDialog()
{
    const QStringList files =
        QFileDialog::getOpenFileNames(this, tr("Select files to compress"), lastInputFile, imageFileFilter);
    addFiles(files);
    if (!files.isEmpty())
        lastInputFile = files.first();
}

void ImageCompressor::addFolderFromDialog()
{
    const QString folder = QFileDialog::getExistingDirectory(this, tr("Select files to compress"), lastInputDirectory);
    if (folder.isEmpty())
        return;
    if (!QDir(folder).entryList(QDir::AllDirs | QDir::NoDotAndDotDot).isEmpty()) {
        recursive = QMessageBox::question(this, tr("Recursive Mode"),
                                          tr("Sub folders have been detected, do you want to add files recursively?"),
                                          QMessageBox::Yes | QMessageBox::No, QMessageBox::No)
            == QMessageBox::Yes;
    }
    addFolder(folder);
    lastInputDirectory = folder;
}

void ImageCompressor::zoomToDatasets()
{
    if (compressionMode == UpdateMode)
        mapView->zoomToUpdateExtent();
    else
        mapView->zoomToProjectExtent();
}

bool ImageCompressor::eventFilter(QObject* watched, QEvent* event)
{
    // The list's viewport receives the drag events; they count as the list's own.
    QObject* target = watched == ui->inputListWidget->viewport() ? ui->inputListWidget : watched;
    const bool ours = target == ui->inputListWidget || target == ui->shapefileClipLineEdit;
    if (!ours)
        return QWizard::eventFilter(watched, event);
    switch (event->type()) {
    case QEvent::DragEnter:
    case QEvent::DragMove: {
        auto* drag = static_cast<QDropEvent*>(event);
        // Moves inside the list are the list's own reordering.
        if (drag->source() == ui->inputListWidget)
            return QWizard::eventFilter(watched, event);
        drag->acceptProposedAction();
        return true;
    }
    case QEvent::Drop: {
        auto* drop = static_cast<QDropEvent*>(event);
        if (drop->source() == ui->inputListWidget)
            return QWizard::eventFilter(watched, event);
        drop->acceptProposedAction();
        if (!drop->mimeData()->hasUrls())
            return false;
        if (target->objectName() == QLatin1String("Gui/FileInputList"))
            return dropOnInputList(drop->mimeData()->urls());
        if (target->objectName() == QLatin1String("Gui/ShapeFileName"))
            return dropOnShapefile(drop->mimeData()->urls());
        return false;
    }
    default:
        return QWizard::eventFilter(watched, event);
    }
}

bool ImageCompressor::dropOnInputList(const QList<QUrl>& urls)
{
    QStringList files;
    for (const QUrl& url : urls) {
        const QFileInfo file(url.toLocalFile());
        // A dropped folder is walked as it is, without the question the folder button asks.
        if (file.isDir())
            addFolder(file.absoluteFilePath());
        else
            files.append(url.toLocalFile());
    }
    if (!files.isEmpty())
        addFiles(files);
    return true;
}

bool ImageCompressor::dropOnShapefile(const QList<QUrl>& urls)
{
    for (const QUrl& url : urls) {
        const QFileInfo file(url.toLocalFile());
        if (file.isDir())
            continue;
        const QString path = url.toLocalFile();
        if (path != lastShapeFile && file.suffix().toLower() == QLatin1String("shp")) {
            lastShapeFile = path;
            ui->shapefileClipLineEdit->setText(path);
            ui->shapeLayerNameClipLineEdit->setText(file.completeBaseName());
            ui->shapeLayerIDClipLineEdit->setText(QStringLiteral("0"));
        }
        break;
    }
    return true;
}

}  // namespace TSR::ImageCompressor::API
