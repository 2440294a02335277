#include <tavix/imagedecompressor.h>
#include <tavix/parameters.h>

#include <QByteArray>
#include <QCryptographicHash>

#include <algorithm>
#include <cstring>

namespace Tavix {
namespace {

// The descriptor as the camera holds it: hexadecimal text in "ImageCompressionDescriptor".
QByteArray readDescriptor(GenApi::INodeMap& nodeMap)
{
    CStringParameter descriptor(nodeMap, "ImageCompressionDescriptor");
    if (!descriptor.IsValid())
        return {};
    return QByteArray::fromHex(QByteArray(descriptor.GetValue().c_str()));
}

void copyOut(const QByteArray& bytes, void* buffer, size_t* size)
{
    if (!size)
        throw GenICam::InvalidArgumentException("The size pointer is null.", __FILE__, __LINE__);
    if (!buffer) {
        *size = size_t(bytes.size());
        return;
    }
    if (*size < size_t(bytes.size()))
        throw GenICam::InvalidArgumentException("The buffer is too small.", __FILE__, __LINE__);
    std::memcpy(buffer, bytes.constData(), size_t(bytes.size()));
    *size = size_t(bytes.size());
}

} // namespace

CImageDecompressor::CImageDecompressor(const void* descriptor, size_t size)
{
    if (!descriptor || size == 0)
        throw GenICam::InvalidArgumentException("The compression descriptor is empty.", __FILE__, __LINE__);
    const auto* bytes = static_cast<const unsigned char*>(descriptor);
    if (!Codec::decode(bytes, size, m_format))
        throw GenICam::InvalidArgumentException("The compression descriptor is not one this decompressor knows.", __FILE__,
                                                __LINE__);
    m_descriptor.assign(bytes, bytes + size);
    m_descriptorChecksum = Codec::checksum(bytes, size);
}

CImageDecompressor::~CImageDecompressor() = default;

size_t CImageDecompressor::DecompressImage(void* output, size_t outputSize, const CGrabResultPtr& result) const
{
    CompressionInfo_t info;
    if (!GetCompressionInfo(info, result) || !info.hasCompressedImage)
        throw GenICam::InvalidArgumentException("The image is not compressed.", __FILE__, __LINE__);
    if (info.compressionStatus != CompressionStatus_Ok)
        throw GenICam::RuntimeException("The camera reported a failure while compressing the image.", __FILE__, __LINE__);
    return DecompressImage(output, outputSize, result->GetBuffer(), result->GetPayloadSize());
}

size_t CImageDecompressor::DecompressImage(void* output, size_t outputSize, const CGrabResultPtr& result, ImageShape& shape) const
{
    const size_t written = DecompressImage(output, outputSize, result);
    CompressionInfo_t info;
    GetCompressionInfo(info, result);
    shape = result->GetImageShape();
    if (info.width != 0 && info.height != 0) {
        shape.width = uint32_t(info.width);
        shape.height = uint32_t(info.height);
        shape.offsetX = uint32_t(info.offsetX);
        shape.offsetY = uint32_t(info.offsetY);
        shape.paddingX = uint32_t(info.paddingX);
        shape.pixelType = EPixelType(info.pixelType);
    }
    return written;
}

size_t CImageDecompressor::DecompressImage(void* output, size_t outputSize, const void* compressed, size_t compressedSize) const
{
    return Codec::decompress(m_descriptorChecksum, m_format, static_cast<const unsigned char*>(compressed), compressedSize,
                             static_cast<unsigned char*>(output), outputSize);
}

bool CImageDecompressor::GetCompressionInfo(CompressionInfo_t& info, const CGrabResultPtr& result, EEndianness)
{
    if (!result.IsValid())
        return false;
    const CompressionInfo_t* carried = result->GetCompressionInfo();
    if (!carried)
        return false;
    info = *carried;
    return true;
}

void CImageDecompressor::GetCompressionDescriptor(void* buffer, size_t* size, GenApi::INodeMap& nodeMap)
{
    copyOut(readDescriptor(nodeMap), buffer, size);
}

void CImageDecompressor::GetCompressionDescriptorHash(void* buffer, size_t* size, GenApi::INodeMap& nodeMap)
{
    const QByteArray descriptor = readDescriptor(nodeMap);
    copyOut(descriptor.isEmpty() ? QByteArray() : QCryptographicHash::hash(descriptor, QCryptographicHash::Sha1),
            buffer, size);
}

ECompressionMode CImageDecompressor::GetCompressionMode(GenApi::INodeMap& nodeMap)
{
    CEnumParameter mode(nodeMap, "ImageCompressionMode");
    if (!mode.IsValid())
        return CompressionMode_Off;
    return ECompressionMode(mode.GetIntValue());
}

size_t CImageDecompressor::GetImageSizeForDecompression(GenApi::INodeMap& nodeMap)
{
    CIntegerParameter size(nodeMap, "ImageCompressionImageSize");
    if (!size.IsValid())
        return 0;
    return size_t(std::max<int64_t>(0, size.GetValue()));
}

} // namespace Tavix
