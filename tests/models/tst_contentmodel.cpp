#include "contentmodel.h"

#include "modelwatch.h"
#include "storephone.h"

#include <QJsonDocument>
#include <QSignalSpy>
#include <QTest>

namespace {

/** Lists the demo applications. */
void showDemo(ContentModel *model)
{
    model->setScope(QStringLiteral("store"));
    model->setStartsWith(QStringLiteral("demo-"));
    model->refresh();
}

} // namespace

/** Every test has a freshly started store, a facade and a package handler. */
class TstContentModel : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init();
    void cleanup();
    void asksForWhatThePropertiesSay_data();
    void asksForWhatThePropertiesSay();
    void refusesAnUnknownTopList();
    void showsItsRows();
    void listsWhatTheUserHasInstalled();
    void sorts_data();
    void sorts();
    void followsStatus();
    void keepsATopListInPlace();
    void followsProgress();
    void forgetsWhatIsNotToBeShown();
    void takesNewRecords();
    void findsARecordThatStandsTwice();
    void hearsOfCompanies();
    void addsApplications();
    void startsAllUpdates();
    void refusesForeignObjects();
    void worksWithoutFacade();

private:
    std::unique_ptr<StorePhone> m_phone;
    bool m_keepPhone = false; // the test has left it as it was
    std::unique_ptr<ContentModel> m_model;
    std::unique_ptr<ModelWatch> m_watch;
};

void TstContentModel::init()
{
    if (!m_phone) {
        m_phone = std::make_unique<StorePhone>();
        m_phone->offerDemo();
        QVERIFY(m_phone->connectFacade());
    }
    m_model = std::make_unique<ContentModel>();
    m_model->setStore(m_phone->facade.get());
    m_model->setPackager(m_phone->packager.get());
    m_watch = std::make_unique<ModelWatch>(m_model.get());
}

void TstContentModel::cleanup()
{
    m_watch.reset();
    m_model.reset();
    if (!m_keepPhone)
        m_phone.reset();
    m_keepPhone = false;
}

void TstContentModel::asksForWhatThePropertiesSay_data()
{
    QTest::addColumn<QVariantMap>("properties");
    QTest::addColumn<QString>("request");

    const auto row = [](const char *name, const char *properties, const char *request) {
        QTest::newRow(name) << QJsonDocument::fromJson(properties).object().toVariantMap()
                            << text(request);
    };
    row("no scope", R"({"filter": "x"})", "");
    row("scopes are exact", R"({"scope": "Store"})", "");
    row("company", R"({"scope": "company", "filter": "c-1", "limit": 5})",
        "v001/application/?company__uuid=c-1&limit=5");
    row("user", R"({"scope": "user", "filter": "u-1"})",
        "v001/application/?user__uuid=u-1&limit=18");
    row("recommended", R"({"scope": "store"})", "v001/application/?recommended=1&limit=18");
    row("category", R"({"scope": "store", "category": "k-1"})",
        "v001/application/?category__uuid_incl_subs=k-1&limit=18");
    row("category 0 is everything", R"({"scope": "store", "category": "0"})",
        "v001/application/?limit=18");
    row("text", R"({"scope": "store", "filter": "a b"})",
        "v001/application/search/?q=a%20b&limit=18");
    row("an empty text is a text", R"({"scope": "store", "filter": ""})",
        "v001/application/search/?q=&limit=18");
    row("text in category", R"({"scope": "store", "filter": "a", "category": "k-1"})",
        "v001/application/search/?q=a&category__uuid_incl_subs=k-1&limit=18");
    row("prefix beats all", R"({"scope": "store", "startsWith": "p", "topListType": 2,
                                "filter": "a", "category": "k-1"})",
        "v001/application/?package_name__startswith=p&limit=18");
    row("top downloaded", R"({"scope": "store", "topListType": 1, "filter": "a"})",
        "v001/top/downloaded/?limit=18");
    row("top liked", R"({"scope": "store", "topListType": 2, "category": "k-1"})",
        "v001/top/liked/?category__uuid_incl_subs=k-1&limit=18");
    row("top new", R"({"scope": "store", "topListType": 3})", "v001/top/new/?limit=18");
    row("search", R"({"scope": "search", "filter": "abc"})", "search/application/?q=abc&limit=18");
    row("search without filter", R"({"scope": "search"})", "");
    row("search for an empty text", R"({"scope": "search", "filter": ""})",
        "search/application/?q=&limit=18");
    row("limit 17", R"({"scope": "store", "limit": 17})",
        "v001/application/?recommended=1&limit=17");
    row("limit 30", R"({"scope": "store", "limit": 30})",
        "v001/application/?recommended=1&limit=18");
    row("limit -1", R"({"scope": "store", "limit": -1})",
        "v001/application/?recommended=1&limit=18");
}

