#include "packagebuilder.h"

#include <QDir>
#include <QFileInfo>
#include <QHash>
#include <QJsonArray>
#include <QProcess>
#include <QSaveFile>
#include <QTemporaryDir>

namespace {

const QString applicationsFolder = QStringLiteral("/usr/share/applications/");
const QString androidPrefix = QStringLiteral("quayside-apk-");
const QString storeRepository = QStringLiteral("store");
const QString systemRepository = QStringLiteral("branwick");
const QString versionRepository = QStringLiteral("non-oss");

// What an application needs besides itself: one library beside it in the store, one of
// the operating system's own repository, and one that itself needs another.
const QHash<QString, QStringList> &needsByApplication()
{
    static const QHash<QString, QStringList> needs{
        {QStringLiteral("fernweh"), {QStringLiteral("libbrindle")}},
        {QStringLiteral("inkwell"), {QStringLiteral("libquarto")}},
        {QStringLiteral("starling"), {QStringLiteral("libbrindle"), QStringLiteral("libquarto")}},
        {QStringLiteral("constellate"), {QStringLiteral("libazimuth")}},
    };
    return needs;
}

QByteArray desktopFile(const QString &name, const QString &title, const QByteArray &more = {})
{
    return "[Desktop Entry]\nType=Application\nName=" + title.toUtf8() + "\nExec=/usr/bin/"
        + name.toUtf8() + "\nIcon=" + name.toUtf8() + "\n" + more;
}

QByteArray icon(const QString &name)
{
    const QByteArray colour =
        QByteArray::number(qHash(name) & 0xffffffU, 16).rightJustified(6, '0');
    return "<svg xmlns=\"http://www.w3.org/2000/svg\" width=\"86\" height=\"86\">"
           "<rect width=\"86\" height=\"86\" rx=\"20\" fill=\"#"
        + colour + "\"/></svg>\n";
}

bool writeFile(const QString &path, const QByteArray &content)
{
    QDir().mkpath(QFileInfo(path).path());
    QSaveFile file(path);
    return file.open(QIODevice::WriteOnly) && file.write(content) == content.size()
        && file.commit();
}

/** A text of a spec file must not start a macro or a line of its own. */
QByteArray quoted(const QString &text)
{
    QString clean = text.simplified();
    clean.replace(QLatin1Char('%'), QLatin1String("%%"));
    return clean.toUtf8();
}

} // namespace

PackageBuilder::PackageBuilder(const QString &output)
    : m_output(output)
{
    QDir().mkpath(output);
}

QVector<QJsonObject> PackageBuilder::buildCatalogue(const QJsonObject &catalogue)
{
    QVector<Recipe> current;
    QVector<Recipe> older;
    const QJsonArray applications = catalogue[QLatin1String("applications")].toArray();
    for (const QJsonValue &value : applications) {
        const QJsonObject application = value.toObject();
        current.append(recipeFor(application, application[QLatin1String("version")].toString()));
        const QString before = application[QLatin1String("preinstalled_version")].toString();
        if (!before.isEmpty())
            older.append(recipeFor(application, before));
    }

    const auto library = [](const QString &name, const QString &repository,
                            const QStringList &needs = {}) {
        Recipe recipe;
        recipe.name = name;
        recipe.version = QStringLiteral("1.2.0");
        recipe.release = QStringLiteral("1");
        recipe.summary = QStringLiteral("A library that applications share");
        recipe.needs = needs;
        recipe.repository = repository;
        recipe.files.append({QStringLiteral("/usr/lib/%1.so.1").arg(name), "not really\n"});
        return recipe;
    };
    current.append(library(QStringLiteral("libbrindle"), storeRepository));
    current.append(library(QStringLiteral("libquarto"), systemRepository));
    current.append(
        library(QStringLiteral("libazimuth"), storeRepository, {QStringLiteral("libquarto")}));

    QVector<QJsonObject> entries = build(current, QStringLiteral("current"));
    if (!entries.isEmpty() && !older.isEmpty()) {
        const QVector<QJsonObject> more = build(older, QStringLiteral("older"));
        entries = more.isEmpty() ? QVector<QJsonObject>() : entries + more;
    }
    return entries;
}

QVector<QJsonObject> PackageBuilder::buildRelease(const QString &version)
{
    const int dot = version.lastIndexOf(QLatin1Char('.'));
    Recipe recipe;
    recipe.name = QStringLiteral("branwick-version");
    recipe.version = dot > 0 ? version.left(dot) : version;
    recipe.release = dot > 0 ? version.mid(dot + 1) : QStringLiteral("0");
    recipe.summary = QStringLiteral("Branwick OS %1").arg(version);
    recipe.repository = versionRepository;
    recipe.files.append(
        {QStringLiteral("/usr/lib/branwick/version"), version.toUtf8() + QByteArray("\n")});
    return build({recipe}, version);
}

