#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QProcess>
#include <QTemporaryDir>
#include <QTest>

#include <csignal>
#include <unistd.h>

namespace {

constexpr int patience = 60000; // milliseconds for one command on a busy machine

/** How a command ended, and what it printed. */
struct Outcome
{
    int status = -1;
    QString output;
    QString errors;
};

/** @p line as a command, split at its blanks. */
QStringList words(const char *line)
{
    return QString::fromLatin1(line).split(QLatin1Char(' '));
}

QString text(const QByteArray &bytes)
{
    return QString::fromUtf8(bytes).trimmed();
}

/** Number of processes with @p mark among their arguments; not this one. */
int processesWith(const QByteArray &mark)
{
    int count = 0;
    const QStringList processes = QDir(QStringLiteral("/proc")).entryList(QDir::Dirs);
    for (const QString &process : processes) {
        QFile arguments(QStringLiteral("/proc/%1/cmdline").arg(process));
        if (process.toInt() > 0 && process.toInt() != ::getpid()
            && arguments.open(QIODevice::ReadOnly) && arguments.readAll().contains(mark))
            ++count;
    }
    return count;
}

bool write(const QString &path, const QByteArray &content)
{
    QFile file(path);
    return file.open(QIODevice::WriteOnly) && file.write(content) == content.size();
}

} // namespace

/**
 * The command "phone", as people use it: in phones of its own, inside the phone that this
 * test runs in.
 */
class TstPhone : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void init();
    void execReturnsTheStatus();
    void nothingIsLeft_data();
    void nothingIsLeft();
    void identities();
    void busActivatesTheClient();
    void brokenProgramIsReported();
    void phoneThatStays();
    void buildInAHome();
    void ordinaryUser();
    void refusedNamespaces();
    void fallbackPutsBack_data();
    void fallbackPutsBack();

private:
    Outcome run(const QStringList &command) const;
    Outcome phone(const QStringList &arguments) const
    {
        return run(QStringList{m_phone} + arguments);
    }
    /** A phone of its own without programs, which runs @p script in a shell. */
    Outcome inOwn(const QString &script, const QStringList &options = {}) const;

    QString m_phone;
    bool m_phoneIsRoots = false; // not an ordinary user's
    QProcessEnvironment m_environment;
};

void TstPhone::initTestCase()
{
    m_phone = qEnvironmentVariable("KIOSK_SIMULATOR_DIR") + QStringLiteral("/phone");
    QVERIFY(QFileInfo(m_phone).isExecutable());
    QFile users(QStringLiteral("/proc/self/uid_map"));
    QVERIFY(users.open(QIODevice::ReadOnly));
    m_phoneIsRoots = users.readAll().simplified() == "0 0 4294967295";
    if (qEnvironmentVariable("KIOSK_PHONE_FALLBACK") == QLatin1String("1"))
        QSKIP("a phone that is laid down in place holds no other");
}

void TstPhone::init()
{
    m_environment = QProcessEnvironment::systemEnvironment();
    // Seen from here, the phone that this test runs in is the whole machine.
    m_environment.remove(QStringLiteral("KIOSK_INSIDE_PHONE"));
    m_environment.insert(QStringLiteral("KIOSK_PHONE"), QStringLiteral("tst_phone"));
}

Outcome TstPhone::run(const QStringList &command) const
{
    QProcess process;
    process.setProcessEnvironment(m_environment);
    process.start(command.first(), command.mid(1));
    process.closeWriteChannel();
    Outcome outcome;
    if (process.waitForFinished(patience) && process.exitStatus() == QProcess::NormalExit)
        outcome.status = process.exitCode();
    outcome.output = text(process.readAllStandardOutput());
    outcome.errors = text(process.readAllStandardError());
    return outcome;
}

Outcome TstPhone::inOwn(const QString &script, const QStringList &options) const
{
    return phone(
        words("exec --own --without store,packagekit,services") + options + words("-- sh -c")
        << script);
}

void TstPhone::execReturnsTheStatus()
{
    QCOMPARE(inOwn(QStringLiteral("exit 0")).status, 0);
    QCOMPARE(inOwn(QStringLiteral("exit 7")).status, 7);
    QCOMPARE(inOwn(QStringLiteral("kill -KILL $$")).status, 128 + SIGKILL);
}

