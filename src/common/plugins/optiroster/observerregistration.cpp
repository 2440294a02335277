#include "observerregistration.h"

#include <utility>

namespace Plugin::OptiRoster {

CObserverRegistration::CObserverRegistration(const QSharedPointer<IImageGrabbedNotifierService>& notifier,
                                             IImageGrabbedObserver* observer)
{
    if (!notifier || !observer)
        return;
    notifier->addObserver(observer);
    m_ptrNotifier = notifier;
    m_pObserver = observer;
}

CObserverRegistration::~CObserverRegistration()
{
    reset();
}

CObserverRegistration::CObserverRegistration(CObserverRegistration&& other) noexcept
    : m_ptrNotifier(std::move(other.m_ptrNotifier))
    , m_pObserver(std::exchange(other.m_pObserver, nullptr))
{
}

CObserverRegistration& CObserverRegistration::operator=(CObserverRegistration&& other)
{
    if (this != &other) {
        reset();
        m_ptrNotifier = std::move(other.m_ptrNotifier);
        m_pObserver = std::exchange(other.m_pObserver, nullptr);
    }
    return *this;
}

void CObserverRegistration::reset()
{
    IImageGrabbedObserver* observer = std::exchange(m_pObserver, nullptr);
    const QSharedPointer<IImageGrabbedNotifierService> notifier = m_ptrNotifier.toStrongRef();
    m_ptrNotifier.clear();
    if (observer && notifier)
        notifier->removeObserver(observer);
}

} // namespace Plugin::OptiRoster