void TstContentModel::asksForWhatThePropertiesSay()
{
    QFETCH(QVariantMap, properties);
    QFETCH(QString, request);
    for (auto property = properties.cbegin(); property != properties.cend(); ++property) {
        const bool isText = property->type() == QVariant::String;
        QVERIFY(m_model->setProperty(qPrintable(property.key()),
                                     isText ? *property : QVariant(property->toInt())));
    }
    m_phone->store.clearLog();
    m_model->refresh();
    QCOMPARE(m_model->loading(), !request.isEmpty());
    QTRY_VERIFY(!m_model->loading());
    QCOMPARE(m_phone->requests(text("/api/")),
             request.isEmpty() ? QStringList() : QStringList(text("GET /api/") + request));
    m_keepPhone = true;
}

void TstContentModel::refusesAnUnknownTopList()
{
    m_model->setScope(text("store"));
    m_model->setTopListType(ContentModel::TopListType(7));
    QSignalSpy loading(m_model.get(), &ContentModel::loadingChanged);
    QTest::ignoreMessage(QtWarningMsg, "void ContentModel::fetchContent() Unknown top list type 7");
    m_model->refresh();
    QCOMPARE(loading.size(), 1); // of the reset alone
    QVERIFY(!m_model->loading());
}

void TstContentModel::showsItsRows()
{
    m_phone->install("demo-one 1.0, demo-two 1.5");
    m_phone->packager->install(text("demo-three"));
    m_phone->offer(text("quayside-apk-demo"), R"({"title": "Android", "uuid": "apk",
        "updated_on": "2026-03-09T10:00:00", "cover_image": [], "cover": "cover.png"})");
    m_phone->offer(text("quayside-APK-demo"), R"({"title": "No Android", "uuid": "no-apk",
        "updated_on": "2026-03-08T10:00:00", "icon_image": [], "icon": "icon.png"})");
    showDemo(m_model.get());
    QTRY_COMPARE(m_model->count(), 5);
    QCOMPARE(m_model->rowCount(m_model->index(0)), 5); // whatever the parent
    // Companies are asked for with the first look at the rows that name them.
    m_watch->rows();
    QTRY_COMPARE(m_watch->texts("companyName").count(text("Acme")), 5);
    QCOMPARE(pictureDifference(text(KIOSK_TEST_DATA), text("contentmodel-demo"), m_watch->rows()),
             QString());

    m_model->setStartsWith(text("quayside-"));
    m_model->refresh();
    QTRY_VERIFY(m_model->count() >= 2);
    const QStringList packages = m_watch->texts("packageName");
    const QStringList android = m_watch->texts("androidApp");
    QCOMPARE(android[packages.indexOf(text("quayside-apk-demo"))], text("true"));
    QCOMPARE(android[packages.indexOf(text("quayside-APK-demo"))], text("false"));
}

void TstContentModel::listsWhatTheUserHasInstalled()
{
    m_phone->tell("installed", R"({"clear": true, "push": ["demo-two", "demo-four", "gone"]})");
    QVERIFY(m_phone->connectFacade());
    m_model->setStore(m_phone->facade.get());
    m_model->setScope(text("local"));
    m_model->refresh();
    QCOMPARE(m_watch->shown("packageName"), text("demo-four demo-two"));
    QVERIFY(!m_model->loading());
    QVERIFY(m_phone->requests(text("/api/v001/application/")).isEmpty());
}

void TstContentModel::sorts_data()
{
    QTest::addColumn<ContentModel::SortMode>("mode");
    QTest::addColumn<QString>("order");

    // A new row goes in front of its equals, so the later of two equals comes first.
    QTest::newRow("as the server") << ContentModel::SortNone << "delta Alpha bravo Charlie alpha";
    QTest::newRow("name") << ContentModel::SortByName << "alpha Alpha bravo Charlie delta";
    QTest::newRow("age") << ContentModel::SortByAge << "Charlie alpha Alpha bravo delta";
    QTest::newRow("likes") << ContentModel::SortByTop << "alpha Alpha bravo delta Charlie";
    QTest::newRow("unknown") << ContentModel::SortMode(9)
                             << text("Charlie alpha Alpha bravo delta");
}

