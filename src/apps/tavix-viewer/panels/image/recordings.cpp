#include "recordings.h"

#include <cameraname.h>

#include <QDir>

namespace Viewer {

using Recording::CImageRecorder;

// Hands the images of one camera to its recorder, on the grab thread.
class CRecordings::CRecordingObserver : public Plugin::OptiRoster::IImageGrabbedObserver
{
public:
    CRecordingObserver(const CameraInfoPtr& camera, CImageRecorder* recorder)
        : m_pCamera(camera.data())
        , m_pRecorder(recorder)
    {
    }
    void onImageGrabbed(const CameraInfoPtr& info, const Tavix::CGrabResultPtr& grabResult) override
    {
        if (info.data() == m_pCamera)
            m_pRecorder->offer(grabResult);
    }

private:
    const Core::OptiRosterComponents::ICameraInfo* m_pCamera;
    CImageRecorder* m_pRecorder;
};

struct CRecordings::CRecording
{
    CameraInfoPtr camera;
    std::unique_ptr<CImageRecorder> recorder;
    std::unique_ptr<CRecordingObserver> observer;
    Plugin::OptiRoster::CObserverRegistration registration;
    QSharedPointer<CHeldCameras> heldCameras;
    QTimer timeLimit;
    bool stopping = false;

    // Once this returns no image reaches the recorder any more.
    void detach()
    {
        registration.reset();
        if (heldCameras)
            heldCameras->removeObserver(observer.get());
        heldCameras.reset();
    }
};

CRecordings::CRecordings(QSharedPointer<const CViewerServices> services, QObject* parent)
    : QObject(parent)
    , m_ptrServices(std::move(services))
{
    m_progressTimer.setInterval(500);
    connect(&m_progressTimer, &QTimer::timeout, this, &CRecordings::progress);
    // A video to share plays at the camera's rate: the latest one each camera told.
    auto keepRate = [this](const CameraInfoPtr& camera, int, int, double fps) {
        if (fps > 0)
            m_rates.insert(camera, fps);
    };
    if (m_ptrServices->status)
        connect(m_ptrServices->status.data(), &Plugin::OptiRoster::ICameraStatusService::cameraStatisticUpdated, this,
                [keepRate](const CameraInfoPtr& camera, int grabbed, int failed, double fps) { keepRate(camera, grabbed, failed, fps); });
    if (m_ptrServices->heldCameras)
        connect(m_ptrServices->heldCameras.data(), &CHeldCameras::cameraStatisticUpdated, this,
                [keepRate](const CameraInfoPtr& camera, int grabbed, int failed, double fps) { keepRate(camera, grabbed, failed, fps); });
}

CRecordings::~CRecordings()
{
    // The files are finished before the viewer goes: each recorder writes what it holds.
    for (const auto& recording : qAsConst(m_recordings))
        recording->detach();
    m_recordings.clear();
}

bool CRecordings::start(const CameraInfoPtr& camera, CRequest request, QString& error)
{
    if (!camera || isRecording(camera)) {
        error = tr("That camera records already.");
        return false;
    }
    auto recording = std::make_shared<CRecording>();
    recording->camera = camera;
    const bool held = m_ptrServices->heldCameras && m_ptrServices->heldCameras->isHeld(camera);
    if (!held && m_ptrServices->decompressor) {
        request.options.decompressors = [service = m_ptrServices->decompressor, info = DeviceBaseInfoPtr(camera)] {
            return service->getImageDecompressor(info);
        };
    }
    if (request.options.nominalRate <= 0)
        request.options.nominalRate = m_rates.value(camera);
    recording->recorder = std::make_unique<CImageRecorder>(request.options);
    if (!recording->recorder->start(error))
        return false;
    CImageRecorder* recorder = recording->recorder.get();
    connect(recorder, &CImageRecorder::limitReached, this, [this, camera] { stop(camera); });
    connect(recorder, &CImageRecorder::finished, this, [this, camera] { finish(camera); });
    recording->observer = std::make_unique<CRecordingObserver>(camera, recorder);
    recording->registration = Plugin::OptiRoster::CObserverRegistration(m_ptrServices->notifier, recording->observer.get());
    if (m_ptrServices->heldCameras) {
        recording->heldCameras = m_ptrServices->heldCameras;
        recording->heldCameras->addObserver(recording->observer.get());
    }
    if (request.seconds > 0) {
        recording->timeLimit.setSingleShot(true);
        connect(&recording->timeLimit, &QTimer::timeout, this, [this, camera] { stop(camera); });
        recording->timeLimit.start(request.seconds * 1000);
    }
    m_recordings.insert(camera, recording);
    m_progressTimer.start();
    emit recordingChanged(camera);
    return true;
}

void CRecordings::stop(const DeviceBaseInfoPtr& camera)
{
    const auto recording = m_recordings.value(camera);
    if (!recording || recording->stopping)
        return;
    recording->stopping = true;
    recording->timeLimit.stop();
    recording->detach();
    recording->recorder->requestStop();
}

bool CRecordings::isRecording(const DeviceBaseInfoPtr& camera) const
{
    return m_recordings.contains(camera);
}

QString CRecordings::progressText(const DeviceBaseInfoPtr& camera) const
{
    const auto recording = m_recordings.value(camera);
    if (!recording)
        return {};
    const CImageRecorder::Figures figures = recording->recorder->figures();
    const QString text = recording->stopping ? tr("Finishing %1: %2 images written, %3 dropped")
                                             : tr("Recording to %1: %2 images written, %3 dropped");
    return text.arg(QDir::toNativeSeparators(recording->recorder->target())).arg(figures.written).arg(figures.dropped);
}

QString CRecordings::shortProgressText(const DeviceBaseInfoPtr& camera) const
{
    const auto recording = m_recordings.value(camera);
    if (!recording)
        return {};
    const CImageRecorder::Figures figures = recording->recorder->figures();
    return figures.dropped ? tr("Recording: %1, %2 dropped").arg(figures.written).arg(figures.dropped)
                           : tr("Recording: %1").arg(figures.written);
}

void CRecordings::finish(const DeviceBaseInfoPtr& camera)
{
    const auto recording = m_recordings.take(camera);
    if (!recording)
        return;
    recording->detach();
    // The recorder's thread has ended: its join doesn't wait.
    recording->recorder->waitForFinished();
    const CImageRecorder::Figures figures = recording->recorder->figures();
    const QString error = recording->recorder->error();
    const QString target = QDir::toNativeSeparators(recording->recorder->target());
    QString summary = figures.written == 1 ? tr("Recorded 1 image of %1 to %2").arg(cameraName(*recording->camera), target)
                                           : tr("Recorded %1 images of %2 to %3").arg(figures.written).arg(cameraName(*recording->camera), target);
    if (figures.dropped == 1)
        summary += tr("; 1 image was dropped: the recording couldn't keep up with the camera");
    else if (figures.dropped > 1)
        summary += tr("; %1 images were dropped: the recording couldn't keep up with the camera").arg(figures.dropped);
    if (!error.isEmpty())
        summary += tr("; the recording ended early: %1").arg(error);
    if (m_recordings.isEmpty())
        m_progressTimer.stop();
    emit recordingChanged(recording->camera);
    emit recordingFinished(recording->camera, summary, figures.dropped == 0 && error.isEmpty());
}

} // namespace Viewer
