#include "phonepackages.h"

#include "packagebuilder.h"

#include <QDebug>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QJsonArray>
#include <QJsonDocument>
#include <QRegularExpression>
#include <QSaveFile>

#include <algorithm>
#include <filesystem>

namespace {

const QString versionPackage = QStringLiteral("branwick-version");
const QString libraryPrefix = QStringLiteral("lib");
const QString installedData = QStringLiteral("installed");

QString idOf(const RpmPackage &package, const QString &data)
{
    return QStringList{package.name, package.version, package.arch, data}.join(QLatin1Char(';'));
}

PackageRow installedRow(const RpmPackage &package)
{
    return {Transaction::InfoInstalled, idOf(package, installedData), package.summary};
}

PackageRow offeredRow(const OfferedPackage &offer)
{
    return {Transaction::InfoAvailable, idOf(offer.package, offer.repository),
            offer.package.summary};
}

QString versionOf(const PackageRow &row)
{
    return Transaction::packageVersion(row.id);
}

/** Of several versions the highest; of two rows of one version the first. */
QVector<PackageRow> newest(const QVector<PackageRow> &rows)
{
    const auto highest = std::max_element(
        rows.begin(), rows.end(), [](const PackageRow &left, const PackageRow &right) {
            return RpmDatabase::compare(versionOf(left), versionOf(right)) < 0;
        });
    return highest == rows.end() ? rows : QVector<PackageRow>{*highest};
}

QJsonObject readObject(const QString &path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? QJsonDocument::fromJson(file.readAll()).object()
                                          : QJsonObject();
}

/** "3.2.1-20" for the release "3.2.1.20". */
QString packageVersionOf(QString release)
{
    const int dot = release.lastIndexOf(QLatin1Char('.'));
    return dot > 0 ? release.replace(dot, 1, QLatin1Char('-')) : release + QLatin1String("-0");
}

} // namespace

PhonePackages::PhonePackages(const Places &places)
    : m_places(places)
    , m_database(root())
    , m_desktopFiles(root(), places.applications, places.desktopCache)
{ }

QString PhonePackages::root() const
{
    return m_places.data + QStringLiteral("/root");
}

bool PhonePackages::load()
{
    if (!loadIndex())
        return false;
    const QJsonObject state = readObject(m_places.data + QStringLiteral("/state.json"));
    if (state.isEmpty() || !QFileInfo::exists(root()))
        return reset();
    m_repositories.restore(state[QLatin1String("repositories")].toArray());
    m_release = state[QLatin1String("release")].toString();
    m_offeredVersion = state[QLatin1String("offered-version")].toString();
    const QJsonArray cached = state[QLatin1String("cached")].toArray();
    for (const QJsonValue &id : cached)
        m_cached.append(id.toString());
    const QJsonObject hidden = state[QLatin1String("hidden")].toObject();
    for (auto entry = hidden.begin(); entry != hidden.end(); ++entry)
        m_hidden.insert(entry.key(), entry.value().toInt());
    ensureVersionPackage();
    publish();
    return true;
}

bool PhonePackages::reset()
{
    m_repositories = Repositories();
    m_hidden.clear();
    m_cached.clear();
    m_release = m_factoryRelease;
    m_offeredVersion.clear();
    m_sizes = UpgradeSizes();
    m_many = 0;
    if (!copyFactory())
        return false;
    save();
    publish();
    writeOsRelease(m_release);
    return true;
}

void PhonePackages::save() const
{
    QJsonObject hidden;
    for (auto entry = m_hidden.begin(); entry != m_hidden.end(); ++entry)
        hidden.insert(entry.key(), entry.value());
    const QJsonObject state{{QStringLiteral("repositories"), m_repositories.toJson()},
                            {QStringLiteral("release"), m_release},
                            {QStringLiteral("offered-version"), m_offeredVersion},
                            {QStringLiteral("cached"), QJsonArray::fromStringList(m_cached)},
                            {QStringLiteral("hidden"), hidden}};
    QSaveFile file(m_places.data + QStringLiteral("/state.json"));
    if (!file.open(QIODevice::WriteOnly) || file.write(QJsonDocument(state).toJson()) < 0
        || !file.commit())
        qWarning().noquote() << "could not save the phone's state:" << file.errorString();
}

