#pragma once

#include "desktopfiles.h"
#include "plan.h"
#include "repositories.h"
#include "rpmdatabase.h"

#include <QHash>
#include <QJsonObject>

#include <optional>

/** A package file that some repository offers. */
struct OfferedPackage
{
    QString repository;
    QString file; ///< absolute path
    RpmPackage package;
};

/** What the operating system's update would cost, in bytes. */
struct UpgradeSizes
{
    qint64 download = 734003200;
    qint64 install = 1258291200;
    qint64 remove = 943718400;
};

/**
 * All that the simulated daemon knows about packages: what is installed, which repository
 * offers what, what its metadata knows yet, what has been downloaded, and the release of
 * the operating system. Lives in a folder, so that it survives the process.
 */
class PhonePackages final
{
public:
    /** Where the parts of the phone lie. */
    struct Places
    {
        QString data; ///< folder of the phone's state
        QString packages; ///< folder with "index.json", rpm files and the factory's root
        QString applications; ///< as DesktopFiles wants them
        QString desktopCache;
        QString osRelease; ///< file that names the release, kept in step; empty for none
    };

    /** The strength of a refresh, in the order in which clients climb. */
    enum RefreshLevel { StoreRefresh = 1, ForcedStoreRefresh = 2, FullRefresh = 3 };

    explicit PhonePackages(const Places &places);

    /** Brings the phone up as it was left, or as from the factory; false if it can't be. */
    [[nodiscard]] bool load();
    /** Puts the phone back as it comes from the factory. */
    bool reset();
    void save() const;

    Repositories &repositories() { return m_repositories; }
    [[nodiscard]] const Repositories &repositories() const { return m_repositories; }

    // Questions. Names are package names, ids are "name;version;architecture;data".
    [[nodiscard]] QVector<PackageRow> resolve(quint64 filter, const QString &name) const;
    [[nodiscard]] QVector<PackageRow> packages(quint64 filter) const;
    [[nodiscard]] QVector<PackageRow> updates() const;
    [[nodiscard]] QVector<PackageRow> owners(quint64 filter, const QString &path) const;
    [[nodiscard]] QVector<RpmPackage> installed(const QString &name = QString()) const;
    /** The package that @p id names, installed or on offer in an enabled repository. */
    [[nodiscard]] std::optional<RpmPackage> find(const QString &id) const;
    [[nodiscard]] std::optional<OfferedPackage> offered(const QString &id) const;
    /**
     * What the packages @p needs name, and so on, would bring beside what is installed.
     * @param missing gets the names that no enabled repository has.
     */
    [[nodiscard]] QVector<OfferedPackage> dependencies(const QStringList &needs,
                                                       QStringList *missing) const;

    // Changes. An empty text is success, another tells what was wrong.
    QString install(const QStringList &files);
    QString erase(const QStringList &names);
    [[nodiscard]] QStringList installedDependants(const QString &name) const;
    /** Libraries that nothing needs any longer once the packages @p names are gone. */
    [[nodiscard]] QStringList orphansWithout(const QStringList &names) const;

    // Metadata.
    /**
     * Keeps the package @p name (only its @p version, unless that is empty) from being seen
     * until a refresh of at least @p level.
     */
    void hide(const QString &name, const QString &version, RefreshLevel level);
    /** @param repository the one to refresh; empty for all. */
    void refresh(RefreshLevel level, const QString &repository);

    // Downloads.
    [[nodiscard]] bool isCached(const QString &id) const { return m_cached.contains(id); }
    void setCached(const QString &id, bool cached);

    // The operating system.
    [[nodiscard]] QString release() const { return m_release; }
    /** Switches the release, and with it which version package is on offer. */
    void setRelease(const QString &release);
    /** Offers the version package of @p version whatever the release; empty ends that. */
    void offerVersion(const QString &version);
    [[nodiscard]] std::optional<OfferedPackage> offeredSystem() const;
    /** Makes the phone one of the release of @p system; @return as for install(). */
    QString installSystem(const OfferedPackage &system);
    UpgradeSizes &upgradeSizes() { return m_sizes; }

    /** Rows that a list of installed packages has besides the real ones. */
    void setManyInstalled(int count) { m_many = count; }

    [[nodiscard]] QJsonObject description() const;
    [[nodiscard]] QString root() const;

private:
    [[nodiscard]] bool loadIndex();
    [[nodiscard]] bool copyFactory() const;
    void addOffered(const QJsonObject &entry, const QString &folder);
    void ensureVersionPackage();
    [[nodiscard]] QString offeredVersion() const;
    [[nodiscard]] bool isVisible(const OfferedPackage &offer) const;
    void publish();
    void writeOsRelease(const QString &version) const;

    Places m_places;
    RpmDatabase m_database;
    DesktopFiles m_desktopFiles;
    Repositories m_repositories;
    QVector<OfferedPackage> m_offered;
    QHash<QString, int> m_hidden; ///< "name" or "name;version" to the level that shows it
    QStringList m_cached; ///< ids
    QString m_factoryRelease;
    QString m_release;
    QString m_offeredVersion; ///< empty: that of the release
    UpgradeSizes m_sizes;
    int m_many = 0;
};
