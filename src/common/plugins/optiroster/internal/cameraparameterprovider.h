#pragma once

#include <core/parametercollectionpool/iparameterprovider.h>
#include <plugins/optiroster/idevice.h>

#include <QMutex>
#include <QPointer>
#include <QVector>

namespace Plugin::OptiRoster::Internal {

class ADevicePool;

// Offers the host's parameter pool the parameter collection of every device that one of the
// device pools holds, found by the device's description. A closed device offers its collection
// too; its parameters appear when its node maps are attached.
class CCameraParameterProvider : public Plugin::ParameterCollectionPool::IParameterProvider
{
    Q_OBJECT
public:
    explicit CCameraParameterProvider(QObject* parent);
    ~CCameraParameterProvider() override;

    // Pools are searched in the order they were added; a pool is added once.
    void addDevicePool(QPointer<ADevicePool> pool);

    bool hasParameterCollection(QSharedPointer<Core::AppCoreComponents::IBaseInfo> info) override;
    QSharedPointer<ParameterCollection::CParameterCollection> getParameterCollection(
        QSharedPointer<Core::AppCoreComponents::IBaseInfo> info) override;

private:
    QSharedPointer<IDevice> findDevice(const QSharedPointer<Core::AppCoreComponents::IBaseInfo>& info);

    QVector<QPointer<ADevicePool>> m_devicePools;
    QMutex m_mutex;
};

} // namespace Plugin::OptiRoster::Internal
