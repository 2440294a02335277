#pragma once

#include <QElapsedTimer>
#include <QObject>
#include <QSharedPointer>
#include <QTimer>

#include <atomic>
#include <utility>

namespace Plugin::OptiRoster::Internal {

// Carries the grab threads' news of their images (figures, timer pushes, how images ended) to
// the thread the cameras live in, as calls run there in the order each camera posted them.
//
// Waking that thread is what a grab thread pays most for an image's news: a system call, and
// on a busy machine the woken thread taking its processor. So the cameras of one pool share one
// queue, and one wake-up serves every call that arrives while it waits or runs. And while news
// comes more often than once a millisecond, the thread comes back by itself each millisecond
// instead of being woken: a camera's news then merges into its waiting call (see
// CMergedDelivery) once it sends more than about a thousand images a second, while at the rates
// of most cameras clients still see one of each per image, at most a millisecond later.
//
// Calls are posted from any thread; forget() and the calls run on the queue's thread.
class CImageNewsQueue : public QObject
{
    Q_OBJECT
public:
    // A call of the queue. The queue links it in and runs it, or discards it once its sender is
    // forgotten; either way the call ends there: from then on it belongs to itself.
    class ACall
    {
    public:
        virtual ~ACall() = default;
        virtual void run() = 0;
        virtual void discard() = 0;

    private:
        friend class CImageNewsQueue;
        ACall* m_pNext = nullptr;
        const void* m_pSender = nullptr;
    };

    // A queue of the calling thread, which ends on its own thread when its last owner lets go.
    static QSharedPointer<CImageNewsQueue> create();
    ~CImageNewsQueue() override;

    void post(const void* sender, ACall* call);
    // Posts a function, in a call made for it.
    template <typename Function>
    void postFunction(const void* sender, Function function);

    // The sender's waiting calls are discarded: it ends, and its grab thread has ended.
    void forget(const void* sender);

protected:
    bool event(QEvent* event) override;

private:
    CImageNewsQueue();

    // Runs the calls that arrived; a call of the linger timer when lingering.
    void runArrived(bool lingering);
    // Moves the calls that arrived, in their order, behind the taken ones.
    void takeArrived();
    ACall* popTaken();

    // The calls posted since the last take, newest first.
    std::atomic<ACall*> m_pArrived{nullptr};
    // Whether a wake-up is posted and not yet run to its end.
    std::atomic<bool> m_wakeUpPosted{false};
    // Taken calls in their order, on the queue's thread alone.
    ACall* m_pFirstTaken = nullptr;
    ACall* m_pLastTaken = nullptr;
    // Brings the thread back while news keeps coming, without a grab thread's wake-up.
    QTimer m_lingerTimer;
    QElapsedTimer m_clock;
    qint64 m_lastRunNs = 0;
};

namespace ImageNewsQueueDetail {
template <typename Function>
class CFunctionCall final : public CImageNewsQueue::ACall
{
public:
    explicit CFunctionCall(Function function)
        : m_function(std::move(function))
    {
    }
    void run() override
    {
        m_function();
        delete this;
    }
    void discard() override { delete this; }

private:
    Function m_function;
};
} // namespace ImageNewsQueueDetail

template <typename Function>
void CImageNewsQueue::postFunction(const void* sender, Function function)
{
    post(sender, new ImageNewsQueueDetail::CFunctionCall<Function>(std::move(function)));
}

} // namespace Plugin::OptiRoster::Internal
