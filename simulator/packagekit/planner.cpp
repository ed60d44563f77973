#include "planner.h"

#include <QRegularExpression>

namespace {

const QString sizeQuery = QStringLiteral("tesk::query-size:");
const QString devicePattern = QStringLiteral("orvik-configuration-");
const QString deviceRepository = QStringLiteral("adaptation");
const QString refreshNow = QStringLiteral("refresh-now");

Plan single(Transaction::Status status, std::function<Outcome(PlanOutput &)> work, int duration = 0)
{
    Phase phase;
    phase.status = status;
    phase.duration = duration;
    if (duration > 0) {
        phase.from = 0;
        phase.to = 100;
    }
    phase.end = std::move(work);
    return {phase};
}

Plan failing(Transaction::Error error, const QString &details)
{
    return single(Transaction::StatusDepResolve,
                  [=](PlanOutput &) { return Outcome::failed(error, details); });
}

QString idOf(const OfferedPackage &offer)
{
    return QStringList{offer.package.name, offer.package.version, offer.package.arch,
                       offer.repository}
        .join(QLatin1Char(';'));
}

void announce(PlanOutput &output, const QVector<OfferedPackage> &offers, Transaction::Info info)
{
    for (const OfferedPackage &offer : offers)
        output.package({info, idOf(offer), offer.package.summary});
}

Outcome sendRows(PlanOutput &output, const QVector<PackageRow> &rows)
{
    for (const PackageRow &row : rows)
        output.package(row);
    return {};
}

Outcome notFound(const QString &id)
{
    return Outcome::failed(Transaction::ErrorPackageNotFound,
                           QStringLiteral("couldn't find package %1").arg(id));
}

} // namespace

Planner::Planner(PhonePackages &phone, const Timing &timing)
    : m_phone(phone)
    , m_timing(timing)
{ }

Plan Planner::plan(Role role, const QVariantList &arguments) const
{
    const auto text = [&](int i) { return arguments.value(i).toString(); };
    const auto texts = [&](int i) { return arguments.value(i).toStringList(); };
    const auto flag = [&](int i) { return arguments.value(i).toBool(); };
    const quint64 flags = arguments.value(0).toULongLong();
    switch (role) {
    case Transaction::RoleRefreshCache:
        return single(
            Transaction::StatusRefreshCache,
            [this, force = flag(0)](PlanOutput &) {
                if (force)
                    m_phone.refresh(PhonePackages::FullRefresh, QString());
                return Outcome();
            },
            m_timing.refresh);
    case Transaction::RoleRepoEnable:
        return repoEnable(text(0), flag(1));
    case Transaction::RoleRepoSetData:
        return repoSetData(text(0), text(1), text(2));
    case Transaction::RoleInstallPackages:
    case Transaction::RoleUpdatePackages:
        return install(role, flags, texts(1));
    case Transaction::RoleInstallFiles:
        return installFiles(flags, texts(1));
    case Transaction::RoleRemovePackages:
        return remove(flags, texts(1), flag(2), flag(3));
    case Transaction::RoleUpgradeSystem:
        return upgradeSystem(text(1), arguments.value(2).toUInt());
    default:
        return single(Transaction::StatusQuery, query(role, arguments));
    }
}

