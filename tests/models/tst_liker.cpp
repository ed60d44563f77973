#include "liker.h"

#include "storephone.h"

#include <QSignalSpy>
#include <QTest>

namespace {

const QString likePath = QStringLiteral("/api/v001/like/");

} // namespace

/** Likes of one application, which has 7 at the beginning of each test. */
class TstLiker : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void init();
    void loads_data();
    void loads();
    void countsByTheAnswer_data();
    void countsByTheAnswer();
    void tellsOpenLists();
    void likesWithoutALookAtItsState();
    void wantsAStoreFirst();
    void worksWithoutEndpoints();

private:
    void setLikes(int count, bool own);
    /** The values and flags as "LIKES isLiked loading busy". */
    [[nodiscard]] QString state() const;

    StorePhone m_phone;
    QString m_app;
    std::unique_ptr<Liker> m_liker;
    std::unique_ptr<SignalJournal> m_journal;
};

void TstLiker::initTestCase()
{
    m_app = m_phone.offer(text("demo-one"), R"({"title": "Demo", "version": "1.0"})");
}

void TstLiker::init()
{
    m_phone.tell("clear-faults");
    setLikes(7, false);
    m_liker = std::make_unique<Liker>();
    m_liker->setStore(QVariant::fromValue<QObject *>(m_phone.facade.get()));
    m_journal = std::make_unique<SignalJournal>(m_liker.get());
    m_phone.store.clearLog();
}

void TstLiker::setLikes(int count, bool own)
{
    const QByteArray push = R"({"push": [{"application": ")" + m_app.toLatin1() + R"(", "count": )"
        + QByteArray::number(count);
    m_phone.tell("likes", push + R"(, "own": )" + (own ? "true" : "false") + "}]}");
    m_phone.tell("likes", push + "}]}"); // a like of one's own may count by itself
}

QString TstLiker::state() const
{
    return QStringLiteral("%1 %2 %3 %4")
        .arg(m_liker->likes())
        .arg(m_liker->isLiked())
        .arg(m_liker->loading())
        .arg(m_liker->busy());
}

void TstLiker::loads_data()
{
    QTest::addColumn<bool>("own");
    QTest::addColumn<QByteArray>("fault");
    QTest::addColumn<QString>("expected");
    QTest::addColumn<QString>("journal");

    const auto row = [](const char *name, bool own, const QByteArray &fault, const char *expected,
                        const char *journal) {
        QTest::newRow(name) << own << fault << text(expected) << text(journal);
    };
    row("not liked", false, "{}", "7 0 0 0", "likes loading busy");
    row("liked", true, "{}", "7 1 0 0", "isLiked likes loading busy");
    row("another good status means not liked", true,
        R"({"path": "^/api/v001/like/[^?]", "do": "status", "status": 202})", "7 0 0 0",
        "likes loading busy");
    row("no count", true, R"({"path": "/api/v001/like/?", "do": "status", "status": 404})",
        "0 1 0 0", "isLiked loading busy");
}

void TstLiker::loads()
{
    QFETCH(bool, own);
    QFETCH(QByteArray, fault);
    QFETCH(QString, expected);
    QFETCH(QString, journal);
    setLikes(7, own);
    if (fault != "{}")
        m_phone.tell("fault", fault);
    m_liker->setApplication(m_app);
    QCOMPARE(state(), text("0 0 1 1"));
    QCOMPARE(m_journal->take(), text("application loading busy"));
    QTRY_VERIFY(!m_liker->loading());
    QCOMPARE(state(), expected);
    QCOMPARE(m_journal->take(), journal);
    QCOMPARE(m_phone.requests(likePath),
             QStringList({text("GET %1%2/").arg(likePath, m_app),
                          text("GET %1?application__uuid=%2&limit=1").arg(likePath, m_app)}));
    m_liker->setApplication(m_app);
    m_liker->setApplication(QString());
    QCOMPARE(m_liker->application(), m_app);
    QCOMPARE(m_journal->take(), QString());
}

