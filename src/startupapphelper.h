#pragma once

#include "startupappdata.h"
#include "store/application.h"

#include <QObject>
#include <QSet>
#include <QSharedPointer>
#include <QStringList>
#include <QUrl>

class OrvikStore;
class PackageHandler;

/**
 * One lookup of the applications that are offered at the device's first start: those of the
 * maker's own category and of the market places that aren't installed yet.
 *
 * Answers once, by startupApplicationsReceived(), and is then of no more use. There is no
 * time-out: without an answer from the store there is none from here.
 */
class StartupAppHelper : public QObject
{
    Q_OBJECT

public:
    StartupAppHelper(const QSharedPointer<PackageHandler> &packageHandler,
                     const QSharedPointer<OrvikStore> &store);

    /**
     * Starts the lookup, waiting for the store where it isn't ready.
     * @param providerList types of account; what they need is marked as required.
     */
    void fetchStartupApplications(const QStringList &providerList);

Q_SIGNALS:
    /** The maker's applications first, then the market places, each in the store's order. */
    void startupApplicationsReceived(QList<StartupAppData> applications);

private Q_SLOTS:
    void slotApplicationReceived(Store::Application::ConstPtr app, bool hasMore);
    void slotConnectionStateChanged();

private:
    void requestNextCategory();
    void appendApplication(const Store::Application &app);
    void markRequiredApplications();

    QSharedPointer<PackageHandler> m_packageHandler;
    QSharedPointer<OrvikStore> m_store;
    QList<StartupAppData> m_applications; // found so far
    QStringList m_categories; // still to fetch; the first is being fetched
    QStringList m_providerList;
    QSet<QUrl> m_pages; // asked for
};
