#pragma once

#include <plugins/optiroster/iimagegrabbednotifierservice.h>

#include <QList>
#include <QMutex>

namespace Plugin::OptiRoster::Internal {

// Calls each observer, in order of registration, on the grab thread of the image.
class ImageGrabbedNotifierService : public IImageGrabbedNotifierService
{
    Q_OBJECT
public:
    explicit ImageGrabbedNotifierService(QObject* parent = nullptr);
    ~ImageGrabbedNotifierService() override;

    void addObserver(IImageGrabbedObserver* observer) override;
    void removeObserver(IImageGrabbedObserver* observer) override;

    // Holds the list's mutex while the observers run: an observer must not add or remove one.
    void notifyImageGrabbed(const CameraInfoPtr& info, const Tavix::CGrabResultPtr& grabResult);

private:
    QMutex m_mutex;
    QList<IImageGrabbedObserver*> m_observers;
};

} // namespace Plugin::OptiRoster::Internal
