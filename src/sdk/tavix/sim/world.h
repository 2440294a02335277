#pragma once

#include <tavix/sim/reapedthreads.h>
#include <tavix/sim/scenario.h>
#include <tavix/sim/simcontrol.h>
#include <tavix/sim/timeline.h>

#include <array>
#include <chrono>
#include <atomic>
#include <condition_variable>
#include <functional>
#include <initializer_list>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

namespace TavixSim {

class CSimDevice;

// What a device does with an action command: its keys, and whether its clock is synchronised
// for scheduled ones.
struct ActionSettings
{
    bool supported = false; // the device has "ActionDeviceKey"
    int64_t deviceKey = 0;
    int64_t groupKey = 0;
    int64_t groupMask = 0;
    bool clockSynchronised = false;
};

// An action command as it goes out on a layer's network.
struct ActionCommand
{
    uint32_t deviceKey = 0;
    uint32_t groupKey = 0;
    uint32_t groupMask = 0;
    bool scheduled = false;
    uint64_t actionTimeNs = 0; // on the device clock
    std::string broadcastAddress;
};

struct ActionAnswer
{
    std::string deviceAddress;
    int32_t status = 0;
};

// The simulated camera world behind the SDK: the scenario, the state of each device, the
// injected faults, the clock of WaitObject::Sleep and the counters. One per process.
class CWorld
{
public:
    static CWorld& instance();

    // Scenario
    bool loadScenario(const QByteArray& json, const QString& source, QString* error);
    bool loadScenarioFile(const QString& path, QString* error);
    void loadDefaultScenario();
    Scenario scenario() const;

    std::vector<Tavix::CTlInfo> layerInfos() const;
    bool layerInfo(const std::string& fullName, Tavix::CTlInfo& info, bool& gige) const;
    std::vector<InterfaceDesc> interfacesOf(const std::string& layerFullName) const;
    bool findInterface(const std::string& interfaceId, InterfaceDesc& found) const;
    // The first device, in scenario order, that matches and is plugged in.
    bool firstPresentDevice(const std::function<bool(const Tavix::CDeviceInfo&)>& match, DeviceDesc& found,
                            std::string& layerFullName) const;
    // Devices of a layer that are plugged in and not lost; allSubnets adds the unreachable ones.
    std::vector<Tavix::CDeviceInfo> listDevices(const std::string& layerFullName, bool allSubnets) const;
    bool announce(const std::string& layerFullName, const std::string& ipAddress, Tavix::CDeviceInfo* info);
    bool isPresent(const std::string& deviceFullName) const;
    std::shared_ptr<const NodeMapDescription> modelFeatures(const std::string& model);
    void clearModelCache();

    // Device state
    void setPlugged(const std::string& deviceFullName, bool plugged);
    void loseDevice(const std::string& deviceFullName);
    void registerDevice(CSimDevice* device);
    void unregisterDevice(CSimDevice* device);
    void waitForRemovalThreads();

    // Firmware update and reboot
    void resetDevice(const std::string& deviceFullName, const std::string& newFirmwareVersion);
    void setRebootTime(const std::string& deviceFullName, int64_t milliseconds);
    void setRebootAddress(const std::string& deviceFullName, const std::string& ipAddress);
    std::string firmwareVersion(const std::string& deviceFullName) const;
    std::string currentFullName(const std::string& serialNumber) const;
    // The live device whose camera node map this is; null when there is none.
    CSimDevice* liveDeviceOf(const GenApi::INodeMap* nodeMap);
    uint64_t simulatedTimeMs() const { return m_simulatedMs.load(std::memory_order_acquire); }

    // Faults
    void injectFault(const Fault& fault);
    void clearFaults();
    void checkFault(std::initializer_list<std::string> targets, const std::string& operation);
    // The first of the scenario's lasting device faults that matches.
    template <typename Matches>
    const Fault* scenarioFault(const Matches& matches) const;
    void passGate(const std::string& operation);

    // Gates
    void pause(const std::string& operation);
    void resume(const std::string& operation);
    bool waitUntilPaused(const std::string& operation, int timeoutMs);

    // Clock
    void sleep(unsigned long milliseconds);
    void setSleepScale(double scale);
    void freezeSleep(bool frozen);
    std::vector<unsigned long> recordedSleeps() const;

