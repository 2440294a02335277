#pragma once

#include <QObject>
#include <QSocketNotifier>

#include <memory>

// Turns SIGINT and SIGTERM into a signal on the main thread, so that a grab or a watch ends
// through the same orderly steps as when it runs out: the handler only writes a byte to a
// socket pair, and the event loop reads it.
class CInterruptWatcher : public QObject
{
    Q_OBJECT
public:
    explicit CInterruptWatcher(QObject* parent = nullptr);
    ~CInterruptWatcher() override;

    bool isInterrupted() const { return m_interrupted; }

signals:
    void interrupted();

private slots:
    void onReadable();

private:
    static void handle(int signalNumber);

    // The handler's end and the event loop's end of the socket pair.
    static int m_sockets[2];

    std::unique_ptr<QSocketNotifier> m_pNotifier;
    bool m_interrupted = false;
};