void TstContentModel::sorts()
{
    QFETCH(ContentModel::SortMode, mode);
    QFETCH(QString, order);
    m_model->setSortMode(mode);
    showDemo(m_model.get());
    QTRY_COMPARE(m_watch->shown("title"), order);
    // Rows that stand are not moved.
    m_model->setSortMode(ContentModel::SortByName);
    QCOMPARE(m_watch->shown("title"), order);
}

void TstContentModel::followsStatus()
{
    m_phone->install("demo-one 1.0, demo-two 1.5");
    m_model->setSortMode(ContentModel::SortByState);
    showDemo(m_model.get());
    QTRY_COMPARE(m_watch->shown("title"), text("delta Alpha alpha bravo Charlie"));
    QCOMPARE(m_watch->shown("appState"), text("1 16 32 32 32"));
    QCOMPARE(m_model->updateCount(), 1);
    QCOMPARE(m_model->updatablePackages(), QStringList(text("demo-one")));
    m_watch->take();

    QSignalSpy count(m_model.get(), &ContentModel::countChanged);
    QSignalSpy updates(m_model.get(), &ContentModel::updateCountChanged);
    m_phone->packager->install(text("demo-four"));
    QCOMPARE(m_watch->take(), text("remove 4, insert 1, change 1 260"));
    QCOMPARE(count.size(), 2);
    QCOMPARE(updates.size(), 0);

    m_phone->packager->install(text("demo-one"));
    QCOMPARE(m_watch->take(), text("remove 0, insert 0, change 0 260"));
    QCOMPARE(updates.size(), 1);
    QCOMPARE(m_model->updateCount(), 0);
    QCOMPARE(m_watch->shown("appState"), text("2 4 16 32 32"));
    QCOMPARE(m_watch->shown("appSection"), text("1 4 16 32 32"));

    m_phone->packager->uninstall(text("demo-two"), false);
    m_phone->job("install demo-four")->succeed();
    QCOMPARE(m_watch->shown("appState"), text("2 8 16 32 32"));
    QCOMPARE(m_watch->shown("title"), text("delta Alpha Charlie alpha bravo"));
    m_watch->take();
    Q_EMIT m_phone->packager->packageStatusChanged(text("stranger"));
    QCOMPARE(m_watch->take(), QString());
}

void TstContentModel::keepsATopListInPlace()
{
    m_phone->tell("likes", R"({"push": [{"application": "demo-one", "count": 9000001},
                                        {"application": "demo-two", "count": 9000000}]})");
    m_phone->install("demo-two 1.0");
    m_model->setScope(text("store"));
    m_model->setTopListType(ContentModel::TopLiked);
    m_model->setSortMode(ContentModel::SortByName);
    m_model->refresh();
    QTRY_COMPARE(m_model->count(), 18);
    const QStringList packages = m_watch->texts("packageName");
    QCOMPARE(packages[1], text("demo-two"));
    QCOMPARE(m_model->updateCount(), 1);
    m_watch->take();

    // Not even a state that isn't to be shown takes a row away.
    m_model->setShowStates(ApplicationState::Updatable);
    QSignalSpy updates(m_model.get(), &ContentModel::updateCountChanged);
    m_phone->packager->install(text("demo-two"));
    QCOMPARE(m_watch->take(), text("change 1 269, change 1 260"));
    QCOMPARE(updates.size(), 1);
    Q_EMIT m_phone->packager->packageStatusChanged(text("demo-two"));
    QCOMPARE(updates.size(), 1);
    m_phone->facade->updateInstalledOn(
        m_model->data(m_model->index(1), ContentModel::UuidRole).toString());
    QCOMPARE(m_watch->take(), text("change 1 269"));
    QCOMPARE(m_watch->texts("packageName"), packages);
}

