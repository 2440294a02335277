#include "snapshotwriter.h"

#include <QDir>
#include <QFile>
#include <QMutexLocker>
#include <QTemporaryFile>

#include <algorithm>
#include <cerrno>
#include <cstring>

QImage::Format CSnapshotWriter::imageFormatOf(Tavix::EPixelType pixelType)
{
    switch (pixelType) {
    case Tavix::PixelType_Mono8:
        return QImage::Format_Grayscale8;
    case Tavix::PixelType_RGB8:
        return QImage::Format_RGB888;
    case Tavix::PixelType_BGR8:
        return QImage::Format_BGR888;
    default:
        return QImage::Format_Invalid;
    }
}

QString CSnapshotWriter::pixelTypeText(Tavix::EPixelType pixelType)
{
    if (const char* name = Tavix::GetPixelTypeName(pixelType))
        return QString::fromLatin1(name);
    return QStringLiteral("pixel format 0x%1").arg(uint(pixelType), 8, 16, QLatin1Char('0'));
}

bool CSnapshotWriter::isCompressed(const Tavix::CGrabResultPtr& result)
{
    Tavix::CompressionInfo_t info;
    return Tavix::CImageDecompressor::GetCompressionInfo(info, result) && info.hasCompressedImage;
}

QString CSnapshotWriter::checkLayout(const ImageLayout& layout, bool canDecompress)
{
    const bool compressed = !layout.compressionMode.isEmpty() && layout.compressionMode != QLatin1String("Off");
    if (compressed && !canDecompress)
        return QStringLiteral("The camera sends compressed images (ImageCompressionMode %1), and there is no "
                              "decompressor for it here.").arg(layout.compressionMode);
    if (imageFormatOf(Tavix::GetPixelTypeFromName(layout.pixelFormat.toLatin1().constData())) == QImage::Format_Invalid)
        return QStringLiteral("Snapshots are written for Mono8, RGB8 and BGR8 images; the camera sends %1.")
            .arg(layout.pixelFormat.isEmpty() ? QStringLiteral("an unknown pixel format") : layout.pixelFormat);
    return {};
}

CSnapshotWriter::CSnapshotWriter(QString directory, QString baseName, int every, int maxFiles, DecompressorSource decompressors)
    : m_directory(std::move(directory))
    , m_baseName(std::move(baseName))
    , m_every(qMax(1, every))
    , m_maxFiles(maxFiles)
    , m_decompressors(std::move(decompressors))
{
    // One worker keeps the files in the order of the images and the encoder off every other core.
    m_worker.setMaxThreadCount(1);
}

CSnapshotWriter::~CSnapshotWriter()
{
    waitForDone();
}

void CSnapshotWriter::offer(const Tavix::CGrabResultPtr& result)
{
    const int index = m_offered.fetch_add(1);
    if (index % m_every != 0 || !result || !result->GrabSucceeded())
        return;
    if (m_maxFiles >= 0 && m_accepted.load() >= m_maxFiles)
        return;
    if (m_pending.fetch_add(1) >= MaxPending) {
        m_pending.fetch_sub(1);
        m_skipped.fetch_add(1);
        return;
    }
    m_accepted.fetch_add(1);
    m_worker.start([this, result] {
        save(result);
        m_pending.fetch_sub(1);
    });
}

void CSnapshotWriter::waitForDone()
{
    m_worker.waitForDone();
}

