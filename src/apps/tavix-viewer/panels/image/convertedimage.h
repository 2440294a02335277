#pragma once

#include <snapshotwriter.h>

#include <QImage>
#include <QPoint>
#include <QString>

#include <cstddef>
#include <cstdint>

namespace Viewer {

// One camera image made ready for the screen: the picture to paint (8 bits a channel) and the
// pixels as the camera sent them, for the read-out under the cursor.
class CConvertedImage
{
public:
    using Layout = CSnapshotWriter::ImageLayout;

    // 0 for a pixel format that can't be shown; those that can: Mono8/10/12/16, Coord3D_C16,
    // RGB8, BGR8, RGBA8, BGRA8.
    static int bytesPerPixel(const QString& pixelFormat);

    // Converts size bytes of pixels in the layout; a null image with the reason in error when
    // they don't make an image.
    static CConvertedImage convert(const uchar* pixels, size_t size, const Layout& layout, QString& error);

    bool isNull() const { return m_display.isNull(); }
    bool isMonochrome() const
    {
        return m_raw.format() == QImage::Format_Grayscale8 || m_raw.format() == QImage::Format_Grayscale16;
    }
    const QImage& display() const { return m_display; }
    QSize size() const { return m_display.size(); }
    int64_t imageNumber() const { return m_imageNumber; }
    // The camera the image came from, by the identity of its description.
    const void* source() const { return m_pSource; }
    void setOrigin(const void* source, int64_t imageNumber)
    {
        m_pSource = source;
        m_imageNumber = imageNumber;
    }
    // The camera's value of the pixel, "R, G, B" for colour; empty outside the image.
    QString valueText(const QPoint& position) const;
    // The image as a PNG holds it, equal to what is shown.
    QImage snapshot() const;

private:
    QImage m_display;
    QImage m_raw;
    int64_t m_imageNumber = 0;
    const void* m_pSource = nullptr;
};

} // namespace Viewer
