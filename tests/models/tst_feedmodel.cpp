#include "feedcolumnsmodel.h"
#include "feedheadmodel.h"
#include "feedmodel.h"

#include "modelwatch.h"
#include "storephone.h"

#include <QTest>
#include <QTranslator>

#include <limits>

namespace {

const QString feedPath = QStringLiteral("/api/v001/feed/");

/** Shows which text was asked for, and where it takes a name. */
class Ids final : public QTranslator
{
public:
    QString translate(const char *, const char *id, const char *, int) const override
    {
        const bool takesName = qstrcmp(id, "orvik-store-la-reviewed_by") == 0
            || qstrcmp(id, "orvik-store-la-liked_by") == 0;
        return text(id).remove(text("orvik-store-la-")) + text(takesName ? " %1" : "");
    }
    bool isEmpty() const override { return false; }
};

} // namespace

/** The feed with what is laid over it. Every test has a store with an empty feed. */
class TstFeedModel : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void init();
    void showsItsRows();
    void deliversWhatIsWanted();
    void staysSilentWithoutACount();
    void keepsSixtyRows();
    void keepsOneType();
    void addsUpRequests();
    void keepsWhatComesAfterAReset();
    void takesAFailureForAShortFeed();
    void followsPackages();
    void insertsThePromoOnce();
    void worksWithoutEndpoints();
    void refusesForeignObjects();
    void dealsColumns();
    void keepsHeadSlots();
    void headFollowsItsSource();

private:
    /** Puts items "f01" and on into the store's feed; the first of them arrives first. */
    void push(int first, int last, const QByteArray &keys = {});
    /** Wants so many items, and waits until they are there or not to be had. */
    void fetch(int count);
    [[nodiscard]] QString uuids(const QAbstractItemModel &model) const;

    Ids m_ids;
    StorePhone m_phone;
    std::unique_ptr<FeedModel> m_model;
    std::unique_ptr<ModelWatch> m_watch;
    std::unique_ptr<SignalJournal> m_journal; // the model's
};

void TstFeedModel::initTestCase()
{
    QVERIFY(QCoreApplication::installTranslator(&m_ids));
    m_phone.offerDemo();
}

void TstFeedModel::init()
{
    m_watch.reset();
    m_model = std::make_unique<FeedModel>();
    m_model->setStore(m_phone.facade.get());
    m_model->setPackager(m_phone.packager.get());
    m_watch = std::make_unique<ModelWatch>(m_model.get());
    m_journal = std::make_unique<SignalJournal>(m_model.get());
    m_phone.tell("clear-faults");
    m_phone.tell("feed", R"({"clear": true})");
    m_phone.store.clearLog();
}

void TstFeedModel::push(int first, int last, const QByteArray &keys)
{
    QByteArray items;
    for (int i = last; i >= first; --i) {
        const QByteArray number = QByteArray::number(i).rightJustified(2, '0');
        items += R"({"uuid": "f)" + number + R"(", "package_name": "pack-)" + number
            + R"(", "type": 3)" + keys + (i > first ? "}, " : "}");
    }
    m_phone.tell("feed", R"({"push": [)" + items + "]}");
}

void TstFeedModel::fetch(int count)
{
    m_model->fetchContent(count);
    QTRY_VERIFY(!m_model->loading());
}

QString TstFeedModel::uuids(const QAbstractItemModel &model) const
{
    QStringList found;
    for (int row = 0; row < model.rowCount(); ++row)
        found.append(model.index(row, 0).data(FeedModel::FeedUuidRole).toString());
    return found.join(QLatin1Char(' '));
}