bool PhonePackages::loadIndex()
{
    const QJsonObject index = readObject(m_places.packages + QStringLiteral("/index.json"));
    const QJsonArray entries = index[QLatin1String("packages")].toArray();
    m_factoryRelease = index[QLatin1String("release")].toString();
    for (const QJsonValue &entry : entries)
        addOffered(entry.toObject(), m_places.packages);
    return !m_offered.isEmpty();
}

void PhonePackages::addOffered(const QJsonObject &entry, const QString &folder)
{
    const QString file = folder + QLatin1Char('/') + entry[QLatin1String("file")].toString();
    const std::optional<RpmPackage> package = RpmDatabase::read(file);
    if (package)
        m_offered.append({entry[QLatin1String("repository")].toString(), file, *package});
    else
        qWarning().noquote() << "can't read the package" << file;
}

bool PhonePackages::copyFactory() const
{
    namespace fs = std::filesystem;
    std::error_code error;
    const fs::path target = root().toStdString();
    fs::remove_all(target, error);
    fs::create_directories(target.parent_path(), error);
    fs::copy((m_places.packages + QStringLiteral("/root")).toStdString(), target,
             fs::copy_options::recursive | fs::copy_options::copy_symlinks, error);
    if (error)
        qWarning().noquote() << "can't copy the factory's root:" << error.message().c_str();
    return !error;
}

QVector<PackageRow> PhonePackages::resolve(quint64 filter, const QString &name) const
{
    QVector<PackageRow> rows;
    const QVector<RpmPackage> present = m_database.installed(name);
    if (!(filter & Transaction::FilterNotInstalled))
        std::transform(present.begin(), present.end(), std::back_inserter(rows), installedRow);
    if (!(filter & Transaction::FilterInstalled)) {
        for (const OfferedPackage &offer : m_offered) {
            const bool isPresent =
                std::any_of(present.begin(), present.end(), [&offer](const RpmPackage &package) {
                    return package.version == offer.package.version;
                });
            if (offer.package.name == name && !isPresent && isVisible(offer))
                rows.append(offeredRow(offer));
        }
    }
    return filter & Transaction::FilterNewest ? newest(rows) : rows;
}

QVector<PackageRow> PhonePackages::packages(quint64 filter) const
{
    QVector<PackageRow> rows;
    const QVector<RpmPackage> present = m_database.installed();
    if (!(filter & Transaction::FilterNotInstalled)) {
        std::transform(present.begin(), present.end(), std::back_inserter(rows), installedRow);
        for (int i = 0; i < m_many; ++i) {
            rows.append({Transaction::InfoInstalled,
                         QStringLiteral("canned-%1;1.0-1;noarch;installed").arg(i),
                         QStringLiteral("One of many")});
        }
    }
    if (filter & Transaction::FilterInstalled)
        return rows;
    QStringList names;
    for (const OfferedPackage &offer : m_offered) {
        if (!names.contains(offer.package.name)) {
            names.append(offer.package.name);
            rows += resolve(filter | Transaction::FilterNotInstalled, offer.package.name);
        }
    }
    return rows;
}

QVector<PackageRow> PhonePackages::updates() const
{
    QVector<PackageRow> rows;
    const QVector<RpmPackage> present = m_database.installed();
    for (const RpmPackage &package : present) {
        const QVector<PackageRow> best =
            resolve(Transaction::FilterNotInstalled | Transaction::FilterNewest, package.name);
        if (!best.isEmpty() && RpmDatabase::compare(package.version, versionOf(best.first())) < 0)
            rows.append({Transaction::InfoNormal, best.first().id, best.first().summary});
    }
    return rows;
}

