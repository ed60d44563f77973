// The models, in-process and without a network.

#include "measure.h"
#include "phone.h"
#include "records.h"

#include "contentgridmodel.h"
#include "contentmodel.h"
#include "feedmodel.h"
#include "orvikstore.h"
#include "reviewmodel.h"
#include "searchassistant.h"

#include <QMetaMethod>

#include <algorithm>

namespace Bench {

namespace {

constexpr int rowsPerRound = 500;
constexpr int burst = 1000;
constexpr int feedItems = 10000;
constexpr int feedRows = 60;
constexpr int words = 100000;
constexpr int reviews = 5000;

/** Delivers a record to a slot as a direct call would, without looking the slot up again. */
template <typename Record>
class Delivery
{
public:
    Delivery(QObject *receiver, const char *slot, const char *type)
        : m_receiver(receiver)
        , m_type(type)
        , m_method(receiver->metaObject()->method(receiver->metaObject()->indexOfSlot(slot)))
    {
        if (!m_method.isValid())
            giveUp(QStringLiteral("no such slot: ") + QLatin1String(slot));
    }

    void operator()(const Record &record, bool hasMore)
    {
        m_method.invoke(m_receiver, Qt::DirectConnection, QGenericArgument(m_type, &record),
                        Q_ARG(bool, hasMore));
    }
    void operator()(const Record &record)
    {
        m_method.invoke(m_receiver, Qt::DirectConnection, QGenericArgument(m_type, &record));
    }

private:
    QObject *m_receiver;
    const char *m_type;
    QMetaMethod m_method;
};

using ContentDelivery = Delivery<Store::Application::ConstPtr>;
const char *const contentSlot = "slotApplicationReceived(Store::Application::ConstPtr,bool)";
const char *const contentType = "Store::Application::ConstPtr";

/** The least that a sorted list of records can do. */
template <typename Record>
class FloorModel : public QAbstractListModel
{
public:
    using QAbstractListModel::QAbstractListModel;

    [[nodiscard]] int rowCount(const QModelIndex &) const override { return m_rows.size(); }
    [[nodiscard]] QVariant data(const QModelIndex &, int) const override { return {}; }

    template <typename Less>
    void insert(const Record &record, Less less)
    {
        const auto place = std::lower_bound(m_rows.cbegin(), m_rows.cend(), record, less);
        const int row = int(place - m_rows.cbegin());
        beginInsertRows(QModelIndex(), row, row);
        m_rows.insert(row, record);
        endInsertRows();
    }

