#include "parameter.h"
#include "parametercollection.h"

#include <set>

namespace ParameterCollection {

namespace {

QString text(const GenICam::gcstring& value)
{
    return QString::fromUtf8(value.c_str());
}

// The category below root that lists the feature, found depth first; empty for none.
QString categoryListing(GenApi::INode* category, const GenICam::gcstring& feature, std::set<GenApi::INode*>& seen)
{
    auto* listing = dynamic_cast<GenApi::ICategory*>(category);
    if (!listing || !seen.insert(category).second)
        return {};
    GenApi::NodeList_t listed;
    listing->GetFeatures(listed);
    for (GenApi::INode* node : listed) {
        if (node->GetName() == feature)
            return text(category->GetName());
        const QString deeper = categoryListing(node, feature, seen);
        if (!deeper.isNull())
            return deeper;
    }
    return QString(); // null: not found below here
}

} // namespace

CParameter::CParameter(QWeakPointer<CParameterCollection> collection, QString nodeMapName, QString featureName)
    : m_collection(std::move(collection))
    , m_nodeMapName(std::move(nodeMapName))
    , m_featureName(std::move(featureName))
{
}

CParameter::~CParameter() = default;

void CParameter::inspect(const std::function<void(GenApi::INode*)>& use) const
{
    const auto collection = m_collection.toStrongRef();
    const QByteArray feature = m_featureName.toUtf8();
    const bool attached = collection && collection->readNodeMap(m_nodeMapName, [&](GenApi::INodeMap& map) {
        use(map.GetNode(feature.constData()));
    });
    if (!attached)
        use(nullptr);
}

template <typename Interface, typename Use>
void CParameter::use(Use&& use) const
{
    inspect([&](GenApi::INode* node) {
        if (!node) {
            const QByteArray text = QStringLiteral("The parameter '%1' is not available.").arg(getPath()).toUtf8();
            throw GenICam::AccessException(text.constData(), __FILE__, __LINE__);
        }
        auto* typed = dynamic_cast<Interface*>(node);
        if (!typed) {
            const QByteArray text = QStringLiteral("The parameter '%1' has another type.").arg(getPath()).toUtf8();
            throw GenICam::LogicalErrorException(text.constData(), __FILE__, __LINE__);
        }
        use(*typed);
    });
}

void CParameter::tellWritten() const
{
    if (const auto collection = m_collection.toStrongRef())
        collection->tellParameterWritten(getPath());
}

bool CParameter::isAvailable() const
{
    bool available = false;
    inspect([&](GenApi::INode* node) { available = GenApi::IsAvailable(node); });
    return available;
}

bool CParameter::isBlocked() const
{
    const auto collection = m_collection.toStrongRef();
    if (!collection || !collection->getNodeMap(m_nodeMapName))
        return true;
    const auto state = collection->getObjectState();
    return state && (state->getState() == ObjectStateClosing || state->getState() == ObjectStateDeviceRemoved);
}

bool CParameter::isReadable() const
{
    bool readable = false;
    inspect([&](GenApi::INode* node) { readable = GenApi::IsReadable(node); });
    return readable;
}

bool CParameter::isWritable() const
{
    bool writable = false;
    inspect([&](GenApi::INode* node) { writable = GenApi::IsWritable(node); });
    return writable;
}

QString CParameter::toString() const
{
    QString value;
    use([&](GenApi::INode& node) { value = text(node.ToString()); });
    return value;
}

void CParameter::fromString(const QString& value)
{
    use([&](GenApi::INode& node) { node.FromString(value.toUtf8().constData()); });
    tellWritten();
}

QString CParameter::getDisplayName() const
{
    QString name = m_featureName;
    inspect([&](GenApi::INode* node) {
        if (node)
            name = text(node->GetDisplayName());
    });
    return name;
}

QString CParameter::getToolTip() const
{
    QString tip;
    inspect([&](GenApi::INode* node) {
        if (node)
            tip = text(node->GetToolTip());
    });
    return tip;
}

QString CParameter::getDescription() const
{
    QString description;
    inspect([&](GenApi::INode* node) {
        if (node)
            description = text(node->GetDescription());
    });
    return description;
}

GenApi::EVisibility CParameter::getVisibility() const
{
    GenApi::EVisibility visibility = GenApi::Beginner;
    inspect([&](GenApi::INode* node) {
        if (node)
            visibility = node->GetVisibility();
    });
    return visibility;
}

QString CParameter::getCategory() const
{
    QString category;
    const auto collection = m_collection.toStrongRef();
    if (!collection)
        return category;
    collection->readNodeMap(m_nodeMapName, [&](GenApi::INodeMap& map) {
        std::set<GenApi::INode*> seen;
        category = categoryListing(map.GetNode("Root"), m_featureName.toUtf8().constData(), seen);
    });
    return category == QLatin1String("Root") ? QString() : category;
}

QStringList CParameter::getDependents() const
{
    QStringList names;
    inspect([&](GenApi::INode* node) {
        if (!node)
            return;
        GenApi::NodeList_t dependents;
        node->GetDependents(dependents);
        for (const GenApi::INode* dependent : dependents)
            names << text(dependent->GetName());
    });
    return names;
}

qint64 CIntegerParameter::getValue() const
{
    qint64 value = 0;
    use<GenApi::IInteger>([&](GenApi::IInteger& node) { value = node.GetValue(); });
    return value;
}

void CIntegerParameter::setValue(qint64 value)
{
    use<GenApi::IInteger>([&](GenApi::IInteger& node) { node.SetValue(value); });
    tellWritten();
}

qint64 CIntegerParameter::getMin() const
{
    qint64 value = 0;
    use<GenApi::IInteger>([&](GenApi::IInteger& node) { value = node.GetMin(); });
    return value;
}

qint64 CIntegerParameter::getMax() const
{
    qint64 value = 0;
    use<GenApi::IInteger>([&](GenApi::IInteger& node) { value = node.GetMax(); });
    return value;
}

qint64 CIntegerParameter::getInc() const
{
    qint64 value = 1;
    use<GenApi::IInteger>([&](GenApi::IInteger& node) { value = node.GetInc(); });
    return value;
}

QString CIntegerParameter::getUnit() const
{
    QString unit;
    use<GenApi::IInteger>([&](GenApi::IInteger& node) { unit = text(node.GetUnit()); });
    return unit;
}

double CFloatParameter::getValue() const
{
    double value = 0.0;
    use<GenApi::IFloat>([&](GenApi::IFloat& node) { value = node.GetValue(); });
    return value;
}

void CFloatParameter::setValue(double value)
{
    use<GenApi::IFloat>([&](GenApi::IFloat& node) { node.SetValue(value); });
    tellWritten();
}

double CFloatParameter::getMin() const
{
    double value = 0.0;
    use<GenApi::IFloat>([&](GenApi::IFloat& node) { value = node.GetMin(); });
    return value;
}

double CFloatParameter::getMax() const
{
    double value = 0.0;
    use<GenApi::IFloat>([&](GenApi::IFloat& node) { value = node.GetMax(); });
    return value;
}

double CFloatParameter::getInc() const
{
    double value = 0.0;
    use<GenApi::IFloat>([&](GenApi::IFloat& node) { value = node.HasInc() ? node.GetInc() : 0.0; });
    return value;
}

QString CFloatParameter::getUnit() const
{
    QString unit;
    use<GenApi::IFloat>([&](GenApi::IFloat& node) { unit = text(node.GetUnit()); });
    return unit;
}

bool CFloatParameter::isLogarithmic() const
{
    bool logarithmic = false;
    use<GenApi::IFloat>([&](GenApi::IFloat& node) { logarithmic = node.GetRepresentation() == GenApi::Logarithmic; });
    return logarithmic;
}

QString CEnumParameter::getValue() const
{
    QString value;
    use<GenApi::IEnumeration>([&](GenApi::IEnumeration& node) { value = text(node.ToString()); });
    return value;
}

void CEnumParameter::setValue(const QString& value)
{
    use<GenApi::IEnumeration>([&](GenApi::IEnumeration& node) { node.FromString(value.toUtf8().constData()); });
    tellWritten();
}

QStringList CEnumParameter::getEntries() const
{
    QStringList entries;
    use<GenApi::IEnumeration>([&](GenApi::IEnumeration& node) {
        GenApi::gcstring_vector symbolics;
        node.GetSymbolics(symbolics);
        for (const auto& symbolic : symbolics)
            entries << text(symbolic);
    });
    return entries;
}

bool CBooleanParameter::getValue() const
{
    bool value = false;
    use<GenApi::IBoolean>([&](GenApi::IBoolean& node) { value = node.GetValue(); });
    return value;
}

void CBooleanParameter::setValue(bool value)
{
    use<GenApi::IBoolean>([&](GenApi::IBoolean& node) { node.SetValue(value); });
    tellWritten();
}

void CCommandParameter::execute()
{
    use<GenApi::ICommand>([&](GenApi::ICommand& node) { node.Execute(); });
    tellWritten();
}

bool CCommandParameter::isDone() const
{
    bool done = true;
    use<GenApi::ICommand>([&](GenApi::ICommand& node) { done = node.IsDone(); });
    return done;
}

QString CStringParameter::getValue() const
{
    QString value;
    use<GenApi::IString>([&](GenApi::IString& node) { value = text(node.GetValue()); });
    return value;
}

void CStringParameter::setValue(const QString& value)
{
    use<GenApi::IString>([&](GenApi::IString& node) { node.SetValue(value.toUtf8().constData()); });
    tellWritten();
}

} // namespace ParameterCollection
