#pragma once

#include <tavix/genicam.h>

#include <map>
#include <vector>

namespace Tavix {

using GenICam::gcstring;

/// A description record: a set of named text properties. Two records are equal when they
/// hold the same properties with the same values.
class CInfoBase
{
public:
    /// The full name: the identity of the device, interface or layer.
    gcstring GetFullName() const { return GetPropertyValue("FullName"); }
    /// The name to show.
    gcstring GetFriendlyName() const { return GetPropertyValue("FriendlyName"); }
    /// The vendor's name.
    gcstring GetVendorName() const { return GetPropertyValue("VendorName"); }
    /// The transport layer type, such as "GEV".
    gcstring GetTLType() const { return GetPropertyValue("TLType"); }
    /// The device class: the transport layer that reaches the device.
    gcstring GetDeviceClass() const { return GetPropertyValue("DeviceClass"); }

    ///@{
    /// Sets a property; returns the record.
    CInfoBase& SetFullName(const gcstring& v) { return SetPropertyValue("FullName", v); }
    CInfoBase& SetFriendlyName(const gcstring& v) { return SetPropertyValue("FriendlyName", v); }
    CInfoBase& SetVendorName(const gcstring& v) { return SetPropertyValue("VendorName", v); }
    CInfoBase& SetTLType(const gcstring& v) { return SetPropertyValue("TLType", v); }
    ///@}

    /// The named property's value; empty when it isn't set.
    gcstring GetPropertyValue(const gcstring& name) const;
    /// Whether the named property is set.
    bool IsPropertyAvailable(const gcstring& name) const;
    /// Sets the named property; returns the record.
    CInfoBase& SetPropertyValue(const gcstring& name, const gcstring& value);
    /// The names of the properties that are set.
    void GetPropertyNames(GenICam::gcstring_vector& names) const;

    /// Whether both hold the same properties with the same values.
    bool operator==(const CInfoBase& other) const { return m_properties == other.m_properties; }
    /// Whether the properties differ.
    bool operator!=(const CInfoBase& other) const { return !(*this == other); }

protected:
    /// An empty record.
    CInfoBase() = default;

private:
    std::map<gcstring, gcstring> m_properties;
};

/// The record of a device (a camera).
class CDeviceInfo : public CInfoBase
{
public:
    ///@{
    /// An empty record, copied and assigned as a value.
    CDeviceInfo() = default;
    CDeviceInfo(const CDeviceInfo&) = default;
    CDeviceInfo& operator=(const CDeviceInfo&) = default;
    ~CDeviceInfo() = default;
    ///@}

    /// The serial number.
    gcstring GetSerialNumber() const { return GetPropertyValue("SerialNumber"); }
    /// Sets the serial number.
    CDeviceInfo& SetSerialNumber(const gcstring& v) { SetPropertyValue("SerialNumber", v); return *this; }
    /// The name a user gave the device.
    gcstring GetUserDefinedName() const { return GetPropertyValue("UserDefinedName"); }
    /// Sets the user's name of the device.
    CDeviceInfo& SetUserDefinedName(const gcstring& v) { SetPropertyValue("UserDefinedName", v); return *this; }
    /// Whether the device has a user's name.
    bool IsUserDefinedNameAvailable() const { return IsPropertyAvailable("UserDefinedName"); }
    /// The model name.
    gcstring GetModelName() const { return GetPropertyValue("ModelName"); }
    /// The device version.
    gcstring GetDeviceVersion() const { return GetPropertyValue("DeviceVersion"); }
    /// The device factory that creates the device.
    gcstring GetDeviceFactory() const { return GetPropertyValue("DeviceFactory"); }
    /// The manufacturer's further information.
    gcstring GetManufacturerInfo() const { return GetPropertyValue("ManufacturerInfo"); }
    /// The IP address of a GigE Vision device.
    gcstring GetIpAddress() const { return GetPropertyValue("IpAddress"); }
    /// Sets the device class.
    CDeviceInfo& SetDeviceClass(const gcstring& v) { SetPropertyValue("DeviceClass", v); return *this; }
};

/// The record of an interface of a transport layer.
class CInterfaceInfo : public CInfoBase
{
public:
    ///@{
    /// An empty record, copied and assigned as a value.
    CInterfaceInfo() = default;
    CInterfaceInfo(const CInterfaceInfo&) = default;
    CInterfaceInfo& operator=(const CInterfaceInfo&) = default;
    ~CInterfaceInfo() = default;
    ///@}

    /// The interface's id.
    gcstring GetInterfaceID() const { return GetPropertyValue("InterfaceID"); }
};

/// The record of a transport layer.
class CTlInfo : public CInfoBase
{
public:
    ///@{
    /// An empty record, copied and assigned as a value.
    CTlInfo() = default;
    CTlInfo(const CTlInfo&) = default;
    CTlInfo& operator=(const CTlInfo&) = default;
    ~CTlInfo() = default;
    ///@}
};

/// The SDK's vector type.
template <typename T>
class TList : public std::vector<T>
{
public:
    using std::vector<T>::vector;
};

///@{
/// Lists of records.
using DeviceInfoList = TList<CDeviceInfo>;
using InterfaceInfoList = TList<CInterfaceInfo>;
using TlInfoList = TList<CTlInfo>;
///@}

///@{
/// Short names used by the rest of the SDK's headers.
using DeviceInfoList_t = DeviceInfoList;
using InterfaceInfoList_t = InterfaceInfoList;
using TlInfoList_t = TlInfoList;
///@}

} // namespace Tavix
