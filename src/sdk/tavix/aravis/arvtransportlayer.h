#pragma once

#include <tavix/aravis/arvbackend.h>
#include <tavix/aravis/arvnodemap.h>

#include <tavix/transportlayer.h>

namespace TavixAravis {

// An Aravis interface as the SDK's interface object; Aravis gives it no features of its own.
class CArvInterface : public Tavix::IInterface
{
public:
    explicit CArvInterface(const Tavix::CInterfaceInfo& info);
    ~CArvInterface() override;

    const Tavix::CInterfaceInfo& GetInterfaceInfo() const override { return m_info; }
    void Open() override { m_open = true; }
    void Close() override { m_open = false; }
    bool IsOpen() const override { return m_open; }
    GenApi::INodeMap* GetNodeMap() override { return m_open ? &m_nodeMap : nullptr; }

private:
    Tavix::CInterfaceInfo m_info;
    CArvNodeMap m_nodeMap;
    bool m_open = false;
};

// The transport layer of one Aravis interface. Each listing asks Aravis again.
class CArvTransportLayer : public virtual Tavix::ITransportLayer
{
public:
    explicit CArvTransportLayer(const LayerKind& kind);
    ~CArvTransportLayer() override;

    const Tavix::CTlInfo& GetTlInfo() const override { return m_info; }
    int EnumerateInterfaces(Tavix::InterfaceInfoList& list, bool addToList) override;
    int EnumerateDevices(Tavix::DeviceInfoList& list, bool addToList) override;
    Tavix::IInterface* CreateInterface(const Tavix::CInterfaceInfo& info) override;
    void DestroyInterface(Tavix::IInterface* pInterface) override;
    Tavix::CDeviceInfo CreateDeviceInfo() override;
    Tavix::ITavixDevice* CreateDevice(const Tavix::CDeviceInfo& info) override;
    void DestroyDevice(Tavix::ITavixDevice* device) override;

protected:
    Tavix::CInterfaceInfo interfaceInfo() const;

    const LayerKind& m_kind;
    Tavix::CTlInfo m_info;
};

class CArvGigETransportLayer : public CArvTransportLayer, public Tavix::IGigETransportLayer
{
public:
    explicit CArvGigETransportLayer(const LayerKind& kind);

    // Aravis's discovery broadcasts on every network interface, so all subnets are its listing.
    int EnumerateAllDevices(Tavix::DeviceInfoList& list, bool addToList) override;
    bool AnnounceRemoteDevice(const GenICam::gcstring& ipAddress, Tavix::CDeviceInfo* pInfo) override;
    // Aravis 0.8 has no call that sends action commands: both throw, never pretend to succeed.
    bool IssueActionCommand(uint32_t deviceKey, uint32_t groupKey, uint32_t groupMask,
                            const GenICam::gcstring& broadcastAddress, uint32_t timeoutMs, uint32_t* pNumResults,
                            Tavix::ActionCommandResult* results) override;
    bool IssueScheduledActionCommand(uint32_t deviceKey, uint32_t groupKey, uint32_t groupMask, uint64_t actionTimeNs,
                                     const GenICam::gcstring& broadcastAddress, uint32_t timeoutMs, uint32_t* pNumResults,
                                     Tavix::ActionCommandResult* results) override;
};

} // namespace TavixAravis