void TstLiker::countsByTheAnswer_data()
{
    QTest::addColumn<bool>("like");
    QTest::addColumn<int>("status");
    QTest::addColumn<int>("before");
    QTest::addColumn<QString>("expected");

    // Whether the user likes it before is the opposite of what the test asks for.
    QTest::newRow("like") << true << 201 << 7 << "8 1 0 0";
    QTest::newRow("like, answered as gone") << true << 204 << 7 << "7 0 0 0";
    QTest::newRow("like, answered as fine") << true << 200 << 7 << "7 0 0 0";
    QTest::newRow("like, broken store") << true << 500 << 7 << "7 0 0 0";
    QTest::newRow("unlike") << false << 204 << 7 << "6 0 0 0";
    QTest::newRow("unlike none") << false << 204 << 0 << "0 0 0 0";
    QTest::newRow("unlike, answered as fine") << false << 200 << 7 << "7 1 0 0";
    QTest::newRow("unlike, refused") << false << 404 << 7 << "7 1 0 0";
}

void TstLiker::countsByTheAnswer()
{
    QFETCH(bool, like);
    QFETCH(int, status);
    QFETCH(int, before);
    QFETCH(QString, expected);
    setLikes(before, !like);
    m_liker->setApplication(m_app);
    QTRY_VERIFY(!m_liker->loading());
    m_phone.store.command(text("fault"),
                          {{text("path"), likePath},
                           {text("method"), text(like ? "POST" : "DELETE")},
                           {text("do"), text("status")},
                           {text("status"), status}});
    m_journal->take();
    const QString untouched = text("%1 %2 0 1").arg(before).arg(!like);
    if (like)
        m_liker->like();
    else
        m_liker->unlike();
    QCOMPARE(state(), untouched); // nothing is counted yet
    QTRY_VERIFY_WITH_TIMEOUT(!m_liker->busy(), 10000);
    QCOMPARE(state(), expected);
    QCOMPARE(m_journal->take(),
             text(status == (like ? 201 : 204) ? "busy likes isLiked busy" : "busy busy"));
}

void TstLiker::tellsOpenLists()
{
    OrvikStore *facade = m_phone.facade.get();
    const auto record = QSharedPointer<Store::Application>::create();
    record->uuid = m_app;
    record->title = text("Demo");
    record->valid = true;
    facade->addApplication(record);
    QSignalSpy updated(facade, &OrvikStore::applicationDataUpdated);
    m_liker->setApplication(m_app);
    QTRY_VERIFY(!m_liker->loading());
    m_liker->like();
    QTRY_VERIFY(m_liker->isLiked());
    QCOMPARE(updated.value(0).value(0).toString(), m_app);
    QCOMPARE(facade->application(m_app)->likes, 8);
    QCOMPARE(facade->application(m_app)->title, text("Demo"));
    QCOMPARE(record->likes, 0); // who holds the record keeps what it read
}

void TstLiker::likesWithoutALookAtItsState()
{
    m_phone.tell("fault", R"({"path": "/api/v001/like/", "method": "POST",
                               "do": "status", "status": 201})");
    m_liker->setApplication(m_app);
    m_liker->like(); // while the first load runs
    QSignalSpy busy(m_liker.get(), &Liker::busyChanged);
    QTRY_COMPARE(busy.size(), 2); // the end of both
    const int before = m_liker->likes();
    m_liker->like();
    m_liker->like();
    QTRY_COMPARE(busy.size(), 6);
    QCOMPARE(m_liker->likes(), before + 2);
    m_liker->like();
    m_liker.reset(); // with a request under way
    QTRY_COMPARE(m_phone.requests(likePath).filter(text("POST")).size(), 4);
}

void TstLiker::wantsAStoreFirst()
{
    Liker early;
    early.like();
    early.setApplication(m_app);
    early.setStore(QVariant(text("store")));
    early.setStore(QVariant::fromValue<QObject *>(m_phone.packager.get()));
    early.unlike();
    early.setStore(QVariant::fromValue<QObject *>(m_phone.facade.get()));
    early.setApplication(m_app); // the same as before
    QVERIFY(!early.loading() && !early.busy());
    QVERIFY(!early.property("store").isValid());
    m_liker->like(); // of nothing
    QVERIFY(!m_liker->busy());
    QCOMPARE(m_phone.requests(likePath), QStringList());
}

void TstLiker::worksWithoutEndpoints()
{
    StoreImageProvider images;
    auto early = std::make_unique<OrvikStore>(&images, nullptr);
    m_liker->setStore(QVariant::fromValue<QObject *>(early.get()));
    m_liker->setApplication(m_app);
    QCOMPARE(state(), text("0 0 1 1")); // no answer will come
    m_journal->take();
    m_liker->like();
    m_liker->unlike();
    early.reset();
    m_liker->like();
    QCOMPARE(m_journal->take(), QString());
}

QTEST_GUILESS_MAIN(TstLiker)

#include "tst_liker.moc"