Planner::Work Planner::query(Role role, const QVariantList &arguments) const
{
    const quint64 filter = arguments.value(0).toULongLong();
    const QStringList values = arguments.value(arguments.value(1).isValid() ? 1 : 0).toStringList();
    return [this, role, filter, values](PlanOutput &output) -> Outcome {
        switch (role) {
        case Transaction::RoleResolve:
            for (const QString &name : values)
                sendRows(output, m_phone.resolve(filter, name));
            return {};
        case Transaction::RoleGetPackages:
            return sendRows(output, m_phone.packages(filter));
        case Transaction::RoleGetUpdates:
            return sendRows(output, m_phone.updates());
        case Transaction::RoleSearchFile:
            for (const QString &path : values)
                sendRows(output, m_phone.owners(filter, path));
            return {};
        case Transaction::RoleGetRepoList:
            for (const Repository &repository : m_phone.repositories().all())
                output.repository(repository.id, repository.description, repository.enabled);
            return {};
        case Transaction::RoleDependsOn: {
            QStringList needs;
            for (const QString &id : values) {
                const std::optional<RpmPackage> package = m_phone.find(id);
                if (!package)
                    return notFound(id);
                needs += package->needs;
            }
            QStringList missing;
            const QVector<OfferedPackage> wanted = m_phone.dependencies(needs, &missing);
            if (!missing.isEmpty()) {
                return Outcome::failed(
                    Transaction::ErrorDepResolutionFailed,
                    QStringLiteral("nothing provides %1").arg(missing.join(QLatin1String(", "))));
            }
            for (const QString &name : qAsConst(needs))
                sendRows(output, m_phone.resolve(Transaction::FilterInstalled, name));
            announce(output, wanted, Transaction::InfoAvailable);
            return {};
        }
        case Transaction::RoleGetFiles:
        case Transaction::RoleGetDetails:
            for (const QString &id : values) {
                const std::optional<RpmPackage> package = m_phone.find(id);
                if (!package)
                    return notFound(id);
                if (role == Transaction::RoleGetFiles) {
                    output.files(id, package->files);
                    continue;
                }
                output.details({{QStringLiteral("package-id"), id},
                                {QStringLiteral("group"), uint(0)},
                                {QStringLiteral("summary"), package->summary},
                                {QStringLiteral("description"), package->description},
                                {QStringLiteral("license"), package->license},
                                {QStringLiteral("url"), package->url},
                                {QStringLiteral("size"), qulonglong(package->size)}});
            }
            return {};
        default:
            return Outcome::failed(Transaction::ErrorNotSupported,
                                   QStringLiteral("not supported by this backend"));
        }
    };
}

Plan Planner::repoEnable(const QString &id, bool enabled) const
{
    return single(Transaction::StatusRequest, [=](PlanOutput &) -> Outcome {
        if (!m_phone.repositories().setEnabled(id, enabled)) {
            return Outcome::failed(Transaction::ErrorRepoNotFound,
                                   QStringLiteral("repository %1 not found").arg(id));
        }
        m_phone.save();
        return {};
    });
}

Plan Planner::repoSetData(const QString &id, const QString &key, const QString &value) const
{
    if (!m_phone.repositories().contains(id)) {
        return failing(Transaction::ErrorRepoNotFound,
                       QStringLiteral("repository %1 not found").arg(id));
    }
    if (key != refreshNow) {
        return failing(Transaction::ErrorNotSupported,
                       QStringLiteral("can't set %1 of a repository").arg(key));
    }
    const auto level = value == QLatin1String("true") ? PhonePackages::ForcedStoreRefresh
                                                      : PhonePackages::StoreRefresh;
    return single(
        Transaction::StatusRefreshCache,
        [this, level, id](PlanOutput &) {
            m_phone.refresh(level, id);
            return Outcome();
        },
        m_timing.refresh);
}

Plan Planner::install(Role role, quint64 flags, const QStringList &ids) const
{
    QVector<OfferedPackage> offers;
    QStringList needs;
    for (const QString &id : ids) {
        const std::optional<OfferedPackage> offer = m_phone.offered(id);
        if (!offer)
            return failing(Transaction::ErrorPackageNotFound, notFound(id).details);
        const QVector<RpmPackage> present = m_phone.installed(offer->package.name);
        if (present.isEmpty() && role == Transaction::RoleUpdatePackages) {
            return failing(Transaction::ErrorPackageNotInstalled,
                           QStringLiteral("%1 is not installed").arg(offer->package.name));
        }
        if (!present.isEmpty() && present.first().version == offer->package.version) {
            return failing(Transaction::ErrorPackageAlreadyInstalled,
                           QStringLiteral("%1 is already installed").arg(offer->package.name));
        }
        offers.append(*offer);
        needs += offer->package.needs;
    }
    QStringList missing;
    const QVector<OfferedPackage> wanted = m_phone.dependencies(needs, &missing);
    if (!missing.isEmpty()) {
        return failing(
            Transaction::ErrorDepResolutionFailed,
            QStringLiteral("nothing provides %1").arg(missing.join(QLatin1String(", "))));
    }
    for (const OfferedPackage &offer : wanted) {
        if (!ids.contains(idOf(offer)))
            offers.prepend(offer);
    }
    const auto status = role == Transaction::RoleUpdatePackages ? Transaction::StatusUpdate
                                                                : Transaction::StatusInstall;
    return transfer(flags, status, offers, {});
}

