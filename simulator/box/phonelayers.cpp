// Lays a phone's file system over the machine's, inside namespaces of the phone's own. One
// program, since a phone must come up within the time that a script's thirty would take.
//
//   phonelayers try                        exits with 0 where the kernel lets us mount
//   phonelayers in-place DATA [OPTION]...  makes the phone's own folders only
//   phonelayers lay DATA [OPTION]... [FOLDER]...
//
// DATA is the folder that the build has prepared. Each FOLDER stays visible with all below it,
// wherever it is. Options: --account, --window, --users (namespaces of an ordinary user).

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <exception>
#include <filesystem>
#include <map>
#include <stdexcept>
#include <string>
#include <system_error>
#include <vector>

#include <fcntl.h>
#include <net/if.h>
#include <sys/ioctl.h>
#include <sys/mount.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {

namespace fs = std::filesystem;

constexpr uid_t owner = 1000;
constexpr gid_t privileged = 996;
const fs::path box = "/run/phone"; // sockets, logs, environment
const fs::path accountDatabase = "accounts/accounts.db"; // in the build's folder
const fs::path layers = "/run/phone-layers"; // what the layered file systems are made of

struct Options
{
    fs::path data;
    bool account = false;
    bool window = false;
    bool users = false;
    std::vector<fs::path> folders;
};

/** An opened folder, which no mount can hide. */
using Folders = std::map<fs::path, int>;

[[noreturn]] void fail(const std::string &what)
{
    throw std::system_error(errno, std::generic_category(), what);
}

void check(int result, const std::string &what)
{
    if (result != 0)
        fail(what);
}

void mountNew(const char *type, const fs::path &target, const std::string &settings)
{
    check(::mount("phone", target.c_str(), type, 0, settings.c_str()), target);
}

void bind(const fs::path &source, const fs::path &target)
{
    check(::mount(source.c_str(), target.c_str(), nullptr, MS_BIND | MS_REC, nullptr), target);
}

fs::path openedPath(int folder)
{
    return "/proc/self/fd/" + std::to_string(folder);
}

bool isCovered(const fs::path &folder)
{
    for (const char *cover :
         {"/etc/", "/usr/share/", "/var/", "/home/", "/root/", "/tmp/", "/run/"}) {
        if (folder.native().rfind(cover, 0) == 0)
            return true;
    }
    return false;
}

/** Remembers @p folder, to be shown at @p place once everything is laid. */
void keep(Folders *kept, const fs::path &folder, const fs::path &place)
{
    const int opened = ::open(folder.c_str(), O_PATH | O_DIRECTORY | O_CLOEXEC);
    if (opened < 0)
        return;
    if (!kept->emplace(place, opened).second)
        ::close(opened);
}

void show(const Folders &kept)
{
    // In the order of their paths, so that none hides another.
    for (const auto &[place, folder] : kept) {
        fs::create_directories(place);
        if (!fs::equivalent(openedPath(folder), place))
            bind(openedPath(folder), place);
        ::close(folder);
    }
}

/** Links into the folder @p ours whatever @p theirs has and it has not. */
void linkRest(const fs::path &theirs, const fs::path &ours)
{
    for (const fs::directory_entry &entry : fs::directory_iterator(theirs)) {
        const fs::path mine = ours / entry.path().filename();
        std::error_code ignored; // what can't be looked at is not shown
        const bool taken = fs::exists(fs::symlink_status(mine, ignored));
        if (entry.is_symlink(ignored)) {
            if (!taken)
                fs::copy_symlink(entry.path(), mine);
        } else if (!taken) {
            if (entry.exists(ignored))
                fs::create_symlink(entry.path(), mine);
        } else if (fs::is_directory(fs::symlink_status(mine, ignored))) {
            linkRest(entry.path(), mine);
        }
    }
}

/** Lays the phone's part of a system folder over it, so that it can be written. */
void layLayer(const std::string &folder, bool users)
{
    const fs::path target = "/" + folder;
    const fs::path ours = layers / "fs" / folder;
    const fs::path work = layers / "work" / folder;
    fs::create_directories(ours);
    fs::create_directories(work);
    const std::string settings = "lowerdir=" + target.native() + ",upperdir=" + ours.native()
        + ",workdir=" + work.native() + (users ? ",userxattr" : "");
    if (::mount("phone", target.c_str(), "overlay", 0, settings.c_str()) == 0)
        return;
    // The kernel makes no layers for an ordinary user of a folder with other mounts below it,
    // nor for anyone on top of two layers. There the rest is shown through links.
    const fs::path theirs = layers / "host" / folder;
    fs::create_directories(theirs);
    bind(target, theirs);
    linkRest(theirs, ours);
    bind(ours, target);
}

void startLoopback()
{
    const int socket = ::socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0);
    ifreq request{};
    std::strncpy(request.ifr_name, "lo", sizeof request.ifr_name - 1);
    request.ifr_flags = IFF_UP;
    check(::ioctl(socket, SIOCSIFFLAGS, &request), "the loopback network");
    ::close(socket);
}

