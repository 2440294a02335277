#pragma once

#include <imagerecorder.h>
#include <viewerservices.h>

#include <plugins/optiroster/observerregistration.h>

#include <QHash>
#include <QObject>
#include <QTimer>

#include <memory>

namespace Viewer {

// The viewer's recordings, one at most for each camera. Each has a recorder, fed on its camera's
// grab thread by an observer of its own; Stop (or the limit) ends it without the GUI waiting for
// the writing: the recorder finishes the file on its own thread and tells when it is done.
class CRecordings : public QObject
{
    Q_OBJECT
public:
    using CameraInfoPtr = Core::OptiRosterComponents::CameraInfoPtr;
    using DeviceBaseInfoPtr = Core::OptiRosterComponents::DeviceBaseInfoPtr;

    struct CRequest
    {
        Recording::CImageRecorder::Options options;
        int seconds = 0; // 0: no time limit
    };

    explicit CRecordings(QSharedPointer<const CViewerServices> services, QObject* parent = nullptr);
    ~CRecordings() override;

    // Starts recording the camera's images; false with the reason in error.
    bool start(const CameraInfoPtr& camera, CRequest request, QString& error);
    // No more images are taken; the file is finished in the background.
    void stop(const DeviceBaseInfoPtr& camera);
    bool isRecording(const DeviceBaseInfoPtr& camera) const;
    // "Recording to ...: 120 written, 0 dropped" while it runs; empty for a camera without one.
    QString progressText(const DeviceBaseInfoPtr& camera) const;
    QString shortProgressText(const DeviceBaseInfoPtr& camera) const;

signals:
    // A camera's recording started or ended (isRecording() tells which).
    void recordingChanged(const Core::OptiRosterComponents::CameraInfoPtr& camera);
    // Every half second while any records.
    void progress();
    // A recording is finished: what it wrote, and whether it is whole (no image dropped, no error).
    void recordingFinished(const Core::OptiRosterComponents::CameraInfoPtr& camera, const QString& summary, bool whole);

private:
    class CRecordingObserver;
    struct CRecording;

    void finish(const DeviceBaseInfoPtr& camera);

    const QSharedPointer<const CViewerServices> m_ptrServices;
    QHash<DeviceBaseInfoPtr, std::shared_ptr<CRecording>> m_recordings;
    QHash<DeviceBaseInfoPtr, double> m_rates;
    QTimer m_progressTimer;
};

} // namespace Viewer
