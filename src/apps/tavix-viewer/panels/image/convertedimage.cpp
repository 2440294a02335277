#include "convertedimage.h"

#include "demosaic.h"

#include <shownformats.h>

#include <QCoreApplication>

#include <algorithm>
#include <cstring>

namespace Viewer {

namespace {

// The QImage format that holds the camera's pixels as they are.
QImage::Format rawFormatOf(Tavix::EPixelType pixelType)
{
    using namespace Tavix;
    if (!canShowPixelType(pixelType))
        return QImage::Format_Invalid;
    switch (pixelType) {
    case PixelType_RGB8:
        return QImage::Format_RGB888;
    case PixelType_BGR8:
        return QImage::Format_BGR888;
    case PixelType_RGBA8:
        return QImage::Format_RGBA8888;
    case PixelType_BGRA8:
        // Blue, green, red, alpha in memory is a little-endian machine's 32-bit ARGB.
        return QImage::Format_ARGB32;
    default:
        // Monochrome and mosaics: a sample a pixel, in one byte or two.
        return GetBitsPerPixel(pixelType) == 8 ? QImage::Format_Grayscale8 : QImage::Format_Grayscale16;
    }
}

// 16-bit samples (little-endian, as the cameras send them) to 8 bits by their real depth: the
// top of a 12-bit range is white. A value beyond the depth's range is clamped.
QImage scaledToEightBits(const QImage& raw, uint32_t depth)
{
    const int shift = int(std::clamp<uint32_t>(depth, 8, 16)) - 8;
    QImage eight(raw.size(), QImage::Format_Grayscale8);
    for (int y = 0; y < raw.height(); ++y) {
        const auto* in = reinterpret_cast<const quint16*>(raw.constScanLine(y));
        uchar* out = eight.scanLine(y);
        for (int x = 0; x < raw.width(); ++x)
            out[x] = uchar(std::min(255, in[x] >> shift));
    }
    return eight;
}

QString translated(const char* text)
{
    return QCoreApplication::translate("Viewer::CImagePanelWidget", text);
}

} // namespace

CConvertedImage CConvertedImage::convert(const uchar* pixels, size_t size, const Tavix::ImageShape& shape, QString& error)
{
    CConvertedImage image;
    const QImage::Format format = rawFormatOf(shape.pixelType);
    if (format == QImage::Format_Invalid) {
        error = translated("Images in %1 can't be shown: the viewer has no converter for that pixel format.")
                    .arg(pixelTypeText(shape.pixelType));
        return image;
    }
    const size_t needed = shape.imageSize();
    if (shape.width == 0 || shape.height == 0 || size < needed || shape.width > INT_MAX || shape.height > INT_MAX) {
        error = translated("The image holds %1 bytes; %2 x %3 %4 needs %5.")
                    .arg(size).arg(shape.width).arg(shape.height).arg(pixelTypeText(shape.pixelType)).arg(needed);
        return image;
    }
    // A copy in the image's own shape, row by row: the camera's buffer goes back to the SDK once
    // the image is converted, and its last row may end without the padding the others have.
    image.m_raw = QImage(int(shape.width), int(shape.height), format);
    for (uint32_t y = 0; y < shape.height; ++y)
        std::memcpy(image.m_raw.scanLine(int(y)), pixels + y * shape.rowStride(), shape.rowBytes());
    image.m_shape = shape;
    image.m_bayer = Tavix::GetBayerOrder(shape.pixelType);
    const QImage eight = format == QImage::Format_Grayscale16
                             ? scaledToEightBits(image.m_raw, Tavix::GetPixelColorDepth(shape.pixelType))
                             : image.m_raw;
    // Converted here, off the GUI thread, to the format the screen paints fastest.
    image.m_display = image.m_bayer != Tavix::BayerOrder_None ? demosaicBilinear(eight, image.m_bayer)
                                                              : eight.convertToFormat(QImage::Format_RGB32);
    return image;
}

QString CConvertedImage::valueText(const QPoint& position) const
{
    if (!m_raw.valid(position))
        return {};
    QString value;
    if (m_raw.format() == QImage::Format_Grayscale16)
        value = QString::number(reinterpret_cast<const quint16*>(m_raw.constScanLine(position.y()))[position.x()]);
    else if (m_raw.format() == QImage::Format_Grayscale8)
        value = QString::number(m_raw.constScanLine(position.y())[position.x()]);
    if (!value.isEmpty() && m_bayer == Tavix::BayerOrder_None)
        return value;
    const QColor colour = (m_bayer != Tavix::BayerOrder_None ? m_display : m_raw).pixelColor(position);
    const QString rgb = QStringLiteral("%1, %2, %3").arg(colour.red()).arg(colour.green()).arg(colour.blue());
    // A mosaic's pixel holds one colour; the other two are its neighbours'.
    return value.isEmpty() ? rgb : translated("%1 (shown as %2)").arg(value, rgb);
}

void CConvertedImage::orient(const Recording::COrientation& orientation)
{
    if (isNull())
        return;
    // Always from the image as converted: the pictures are shared, not copied, until they turn.
    if (m_original.isNull()) {
        m_original = m_display;
        m_originalRaw = m_raw;
    }
    m_orientation = orientation;
    m_display = orientation.apply(m_original);
    m_raw = orientation.apply(m_originalRaw);
    // A turned mosaic starts with another colour.
    m_bayer = Tavix::GetBayerOrder(orientation.orientedPixelType(m_shape.pixelType, m_originalRaw.size()));
}

QPoint CConvertedImage::sourcePosition(const QPoint& shown) const
{
    // The camera's image is the shown one turned back.
    const QSize sourceSize = m_orientation.quarterTurns % 2 ? m_raw.size().transposed() : m_raw.size();
    return m_orientation.sourceOf(shown, sourceSize);
}

int CConvertedImage::topValue() const
{
    return m_raw.format() == QImage::Format_Grayscale16 ? (1 << std::clamp<uint32_t>(Tavix::GetPixelColorDepth(m_shape.pixelType), 9, 16)) - 1
                                                        : 255;
}

void CConvertedImage::markSaturated()
{
    if (isNull())
        return;
    const QRgb mark = qRgb(255, 0, 0);
    const int top = topValue();
    for (int y = 0; y < m_raw.height(); ++y) {
        auto* shown = reinterpret_cast<QRgb*>(m_display.scanLine(y));
        if (m_raw.format() == QImage::Format_Grayscale16) {
            const auto* row = reinterpret_cast<const quint16*>(m_raw.constScanLine(y));
            for (int x = 0; x < m_raw.width(); ++x) {
                if (row[x] >= top)
                    shown[x] = mark;
            }
        } else if (m_raw.format() == QImage::Format_Grayscale8) {
            const uchar* row = m_raw.constScanLine(y);
            for (int x = 0; x < m_raw.width(); ++x) {
                if (row[x] == 255)
                    shown[x] = mark;
            }
        } else {
            for (int x = 0; x < m_raw.width(); ++x) {
                const QRgb pixel = shown[x];
                if (qRed(pixel) == 255 || qGreen(pixel) == 255 || qBlue(pixel) == 255)
                    shown[x] = mark;
            }
        }
    }
}

CImageStatistics CConvertedImage::statistics(const QRect& region) const
{
    if (isNull())
        return {};
    return CImageStatistics::of(m_raw, int(Tavix::GetPixelColorDepth(m_shape.pixelType)), m_bayer, region);
}

QImage CConvertedImage::snapshot() const
{
    return isMonochrome() ? m_display.convertToFormat(QImage::Format_Grayscale8) : m_display;
}

} // namespace Viewer
