#pragma once

#include <core/appcorecomponents/ibaseinfo.h>

#include <QObject>
#include <QSharedPointer>

namespace ParameterCollection {
class CParameter;
class CParameterCollection;
}

namespace Plugin::ParameterCollectionPool {

// What a plug-in offers to the parameter pool: the parameters of the objects it describes.
class IParameterProvider : public QObject
{
    Q_OBJECT
public:
    explicit IParameterProvider(QObject* parent = nullptr)
        : QObject(parent)
    {
    }

    virtual bool hasParameterCollection(QSharedPointer<Core::AppCoreComponents::IBaseInfo> info) = 0;
    virtual QSharedPointer<ParameterCollection::CParameterCollection> getParameterCollection(
        QSharedPointer<Core::AppCoreComponents::IBaseInfo> info) = 0;
};

} // namespace Plugin::ParameterCollectionPool
