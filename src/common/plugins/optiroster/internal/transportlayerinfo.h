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

    // A pass on the pool's thread works on the layer's latest lists, and the main thread's merge
    // publishes them to what getCameraInfoList() and getInterfaceInfoList() return. A client
    // walks those lists by reference on the main thread, where the results arrive, so they must
    // never change on another: an assignment there could free what the client walks.
    void setCameraInfoList(const CCameraInfoList& list);
    CCameraInfoList cameraInfoListCopy() const;
    // Stores the list unless it equals the latest one, and answers whether it did: compared and
    // stored in one step, so that a lost camera taken out meanwhile counts as a difference.
    bool replaceCameraInfoList(const CCameraInfoList& list);
    void setInterfaceInfoList(const CInterfaceInfoList& list);
    // Main thread only: the latest lists become the published ones.
    void publishLists();

    void setHaveContainedCamerasChanged(bool changed);
    // Reads the flag and clears it in one step. A pass only ever sets it, after it has stored
    // the list that changed, and the merge that publishes the lists consumes it, before it
    // publishes: a later pass can't erase the news of one whose result is still to be merged.
    bool takeHaveContainedCamerasChanged();

private:
    QString m_class;
    QString m_tlType;
    QString m_friendlyName;
    QString m_fullName;
    // Stored by a pass on the pool's thread, read by the merge on the main thread.
    std::atomic<bool> m_haveContainedCamerasChanged{false};
    mutable QMutex m_listsMutex; // a leaf lock over the latest lists: held for a copy or an assignment
    CCameraInfoList m_latestCameraInfoList;
    CInterfaceInfoList m_latestInterfaceInfoList;
    CCameraInfoList m_cameraInfoList;       // published: changed on the main thread only
    CInterfaceInfoList m_interfaceInfoList; // published: changed on the main thread only
};

} // namespace Plugin::OptiRoster::Internal
