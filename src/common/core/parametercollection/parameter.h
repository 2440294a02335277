#pragma once

#include <QSharedPointer>
#include <QString>
#include <QStringList>

namespace GenApi {
class INode;
}

namespace ParameterCollection {

class CParameterCollection;

/// A handle on one feature of a collection's node map. It finds the node anew at each use, so
/// that it stays valid while maps are detached and attached again; while the map is away the
/// feature is not available, and reads and writes throw the GenICam exceptions a node map would.
class CParameter
{
public:
    /// A handle on the feature of the named node map of the collection.
    CParameter(QWeakPointer<CParameterCollection> collection, QString nodeMapName, QString featureName);
    virtual ~CParameter();

    /// The node map's name, such as "@CameraDevice".
    QString getNodeMapName() const { return m_nodeMapName; }
    /// The feature's name.
    QString getName() const { return m_featureName; }

    /// Whether the feature exists in an attached map and isn't blocked.
    bool isAvailable() const;
    /// The device is closing or was removed: its parameters can't be used now.
    bool isBlocked() const;
    /// Whether the feature can be read now.
    bool isReadable() const;
    /// Whether the feature can be written now.
    bool isWritable() const;
    /// The value as text; throws the GenICam exceptions of the node.
    QString toString() const;
    /// Writes the value from text; throws the GenICam exceptions of the node.
    void fromString(const QString& value);

protected:
    /// The node, or null while the feature isn't there.
    GenApi::INode* node() const;
    GenApi::INode* existingNode() const; ///< throws when the feature is not there

    template <typename Interface>
    /// The node as the given GenApi interface; throws when it is not there or of another type.
    Interface* typedNode() const;

private:
    QWeakPointer<CParameterCollection> m_collection;
    QString m_nodeMapName;
    QString m_featureName;
};

/// An integer feature.
class CIntegerParameter : public CParameter
{
public:
    /// The constructor of CParameter.
    using CParameter::CParameter;
    /// The value.
    qint64 getValue() const;
    /// Writes the value.
    void setValue(qint64 value);
    /// The lowest value the feature takes.
    qint64 getMin() const;
    /// The highest value the feature takes.
    qint64 getMax() const;
};

/// An enumeration feature, by the symbolic names of its entries.
class CEnumParameter : public CParameter
{
public:
    /// The constructor of CParameter.
    using CParameter::CParameter;
    /// The current entry's name.
    QString getValue() const;
    /// Selects the entry of that name.
    void setValue(const QString& value);
    /// The names of the entries available now.
    QStringList getEntries() const;
};

/// A boolean feature.
class CBooleanParameter : public CParameter
{
public:
    /// The constructor of CParameter.
    using CParameter::CParameter;
    /// The value.
    bool getValue() const;
    /// Writes the value.
    void setValue(bool value);
};

/// A command feature.
class CCommandParameter : public CParameter
{
public:
    /// The constructor of CParameter.
    using CParameter::CParameter;
    /// Runs the command.
    void execute();
    /// Whether the last run has finished.
    bool isDone() const;
};

} // namespace ParameterCollection
