#pragma once

#include <cstddef>
#include <cstdint>

namespace Tavix {

/// The layout of an image's pixels, by the code the pixel format naming convention gives it.
/// Bits 16 to 23 of a code hold the bits one pixel takes; a camera may send a code that has no
/// name here.
enum EPixelType : uint32_t {
    PixelType_Undefined = 0,
    PixelType_Mono8 = 0x01080001,
    PixelType_Mono10 = 0x01100003,
    PixelType_Mono12 = 0x01100005,
    PixelType_Mono14 = 0x01100025,
    PixelType_Mono16 = 0x01100007,
    PixelType_BayerGR8 = 0x01080008,
    PixelType_BayerRG8 = 0x01080009,
    PixelType_BayerGB8 = 0x0108000A,
    PixelType_BayerBG8 = 0x0108000B,
    PixelType_BayerGR10 = 0x0110000C,
    PixelType_BayerRG10 = 0x0110000D,
    PixelType_BayerGB10 = 0x0110000E,
    PixelType_BayerBG10 = 0x0110000F,
    PixelType_BayerGR12 = 0x01100010,
    PixelType_BayerRG12 = 0x01100011,
    PixelType_BayerGB12 = 0x01100012,
    PixelType_BayerBG12 = 0x01100013,
    PixelType_BayerGR16 = 0x0110002E,
    PixelType_BayerRG16 = 0x0110002F,
    PixelType_BayerGB16 = 0x01100030,
    PixelType_BayerBG16 = 0x01100031,
    PixelType_RGB8 = 0x02180014,
    PixelType_BGR8 = 0x02180015,
    PixelType_RGBA8 = 0x02200016,
    PixelType_BGRA8 = 0x02200017,
    PixelType_YUV422_8 = 0x02100032,
    PixelType_Coord3D_C16 = 0x011000B8,
};

/// The colour of the first pixel of a Bayer image's first row, and so of the whole mosaic: red,
/// green on a red row, green on a blue row, blue.
enum EBayerOrder { BayerOrder_None, BayerOrder_RG, BayerOrder_GR, BayerOrder_GB, BayerOrder_BG };

/// The name of a pixel type ("Mono8"); null for a code without one.
const char* GetPixelTypeName(EPixelType pixelType);
/// The pixel type of a name, also of the older names with "Packed" ("RGB8Packed"); Undefined for
/// a name it doesn't know.
EPixelType GetPixelTypeFromName(const char* name);
/// The bits one pixel takes, as the code says; 0 for Undefined.
inline uint32_t GetBitsPerPixel(EPixelType pixelType) { return (uint32_t(pixelType) >> 16) & 0xFF; }
/// The bits of a pixel's value (or of each colour), which may be fewer than it takes: 12 for
/// Mono12, which takes 16.
uint32_t GetPixelColorDepth(EPixelType pixelType);
/// The mosaic of a Bayer type; None for every other type.
EBayerOrder GetBayerOrder(EPixelType pixelType);

/// The shape of an image as its stream describes it: what the bytes of a buffer mean, without
/// asking the camera's settings, which may have changed since the image was taken.
struct ImageShape
{
    uint32_t width = 0;   ///< pixels of a row
    uint32_t height = 0;  ///< rows
    uint32_t offsetX = 0; ///< the image's left edge on the sensor
    uint32_t offsetY = 0; ///< the image's top edge on the sensor
    uint32_t paddingX = 0; ///< bytes after each row's pixels
    EPixelType pixelType = PixelType_Undefined; ///< the layout of a pixel

    /// The bytes of one row's pixels.
    size_t rowBytes() const { return (size_t(width) * GetBitsPerPixel(pixelType) + 7) / 8; }
    /// The bytes from the start of one row to the start of the next.
    size_t rowStride() const { return rowBytes() + paddingX; }
    /// The bytes a buffer needs to hold every pixel: each row with its padding, the last one
    /// without.
    size_t imageSize() const { return height == 0 ? 0 : rowStride() * (height - 1) + rowBytes(); }
};

} // namespace Tavix
