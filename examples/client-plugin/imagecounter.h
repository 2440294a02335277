#pragma once

#include <plugins/optiroster/iimagegrabbedobserver.h>

#include <QObject>

#include <atomic>
#include <cstdint>

// Counts the images of one camera on its grab thread, notes the shape of the last one, and says
// once, on the thread the counter lives on, that the wanted number has arrived.
class CImageCounter : public QObject, public Plugin::OptiRoster::IImageGrabbedObserver
{
    Q_OBJECT
public:
    CImageCounter(Plugin::OptiRoster::CameraInfoPtr camera, int wanted, QObject* parent = nullptr);

    int count() const { return m_count.load(); }
    // The last image's width, height and pixel format, as the image itself told them; read once
    // the grab has stopped.
    QString lastShape() const;

    void onImageGrabbed(const Plugin::OptiRoster::CameraInfoPtr& info, const Tavix::CGrabResultPtr& grabResult) override;

signals:
    void enoughImages();

private:
    const Plugin::OptiRoster::CameraInfoPtr m_ptrCamera;
    const int m_wanted;
    std::atomic<int> m_count{0};
    std::atomic<uint32_t> m_width{0};
    std::atomic<uint32_t> m_height{0};
    std::atomic<uint32_t> m_pixelType{0};
};
