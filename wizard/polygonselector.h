#pragma once

#include <QDialog>
#include <QString>
#include <QStringList>

#include <memory>
#include <vector>

#include "wizard/dataset/datasetscanresult.h"
#include "wizard/dataset/extractedfeatureclipinfo.h"

class QStandardItemModel;

namespace Ui {
class PolygonSelector;
}

// The choice of shapefile polygons that restrict a compression: one for the opacity region, or
// several that each make an output of their own. Only polygons that meet a dataset are offered.
class PolygonSelector : public QDialog
{
    Q_OBJECT

public:
    using Polygons = std::vector<std::shared_ptr<TSR::ImageCompressor::API::ExtractedFeatureClipInfo>>;

    explicit PolygonSelector(QWidget* parent = nullptr);
    ~PolygonSelector() override;

    void setInputFiles(const QStringList& files);
    void setMultiSelect(bool multiSelect);

    // False, after telling the user why, when there is nothing to choose from; the dialog is then
    // not to be shown.
    bool load(const QString& shapefile, const TSR::ImageCompressor::API::DatasetScanResult& scanResult);

    // In the order the table shows them.
    Polygons selectedPolygons();

    QStringList fieldNames() const;

private:
    void fillTable();
    void showCounts(int selectedCount);

    std::unique_ptr<Ui::PolygonSelector> ui;
    QStandardItemModel* model = nullptr;
    QStringList inputFiles;
    Polygons polygons;
    Polygons selected;
};
