// The readers of the platform's files, against files of the real kinds.

#include "branwickkeyprovider.h"
#include "desktopfilecache.h"
#include "mdesktopentry.h"
#include "mgconfitem.h"
#include "rdm.h"
#include "runself.h"
#include "text.h"

#include <QDir>
#include <QFile>
#include <QProcess>
#include <QTemporaryDir>
#include <QTest>

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
    QTest::addColumn<QByteArray>("key");
    QTest::addColumn<QByteArray>("value"); // null for failure

    const auto row = [](const char *name, const char *provider, const char *key,
                        const char *value) {
        QTest::newRow(name) << QByteArray(provider) << QByteArray(key) << QByteArray(value);
    };
    row("a key", "orvik", "client_id", "a;b,c=%20@x");
    row("no such key", "orvik", "client_secret", nullptr);
    row("no such provider", "other", "client_id", nullptr);
    row("no name at all", nullptr, nullptr, nullptr);
}

void TstPlatformFiles::storedKey()
{
    QFETCH(QByteArray, provider);
    QFETCH(QByteArray, key);
    QFETCH(QByteArray, value);
    QVERIFY(write(keyFile, "[orvik]\norvik-store/client_id=a;b,c=%20@x\nmail/client_id=m\n"));

    char *stored = nullptr;
    const int result = BranwickKeyProvider_storedKey(
        provider.isNull() ? nullptr : provider.constData(),
        provider.isNull() ? nullptr : "orvik-store", key.constData(), &stored);
    const QByteArray found(stored);
    free(stored);
    QCOMPARE(result < 0, value.isNull());
    QCOMPARE(found, value);
}

void TstPlatformFiles::desktopEntry_data()
{
    QTest::addColumn<QByteArray>("content");
    QTest::addColumn<QString>("key");
    QTest::addColumn<QString>("value"); // null if there is none

    const QByteArray entry = "# an Android application\n[Desktop Entry]\nName=Chess\n"
                             "Name[de]=Schach\nComment=a\\sb\\\\c\nExec=chess \\x %U\n"
                             "X-apkd-apkfile=/data/app/org.chess.apk\n[Other]\nName=Else\n";
    const auto row = [](const char *name, const QByteArray &content, const char *key,
                        const char *value) {
        QTest::newRow(name) << content << text(key) << text(value);
    };
    const char apkFile[] = "Desktop Entry/X-apkd-apkfile";
    row("of its group", entry, apkFile, "/data/app/org.chess.apk");
    row("same key, other group", entry, "Other/Name", "Else");
    row("translated", entry, "Desktop Entry/Name[de]", "Schach");
    row("escapes", entry, "Desktop Entry/Comment", "a b\\c");
    row("wrong escape stays", entry, "Desktop Entry/Exec", "chess \\x %U");
    row("no group", entry, "X-apkd-apkfile", nullptr);
    row("breaks off in mid-file", entry + "[no end\n", apkFile, nullptr);
    row("no text at all",
        QByteArray("\x7f"
                   "ELF\0\1\2",
                   7),
        apkFile, nullptr);
    row("no file", QByteArray(), apkFile, nullptr);
}

void TstPlatformFiles::desktopEntry()
{
    QFETCH(QByteArray, content);
    QFETCH(QString, key);
    QFETCH(QString, value);
    const QTemporaryDir folder;
    const QString file = folder.filePath(text("Schläger.desktop"));
    QVERIFY(content.isNull() || write(file, content));

    const MDesktopEntry entry(file);
    QCOMPARE(entry.contains(key), !value.isNull());
    QCOMPARE(entry.value(key), value);
}

void TstPlatformFiles::configurationValue_data()
{
    QTest::addColumn<QString>("key");
    QTest::addColumn<QVariant>("value");

    const auto row = [](const char *name, const char *key, const QVariant &value = 7) {
        QTest::newRow(name) << text(key).replace(text("SETTINGS"),
                                                 text("/apps/kiosk-client/settings"))
                            << value;
    };
    row("integer", "SETTINGS/os_update_check_method", 2);
    row("boolean", "SETTINGS/flag", true);
    row("long", "SETTINGS/size", 5000000000LL);
    row("text", "SETTINGS/name", text("Ä b"));
    row("list", "SETTINGS/list", QStringList{text("a"), text("b")});
    row("type without a counterpart", "SETTINGS/odd");
    row("not set", "SETTINGS/nothing");
    row("a folder is no key", "SETTINGS/");
    row("not a path", "os_update_check_method");
    row("empty", "");
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
    QCOMPARE(runSelfWithoutBus({text("read-setting")}), 2);

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

void TstPlatformFiles::desktopFilesOfBadDatabase()
{
    // No file, no table, no database, a cut one.
    const QByteArray contents[] = {QByteArray(), "", QByteArray(8192, 'x'),
                                   QByteArray("SQLite format 3\0\x10\0\1\1\0@  \0\0\0\1", 28)};
    for (const QByteArray &content : contents) {
        QFile::remove(desktopDatabase);
        QVERIFY(content.isNull() || write(desktopDatabase, content));
        QCOMPARE(DesktopFileCache::packageDesktopFiles(text("chess")), QStringList());
        QCOMPARE(DesktopFileCache::packageNameByDesktopFile(text("/a/z.desktop")), QString());
        QCOMPARE(QFile::exists(desktopDatabase), !content.isNull());
    }
}

int main(int argc, char *argv[])
{
    const QCoreApplication application(argc, argv);
    if (QCoreApplication::arguments().value(1) == QLatin1String("read-setting")) {
        const MGConfItem item(text("/apps/kiosk-client/settings/os_update_check_method"));
        return item.value(1).toInt();
    }
    TstPlatformFiles test;
    return QTest::qExec(&test, argc, argv);
}

#include "tst_platformfiles.moc"
