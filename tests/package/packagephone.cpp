#include "packagephone.h"

#include <QDBusConnection>
#include <QDBusConnectionInterface>
#include <QDir>
#include <QTest>

namespace {

const QString daemonService = text("org.freedesktop.PackageKit");
const QString controlService = text("org.kiosk.Simulator.PackageKit");

QString argumentText(const QJsonValue &value)
{
    switch (value.type()) {
    case QJsonValue::Double:
        return text("0x") + QString::number(qint64(value.toDouble()), 16);
    case QJsonValue::Bool:
        return value.toBool() ? text("true") : text("false");
    case QJsonValue::Array:
        return value.toVariant().toStringList().join(QLatin1Char(' '));
    default:
        return value.toString();
    }
}

QDBusConnectionInterface *systemBus()
{
    return QDBusConnection::systemBus().interface();
}

} // namespace

PackagePhone::PackagePhone(QObject *parent)
    : SimulatorClient(text("PackageKit"), parent)
{
    m_daemon.setProcessChannelMode(QProcess::ForwardedChannels);
}

PackagePhone::~PackagePhone()
{
    m_daemon.kill();
    m_daemon.waitForFinished();
}

void PackagePhone::reset()
{
    // Where the bus is able to start the daemon, it may be doing so already.
    if (!isRunning())
        systemBus()->startService(daemonService);
    if (!isRunning()) {
        m_daemon.waitForFinished();
        m_daemon.start(qEnvironmentVariable("KIOSK_SIMULATOR_DIR") + text("/packagekitsim"),
                       QStringList());
    }
    QTRY_VERIFY(systemBus()->isServiceRegistered(controlService));
    command(text("reset"));
    QJsonObject timing;
    for (const char *step : {"download", "install", "remove", "refresh", "upgrade-download",
                             "upgrade-install", "destroy"}) {
        timing.insert(QLatin1String(step), 10);
    }
    command(text("timing"), timing);
}

void PackagePhone::kill()
{
    const uint pid = systemBus()->servicePid(daemonService);
    QVERIFY(pid != 0);
    QCOMPARE(QProcess::execute(text("kill"), {text("-9"), QString::number(pid)}), 0);
    // Somebody may have the bus start another at once.
    QTRY_VERIFY(systemBus()->servicePid(daemonService).value() != pid);
}

void PackagePhone::killForGood()
{
    QDir services(text("/run/phone/services/system"));
    const QStringList files = services.entryList({text("*PackageKit.service")});
    for (const QString &file : files)
        QVERIFY(services.remove(file));
    systemBus()->call(text("ReloadConfig"));
    kill();
}

bool PackagePhone::isRunning() const
{
    return systemBus()->isServiceRegistered(daemonService);
}

void PackagePhone::script(const Script &faults)
{
    for (const QJsonObject &fault : faults)
        command(text("script"), fault);
}

QStringList PackagePhone::calls(const QString &role)
{
    QStringList texts;
    const QJsonArray all = entries(text("call"));
    for (const QJsonValue &value : all) {
        const QJsonObject entry = value.toObject();
        const QString name = entry[QLatin1String("role")].toString();
        if (!entry.contains(QLatin1String("transaction")) || (!role.isEmpty() && role != name))
            continue;
        QStringList arguments;
        const QJsonArray values = entry[QLatin1String("arguments")].toArray();
        for (const QJsonValue &argument : values)
            arguments.append(argumentText(argument));
        texts.append(text("%1(%2)").arg(name, arguments.join(QLatin1String(", "))));
    }
    return texts;
}

QStringList PackagePhone::enabledRepositories()
{
    QStringList ids;
    const QJsonArray all = command(text("state"))[QLatin1String("repositories")].toArray();
    for (const QJsonValue &value : all) {
        if (value[QLatin1String("enabled")].toBool())
            ids.append(value[QLatin1String("id")].toString());
    }
    ids.sort();
    return ids;
}

QStringList PackagePhone::installedPackages()
{
    QStringList names;
    const QJsonArray all = command(text("state"))[QLatin1String("installed")].toArray();
    for (const QJsonValue &value : all) {
        names.append(value[QLatin1String("name")].toString() + QLatin1Char(' ')
                     + value[QLatin1String("version")].toString());
    }
    return names;
}

QJsonObject canned(const char *role, std::initializer_list<QJsonValue> rows)
{
    return {{text("role"), QLatin1String(role)},
            {text("canned"), true},
            {text("ms"), 0},
            {text("packages"), QJsonArray(rows)}};
}

QJsonValue packageRow(int info, const QString &id, const QString &summary)
{
    return QJsonArray{info, id, summary};
}

QJsonObject cannedRest()
{
    return with(canned("*"), "times", -1);
}

QJsonObject with(QJsonObject fault, const char *key, const QJsonValue &value)
{
    fault.insert(QLatin1String(key), value);
    return fault;
}

QJsonObject failing(const char *role, int error, const char *words)
{
    return {
        {text("role"), QLatin1String(role)}, {text("error"), error}, {text("text"), text(words)}};
}

QJsonObject ending(const char *role, int exit)
{
    return {{text("role"), QLatin1String(role)}, {text("exit"), exit}};
}

QJsonObject dying(const char *role, const char *moment)
{
    return with(with(canned(role), "ms", 10), "die", QLatin1String(moment));
}
