#pragma once

#include <QFutureWatcher>
#include <QObject>
#include <QThreadPool>
#include <QtConcurrent>

#include <functional>

namespace Viewer {

/// Runs a panel's camera work on a thread of its own, one job after the other in the order given,
/// and hands each result to a function on this object's thread: the GUI thread never waits on a
/// camera or the network.
class CSerialWorker : public QObject
{
    Q_OBJECT
public:
    explicit CSerialWorker(QObject* parent = nullptr);
    /// Waits for the jobs under way, which may use what the owner holds.
    ~CSerialWorker() override;

    template <typename Result>
    void run(std::function<Result()> work, std::function<void(const Result&)> done)
    {
        ++m_pending;
        emit busyChanged(true);
        auto* watcher = new QFutureWatcher<Result>(this);
        connect(watcher, &QFutureWatcher<Result>::finished, this, [this, watcher, done] {
            --m_pending;
            if (done)
                done(watcher->result());
            emit busyChanged(isBusy());
            watcher->deleteLater();
        });
        watcher->setFuture(QtConcurrent::run(&m_pool, std::move(work)));
    }
    bool isBusy() const { return m_pending > 0; }
    /// Waits for the jobs under way; their results are not handed over any more once the owner
    /// is being destroyed.
    void waitForDone() { m_pool.waitForDone(); }

signals:
    void busyChanged(bool busy);

private:
    int m_pending = 0;
    QThreadPool m_pool;
};

} // namespace Viewer
