// Adds thousands of GeoTIFF tiles of one reference to the compression wizard in mosaic mode, as
// the add buttons do (addFiles: header reads, the checks, the list, the map and the active area),
// and reads the same headers with a bare GDAL loop in the same run. Prints the time per file of
// each and, last, the ratio wizard / bare loop.
// Usage: wizardaddbench <directory> [count]. Files are made in the directory when missing.
#include <QAbstractButton>
#include <QApplication>
#include <QButtonGroup>
#include <QTemporaryDir>
#include <chrono>
#include <cstdio>

#include "bench/tilegenerator.h"
#include "wizard/imagecompressor.h"

using TSR::ImageCompressor::API::ImageCompressor;

namespace {

double bareRound(const QStringList& files)
{
    std::vector<std::string> paths;
    for (const QString& file : files)
        paths.push_back(file.toStdString());
    double checksum = 0.0;
    const double seconds = tiles::bareHeaderRound(paths, checksum);
    if (checksum == 0.0)
        std::fprintf(stderr, "no file was read\n");
    return seconds;
}

double wizardRound(const QStringList& files)
{
    ImageCompressor wizard{CompressionLicense()};
    wizard.show();
    wizard.findChild<QButtonGroup*>(QStringLiteral("compressionModeGroup"))
        ->button(ImageCompressor::MosaicMode)
        ->click();
    wizard.next();
    const auto start = std::chrono::steady_clock::now();
    const int added = wizard.addFiles(files);
    const double seconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
    if (added != files.size())
        std::fprintf(stderr, "only %d of %d files were added\n", added, int(files.size()));
    return seconds;
}

}  // namespace

int main(int argc, char* argv[])
{
    QApplication application(argc, argv);
    if (argc < 2) {
        std::fprintf(stderr, "usage: %s <directory> [count]\n", argv[0]);
        return 2;
    }
    const std::string directory = argv[1];
    const int count = argc > 2 ? std::atoi(argv[2]) : 5000;
    QTemporaryDir settings;
    QSettings::setPath(QSettings::IniFormat, QSettings::UserScope, settings.path());
    GDALAllRegister();
    struct stat info;
    if (::stat(tiles::filePath(directory, count - 1).c_str(), &info) != 0
        && !tiles::generate(directory, count, false, 32633)) {
        std::fprintf(stderr, "could not write the test files in %s\n", directory.c_str());
        return 1;
    }
    QStringList files;
    for (int i = 0; i < count; ++i)
        files.append(QString::fromStdString(tiles::filePath(directory, i)));

    // An unmeasured bare round fills the page cache; the best of two rounds counts for each.
    bareRound(files);
    double bare = 1e30, wizard = 1e30;
    for (int round = 0; round < 2; ++round) {
        bare = std::min(bare, bareRound(files));
        wizard = std::min(wizard, wizardRound(files));
    }
    std::printf("files %d\n", count);
    std::printf("bare_gdal_us_per_file %.1f\n", bare / count * 1e6);
    std::printf("wizard_us_per_file %.1f\n", wizard / count * 1e6);
    std::printf("ratio %.3f\n", wizard / bare);
    return 0;
}
