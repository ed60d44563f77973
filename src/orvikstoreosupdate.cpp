// What the facade does about OS updates: releases are published as hidden applications
// with fixed package names, one whose version is the newest OS version, and one for each
// version's details.

#include "orvikstore.h"

#include "rdm.h"
#include "store/requestproxy.h"

#include <QDateTime>
#include <QDebug>

namespace {

// The place in the scene that shows the cover, in pixels.
constexpr int coverWidth = 540;
constexpr int coverHeight = 270;

ItemFilter::Expression::ConstPtr hiddenPackage(const QString &package)
{
    return ItemFilter::Expression::ConstPtr(new ItemFilter::Scope(
        ItemFilter::ScopeKindApplications,
        new ItemFilter::And(new ItemFilter::MatchPackage({package}), new ItemFilter::Hidden)));
}

} // namespace

const QString OrvikStore::s_deviceModel = RdmDeviceInfo::deviceModel().toLower();
const QString OrvikStore::s_versionCheckPackage =
    QLatin1String("branwick-version-checkv2-") + s_deviceModel;
const QString OrvikStore::s_versionInfoPrefix =
    QLatin1String("branwick-version-osinfo-") + s_deviceModel;

void OrvikStore::checkForOsUpdate()
{
    if (m_osUpdateStatus == OsUpdateChecking)
        return;
    Store::RequestProxy *proxy = requestApplications(hiddenPackage(s_versionCheckPackage));
    if (proxy) {
        connect(proxy, &Store::RequestProxy::applicationReceived, this,
                &OrvikStore::slotOsUpdateVersionReceived);
        connect(proxy, &Store::RequestProxy::finished, this,
                &OrvikStore::slotOsUpdateVersionFinished);
        // Nobody will ask for a second page, for which the request would wait for good.
        connect(proxy, &Store::RequestProxy::pageReceived, proxy, &Store::RequestProxy::cancel);
    }
    m_osUpdateStatus = OsUpdateChecking;
    Q_EMIT osUpdateStatusChanged();
}

void OrvikStore::slotOsUpdateVersionReceived(const Store::Application::ConstPtr &app, bool)
{
    if (!app->valid)
        return;
    qDebug() << Q_FUNC_INFO << app->version << osVersion();
    // Any other version is a new one, an older one too: the store may take a release back.
    if (app->version == osVersion())
        return;
    qDebug() << "-- new OS version found!";
    selectOsUpdate(app->version);
}

void OrvikStore::slotOsUpdateVersionFinished()
{
    if (m_osUpdateStatus != OsUpdateChecking)
        return;
    m_osUpdateStatus = OsUpToDate;
    Q_EMIT osUpdateStatusChanged();
    Q_EMIT osUpdateInfo(emptyOsInfo());
}

void OrvikStore::selectOsUpdate(const QString &newOsVersion)
{
    qDebug() << Q_FUNC_INFO << newOsVersion;
    Store::RequestProxy *proxy = requestApplications(
        hiddenPackage(QStringLiteral("%1-%2").arg(s_versionInfoPrefix, newOsVersion)));
    if (!proxy)
        return;
    connect(proxy, &Store::RequestProxy::applicationReceived, this,
            &OrvikStore::slotOsUpdateInfoReceived);
    connect(proxy, &Store::RequestProxy::finished, this, &OrvikStore::slotOsUpdateInfoFinished);
    connect(proxy, &Store::RequestProxy::pageReceived, proxy, &Store::RequestProxy::cancel);
}

void OrvikStore::slotOsUpdateInfoReceived(const Store::Application::ConstPtr &app, bool)
{
    if (!app->valid)
        return;
    OsInfo info = emptyOsInfo();
    info.version = normalizeOsVersion(app->version);
    info.codeName = app->title;
    info.summary = app->summary;
    info.cover = scaledImageUrl(app->cover, coverWidth, coverHeight);
    info.website = app->website;
    info.downloadSize = -1;
    Q_EMIT osUpdateInfo(info);
    if (m_osUpdateStatus == OsUpdateAvailable)
        return;
    m_osUpdateStatus = OsUpdateAvailable;
    Q_EMIT osUpdateStatusChanged();
}

void OrvikStore::slotOsUpdateInfoFinished()
{
    if (m_osUpdateStatus != OsUpdateChecking)
        return;
    // The details of a version that exists never came. The status stays, and with it no
    // further check of this process asks for them again.
    Q_EMIT osUpdateStatusChanged();
    Q_EMIT osUpdateInfo(emptyOsInfo());
    Q_EMIT error(qtTrId("orvik-store-no-error_os_update_info_failed"));
}

OsInfo OrvikStore::emptyOsInfo()
{
    OsInfo info;
    info.lastChecked = QDateTime::currentDateTime();
    return info;
}
