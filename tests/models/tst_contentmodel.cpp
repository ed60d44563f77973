#include "contentmodel.h"

#include "modelwatch.h"
#include "storephone.h"

#include <QJsonDocument>
#include <QSignalSpy>
#include <QTest>

/** Every test has a freshly started store, a facade and a package handler. */
class TstContentModel : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init();
    void cleanup();
    void asksForWhatThePropertiesSay_data();
    void asksForWhatThePropertiesSay();
    void showsItsRows();
    void listsWhatTheUserHasInstalled();
    void sorts_data();
    void sorts();
    void endsAtTheLimit_data();
    void endsAtTheLimit();
    void leavesOut();
    void turnsPages();
    void survivesFailures();
    void forgetsARunningRequest();
    void worksWithoutFacade();
    void followsStatus();
    void keepsATopListInPlace();
    void forgetsWhatIsNotToBeShown();
    void takesNewRecords();
    void findsARecordThatStandsTwice();
    void addsApplications();
    void startsAllUpdates();
    void refusesWhatItDoesNotKnow();

private:
    /** Fetches the applications whose package names begin so. */
    void list(const char *prefix);
    /** Lists the demo applications. */
    void showDemo();

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
        m_phone->tell("applications", R"({"count": 40})");
    }
    m_phone->store.clearLog();
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

void TstContentModel::list(const char *prefix)
{
    m_model->setScope(text("store"));
    m_model->setStartsWith(text(prefix));
    m_model->refresh();
}

void TstContentModel::showDemo()
{
    list("demo-");
    QTRY_COMPARE(m_model->count(), 5);
    m_watch->take();
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
    row("company", R"({"scope": "company", "filter": "c-1", "limit": 17})",
        "v001/application/?company__uuid=c-1&limit=17");
    row("user", R"({"scope": "user", "filter": "u-1", "limit": 30})",
        "v001/application/?user__uuid=u-1&limit=18");
    row("recommended", R"({"scope": "store", "limit": -1})",
        "v001/application/?recommended=1&limit=18");
    row("category", R"({"scope": "store", "category": "k-1"})",
        "v001/application/?category__uuid_incl_subs=k-1&limit=18");
    row("category 0 is everything", R"({"scope": "store", "category": "0"})",
        "v001/application/?limit=18");
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
    row("search without filter", R"({"scope": "search"})", "");
    row("search for an empty text", R"({"scope": "search", "filter": ""})",
        "search/application/?q=&limit=18");
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
    m_model->refresh();
    QCOMPARE(m_model->loading(), !request.isEmpty());
    QTRY_VERIFY(!m_model->loading());
    QCOMPARE(m_phone->requests(text("/api/")),
             request.isEmpty() ? QStringList() : QStringList(text("GET /api/") + request));
    m_keepPhone = true;
}

void TstContentModel::showsItsRows()
{
    m_phone->install("demo-one 1.0, demo-two 1.5");
    m_phone->packager->install(text("demo-three"));
    showDemo();
    QCOMPARE(m_model->rowCount(m_model->index(0)), 5); // whatever the parent
    // Companies are asked for with the first look at the rows that name them.
    m_watch->rows();
    QTRY_COMPARE(m_watch->texts("companyName").count(text("Acme")), 5);
    QCOMPARE(pictureDifference(text(KIOSK_TEST_DATA), text("contentmodel-demo"), m_watch->rows()),
             QString());
}

void TstContentModel::listsWhatTheUserHasInstalled()
{
    m_phone->tell("installed", R"({"clear": true, "push": ["demo-two", "demo-four", "gone"]})");
    m_phone->connectFacade();
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
    QTest::newRow("unknown") << ContentModel::SortMode(9) << "Charlie alpha Alpha bravo delta";
}

void TstContentModel::sorts()
{
    QFETCH(ContentModel::SortMode, mode);
    QFETCH(QString, order);
    m_model->setSortMode(mode);
    showDemo();
    QCOMPARE(m_watch->shown("title"), order);
    // Rows that stand are not moved.
    m_model->setSortMode(ContentModel::SortByName);
    QCOMPARE(m_watch->shown("title"), order);
    m_keepPhone = true;
}

void TstContentModel::endsAtTheLimit_data()
{
    QTest::addColumn<int>("limit");
    QTest::addColumn<int>("states");
    QTest::addColumn<QString>("rows"); // the last two digits of each
    QTest::addColumn<bool>("hasMore");

    const auto row = [](const char *name, int limit, ApplicationState::State states,
                        const char *rows, bool hasMore) {
        QTest::newRow(name) << limit << int(states) << text(rows) << hasMore;
    };
    // Of the generated applications 00 and 02 can be updated.
    const char *page = "00 01 02 03 04 05 06 07 08 09 10 11 12 13 14 15 16 17";
    row("a full list ends before its page", 3, ApplicationState::All, "00 01 02", false);
    row("no limit", 0, ApplicationState::All, page, true);
    row("the smallest", std::numeric_limits<int>::min(), ApplicationState::All, page, true);
    // With one row free, the next record ends the request, also if it gets no row.
    row("none at all", 1, ApplicationState::Installing, "", false);
    row("one short", 2, ApplicationState::Updatable, "00", false);
    row("two rows free", 3, ApplicationState::Updatable, "00 02", true);
}

