#pragma once

#include <QString>
#include <QStringList>
#include <QVector>

#include <optional>

/** What a package says about itself, read from a database or from a package file. */
struct RpmPackage
{
    QString name;
    QString version; ///< "[epoch:]version-release"
    QString arch;
    QString summary;
    QString description;
    QString license;
    QString url;
    quint64 size = 0; ///< bytes that its files take when installed
    QStringList needs; ///< names that it requires, without those that rpm itself provides
    QStringList files; ///< absolute on the phone
};

/**
 * The rpm database of a phone whose file system lies below a folder. Installs and erases
 * for real, in one blocking call of some ten milliseconds.
 *
 * librpm enters the folder by chroot() while it works, so the process needs that right,
 * and no other thread may open files meanwhile.
 */
class RpmDatabase final
{
public:
    /** @param root folder with the phone's file system; made by the first install. */
    explicit RpmDatabase(const QString &root);

    /** What is installed; with @p name only the packages of that name. */
    [[nodiscard]] QVector<RpmPackage> installed(const QString &name = QString()) const;

    /** Names of all installed packages that require something @p name provides. */
    [[nodiscard]] QStringList dependants(const QString &name) const;

    /** The packages that own @p path, which is absolute on the phone. */
    [[nodiscard]] QVector<RpmPackage> ownersOf(const QString &path) const;

    /**
     * Installs the package files, replacing other versions of the same packages; older
     * versions than the installed ones are accepted.
     * @return an empty text, or what was wrong, in which case nothing has changed.
     */
    [[nodiscard]] QString install(const QStringList &files);

    /** Erases the packages @p names; @return as for install(). */
    [[nodiscard]] QString erase(const QStringList &names);

    /** Reads a package file; nothing if it is none. */
    [[nodiscard]] static std::optional<RpmPackage> read(const QString &file);

    /** Below, equal to or above zero, as rpm orders "[epoch:]version-release". */
    [[nodiscard]] static int compare(const QString &left, const QString &right);

private:
    QString m_root;
};