void TstPhone::nothingIsLeft_data()
{
    QTest::addColumn<int>("signal");

    QTest::newRow("the command ends") << 0;
    QTest::newRow("the phone is asked to end") << SIGTERM;
    QTest::newRow("the phone is killed") << SIGKILL;
}

void TstPhone::nothingIsLeft()
{
    QFETCH(int, signal);

    const QByteArray mark = "left-behind-" + QByteArray::number(signal);
    QProcess process;
    process.setProcessEnvironment(m_environment);
    process.start(m_phone,
                  words("exec --own -- sh -c")
                      << QStringLiteral("setsid sh -c 'tail -f /dev/null; : %1' & "
                                        "echo running; read -r line")
                             .arg(QString::fromLatin1(mark)));
    QByteArray output;
    QTRY_VERIFY_WITH_TIMEOUT((output += process.readAllStandardOutput()).contains("running"),
                             patience);
    QVERIFY(processesWith(mark) > 0);

    if (signal == 0)
        process.closeWriteChannel();
    else
        ::kill(pid_t(process.processId()), signal);
    QVERIFY(process.waitForFinished(patience));
    QTRY_COMPARE(processesWith(mark), 0);
}

void TstPhone::identities()
{
    const auto seenBy = [this](const char *identity) {
        return inOwn(QStringLiteral("echo $(id -u) $(id -g) $XDG_RUNTIME_DIR"),
                     {QStringLiteral("--as"), QString::fromLatin1(identity)})
            .output;
    };
    QCOMPARE(seenBy("root"), QStringLiteral("0 0 /run/user/0"));
    QCOMPARE(seenBy("privileged"), QStringLiteral("1000 996 /run/user/1000"));
    QCOMPARE(seenBy("user"), QStringLiteral("1000 1000 /run/user/1000"));
}

void TstPhone::busActivatesTheClient()
{
    // A stand-in that tells as whom, and with which environment, the bus has started it.
    QTemporaryDir folder(QStringLiteral("/var/tmp/phoneXXXXXX"));
    const QString client = folder.filePath(QStringLiteral("client"));
    QVERIFY(QFile(folder.path()).setPermissions(QFile::Permissions(0x7755)));
    QVERIFY(write(client,
                  "#!/bin/sh\necho $(id -u):$(id -g) $QT_QPA_PLATFORM $XDG_RUNTIME_DIR "
                  ">/tmp/activated\nexit 1\n"));
    QVERIFY(QFile(client).setPermissions(QFile::Permissions(0x7755)));
    m_environment.insert(QStringLiteral("KIOSK_CLIENT"), client);
    const Outcome outcome =
        inOwn(QStringLiteral("gdbus call --session -d org.freedesktop.DBus -o / "
                             "-m org.freedesktop.DBus.StartServiceByName com.orvik.orvikstore 0 "
                             "2>/dev/null; cat /tmp/activated"),
              words("--client-as privileged"));
    QCOMPARE(outcome.output, QStringLiteral("1000:996 offscreen /run/user/1000"));
}

void TstPhone::brokenProgramIsReported()
{
    QTemporaryDir folder;
    const QString program = folder.filePath(QStringLiteral("servicesim"));
    QVERIFY(write(program, "#!/bin/sh\necho no luck\nexit 1\n"));
    QVERIFY(QFile(program).setPermissions(QFile::Permissions(0x7755)));
    m_environment.insert(QStringLiteral("KIOSK_SIMULATOR_DIR"), folder.path());
    const Outcome outcome = phone(words("exec --own -- echo ran"));
    QCOMPARE(outcome.status, 125);
    QCOMPARE(outcome.output, QString());
    QVERIFY2(outcome.errors.contains(QLatin1String("services: no luck")),
             qPrintable(outcome.errors));
}

void TstPhone::phoneThatStays()
{
    QCOMPARE(phone(words("up --without store,packagekit,services")).errors, QString());
    QCOMPARE(phone(words("up")).errors,
             QStringLiteral("phone: the phone \"tst_phone\" is up already"));
    QCOMPARE(
        phone(words("exec -- sh -c") << QStringLiteral("echo kept >/tmp/state; exit 3")).status, 3);
    const Outcome outcome = phone(words("exec --as user -- sh -c")
                                  << QStringLiteral("cat /tmp/state; id -g; echo $HOME"));
    QCOMPARE(outcome.output, QStringLiteral("kept\n1000\n/home/user"));
    QVERIFY(!QFileInfo::exists(QStringLiteral("/tmp/state")));
    QCOMPARE(phone(words("down")).status, 0);
    QCOMPARE(phone(words("down")).status, 1);
}

