// Races made on purpose, one of each kind that the ThreadSanitizer gate must count as this
// project's: built only in the TSan build, and run by checkgate.py, never by the suite itself.
#include <QByteArray>

#include <atomic>
#include <mutex>
#include <string>
#include <thread>

namespace {

// A variable of its own for this race: ThreadSanitizer reports one race for each address.
int g_sharedWithAtomic = 0;

// Runs both functions on threads of their own with nothing ordering them.
template <typename First, typename Second>
void runUnordered(First first, Second second)
{
    std::thread a(first);
    std::thread b(second);
    a.join();
    b.join();
}

__attribute__((noinline)) void raceOnPlainInt()
{
    int shared = 0;
    runUnordered([&] { shared = 1; }, [&] { shared = 2; });
}

// The accesses happen inside the standard library's and Qt's own code; the objects are ours.
// Each thread adds at the front, so that the second moves what the first wrote whichever runs
// first; room is reserved so that the race can't free a buffer twice. The library is called
// from a function of ours that isn't inlined, as a method of ours calls it: ThreadSanitizer
// names an instrumented function on the stack by the place it was called from, so a library
// call made straight from a thread's body would show no frame of ours at all.
__attribute__((noinline)) void prependTo(std::string& text, const char* bytes)
{
    text.insert(0, bytes);
}

__attribute__((noinline)) void prependTo(QByteArray& array, const char* bytes)
{
    array.prepend(bytes, 16);
}

__attribute__((noinline)) void raceInStdString()
{
    std::string text;
    text.reserve(256);
    runUnordered([&] { prependTo(text, "sixteen bytes..."); }, [&] { prependTo(text, "sixteen bytes!!!"); });
}

__attribute__((noinline)) void raceInQByteArray()
{
    QByteArray bytes;
    bytes.reserve(256);
    runUnordered([&] { prependTo(bytes, "sixteen bytes..."); }, [&] { prependTo(bytes, "sixteen bytes!!!"); });
}

__attribute__((noinline)) void raceOfPlainWithAtomic()
{
    runUnordered([] { __atomic_store_n(&g_sharedWithAtomic, 1, __ATOMIC_RELAXED); }, [] { g_sharedWithAtomic = 2; });
}

__attribute__((noinline)) void lockOrderCycle()
{
    std::mutex first;
    std::mutex second;
    {
        std::lock_guard<std::mutex> a(first);
        std::lock_guard<std::mutex> b(second);
    }
    std::thread([&] {
        std::lock_guard<std::mutex> b(second);
        std::lock_guard<std::mutex> a(first);
    }).join();
}

} // namespace

int main()
{
    raceOnPlainInt();
    raceInStdString();
    raceInQByteArray();
    raceOfPlainWithAtomic();
    lockOrderCycle();
    return 0;
}
