#include <tavix/firmware.h>
#include <tavix/parameters.h>
#include <tavix/runtime.h>
#include <tavix/sim/firmwarefile.h>
#include <tavix/sim/simdevice.h>
#include <tavix/sim/world.h>

#include <QCryptographicHash>
#include <QFile>

#include <algorithm>

namespace GenApi {

CFirmwareUpdateInfo::CFirmwareUpdateInfo() = default;

CFirmwareUpdateInfo::CFirmwareUpdateInfo(std::shared_ptr<const Data> data)
    : m_data(std::move(data))
{
}

CFirmwareUpdateInfo::CFirmwareUpdateInfo(const CFirmwareUpdateInfo& other) = default;
CFirmwareUpdateInfo& CFirmwareUpdateInfo::operator=(const CFirmwareUpdateInfo& other) = default;
CFirmwareUpdateInfo::~CFirmwareUpdateInfo() = default;

bool CFirmwareUpdateInfo::IsValid() const
{
    return m_data != nullptr;
}

gcstring CFirmwareUpdateInfo::GetUpdateFilename() const
{
    return m_data ? gcstring(m_data->updateFilename) : gcstring();
}

gcstring CFirmwareUpdateInfo::GetInfo(const char* key, const char* defaultValue) const
{
    if (!m_data || !key)
        return gcstring(defaultValue);
    const auto it = m_data->info.find(key);
    return it == m_data->info.end() ? gcstring(defaultValue) : gcstring(it->second);
}

gcstring CFirmwareUpdateInfo::ExtractVersionFromDeviceFirmwareVersion(const gcstring& deviceFirmwareVersion) const
{
    if (!m_data)
        return deviceFirmwareVersion;
    return gcstring(TavixSim::extractVersion(*m_data, QString::fromUtf8(deviceFirmwareVersion.c_str())).toUtf8().constData());
}

namespace {

// The simulated flash takes this long for each chunk, on the simulator's clock.
constexpr size_t ChunkSize = 4096;
constexpr unsigned long ChunkWriteMs = 20;

[[noreturn]] void failUpdate(const char* type, const std::string& text)
{
    GenICam::throwException(type, text, __FILE__, __LINE__);
}

std::string textOf(const CFirmwareUpdateInfo& info, const char* key)
{
    return info.GetInfo(key, "").toStdString();
}

std::string readNode(INodeMap& nodeMap, const char* name)
{
    Tavix::CStringParameter parameter(nodeMap, name);
    return parameter.IsReadable() ? parameter.GetValue().toStdString() : std::string();
}

// Runs the steps of one update and tells the observer; a missing observer hears nothing.
class CUpdateRun
{
public:
    CUpdateRun(IFirmwareUpdatableDevice& device, const CFirmwareUpdateInfo& info, IFirmwareUpdateProgressObserver* observer)
        : m_device(device)
        , m_info(info)
        , m_data(*info.GetData())
        , m_pObserver(observer)
    {
    }

    void run(const char* path)
    {
        const size_t chunks = (m_data.payload.size() + ChunkSize - 1) / ChunkSize;
        if (m_pObserver)
            m_pObserver->OnFirmwareUpdateBegin(m_info, unsigned(chunks * ChunkWriteMs + rebootWait()));
        step(FirmwareUpdateProgressStepType_CheckPreconditions, 0, "Checking that the update fits the device.", [&] {
            checkPreconditions();
        });
        std::string payload;
        step(FirmwareUpdateProgressStepType_AcquireUpdateData, 0, "Reading the update data.", [&] { payload = acquire(path); });
        TavixSim::CSimDevice& flash = simulatedDevice();
        step(FirmwareUpdateProgressStepType_FileUpload, unsigned(chunks * ChunkWriteMs), "Writing the firmware.", [&] {
            upload(flash, payload, chunks);
        });
        step(FirmwareUpdateProgressStepType_FeatureAssert, 0, "Verifying the written firmware.", [&] {
            const std::string version = textOf(m_info, "DeviceFirmwareVersion").empty() ? textOf(m_info, "Version")
                                                                                          : textOf(m_info, "DeviceFirmwareVersion");
            if (!flash.verifyFirmware(m_data.payloadSha256, version))
                failUpdate("RuntimeException", "The written firmware does not verify; the device keeps its firmware.");
        });
        step(FirmwareUpdateProgressStepType_DeviceReset, rebootWait(), "Restarting the device.", [&] {
            m_needsRecovery = false; // the reset cycle is the recovery: it ends with the device found or lost
            m_device.resetAndReconnect(m_pNodeMap, rebootWait());
        });
        m_device.finish();
        if (m_pObserver)
            m_pObserver->OnFirmwareUpdateEnd();
    }

    // After a failed write the device is restarted with its old firmware, so that it is usable
    // again; a failure of the restart itself replaces the first.
    void recover()
    {
        if (m_pNodeMap)
            m_device.resetAndReconnect(m_pNodeMap, rebootWait());
    }

    // The device's flash was touched and the device hasn't been reset since.
    bool needsRecovery() const { return m_needsRecovery; }

private:
    template <typename Body>
    void step(EFirmwareUpdateProgressStepType type, unsigned estimate, const char* description, Body&& body)
    {
        if (m_pObserver)
            m_pObserver->OnFirmwareUpdateProgressStepBegin(type, estimate, description);
        body();
        if (m_pObserver) {
            m_pObserver->OnFirmwareUpdateProgressStepPartialProgress(type, 100.0);
            m_pObserver->OnFirmwareUpdateProgressStepEnd(type, estimate);
        }
    }

    uint32_t rebootWait() const
    {
        const std::string text = textOf(m_info, "RebootTime");
        return text.empty() ? 0 : uint32_t(std::stoul(text));
    }

