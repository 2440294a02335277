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

    void setCameraInfoList(const CCameraInfoList& list);
    // A copy taken under the list's lock, for the pass and the removal of a lost camera, which
    // change the list from two threads.
    CCameraInfoList cameraInfoListCopy() const;
    void setInterfaceInfoList(const CInterfaceInfoList& list);
    void setHaveContainedCamerasChanged(bool changed);

private:
    QString m_class;
    QString m_tlType;
    QString m_friendlyName;
    QString m_fullName;
    // Stored by a pass on the pool's thread, read by the merge on the main thread.
    std::atomic<bool> m_haveContainedCamerasChanged{false};
    mutable QMutex m_cameraInfoListMutex; // a leaf lock: held for a copy or an assignment alone
    CCameraInfoList m_cameraInfoList;
    CInterfaceInfoList m_interfaceInfoList;
};

} // namespace Plugin::OptiRoster::Internal
