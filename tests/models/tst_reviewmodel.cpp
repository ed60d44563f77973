#include "reviewmodel.h"

#include "modelwatch.h"
#include "storephone.h"

#include <QTest>

namespace {

const QString reviewPath = QStringLiteral("/api/v001/review/");

QDateTime day(int number)
{
    return QDateTime(QDate(2026, 5, number), QTime(9, 0), Qt::UTC);
}

/** A review as the facade announces what the user has sent. */
Store::Review::ConstPtr sent(const char *uuid, const char *words, int dayNumber,
                             const char *tempUuid = "")
{
    const auto review = QSharedPointer<Store::Review>::create();
    review->uuid = text(uuid);
    review->review = text(words);
    review->tempUuid = text(tempUuid);
    review->author = text("u-own");
    review->createdOn = day(dayNumber);
    review->updatedOn = day(dayNumber);
    return review;
}

} // namespace

/** Lists of reviews that the store answers with as each test says. */
class TstReviewModel : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void init();
    void showsItsRows();
    void endsAtTheLimit_data();
    void endsAtTheLimit();
    void fetchesAnew();
    void showsWhatIsSent();
    void givesWayToTheRealUuid();
    void survivesFailures();
    void wantsAStoreFirst();

private:
    /** The store's list: a review for each day of the month, in this order. */
    void serve(const QList<int> &days);
    [[nodiscard]] QString words() const;

    StorePhone m_phone;
    QString m_app; // an application that the store knows
    std::unique_ptr<ReviewModel> m_model;
    std::unique_ptr<ModelWatch> m_watch;
};

void TstReviewModel::initTestCase()
{
    m_app = m_phone.offer(text("demo-one"), "{}");
}

void TstReviewModel::init()
{
    m_watch.reset();
    m_model = std::make_unique<ReviewModel>();
    m_model->setStore(QVariant::fromValue<QObject *>(m_phone.facade.get()));
    m_watch = std::make_unique<ModelWatch>(m_model.get());
    m_phone.tell("clear-faults");
    m_phone.store.clearLog();
}

void TstReviewModel::serve(const QList<int> &days)
{
    QJsonArray reviews;
    for (int number : days) {
        reviews.append(QJsonObject{{text("uuid"), text("r-%1").arg(number)},
                                   {text("review"), text("day %1").arg(number)},
                                   {text("user"), text("u-%1").arg(number)},
                                   {text("user_username"), text("name %1").arg(number)},
                                   {text("version"), text("1.%1").arg(number)},
                                   {text("created_on"), day(number).toString(Qt::ISODate)},
                                   {text("updated_on"), day(number + 1).toString(Qt::ISODate)}});
    }
    const QJsonDocument page(
        QJsonObject{{text("meta"), QJsonObject()}, {text("objects"), reviews}});
    m_phone.store.command(text("fault"),
                          {{text("path"), reviewPath},
                           {text("method"), text("GET")},
                           {text("do"), text("body")},
                           {text("body"), QString::fromUtf8(page.toJson())}});
}

QString TstReviewModel::words() const
{
    return m_watch->texts("review").join(text(", ")).remove(text("day "));
}

void TstReviewModel::showsItsRows()
{
    serve({3, 1, 2});
    m_model->setApplication(text("app"));
    QVERIFY(m_model->loading());
    QTRY_VERIFY(!m_model->loading());
    QCOMPARE(pictureDifference(text(KIOSK_TEST_DATA), text("reviewmodel-rows"), m_watch->rows()),
             QString());
}

void TstReviewModel::endsAtTheLimit_data()
{
    QTest::addColumn<int>("limit");
    QTest::addColumn<QString>("asked");
    QTest::addColumn<QString>("expected");
    QTest::addColumn<bool>("exceeded");

    const auto row = [](int limit, const char *asked, const char *expected, bool exceeded) {
        QTest::addRow("%d", limit) << limit << text(asked) << text(expected) << exceeded;
    };
    row(-5, "0", "10, 9, 8, 7, 6", false);
    row(5, "6", "10, 9, 8, 7, 6", false);
    row(3, "4", "9, 8, 7", true);
    row(1, "2", "8", true);
    row(std::numeric_limits<int>::max(), "2147483647", "10, 9, 8, 7, 6", false);
}

void TstReviewModel::endsAtTheLimit()
{
    QFETCH(int, limit);
    QFETCH(QString, asked);
    QFETCH(QString, expected);
    QFETCH(bool, exceeded);
    const QString order =
        text(exceeded ? "rowsInserted rowsRemoved loading count" : "rowsInserted count loading");
    serve({8, 7, 9, 6, 10}); // what comes behind the end isn't seen, however new
    m_model->setLimit(limit);
    SignalJournal journal(m_model.get());
    m_model->setApplication(text("app"));
    QCOMPARE(journal.take(), text("application modelReset count loading"));
    QTRY_VERIFY(!m_model->loading());
    QVERIFY(journal.take().contains(order));
    QCOMPARE(words(), expected);
    QCOMPARE(m_model->limitExceeded(), exceeded);
    const QStringList requests = m_phone.requests(reviewPath);
    QCOMPARE(requests.size(), 1);
    QVERIFY(requests[0].startsWith(text("GET /api/v001/review/?application__uuid=app")));
    QCOMPARE(requests[0].section(text("&limit="), 1), asked);
}

