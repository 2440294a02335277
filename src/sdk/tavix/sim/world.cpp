#include <tavix/sim/simdevice.h>
#include <tavix/sim/world.h>

#include <QFile>
#include <QtGlobal>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <stdexcept>

namespace TavixSim {

void resetRuntimeCounters(); // runtime.cpp

CWorld& CWorld::instance()
{
    static CWorld world;
    return world;
}

CWorld::CWorld() = default;

CWorld::~CWorld()
{
    m_timeline.stop(); // a loss on the timeline starts a removal thread
    waitForRemovalThreads();
}

void CWorld::ensureLoaded() const
{
    if (m_loaded)
        return;
    m_loaded = true;
    const QString path = qEnvironmentVariable("TAVIX_SIM_SCENARIO");
    QString error;
    bool ok = false;
    if (!path.isEmpty()) {
        QFile file(path);
        if (!file.open(QIODevice::ReadOnly))
            error = QStringLiteral("%1: cannot be read: %2").arg(path, file.errorString());
        else
            ok = parseScenario(file.readAll(), path, m_scenario, error);
        if (!ok) {
            qCritical("Tavix simulator: the scenario of TAVIX_SIM_SCENARIO was not loaded, the world is empty. %s",
                      qPrintable(error));
            m_scenario = Scenario();
        }
        m_timeline.start(m_scenario.timeline);
        return;
    }
    QFile resource(QStringLiteral(":/tavixsim/default-scenario.json"));
    if (!resource.open(QIODevice::ReadOnly) || !parseScenario(resource.readAll(), resource.fileName(), m_scenario, error))
        qFatal("Tavix simulator: the built-in scenario is broken: %s", qPrintable(error));
    m_timeline.start(m_scenario.timeline);
}

bool CWorld::loadScenario(const QByteArray& json, const QString& source, QString* error)
{
    Scenario parsed;
    QString message;
    if (!parseScenario(json, source, parsed, message)) {
        if (error)
            *error = message;
        return false;
    }
    m_timeline.cancel();
    std::lock_guard<std::recursive_mutex> lock(m_mutex);
    m_loaded = true;
    m_scenario = std::move(parsed);
    m_deviceStates.clear();
    m_modelCache.clear();
    m_userDefectPixels.clear();
    m_userSets.clear();
    m_timeline.start(m_scenario.timeline);
    return true;
}

bool CWorld::loadScenarioFile(const QString& path, QString* error)
{
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly)) {
        if (error)
            *error = QStringLiteral("%1: cannot be read: %2").arg(path, file.errorString());
        return false;
    }
    return loadScenario(file.readAll(), path, error);
}

void CWorld::loadDefaultScenario()
{
    m_timeline.cancel();
    std::lock_guard<std::recursive_mutex> lock(m_mutex);
    m_loaded = false;
    m_scenario = Scenario();
    m_deviceStates.clear();
    m_modelCache.clear();
    m_userDefectPixels.clear();
    m_userSets.clear();
    ensureLoaded();
}

Scenario CWorld::scenario() const
{
    std::lock_guard<std::recursive_mutex> lock(m_mutex);
    ensureLoaded();
    return m_scenario;
}

// The readers below copy only what their caller needs: a layer's description holds every
// device with its features, and SDK calls ask for it often.
const LayerDesc* CWorld::layerNamed(const std::string& fullName) const
{
    ensureLoaded();
    for (const auto& layer : m_scenario.layers) {
        if (layer.info.GetFullName() == fullName.c_str())
            return &layer;
    }
    return nullptr;
}

const DeviceDesc* CWorld::deviceNamed(const std::string& fullName) const
{
    ensureLoaded();
    for (const auto& layer : m_scenario.layers) {
        for (const auto& device : layer.devices) {
            if (device.info.GetFullName() == fullName.c_str())
                return &device;
        }
    }
    return nullptr;
}

DeviceDesc* CWorld::deviceNamed(const std::string& fullName)
{
    return const_cast<DeviceDesc*>(static_cast<const CWorld*>(this)->deviceNamed(fullName));
}

bool CWorld::isRebooting(const std::string& deviceFullName) const
{
    const auto state = m_deviceStates.find(deviceFullName);
    return state != m_deviceStates.end() && state->second.rebooting && simulatedTimeMs() < state->second.rebootUntil;
}