/** What a phone is made of is read before the homes are covered. */
void TstPhone::buildInAHome()
{
    const char *script = R"(
        mkdir -p /root/build/bin
        cp "$0" "$0helper" "$0layers" /root/build/bin
        cp -a "${0%/*}/../phone" /root/build
        unset KIOSK_SIMULATOR_DIR KIOSK_CLIENT
        /root/build/bin/phone exec --own --without store,packagekit,services -- \
            sh -c 'ls ~/.config/libaccounts-glib /root/build'
    )";
    const Outcome outcome = run(words("sh -ec") << QString::fromLatin1(script) << m_phone);
    QCOMPARE(outcome.errors, QString());
    QVERIFY(outcome.output.contains(QLatin1String("accounts.db")));
}

void TstPhone::ordinaryUser()
{
    if (!m_phoneIsRoots)
        QSKIP("this phone is an ordinary user's, which shows it already");
    QVERIFY(write(QStringLiteral("/etc/subuid"), "user:10000:20000\n"));
    QVERIFY(write(QStringLiteral("/etc/subgid"), "user:10000:20000\n"));
    const Outcome outcome =
        run(words("setpriv --reuid 1000 --regid 1000 --clear-groups")
            << m_phone << words("exec --own --without store,packagekit,services -- sh -c")
            << QStringLiteral("id -u; stat -c %U:%G /home/user; "
                              "setpriv --reuid 1000 --regid 996 --clear-groups id -gn; "
                              "touch /etc/rdm/x /usr/share/kiosk-client/x /var/lib/PackageKit/x"));
    QCOMPARE(outcome.errors, QString());
    QCOMPARE(outcome.output, QStringLiteral("0\nuser:privileged\nprivileged"));
}

void TstPhone::refusedNamespaces()
{
    m_environment.insert(QStringLiteral("KIOSK_FORCE_FALLBACK"), QStringLiteral("1"));
    const Outcome outcome = run(words("setpriv --reuid 1000 --regid 1000 --clear-groups")
                                << m_phone << words("exec --own -- true"));
    QCOMPARE(outcome.status, 125);
    QCOMPARE(outcome.errors,
             QStringLiteral("phone: this system refuses the namespaces that a phone lives in, and "
                            "only root in a throw-away container can do without them"));
}

void TstPhone::fallbackPutsBack_data()
{
    QTest::addColumn<QString>("script");
    QTest::addColumn<int>("status");

    QTest::newRow("the command ends") << "exit 4" << 4;
    // The script that would put things back: the next start does it instead.
    QTest::newRow("the phone is killed") << "kill -KILL $PPID" << 128 + SIGKILL;
}

void TstPhone::fallbackPutsBack()
{
    QFETCH(QString, script);
    QFETCH(int, status);

    // In a phone within this one, whose files can be ruined.
    const QString inner = QStringLiteral(R"(
        touch /run/.containerenv
        rm -r /etc/rdm
        echo original >/etc/os-release
        echo mine >/home/user/mine
        export KIOSK_FORCE_FALLBACK=1
        fallback() { "$0" exec --own --without store,packagekit,services -- "$@"; }
        listing() { find /etc /usr/share/kiosk-client /home -printf '%p %y %m %U %G %l\n' | sort; cat /etc/passwd; }
        listing >/tmp/before
        fallback sh -c 'grep -c Branwick /etc/os-release; ls /etc/rdm; ls ~/mine; eval "$1"' - '%1'
        echo status $?
        [ $? = 0 ] && fallback true
        cat /etc/os-release /home/user/mine
        listing | diff /tmp/before -
    )")
                              .arg(script);
    const Outcome outcome = phone(words("exec --own --without store,packagekit,services -- bash -c")
                                  << inner << m_phone);
    QCOMPARE(outcome.output, QStringLiteral("2\nrdm.ini\nstatus %1\noriginal\nmine").arg(status));
}

QTEST_GUILESS_MAIN(TstPhone)
#include "tst_phone.moc"
