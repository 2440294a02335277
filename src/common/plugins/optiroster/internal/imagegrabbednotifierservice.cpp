#include "imagegrabbednotifierservice.h"

#include <QMutexLocker>

namespace Plugin::OptiRoster::Internal {

ImageGrabbedNotifierService::ImageGrabbedNotifierService(QObject* parent)
    : IImageGrabbedNotifierService(parent)
{
}

ImageGrabbedNotifierService::~ImageGrabbedNotifierService() = default;

void ImageGrabbedNotifierService::addObserver(IImageGrabbedObserver* observer)
{
    if (!observer)
        return;
    QMutexLocker locker(&m_mutex);
    if (!m_observers.contains(observer))
        m_observers.append(observer);
}

void ImageGrabbedNotifierService::removeObserver(IImageGrabbedObserver* observer)
{
    if (!observer)
        return;
    QMutexLocker locker(&m_mutex);
    m_observers.removeOne(observer);
}

void ImageGrabbedNotifierService::notifyImageGrabbed(const CameraInfoPtr& info, const Tavix::CGrabResultPtr& grabResult)
{
    QMutexLocker locker(&m_mutex);
    for (IImageGrabbedObserver* observer : qAsConst(m_observers))
        observer->onImageGrabbed(info, grabResult);
}

} // namespace Plugin::OptiRoster::Internal