std::vector<Tavix::CTlInfo> CWorld::layerInfos() const
{
    std::lock_guard<std::recursive_mutex> lock(m_mutex);
    ensureLoaded();
    std::vector<Tavix::CTlInfo> infos;
    for (const auto& layer : m_scenario.layers)
        infos.push_back(layer.info);
    return infos;
}

bool CWorld::layerInfo(const std::string& fullName, Tavix::CTlInfo& info, bool& gige) const
{
    std::lock_guard<std::recursive_mutex> lock(m_mutex);
    const LayerDesc* layer = layerNamed(fullName);
    if (!layer)
        return false;
    info = layer->info;
    gige = layer->gige;
    return true;
}

std::vector<InterfaceDesc> CWorld::interfacesOf(const std::string& layerFullName) const
{
    std::lock_guard<std::recursive_mutex> lock(m_mutex);
    const LayerDesc* layer = layerNamed(layerFullName);
    return layer ? layer->interfaces : std::vector<InterfaceDesc>();
}

bool CWorld::findInterface(const std::string& interfaceId, InterfaceDesc& found) const
{
    std::lock_guard<std::recursive_mutex> lock(m_mutex);
    ensureLoaded();
    for (const auto& layer : m_scenario.layers) {
        for (const auto& candidate : layer.interfaces) {
            if (candidate.info.GetInterfaceID() == interfaceId.c_str()) {
                found = candidate;
                return true;
            }
        }
    }
    return false;
}

bool CWorld::firstPresentDevice(const std::function<bool(const Tavix::CDeviceInfo&)>& match, DeviceDesc& found,
                                std::string& layerFullName) const
{
    std::lock_guard<std::recursive_mutex> lock(m_mutex);
    ensureLoaded();
    for (const auto& layer : m_scenario.layers) {
        for (const auto& device : layer.devices) {
            if (match(device.info) && isPresent(device.info.GetFullName().toStdString())) {
                found = device;
                layerFullName = layer.info.GetFullName().toStdString();
                return true;
            }
        }
    }
    return false;
}

std::vector<Tavix::CDeviceInfo> CWorld::listDevices(const std::string& layerFullName, bool allSubnets) const
{
    std::lock_guard<std::recursive_mutex> lock(m_mutex);
    ensureLoaded();
    std::vector<Tavix::CDeviceInfo> devices;
    for (const auto& layer : m_scenario.layers) {
        if (layer.info.GetFullName() != layerFullName.c_str())
            continue;
        for (const auto& device : layer.devices) {
            const std::string name = device.info.GetFullName().toStdString();
            const auto state = m_deviceStates.find(name);
            const bool plugged = state == m_deviceStates.end() ? device.plugged : state->second.plugged;
            const bool announced = state != m_deviceStates.end() && state->second.announced;
            if (plugged && !isRebooting(name) && (device.reachable || announced || allSubnets))
                devices.push_back(device.info);
        }
    }
    return devices;
}

bool CWorld::announce(const std::string& layerFullName, const std::string& ipAddress, Tavix::CDeviceInfo* info)
{
    std::lock_guard<std::recursive_mutex> lock(m_mutex);
    ensureLoaded();
    for (const auto& layer : m_scenario.layers) {
        if (layer.info.GetFullName() != layerFullName.c_str())
            continue;
        for (const auto& device : layer.devices) {
            if (device.info.GetIpAddress() != ipAddress.c_str() || !isPresent(device.info.GetFullName().toStdString()))
                continue;
            m_deviceStates[device.info.GetFullName().toStdString()].announced = true;
            if (info)
                *info = device.info;
            return true;
        }
    }
    return false;
}

bool CWorld::isPresent(const std::string& deviceFullName) const
{
    std::lock_guard<std::recursive_mutex> lock(m_mutex);
    if (isRebooting(deviceFullName))
        return false;
    const auto state = m_deviceStates.find(deviceFullName);
    if (state != m_deviceStates.end())
        return state->second.plugged;
    const DeviceDesc* device = deviceNamed(deviceFullName);
    return device && device->plugged;
}

