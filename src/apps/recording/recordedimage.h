#pragma once

#include "orientation.h"

#include <tavix/pixeltype.h>

#include <cstddef>
#include <cstdint>

namespace Recording {

/// One image on its way into a file: its pixels, read by its own shape (rows rowStride() bytes
/// apart, as the shape's padding says), and where it came from. Valid for the writer's call only.
struct CRecordedImage
{
    const unsigned char* pixels = nullptr;
    size_t size = 0;              ///< bytes at pixels
    Tavix::ImageShape shape;
    int64_t imageNumber = 0;      ///< the camera's number of the image
    uint64_t timestamp = 0;       ///< the camera's time stamp of the image
    int64_t arrivalUs = 0;        ///< when the image reached the recorder, from the first image's arrival
    COrientation orientation;     ///< how the pixels were turned from the camera's image
};

} // namespace Recording
