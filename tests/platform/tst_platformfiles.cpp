// The readers of the platform's files, against files of the real kinds.

#include "branwickkeyprovider.h"
#include "desktopfilecache.h"
#include "mdesktopentry.h"
#include "mgconfitem.h"
#include "rdm.h"
#include "text.h"

#include <QDir>
#include <QFile>
#include <QProcess>
#include <QTemporaryDir>
#include <QTest>
#include <QTextStream>

#include <unistd.h>

namespace {

// The client has constants made of such answers.
const QString modelBeforeMain = RdmDeviceInfo::deviceModel();

const QString rdmFile = text("/etc/rdm/rdm.ini");
const QString keyFile = text("/usr/share/branwick/keys.ini");
const QString desktopDatabase = text("/var/lib/PackageKit/desktop-files.db");
constexpr uid_t ordinaryUser = 1000;

bool write(const QString &fileName, const QByteArray &content)
{
    QDir().mkpath(QFileInfo(fileName).path());
    QFile file(fileName);
    return file.open(QIODevice::WriteOnly) && file.write(content) == content.size();
}

int run(const QString &program, const QStringList &arguments, const QByteArray &input = {})
{
    QProcess process;
    process.start(program, arguments);
    process.write(input);
    process.closeWriteChannel();
    process.waitForFinished();
    return process.exitStatus() == QProcess::NormalExit ? process.exitCode() : -1;
}

} // namespace

class TstPlatformFiles : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init();
    void deviceConfiguration();
    void releaseIsWrittenWhereItMay();
    void storedKey_data();
    void storedKey();
    void desktopEntry_data();
    void desktopEntry();
    void configurationValue_data();
    void configurationValue();
    void configurationValueWithoutBus();
    void desktopFiles();
    void desktopFilesOfBadDatabase_data();
    void desktopFilesOfBadDatabase();

private:
    [[nodiscard]] bool compileDconf(const QByteArray &settings);
};

void TstPlatformFiles::init()
{
    QVERIFY(write(rdmFile,
                  "[device]\nmodel=Fjord\nuid=860012030045678\n"
                  "[release]\ncurrent=3.10\nrnd=latest\nmode=2\ndomain=orvik\n"
                  "[repositories]\nrequired=branwick, hotfixes\nrequiredInModeTwo=testing\n"));
}

void TstPlatformFiles::deviceConfiguration()
{
    QCOMPARE(modelBeforeMain, text("Fjord"));
    QCOMPARE(RdmDeviceInfo::deviceModel(), text("Fjord"));
    QCOMPARE(RdmDeviceInfo::deviceUid(), text("860012030045678"));
    QCOMPARE(Rdm().domain(), text("orvik"));
    QCOMPARE(Rdm().deviceMode(), Rdm::DeviceModeNoIsolation);
    QCOMPARE(Rdm().release(false), text("3.10")); // a text, not a number
    QCOMPARE(Rdm().release(true), text("latest"));
    QCOMPARE(RdmRepoManager::repos(false, 2), (QStringList{text("branwick"), text("hotfixes")}));
    QCOMPARE(RdmRepoManager::repos(true, 2), QStringList{text("testing")});
    QCOMPARE(RdmRepoManager::repos(false, 1), QStringList()); // an unknown filter

    // The service writes the file while the client runs.
    QVERIFY(write(rdmFile, "[release]\ncurrent=3.11.0\n"));
    QCOMPARE(Rdm().release(false), text("3.11.0"));
    QCOMPARE(Rdm().domain(), QString());

    QVERIFY(QFile::remove(rdmFile));
    QCOMPARE(Rdm().release(false), QString());
    QCOMPARE(RdmRepoManager::repos(false, 2), QStringList());
    QVERIFY(!QFile::exists(rdmFile)); // reading makes none
}

void TstPlatformFiles::releaseIsWrittenWhereItMay()
{
    Rdm().setRelease(text("4.0"), false);
    QCOMPARE(Rdm().release(false), text("4.0"));
    QCOMPARE(Rdm().release(true), text("latest"));
    QCOMPARE(RdmRepoManager::repos(false, 2).size(), 2);

    QCOMPARE(seteuid(ordinaryUser), 0);
    Rdm().setRelease(text("5.0"), false);
    const QString seen = Rdm().release(false);
    QCOMPARE(seteuid(0), 0);
    QCOMPARE(seen, text("4.0"));
    QCOMPARE(Rdm().release(false), text("4.0"));
}

