#pragma once

#include <QElapsedTimer>
#include <QFile>
#include <QThread>

#include <sys/syscall.h>
#include <sys/types.h>
#include <unistd.h>

// Tells when a thread of this process has come to wait for a lock. A test that must change
// something while a client's thread waits at a given lock (and not before it got there) waits
// for this instead of sleeping a while and hoping the thread was quick enough.
namespace ThreadWait {

// The kernel's id of the calling thread.
inline pid_t currentThreadId()
{
    return pid_t(::syscall(SYS_gettid));
}

// True once the thread sleeps in the kernel's lock wait, which a contended mutex ends in. The
// caller chooses a thread that takes no other contended lock on its way to the one meant.
inline bool waitUntilWaitingForALock(pid_t thread, int timeoutMs)
{
    const QString path = QStringLiteral("/proc/self/task/%1/syscall").arg(thread);
    const QByteArray futex = QByteArray::number(SYS_futex);
    QElapsedTimer clock;
    clock.start();
    while (clock.elapsed() < timeoutMs) {
        QFile file(path);
        if (file.open(QIODevice::ReadOnly)) {
            // The first field is the number of the system call the thread is blocked in.
            const QByteArray call = file.readAll().split(' ').value(0).trimmed();
            if (call == futex)
                return true;
        }
        QThread::yieldCurrentThread();
    }
    return false;
}

} // namespace ThreadWait
