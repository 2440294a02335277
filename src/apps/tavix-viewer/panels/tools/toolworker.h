#pragma once

#include <QFutureWatcher>
#include <QObject>
#include <QThreadPool>
#include <QtConcurrent>

#include <functional>

namespace Viewer {

// Runs a dialog's camera work on a thread of its own, one job after the other, and hands each
// result to the GUI thread, so that a dialog never waits on a camera or the network.
class CToolWorker : public QObject
{
    Q_OBJECT
public:
    explicit CToolWorker(QObject* parent = nullptr);
    // Waits for the job under way, which uses what the dialog owns.
    ~CToolWorker() override;

    template <typename Result>
    void run(std::function<Result()> work, std::function<void(const Result&)> done)
    {
        ++m_pending;
        emit busyChanged(true);
        auto* watcher = new QFutureWatcher<Result>(this);
        connect(watcher, &QFutureWatcher<Result>::finished, this, [this, watcher, done] {
            --m_pending;
            done(watcher->result());
            emit busyChanged(isBusy());
            watcher->deleteLater();
        });
        watcher->setFuture(QtConcurrent::run(&m_pool, std::move(work)));
    }
    bool isBusy() const { return m_pending > 0; }

signals:
    void busyChanged(bool busy);

private:
    int m_pending = 0;
    QThreadPool m_pool;
};

} // namespace Viewer
