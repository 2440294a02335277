#pragma once

#include <tavix/transportlayer.h>

namespace Tavix {

/// The one entry to transport layers and devices.
class CTlFactory
{
public:
    /// The factory of the process; TavixInitialize() comes first.
    static CTlFactory& GetInstance();

    /// Lists the transport layers into list; returns how many.
    int EnumerateTls(TlInfoList& list);
    ///@{
    /// The layer of a record or device class; give it back with ReleaseTl(). Null when none fits.
    ITransportLayer* CreateTl(const CTlInfo& info);
    ITransportLayer* CreateTl(const GenICam::gcstring& deviceClass);
    ///@}
    /// Gives back a layer of CreateTl().
    void ReleaseTl(const ITransportLayer* layer);

    /// Lists the devices of all layers that match one of the filter records (all devices for an
    /// empty filter); with addToList the list is not cleared first. Returns the list's size.
    int EnumerateDevices(DeviceInfoList& list, const DeviceInfoList& filter, bool addToList = false);
    /// Lists the devices of all layers.
    int EnumerateDevices(DeviceInfoList& list, bool addToList = false);

    /// The device that the record names, from the layer of its device class; a record that sets
    /// nothing but a class or TL type names none, and throws like one that matches nothing.
    virtual ITavixDevice* CreateDevice(const CDeviceInfo& info);
    /// The first device that matches the record's properties (any, for an empty record); throws
    /// when none does.
    virtual ITavixDevice* CreateFirstDevice(const CDeviceInfo& info = CDeviceInfo());
    /// Destroys a device of CreateDevice() or CreateFirstDevice().
    virtual void DestroyDevice(ITavixDevice* device);

protected:
    ///@{
    /// The factory is a singleton.
    CTlFactory() = default;
    virtual ~CTlFactory() = default;
    ///@}

private:
    ITavixDevice* createMatching(const CDeviceInfo& info);
};

} // namespace Tavix
