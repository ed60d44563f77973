// Builds the rpm files of a catalogue, their index, and the root folder of a phone on which
// the preinstalled ones are installed:
//
//     mkpackages --catalogue FILE --output DIR --installed-release V [--release V ...]

#include "packagebuilder.h"
#include "rpmdatabase.h"

#include <QCommandLineParser>
#include <QCoreApplication>
#include <QDir>
#include <QFile>
#include <QJsonArray>
#include <QJsonDocument>
#include <QSaveFile>
#include <QTextStream>

#include <sched.h>
#include <unistd.h>

namespace {

int fail(const QString &message)
{
    QTextStream(stderr) << "mkpackages: " << message << '\n';
    return 1;
}

bool writeSmall(const QString &path, const QByteArray &text)
{
    QFile file(path);
    return file.open(QIODevice::WriteOnly) && file.write(text) == text.size();
}

/** librpm works below another root by chroot(), for which a user needs a namespace. */
bool becomeRoot()
{
    if (::geteuid() == 0)
        return true;
    const QByteArray uid = QByteArray::number(::geteuid());
    const QByteArray gid = QByteArray::number(::getegid());
    return ::unshare(CLONE_NEWUSER) == 0
        && writeSmall(QStringLiteral("/proc/self/setgroups"), "deny")
        && writeSmall(QStringLiteral("/proc/self/uid_map"), "0 " + uid + " 1")
        && writeSmall(QStringLiteral("/proc/self/gid_map"), "0 " + gid + " 1");
}

/** The files that a phone has when it leaves the factory. */
QStringList factoryFiles(const QJsonObject &catalogue, const QVector<QJsonObject> &entries,
                         const QString &folder)
{
    QHash<QString, QString> versions; // by name; of the factory
    const QJsonArray applications = catalogue[QLatin1String("applications")].toArray();
    for (const QJsonValue &value : applications) {
        const QJsonObject application = value.toObject();
        if (application[QLatin1String("preinstalled")].toBool()) {
            const QString older = application[QLatin1String("preinstalled_version")].toString();
            versions.insert(application[QLatin1String("package_name")].toString(),
                            older.isEmpty() ? application[QLatin1String("version")].toString()
                                            : older);
        }
    }
    QStringList files;
    for (const QJsonObject &entry : entries) {
        const QString wanted = versions.value(entry[QLatin1String("name")].toString());
        const QString version = entry[QLatin1String("version")].toString();
        if (!wanted.isEmpty() && (version == wanted || version == wanted + QStringLiteral("-1")))
            files.append(folder + QLatin1Char('/') + entry[QLatin1String("file")].toString());
    }
    return files;
}

bool writeIndex(const QString &folder, const QVector<QJsonObject> &entries, const QString &release)
{
    QJsonArray list;
    for (const QJsonObject &entry : entries)
        list.append(entry);
    const QJsonObject index{{QStringLiteral("packages"), list},
                            {QStringLiteral("release"), release}};
    QSaveFile file(folder + QStringLiteral("/index.json"));
    return file.open(QIODevice::WriteOnly) && file.write(QJsonDocument(index).toJson()) > 0
        && file.commit();
}

} // namespace

int main(int argc, char **argv)
{
    QCoreApplication application(argc, argv);
    QCommandLineParser parser;
    parser.addOptions(
        {{QStringLiteral("catalogue"), QStringLiteral("The catalogue"), QStringLiteral("file")},
         {QStringLiteral("output"), QStringLiteral("Where to"), QStringLiteral("dir")},
         {QStringLiteral("installed-release"), QStringLiteral("Release of the phone"),
          QStringLiteral("version")},
         {QStringLiteral("release"), QStringLiteral("Another release"),
          QStringLiteral("version")}});
    parser.process(application);

    QFile file(parser.value(QStringLiteral("catalogue")));
    if (!file.open(QIODevice::ReadOnly))
        return fail(QStringLiteral("can't read the catalogue \"%1\"").arg(file.fileName()));
    const QJsonObject catalogue = QJsonDocument::fromJson(file.readAll()).object();
    const QString folder = QDir(parser.value(QStringLiteral("output"))).absolutePath();
    QDir(folder).removeRecursively();

    PackageBuilder builder(folder);
    QVector<QJsonObject> entries = builder.buildCatalogue(catalogue);
    const QString installed = parser.value(QStringLiteral("installed-release"));
    const QStringList releases = QStringList{installed} + parser.values(QStringLiteral("release"));
    QStringList factory = factoryFiles(catalogue, entries, folder);
    for (const QString &release : releases) {
        const QVector<QJsonObject> version = builder.buildRelease(release);
        if (!version.isEmpty() && release == installed)
            factory.append(folder + QLatin1Char('/')
                           + version.first()[QLatin1String("file")].toString());
        entries += version;
    }
    if (!builder.problem().isEmpty())
        return fail(builder.problem());
    if (!becomeRoot())
        return fail(QStringLiteral("user namespaces are needed to prepare the phone's root"));
    const QString problem = RpmDatabase(folder + QStringLiteral("/root")).install(factory);
    if (!problem.isEmpty())
        return fail(problem);
    if (!writeIndex(folder, entries, installed))
        return fail(QStringLiteral("can't write the index"));
    return 0;
}