PackageBuilder::Recipe PackageBuilder::recipeFor(const QJsonObject &application,
                                                 const QString &version)
{
    Recipe recipe;
    recipe.name = application[QLatin1String("package_name")].toString();
    const int dash = version.lastIndexOf(QLatin1Char('-'));
    recipe.version = dash < 0 ? version : version.left(dash);
    recipe.release = dash < 0 ? QStringLiteral("1") : version.mid(dash + 1);
    const QString title = application[QLatin1String("title")].toString(recipe.name);
    recipe.summary = application[QLatin1String("summary")].toString(title);
    recipe.description = application[QLatin1String("description")].toString();
    recipe.needs = needsByApplication().value(recipe.name);
    recipe.repository = storeRepository;
    if (recipe.name.startsWith(androidPrefix))
        return androidRecipe(recipe, title);
    recipe.files.append({applicationsFolder + recipe.name + QStringLiteral(".desktop"),
                         desktopFile(recipe.name, title)});
    recipe.files.append(
        {QStringLiteral("/usr/share/icons/hicolor/86x86/apps/%1.svg").arg(recipe.name),
         icon(recipe.name)});
    return recipe;
}

/**
 * An Android application's launcher is made by the support service and belongs to no
 * package; the package owns the application file that the launcher names.
 */
PackageBuilder::Recipe PackageBuilder::androidRecipe(Recipe recipe, const QString &title)
{
    const QString application = recipe.name.mid(androidPrefix.size());
    const QString file = QStringLiteral("/usr/share/quayside/%1.apk").arg(application);
    QString launcher = application;
    launcher.replace(QLatin1Char('.'), QLatin1Char('_'));
    recipe.files.append({file, "not really\n"});
    recipe.files.append(
        {QStringLiteral("/usr/share/quayside/launchers/apkd_launcher_%1-Main.desktop")
             .arg(launcher),
         desktopFile(recipe.name, title, "X-apkd-apkfile=" + file.toUtf8() + "\n")});
    return recipe;
}

QByteArray PackageBuilder::spec(const QVector<Recipe> &recipes, const QString &batch) const
{
    QByteArray text = "Name: batch-" + batch.toUtf8()
        + "\nVersion: 1\nRelease: 1\nSummary: Batch\nLicense: Public Domain\nBuildArch: noarch\n"
          "%description\nBatch\n";
    for (const Recipe &recipe : recipes) {
        const QByteArray name = recipe.name.toUtf8();
        text += "%package -n " + name + "\nVersion: " + recipe.version.toUtf8() + "\nRelease: "
            + recipe.release.toUtf8() + "\nSummary: " + quoted(recipe.summary) + "\n";
        for (const QString &needed : recipe.needs)
            text += "Requires: " + needed.toUtf8() + "\n";
        text += "%description -n " + name + "\n" + quoted(recipe.description) + "\n%files -n "
            + name + "\n%defattr(-,root,root)\n";
        for (const auto &[path, content] : recipe.files)
            text += path.toUtf8() + "\n";
    }
    return text;
}

QVector<QJsonObject> PackageBuilder::build(const QVector<Recipe> &recipes, const QString &batch)
{
    QTemporaryDir scratch;
    const QString tree = scratch.filePath(QStringLiteral("tree"));
    const QString specFile = scratch.filePath(QStringLiteral("batch.spec"));
    bool written = scratch.isValid() && writeFile(specFile, spec(recipes, batch));
    for (const Recipe &recipe : recipes) {
        for (const auto &[path, content] : recipe.files)
            written = written && writeFile(tree + path, content);
    }
    if (!written) {
        m_problem = QStringLiteral("could not write below %1").arg(scratch.path());
        return {};
    }

    QProcess builder;
    builder.setProcessChannelMode(QProcess::MergedChannels);
    const auto define = [](const QString &name, const QString &value) {
        return QStringList{QStringLiteral("--define"), name + QLatin1Char(' ') + value};
    };
    builder.start(QStringLiteral("rpmbuild"),
                  QStringList{QStringLiteral("-bb"), QStringLiteral("--quiet"),
                              QStringLiteral("--buildroot"), tree}
                      + define(QStringLiteral("_topdir"), scratch.path())
                      + define(QStringLiteral("_rpmdir"), QDir(m_output).absolutePath())
                      + define(QStringLiteral("_build_name_fmt"),
                               QStringLiteral("%%{NAME}-%%{VERSION}-%%{RELEASE}.%%{ARCH}.rpm"))
                      + define(QStringLiteral("_binary_payload"), QStringLiteral("w1.gzdio"))
                      + define(QStringLiteral("_build_id_links"), QStringLiteral("none"))
                      + define(QStringLiteral("__os_install_post"), QStringLiteral("%{nil}"))
                      + define(QStringLiteral("_dbpath"), scratch.filePath(QStringLiteral("db")))
                      + QStringList{specFile});
    if (!builder.waitForFinished(120000) || builder.exitCode() != 0) {
        m_problem = QStringLiteral("rpmbuild failed: %1 %2")
                        .arg(builder.errorString(), QString::fromUtf8(builder.readAll()));
        return {};
    }

    QVector<QJsonObject> entries;
    for (const Recipe &recipe : recipes) {
        const QString version = recipe.version + QLatin1Char('-') + recipe.release;
        entries.append({{QStringLiteral("name"), recipe.name},
                        {QStringLiteral("version"), version},
                        {QStringLiteral("repository"), recipe.repository},
                        {QStringLiteral("file"),
                         QStringLiteral("%1-%2.noarch.rpm").arg(recipe.name, version)}});
    }
    return entries;
}
