#include "commands.h"
#include "host.h"
#include "interruptwatcher.h"

#include <QEventLoop>
#include <QMetaMethod>
#include <QTimer>

#include <algorithm>

namespace {

// Counts down the client plug-ins that announce their end, and keeps the highest status.
class CFinishWaiter : public QObject
{
    Q_OBJECT
public:
    // Returns how many plug-ins have a finished(int) signal and are now awaited.
    int await(const QVector<Core::Plugin::IPlugin*>& plugins)
    {
        const QMetaMethod onFinished = metaObject()->method(metaObject()->indexOfSlot("onFinished(int)"));
        for (Core::Plugin::IPlugin* plugin : plugins) {
            const int index = plugin->metaObject()->indexOfSignal("finished(int)");
            if (index < 0)
                continue;
            connect(plugin, plugin->metaObject()->method(index), this, onFinished);
            ++m_pending;
        }
        return m_pending;
    }
    int status() const { return m_status; }

signals:
    void allFinished();

private slots:
    void onFinished(int status)
    {
        m_status = std::max(m_status, status);
        // A plug-in that sends the signal twice is counted once.
        disconnect(sender(), nullptr, this, nullptr);
        if (--m_pending == 0)
            emit allFinished();
    }

private:
    int m_pending = 0;
    int m_status = ExitSuccess;
};

} // namespace

int runServe(CCommandContext& context)
{
    int status = ExitSuccess;
    const int seconds = context.parser.isSet(context.options.seconds) ? integerOption(context, context.options.seconds, status) : 0;
    if (status != ExitSuccess)
        return status;
    CFinishWaiter waiter;
    const int awaited = waiter.await(context.host.plugins());
    if (awaited == 0 && seconds == 0)
        context.err << "Serving; Ctrl-C stops." << Qt::endl;
    QEventLoop loop;
    QObject::connect(&context.interrupt, &CInterruptWatcher::interrupted, &loop, &QEventLoop::quit);
    QObject::connect(&waiter, &CFinishWaiter::allFinished, &loop, &QEventLoop::quit);
    if (seconds > 0)
        QTimer::singleShot(seconds * 1000, &loop, &QEventLoop::quit);
    if (!context.interrupt.isInterrupted())
        loop.exec();
    return waiter.status();
}

#include "servecommand.moc"