QVector<PackageRow> PhonePackages::owners(quint64 filter, const QString &path) const
{
    QVector<PackageRow> rows;
    const QVector<RpmPackage> present = m_database.ownersOf(path);
    if (!(filter & Transaction::FilterNotInstalled))
        std::transform(present.begin(), present.end(), std::back_inserter(rows), installedRow);
    if (!(filter & Transaction::FilterInstalled)) {
        for (const OfferedPackage &offer : m_offered) {
            if (offer.package.files.contains(path) && isVisible(offer)
                && m_database.installed(offer.package.name).isEmpty())
                rows.append(offeredRow(offer));
        }
    }
    return rows;
}

QVector<RpmPackage> PhonePackages::installed(const QString &name) const
{
    return m_database.installed(name);
}

std::optional<RpmPackage> PhonePackages::find(const QString &id) const
{
    const std::optional<OfferedPackage> offer = offered(id);
    if (offer)
        return offer->package;
    const QVector<RpmPackage> present = m_database.installed(Transaction::packageName(id));
    for (const RpmPackage &package : present) {
        if (package.version == Transaction::packageVersion(id))
            return package;
    }
    return std::nullopt;
}

std::optional<OfferedPackage> PhonePackages::offered(const QString &id) const
{
    const auto found =
        std::find_if(m_offered.begin(), m_offered.end(), [&](const OfferedPackage &offer) {
            return idOf(offer.package, offer.repository) == id && isVisible(offer);
        });
    return found == m_offered.end() ? std::nullopt : std::make_optional(*found);
}

QVector<OfferedPackage> PhonePackages::dependencies(const QStringList &needs,
                                                    QStringList *missing) const
{
    QVector<OfferedPackage> found;
    QStringList names = needs;
    for (int i = 0; i < names.size(); ++i) { // grows as it goes
        if (!m_database.installed(names[i]).isEmpty())
            continue;
        const QVector<PackageRow> rows = resolve(Transaction::FilterNewest, names[i]);
        const std::optional<OfferedPackage> offer =
            rows.isEmpty() ? std::nullopt : offered(rows.first().id);
        if (!offer) {
            missing->append(names[i]);
            continue;
        }
        found.append(*offer);
        for (const QString &next : offer->package.needs) {
            if (!names.contains(next))
                names.append(next);
        }
    }
    return found;
}

QString PhonePackages::install(const QStringList &files)
{
    QString problem = m_database.install(files);
    publish();
    return problem;
}

QString PhonePackages::erase(const QStringList &names)
{
    QString problem = m_database.erase(names);
    publish();
    return problem;
}

QStringList PhonePackages::installedDependants(const QString &name) const
{
    return m_database.dependants(name);
}

QStringList PhonePackages::orphansWithout(const QStringList &names) const
{
    QStringList gone = names;
    const QVector<RpmPackage> present = m_database.installed();
    for (bool changed = true; changed;) {
        changed = false;
        for (const RpmPackage &package : present) {
            if (!package.name.startsWith(libraryPrefix) || gone.contains(package.name))
                continue;
            const QStringList users = m_database.dependants(package.name);
            const bool isNeeded =
                std::any_of(users.begin(), users.end(),
                            [&gone](const QString &user) { return !gone.contains(user); });
            if (!isNeeded && !users.isEmpty()) {
                gone.append(package.name);
                changed = true;
            }
        }
    }
    return gone.mid(names.size());
}

void PhonePackages::hide(const QString &name, const QString &version, RefreshLevel level)
{
    m_hidden.insert(version.isEmpty() ? name : name + QLatin1Char(';') + version, level);
    save();
}

void PhonePackages::refresh(RefreshLevel level, const QString &repository)
{
    for (auto entry = m_hidden.begin(); entry != m_hidden.end();) {
        const QString name = entry.key().section(QLatin1Char(';'), 0, 0);
        const bool isHere =
            std::any_of(m_offered.begin(), m_offered.end(), [&](const OfferedPackage &offer) {
                return offer.package.name == name
                    && (repository.isEmpty() || offer.repository == repository);
            });
        if (isHere && entry.value() <= level)
            entry = m_hidden.erase(entry);
        else
            ++entry;
    }
    save();
}

