#pragma once

#include <core/appcorecomponents/ibaseinfo.h>

#include <QObject>
#include <QSharedPointer>

namespace ParameterCollection {
class CParameter;
class CParameterCollection;
}

namespace Plugin::ParameterCollectionPool {

/// What a plug-in offers to the parameter pool: the parameters of the objects it describes.
class IParameterProvider : public QObject
{
    Q_OBJECT
public:
    /// A provider with a QObject parent.
    explicit IParameterProvider(QObject* parent = nullptr)
        : QObject(parent)
    {
    }

    /// Whether the provider has parameters of the described object.
    virtual bool hasParameterCollection(QSharedPointer<Core::AppCoreComponents::IBaseInfo> info) = 0;
    /// The parameters of the described object; empty when the provider has none.
    virtual QSharedPointer<ParameterCollection::CParameterCollection> getParameterCollection(
        QSharedPointer<Core::AppCoreComponents::IBaseInfo> info) = 0;
};

} // namespace Plugin::ParameterCollectionPool
