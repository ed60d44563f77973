#include "contentfiltermodel.h"
#include "contentgridmodel.h"
#include "contentmodel.h"

#include "modelwatch.h"
#include "storephone.h"

#include <QSignalSpy>
#include <QTest>

/** Grids over the five demo applications: one updatable, one installed, three neither. */
class TstContentGridModel : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void init();
    void cleanup();
    void cutsRows_data();
    void cutsRows();
    void rebuildsOnceForABurst();
    void passesOneRowsChangeOn();
    void isBehindUntilTheRebuild();
    void standsAlone();

private:
    void fill();
    /** "SECTION: title title" for each grid row. */
    [[nodiscard]] QStringList rows() const;
    /** Turns the event loop until a rebuild, if one is scheduled, must have run. */
    static void turn();

    std::unique_ptr<StorePhone> m_phone;
    QSharedPointer<ContentModel> m_source;
    std::unique_ptr<ContentGridModel> m_grid;
};

void TstContentGridModel::initTestCase()
{
    m_phone = std::make_unique<StorePhone>();
    m_phone->offerDemo();
    QVERIFY(m_phone->connectFacade());
    m_phone->install("demo-one 1.0, demo-two 1.5");
}

void TstContentGridModel::init()
{
    m_source = QSharedPointer<ContentModel>::create();
    m_source->setStore(m_phone->facade.get());
    m_source->setPackager(m_phone->packager.get());
    m_source->setScope(text("store"));
    m_source->setStartsWith(text("demo-"));
    m_source->setSortMode(ContentModel::SortByState);
    m_grid = std::make_unique<ContentGridModel>(m_source);
}

void TstContentGridModel::cleanup()
{
    m_grid.reset();
    m_source.reset();
}

void TstContentGridModel::fill()
{
    m_source->refresh();
    QTRY_COMPARE(m_source->count(), 5);
    turn();
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

    QTest::newRow("1") << 1 << text("1: delta, 16: Alpha, 32: alpha, 32: bravo, 32: Charlie");
    QTest::newRow("2") << 2 << text("1: delta, 16: Alpha, 32: alpha bravo, 32: Charlie");
    QTest::newRow("3") << 3 << text("1: delta, 16: Alpha, 32: alpha bravo Charlie");
    QTest::newRow("many") << 1000 << text("1: delta, 16: Alpha, 32: alpha bravo Charlie");
    QTest::newRow("0") << 0 << text("");
    QTest::newRow("negative") << -2 << text("");
}

void TstContentGridModel::cutsRows()
{
    QFETCH(int, columns);
    QFETCH(QString, expected);
    m_grid->setColumns(4);
    fill();
    QSignalSpy changed(m_grid.get(), &ContentGridModel::columnsChanged);
    QSignalSpy listed(m_grid.get(), &ContentGridModel::listChanged);
    m_grid->setColumns(columns);
    m_grid->setColumns(columns);
    QCOMPARE(changed.size(), 1);
    QCOMPARE(m_grid->columns(), columns);
    QCOMPARE(rows().size(), 3); // until the next turn
    turn();
    QCOMPARE(rows().join(text(", ")), expected);
    // An emptied grid says nothing.
    QCOMPARE(listed.size(), columns > 0 ? 1 : 0);
}

void TstContentGridModel::rebuildsOnceForABurst()
{
    QSignalSpy listed(m_grid.get(), &ContentGridModel::listChanged);
    m_grid->setColumns(3);
    turn();
    QCOMPARE(listed.size(), 1); // of an empty list, and still told
    m_source->refresh();
    QTRY_COMPARE(m_source->count(), 5);
    turn();
    QCOMPARE(listed.size(), 2);

    // A state that changes takes the row out and puts it back.
    const QList<QObject *> before = m_grid->list();
    for (const char *package : {"demo-three", "demo-four", "demo-five", "demo-three"})
        Q_EMIT m_phone->packager->packageStatusChanged(text(package));
    QCOMPARE(listed.size(), 2);
    QCOMPARE(m_grid->list(), before);
    turn();
    QCOMPARE(listed.size(), 3);
    turn();
    QCOMPARE(listed.size(), 3);
}

void TstContentGridModel::passesOneRowsChangeOn()
{
    m_grid->setColumns(2);
    fill();
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
    QSignalSpy listed(m_grid.get(), &ContentGridModel::listChanged);

    Q_EMIT m_phone->packager->progressChanged(text("demo-three"), 50); // bravo
    QCOMPARE(journals(), text("||change 1 260|"));
    Q_EMIT m_phone->facade->companyReceived(text("acme")); // each row by itself
    QCOMPARE(journals(), text("change 0 265|change 0 265|change 0 265, change 1 265|change 0 265"));
    Q_EMIT m_source->dataChanged(m_source->index(9), m_source->index(9), {});
    QCOMPARE(journals(), text("|||"));
    turn();
    QCOMPARE(listed.size(), 0);
    Q_EMIT m_source->dataChanged(m_source->index(0), m_source->index(1), {});
    watches.clear();
    turn();
    QCOMPARE(listed.size(), 1);
}

void TstContentGridModel::isBehindUntilTheRebuild()
{
    m_grid->setColumns(3);
    fill();
    auto *last = static_cast<ContentFilterModel *>(m_grid->list().last());
    QSignalSpy listed(m_grid.get(), &ContentGridModel::listChanged);
    m_source->reset();
    turn();
    QCOMPARE(listed.size(), 0);
    QCOMPARE(m_grid->list().size(), 3);
    QCOMPARE(last->rowCount(last->index(0)), 3);
    QVERIFY(!last->data(last->index(2), ContentModel::TitleRole).isValid());

    // Between a change and the rebuild a row may show another application than before.
    m_source->addApplication(m_phone->facade->cachedApplicationUuid(text("demo-four")));
    auto *first = static_cast<ContentFilterModel *>(m_grid->list().first());
    QCOMPARE(first->data(first->index(0), ContentModel::TitleRole), QVariant(text("Charlie")));
    QCOMPARE(first->appSection(), ApplicationState::Updatable);
    turn();
    QCOMPARE(rows(), QStringList(text("32: Charlie")));
    QCOMPARE(listed.size(), 1);
}

void TstContentGridModel::standsAlone()
{
    m_grid->setColumns(3);
    fill();
    auto *row = static_cast<ContentFilterModel *>(m_grid->list().first());
    QCOMPARE(row->roleNames(), m_source->roleNames());
    QCOMPARE(m_grid->property("list").value<QList<QObject *>>().size(), 3);
    QVERIFY(!row->data(row->index(1), 256).isValid());
    QVERIFY(!row->data(QModelIndex(), 256).isValid());
    // The grid keeps its source, and takes its rows with it, with a rebuild under way.
    const QPointer<ContentModel> source = m_source.data();
    const QPointer<QObject> gone = row;
    m_source.reset();
    QVERIFY(source);
    Q_EMIT m_phone->packager->packageStatusChanged(text("demo-one"));
    m_grid.reset();
    QVERIFY(!gone && !source);
    turn();
}

QTEST_GUILESS_MAIN(TstContentGridModel)

#include "tst_contentgridmodel.moc"
