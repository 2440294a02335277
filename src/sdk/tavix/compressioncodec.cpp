#include <tavix/compressioncodec.h>
#include <tavix/genicam.h>

#include <zlib.h>

#include <cstring>
#include <string>

namespace Tavix::Codec {
namespace {

constexpr unsigned char DescriptorMagic[4] = {'T', 'V', 'X', 'D'};
constexpr unsigned char FrameMagic[4] = {'T', 'V', 'X', 'Z'};
constexpr uint8_t DescriptorVersion = 1;

void put32(unsigned char* at, uint32_t value)
{
    for (int i = 0; i < 4; ++i)
        at[i] = static_cast<unsigned char>(value >> (8 * i));
}

uint32_t get32(const unsigned char* at)
{
    uint32_t value = 0;
    for (int i = 0; i < 4; ++i)
        value |= uint32_t(at[i]) << (8 * i);
    return value;
}

// The layout of the frame header: magic, the descriptor's checksum, decompressed size,
// compressed size, checksum of the decompressed image, reserved.
struct FrameHeader
{
    uint32_t descriptorChecksum;
    uint32_t imageSize;
    uint32_t compressedSize;
    uint32_t imageChecksum;
};

void writeHeader(unsigned char* at, const FrameHeader& header)
{
    std::memcpy(at, FrameMagic, 4);
    put32(at + 4, header.descriptorChecksum);
    put32(at + 8, header.imageSize);
    put32(at + 12, header.compressedSize);
    put32(at + 16, header.imageChecksum);
    put32(at + 20, 0);
}

[[noreturn]] void damaged(const std::string& why)
{
    const std::string text = "The compressed image is damaged: " + why;
    throw GenICam::RuntimeException(text.c_str(), __FILE__, __LINE__);
}

[[noreturn]] void mismatch(const std::string& why)
{
    const std::string text = "The compression descriptor doesn't match the image: " + why;
    throw GenICam::InvalidArgumentException(text.c_str(), __FILE__, __LINE__);
}

FrameHeader readHeader(const unsigned char* input, size_t inputSize)
{
    if (!input || inputSize < FrameHeaderSize)
        damaged("it is shorter than its header.");
    if (std::memcmp(input, FrameMagic, 4) != 0)
        damaged("it doesn't start with a compressed image header.");
    return FrameHeader{get32(input + 4), get32(input + 8), get32(input + 12), get32(input + 16)};
}

// One inflater for each thread that decompresses, reset for each image: decompressors are
// shared between threads, and an image costs no allocation.
class CInflater
{
public:
    CInflater()
    {
        std::memset(&m_stream, 0, sizeof m_stream);
        m_ready = inflateInit(&m_stream) == Z_OK;
    }
    ~CInflater()
    {
        if (m_ready)
            inflateEnd(&m_stream);
    }
    z_stream* stream()
    {
        if (!m_ready)
            throw GenICam::BadAllocException("The decompressor could not be set up.", __FILE__, __LINE__);
        inflateReset(&m_stream);
        return &m_stream;
    }

private:
    z_stream m_stream;
    bool m_ready;
};

} // namespace

struct CFrameCompressor::Stream
{
    z_stream z;
    bool ready = false;
};

std::vector<unsigned char> encode(const Descriptor& descriptor)
{
    std::vector<unsigned char> bytes(DescriptorSize, 0);
    std::memcpy(bytes.data(), DescriptorMagic, 4);
    bytes[4] = DescriptorVersion;
    bytes[5] = descriptor.codec;
    bytes[6] = descriptor.lossy ? 1 : 0;
    put32(&bytes[8], descriptor.pixelFormat);
    put32(&bytes[12], descriptor.width);
    put32(&bytes[16], descriptor.height);
    put32(&bytes[20], descriptor.imageSize);
    return bytes;
}

bool decode(const unsigned char* bytes, size_t size, Descriptor& descriptor)
{
    if (!bytes || size != DescriptorSize || std::memcmp(bytes, DescriptorMagic, 4) != 0 || bytes[4] != DescriptorVersion
        || bytes[5] != DeflateCodec)
        return false;
    descriptor.codec = bytes[5];
    descriptor.lossy = bytes[6] != 0;
    descriptor.pixelFormat = get32(bytes + 8);
    descriptor.width = get32(bytes + 12);
    descriptor.height = get32(bytes + 16);
    descriptor.imageSize = get32(bytes + 20);
    return true;
}

uint32_t checksum(const unsigned char* bytes, size_t size)
{
    return uint32_t(crc32_z(crc32_z(0L, Z_NULL, 0), bytes, size));
}

CFrameCompressor::CFrameCompressor()
    : m_pStream(new Stream)
{
    std::memset(&m_pStream->z, 0, sizeof m_pStream->z);
    // The fastest level: the cameras compress at their frame rate, and the test pattern
    // shrinks well at any level.
    m_pStream->ready = deflateInit(&m_pStream->z, Z_BEST_SPEED) == Z_OK;
}

CFrameCompressor::~CFrameCompressor()
{
    if (m_pStream->ready)
        deflateEnd(&m_pStream->z);
    delete m_pStream;
}

void CFrameCompressor::setDescriptor(const std::vector<unsigned char>& descriptorBytes)
{
    m_descriptorChecksum = checksum(descriptorBytes.data(), descriptorBytes.size());
}

size_t CFrameCompressor::compress(const unsigned char* image, size_t imageSize, unsigned char* output, size_t outputSize)
{
    if (!m_pStream->ready || outputSize <= FrameHeaderSize)
        return 0;
    z_stream& z = m_pStream->z;
    deflateReset(&z);
    z.next_in = const_cast<unsigned char*>(image);
    z.avail_in = uInt(imageSize);
    z.next_out = output + FrameHeaderSize;
    z.avail_out = uInt(outputSize - FrameHeaderSize);
    if (deflate(&z, Z_FINISH) != Z_STREAM_END)
        return 0;
    const size_t compressedSize = size_t(z.total_out);
    writeHeader(output, FrameHeader{m_descriptorChecksum, uint32_t(imageSize), uint32_t(compressedSize),
                                    checksum(image, imageSize)});
    return FrameHeaderSize + compressedSize;
}

size_t decompress(uint32_t descriptorChecksum, const Descriptor& descriptor, const unsigned char* input, size_t inputSize,
                  unsigned char* output, size_t outputSize)
{
    const FrameHeader header = readHeader(input, inputSize);
    if (header.descriptorChecksum != descriptorChecksum)
        mismatch("the image was compressed with other settings.");
    if (header.imageSize != descriptor.imageSize)
        mismatch("the image sizes differ.");
    if (header.compressedSize > inputSize - FrameHeaderSize)
        damaged("its data is cut short.");
    if (!output || outputSize < header.imageSize)
        throw GenICam::InvalidArgumentException("The output buffer is too small for the decompressed image.", __FILE__, __LINE__);

    static thread_local CInflater inflater;
    z_stream* z = inflater.stream();
    z->next_in = const_cast<unsigned char*>(input + FrameHeaderSize);
    z->avail_in = uInt(header.compressedSize);
    z->next_out = output;
    z->avail_out = uInt(header.imageSize);
    if (inflate(z, Z_FINISH) != Z_STREAM_END || z->total_out != header.imageSize)
        damaged("its data can't be decompressed.");
    if (checksum(output, header.imageSize) != header.imageChecksum)
        damaged("the decompressed image fails its checksum.");
    return header.imageSize;
}

} // namespace Tavix::Codec
