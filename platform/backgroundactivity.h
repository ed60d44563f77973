#pragma once

#include <QObject>

class QSocketNotifier;

/** A single wake-up at a given time from now, also from the device's suspend. */
class BackgroundActivity : public QObject
{
    Q_OBJECT

public:
    explicit BackgroundActivity(QObject *parent = nullptr);
    ~BackgroundActivity() override;

    /**
     * Plans the wake-up, in place of an earlier one; running() follows from the event loop.
     * @param seconds from now, counting time in suspend; 0 or less means at once.
     * @param maximumSeconds latest time allowed for batching; -1 for none, which is all
     *        that this implementation distinguishes.
     */
    void wait(int seconds, int maximumSeconds = -1);

Q_SIGNALS:
    /** The time has come. Emitted once for each wait() that no later one has replaced. */
    void running();

private:
    void onExpired();

    int m_timer = -1;
    QSocketNotifier *m_notifier = nullptr;
};
