#pragma once

#include "applicationstate.h"
#include "itemfilter.h"
#include "store/application.h"
#include "store/resultpage.h"

#include <QAbstractListModel>
#include <QHash>
#include <QList>
#include <QPointer>
#include <QSet>
#include <QStringList>

class OrvikStore;
class PackageHandler;

namespace Store {
class RequestProxy;
}

/**
 * A list of applications: of a company, a user, a category, a search, a top list, or what
 * this user has installed. The properties say which list; refresh() fetches it, and from
 * then on the rows follow the package handler and the facade.
 *
 * Setters fetch nothing. Scope, category, filter and startsWith count from the next
 * refresh(); the others from the next record that arrives as well.
 */
class ContentModel : public QAbstractListModel
{
    Q_OBJECT
    Q_PROPERTY(int count READ count NOTIFY countChanged)
    Q_PROPERTY(QObject *store READ store WRITE setStore)
    Q_PROPERTY(QObject *packager READ packager WRITE setPackager)
    Q_PROPERTY(SortMode sortMode READ sortMode WRITE setSortMode NOTIFY sortModeChanged)
    Q_PROPERTY(QString scope READ scope WRITE setScope NOTIFY scopeChanged)
    Q_PROPERTY(QString category READ category WRITE setCategory NOTIFY categoryChanged)
    Q_PROPERTY(QString filter READ filter WRITE setFilter NOTIFY filterChanged)
    Q_PROPERTY(QString startsWith READ startsWith WRITE setStartsWith NOTIFY startsWithChanged)
    Q_PROPERTY(QStringList excludes READ excludes WRITE setExcludes NOTIFY excludesChanged)
    Q_PROPERTY(int limit READ limit WRITE setLimit NOTIFY limitChanged)
    Q_PROPERTY(bool loading READ loading NOTIFY loadingChanged)
    Q_PROPERTY(bool hasMore READ hasMore NOTIFY hasMoreChanged)
    Q_PROPERTY(
        TopListType topListType READ topListType WRITE setTopListType NOTIFY topListTypeChanged)
    Q_PROPERTY(ApplicationState::States showStates READ showStates WRITE setShowStates NOTIFY
                   showStatesChanged)
    Q_PROPERTY(int updateCount READ updateCount NOTIFY updateCountChanged)

public:
    // With a type: a scene may set any number, and an unknown one has a meaning.
    enum SortMode : int {
        SortNone = 0, // as the server gives them
        SortByName = 1,
        SortByAge = 2, // most recently updated first
        SortByState = 3,
        SortByTop = 4 // most liked first
    };
    Q_ENUM(SortMode)

    enum TopListType : int { TopNone = 0, TopDownloaded = 1, TopLiked = 2, TopNew = 3 };
    Q_ENUM(TopListType)

    enum Role {
        UuidRole = Qt::UserRole,
        PackageNameRole,
        ValidityRole,
        InStoreRole,
        ProgressRole,
        TitleRole,
        IconRole,
        CoverRole,
        CompanyUuidRole,
        CompanyNameRole,
        UserUuidRole,
        UserNameRole,
        LikesRole,
        AppStateRole,
        AppSectionRole,
        AndroidAppRole
    };

    explicit ContentModel(QObject *parent = nullptr);
    ~ContentModel() override;

    [[nodiscard]] int rowCount(const QModelIndex &parent = QModelIndex()) const override;
    [[nodiscard]] QVariant data(const QModelIndex &index, int role) const override;
    [[nodiscard]] QHash<int, QByteArray> roleNames() const override;

    [[nodiscard]] int count() const;
    [[nodiscard]] QObject *store() const;
    /**
     * @param store an OrvikStore, not owned. Anything else is refused with a warning. The same
     * one again is connected to once more.
     */
    void setStore(QObject *store);
    [[nodiscard]] QObject *packager() const;
    /**
     * @param packager a PackageHandler, not owned. Anything else is refused with a warning, and
     * so is the one that is set already.
     */
    void setPackager(QObject *packager);
    [[nodiscard]] SortMode sortMode() const;
    void setSortMode(SortMode mode);
    [[nodiscard]] QString scope() const;
    void setScope(const QString &scope);
    [[nodiscard]] QString category() const;
    void setCategory(const QString &category);
    [[nodiscard]] QString filter() const;
    /** A filter once set counts as set for good, also with an empty text. */
    void setFilter(const QString &filter);
    [[nodiscard]] QString startsWith() const;
    void setStartsWith(const QString &prefix);
    [[nodiscard]] QStringList excludes() const;
    void setExcludes(const QStringList &uuids);
    [[nodiscard]] int limit() const;
    void setLimit(int limit);
    [[nodiscard]] bool loading() const;
    [[nodiscard]] bool hasMore() const;
    [[nodiscard]] TopListType topListType() const;
    void setTopListType(TopListType type);
    [[nodiscard]] ApplicationState::States showStates() const;
    void setShowStates(ApplicationState::States states);
    [[nodiscard]] int updateCount() const;

