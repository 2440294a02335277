#pragma once

#include <tavix/genapi.h>

#include <QSharedPointer>
#include <QString>
#include <QStringList>
#include <QVector>

namespace ParameterCollection {
class CParameterCollection;
}

namespace Viewer {

// What the editor needs of one feature, read at one moment: its path, type, access, value and
// limits. The editor keeps these and not the node, which goes when the device closes.
class CFeatureSnapshot
{
public:
    // The feature of the node in the named map; a read that fails leaves its reason in readError.
    static CFeatureSnapshot read(const QString& mapName, const GenApi::INode& node);
    // Every implemented feature of every attached node map of the collection, map by map.
    static QVector<CFeatureSnapshot> readAll(const ParameterCollection::CParameterCollection& collection);

    bool isWritable() const { return access == GenApi::RW || access == GenApi::WO; }
    bool isReadable() const { return access == GenApi::RW || access == GenApi::RO; }
    // Whether an editor made for other can show this one: same feature, type and access.
    bool sameKind(const CFeatureSnapshot& other) const;

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
    QString unit; // of an integer or a float; may be empty
    QStringList entries;
};

} // namespace Viewer
