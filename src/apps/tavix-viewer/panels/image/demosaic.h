#pragma once

#include <tavix/pixeltype.h>

#include <QImage>

namespace Viewer {

// The colour picture of a Bayer mosaic (8 bits a sample, QImage::Format_Grayscale8), by bilinear
// interpolation: each pixel keeps its own colour and takes the others as the mean of its nearest
// neighbours of that colour, mirrored at the edges. A mosaic of one colour gives that colour
// everywhere. The result is QImage::Format_RGB32.
QImage demosaicBilinear(const QImage& mosaic, Tavix::EBayerOrder order);

} // namespace Viewer
