#include "imagecounter.h"

#include <tavix/pixeltype.h>

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
    // What the bytes mean comes with the image: its shape may differ from the camera's settings
    // by now. A compressed image tells the shape it has once decompressed.
    m_width.store(grabResult->GetWidth(), std::memory_order_relaxed);
    m_height.store(grabResult->GetHeight(), std::memory_order_relaxed);
    m_pixelType.store(grabResult->GetPixelType(), std::memory_order_relaxed);
    if (m_count.fetch_add(1) + 1 == m_wanted)
        emit enoughImages(); // connected with Qt::QueuedConnection
}
//! [observer]

QString CImageCounter::lastShape() const
{
    const char* format = Tavix::GetPixelTypeName(Tavix::EPixelType(m_pixelType.load()));
    return QStringLiteral("%1 x %2 %3")
        .arg(m_width.load())
        .arg(m_height.load())
        .arg(format ? QString::fromLatin1(format) : QStringLiteral("(pixel format 0x%1)").arg(m_pixelType.load(), 8, 16, QLatin1Char('0')));
}
