#pragma once

#include <QObject>

#include <csignal>

class QSocketNotifier;

/**
 * Turns SIGTERM and SIGINT into requested(), emitted from the event loop, so that a logout
 * or a stop of the service ends the process in order. A signal that comes before the event
 * loop runs is not lost. One object at a time; its end restores the earlier dispositions.
 */
class TerminationSignals : public QObject
{
    Q_OBJECT

public:
    explicit TerminationSignals(QObject *parent = nullptr);
    ~TerminationSignals() override;

Q_SIGNALS:
    void requested();

private:
    void onReadable();

    int m_pipe[2] = {-1, -1};
    QSocketNotifier *m_notifier = nullptr;
    struct sigaction m_previous[2] = {};
};
