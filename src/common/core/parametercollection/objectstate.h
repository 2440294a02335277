#pragma once

#include <QObject>
#include <QSharedPointer>

#include <atomic>

namespace ParameterCollection {

enum EObjectState {
    ObjectStateFree = 0,          // never opened, or fully closed
    ObjectStateOpen = 1,
    ObjectStateClosing = 2,
    ObjectStateDeviceRemoved = 3,
};

// State and usage of one SDK object, shared between its owner and parameter clients.
// Every member may be used from any thread.
class CObjectState : public QObject
{
    Q_OBJECT
public:
    explicit CObjectState(QObject* parent = nullptr);
    ~CObjectState() override;

    void setState(EObjectState state);
    EObjectState getState() const;

    // Number of CScopedObjectStateLocks open on this object right now.
    int getEntryCount() const;

    // Whether a user outside the scoped locks (a stream grabber, a parameter client holding
    // a node) has declared itself through beginUse().
    bool isInUse() const;
    void beginUse();
    void endUse();

signals:
    void stateChanged(ParameterCollection::EObjectState state);

private:
    friend class CScopedObjectStateLock;

    std::atomic<int> m_state{ObjectStateFree};
    std::atomic<int> m_entryCount{0};
    std::atomic<int> m_useCount{0};
};

// Keeps an object state entered while it lives. It counts; it excludes nobody.
class CScopedObjectStateLock
{
public:
    explicit CScopedObjectStateLock(CObjectState* state);
    explicit CScopedObjectStateLock(const QSharedPointer<CObjectState>& state);
    ~CScopedObjectStateLock();

    CScopedObjectStateLock(const CScopedObjectStateLock&) = delete;
    CScopedObjectStateLock& operator=(const CScopedObjectStateLock&) = delete;

private:
    CObjectState* m_pState;
};

} // namespace ParameterCollection

Q_DECLARE_METATYPE(ParameterCollection::EObjectState)
