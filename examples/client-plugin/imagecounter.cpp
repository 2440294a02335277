#include "imagecounter.h"

CImageCounter::CImageCounter(Plugin::OptiRoster::CameraInfoPtr camera, int wanted, QObject* parent)
    : QObject(parent)
    , m_ptrCamera(std::move(camera))
    , m_wanted(wanted)
{
}

//! [observer]
// Runs on the camera's grab thread, for every image of every camera: it returns quickly, keeps
// no image beyond the call, and hands its news to the main thread by a queued signal. It must not
// add or remove observers here, nor wait for the main thread.
void CImageCounter::onImageGrabbed(const Plugin::OptiRoster::CameraInfoPtr& info, const Tavix::CGrabResultPtr& grabResult)
{
    if (info != m_ptrCamera || !grabResult->GrabSucceeded())
        return;
    if (m_count.fetch_add(1) + 1 == m_wanted)
        emit enoughImages(); // connected with Qt::QueuedConnection
}
//! [observer]
