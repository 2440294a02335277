#include "featuresnapshot.h"

#include <core/parametercollection/parametercollection.h>

#include <QCoreApplication>

#include <limits>
#include <set>

namespace Viewer {

namespace {

QString tr(const char* text)
{
    return QCoreApplication::translate("Viewer::CFeatureSnapshot", text);
}

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
        feature.logarithmic = integer->GetRepresentation() == GenApi::Logarithmic;
    } else if (const auto* floating = dynamic_cast<const GenApi::IFloat*>(&node)) {
        feature.floatMin = floating->GetMin();
        feature.floatMax = floating->GetMax();
        feature.floatInc = floating->HasInc() ? floating->GetInc() : 0.0;
        feature.unit = text(floating->GetUnit());
        feature.logarithmic = floating->GetRepresentation() == GenApi::Logarithmic;
    } else if (const auto* enumeration = dynamic_cast<const GenApi::IEnumeration*>(&node)) {
        GenApi::gcstring_vector symbolics;
        enumeration->GetSymbolics(symbolics);
        for (const auto& symbolic : symbolics)
            feature.entries << text(symbolic);
    }
}

void readDescription(CFeatureSnapshot& feature, const GenApi::INode& node)
{
    feature.displayName = text(node.GetDisplayName());
    feature.toolTip = text(node.GetToolTip());
    feature.description = text(node.GetDescription());
    feature.visibility = node.GetVisibility();
    GenApi::NodeList_t dependents;
    node.GetDependents(dependents);
    for (const GenApi::INode* dependent : dependents)
        feature.dependents << text(dependent->GetName());
}

CCategorySnapshot categoryOf(const GenApi::INode& node)
{
    return {text(node.GetName()), text(node.GetDisplayName()), text(node.GetDescription())};
}

// A feature's name and the categories that lead to it.
using CPlace = QPair<QString, QVector<CCategorySnapshot>>;

// The features below the category, depth first, in the description's order. A description whose
// categories loop is walked once.
void walk(GenApi::INode* category, QVector<CCategorySnapshot>& chain, std::set<GenApi::INode*>& seen, QVector<CPlace>& places)
{
    auto* listing = dynamic_cast<GenApi::ICategory*>(category);
    if (!listing || !seen.insert(category).second)
        return;
    GenApi::NodeList_t listed;
    listing->GetFeatures(listed);
    for (GenApi::INode* node : listed) {
        if (dynamic_cast<GenApi::ICategory*>(node)) {
            chain.append(categoryOf(*node));
            walk(node, chain, seen, places);
            chain.removeLast();
        } else if (seen.insert(node).second) {
            places.append({text(node->GetName()), chain});
        }
    }
}

// Where each feature of the map stands: those of its categories first, the rest after.
QVector<CPlace> placesIn(GenApi::INodeMap& map)
{
    QVector<CPlace> places;
    std::set<GenApi::INode*> seen;
    QVector<CCategorySnapshot> chain;
    walk(map.GetNode("Root"), chain, seen, places);
    GenApi::NodeList_t all;
    map.GetNodes(all);
    for (GenApi::INode* node : all) {
        if (seen.insert(node).second)
            places.append({text(node->GetName()), {}});
    }
    return places;
}

bool isBlocked(const ParameterCollection::CParameterCollection& collection)
{
    const auto state = collection.getObjectState();
    return state
           && (state->getState() == ParameterCollection::ObjectStateClosing || state->getState() == ParameterCollection::ObjectStateDeviceRemoved);
}

// How far value lies past the last step from minimum (value >= minimum), without an overflow
// for limits as far apart as 64 bits allow.
qint64 stepRemainder(qint64 value, qint64 minimum, qint64 increment)
{
    return qint64((quint64(value) - quint64(minimum)) % quint64(increment));
}

// A float's limits in the shortest form that is still exact enough to read.
QString number(double value)
{
    return QString::number(value, 'g', 12);
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
        readDescription(feature, node);
        if (feature.access != GenApi::NA)
            readLimits(feature, node);
        if (feature.isReadable() && feature.type != GenApi::intfICommand)
            feature.value = text(node.ToString());
    } catch (const GenICam::GenericException& e) {
        feature.readError = QString::fromUtf8(e.GetDescription());
    }
    return feature;
}

