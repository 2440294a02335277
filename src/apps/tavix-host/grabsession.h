#pragma once

#include "clientservices.h"
#include "snapshotwriter.h"

#include <plugins/optiroster/iimagegrabbedobserver.h>

#include <QObject>
#include <QString>
#include <QTimer>

#include <atomic>
#include <functional>
#include <memory>

// One camera opened, grabbed from and closed again by the host program, as a client of the
// roster's services: shared through the control and stream services, or in exclusive use, in
// which case the camera object itself is driven. Images are counted on the grab thread and
// may be written as snapshots there by a CSnapshotWriter.
class CGrabSession : public QObject, public Plugin::OptiRoster::IImageGrabbedObserver
{
    Q_OBJECT
public:
    using CameraInfoPtr = Core::OptiRosterComponents::CameraInfoPtr;

    struct Options
    {
        int count = 10;          // 0: until stopped
        bool monitor = false;
        bool exclusive = false;
        QString pngDirectory;    // empty: no snapshots
        int every = 1;           // a snapshot of every Nth image
        int maxSnapshots = -1;   // < 0: no limit
        int stallTimeoutMs = 10000;
        // Called on the grab thread with each image of the run; never to wait there.
        std::function<void(const Tavix::CGrabResultPtr&)> imageSink;
    };

    // What the images of the run itself tell, up to the count.
    struct Figures
    {
        int images = 0;       // results handed to the observers, failed ones among them
        int failed = 0;       // results that arrived without a good image
        quint64 skipped = 0;  // images the SDK dropped for want of a free buffer
        quint64 bytes = 0;    // payload of the good images
    };

    CGrabSession(CClientServices services, CameraInfoPtr camera, Options options);
    ~CGrabSession() override;

    // Each returns false with the reason in error.
    bool open(QString& error);
    bool prepareSnapshots(QString& error);
    // False when the grab did not start; endReason() says why.
    bool start();
    // Stops grabbing, waits for the snapshots and closes the camera; safe to call again.
    void stop();

    Figures figures() const;
    // Why the grab ended before stop() was called, empty when it ran to its count.
    QString endReason() const { return m_endReason; }
    QStringList snapshots() const;
    // A parameter's text; empty when the camera has no such parameter.
    QString optionalParameter(const QString& path) { return readOptionalParameter(path); }
    // The decompressors of the camera's grab, for a writer of its images; none for a camera in
    // exclusive use, which the roster doesn't prepare.
    CSnapshotWriter::DecompressorSource decompressors() const;
    QStringList snapshotErrors() const;
    int skippedSnapshots() const;

    void onImageGrabbed(const CameraInfoPtr& info, const Tavix::CGrabResultPtr& grabResult) override;

signals:
    // The count is reached, or the grab ended by itself (see endReason()).
    void finished();

private slots:
    void onCountReached();
    void onStopped(const Core::OptiRosterComponents::CameraInfoPtr& info);
    void onLost(const Core::OptiRosterComponents::CameraInfoPtr& info);
    void checkProgress();

private:
    QString readParameter(const QString& path);
    bool isGrabbing() const;
    // The camera's last error as the tail of a sentence: ": reason." or ".".
    QString reasonSuffix() const;
    // Empty when the camera has no such parameter.
    QString readOptionalParameter(const QString& path);
    void connectSharedSignals();
    void connectExclusiveSignals();
    void end(const QString& reason);

    CClientServices m_services;
    CameraInfoPtr m_ptrCamera;
    Options m_options;
    QSharedPointer<Plugin::OptiRoster::ICamera> m_ptrExclusiveCamera;
    std::unique_ptr<CSnapshotWriter> m_pSnapshots;
    bool m_open = false;
    bool m_grabbing = false;
    bool m_observing = false;
    bool m_stopping = false;
    std::atomic<int> m_seen{0};
    std::atomic<int> m_failed{0};
    std::atomic<quint64> m_skipped{0};
    std::atomic<quint64> m_bytes{0};
    int m_seenAtLastCheck = 0;
    QTimer m_progressTimer;
    QString m_endReason;
};
