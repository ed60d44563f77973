#include "terminationsignals.h"

#include <QDebug>
#include <QSocketNotifier>

#include <cerrno>
#include <fcntl.h>
#include <unistd.h>

namespace {

constexpr int handledSignals[] = {SIGTERM, SIGINT};

// Write end of the pipe. A signal handler may do little more than write a byte.
volatile std::sig_atomic_t wakeUpDescriptor = -1;

void wakeUp(int)
{
    const int error = errno;
    const char byte = 0;
    // A full pipe has woken the event loop already.
    [[maybe_unused]] const ssize_t written = write(wakeUpDescriptor, &byte, 1);
    errno = error;
}

} // namespace

TerminationSignals::TerminationSignals(QObject *parent)
    : QObject(parent)
{
    if (pipe2(m_pipe, O_CLOEXEC | O_NONBLOCK) != 0) {
        qWarning() << "Could not create a pipe, termination signals end the process at once.";
        return;
    }
    m_notifier = new QSocketNotifier(m_pipe[0], QSocketNotifier::Read, this);
    connect(m_notifier, &QSocketNotifier::activated, this, &TerminationSignals::onReadable);
    wakeUpDescriptor = m_pipe[1];
    struct sigaction action = {};
    action.sa_handler = wakeUp;
    action.sa_flags = SA_RESTART;
    sigemptyset(&action.sa_mask);
    for (int i = 0; i < 2; ++i)
        sigaction(handledSignals[i], &action, &m_previous[i]);
}

TerminationSignals::~TerminationSignals()
{
    if (!m_notifier)
        return;
    for (int i = 0; i < 2; ++i)
        sigaction(handledSignals[i], &m_previous[i], nullptr);
    wakeUpDescriptor = -1;
    close(m_pipe[0]);
    close(m_pipe[1]);
}

void TerminationSignals::onReadable()
{
    char bytes[64];
    while (read(m_pipe[0], bytes, sizeof bytes) > 0) { }
    Q_EMIT requested();
}