Plan Planner::installFiles(quint64 flags, const QStringList &files) const
{
    QStringList needs;
    for (const QString &file : files) {
        const std::optional<RpmPackage> package = RpmDatabase::read(file);
        if (!package) {
            return failing(Transaction::ErrorInvalidPackageFile,
                           QStringLiteral("%1 is not a valid package").arg(file));
        }
        needs += package->needs;
    }
    QStringList missing;
    const QVector<OfferedPackage> wanted = m_phone.dependencies(needs, &missing);
    if (!missing.isEmpty()) {
        return failing(
            Transaction::ErrorDepResolutionFailed,
            QStringLiteral("nothing provides %1").arg(missing.join(QLatin1String(", "))));
    }
    return transfer(flags, Transaction::StatusInstall, wanted, files);
}

/** The two halves of an installation: fetching what is not there yet, and installing. */
Plan Planner::transfer(quint64 flags, Transaction::Status status,
                       const QVector<OfferedPackage> &offers, const QStringList &files) const
{
    Plan plan = single(Transaction::StatusDepResolve, {});
    if (flags & Transaction::TransactionFlagSimulate) {
        plan.first().end = [offers](PlanOutput &output) {
            announce(output, offers, Transaction::InfoInstalling);
            return Outcome();
        };
        return plan;
    }
    QVector<OfferedPackage> toFetch;
    for (const OfferedPackage &offer : offers) {
        if (!m_phone.isCached(idOf(offer)))
            toFetch.append(offer);
    }
    const bool downloadOnly = flags & Transaction::TransactionFlagOnlyDownload;
    const bool fetches = !toFetch.isEmpty() || downloadOnly;
    if (fetches) {
        Phase download;
        download.status = Transaction::StatusDownload;
        download.duration = toFetch.isEmpty() ? 0 : m_timing.download;
        download.from = 0;
        download.to = downloadOnly ? 100 : 50;
        download.begin = [toFetch](PlanOutput &output) {
            announce(output, toFetch, Transaction::InfoDownloading);
            return Outcome();
        };
        download.end = [this, toFetch](PlanOutput &) {
            for (const OfferedPackage &offer : toFetch)
                m_phone.setCached(idOf(offer), true);
            return Outcome();
        };
        plan.append(download);
    }
    if (downloadOnly)
        return plan;

    Phase install;
    install.status = status;
    install.duration = m_timing.install;
    install.from = fetches ? 50 : 0;
    install.to = 100;
    install.cancellable = false;
    install.begin = [offers, status](PlanOutput &output) {
        announce(output, offers,
                 status == Transaction::StatusUpdate ? Transaction::InfoUpdating
                                                     : Transaction::InfoInstalling);
        return Outcome();
    };
    install.end = [this, offers, files](PlanOutput &) -> Outcome {
        QStringList paths = files;
        for (const OfferedPackage &offer : offers)
            paths.append(offer.file);
        const QString problem = m_phone.install(paths);
        if (!problem.isEmpty())
            return Outcome::failed(files.isEmpty() ? Transaction::ErrorPackageFailedToInstall
                                                   : Transaction::ErrorLocalInstallFailed,
                                   problem);
        for (const OfferedPackage &offer : offers)
            m_phone.setCached(idOf(offer), false);
        return {};
    };
    plan.append(install);
    return plan;
}