    void checkPreconditions()
    {
        m_device.open();
        m_pNodeMap = m_device.getNodeMap();
        if (!m_pNodeMap)
            failUpdate("LogicalErrorException", "The device has no node map.");
        if (!CFirmwareUpdater().FirmwareUpdateMatchesDevice(m_pNodeMap, m_info))
            failUpdate("LogicalErrorException", "The update " + m_data.entryName + " of '" + m_data.updateFilename
                                                    + "' does not fit the device '" + m_device.getDeviceName().toStdString() + "'.");
    }

    std::string acquire(const char* path) const
    {
        if (!path || !*path)
            return m_data.payload;
        QFile file(QString::fromUtf8(path));
        if (!file.open(QIODevice::ReadOnly))
            failUpdate("FileNotFoundException", std::string("The payload file '") + path + "' cannot be read.");
        const QByteArray bytes = file.readAll();
        if (QCryptographicHash::hash(bytes, QCryptographicHash::Sha256).toHex().toStdString() != m_data.payloadSha256)
            failUpdate("FormatException", std::string("The payload file '") + path + "' does not match the update's checksum.");
        return bytes.toStdString();
    }

    TavixSim::CSimDevice& simulatedDevice() const
    {
        TavixSim::CSimDevice* device = TavixSim::CWorld::instance().liveDeviceOf(m_pNodeMap);
        if (!device)
            failUpdate("LogicalErrorException", "The device can't take a firmware image.");
        return *device;
    }

    void upload(TavixSim::CSimDevice& flash, const std::string& payload, size_t chunks)
    {
        for (size_t i = 0; i < chunks; ++i) {
            const size_t offset = i * ChunkSize;
            m_needsRecovery = true;
            flash.writeFirmware(offset, payload.data() + offset, std::min(ChunkSize, payload.size() - offset), payload.size());
            Tavix::WaitObject::Sleep(ChunkWriteMs);
            // The step's end reports the last 100 percent.
            if (m_pObserver && i + 1 < chunks)
                m_pObserver->OnFirmwareUpdateProgressStepPartialProgress(FirmwareUpdateProgressStepType_FileUpload,
                                                                         100.0 * double(i + 1) / double(chunks));
        }
    }

    IFirmwareUpdatableDevice& m_device;
    const CFirmwareUpdateInfo& m_info;
    const CFirmwareUpdateInfo::Data& m_data;
    IFirmwareUpdateProgressObserver* m_pObserver;
    INodeMap* m_pNodeMap = nullptr;
    bool m_needsRecovery = false;
};

// The filter is a wildcard pattern that one of the update's model names must match.
bool passesFilter(const CFirmwareUpdateInfo& info, const char* filter)
{
    if (!filter || !*filter)
        return true;
    const QString pattern = QString::fromUtf8(filter);
    const QString models = QString::fromUtf8(info.GetInfo("ModelNames", "").c_str());
    for (const QString& model : models.split(QLatin1Char(','), Qt::SkipEmptyParts)) {
        if (TavixSim::matchesWildcardList(pattern, model.trimmed()))
            return true;
    }
    return false;
}

} // namespace

CFirmwareUpdater::CFirmwareUpdater() = default;
CFirmwareUpdater::~CFirmwareUpdater() = default;

void CFirmwareUpdater::ApplyUpdate(IFirmwareUpdatableDevice* device, const CFirmwareUpdateInfo& info,
                                   IFirmwareUpdateProgressObserver* observer, const char* path)
{
    if (!device)
        failUpdate("InvalidArgumentException", "No device to update.");
    if (!info.IsValid())
        failUpdate("InvalidArgumentException", "The update record is not valid.");
    CUpdateRun run(*device, info, observer);
    try {
        run.run(path);
    } catch (const GenICam::GenericException& e) {
        if (observer)
            observer->OnFirmwareUpdateError(e);
        if (run.needsRecovery())
            run.recover();
        throw;
    }
}

void CFirmwareUpdater::ReadFirmwareUpdateInfos(const gcstring& fileName, IFirmwareUpdateInfoCollector& collector,
                                               const char* filter) const
{
    for (const CFirmwareUpdateInfo& info : TavixSim::readFirmwareFile(QString::fromUtf8(fileName.c_str()))) {
        if (passesFilter(info, filter) && !collector.OnUpdateRead(info))
            return;
    }
}

bool CFirmwareUpdater::FirmwareUpdateMatchesDevice(INodeMap* nodeMap, const CFirmwareUpdateInfo& info) const
{
    if (!nodeMap)
        failUpdate("InvalidArgumentException", "No node map to match the update with.");
    if (!info.IsValid())
        return false;
    const QString model = QString::fromStdString(readNode(*nodeMap, "DeviceModelName"));
    if (model.isEmpty() || !TavixSim::matchesWildcardList(QString::fromUtf8(info.GetInfo("ModelNames", "").c_str()), model))
        return false;
    const QString deviceVersions = QString::fromUtf8(info.GetInfo("DeviceVersions", "").c_str());
    if (!deviceVersions.isEmpty()
        && !TavixSim::matchesWildcardList(deviceVersions, QString::fromStdString(readNode(*nodeMap, "DeviceVersion"))))
        return false;
    const QString minimum = QString::fromUtf8(info.GetInfo("MinimumFirmwareVersion", "").c_str());
    if (minimum.isEmpty())
        return true;
    const QString current = QString::fromUtf8(
        info.ExtractVersionFromDeviceFirmwareVersion(readNode(*nodeMap, "DeviceFirmwareVersion").c_str()).c_str());
    bool comparable = false;
    const int order = TavixSim::compareDottedVersions(current, minimum, comparable);
    return comparable && order >= 0;
}

} // namespace GenApi
