#pragma once

#include <QObject>
#include <QString>

namespace Package {

/**
 * One change of, or question about, the device's packages: a small state machine that
 * reports through four signals and deletes itself at its end.
 *
 * Made without a parent by Package::Manager, connected by its user, then started once. A
 * transaction that was never started is deleted by whoever holds it.
 */
class Transaction : public QObject
{
    Q_OBJECT

public:
    Transaction();
    /** Deletes all children, and with them the steps in progress. */
    ~Transaction() override;

    /** Begins the work and returns at once. */
    virtual void start() = 0;
    /**
     * By default ends at once in failure("cancelled") and finished(), and stops nothing at the
     * daemon; a subclass may end later, and otherwise.
     */
    virtual void cancel();
    /** Whether isolated repositories are put back as soon as it has been started. */
    [[nodiscard]] virtual bool releasesRepositoriesAtStart() const;

Q_SIGNALS:
    /** @param value in percent; -1 for working, with no amount known. */
    void progress(int value);
    /** @param details untranslated text. */
    void failure(QString details);
    void success();
    /** Has ended, behind success() or failure() if one came. A removal cut off never says so. */
    void finished();

protected:
    /**
     * Ends the work without a word: from here on the transaction is deaf to its steps and
     * timers, and it deletes itself with the next turn of the event loop.
     */
    void end();
    /** Ends in success() and finished(). */
    void succeed();
    /** Ends in failure(@p details) and finished(). */
    void fail(const QString &details);
    [[nodiscard]] bool hasEnded() const;

private:
    bool m_ended = false;
};

} // namespace Package
