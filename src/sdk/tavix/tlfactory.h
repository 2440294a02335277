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

    // The device that the record names; a record that sets nothing but a class or TL type names
    // none, and throws like one that matches nothing.
    virtual ITavixDevice* CreateDevice(const CDeviceInfo& info);
    // The first device that matches a record, which may be empty.
    virtual ITavixDevice* CreateFirstDevice(const CDeviceInfo& info = CDeviceInfo());
    virtual void DestroyDevice(ITavixDevice* device);

protected:
    CTlFactory() = default;
    virtual ~CTlFactory() = default;

private:
    ITavixDevice* createMatching(const CDeviceInfo& info);
};

} // namespace Tavix
