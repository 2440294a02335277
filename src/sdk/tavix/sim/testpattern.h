#pragma once

#include <tavix/pixeltype.h>

#include <cstddef>
#include <cstdint>
#include <vector>

namespace TavixSim {

// The moving picture of the simulated cameras: diagonal bands whose brightness rises and falls
// evenly (a triangle wave of 510 pixels, from 0 up to 255 and back), so that no edge shows at
// any width, moving one pixel to the left with each frame. Red, green and blue run a third of a
// period apart. A monochrome camera sends the red wave scaled to its bit depth, a colour camera
// the three waves, a Bayer camera the mosaic of the colour picture.
//
// Prepared for one grab, it writes each frame with one copy a row from lines made in advance,
// without allocating.
class CTestPattern
{
public:
    static constexpr uint32_t Period = 510;

    struct Colour
    {
        uint8_t red = 0;
        uint8_t green = 0;
        uint8_t blue = 0;
    };

    // How the camera's settings change the light of the picture: each of the wave's levels is
    // multiplied by gain, offset added, and the result held within 0 to 255. The neutral
    // response leaves the picture as it is.
    struct Response
    {
        double gain = 1.0;
        double offset = 0.0;
        bool operator==(const Response& other) const { return gain == other.gain && offset == other.offset; }
        bool operator!=(const Response& other) const { return !(*this == other); }
        uint8_t apply(uint8_t level) const;
    };

    // The wave's value at a position along it.
    static uint8_t level(uint64_t position);
    // The colour of a pixel in the frame of the given phase. A frame's phase is its place in the
    // grab, 1 for the first, which is its image number unless the scenario says otherwise.
    static Colour colourAt(uint32_t x, uint32_t y, uint64_t phase);

    // A whole frame as a camera of that format sends it, for tests and tools that check what
    // came through.
    static std::vector<unsigned char> frame(uint32_t width, uint32_t height, size_t bytesPerPixel,
                                            Tavix::EPixelType pixelType, uint64_t phase);
    static std::vector<unsigned char> frame(uint32_t width, uint32_t height, size_t bytesPerPixel,
                                            Tavix::EPixelType pixelType, uint64_t phase, Response response);

    // bytesPerPixel is what a pixel takes in the camera's images; for a type without a name
    // every byte of a pixel gets the red wave.
    void prepare(uint32_t width, uint32_t height, size_t bytesPerPixel, Tavix::EPixelType pixelType);
    void prepare(uint32_t width, uint32_t height, size_t bytesPerPixel, Tavix::EPixelType pixelType, Response response);
    // The same frames in another light; nothing is allocated when the size stays.
    void setResponse(Response response);
    Response response() const { return m_response; }
    // Writes the rows that fit into size bytes; returns how many.
    uint32_t write(unsigned char* image, size_t size, uint64_t phase) const;

private:
    void encode(unsigned char* pixel, const Colour& colour, bool oddRow, bool oddColumn) const;
    void makeLines();

    uint32_t m_width = 0;
    uint32_t m_height = 0;
    size_t m_bytesPerPixel = 1;
    Tavix::EPixelType m_pixelType = Tavix::PixelType_Undefined;
    Response m_response;
    // One line of width + Period pixels for each kind of row: a mosaic's pixels differ with the
    // parity of the row and of the line's starting point.
    std::vector<std::vector<unsigned char>> m_lines;
};

} // namespace TavixSim