void TstContentModel::followsProgress()
{
    showDemo(m_model.get());
    QTRY_COMPARE(m_model->count(), 5);
    m_phone->packager->install(text("demo-three"));
    const int row = m_watch->texts("packageName").indexOf(text("demo-three"));
    ScriptedTransaction *job = m_phone->job("install demo-three");
    m_watch->take();
    Q_EMIT job->progress(41);
    QCOMPARE(m_model->data(m_model->index(row), ContentModel::ProgressRole), QVariant(41));
    Q_EMIT job->progress(99);
    Q_EMIT job->progress(-1);
    // The end of a job is told by the status.
    Q_EMIT job->progress(100);
    QCOMPARE(m_watch->take(), text("change %1 260, change %1 260, change %1 260").arg(row));
    QCOMPARE(m_model->data(m_model->index(row), ContentModel::ProgressRole), QVariant(100));
}

void TstContentModel::forgetsWhatIsNotToBeShown()
{
    m_phone->install("demo-one 1.0, demo-two 1.0");
    m_model->setShowStates(ApplicationState::Updatable | ApplicationState::Installing);
    showDemo(m_model.get());
    QTRY_VERIFY(!m_model->loading());
    QCOMPARE(m_watch->shown("packageName"), text("demo-two demo-one"));

    m_phone->packager->install(text("demo-two")); // now it is being updated
    QCOMPARE(m_watch->shown("packageName"), text("demo-one"));
    m_phone->job("install demo-two")->fail(text("cancelled")); // and no more
    QCOMPARE(m_watch->shown("packageName"), text("demo-one"));

    // What was added by its uuid is remembered without a row, and may get one later.
    const QString four = m_phone->facade->cachedApplicationUuid(text("demo-four"));
    m_model->addApplication(four);
    QCOMPARE(m_model->count(), 1);
    m_phone->packager->install(text("demo-four"));
    QCOMPARE(m_watch->shown("packageName"), text("demo-four demo-one"));
    m_model->refresh();
    QTRY_COMPARE(m_model->count(), 3);
}

void TstContentModel::takesNewRecords()
{
    showDemo(m_model.get());
    QTRY_COMPARE(m_model->count(), 5);
    OrvikStore *facade = m_phone->facade.get();
    const QString uuid = facade->cachedApplicationUuid(text("demo-five"));
    m_watch->take();

    // Fuller data stays at its place, whatever the order says now.
    const auto fuller = QSharedPointer<Store::Application>::create(*facade->application(uuid));
    fuller->updatedOn = fuller->updatedOn.addYears(-1);
    fuller->title = text("renamed");
    facade->replaceApplication(fuller);
    QCOMPARE(m_watch->take(), text("change 1"));
    QCOMPARE(m_watch->texts("title")[1], text("renamed"));

    // A new record takes the row to its place.
    facade->updateInstalledOn(uuid);
    QCOMPARE(m_watch->take(), text("remove 1, insert 4"));
    QCOMPARE(m_watch->texts("title").last(), text("renamed"));

    facade->updateInstalledOn(text("nobody"));
    Q_EMIT facade->applicationDataUpdated(text("nobody"));
    QCOMPARE(m_watch->take(), QString());
}

void TstContentModel::findsARecordThatStandsTwice()
{
    // The store answers with the same page for ever.
    m_phone->tell("fault", R"({"path": "/api/v001/application/?package_name__startswith",
                               "do": "page-loop"})");
    m_model->setSortMode(ContentModel::SortNone);
    showDemo(m_model.get());
    QTRY_COMPARE(m_model->count(), 5);
    QTRY_VERIFY(m_model->hasMore());
    m_model->fetchMoreContent();
    QTRY_COMPARE(m_model->count(), 10);
    QTRY_VERIFY(m_model->hasMore());
    m_watch->take();

    // Of two rows of a package the one that came last follows it.
    Q_EMIT m_phone->packager->packageStatusChanged(text("demo-two"));
    QCOMPARE(m_watch->take(), text("remove 6, insert 9"));

    // One record in both rows of the package.
    OrvikStore *facade = m_phone->facade.get();
    const auto record = QSharedPointer<Store::Application>::create(
        *facade->application(facade->cachedApplicationUuid(text("demo-two"))));
    record->title = text("zulu");
    Q_EMIT facade->applicationUpdated(record);
    facade->replaceApplication(record);
    QCOMPARE(m_watch->take(), text("remove 9, insert 9, change 1"));
    QCOMPARE(m_watch->shown("title"),
             text("delta zulu bravo Charlie alpha delta bravo Charlie alpha zulu"));

    // A search that ends at the second of them inserts at the first.
    m_model->setSortMode(ContentModel::SortByName);
    Q_EMIT m_phone->packager->packageStatusChanged(text("demo-three"));
    QCOMPARE(m_watch->take(), text("remove 6, insert 1"));
    // And the last of them is the one that goes.
    Q_EMIT m_phone->packager->packageStatusChanged(text("demo-two"));
    QVERIFY(m_watch->take().startsWith(text("remove 9")));
    QCOMPARE(m_watch->texts("packageName").count(text("demo-two")), 2);
}