std::shared_ptr<const NodeMapDescription> CWorld::modelFeatures(const std::string& model)
{
    std::lock_guard<std::recursive_mutex> lock(m_mutex);
    ensureLoaded();
    const auto cached = m_modelCache.find(model);
    if (cached != m_modelCache.end())
        return cached->second;
    const auto source = m_scenario.models.find(model);
    if (source == m_scenario.models.end())
        return std::make_shared<const NodeMapDescription>();
    auto features = std::make_shared<NodeMapDescription>();
    QString error;
    parseFeatures(source->second, QStringLiteral("$.models.") + QString::fromStdString(model), *features, error);
    ++m_calls["ParseModel:" + model];
    m_modelCache[model] = features;
    return features;
}

void CWorld::clearModelCache()
{
    std::lock_guard<std::recursive_mutex> lock(m_mutex);
    m_modelCache.clear();
}

void CWorld::setPlugged(const std::string& deviceFullName, bool plugged)
{
    std::lock_guard<std::recursive_mutex> lock(m_mutex);
    ensureLoaded();
    m_deviceStates[deviceFullName].plugged = plugged;
}

void CWorld::loseDevice(const std::string& deviceFullName)
{
    setPlugged(deviceFullName, false);
    markLost(deviceFullName);
}

void CWorld::registerDevice(CSimDevice* device)
{
    std::lock_guard<std::mutex> lock(m_devicesMutex);
    m_liveDevices.emplace(device->GetDeviceInfo().GetFullName().toStdString(), device);
}

void CWorld::unregisterDevice(CSimDevice* device)
{
    std::lock_guard<std::mutex> lock(m_devicesMutex);
    for (auto it = m_liveDevices.begin(); it != m_liveDevices.end(); ++it) {
        if (it->second == device) {
            m_liveDevices.erase(it);
            return;
        }
    }
}

void CWorld::waitForRemovalThreads()
{
    m_removalThreads.joinAll();
}

namespace {

void setFirmwareVersionFeature(DeviceDesc& device, const std::string& version)
{
    for (auto& feature : device.features) {
        if (feature.name == "DeviceFirmwareVersion") {
            feature.stringValue = version;
            return;
        }
    }
    FeatureDesc feature;
    feature.name = "DeviceFirmwareVersion";
    feature.type = GenApi::intfIString;
    feature.access = GenApi::RO;
    feature.stringValue = version;
    device.features.push_back(feature);
}

// Gives the device a new address; its full name, which holds the address, follows. Returns the
// new full name.
std::string readdress(DeviceDesc& device, const std::string& ipAddress)
{
    const std::string oldAddress = device.info.GetIpAddress().toStdString();
    std::string fullName = device.info.GetFullName().toStdString();
    const size_t at = oldAddress.empty() ? std::string::npos : fullName.find(oldAddress);
    if (at != std::string::npos)
        fullName.replace(at, oldAddress.size(), ipAddress);
    else
        fullName += "#" + ipAddress;
    device.info.SetPropertyValue("IpAddress", ipAddress.c_str());
    device.info.SetFullName(fullName.c_str());
    return fullName;
}

} // namespace

void CWorld::resetDevice(const std::string& deviceFullName, const std::string& newFirmwareVersion)
{
    {
        std::lock_guard<std::recursive_mutex> lock(m_mutex);
        DeviceDesc* device = deviceNamed(deviceFullName);
        if (!device)
            return;
        DeviceState state = m_deviceStates[deviceFullName];
        if (!newFirmwareVersion.empty())
            setFirmwareVersionFeature(*device, newFirmwareVersion);
        const int64_t rebootTime = state.rebootTimeSet ? state.rebootTime : device->rebootTime;
        std::string fullName = deviceFullName;
        if (!state.returnAddress.empty()) {
            fullName = readdress(*device, state.returnAddress);
            state.returnAddress.clear();
            m_deviceStates.erase(deviceFullName);
        }
        state.rebooting = true;
        state.rebootUntil = rebootTime < 0 ? UINT64_MAX : simulatedTimeMs() + uint64_t(rebootTime);
        m_deviceStates[fullName] = state;
        ++m_calls["DeviceReset:" + deviceFullName];
    }
    // The device objects of before the reset talk to nothing any more, and the SDK finds that out
    // as it finds any other loss.
    markLost(deviceFullName);
}

