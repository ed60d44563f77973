#include "scenefile.h"

#include <QFile>

namespace {

const QString mainScene = QStringLiteral(R"(import QtQuick 2.15
import org.tarnwell.orvikstore 1.0
Item {
    id: root
    signal dismissUi()
    signal systemDialogCreated()
    signal systemDialogDestroyed()
    signal backplateInstallationFailed(string reason)
    signal uiOpened()
    signal uiClosed()
    signal showApp(string packageName)
    signal showAppsStartingWith(string startsWith, string title)
    signal install(string packageName)
    signal backplateConnected(string id)
    signal backplateDisconnected()
    signal enterStore()
    signal update()
    onUiOpened: console.log("scene uiOpened")
    onUiClosed: console.log("scene uiClosed")
    onShowApp: console.log("scene showApp", packageName)
    onShowAppsStartingWith: console.log("scene showAppsStartingWith", startsWith, title)
    onInstall: console.log("scene install", packageName)
    onBackplateConnected: console.log("scene backplateConnected", id)
    onBackplateDisconnected: console.log("scene backplateDisconnected")
    onEnterStore: console.log("scene enterStore")
    onUpdate: console.log("scene update")
    Component.onDestruction: console.log("scene gone with", orvikStore, packageHandler)
    %1
}
)");

const QString upgradeScene = QStringLiteral(R"(import QtQuick 2.15
Item {
    id: root
    signal startUpgrade()
    signal releasePackageHandler()
    signal upgradeInstalled()
    Component.onCompleted: console.log("scene upgrade", typeof packageHandler, typeof orvikStore)
    %1
}
)");

} // namespace

bool SceneFile::writeMain(const QString &body)
{
    return write(QStringLiteral("main.qml"), mainScene.arg(body));
}

bool SceneFile::writeUpgrade(const QString &body)
{
    return write(QStringLiteral("upgrade.qml"), upgradeScene.arg(body));
}

bool SceneFile::write(const QString &name, const QString &text)
{
    // Outside of a phone this folder belongs to the machine.
    if (!qEnvironmentVariableIsSet("KIOSK_INSIDE_PHONE"))
        return false;
    QFile file(QStringLiteral("/usr/share/kiosk-client/") + name);
    return file.open(QIODevice::WriteOnly | QIODevice::Truncate)
        && file.write(text.toUtf8()) == text.toUtf8().size();
}
