#pragma once

#include <plugins/optiroster/iimagegrabbednotifierservice.h>

#include <QList>
#include <QMutex>
#include <QWaitCondition>

namespace Plugin::OptiRoster::Internal {

// Calls each observer, in order of registration, on the grab thread of the image.
//
// The observers run without the list's lock, on the list as it was when the image came, so that
// the grab threads of several cameras don't wait for one another's observers (an observer may
// stop another camera, which waits for that camera's grab thread). Each camera's observers are
// called one after the other all the same: its images come from its one grab thread.
// removeObserver() returns once no notification that began before it runs any more, so that the
// observer may be destroyed then.
class ImageGrabbedNotifierService : public IImageGrabbedNotifierService
{
    Q_OBJECT
public:
    explicit ImageGrabbedNotifierService(QObject* parent = nullptr);
    ~ImageGrabbedNotifierService() override;

    // Both refuse, with a logged error and a Core::Exception::InvalidOperationException, when an
    // observer calls them from inside a notification: a removal there would wait for itself.
    void addObserver(IImageGrabbedObserver* observer) override;
    void removeObserver(IImageGrabbedObserver* observer) override;

    void notifyImageGrabbed(const CameraInfoPtr& info, const Tavix::CGrabResultPtr& grabResult);

private:
    class CRunningNotification;

    void refuseInsideNotification(const char* operation) const;

    QMutex m_mutex;
    QList<IImageGrabbedObserver*> m_observers;
    // The notifications that run, counted by the generation they began in; a removal starts a new
    // generation and waits for the old one to end. One removal waits at a time.
    int m_running[2] = {0, 0};
    int m_generation = 0;
    bool m_removing = false;
    QWaitCondition m_changed;
};

} // namespace Plugin::OptiRoster::Internal
