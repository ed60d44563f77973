#include "backgroundactivity.h"

#include <QDebug>
#include <QSocketNotifier>

#include <cerrno>
#include <cstdint>
#include <cstring>

#include <sys/timerfd.h>
#include <unistd.h>

namespace {

/** A timer that wakes the device up, or one that only counts its sleep where we may not. */
int createTimer()
{
    constexpr int flags = TFD_NONBLOCK | TFD_CLOEXEC;
    const int timer = timerfd_create(CLOCK_BOOTTIME_ALARM, flags);
    return timer >= 0 ? timer : timerfd_create(CLOCK_BOOTTIME, flags);
}

} // namespace

BackgroundActivity::BackgroundActivity(QObject *parent)
    : QObject(parent)
    , m_timer(createTimer())
{
    if (m_timer < 0) {
        qWarning() << "No timer to be had:" << std::strerror(errno);
        return;
    }
    m_notifier = new QSocketNotifier(m_timer, QSocketNotifier::Read, this);
    connect(m_notifier, &QSocketNotifier::activated, this, &BackgroundActivity::onExpired);
}

BackgroundActivity::~BackgroundActivity()
{
    delete m_notifier; // before the number it watches may become somebody else's
    if (m_timer >= 0)
        ::close(m_timer);
}

void BackgroundActivity::wait(int seconds, int)
{
    itimerspec time = {};
    if (seconds > 0)
        time.it_value.tv_sec = seconds;
    else
        time.it_value.tv_nsec = 1; // a time of zero would switch the timer off
    if (timerfd_settime(m_timer, 0, &time, nullptr) != 0)
        qWarning() << "Could not plan a wake-up:" << std::strerror(errno);
}

void BackgroundActivity::onExpired()
{
    std::uint64_t expirations = 0;
    // Nothing to read: a later wait() has taken the place of the one that ran out.
    if (::read(m_timer, &expirations, sizeof expirations) != ssize_t(sizeof expirations))
        return;
    Q_EMIT running(); // the receiver may delete this object
}
