#include "contentmodel.h"

#include "modelwatch.h"
#include "storephone.h"

#include <QSignalSpy>
#include <QTest>

namespace {

const QString listPath = QStringLiteral("/api/v001/application/");

} // namespace

/** Lists of several pages, full lists, and a store that fails among them. */
class TstContentPaging : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void init();
    void cleanup();
    void endsAtTheLimit_data();
    void endsAtTheLimit();
    void turnsPages();
    void survivesFailures_data();
    void survivesFailures();
    void forgetsARunningRequest();
    void standsBesideAnotherModel();
    void leavesOut();
    void takesALongList();

private:
    /** The list of the generated applications, in the order of the store. */
    void prepare(ContentModel *model) const;

    std::unique_ptr<StorePhone> m_phone;
    std::unique_ptr<ContentModel> m_model;
    std::unique_ptr<ModelWatch> m_watch;
};

void TstContentPaging::initTestCase()
{
    m_phone = std::make_unique<StorePhone>();
    QVERIFY(m_phone->connectFacade());
}

void TstContentPaging::init()
{
    m_phone->tell("applications", R"({"count": 40})");
    m_phone->store.clearLog();
    m_model = std::make_unique<ContentModel>();
    prepare(m_model.get());
    m_watch = std::make_unique<ModelWatch>(m_model.get());
}

void TstContentPaging::cleanup()
{
    m_watch.reset();
    m_model.reset();
    m_phone->tell("clear-faults");
}

void TstContentPaging::prepare(ContentModel *model) const
{
    model->setStore(m_phone->facade.get());
    model->setPackager(m_phone->packager.get());
    model->setScope(text("store"));
    model->setStartsWith(text("generated-"));
    model->setSortMode(ContentModel::SortNone);
}

void TstContentPaging::endsAtTheLimit_data()
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
    row("above a page", 30, ApplicationState::All, page, true);
    // With one row free, the next record ends the request, also if it gets no row.
    row("none at all", 1, ApplicationState::Installing, "", false);
    row("one short", 2, ApplicationState::Updatable, "00", false);
    row("two rows free", 3, ApplicationState::Updatable, "00 02", true);
    row("a state that none is in", 2, ApplicationState::Uninstalling, "", true);
}

void TstContentPaging::endsAtTheLimit()
{
    QFETCH(int, limit);
    QFETCH(int, states);
    QFETCH(QString, rows);
    QFETCH(bool, hasMore);
    m_phone->install("generated-000000 0.1, generated-000002 0.1");
    m_model->setLimit(limit);
    m_model->setShowStates(ApplicationState::States(states));
    m_model->refresh();
    QVERIFY(m_model->loading());
    QTRY_VERIFY(!m_model->loading());
    QCOMPARE(m_watch->shown("packageName").remove(text("generated-0000")), rows);
    QCOMPARE(m_model->hasMore(), hasMore);
}

void TstContentPaging::turnsPages()
{
    m_model->setLimit(38);
    QSignalSpy loading(m_model.get(), &ContentModel::loadingChanged);
    QSignalSpy more(m_model.get(), &ContentModel::hasMoreChanged);
    m_model->fetchMoreContent(); // nothing to fetch more of
    QCOMPARE(loading.size(), 0);
    m_model->refresh();
    QCOMPARE(loading.size(), 2); // reset, and the request
    QCOMPARE(more.size(), 1);
    QTRY_COMPARE(more.size(), 2);
    QCOMPARE(loading.size(), 3);
    QVERIFY(m_model->hasMore() && !m_model->loading());

    m_model->fetchMoreContent();
    QVERIFY(!m_model->hasMore() && m_model->loading());
    QCOMPARE(more.size(), 3);
    QCOMPARE(loading.size(), 4);
    m_model->fetchMoreContent(); // while it runs
    QTRY_COMPARE(m_model->count(), 36);
    QTRY_VERIFY(m_model->hasMore());
    m_model->fetchMoreContent();
    QTRY_COMPARE(m_model->count(), 38);
    QVERIFY(!m_model->hasMore() && !m_model->loading());
    m_model->fetchMoreContent();
    QVERIFY(!m_model->loading());
    QCOMPARE(m_phone->requests(listPath).size(), 3);
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
}

