#pragma once

#include "simulatorclient.h"
#include "text.h"

#include <QProcess>

#include <initializer_list>

/** The phone's simulated package daemon, in the hands of one test program. */
class PackagePhone : public SimulatorClient
{
    Q_OBJECT

public:
    using Script = QVector<QJsonObject>;

    explicit PackagePhone(QObject *parent = nullptr);
    ~PackagePhone() override;

    /** Puts everything back, at a speed for tests; starts a daemon that has died. */
    void reset();
    /** Ends the daemon at once, as a crash would. The bus starts it anew when it is needed. */
    void kill();
    /** The same, and the bus can't start it until the next reset(). */
    void killForGood();
    [[nodiscard]] bool isRunning() const;

    /** What the daemon is to do, transaction by transaction. */
    void script(const Script &faults);

    /** What the daemon was asked for since reset(), of one role or of all: "Resolve(0x4, foo)". */
    [[nodiscard]] QStringList calls(const QString &role = {});

    /** Ids of the repositories that are enabled, in alphabetical order. */
    [[nodiscard]] QStringList enabledRepositories();
    /** "name version" of the installed packages. */
    [[nodiscard]] QStringList installedPackages();

private:
    QProcess m_daemon; // where the phone's own has died
};

/** A transaction of @p role that ends at once, telling only @p rows of packages. */
[[nodiscard]] QJsonObject canned(const char *role, std::initializer_list<QJsonValue> rows = {});
/** One row for canned(). @param info 1 for installed, 2 for available. */
[[nodiscard]] QJsonValue packageRow(int info, const QString &id, const QString &summary = {});
/** Any transaction that is not told otherwise by an earlier entry: ends well, does nothing. */
[[nodiscard]] QJsonObject cannedRest();
/** @p fault with the field @p key. */
[[nodiscard]] QJsonObject with(QJsonObject fault, const char *key, const QJsonValue &value);
/** A transaction of @p role that ends in an error. */
[[nodiscard]] QJsonObject failing(const char *role, int error, const char *words);
/** A transaction of @p role that ends with @p exit and without an error. */
[[nodiscard]] QJsonObject ending(const char *role, int exit);
/** The daemon dies with a transaction of @p role: at the "call", "running" or at the "end". */
[[nodiscard]] QJsonObject dying(const char *role, const char *moment);
