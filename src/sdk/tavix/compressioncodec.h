#pragma once

/// The lossless codec shared by the simulated cameras and CImageDecompressor: what a
/// compression descriptor says, and how a compressed image is laid out. Not part of the SDK's
/// public names.

#include <cstddef>
#include <cstdint>
#include <vector>

namespace Tavix::Codec {

/// The codec's id in a descriptor.
constexpr uint8_t DeflateCodec = 1;

/// What a decompressor needs to know of the camera's images, as the camera describes it.
struct Descriptor
{
    /// the codec's id
    uint8_t codec = DeflateCodec;
    /// whether the camera compresses with loss
    bool lossy = false;
    uint32_t pixelFormat = 0; ///< the pixel format's code
    /// the image's width
    uint32_t width = 0;
    /// the image's height
    uint32_t height = 0;
    uint32_t imageSize = 0; ///< decompressed bytes
};

/// The bytes of an encoded descriptor.
constexpr size_t DescriptorSize = 24;
/// The bytes of the header in front of each compressed image.
constexpr size_t FrameHeaderSize = 24;

/// The bytes of a descriptor, as a camera gives them.
std::vector<unsigned char> encode(const Descriptor& descriptor);
/// False when the bytes are no descriptor of this codec.
bool decode(const unsigned char* bytes, size_t size, Descriptor& descriptor);
/// A checksum of the bytes.
uint32_t checksum(const unsigned char* bytes, size_t size);

/// Compresses one image of a grab. The compressor keeps its working memory between images, so
/// that an image costs no allocation.
class CFrameCompressor
{
public:
    ///@{
    /// A compressor without a descriptor; it is neither copied nor assigned.
    CFrameCompressor();
    ~CFrameCompressor();
    CFrameCompressor(const CFrameCompressor&) = delete;
    CFrameCompressor& operator=(const CFrameCompressor&) = delete;
    ///@}

    /// Takes the descriptor of the images to compress.
    void setDescriptor(const std::vector<unsigned char>& descriptorBytes);
    /// Writes header and compressed data to output; returns the bytes written, or 0 when they
    /// don't fit.
    size_t compress(const unsigned char* image, size_t imageSize, unsigned char* output, size_t outputSize);

private:
    struct Stream;
    Stream* m_pStream;
    uint32_t m_descriptorChecksum = 0;
};

/// Restores an image; throws the GenICam exception that says why it can't: a descriptor that
/// doesn't fit the image, a damaged buffer or an output that is too small.
/// descriptorChecksum is checksum() of the descriptor's bytes.
size_t decompress(uint32_t descriptorChecksum, const Descriptor& descriptor, const unsigned char* input, size_t inputSize, unsigned char* output, size_t outputSize);

} // namespace Tavix::Codec
