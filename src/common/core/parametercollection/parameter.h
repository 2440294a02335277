#pragma once

#include <QSharedPointer>
#include <QString>
#include <QStringList>

namespace GenApi {
class INode;
}

namespace ParameterCollection {

class CParameterCollection;

// A handle on one feature of a collection's node map. It finds the node anew at each use, so
// that it stays valid while maps are detached and attached again; while the map is away the
// feature is not available, and reads and writes throw the GenICam exceptions a node map would.
class CParameter
{
public:
    CParameter(QWeakPointer<CParameterCollection> collection, QString nodeMapName, QString featureName);
    virtual ~CParameter();

    QString getNodeMapName() const { return m_nodeMapName; }
    QString getName() const { return m_featureName; }

    bool isAvailable() const;
    // The device is closing or was removed: its parameters can't be used now.
    bool isBlocked() const;
    bool isReadable() const;
    bool isWritable() const;
    QString toString() const;
    void fromString(const QString& value);

protected:
    GenApi::INode* node() const;
    GenApi::INode* existingNode() const; // throws when the feature is not there

    template <typename Interface>
    Interface* typedNode() const;

private:
    QWeakPointer<CParameterCollection> m_collection;
    QString m_nodeMapName;
    QString m_featureName;
};

class CIntegerParameter : public CParameter
{
public:
    using CParameter::CParameter;
    qint64 getValue() const;
    void setValue(qint64 value);
    qint64 getMin() const;
    qint64 getMax() const;
};

class CEnumParameter : public CParameter
{
public:
    using CParameter::CParameter;
    QString getValue() const;
    void setValue(const QString& value);
    QStringList getEntries() const;
};

class CBooleanParameter : public CParameter
{
public:
    using CParameter::CParameter;
    bool getValue() const;
    void setValue(bool value);
};

class CCommandParameter : public CParameter
{
public:
    using CParameter::CParameter;
    void execute();
    bool isDone() const;
};

} // namespace ParameterCollection