void TstFeedModel::showsItsRows()
{
    m_phone.install("demo-one 1.0");
    m_phone.tell("feed", R"({"push": [
        {"uuid": "i-9", "type": 9, "application": "demo-one", "description": "not read"},
        {"uuid": "i-5", "type": 5, "application": "demo-one", "title": "not by us"},
        {"uuid": "i-4", "type": 4, "package_name": "quayside-apk-x", "description": "good"},
        {"uuid": "i-3", "type": 3, "icon": "i.png", "cover": "c.png", "description": "new"},
        {"uuid": "i-2", "type": 2, "application": "demo-two", "liker_username": "Lu %1"},
        {"uuid": "i-1", "type": 1, "application": "demo-one", "version": "0.9",
         "reviewer_username": "Re", "review": "fine"}]})");
    QJsonArray announced;
    connect(m_model.get(), &FeedModel::feedItemInserted, m_model.get(),
            [&announced](QVariantMap feed) {
                for (const QString &key : feed.keys()) {
                    if (feed[key].userType() == QMetaType::QDateTime)
                        feed.remove(key);
                }
                announced.append(QJsonObject::fromVariantMap(feed));
            });
    fetch(9);
    QCOMPARE(pictureDifference(text(KIOSK_TEST_DATA), text("feedmodel-rows"), m_watch->rows()),
             QString());
    QCOMPARE(pictureDifference(text(KIOSK_TEST_DATA), text("feedmodel-announced"), announced),
             QString());
}

/** One sequence through all ways to fill a gap, with a picture after each step. */
void TstFeedModel::deliversWhatIsWanted()
{
    push(1, 15);
    QJsonArray picture;
    const auto step = [&](int count) {
        m_phone.store.clearLog();
        m_journal->take();
        fetch(count);
        picture.append(
            QJsonObject{{text("fetch"), count},
                        {text("loadingChanged"), m_journal->take().count(text("loading"))},
                        {text("requests"), QJsonArray::fromStringList(m_phone.requests(feedPath))},
                        {text("rows"), uuids(*m_model)},
                        {text("counters"), m_watch->shown("counter")}});
    };
    const char *promo = "Didn't get enough (non-duplicate) items. Adding Orvik promo banner.";
    const char *recycling = "Didn't get enough (non-duplicate) items. Recycling old items.";
    step(5); // surplus goes into the buffer
    step(8); // which serves without the store
    step(4); // two from there, and nothing new from the store
    QTest::ignoreMessage(QtDebugMsg, promo);
    m_model->reset(); // all over, but for the numbers
    step(20); // short: the promotional item
    QTest::ignoreMessage(QtDebugMsg, recycling);
    step(3);
    QTest::ignoreMessage(QtDebugMsg, recycling);
    step(3);
    QTest::ignoreMessage(QtDebugMsg, recycling);
    step(1); // the last time that the store is asked
    push(16, 16);
    step(50);
    m_model->reset();
    step(2); // nothing to turn, nothing asked
    QCOMPARE(pictureDifference(text(KIOSK_TEST_DATA), text("feedmodel-sequence"), picture),
             QString());
}

void TstFeedModel::staysSilentWithoutACount()
{
    for (int count : {0, -1, std::numeric_limits<int>::min()})
        m_model->fetchContent(count);
    FeedModel storeless;
    storeless.fetchContent(5);
    QVERIFY(!m_model->loading() && !storeless.loading());
    QCOMPARE(m_journal->take(), QString());

    // An empty store: once the promotional item, then nothing, not even to turn.
    fetch(std::numeric_limits<int>::max());
    QCOMPARE(uuids(*m_model), text("orvik-uuid"));
    QTest::ignoreMessage(QtDebugMsg,
                         "Didn't get enough (non-duplicate) items. "
                         "No items to recycle. Giving up.");
    fetch(2);
    QCOMPARE(m_model->count(), 1);
    // Twice more than a number can say.
    m_model->fetchContent(std::numeric_limits<int>::max());
    fetch(std::numeric_limits<int>::max());
    const char *most = "GET /api/v001/feed/?limit=2147483647";
    QTRY_COMPARE(m_phone.requests(feedPath).join(text(", ")),
                 text("%1, GET /api/v001/feed/?limit=12, %1, %1").arg(text(most)));
}

