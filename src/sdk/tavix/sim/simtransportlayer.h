#pragma once

#include <tavix/sim/nodemap.h>
#include <tavix/transportlayer.h>

#include <atomic>
#include <memory>
#include <string>

namespace TavixSim {

struct ActionCommand;

class CSimInterface : public Tavix::IInterface
{
public:
    explicit CSimInterface(const Tavix::CInterfaceInfo& info);
    ~CSimInterface() override;

    const Tavix::CInterfaceInfo& GetInterfaceInfo() const override { return m_info; }
    void Open() override;
    void Close() override;
    bool IsOpen() const override { return m_open; }
    GenApi::INodeMap* GetNodeMap() override { return m_open ? m_pNodeMap.get() : nullptr; }

private:
    Tavix::CInterfaceInfo m_info;
    std::unique_ptr<CNodeMap> m_pNodeMap;
    bool m_open = false;
};

// A transport layer of the scenario. Its content is read from the world at each call, so a
// plugged or lost device shows in the next listing.
class CSimTransportLayer : public virtual Tavix::ITransportLayer
{
public:
    explicit CSimTransportLayer(const Tavix::CTlInfo& info);
    ~CSimTransportLayer() override;

    const Tavix::CTlInfo& GetTlInfo() const override { return m_info; }
    int EnumerateInterfaces(Tavix::InterfaceInfoList& list, bool addToList) override;
    int EnumerateDevices(Tavix::DeviceInfoList& list, bool addToList) override;
    Tavix::IInterface* CreateInterface(const Tavix::CInterfaceInfo& info) override;
    void DestroyInterface(Tavix::IInterface* pInterface) override;
    Tavix::CDeviceInfo CreateDeviceInfo() override;
    Tavix::ITavixDevice* CreateDevice(const Tavix::CDeviceInfo& info) override;
    void DestroyDevice(Tavix::ITavixDevice* device) override;


protected:
    int listDevices(Tavix::DeviceInfoList& list, bool addToList, bool allSubnets, const char* operation);
    std::string fullName() const { return m_info.GetFullName().toStdString(); }

    Tavix::CTlInfo m_info;
};

class CSimGigETransportLayer : public CSimTransportLayer, public Tavix::IGigETransportLayer
{
public:
    explicit CSimGigETransportLayer(const Tavix::CTlInfo& info);

    int EnumerateAllDevices(Tavix::DeviceInfoList& list, bool addToList) override;
    bool AnnounceRemoteDevice(const GenICam::gcstring& ipAddress, Tavix::CDeviceInfo* pInfo) override;
    bool IssueActionCommand(uint32_t deviceKey, uint32_t groupKey, uint32_t groupMask, const GenICam::gcstring& broadcastAddress,
                            uint32_t timeoutMs, uint32_t* pNumResults, Tavix::ActionCommandResult* results) override;
    bool IssueScheduledActionCommand(uint32_t deviceKey, uint32_t groupKey, uint32_t groupMask, uint64_t actionTimeNs,
                                     const GenICam::gcstring& broadcastAddress, uint32_t timeoutMs, uint32_t* pNumResults,
                                     Tavix::ActionCommandResult* results) override;

private:
    bool issue(const ActionCommand& command, const char* operation, uint32_t timeoutMs, uint32_t* pNumResults,
               Tavix::ActionCommandResult* results);
};

} // namespace TavixSim
