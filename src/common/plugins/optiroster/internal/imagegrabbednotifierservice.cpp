#include "imagegrabbednotifierservice.h"

#include <core/exception/exceptions.h>
#include <plugins/optiroster/internal/logcategories.h>

#include <QMutexLocker>

#include <utility>

namespace Plugin::OptiRoster::Internal {

namespace {
// The notifier whose observers the calling thread runs, while it does.
thread_local const ImageGrabbedNotifierService* t_pNotifying = nullptr;
} // namespace

// Counts a notification as running in its generation, and marks the thread as notifying, until
// it ends, also by an observer's exception.
class ImageGrabbedNotifierService::CRunningNotification
{
public:
    CRunningNotification(ImageGrabbedNotifierService* notifier, int generation)
        : m_pNotifier(notifier)
        , m_generation(generation)
        , m_pOuter(std::exchange(t_pNotifying, notifier))
    {
    }
    ~CRunningNotification()
    {
        t_pNotifying = m_pOuter;
        QMutexLocker locker(&m_pNotifier->m_mutex);
        if (--m_pNotifier->m_running[m_generation] == 0)
            m_pNotifier->m_changed.wakeAll();
    }
    CRunningNotification(const CRunningNotification&) = delete;
    CRunningNotification& operator=(const CRunningNotification&) = delete;

private:
    ImageGrabbedNotifierService* m_pNotifier;
    int m_generation;
    const ImageGrabbedNotifierService* m_pOuter;
};

ImageGrabbedNotifierService::ImageGrabbedNotifierService(QObject* parent)
    : IImageGrabbedNotifierService(parent)
{
}

ImageGrabbedNotifierService::~ImageGrabbedNotifierService() = default;

void ImageGrabbedNotifierService::refuseInsideNotification(const char* operation) const
{
    if (t_pNotifying != this)
        return;
    const QString message = QStringLiteral("%1 was called by an observer from inside its notification, which is not allowed: "
                                           "change the observers from another thread.")
                                .arg(QLatin1String(operation));
    writeLog(onceCategoryId<LogCategories::ImageGrabbedNotifierService>(), message);
    throw Core::Exception::InvalidOperationException(message);
}

void ImageGrabbedNotifierService::addObserver(IImageGrabbedObserver* observer)
{
    if (!observer)
        return;
    refuseInsideNotification("addObserver");
    QMutexLocker locker(&m_mutex);
    if (!m_observers.contains(observer))
        m_observers.append(observer);
}

void ImageGrabbedNotifierService::removeObserver(IImageGrabbedObserver* observer)
{
    if (!observer)
        return;
    refuseInsideNotification("removeObserver");
    QMutexLocker locker(&m_mutex);
    while (m_removing)
        m_changed.wait(&m_mutex);
    if (!m_observers.removeOne(observer))
        return; // no notification can have it that began after it left
    // The notifications that began until now may still call it: they are the old generation's.
    m_removing = true;
    const int ending = m_generation;
    m_generation ^= 1;
    while (m_running[ending] > 0)
        m_changed.wait(&m_mutex);
    m_removing = false;
    m_changed.wakeAll();
}

void ImageGrabbedNotifierService::notifyImageGrabbed(const CameraInfoPtr& info, const Tavix::CGrabResultPtr& grabResult)
{
    QList<IImageGrabbedObserver*> observers;
    int generation = 0;
    {
        QMutexLocker locker(&m_mutex);
        if (m_observers.isEmpty())
            return;
        observers = m_observers; // shared, not copied
        generation = m_generation;
        ++m_running[generation];
    }
    const CRunningNotification running(this, generation);
    for (IImageGrabbedObserver* observer : qAsConst(observers))
        observer->onImageGrabbed(info, grabResult);
}

} // namespace Plugin::OptiRoster::Internal
