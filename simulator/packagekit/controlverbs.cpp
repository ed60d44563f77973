#include "controlverbs.h"

#include "packagedaemon.h"
#include "phonepackages.h"
#include "simulatorcontrol.h"

namespace {

QJsonObject problem(const QString &text)
{
    return text.isEmpty() ? QJsonObject() : QJsonObject{{QStringLiteral("error"), text}};
}

QString textOf(const QJsonObject &arguments, const char *key)
{
    return arguments[QLatin1String(key)].toString();
}

QJsonObject install(PhonePackages &phone, const QJsonObject &arguments)
{
    const QString name = textOf(arguments, "name");
    const QString version = textOf(arguments, "version");
    const QVector<PackageRow> rows = phone.resolve(Transaction::FilterNotInstalled, name);
    for (const PackageRow &row : rows) {
        const QString offered = Transaction::packageVersion(row.id);
        if (!version.isEmpty() && offered != version && offered != version + QStringLiteral("-1"))
            continue;
        const std::optional<OfferedPackage> offer = phone.offered(row.id);
        QStringList missing;
        QStringList files{offer->file};
        const QVector<OfferedPackage> wanted = phone.dependencies(offer->package.needs, &missing);
        for (const OfferedPackage &dependency : wanted)
            files.append(dependency.file);
        return problem(phone.install(files));
    }
    return problem(QStringLiteral("no such package to install: %1").arg(name));
}

QJsonObject setTiming(Timing &timing, const QJsonObject &arguments)
{
    const QHash<QString, int *> fields{
        {QStringLiteral("download"), &timing.download},
        {QStringLiteral("install"), &timing.install},
        {QStringLiteral("remove"), &timing.remove},
        {QStringLiteral("refresh"), &timing.refresh},
        {QStringLiteral("upgrade-download"), &timing.upgradeDownload},
        {QStringLiteral("upgrade-install"), &timing.upgradeInstall},
        {QStringLiteral("destroy"), &timing.destroy}};
    for (auto entry = arguments.begin(); entry != arguments.end(); ++entry) {
        int *field = fields.value(entry.key());
        if (!field)
            return problem(QStringLiteral("no such timing: %1").arg(entry.key()));
        *field = entry.value().toInt();
    }
    return {};
}

void registerTransactionVerbs(SimulatorControl &control, PackageDaemon &daemon,
                              PhonePackages &phone)
{
    control.handle(QStringLiteral("reset"), [&](const QJsonObject &) {
        daemon.reset();
        const bool done = phone.reset();
        control.Command(QStringLiteral("clear-log"), QString());
        return problem(done ? QString() : QStringLiteral("the phone could not be put back"));
    });
    control.handle(QStringLiteral("state"), [&](const QJsonObject &) {
        QJsonObject state = phone.description();
        state.insert(QStringLiteral("transactions"),
                     QJsonArray::fromStringList(daemon.transactionPaths()));
        return state;
    });
    control.handle(QStringLiteral("script"), [&](const QJsonObject &arguments) {
        if (!daemon.faults().add(arguments))
            return problem(QStringLiteral("no such role: %1").arg(textOf(arguments, "role")));
        daemon.saveFaults();
        return QJsonObject();
    });
    control.handle(QStringLiteral("foreign"), [&](const QJsonObject &arguments) {
        const std::optional<Role> role = Faults::roleFor(arguments[QLatin1String("role")]);
        if (!role)
            return problem(QStringLiteral("no such role: %1").arg(textOf(arguments, "role")));
        const QString path =
            daemon.createForeign(*role, arguments[QLatin1String("ms")].toInt(1000));
        return QJsonObject{{QStringLiteral("transaction"), path}};
    });
    control.handle(QStringLiteral("timing"), [&](const QJsonObject &arguments) {
        return setTiming(daemon.timing(), arguments);
    });
}

void registerPackageVerbs(SimulatorControl &control, PhonePackages &phone)
{
    control.handle(QStringLiteral("install"),
                   [&](const QJsonObject &arguments) { return install(phone, arguments); });
    control.handle(QStringLiteral("remove"), [&](const QJsonObject &arguments) {
        return problem(phone.erase({textOf(arguments, "name")}));
    });
    control.handle(QStringLiteral("stale"), [&](const QJsonObject &arguments) {
        const int level = arguments[QLatin1String("level")].toInt();
        if (level < PhonePackages::StoreRefresh || level > PhonePackages::FullRefresh)
            return problem(QStringLiteral("the level is 1, 2 or 3"));
        phone.hide(textOf(arguments, "name"), textOf(arguments, "version"),
                   PhonePackages::RefreshLevel(level));
        return QJsonObject();
    });
    control.handle(QStringLiteral("repository"), [&](const QJsonObject &arguments) {
        const QString name = textOf(arguments, "name");
        const bool known =
            phone.repositories().setEnabled(name, arguments[QLatin1String("enabled")].toBool());
        phone.save();
        return problem(known ? QString() : QStringLiteral("no such repository: %1").arg(name));
    });
    control.handle(QStringLiteral("many"), [&](const QJsonObject &arguments) {
        phone.setManyInstalled(arguments[QLatin1String("count")].toInt());
        return QJsonObject();
    });
    control.handle(QStringLiteral("upgrade-size"), [&](const QJsonObject &arguments) {
        UpgradeSizes &sizes = phone.upgradeSizes();
        const auto read = [&](const char *key, qint64 &size) {
            size = qint64(arguments[QLatin1String(key)].toDouble(double(size)));
        };
        read("download", sizes.download);
        read("install", sizes.install);
        read("remove", sizes.remove);
        return QJsonObject();
    });
}

void registerReleaseVerbs(SimulatorControl &control, PhonePackages &phone)
{
    control.handle(QStringLiteral("rdm-modify-repo"), [&](const QJsonObject &arguments) {
        phone.repositories().modify(arguments[QLatin1String("action")].toInt(),
                                    textOf(arguments, "name"));
        return QJsonObject();
    });
    control.handle(QStringLiteral("rdm-update-repos"), [&](const QJsonObject &) {
        phone.repositories().applyModifications();
        phone.save();
        return QJsonObject();
    });
    control.handle(QStringLiteral("rdm-release"), [&](const QJsonObject &arguments) {
        phone.setRelease(textOf(arguments, "release"));
        return QJsonObject();
    });
    control.handle(QStringLiteral("offer-release"), [&](const QJsonObject &arguments) {
        phone.offerVersion(textOf(arguments, "release"));
        return QJsonObject();
    });
}

} // namespace

void registerControlVerbs(SimulatorControl &control, PackageDaemon &daemon, PhonePackages &phone)
{
    registerTransactionVerbs(control, daemon, phone);
    registerPackageVerbs(control, phone);
    registerReleaseVerbs(control, phone);
}
