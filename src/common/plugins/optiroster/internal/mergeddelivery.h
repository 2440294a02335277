#pragma once

#include <atomic>
#include <cstdint>

namespace Plugin::OptiRoster::Internal {

// Carries the news of each image (figures with the timer's push, and how the image ended) from
// a grab thread to a receiver's thread in queued calls. A camera may deliver images far faster
// than the receiver's thread turns: were each image a queued call of its own, that thread's
// queue and the process's memory would grow without end. So while a call waits to run, later
// images join it, and it delivers whatever is newest when it runs: the figures, and one info
// for the successful images that joined. A receiver that runs each call before the next image
// still gets one call, with one of each, per image. A failure is never merged: it closes the
// waiting call to successes and goes out in a call of its own, which takes along the successes
// that had joined the closed call, so that no success after the failure is told before it. The
// figures merge across failures: whichever call runs first delivers the newest.
//
// One requesting thread at a time (the grab threads of one camera follow one another).
class CMergedDelivery
{
public:
    // What a call delivers, from take().
    struct CTaken
    {
        bool statistic = false;
        bool successes = false;
    };

    // An image's news: joins the waiting call, or has post(ticket) post a call that starts with
    // take(ticket) when the image's news needs one. True when it posted.
    template <typename Post>
    bool request(bool succeeded, Post post)
    {
        const uint64_t success = succeeded ? SuccessBit : 0;
        const bool statisticWaited = m_statisticWaiting.exchange(true, std::memory_order_acq_rel);
        // A read-modify-write: when this joins a waiting call, what the requesting thread wrote
        // before is then seen by that call, which takes the word before it reads.
        uint64_t word = m_word.load(std::memory_order_relaxed);
        while (word != 0) {
            if (m_word.compare_exchange_weak(word, word | success, std::memory_order_acq_rel, std::memory_order_relaxed))
                return false;
        }
        // A failure's info goes out on its own; its figures go with a call that waits already.
        if (!succeeded && statisticWaited)
            return false;
        const uint64_t ticket = m_issuedTickets.fetch_add(1, std::memory_order_relaxed) + 1;
        m_word.store((ticket << 1) | success, std::memory_order_release);
        post(ticket);
        return true;
    }

    // On the receiver's thread, first in the call of the ticket: closes it to further requests
    // and says what it delivers.
    CTaken take(uint64_t ticket)
    {
        CTaken taken;
        uint64_t word = m_word.load(std::memory_order_acquire);
        while ((word >> 1) == ticket) {
            if (m_word.compare_exchange_weak(word, 0, std::memory_order_acq_rel, std::memory_order_acquire)) {
                taken.successes = (word & SuccessBit) != 0;
                break;
            }
        }
        taken.statistic = m_statisticWaiting.exchange(false, std::memory_order_acq_rel);
        return taken;
    }

    // After a failed image's request: closes the waiting call to further successes and takes
    // its successes away, for the failure's own call, posted next. True when successes had
    // joined it.
    bool seal() { return (m_word.exchange(0, std::memory_order_acq_rel) & SuccessBit) != 0; }

private:
    static constexpr uint64_t SuccessBit = 1;
    // The waiting call's ticket shifted left by one, and whether successes joined it; 0 when no
    // call waits or the waiting one is sealed.
    std::atomic<uint64_t> m_word{0};
    // Whether figures wait to be delivered by the next call that runs.
    std::atomic<bool> m_statisticWaiting{false};
    std::atomic<uint64_t> m_issuedTickets{0};
};

} // namespace Plugin::OptiRoster::Internal