void TstFeedModel::keepsSixtyRows()
{
    push(1, 63);
    fetch(60);
    QCOMPARE(m_model->count(), 60);
    m_journal->take();
    m_model->fetchContent(1); // of the buffer
    QCOMPARE(m_journal->take(),
             text("loading rowsRemoved count rowsInserted feedItemInserted count loading"));
    m_model->fetchContent(2);
    QVERIFY(uuids(*m_model).startsWith(text("f63 f62 ")));
    QVERIFY(uuids(*m_model).endsWith(text(" f05 f04")));

    // What was evicted may come again; bringing it back evicts others, which may as well.
    fetch(3);
    QVERIFY(uuids(*m_model).startsWith(text("f03 f02 f01 f63 ")));
    m_phone.store.clearLog();
    m_model->fetchContent(3);
    QVERIFY(uuids(*m_model).startsWith(text("f06 f05 f04 f03 ")));
    QCOMPARE(m_phone.requests(feedPath), QStringList());
    QCOMPARE(m_model->count(), 60);

    // A turned row stays known, and there is one of it only.
    m_phone.tell("feed", R"({"clear": true})");
    fetch(1);
    m_journal->take();
    fetch(1);
    QCOMPARE(m_journal->take(),
             text("loading rowsRemoved rowsInserted feedItemInserted count loading"));
    QCOMPARE(uuids(*m_model).split(QLatin1Char(' ')).removeDuplicates(), 0);
}

void TstFeedModel::keepsOneType()
{
    push(1, 3);
    push(4, 5, R"(, "type": 2)");
    fetch(1);
    m_journal->take();
    m_model->setFeedType(Store::Feed::Like);
    m_model->setFeedType(Store::Feed::Like);
    QCOMPARE(m_journal->take(), text("modelReset columnModels count feedType"));
    QCOMPARE(m_phone.requests(feedPath).size(), 1); // a change fetches nothing
    fetch(10);
    QCOMPARE(uuids(*m_model), text("orvik-uuid f05 f04"));
    // Items that are dropped don't count as new, so the store is soon left in peace.
    m_phone.store.clearLog();
    for (int i = 0; i < 4; ++i)
        fetch(1);
    QCOMPARE(m_phone.requests(feedPath).filter(text("limit=11")).size(), 3);
}

void TstFeedModel::addsUpRequests()
{
    m_phone.tell("fault", R"({"path": "/api/v001/feed/", "do": "delay", "ms": 50, "times": 2})");
    push(1, 9);
    m_model->fetchContent(2);
    fetch(3);
    QTRY_COMPARE(m_phone.requests(feedPath).size(), 2);
    QVERIFY(m_phone.requests(feedPath).contains(text("GET /api/v001/feed/?limit=15")));
    QTRY_COMPARE(uuids(*m_model), text("f05 f04 f03 f02 f01"));
}

void TstFeedModel::keepsWhatComesAfterAReset()
{
    m_phone.tell("fault", R"({"path": "/api/v001/feed/", "do": "delay", "ms": 50})");
    push(1, 4);
    m_model->fetchContent(3);
    m_model->reset();
    QVERIFY(m_model->loading());
    QTRY_VERIFY(!m_model->loading());
    QCOMPARE(m_model->count(), 0);
    m_model->fetchContent(3);
    QCOMPARE(uuids(*m_model), text("f03 f02 f01"));
    QCOMPARE(m_phone.requests(feedPath).size(), 1);

    m_model->fetchContent(20);
    m_watch.reset();
    m_model.reset(); // with a request under way
    QTRY_COMPARE(m_phone.requests(feedPath).size(), 2);
}

void TstFeedModel::takesAFailureForAShortFeed()
{
    push(1, 9);
    m_phone.tell("fault", R"({"path": "/api/v001/feed/", "times": 1, "do": "body",
                              "body": "{\"objects\": [[], {\"type\": {}}"})");
    fetch(2);
    QCOMPARE(uuids(*m_model), text("orvik-uuid"));
    fetch(2);
    QCOMPARE(uuids(*m_model), text("f02 f01 orvik-uuid"));
}