void CWorld::markLost(const std::string& deviceFullName)
{
    std::lock_guard<std::mutex> lock(m_devicesMutex);
    const auto range = m_liveDevices.equal_range(deviceFullName);
    for (auto it = range.first; it != range.second; ++it)
        it->second->markRemoved();
    // The SDK finds the loss on a thread of its own. A device that is destroyed meanwhile
    // unregisters under the same mutex, which the thread holds while it notifies.
    m_removalThreads.start([this, deviceFullName] {
        std::lock_guard<std::mutex> threadLock(m_devicesMutex);
        const auto live = m_liveDevices.equal_range(deviceFullName);
        for (auto it = live.first; it != live.second; ++it)
            it->second->notifyRemoved();
    });
}

void CWorld::setRebootTime(const std::string& deviceFullName, int64_t milliseconds)
{
    std::lock_guard<std::recursive_mutex> lock(m_mutex);
    ensureLoaded();
    DeviceState& state = m_deviceStates[deviceFullName];
    state.rebootTimeSet = true;
    state.rebootTime = milliseconds;
}

void CWorld::setRebootAddress(const std::string& deviceFullName, const std::string& ipAddress)
{
    std::lock_guard<std::recursive_mutex> lock(m_mutex);
    ensureLoaded();
    m_deviceStates[deviceFullName].returnAddress = ipAddress;
}

std::string CWorld::firmwareVersion(const std::string& deviceFullName) const
{
    std::shared_ptr<const NodeMapDescription> model;
    {
        std::lock_guard<std::recursive_mutex> lock(m_mutex);
        const DeviceDesc* device = deviceNamed(deviceFullName);
        if (!device)
            return std::string();
        for (const auto& feature : device->features) {
            if (feature.name == "DeviceFirmwareVersion")
                return feature.stringValue;
        }
        if (device->model.empty())
            return std::string();
        model = const_cast<CWorld*>(this)->modelFeatures(device->model);
    }
    for (const auto& feature : *model) {
        if (feature.name == "DeviceFirmwareVersion")
            return feature.stringValue;
    }
    return std::string();
}

std::string CWorld::currentFullName(const std::string& serialNumber) const
{
    std::lock_guard<std::recursive_mutex> lock(m_mutex);
    ensureLoaded();
    for (const auto& layer : m_scenario.layers) {
        for (const auto& device : layer.devices) {
            if (device.info.GetSerialNumber() == serialNumber.c_str())
                return device.info.GetFullName().toStdString();
        }
    }
    return std::string();
}

CSimDevice* CWorld::liveDeviceOf(const GenApi::INodeMap* nodeMap)
{
    std::lock_guard<std::mutex> lock(m_devicesMutex);
    for (const auto& live : m_liveDevices) {
        if (&live.second->cameraNodeMap() == nodeMap)
            return live.second;
    }
    return nullptr;
}

void CWorld::injectFault(const Fault& fault)
{
    std::lock_guard<std::recursive_mutex> lock(m_mutex);
    m_faults.push_back(fault);
}

void CWorld::clearFaults()
{
    std::lock_guard<std::recursive_mutex> lock(m_mutex);
    m_faults.clear();
}

void CWorld::pause(const std::string& operation)
{
    std::lock_guard<std::mutex> lock(m_gateMutex);
    m_pausedOperations.emplace(operation, 0);
}

void CWorld::resume(const std::string& operation)
{
    std::lock_guard<std::mutex> lock(m_gateMutex);
    m_pausedOperations.erase(operation);
    m_gateChanged.notify_all();
}

bool CWorld::waitUntilPaused(const std::string& operation, int timeoutMs)
{
    std::unique_lock<std::mutex> lock(m_gateMutex);
    return m_gateChanged.wait_for(lock, std::chrono::milliseconds(timeoutMs), [&] {
        const auto it = m_pausedOperations.find(operation);
        return it != m_pausedOperations.end() && it->second > 0;
    });
}

void CWorld::passGate(const std::string& operation)
{
    std::unique_lock<std::mutex> lock(m_gateMutex);
    auto it = m_pausedOperations.find(operation);
    if (it == m_pausedOperations.end())
        return;
    ++it->second;
    m_gateChanged.notify_all();
    m_gateChanged.wait(lock, [&] { return m_pausedOperations.count(operation) == 0; });
}

