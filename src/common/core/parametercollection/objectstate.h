#pragma once

#include <QObject>
#include <QSharedPointer>

#include <atomic>

namespace ParameterCollection {

/// The state of an SDK object that parameters are read from.
enum EObjectState {
    ObjectStateFree = 0,          ///< never opened, or fully closed
    /// open and usable
    ObjectStateOpen = 1,
    /// closing: parameters are blocked
    ObjectStateClosing = 2,
    /// the device was lost: parameters are blocked
    ObjectStateDeviceRemoved = 3,
};

/// State and usage of one SDK object, shared between its owner and parameter clients.
/// Every member may be used from any thread.
class CObjectState : public QObject
{
    Q_OBJECT
public:
    /// A state of ObjectStateFree.
    explicit CObjectState(QObject* parent = nullptr);
    ~CObjectState() override;

    /// Sets the state and sends stateChanged(); while the calling thread is inside a
    /// Core::CCallbackHold, the signal waits for the hold's end.
    void setState(EObjectState state);
    /// The state.
    EObjectState getState() const;

    /// Number of CScopedObjectStateLocks open on this object right now.
    int getEntryCount() const;

    /// Whether a user outside the scoped locks (a stream grabber, a parameter client holding
    /// a node) has declared itself through beginUse().
    bool isInUse() const;
    /// Declares a user outside the scoped locks.
    void beginUse();
    /// Ends a use declared by beginUse().
    void endUse();

signals:
    /// The state has changed to state.
    void stateChanged(ParameterCollection::EObjectState state);

private:
    friend class CScopedObjectStateLock;

    std::atomic<int> m_state{ObjectStateFree};
    std::atomic<int> m_entryCount{0};
    std::atomic<int> m_useCount{0};
};

/// Keeps an object state entered while it lives. It counts; it excludes nobody.
class CScopedObjectStateLock
{
public:
    ///@{
    /// Enters the state; leaves it when destroyed.
    explicit CScopedObjectStateLock(CObjectState* state);
    explicit CScopedObjectStateLock(const QSharedPointer<CObjectState>& state);
    ///@}
    ~CScopedObjectStateLock();

    CScopedObjectStateLock(const CScopedObjectStateLock&) = delete;
    CScopedObjectStateLock& operator=(const CScopedObjectStateLock&) = delete;

private:
    CObjectState* m_pState;
};

} // namespace ParameterCollection

Q_DECLARE_METATYPE(ParameterCollection::EObjectState)
