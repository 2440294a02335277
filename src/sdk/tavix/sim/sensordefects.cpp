#include <tavix/sim/sensordefects.h>

#include <tavix/defectpixelcorrection.h>

#include <algorithm>
#include <cstring>

namespace TavixSim {

namespace {

Tavix::StaticDefectPixelList pixelsOf(const std::string& list)
{
    try {
        return Tavix::CStaticDefectPixelCorrection::FromText(list);
    } catch (const GenICam::GenericException&) {
        return {};
    }
}

} // namespace

void CSensorDefects::prepare(const Layout& layout, const std::string& sensor, const std::string& factory, const std::string& user,
                             bool correctionOn)
{
    m_layout = layout;
    m_defects.clear();
    m_corrections.clear();
    // The factory found its defects on the sensor; the others are those it missed or that came later.
    addDefects(factory);
    addDefects(sensor);
    if (!correctionOn)
        return;
    addCorrections(factory);
    addCorrections(user);
}

void CSensorDefects::addDefects(const std::string& list)
{
    for (const auto& pixel : pixelsOf(list)) {
        if (pixel.x < m_layout.width && pixel.y < m_layout.height) {
            const size_t offset = (pixel.y * m_layout.width + pixel.x) * m_layout.bytesPerPixel;
            m_defects.emplace_back(offset, (pixel.x + pixel.y) % 2 == 0 ? 255 : 0);
        }
    }
}

void CSensorDefects::addCorrections(const std::string& list)
{
    if (m_layout.width < 2)
        return;
    for (const auto& pixel : pixelsOf(list)) {
        if (pixel.x >= m_layout.width || pixel.y >= m_layout.height)
            continue;
        const size_t offset = (pixel.y * m_layout.width + pixel.x) * m_layout.bytesPerPixel;
        const size_t left = pixel.x > 0 ? offset - m_layout.bytesPerPixel : offset + m_layout.bytesPerPixel;
        const size_t right = pixel.x + 1 < m_layout.width ? offset + m_layout.bytesPerPixel : left;
        m_corrections.push_back({offset, left, right});
    }
}

void CSensorDefects::apply(unsigned char* image, size_t imageSize) const
{
    const size_t bytes = m_layout.bytesPerPixel;
    for (const auto& defect : m_defects) {
        if (defect.first + bytes <= imageSize)
            std::memset(image + defect.first, defect.second, bytes);
    }
    for (const auto& correction : m_corrections) {
        if (std::max({correction.offset, correction.left, correction.right}) + bytes > imageSize)
            continue;
        for (size_t b = 0; b < bytes; ++b)
            image[correction.offset + b] = static_cast<unsigned char>((image[correction.left + b] + image[correction.right + b]) / 2);
    }
}

} // namespace TavixSim
