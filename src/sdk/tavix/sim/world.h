#pragma once

#include <tavix/sim/scenario.h>
#include <tavix/sim/simcontrol.h>
#include <tavix/sim/timeline.h>

#include <array>
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

    // Faults
    void injectFault(const Fault& fault);
    void clearFaults();
    void checkFault(std::initializer_list<std::string> targets, const std::string& operation);
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

    // Counters
    void objectCreated(LiveObject kind);
    void objectDestroyed(LiveObject kind);
    int liveObjects(LiveObject kind) const;
    void countCall(const std::string& what);
    int callCount(const std::string& what) const;
    void recordGrabStart(const std::string& deviceFullName, size_t bufferCount, size_t queuedBufferCount, size_t payloadSize);
    GrabRecord lastGrab(const std::string& deviceFullName) const;

    void reset();

private:
    CWorld();
    ~CWorld();
    void ensureLoaded() const;
    // Under m_mutex; null when there is none.
    const LayerDesc* layerNamed(const std::string& fullName) const;
    const DeviceDesc* deviceNamed(const std::string& fullName) const;

    struct DeviceState
    {
        bool plugged = true;
        bool announced = false;
    };

    mutable std::recursive_mutex m_mutex;
    mutable bool m_loaded = false;
    mutable Scenario m_scenario;
    mutable std::map<std::string, DeviceState> m_deviceStates;
    std::map<std::string, std::shared_ptr<const NodeMapDescription>> m_modelCache;
    std::vector<Fault> m_faults;
    std::map<std::string, int> m_calls;
    std::map<std::string, GrabRecord> m_grabs;

    std::mutex m_devicesMutex;
    std::multimap<std::string, CSimDevice*> m_liveDevices;
    std::vector<std::thread> m_removalThreads;

    std::mutex m_gateMutex;
    std::condition_variable m_gateChanged;
    std::map<std::string, int> m_pausedOperations; // operation to the number of threads held there

    mutable std::mutex m_sleepMutex;
    std::condition_variable m_thawed;
    double m_sleepScale = 1.0;
    bool m_sleepFrozen = false;
    std::vector<unsigned long> m_sleeps;

    std::array<std::atomic<int>, LiveObjectKinds> m_live{};

    // Timeline
    void applyTimelineEvent(const TimelineEvent& event);
    double sleepScale() const;
    mutable CTimeline m_timeline{[this](const TimelineEvent& event) { applyTimelineEvent(event); },
                                 [this] { return sleepScale(); }};
};

} // namespace TavixSim
