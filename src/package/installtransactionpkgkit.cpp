#include "installtransactionpkgkit.h"

#include "pkgkitvalues.h"
#include "steppkgkit.h"

#include <QDebug>
#include <QFile>

namespace Package {

using Pk = PackageKit::Transaction;

namespace {

constexpr int maximumRefreshLevel = 3;
constexpr int maximumRetries = 3;

constexpr int downloadStart = 1; // percent
constexpr int downloadShare = 48; // percent
constexpr int installStart = 50; // percent
constexpr int installShare = 50; // percent

const QLatin1String storeRepository("store");
const QLatin1String refreshHint("refresh-now");

} // namespace

InstallTransactionPkgKit::InstallTransactionPkgKit(const QString &package,
                                                   Manager::PackageInformation::Ptr info)
    : m_package(package)
    , m_retryTimer(this)
    , m_info(std::move(info))
{
    *m_info = {};
    m_retryTimer.setSingleShot(true);
    m_retryTimer.setInterval(DefaultRetryDelay);
    connect(&m_retryTimer, &QTimer::timeout, this, &InstallTransactionPkgKit::slotRetrySameAction);
}

InstallTransactionPkgKit::~InstallTransactionPkgKit()
{
    qDebug() << "deleting InstallTransactionPkgKit";
}

void InstallTransactionPkgKit::setRetryDelay(std::chrono::milliseconds delay)
{
    m_retryTimer.setInterval(delay);
}

void InstallTransactionPkgKit::start()
{
    if (m_package.endsWith(QLatin1String(".rpm")) && QFile::exists(m_package)) {
        m_isFile = true;
        installFile(m_package);
    } else {
        resolveInstalled(m_package);
    }
}

void InstallTransactionPkgKit::slotTransactionFinished(Pk::Exit status, uint runtime)
{
    Q_UNUSED(runtime)
    if (status == Pk::ExitSuccess) {
        stepSucceeded();
        return;
    }
    if (m_failed)
        return;
    qDebug() << "transaction failure" << m_transaction->internalErrorMessage();
    giveUpOrRetry(QStringLiteral("unknown failure with exit status %1").arg(status));
}

void InstallTransactionPkgKit::slotTransactionError(Pk::Error error, QString details)
{
    qDebug() << error << details;
    giveUpOrRetry(details);
}

void InstallTransactionPkgKit::slotResolvedInstalled(Pk::Info info, QString pkgId, QString summary)
{
    Q_UNUSED(info)
    Q_UNUSED(summary)
    if (m_installedVersion.isEmpty())
        m_installedVersion = Pk::packageVersion(pkgId);
    else
        qDebug() << "Weird I resolved several packages, even though I tried to filter.";
}

void InstallTransactionPkgKit::slotResolved(Pk::Info info, QString pkgId, QString summary)
{
    Q_UNUSED(info)
    if (!m_packageId.isEmpty()) {
        qDebug() << "Weird, I resolved several packages, even though I tried to filter.";
        return;
    }
    m_packageId = pkgId;
    m_availableVersion = Pk::packageVersion(pkgId);
    m_info->name = Pk::packageName(pkgId);
    m_info->version = m_availableVersion;
    m_info->summary = summary;
}

void InstallTransactionPkgKit::slotResolvedDependency(Pk::Info info, QString pkgId, QString summary)
{
    Q_UNUSED(summary)
    if (info == Pk::InfoInstalled)
        return;
    // The package itself is the list's first entry already.
    if (Pk::packageName(pkgId) == Pk::packageName(m_packageId))
        return;
    m_dependencies.append(pkgId);
}

void InstallTransactionPkgKit::slotInstallProgress()
{
    if (!m_transaction)
        return;
    const uint percentage = m_transaction->percentage();
    if (percentage == PkgKit::PercentageUnknown) {
        Q_EMIT progress(m_lastProgress);
        return;
    }
    int value = -1;
    if (m_state == StateDownloading)
        value = static_cast<int>(percentage * downloadShare / 100.0) + downloadStart;
    else if (m_state == StateInstalling)
        value = static_cast<int>(percentage * installShare / 100.0) + installStart;
    if (value > m_lastProgress) {
        m_lastProgress = value;
        Q_EMIT progress(value);
    }
}

void InstallTransactionPkgKit::slotRetrySameAction()
{
    switch (m_state) {
    case StateIdle:
        break;
    case StateRefreshing:
        refresh();
        break;
    case StateResolving:
        resolve(m_package);
        break;
    case StateResolvingInstalled:
        resolveInstalled(m_package);
        break;
    case StateResolvingDependencies:
        resolveDependencies(m_packageId);
        break;
    case StateDownloading:
        download(m_dependencies);
        break;
    case StateInstalling:
        if (m_isUpdate)
            update(m_packageId);
        else
            install(m_packageId);
        break;
    }
}

void InstallTransactionPkgKit::refresh()
{
    beginStep(StateRefreshing);
    switch (m_refreshLevel) {
    case 1:
        qDebug() << "refreshing store repository";
        m_transaction->repoSetData(storeRepository, refreshHint, QStringLiteral("false"));
        break;
    case 2:
        qDebug() << "force-refreshing store repository";
        m_transaction->repoSetData(storeRepository, refreshHint, QStringLiteral("true"));
        break;
    case 3:
        qDebug() << "refreshing all repositories";
        m_transaction->refreshCache(true);
        break;
    default:
        qWarning() << "Don't know how to refresh for refresh level" << m_refreshLevel;
        break;
    }
}

void InstallTransactionPkgKit::resolveInstalled(const QString &package)
{
    beginStep(StateResolvingInstalled);
    connect(m_transaction, &StepPkgKit::package, this,
            &InstallTransactionPkgKit::slotResolvedInstalled);
    m_installedVersion.clear();
    m_transaction->resolve(package, PkgKit::filterNewestInstalled());
}

void InstallTransactionPkgKit::resolve(const QString &package)
{
    beginStep(StateResolving);
    connect(m_transaction, &StepPkgKit::package, this, &InstallTransactionPkgKit::slotResolved);
    m_packageId.clear();
    m_transaction->resolve(package, PkgKit::filterNewest());
}

void InstallTransactionPkgKit::resolveDependencies(const QString &packageId)
{
    beginStep(StateResolvingDependencies);
    connect(m_transaction, &StepPkgKit::package, this,
            &InstallTransactionPkgKit::slotResolvedDependency);
    m_dependencies = QStringList{packageId};
    m_transaction->getDepends(packageId, PkgKit::filterNewest(), true);
}

void InstallTransactionPkgKit::download(const QStringList &packageIds)
{
    beginStep(StateDownloading);
    m_transaction->installPackages(packageIds, PkgKit::flagsDownload());
}

void InstallTransactionPkgKit::install(const QString &packageId)
{
    beginStep(StateInstalling);
    m_transaction->installPackage(packageId, PkgKit::FlagTrusted);
}

void InstallTransactionPkgKit::installFile(const QString &file)
{
    beginStep(StateInstalling);
    m_transaction->installFile(file, PkgKit::FlagTrusted);
}

void InstallTransactionPkgKit::update(const QString &packageId)
{
    beginStep(StateInstalling);
    m_transaction->updatePackage(packageId, PkgKit::FlagTrusted);
}

void InstallTransactionPkgKit::stepSucceeded()
{
    switch (m_state) {
    case StateIdle:
        break;
    case StateRefreshing:
        resolveInstalled(m_package);
        break;
    case StateResolvingInstalled:
        resolve(m_package);
        break;
    case StateResolving:
        if (m_packageId.isEmpty()) {
            giveUpOrRetry(QLatin1String("could not find package ") + m_package);
        } else if (m_installedVersion.isEmpty()) {
            resolveDependencies(m_packageId);
        } else if (m_installedVersion != m_availableVersion) {
            m_isUpdate = true;
            resolveDependencies(m_packageId);
        } else {
            giveUpOrRetry(QLatin1String("package already installed ") + m_package);
        }
        break;
    case StateResolvingDependencies:
        if (!m_dependencies.isEmpty()) {
            download(m_dependencies);
            break;
        }
        [[fallthrough]];
    case StateDownloading:
        if (m_isUpdate)
            update(m_packageId);
        else
            install(m_packageId);
        break;
    case StateInstalling:
        m_transaction = nullptr;
        succeed();
        break;
    }
}

void InstallTransactionPkgKit::giveUpOrRetry(const QString &details)
{
    qDebug() << details;
    delete m_transaction;
    m_transaction = nullptr;
    if (!m_isFile) {
        if (m_refreshLevel < maximumRefreshLevel) {
            ++m_refreshLevel;
            qDebug() << "refresh and retry";
            m_packageId.clear();
            m_availableVersion.clear();
            m_installedVersion.clear();
            refresh();
            return;
        }
        if (m_retryCount < maximumRetries) {
            ++m_retryCount;
            qDebug() << "retry" << m_retryCount << "/" << maximumRetries << "in"
                     << m_retryTimer.interval() << "ms";
            m_retryTimer.start();
            return;
        }
        qDebug() << "giving up";
    }
    m_failed = true;
    fail(details);
}

void InstallTransactionPkgKit::beginStep(State state)
{
    m_transaction = new StepPkgKit(this);
    connect(m_transaction, &StepPkgKit::finished, this,
            &InstallTransactionPkgKit::slotTransactionFinished);
    connect(m_transaction, &StepPkgKit::errorCode, this,
            &InstallTransactionPkgKit::slotTransactionError);
    if (state == StateDownloading || state == StateInstalling) {
        connect(m_transaction, &StepPkgKit::changed, this,
                &InstallTransactionPkgKit::slotInstallProgress);
    }
    m_state = state;
}

} // namespace Package
