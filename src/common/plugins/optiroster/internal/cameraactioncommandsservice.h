#pragma once

#include <plugins/optiroster/icameraactioncommandsservice.h>

#include <QPointer>
#include <QSharedPointer>

namespace ParameterCollection {
class CParameterCollection;
}

namespace Plugin::OptiRoster::Internal {

class COptiRoster;

// Tests a camera's parameters for action commands and sends commands through a GigE
// transport layer of its own for each call. It keeps no state.
class CCameraActionCommandsService : public ICameraActionCommandsService
{
    Q_OBJECT
public:
    CCameraActionCommandsService(QPointer<COptiRoster> optiRoster, QObject* parent);

public slots:
    bool supportsActionCommands(Core::OptiRosterComponents::CameraInfoPtr info) override;
    bool supportsScheduledActionCommands(Core::OptiRosterComponents::CameraInfoPtr info) override;
    bool issueActionCommand(uint32_t deviceKey, uint32_t groupKey, uint32_t groupMask, QVector<CActionCommandResult>& results,
                            const QString& broadcastAddress, uint32_t timeoutMs, uint32_t* resultCount) override;
    bool issueScheduledActionCommand(uint32_t deviceKey, uint32_t groupKey, uint32_t groupMask, uint64_t actionTimeNs,
                                     QVector<CActionCommandResult>& results, const QString& broadcastAddress,
                                     uint32_t timeoutMs, uint32_t* resultCount) override;

private:
    // The parameters of an open camera, null for a closed or unknown one.
    QSharedPointer<ParameterCollection::CParameterCollection> openCameraParameters(
        const Core::OptiRosterComponents::CameraInfoPtr& info) const;

    QPointer<COptiRoster> m_optiRoster;
};

} // namespace Plugin::OptiRoster::Internal
