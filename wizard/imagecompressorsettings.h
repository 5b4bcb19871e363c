#pragma once

#include <QLatin1String>

// The compression wizard's settings keys, read in its constructor and written in its destructor.
namespace ImageCompressorSettings {

constexpr QLatin1String CompressionMode("Gui/CompressionMode");
constexpr QLatin1String LastInputFile("Gui/LastInputFile");
constexpr QLatin1String LastInputDirectory("Gui/LastInputDirectory");
constexpr QLatin1String LastOutputFilename("Gui/LastOutputFilename");
constexpr QLatin1String LastOutputDirectory("Gui/LastOutputDirectory");
constexpr QLatin1String LastUpdateFile("Gui/LastUpdateFile");
constexpr QLatin1String OutputFormat("Gui/OutputFormat");
constexpr QLatin1String ColorSpace("Gui/ColorSpace");
constexpr QLatin1String BitdepthOverride("Gui/BitdepthOverride");
constexpr QLatin1String SignednessOverride("Gui/SignednessOverride");
constexpr QLatin1String TargetRate("Gui/TargetRate");
constexpr QLatin1String Method("Gui/Method");
constexpr QLatin1String NumberOfThreads("Gui/NumberOfThreads");
constexpr QLatin1String NullColorMinMax("Gui/NullColorMinMax");
constexpr QLatin1String ResampleMethod("Gui/ResampleMethod");
constexpr QLatin1String MaxCompressionMemory("Gui/MaxCompressionMemory");
constexpr QLatin1String Geometry("Gui/Geometry");
// Deliberate: the three shapefile keys and the opacity mode are written and never read back; the
// wizard always opens without a shapefile and with opacity from the source.
constexpr QLatin1String LastShapeFile("Gui/LastShapeFile");
constexpr QLatin1String LastShapeFileLayer("Gui/LastShapeFileLayer");
constexpr QLatin1String LastShapeFileFID("Gui/LastShapeFileFID");
constexpr QLatin1String OpacityMode("Gui/OpacityMode");
constexpr QLatin1String LastClipShapeFile("Gui/OutputSizeAndClipping/LastClipShapeFile");
// The public EPSG registry whose search page the info button opens; a setting so that a registry
// that moves needs no new build.
constexpr QLatin1String EPSGRegistryHost("Gui/EPSGRegistryHost");
constexpr QLatin1String DefaultEPSGRegistryHost("https://epsg.org");

}  // namespace ImageCompressorSettings
