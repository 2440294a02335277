#pragma once

#include <tavix/firmware.h>
#include <tavix/instantcamera.h>

namespace Plugin::OptiRoster::Internal {

// The device of a camera as the SDK's updater wants it, for one update. It holds the SDK device
// in an instant camera of its own and brings the device back after the reset that ends the
// update.
class CUpdatableDevice : public GenApi::IFirmwareUpdatableDevice
{
public:
    CUpdatableDevice();
    ~CUpdatableDevice() override;

    void open() override;
    GenApi::INodeMap* getNodeMap() override;
    GenApi::INodeMap* resetAndReconnect(GenApi::INodeMap* nodeMapBeforeReset, uint32_t waitTimeMs) override;
    void finish() override;
    GenICam::gcstring getDeviceName() override;

    void attachDevice(Tavix::ITavixDevice* device);
    Tavix::ITavixDevice* detachDevice();
    bool isCameraOpen() const;

private:
    void waitBeforeTry(int attempt, uint32_t waitTimeMs);
    GenApi::INodeMap* reopen(const Tavix::CDeviceInfo& found, int attempt);

    Tavix::CInstantCamera m_camera;
};

} // namespace Plugin::OptiRoster::Internal