Plan Planner::remove(quint64 flags, const QStringList &ids, bool allowDependants,
                     bool autoRemove) const
{
    QStringList names;
    for (const QString &id : ids) {
        const QString name = Transaction::packageName(id);
        if (m_phone.resolve(Transaction::FilterInstalled, name).isEmpty()) {
            return failing(Transaction::ErrorPackageNotInstalled,
                           QStringLiteral("%1 is not installed").arg(name));
        }
        names.append(name);
    }
    for (int i = 0; i < names.size(); ++i) { // grows as it goes
        const QStringList dependants = m_phone.installedDependants(names[i]);
        for (const QString &dependant : dependants) {
            if (names.contains(dependant))
                continue;
            if (!allowDependants) {
                return failing(Transaction::ErrorDepResolutionFailed,
                               QStringLiteral("%1 is needed by %2").arg(names[i], dependant));
            }
            names.append(dependant);
        }
    }
    if (autoRemove)
        names += m_phone.orphansWithout(names);

    QVector<PackageRow> rows;
    for (const QString &name : qAsConst(names)) {
        PackageRow row = m_phone.resolve(Transaction::FilterInstalled, name).first();
        row.info = Transaction::InfoRemoving;
        rows.append(row);
    }
    Plan plan = single(Transaction::StatusDepResolve, {});
    const auto show = [rows](PlanOutput &output) { return sendRows(output, rows); };
    if (flags & Transaction::TransactionFlagSimulate) {
        plan.first().end = show;
        return plan;
    }
    Phase phase = single(
                      Transaction::StatusRemove,
                      [this, names](PlanOutput &) -> Outcome {
                          const QString problem = m_phone.erase(names);
                          return problem.isEmpty()
                              ? Outcome()
                              : Outcome::failed(Transaction::ErrorPackageFailedToRemove, problem);
                      },
                      m_timing.remove)
                      .first();
    phase.cancellable = false;
    phase.begin = show;
    plan.append(phase);
    return plan;
}

Plan Planner::upgradeSystem(const QString &distribution, uint kind) const
{
    const bool asksSize = distribution.startsWith(sizeQuery);
    const QString pattern = asksSize ? distribution.mid(sizeQuery.size()) : distribution;
    const std::optional<OfferedPackage> system = m_phone.offeredSystem();
    // The pattern comes with the drivers of the device, so isolation must keep those.
    if (!pattern.startsWith(devicePattern) || !system
        || !m_phone.repositories().isEnabled(deviceRepository)) {
        return failing(Transaction::ErrorPackageNotFound,
                       QStringLiteral("couldn't find pattern %1").arg(pattern));
    }
    const QString id = idOf(*system);
    const bool isCached = m_phone.isCached(id);
    const UpgradeSizes sizes = m_phone.upgradeSizes();
    if (asksSize) {
        const QString answer = QStringLiteral("DOWNLOAD=%1;INSTALL=%2;REMOVE=%3;CACHED=%4")
                                   .arg(isCached ? 0 : sizes.download)
                                   .arg(sizes.install)
                                   .arg(sizes.remove)
                                   .arg(isCached ? sizes.download : 0);
        return single(Transaction::StatusDepResolve, [answer](PlanOutput &) {
            return Outcome::failed(Transaction::ErrorNoDistroUpgradeData, answer);
        });
    }

    Plan plan = single(Transaction::StatusRefreshCache, {}, m_timing.upgradeDownload / 5);
    Phase download =
        single(Transaction::StatusDownload, {}, isCached ? 0 : m_timing.upgradeDownload).first();
    download.from = 0;
    download.to = 100;
    download.begin = [system](PlanOutput &output) {
        announce(output, {*system}, Transaction::InfoDownloading);
        return Outcome();
    };
    download.end = [this, id](PlanOutput &) {
        m_phone.setCached(id, true);
        return Outcome();
    };
    plan.append(download);
    if (kind == Transaction::UpgradeKindMinimal)
        return plan;
    if (isCached)
        plan.clear();

    Phase install = single(Transaction::StatusInstall, {}, m_timing.upgradeInstall).first();
    install.cancellable = false;
    install.begin = [system](PlanOutput &output) {
        announce(output, {*system}, Transaction::InfoInstalling);
        return Outcome();
    };
    install.end = [this, system, id](PlanOutput &) -> Outcome {
        const QString problem = m_phone.installSystem(*system);
        if (!problem.isEmpty())
            return Outcome::failed(Transaction::ErrorTransactionError, problem);
        m_phone.setCached(id, false);
        return {};
    };
    plan.append(install);
    return plan;
}
