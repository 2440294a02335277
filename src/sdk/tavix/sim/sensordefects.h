#pragma once

#include <cstddef>
#include <string>
#include <vector>

namespace TavixSim {

// The defect pixels of a simulated sensor and the camera's correction of them. A defect pixel is
// hot (every byte 255) where x + y is even and dead (every byte 0) where it is odd. While the
// correction is on, every pixel on the factory or the user list takes the mean of its left and
// right neighbours, as a camera's own correction would; a defect on no list stays visible.
// Prepared for one grab, then applied to each image on the grab thread without allocating.
class CSensorDefects
{
public:
    struct Layout
    {
        size_t width = 0;
        size_t height = 0;
        size_t bytesPerPixel = 1;
    };

    // Lists in the text form "x,y;x,y". Malformed lists count as empty: the camera checked them
    // when they were written.
    void prepare(const Layout& layout, const std::string& sensor, const std::string& factory, const std::string& user,
                 bool correctionOn);
    void apply(unsigned char* image, size_t imageSize) const;

private:
    struct Correction
    {
        size_t offset;
        size_t left;  // the neighbours' offsets; one of them stands for both at an edge
        size_t right;
    };

    void addDefects(const std::string& list);
    void addCorrections(const std::string& list);

    Layout m_layout;
    std::vector<std::pair<size_t, unsigned char>> m_defects; // offset, value of each byte
    std::vector<Correction> m_corrections;
};

} // namespace TavixSim