    void prependWithin(const Record &record, int limit)
    {
        if (m_rows.size() >= limit) {
            beginRemoveRows(QModelIndex(), limit - 1, limit - 1);
            m_rows.removeLast();
            endRemoveRows();
        }
        beginInsertRows(QModelIndex(), 0, 0);
        m_rows.prepend(record);
        endInsertRows();
    }

private:
    QList<Record> m_rows;
};

template <typename Record>
bool youngerThan(const Record &a, const Record &b)
{
    return b->updatedOn < a->updatedOn;
}

/** Gets its records the way the product's model gets them: through a slot. */
class SortedFloor final : public FloorModel<Store::Application::ConstPtr>
{
    Q_OBJECT

public Q_SLOTS:
    void slotReceived(Store::Application::ConstPtr app, bool)
    {
        insert(app, youngerThan<Store::Application::ConstPtr>);
    }
};

void measureSortedInsertion(const char *name, int rows)
{
    using Record = Store::Application::ConstPtr;
    QVector<Record> records;
    for (int i = 0; i < rows + 11 * rowsPerRound; ++i)
        records.append(application(i));
    ContentModel model;
    model.setSortMode(ContentModel::SortByAge);
    ContentDelivery deliver(&model, contentSlot, contentType);
    SortedFloor floor;
    ContentDelivery insert(&floor, "slotReceived(Store::Application::ConstPtr,bool)", contentType);
    int delivered = 0;
    int inserted = 0;
    for (; delivered < rows; ++delivered)
        deliver(records.at(delivered), true);
    for (; inserted < rows; ++inserted)
        insert(records.at(inserted), true);
    compare(
        name, Unit::Seconds, 1.5, 9,
        [&] {
            return computingSecondsOf([&] {
                       for (int i = 0; i < rowsPerRound; ++i)
                           deliver(records.at(delivered++), true);
                   })
                / rowsPerRound;
        },
        [&] {
            return computingSecondsOf([&] {
                       for (int i = 0; i < rowsPerRound; ++i)
                           insert(records.at(inserted++), true);
                   })
                / rowsPerRound;
        });
    if (model.count() != delivered)
        giveUp(QStringLiteral("rows are missing"));
}

void measureGrid()
{
    const auto source = QSharedPointer<ContentModel>::create();
    ContentGridModel grid(source);
    grid.setColumns(4);
    QCoreApplication::processEvents();
    ContentDelivery deliver(source.data(), contentSlot, contentType);
    int rebuilds = 0;
    QObject::connect(&grid, &ContentGridModel::listChanged, &grid, [&rebuilds] { ++rebuilds; });
    for (int i = 0; i < burst; ++i)
        deliver(application(i), true);
    const double seconds = secondsOf([&] {
        waitUntil("the grid", [&rebuilds] { return rebuilds > 0; });
        QCoreApplication::processEvents();
    });
    addLimit("grid rebuilds for a burst of 1,000 rows", Unit::Count, 1, rebuilds);
    addNote("that grid rebuild, 250 grid rows", Unit::Seconds, seconds);
}

void measureFeed()
{
    QVector<Store::Feed::ConstPtr> items;
    for (int i = 0; i < 6 * feedItems; ++i) {
        const auto feed = QSharedPointer<Store::Feed>::create();
        feed->uuid = QStringLiteral("feed-%1").arg(i);
        feed->packageName = QStringLiteral("application-%1").arg(i % 200);
        feed->itemType = Store::Feed::New;
        items.append(feed);
    }
    OrvikStore store(nullptr, nullptr); // never asked for anything
    int figureItem = 0;
    int floorItem = 0;
    compare(
        "one of 10,000 arrivals in a feed of 60", Unit::Seconds, 2, 5,
        [&] {
            FeedModel model;
            model.setStore(&store);
            model.fetchContent(feedItems);
            Delivery<Store::Feed::ConstPtr> deliver(
                &model, "slotFeedReceived(Store::Feed::ConstPtr)", "Store::Feed::ConstPtr");
            const double seconds = computingSecondsOf([&] {
                for (int i = 0; i < feedItems; ++i)
                    deliver(items.at(figureItem++));
            });
            if (model.count() != feedRows)
                giveUp(QStringLiteral("the feed has the wrong length"));
            return seconds / feedItems;
        },
        [&] {
            // The map is what each arrival is announced with.
            FloorModel<Store::Feed::ConstPtr> model;
            int entries = 0;
            const double seconds = computingSecondsOf([&] {
                for (int i = 0; i < feedItems; ++i) {
                    const Store::Feed::ConstPtr &item = items.at(floorItem++);
                    model.prependWithin(item, feedRows);
                    entries += item->toMap().size();
                }
            });
            return entries > 0 ? seconds / feedItems : 0;
        });
}

void measureSuggestions()
{
    SearchAssistant assistant;
    assistant.setLimit(10);
    QStringList learnt;
    for (int i = 0; i < words; ++i)
        learnt.append(
            QStringLiteral("%1word%2").arg(QString::number(quint32(i) * 2654435761U, 36)).arg(i));
    Delivery<QStringList>(&assistant, "slotSearchCompletionReceived(QStringList)",
                          "QStringList")(learnt);
    learnt.sort(Qt::CaseInsensitive);
    constexpr int keystrokes = 2000;
    qsizetype found = 0;
    const auto term = [&learnt](int keystroke) {
        return learnt.at((keystroke * 7919) % words).left(3 + keystroke % 3);
    };
    compare(
        "suggestions per keystroke, 100,000 words", Unit::Seconds, 10, 9,
        [&] {
            return computingSecondsOf([&] {
                       for (int i = 0; i < keystrokes; ++i) {
                           assistant.setSearchTerm(term(i));
                           found += assistant.rowCount();
                       }
                   })
                / keystrokes;
        },
        [&] {
            return computingSecondsOf([&] {
                       for (int i = 0; i < keystrokes; ++i) {
                           const QString typed = term(i);
                           auto word = std::lower_bound(learnt.cbegin(), learnt.cend(), typed);
                           QStringList suggestions;
                           for (; word != learnt.cend() && suggestions.size() < 10
                                && word->startsWith(typed);
                                ++word)
                               suggestions.append(*word);
                           found += suggestions.size();
                       }
                   })
                / keystrokes;
        });
    if (found == 0)
        giveUp(QStringLiteral("nothing is suggested"));
}

void measureReviews()
{
    QVector<Store::Review::ConstPtr> list;
    for (int i = 0; i < reviews; ++i) {
        const auto review = QSharedPointer<Store::Review>::create();
        review->uuid = QStringLiteral("review-%1").arg(i);
        review->createdOn = QDateTime(QDate(2021, 1, 1), QTime(0, 0), Qt::UTC).addSecs(-i * 60LL);
        review->updatedOn = review->createdOn;
        list.append(review);
    }
    compare(
        "list of 5,000 reviews, newest first", Unit::Seconds, 1.5, 5,
        [&] {
            ReviewModel model;
            Delivery<Store::Review::ConstPtr> deliver(
                &model, "slotReviewReceived(Store::Review::ConstPtr,bool)",
                "Store::Review::ConstPtr");
            return computingSecondsOf([&] {
                for (const Store::Review::ConstPtr &review : qAsConst(list))
                    deliver(review, true);
                if (model.count() != reviews)
                    giveUp(QStringLiteral("reviews are missing"));
            });
        },
        [&] {
            FloorModel<Store::Review::ConstPtr> model;
            return computingSecondsOf([&] {
                for (const Store::Review::ConstPtr &review : qAsConst(list))
                    model.insert(review, youngerThan<Store::Review::ConstPtr>);
            });
        });
}

} // namespace

void measureModels()
{
    measureSortedInsertion("one row into 10,000 sorted rows", 10000);
    measureSortedInsertion("one row into 100,000 sorted rows", 100000);
    measureGrid();
    measureFeed();
    measureSuggestions();
    measureReviews();
}

} // namespace Bench

#include "modelfigures.moc"
