#pragma once

#include <core/optirostercomponents/icamerainfo.h>
#include <core/service/iservice.h>
#include <plugins/optiroster/actioncommandresult.h>

#include <QString>
#include <QVector>

#include <cstdint>

namespace Plugin::OptiRoster {

/// GigE Vision action commands: whether a camera can take part, and the sending of a command
/// that every camera with a matching key carries out.
class ICameraActionCommandsService : public Core::Service::IService
{
    Q_OBJECT
public:
    using IService::IService;

public slots:
    /// Whether the camera takes action commands.
    virtual bool supportsActionCommands(Core::OptiRosterComponents::CameraInfoPtr info) = 0;
    /// Whether the camera takes action commands at a time of its synchronised clock.
    virtual bool supportsScheduledActionCommands(Core::OptiRosterComponents::CameraInfoPtr info) = 0;
    /// results' size on entry is how many answers the caller takes; on return it holds the
    /// answers, of which *resultCount tells the number.
    virtual bool issueActionCommand(uint32_t deviceKey, uint32_t groupKey, uint32_t groupMask,
                                    QVector<CActionCommandResult>& results, const QString& broadcastAddress,
                                    uint32_t timeoutMs, uint32_t* resultCount) = 0;
    /// The same at actionTimeNs of the cameras' synchronised clocks. The answers are appended
    /// behind the entries results holds on entry, and resultCount must not be null.
    virtual bool issueScheduledActionCommand(uint32_t deviceKey, uint32_t groupKey, uint32_t groupMask, uint64_t actionTimeNs,
                                             QVector<CActionCommandResult>& results, const QString& broadcastAddress,
                                             uint32_t timeoutMs, uint32_t* resultCount) = 0;
};

} // namespace Plugin::OptiRoster
