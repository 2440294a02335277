#pragma once

#include <core/optirostercomponents/icamerainfo.h>
#include <plugins/optiroster/compressionstatistic.h>
#include <plugins/optiroster/imagegrabbedinfo.h>
#include <plugins/optiroster/internal/seqlockedvalue.h>

#include <tavix/grabresult.h>

#include <QEnableSharedFromThis>
#include <QMutex>
#include <QObject>
#include <QSharedPointer>

#include <array>
#include <atomic>
#include <cstdint>
#include <deque>
#include <memory>
#include <string>

namespace Plugin::OptiRoster::Internal {

using Core::OptiRosterComponents::CameraInfoPtr;

class CNewsWaker;

// The one road of a camera's grab news to the thread its pool lives on: each image's figures and
// how it ended, the SDK's errors, the start and stop of a grab and the loss of the device. They
// are told there, by this object's signals, in the order they happened, to the camera and to the
// pool, whichever of them still listens: the road is owned by the camera and, while it has
// something to tell, by itself, so that what was taken from the grab thread is told even when the
// camera has ended meanwhile.
//
// The grab thread pays little for an image: it leaves the figures, counts a success or writes a
// failure into a ring, and schedules the road with the pool's waker unless it is scheduled
// already. A thread that keeps up gets one figure and one info per image; one that lags gets the
// newest figures and one info for the successes that came together, while every failure is told
// on its own, as cameraImageGrabFailed then its info. A failure that finds FailureCapacity ones
// waiting merges into one that is told later with the newest failure's code and the camera's
// last error (an SDK error without an image as well): memory stays bounded for a camera whose
// every image fails, and the failed count of the figures stays exact.
//
// The start, stop and loss come from any thread, and each is told where the thread that posts it
// would have delivered a queued signal: at once when posted on the road's thread (once that
// thread holds no lock), and else by an event posted once the posting thread holds no lock, in
// order with that thread's queued signals. Image news never overtakes them.
class CCameraNews : public QObject, public QEnableSharedFromThis<CCameraNews>
{
    Q_OBJECT
public:
    // The figures of one image, as the camera counts them.
    struct CFigures
    {
        int64_t imageNumber = 0;
        int imagesFailedCount = 0;
        double fps = 0.0;
        uint64_t bps = 0;
        CCompressionStatistic compression;
        uint64_t sequence = 0; // images posted on this road, this one included; 0 for none
    };

    static constexpr int FailureCapacity = 256;

    // The news of the camera of info, told on the waker's thread, where it moves.
    static QSharedPointer<CCameraNews> create(CameraInfoPtr info, CNewsWaker* waker);
    ~CCameraNews() override;

    CameraInfoPtr info() const { return m_ptrInfo; }

    // On the thread that starts a grab, before its loop runs.
    void prepareForGrab();
    // On the grab thread, one at a time.
    void postImage(CFigures figures, const Tavix::CGrabResultPtr& result);
    void postGrabError(const char* description);
    // From any thread.
    void postGrabStarted();
    void postGrabStopped();
    void postConnectionLost();
    // On the road's thread: figures told at once, as the statistic timer's.
    void tellFigures(const CFigures& figures);

signals:
    void statisticChanged(int imagesGrabbedCount, int imagesFailedCount, double fps, uint64_t bps,
                          Plugin::OptiRoster::CCompressionStatistic compressionStatistic);
    // After an image's figures: the image number they belong to.
    void imageNumberTold(qint64 imageNumber);
    // A failed image, with its description as the camera's last error; its info follows.
    void imageGrabFailed(QString errorDescription);
    void imageGrabbedInfo(Plugin::OptiRoster::ImageGrabbedInfo imageGrabbedInfo);
    // An error that the SDK reported without an image.
    void grabError();
    void grabStarted();
    void grabStopped();
    void connectionLost();

protected:
    bool event(QEvent* event) override;

private:
    friend class CNewsWaker;

    enum EKind { Figures, Success, FailedImage, FailureInfo, GrabError, GrabStarted, GrabStopped, ConnectionLost };

    // A failed image or an error, as the grab thread leaves it in the ring.
    struct CFailure
    {
        EKind kind = FailedImage;
        uint64_t successesBefore = 0;
        unsigned long code = 0;
        std::string description;
    };
    // How far the image news goes: all of it now, or what a start, stop or loss saw before it.
    struct CExtent
    {
        uint64_t successes = 0;
        uint64_t failures = 0;
        CFigures figures;
    };
    struct CControl
    {
        EKind kind;
        uint64_t id;
        CExtent before;
        bool released;
    };
    // One signal, or two for figures, as it is told.
    struct CUnit
    {
        EKind kind;
        CFigures figures;
        ImageGrabbedInfo info;
        QString lastError;
    };

    explicit CCameraNews(CameraInfoPtr info, CNewsWaker* waker);

    void schedule();
    void recordFailure(EKind kind, unsigned long code, const char* description);
    void postControl(EKind kind);
    CExtent extentNow() const;
    // On the road's thread.
    void release(uint64_t controlId);
    void deliver();
    bool takeUnits();
    void takeImageUnits(const CExtent& extent, bool withMerged);
    void tell(const CUnit& unit);

    const CameraInfoPtr m_ptrInfo;
    CNewsWaker* const m_pWaker; // the camera that posts holds it

    // Written by the grab thread.
    CSeqLockedValue<CFigures> m_newestFigures;
    uint64_t m_imagesPosted = 0;
    std::atomic<uint64_t> m_successesPosted{0};
    std::unique_ptr<std::array<CFailure, FailureCapacity>> m_pFailures;
    std::atomic<uint64_t> m_failuresWritten{0};
    std::atomic<uint64_t> m_failuresRead{0}; // written by the road's thread
    std::atomic<uint64_t> m_mergedFailures{0};
    std::atomic<unsigned long> m_mergedErrorCode{0};

    // With the waker.
    std::atomic<bool> m_scheduled{false};
    CCameraNews* m_pNextScheduled = nullptr;
    QSharedPointer<CCameraNews> m_ptrScheduledSelf;

    QMutex m_controlMutex;
    std::deque<CControl> m_controls;
    uint64_t m_lastControlId = 0;

    // On the road's thread alone.
    std::deque<CUnit> m_units;
    uint64_t m_successesTold = 0;
    uint64_t m_figuresTold = 0;
};

} // namespace Plugin::OptiRoster::Internal