void TstContentModel::endsAtTheLimit()
{
    QFETCH(int, limit);
    QFETCH(int, states);
    QFETCH(QString, rows);
    QFETCH(bool, hasMore);
    m_phone->install("generated-000000 0.1, generated-000002 0.1");
    m_model->setSortMode(ContentModel::SortNone);
    m_model->setLimit(limit);
    m_model->setShowStates(ApplicationState::States(states));
    list("generated-");
    QTRY_VERIFY(!m_model->loading());
    QCOMPARE(m_watch->shown("packageName").remove(text("generated-0000")), rows);
    QCOMPARE(m_model->hasMore(), hasMore);
}

void TstContentModel::leavesOut()
{
    m_model->setSortMode(ContentModel::SortNone);
    showDemo();
    const QStringList uuids = m_watch->texts("uuid");
    m_model->setExcludes({uuids[0], uuids[4], uuids[4], text("nobody")});
    QCOMPARE(m_model->excludes().size(), 3);
    QCOMPARE(m_model->count(), 5); // rows that stand stay
    m_model->setLimit(4);
    m_model->refresh();
    QTRY_VERIFY(m_model->count() > 0 && !m_model->loading());
    QCOMPARE(m_watch->texts("uuid"), uuids.mid(1, 3)); // one of the four was not for it
}

void TstContentModel::turnsPages()
{
    SignalJournal journal(m_model.get());
    m_model->setLimit(38);
    m_model->fetchMoreContent(); // nothing to fetch more of
    QCOMPARE(journal.take(), text("limit"));
    list("generated-");
    QCOMPARE(journal.take(),
             text("scope startsWith loading modelReset count updateCount hasMore loading"));
    QTRY_VERIFY(m_model->hasMore());
    QVERIFY(journal.take().endsWith(text("rowsInserted count hasMore loading")));
    QVERIFY(!m_model->loading());

    m_model->fetchMoreContent();
    QVERIFY(!m_model->hasMore() && m_model->loading());
    m_model->fetchMoreContent(); // while it runs
    QCOMPARE(journal.take(), text("hasMore loading"));
    QTRY_VERIFY(m_model->hasMore());
    QCOMPARE(m_model->count(), 36);
    journal.take();
    m_model->fetchMoreContent();
    QTRY_COMPARE(m_model->count(), 38);
    QCOMPARE(journal.take(), text("hasMore loading rowsInserted count rowsInserted count loading"));
    QVERIFY(!m_model->hasMore() && !m_model->loading());
    m_model->fetchMoreContent();
    QVERIFY(!m_model->loading());
    QCOMPARE(m_phone->requests(text("/api/v001/application/")).size(), 3);
    QStringList packages = m_watch->texts("packageName");
    QCOMPARE(packages.removeDuplicates(), 0);

    // A bare reset leaves the page, which then leads nowhere.
    m_model->setLimit(0);
    m_model->refresh();
    QTRY_VERIFY(m_model->hasMore());
    m_model->reset();
    QVERIFY(m_model->hasMore());
    m_model->fetchMoreContent();
    QVERIFY(!m_model->loading());
    QCOMPARE(m_model->count(), 0);
    m_model->refresh(); // which forgets it
    QVERIFY(!m_model->hasMore());
    QTRY_VERIFY(m_model->hasMore());
}

void TstContentModel::survivesFailures()
{
    m_phone->tell("fault", R"({"path": "^.*offset=18", "do": "body",
                               "body": "{\"meta\": 5, \"objects\": [1, [], null]}"})");
    list("generated-");
    QTRY_VERIFY(m_model->hasMore());
    m_model->fetchMoreContent();
    QSignalSpy loading(m_model.get(), &ContentModel::loadingChanged);
    QTRY_VERIFY(!loading.isEmpty());
    QVERIFY(!m_model->loading() && !m_model->hasMore());
    QCOMPARE(m_model->count(), 18);
    m_model->refresh();
    QTRY_COMPARE(m_model->count(), 18);
}

