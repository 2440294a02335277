#pragma once

#include <core/appcorecomponents/context.h>

#include <QObject>

namespace Core::AppCoreComponents {

/// An object stamped with a context; description objects use it to carry their key.
class CContextObject : public QObject
{
    Q_OBJECT
public:
    /// An object with an empty context.
    explicit CContextObject(QObject* parent = nullptr);
    ~CContextObject() override;

    /// Stamps the object with a context.
    void setContext(const CContext& context);
    /// The object's context.
    const CContext& getContext() const { return m_context; }

private:
    CContext m_context;
};

} // namespace Core::AppCoreComponents
