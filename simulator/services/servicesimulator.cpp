#include "servicesimulator.h"

#include <QDBusVariant>
#include <QFile>
#include <QFileInfo>
#include <QTextStream>

namespace {

constexpr uint dismissed = 2; // reason of a notification's end

QString online()
{
    return QStringLiteral("online");
}

QString androidSupportName() // also of the interface
{
    return QStringLiteral("com.orvik.apkd");
}

QString backplateName() // also of the interface
{
    return QStringLiteral("com.orvik.bkpd");
}

QString propertiesInterface()
{
    return QStringLiteral("org.freedesktop.DBus.Properties");
}

QString launcherInterface()
{
    return QStringLiteral("org.teskmobile.pavilion.LauncherModel");
}

QJsonObject problem(const QString &text)
{
    return {{QStringLiteral("error"), text}};
}

QJsonObject notShown(const QJsonObject &arguments)
{
    return problem(
        QStringLiteral("no notification %1").arg(arguments[QLatin1String("id")].toInt()));
}

} // namespace

ServiceSimulator::ServiceSimulator(QObject *parent)
    : QObject(parent)
    , m_control(QStringLiteral("Services"))
    , m_connman(&m_control, &m_faults)
    , m_release(&m_control, &m_faults)
    , m_notifications(&m_control, &m_faults)
    , m_androidSupport(QStringLiteral("apkd"), &m_control, &m_faults)
    , m_backplate(QStringLiteral("bkpd"), &m_control, &m_faults)
    , m_launcher(QStringLiteral("launcher"), &m_control, &m_faults)
    , m_connectionDialog(QStringLiteral("dialog"), &m_control, &m_faults)
    , m_settings(QStringLiteral("settings"), &m_control, &m_faults)
{
    describeSystemServices();
    describeSessionServices();
    addFaultVerbs();
    addNetworkVerbs();
    addDeviceVerbs();
    addNotificationVerbs();
    m_control.handle(QStringLiteral("reset"), [this](const QJsonObject &) { return reset(); });
}

bool ServiceSimulator::publish()
{
    if (!publishSystemServices()) {
        QTextStream(stderr) << "could not publish the services of the system bus: "
                            << QDBusConnection::systemBus().lastError().message() << '\n';
        return false;
    }
    if (QDBusConnection::sessionBus().isConnected() && !publishSessionServices()) {
        QTextStream(stderr) << "could not publish the services of the session bus\n";
        return false;
    }
    return m_control.publish();
}

void ServiceSimulator::describeSystemServices()
{
    const QString text = QStringLiteral("s");
    const QString variant = QStringLiteral("v");
    const QString map = QStringLiteral("a{sv}");
    m_androidSupport.addMethod(
        {androidSupportName(),
         QStringLiteral("removeFile"),
         {text},
         {QStringLiteral("b")},
         [this](const QVariantList &arguments, const SimulatedObject::Done &done) {
             done({removeFile(arguments.at(0).toString())});
         }});
    m_backplate.addMethod({propertiesInterface(),
                           QStringLiteral("Get"),
                           {text, text},
                           {variant},
                           [this](const QVariantList &, const SimulatedObject::Done &done) {
                               done({QVariant::fromValue(QDBusVariant(m_backplateReady))});
                           }});
    m_backplate.addMethod({propertiesInterface(),
                           QStringLiteral("GetAll"),
                           {text},
                           {map},
                           [this](const QVariantList &, const SimulatedObject::Done &done) {
                               done({QVariantMap{{QStringLiteral("Ready"), m_backplateReady}}});
                           }});
    m_backplate.addSignal({propertiesInterface(),
                           QStringLiteral("PropertiesChanged"),
                           {text, map, QStringLiteral("as")}});
}

void ServiceSimulator::describeSessionServices()
{
    const QString text = QStringLiteral("s");
    m_launcher.addMethod({launcherInterface(),
                          QStringLiteral("updatingStarted"),
                          {text, text, text, text},
                          {},
                          noted()});
    m_launcher.addMethod(
        {launcherInterface(), QStringLiteral("updatingFinished"), {text}, {}, noted()});
    m_launcher.addSignal({launcherInterface(), QStringLiteral("showUpdatingProgress"), {text}});
    m_connectionDialog.addMethod(
        {QStringLiteral("com.orvik.pavilion.ConnectionSelectorIf"),
         QStringLiteral("openConnectionNow"),
         {text},
         {},
         [this](const QVariantList &, const SimulatedObject::Done &done) {
             if (m_dialogGoesOnline) {
                 m_connman.setType(m_dialogType.isEmpty() ? m_connman.type() : m_dialogType);
                 m_connman.setState(online());
             }
             done({});
         }});
    m_settings.addMethod({QStringLiteral("com.orvik.settings.ui"),
                          QStringLiteral("showBranwickOs"),
                          {},
                          {},
                          noted()});
}

bool ServiceSimulator::publishSystemServices()
{
    QDBusConnection bus = QDBusConnection::systemBus();
    return m_connman.publish() && m_release.publish()
        && m_androidSupport.publish(bus, QStringLiteral("/com/orvik/apkd"))
        && m_backplate.publish(bus, QStringLiteral("/com/orvik/bkpd"))
        && bus.registerService(androidSupportName()) && bus.registerService(backplateName());
}

