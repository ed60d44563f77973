#include "releaseservice.h"

#include <QDBusPendingCallWatcher>
#include <QFile>
#include <QJsonDocument>
#include <QJsonObject>
#include <QSettings>

namespace {

QString serviceName() // also of the interface
{
    return QStringLiteral("org.tesk.rdm");
}

QString configurationFile()
{
    return QStringLiteral("/etc/rdm/rdm.ini");
}

QByteArray contents(const QString &fileName)
{
    QFile file(fileName);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

} // namespace

ReleaseService::ReleaseService(SimulatorControl *control, MethodFaults *faults, QObject *parent)
    : QObject(parent)
    , m_object(new SimulatedObject(QStringLiteral("rdm"), control, faults, this))
    , m_original(contents(configurationFile()))
{
    describe();
}

bool ReleaseService::publish()
{
    QDBusConnection bus = QDBusConnection::systemBus();
    return m_object->publish(bus, QStringLiteral("/org/tesk/rdm"))
        && bus.registerService(serviceName());
}

void ReleaseService::configure(const QJsonObject &values)
{
    QSettings configuration(configurationFile(), QSettings::IniFormat);
    for (auto value = values.constBegin(); value != values.constEnd(); ++value) {
        const QVariant variant = value.value().toVariant();
        configuration.setValue(
            value.key(), value.value().isArray() ? QVariant(variant.toStringList()) : variant);
    }
}

void ReleaseService::announceRegistration()
{
    m_object->sendSignal(serviceName(), QStringLiteral("registrationStatusChanged"), {});
}

void ReleaseService::reset()
{
    if (contents(configurationFile()) == m_original)
        return;
    QFile file(configurationFile());
    if (file.open(QIODevice::WriteOnly))
        file.write(m_original);
}

void ReleaseService::describe()
{
    const QString text = QStringLiteral("s");
    m_object->addMethod({serviceName(),
                         QStringLiteral("modifyRepo"),
                         {QStringLiteral("i"), text},
                         {},
                         [this](const QVariantList &arguments, const SimulatedObject::Done &done) {
                             forward(QStringLiteral("rdm-modify-repo"),
                                     {{QStringLiteral("action"), arguments.at(0).toInt()},
                                      {QStringLiteral("name"), arguments.at(1).toString()}},
                                     done);
                         }});
    m_object->addMethod({serviceName(),
                         QStringLiteral("updateRepos"),
                         {},
                         {},
                         [this](const QVariantList &, const SimulatedObject::Done &done) {
                             forward(QStringLiteral("rdm-update-repos"), {}, done);
                         }});
    m_object->addMethod(
        {serviceName(),
         QStringLiteral("setRelease"),
         {text, QStringLiteral("b")},
         {},
         [this](const QVariantList &arguments, const SimulatedObject::Done &done) {
             const QString release = arguments.at(0).toString();
             configure({{arguments.at(1).toBool() ? QStringLiteral("release/rnd")
                                                  : QStringLiteral("release/current"),
                         release}});
             forward(QStringLiteral("rdm-release"), {{QStringLiteral("release"), release}}, done);
         }});
    m_object->addSignal({serviceName(), QStringLiteral("registrationStatusChanged"), {}});
}

void ReleaseService::forward(const QString &verb, const QJsonObject &arguments,
                             const SimulatedObject::Done &done)
{
    QDBusMessage call = QDBusMessage::createMethodCall(
        QStringLiteral("org.kiosk.Simulator.PackageKit"), QStringLiteral("/org/kiosk/Simulator"),
        QStringLiteral("org.kiosk.Simulator1"), QStringLiteral("Command"));
    call.setAutoStartService(false);
    call << verb << QString::fromUtf8(QJsonDocument(arguments).toJson(QJsonDocument::Compact));
    auto *watcher = new QDBusPendingCallWatcher(QDBusConnection::systemBus().asyncCall(call), this);
    connect(watcher, &QDBusPendingCallWatcher::finished, this, [watcher, done] {
        watcher->deleteLater();
        done({});
    });
}
