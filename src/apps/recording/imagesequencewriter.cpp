#include "imagesequencewriter.h"

#include <QDir>
#include <QImageWriter>

#include <cstring>

namespace Recording {

CImageSequenceWriter::CImageSequenceWriter(ERecordingFormat format, QString folder, QString baseName)
    : m_format(format)
    , m_folder(std::move(folder))
    , m_baseName(std::move(baseName))
{
}

QImage::Format CImageSequenceWriter::imageFormatOf(Tavix::EPixelType pixelType)
{
    switch (pixelType) {
    case Tavix::PixelType_RGB8:
        return QImage::Format_RGB888;
    case Tavix::PixelType_BGR8:
        return QImage::Format_BGR888;
    case Tavix::PixelType_RGBA8:
        return QImage::Format_RGBA8888;
    case Tavix::PixelType_BGRA8:
        // Blue, green, red, alpha in memory is a little-endian machine's 32-bit ARGB.
        return QImage::Format_ARGB32;
    default:
        break;
    }
    // One value a pixel (monochrome, a mosaic, a depth map) in a byte or in two.
    const bool oneValue = (uint32_t(pixelType) >> 24) == 0x01;
    if (oneValue && Tavix::GetBitsPerPixel(pixelType) == 8)
        return QImage::Format_Grayscale8;
    if (oneValue && Tavix::GetBitsPerPixel(pixelType) == 16)
        return QImage::Format_Grayscale16;
    return QImage::Format_Invalid;
}

QString CImageSequenceWriter::fileName(const QString& baseName, int64_t imageNumber, const QString& extension)
{
    return QStringLiteral("%1-%2.%3").arg(baseName).arg(imageNumber, 8, 10, QLatin1Char('0')).arg(extension);
}

bool CImageSequenceWriter::write(const CRecordedImage& image, QString& error)
{
    const Tavix::ImageShape& shape = image.shape;
    const QImage::Format format = imageFormatOf(shape.pixelType);
    const QString file = QDir(m_folder).filePath(fileName(m_baseName, image.imageNumber, fileExtension(m_format)));
    if (format == QImage::Format_Invalid) {
        error = checkPixelType(m_format, shape.pixelType);
        return false;
    }
    // A view of the pixels where they are; only an image whose last row ends without the padding
    // of the others is copied, so that no row is read beyond the buffer.
    QImage view(image.pixels, int(shape.width), int(shape.height), int(shape.rowStride()), format);
    if (image.size < shape.rowStride() * shape.height) {
        QImage packed(int(shape.width), int(shape.height), format);
        for (uint32_t y = 0; y < shape.height; ++y)
            std::memcpy(packed.scanLine(int(y)), image.pixels + y * shape.rowStride(), shape.rowBytes());
        view = packed;
    }
    QImageWriter writer(file, m_format == ERecordingFormat::Png ? "png" : "tiff");
    // zlib's fastest level (Qt's quality 80 to 89): a recording has to keep up with the camera,
    // and this costs no more time than none (90 and above) while it makes the files far smaller.
    if (m_format == ERecordingFormat::Png)
        writer.setQuality(85);
    if (!writer.write(view)) {
        error = QStringLiteral("%1 can't be written: %2").arg(QDir::toNativeSeparators(file), writer.errorString());
        return false;
    }
    return true;
}

} // namespace Recording
