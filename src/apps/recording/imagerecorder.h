#pragma once

#include "orientation.h"
#include "recordingformat.h"

#include <snapshotwriter.h>

#include <tavix/grabresult.h>

#include <QObject>
#include <QString>

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <memory>
#include <mutex>
#include <thread>
#include <vector>

namespace Recording {

class ARecordingWriter;

/// Records the images of one camera into files on a thread of its own. The grab thread hands it
/// each image by offer(), which never waits: the image's handle goes into a queue of a few places,
/// and when the queue is full the image is dropped and counted. The recorder's thread decompresses
/// the image if it is compressed, turns it as the orientation says and writes it, then lets go of
/// the handle, so that the buffer goes back to the camera.
///
/// requestStop() (or the image limit) ends the recording: the images in the queue are written,
/// the file is finished, and finished() is emitted from the recorder's thread. The figures say how
/// many images were written and dropped.
class CImageRecorder : public QObject
{
    Q_OBJECT
public:
    struct Options
    {
        ERecordingFormat format = ERecordingFormat::Png;
        QString target;           ///< the folder of a sequence, the file of a video
        QString baseName = QStringLiteral("image"); ///< the start of a sequence's file names
        COrientation orientation; ///< how each image is turned before it is written
        int maxImages = 0;        ///< images to write; 0 for no limit
        /// Images that may wait; each holds one of the camera's buffers. The roster gives a camera
        /// at least 15: twelve waiting ride out a quarter of a second's stall at 50 images a second
        /// and still leave the camera some.
        int queueCapacity = 12;
        double nominalRate = 0;   ///< images a second to tell a video; 0 if not known
        CSnapshotWriter::DecompressorSource decompressors; ///< for compressed images
    };

    struct Figures
    {
        quint64 offered = 0;  ///< good images that reached the recorder, up to the limit
        quint64 written = 0;
        quint64 dropped = 0;  ///< good images that found the queue full, or came after a failure
        quint64 failed = 0;   ///< images that arrived without pixels (not recorded)
        double cpuMsPerImage = 0; ///< the recorder thread's processor time per written image
    };

    explicit CImageRecorder(Options options, QObject* parent = nullptr);
    /// Finishes the recording, waiting for the queue to be written.
    ~CImageRecorder() override;

    /// Checks the target and starts the recorder's thread; false with the reason in error.
    bool start(QString& error);
    /// Any thread (a grab thread): queues the image, or drops it when the queue is full. Never waits
    /// for the writing.
    void offer(const Tavix::CGrabResultPtr& result);
    /// Any thread: no more images are taken; the queue is written and the file finished.
    void requestStop();
    /// Waits until the recorder's thread is done; for a program's end and for tests.
    void waitForFinished();

    bool isFinished() const { return m_finished.load(); }
    Figures figures() const;
    /// Why the recording ended early (a file that can't be written); empty when it didn't.
    QString error() const;
    const Options& options() const { return m_options; }
    /// The folder or the file.
    QString target() const { return m_options.target; }

signals:
    /// The limit of images was reached: the recording is ending.
    void limitReached();
    /// The file is finished, or the recording failed (error() says why). Emitted once, from the
    /// recorder's thread.
    void finished();

private:
    struct CQueued
    {
        Tavix::CGrabResultPtr result;
        int64_t arrivalUs = 0;
    };

    void run();
    bool writeOne(const CQueued& queued, QString& error);
    void fail(const QString& error);

    const Options m_options;
    std::unique_ptr<ARecordingWriter> m_pWriter;
    std::thread m_thread;
    // The queue: a ring of handles, guarded by m_mutex, which no one holds for longer than a move.
    mutable std::mutex m_mutex;
    std::condition_variable m_wake;
    std::vector<CQueued> m_ring;
    size_t m_head = 0;
    size_t m_count = 0;
    bool m_stopping = false;
    QString m_error;
    std::chrono::steady_clock::time_point m_firstArrival;
    bool m_anyArrived = false;
    // Counters the grab threads and the recorder's thread write.
    std::atomic<quint64> m_offered{0};
    std::atomic<quint64> m_written{0};
    std::atomic<quint64> m_dropped{0};
    std::atomic<quint64> m_failed{0};
    std::atomic<qint64> m_cpuNs{0};
    std::atomic<bool> m_finished{false};
    // Only the recorder's thread touches these.
    QByteArray m_decompressed;
    std::vector<unsigned char> m_turned;
};

} // namespace Recording