void PhonePackages::setCached(const QString &id, bool cached)
{
    m_cached.removeAll(id);
    if (cached)
        m_cached.append(id);
    save();
}

void PhonePackages::setRelease(const QString &release)
{
    m_release = release;
    ensureVersionPackage();
    save();
}

void PhonePackages::offerVersion(const QString &version)
{
    m_offeredVersion = version;
    ensureVersionPackage();
    save();
}

QString PhonePackages::offeredVersion() const
{
    return packageVersionOf(m_offeredVersion.isEmpty() ? m_release : m_offeredVersion);
}

/** A release that nobody thought of when the packages were built gets its package now. */
void PhonePackages::ensureVersionPackage()
{
    const QString version = offeredVersion();
    const bool isThere =
        std::any_of(m_offered.begin(), m_offered.end(), [&](const OfferedPackage &offer) {
            return offer.package.name == versionPackage && offer.package.version == version;
        });
    if (isThere)
        return;
    const QString folder = m_places.data + QStringLiteral("/packages");
    PackageBuilder builder(folder);
    const QVector<QJsonObject> entries =
        builder.buildRelease(m_offeredVersion.isEmpty() ? m_release : m_offeredVersion);
    for (const QJsonObject &entry : entries)
        addOffered(entry, folder);
    if (!builder.problem().isEmpty())
        qWarning().noquote() << builder.problem();
}

std::optional<OfferedPackage> PhonePackages::offeredSystem() const
{
    const QString version = offeredVersion();
    for (const OfferedPackage &offer : m_offered) {
        if (offer.package.name == versionPackage && offer.package.version == version)
            return offer;
    }
    return std::nullopt;
}

QString PhonePackages::installSystem(const OfferedPackage &system)
{
    const QVector<RpmPackage> present = m_database.installed(versionPackage);
    const bool isThere = !present.isEmpty() && present.first().version == system.package.version;
    QString problem = isThere ? QString() : install({system.file});
    if (problem.isEmpty()) {
        QString version = system.package.version;
        writeOsRelease(version.replace(QLatin1Char('-'), QLatin1Char('.')));
    }
    return problem;
}

/** Written in place: the file may have been laid over another. */
void PhonePackages::writeOsRelease(const QString &version) const
{
    QFile file(m_places.osRelease);
    if (m_places.osRelease.isEmpty() || !file.open(QIODevice::ReadWrite))
        return;
    QString text = QString::fromUtf8(file.readAll());
    static const QRegularExpression line(QStringLiteral("^(VERSION(_ID)?=\"?)[0-9.]+"),
                                         QRegularExpression::MultilineOption);
    text.replace(line, QStringLiteral("\\1") + version);
    file.resize(0);
    file.write(text.toUtf8());
}

bool PhonePackages::isVisible(const OfferedPackage &offer) const
{
    const RpmPackage &package = offer.package;
    if (package.name == versionPackage && package.version != offeredVersion())
        return false;
    return m_repositories.isEnabled(offer.repository) && !m_hidden.contains(package.name)
        && !m_hidden.contains(package.name + QLatin1Char(';') + package.version);
}

void PhonePackages::publish()
{
    m_desktopFiles.publish(m_database.installed());
}

QJsonObject PhonePackages::description() const
{
    QJsonArray present;
    const QVector<RpmPackage> packages = m_database.installed();
    for (const RpmPackage &package : packages) {
        present.append(QJsonObject{{QStringLiteral("name"), package.name},
                                   {QStringLiteral("version"), package.version}});
    }
    return {{QStringLiteral("installed"), present},
            {QStringLiteral("repositories"), m_repositories.toJson()},
            {QStringLiteral("release"), m_release},
            {QStringLiteral("cached"), QJsonArray::fromStringList(m_cached)}};
}
