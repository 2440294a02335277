#pragma once

#include <tavix/genapi.h>

#include <QMetaType>
#include <QSharedPointer>
#include <QString>
#include <QStringList>
#include <QVector>

namespace ParameterCollection {
class CParameterCollection;
}

namespace Viewer {

/// A category of a node map as its description has it.
struct CCategorySnapshot
{
    QString name;
    QString displayName;
    QString description;
};

/// What a panel needs of one feature, read at one moment: its path, type, access, value, limits
/// and what the camera's description says of it. Panels keep these and not the node, which goes
/// when the device closes.
class CFeatureSnapshot
{
public:
    /// The feature of the node in the named map; a read that fails leaves its reason in readError.
    static CFeatureSnapshot read(const QString& mapName, const GenApi::INode& node);
    /// Every feature of every attached node map of the collection, map by map, in the order of
    /// each map's categories, each with the categories that lead to it. A map that goes away
    /// meanwhile ends its list; features are read one at a time, so that the device's close waits
    /// at most for one of them.
    static QVector<CFeatureSnapshot> readAll(ParameterCollection::CParameterCollection& collection);
    /// The features of the paths ("@Map/Feature") that are there, with their categories left out.
    static QVector<CFeatureSnapshot> readSome(ParameterCollection::CParameterCollection& collection, const QStringList& paths);

    bool isWritable() const { return access == GenApi::RW || access == GenApi::WO; }
    bool isReadable() const { return access == GenApi::RW || access == GenApi::RO; }
    bool isNumber() const { return type == GenApi::intfIInteger || type == GenApi::intfIFloat; }
    /// Whether an editor made for other can show this one: same feature, type, access and limits.
    bool sameKind(const CFeatureSnapshot& other) const;
    /// What the feature takes: "16 to 1920 in steps of 4 px", "20 to 1e+07 us"; empty but for numbers.
    QString rangeText() const;
    /// Empty when the typed number is one the feature takes, the reason otherwise.
    QString refusalOf(const QString& text) const;
    /// The tooltip of the feature: its display name and path, its description, what it takes,
    /// and its visibility.
    QString toolTipText() const;

    QString mapName;
    QString name;
    QString path; // "@Map/Feature", as the parameter service takes it
    GenApi::EInterfaceType type = GenApi::intfIValue;
    GenApi::EAccessMode access = GenApi::NI;
    QString value;
    QString readError;
    qint64 intMin = 0;
    qint64 intMax = 0;
    qint64 intInc = 1;
    double floatMin = 0.0;
    double floatMax = 0.0;
    double floatInc = 0.0; // 0: any value in the range
    bool logarithmic = false; // best shown on a logarithmic scale
    QString unit; // of an integer or a float; may be empty
    QStringList entries;
    QString displayName;
    QString toolTip;
    QString description;
    GenApi::EVisibility visibility = GenApi::Beginner;
    QStringList dependents; // names of the features of the same map that change with this one
    QVector<CCategorySnapshot> categories; // from the outermost to the one that lists it
};

} // namespace Viewer

Q_DECLARE_METATYPE(Viewer::CFeatureSnapshot)
