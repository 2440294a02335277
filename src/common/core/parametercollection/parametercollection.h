#pragma once

#include <core/parametercollection/objectstate.h>
#include <core/parametercollection/parameter.h>

#include <QEnableSharedFromThis>

#include <QMap>
#include <QMutex>
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
///
/// A map is used under the collection's read lock and bound or unbound under its write lock, so
/// that the owner, which destroys a map's device after unbinding it, waits for a use in progress,
/// and a use after the unbinding finds no map. The lock is a leaf: nothing else of the
/// collection's is taken under it and no listener runs under it. A reader may read again (the
/// lock is recursive), but must not bind, unbind or close the device meanwhile.
class CParameterCollection : public QEnableSharedFromThis<CParameterCollection>
{
public:
    /// Called after a name is bound or unbound; nodeMap is null when unbound. A binding made inside
    /// a Core::CCallbackHold is told when the hold ends, with the map bound to the name then.
    using NodeMapListener = std::function<void(const QString& name, GenApi::INodeMap* nodeMap)>;
    /// Called on the writer's thread after a feature was written or a command run through a
    /// CParameter of the collection, with its path "@Map/Feature"; a write inside a
    /// Core::CCallbackHold is told when the hold ends.
    using ParameterListener = std::function<void(const QString& path)>;

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
    /// The map bound to the name; null while unbound. The pointer may dangle as soon as the lock
    /// is let go: to use the map, read it through readNodeMap().
    GenApi::INodeMap* getNodeMap(const QString& name) const;
    /// Runs read on the map bound to the name, under the read lock, and returns true; returns
    /// false without running it while the name is unbound. Whatever read throws passes through.
    /// Read the map and nothing else there: a service call inside may wait for a close on
    /// another thread, which waits for this read to end.
    bool readNodeMap(const QString& name, const std::function<void(GenApi::INodeMap& nodeMap)>& read) const;

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
    /// @copydoc getParameter
    QSharedPointer<CFloatParameter> getFloatParameter(const QString& path);
    /// @copydoc getParameter
    QSharedPointer<CStringParameter> getStringParameter(const QString& path);
    /// Whether an attached map has the feature.
    bool isParameterAvailable(const QString& name) const;

    /// Adds a listener of binding and unbinding; returns its id.
    int addNodeMapListener(NodeMapListener listener);
    /// Removes the listener of that id.
    void removeNodeMapListener(int id);

    /// Adds a listener of the writes through parameters; returns its id.
    int addParameterListener(ParameterListener listener);
    /// Removes the listener of that id; once it returns, the listener is called no more.
    void removeParameterListener(int id);
    /// Tells the parameter listeners of a write; CParameter calls it after each one.
    void tellParameterWritten(const QString& path);

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
    void callParameterListeners(const QString& path);

    QSharedPointer<CObjectState> m_ptrObjectState;
    mutable QReadWriteLock m_lock{QReadWriteLock::Recursive};
    QMap<QString, GenApi::INodeMap*> m_nodeMaps;
    QStringList m_announcedOrder;
    QMap<int, NodeMapListener> m_listeners;
    int m_nextListenerId = 1;
    // The parameter listeners have a lock of their own, held while they run, so that a removal
    // waits for a call in progress. It is recursive and the calls go through a copy of the list,
    // so that a listener may write a parameter or remove a listener on its own thread; it must
    // not wait for another thread that writes a parameter of this collection.
    QMutex m_parameterListenersMutex{QMutex::Recursive};
    QMap<int, ParameterListener> m_parameterListeners;
    int m_nextParameterListenerId = 1;
};

} // namespace ParameterCollection
