#pragma once

#include <tavix/compression.h>
#include <tavix/compressioncodec.h>
#include <tavix/genapi.h>
#include <tavix/grabresult.h>

#include <vector>

namespace Tavix {

/// Decompression of the images of a compressing camera, and the reads of what it needs.
class CImageDecompressor
{
public:
    /// Throws InvalidArgumentException for bytes that are no compression descriptor.
    CImageDecompressor(const void* descriptor, size_t size);
    /// Destroys the decompressor.
    ~CImageDecompressor();

    /// Whether the decompressor has a descriptor.
    bool HasCompressionDescriptor() const { return !m_descriptor.empty(); }
    /// The bytes a decompressed image takes.
    size_t GetImageSizeForDecompression() const { return m_format.imageSize; }
    /// Writes the decompressed image into the buffer and returns the bytes written. A result
    /// that isn't compressed, was compressed with other settings or is damaged is refused with
    /// a GenICam exception. May be called from several threads at once.
    size_t DecompressImage(void* output, size_t outputSize, const CGrabResultPtr& result) const;
    /// The same, and the shape of the decompressed image in shape: what the image says of itself
    /// in its compression information.
    size_t DecompressImage(void* output, size_t outputSize, const CGrabResultPtr& result, ImageShape& shape) const;
    /// The same for compressed bytes of a buffer.
    size_t DecompressImage(void* output, size_t outputSize, const void* compressed, size_t compressedSize) const;

    /// Reads the compression information of a grab result; false when it carries none.
    static bool GetCompressionInfo(CompressionInfo_t& info, const CGrabResultPtr& result, EEndianness endianness = Endianness_Auto);
    /// With a null buffer, gives the size; otherwise fills the buffer and sets the size.
    static void GetCompressionDescriptor(void* buffer, size_t* size, GenApi::INodeMap& nodeMap);
    /// The hash of the camera's descriptor, in the same way as GetCompressionDescriptor().
    static void GetCompressionDescriptorHash(void* buffer, size_t* size, GenApi::INodeMap& nodeMap);
    /// The camera's compression mode.
    static ECompressionMode GetCompressionMode(GenApi::INodeMap& nodeMap);
    /// The bytes a decompressed image of the camera's current settings takes.
    static size_t GetImageSizeForDecompression(GenApi::INodeMap& nodeMap);

private:
    std::vector<unsigned char> m_descriptor;
    Codec::Descriptor m_format;
    uint32_t m_descriptorChecksum = 0;
};

} // namespace Tavix
