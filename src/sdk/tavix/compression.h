#pragma once

#include <cstddef>
#include <cstdint>

namespace Tavix {

/// A camera's compression setting.
enum ECompressionMode {
    CompressionMode_Off = 0,
    CompressionMode_Lossless = 1,
    CompressionMode_Lossy = 2,
};

/// How the compression of one image went.
enum ECompressionStatus {
    CompressionStatus_Ok = 0,
    CompressionStatus_BufferOverflow = 1,
    CompressionStatus_Error = 2,
};

/// The byte order of an image's compression information; Auto finds it out.
enum EEndianness {
    Endianness_Little = 0,
    Endianness_Big = 1,
    Endianness_Auto = 2,
};

/// What an image says about its compression.
struct CompressionInfo_t
{
    /// whether the buffer holds a compressed image
    bool hasCompressedImage = false;
    /// an ECompressionStatus
    int compressionStatus = CompressionStatus_Ok;
    /// whether the compression lost information
    bool lossy = false;
    /// the pixel format's code of the decompressed image
    int64_t pixelType = 0;
    /// the decompressed image's width
    size_t width = 0;
    /// the decompressed image's height
    size_t height = 0;
    /// the image's horizontal offset on the sensor
    size_t offsetX = 0;
    /// the image's vertical offset on the sensor
    size_t offsetY = 0;
    /// bytes of padding at the end of each row
    size_t paddingX = 0;
    /// the bytes of the decompressed image
    size_t decompressedImageSize = 0;
    /// the bytes of the decompressed payload, chunks included
    size_t decompressedPayloadSize = 0;
};

} // namespace Tavix
