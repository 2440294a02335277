#include "parametercollection.h"

#include <core/callbacks/callbackhold.h>

#include <tavix/genapi.h>

#include <QReadLocker>
#include <QWriteLocker>

#include <exception>

namespace ParameterCollection {

QSharedPointer<CParameterCollection> CParameterCollection::create(QSharedPointer<CObjectState> state)
{
    return QSharedPointer<CParameterCollection>(new CParameterCollection(std::move(state)));
}

CParameterCollection::CParameterCollection(QSharedPointer<CObjectState> state)
    : m_ptrObjectState(std::move(state))
{
}

CParameterCollection::~CParameterCollection() = default;

void CParameterCollection::announceNodeMap(const QString& name)
{
    QWriteLocker locker(&m_lock);
    if (m_nodeMaps.contains(name))
        return;
    m_nodeMaps.insert(name, nullptr);
    m_announcedOrder.append(name);
}

void CParameterCollection::attachNodeMap(const QString& name, GenApi::INodeMap* nodeMap)
{
    {
        QWriteLocker locker(&m_lock);
        if (!m_nodeMaps.contains(name))
            m_announcedOrder.append(name);
        m_nodeMaps.insert(name, nodeMap);
    }
    notify(name, nodeMap);
}

void CParameterCollection::detachNodeMap(const QString& name)
{
    {
        QWriteLocker locker(&m_lock);
        auto it = m_nodeMaps.find(name);
        if (it == m_nodeMaps.end() || !it.value())
            return;
        it.value() = nullptr;
    }
    notify(name, nullptr);
}

void CParameterCollection::detachAllNodeMaps()
{
    QStringList names;
    {
        QWriteLocker locker(&m_lock);
        names = m_announcedOrder;
        for (const QString& name : qAsConst(names))
            m_nodeMaps[name] = nullptr;
    }
    // Every client hears of every name, bound or not, so that it drops what it holds.
    std::exception_ptr firstFailure;
    for (const QString& name : qAsConst(names)) {
        try {
            notify(name, nullptr);
        } catch (...) {
            if (!firstFailure)
                firstFailure = std::current_exception();
        }
    }
    if (firstFailure)
        std::rethrow_exception(firstFailure);
}

QStringList CParameterCollection::getNodeMapNames() const
{
    QReadLocker locker(&m_lock);
    return m_announcedOrder;
}

bool CParameterCollection::isNodeMapAnnounced(const QString& name) const
{
    QReadLocker locker(&m_lock);
    return m_nodeMaps.contains(name);
}

GenApi::INodeMap* CParameterCollection::getNodeMap(const QString& name) const
{
    QReadLocker locker(&m_lock);
    return m_nodeMaps.value(name);
}

bool CParameterCollection::readNodeMap(const QString& name, const std::function<void(GenApi::INodeMap&)>& read) const
{
    QReadLocker locker(&m_lock);
    GenApi::INodeMap* map = m_nodeMaps.value(name);
    if (!map)
        return false;
    read(*map);
    return true;
}

bool CParameterCollection::resolve(const QString& path, QString& nodeMapName, QString& featureName, GenApi::INode*& node) const
{
    const int alternative = path.indexOf(QLatin1Char('|'));
    if (alternative >= 0)
        return resolve(path.left(alternative), nodeMapName, featureName, node)
               || resolve(path.mid(alternative + 1), nodeMapName, featureName, node);

    QReadLocker locker(&m_lock);
    QStringList maps = m_announcedOrder;
    featureName = path;
    if (path.startsWith(QLatin1Char('@')) && path.contains(QLatin1Char('/'))) {
        maps = QStringList{path.section(QLatin1Char('/'), 0, 0)};
        featureName = path.section(QLatin1Char('/'), 1);
    }
    const QByteArray feature = featureName.toUtf8();
    for (const QString& name : qAsConst(maps)) {
        GenApi::INodeMap* map = m_nodeMaps.value(name);
        node = map ? map->GetNode(feature.constData()) : nullptr;
        if (node) {
            nodeMapName = name;
            return true;
        }
    }
    return false;
}

template <typename Parameter, typename Interface>
QSharedPointer<Parameter> CParameterCollection::lookup(const QString& path)
{
    QString nodeMapName;
    QString featureName;
    GenApi::INode* node = nullptr;
    if (!resolve(path, nodeMapName, featureName, node) || !dynamic_cast<Interface*>(node))
        return {};
    return QSharedPointer<Parameter>::create(sharedFromThis(), nodeMapName, featureName);
}

QSharedPointer<CParameter> CParameterCollection::getParameter(const QString& name)
{
    return lookup<CParameter, GenApi::INode>(name);
}

QSharedPointer<CEnumParameter> CParameterCollection::getEnumParameter(const QString& path)
{
    return lookup<CEnumParameter, GenApi::IEnumeration>(path);
}

QSharedPointer<CIntegerParameter> CParameterCollection::getIntegerParameter(const QString& path)
{
    return lookup<CIntegerParameter, GenApi::IInteger>(path);
}

QSharedPointer<CBooleanParameter> CParameterCollection::getBooleanParameter(const QString& path)
{
    return lookup<CBooleanParameter, GenApi::IBoolean>(path);
}

QSharedPointer<CCommandParameter> CParameterCollection::getCommandParameter(const QString& path)
{
    return lookup<CCommandParameter, GenApi::ICommand>(path);
}

QSharedPointer<CFloatParameter> CParameterCollection::getFloatParameter(const QString& path)
{
    return lookup<CFloatParameter, GenApi::IFloat>(path);
}

QSharedPointer<CStringParameter> CParameterCollection::getStringParameter(const QString& path)
{
    return lookup<CStringParameter, GenApi::IString>(path);
}

bool CParameterCollection::isParameterAvailable(const QString& name) const
{
    QString nodeMapName;
    QString featureName;
    GenApi::INode* node = nullptr;
    return resolve(name, nodeMapName, featureName, node) && GenApi::IsAvailable(node);
}

int CParameterCollection::addNodeMapListener(NodeMapListener listener)
{
    QWriteLocker locker(&m_lock);
    const int id = m_nextListenerId++;
    m_listeners.insert(id, std::move(listener));
    return id;
}

void CParameterCollection::removeNodeMapListener(int id)
{
    QWriteLocker locker(&m_lock);
    m_listeners.remove(id);
}

int CParameterCollection::addParameterListener(ParameterListener listener)
{
    QMutexLocker locker(&m_parameterListenersMutex);
    const int id = m_nextParameterListenerId++;
    m_parameterListeners.insert(id, std::move(listener));
    return id;
}

void CParameterCollection::removeParameterListener(int id)
{
    QMutexLocker locker(&m_parameterListenersMutex);
    m_parameterListeners.remove(id);
}

void CParameterCollection::tellParameterWritten(const QString& path)
{
    if (Core::CCallbackHold::isHolding()) {
        // The writer holds its locks: the listeners hear of the write once it lets them go.
        Core::CCallbackHold::call([weak = sharedFromThis().toWeakRef(), path] {
            if (const auto self = weak.toStrongRef())
                self->callParameterListeners(path);
        });
        return;
    }
    callParameterListeners(path);
}

void CParameterCollection::callParameterListeners(const QString& path)
{
    QMutexLocker locker(&m_parameterListenersMutex);
    const auto listeners = m_parameterListeners;
    for (auto it = listeners.cbegin(); it != listeners.cend(); ++it) {
        if (m_parameterListeners.contains(it.key())) // not removed by an earlier listener
            it.value()(path);
    }
}

void CParameterCollection::notify(const QString& name, GenApi::INodeMap* nodeMap)
{
    if (Core::CCallbackHold::isHolding()) {
        // The owner holds its locks: the listeners hear of the name once it lets them go, with the
        // map bound to it then, since a map unbound meanwhile may be gone.
        Core::CCallbackHold::call([weak = sharedFromThis().toWeakRef(), name] {
            if (const auto self = weak.toStrongRef())
                self->callListeners(name, self->getNodeMap(name));
        });
        return;
    }
    callListeners(name, nodeMap);
}

void CParameterCollection::callListeners(const QString& name, GenApi::INodeMap* nodeMap)
{
    QList<NodeMapListener> listeners;
    {
        QReadLocker locker(&m_lock);
        listeners = m_listeners.values();
    }
    // Listeners run outside the lock so that they may read the collection.
    for (const auto& listener : qAsConst(listeners))
        listener(name, nodeMap);
}

} // namespace ParameterCollection
