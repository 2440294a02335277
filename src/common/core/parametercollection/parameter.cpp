#include "parameter.h"
#include "parametercollection.h"

#include <tavix/genapi.h>

namespace ParameterCollection {

CParameter::CParameter(QWeakPointer<CParameterCollection> collection, QString nodeMapName, QString featureName)
    : m_collection(std::move(collection))
    , m_nodeMapName(std::move(nodeMapName))
    , m_featureName(std::move(featureName))
{
}

CParameter::~CParameter() = default;

GenApi::INode* CParameter::node() const
{
    const auto collection = m_collection.toStrongRef();
    GenApi::INodeMap* map = collection ? collection->getNodeMap(m_nodeMapName) : nullptr;
    return map ? map->GetNode(m_featureName.toUtf8().constData()) : nullptr;
}

GenApi::INode* CParameter::existingNode() const
{
    GenApi::INode* found = node();
    if (!found) {
        const QByteArray text = QStringLiteral("The parameter '%1/%2' is not available.").arg(m_nodeMapName, m_featureName).toUtf8();
        throw GenICam::AccessException(text.constData(), __FILE__, __LINE__);
    }
    return found;
}

template <typename Interface>
Interface* CParameter::typedNode() const
{
    auto typed = dynamic_cast<Interface*>(existingNode());
    if (!typed) {
        const QByteArray text = QStringLiteral("The parameter '%1/%2' has another type.").arg(m_nodeMapName, m_featureName).toUtf8();
        throw GenICam::LogicalErrorException(text.constData(), __FILE__, __LINE__);
    }
    return typed;
}

bool CParameter::isAvailable() const
{
    return GenApi::IsAvailable(node());
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
    return GenApi::IsReadable(node());
}

bool CParameter::isWritable() const
{
    return GenApi::IsWritable(node());
}

QString CParameter::toString() const
{
    return QString::fromUtf8(existingNode()->ToString().c_str());
}

void CParameter::fromString(const QString& value)
{
    existingNode()->FromString(value.toUtf8().constData());
}

qint64 CIntegerParameter::getValue() const { return typedNode<GenApi::IInteger>()->GetValue(); }
void CIntegerParameter::setValue(qint64 value) { typedNode<GenApi::IInteger>()->SetValue(value); }
qint64 CIntegerParameter::getMin() const { return typedNode<GenApi::IInteger>()->GetMin(); }
qint64 CIntegerParameter::getMax() const { return typedNode<GenApi::IInteger>()->GetMax(); }

QString CEnumParameter::getValue() const { return QString::fromUtf8(typedNode<GenApi::IEnumeration>()->ToString().c_str()); }
void CEnumParameter::setValue(const QString& value) { typedNode<GenApi::IEnumeration>()->FromString(value.toUtf8().constData()); }
QStringList CEnumParameter::getEntries() const
{
    GenApi::gcstring_vector symbolics;
    typedNode<GenApi::IEnumeration>()->GetSymbolics(symbolics);
    QStringList entries;
    for (const auto& symbolic : symbolics)
        entries << QString::fromUtf8(symbolic.c_str());
    return entries;
}

bool CBooleanParameter::getValue() const { return typedNode<GenApi::IBoolean>()->GetValue(); }
void CBooleanParameter::setValue(bool value) { typedNode<GenApi::IBoolean>()->SetValue(value); }

void CCommandParameter::execute() { typedNode<GenApi::ICommand>()->Execute(); }
bool CCommandParameter::isDone() const { return typedNode<GenApi::ICommand>()->IsDone(); }

} // namespace ParameterCollection
