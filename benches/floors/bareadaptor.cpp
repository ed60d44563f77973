// The floor of a D-Bus method: an adaptor that answers at once, and one that first asks the
// bus who calls and looks that process up.

#include <QDBusAbstractAdaptor>
#include <QDBusConnection>
#include <QDBusConnectionInterface>
#include <QDBusContext>
#include <QDBusMessage>
#include <QGuiApplication>

#include <grp.h>
#include <pwd.h>
#include <sys/stat.h>

class BareObject : public QObject, public QDBusContext
{
    Q_OBJECT

public:
    [[nodiscard]] bool isCallerPrivileged() const
    {
        const uint pid = connection().interface()->servicePid(message().service()).value();
        struct stat process = {};
        const QByteArray folder = QByteArrayLiteral("/proc/") + QByteArray::number(pid);
        if (stat(folder.constData(), &process) != 0)
            return false;
        const struct group *group = getgrgid(process.st_gid);
        if (group && qstrcmp(group->gr_name, "privileged") == 0)
            return true;
        const struct passwd *owner = getpwuid(process.st_uid);
        return owner && qstrcmp(owner->pw_name, "root") == 0;
    }
};

class BareAdaptor : public QDBusAbstractAdaptor
{
    Q_OBJECT
    Q_CLASSINFO("D-Bus Interface", "com.orvik.orvikstore")

public:
    explicit BareAdaptor(BareObject *object)
        : QDBusAbstractAdaptor(object)
        , m_object(object)
    { }

public Q_SLOTS:
    void checkInstalled(const QString &packageName)
    {
        Q_EMIT checkInstalledResult(packageName, false);
    }
    void installAccountType(const QString &accountType)
    {
        if (m_object->isCallerPrivileged())
            Q_UNUSED(accountType)
    }

Q_SIGNALS:
    void checkInstalledResult(const QString &packageName, bool isInstalled);

private:
    BareObject *m_object;
};

int main(int argc, char *argv[])
{
    const QGuiApplication application(argc, argv);
    BareObject object;
    new BareAdaptor(&object);
    QDBusConnection bus = QDBusConnection::sessionBus();
    if (!bus.registerObject(QStringLiteral("/KioskClient"), &object)
        || !bus.registerService(QStringLiteral("org.kiosk.Bench.BareAdaptor")))
        return 1;
    return QGuiApplication::exec();
}

#include "bareadaptor.moc"