void TstPlatformFiles::storedKey_data()
{
    QTest::addColumn<QByteArray>("provider");
    QTest::addColumn<QByteArray>("service");
    QTest::addColumn<QByteArray>("key");
    QTest::addColumn<QByteArray>("value"); // null for failure

    const QByteArray none;
    QTest::newRow("a key") << QByteArray("orvik") << QByteArray("orvik-store")
                           << QByteArray("client_id") << QByteArray("a;b,c=%20@x");
    QTest::newRow("no such key") << QByteArray("orvik") << QByteArray("orvik-store")
                                 << QByteArray("client_secret") << none;
    QTest::newRow("no such provider")
        << QByteArray("other") << QByteArray("orvik-store") << QByteArray("client_id") << none;
    QTest::newRow("no name at all") << none << none << none << none;
}

void TstPlatformFiles::storedKey()
{
    QFETCH(QByteArray, provider);
    QFETCH(QByteArray, service);
    QFETCH(QByteArray, key);
    QFETCH(QByteArray, value);
    QVERIFY(write(keyFile, "[orvik]\norvik-store/client_id=a;b,c=%20@x\nmail/client_id=m\n"));

    char *stored = nullptr;
    const int result =
        BranwickKeyProvider_storedKey(provider.isNull() ? nullptr : provider.constData(),
                                      service.constData(), key.constData(), &stored);
    const QByteArray found(stored);
    free(stored);
    QCOMPARE(result < 0, value.isNull());
    QCOMPARE(found, value);
}

void TstPlatformFiles::desktopEntry_data()
{
    QTest::addColumn<QByteArray>("content");
    QTest::addColumn<QString>("key");
    QTest::addColumn<bool>("contained");
    QTest::addColumn<QString>("value");

    const QByteArray entry = "# an Android application\n[Desktop Entry]\nName=Chess\n"
                             "Name[de]=Schach\nComment=a\\sb\\\\c\nExec=chess \\x %U\n"
                             "X-apkd-apkfile=/data/app/org.chess.apk\n[Other]\nName=Else\n";
    const QString apkFile = text("Desktop Entry/X-apkd-apkfile");
    QTest::newRow("of its group") << entry << apkFile << true << text("/data/app/org.chess.apk");
    QTest::newRow("same key, other group") << entry << text("Other/Name") << true << text("Else");
    QTest::newRow("translated") << entry << text("Desktop Entry/Name[de]") << true
                                << text("Schach");
    QTest::newRow("escapes") << entry << text("Desktop Entry/Comment") << true << text("a b\\c");
    QTest::newRow("wrong escape stays")
        << entry << text("Desktop Entry/Exec") << true << text("chess \\x %U");
    QTest::newRow("no group") << entry << text("X-apkd-apkfile") << false << QString();
    QTest::newRow("breaks off in mid-file") << entry + "[no end\n" << apkFile << false << QString();
    QTest::newRow("no text at all") << QByteArray("\x7f"
                                                  "ELF\0\1\2",
                                                  7)
                                    << apkFile << false << QString();
    QTest::newRow("no file") << QByteArray() << apkFile << false << QString();
}

void TstPlatformFiles::desktopEntry()
{
    QFETCH(QByteArray, content);
    QFETCH(QString, key);
    QFETCH(bool, contained);
    QFETCH(QString, value);
    const QTemporaryDir folder;
    const QString file = folder.filePath(text("Schläger.desktop"));
    QVERIFY(content.isNull() || write(file, content));

    const MDesktopEntry entry(file);
    QCOMPARE(entry.contains(key), contained);
    QCOMPARE(entry.value(key), value);
}

void TstPlatformFiles::configurationValue_data()
{
    QTest::addColumn<QString>("key");
    QTest::addColumn<QVariant>("value");

    const QString folder = text("/apps/kiosk-client/settings/");
    const QVariant fallback(7);
    QTest::newRow("integer") << folder + text("os_update_check_method") << QVariant(2);
    QTest::newRow("boolean") << folder + text("flag") << QVariant(true);
    QTest::newRow("long") << folder + text("size") << QVariant(5000000000LL);
    QTest::newRow("text") << folder + text("name") << QVariant(text("Ä b"));
    QTest::newRow("list") << folder + text("list") << QVariant(QStringList{text("a"), text("b")});
    QTest::newRow("type without a counterpart") << folder + text("odd") << fallback;
    QTest::newRow("not set") << folder + text("nothing") << fallback;
    QTest::newRow("a folder is no key") << folder << fallback;
    QTest::newRow("not a path") << text("os_update_check_method") << fallback;
    QTest::newRow("empty") << QString() << fallback;
}

