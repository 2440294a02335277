#include "imagedecompressorservice.h"

#include <core/exception/exceptions.h>
#include <plugins/optiroster/internal/camerainfo.h>
#include <plugins/optiroster/internal/logcategories.h>
#include <plugins/optiroster/internal/optiroster.h>

#include <exception>

namespace Plugin::OptiRoster::Internal {

using Core::OptiRosterComponents::CameraInfoPtr;

namespace {

quint64 logCategoryId()
{
    return onceCategoryId<LogCategories::ImageDecompressorService>();
}

constexpr int ModeOff = 0;
constexpr int ModeLossless = 1;
constexpr int ModeLossy = 2;

} // namespace

CImageDecompressorService::CImageDecompressorService(QPointer<COptiRoster> pool, QObject* parent)
    : IImageDecompressorService(parent)
    , m_pool(pool)
{
    if (!m_pool)
        return;
    // Direct: the slot runs on the thread that starts the grab, before the SDK starts, and the
    // start waits for it, whichever thread that is.
    connect(m_pool.data(), &COptiRoster::cameraGrabStart, this, &CImageDecompressorService::onCameraGrabStart,
            Qt::DirectConnection);
    connect(m_pool.data(), &COptiRoster::deviceClosed, this, &CImageDecompressorService::onDeviceClosed);
}

QSharedPointer<const Tavix::CImageDecompressor> CImageDecompressorService::getImageDecompressor(const DeviceBaseInfoPtr& info)
{
    QMutexLocker locker(&m_mutex);
    return m_decompressors.value(info);
}

QVector<unsigned char> CImageDecompressorService::getCompressionDescriptor(const CameraInfoPtr& info)
{
    if (!info)
        throw Core::Exception::InvalidArgumentException(QStringLiteral("CameraInfo must not be nullptr"));
    return pool().getCompressionDescriptor(info);
}

COptiRoster& CImageDecompressorService::pool() const
{
    // The plug-in keeps the pool for longer than its services; a service kept beyond that
    // refuses instead of reaching into a destroyed pool.
    if (!m_pool)
        throw Core::Exception::RuntimeException(QStringLiteral("The camera roster is no longer available."));
    return *m_pool;
}

void CImageDecompressorService::onCameraGrabStart(CameraInfoPtr info)
{
    // The camera is read without the mutex: the reads wait for the camera's own lock, which a
    // stop holds while it waits for the grab thread, whose observers may be waiting for this
    // mutex in getImageDecompressor. The mutex covers the map alone.
    QSharedPointer<const Tavix::CImageDecompressor> decompressor;
    if (m_pool) {
        // A failure stops neither this slot nor the grab: the camera goes without an entry.
        const QString fixedText = QStringLiteral("Error while getting compression status from camera.");
        try {
            decompressor = createDecompressor(info);
        } catch (const Core::Exception::BaseException& e) {
            reportFailure(info, QString::fromUtf8(e.what()), fixedText + QStringLiteral(" Reason: ") + QString::fromUtf8(e.what()));
        } catch (const std::exception& e) {
            reportFailure(info, QString::fromUtf8(e.what()), fixedText + QStringLiteral(" Reason: ") + QString::fromUtf8(e.what()));
        } catch (...) {
            reportFailure(info, tr("Error while getting compression status from camera."), fixedText);
        }
    }
    const DeviceBaseInfoPtr key = info;
    QMutexLocker locker(&m_mutex);
    // A close that came after the reads has told onDeviceClosed already, or waits for this lock
    // to tell it: either way no entry outlives the close.
    if (decompressor && m_pool && m_pool->isDeviceOpen(key))
        m_decompressors.insert(key, decompressor);
    else
        m_decompressors.remove(key);
}

QSharedPointer<const Tavix::CImageDecompressor> CImageDecompressorService::createDecompressor(const CameraInfoPtr& info)
{
    const int mode = m_pool->getCompressionMode(info);
    if (mode == ModeOff)
        return {};
    if (mode != ModeLossless && mode != ModeLossy)
        throw Core::Exception::RuntimeException(tr("Unknown compression mode found."));
    const QVector<unsigned char> descriptor = m_pool->getCompressionDescriptor(info);
    if (descriptor.isEmpty())
        throw Core::Exception::RuntimeException(tr("Invalid compression descriptor size found."));
    // The SDK's refusal of a descriptor is a GenICam exception, which none of the clauses above
    // names; it is reported as the failure of an unknown kind.
    return QSharedPointer<const Tavix::CImageDecompressor>(
        new Tavix::CImageDecompressor(descriptor.constData(), size_t(descriptor.size())));
}

void CImageDecompressorService::reportFailure(const CameraInfoPtr& info, const QString& lastError, const QString& logText)
{
    if (const auto concrete = info.objectCast<CCameraInfo>())
        concrete->setLastError(lastError);
    writeLog(logCategoryId(), logText);
}

void CImageDecompressorService::onDeviceClosed(DeviceBaseInfoPtr info)
{
    QMutexLocker locker(&m_mutex);
    // A close on a client's thread is told here late, by queue: the camera may be open and
    // grabbing again by then, with an entry of its new grab start that must stay.
    if (!m_pool || !m_pool->isDeviceOpen(info))
        m_decompressors.remove(info);
}

} // namespace Plugin::OptiRoster::Internal