QVector<CFeatureSnapshot> CFeatureSnapshot::readAll(ParameterCollection::CParameterCollection& collection)
{
    QVector<CFeatureSnapshot> features;
    for (const QString& mapName : collection.getNodeMapNames()) {
        QVector<CPlace> places;
        if (!collection.readNodeMap(mapName, [&](GenApi::INodeMap& map) { places = placesIn(map); }))
            continue;
        for (const CPlace& place : qAsConst(places)) {
            if (isBlocked(collection))
                return features;
            const QByteArray name = place.first.toUtf8();
            const bool attached = collection.readNodeMap(mapName, [&](GenApi::INodeMap& map) {
                const GenApi::INode* node = map.GetNode(name.constData());
                if (!GenApi::IsImplemented(node))
                    return;
                features.append(read(mapName, *node));
                features.last().categories = place.second;
            });
            if (!attached)
                break; // the map went: its other features went with it
        }
    }
    return features;
}

QVector<CFeatureSnapshot> CFeatureSnapshot::readSome(ParameterCollection::CParameterCollection& collection, const QStringList& paths)
{
    QVector<CFeatureSnapshot> features;
    for (const QString& path : paths) {
        const QString mapName = path.section(QLatin1Char('/'), 0, 0);
        const QByteArray name = path.section(QLatin1Char('/'), 1).toUtf8();
        collection.readNodeMap(mapName, [&](GenApi::INodeMap& map) {
            if (const GenApi::INode* node = map.GetNode(name.constData()); GenApi::IsImplemented(node))
                features.append(read(mapName, *node));
        });
    }
    return features;
}

bool CFeatureSnapshot::sameKind(const CFeatureSnapshot& other) const
{
    return path == other.path && type == other.type && access == other.access && entries == other.entries
           && intMin == other.intMin && intMax == other.intMax && intInc == other.intInc && floatMin == other.floatMin
           && floatMax == other.floatMax && floatInc == other.floatInc && unit == other.unit;
}

QString CFeatureSnapshot::rangeText() const
{
    const QString withUnit = unit.isEmpty() ? QString() : QLatin1Char(' ') + unit;
    if (type == GenApi::intfIInteger) {
        const bool bounded = intMin != std::numeric_limits<qint64>::min() || intMax != std::numeric_limits<qint64>::max();
        const QString range = bounded ? tr("%1 to %2").arg(intMin).arg(intMax) : tr("any whole number");
        return intInc > 1 ? tr("%1 in steps of %2%3").arg(range).arg(intInc).arg(withUnit) : range + withUnit;
    }
    if (type == GenApi::intfIFloat) {
        const QString range = tr("%1 to %2").arg(number(floatMin), number(floatMax));
        return floatInc > 0 ? tr("%1 in steps of %2%3").arg(range, number(floatInc), withUnit) : range + withUnit;
    }
    return {};
}

QString CFeatureSnapshot::refusalOf(const QString& typed) const
{
    const QString takes = tr("%1 takes %2.").arg(name, rangeText());
    if (type == GenApi::intfIInteger) {
        bool ok = false;
        const qint64 value = typed.trimmed().toLongLong(&ok);
        if (!ok)
            return tr("%1 is not a whole number: %2").arg(typed, takes);
        if (value < intMin || value > intMax)
            return tr("%1 is out of range: %2").arg(typed, takes);
        const qint64 offGrid = stepRemainder(value, intMin, intInc);
        if (offGrid != 0)
            return tr("%1 is off the increment: %2 The nearest are %3 and %4.").arg(typed, takes).arg(value - offGrid).arg(value - offGrid + intInc);
        return {};
    }
    bool ok = false;
    const double value = typed.trimmed().toDouble(&ok);
    if (!ok)
        return tr("%1 is not a number: %2").arg(typed, takes);
    if (value < floatMin || value > floatMax)
        return tr("%1 is out of range: %2").arg(typed, takes);
    return {};
}

QString CFeatureSnapshot::toolTipText() const
{
    QStringList lines{path};
    const QString title = displayName.isEmpty() || displayName == name ? QString() : displayName;
    if (!title.isEmpty() || !toolTip.isEmpty())
        lines << (title.isEmpty() ? toolTip : toolTip.isEmpty() ? title : tr("%1: %2").arg(title, toolTip));
    if (!description.isEmpty() && description != toolTip)
        lines << description;
    static const char* const levels[] = {QT_TRANSLATE_NOOP("Viewer::CFeatureSnapshot", "Beginner"),
                                         QT_TRANSLATE_NOOP("Viewer::CFeatureSnapshot", "Expert"),
                                         QT_TRANSLATE_NOOP("Viewer::CFeatureSnapshot", "Guru"),
                                         QT_TRANSLATE_NOOP("Viewer::CFeatureSnapshot", "Invisible")};
    if (visibility != GenApi::Beginner)
        lines << tr("For: %1").arg(tr(levels[qBound(0, int(visibility), 3)]));
    const QString range = rangeText();
    if (!range.isEmpty())
        lines << tr("Takes %1").arg(range);
    return lines.join(QLatin1Char('\n'));
}

} // namespace Viewer
