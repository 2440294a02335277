#include "imagenewsqueue.h"

#include <QCoreApplication>
#include <QEvent>
#include <QThread>

namespace Plugin::OptiRoster::Internal {

namespace {
constexpr int LingerMs = 1;
constexpr qint64 LingerNs = LingerMs * 1000000;

QEvent::Type wakeUpType()
{
    static const QEvent::Type type = QEvent::Type(QEvent::registerEventType());
    return type;
}
} // namespace

QSharedPointer<CImageNewsQueue> CImageNewsQueue::create()
{
    return QSharedPointer<CImageNewsQueue>(new CImageNewsQueue, [](CImageNewsQueue* queue) {
        if (queue->thread() == QThread::currentThread())
            delete queue;
        else
            queue->deleteLater();
    });
}

CImageNewsQueue::CImageNewsQueue()
    : m_lingerTimer(this) // a child, so that it moves with the queue
{
    m_lingerTimer.setSingleShot(true);
    m_lingerTimer.setTimerType(Qt::PreciseTimer);
    m_lingerTimer.setInterval(LingerMs);
    connect(&m_lingerTimer, &QTimer::timeout, this, [this] { runArrived(true); });
    m_clock.start();
}

CImageNewsQueue::~CImageNewsQueue()
{
    takeArrived();
    while (ACall* call = popTaken())
        call->discard();
}

void CImageNewsQueue::post(const void* sender, ACall* call)
{
    call->m_pSender = sender;
    ACall* newest = m_pArrived.load(std::memory_order_relaxed);
    do {
        call->m_pNext = newest;
    } while (!m_pArrived.compare_exchange_weak(newest, call, std::memory_order_seq_cst, std::memory_order_relaxed));
    // Sequentially consistent with runArrived()'s end: either this sees that no wake-up is
    // posted, or the wake-up that ends sees this call.
    if (m_wakeUpPosted.load(std::memory_order_seq_cst) || m_wakeUpPosted.exchange(true, std::memory_order_seq_cst))
        return;
    QCoreApplication::postEvent(this, new QEvent(wakeUpType()));
}

void CImageNewsQueue::forget(const void* sender)
{
    takeArrived();
    ACall* kept = nullptr;
    ACall* lastKept = nullptr;
    while (ACall* call = popTaken()) {
        if (call->m_pSender == sender) {
            call->discard();
            continue;
        }
        (lastKept ? lastKept->m_pNext : kept) = call;
        lastKept = call;
    }
    m_pFirstTaken = kept;
    m_pLastTaken = lastKept;
}

bool CImageNewsQueue::event(QEvent* event)
{
    if (event->type() != wakeUpType())
        return QObject::event(event);
    runArrived(false);
    return true;
}

void CImageNewsQueue::runArrived(bool lingering)
{
    // The calls that arrived until now; later ones wait for the next turn, so that a stream of
    // news can't hold this thread from its other events.
    takeArrived();
    const bool ran = m_pFirstTaken != nullptr;
    // A call may let a client's slot run the event loop, which may run a later wake-up here:
    // each call leaves the list before it runs.
    while (ACall* call = popTaken())
        call->run();
    const qint64 now = m_clock.nsecsElapsed();
    const bool frequent = ran && (lingering || now - m_lastRunNs < LingerNs);
    if (ran)
        m_lastRunNs = now;
    if (frequent) {
        // Still posted as far as the grab threads can tell: the timer comes back instead.
        m_lingerTimer.start();
        return;
    }
    m_wakeUpPosted.store(false, std::memory_order_seq_cst);
    if (m_pArrived.load(std::memory_order_seq_cst) && !m_wakeUpPosted.exchange(true, std::memory_order_seq_cst))
        QCoreApplication::postEvent(this, new QEvent(wakeUpType()));
}

void CImageNewsQueue::takeArrived()
{
    ACall* newest = m_pArrived.exchange(nullptr, std::memory_order_acquire);
    if (!newest)
        return;
    ACall* oldest = nullptr;
    ACall* const last = newest;
    while (newest) {
        ACall* older = newest->m_pNext;
        newest->m_pNext = oldest;
        oldest = newest;
        newest = older;
    }
    (m_pLastTaken ? m_pLastTaken->m_pNext : m_pFirstTaken) = oldest;
    m_pLastTaken = last;
}

CImageNewsQueue::ACall* CImageNewsQueue::popTaken()
{
    ACall* call = m_pFirstTaken;
    if (!call)
        return nullptr;
    m_pFirstTaken = call->m_pNext;
    if (!m_pFirstTaken)
        m_pLastTaken = nullptr;
    call->m_pNext = nullptr;
    return call;
}

} // namespace Plugin::OptiRoster::Internal