void TstPlatformFiles::configurationValue()
{
    QVERIFY(compileDconf("os_update_check_method=2\nflag=true\n"
                         "size=int64 5000000000\nname='\xc3\x84 b'\n"
                         "list=['a','b']\nodd=(1,2)\n"));
    QFETCH(QString, key);
    QTEST(MGConfItem(key).value(7), "value");
}

void TstPlatformFiles::configurationValueWithoutBus()
{
    QVERIFY(compileDconf("os_update_check_method=2\n"));
    QProcess reader;
    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    environment.insert(text("DBUS_SESSION_BUS_ADDRESS"), text("unix:path=/nowhere"));
    reader.setProcessEnvironment(environment);
    reader.start(QCoreApplication::applicationFilePath(), {text("read-setting")});
    QVERIFY(reader.waitForFinished());
    QCOMPARE(reader.exitCode(), 0);
    QCOMPARE(reader.readAllStandardOutput(), QByteArray("2\n"));

    QVERIFY(compileDconf("os_update_check_method=5\n"));
    const MGConfItem item(text("/apps/kiosk-client/settings/os_update_check_method"));
    QCOMPARE(item.value(1), QVariant(5));
    QVERIFY(compileDconf("flag=true\n"));
    QCOMPARE(item.value(1), QVariant(1));
}

bool TstPlatformFiles::compileDconf(const QByteArray &settings)
{
    const QTemporaryDir folder;
    const QString database = QDir::homePath() + text("/.config/dconf/user");
    QDir().mkpath(QFileInfo(database).path());
    return write(folder.filePath(text("settings")), "[apps/kiosk-client/settings]\n" + settings)
        && run(text("dconf"), {text("compile"), database, folder.path()}) == 0;
}

void TstPlatformFiles::desktopFiles()
{
    QFile::remove(desktopDatabase);
    QDir().mkpath(QFileInfo(desktopDatabase).path());
    QCOMPARE(run(text("sqlite3"), {desktopDatabase},
                 "CREATE TABLE cache(filename TEXT, package TEXT, show INTEGER, md5 TEXT);"
                 "INSERT INTO cache VALUES('/a/z.desktop', 'chess', 1, '');"
                 "INSERT INTO cache VALUES('/a/a.desktop', 'chess', 0, '');"
                 "INSERT INTO cache VALUES('/a/o''x.desktop', 'o''x', 1, '');"),
             0);

    QCOMPARE(DesktopFileCache::packageDesktopFiles(text("chess")),
             (QStringList{text("/a/z.desktop"), text("/a/a.desktop")}));
    QCOMPARE(DesktopFileCache::packageDesktopFiles(text("o'x")),
             QStringList(text("/a/o'x.desktop")));
    QCOMPARE(DesktopFileCache::packageDesktopFiles(text("chess' OR '1'='1")), QStringList());
    QCOMPARE(DesktopFileCache::packageNameByDesktopFile(text("/a/o'x.desktop")), text("o'x"));
    QCOMPARE(DesktopFileCache::packageNameByDesktopFile(text("/a/A.desktop")), QString());
}

void TstPlatformFiles::desktopFilesOfBadDatabase_data()
{
    QTest::addColumn<QByteArray>("content");

    QTest::newRow("no file") << QByteArray();
    QTest::newRow("empty file, so no table") << QByteArray("");
    QTest::newRow("no database") << QByteArray(8192, 'x');
    QTest::newRow("cut") << QByteArray("SQLite format 3\0\x10\0\1\1\0@  \0\0\0\1", 28);
}

void TstPlatformFiles::desktopFilesOfBadDatabase()
{
    QFETCH(QByteArray, content);
    QFile::remove(desktopDatabase);
    QVERIFY(content.isNull() || write(desktopDatabase, content));

    QCOMPARE(DesktopFileCache::packageDesktopFiles(text("chess")), QStringList());
    QCOMPARE(DesktopFileCache::packageNameByDesktopFile(text("/a/z.desktop")), QString());
    QCOMPARE(QFile::exists(desktopDatabase), !content.isNull());
}

int main(int argc, char *argv[])
{
    const QCoreApplication application(argc, argv);
    if (QCoreApplication::arguments().value(1) == QLatin1String("read-setting")) {
        const MGConfItem item(text("/apps/kiosk-client/settings/os_update_check_method"));
        QTextStream(stdout) << item.value(1).toInt() << '\n';
        return 0;
    }
    TstPlatformFiles test;
    return QTest::qExec(&test, argc, argv);
}

#include "tst_platformfiles.moc"
