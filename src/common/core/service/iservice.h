#pragma once

#include <QObject>

namespace Core::Service {

/// Root of all services; a service is found in the registry by its interface type alone.
class IService : public QObject
{
    Q_OBJECT
public:
    /// A service; services live by shared pointers and have no parent in practice.
    explicit IService(QObject* parent = nullptr)
        : QObject(parent)
    {
    }
};

} // namespace Core::Service
