#include "interruptwatcher.h"

#include <csignal>
#include <sys/socket.h>
#include <unistd.h>

int CInterruptWatcher::m_sockets[2] = {-1, -1};

CInterruptWatcher::CInterruptWatcher(QObject* parent)
    : QObject(parent)
{
    if (::socketpair(AF_UNIX, SOCK_STREAM, 0, m_sockets) != 0)
        return;
    m_pNotifier = std::make_unique<QSocketNotifier>(m_sockets[1], QSocketNotifier::Read);
    connect(m_pNotifier.get(), &QSocketNotifier::activated, this, &CInterruptWatcher::onReadable);
    struct sigaction action = {};
    action.sa_handler = &CInterruptWatcher::handle;
    sigemptyset(&action.sa_mask);
    action.sa_flags = SA_RESTART;
    sigaction(SIGINT, &action, nullptr);
    sigaction(SIGTERM, &action, nullptr);
}

CInterruptWatcher::~CInterruptWatcher()
{
    struct sigaction action = {};
    action.sa_handler = SIG_DFL;
    sigemptyset(&action.sa_mask);
    sigaction(SIGINT, &action, nullptr);
    sigaction(SIGTERM, &action, nullptr);
    m_pNotifier.reset();
    for (int& socket : m_sockets) {
        if (socket >= 0)
            ::close(socket);
        socket = -1;
    }
}

void CInterruptWatcher::handle(int)
{
    // Only async-signal-safe calls here.
    const char byte = 1;
    if (m_sockets[0] >= 0)
        (void)!::write(m_sockets[0], &byte, 1);
}

void CInterruptWatcher::onReadable()
{
    char byte = 0;
    (void)!::read(m_sockets[1], &byte, 1);
    m_interrupted = true;
    emit interrupted();
}