    // The clock that the devices share, as if synchronised by PTP: nanoseconds since the
    // world began. Scheduled action commands fire by it.
    static uint64_t deviceClockNs();
    static std::chrono::steady_clock::time_point deviceClockTime(uint64_t ns);

    // Static defect pixels: a device's user list lasts for the rest of the run of a scenario.
    std::string userDefectPixels(const std::string& deviceFullName, const std::string& initial) const;
    void setUserDefectPixels(const std::string& deviceFullName, const std::string& text);

    // User sets: the values a device saved into a set last for the rest of the run of a
    // scenario, in the order they were saved. A set never saved is empty.
    using FeatureValues = std::vector<std::pair<std::string, std::string>>;
    FeatureValues userSet(const std::string& deviceFullName, const std::string& set) const;
    void setUserSet(const std::string& deviceFullName, const std::string& set, FeatureValues values);

    // Sends an action command to the present devices of the layer in the addressed subnet;
    // returns the answers of those that answer, in scenario order. Throws
    // InvalidArgumentException for an address that is no IPv4 address.
    std::vector<ActionAnswer> issueAction(const std::string& layerFullName, const ActionCommand& command);

    // Counters
    void objectCreated(LiveObject kind);
    void objectDestroyed(LiveObject kind);
    int liveObjects(LiveObject kind) const;
    void countCall(const std::string& what, int times = 1);
    int callCount(const std::string& what) const;
    void recordGrabStart(const std::string& deviceFullName, size_t bufferCount, size_t queuedBufferCount, size_t payloadSize);
    GrabRecord lastGrab(const std::string& deviceFullName) const;

    void reset();

private:
    // The device's objects stop answering; their removal is told on a thread of the SDK's own.
    void markLost(const std::string& deviceFullName);
    CWorld();
    ~CWorld();
    void ensureLoaded() const;
    // Under m_mutex; null when there is none.
    const LayerDesc* layerNamed(const std::string& fullName) const;
    const DeviceDesc* deviceNamed(const std::string& fullName) const;
    DeviceDesc* deviceNamed(const std::string& fullName);
    bool isRebooting(const std::string& deviceFullName) const;

    // A device that hears an action command, with its action settings as the scenario starts them.
    struct ActionTarget
    {
        std::string name;
        std::string address;
        ActionSettings settings;
    };
    std::vector<ActionTarget> actionTargets(const std::string& layerFullName, const std::string& broadcastAddress);

    struct DeviceState
    {
        bool plugged = true;
        bool announced = false;
        // Firmware update: the reset device is back when the simulator's clock reaches
        // rebootUntil; rebootTime overrides the scenario's, returnAddress changes the address.
        bool rebooting = false;
        uint64_t rebootUntil = 0;
        bool rebootTimeSet = false;
        int64_t rebootTime = 0;
        std::string returnAddress;
    };

    mutable std::recursive_mutex m_mutex;
    mutable bool m_loaded = false;
    mutable Scenario m_scenario;
    mutable std::map<std::string, DeviceState> m_deviceStates;
    std::map<std::string, std::shared_ptr<const NodeMapDescription>> m_modelCache;
    std::vector<Fault> m_faults;
    std::map<std::string, int> m_calls;
    std::map<std::string, GrabRecord> m_grabs;
    std::map<std::string, std::string> m_userDefectPixels;
    std::map<std::pair<std::string, std::string>, FeatureValues> m_userSets;

    std::mutex m_devicesMutex;
    std::multimap<std::string, CSimDevice*> m_liveDevices;
    CReapedThreads m_removalThreads;

    std::mutex m_gateMutex;
    std::condition_variable m_gateChanged;
    std::map<std::string, int> m_pausedOperations; // operation to the number of threads held there

    mutable std::mutex m_sleepMutex;
    std::condition_variable m_thawed;
    double m_sleepScale = 1.0;
    bool m_sleepFrozen = false;
    std::vector<unsigned long> m_sleeps;
    std::atomic<uint64_t> m_simulatedMs{0};

    std::array<std::atomic<int>, LiveObjectKinds> m_live{};

    // Timeline
    void applyTimelineEvent(const TimelineEvent& event);
    double sleepScale() const;
    mutable CTimeline m_timeline{[this](const TimelineEvent& event) { applyTimelineEvent(event); },
                                 [this] { return sleepScale(); }};
};

} // namespace TavixSim
