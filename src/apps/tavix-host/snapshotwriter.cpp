#include "snapshotwriter.h"

#include <QDir>
#include <QMutexLocker>

QImage::Format CSnapshotWriter::imageFormatOf(const QString& pixelFormat)
{
    if (pixelFormat == QLatin1String("Mono8"))
        return QImage::Format_Grayscale8;
    if (pixelFormat == QLatin1String("RGB8") || pixelFormat == QLatin1String("RGB8Packed"))
        return QImage::Format_RGB888;
    if (pixelFormat == QLatin1String("BGR8") || pixelFormat == QLatin1String("BGR8Packed"))
        return QImage::Format_BGR888;
    return QImage::Format_Invalid;
}

QString CSnapshotWriter::checkLayout(const ImageLayout& layout)
{
    if (!layout.compressionMode.isEmpty() && layout.compressionMode != QLatin1String("Off"))
        return QStringLiteral("The camera sends compressed images (ImageCompressionMode %1); snapshots are written of "
                              "uncompressed ones.").arg(layout.compressionMode);
    if (imageFormatOf(layout.pixelFormat) == QImage::Format_Invalid)
        return QStringLiteral("Snapshots are written for Mono8, RGB8 and BGR8 images; the camera sends %1.")
            .arg(layout.pixelFormat.isEmpty() ? QStringLiteral("an unknown pixel format") : layout.pixelFormat);
    if (layout.width <= 0 || layout.height <= 0)
        return QStringLiteral("The camera reports an image size of %1 x %2.").arg(layout.width).arg(layout.height);
    return {};
}

CSnapshotWriter::CSnapshotWriter(QString directory, QString baseName, ImageLayout layout, int every, int maxFiles)
    : m_directory(std::move(directory))
    , m_baseName(std::move(baseName))
    , m_layout(std::move(layout))
    , m_format(imageFormatOf(m_layout.pixelFormat))
    , m_every(qMax(1, every))
    , m_maxFiles(maxFiles)
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
    const int bytesPerPixel = m_format == QImage::Format_Grayscale8 ? 1 : 3;
    const qsizetype bytesPerLine = qsizetype(m_layout.width) * bytesPerPixel;
    const size_t imageBytes = size_t(bytesPerLine) * size_t(m_layout.height);
    const QString file = QDir(m_directory).absoluteFilePath(
        QStringLiteral("%1-%2.png").arg(m_baseName).arg(result->GetImageNumber(), 6, 10, QLatin1Char('0')));
    if (result->GetPayloadSize() < imageBytes || result->GetBufferSize() < imageBytes) {
        record(m_errors, QStringLiteral("%1: the image holds %2 bytes, %3 x %4 %5 needs %6.")
                             .arg(file).arg(result->GetPayloadSize()).arg(m_layout.width).arg(m_layout.height)
                             .arg(m_layout.pixelFormat).arg(imageBytes));
        return;
    }
    // A view of the SDK's buffer: the encoder reads the pixels where the camera put them.
    const QImage view(static_cast<const uchar*>(result->GetBuffer()), m_layout.width, m_layout.height, int(bytesPerLine), m_format);
    if (view.save(file, "PNG"))
        record(m_files, file);
    else
        record(m_errors, QStringLiteral("%1: could not be written.").arg(file));
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
