#pragma once

#include <tavix/genapi.h>

#include <QSharedPointer>
#include <QString>
#include <QStringList>

#include <functional>

namespace ParameterCollection {

class CParameterCollection;

/// A handle on one feature of a collection's node map. It finds the node anew at each use, so
/// that it stays valid while maps are detached and attached again; while the map is away the
/// feature is not available, and reads and writes throw the GenICam exceptions a node map would.
///
/// Each use of the node runs under the collection's read lock (see
/// CParameterCollection::readNodeMap()): a device that closes meanwhile detaches its map only
/// once the use is over. A write or a command tells the collection's parameter listeners once it
/// has succeeded.
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
    /// "@Map/Feature".
    QString getPath() const { return m_nodeMapName + QLatin1Char('/') + m_featureName; }

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

    ///@{
    /// What the camera's description says of the feature; the name, empty texts and Beginner
    /// while the feature isn't there.
    QString getDisplayName() const;
    QString getToolTip() const;
    QString getDescription() const;
    GenApi::EVisibility getVisibility() const;
    ///@}
    /// The name of the category that lists the feature; empty for the root's own features and
    /// while the feature isn't there.
    QString getCategory() const;
    /// The names of the features whose value, limits or access may change when this one changes.
    QStringList getDependents() const;

protected:
    /// Runs use on the node under the collection's read lock; throws the exception of a node
    /// map when the feature is not there, and LogicalErrorException when it is of another type.
    template <typename Interface = GenApi::INode, typename Use>
    void use(Use&& use) const;
    /// Runs use on the node, or on null while the feature isn't there, under the read lock.
    void inspect(const std::function<void(GenApi::INode* node)>& use) const;
    /// Tells the collection's parameter listeners that the feature was written.
    void tellWritten() const;

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
    /// The step between values.
    qint64 getInc() const;
    /// The unit ("px"); empty when the feature names none.
    QString getUnit() const;
};

/// A floating-point feature.
class CFloatParameter : public CParameter
{
public:
    /// The constructor of CParameter.
    using CParameter::CParameter;
    /// The value.
    double getValue() const;
    /// Writes the value.
    void setValue(double value);
    /// The lowest value the feature takes.
    double getMin() const;
    /// The highest value the feature takes.
    double getMax() const;
    /// The step between values; 0 when the feature takes any value in its range.
    double getInc() const;
    /// The unit ("us"); empty when the feature names none.
    QString getUnit() const;
    /// Whether a person sees the value best on a logarithmic scale (an exposure time).
    bool isLogarithmic() const;
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

/// A string feature.
class CStringParameter : public CParameter
{
public:
    /// The constructor of CParameter.
    using CParameter::CParameter;
    /// The value.
    QString getValue() const;
    /// Writes the value.
    void setValue(const QString& value);
};

} // namespace ParameterCollection