    /** Package names of the rows that can be updated, in row order. */
    [[nodiscard]] QStringList updatablePackages() const;
    /** State of a row that exists, with one that is being updated shown as updatable. */
    [[nodiscard]] int appSection(int row) const;

    /** Fetches the list that the properties describe, in place of the present one. */
    Q_INVOKABLE void refresh();
    /** Fetches the next page, if one is known. */
    Q_INVOKABLE void fetchMoreContent();
    /** Empties the list and forgets a running request. */
    Q_INVOKABLE void reset();
    /** Adds an application that the facade knows, unless its package is listed already. */
    Q_INVOKABLE void addApplication(const QString &uuid);
    /** Starts the update of all rows that can be updated. */
    Q_INVOKABLE void updateAll();

Q_SIGNALS:
    void countChanged();
    void sortModeChanged();
    void scopeChanged();
    void categoryChanged();
    void filterChanged();
    void startsWithChanged();
    void excludesChanged();
    void limitChanged();
    void loadingChanged();
    void hasMoreChanged();
    void topListTypeChanged();
    void showStatesChanged();
    void updateCountChanged();

private Q_SLOTS:
    void slotSendInvalidApplication();
    void slotApplicationReceived(Store::Application::ConstPtr app, bool hasMore);
    void slotApplicationDataUpdated(QString appUuid);
    void slotPageReceived(Store::ResultPage page);
    void slotRequestFinished();
    void slotApplicationUpdated(Store::Application::ConstPtr updatedApp);
    void slotProgressChanged(QString packageName, int progress);
    void slotCompanyReceived(QString uuid);
    void slotStatusChanged(QString packageName);

private:
    struct Item
    {
        Store::Application::ConstPtr app;
        int state; // an ApplicationState::State, as of the last change
    };

    void fetchContent();
    /** The tree for the scope "store"; null for a top list type that isn't known. */
    [[nodiscard]] ItemFilter::Expression *storeExpression(int pageSize) const;
    void insertInstalledApplications();
    /** Takes what a request or the device has brought. @return whether the list is full now. */
    [[nodiscard]] bool takeApplication(const Store::Application::ConstPtr &app);
    void nextExpression();
    void finishExpression();
    void insertApplication(const Store::Application::ConstPtr &app);
    void removeApplication(const Store::Application::ConstPtr &app);
    [[nodiscard]] int stateOf(const Store::Application &app) const;
    [[nodiscard]] int rowFor(const Item &item) const;
    [[nodiscard]] bool sortsBefore(const Item &a, const Item &b) const;
    [[nodiscard]] int lastRowOf(const Store::Application::ConstPtr &app) const;
    void notifyRow(int row, const QVector<int> &roles);

    const QHash<int, QByteArray> m_roles;
    QPointer<OrvikStore> m_store;
    QPointer<PackageHandler> m_packager;
    SortMode m_sortMode = SortByAge;
    QString m_scope;
    QString m_category;
    QString m_filter;
    bool m_filterSet = false;
    QString m_startsWith;
    QSet<QString> m_excludes; // application uuids
    int m_limit = 0; // rows; below 1: no limit
    TopListType m_topListType = TopNone;
    ApplicationState::States m_showStates = ApplicationState::All;
    QPointer<Store::RequestProxy> m_request; // deletes itself when it ends
    QList<ItemFilter::Expression::ConstPtr> m_expressions; // still to run
    Store::ResultPage m_page; // the last one received
    QList<Item> m_rows;
    QHash<const Store::Application *, int> m_standing; // record to its number of rows
    int m_repeats = 0; // rows beyond the first of their record
    QHash<QString, Store::Application::ConstPtr> m_applications; // by package name
    QSet<QString> m_unresolved; // package names for which an answer is outstanding
};
