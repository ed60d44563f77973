#include "package/infotransactionrpm.h"
#include "packagephone.h"
#include "transactionrecorder.h"

#include <QtTest>

#include <sys/stat.h>

using namespace Package;

namespace {

const char specification[] = R"(
Name: %1
Version: 1.2.3
Release: 1
Epoch: 4
Summary: Small thing
License: MIT
BuildArch: noarch
Provides: a
Requires: b >= 2
%description
Nothing.
%install
mkdir -p %{buildroot}/opt/thing
head -c 40000 /dev/urandom > %{buildroot}/opt/thing/data
%files
/opt/thing
)";

bool execute(const QString &program, const QStringList &arguments)
{
    QProcess process;
    process.setProcessChannelMode(QProcess::MergedChannels);
    process.start(program, arguments);
    if (process.waitForFinished() && process.exitCode() == 0)
        return true;
    qWarning() << program << process.readAll().constData();
    return false;
}

} // namespace

/** What package files say about themselves, broken ones above all. */
class TstInfoTransactionRpm : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void cleanupTestCase();
    void reads_data();
    void reads();
    void cancelIsTheOnlyEnd();

private:
    [[nodiscard]] QString path(const char *name) const { return m_folder.filePath(text(name)); }
    [[nodiscard]] QString build(const QString &name) const;
    [[nodiscard]] QString file(const char *name, const QByteArray &bytes) const;

    QTemporaryDir m_folder;
    QString m_package;
    QByteArray m_bytes; // of it
};

void TstInfoTransactionRpm::initTestCase()
{
    // Reading a package makes a database in the user's home, signing one a key ring.
    qputenv("HOME", m_folder.path().toLocal8Bit());
    qputenv("GNUPGHOME", m_folder.path().toLocal8Bit());
    m_package = build(text("small-thing"));
    QFile package(m_package);
    QVERIFY(package.open(QIODevice::ReadOnly));
    m_bytes = package.readAll();
}

void TstInfoTransactionRpm::cleanupTestCase()
{
    QVERIFY(execute(text("gpgconf"), {text("--kill"), text("gpg-agent")}));
}

/** Builds a package; @return its file. */
QString TstInfoTransactionRpm::build(const QString &name) const
{
    const QString spec = file("thing.spec", QString(text(specification)).arg(name).toUtf8());
    execute(text("rpmbuild"),
            {text("-bb"), text("--define"), text("_topdir ") + m_folder.path(), spec});
    return m_folder.filePath(text("RPMS/noarch/%1-1.2.3-1.noarch.rpm").arg(name));
}

QString TstInfoTransactionRpm::file(const char *name, const QByteArray &bytes) const
{
    QFile file(m_folder.filePath(QString::fromUtf8(name)));
    if (!file.open(QIODevice::WriteOnly) || file.write(bytes) != bytes.size())
        qWarning() << file.errorString();
    return file.fileName();
}

void TstInfoTransactionRpm::reads_data()
{
    QTest::addColumn<QString>("file");
    QTest::addColumn<QString>("name"); // empty: it can't be read

    const auto good = [](const char *row, const QString &file,
                         const QString &name = text("small-thing")) {
        QTest::newRow(row) << file << name;
    };
    const auto bad = [](const char *row, const QString &file) {
        QTest::newRow(row) << file << QString();
    };
    good("unsigned", m_package);
    good("cut in the payload", file("payload.rpm", m_bytes.chopped(1000)));
    good("odd file name", file("odd name \xc3\xa4;&.rpm", m_bytes));
    const QString longName(200, QLatin1Char('n'));
    good("long package name", build(longName), longName);
    QVERIFY(QFile::link(m_package, path("link.rpm")));
    good("link", path("link.rpm"));
    const QString withKey = file("signed.rpm", m_bytes);
    QVERIFY(execute(text("gpg"),
                    {text("--batch"), text("--passphrase"), QString(), text("--quick-gen-key"),
                     text("stranger"), text("rsa2048"), text("sign"), text("never")}));
    QVERIFY(execute(text("rpmsign"),
                    {text("--addsign"), text("--define"), text("_gpg_name stranger"),
                     text("--define"), text("__gpg /usr/bin/gpg"), withKey}));
    good("signed with an unknown key", withKey);

    bad("missing", path("missing.rpm"));
    bad("no path", QString());
    bad("folder", m_folder.path());
    bad("device", text("/dev/null"));
    bad("endless device", text("/dev/zero"));
    QVERIFY(QFile::link(text("/no/such"), path("broken.rpm")));
    bad("broken link", path("broken.rpm"));
    QCOMPARE(::mkfifo(path("pipe.rpm").toLocal8Bit().constData(), 0600), 0);
    bad("pipe that nobody writes to", path("pipe.rpm"));
    bad("empty", file("empty.rpm", {}));
    bad("tiny", file("tiny.rpm", m_bytes.left(10)));
    bad("cut in the lead", file("lead.rpm", m_bytes.left(90)));
    bad("cut in the signature", file("signature.rpm", m_bytes.left(200)));
    bad("cut in the header", file("header.rpm", m_bytes.left(1200)));
    bad("text", file("text.rpm", QByteArray("This is no package.\n").repeated(100)));
    bad("tampered header",
        file("tampered.rpm", QByteArray(m_bytes).replace("Small thing", "Other thing")));
}

void TstInfoTransactionRpm::reads()
{
    QFETCH(QString, file);
    QFETCH(QString, name);
    const auto info = Manager::PackageInformation::Ptr::create();
    info->name = info->version = info->summary = text("old");
    auto *transaction = new InfoTransactionRpm(file, info);
    const bool good = !name.isEmpty(); // which shows before it is started
    QCOMPARE(info->file, file);
    QCOMPARE(info->name, good ? name : text("old"));
    QCOMPARE(info->version, text(good ? "1.2.3" : "old"));
    QCOMPARE(info->summary, text(good ? "Small thing" : "old"));

    const QStringList told = TransactionRecorder(transaction).run();
    QCOMPARE(told, good ? succeeded : failed(told.value(0).mid(8)));
    QVERIFY(good || told.first().size() > 8); // it has a reason
}

void TstInfoTransactionRpm::cancelIsTheOnlyEnd()
{
    auto *transaction =
        new InfoTransactionRpm(m_package, Manager::PackageInformation::Ptr::create());
    TransactionRecorder recorder(transaction);
    transaction->start();
    transaction->cancel();
    QTRY_VERIFY(recorder.isGone());
    QCOMPARE(recorder.told(), failed(text("cancelled")));
}

QTEST_GUILESS_MAIN(TstInfoTransactionRpm)
#include "tst_infotransactionrpm.moc"
