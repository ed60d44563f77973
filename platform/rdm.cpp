#include "rdm.h"

#include <QDebug>
#include <QSettings>

namespace {

// Callers may ask before main() runs, so nothing here needs an initializer of its own.
constexpr char configurationFile[] = "/etc/rdm/rdm.ini";

constexpr char domainKey[] = "release/domain";
constexpr char modeKey[] = "release/mode";
constexpr char modelKey[] = "device/model";
constexpr char uidKey[] = "device/uid";
constexpr char requiredKey[] = "repositories/required";
constexpr char requiredInModeTwoKey[] = "repositories/requiredInModeTwo";

constexpr int requiredRepositories = 2; // filter of RdmRepoManager::repos()

QVariant configured(const char *key)
{
    const QSettings configuration(QLatin1String(configurationFile), QSettings::IniFormat);
    return configuration.value(QLatin1String(key));
}

QString releaseKey(bool rnd)
{
    return rnd ? QStringLiteral("release/rnd") : QStringLiteral("release/current");
}

} // namespace

Rdm::Rdm() = default;

QString Rdm::domain() const
{
    return configured(domainKey).toString();
}

int Rdm::deviceMode() const
{
    return configured(modeKey).toInt();
}

QString Rdm::release(bool rnd) const
{
    const QSettings configuration(QLatin1String(configurationFile), QSettings::IniFormat);
    return configuration.value(releaseKey(rnd)).toString();
}

void Rdm::setRelease(const QString &release, bool rnd)
{
    QSettings configuration(QLatin1String(configurationFile), QSettings::IniFormat);
    if (!configuration.isWritable()) {
        // Usual for a session's process: the release manager's service writes it instead.
        qDebug() << "The release is not ours to write";
        return;
    }
    configuration.setValue(releaseKey(rnd), release);
    configuration.sync();
    if (configuration.status() != QSettings::NoError)
        qWarning() << "Could not write" << configurationFile;
}

QStringList RdmRepoManager::repos(bool modeTwo, int filter)
{
    if (filter != requiredRepositories)
        return {};
    QStringList names = configured(modeTwo ? requiredInModeTwoKey : requiredKey).toStringList();
    names.removeAll(QString()); // as which the settings give an empty list
    return names;
}

QString RdmDeviceInfo::deviceModel()
{
    return configured(modelKey).toString();
}

QString RdmDeviceInfo::deviceUid()
{
    return configured(uidKey).toString();
}
