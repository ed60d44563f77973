#include "rpmdatabase.h"

#include <QDir>
#include <QFile>

#include <memory>
#include <mutex>

#include <rpm/header.h>
#include <rpm/rpmcli.h>
#include <rpm/rpmdb.h>
#include <rpm/rpmlib.h>
#include <rpm/rpmlog.h>
#include <rpm/rpmmacro.h>
#include <rpm/rpmps.h>
#include <rpm/rpmte.h>
#include <rpm/rpmts.h>
#include <rpm/rpmver.h>

namespace {

// The packages are unsigned; their digests are still checked, so that damage shows.
constexpr rpmVSFlags verification = _RPMVSF_NOSIGNATURES;

struct TransactionSetDeleter
{
    void operator()(rpmts set) const { rpmtsFree(set); }
};
using TransactionSet = std::unique_ptr<std::remove_pointer_t<rpmts>, TransactionSetDeleter>;

struct HeaderDeleter
{
    void operator()(Header header) const { headerFree(header); }
};
using HeaderPointer = std::unique_ptr<std::remove_pointer_t<Header>, HeaderDeleter>;

struct IteratorDeleter
{
    void operator()(rpmdbMatchIterator iterator) const { rpmdbFreeIterator(iterator); }
};
using Iterator = std::unique_ptr<std::remove_pointer_t<rpmdbMatchIterator>, IteratorDeleter>;

void configure()
{
    static std::once_flag once;
    std::call_once(once, [] {
        rpmReadConfigFiles(nullptr, nullptr);
        // Debian's own default lies in the home folder of whoever asks.
        rpmDefineMacro(nullptr, "_dbpath /var/lib/rpm", 0);
        rpmDefineMacro(nullptr, "_db_backend sqlite", 0);
        rpmDefineMacro(nullptr, "_pkgverify_level digest", 0);
        rpmSetVerbosity(RPMLOG_CRIT);
    });
}

TransactionSet makeSet(const QString &root)
{
    configure();
    TransactionSet set(rpmtsCreate());
    rpmtsSetRootDir(set.get(), QFile::encodeName(root).constData());
    rpmtsSetVSFlags(set.get(), verification);
    rpmtsSetFlags(set.get(), RPMTRANS_FLAG_NOPLUGINS | RPMTRANS_FLAG_NOSCRIPTS);
    return set;
}

QString text(Header header, rpmTagVal tag)
{
    return QString::fromUtf8(headerGetString(header, tag));
}

QStringList filesIn(Header header)
{
    QStringList files;
    rpmtd names = rpmtdNew();
    headerGet(header, RPMTAG_FILENAMES, names, HEADERGET_EXT);
    while (const char *name = rpmtdNextString(names))
        files.append(QFile::decodeName(name));
    rpmtdFreeData(names);
    rpmtdFree(names);
    return files;
}

RpmPackage describe(Header header)
{
    RpmPackage package;
    package.name = text(header, RPMTAG_NAME);
    package.arch = text(header, RPMTAG_ARCH);
    package.summary = text(header, RPMTAG_SUMMARY);
    package.description = text(header, RPMTAG_DESCRIPTION);
    package.license = text(header, RPMTAG_LICENSE);
    package.url = text(header, RPMTAG_URL);
    package.size = headerGetNumber(header, RPMTAG_SIZE);
    char *version = headerGetAsString(header, RPMTAG_EVR);
    package.version = QString::fromUtf8(version);
    std::free(version);

    rpmtd names = rpmtdNew();
    headerGet(header, RPMTAG_REQUIRENAME, names, HEADERGET_MINMEM);
    while (const char *name = rpmtdNextString(names)) {
        const QString needed = QString::fromUtf8(name);
        if (!needed.startsWith(QLatin1String("rpmlib(")) && !package.needs.contains(needed))
            package.needs.append(needed);
    }
    rpmtdFreeData(names);
    rpmtdFree(names);
    package.files = filesIn(header);
    return package;
}

HeaderPointer readHeader(rpmts set, const QString &file)
{
    const QByteArray path = QFile::encodeName(file);
    Header header = nullptr;
    FD_t descriptor = Fopen(path.constData(), "r.ufdio");
    if (descriptor && !Ferror(descriptor)) {
        const rpmRC result = rpmReadPackageFile(set, descriptor, path.constData(), &header);
        if (result != RPMRC_OK && result != RPMRC_NOKEY && result != RPMRC_NOTTRUSTED && header)
            header = headerFree(header);
    }
    if (descriptor)
        Fclose(descriptor);
    return HeaderPointer(header);
}

QString problemsOf(rpmps problems)
{
    QStringList texts;
    rpmpsi iterator = rpmpsInitIterator(problems);
    while (rpmProblem problem = rpmpsiNext(iterator)) {
        char *words = rpmProblemString(problem);
        texts.append(QString::fromUtf8(words));
        std::free(words);
    }
    rpmpsFreeIterator(iterator);
    rpmpsFree(problems);
    return texts.join(QLatin1String("; "));
}

/** Opens and closes the package files for librpm, whose key is the path itself. */
void *serveFiles(const void *, const rpmCallbackType what, const rpm_loff_t, const rpm_loff_t,
                 fnpyKey key, rpmCallbackData data)
{
    auto *descriptor = static_cast<FD_t *>(data);
    if (what == RPMCALLBACK_INST_OPEN_FILE) {
        *descriptor = Fopen(static_cast<const char *>(key), "r.ufdio");
        return *descriptor;
    }
    if (what == RPMCALLBACK_INST_CLOSE_FILE && *descriptor) {
        Fclose(*descriptor);
        *descriptor = nullptr;
    }
    return nullptr;
}

QString run(rpmts set)
{
    rpmtsCheck(set);
    QString missing = problemsOf(rpmtsProblems(set));
    if (!missing.isEmpty())
        return missing;
    rpmtsOrder(set);
    rpmtsClean(set);
    FD_t descriptor = nullptr;
    rpmtsSetNotifyCallback(set, serveFiles, &descriptor);
    const int result = rpmtsRun(set, nullptr, RPMPROB_FILTER_OLDPACKAGE);
    if (result == 0)
        return {};
    const QString problems = problemsOf(rpmtsProblems(set));
    return problems.isEmpty() ? QStringLiteral("rpm could not run the transaction") : problems;
}

} // namespace

