#include "cameraactioncommandsservice.h"

#include <core/exception/exceptions.h>
#include <core/parametercollection/parametercollection.h>
#include <plugins/optiroster/internal/failurerule.h>
#include <plugins/optiroster/internal/logcategories.h>
#include <plugins/optiroster/internal/optiroster.h>
#include <plugins/optiroster/parameterpaths.h>

#include <tavix/tlfactory.h>

#include <QStringList>

#include <cstring>
#include <memory>
#include <vector>

namespace Plugin::OptiRoster::Internal {

using Core::OptiRosterComponents::CameraInfoPtr;

namespace {

constexpr char GigEDeviceClass[] = "VorlanGigE";

quint64 logCategoryId()
{
    return onceCategoryId<LogCategories::ActionCommandsService>();
}

QString eitherName(const char* first, const char* second)
{
    return QString::fromLatin1(ParameterPaths::AlternativeNames).arg(QLatin1String(first), QLatin1String(second));
}

// Gives a layer of the factory back when the call ends, also when the SDK throws.
struct LayerReleaser
{
    void operator()(Tavix::ITransportLayer* layer) const { Tavix::CTlFactory::GetInstance().ReleaseTl(layer); }
};
using LayerPtr = std::unique_ptr<Tavix::ITransportLayer, LayerReleaser>;

// Sends through a GigE layer of its own; false when there is none.
template <typename Send>
bool sendThroughGigE(Send send)
{
    const LayerPtr layer(Tavix::CTlFactory::GetInstance().CreateTl(GenICam::gcstring(GigEDeviceClass)));
    auto* gige = dynamic_cast<Tavix::IGigETransportLayer*>(layer.get());
    return gige ? send(*gige) : false;
}

void appendResults(QVector<CActionCommandResult>& results, const std::vector<Tavix::ActionCommandResult>& answers, uint32_t count)
{
    const size_t taken = std::min<size_t>(count, answers.size());
    for (size_t i = 0; i < taken; ++i) {
        CActionCommandResult result;
        result.status = answers[i].Status == Tavix::ActionCommandStatus_Success ? 0 : 1;
        std::memcpy(result.deviceAddress, answers[i].DeviceAddress, sizeof result.deviceAddress);
        result.deviceAddress[sizeof result.deviceAddress - 1] = '\0';
        results.append(result);
    }
}

// Runs one issue of a command: the host's own exceptions are logged and leave the result as it
// stands. The SDK's pass on to the caller as the host's, the only kind a client of a service is
// prepared for; so a bad broadcast address reaches it as an ArgumentException.
template <typename Issue>
void issueLoggingFailures(Issue issue)
{
    translateFailures([&] {
        try {
            issue();
        } catch (const Core::Exception::BaseException& e) {
            writeLog(logCategoryId(), QString::fromUtf8(e.what()));
        }
    });
}

} // namespace

CCameraActionCommandsService::CCameraActionCommandsService(QPointer<COptiRoster> optiRoster, QObject* parent)
    : ICameraActionCommandsService(parent)
    , m_optiRoster(optiRoster)
{
}

QSharedPointer<ParameterCollection::CParameterCollection> CCameraActionCommandsService::openCameraParameters(
    const CameraInfoPtr& info) const
{
    if (!m_optiRoster || !m_optiRoster->isDeviceOpen(info))
        return {};
    const QSharedPointer<IDevice> device = m_optiRoster->getDevice(info);
    return device ? device->getParameterCollection() : QSharedPointer<ParameterCollection::CParameterCollection>();
}

bool CCameraActionCommandsService::supportsActionCommands(CameraInfoPtr info)
{
    const auto parameters = openCameraParameters(info);
    if (!parameters)
        return false;
    const QStringList paths{QLatin1String(ParameterPaths::ActionSelector), QLatin1String(ParameterPaths::ActionDeviceKey),
                            QLatin1String(ParameterPaths::ActionGroupKey), QLatin1String(ParameterPaths::ActionGroupMask)};
    for (const QString& path : paths) {
        if (!parameters->getIntegerParameter(path))
            return false;
    }
    for (const QString& path : paths) {
        const auto parameter = parameters->getIntegerParameter(path);
        if (!parameter || !parameter->isAvailable())
            return false;
    }
    return true;
}

bool CCameraActionCommandsService::supportsScheduledActionCommands(CameraInfoPtr info)
{
    const auto parameters = openCameraParameters(info);
    if (!parameters)
        return false;
    const auto clock = parameters->getBooleanParameter(eitherName(ParameterPaths::PtpEnable, ParameterPaths::GevIEEE1588));
    const auto latch =
        parameters->getCommandParameter(eitherName(ParameterPaths::PtpDataSetLatch, ParameterPaths::GevIEEE1588DataSetLatch));
    if (!clock || clock->isBlocked() || !latch || latch->isBlocked())
        return false;
    return clock->isAvailable();
}

bool CCameraActionCommandsService::issueActionCommand(uint32_t deviceKey, uint32_t groupKey, uint32_t groupMask,
                                                      QVector<CActionCommandResult>& results, const QString& broadcastAddress,
                                                      uint32_t timeoutMs, uint32_t* resultCount)
{
    std::vector<Tavix::ActionCommandResult> answers(size_t(results.size()));
    bool result = false;
    bool reached = false; // without a layer, the buffer holds no answers
    issueLoggingFailures([&] {
        result = sendThroughGigE([&](Tavix::IGigETransportLayer& layer) {
            reached = true;
            return layer.IssueActionCommand(deviceKey, groupKey, groupMask, GenICam::gcstring(broadcastAddress.toUtf8().constData()),
                                            timeoutMs, resultCount, answers.data());
        });
        results.clear();
        appendResults(results, answers, reached && resultCount ? *resultCount : 0);
    });
    return result;
}

bool CCameraActionCommandsService::issueScheduledActionCommand(uint32_t deviceKey, uint32_t groupKey, uint32_t groupMask,
                                                               uint64_t actionTimeNs, QVector<CActionCommandResult>& results,
                                                               const QString& broadcastAddress, uint32_t timeoutMs,
                                                               uint32_t* resultCount)
{
    if (!resultCount)
        throw Core::Exception::InvalidArgumentException(QStringLiteral("resultCount must not be nullptr"));
    std::vector<Tavix::ActionCommandResult> answers(size_t(results.size()));
    bool result = false;
    bool reached = false; // without a layer, the buffer holds no answers
    issueLoggingFailures([&] {
        result = sendThroughGigE([&](Tavix::IGigETransportLayer& layer) {
            reached = true;
            return layer.IssueScheduledActionCommand(deviceKey, groupKey, groupMask, actionTimeNs,
                                                     GenICam::gcstring(broadcastAddress.toUtf8().constData()), timeoutMs,
                                                     resultCount, answers.data());
        });
        // The answers go behind what the caller passed in.
        appendResults(results, answers, reached ? *resultCount : 0);
    });
    return result;
}

} // namespace Plugin::OptiRoster::Internal
