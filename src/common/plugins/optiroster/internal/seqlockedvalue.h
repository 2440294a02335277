#pragma once

#include <array>
#include <atomic>
#include <cstdint>
#include <cstring>
#include <type_traits>

namespace Plugin::OptiRoster::Internal {

// A value that one thread writes and another reads without a lock: the writer bumps a sequence
// around each store, and a reader takes the words again until it has seen one store whole. The
// words are atomics of their own, so that nothing is read while it is half-written.
template <typename Value>
class CSeqLockedValue
{
    static_assert(std::is_trivially_copyable<Value>::value, "the value is copied word by word");

public:
    explicit CSeqLockedValue(const Value& initial = Value()) { store(initial); }

    // One writer at a time.
    void store(const Value& value)
    {
        Words words{};
        std::memcpy(words.data(), &value, sizeof(Value));
        const uint64_t sequence = m_sequence.load(std::memory_order_relaxed);
        m_sequence.store(sequence + 1, std::memory_order_relaxed);
        std::atomic_thread_fence(std::memory_order_release);
        for (std::size_t i = 0; i < WordCount; ++i)
            m_words[i].store(words[i], std::memory_order_relaxed);
        m_sequence.store(sequence + 2, std::memory_order_release);
    }

    Value load() const
    {
        Words words{};
        uint64_t before = 0;
        uint64_t after = 0;
        do {
            before = m_sequence.load(std::memory_order_acquire);
            for (std::size_t i = 0; i < WordCount; ++i)
                words[i] = m_words[i].load(std::memory_order_relaxed);
            std::atomic_thread_fence(std::memory_order_acquire);
            after = m_sequence.load(std::memory_order_relaxed);
        } while ((before & 1) != 0 || before != after);
        Value value;
        std::memcpy(static_cast<void*>(&value), words.data(), sizeof(Value));
        return value;
    }

private:
    static constexpr std::size_t WordCount = (sizeof(Value) + sizeof(uint64_t) - 1) / sizeof(uint64_t);
    using Words = std::array<uint64_t, WordCount>;

    std::atomic<uint64_t> m_sequence{0};
    std::array<std::atomic<uint64_t>, WordCount> m_words{};
};

} // namespace Plugin::OptiRoster::Internal
