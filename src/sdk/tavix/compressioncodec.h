#pragma once

// The lossless codec shared by the simulated cameras and CImageDecompressor: what a
// compression descriptor says, and how a compressed image is laid out. Not part of the SDK's
// public names.

#include <cstddef>
#include <cstdint>
#include <vector>

namespace Tavix::Codec {

constexpr uint8_t DeflateCodec = 1;

// What a decompressor needs to know of the camera's images, as the camera describes it.
struct Descriptor
{
    uint8_t codec = DeflateCodec;
    bool lossy = false;
    uint32_t pixelFormat = 0; // the pixel format's code
    uint32_t width = 0;
    uint32_t height = 0;
    uint32_t imageSize = 0; // decompressed bytes
};

constexpr size_t DescriptorSize = 24;
constexpr size_t FrameHeaderSize = 24;

std::vector<unsigned char> encode(const Descriptor& descriptor);
// False when the bytes are no descriptor of this codec.
bool decode(const unsigned char* bytes, size_t size, Descriptor& descriptor);
uint32_t pixelFormatCode(const char* pixelFormatName);
uint32_t checksum(const unsigned char* bytes, size_t size);

// Compresses one image of a grab. The compressor keeps its working memory between images, so
// that an image costs no allocation.
class CFrameCompressor
{
public:
    CFrameCompressor();
    ~CFrameCompressor();
    CFrameCompressor(const CFrameCompressor&) = delete;
    CFrameCompressor& operator=(const CFrameCompressor&) = delete;

    void setDescriptor(const std::vector<unsigned char>& descriptorBytes);
    // Writes header and compressed data to output; returns the bytes written, or 0 when they
    // don't fit.
    size_t compress(const unsigned char* image, size_t imageSize, unsigned char* output, size_t outputSize);

private:
    struct Stream;
    Stream* m_pStream;
    uint32_t m_descriptorChecksum = 0;
};

// Restores an image; throws the GenICam exception that says why it can't: a descriptor that
// doesn't fit the image, a damaged buffer or an output that is too small.
// descriptorChecksum is checksum() of the descriptor's bytes.
size_t decompress(uint32_t descriptorChecksum, const Descriptor& descriptor, const unsigned char* input, size_t inputSize, unsigned char* output, size_t outputSize);

} // namespace Tavix::Codec
