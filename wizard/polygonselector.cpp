#include "wizard/polygonselector.h"

#include <QIcon>
#include <QItemSelectionModel>
#include <QMessageBox>
#include <QStandardItemModel>

#include <algorithm>

#include "core/appconstants.h"
#include "ui_polygonselector.h"
#include "wizard/dataset/compressionutilfactory.h"
#include "wizard/scanprogressdialog.h"

using namespace TSR::ImageCompressor::API;

namespace {

// Where a row's first cell keeps the record's index in `polygons`, so that sorting the table never
// loses which record a row stands for.
constexpr int RecordIndexRole = Qt::UserRole + 1;
// Cells show numbers as text with a fixed number of decimals, but sort by their values, so that
// 10.5 comes after 9.5 and feature 10 after feature 9.
constexpr int SortRole = Qt::UserRole + 2;

QStandardItem* cell(const QVariant& shown, const QVariant& sortKey)
{
    auto* item = new QStandardItem;
    item->setData(shown, Qt::DisplayRole);
    item->setData(sortKey, SortRole);
    item->setEditable(false);
    return item;
}

// A reference that is unknown on either side cannot be shown to match.
bool referencesMayDiffer(const CCRSIdentifier& features, const CCRSIdentifier& datasets)
{
    return !(features == datasets) || features.GetEPSG() <= 0 || datasets.GetEPSG() <= 0;
}

}  // namespace

PolygonSelector::PolygonSelector(QWidget* parent)
    : QDialog(parent)
    , ui(std::make_unique<Ui::PolygonSelector>())
    , model(new QStandardItemModel(this))
{
    ui->setupUi(this);
    setWindowIcon(QIcon(QStringLiteral(":/ImageCompressor/Resources/tws.png")));
    setWindowFlags((windowFlags() & ~Qt::WindowContextHelpButtonHint) | Qt::WindowMinimizeButtonHint
                   | Qt::WindowMaximizeButtonHint);
    model->setSortRole(SortRole);
    ui->tableView->setModel(model);
    connect(ui->buttonBox, &QDialogButtonBox::accepted, this, &QDialog::accept);
    connect(ui->buttonBox, &QDialogButtonBox::rejected, this, &QDialog::reject);
    setMultiSelect(false);
}

PolygonSelector::~PolygonSelector() = default;

void PolygonSelector::setInputFiles(const QStringList& files)
{
    inputFiles = files;
}

void PolygonSelector::setMultiSelect(bool multiSelect)
{
    if (multiSelect) {
        ui->tableView->setSelectionMode(QAbstractItemView::MultiSelection);
        ui->label->setText(
            tr("Select a single polygon or multiple polygons by pressing CTRL or SHIFT and clicking on each row."));
    } else {
        ui->tableView->setSelectionMode(QAbstractItemView::SingleSelection);
        ui->label->setText(tr("Select a single polygon to define the opacity region."));
    }
}

bool PolygonSelector::load(const QString& shapefile, const DatasetScanResult& scanResult)
{
    if (shapefile.isEmpty() || scanResult.Datasets.empty())
        return false;
    const QString title = AppConstants::ApplicationName;
    try {
        // The search has no progress to report; the dialog only says why the window is blocked.
        ScanProgressDialog progress(tr("Looking for polygons that meet the input datasets..."), parentWidget());
        auto factory = std::make_shared<CompressionUtilFactory>();
        std::shared_ptr<ICompressionUtil> util;
        factory->GetCompressionUtil(util);
        Polygons found;
        util->FindIntersectingFeatures(TSR::CString(shapefile.toStdWString()), scanResult, found);
        polygons = std::move(found);
    } catch (const TSR::CRuntimeError& error) {
        QMessageBox::critical(parentWidget(), title, QString::fromUtf8(error.what()));
        return false;
    }
    if (polygons.empty()) {
        QMessageBox::warning(parentWidget(), title,
                             tr("None of the input datasets intersect with the polygons in the shapefile."));
        return false;
    }
    // Only a warning: the user may know that the two agree although their references do not say so.
    if (referencesMayDiffer(polygons.front()->CRS, scanResult.CRS))
        QMessageBox::warning(parentWidget(), title,
                             tr("Input dataset(s) and shape file may be in different spatial reference systems."));

    fillTable();
    showCounts(0);
    connect(
        ui->tableView->selectionModel(), &QItemSelectionModel::selectionChanged, this,
        [this] { showCounts(ui->tableView->selectionModel()->selectedRows().size()); }, Qt::UniqueConnection);
    return model->rowCount() > 0;
}

// All records of a layer have the same keys, so the first record names the columns and every row
// fills them in its own maps' order.
void PolygonSelector::fillTable()
{
    model->clear();
    const ExtractedFeatureClipInfo& first = *polygons.front();
    QStringList headers{tr("Feature Id")};
    for (const auto& attribute : first.StringAttributes)
        headers << QString::fromStdString(attribute.first);
    for (const auto& attribute : first.RealAttributes)
        headers << QString::fromStdString(attribute.first);
    for (const auto& attribute : first.IntegerAttributes)
        headers << QString::fromStdString(attribute.first);
    model->setHorizontalHeaderLabels(headers);

    for (std::size_t index = 0; index < polygons.size(); ++index) {
        const ExtractedFeatureClipInfo& polygon = *polygons[index];
        QList<QStandardItem*> row;
        row << cell(polygon.FeatureId, polygon.FeatureId);
        row.front()->setData(int(index), RecordIndexRole);
        for (const auto& attribute : polygon.StringAttributes)
            row << cell(QString::fromStdString(attribute.second), QString::fromStdString(attribute.second));
        for (const auto& attribute : polygon.RealAttributes)
            row << cell(QString::number(attribute.second, 'f', 4), attribute.second);
        for (const auto& attribute : polygon.IntegerAttributes)
            row << cell(QString::number(attribute.second), attribute.second);
        model->appendRow(row);
    }
    ui->tableView->sortByColumn(0, Qt::AscendingOrder);
    ui->tableView->resizeColumnsToContents();
}

void PolygonSelector::showCounts(int selectedCount)
{
    ui->infoLabel->setText(tr("%1 polygon records intersect the input datasets. %2 polygons selected.")
                               .arg(model->rowCount())
                               .arg(selectedCount));
}

PolygonSelector::Polygons PolygonSelector::selectedPolygons()
{
    selected.clear();
    if (!ui->tableView->selectionModel())
        return selected;
    QModelIndexList rows = ui->tableView->selectionModel()->selectedRows();
    std::sort(rows.begin(), rows.end(), [](const QModelIndex& a, const QModelIndex& b) { return a.row() < b.row(); });
    for (const QModelIndex& row : rows) {
        const int index = row.data(RecordIndexRole).toInt();
        if (index >= 0 && std::size_t(index) < polygons.size())
            selected.push_back(polygons[std::size_t(index)]);
    }
    return selected;
}

QStringList PolygonSelector::fieldNames() const
{
    QStringList names;
    for (int column = 0; column < model->columnCount(); ++column)
        names << model->headerData(column, Qt::Horizontal).toString();
    return names;
}