void TstContentModel::hearsOfCompanies()
{
    m_phone->tell("fault", R"({"path": "/api/v001/company/acme/", "do": "hang"})");
    showDemo(m_model.get());
    QTRY_COMPARE(m_model->count(), 5);
    QCOMPARE(m_watch->texts("companyName").join(QString()), QString());
    m_model->setStore(m_phone->facade.get()); // connects once more
    m_watch->take();
    m_phone->tell("clear-faults");
    Q_EMIT m_phone->facade->companyReceived(text("acme"));
    QCOMPARE(m_watch->take().count(text("change 2 265")), 2);
    Q_EMIT m_phone->facade->companyReceived(text("other"));
    QCOMPARE(m_watch->take(), QString());
}

void TstContentModel::addsApplications()
{
    OrvikStore *facade = m_phone->facade.get();
    const auto record = [](const char *uuid, const char *package, bool valid, bool inStore) {
        const auto app = QSharedPointer<Store::Application>::create();
        app->uuid = text(uuid);
        app->packageName = text(package);
        app->valid = valid;
        app->inStore = inStore;
        return app;
    };
    facade->addApplication(record("a", "pack-a", true, true));
    facade->addApplication(record("again", "pack-a", true, true));
    facade->addApplication(record("local", "pack-b", true, false));
    m_model->setExcludes({text("a")}); // only for what a request brings
    for (const char *uuid : {"a", "a", "again", "local", "unknown"})
        m_model->addApplication(text(uuid));
    QCOMPARE(m_watch->shown("uuid"), text("a"));
    QCOMPARE(m_watch->shown("packageName"), text("pack-a"));
}

void TstContentModel::startsAllUpdates()
{
    m_phone->install("demo-one 1.0, demo-two 1.5, demo-three 1.1, demo-four 1.2");
    showDemo(m_model.get());
    QTRY_COMPARE(m_model->updateCount(), 3);
    // Each start moves a row and makes one update fewer, while the list is gone through.
    m_model->updateAll();
    QCOMPARE(m_model->updateCount(), 0);
    QCOMPARE(m_phone->journal.filter(text("isolate ")).size(), 3);
    QVERIFY(m_phone->journal.filter(text("isolate "))[0].contains(text("demo-four")));
    QCOMPARE(m_watch->texts("appState").count(text("2")), 3);
}

void TstContentModel::refusesForeignObjects()
{
    const char *store = "void ContentModel::setStore(QObject*) "
                        "The given object is not a OrvikStore object!";
    const char *packager = "void ContentModel::setPackager(QObject*) "
                           "The given object is not a PackageHandler object!";
    QTest::ignoreMessage(QtWarningMsg, store);
    m_model->setStore(nullptr);
    QTest::ignoreMessage(QtWarningMsg, store);
    m_model->setStore(m_phone->packager.get());
    QTest::ignoreMessage(QtWarningMsg, packager);
    m_model->setPackager(m_phone->facade.get());
    QTest::ignoreMessage(QtWarningMsg, packager);
    m_model->setPackager(m_phone->packager.get()); // the very same
    QCOMPARE(m_model->store(), m_phone->facade.get());
    QCOMPARE(m_model->packager(), m_phone->packager.get());
}

void TstContentModel::worksWithoutFacade()
{
    showDemo(m_model.get());
    QTRY_COMPARE(m_model->count(), 5);
    m_model->refresh();
    m_phone->facade.reset(); // with a request under way
    m_phone->packager.reset();
    m_model->updateAll();
    m_model->addApplication(text("a"));
    m_model->fetchMoreContent();
    m_model->setScope(text("search"));
    m_model->setFilter(text("x"));
    m_model->refresh(); // the one list that doesn't look for a store
    QVERIFY(!m_model->loading());
    QCOMPARE(m_model->count(), 0);
}

QTEST_GUILESS_MAIN(TstContentModel)

#include "tst_contentmodel.moc"
