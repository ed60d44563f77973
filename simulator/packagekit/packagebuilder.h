#pragma once

#include <QJsonObject>
#include <QString>
#include <QStringList>
#include <QVector>

/**
 * Makes rpm files of invented software: the applications of a catalogue, the libraries
 * that some of them need, and the version package of each release of the operating system.
 *
 * rpmbuild takes a tenth of a second to start and next to nothing for one more package,
 * so packages are made in batches: one run for all that have different names.
 */
class PackageBuilder final
{
public:
    /** @param output folder that gets the rpm files; made if it is missing. */
    explicit PackageBuilder(const QString &output);

    /**
     * Makes one package file for each version of each application of @p catalogue, the
     * object with the list "applications", and the libraries.
     * @return the entries for the index, or an empty list, with problem() set.
     */
    [[nodiscard]] QVector<QJsonObject> buildCatalogue(const QJsonObject &catalogue);

    /**
     * Makes the version package of the release @p version, such as "3.2.1.20", whose last
     * number becomes the package's release.
     */
    [[nodiscard]] QVector<QJsonObject> buildRelease(const QString &version);

    [[nodiscard]] QString problem() const { return m_problem; }

private:
    /** One package to be made. */
    struct Recipe
    {
        QString name;
        QString version;
        QString release;
        QString summary;
        QString description;
        QStringList needs;
        QString repository;
        QVector<QPair<QString, QByteArray>> files; // path on the phone, content
    };

    [[nodiscard]] static Recipe recipeFor(const QJsonObject &application, const QString &version);
    [[nodiscard]] static Recipe androidRecipe(Recipe recipe, const QString &title);
    [[nodiscard]] QVector<QJsonObject> build(const QVector<Recipe> &recipes, const QString &batch);
    [[nodiscard]] QByteArray spec(const QVector<Recipe> &recipes, const QString &batch) const;

    QString m_output;
    QString m_problem;
};
