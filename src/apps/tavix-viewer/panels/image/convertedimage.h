#pragma once

#include <tavix/pixeltype.h>

#include <QImage>
#include <QPoint>
#include <QString>

#include <cstddef>
#include <cstdint>

namespace Viewer {

// One camera image made ready for the screen: the picture to paint (8 bits a channel) and the
// pixels as the camera sent them, for the read-out under the cursor. The pixels are read by the
// shape the image came with, never by the camera's settings.
class CConvertedImage
{
public:
    // Converts the pixels of an image of that shape; a null image with the reason in error when
    // they don't make an image or the viewer can't show the format.
    static CConvertedImage convert(const uchar* pixels, size_t size, const Tavix::ImageShape& shape, QString& error);

    bool isNull() const { return m_display.isNull(); }
    bool isMonochrome() const { return m_bayer == Tavix::BayerOrder_None && (m_raw.format() == QImage::Format_Grayscale8 || m_raw.format() == QImage::Format_Grayscale16); }
    const QImage& display() const { return m_display; }
    QSize size() const { return m_display.size(); }
    const Tavix::ImageShape& shape() const { return m_shape; }
    int64_t imageNumber() const { return m_imageNumber; }
    // The camera the image came from, by the identity of its description.
    const void* source() const { return m_pSource; }
    void setOrigin(const void* source, int64_t imageNumber)
    {
        m_pSource = source;
        m_imageNumber = imageNumber;
    }
    // The camera's value of the pixel, "R, G, B" for colour, with the colour shown for a mosaic;
    // empty outside the image.
    QString valueText(const QPoint& position) const;
    // The image as a PNG holds it, equal to what is shown.
    QImage snapshot() const;

private:
    QImage m_display;
    QImage m_raw;
    Tavix::ImageShape m_shape;
    Tavix::EBayerOrder m_bayer = Tavix::BayerOrder_None;
    int64_t m_imageNumber = 0;
    const void* m_pSource = nullptr;
};

} // namespace Viewer
