#include "updatabledevice.h"

#include <plugins/optiroster/internal/logcategories.h>

#include <tavix/parameters.h>
#include <tavix/runtime.h>
#include <tavix/tlfactory.h>

#include <algorithm>
#include <exception>

namespace Plugin::OptiRoster::Internal {

namespace {

constexpr int ResetTries = 30;
constexpr unsigned long WaitBetweenTriesMs = 500;
constexpr unsigned long LeastFirstWaitMs = 1000;
constexpr char SourcePath[] = "src/common/plugins/optiroster/internal/updatabledevice";

quint64 logCategoryId()
{
    return onceCategoryId<LogCategories::UpdatableDevice>();
}

void log(const QString& message, Core::Logging::ELogLevel level = Core::Logging::LogLevelInfo)
{
    Core::Logging::createLogEntry(level, logCategoryId(), message);
}

} // namespace

CUpdatableDevice::CUpdatableDevice()
{
    // No configuration acts on the device during the update.
    m_camera.RegisterConfiguration(nullptr, Tavix::RegistrationMode_ReplaceAll, Tavix::Cleanup_Delete);
}

CUpdatableDevice::~CUpdatableDevice() = default;

void CUpdatableDevice::open()
{
    m_camera.Open();
}

GenApi::INodeMap* CUpdatableDevice::getNodeMap()
{
    return &m_camera.GetNodeMap();
}

void CUpdatableDevice::finish()
{
}

GenICam::gcstring CUpdatableDevice::getDeviceName()
{
    return m_camera.GetDeviceInfo().GetFriendlyName();
}

void CUpdatableDevice::attachDevice(Tavix::ITavixDevice* device)
{
    m_camera.Attach(device, Tavix::Cleanup_Delete);
}

Tavix::ITavixDevice* CUpdatableDevice::detachDevice()
{
    return m_camera.DetachDevice();
}

bool CUpdatableDevice::isCameraOpen() const
{
    return m_camera.IsOpen();
}

GenApi::INodeMap* CUpdatableDevice::resetAndReconnect(GenApi::INodeMap*, uint32_t waitTimeMs)
{
    log(QStringLiteral("Resetting device."));
    const Tavix::CDeviceInfo before = m_camera.GetDeviceInfo();
    auto* reset = dynamic_cast<GenApi::ICommand*>(m_camera.GetNodeMap().GetNode("DeviceReset"));
    if (!reset)
        throw GenICam::LogicalErrorException("NULL pointer dereferenced", __FILE__, __LINE__);
    reset->Execute();
    m_camera.DestroyDevice();

    Tavix::DeviceInfoList filter(1);
    filter[0].SetDeviceClass(before.GetDeviceClass());
    filter[0].SetSerialNumber(before.GetSerialNumber());
    Tavix::DeviceInfoList found;
    GenApi::INodeMap* nodeMap = nullptr;
    for (int attempt = 0; attempt < ResetTries && !m_camera.IsOpen(); ++attempt) {
        waitBeforeTry(attempt, waitTimeMs);
        log(QStringLiteral("Trying to rediscover the device."));
        // Adds to what earlier tries found: a device found once and not opened stays in the list.
        Tavix::CTlFactory::GetInstance().EnumerateDevices(found, filter, true);
        if (found.size() != 1)
            continue;
        try {
            nodeMap = reopen(found[0], attempt);
        } catch (const std::exception&) {
            log(QStringLiteral("Failed to re-open device '%1'").arg(QString::fromUtf8(before.GetSerialNumber().c_str())),
                attempt == ResetTries - 1 ? Core::Logging::LogLevelError : Core::Logging::LogLevelInfo);
            m_camera.DestroyDevice();
        }
    }
    if (found.empty() || !m_camera.IsOpen())
        throw GenICam::RuntimeException("Could not rediscover device after reset.", SourcePath, 139);
    if (found.size() > 1)
        throw GenICam::RuntimeException("Multiple devices discovered after reset.", SourcePath, 143);
    return nodeMap;
}

void CUpdatableDevice::waitBeforeTry(int attempt, uint32_t waitTimeMs)
{
    if (attempt == 0 && waitTimeMs != 0) {
        const unsigned long wait = std::max<unsigned long>(waitTimeMs, LeastFirstWaitMs);
        log(QStringLiteral("Waiting for device to reboot for %1 ms.").arg(wait));
        Tavix::WaitObject::Sleep(wait);
        return;
    }
    log(QStringLiteral("Waiting (%1)").arg(attempt));
    Tavix::WaitObject::Sleep(WaitBetweenTriesMs);
}

GenApi::INodeMap* CUpdatableDevice::reopen(const Tavix::CDeviceInfo& found, int attempt)
{
    log(QStringLiteral("Trying to re-create the device (%1).").arg(attempt));
    m_camera.Attach(Tavix::CTlFactory::GetInstance().CreateDevice(found), Tavix::Cleanup_Delete);
    log(QStringLiteral("Trying to re-open the device (%1).").arg(attempt));
    m_camera.Open();
    if (!m_camera.IsOpen()) {
        log(QStringLiteral("Destroying device and re-starting."));
        m_camera.DestroyDevice();
        return nullptr;
    }
    log(QStringLiteral("Trying to retrieve nodemap (%1).").arg(attempt));
    return &m_camera.GetNodeMap();
}

} // namespace Plugin::OptiRoster::Internal