void CWorld::checkFault(std::initializer_list<std::string> targets, const std::string& operation)
{
    passGate(operation);
    Fault hit;
    {
        std::lock_guard<std::recursive_mutex> lock(m_mutex);
        auto matches = [&](const Fault& fault) {
            if (fault.operation != operation || fault.count == 0)
                return false;
            if (fault.target == "*")
                return true;
            for (const auto& target : targets) {
                if (fault.target == target)
                    return true;
            }
            return false;
        };
        auto it = std::find_if(m_faults.begin(), m_faults.end(), matches);
        if (it != m_faults.end()) {
            hit = *it;
            if (it->count > 0 && --it->count == 0)
                m_faults.erase(it);
        } else if (const Fault* lasting = scenarioFault(matches)) {
            hit = *lasting;
        } else {
            return;
        }
    }
    // A failure from below the SDK, outside its exception family.
    if (hit.exceptionType == "std::runtime_error")
        throw std::runtime_error(hit.description);
    GenICam::throwException(hit.exceptionType, hit.description, __FILE__, __LINE__);
}

template <typename Matches>
const Fault* CWorld::scenarioFault(const Matches& matches) const
{
    for (const auto& layer : m_scenario.layers) {
        for (const auto& device : layer.devices) {
            const auto it = std::find_if(device.faults.begin(), device.faults.end(), matches);
            if (it != device.faults.end())
                return &*it;
        }
    }
    return nullptr;
}

void CWorld::sleep(unsigned long milliseconds)
{
    // The simulator's clock has passed the time asked for once the wait is over, however it was scaled.
    struct AdvanceClock
    {
        std::atomic<uint64_t>& clock;
        unsigned long milliseconds;
        ~AdvanceClock() { clock.fetch_add(milliseconds, std::memory_order_acq_rel); }
    } advance{m_simulatedMs, milliseconds};
    std::unique_lock<std::mutex> lock(m_sleepMutex);
    m_sleeps.push_back(milliseconds);
    m_thawed.wait(lock, [this] { return !m_sleepFrozen; });
    const auto scaled = std::chrono::duration<double, std::milli>(double(milliseconds) * m_sleepScale);
    if (scaled.count() <= 0)
        return;
    // A freeze while waiting holds the thread until it thaws; the scaled time still counts.
    m_thawed.wait_for(lock, scaled, [this] { return m_sleepFrozen; });
    m_thawed.wait(lock, [this] { return !m_sleepFrozen; });
}

void CWorld::setSleepScale(double scale)
{
    std::lock_guard<std::mutex> lock(m_sleepMutex);
    m_sleepScale = scale < 0 ? 0 : scale;
}

void CWorld::freezeSleep(bool frozen)
{
    std::lock_guard<std::mutex> lock(m_sleepMutex);
    m_sleepFrozen = frozen;
    m_thawed.notify_all();
}

std::vector<unsigned long> CWorld::recordedSleeps() const
{
    std::lock_guard<std::mutex> lock(m_sleepMutex);
    return m_sleeps;
}

void CWorld::objectCreated(LiveObject kind)
{
    m_live[kind].fetch_add(1, std::memory_order_relaxed);
}

void CWorld::objectDestroyed(LiveObject kind)
{
    m_live[kind].fetch_sub(1, std::memory_order_relaxed);
}

int CWorld::liveObjects(LiveObject kind) const
{
    return m_live[kind].load(std::memory_order_relaxed);
}

void CWorld::countCall(const std::string& what, int times)
{
    std::lock_guard<std::recursive_mutex> lock(m_mutex);
    m_calls[what] += times;
}

int CWorld::callCount(const std::string& what) const
{
    std::lock_guard<std::recursive_mutex> lock(m_mutex);
    const auto it = m_calls.find(what);
    return it == m_calls.end() ? 0 : it->second;
}

void CWorld::recordGrabStart(const std::string& deviceFullName, size_t bufferCount, size_t queuedBufferCount, size_t payloadSize)
{
    std::lock_guard<std::recursive_mutex> lock(m_mutex);
    GrabRecord& record = m_grabs[deviceFullName];
    record.bufferCount = bufferCount;
    record.queuedBufferCount = queuedBufferCount;
    record.payloadSize = payloadSize;
    ++record.grabs;
}

GrabRecord CWorld::lastGrab(const std::string& deviceFullName) const
{
    std::lock_guard<std::recursive_mutex> lock(m_mutex);
    const auto it = m_grabs.find(deviceFullName);
    return it == m_grabs.end() ? GrabRecord() : it->second;
}

