#pragma once

#include <tavix/genicam.h>

#include <map>
#include <vector>

namespace Tavix {

using GenICam::gcstring;

// A description record: a set of named text properties. Two records are equal when they
// hold the same properties with the same values.
class CInfoBase
{
public:
    gcstring GetFullName() const { return GetPropertyValue("FullName"); }
    gcstring GetFriendlyName() const { return GetPropertyValue("FriendlyName"); }
    gcstring GetVendorName() const { return GetPropertyValue("VendorName"); }
    gcstring GetTLType() const { return GetPropertyValue("TLType"); }
    gcstring GetDeviceClass() const { return GetPropertyValue("DeviceClass"); }

    CInfoBase& SetFullName(const gcstring& v) { return SetPropertyValue("FullName", v); }
    CInfoBase& SetFriendlyName(const gcstring& v) { return SetPropertyValue("FriendlyName", v); }
    CInfoBase& SetVendorName(const gcstring& v) { return SetPropertyValue("VendorName", v); }
    CInfoBase& SetTLType(const gcstring& v) { return SetPropertyValue("TLType", v); }

    gcstring GetPropertyValue(const gcstring& name) const;
    bool IsPropertyAvailable(const gcstring& name) const;
    CInfoBase& SetPropertyValue(const gcstring& name, const gcstring& value);
    void GetPropertyNames(GenICam::gcstring_vector& names) const;

    bool operator==(const CInfoBase& other) const { return m_properties == other.m_properties; }
    bool operator!=(const CInfoBase& other) const { return !(*this == other); }

protected:
    CInfoBase() = default;

private:
    std::map<gcstring, gcstring> m_properties;
};

class CDeviceInfo : public CInfoBase
{
public:
    CDeviceInfo() = default;
    CDeviceInfo(const CDeviceInfo&) = default;
    CDeviceInfo& operator=(const CDeviceInfo&) = default;
    ~CDeviceInfo() = default;

    gcstring GetSerialNumber() const { return GetPropertyValue("SerialNumber"); }
    CDeviceInfo& SetSerialNumber(const gcstring& v) { SetPropertyValue("SerialNumber", v); return *this; }
    gcstring GetUserDefinedName() const { return GetPropertyValue("UserDefinedName"); }
    CDeviceInfo& SetUserDefinedName(const gcstring& v) { SetPropertyValue("UserDefinedName", v); return *this; }
    bool IsUserDefinedNameAvailable() const { return IsPropertyAvailable("UserDefinedName"); }
    gcstring GetModelName() const { return GetPropertyValue("ModelName"); }
    gcstring GetDeviceVersion() const { return GetPropertyValue("DeviceVersion"); }
    gcstring GetDeviceFactory() const { return GetPropertyValue("DeviceFactory"); }
    gcstring GetManufacturerInfo() const { return GetPropertyValue("ManufacturerInfo"); }
    gcstring GetIpAddress() const { return GetPropertyValue("IpAddress"); }
    CDeviceInfo& SetDeviceClass(const gcstring& v) { SetPropertyValue("DeviceClass", v); return *this; }
};

class CInterfaceInfo : public CInfoBase
{
public:
    CInterfaceInfo() = default;
    CInterfaceInfo(const CInterfaceInfo&) = default;
    CInterfaceInfo& operator=(const CInterfaceInfo&) = default;
    ~CInterfaceInfo() = default;

    gcstring GetInterfaceID() const { return GetPropertyValue("InterfaceID"); }
};

class CTlInfo : public CInfoBase
{
public:
    CTlInfo() = default;
    CTlInfo(const CTlInfo&) = default;
    CTlInfo& operator=(const CTlInfo&) = default;
    ~CTlInfo() = default;
};

// The SDK's vector type.
template <typename T>
class TList : public std::vector<T>
{
public:
    using std::vector<T>::vector;
};

using DeviceInfoList = TList<CDeviceInfo>;
using InterfaceInfoList = TList<CInterfaceInfo>;
using TlInfoList = TList<CTlInfo>;

// Short names used by the rest of the SDK's headers.
using DeviceInfoList_t = DeviceInfoList;
using InterfaceInfoList_t = InterfaceInfoList;
using TlInfoList_t = TlInfoList;

} // namespace Tavix
