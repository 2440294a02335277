#pragma once

#include <core/logging/logging.h>

#include <QString>

namespace Plugin::OptiRoster::Internal {

// The log categories, one for each logging class. The enumerator's is written in lower case in
// its third word, and filters must match it so.
namespace LogCategories {
constexpr char Camera[] = "tavix.viewer.plugins.optiRoster.camera";
constexpr char CameraEnumeration[] = "tavix.viewer.plugins.optiroster.cameraEnumeration";
constexpr char TransportLayerList[] = "tavix.viewer.plugins.optiRoster.transportLayerList";
constexpr char ActionCommandsService[] = "tavix.viewer.plugins.optiRoster.actionCommandsService";
constexpr char Interface[] = "tavix.viewer.plugins.optiRoster.interface";
constexpr char UpdatableDevice[] = "tavix.viewer.plugins.optiRoster.updatableDevice";
constexpr char ImageDecompressorService[] = "tavix.viewer.plugins.optiRoster.imageDecompressorService";
constexpr char StaticDefectPixelCorrectionService[] = "tavix.viewer.plugins.optiRoster.staticDefectPixelCorrectionService";
constexpr char ImageGrabbedNotifierService[] = "tavix.viewer.plugins.optiRoster.imageGrabbedNotifierService";
} // namespace LogCategories

// The id of a category, asked of the host once per process and published to every thread by
// the once-initialised local; later calls cost one comparison and no lock.
template <const char* Name>
quint64 onceCategoryId()
{
    static const quint64 id = Core::Logging::getCatId(Name);
    return id;
}

inline void writeLog(quint64 categoryId, const QString& message)
{
    Core::Logging::createLogEntry(Core::Logging::LogLevelInfo, categoryId, message);
}

} // namespace Plugin::OptiRoster::Internal
