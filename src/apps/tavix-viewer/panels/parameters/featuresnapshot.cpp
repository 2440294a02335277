#include "featuresnapshot.h"

#include <core/parametercollection/parametercollection.h>

namespace Viewer {

namespace {

QString text(const GenApi::gcstring& value)
{
    return QString::fromUtf8(value.c_str());
}

void readLimits(CFeatureSnapshot& feature, const GenApi::INode& node)
{
    if (const auto* integer = dynamic_cast<const GenApi::IInteger*>(&node)) {
        feature.intMin = integer->GetMin();
        feature.intMax = integer->GetMax();
        feature.intInc = qMax<qint64>(1, integer->GetInc());
        feature.unit = text(integer->GetUnit());
    } else if (const auto* floating = dynamic_cast<const GenApi::IFloat*>(&node)) {
        feature.floatMin = floating->GetMin();
        feature.floatMax = floating->GetMax();
        feature.unit = text(floating->GetUnit());
    } else if (const auto* enumeration = dynamic_cast<const GenApi::IEnumeration*>(&node)) {
        GenApi::gcstring_vector symbolics;
        enumeration->GetSymbolics(symbolics);
        for (const auto& symbolic : symbolics)
            feature.entries << text(symbolic);
    }
}

} // namespace

CFeatureSnapshot CFeatureSnapshot::read(const QString& mapName, const GenApi::INode& node)
{
    CFeatureSnapshot feature;
    feature.mapName = mapName;
    feature.name = text(node.GetName());
    feature.path = mapName + QLatin1Char('/') + feature.name;
    feature.type = node.GetPrincipalInterfaceType();
    feature.access = node.GetAccessMode();
    try {
        if (feature.access != GenApi::NA)
            readLimits(feature, node);
        if (feature.isReadable() && feature.type != GenApi::intfICommand)
            feature.value = text(node.ToString());
    } catch (const GenICam::GenericException& e) {
        feature.readError = QString::fromUtf8(e.GetDescription());
    }
    return feature;
}

QVector<CFeatureSnapshot> CFeatureSnapshot::readAll(const ParameterCollection::CParameterCollection& collection)
{
    QVector<CFeatureSnapshot> features;
    for (const QString& mapName : collection.getNodeMapNames()) {
        const GenApi::INodeMap* nodeMap = collection.getNodeMap(mapName);
        if (!nodeMap)
            continue;
        GenApi::NodeList_t nodes;
        nodeMap->GetNodes(nodes);
        for (const GenApi::INode* node : nodes) {
            if (GenApi::IsImplemented(node))
                features.append(read(mapName, *node));
        }
    }
    return features;
}

bool CFeatureSnapshot::sameKind(const CFeatureSnapshot& other) const
{
    return path == other.path && type == other.type && access == other.access && entries == other.entries
           && intMin == other.intMin && intMax == other.intMax && intInc == other.intInc && floatMin == other.floatMin
           && floatMax == other.floatMax && unit == other.unit;
}

} // namespace Viewer
