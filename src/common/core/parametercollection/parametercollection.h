#pragma once

#include <core/parametercollection/objectstate.h>
#include <core/parametercollection/parameter.h>

#include <QEnableSharedFromThis>

#include <QMap>
#include <QReadWriteLock>
#include <QSharedPointer>
#include <QString>
#include <QStringList>

#include <functional>

namespace GenApi {
class INodeMap;
}

namespace ParameterCollection {

// The named node maps of one device, shared with parameter clients. Names are announced
// before the maps exist and stay announced while maps come and go with open and close.
class CParameterCollection : public QEnableSharedFromThis<CParameterCollection>
{
public:
    // Called after a name is bound or unbound; nodeMap is null when unbound.
    using NodeMapListener = std::function<void(const QString& name, GenApi::INodeMap* nodeMap)>;

    static QSharedPointer<CParameterCollection> create(QSharedPointer<CObjectState> state);
    virtual ~CParameterCollection();

    QSharedPointer<CObjectState> getObjectState() const { return m_ptrObjectState; }

    void announceNodeMap(const QString& name);
    void attachNodeMap(const QString& name, GenApi::INodeMap* nodeMap);
    void detachNodeMap(const QString& name);
    // Unbinds every map and tells each listener of every announced name; if a listener throws,
    // the rest are still unbound and told, and the first exception is thrown again at the end.
    void detachAllNodeMaps();

    QStringList getNodeMapNames() const;
    bool isNodeMapAnnounced(const QString& name) const;
    GenApi::INodeMap* getNodeMap(const QString& name) const;

    // Typed lookups by a bare feature name (searched in the maps in the order of announcement),
    // a full path "@Map/Feature", or two such names as "first|second", the first one found
    // winning. Each gives an empty pointer when no attached map has the feature in that type.
    virtual QSharedPointer<CParameter> getParameter(const QString& name);
    virtual QSharedPointer<CEnumParameter> getEnumParameter(const QString& path);
    virtual QSharedPointer<CIntegerParameter> getIntegerParameter(const QString& path);
    virtual QSharedPointer<CBooleanParameter> getBooleanParameter(const QString& path);
    virtual QSharedPointer<CCommandParameter> getCommandParameter(const QString& path);
    bool isParameterAvailable(const QString& name) const;

    int addNodeMapListener(NodeMapListener listener);
    void removeNodeMapListener(int id);

protected:
    explicit CParameterCollection(QSharedPointer<CObjectState> state);

private:
    // Finds the map and the node of a path; false when no attached map has it.
    bool resolve(const QString& path, QString& nodeMapName, QString& featureName, GenApi::INode*& node) const;
    template <typename Parameter, typename Interface>
    QSharedPointer<Parameter> lookup(const QString& path);

    void notify(const QString& name, GenApi::INodeMap* nodeMap);

    QSharedPointer<CObjectState> m_ptrObjectState;
    mutable QReadWriteLock m_lock;
    QMap<QString, GenApi::INodeMap*> m_nodeMaps;
    QStringList m_announcedOrder;
    QMap<int, NodeMapListener> m_listeners;
    int m_nextListenerId = 1;
};

} // namespace ParameterCollection
