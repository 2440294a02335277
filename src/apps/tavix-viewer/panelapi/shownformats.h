#pragma once

#include <tavix/pixeltype.h>

#include <QString>

namespace Viewer {

/// Which pixel formats the viewer can show: monochrome of 8 to 16 bits, Bayer mosaics of 8 to 16
/// bits (in colour, demosaiced), RGB8, BGR8, RGBA8, BGRA8 and Coord3D_C16. One list for the image
/// panel, which converts, and the editors, which tell a person before a choice.
bool canShowPixelType(Tavix::EPixelType pixelType);
/// Why images of a pixel format can't be shown, by its name; empty for a format that can be.
QString whyPixelFormatCantBeShown(const QString& pixelFormat);
/// The name of a pixel type, or its code when it has none.
QString pixelTypeText(Tavix::EPixelType pixelType);

} // namespace Viewer
