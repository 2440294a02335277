#pragma once

#include <plugins/optiroster/itransportlayerinfo.h>

#include <tavix/deviceinfo.h>

#include <QMutex>

#include <atomic>

namespace Plugin::OptiRoster::Internal {

class CTransportLayerInfo : public ITransportLayerInfo
{
    Q_OBJECT
public:
    CTransportLayerInfo(const QString& tlClass, const QString& tlType, const QString& friendlyName,
                        const QString& fullName, QObject* parent);
    ~CTransportLayerInfo() override;

    static QSharedPointer<CTransportLayerInfo> fromTavixTransportLayer(Tavix::CTlInfo tlInfo);

    const CCameraInfoList& getCameraInfoList() const override;
    const CInterfaceInfoList& getInterfaceInfoList() const override;
    QString getClass() const override;
    QString getTlType() const override;
    QString getFriendlyName() const override;
    QString getFullName() const override;
    bool haveContainedCamerasChanged() const override;

    // A pass on the pool's thread assigns the lists while the main thread merges and removes
    // lost cameras: both sides go through these, which copy and assign under the lists' lock.
    void setCameraInfoList(const CCameraInfoList& list);
    CCameraInfoList cameraInfoListCopy() const;
    // Stores the list unless it equals the present one, and answers whether it did: compared and
    // stored in one step, so that a lost camera taken out meanwhile counts as a difference.
    bool replaceCameraInfoList(const CCameraInfoList& list);
    void setInterfaceInfoList(const CInterfaceInfoList& list);
    CInterfaceInfoList interfaceInfoListCopy() const;

    void setHaveContainedCamerasChanged(bool changed);
    // Reads the flag and clears it in one step. A pass only ever sets it, after it has stored
    // the list that changed, and the merge that publishes the lists consumes it: a later pass
    // can't erase the news of one whose result is still waiting to be merged.
    bool takeHaveContainedCamerasChanged();

private:
    QString m_class;
    QString m_tlType;
    QString m_friendlyName;
    QString m_fullName;
    // Stored by a pass on the pool's thread, read by the merge on the main thread.
    std::atomic<bool> m_haveContainedCamerasChanged{false};
    mutable QMutex m_listsMutex; // a leaf lock: held for a copy or an assignment alone
    CCameraInfoList m_cameraInfoList;
    CInterfaceInfoList m_interfaceInfoList;
};

} // namespace Plugin::OptiRoster::Internal
