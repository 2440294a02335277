#pragma once

#include "queuedcall.h"

#include <QObject>

#include <atomic>
#include <cstdint>

namespace Plugin::OptiRoster::Internal {

// Carries a notification of each image from a grab thread to a receiver's thread as one queued
// call at a time. A camera may deliver images far faster than the receiver's thread turns: were
// each image a queued call of its own, that thread's queue and the process's memory would grow
// without end. So while a call waits to run, later requests join it, and the call delivers
// whatever is newest when it runs; a receiver that keeps up still gets one call per request.
//
// One requesting thread at a time (the grab threads of one camera follow one another).
class CMergedDelivery
{
public:
    // Posts the call that makeDelivery() gives, unless a call waits already and takes this
    // request along; makeDelivery runs only when a call is posted. True when it posted.
    template <typename MakeDelivery>
    bool request(QObject* receiver, MakeDelivery makeDelivery)
    {
        // A read-modify-write, not a load: when this joins a waiting call, what the requesting
        // thread wrote before is then seen by that call, which clears the ticket before it reads.
        if (m_waitingTicket.fetch_add(0, std::memory_order_acq_rel) != 0)
            return false;
        const uint64_t ticket = m_issuedTickets.fetch_add(1, std::memory_order_relaxed) + 1;
        m_waitingTicket.store(ticket, std::memory_order_release);
        postQueuedCall(receiver, [this, ticket, deliver = makeDelivery()] {
            // Cleared before delivering: a request from here on posts a call of its own
            // instead of joining one that has read its figures already.
            uint64_t expected = ticket;
            m_waitingTicket.compare_exchange_strong(expected, 0, std::memory_order_acq_rel);
            deliver();
        });
        return true;
    }

    // Closes the waiting call to further requests, so that what is posted next by other means
    // (a failure that must arrive on its own) isn't overtaken by a request that comes after it.
    void seal() { m_waitingTicket.exchange(0, std::memory_order_acq_rel); }

private:
    std::atomic<uint64_t> m_waitingTicket{0}; // of the call that waits and may be joined; 0 when none
    std::atomic<uint64_t> m_issuedTickets{0};
};

} // namespace Plugin::OptiRoster::Internal
