#pragma once

#include <QLatin1String>

// The names every part of the program shares: settings identity, window titles and the child tools.
namespace AppConstants {

constexpr QLatin1String ApplicationName("Kartopress");
constexpr QLatin1String ApplicationYear("2022");
constexpr QLatin1String OrganizationName("Tessara Geodata");
constexpr QLatin1String ViewerSettingsName("KartopressViewer");
// The language setting is read from the viewer's settings, not from ours.
constexpr QLatin1String LanguageSettingsApplication("Kartopress Viewer");

// Tool names, each with its leading slash, to be put behind the tool directory.
constexpr QLatin1String ImageCompressorExe("/ImageCompressor");
constexpr QLatin1String WvcCheckExe("/WVCCheck");
constexpr QLatin1String DiskSpdExe("/diskspd");
constexpr QLatin1String TspcConverterExe("/TSPCConverter");
constexpr QLatin1String TspcViewerExe("/TSPCViewer");
constexpr QLatin1String TsdrUploaderExe("/TsDRUploader");
constexpr QLatin1String ViewerExe("/KPViewer");
constexpr QLatin1String HeaderEditorExe("/WVCHeaderEditorGUI");
constexpr QLatin1String AppUploaderExe("/TAppUploader");

}  // namespace AppConstants