bool ServiceSimulator::publishSessionServices()
{
    QDBusConnection bus = QDBusConnection::sessionBus();
    return m_launcher.publish(bus, QStringLiteral("/LauncherModel"))
        && m_connectionDialog.publish(bus, QStringLiteral("/"))
        && m_settings.publish(bus, QStringLiteral("/com/orvik/settings/ui"))
        && bus.registerService(QStringLiteral("org.teskmobile.pavilion"))
        && bus.registerService(QStringLiteral("com.orvik.pavilion.ConnectionSelector"))
        && bus.registerService(QStringLiteral("com.orvik.settings")) && m_notifications.publish();
}

void ServiceSimulator::addFaultVerbs()
{
    m_control.handle(QStringLiteral("fault"),
                     [this](const QJsonObject &arguments) { return m_faults.set(arguments); });
    m_control.handle(QStringLiteral("hang"), [this](const QJsonObject &arguments) {
        QJsonObject fault = arguments;
        fault.insert(QStringLiteral("hang"), !arguments.contains(QLatin1String("ms")));
        return m_faults.set(fault);
    });
    m_control.handle(QStringLiteral("error"), [this](const QJsonObject &arguments) {
        QJsonObject fault = arguments;
        fault.insert(QStringLiteral("error"),
                     arguments[QLatin1String("name")].toString(
                         QStringLiteral("org.freedesktop.DBus.Error.Failed")));
        return m_faults.set(fault);
    });
}

void ServiceSimulator::addNetworkVerbs()
{
    m_control.handle(QStringLiteral("connman"), [this](const QJsonObject &arguments) {
        m_connman.setType(arguments[QLatin1String("type")].toString(m_connman.type()));
        m_connman.setState(arguments[QLatin1String("state")].toString(m_connman.state()));
        return QJsonObject{{QStringLiteral("state"), m_connman.state()},
                           {QStringLiteral("type"), m_connman.type()}};
    });
    m_control.handle(QStringLiteral("dialog"), [this](const QJsonObject &arguments) {
        m_dialogGoesOnline = arguments[QLatin1String("online")].toBool();
        m_dialogType = arguments[QLatin1String("type")].toString();
        return QJsonObject();
    });
}

void ServiceSimulator::addDeviceVerbs()
{
    m_control.handle(QStringLiteral("rdm"), [this](const QJsonObject &arguments) {
        m_release.configure(arguments);
        return QJsonObject();
    });
    m_control.handle(QStringLiteral("registration"), [this](const QJsonObject &arguments) {
        const QJsonValue domain = arguments[QLatin1String("domain")];
        if (domain.isString())
            m_release.configure({{QStringLiteral("release/domain"), domain}});
        m_release.announceRegistration();
        return QJsonObject();
    });
    m_control.handle(QStringLiteral("apkd"), [this](const QJsonObject &arguments) {
        m_removeFileResult = arguments[QLatin1String("result")].toBool(true);
        return QJsonObject();
    });
    m_control.handle(QStringLiteral("backplate"), [this](const QJsonObject &arguments) {
        m_backplateReady = arguments[QLatin1String("ready")].toInt();
        m_backplate.sendSignal(propertiesInterface(), QStringLiteral("PropertiesChanged"),
                               {backplateName(),
                                QVariantMap{{QStringLiteral("Ready"), m_backplateReady}},
                                QStringList()});
        return QJsonObject();
    });
    m_control.handle(QStringLiteral("show-updating"), [this](const QJsonObject &arguments) {
        m_launcher.sendSignal(launcherInterface(), QStringLiteral("showUpdatingProgress"),
                              {arguments[QLatin1String("package")].toString()});
        return QJsonObject();
    });
}

void ServiceSimulator::addNotificationVerbs()
{
    m_control.handle(QStringLiteral("notifications-list"), [this](const QJsonObject &) {
        return QJsonObject{{QStringLiteral("notifications"), m_notifications.notifications()}};
    });
    m_control.handle(QStringLiteral("notification-action"), [this](const QJsonObject &arguments) {
        const bool shown = m_notifications.invoke(
            uint(arguments[QLatin1String("id")].toInt()),
            arguments[QLatin1String("action")].toString(QStringLiteral("default")),
            arguments[QLatin1String("stays")].toBool());
        return shown ? QJsonObject() : notShown(arguments);
    });
    m_control.handle(QStringLiteral("notification-close"), [this](const QJsonObject &arguments) {
        const bool shown =
            m_notifications.close(uint(arguments[QLatin1String("id")].toInt()),
                                  uint(arguments[QLatin1String("reason")].toInt(dismissed)));
        return shown ? QJsonObject() : notShown(arguments);
    });
    m_control.handle(QStringLiteral("notifications-restart"), [this](const QJsonObject &) {
        return m_notifications.restart() ? QJsonObject()
                                         : problem(QStringLiteral("could not come back"));
    });
}

QJsonObject ServiceSimulator::reset()
{
    m_faults.clear();
    m_connman.setType(QStringLiteral("wifi"));
    m_connman.setState(online());
    m_release.reset();
    m_notifications.clear();
    m_removeFileResult = true;
    m_dialogGoesOnline = false;
    m_dialogType.clear();
    m_backplateReady = 1;
    m_control.Command(QStringLiteral("clear-log"), QString());
    return {};
}

bool ServiceSimulator::removeFile(const QString &desktopFile) const
{
    const QString launcherPrefix = QStringLiteral("apkd_launcher_");
    if (m_removeFileResult && QFileInfo(desktopFile).fileName().startsWith(launcherPrefix))
        QFile::remove(desktopFile);
    return m_removeFileResult;
}
