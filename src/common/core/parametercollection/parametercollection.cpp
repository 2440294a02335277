#include "parametercollection.h"

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
    QStringList detached;
    {
        QWriteLocker locker(&m_lock);
        for (const QString& name : qAsConst(m_announcedOrder)) {
            if (m_nodeMaps.value(name)) {
                m_nodeMaps[name] = nullptr;
                detached.append(name);
            }
        }
    }
    std::exception_ptr firstFailure;
    for (const QString& name : qAsConst(detached)) {
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

void CParameterCollection::notify(const QString& name, GenApi::INodeMap* nodeMap)
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