void CWorld::reset()
{
    {
        std::lock_guard<std::mutex> lock(m_gateMutex);
        m_pausedOperations.clear();
        m_gateChanged.notify_all();
    }
    waitForRemovalThreads();
    {
        std::lock_guard<std::mutex> lock(m_sleepMutex);
        m_sleepScale = 1.0;
        m_sleepFrozen = false;
        m_sleeps.clear();
        m_thawed.notify_all();
    }
    std::lock_guard<std::recursive_mutex> lock(m_mutex);
    m_faults.clear();
    m_calls.clear();
    m_grabs.clear();
    loadDefaultScenario();
    resetRuntimeCounters();
}

void CWorld::applyTimelineEvent(const TimelineEvent& event)
{
    switch (event.action) {
    case TimelineEvent::Plug:
        setPlugged(event.device, true);
        break;
    case TimelineEvent::Unplug:
        setPlugged(event.device, false);
        break;
    case TimelineEvent::Lose:
        loseDevice(event.device);
        break;
    }
}

double CWorld::sleepScale() const
{
    std::lock_guard<std::mutex> lock(m_sleepMutex);
    return m_sleepScale;
}

namespace {

const std::chrono::steady_clock::time_point& deviceClockEpoch()
{
    static const std::chrono::steady_clock::time_point epoch = std::chrono::steady_clock::now();
    return epoch;
}

bool parseIpv4(const std::string& text, uint32_t& address)
{
    unsigned a = 0, b = 0, c = 0, d = 0;
    char tail = 0;
    if (std::sscanf(text.c_str(), "%u.%u.%u.%u%c", &a, &b, &c, &d, &tail) != 4 || a > 255 || b > 255 || c > 255 || d > 255)
        return false;
    address = (a << 24) | (b << 16) | (c << 8) | d;
    return true;
}

// A directed broadcast reaches the hosts whose address agrees with it where it isn't all ones;
// 255.255.255.255 reaches the whole local network.
bool inBroadcastDomain(uint32_t broadcast, const std::string& deviceAddress)
{
    uint32_t device = 0;
    if (!parseIpv4(deviceAddress, device))
        return false;
    for (int shift = 0; shift < 32; shift += 8) {
        const uint32_t octet = (broadcast >> shift) & 0xFF;
        if (octet != 0xFF && octet != ((device >> shift) & 0xFF))
            return false;
    }
    return true;
}

} // namespace

uint64_t CWorld::deviceClockNs()
{
    return uint64_t(std::chrono::duration_cast<std::chrono::nanoseconds>(std::chrono::steady_clock::now() - deviceClockEpoch()).count());
}

std::chrono::steady_clock::time_point CWorld::deviceClockTime(uint64_t ns)
{
    return deviceClockEpoch() + std::chrono::duration_cast<std::chrono::steady_clock::duration>(std::chrono::nanoseconds(ns));
}

CWorld::FeatureValues CWorld::userSet(const std::string& deviceFullName, const std::string& set) const
{
    std::lock_guard<std::recursive_mutex> lock(m_mutex);
    const auto it = m_userSets.find({deviceFullName, set});
    return it == m_userSets.end() ? FeatureValues() : it->second;
}

void CWorld::setUserSet(const std::string& deviceFullName, const std::string& set, FeatureValues values)
{
    std::lock_guard<std::recursive_mutex> lock(m_mutex);
    m_userSets[{deviceFullName, set}] = std::move(values);
}

std::string CWorld::userDefectPixels(const std::string& deviceFullName, const std::string& initial) const
{
    std::lock_guard<std::recursive_mutex> lock(m_mutex);
    const auto it = m_userDefectPixels.find(deviceFullName);
    return it == m_userDefectPixels.end() ? initial : it->second;
}

void CWorld::setUserDefectPixels(const std::string& deviceFullName, const std::string& text)
{
    std::lock_guard<std::recursive_mutex> lock(m_mutex);
    m_userDefectPixels[deviceFullName] = text;
}