void TstFeedModel::followsPackages()
{
    push(1, 2);
    push(3, 4, R"(, "package_name": "pack-01")");
    fetch(4);
    QCOMPARE(uuids(*m_model), text("f02 f01 f04 f03"));
    m_watch->take();
    m_phone.packager->install(text("pack-01"));
    QCOMPARE(
        m_watch->take(),
        text("change 1 267, change 2 267, change 3 267, change 1 268, change 2 268, change 3 268"));
    QCOMPARE(m_watch->shown("appState"), text("32 4 4 4"));
    QCOMPARE(m_watch->shown("progress"), text("100 0 0 0"));
    Q_EMIT m_phone.packager->progressChanged(text("pack-02"), 100); // any number counts
    QCOMPARE(m_watch->take(), text("change 0 268"));
    m_model->reset();
    Q_EMIT m_phone.packager->packageStatusChanged(text("pack-01"));
    QCOMPARE(m_watch->take(), text("reset"));
    m_phone.job("install pack-01")->fail(text("cancelled"));
}

void TstFeedModel::insertsThePromoOnce()
{
    m_model->insertPromo();
    m_model->insertPromo();
    QCOMPARE(m_watch->texts("collection"), QStringList(m_phone.facade->storeCategory()));
    // Its name isn't taken: an item of the store may have it, too.
    m_phone.tell("feed", R"({"push": [{"uuid": "orvik-uuid", "type": 3}]})");
    fetch(1);
    QCOMPARE(uuids(*m_model), text("orvik-uuid orvik-uuid"));
}

void TstFeedModel::worksWithoutEndpoints()
{
    StoreImageProvider images;
    auto early = std::make_unique<OrvikStore>(&images, nullptr);
    m_model->setStore(early.get());
    QTest::ignoreMessage(QtWarningMsg, "Too early to request for feed items!");
    m_model->fetchContent(2);
    QVERIFY(m_model->loading()); // until a later call ends
    early.reset();
    m_model->fetchContent(2);
    m_model->insertPromo();
    m_model->setStore(m_phone.facade.get());
    push(1, 9);
    fetch(1);
    QCOMPARE(uuids(*m_model), text("f03 f02 f01 orvik-uuid")); // the two from before as well
}

void TstFeedModel::refusesForeignObjects()
{
    QTest::ignoreMessage(
        QtWarningMsg,
        "void FeedModel::setStore(QObject*) The given object is not a OrvikStore object!");
    m_model->setStore(m_phone.packager.get());
    QTest::ignoreMessage(QtWarningMsg,
                         "void FeedModel::setPackager(QObject*) "
                         "The given object is not a PackageHandler object!");
    m_model->setPackager(nullptr);
    QCOMPARE(m_model->packager(), m_phone.packager.get());
    // The same handler once more is heard twice.
    m_model->setPackager(m_phone.packager.get());
    m_model->insertPromo();
    m_watch->take();
    Q_EMIT m_phone.packager->packageStatusChanged(QString());
    QCOMPARE(m_watch->take(), text("change 0 267, change 0 267"));
}

void TstFeedModel::dealsColumns()
{
    const auto columns = [this] {
        QStringList all;
        const QList<QObject *> models = m_model->columnModels();
        for (QObject *model : models)
            all.append(uuids(*static_cast<QAbstractItemModel *>(model)));
        return all.join(text(" | "));
    };
    m_model->setColumns(2);
    m_model->setColumns(2);
    QCOMPARE(m_journal->take(), text("columns columnModels"));
    auto *second = static_cast<FeedColumnsModel *>(m_model->columnModels().at(1));
    auto watch = std::make_unique<ModelWatch>(second);
    push(1, 4);
    fetch(3);
    QCOMPARE(columns(), text("f03 f01 | f02"));
    QCOMPARE(watch->take(), text("insert 0"));
    watch.reset();

    // The numbers run on, so the next item after a reset is dealt to the next column.
    m_model->reset();
    fetch(5);
    QCOMPARE(columns(), text("f04 f02 | orvik-uuid f03 f01"));
    // An item that is brought to the top again takes its new number's column.
    fetch(1);
    QCOMPARE(columns(), text("f01 f04 f02 | orvik-uuid f03"));

    m_model->setColumns(-1);
    QCOMPARE(m_model->columnModels().size(), 0);
}