void TstContentModel::forgetsARunningRequest()
{
    m_phone->tell("fault", R"({"path": "/api/v001/application/", "do": "delay", "ms": 100})");
    list("generated-");
    m_model->refresh(); // in place of the first, whose rows must not come as well
    QTRY_COMPARE(m_model->count(), 18);
    QTRY_VERIFY(m_model->hasMore());
    QCOMPARE(m_watch->take().count(text("insert")), 18);
    m_model->refresh();
    m_watch.reset();
    m_model.reset(); // with a request under way
    QTRY_COMPARE(m_phone->requests(text("/api/v001/application/")).size(), 3);
}

void TstContentModel::worksWithoutFacade()
{
    showDemo();
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

void TstContentModel::followsStatus()
{
    m_phone->install("demo-one 1.0, demo-two 1.5");
    m_model->setSortMode(ContentModel::SortByState);
    showDemo();
    QCOMPARE(m_watch->shown("title"), text("delta Alpha alpha bravo Charlie"));
    QCOMPARE(m_watch->shown("appState"), text("1 16 32 32 32"));
    QCOMPARE(m_model->updatablePackages(), QStringList(text("demo-one")));

    SignalJournal journal(m_model.get());
    m_phone->packager->install(text("demo-four"));
    QCOMPARE(m_watch->take(), text("remove 4, insert 1, change 1 260"));
    QCOMPARE(journal.take(), text("rowsRemoved count rowsInserted count data"));
    ScriptedTransaction *job = m_phone->job("install demo-four");
    Q_EMIT job->progress(99);
    QCOMPARE(journal.take(), text("data"));
    QCOMPARE(m_watch->texts("progress")[1], text("99"));
    Q_EMIT job->progress(100); // the end of a job is told by the status
    QCOMPARE(m_watch->take(), text("change 1 260"));
    m_phone->packager->install(text("demo-one"));
    QCOMPARE(m_watch->take(), text("remove 0, insert 0, change 0 260"));
    QCOMPARE(journal.take(), text("rowsRemoved count updateCount rowsInserted count data"));
    QCOMPARE(m_model->updateCount(), 0);
    QCOMPARE(m_watch->shown("appState"), text("2 4 16 32 32"));
    QCOMPARE(m_watch->shown("appSection"), text("1 4 16 32 32"));

    m_phone->packager->uninstall(text("demo-two"), false);
    job->succeed();
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
    m_watch->take();

    // Not even a state that isn't to be shown takes a row away.
    m_model->setShowStates(ApplicationState::Updatable);
    SignalJournal journal(m_model.get());
    m_phone->packager->install(text("demo-two"));
    QCOMPARE(m_watch->take(), text("change 1 269, change 1 260"));
    Q_EMIT m_phone->packager->packageStatusChanged(text("demo-two")); // which changes nothing
    QCOMPARE(journal.take(), text("data updateCount data data"));
    m_watch->take();
    m_phone->facade->updateInstalledOn(m_watch->texts("uuid")[1]);
    QCOMPARE(m_watch->take(), QString()); // nor a new record
    QCOMPARE(m_watch->texts("packageName"), packages);
}

void TstContentModel::forgetsWhatIsNotToBeShown()
{
    m_phone->install("demo-one 1.0, demo-two 1.0");
    m_model->setShowStates(ApplicationState::Updatable | ApplicationState::Installing);
    list("demo-");
    QTRY_VERIFY(!m_model->loading());
    QCOMPARE(m_watch->shown("packageName"), text("demo-two demo-one"));

    m_phone->packager->install(text("demo-two")); // now it is being updated
    QCOMPARE(m_watch->shown("packageName"), text("demo-one"));
    m_phone->job("install demo-two")->fail(text("cancelled")); // and no more
    QCOMPARE(m_watch->shown("packageName"), text("demo-one"));

    // What was added by its uuid is remembered without a row, and may get one later.
    m_model->addApplication(m_phone->facade->cachedApplicationUuid(text("demo-four")));
    QCOMPARE(m_model->count(), 1);
    m_phone->packager->install(text("demo-four"));
    QCOMPARE(m_watch->shown("packageName"), text("demo-four demo-one"));
    m_model->refresh();
    QTRY_COMPARE(m_model->count(), 3);
}

void TstContentModel::takesNewRecords()
{
    OrvikStore *facade = m_phone->facade.get();
    m_model->setStore(facade); // connects once more
    showDemo();
    const QString uuid = facade->cachedApplicationUuid(text("demo-five"));

    // Fuller data stays at its place, whatever the order says now.
    const auto fuller = QSharedPointer<Store::Application>::create(*facade->application(uuid));
    fuller->updatedOn = fuller->updatedOn.addYears(-1);
    fuller->title = text("renamed");
    fuller->company = text("other");
    facade->replaceApplication(fuller);
    QCOMPARE(m_watch->take(), text("change 1, change 1"));
    Q_EMIT facade->companyReceived(text("other"));
    QCOMPARE(m_watch->take(), text("change 1 265, change 1 265"));
    QCOMPARE(m_watch->texts("title")[1], text("renamed"));

    // A new record takes the row to its place.
    facade->updateInstalledOn(uuid);
    QCOMPARE(m_watch->take(), text("remove 1, insert 4, remove 4, insert 4"));
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
    showDemo();
    QTRY_VERIFY(m_model->hasMore());
    m_model->fetchMoreContent();
    QTRY_COMPARE(m_model->count(), 10);
    QTRY_VERIFY(m_model->hasMore());
    m_watch->take();

    // Of two rows of a package the one that came last follows it.
    Q_EMIT m_phone->packager->packageStatusChanged(text("demo-two"));
    QCOMPARE(m_watch->take(), text("remove 6, insert 9"));

    // One record in both rows: a search that ends at the second of them inserts at the first.
    OrvikStore *facade = m_phone->facade.get();
    const auto record = QSharedPointer<Store::Application>::create(
        *facade->application(facade->cachedApplicationUuid(text("demo-two"))));
    record->title = text("zulu");
    Q_EMIT facade->applicationUpdated(record);
    facade->replaceApplication(record);
    QCOMPARE(m_watch->take(), text("remove 9, insert 9, change 1"));
    m_model->setSortMode(ContentModel::SortByName);
    Q_EMIT m_phone->packager->packageStatusChanged(text("demo-three"));
    QCOMPARE(m_watch->take(), text("remove 6, insert 1"));
    // And the last of them is the one that goes.
    Q_EMIT m_phone->packager->packageStatusChanged(text("demo-two"));
    QVERIFY(m_watch->take().startsWith(text("remove 9")));
}

void TstContentModel::addsApplications()
{
    OrvikStore *facade = m_phone->facade.get();
    const auto record = [](const char *uuid, const char *package, bool inStore) {
        const auto app = QSharedPointer<Store::Application>::create();
        app->uuid = text(uuid);
        app->packageName = text(package);
        app->valid = true;
        app->inStore = inStore;
        return app;
    };
    facade->addApplication(record("a", "quayside-apk-a", true));
    facade->addApplication(record("b", "quayside-APK-b", true));
    facade->addApplication(record("again", "quayside-apk-a", true));
    facade->addApplication(record("local", "c", false));
    m_model->setExcludes({text("a")}); // only for what a request brings
    for (const char *uuid : {"a", "b", "a", "again", "local", "unknown"})
        m_model->addApplication(text(uuid));
    QCOMPARE(m_watch->shown("uuid"), text("b a"));
    QCOMPARE(m_watch->shown("androidApp"), text("false true"));
    facade->replaceApplication(record("a", "quayside-apk-a", false));
    QCOMPARE(m_watch->shown("androidApp"), text("false false"));
    m_watch->take();
    Q_EMIT m_phone->packager->packageStatusChanged(text("quayside-apk-a")); // of a local one now
    QCOMPARE(m_watch->take(), QString());
}

void TstContentModel::startsAllUpdates()
{
    m_phone->install("demo-one 1.0, demo-two 1.5, demo-three 1.1, demo-four 1.2");
    showDemo();
    QCOMPARE(m_model->updateCount(), 3);
    // Each start moves a row and makes one update fewer, while the list is gone through.
    m_model->updateAll();
    QCOMPARE(m_model->updateCount(), 0);
    QCOMPARE(m_phone->journal.filter(text("isolate ")).size(), 3);
    QVERIFY(m_phone->journal.filter(text("isolate "))[0].contains(text("demo-four")));
    QCOMPARE(m_watch->texts("appState").count(text("2")), 3);
}

void TstContentModel::refusesWhatItDoesNotKnow()
{
    QObject *same = m_phone->packager.get();
    for (QObject *store : std::initializer_list<QObject *>{nullptr, same}) {
        QTest::ignoreMessage(QtWarningMsg,
                             "void ContentModel::setStore(QObject*) "
                             "The given object is not a OrvikStore object!");
        m_model->setStore(store);
    }
    for (QObject *packager : std::initializer_list<QObject *>{m_phone->facade.get(), same}) {
        QTest::ignoreMessage(QtWarningMsg,
                             "void ContentModel::setPackager(QObject*) "
                             "The given object is not a PackageHandler object!");
        m_model->setPackager(packager);
    }
    QCOMPARE(m_model->store(), m_phone->facade.get());
    QCOMPARE(m_model->packager(), same);

    m_model->setScope(text("store"));
    m_model->setTopListType(ContentModel::TopListType(7));
    SignalJournal journal(m_model.get());
    QTest::ignoreMessage(QtWarningMsg, "void ContentModel::fetchContent() Unknown top list type 7");
    m_model->refresh();
    QCOMPARE(journal.take(), text("loading modelReset count updateCount hasMore"));
}

QTEST_GUILESS_MAIN(TstContentModel)

#include "tst_contentmodel.moc"
