#include "runself.h"

#include <QCoreApplication>
#include <QProcess>

int runSelf(const QStringList &arguments, const QString &variable, const QString &value)
{
    QProcess process;
    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    if (!variable.isEmpty())
        environment.insert(variable, value);
    process.setProcessEnvironment(environment);
    process.setProcessChannelMode(QProcess::ForwardedChannels);
    process.start(QCoreApplication::applicationFilePath(), arguments);
    const bool ended = process.waitForFinished() && process.exitStatus() == QProcess::NormalExit;
    return ended ? process.exitCode() : -1;
}

int runSelfWithoutBus(const QStringList &arguments)
{
    return runSelf(arguments, QStringLiteral("DBUS_SESSION_BUS_ADDRESS"),
                   QStringLiteral("unix:path=/nowhere"));
}
