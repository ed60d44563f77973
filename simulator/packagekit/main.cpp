// The simulated phone's package daemon; see packagedaemon.h and controlverbs.h.

#include "controlverbs.h"
#include "packagedaemon.h"
#include "phonepackages.h"
#include "simulatorcontrol.h"

#include <QCommandLineParser>
#include <QCoreApplication>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QTextStream>

namespace {

/** The phone's own files are written; those of a host are left alone. */
QString ifInPhone(const char *path)
{
    return qEnvironmentVariable("KIOSK_INSIDE_PHONE") == QLatin1String("1")
        ? QString::fromLatin1(path)
        : QString();
}

/** Lets the bus start the daemon again after it has died. */
void writeActivation(const QString &folder)
{
    QStringList command = QCoreApplication::arguments();
    command.first() = QCoreApplication::applicationFilePath();
    for (const char *name : {"org.freedesktop.PackageKit", "org.kiosk.Simulator.PackageKit"}) {
        QFile file(folder + QLatin1Char('/') + QLatin1String(name) + QLatin1String(".service"));
        if (file.open(QIODevice::WriteOnly)) {
            QTextStream(&file) << "[D-BUS Service]\nName=" << name
                               << "\nExec=" << command.join(QLatin1Char(' ')) << '\n';
        }
    }
}

QString defaultData()
{
    const QString runtime = qEnvironmentVariable("XDG_RUNTIME_DIR");
    return (runtime.isEmpty() ? QStringLiteral("/var/lib") : runtime)
        + QStringLiteral("/packagekitsim");
}

QString packagesFolder(const QString &told, const QString &catalogue)
{
    const QDir besideCatalogue(QFileInfo(catalogue).path() + QStringLiteral("/packages"));
    if (!told.isEmpty())
        return QDir(told).absolutePath();
    if (!catalogue.isEmpty() && besideCatalogue.exists(QStringLiteral("index.json")))
        return besideCatalogue.absolutePath();
    return QDir::cleanPath(QCoreApplication::applicationDirPath()
                           + QStringLiteral("/../share/packages"));
}

} // namespace

int main(int argc, char **argv)
{
    QCoreApplication application(argc, argv);
    QCommandLineParser parser;
    const auto add = [&parser](const char *name, const char *help, const QString &value) {
        parser.addOption({QLatin1String(name), QLatin1String(help), QStringLiteral("path"), value});
    };
    add("data", "Folder of the phone's state", defaultData());
    add("catalogue", "The store's catalogue; its packages may lie in \"packages\" beside it",
        QString());
    add("packages", "Folder that mkpackages has made, instead of the one beside this program",
        QString());
    add("applications", "Folder that gets the launchers of installed packages",
        ifInPhone("/usr/share/applications"));
    add("desktop-cache", "Cache of desktop files",
        ifInPhone("/var/lib/PackageKit/desktop-files.db"));
    add("os-release", "File that names the release", ifInPhone("/etc/os-release"));
    add("services", "Folder of the system bus's activation files",
        ifInPhone("/run/phone/services/system"));
    parser.addHelpOption();
    parser.process(application);

    const QString data = QDir(parser.value(QStringLiteral("data"))).absolutePath();
    QDir().mkpath(data);
    const QString packages = packagesFolder(parser.value(QStringLiteral("packages")),
                                            parser.value(QStringLiteral("catalogue")));
    PhonePackages phone({data, packages, parser.value(QStringLiteral("applications")),
                         parser.value(QStringLiteral("desktop-cache")),
                         parser.value(QStringLiteral("os-release"))});
    if (!phone.load()) {
        QTextStream(stderr) << "packagekitsim: no packages in \"" << packages << "\"\n";
        return 1;
    }

    SimulatorControl control(QStringLiteral("PackageKit"));
    PackageDaemon daemon(phone, control);
    daemon.setFaultFile(data + QStringLiteral("/faults.json"));
    registerControlVerbs(control, daemon, phone);
    const QString services = parser.value(QStringLiteral("services"));
    if (!services.isEmpty())
        writeActivation(services);
    if (!daemon.publish() || !control.publish())
        return 1;
    return QCoreApplication::exec();
}
