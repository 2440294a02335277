#include "recordingwriter.h"

#include "imagesequencewriter.h"
#include "rawsequencewriter.h"
#include "videowriter.h"

#include <snapshotwriter.h>

#include <QDir>
#include <QFileInfo>
#include <QTemporaryFile>

#include <cerrno>
#include <cstring>

namespace Recording {

ARecordingWriter::~ARecordingWriter() = default;

bool ARecordingWriter::finish(QString& /*error*/)
{
    return true;
}

std::unique_ptr<ARecordingWriter> ARecordingWriter::create(ERecordingFormat format, const QString& target,
                                                           const QString& baseName, double nominalRate)
{
    switch (format) {
    case ERecordingFormat::Png:
    case ERecordingFormat::Tiff:
        return std::make_unique<CImageSequenceWriter>(format, target, baseName);
    case ERecordingFormat::Raw:
        return std::make_unique<CRawSequenceWriter>(target, baseName);
    case ERecordingFormat::Ffv1:
    case ERecordingFormat::H264:
        return std::make_unique<CVideoWriter>(format, target, nominalRate);
    }
    return {};
}

QString ARecordingWriter::checkPixelType(ERecordingFormat format, Tavix::EPixelType pixelType)
{
    const QString type = CSnapshotWriter::pixelTypeText(pixelType);
    switch (format) {
    case ERecordingFormat::Png:
    case ERecordingFormat::Tiff:
        if (CImageSequenceWriter::imageFormatOf(pixelType) != QImage::Format_Invalid)
            return {};
        return QStringLiteral("%1 files are written of monochrome and Bayer images of 8 or 16 bits a pixel and of RGB "
                              "and BGR images; the images are %2 (record them as raw).")
            .arg(formatName(format).toUpper(), type);
    case ERecordingFormat::Raw:
        if (Tavix::GetBitsPerPixel(pixelType) > 0)
            return {};
        return QStringLiteral("The images have no known pixel format (%1).").arg(type);
    case ERecordingFormat::Ffv1:
    case ERecordingFormat::H264:
        return CVideoWriter::checkPixelType(pixelType);
    }
    return {};
}

QString ARecordingWriter::prepareTarget(ERecordingFormat format, const QString& target)
{
    if (target.isEmpty())
        return QStringLiteral("No place to record to was given.");
    const QString folder = isVideo(format) ? QFileInfo(target).absolutePath() : target;
    if (isVideo(format) && QFileInfo(target).isDir())
        return QStringLiteral("'%1' is a folder; a video is written to a file.").arg(QDir::toNativeSeparators(target));
    if (!QDir().mkpath(folder))
        return QStringLiteral("The folder '%1' can't be created: %2")
            .arg(QDir::toNativeSeparators(folder), QString::fromLocal8Bit(std::strerror(errno)));
    QTemporaryFile probe(QDir(folder).filePath(QStringLiteral(".tavix-recording-XXXXXX")));
    if (!probe.open())
        return QStringLiteral("Nothing can be written in '%1': %2").arg(QDir::toNativeSeparators(folder), probe.errorString());
    return {};
}

CRecordedImage orientedImage(const CRecordedImage& image, const COrientation& orientation, std::vector<unsigned char>& buffer)
{
    CRecordedImage turned = image;
    const uint32_t bits = Tavix::GetBitsPerPixel(image.shape.pixelType);
    // Packed pixels (Mono12p and the like) stay as the camera sent them, and say so.
    if (orientation.isIdentity() || bits % 8 != 0)
        return turned;
    turned.orientation = orientation;
    const QSize size(int(image.shape.width), int(image.shape.height));
    const QSize turnedSize = orientation.orientedSize(size);
    turned.shape.width = uint32_t(turnedSize.width());
    turned.shape.height = uint32_t(turnedSize.height());
    turned.shape.paddingX = 0;
    turned.shape.pixelType = orientation.orientedPixelType(image.shape.pixelType, size);
    turned.size = turned.shape.imageSize();
    if (buffer.size() != turned.size)
        buffer.resize(turned.size);
    orientation.apply(image.pixels, size.width(), size.height(), image.shape.rowStride(), int(bits / 8), buffer.data(),
                      turned.shape.rowStride());
    turned.pixels = buffer.data();
    return turned;
}

} // namespace Recording
