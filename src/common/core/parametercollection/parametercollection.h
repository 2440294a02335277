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

/// The named node maps of one device, shared with parameter clients. Names are announced
/// before the maps exist and stay announced while maps come and go with open and close.
class CParameterCollection : public QEnableSharedFromThis<CParameterCollection>
{
public:
    /// Called after a name is bound or unbound; nodeMap is null when unbound. A binding made inside
    /// a Core::CCallbackHold is told when the hold ends, with the map bound to the name then.
    using NodeMapListener = std::function<void(const QString& name, GenApi::INodeMap* nodeMap)>;

    /// A collection without node maps, whose parameters follow the state of its SDK object.
    static QSharedPointer<CParameterCollection> create(QSharedPointer<CObjectState> state);
    virtual ~CParameterCollection();

    /// The state of the SDK object the maps belong to.
    QSharedPointer<CObjectState> getObjectState() const { return m_ptrObjectState; }

    /// Announces a map's name before the map exists.
    void announceNodeMap(const QString& name);
    /// Binds the announced name to a map and tells the listeners.
    void attachNodeMap(const QString& name, GenApi::INodeMap* nodeMap);
    /// Unbinds the name's map and tells the listeners; the name stays announced.
    void detachNodeMap(const QString& name);
    /// Unbinds every map and tells each listener of every announced name; if a listener throws,
    /// the rest are still unbound and told, and the first exception is thrown again at the end.
    void detachAllNodeMaps();

    /// The announced names, in the order of announcement.
    QStringList getNodeMapNames() const;
    /// Whether the name is announced.
    bool isNodeMapAnnounced(const QString& name) const;
    /// The map bound to the name; null while unbound.
    GenApi::INodeMap* getNodeMap(const QString& name) const;

    /// Typed lookups by a bare feature name (searched in the maps in the order of announcement),
    /// a full path "@Map/Feature", or two such names as "first|second", the first one found
    /// winning. Each gives an empty pointer when no attached map has the feature in that type.
    virtual QSharedPointer<CParameter> getParameter(const QString& name);
    /// @copydoc getParameter
    virtual QSharedPointer<CEnumParameter> getEnumParameter(const QString& path);
    /// @copydoc getParameter
    virtual QSharedPointer<CIntegerParameter> getIntegerParameter(const QString& path);
    /// @copydoc getParameter
    virtual QSharedPointer<CBooleanParameter> getBooleanParameter(const QString& path);
    /// @copydoc getParameter
    virtual QSharedPointer<CCommandParameter> getCommandParameter(const QString& path);
    /// Whether an attached map has the feature.
    bool isParameterAvailable(const QString& name) const;

    /// Adds a listener of binding and unbinding; returns its id.
    int addNodeMapListener(NodeMapListener listener);
    /// Removes the listener of that id.
    void removeNodeMapListener(int id);

protected:
    /// See create().
    explicit CParameterCollection(QSharedPointer<CObjectState> state);

private:
    /// Finds the map and the node of a path; false when no attached map has it.
    bool resolve(const QString& path, QString& nodeMapName, QString& featureName, GenApi::INode*& node) const;
    template <typename Parameter, typename Interface>
    QSharedPointer<Parameter> lookup(const QString& path);

    /// Tells the listeners now, or, while the calling thread is inside a Core::CCallbackHold,
    /// once the hold ends.
    void notify(const QString& name, GenApi::INodeMap* nodeMap);
    void callListeners(const QString& name, GenApi::INodeMap* nodeMap);

    QSharedPointer<CObjectState> m_ptrObjectState;
    mutable QReadWriteLock m_lock;
    QMap<QString, GenApi::INodeMap*> m_nodeMaps;
    QStringList m_announcedOrder;
    QMap<int, NodeMapListener> m_listeners;
    int m_nextListenerId = 1;
};

} // namespace ParameterCollection
