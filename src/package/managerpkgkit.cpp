#include "managerpkgkit.h"

#include "distchecktransactionpkgkit.h"
#include "distupgradetransactionpkgkit.h"
#include "infotransactionrpm.h"
#include "installtransactionpkgkit.h"
#include "listtransactionpkgkit.h"
#include "osupdatepackages.h"
#include "osupdatesizetransactionpkgkit.h"
#include "packagefilestransactionpkgkit.h"
#include "packagenametransactionpkgkit.h"
#include "pkgkitvalues.h"
#include "repositorytransactionpkgkit.h"
#include "uninstalltransactionpkgkit.h"

#include "desktopfilecache.h"

#include <PackageKit/Daemon>

#include <QDBusConnection>
#include <QDBusMessage>
#include <QDBusReply>
#include <QDebug>
#include <QDir>
#include <QRegularExpression>

#include <rpm/rpmver.h>

namespace Package {

namespace {

constexpr std::chrono::milliseconds idleTime{30000};
constexpr int roleTimeout = 500; // milliseconds

const QString packageKitService = QStringLiteral("org.freedesktop.PackageKit");
const QString packageKitPath = QStringLiteral("/org/freedesktop/PackageKit");

const QLatin1String applicationsDirectory("/usr/share/applications/");
const QLatin1String launcherPrefix("apkd_launcher_");
const QLatin1String androidPackagePrefix("quayside-apk-");

struct Version
{
    QByteArray epoch;
    QByteArray version;
};

Version splitVersion(const QString &text)
{
    const int colon = text.indexOf(QLatin1Char(':'));
    const QString rest = text.mid(colon + 1);
    return {colon < 0 ? QByteArrayLiteral("0") : text.left(colon).toUtf8(),
            rest.left(rest.lastIndexOf(QLatin1Char('-'))).toUtf8()};
}

QString packageNameFromRpm(const QString &path)
{
    const QString file = path.mid(path.lastIndexOf(QLatin1Char('/')) + 1);
    const QStringList parts = file.split(QRegularExpression(QStringLiteral("-[0-9]+")));
    qDebug() << path << file << parts;
    return parts.value(0);
}

QStringList androidDesktopFiles(const QString &package)
{
    QString name = package.mid(androidPackagePrefix.size());
    name.replace(QLatin1Char('.'), QLatin1Char('_'));
    const QString pattern = launcherPrefix + name + QLatin1String("*.desktop");
    QStringList paths;
    const QStringList names =
        QDir(applicationsDirectory).entryList({pattern}, QDir::NoFilter, QDir::Unsorted);
    for (const QString &file : names)
        paths.append(applicationsDirectory + file);
    return paths;
}

/**
 * Asked on the wire: the library would learn the role only with a later turn of the event
 * loop. Unknown if the daemon doesn't tell.
 */
PackageKit::Transaction::Role transactionRole(const QString &tid)
{
    QDBusMessage call = QDBusMessage::createMethodCall(
        packageKitService, tid, QStringLiteral("org.freedesktop.DBus.Properties"),
        QStringLiteral("Get"));
    call << QStringLiteral("org.freedesktop.PackageKit.Transaction") << QStringLiteral("Role");
    const QDBusReply<QVariant> reply =
        QDBusConnection::systemBus().call(call, QDBus::Block, roleTimeout);
    return reply.isValid() ? static_cast<PackageKit::Transaction::Role>(reply.value().toUInt())
                           : PackageKit::Transaction::RoleUnknown;
}

} // namespace

ManagerPkgKit::ManagerPkgKit(QObject *parent)
    : Manager(parent)
    , m_idleTimer(this)
    , m_retryDelay(InstallTransactionPkgKit::DefaultRetryDelay)
{
    static_cast<void>(OsUpdate::configurationPattern()); // read as the process starts
    QDBusConnection::systemBus().connect(QString(), packageKitPath, packageKitService,
                                         QStringLiteral("TransactionListChanged"), this,
                                         SLOT(slotTransactionListChanged(QStringList)));
    m_idleTimer.setSingleShot(true);
    m_idleTimer.setInterval(idleTime);
    connect(&m_idleTimer, &QTimer::timeout, this, &Manager::packageManagerIdle);
}

ManagerPkgKit::~ManagerPkgKit()
{
    qDebug() << "telling PackageKit daemon to quit";
    PackageKit::Daemon::global()->suggestDaemonQuit();
}

void ManagerPkgKit::setRetryDelay(std::chrono::milliseconds delay)
{
    m_retryDelay = delay;
}

Transaction *ManagerPkgKit::createDistCheckTransaction(UpgradeInformation::Ptr info,
                                                       bool refreshCache)
{
    return new DistCheckTransactionPkgKit(std::move(info), refreshCache);
}

Transaction *ManagerPkgKit::createOsUpdateSizeTransaction(UpgradeInformation::Ptr info)
{
    return new OsUpdateSizeTransactionPkgKit(std::move(info));
}

Transaction *ManagerPkgKit::createDistUpgradeTransaction(bool downloadOnly)
{
    return new DistUpgradeTransactionPkgKit(downloadOnly);
}

Transaction *ManagerPkgKit::createListTransaction(PackageList::Ptr list)
{
    return new ListTransactionPkgKit(std::move(list));
}

Transaction *ManagerPkgKit::createInstallTransaction(const QString &package,
                                                     PackageInformation::Ptr info)
{
    auto *transaction = new InstallTransactionPkgKit(package, std::move(info));
    transaction->setRetryDelay(m_retryDelay);
    return transaction;
}

Transaction *ManagerPkgKit::createUninstallTransaction(const QString &package, bool autoRemove)
{
    return new UninstallTransactionPkgKit(package, autoRemove);
}

Transaction *ManagerPkgKit::createInfoTransaction(const QString &packageFile,
                                                  PackageInformation::Ptr info)
{
    return new InfoTransactionRpm(packageFile, std::move(info));
}

Transaction *ManagerPkgKit::createPackageFilesTransaction(const QString &package,
                                                          QStringList *files)
{
    return new PackageFilesTransactionPkgKit(package, files);
}

Transaction *ManagerPkgKit::createPackageNameTransaction(const QString &file,
                                                         PackageInformation::Ptr info)
{
    return new PackageNameTransactionPkgKit(file, std::move(info));
}

Transaction *ManagerPkgKit::createRepositoryTransaction(Transaction *wrapped,
                                                        const QString &version, bool restoreVersion,
                                                        const QStringList &requiredRepositories)
{
    return new RepositoryTransactionPkgKit(wrapped, version, restoreVersion, requiredRepositories);
}

int ManagerPkgKit::compareVersions(const QString &a, const QString &b) const
{
    const Version first = splitVersion(a);
    const Version second = splitVersion(b);
    const int epochs = rpmvercmp(first.epoch.constData(), second.epoch.constData());
    if (epochs != 0)
        return epochs;
    return rpmvercmp(first.version.constData(), second.version.constData());
}

QStringList ManagerPkgKit::packageDesktopFiles(const QString &package) const
{
    if (package.startsWith(QLatin1Char('/')))
        return DesktopFileCache::packageDesktopFiles(packageNameFromRpm(package));
    if (package.startsWith(androidPackagePrefix))
        return androidDesktopFiles(package);
    return DesktopFileCache::packageDesktopFiles(package);
}

QString ManagerPkgKit::packageNameByDesktopFile(const QString &desktopFile) const
{
    return DesktopFileCache::packageNameByDesktopFile(desktopFile);
}

void ManagerPkgKit::slotTransactionListChanged(QStringList tids)
{
    if (tids.isEmpty()) {
        m_idleTimer.start();
        return;
    }
    m_idleTimer.stop();
    // Switches of repositories run beside a download on purpose.
    if (tids.size() > 1
        && transactionRole(tids.last()) != PackageKit::Transaction::RoleRepoEnable) {
        Q_EMIT packageManagerForeignRequested();
    }
}

} // namespace Package
