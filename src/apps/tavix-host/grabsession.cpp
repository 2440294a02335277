#include "grabsession.h"

#include <core/exception/exceptions.h>

#include <QDir>

using Plugin::OptiRoster::ICamera;
using Plugin::OptiRoster::ICameraStatusService;

CGrabSession::CGrabSession(CClientServices services, CameraInfoPtr camera, Options options)
    : m_services(std::move(services))
    , m_ptrCamera(std::move(camera))
    , m_options(std::move(options))
{
    connect(&m_progressTimer, &QTimer::timeout, this, &CGrabSession::checkProgress);
}

CGrabSession::~CGrabSession()
{
    stop();
}

bool CGrabSession::open(QString& error)
{
    if (m_options.exclusive && m_options.monitor) {
        error = QStringLiteral("A camera in monitor mode can't be taken into exclusive use.");
        return false;
    }
    m_ptrCamera->clearLastError();
    if (m_options.exclusive) {
        m_ptrExclusiveCamera = m_services.control->openExclusive(m_ptrCamera);
        m_open = !m_ptrExclusiveCamera.isNull();
    } else {
        m_open = m_services.control->open(m_ptrCamera, m_options.monitor);
    }
    if (!m_open) {
        const QString reason = m_ptrCamera->getLastError();
        error = QStringLiteral("%1 could not be opened%2").arg(m_ptrCamera->getDisplayName(),
                                                               reason.isEmpty() ? QStringLiteral(" (it may be open already).")
                                                                                : QStringLiteral(": ") + reason);
    }
    return m_open;
}

QString CGrabSession::readParameter(const QString& path)
{
    // The parameter service knows the cameras of the pool; one in exclusive use is asked directly.
    if (!m_ptrExclusiveCamera)
        return m_services.parameters->getParameterText(m_ptrCamera, path);
    const auto collection = m_ptrExclusiveCamera->getParameterCollection();
    const auto parameter = collection ? collection->getParameter(path) : nullptr;
    if (!parameter)
        throw Core::Exception::ArgumentException(QStringLiteral("The parameter '%1' is not available.").arg(path));
    return parameter->toString();
}

QString CGrabSession::readOptionalParameter(const QString& path)
{
    try {
        return readParameter(path);
    } catch (const Core::Exception::BaseException&) {
        return {};
    } catch (const GenICam::GenericException&) {
        return {};
    }
}

bool CGrabSession::prepareSnapshots(QString& error)
{
    if (m_options.pngDirectory.isEmpty())
        return true;
    // What the camera means to send, to refuse a grab that can't give snapshots at its start; the
    // writer reads each image by the shape the image comes with.
    CSnapshotWriter::ImageLayout layout;
    try {
        layout.pixelFormat = readParameter(QStringLiteral("PixelFormat"));
        layout.compressionMode = readOptionalParameter(QStringLiteral("ImageCompressionMode"));
    } catch (const Core::Exception::BaseException& e) {
        error = QStringLiteral("The pixel format of %1 can't be read: %2").arg(m_ptrCamera->getDisplayName(), e.getMessage());
        return false;
    } catch (const GenICam::GenericException& e) {
        error = QStringLiteral("The pixel format of %1 can't be read: %2")
                    .arg(m_ptrCamera->getDisplayName(), QString::fromUtf8(e.GetDescription()));
        return false;
    }
    // The decompressor service prepares a camera of the roster at its grab's start; a camera in
    // exclusive use is the client's own and has none there.
    const bool canDecompress = m_services.decompressor && !m_options.exclusive;
    error = CSnapshotWriter::checkLayout(layout, canDecompress);
    if (!error.isEmpty())
        return false;
    error = CSnapshotWriter::checkFolder(m_options.pngDirectory);
    if (!error.isEmpty())
        return false;
    const QString baseName = m_ptrCamera->getSerialNumber().isEmpty() ? QStringLiteral("image") : m_ptrCamera->getSerialNumber();
    m_pSnapshots = std::make_unique<CSnapshotWriter>(m_options.pngDirectory, baseName, m_options.every,
                                                     m_options.maxSnapshots, decompressors());
    return true;
}

CSnapshotWriter::DecompressorSource CGrabSession::decompressors() const
{
    if (!m_services.decompressor || m_options.exclusive)
        return {};
    return [service = m_services.decompressor, info = Core::OptiRosterComponents::DeviceBaseInfoPtr(m_ptrCamera)] {
        return service->getImageDecompressor(info);
    };
}

bool CGrabSession::start()
{
    if (!m_open || m_grabbing)
        return m_grabbing;
    m_grabbing = true;
    m_observing = true;
    m_ptrCamera->clearLastError();
    if (m_ptrExclusiveCamera) {
        connectExclusiveSignals();
        m_ptrExclusiveCamera->startGrabbing();
    } else {
        connectSharedSignals();
        m_services.notifier->addObserver(this);
        m_services.stream->startGrabbing(m_ptrCamera);
    }
    // A start that fails throws nothing: the camera is not grabbing, and its last error says why.
    // (One that ended by itself at once has no error; its stop signal is on its way.)
    if (!isGrabbing() && !m_ptrCamera->getLastError().isEmpty()) {
        m_endReason = QStringLiteral("%1 couldn't start grabbing%2").arg(m_ptrCamera->getDisplayName(), reasonSuffix());
        stop();
        return false;
    }
    if (m_options.stallTimeoutMs > 0)
        m_progressTimer.start(m_options.stallTimeoutMs);
    return true;
}

