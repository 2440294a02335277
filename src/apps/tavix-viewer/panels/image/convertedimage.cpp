#include "convertedimage.h"

#include <QCoreApplication>

#include <algorithm>
#include <cstring>

namespace Viewer {

namespace {

// How far the values of a wide monochrome format are shifted to fit 8 bits.
int monoShift(const QString& pixelFormat)
{
    if (pixelFormat == QLatin1String("Mono10"))
        return 2;
    if (pixelFormat == QLatin1String("Mono12"))
        return 4;
    if (pixelFormat == QLatin1String("Mono16") || pixelFormat == QLatin1String("Coord3D_C16"))
        return 8;
    return -1;
}

QImage::Format sourceFormat(const QString& pixelFormat)
{
    if (pixelFormat == QLatin1String("Mono8"))
        return QImage::Format_Grayscale8;
    if (monoShift(pixelFormat) >= 0)
        return QImage::Format_Grayscale16;
    if (pixelFormat == QLatin1String("RGBA8") || pixelFormat == QLatin1String("RGBA8Packed"))
        return QImage::Format_RGBA8888;
    // Blue, green, red, alpha in memory is a little-endian machine's 32-bit ARGB.
    if (pixelFormat == QLatin1String("BGRA8") || pixelFormat == QLatin1String("BGRA8Packed"))
        return QImage::Format_ARGB32;
    return CSnapshotWriter::imageFormatOf(pixelFormat);
}

// 16-bit values (little-endian, as the cameras send them) to 8 bits, clamped where a narrower
// format's value overflows its range.
QImage scaledToEightBits(const QImage& raw, int shift)
{
    QImage eight(raw.size(), QImage::Format_Grayscale8);
    for (int y = 0; y < raw.height(); ++y) {
        const auto* in = reinterpret_cast<const quint16*>(raw.constScanLine(y));
        uchar* out = eight.scanLine(y);
        for (int x = 0; x < raw.width(); ++x)
            out[x] = uchar(std::min(255, in[x] >> shift));
    }
    return eight;
}

} // namespace

int CConvertedImage::bytesPerPixel(const QString& pixelFormat)
{
    const QImage::Format format = sourceFormat(pixelFormat);
    return format == QImage::Format_Invalid ? 0 : QImage::toPixelFormat(format).bitsPerPixel() / 8;
}

CConvertedImage CConvertedImage::convert(const uchar* pixels, size_t size, const Layout& layout, QString& error)
{
    const QImage::Format format = sourceFormat(layout.pixelFormat);
    const size_t lineBytes = size_t(std::max(0, layout.width)) * size_t(bytesPerPixel(layout.pixelFormat));
    const size_t needed = lineBytes * size_t(std::max(0, layout.height));
    CConvertedImage image;
    if (format == QImage::Format_Invalid) {
        error = QCoreApplication::translate("Viewer::CImagePanelWidget", "Images in %1 can't be shown.").arg(layout.pixelFormat);
        return image;
    }
    if (needed == 0 || size < needed) {
        error = QCoreApplication::translate("Viewer::CImagePanelWidget", "The image holds %1 bytes; %2 x %3 %4 needs %5.")
                    .arg(size).arg(layout.width).arg(layout.height).arg(layout.pixelFormat).arg(needed);
        return image;
    }
    // A copy: the camera's buffer goes back to the SDK once the image is converted.
    image.m_raw = QImage(pixels, layout.width, layout.height, int(lineBytes), format).copy();
    const int shift = monoShift(layout.pixelFormat);
    const QImage eight = shift >= 0 ? scaledToEightBits(image.m_raw, shift) : image.m_raw;
    // Converted here, off the GUI thread, to the format the screen paints fastest.
    image.m_display = eight.convertToFormat(QImage::Format_RGB32);
    return image;
}

QString CConvertedImage::valueText(const QPoint& position) const
{
    if (!m_raw.valid(position))
        return {};
    if (m_raw.format() == QImage::Format_Grayscale16)
        return QString::number(reinterpret_cast<const quint16*>(m_raw.constScanLine(position.y()))[position.x()]);
    if (m_raw.format() == QImage::Format_Grayscale8)
        return QString::number(m_raw.constScanLine(position.y())[position.x()]);
    const QColor colour = m_raw.pixelColor(position);
    return QStringLiteral("%1, %2, %3").arg(colour.red()).arg(colour.green()).arg(colour.blue());
}

QImage CConvertedImage::snapshot() const
{
    return isMonochrome() ? m_display.convertToFormat(QImage::Format_Grayscale8) : m_display;
}

} // namespace Viewer
