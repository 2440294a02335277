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
    // Qt's event queue orders the posting thread's writes, the event itself among them, before
    // the event is handled or deleted on the receiver's thread, but inside its own library,
    // which ThreadSanitizer doesn't see. In such a build the poster tells it so on the event's
    // address, and the receiver's side before it reads the event: in runQueuedCall(), and here
    // for an event of a destroyed receiver, which Qt deletes without handing it on.
    ~CQueuedCallEvent() override { __tsan_acquire(this); }
#endif
    void run() override { m_function(); }

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
#if defined(__SANITIZE_THREAD__)
    __tsan_acquire(event); // before the event's fields and its virtual table are read
#endif
    if (event->type() != AQueuedCallEvent::eventType())
        return false;
    static_cast<AQueuedCallEvent*>(event)->run();
    return true;
}

} // namespace Plugin::OptiRoster::Internal
