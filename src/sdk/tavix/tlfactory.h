#pragma once

#include <tavix/transportlayer.h>

namespace Tavix {

// The one entry to transport layers and devices.
class CTlFactory
{
public:
    static CTlFactory& GetInstance();

    int EnumerateTls(TlInfoList& list);
    ITransportLayer* CreateTl(const CTlInfo& info);
    ITransportLayer* CreateTl(const GenICam::gcstring& deviceClass);
    void ReleaseTl(const ITransportLayer* layer);

    // Lists the devices of all layers that match one of the filter records (all devices for an
    // empty filter); with addToList the list is not cleared first. Returns the list's size.
    int EnumerateDevices(DeviceInfoList& list, const DeviceInfoList& filter, bool addToList = false);
    int EnumerateDevices(DeviceInfoList& list, bool addToList = false);

    virtual ITavixDevice* CreateDevice(const CDeviceInfo& info);
    virtual ITavixDevice* CreateFirstDevice(const CDeviceInfo& info = CDeviceInfo());
    virtual void DestroyDevice(ITavixDevice* device);

protected:
    CTlFactory() = default;
    virtual ~CTlFactory() = default;
};

} // namespace Tavix
