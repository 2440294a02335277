#pragma once

#include <QCoreApplication>
#include <QEvent>
#include <QObject>

#include <utility>

#if defined(__SANITIZE_THREAD__)
#include <sanitizer/tsan_interface.h>
#endif

namespace Plugin::OptiRoster::Internal {

// A function that runs on a receiver's thread, posted as an event of its own: one allocation,
// the event with the function's captures inside, where a queued invokeMethod makes two. It is
// meant for a grab thread's news, which may be posted for every image. The receiver hands such
// events to runQueuedCall() from its event().
class AQueuedCallEvent : public QEvent
{
public:
    static QEvent::Type eventType()
    {
        static const QEvent::Type type = QEvent::Type(QEvent::registerEventType());
        return type;
    }

    virtual void run() = 0;

protected:
    AQueuedCallEvent()
        : QEvent(eventType())
    {
    }
};

template <typename Function>
class CQueuedCallEvent final : public AQueuedCallEvent
{
public:
    explicit CQueuedCallEvent(Function function)
        : m_function(std::move(function))
    {
    }
#if defined(__SANITIZE_THREAD__)
    // Qt's event queue orders the posting thread's writes, the captures among them, before the
    // event is handled and deleted on the receiver's thread, but inside its own library, which
    // ThreadSanitizer doesn't see; in such a build the event tells it so on its own address.
    ~CQueuedCallEvent() override { __tsan_acquire(this); }
    void run() override
    {
        __tsan_acquire(this);
        m_function();
    }
#else
    void run() override { m_function(); }
#endif

private:
    Function m_function;
};

// Runs the function on the receiver's thread, in the order of that thread's posted events.
template <typename Function>
void postQueuedCall(QObject* receiver, Function function)
{
    auto* event = new CQueuedCallEvent<Function>(std::move(function));
#if defined(__SANITIZE_THREAD__)
    __tsan_release(event);
#endif
    QCoreApplication::postEvent(receiver, event);
}

// For a receiver's event(): runs a posted call; false for any other event.
inline bool runQueuedCall(QEvent* event)
{
    if (event->type() != AQueuedCallEvent::eventType())
        return false;
    static_cast<AQueuedCallEvent*>(event)->run();
    return true;
}

} // namespace Plugin::OptiRoster::Internal
