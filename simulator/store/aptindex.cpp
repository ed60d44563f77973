// The machine's own package index as a catalogue: tens of thousands of real names,
// versions, sizes and summaries.
#include "catalogue.h"

#include <QProcess>

namespace {

constexpr int aptTimeout = 60000; // ms

/** The fields of one stanza that an application is made from. */
struct Stanza
{
    QByteArray package;
    QByteArray version;
    QByteArray section;
    QByteArray size;
    QByteArray summary;
    QByteArray homepage;
};

/** If @p line is the field @p name, stores its value in @p value. */
bool takeField(const QByteArray &line, const char *name, QByteArray *value)
{
    if (!line.startsWith(name))
        return false;
    *value = line.mid(int(qstrlen(name))).trimmed();
    return true;
}

} // namespace

bool Catalogue::addAptIndex(QString *problem)
{
    QProcess apt;
    apt.start(QStringLiteral("apt-cache"), {QStringLiteral("dumpavail")});
    if (!apt.waitForFinished(aptTimeout) || apt.exitCode() != 0) {
        *problem = QStringLiteral("apt-cache dumpavail: ") + apt.errorString();
        return false;
    }
    const QByteArray available = apt.readAllStandardOutput();
    const int before = applications.size();
    const QString created = QStringLiteral("2026-01-01T00:00:00");
    QHash<QByteArray, QString> sections;

    const auto finish = [&](const Stanza &stanza) {
        if (stanza.package.isEmpty())
            return;
        QString &category = sections[stanza.section];
        if (category.isEmpty()) {
            const QString title = QString::fromUtf8(stanza.section);
            category = makeUuid(QStringLiteral("section"), title);
            categories.append({category, QStringLiteral("0"), title});
            m_parents.insert(category, QStringLiteral("0"));
        }
        StoreApplication application;
        application.packageName = QString::fromUtf8(stanza.package);
        application.version = QString::fromUtf8(stanza.version);
        application.title = application.packageName;
        application.summary = QString::fromUtf8(stanza.summary);
        application.description = application.summary;
        application.category = category;
        const uint hash = qHash(application.packageName, 2U);
        application.company =
            companies.isEmpty() ? QString() : companies[int(hash % uint(companies.size()))].uuid;
        application.user = users.isEmpty() ? QString() : users[int(hash % uint(users.size()))].uuid;
        application.website = QString::fromUtf8(stanza.homepage);
        application.binarySize = stanza.size.toLongLong();
        application.createdOn = created;
        application.updatedOn = created;
        application.likes = int(hash % 1000);
        application.downloads = int(hash % 100000);
        add(std::move(application));
    };

    Stanza stanza;
    for (int from = 0; from < available.size();) {
        int to = available.indexOf('\n', from);
        if (to < 0)
            to = available.size();
        const QByteArray line = QByteArray::fromRawData(available.constData() + from, to - from);
        if (line.isEmpty()) {
            finish(stanza);
            stanza = {};
        } else if (!takeField(line, "Package:", &stanza.package)
                   && !takeField(line, "Version:", &stanza.version)
                   && !takeField(line, "Section:", &stanza.section)
                   && !takeField(line, "Size:", &stanza.size)
                   && !takeField(line, "Homepage:", &stanza.homepage)
                   && !takeField(line, "Description:", &stanza.summary)) {
            takeField(line, "Description-en:", &stanza.summary);
        }
        from = to + 1;
    }
    finish(stanza);
    if (applications.size() == before) {
        *problem = QStringLiteral("apt knows no packages; run \"apt-get update\" first");
        return false;
    }
    return true;
}