void TstReviewModel::fetchesAnew()
{
    serve({1, 2});
    m_model->setApplication(text("app"));
    m_model->setApplication(text("app")); // doesn't end the one before
    QTRY_COMPARE(words(), text("2, 2, 1, 1"));
    m_model->setLimit(1);
    QCOMPARE(m_model->count(), 4); // counts from the next row on
    m_model->setApplication(text("other"));
    QCOMPARE(m_model->count(), 0);
    QVERIFY(m_model->loading());
    QTRY_COMPARE(words(), text("2"));
    QVERIFY(m_model->limitExceeded());
    m_model->setApplication(text("other"));
    QVERIFY(!m_model->limitExceeded());
    m_watch.reset();
    m_model.reset(); // with a request under way
    QTRY_COMPARE(m_phone.requests(reviewPath).size(), 4);
}

void TstReviewModel::showsWhatIsSent()
{
    serve({5, 3, 1});
    m_model->setLimit(3);
    m_model->setApplication(text("app"));
    QTRY_VERIFY(!m_model->loading());
    ReviewModel other;
    other.setStore(QVariant::fromValue<QObject *>(m_phone.facade.get()));
    SignalJournal journal(m_model.get());
    const auto announce = [&](const Store::Review::ConstPtr &review) {
        m_watch->take();
        journal.take();
        Q_EMIT m_phone.facade->reviewSent(review);
        return m_watch->take();
    };
    // New, in a full list. Every list takes it, whatever its application.
    QCOMPARE(announce(sent("", "new", 3, "temp-1")), text("insert 2, remove 3"));
    QCOMPARE(journal.take(), text("rowsInserted rowsRemoved count"));
    QCOMPARE(words(), text("5, 3, new")); // behind its equal
    QVERIFY(m_model->limitExceeded());
    QCOMPARE(other.count(), 1);
    for (const char *uuid : {"r-new", "r-newer"}) // the first is for good
        Q_EMIT m_phone.facade->reviewUuidReceived(text("temp-1"), text(uuid));
    QCOMPARE(m_watch->texts("uuid"), QStringList({text("r-5"), text("r-3"), text("r-new")}));
    // Older than all of a full list: in and out.
    QCOMPARE(announce(sent("", "", 1)), text("insert 3, remove 3"));
    // Edited: it stays at its place in time.
    QCOMPARE(announce(sent("r-3", "edited", 9)), text("change 1"));
    QCOMPARE(words(), text("5, edited, new"));
    QCOMPARE(m_watch->rows({text("createdOn"), text("updatedOn")})[1].toObject(),
             QJsonObject({{text("createdOn"), text("2026-05-03T09:00:00Z")},
                          {text("updatedOn"), text("2026-05-09T09:00:00Z")}}));
    // Deleted. What didn't fit isn't brought back.
    QCOMPARE(announce(sent("r-3", "", 9)), text("remove 1"));
    QCOMPARE(journal.take(), text("rowsRemoved count"));
    QVERIFY(m_model->limitExceeded());
    QCOMPARE(announce(sent("stranger", "edited", 9)), QString());
    QCOMPARE(announce(sent("stranger", "", 9)), QString());
    QCOMPARE(journal.take(), QString());
}

void TstReviewModel::givesWayToTheRealUuid()
{
    m_phone.tell("fault", R"({"path": "/api/v001/review/", "method": "POST", "times": 1,
                               "do": "status", "status": 404})");
    const auto send = [this](const QString &uuid, const char *words) {
        m_phone.facade->sendReview(uuid, m_app, text(words), text("1.0"));
    };
    send(QString(), "fails"); // and stays without one
    QTRY_COMPARE(m_phone.requests(reviewPath).size(), 1);
    send(QString(), "mine");
    QCOMPARE(m_watch->texts("uuid"), QStringList({QString(), QString()}));
    QTRY_COMPARE(m_watch->journal(), text("insert 0, insert 0, change 0 262"));
    m_watch->take();
    const QString uuid = m_watch->texts("uuid")[0];
    QCOMPARE(words(), text("mine, fails"));
    Q_EMIT m_phone.facade->reviewUuidReceived(text("temp-none"), text("x"));
    QCOMPARE(m_watch->take(), QString());

    send(uuid, "changed");
    QCOMPARE(words(), text("changed, fails"));
    QTRY_COMPARE(m_phone.requests(reviewPath).size(), 3);
    send(uuid, "");
    QCOMPARE(words(), text("fails"));
    QTRY_COMPARE(m_phone.requests(reviewPath).size(), 4);
    QCOMPARE(m_phone.requests(reviewPath)[2], text("PUT /api/v001/review/%1/").arg(uuid));
    QCOMPARE(m_phone.requests(reviewPath)[3], text("DELETE /api/v001/review/%1/").arg(uuid));
}

void TstReviewModel::survivesFailures()
{
    serve({1});
    m_phone.tell("fault", R"({"path": "/api/v001/review/", "times": 1, "do": "body",
                               "body": "{\"objects\": [[], {\"created_on\": []}"})");
    m_model->setApplication(text("app"));
    QTRY_VERIFY(!m_model->loading());
    QCOMPARE(m_model->count(), 0);
    m_model->setApplication(text("app"));
    QTRY_COMPARE(m_model->count(), 1);
}

void TstReviewModel::wantsAStoreFirst()
{
    ReviewModel early;
    SignalJournal journal(&early);
    early.setApplication(QString()); // neither
    QCOMPARE(journal.take(), text("application"));
    for (const QVariant &wrong :
         {QVariant(5), QVariant::fromValue<QObject *>(m_phone.packager.get()), QVariant()})
        early.setStore(wrong);
    early.setApplication(text("app"));
    QCOMPARE(journal.take(), text("application modelReset count"));
    early.setStore(QVariant::fromValue<QObject *>(m_phone.facade.get()));
    QVERIFY(!early.loading());
    QVERIFY(!early.property("store").isValid());
}

QTEST_GUILESS_MAIN(TstReviewModel)

#include "tst_reviewmodel.moc"
