#include "imageconverter.h"

#include <snapshotwriter.h>

#include <QMutexLocker>

namespace Viewer {

CImageConverter::CImageConverter(QSharedPointer<const CClientServices> services, QObject* parent)
    : QObject(parent)
    , m_ptrServices(std::move(services))
{
}

CImageConverter::~CImageConverter() = default;

bool CImageConverter::offer(const CameraInfoPtr& camera, const Tavix::CGrabResultPtr& result)
{
    if (m_busy.exchange(true, std::memory_order_acquire))
        return false;
    // The handle keeps the SDK's buffer until the image is converted, one buffer at most.
    QMetaObject::invokeMethod(this, [this, camera, result] {
        convert(camera, result);
        m_busy.store(false, std::memory_order_release);
    }, Qt::QueuedConnection);
    return true;
}

CConvertedImage CImageConverter::takeLatest()
{
    m_posted.store(false);
    QMutexLocker locker(&m_latestMutex);
    return std::exchange(m_latest, CConvertedImage());
}

void CImageConverter::setSettings(const CSettings& settings)
{
    QMutexLocker locker(&m_latestMutex);
    m_settings = settings;
}

CImageConverter::CSettings CImageConverter::settings() const
{
    QMutexLocker locker(&m_latestMutex);
    return m_settings;
}

void CImageConverter::convert(const CameraInfoPtr& camera, const Tavix::CGrabResultPtr& result)
{
    QString error;
    const uchar* pixels = nullptr;
    size_t size = 0;
    Tavix::ImageShape shape;
    if (!pixelsOf(camera, result, pixels, size, shape, error)) {
        fail(error);
        return;
    }
    CConvertedImage image = CConvertedImage::convert(pixels, size, shape, error);
    if (image.isNull()) {
        fail(error);
        return;
    }
    const CSettings settings = this->settings();
    image.orient(settings.orientation);
    if (settings.statistics)
        image.setShownStatistics(image.statistics(settings.region));
    if (settings.markSaturated)
        image.markSaturated();
    image.setOrigin(static_cast<const Core::OptiRosterComponents::IDeviceBaseInfo*>(camera.data()), result->GetImageNumber());
    publish(std::move(image));
}

bool CImageConverter::pixelsOf(const CameraInfoPtr& camera, const Tavix::CGrabResultPtr& result, const uchar*& pixels,
                               size_t& size, Tavix::ImageShape& shape, QString& error)
{
    pixels = static_cast<const uchar*>(result->GetBuffer());
    size = std::min(result->GetPayloadSize(), result->GetBufferSize());
    shape = result->GetImageShape();
    if (!CSnapshotWriter::isCompressed(result))
        return true;
    const auto decompressor = m_ptrServices->decompressor ? m_ptrServices->decompressor->getImageDecompressor(camera) : nullptr;
    if (!decompressor) {
        error = tr("%1 sends compressed images, and no decompressor was set up for it.").arg(camera->getDisplayName());
        return false;
    }
    // One buffer for every image of the grab: no allocation per image.
    QString reason;
    const qint64 written = CSnapshotWriter::decompressInto(*decompressor, result, m_decompressed, shape, reason);
    if (written < 0) {
        error = tr("An image of %1 could not be decompressed: %2").arg(camera->getDisplayName(), reason);
        return false;
    }
    size = size_t(written);
    pixels = reinterpret_cast<const uchar*>(m_decompressed.constData());
    return true;
}

void CImageConverter::publish(CConvertedImage image)
{
    m_reportedError.clear();
    {
        QMutexLocker locker(&m_latestMutex);
        m_latest = std::move(image);
    }
    // The GUI takes the newest when it gets to it; a second signal would only queue up behind.
    if (!m_posted.exchange(true))
        emit imageReady();
}

void CImageConverter::fail(const QString& reason)
{
    // The same reason for image after image is told once.
    if (reason == m_reportedError)
        return;
    m_reportedError = reason;
    emit conversionFailed(reason);
}

} // namespace Viewer
