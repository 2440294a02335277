#pragma once

#include <cstddef>
#include <cstdint>

namespace Tavix {

enum ECompressionMode {
    CompressionMode_Off = 0,
    CompressionMode_Lossless = 1,
    CompressionMode_Lossy = 2,
};

enum ECompressionStatus {
    CompressionStatus_Ok = 0,
    CompressionStatus_BufferOverflow = 1,
    CompressionStatus_Error = 2,
};

enum EEndianness {
    Endianness_Little = 0,
    Endianness_Big = 1,
    Endianness_Auto = 2,
};

// What an image says about its compression.
struct CompressionInfo_t
{
    bool hasCompressedImage = false;
    int compressionStatus = CompressionStatus_Ok;
    bool lossy = false;
    int64_t pixelType = 0;
    size_t width = 0;
    size_t height = 0;
    size_t offsetX = 0;
    size_t offsetY = 0;
    size_t paddingX = 0;
    size_t decompressedImageSize = 0;
    size_t decompressedPayloadSize = 0;
};

} // namespace Tavix
