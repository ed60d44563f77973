// What the command "phone" leaves to a program:
//
//   phonehelper wait MILLISECONDS [NAME PID]...   until each name is owned on the system bus;
//                                                 fails at once when a process ends before
//   phonehelper command PART VERB [JSON]          one verb of a simulator program
//   phonehelper reap CMD [ARGUMENT]...            runs CMD and ends whatever it leaves running

#include <QCoreApplication>
#include <QDBusConnection>
#include <QDBusConnectionInterface>
#include <QDBusReply>
#include <QDBusServiceWatcher>
#include <QJsonDocument>
#include <QJsonObject>
#include <QSet>
#include <QSocketNotifier>
#include <QTextStream>
#include <QTimer>

#include <csignal>
#include <cstdio>
#include <string>

#include <sys/prctl.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

namespace {

constexpr int usageError = 2;

int waitForNames(const QStringList &arguments)
{
    const int timeout = arguments.value(0).toInt(); // milliseconds
    QDBusConnection bus = QDBusConnection::systemBus();
    QSet<QString> missing;
    QDBusServiceWatcher watcher;
    watcher.setConnection(bus);
    watcher.setWatchMode(QDBusServiceWatcher::WatchForRegistration);

    const auto fail = [](const QString &problem) {
        QTextStream(stderr) << "phone: " << problem << '\n';
        QCoreApplication::exit(1);
    };
    const auto arrived = [&missing](const QString &name) {
        missing.remove(name);
        if (missing.isEmpty())
            QCoreApplication::exit(0);
    };
    QObject::connect(&watcher, &QDBusServiceWatcher::serviceRegistered, arrived);
    for (int i = 1; i + 1 < arguments.size(); i += 2) {
        const QString &name = arguments.at(i);
        missing.insert(name);
        watcher.addWatchedService(name);
        const int process = int(::syscall(SYS_pidfd_open, arguments.at(i + 1).toInt(), 0));
        if (process < 0) {
            QTextStream(stderr) << "phone: the program behind " << name << " has ended\n";
            return 1;
        }
        auto *ended = new QSocketNotifier(process, QSocketNotifier::Read, &watcher);
        QObject::connect(ended, &QSocketNotifier::activated, [name, fail, &missing] {
            if (missing.contains(name))
                fail(QStringLiteral("the program behind %1 has ended").arg(name));
        });
    }
    // Whoever came before the watch is found by asking once.
    const QSet<QString> asked = missing;
    for (const QString &name : asked) {
        if (bus.interface() && bus.interface()->isServiceRegistered(name).value())
            missing.remove(name);
    }
    if (missing.isEmpty())
        return 0;
    QTimer::singleShot(timeout, [&missing, fail] {
        fail(QStringLiteral("still not on the bus: %1")
                 .arg(QStringList(missing.values()).join(QLatin1String(", "))));
    });
    return QCoreApplication::exec();
}

int command(const QStringList &arguments)
{
    if (arguments.size() < 2 || arguments.size() > 3)
        return usageError;
    QDBusMessage call = QDBusMessage::createMethodCall(
        QStringLiteral("org.kiosk.Simulator.") + arguments.at(0),
        QStringLiteral("/org/kiosk/Simulator"), QStringLiteral("org.kiosk.Simulator1"),
        QStringLiteral("Command"));
    call << arguments.at(1) << arguments.value(2, QStringLiteral("{}"));
    const QDBusReply<QString> reply = QDBusConnection::systemBus().call(call);
    if (!reply.isValid()) {
        QTextStream(stderr) << "phone: " << reply.error().message() << '\n';
        return 1;
    }
    const QJsonDocument answer = QJsonDocument::fromJson(reply.value().toUtf8());
    QTextStream(stdout) << answer.toJson();
    return answer.object().contains(QLatin1String("error")) ? 1 : 0;
}

/** Ends every descendant; new ones may appear while the old are dying. */
void endDescendants()
{
    const std::string list = "/proc/self/task/" + std::to_string(::getpid()) + "/children";
    while (true) {
        if (FILE *children = std::fopen(list.c_str(), "re")) {
            int child = 0;
            while (std::fscanf(children, "%d", &child) == 1)
                ::kill(child, SIGKILL);
            std::fclose(children);
        }
        if (::wait(nullptr) < 0)
            return;
    }
}

int reap(char *const *arguments)
{
    if (!arguments[0])
        return usageError;
    ::prctl(PR_SET_CHILD_SUBREAPER, 1);
    const pid_t child = ::fork();
    if (child == 0) {
        ::prctl(PR_SET_PDEATHSIG, SIGTERM);
        ::execvp(arguments[0], arguments);
        std::perror(arguments[0]);
        ::_exit(127);
    }
    // The command puts things back when it is told to end; this process must outlive it.
    std::signal(SIGINT, SIG_IGN);
    static pid_t told = child;
    std::signal(SIGTERM, [](int number) { ::kill(told, number); });
    int status = 0;
    while (true) {
        int ended = 0;
        const pid_t process = ::wait(&ended);
        if (process == child) {
            status = ended;
            break;
        }
        if (process < 0 && errno != EINTR)
            break;
    }
    endDescendants();
    return WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
}

} // namespace

int main(int argc, char *argv[])
{
    if (argc > 1 && qstrcmp(argv[1], "reap") == 0)
        return reap(argv + 2);
    const QCoreApplication application(argc, argv);
    const QStringList arguments = QCoreApplication::arguments().mid(2);
    if (argc > 1 && qstrcmp(argv[1], "wait") == 0)
        return waitForNames(arguments);
    if (argc > 1 && qstrcmp(argv[1], "command") == 0)
        return command(arguments);
    QTextStream(stderr) << "usage: phonehelper wait|command|reap ...\n";
    return usageError;
}
