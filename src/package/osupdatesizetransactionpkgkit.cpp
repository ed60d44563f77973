#include "osupdatesizetransactionpkgkit.h"

#include "osupdatepackages.h"
#include "pkgkitvalues.h"
#include "steppkgkit.h"

#include <QDebug>
#include <QMap>

#include <optional>

namespace Package {

using Pk = PackageKit::Transaction;

namespace {

constexpr qint64 megabyte = 1048576; // bytes

const QLatin1String downloadKey("DOWNLOAD");
const QLatin1String installKey("INSTALL");
const QLatin1String removeKey("REMOVE");
const QLatin1String cachedKey("CACHED");

using Sizes = QMap<QString, qint64>;

/** Reads "KEY=<bytes>;KEY=<bytes>…"; nothing unless all is well formed and complete. */
std::optional<Sizes> parseSizes(const QString &text)
{
    Sizes sizes;
    const QStringList parts = text.split(QLatin1Char(';'));
    for (const QString &part : parts) {
        const QStringList pieces = part.split(QLatin1Char('='));
        if (pieces.size() != 2)
            return std::nullopt;
        bool ok = false;
        const qint64 size = pieces.last().toLongLong(&ok, 10);
        if (!ok)
            return std::nullopt;
        sizes.insert(pieces.first(), size);
    }
    for (const QLatin1String &key : {downloadKey, installKey, removeKey, cachedKey}) {
        if (!sizes.contains(key))
            return std::nullopt;
    }
    return sizes;
}

} // namespace

OsUpdateSizeTransactionPkgKit::OsUpdateSizeTransactionPkgKit(Manager::UpgradeInformation::Ptr info)
    : m_info(std::move(info))
{ }

void OsUpdateSizeTransactionPkgKit::start()
{
    auto *step = new StepPkgKit(this);
    connect(step, &StepPkgKit::finished, this,
            &OsUpdateSizeTransactionPkgKit::slotTransactionFinished);
    connect(step, &StepPkgKit::errorCode, this,
            &OsUpdateSizeTransactionPkgKit::slotTransactionError);
    step->upgradeSystem(OsUpdate::sizeQuery(), Pk::UpgradeKindComplete);
}

void OsUpdateSizeTransactionPkgKit::slotTransactionFinished(Pk::Exit status, uint runtime)
{
    Q_UNUSED(status)
    Q_UNUSED(runtime)
    if (m_sizeReceived == 1)
        succeed();
    else
        fail(m_errorDetails);
}

void OsUpdateSizeTransactionPkgKit::slotTransactionError(Pk::Error error, QString details)
{
    if (error != Pk::ErrorNoDistroUpgradeData) {
        m_errorDetails = details;
        return;
    }
    const std::optional<Sizes> sizes = parseSizes(details);
    if (!sizes) {
        qDebug() << "invalid OS update size information:" << details;
        m_errorDetails = details;
        return;
    }
    m_info->downloadSize = sizes->value(downloadKey);
    m_info->installSize = sizes->value(installKey);
    m_info->removeSize = sizes->value(removeKey);
    qDebug() << "OS update size:" << m_info->downloadSize / megabyte << "megabytes to download,"
             << m_info->installSize / megabyte << "megabytes to install,"
             << m_info->removeSize / megabyte << "megabytes to remove";
    m_sizeReceived = 1;
}

} // namespace Package
