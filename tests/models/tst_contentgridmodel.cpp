#include "contentfiltermodel.h"
#include "contentgridmodel.h"
#include "contentmodel.h"

#include "modelwatch.h"
#include "storephone.h"

#include <QTest>

/** Grids over the five demo applications: one updatable, one installed, three neither. */
class TstContentGridModel : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void init();
    void cutsRows_data();
    void cutsRows();
    void rebuildsOnceForABurst();
    void passesOneRowsChangeOn();
    void isBehindUntilTheRebuild();

private:
    /** Shows all five in grid rows of @p columns. */
    void fill(int columns);
    /** "SECTION: title title" for each grid row. */
    [[nodiscard]] QStringList rows() const;
    /** Turns the event loop until a rebuild, if one is scheduled, must have run. */
    static void turn();

    StorePhone m_phone;
    QSharedPointer<ContentModel> m_source;
    std::unique_ptr<ContentGridModel> m_grid;
    std::unique_ptr<SignalJournal> m_journal; // the grid's
};

void TstContentGridModel::initTestCase()
{
    m_phone.offerDemo();
    m_phone.install("demo-one 1.0, demo-two 1.5");
}

void TstContentGridModel::init()
{
    m_source = QSharedPointer<ContentModel>::create();
    m_source->setStore(m_phone.facade.get());
    m_source->setPackager(m_phone.packager.get());
    m_source->setScope(text("store"));
    m_source->setStartsWith(text("demo-"));
    m_source->setSortMode(ContentModel::SortByState);
    m_grid = std::make_unique<ContentGridModel>(m_source);
    m_journal = std::make_unique<SignalJournal>(m_grid.get());
}

void TstContentGridModel::fill(int columns)
{
    m_grid->setColumns(columns);
    m_source->refresh();
    QTRY_COMPARE(m_source->count(), 5);
    turn();
    m_journal->take();
}

QStringList TstContentGridModel::rows() const
{
    QStringList found;
    const QList<QObject *> list = m_grid->list();
    for (QObject *object : list) {
        auto *row = qobject_cast<ContentFilterModel *>(object);
        const ModelWatch watch(row);
        found.append(QStringLiteral("%1: %2").arg(row->appSection()).arg(watch.shown("title")));
    }
    return found;
}

void TstContentGridModel::turn()
{
    bool turned = false;
    QTimer::singleShot(0, [&turned] { turned = true; });
    QTRY_VERIFY(turned);
}

void TstContentGridModel::cutsRows_data()
{
    QTest::addColumn<int>("columns");
    QTest::addColumn<QString>("expected");

    QTest::newRow("1") << 1 << "1: delta, 16: Alpha, 32: alpha, 32: bravo, 32: Charlie";
    QTest::newRow("2") << 2 << "1: delta, 16: Alpha, 32: alpha bravo, 32: Charlie";
    QTest::newRow("3") << 3 << "1: delta, 16: Alpha, 32: alpha bravo Charlie";
    QTest::newRow("0") << 0 << "";
    QTest::newRow("negative") << -2 << "";
}

void TstContentGridModel::cutsRows()
{
    QFETCH(int, columns);
    QFETCH(QString, expected);
    fill(4);
    m_grid->setColumns(columns);
    m_grid->setColumns(columns);
    QCOMPARE(rows().size(), 3); // until the next turn
    turn();
    QCOMPARE(rows().join(text(", ")), expected);
    // An emptied grid says nothing.
    QCOMPARE(m_journal->take(), text(columns > 0 ? "columns list" : "columns"));
}

void TstContentGridModel::rebuildsOnceForABurst()
{
    m_grid->setColumns(3);
    turn();
    QCOMPARE(m_journal->take(), text("columns list")); // of an empty list, and still told
    m_source->refresh();
    QTRY_COMPARE(m_source->count(), 5);
    turn();
    QCOMPARE(m_journal->take(), text("list"));

    // A state that changes takes the row out and puts it back.
    const QList<QObject *> before = m_grid->list();
    for (const char *package : {"demo-three", "demo-four", "demo-five", "demo-three"})
        Q_EMIT m_phone.packager->packageStatusChanged(text(package));
    QCOMPARE(m_grid->list(), before);
    turn();
    turn();
    QCOMPARE(m_journal->take(), text("list"));
}

void TstContentGridModel::passesOneRowsChangeOn()
{
    fill(2);
    std::vector<std::unique_ptr<ModelWatch>> watches;
    const QList<QObject *> list = m_grid->list();
    for (QObject *row : list)
        watches.push_back(std::make_unique<ModelWatch>(static_cast<ContentFilterModel *>(row)));
    const auto journals = [&watches] {
        QStringList all;
        for (const auto &watch : watches)
            all.append(watch->take());
        return all.join(QLatin1Char('|'));
    };

    Q_EMIT m_phone.packager->progressChanged(text("demo-three"), 50); // bravo
    QCOMPARE(journals(), text("||change 1 260|"));
    Q_EMIT m_phone.facade->companyReceived(text("acme")); // each row by itself
    QCOMPARE(journals(), text("change 0 265|change 0 265|change 0 265, change 1 265|change 0 265"));
    Q_EMIT m_source->dataChanged(m_source->index(9), m_source->index(9), {});
    QCOMPARE(journals(), text("|||"));
    turn();
    QCOMPARE(m_journal->take(), QString());
    Q_EMIT m_source->dataChanged(m_source->index(0), m_source->index(1), {});
    watches.clear();
    turn();
    QCOMPARE(m_journal->take(), text("list"));
}

void TstContentGridModel::isBehindUntilTheRebuild()
{
    fill(3);
    auto *last = static_cast<ContentFilterModel *>(m_grid->list().last());
    m_source->reset();
    turn();
    QCOMPARE(m_journal->take(), QString());
    QCOMPARE(last->rowCount(last->index(0)), 3);
    QVERIFY(!last->data(last->index(2), ContentModel::TitleRole).isValid());

    // Between a change and the rebuild a row may show another application than before.
    m_source->addApplication(m_phone.facade->cachedApplicationUuid(text("demo-four")));
    QCOMPARE(rows().first(), text("1: Charlie"));
    turn();
    QCOMPARE(rows(), QStringList(text("32: Charlie")));
    QCOMPARE(m_journal->take(), text("list"));
}

QTEST_GUILESS_MAIN(TstContentGridModel)

#include "tst_contentgridmodel.moc"