void CSnapshotWriter::save(const Tavix::CGrabResultPtr& result)
{
    const QString file = QDir(m_directory).absoluteFilePath(
        QStringLiteral("%1-%2.png").arg(m_baseName).arg(result->GetImageNumber(), 6, 10, QLatin1Char('0')));
    Tavix::ImageShape shape = result->GetImageShape();
    QByteArray decompressed;
    const uchar* pixels = static_cast<const uchar*>(result->GetBuffer());
    size_t pixelBytes = std::min(result->GetPayloadSize(), result->GetBufferSize());
    if (isCompressed(result)) {
        decompressed = decompress(result, file, shape);
        if (decompressed.isEmpty())
            return;
        pixels = reinterpret_cast<const uchar*>(decompressed.constData());
        pixelBytes = size_t(decompressed.size());
    }
    const QImage::Format format = imageFormatOf(shape.pixelType);
    if (format == QImage::Format_Invalid) {
        record(m_errors, QStringLiteral("%1: the image is %2; snapshots are written for Mono8, RGB8 and BGR8 images.")
                             .arg(file, pixelTypeText(shape.pixelType)));
        return;
    }
    if (shape.width == 0 || shape.height == 0 || pixelBytes < shape.imageSize()) {
        record(m_errors, QStringLiteral("%1: the image holds %2 bytes, %3 x %4 %5 needs %6.")
                             .arg(file).arg(pixelBytes).arg(shape.width).arg(shape.height)
                             .arg(pixelTypeText(shape.pixelType)).arg(shape.imageSize()));
        return;
    }
    // A view of the pixels where they are, in the image's own shape: the encoder reads the SDK's
    // buffer itself when the image isn't compressed. Only an image whose last row ends without
    // the padding of the others is copied, so that no row is read beyond the buffer.
    QImage view(pixels, int(shape.width), int(shape.height), int(shape.rowStride()), format);
    if (pixelBytes < shape.rowStride() * shape.height) {
        QImage packed(int(shape.width), int(shape.height), format);
        for (uint32_t y = 0; y < shape.height; ++y)
            std::memcpy(packed.scanLine(int(y)), pixels + y * shape.rowStride(), shape.rowBytes());
        view = packed;
    }
    QFile output(file);
    if (!output.open(QIODevice::WriteOnly) || !view.save(&output, "PNG") || !output.flush()) {
        record(m_errors, QStringLiteral("%1: could not be written: %2").arg(file, output.errorString()));
        output.remove();
        return;
    }
    record(m_files, file);
}

QString CSnapshotWriter::checkFolder(const QString& directory)
{
    if (!QDir().mkpath(directory))
        return QStringLiteral("The folder '%1' can't be created: %2").arg(directory, QString::fromLocal8Bit(std::strerror(errno)));
    QTemporaryFile probe(QDir(directory).absoluteFilePath(QStringLiteral(".tavix-host-XXXXXX")));
    if (!probe.open())
        return QStringLiteral("No snapshot can be written in '%1': %2").arg(directory, probe.errorString());
    return {};
}

QByteArray CSnapshotWriter::decompress(const Tavix::CGrabResultPtr& result, const QString& file, Tavix::ImageShape& shape)
{
    const QSharedPointer<const Tavix::CImageDecompressor> decompressor = m_decompressors ? m_decompressors() : nullptr;
    if (!decompressor) {
        record(m_errors, QStringLiteral("%1: no decompressor was set up for the camera at the grab's start.").arg(file));
        return {};
    }
    QByteArray pixels;
    QString error;
    const qint64 written = decompressInto(*decompressor, result, pixels, shape, error);
    if (written < 0) {
        record(m_errors, QStringLiteral("%1: the image could not be decompressed: %2").arg(file, error));
        return {};
    }
    pixels.truncate(int(written));
    return pixels;
}

qint64 CSnapshotWriter::decompressInto(const Tavix::CImageDecompressor& decompressor, const Tavix::CGrabResultPtr& result,
                                       QByteArray& buffer, Tavix::ImageShape& shape, QString& error)
{
    const int needed = int(decompressor.GetImageSizeForDecompression());
    if (buffer.size() != needed)
        buffer.resize(needed);
    try {
        return qint64(decompressor.DecompressImage(buffer.data(), size_t(buffer.size()), result, shape));
    } catch (const GenICam::GenericException& e) {
        error = QString::fromUtf8(e.GetDescription());
        return -1;
    }
}

void CSnapshotWriter::record(QStringList& list, const QString& text)
{
    QMutexLocker locker(&m_mutex);
    list.append(text);
}

QStringList CSnapshotWriter::writtenFiles() const
{
    QMutexLocker locker(&m_mutex);
    return m_files;
}

QStringList CSnapshotWriter::errors() const
{
    QMutexLocker locker(&m_mutex);
    return m_errors;
}