RpmDatabase::RpmDatabase(const QString &root)
    : m_root(root)
{ }

QVector<RpmPackage> RpmDatabase::installed(const QString &name) const
{
    const TransactionSet set = makeSet(m_root);
    const QByteArray key = name.toUtf8();
    const Iterator iterator(name.isEmpty()
                                ? rpmtsInitIterator(set.get(), RPMDBI_PACKAGES, nullptr, 0)
                                : rpmtsInitIterator(set.get(), RPMDBI_NAME, key.constData(), 0));
    QVector<RpmPackage> packages;
    while (Header header = rpmdbNextIterator(iterator.get()))
        packages.append(describe(header));
    return packages;
}

QStringList RpmDatabase::dependants(const QString &name) const
{
    const TransactionSet set = makeSet(m_root);
    const QByteArray key = name.toUtf8();
    const Iterator iterator(rpmtsInitIterator(set.get(), RPMDBI_REQUIRENAME, key.constData(), 0));
    QStringList names;
    while (Header header = rpmdbNextIterator(iterator.get()))
        names.append(text(header, RPMTAG_NAME));
    return names;
}

QVector<RpmPackage> RpmDatabase::ownersOf(const QString &path) const
{
    const TransactionSet set = makeSet(m_root);
    const QByteArray key = QFile::encodeName(path);
    const Iterator iterator(rpmtsInitIterator(set.get(), RPMDBI_INSTFILENAMES, key.constData(), 0));
    QVector<RpmPackage> packages;
    while (Header header = rpmdbNextIterator(iterator.get()))
        packages.append(describe(header));
    return packages;
}

QString RpmDatabase::install(const QStringList &files)
{
    QDir().mkpath(m_root + QStringLiteral("/var/lib/rpm"));
    const TransactionSet set = makeSet(m_root);
    std::vector<QByteArray> paths; // librpm keeps the pointers until the transaction has run
    paths.reserve(size_t(files.size()));
    for (const QString &file : files) {
        const HeaderPointer header = readHeader(set.get(), file);
        if (!header)
            return QStringLiteral("%1 is no package").arg(file);
        paths.push_back(QFile::encodeName(file));
        if (rpmtsAddInstallElement(set.get(), header.get(), paths.back().constData(), 1, nullptr)
            != 0)
            return QStringLiteral("%1 can't be added").arg(file);
    }
    return run(set.get());
}

QString RpmDatabase::erase(const QStringList &names)
{
    const TransactionSet set = makeSet(m_root);
    for (const QString &name : names) {
        const QByteArray key = name.toUtf8();
        const Iterator iterator(rpmtsInitIterator(set.get(), RPMDBI_NAME, key.constData(), 0));
        Header header = rpmdbNextIterator(iterator.get());
        if (!header)
            return QStringLiteral("%1 is not installed").arg(name);
        for (; header; header = rpmdbNextIterator(iterator.get()))
            rpmtsAddEraseElement(set.get(), header, int(headerGetInstance(header)));
    }
    return run(set.get());
}

std::optional<RpmPackage> RpmDatabase::read(const QString &file)
{
    const TransactionSet set = makeSet(QStringLiteral("/"));
    const HeaderPointer header = readHeader(set.get(), file);
    return header ? std::make_optional(describe(header.get())) : std::nullopt;
}

int RpmDatabase::compare(const QString &left, const QString &right)
{
    rpmver first = rpmverParse(left.toUtf8().constData());
    rpmver second = rpmverParse(right.toUtf8().constData());
    const int result = first && second ? rpmverCmp(first, second) : left.compare(right);
    rpmverFree(first);
    rpmverFree(second);
    return result;
}