void TstFeedModel::keepsHeadSlots()
{
    FeedHeadModel head;
    ModelWatch watch(&head);
    head.setSourceModel(m_model.get());
    head.setLength(3);
    push(1, 70);
    fetch(1);
    watch.take();
    m_model->fetchContent(1);
    m_model->fetchContent(1);
    QCOMPARE(uuids(head), text("f01 f02 f03"));
    QCOMPARE(watch.take(), text("insert 1, insert 2"));
    // From here the newest takes the slot of the oldest, round and round.
    m_model->fetchContent(1);
    QCOMPARE(uuids(head), text("f04 f02 f03"));
    m_model->fetchContent(4);
    QCOMPARE(uuids(head), text("f07 f08 f06"));
    QCOMPARE(watch.take(), text("change 0, change 1, change 2, change 0, change 1"));
    // Rows that go far below it are no matter.
    m_model->fetchContent(53);
    watch.take();
    m_model->fetchContent(1);
    QCoreApplication::processEvents(); // and a rebuild, if one is scheduled
    QCOMPARE(watch.take(), text("change 1"));
    QCOMPARE(uuids(head), text("f61 f62 f60"));

    // A longer head begins anew, in the order of the feed.
    head.setLength(4);
    QTRY_COMPARE(uuids(head), text("f62 f61 f60 f59"));
    for (int none : {0, -1}) {
        head.setLength(none);
        QTRY_COMPARE(head.rowCount(), 0);
        m_model->fetchContent(1);
        QCOMPARE(head.rowCount(), 0);
    }
}

void TstFeedModel::headFollowsItsSource()
{
    FeedHeadModel head;
    ModelWatch watch(&head);
    head.setLength(2);
    QTRY_COMPARE(watch.journal(), text("reset")); // without a source
    push(1, 4);
    fetch(3);
    SignalJournal journal(&head);
    head.setSourceModel(m_model.get());
    head.setSourceModel(m_model.get());
    QCOMPARE(journal.take(), text("sourceModel"));
    QCOMPARE(head.rowCount(), 0); // until the feed moves
    head.setLength(3);
    QTRY_COMPARE(uuids(head), text("f03 f02 f01"));
    watch.take();
    Q_EMIT m_phone.packager->progressChanged(text("pack-02"), 5);
    QCOMPARE(watch.take(), text("change 1 268"));
    Q_EMIT m_model->dataChanged(m_model->index(0), m_model->index(1), {});
    QTRY_COMPARE(watch.journal(), text("reset"));
    // A turned row was in the head, which is thus laid out anew.
    m_phone.tell("feed", R"({"clear": true})");
    m_model->fetchContent(1);
    m_model->insertPromo();
    fetch(2);
    QTRY_COMPARE(uuids(head), uuids(*m_model).section(QLatin1Char(' '), 0, 2));

    m_model->reset();
    QCOMPARE(head.rowCount(), 3); // a reset isn't followed
    QVERIFY(!head.data(head.index(0), FeedModel::TitleRole).isValid());
    FeedModel other;
    head.setSourceModel(&other);
    m_model->insertPromo();
    other.insertPromo();
    QCOMPARE(head.rowCount(), 3);
    QCOMPARE(head.data(head.index(2), FeedModel::CounterRole), QVariant(0)); // the oldest slot
}

QTEST_GUILESS_MAIN(TstFeedModel)

#include "tst_feedmodel.moc"
