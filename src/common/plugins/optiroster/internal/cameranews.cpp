#include "cameranews.h"

#include <core/callbacks/callbackhold.h>
#include <plugins/optiroster/internal/newswaker.h>

#include <QCoreApplication>
#include <QEvent>
#include <QMutexLocker>
#include <QThread>

#include <algorithm>

#if defined(__SANITIZE_THREAD__)
#include <sanitizer/tsan_interface.h>
#endif

namespace Plugin::OptiRoster::Internal {

namespace {

QEvent::Type releaseEventType()
{
    static const QEvent::Type type = QEvent::Type(QEvent::registerEventType());
    return type;
}

// Lets a start, stop or loss posted on another thread be told, in order with the queued signals
// that thread sent before; it keeps the news alive until then.
class CReleaseEvent : public QEvent
{
public:
    CReleaseEvent(uint64_t controlId, QSharedPointer<CCameraNews> news)
        : QEvent(releaseEventType())
        , controlId(controlId)
        , ptrNews(std::move(news))
    {
    }
#if defined(__SANITIZE_THREAD__)
    // Qt's event queue orders the posting thread's writes, the event among them, before the
    // event is handled or deleted on the receiver's thread, inside its own library, which
    // ThreadSanitizer doesn't see: the poster tells it so on the event's address (release()), and
    // the receiving side before it reads the event (event(), and here for a news destroyed first).
    ~CReleaseEvent() override { __tsan_acquire(this); }
#endif
    const uint64_t controlId;
    const QSharedPointer<CCameraNews> ptrNews;
};

} // namespace

QSharedPointer<CCameraNews> CCameraNews::create(CameraInfoPtr info, CNewsWaker* waker)
{
    auto* news = new CCameraNews(std::move(info), waker);
    news->moveToThread(waker->thread());
    return QSharedPointer<CCameraNews>(news, [](CCameraNews* ended) {
        if (ended->thread() == QThread::currentThread())
            delete ended;
        else
            ended->deleteLater();
    });
}

CCameraNews::CCameraNews(CameraInfoPtr info, CNewsWaker* waker)
    : m_ptrInfo(std::move(info))
    , m_pWaker(waker)
{
}

CCameraNews::~CCameraNews() = default;

void CCameraNews::prepareForGrab()
{
    // Made at the first grab, not with the camera: a pass may make thousands of cameras.
    if (!m_pFailures)
        m_pFailures = std::make_unique<std::array<CFailure, FailureCapacity>>();
}

void CCameraNews::postImage(CFigures figures, const Tavix::CGrabResultPtr& result)
{
    figures.sequence = ++m_imagesPosted;
    m_newestFigures.store(figures);
    if (result.IsValid() && !result->GrabSucceeded()) {
        const GenICam::gcstring description = result->GetErrorDescription();
        recordFailure(FailedImage, result->GetErrorCode(), description.c_str());
    } else if (result.IsValid()) {
        m_successesPosted.store(m_successesPosted.load(std::memory_order_relaxed) + 1, std::memory_order_release);
    }
    schedule();
}

void CCameraNews::postGrabError(const char* description)
{
    recordFailure(GrabError, 0, description);
    schedule();
}

void CCameraNews::recordFailure(EKind kind, unsigned long code, const char* description)
{
    const uint64_t written = m_failuresWritten.load(std::memory_order_relaxed);
    if (!m_pFailures || written - m_failuresRead.load(std::memory_order_acquire) == FailureCapacity) {
        // The road's thread lags this far behind: the failure merges into one told later.
        m_mergedErrorCode.store(code, std::memory_order_relaxed);
        m_mergedFailures.fetch_add(1, std::memory_order_release);
        return;
    }
    CFailure& failure = (*m_pFailures)[written % FailureCapacity];
    failure.kind = kind;
    failure.successesBefore = m_successesPosted.load(std::memory_order_relaxed);
    failure.code = code;
    failure.description.assign(description ? description : ""); // keeps its capacity: no allocation once warm
    m_failuresWritten.store(written + 1, std::memory_order_release);
}

void CCameraNews::schedule()
{
    if (m_scheduled.load(std::memory_order_acquire) || m_scheduled.exchange(true, std::memory_order_acq_rel))
        return;
    m_ptrScheduledSelf = sharedFromThis();
    m_pWaker->schedule(this);
}

void CCameraNews::postGrabStarted()
{
    postControl(GrabStarted);
}

void CCameraNews::postGrabStopped()
{
    postControl(GrabStopped);
}

void CCameraNews::postConnectionLost()
{
    postControl(ConnectionLost);
}

CCameraNews::CExtent CCameraNews::extentNow() const
{
    // The counts before the figures: the figures are then at least as new as the counts.
    CExtent extent;
    extent.successes = m_successesPosted.load(std::memory_order_acquire);
    extent.failures = m_failuresWritten.load(std::memory_order_acquire);
    extent.figures = m_newestFigures.load();
    return extent;
}

void CCameraNews::postControl(EKind kind)
{
    uint64_t id = 0;
    {
        QMutexLocker locker(&m_controlMutex);
        id = ++m_lastControlId;
        m_controls.push_back(CControl{kind, id, extentNow(), false});
    }
    // Where a queued signal of the posting thread would go out: once that thread holds no lock.
    Core::CCallbackHold::call([self = sharedFromThis(), id] { self->release(id); });
}

void CCameraNews::release(uint64_t controlId)
{
    if (QThread::currentThread() != thread()) {
        auto* event = new CReleaseEvent(controlId, sharedFromThis());
#if defined(__SANITIZE_THREAD__)
        __tsan_release(event);
#endif
        QCoreApplication::postEvent(this, event);
        return;
    }
    {
        QMutexLocker locker(&m_controlMutex);
        for (CControl& control : m_controls) {
            if (control.id == controlId)
                control.released = true;
        }
    }
    deliver();
}

bool CCameraNews::event(QEvent* event)
{
#if defined(__SANITIZE_THREAD__)
    __tsan_acquire(event); // before the event's fields and its virtual table are read
#endif
    if (event->type() != releaseEventType())
        return QObject::event(event);
    release(static_cast<CReleaseEvent*>(event)->controlId);
    return true;
}

void CCameraNews::deliver()
{
    // A receiver may let the camera and every other owner go, or run a nested event loop that
    // tells this news further: each unit is taken before it is told.
    const QSharedPointer<CCameraNews> keepAlive = sharedFromThis();
    while (!m_units.empty() || takeUnits()) {
        const CUnit unit = std::move(m_units.front());
        m_units.pop_front();
        tell(unit);
    }
}

bool CCameraNews::takeUnits()
{
    CControl next{Figures, 0, extentNow(), false};
    bool haveControl = false;
    {
        QMutexLocker locker(&m_controlMutex);
        if (!m_controls.empty()) {
            next = m_controls.front();
            haveControl = true;
            if (next.released)
                m_controls.pop_front();
        }
    }
    // The image news before a start, stop or loss is told before it, and none after it is told
    // until it has been released.
    takeImageUnits(next.before, !haveControl);
    if (haveControl && next.released)
        m_units.push_back(CUnit{next.kind, {}, {}, {}});
    return !m_units.empty();
}

void CCameraNews::takeImageUnits(const CExtent& extent, bool withMerged)
{
    if (extent.figures.sequence > m_figuresTold) {
        m_figuresTold = extent.figures.sequence;
        m_units.push_back(CUnit{Figures, extent.figures, {}, {}});
    }
    const auto tellSuccessesUpTo = [this](uint64_t successes) {
        if (successes <= m_successesTold)
            return;
        m_successesTold = successes;
        m_units.push_back(CUnit{Success, {}, ImageGrabbedInfo(true, 0, QString()), {}});
    };
    for (uint64_t read = m_failuresRead.load(std::memory_order_relaxed); read < extent.failures; ++read) {
        const CFailure& failure = (*m_pFailures)[read % FailureCapacity];
        tellSuccessesUpTo(failure.successesBefore);
        if (failure.kind == GrabError) {
            m_units.push_back(CUnit{GrabError, {}, {}, {}});
        } else {
            // The info's description as the grab result's record has it, the last error as text.
            const ImageGrabbedInfo info(false, failure.code, QString::fromLatin1(failure.description.c_str()));
            m_units.push_back(CUnit{FailedImage, {}, {}, QString::fromUtf8(failure.description.c_str())});
            m_units.push_back(CUnit{FailureInfo, {}, info, {}});
        }
        m_failuresRead.store(read + 1, std::memory_order_release); // the slot is the grab thread's again
    }
    tellSuccessesUpTo(extent.successes);
    if (!withMerged)
        return;
    if (m_mergedFailures.exchange(0, std::memory_order_acquire) > 0) {
        const QString description = m_ptrInfo ? m_ptrInfo->getLastError() : QString();
        m_units.push_back(CUnit{FailedImage, {}, {}, description});
        m_units.push_back(
            CUnit{FailureInfo, {}, ImageGrabbedInfo(false, m_mergedErrorCode.load(std::memory_order_relaxed), description), {}});
    }
}

void CCameraNews::tellFigures(const CFigures& figures)
{
    emit statisticChanged(int(figures.imageNumber), figures.imagesFailedCount, figures.fps, figures.bps, figures.compression);
}

void CCameraNews::tell(const CUnit& unit)
{
    switch (unit.kind) {
    case Figures:
        // Clients get the SDK's image number as the grabbed count; nothing else counts images.
        tellFigures(unit.figures);
        emit imageNumberTold(unit.figures.imageNumber);
        break;
    case Success:
    case FailureInfo:
        emit imageGrabbedInfo(unit.info);
        break;
    case FailedImage:
        emit imageGrabFailed(unit.lastError);
        break;
    case GrabError:
        emit grabError();
        break;
    case GrabStarted:
        emit grabStarted();
        break;
    case GrabStopped:
        emit grabStopped();
        break;
    case ConnectionLost:
        emit connectionLost();
        break;
    }
}

} // namespace Plugin::OptiRoster::Internal
