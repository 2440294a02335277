#pragma once

#include <plugins/optiroster/istaticdefectpixelcorrectionservice.h>

#include <QPointer>

namespace Plugin::OptiRoster::Internal {

class COptiRoster;

// Finds the camera for a client's list operation through the roster and turns each failure
// into false, the reason on the description and a log entry.
class CStaticDefectPixelCorrectionService : public IStaticDefectPixelCorrectionService
{
    Q_OBJECT
public:
    CStaticDefectPixelCorrectionService(QPointer<COptiRoster> pool, QObject* parent);

    bool getDefectPixelList(const Core::OptiRosterComponents::CameraInfoPtr& info, Tavix::StaticDefectPixelList& list,
                            EStaticDefectPixelListType type) override;
    bool setDefectPixelList(const Core::OptiRosterComponents::CameraInfoPtr& info, Tavix::StaticDefectPixelList& list,
                            EStaticDefectPixelListType type) override;
    bool normalizeDefectPixelList(const Core::OptiRosterComponents::CameraInfoPtr& info,
                                  Tavix::StaticDefectPixelList& list) override;
    bool isDefectPixelCorrectionSupported(const Core::OptiRosterComponents::CameraInfoPtr& info) override;

private:
    COptiRoster& pool() const;

    QPointer<COptiRoster> m_pool;
};

} // namespace Plugin::OptiRoster::Internal