std::vector<CWorld::ActionTarget> CWorld::actionTargets(const std::string& layerFullName, const std::string& broadcastAddress)
{
    uint32_t broadcast = 0;
    if (!parseIpv4(broadcastAddress, broadcast)) {
        const std::string text = "'" + broadcastAddress + "' is no IPv4 broadcast address.";
        throw GenICam::InvalidArgumentException(text.c_str(), __FILE__, __LINE__);
    }
    std::lock_guard<std::recursive_mutex> lock(m_mutex);
    std::vector<ActionTarget> targets;
    const LayerDesc* layer = layerNamed(layerFullName);
    if (!layer)
        return targets;
    for (const auto& device : layer->devices) {
        const std::string name = device.info.GetFullName().toStdString();
        const auto state = m_deviceStates.find(name);
        const bool announced = state != m_deviceStates.end() && state->second.announced;
        const std::string address = device.info.GetIpAddress().toStdString();
        if (!isPresent(name) || !(device.reachable || announced) || !inBroadcastDomain(broadcast, address))
            continue;
        const auto model = device.model.empty() ? std::make_shared<const NodeMapDescription>() : modelFeatures(device.model);
        targets.push_back({name, address, CSimDevice::actionSettingsOf(*model, device.features)});
    }
    return targets;
}

std::vector<ActionAnswer> CWorld::issueAction(const std::string& layerFullName, const ActionCommand& command)
{
    const std::vector<ActionTarget> targets = actionTargets(layerFullName, command.broadcastAddress);
    std::vector<ActionAnswer> answers;
    std::lock_guard<std::mutex> lock(m_devicesMutex);
    for (const auto& target : targets) {
        // A live device answers with its current settings, and only it can take a picture.
        const auto live = m_liveDevices.find(target.name);
        CSimDevice* device = live == m_liveDevices.end() ? nullptr : live->second;
        const ActionSettings settings = device ? device->actionSettings() : target.settings;
        if (!settings.supported || settings.deviceKey != int64_t(command.deviceKey))
            continue; // not addressed: a device stays silent
        ActionAnswer answer;
        answer.deviceAddress = target.address;
        if (settings.groupKey != int64_t(command.groupKey) || (int64_t(command.groupMask) & settings.groupMask) == 0)
            answer.status = Tavix::ActionCommandStatus_AccessDenied;
        else if (command.scheduled && !settings.clockSynchronised)
            answer.status = Tavix::ActionCommandStatus_NoReferenceTime;
        else if (device)
            device->fireAction(command.scheduled ? command.actionTimeNs : deviceClockNs());
        answers.push_back(answer);
    }
    return answers;
}

// The control API

bool loadScenario(const QByteArray& json, QString* error, const QString& source)
{
    return CWorld::instance().loadScenario(json, source, error);
}
bool loadScenarioFile(const QString& path, QString* error) { return CWorld::instance().loadScenarioFile(path, error); }
void loadDefaultScenario() { CWorld::instance().loadDefaultScenario(); }
void plugDevice(const std::string& name) { CWorld::instance().setPlugged(name, true); }
void unplugDevice(const std::string& name) { CWorld::instance().setPlugged(name, false); }
void loseDevice(const std::string& name) { CWorld::instance().loseDevice(name); }
void waitForRemovalNotifications() { CWorld::instance().waitForRemovalThreads(); }
void injectFault(const Fault& fault) { CWorld::instance().injectFault(fault); }
void clearFaults() { CWorld::instance().clearFaults(); }
void pauseOperation(const std::string& operation) { CWorld::instance().pause(operation); }
void resumeOperation(const std::string& operation) { CWorld::instance().resume(operation); }
bool waitUntilPaused(const std::string& operation, int timeoutMs) { return CWorld::instance().waitUntilPaused(operation, timeoutMs); }
void setSleepScale(double scale) { CWorld::instance().setSleepScale(scale); }
void freezeSleep(bool frozen) { CWorld::instance().freezeSleep(frozen); }
std::vector<unsigned long> recordedSleeps() { return CWorld::instance().recordedSleeps(); }
uint64_t deviceClockNs() { return CWorld::deviceClockNs(); }
int liveObjects(LiveObject kind) { return CWorld::instance().liveObjects(kind); }
int callCount(const std::string& what) { return CWorld::instance().callCount(what); }
GrabRecord lastGrab(const std::string& name) { return CWorld::instance().lastGrab(name); }
void setRebootTime(const std::string& name, long long ms) { CWorld::instance().setRebootTime(name, ms); }
void setRebootAddress(const std::string& name, const std::string& ip) { CWorld::instance().setRebootAddress(name, ip); }
std::string firmwareVersion(const std::string& name) { return CWorld::instance().firmwareVersion(name); }
std::string currentFullName(const std::string& serial) { return CWorld::instance().currentFullName(serial); }
void reset() { CWorld::instance().reset(); }

} // namespace TavixSim
