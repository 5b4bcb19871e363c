#pragma once

#include <QStringList>

// The file suffixes the program takes in, in the order its dialogs list them. The compression
// wizard and a drop on the main window accept the same rasters, the conversion wizard and a drop
// the same point clouds, so each list is written once, here.
namespace FileTypes {

const QStringList& rasterSuffixes();
const QStringList& pointCloudSuffixes();

}  // namespace FileTypes
