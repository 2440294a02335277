#pragma once

#include <core/optirostercomponents/iinterfaceinfo.h>
#include <plugins/optiroster/iinterface.h>

#include <memory>

namespace Tavix {
class IInterface;
}

namespace Plugin::OptiRoster::Internal {

// The live object of one transport layer interface: it opens, closes, and while open offers
// the interface's node map under "@Interface".
class CInterface : public IInterface
{
    Q_OBJECT
public:
    CInterface(QSharedPointer<Core::OptiRosterComponents::IInterfaceInfo> info, QObject* parent);
    ~CInterface() override;

    DeviceBaseInfoPtr getInfo() const override;
    bool isConnected() override;
    bool isOpen() override;
    QSharedPointer<ParameterCollection::CParameterCollection> getParameterCollection() const override;

public slots:
    bool open(bool monitorMode = false) override;
    void close() override;

private:
    class CTransportLayerOwner;

    void createSdkInterface();
    void releaseSdkInterface();

    Tavix::IInterface* m_pInterface = nullptr;
    // The layer that made m_pInterface, kept until the interface is destroyed through it, so
    // that a close can't fail for want of a layer and no SDK object outlives this one.
    std::unique_ptr<CTransportLayerOwner> m_pTransportLayer;
    QSharedPointer<Core::OptiRosterComponents::IInterfaceInfo> m_ptrInfo;
    QSharedPointer<ParameterCollection::CParameterCollection> m_ptrParameterCollection;
    QSharedPointer<ParameterCollection::CObjectState> m_ptrObjectState;
};

} // namespace Plugin::OptiRoster::Internal
