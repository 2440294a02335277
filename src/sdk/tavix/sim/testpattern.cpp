#include <tavix/sim/testpattern.h>

#include <algorithm>
#include <cmath>
#include <cstring>

namespace TavixSim {
namespace {

// A third of the period between the colours.
constexpr uint64_t ColourShift = CTestPattern::Period / 3;

uint8_t bayerChannel(Tavix::EBayerOrder order, bool oddRow, bool oddColumn, const CTestPattern::Colour& colour)
{
    // The colour of each of the four places of the mosaic's 2 x 2 tile, row by row.
    static const char tiles[][4] = {
        /* None */ {'r', 'r', 'r', 'r'}, /* RG */ {'r', 'g', 'g', 'b'}, /* GR */ {'g', 'r', 'b', 'g'},
        /* GB */ {'g', 'b', 'r', 'g'},   /* BG */ {'b', 'g', 'g', 'r'},
    };
    switch (tiles[order][(oddRow ? 2 : 0) + (oddColumn ? 1 : 0)]) {
    case 'g':
        return colour.green;
    case 'b':
        return colour.blue;
    default:
        return colour.red;
    }
}

void putWide(unsigned char* pixel, uint8_t level, uint32_t depth)
{
    const uint32_t maximum = (uint32_t(1) << std::min<uint32_t>(depth, 16)) - 1;
    const uint16_t value = uint16_t((uint32_t(level) * maximum + 127) / 255);
    pixel[0] = uint8_t(value & 0xFF); // little-endian, as the cameras send them
    pixel[1] = uint8_t(value >> 8);
}

} // namespace

uint8_t CTestPattern::level(uint64_t position)
{
    const uint64_t place = position % Period;
    return uint8_t(place < 256 ? place : Period - place);
}

uint8_t CTestPattern::Response::apply(uint8_t level) const
{
    if (gain == 1.0 && offset == 0.0)
        return level;
    return uint8_t(std::clamp(std::lround(level * gain + offset), 0L, 255L));
}

CTestPattern::Colour CTestPattern::colourAt(uint32_t x, uint32_t y, uint64_t phase)
{
    const uint64_t position = uint64_t(x) + y + phase;
    return {level(position), level(position + ColourShift), level(position + 2 * ColourShift)};
}

std::vector<unsigned char> CTestPattern::frame(uint32_t width, uint32_t height, size_t bytesPerPixel,
                                                Tavix::EPixelType pixelType, uint64_t phase)
{
    return frame(width, height, bytesPerPixel, pixelType, phase, Response());
}

std::vector<unsigned char> CTestPattern::frame(uint32_t width, uint32_t height, size_t bytesPerPixel,
                                                Tavix::EPixelType pixelType, uint64_t phase, Response response)
{
    CTestPattern pattern;
    pattern.prepare(width, height, bytesPerPixel, pixelType, response);
    std::vector<unsigned char> bytes(size_t(width) * height * pattern.m_bytesPerPixel);
    pattern.write(bytes.data(), bytes.size(), phase);
    return bytes;
}

void CTestPattern::prepare(uint32_t width, uint32_t height, size_t bytesPerPixel, Tavix::EPixelType pixelType)
{
    prepare(width, height, bytesPerPixel, pixelType, Response());
}

void CTestPattern::prepare(uint32_t width, uint32_t height, size_t bytesPerPixel, Tavix::EPixelType pixelType, Response response)
{
    m_width = width;
    m_height = height;
    m_bytesPerPixel = std::max<size_t>(1, bytesPerPixel);
    m_pixelType = pixelType;
    m_response = response;
    const bool mosaic = Tavix::GetBayerOrder(pixelType) != Tavix::BayerOrder_None;
    m_lines.assign(mosaic ? 4 : 1, std::vector<unsigned char>(size_t(width + Period) * m_bytesPerPixel));
    makeLines();
}

void CTestPattern::setResponse(Response response)
{
    if (response == m_response)
        return;
    m_response = response;
    makeLines();
}

void CTestPattern::makeLines()
{
    for (size_t kind = 0; kind < m_lines.size(); ++kind) {
        const bool oddRow = kind & 2;
        const bool oddStart = kind & 1;
        for (uint32_t i = 0; i < m_width + Period; ++i) {
            const Colour wave = colourAt(i, 0, 0);
            const Colour colour{m_response.apply(wave.red), m_response.apply(wave.green), m_response.apply(wave.blue)};
            encode(&m_lines[kind][size_t(i) * m_bytesPerPixel], colour, oddRow, (i % 2 == 1) != oddStart);
        }
    }
}

void CTestPattern::encode(unsigned char* pixel, const Colour& colour, bool oddRow, bool oddColumn) const
{
    using namespace Tavix;
    const uint32_t depth = GetPixelColorDepth(m_pixelType);
    const EBayerOrder mosaic = GetBayerOrder(m_pixelType);
    if (mosaic != BayerOrder_None) {
        const uint8_t value = bayerChannel(mosaic, oddRow, oddColumn, colour);
        if (m_bytesPerPixel >= 2)
            putWide(pixel, value, depth);
        else
            pixel[0] = value;
        return;
    }
    switch (m_pixelType) {
    case PixelType_RGB8:
    case PixelType_RGBA8:
    case PixelType_BGR8:
    case PixelType_BGRA8: {
        const bool blueFirst = m_pixelType == PixelType_BGR8 || m_pixelType == PixelType_BGRA8;
        const uint8_t channels[4] = {blueFirst ? colour.blue : colour.red, colour.green, blueFirst ? colour.red : colour.blue, 255};
        std::memcpy(pixel, channels, std::min<size_t>(m_bytesPerPixel, 4));
        return;
    }
    default:
        break;
    }
    if (m_bytesPerPixel == 2 && depth > 8) {
        putWide(pixel, colour.red, depth);
        return;
    }
    std::memset(pixel, colour.red, m_bytesPerPixel);
}

uint32_t CTestPattern::write(unsigned char* image, size_t size, uint64_t phase) const
{
    const size_t rowBytes = size_t(m_width) * m_bytesPerPixel;
    if (rowBytes == 0 || m_lines.empty())
        return 0;
    const uint32_t rows = uint32_t(std::min<size_t>(m_height, size / rowBytes));
    for (uint32_t y = 0; y < rows; ++y) {
        // Row y of this frame is the line from the pixel at x + y + phase.
        const uint64_t start = (uint64_t(y) + phase) % Period;
        const size_t kind = m_lines.size() == 1 ? 0 : size_t((y % 2) * 2 + start % 2);
        std::memcpy(image + size_t(y) * rowBytes, &m_lines[kind][size_t(start) * m_bytesPerPixel], rowBytes);
    }
    return rows;
}

} // namespace TavixSim
