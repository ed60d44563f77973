#pragma once

#include "identity.h"

#include <QObject>
#include <QProcess>
#include <QStringList>

#include <functional>

/**
 * One process of the client, run from the program that the environment variable
 * KIOSK_CLIENT names, with everything that it prints kept line by line.
 *
 * All waits turn the event loop. The destructor ends a process that still runs.
 */
class ClientProcess : public QObject
{
    Q_OBJECT

public:
    explicit ClientProcess(const QStringList &arguments = {}, Identity identity = Identity::Root,
                           QObject *parent = nullptr);
    ~ClientProcess() override;

    /** Sets a variable for the process; to be called before start(). */
    void setEnvironment(const QString &name, const QString &value);

    /** @return false if the program could not be run. */
    [[nodiscard]] bool start();

    /** start(), and the service name "com.orvik.orvikstore" is owned by this process. */
    [[nodiscard]] bool startService(int timeout = 10000);

    /** Waits until a line of the log contains @p text; true at once if one does. */
    [[nodiscard]] bool waitForLog(const QString &text, int timeout = 10000);

    /** Waits for the end of the process. @return false if it still runs after @p timeout. */
    [[nodiscard]] bool waitForEnd(int timeout = 10000);

    /** Lines printed so far, on both streams. */
    [[nodiscard]] const QStringList &log() const { return m_log; }
    void clearLog() { m_log.clear(); }

    [[nodiscard]] bool isRunning() const { return m_process.state() != QProcess::NotRunning; }
    [[nodiscard]] qint64 processId() const { return m_process.processId(); }
    /** Exit status; meaningful after waitForEnd() and without crashed(). */
    [[nodiscard]] int exitCode() const { return m_process.exitCode(); }
    [[nodiscard]] bool crashed() const { return m_process.exitStatus() == QProcess::CrashExit; }

    void terminate() { m_process.terminate(); }
    void kill() { m_process.kill(); }

Q_SIGNALS:
    /** The log has grown, or the process has started or ended. */
    void changed();

private:
    void readLog();
    bool waitUntil(const std::function<bool()> &condition, int timeout);

    QProcess m_process;
    QStringList m_command;
    QStringList m_log;
    QByteArray m_partialLine;
};
