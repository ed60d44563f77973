#include "package/infotransactionrpm.h"
#include "packagephone.h"
#include "transactionrecorder.h"

#include <QtTest>

#include <sys/stat.h>

using namespace Package;

namespace {

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
    [[nodiscard]] QString file(const char *name, const QByteArray &bytes) const;

    QTemporaryDir m_folder;
    QByteArray m_bytes; // of a good package
};

void TstInfoTransactionRpm::initTestCase()
{
    // Reading a package makes a database in the user's home, signing one a key ring.
    qputenv("HOME", m_folder.path().toLocal8Bit());
    qputenv("GNUPGHOME", m_folder.path().toLocal8Bit());
    QFile package(qEnvironmentVariable("KIOSK_SIMULATOR_DIR")
                  + text("/../share/packages/soundings-2.5.0-1.noarch.rpm"));
    QVERIFY(package.open(QIODevice::ReadOnly));
    m_bytes = package.readAll();
}

void TstInfoTransactionRpm::cleanupTestCase()
{
    QVERIFY(execute(text("gpgconf"), {text("--kill"), text("gpg-agent")}));
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
    QTest::addColumn<bool>("good");

    const QString withKey = file("signed.rpm", m_bytes);
    QVERIFY(execute(text("gpg"),
                    {text("--batch"), text("--passphrase"), QString(), text("--quick-gen-key"),
                     text("stranger"), text("rsa2048"), text("sign"), text("never")}));
    QVERIFY(execute(text("rpmsign"),
                    {text("--addsign"), text("--define"), text("_gpg_name stranger"),
                     text("--define"), text("__gpg /usr/bin/gpg"), withKey}));
    QVERIFY(QFile::link(withKey, path("link.rpm")));
    QTest::newRow("signed with an unknown key, through a link") << path("link.rpm") << true;
    QTest::newRow("unsigned, cut in the payload, odd file name")
        << file("odd name \xc3\xa4;&.rpm", m_bytes.chopped(100)) << true;

    const auto bad = [](const char *row, const QString &file) {
        QTest::newRow(row) << file << false;
    };
    bad("missing", path("missing.rpm"));
    bad("no path", QString());
    bad("folder", m_folder.path());
    bad("endless device", text("/dev/zero"));
    QCOMPARE(::mkfifo(path("pipe.rpm").toLocal8Bit().constData(), 0600), 0);
    bad("pipe that nobody writes to", path("pipe.rpm"));
    bad("empty", file("empty.rpm", {}));
    bad("cut in the signature", file("signature.rpm", m_bytes.left(200)));
    bad("cut in the header", file("header.rpm", m_bytes.left(5500)));
    bad("text", file("text.rpm", QByteArray("This is no package.\n").repeated(100)));
    bad("tampered header", file("tampered.rpm", QByteArray(m_bytes).replace("clutter", "Clutter")));
}

void TstInfoTransactionRpm::reads()
{
    QFETCH(QString, file);
    QFETCH(bool, good);
    const auto info = Manager::PackageInformation::Ptr::create();
    info->name = info->version = info->summary = text("old");
    auto *transaction = new InfoTransactionRpm(file, info);
    // It has read before it is started.
    QCOMPARE(info->file, file);
    QCOMPARE(info->name + info->version + info->summary,
             text(good ? "soundings2.5.0Podcasts without the clutter" : "oldoldold"));

    const QStringList told = TransactionRecorder(transaction).run();
    QCOMPARE(told, good ? succeeded : failed(told.value(0).mid(8)));
    QVERIFY(good || told.first().size() > 8); // it has a reason
}

void TstInfoTransactionRpm::cancelIsTheOnlyEnd()
{
    auto *transaction =
        new InfoTransactionRpm(QString(), Manager::PackageInformation::Ptr::create());
    TransactionRecorder recorder(transaction);
    transaction->start();
    transaction->cancel();
    QTRY_VERIFY(recorder.isGone());
    QCOMPARE(recorder.told(), failed(text("cancelled")));
}

QTEST_GUILESS_MAIN(TstInfoTransactionRpm)
#include "tst_infotransactionrpm.moc"
