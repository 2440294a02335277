#pragma once

#include <tavix/compression.h>
#include <tavix/genapi.h>
#include <tavix/grabresult.h>

#include <vector>

namespace Tavix {

// Decompression of the images of a compressing camera, and the reads of what it needs.
class CImageDecompressor
{
public:
    CImageDecompressor(const void* descriptor, size_t size);
    ~CImageDecompressor();

    bool HasCompressionDescriptor() const { return !m_descriptor.empty(); }
    // Writes the decompressed image into the buffer; returns the bytes written.
    size_t DecompressImage(void* output, size_t outputSize, const CGrabResultPtr& result) const;

    static bool GetCompressionInfo(CompressionInfo_t& info, const CGrabResultPtr& result, EEndianness endianness = Endianness_Auto);
    // With a null buffer, gives the size; otherwise fills the buffer and sets the size.
    static void GetCompressionDescriptor(void* buffer, size_t* size, GenApi::INodeMap& nodeMap);
    static void GetCompressionDescriptorHash(void* buffer, size_t* size, GenApi::INodeMap& nodeMap);
    static ECompressionMode GetCompressionMode(GenApi::INodeMap& nodeMap);
    static size_t GetImageSizeForDecompression(GenApi::INodeMap& nodeMap);

private:
    std::vector<unsigned char> m_descriptor;
};

} // namespace Tavix
