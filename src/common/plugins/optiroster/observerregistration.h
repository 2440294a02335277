#pragma once

#include <plugins/optiroster/iimagegrabbednotifierservice.h>

#include <QSharedPointer>
#include <QWeakPointer>

namespace Plugin::OptiRoster {

/// Keeps an observer registered with the image-grabbed notifier for as long as the registration
/// lives: the constructor adds the observer, and the destructor (or reset()) removes it, so that
/// the notifier never calls an observer that has gone. This is the way to hold an observer.
///
/// Declare the registration after the observer it registers, so that it goes first: as the
/// observer's last member, or behind the observer in the object that owns both. Once reset() or
/// the destructor has returned, the observer is called no more; a call in progress on a grab
/// thread is waited for. Neither may run inside onImageGrabbed() of any observer: the notifier
/// refuses a removal from inside a notification with Core::Exception::InvalidOperationException,
/// which a destructor can't pass on.
///
/// The registration holds the notifier weakly: it doesn't keep the roster's service alive, and
/// a notifier that has gone has nothing left to remove. Movable, not copyable; use it on one
/// thread at a time.
///
/// \code
/// m_pCounter = std::make_unique<CImageCounter>(camera);
/// m_counterRegistration = Plugin::OptiRoster::CObserverRegistration(m_ptrNotifier, m_pCounter.get());
/// ...
/// m_counterRegistration.reset(); // before the counter goes, and in uninitialize()
/// \endcode
class CObserverRegistration
{
public:
    /// A registration of nothing.
    CObserverRegistration() = default;
    /// Adds observer to notifier; a null notifier or observer makes a registration of nothing.
    CObserverRegistration(const QSharedPointer<IImageGrabbedNotifierService>& notifier, IImageGrabbedObserver* observer);
    /// Removes the observer, as reset() does.
    ~CObserverRegistration();
    /// Takes over other's registration; other is left registering nothing.
    CObserverRegistration(CObserverRegistration&& other) noexcept;
    /// Removes the observer this one registers, then takes over other's registration.
    CObserverRegistration& operator=(CObserverRegistration&& other);
    CObserverRegistration(const CObserverRegistration&) = delete;
    CObserverRegistration& operator=(const CObserverRegistration&) = delete;

    /// Removes the observer from the notifier, if both are still there; once this returns, the
    /// observer is called no more. Afterwards the registration registers nothing.
    void reset();
    /// Whether an observer is registered through this object.
    bool isRegistered() const { return m_pObserver != nullptr; }
    /// The registered observer; null when there is none.
    IImageGrabbedObserver* observer() const { return m_pObserver; }

private:
    QWeakPointer<IImageGrabbedNotifierService> m_ptrNotifier;
    IImageGrabbedObserver* m_pObserver = nullptr;
};

} // namespace Plugin::OptiRoster
