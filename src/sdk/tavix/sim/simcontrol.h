#pragma once

/// \file
/// Control of the simulated camera world, for tests, benchmarks and tools: which cameras exist
/// (a scenario), cameras that come, go and are lost while a test runs, faults that make the SDK
/// throw, and counters of what the SDK did. It is not part of the SDK's names: a plug-in never
/// needs it, its tests do. In the kit as TavixViewer::SimControl; the functions live in the SDK
/// layer's library. The guide's page "Testing a client plug-in" tells how a test uses them.

#include <QByteArray>
#include <QString>

#include <cstdint>
#include <string>
#include <vector>

/// The control of the simulated camera world.
namespace TavixSim {

/// How often the SDK was initialised and terminated.
struct RuntimeCounters
{
    /// Calls of TavixInitialize().
    int initializeCalls = 0;
    /// Calls of TavixTerminate().
    int terminateCalls = 0;
    /// Initialisations not yet matched by a termination.
    int users = 0;
};

/// The kinds of SDK objects that liveObjects() counts.
enum LiveObject {
    LiveDevice,         ///< devices created by the transport layers
    LiveTransportLayer, ///< transport layers handed out by the factory
    LiveInstantCamera,  ///< instant cameras
    LiveChunkParser,    ///< chunk parsers
    LiveInterface,      ///< transport layer interfaces
    LiveObjectKinds     ///< the number of kinds
};

/// A fault: the operation of the target throws the GenICam type with the description, or, for
/// the type "std::runtime_error", that standard exception.
///
/// Operations: EnumerateTls, CreateTl, EnumerateInterfaces, EnumerateDevices, EnumerateAllDevices,
/// AnnounceRemoteDevice, CreateDevice, Open, Close, StartGrabbing, CreateInterface,
/// InterfaceOpen, InterfaceClose, GetCompressionInfo, IssueActionCommand,
/// IssueScheduledActionCommand (target: the layer), "Read:<feature>", "Write:<feature>",
/// FirmwareWrite.
struct Fault
{
    /// A device's or layer's full name, an interface id, or "*" for any.
    std::string target = "*";
    /// The operation that fails, from the list above.
    std::string operation;
    /// The GenICam exception type's name, such as "RuntimeException" or "AccessException".
    std::string exceptionType = "RuntimeException";
    /// The exception's description.
    std::string description = "Simulated failure.";
    /// How many calls fail; -1: every call from now on.
    int count = 1;
};

/// The buffers of a device's last grab.
struct GrabRecord
{
    /// Buffers allocated for the grab.
    size_t bufferCount = 0;
    /// Buffers queued to the device at the start.
    size_t queuedBufferCount = 0;
    /// The size of one image's payload in bytes.
    size_t payloadSize = 0;
    /// Grabs started on the device so far.
    int grabs = 0;
};

/// The SDK's counts of initialisation and termination.
RuntimeCounters runtimeCounters();

/// \name Scenarios
/// A scenario is a JSON description of the world: transport layers, interfaces, cameras with
/// their features, images and timeline (docs/scenario.md). A bad scenario gives an error text
/// naming the source, the JSON path and what is wrong, and loads nothing. Load one before the
/// roster loads, or before the next enumeration pass that is to see it.
/// @{
/// Loads a scenario from JSON text; source names it in errors.
bool loadScenario(const QByteArray& json, QString* error = nullptr, const QString& source = QStringLiteral("<scenario>"));
/// Loads a scenario file.
bool loadScenarioFile(const QString& path, QString* error = nullptr);
/// Loads the built-in scenario, the world that tavix-host shows by default.
void loadDefaultScenario();
/// @}

/// \name Devices
/// Plugged and unplugged devices show in the next enumeration pass; ask for one with
/// ICameraEnumerationService::requestEnumeration().
/// @{
/// The device of the scenario comes back (or comes for the first time).
void plugDevice(const std::string& deviceFullName);
/// The device goes quietly, as when its cable is pulled while it is closed.
void unplugDevice(const std::string& deviceFullName);
/// The device is gone: open cameras hear OnCameraDeviceRemoved from a thread of the SDK's own,
/// and the roster sends cameraConnectionLost.
void loseDevice(const std::string& deviceFullName);
/// Waits until the notifications of lost devices have been delivered.
void waitForRemovalNotifications();
/// @}

/// \name Faults
/// @{
/// Makes an operation fail, from now on, for Fault::count calls.
void injectFault(const Fault& fault);
/// Takes every fault back.
void clearFaults();
/// @}

/// \name Gates
/// A paused operation holds every thread that reaches it until it is resumed, so that a test
/// can keep a slow discovery or open running.
/// @{
/// Holds the threads that reach the operation from now on.
void pauseOperation(const std::string& operation);
/// Lets them go on.
void resumeOperation(const std::string& operation);
/// Waits (up to the time-out) until a thread is held at the operation; whether one is.
bool waitUntilPaused(const std::string& operation, int timeoutMs = 10000);
/// @}

/// \name The clock
/// The clock of WaitObject::Sleep.
/// @{
/// A scale of 0 makes every wait return at once; 1 is real time.
void setSleepScale(double scale);
/// A frozen clock holds every waiting thread until it thaws.
void freezeSleep(bool frozen);
/// The waits asked for since the last reset(), in milliseconds.
std::vector<unsigned long> recordedSleeps();
/// The devices' shared clock, in nanoseconds: the time base of scheduled action commands.
uint64_t deviceClockNs();
/// @}

/// \name Counters
/// @{
/// How many SDK objects of a kind are alive.
int liveObjects(LiveObject kind);
/// How often something happened, e.g. "CreateTl:<layer full name>", "ParseModel:<model>",
/// "ActionSignal:<device full name>" (action signals that a grabbing device took).
int callCount(const std::string& what);
/// The buffers of the device's last grab.
GrabRecord lastGrab(const std::string& deviceFullName);
/// @}

/// The time from a grab loop handing an image to the image event handlers until the last of
/// them returns, over every camera, since measuring was turned on (which empties it).
/// Percentiles are the lower bounds of log-linear buckets, exact to about 6 %.
struct DispatchTimes
{
    /// Images measured.
    uint64_t count = 0;
    /// The median, in nanoseconds.
    uint64_t p50Ns = 0;
    /// The 90th percentile.
    uint64_t p90Ns = 0;
    /// The 99th percentile.
    uint64_t p99Ns = 0;
    /// The 99.9th percentile.
    uint64_t p999Ns = 0;
    /// The longest.
    uint64_t maxNs = 0;
};
/// Turns measuring on (emptying what was measured) or off.
void measureDispatch(bool on);
/// What was measured.
DispatchTimes dispatchTimes();
/// Called on the grab thread just before (true) and after (false) the handlers of each image
/// run, while measuring is on: a benchmark counts, for instance, what the handlers allocate.
using DispatchProbe = void (*)(bool inside);
/// Sets the probe; null for none.
void setDispatchProbe(DispatchProbe probe);

/// \name Firmware update
/// A device that executes "DeviceReset" vanishes from every listing until its reboot time has
/// passed on the simulator's clock, which advances by the time each WaitObject::Sleep asks for
/// (not by its scaled real time), so that a reboot takes the same number of waits on any
/// machine. A fault on "FirmwareWrite" hits when the flash write is half done; the device keeps
/// its old firmware.
/// @{
/// The device's reboot time; it starts as the scenario's "rebootTime". -1: the device never
/// comes back.
void setRebootTime(const std::string& deviceFullName, long long milliseconds);
/// The device comes back from its next reset under this address, its full name following it.
void setRebootAddress(const std::string& deviceFullName, const std::string& ipAddress);
/// The firmware version text the device reports now (its node map's "DeviceFirmwareVersion").
std::string firmwareVersion(const std::string& deviceFullName);
/// The device's full name now; it changes when the device returns under another address.
std::string currentFullName(const std::string& serialNumber);
/// @}

/// Back to the default scenario (or that of TAVIX_SIM_SCENARIO), no faults, normal clock,
/// counters of calls and sleeps emptied. Live objects are left alone.
void reset();

} // namespace TavixSim
