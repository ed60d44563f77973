#pragma once

#include "startupappdata.h"

#include <QDateTime>
#include <QDBusAbstractAdaptor>
#include <QDBusMessage>
#include <QList>
#include <QString>
#include <QStringList>

class DBusConnector;

/**
 * The program's D-Bus interface. Each method checks the caller's rights where it must and
 * hands on to the DBusConnector, which is the registered object and knows the caller.
 *
 * The order of declaration is the order in which the bus shows methods and signals, and
 * thus part of the interface. Answers come as signals; callers need not wait for a reply.
 */
class Service final : public QDBusAbstractAdaptor
{
    Q_OBJECT
    Q_CLASSINFO("D-Bus Interface", "com.orvik.orvikstore")

public:
    /** @param connector does the work; also the parent, which is what is put on the bus. */
    explicit Service(DBusConnector *connector);

public Q_SLOTS:
    /** Side-loads a package file. Privileged callers only. @param packageName the file's path */
    Q_NOREPLY
    void install(const QString &packageName);
    Q_NOREPLY
    void show();
    Q_NOREPLY
    void showApp(const QString &packageName);
    Q_NOREPLY
    void showAppsStartingWith(const QString &startsWith, const QString &title);
    /** A back cover was put on. Privileged callers only. */
    Q_NOREPLY
    void backplateConnected(const QString &id);
    /** An older name of update(). */
    Q_NOREPLY
    void myApps();
    /** Shows the applications with updates. */
    Q_NOREPLY
    void update();
    /** Looks for an OS update and shows its page. Privileged callers only. */
    Q_NOREPLY
    void upgrade();
    /** Picks an OS version to update to. Privileged callers only. */
    Q_NOREPLY
    void osUpdateSet(const QString &version);
    /** Privileged callers only. @param forced also where the settings speak against it. */
    Q_NOREPLY
    void checkForOsUpdate(bool refreshCache, bool forced);
    /** Privileged callers only. */
    Q_NOREPLY
    void downloadOsUpdate(const QString &version);
    /** Privileged callers only. */
    Q_NOREPLY
    void getOsUpdateSize(const QString &version);
    /**
     * Takes the update's notifications down; this run announces no new offer by itself.
     * Privileged callers only.
     */
    Q_NOREPLY
    void clearOsUpdateCheckCache();
    /** Installs what an account type needs. Privileged callers only. */
    Q_NOREPLY
    void installAccountType(const QString &accountType);
    /** The answer is checkInstalledResult(). */
    Q_NOREPLY
    void checkInstalled(const QString &packageName);
    /** The answer is installPackageResult(). Privileged callers only. */
    Q_NOREPLY
    void installPackage(const QString &packageName);
    /** The answer is removePackageResult(). Privileged callers only. */
    Q_NOREPLY
    void removePackage(const QString &packageName, bool autoRemove);
    /** Privileged callers only. */
    Q_NOREPLY
    void removePackageByDesktopFile(const QString &desktopFile);
    /** The answer is packageNameResult(). Privileged callers only. */
    void packageName(const QString &filePath);
    /** The answer is startupApplicationsResult(). Privileged callers only. */
    Q_NOREPLY
    void startupApplications(const QStringList &providerList);
    /**
     * Replies, once signed in, with two texts: the account's user name and the access token.
     * Privileged callers only. @param message the call itself, which has no arguments.
     */
    Q_NOREPLY
    void storeCredentials(const QDBusMessage &message);
    /** The answer is packageInfoResult(). Privileged callers only. */
    Q_NOREPLY
    void packageInfo(const QString &packageName);

Q_SIGNALS:
    void installingAmbience(const QString &filePath, const QString &displayName,
                            const QString &coverImage);
    void installedAmbience(const QString &packagePath, const QString &bkpId);
    void cancelledAmbience(const QString &filePath);
    void checkInstalledResult(const QString &packageName, bool isInstalled);
    void installPackageResult(const QString &packageName, bool success);
    void removePackageResult(const QString &packageName, bool success);
    void packageError(const QString &details);
    void packageNameResult(const QString &packageName);
    void startupApplicationsResult(const QList<StartupAppData> &startupApplications);
    void packageProgressChanged(const QString &packageName, int value);
    void packageStatusChanged(const QString &packageName, int status);
    void packageInfoResult(const QString &packageName, const QString &title, const QString &icon);
    /** @param status an OsUpdateAnnouncement. */
    void osUpdateStatusChanged(int status);
    void osUpdateProgressChanged(int progress);
    void osUpdateInfo(const QString &version, const QString &codeName, const QString &summary,
                      const QString &cover, const QString &website, const QDateTime &lastChecked,
                      qlonglong downloadSize, qlonglong installSize, qlonglong removeSize);
    void osUpdateCheckCacheCleared();

private:
    DBusConnector *m_connector;
};
