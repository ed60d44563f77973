#include "startupapphelper.h"

#include "itemfilter.h"
#include "orvikstore.h"
#include "packagehandler.h"
#include "store/requestproxy.h"
#include "theme.h"

namespace {

// The market place that is offered as selected.
const QLatin1String preselectedMarketPlace("quayside-apk-com.aptoide.partners");

ItemFilter::Expression::ConstPtr wholeCategory(const QString &category)
{
    using namespace ItemFilter;
    return Expression::ConstPtr(
        new Scope(ScopeKindApplications, new Limit(0, new Category(category))));
}

} // namespace

StartupAppHelper::StartupAppHelper(const QSharedPointer<PackageHandler> &packageHandler,
                                   const QSharedPointer<OrvikStore> &store)
    : m_packageHandler(packageHandler)
    , m_store(store)
{ }

void StartupAppHelper::fetchStartupApplications(const QStringList &providerList)
{
    m_categories << m_store->storeCategory() << m_store->marketPlacesCategory();
    m_providerList = providerList;
    if (m_store->connectionState() == OrvikStore::Ready) {
        requestNextCategory();
        return;
    }
    connect(m_store.data(), &OrvikStore::connectionStateChanged, this,
            &StartupAppHelper::slotConnectionStateChanged);
    m_store->tryConnect();
}

void StartupAppHelper::slotApplicationReceived(Store::Application::ConstPtr app, bool hasMore)
{
    if (app->valid && m_packageHandler->packageStatus(app->packageName) == StatusNone)
        appendApplication(*app);
    // A record without successor marks the end of a list; a list that goes on after its end
    // mark isn't ours any more.
    if (hasMore || m_categories.isEmpty())
        return;
    m_categories.removeFirst();
    if (!m_categories.isEmpty()) {
        requestNextCategory();
        return;
    }
    markRequiredApplications();
    Q_EMIT startupApplicationsReceived(m_applications);
}

void StartupAppHelper::slotConnectionStateChanged()
{
    if (m_store->connectionState() != OrvikStore::Ready)
        return;
    disconnect(m_store.data(), &OrvikStore::connectionStateChanged, this,
               &StartupAppHelper::slotConnectionStateChanged);
    requestNextCategory();
}

void StartupAppHelper::requestNextCategory()
{
    Store::RequestProxy *proxy =
        m_store->requestApplications(wholeCategory(m_categories.constFirst()));
    if (!proxy)
        return;
    connect(proxy, &Store::RequestProxy::applicationReceived, this,
            &StartupAppHelper::slotApplicationReceived);
    connect(proxy, &Store::RequestProxy::pageReceived, this,
            [this, proxy](const Store::ResultPage &page) {
                if (!m_pages.contains(page.next)) {
                    m_pages.insert(page.next);
                    m_store->requestNext(page, proxy);
                    return;
                }
                // A list that leads back to itself is over.
                proxy->disconnect(this);
                proxy->cancel();
                slotApplicationReceived(Store::Application::ConstPtr::create(), false);
            });
}

void StartupAppHelper::appendApplication(const Store::Application &app)
{
    const int size = int(Vitrex::Theme::iconSizeLauncher());
    StartupAppData data;
    data.name = app.title;
    data.packageName = app.packageName;
    data.icon = m_store->scaledImageUrl(app.icon, size, size);
    data.summary = app.summary;
    if (m_categories.value(0) == m_store->storeCategory()) {
        data.category = QStringLiteral("orvik");
        data.preselected = true;
    } else {
        data.category = QStringLiteral("marketplace");
        data.preselected = app.packageName == preselectedMarketPlace;
    }
    m_applications.append(data);
}

void StartupAppHelper::markRequiredApplications()
{
    QStringList required;
    for (const QString &provider : qAsConst(m_providerList))
        required += m_packageHandler->packagesForAccountType(provider);
    for (StartupAppData &data : m_applications) {
        if (required.contains(data.packageName)) {
            data.required = true;
            data.preselected = true;
        }
    }
}
