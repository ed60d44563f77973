#include "clientresults.h"

#include "measure.h"
#include "phone.h"

#include <QDBusConnection>

namespace Bench {

namespace {

const QString package = QStringLiteral("harbourlights");

int counted(const QString &name, bool success)
{
    if (name != package || !success)
        giveUp(QStringLiteral("an install or removal failed: ") + name);
    return 1;
}

} // namespace

ClientResults::ClientResults()
{
    const auto listen = [this](const char *signal, const char *slot) {
        QDBusConnection::sessionBus().connect(clientService, QStringLiteral("/KioskClient"),
                                              clientService, QLatin1String(signal), this, slot);
    };
    listen("installPackageResult", SLOT(slotInstalled(QString, bool)));
    listen("removePackageResult", SLOT(slotRemoved(QString, bool)));
    listen("checkInstalledResult", SLOT(slotChecked(QString, bool)));
}

double ClientResults::secondsToInstall()
{
    return secondsTo(&m_installed, QStringLiteral("installPackage"), {package});
}

double ClientResults::secondsToRemove()
{
    return secondsTo(&m_removed, QStringLiteral("removePackage"), {package, false});
}

void ClientResults::waitForList()
{
    (void)secondsTo(&m_checked, QStringLiteral("checkInstalled"), {package});
}

void ClientResults::slotInstalled(const QString &name, bool success)
{
    m_installed += counted(name, success);
}

void ClientResults::slotRemoved(const QString &name, bool success)
{
    m_removed += counted(name, success);
}

void ClientResults::slotChecked(const QString &, bool)
{
    ++m_checked;
}

double ClientResults::secondsTo(const int *count, const QString &method,
                                const QVariantList &arguments)
{
    const int before = *count;
    return secondsOf([&] {
        (void)QDBusConnection::sessionBus().call(clientCall(clientService, method, arguments),
                                                 QDBus::NoBlock);
        waitUntil("an answer of the client", [&] { return *count > before; });
    });
}

} // namespace Bench