bool CGrabSession::isGrabbing() const
{
    return m_ptrExclusiveCamera ? m_ptrExclusiveCamera->isGrabbing() : m_services.status->isCameraGrabbing(m_ptrCamera);
}

QString CGrabSession::reasonSuffix() const
{
    const QString reason = m_ptrCamera->getLastError();
    if (reason.isEmpty())
        return QStringLiteral(".");
    return QStringLiteral(": ") + reason + (reason.endsWith(QLatin1Char('.')) ? QString() : QStringLiteral("."));
}

void CGrabSession::connectSharedSignals()
{
    ICameraStatusService* status = m_services.status.data();
    connect(status, &ICameraStatusService::cameraGrabStopped, this, &CGrabSession::onStopped);
    connect(status, &ICameraStatusService::cameraConnectionLost, this, &CGrabSession::onLost);
}

void CGrabSession::connectExclusiveSignals()
{
    ICamera* camera = m_ptrExclusiveCamera.data();
    // A camera in exclusive use no longer feeds the roster's notifier: its images come straight
    // from its own signal, on the grab thread.
    connect(camera, &ICamera::cameraImageGrabbed, this,
            [this](const CameraInfoPtr& info, const Tavix::CGrabResultPtr& result) { onImageGrabbed(info, result); },
            Qt::DirectConnection);
    connect(camera, &ICamera::cameraGrabStopped, this, [this] { onStopped(m_ptrCamera); });
    connect(camera, &ICamera::cameraConnectionLost, this, [this] { onLost(m_ptrCamera); });
}

void CGrabSession::onImageGrabbed(const CameraInfoPtr& info, const Tavix::CGrabResultPtr& grabResult)
{
    if (info != m_ptrCamera)
        return;
    const int seen = m_seen.fetch_add(1) + 1;
    // The images that come between the count and the stop are not the run's.
    if (m_options.count > 0 && seen > m_options.count)
        return;
    m_skipped.fetch_add(grabResult->GetNumberOfSkippedImages(), std::memory_order_relaxed);
    if (grabResult->GrabSucceeded())
        m_bytes.fetch_add(grabResult->GetPayloadSize(), std::memory_order_relaxed);
    else
        m_failed.fetch_add(1, std::memory_order_relaxed);
    if (m_pSnapshots)
        m_pSnapshots->offer(grabResult);
    if (m_options.imageSink)
        m_options.imageSink(grabResult);
    if (seen == m_options.count)
        QMetaObject::invokeMethod(this, &CGrabSession::onCountReached, Qt::QueuedConnection);
}

void CGrabSession::onCountReached()
{
    end(QString());
}

CGrabSession::Figures CGrabSession::figures() const
{
    Figures figures;
    figures.images = m_options.count > 0 ? qMin(m_seen.load(), m_options.count) : m_seen.load();
    figures.failed = m_failed.load();
    figures.skipped = m_skipped.load();
    figures.bytes = m_bytes.load();
    return figures;
}

void CGrabSession::onStopped(const CameraInfoPtr& info)
{
    if (info == m_ptrCamera && !m_stopping)
        end(QStringLiteral("The grab of %1 stopped%2").arg(m_ptrCamera->getDisplayName(), reasonSuffix()));
}

void CGrabSession::onLost(const CameraInfoPtr& info)
{
    if (info != m_ptrCamera)
        return;
    // The loss says more than the stop that it causes, whichever of the two arrives first.
    m_endReason = QStringLiteral("The connection to %1 was lost.").arg(m_ptrCamera->getDisplayName());
    end(m_endReason);
}

void CGrabSession::checkProgress()
{
    const int seen = m_seen.load();
    if (seen == m_seenAtLastCheck)
        end(QStringLiteral("No image arrived from %1 for %2 s.").arg(m_ptrCamera->getDisplayName()).arg(m_options.stallTimeoutMs / 1000.0));
    m_seenAtLastCheck = seen;
}

void CGrabSession::end(const QString& reason)
{
    if (!m_grabbing)
        return;
    if (m_endReason.isEmpty())
        m_endReason = reason;
    m_progressTimer.stop();
    emit finished();
}

void CGrabSession::stop()
{
    m_stopping = true;
    m_progressTimer.stop();
    if (m_grabbing) {
        if (m_ptrExclusiveCamera)
            m_ptrExclusiveCamera->stopGrabbing();
        else
            m_services.stream->stopGrabbing(m_ptrCamera);
        m_grabbing = false;
    }
    if (m_observing) {
        // Once removed, the observer is called no more: the notifier holds its lock while it calls.
        if (m_ptrExclusiveCamera)
            disconnect(m_ptrExclusiveCamera.data(), nullptr, this, nullptr);
        else
            m_services.notifier->removeObserver(this);
        m_observing = false;
    }
    if (m_pSnapshots)
        m_pSnapshots->waitForDone();
    if (m_open) {
        if (m_ptrExclusiveCamera)
            m_services.control->releaseExclusive(m_ptrExclusiveCamera);
        m_services.control->close(m_ptrCamera);
        m_ptrExclusiveCamera.reset();
        m_open = false;
    }
}

QStringList CGrabSession::snapshots() const
{
    return m_pSnapshots ? m_pSnapshots->writtenFiles() : QStringList();
}

QStringList CGrabSession::snapshotErrors() const
{
    return m_pSnapshots ? m_pSnapshots->errors() : QStringList();
}

int CGrabSession::skippedSnapshots() const
{
    return m_pSnapshots ? m_pSnapshots->skippedCount() : 0;
}