void TstContentPaging::survivesFailures_data()
{
    QTest::addColumn<QByteArray>("fault"); // of the second page
    QTest::addColumn<int>("count");

    const auto row = [](const char *name, const QByteArray &fault, int count) {
        QTest::newRow(name) << fault << count;
    };
    row("not found", R"("do": "status", "status": 404)", 18);
    row("error message", R"("do": "error_message", "error_message": "no")", 18);
    row("no JSON", R"("do": "body", "body": "<html>")", 18);
    row("objects of no kind",
        R"("do": "body", "body": "{\"meta\": 5, \"objects\": [1, [], null]}")", 18);
    row("cut once", R"("do": "cut", "times": 1)", 36);
    row("reset once", R"("do": "reset", "when": "after", "times": 1)", 36);
    row("busy once", R"("do": "status", "status": 503, "times": 1)", 36);
}

void TstContentPaging::survivesFailures()
{
    QFETCH(QByteArray, fault);
    QFETCH(int, count);
    m_phone->tell("fault", R"({"path": "^.*offset=18", )" + fault + '}');
    m_model->refresh();
    QTRY_VERIFY(m_model->hasMore());
    m_model->fetchMoreContent();
    QVERIFY(m_model->loading());
    QSignalSpy loading(m_model.get(), &ContentModel::loadingChanged);
    QTRY_VERIFY(!loading.isEmpty());
    QVERIFY(!m_model->loading());
    QCOMPARE(m_model->count(), count);
    QCOMPARE(m_model->hasMore(), count == 36);
    m_model->refresh();
    QTRY_COMPARE(m_model->count(), 18);
}

void TstContentPaging::forgetsARunningRequest()
{
    m_phone->tell("fault", R"({"path": "/api/v001/application/", "do": "delay", "ms": 100})");
    m_model->refresh();
    m_model->refresh(); // in place of the first, whose rows must not come as well
    QTRY_COMPARE(m_model->count(), 18);
    QTRY_VERIFY(m_model->hasMore());
    QCOMPARE(m_watch->take().count(text("insert")), 18);
    m_model->refresh();
    m_watch.reset();
    m_model.reset(); // with a request under way
    QTRY_COMPARE(m_phone->requests(listPath).size(), 3);
}

void TstContentPaging::standsBesideAnotherModel()
{
    ContentModel other;
    const ModelWatch watch(&other);
    prepare(&other);
    other.setLimit(2);
    other.refresh();
    m_model->refresh();
    QTRY_COMPARE(other.count(), 2);
    QTRY_COMPARE(m_model->count(), 18); // the other's end is none of its business
    QTRY_VERIFY(m_model->hasMore());
    QCOMPARE(m_phone->requests(listPath).size(), 2);
    m_watch->take();
    Q_EMIT m_phone->packager->packageStatusChanged(text("generated-000001"));
    QCOMPARE(m_watch->take(), text("remove 1, insert 17"));
    QCOMPARE(watch.texts("packageName").last(), text("generated-000001"));
}

void TstContentPaging::leavesOut()
{
    m_model->refresh();
    QTRY_COMPARE(m_model->count(), 18);
    const QStringList uuids = m_watch->texts("uuid");
    m_model->setExcludes({uuids[0], uuids[17], uuids[17], text("nobody")});
    QCOMPARE(m_model->excludes().size(), 3);
    QCOMPARE(m_model->count(), 18); // rows that stand stay
    m_model->setLimit(17);
    m_model->refresh();
    QTRY_VERIFY(m_model->count() > 0 && !m_model->loading());
    QCOMPARE(m_watch->texts("uuid"), uuids.mid(1, 16));
}

void TstContentPaging::takesALongList()
{
    constexpr int total = 5000;
    m_phone->tell("applications",
                  QByteArrayLiteral(R"({"count": )") + QByteArray::number(total) + '}');
    m_watch = std::make_unique<ModelWatch>(m_model.get(), ModelWatch::Checks::None);
    m_model->setSortMode(ContentModel::SortByName);
    connect(m_model.get(), &ContentModel::hasMoreChanged, m_model.get(), [this] {
        if (m_model->hasMore())
            m_model->fetchMoreContent();
    });
    m_model->refresh();
    QTRY_COMPARE_WITH_TIMEOUT(m_model->count(), total, 100000);
    QTRY_VERIFY(!m_model->loading());
    QStringList titles = m_watch->texts("title");
    const QStringList arrived = titles;
    titles.sort(Qt::CaseInsensitive);
    QCOMPARE(arrived, titles);
    titles.removeDuplicates();
    QCOMPARE(titles.size(), total);
}

QTEST_GUILESS_MAIN(TstContentPaging)

#include "tst_contentpaging.moc"
