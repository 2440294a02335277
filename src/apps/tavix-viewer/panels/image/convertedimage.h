#pragma once

#include "imagestatistics.h"

#include <orientation.h>

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
    // Turns the picture and the pixels as a person wants to see them, from the image as converted:
    // may be done again with another orientation (without the saturated pixels marked).
    void orient(const Recording::COrientation& orientation);
    const Recording::COrientation& orientation() const { return m_orientation; }
    // Where a pixel of the shown picture is in the camera's image.
    QPoint sourcePosition(const QPoint& shown) const;
    // Paints the saturated pixels of the shown picture red: those at the top of the depth, or
    // with a channel at 255.
    void markSaturated();
    // The figures of the camera's values in a rectangle of the shown picture, or of all of it.
    CImageStatistics statistics(const QRect& region = {}) const;
    // The figures computed with the picture, when they were asked for.
    const CImageStatistics& shownStatistics() const { return m_statistics; }
    void setShownStatistics(CImageStatistics statistics) { m_statistics = std::move(statistics); }
    // The camera's value of the pixel, "R, G, B" for colour, with the colour shown for a mosaic;
    // empty outside the image. The position is the shown picture's.
    QString valueText(const QPoint& position) const;
    // The image as a PNG holds it, equal to what is shown.
    QImage snapshot() const;

private:
    // The value of a saturated pixel of the camera's depth.
    int topValue() const;

    QImage m_display;
    QImage m_raw;
    // The pictures as converted, before they were turned.
    QImage m_original;
    QImage m_originalRaw;
    Tavix::ImageShape m_shape;
    Tavix::EBayerOrder m_bayer = Tavix::BayerOrder_None;
    Recording::COrientation m_orientation;
    CImageStatistics m_statistics;
    int64_t m_imageNumber = 0;
    const void* m_pSource = nullptr;
};

} // namespace Viewer
