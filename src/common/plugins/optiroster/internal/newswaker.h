#pragma once

#include <QElapsedTimer>
#include <QObject>
#include <QSharedPointer>
#include <QTimer>

#include <atomic>

namespace Plugin::OptiRoster::Internal {

class CCameraNews;

// Wakes the thread of a pool's cameras for their news: each camera's news (CCameraNews) is
// scheduled here when it has something to tell, and is told by this thread in turn.
//
// Waking a thread is what a grab thread pays most for an image's news: a system call, and on a
// busy machine the woken thread taking its processor. So the cameras of a pool share one waker,
// and one wake-up serves every camera's news that arrives while it waits. And while news comes
// more often than once a millisecond, the thread comes back by itself each millisecond instead
// of being woken: its timer then stands in for the grab threads' wake-ups.
//
// A client's slot may run a nested event loop while news is told: the news scheduled meanwhile is
// told inside that loop, by a wake-up or the timer, and the news taken before it waits its turn
// in a list that the nested run goes on with.
class CNewsWaker : public QObject
{
    Q_OBJECT
public:
    // A waker of the calling thread, which ends on its own thread when its last owner lets go.
    static QSharedPointer<CNewsWaker> create();
    // News still scheduled is let go untold: the pool and its cameras have ended.
    ~CNewsWaker() override;

    // From any thread, for news that isn't scheduled yet; the news holds itself until it is told.
    void schedule(CCameraNews* news);

protected:
    bool event(QEvent* event) override;

private:
    CNewsWaker();

    // Tells the news scheduled until now; a run of the timer when lingering.
    void run(bool lingering);
    // Moves the news scheduled since the last take, in its order, behind the taken news.
    void takeScheduled();
    CCameraNews* popTaken();
    void postWakeUp();
    // Clears the news's schedule and hands over the reference it held on itself meanwhile.
    static QSharedPointer<CCameraNews> unschedule(CCameraNews* news);

    // The news scheduled since the last take, newest first.
    std::atomic<CCameraNews*> m_pScheduled{nullptr};
    // Whether a wake-up is posted, or the timer stands in for one.
    std::atomic<bool> m_wakeUpPosted{false};
    // Taken news in its order, on this object's thread alone.
    CCameraNews* m_pFirstTaken = nullptr;
    CCameraNews* m_pLastTaken = nullptr;
    QTimer m_lingerTimer;
    QElapsedTimer m_clock;
    qint64 m_lastRunNs = 0;
};

} // namespace Plugin::OptiRoster::Internal
