#include "objectstate.h"

#include <core/callbacks/callbackhold.h>

#include <QPointer>

namespace ParameterCollection {

CObjectState::CObjectState(QObject* parent)
    : QObject(parent)
{
    qRegisterMetaType<ParameterCollection::EObjectState>("ParameterCollection::EObjectState");
}

CObjectState::~CObjectState() = default;

void CObjectState::setState(EObjectState state)
{
    m_state.store(state, std::memory_order_release);
    // The state holds at once; its receivers hear of it once the owner holds no lock.
    Core::CCallbackHold::call([self = QPointer<CObjectState>(this), state] {
        if (self)
            emit self->stateChanged(state);
    });
}

EObjectState CObjectState::getState() const
{
    return EObjectState(m_state.load(std::memory_order_acquire));
}

int CObjectState::getEntryCount() const
{
    return m_entryCount.load(std::memory_order_acquire);
}

bool CObjectState::isInUse() const
{
    return m_useCount.load(std::memory_order_acquire) > 0;
}

void CObjectState::beginUse()
{
    m_useCount.fetch_add(1, std::memory_order_acq_rel);
}

void CObjectState::endUse()
{
    m_useCount.fetch_sub(1, std::memory_order_acq_rel);
}

CScopedObjectStateLock::CScopedObjectStateLock(CObjectState* state)
    : m_pState(state)
{
    if (m_pState)
        m_pState->m_entryCount.fetch_add(1, std::memory_order_acq_rel);
}

CScopedObjectStateLock::CScopedObjectStateLock(const QSharedPointer<CObjectState>& state)
    : CScopedObjectStateLock(state.data())
{
}

CScopedObjectStateLock::~CScopedObjectStateLock()
{
    if (m_pState)
        m_pState->m_entryCount.fetch_sub(1, std::memory_order_acq_rel);
}

} // namespace ParameterCollection