void makeFolder(const fs::path &folder, mode_t mode, uid_t user = 0, gid_t group = 0)
{
    fs::create_directories(folder);
    check(::chown(folder.c_str(), user, group), folder);
    check(::chmod(folder.c_str(), mode), folder);
}

/** @param account the database to start with; none if empty. */
void makeOwnFolders(const fs::path &account)
{
    for (const char *folder : {"services/session", "services/system"})
        fs::create_directories(box / folder);
    makeFolder(box / "log", 01777);
    makeFolder(box / "bus", 01777);
    makeFolder("/run/user/0", 0700);
    makeFolder("/run/user/" + std::to_string(owner), 0700, owner, owner);
    fs::create_directories("/run/lock");
    fs::create_directories("/run/dbus");

    const fs::path home = "/home/user";
    const fs::path accounts = home / ".config/libaccounts-glib";
    for (const char *folder : {".cache", ".config", ".local", ".local/share", "Downloads"})
        makeFolder(home / folder, 0755, owner, privileged);
    makeFolder(accounts, 0755, owner, privileged);
    makeFolder(home, 0755, owner, privileged);
    if (!account.empty()) {
        const fs::path database = accounts / "accounts.db";
        fs::copy_file(account, database, fs::copy_options::overwrite_existing);
        check(::chown(database.c_str(), owner, privileged), database);
    }
}

void keepDesktop(Folders *kept)
{
    keep(kept, "/tmp/.X11-unix", "/tmp/.X11-unix");
    if (const char *runtime = std::getenv("XDG_RUNTIME_DIR"))
        keep(kept, runtime, layers / "desktop");
}

/** The file that lets a program show windows on the desktop; empty where none is needed. */
fs::path desktopAuthority()
{
    const char *file = std::getenv("XAUTHORITY");
    const char *home = std::getenv("HOME");
    fs::path found;
    if (file)
        found = file;
    else if (home)
        found = fs::path(home) / ".Xauthority";
    std::error_code ignored;
    return fs::exists(found, ignored) ? found : fs::path();
}

/**
 * Everything but the system's own folders is the phone's own; /etc, /usr/share and /var are
 * layers over what is there, and can be written.
 */
void lay(const Options &options)
{
    Folders kept;
    for (const fs::path &folder : options.folders) {
        if (isCovered(folder))
            keep(&kept, folder, folder);
    }
    int authority = -1;
    if (options.window) {
        keepDesktop(&kept);
        authority = ::open(desktopAuthority().c_str(), O_RDONLY | O_CLOEXEC);
    }
    mountNew("tmpfs", "/run", "mode=755");
    // Copied rather than layered, so that root inside owns them whoever has built them, and
    // before the folder that the build lies in may be hidden.
    const auto whole = fs::copy_options::recursive | fs::copy_options::copy_symlinks;
    fs::create_directories(layers);
    fs::copy(options.data / "fs", layers / "fs", whole);
    fs::copy(options.data / "certs", layers / "certs", whole);
    const fs::path account = options.account ? layers / "accounts.db" : fs::path();
    if (options.account)
        fs::copy_file(options.data / accountDatabase, account);
    for (const char *folder : {"etc", "usr/share", "var"})
        layLayer(folder, options.users);
    mountNew("tmpfs", "/home", "mode=755");
    mountNew("tmpfs", "/root", "mode=755");
    mountNew("tmpfs", "/tmp", "mode=1777");
    bind(layers / "certs", "/etc/ssl/certs");
    makeOwnFolders(account);
    fs::create_symlink(box / "bus/system", "/run/dbus/system_bus_socket");
    if (authority >= 0)
        fs::copy_file(openedPath(authority), layers / "Xauthority");
    show(kept);
    startLoopback();
}

void layInPlace(const Options &options)
{
    makeOwnFolders(options.account ? options.data / accountDatabase : fs::path());
}

Options optionsIn(const std::vector<std::string> &arguments)
{
    Options options;
    options.data = arguments.at(0);
    for (std::size_t i = 1; i < arguments.size(); ++i) {
        if (arguments[i] == "--account")
            options.account = true;
        else if (arguments[i] == "--window")
            options.window = true;
        else if (arguments[i] == "--users")
            options.users = true;
        else
            options.folders.emplace_back(arguments[i]);
    }
    return options;
}

} // namespace

int main(int argc, char *argv[])
{
    const std::vector<std::string> arguments(argv + 1, argv + argc);
    try {
        ::umask(022);
        if (arguments.size() == 1 && arguments[0] == "try")
            mountNew("tmpfs", "/run", "mode=755");
        else if (arguments.size() >= 2 && arguments[0] == "in-place")
            layInPlace(optionsIn({arguments.begin() + 1, arguments.end()}));
        else if (arguments.size() >= 2 && arguments[0] == "lay")
            lay(optionsIn({arguments.begin() + 1, arguments.end()}));
        else
            throw std::invalid_argument("usage: phonelayers try|in-place|lay ...");
    } catch (const std::exception &problem) {
        std::fprintf(stderr, "phone: %s\n", problem.what());
        return EXIT_FAILURE;
    }
    return EXIT_SUCCESS;
}
