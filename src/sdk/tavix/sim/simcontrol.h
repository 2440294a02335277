#pragma once

// Control of the simulated camera world, for tests, benchmarks and tools. It is not part of
// the SDK's names: application code never needs it.

#include <QByteArray>
#include <QString>

#include <cstdint>
#include <string>
#include <vector>

namespace TavixSim {

struct RuntimeCounters
{
    int initializeCalls = 0;
    int terminateCalls = 0;
    int users = 0; // initialisations not yet matched by a termination
};

enum LiveObject { LiveDevice, LiveTransportLayer, LiveInstantCamera, LiveChunkParser, LiveInterface, LiveObjectKinds };

// A fault: the operation of the target throws the GenICam type with the description, or, for the
// type "std::runtime_error", that standard exception.
// target is a device's or layer's full name, an interface id, or "*" for any.
// Operations: EnumerateTls, CreateTl, EnumerateInterfaces, EnumerateDevices, EnumerateAllDevices,
// AnnounceRemoteDevice, CreateDevice, Open, Close, StartGrabbing, CreateInterface, InterfaceOpen,
// InterfaceClose, GetCompressionInfo, IssueActionCommand, IssueScheduledActionCommand (target: the
// layer), "Read:<feature>", "Write:<feature>", FirmwareWrite.
struct Fault
{
    std::string target = "*";
    std::string operation;
    std::string exceptionType = "RuntimeException";
    std::string description = "Simulated failure.";
    int count = 1; // -1: always
};

struct GrabRecord
{
    size_t bufferCount = 0;
    size_t queuedBufferCount = 0;
    size_t payloadSize = 0;
    int grabs = 0;
};

RuntimeCounters runtimeCounters();

// Scenarios. A bad scenario gives an error text naming the source, the JSON path and what is
// wrong, and loads nothing.
bool loadScenario(const QByteArray& json, QString* error = nullptr, const QString& source = QStringLiteral("<scenario>"));
bool loadScenarioFile(const QString& path, QString* error = nullptr);
void loadDefaultScenario();

// Devices
void plugDevice(const std::string& deviceFullName);
void unplugDevice(const std::string& deviceFullName);
// The device is gone: open cameras hear OnCameraDeviceRemoved from a thread of the SDK's own.
void loseDevice(const std::string& deviceFullName);
// Waits until the notifications of lost devices have been delivered.
void waitForRemovalNotifications();

// Faults
void injectFault(const Fault& fault);
void clearFaults();

// Gates: a paused operation holds every thread that reaches it until it is resumed, so that a
// test can keep a slow discovery or open running. waitUntilPaused waits (up to the time-out)
// until a thread is held there and answers whether one is.
void pauseOperation(const std::string& operation);
void resumeOperation(const std::string& operation);
bool waitUntilPaused(const std::string& operation, int timeoutMs = 10000);

// The clock of WaitObject::Sleep: a scale of 0 makes every wait return at once; a frozen
// clock holds every waiting thread until it thaws.
void setSleepScale(double scale);
void freezeSleep(bool frozen);
std::vector<unsigned long> recordedSleeps();

// The devices' shared clock, in nanoseconds: the time base of scheduled action commands.
uint64_t deviceClockNs();

// Counters
int liveObjects(LiveObject kind);
// e.g. "CreateTl:<layer full name>", "ParseModel:<model>", "ActionSignal:<device full name>" (action
// signals that a grabbing device took)
int callCount(const std::string& what);
GrabRecord lastGrab(const std::string& deviceFullName);

// The time from a grab loop handing an image to the image event handlers until the last of them
// returns, over every camera, since measuring was turned on (which empties it). Percentiles are
// the lower bounds of log-linear buckets, exact to about 6 %.
struct DispatchTimes
{
    uint64_t count = 0;
    uint64_t p50Ns = 0;
    uint64_t p90Ns = 0;
    uint64_t p99Ns = 0;
    uint64_t p999Ns = 0;
    uint64_t maxNs = 0;
};
void measureDispatch(bool on);
DispatchTimes dispatchTimes();
// Called on the grab thread just before (true) and after (false) the handlers of each image run,
// while measuring is on: a benchmark counts, for instance, what the handlers allocate.
using DispatchProbe = void (*)(bool inside);
void setDispatchProbe(DispatchProbe probe);

// Firmware update. A device that executes "DeviceReset" vanishes from every listing until its
// reboot time has passed on the simulator's clock, which advances by the time each
// WaitObject::Sleep asks for (not by its scaled real time), so that a reboot takes the same
// number of waits on any machine. The reboot time starts as the scenario's "rebootTime".
// -1: the device never comes back.
void setRebootTime(const std::string& deviceFullName, long long milliseconds);
// The device comes back from its next reset under this address, its full name following it.
void setRebootAddress(const std::string& deviceFullName, const std::string& ipAddress);
// A fault on "FirmwareWrite" hits when the flash write is half done; the device keeps its old
// firmware.
// The firmware version text the device reports now (its node map's "DeviceFirmwareVersion").
std::string firmwareVersion(const std::string& deviceFullName);
// The device's full name now; it changes when the device returns under another address.
std::string currentFullName(const std::string& serialNumber);

// Back to the default scenario (or that of TAVIX_SIM_SCENARIO), no faults, normal clock,
// counters of calls and sleeps emptied. Live objects are left alone.
void reset();

} // namespace TavixSim
