#include "logging.h"

#include <QByteArray>
#include <QLoggingCategory>
#include <QMutex>
#include <QMutexLocker>

#include <array>
#include <atomic>
#include <memory>
#include <thread>

namespace Core::Logging {
namespace {

struct Category
{
    explicit Category(const QByteArray& categoryName)
        : name(categoryName)
        , category(name.constData())
    {
    }

    const QByteArray name; // QLoggingCategory keeps the pointer, so the bytes live here
    QLoggingCategory category;
};

// Categories are few and live for the process; a fixed table makes the lookup of an id
// lock-free for writers of entries on any thread.
constexpr std::size_t MaxCategories = 1024;

struct Registry
{
    QMutex mutex;
    std::array<std::atomic<Category*>, MaxCategories> categories{};
    std::atomic<std::size_t> count{0};
    std::atomic<ILogSink*> sink{nullptr};
    // Entries being handed to a sink now: a sink is replaced only once none holds the old one.
    std::atomic<int> sinkWriters{0};
};

Registry& registry()
{
    static Registry* instance = new Registry; // never destroyed: entries may come at exit
    return *instance;
}

Category* categoryOf(quint64 categoryId)
{
    Registry& r = registry();
    if (categoryId == 0 || categoryId > r.count.load(std::memory_order_acquire))
        return nullptr;
    return r.categories[categoryId - 1].load(std::memory_order_acquire);
}

QtMsgType messageTypeOf(ELogLevel level)
{
    switch (level) {
    case LogLevelWarning:
        return QtWarningMsg;
    case LogLevelError:
        return QtCriticalMsg;
    default:
        return QtInfoMsg;
    }
}

} // namespace

quint64 getCatId(const char* categoryName)
{
    const QByteArray name(categoryName ? categoryName : "");
    Registry& r = registry();
    QMutexLocker locker(&r.mutex);
    const std::size_t count = r.count.load(std::memory_order_relaxed);
    for (std::size_t i = 0; i < count; ++i) {
        if (r.categories[i].load(std::memory_order_relaxed)->name == name)
            return i + 1;
    }
    Q_ASSERT_X(count < MaxCategories, "Core::Logging::getCatId", "too many log categories");
    if (count >= MaxCategories)
        return 0;
    r.categories[count].store(new Category(name), std::memory_order_release);
    r.count.store(count + 1, std::memory_order_release);
    return count + 1;
}

QString getCatName(quint64 categoryId)
{
    const Category* category = categoryOf(categoryId);
    return category ? QString::fromUtf8(category->name) : QString();
}

void createLogEntry(ELogLevel level, quint64 categoryId, const QString& message)
{
    Category* category = categoryOf(categoryId);
    const QByteArray categoryName = category ? category->name : QByteArray("default");
    Registry& r = registry();
    r.sinkWriters.fetch_add(1, std::memory_order_seq_cst);
    if (ILogSink* sink = r.sink.load(std::memory_order_seq_cst))
        sink->write(int(level), QString::fromUtf8(categoryName), message);
    r.sinkWriters.fetch_sub(1, std::memory_order_seq_cst);

    if (!category)
        return;
    const QtMsgType type = messageTypeOf(level);
    if (!category->category.isEnabled(type))
        return;
    QMessageLogger logger(nullptr, 0, nullptr, category->name.constData());
    switch (type) {
    case QtWarningMsg:
        logger.warning(category->category).noquote() << message;
        break;
    case QtCriticalMsg:
        logger.critical(category->category).noquote() << message;
        break;
    default:
        logger.info(category->category).noquote() << message;
        break;
    }
}

ILogSink* setLogSink(ILogSink* sink)
{
    Registry& r = registry();
    ILogSink* previous = r.sink.exchange(sink, std::memory_order_seq_cst);
    // A writer that took the old sink counted itself before it did: once none is counted, the
    // old sink may go. Writers never wait.
    while (r.sinkWriters.load(std::memory_order_seq_cst) != 0)
        std::this_thread::yield();
    return previous;
}

} // namespace Core::Logging
