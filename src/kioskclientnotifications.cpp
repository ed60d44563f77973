#include "contentmodel.h"
#include "dbusnames.h"
#include "kioskclient.h"
#include "notification.h"
#include "orvikstore.h"

namespace {

void setRemoteCall(Notification &notification, QLatin1String service, QLatin1String path,
                   QLatin1String interface, QLatin1String method)
{
    notification.setRemoteDBusCallServiceName(service);
    notification.setRemoteDBusCallObjectPath(path);
    notification.setRemoteDBusCallInterface(interface);
    notification.setRemoteDBusCallMethodName(method);
}

void openUpdates(Notification &notification)
{
    setRemoteCall(notification, DBusNames::Service, DBusNames::Path, DBusNames::Interface,
                  QLatin1String("update"));
}

void openApplication(Notification &notification, const QString &packageName)
{
    setRemoteCall(notification, DBusNames::Service, DBusNames::Path, DBusNames::Interface,
                  QLatin1String("showApp"));
    notification.setRemoteDBusCallArguments({packageName});
}

void openOsPage(Notification &notification)
{
    setRemoteCall(notification, DBusNames::SettingsService, DBusNames::SettingsPath,
                  DBusNames::SettingsInterface, DBusNames::ShowOsPage);
}

// A translated text need not have a place for the value.
QString withValue(const QString &text, const QString &value)
{
    return QString(text).replace(QLatin1String("%1"), value);
}

QList<QSharedPointer<Notification>> publishedNotifications(QLatin1String category)
{
    QList<QSharedPointer<Notification>> published;
    const auto all = Notification::notifications();
    for (const auto &notification : all) {
        if (notification->category() == category)
            published.append(notification);
    }
    return published;
}

} // namespace

QString KioskClient::displayName(const QString &packageName) const
{
    const auto app = m_store->application(m_store->cachedApplicationUuid(packageName));
    return app->valid ? app->title : packageName;
}

void KioskClient::slotUpdateCountChanged()
{
    const QStringList packages = m_installedModel->updatablePackages();
    QStringList names;
    for (const QString &package : packages)
        names.append(displayName(package));
    showUpdatesNotification(packages.size(), names);
}

void KioskClient::showUpdatesNotification(int count, const QStringList &names)
{
    Notification notification;
    const auto published = publishedNotifications(NotificationCategory::SoftwareUpdate);
    for (const auto &earlier : published) {
        if (count == 0)
            earlier->close();
        else if (earlier->itemCount() != count)
            notification.setReplacesId(earlier->replacesId());
        else
            count = -1; // it says so already
    }
    if (count <= 0)
        return;
    notification.setCategory(NotificationCategory::SoftwareUpdate);
    openUpdates(notification);
    notification.setSummary(qtTrId("orvik-store-no-updates_available_include_n", count));
    notification.setBody(names.join(QLatin1String(", ")));
    notification.setItemCount(count);
    notification.publish();
}

void KioskClient::showSystemUpdateNotification(const QString &version)
{
    Notification notification;
    const QString body = withValue(qtTrId("orvik-store-no-system_update_version"), version);
    bool publish = !version.isEmpty();
    const auto published = publishedNotifications(NotificationCategory::SystemUpdate);
    for (const auto &earlier : published) {
        if (!publish)
            earlier->close();
        else if (earlier->body() == body)
            publish = false; // it stands already, and one is enough
        else
            notification.setReplacesId(earlier->replacesId());
    }
    if (!publish)
        return;
    const QString summary = qtTrId("orvik-store-no-system_update_available");
    notification.setCategory(NotificationCategory::SystemUpdate);
    openOsPage(notification);
    notification.setSummary(summary);
    notification.setPreviewSummary(summary);
    notification.setBody(body);
    notification.setPreviewBody(body);
    notification.setAppName(qtTrId("orvik-store-no-system_update_category"));
    notification.publish();
}

void KioskClient::showUpgradeDownloadedNotification()
{
    Notification notification;
    notification.setCategory(NotificationCategory::SystemUpdateDownloaded);
    notification.setPreviewSummary(qtTrId("orvik-store-no-system_update_downloaded"));
    notification.publish();
}

void KioskClient::slotInstallFailed(QString packageName)
{
    Notification notification;
    notification.setCategory(NotificationCategory::InstallFailed);
    openApplication(notification, packageName);
    notification.setSummary(qtTrId("orvik-store-no-install_failed"));
    notification.setBody(displayName(packageName));
    notification.publish();
}

void KioskClient::slotSideLoadingFinished(QString packageName, bool success)
{
    Notification notification;
    notification.setCategory(success ? NotificationCategory::SideLoadingSuccess
                                     : NotificationCategory::SideLoadingFailed);
    notification.setPreviewSummary(success ? qtTrId("orvik-store-no-sideloading_success")
                                           : qtTrId("orvik-store-no-sideloading_failed"));
    notification.setPreviewBody(displayName(packageName));
    notification.publish();
}

void KioskClient::showErrorNotification(const QString &details)
{
    Notification notification;
    notification.setCategory(NotificationCategory::Error);
    notification.setPreviewSummary(qtTrId("orvik-store-no-error"));
    notification.setPreviewBody(details);
    notification.publish();
}

void KioskClient::slotHandleError(QString details)
{
    showErrorNotification(details);
}

void KioskClient::slotHandlePackageError(QString details, QString packageName)
{
    QString name = packageName;
    const QString uuid = m_store->cachedApplicationUuid(packageName);
    if (!uuid.isEmpty()) {
        const QString title = m_store->application(uuid)->title;
        if (!title.isEmpty())
            name = title;
    }
    showErrorNotification(withValue(details, name));
}

void KioskClient::slotBackplateInstallationFailed(QString reason)
{
    Notification notification;
    notification.setCategory(NotificationCategory::Error);
    notification.setPreviewSummary(qtTrId("orvik-store-no-bkp_install_failed"));
    notification.setPreviewBody(reason);
    notification.publish();
}
