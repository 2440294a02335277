#include "imagerecorder.h"

#include "recordingwriter.h"

#include <QDir>

#include <ctime>

namespace Recording {

namespace {

qint64 threadCpuNs()
{
    timespec now{};
    clock_gettime(CLOCK_THREAD_CPUTIME_ID, &now);
    return qint64(now.tv_sec) * 1'000'000'000 + now.tv_nsec;
}

} // namespace

CImageRecorder::CImageRecorder(Options options, QObject* parent)
    : QObject(parent)
    , m_options(std::move(options))
{
    m_ring.resize(size_t(std::max(1, m_options.queueCapacity)));
}

CImageRecorder::~CImageRecorder()
{
    requestStop();
    waitForFinished();
}

bool CImageRecorder::start(QString& error)
{
    if (m_thread.joinable()) {
        error = QStringLiteral("The recording runs already.");
        return false;
    }
    error = ARecordingWriter::prepareTarget(m_options.format, m_options.target);
    if (!error.isEmpty())
        return false;
    m_pWriter = ARecordingWriter::create(m_options.format, m_options.target, m_options.baseName, m_options.nominalRate);
    m_thread = std::thread([this] { run(); });
    return true;
}

void CImageRecorder::offer(const Tavix::CGrabResultPtr& result)
{
    if (!result || !result->GrabSucceeded()) {
        m_failed.fetch_add(1, std::memory_order_relaxed);
        return;
    }
    const auto now = std::chrono::steady_clock::now();
    bool limit = false;
    {
        std::lock_guard<std::mutex> locker(m_mutex);
        if (m_stopping)
            return;
        if (!m_anyArrived) {
            m_anyArrived = true;
            m_firstArrival = now;
        }
        const quint64 offered = m_offered.fetch_add(1, std::memory_order_relaxed) + 1;
        if (m_count == m_ring.size() || !m_error.isEmpty()) {
            m_dropped.fetch_add(1, std::memory_order_relaxed);
        } else {
            CQueued& slot = m_ring[(m_head + m_count) % m_ring.size()];
            slot.result = result;
            slot.arrivalUs = std::chrono::duration_cast<std::chrono::microseconds>(now - m_firstArrival).count();
            ++m_count;
        }
        if (m_options.maxImages > 0 && offered >= quint64(m_options.maxImages)) {
            m_stopping = true;
            limit = true;
        }
    }
    m_wake.notify_one();
    if (limit)
        emit limitReached();
}

void CImageRecorder::requestStop()
{
    {
        std::lock_guard<std::mutex> locker(m_mutex);
        m_stopping = true;
    }
    m_wake.notify_one();
}

void CImageRecorder::waitForFinished()
{
    if (m_thread.joinable())
        m_thread.join();
}

CImageRecorder::Figures CImageRecorder::figures() const
{
    Figures figures;
    figures.offered = m_offered.load();
    figures.written = m_written.load();
    figures.dropped = m_dropped.load();
    figures.failed = m_failed.load();
    figures.cpuMsPerImage = figures.written ? double(m_cpuNs.load()) / 1e6 / double(figures.written) : 0.0;
    return figures;
}

QString CImageRecorder::error() const
{
    std::lock_guard<std::mutex> locker(m_mutex);
    return m_error;
}

void CImageRecorder::fail(const QString& error)
{
    std::lock_guard<std::mutex> locker(m_mutex);
    if (m_error.isEmpty())
        m_error = error;
}

void CImageRecorder::run()
{
    const qint64 cpuAtStart = threadCpuNs();
    for (;;) {
        CQueued queued;
        {
            std::unique_lock<std::mutex> locker(m_mutex);
            m_wake.wait(locker, [this] { return m_count > 0 || m_stopping; });
            if (m_count == 0)
                break;
            queued = std::move(m_ring[m_head]);
            m_head = (m_head + 1) % m_ring.size();
            --m_count;
        }
        QString error;
        if (!writeOne(queued, error)) {
            fail(error);
            // The rest can't be written either: the images in the queue are let go.
            std::lock_guard<std::mutex> locker(m_mutex);
            m_dropped.fetch_add(m_count, std::memory_order_relaxed);
            for (; m_count > 0; --m_count, m_head = (m_head + 1) % m_ring.size())
                m_ring[m_head].result.Release();
            m_stopping = true;
            break;
        }
        // The handle goes here, and with it the camera's buffer.
        queued.result.Release();
        m_written.fetch_add(1, std::memory_order_relaxed);
    }
    QString error;
    if (!m_pWriter->finish(error))
        fail(error);
    m_pWriter.reset();
    m_cpuNs.store(threadCpuNs() - cpuAtStart);
    m_finished.store(true);
    emit finished();
}

bool CImageRecorder::writeOne(const CQueued& queued, QString& error)
{
    const Tavix::CGrabResultPtr& result = queued.result;
    CRecordedImage image;
    image.shape = result->GetImageShape();
    image.pixels = static_cast<const unsigned char*>(result->GetBuffer());
    image.size = std::min(result->GetPayloadSize(), result->GetBufferSize());
    image.imageNumber = result->GetImageNumber();
    image.timestamp = result->GetTimeStamp();
    image.arrivalUs = queued.arrivalUs;
    if (CSnapshotWriter::isCompressed(result)) {
        const auto decompressor = m_options.decompressors ? m_options.decompressors() : nullptr;
        if (!decompressor) {
            error = QStringLiteral("The camera sends compressed images, and no decompressor was set up for it.");
            return false;
        }
        const qint64 written = CSnapshotWriter::decompressInto(*decompressor, result, m_decompressed, image.shape, error);
        if (written < 0) {
            error = QStringLiteral("An image could not be decompressed: %1").arg(error);
            return false;
        }
        image.pixels = reinterpret_cast<const unsigned char*>(m_decompressed.constData());
        image.size = size_t(written);
    }
    if (image.shape.width == 0 || image.shape.height == 0 || image.size < image.shape.imageSize()) {
        error = QStringLiteral("Image %1 holds %2 bytes; %3 x %4 %5 needs %6.")
                    .arg(image.imageNumber).arg(image.size).arg(image.shape.width).arg(image.shape.height)
                    .arg(CSnapshotWriter::pixelTypeText(image.shape.pixelType)).arg(image.shape.imageSize());
        return false;
    }
    error = ARecordingWriter::checkPixelType(m_options.format, image.shape.pixelType);
    if (!error.isEmpty())
        return false;
    return m_pWriter->write(orientedImage(image, m_options.orientation, m_turned), error);
}

} // namespace Recording
