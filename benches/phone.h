#pragma once

#include <QDBusMessage>
#include <QJsonObject>
#include <QProcess>
#include <QString>
#include <QStringList>

/** The phone that the benchmarks run in, and programs started in it. */
namespace Bench {

/** Sends a verb to one of the phone's programs ("Store", "PackageKit", "Services"). */
QJsonObject tellPhone(const QString &part, const QString &verb, const QJsonObject &arguments = {});

/** A method of the client's interface at @p service, which is the client or a floor of it. */
[[nodiscard]] QDBusMessage clientCall(const QString &service, const QString &method,
                                      const QVariantList &arguments = {});

/** The folder of the benchmarks' and the product's programs, with a slash at its end. */
[[nodiscard]] QString programFolder();

/** A program of programFolder() that has taken its name on the session bus; ended with this. */
class Program
{
public:
    Program(const QString &program, const QStringList &arguments, const QString &service);
    ~Program();
    Program(const Program &) = delete;
    Program &operator=(const Program &) = delete;

    /** Seconds from exec until the name was there. */
    [[nodiscard]] double secondsToName() const { return m_secondsToName; }
    [[nodiscard]] qint64 pid() const { return m_process.processId(); }
    /** Asks it to end and gives what it printed. */
    QByteArray end();

private:
    QProcess m_process;
    double m_secondsToName = 0;
};

extern const QString clientService;

// The groups of figures; each adds its rows to the table.
void measureStart();
void measureBusMethods();
void measureStoreRecords();
void measureStoreInPhone();
void measureModels();
void measurePackages();
void measurePackagesInPhone();
void measureDiskCache();
void measureIdle();

} // namespace Bench
