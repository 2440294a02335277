#include "newswaker.h"

#include <plugins/optiroster/internal/cameranews.h>

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

QSharedPointer<CNewsWaker> CNewsWaker::create()
{
    return QSharedPointer<CNewsWaker>(new CNewsWaker, [](CNewsWaker* waker) {
        if (waker->thread() == QThread::currentThread())
            delete waker;
        else
            waker->deleteLater();
    });
}

CNewsWaker::CNewsWaker()
    : m_lingerTimer(this) // a child, so that it moves with the waker
{
    m_lingerTimer.setSingleShot(true);
    m_lingerTimer.setTimerType(Qt::PreciseTimer);
    m_lingerTimer.setInterval(LingerMs);
    connect(&m_lingerTimer, &QTimer::timeout, this, [this] { run(true); });
    m_clock.start();
}

CNewsWaker::~CNewsWaker()
{
    takeScheduled();
    while (CCameraNews* news = popTaken())
        unschedule(news);
}

void CNewsWaker::schedule(CCameraNews* news)
{
    CCameraNews* newest = m_pScheduled.load(std::memory_order_relaxed);
    do {
        news->m_pNextScheduled = newest;
    } while (!m_pScheduled.compare_exchange_weak(newest, news, std::memory_order_seq_cst, std::memory_order_relaxed));
    // Sequentially consistent with run()'s clearing of the flag: either this sees it clear and
    // posts, or that run's check sees this news.
    if (m_wakeUpPosted.load(std::memory_order_seq_cst) || m_wakeUpPosted.exchange(true, std::memory_order_seq_cst))
        return;
    postWakeUp();
}

void CNewsWaker::postWakeUp()
{
    QCoreApplication::postEvent(this, new QEvent(wakeUpType()));
}

bool CNewsWaker::event(QEvent* event)
{
    if (event->type() != wakeUpType())
        return QObject::event(event);
    run(false);
    return true;
}

void CNewsWaker::run(bool lingering)
{
    // The news scheduled until now; what comes later waits for the next run, so that a stream
    // of news can't hold this thread from its other events.
    takeScheduled();
    const bool ran = m_pFirstTaken != nullptr;
    const qint64 now = m_clock.nsecsElapsed();
    const bool frequent = ran && (lingering || now - m_lastRunNs < LingerNs);
    if (ran)
        m_lastRunNs = now;
    // Decided before anything is told: a receiver's nested event loop then gets the timer, or the
    // wake-ups of news scheduled meanwhile.
    if (frequent) {
        m_lingerTimer.start(); // the flag stays set: the grab threads don't wake this thread
    } else {
        m_wakeUpPosted.store(false, std::memory_order_seq_cst);
        if (m_pScheduled.load(std::memory_order_seq_cst) && !m_wakeUpPosted.exchange(true, std::memory_order_seq_cst))
            postWakeUp();
    }
    while (CCameraNews* news = popTaken()) {
        // Unscheduled before it is told, so that news posted meanwhile schedules it again.
        const QSharedPointer<CCameraNews> held = unschedule(news);
        news->deliver();
    }
}

QSharedPointer<CCameraNews> CNewsWaker::unschedule(CCameraNews* news)
{
    QSharedPointer<CCameraNews> held = std::move(news->m_ptrScheduledSelf);
    news->m_pNextScheduled = nullptr;
    news->m_scheduled.store(false, std::memory_order_release);
    return held;
}

void CNewsWaker::takeScheduled()
{
    CCameraNews* newest = m_pScheduled.exchange(nullptr, std::memory_order_acquire);
    if (!newest)
        return;
    CCameraNews* oldest = nullptr;
    CCameraNews* const last = newest;
    while (newest) {
        CCameraNews* older = newest->m_pNextScheduled;
        newest->m_pNextScheduled = oldest;
        oldest = newest;
        newest = older;
    }
    (m_pLastTaken ? m_pLastTaken->m_pNextScheduled : m_pFirstTaken) = oldest;
    m_pLastTaken = last;
}

CCameraNews* CNewsWaker::popTaken()
{
    CCameraNews* news = m_pFirstTaken;
    if (!news)
        return nullptr;
    m_pFirstTaken = news->m_pNextScheduled;
    if (!m_pFirstTaken)
        m_pLastTaken = nullptr;
    return news;
}

} // namespace Plugin::OptiRoster::Internal
